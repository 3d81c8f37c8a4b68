#include "idl_comments.h"

#include <fstream>

namespace {

std::string trim(const std::string& s) {
  std::size_t b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return std::string();
  std::size_t e = s.find_last_not_of(" \t\r");
  return s.substr(b, e - b + 1);
}

bool starts_with(const std::string& s, const char* prefix) {
  return s.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

bool ends_with(const std::string& s, const char* suffix) {
  std::size_t n = std::char_traits<char>::length(suffix);
  return s.size() >= n && s.compare(s.size() - n, n, suffix) == 0;
}

// `s` without `prefix` and one space after it.
std::string without(const std::string& s, std::size_t prefix) {
  std::string rest = s.substr(prefix);
  if (!rest.empty() && rest[0] == ' ') rest.erase(0, 1);
  return rest;
}

}  // namespace

std::string comment_text(const std::vector<std::string>& raw) {
  std::vector<std::string> lines;
  bool block = !raw.empty() && starts_with(trim(raw.front()), "/*");
  for (std::size_t i = 0; i < raw.size(); ++i) {
    std::string l = trim(raw[i]);
    if (!block) {
      std::size_t slashes = l.find_first_not_of('/');
      lines.push_back(
          without(l, slashes == std::string::npos ? l.size() : slashes));
      continue;
    }
    if (i == 0) {
      std::size_t stars = l.find_first_not_of('*', 2);
      l = without(l, stars == std::string::npos ? l.size() : stars);
    }
    if (i + 1 == raw.size() && ends_with(l, "*/")) {
      l = trim(l.substr(0, l.size() - 2));
      while (!l.empty() && l.back() == '*') l.pop_back();
      l = trim(l);
    }
    if (i > 0 && starts_with(l, "*")) l = without(l, 1);
    lines.push_back(l);
  }
  while (!lines.empty() && trim(lines.front()).empty())
    lines.erase(lines.begin());
  while (!lines.empty() && trim(lines.back()).empty()) lines.pop_back();
  std::string text;
  for (const std::string& l : lines) text += (text.empty() ? "" : "\n") + l;
  return text;
}

const std::vector<std::string>& IdlComments::lines_of(const std::string& path) {
  auto found = files_.find(path);
  if (found != files_.end()) return found->second;
  std::vector<std::string>& lines = files_[path];
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) lines.push_back(line);
  return lines;
}

std::string IdlComments::before(const std::string& path, int line) {
  const std::vector<std::string>& lines = lines_of(path);
  if (line < 2 || static_cast<std::size_t>(line) > lines.size() + 1)
    return std::string();
  long i = line - 2;  // the line above, 0-based
  while (i >= 0 && starts_with(trim(lines[i]), "#pragma")) --i;
  if (i < 0) return std::string();
  std::string last = trim(lines[i]);
  long first = i;
  if (starts_with(last, "//")) {
    while (first > 0 && starts_with(trim(lines[first - 1]), "//")) --first;
  } else if (ends_with(last, "*/")) {
    while (first >= 0 && trim(lines[first]).find("/*") == std::string::npos)
      --first;
    // A block must begin its line: "x; /* about x */" is not about the
    // next definition.
    if (first < 0 || !starts_with(trim(lines[first]), "/*"))
      return std::string();
  } else {
    return std::string();
  }
  std::vector<std::string> raw(lines.begin() + first, lines.begin() + i + 1);
  return comment_text(raw);
}
