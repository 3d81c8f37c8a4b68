#include "http/url_codec.h"

#include <cstring>

namespace {

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

bool percent_decode(const std::string& in, bool plus_is_space,
                    std::string* out) {
  std::string text;
  text.reserve(in.size());
  for (std::size_t i = 0; i < in.size(); ++i) {
    char c = in[i];
    if (c == '%') {
      if (i + 2 >= in.size()) return false;
      int hi = hex_value(in[i + 1]), lo = hex_value(in[i + 2]);
      if (hi < 0 || lo < 0) return false;
      c = static_cast<char>(hi * 16 + lo);
      if (c == '\0') return false;
      i += 2;
    } else if (c == '+' && plus_is_space) {
      c = ' ';
    }
    text += c;
  }
  *out = std::move(text);
  return true;
}

std::string percent_encode(const std::string& in, const char* keep) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(in.size());
  for (unsigned char c : in) {
    bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                 (c >= '0' && c <= '9') || c == '-' || c == '.' || c == '_' ||
                 c == '~' || (c && std::strchr(keep, c));
    if (plain) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

std::string parse_query(const std::string& query, QueryParams* out) {
  out->clear();
  std::size_t pos = 0;
  while (pos <= query.size()) {
    std::size_t amp = query.find('&', pos);
    if (amp == std::string::npos) amp = query.size();
    std::string piece = query.substr(pos, amp - pos);
    pos = amp + 1;
    if (piece.empty()) continue;
    std::size_t eq = piece.find('=');
    std::string name, value;
    if (!percent_decode(piece.substr(0, eq), true, &name) ||
        (eq != std::string::npos &&
         !percent_decode(piece.substr(eq + 1), true, &value)))
      return "the query has an invalid %-escape";
    if (name.empty()) return "the query has a value without a name";
    out->emplace_back(std::move(name), std::move(value));
  }
  return std::string();
}

std::string split_path(const std::string& path,
                       std::vector<std::string>* segments) {
  segments->clear();
  if (path.empty() || path[0] != '/') return "the path does not start with /";
  std::size_t pos = 1;
  while (pos < path.size()) {
    std::size_t slash = path.find('/', pos);
    if (slash == std::string::npos) slash = path.size();
    std::string segment;
    if (!percent_decode(path.substr(pos, slash - pos), false, &segment))
      return "the path has an invalid %-escape";
    if (segment.empty() && slash < path.size())
      return "the path has an empty segment";
    if (!segment.empty()) segments->push_back(std::move(segment));
    pos = slash + 1;
  }
  return std::string();
}
