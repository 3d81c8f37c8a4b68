#include "values/text_encoding.h"

#include <cstdio>
#include <cstdlib>

bool utf8_to_code_points(const std::string& text, std::u32string* out) {
  out->clear();
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    unsigned char c = *p++;
    if (c < 0x80) {
      out->push_back(c);
      continue;
    }
    int extra;
    char32_t cp, min;
    if ((c & 0xe0) == 0xc0) {
      extra = 1, cp = c & 0x1f, min = 0x80;
    } else if ((c & 0xf0) == 0xe0) {
      extra = 2, cp = c & 0x0f, min = 0x800;
    } else if ((c & 0xf8) == 0xf0) {
      extra = 3, cp = c & 0x07, min = 0x10000;
    } else {
      return false;
    }
    if (end - p < extra) return false;
    for (int i = 0; i < extra; ++i) {
      if ((p[i] & 0xc0) != 0x80) return false;
      cp = (cp << 6) | (p[i] & 0x3f);
    }
    p += extra;
    if (cp < min || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff))
      return false;
    out->push_back(cp);
  }
  return true;
}

void append_utf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xc0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3f));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xe0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3f));
    out += static_cast<char>(0x80 | (cp & 0x3f));
  } else {
    out += static_cast<char>(0xf0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3f));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3f));
    out += static_cast<char>(0x80 | (cp & 0x3f));
  }
}

std::string bytes_to_utf8(const std::string& bytes) {
  std::u32string ignored;
  if (utf8_to_code_points(bytes, &ignored)) return bytes;
  std::string out;
  for (unsigned char c : bytes) append_utf8(out, c);
  return out;
}

std::u16string to_utf16(const std::u32string& code_points) {
  std::u16string out;
  for (char32_t cp : code_points) {
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<char16_t>(0xd800 + (cp >> 10)));
      out.push_back(static_cast<char16_t>(0xdc00 + (cp & 0x3ff)));
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
  }
  return out;
}

std::string utf16_to_utf8(const std::u16string& units) {
  std::string out;
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t u = units[i];
    if (u >= 0xd800 && u <= 0xdbff && i + 1 < units.size() &&
        units[i + 1] >= 0xdc00 && units[i + 1] <= 0xdfff) {
      append_utf8(out,
                  0x10000 + ((u - 0xd800) << 10) + (units[i + 1] - 0xdc00));
      ++i;
    } else if (u >= 0xd800 && u <= 0xdfff) {
      append_utf8(out, 0xfffd);
    } else {
      append_utf8(out, u);
    }
  }
  return out;
}

namespace {

const char kBase64[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int base64_digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

}  // namespace

bool base64_decode(const std::string& text, std::vector<unsigned char>* out) {
  out->clear();
  if (text.size() % 4 != 0) return false;
  for (std::size_t i = 0; i < text.size(); i += 4) {
    int d[4];
    int pad = 0;
    for (int k = 0; k < 4; ++k) {
      char c = text[i + k];
      if (c == '=' && i + 4 == text.size() && k >= 2) {
        d[k] = 0;
        ++pad;
        continue;
      }
      if (pad) return false;  // data after padding
      d[k] = base64_digit(c);
      if (d[k] < 0) return false;
    }
    unsigned v = (d[0] << 18) | (d[1] << 12) | (d[2] << 6) | d[3];
    out->push_back(static_cast<unsigned char>(v >> 16));
    if (pad < 2) out->push_back(static_cast<unsigned char>(v >> 8));
    if (pad < 1) out->push_back(static_cast<unsigned char>(v));
  }
  return true;
}

std::string base64_encode(const unsigned char* data, std::size_t size) {
  std::string out;
  for (std::size_t i = 0; i < size; i += 3) {
    unsigned v = data[i] << 16;
    if (i + 1 < size) v |= data[i + 1] << 8;
    if (i + 2 < size) v |= data[i + 2];
    out += kBase64[(v >> 18) & 63];
    out += kBase64[(v >> 12) & 63];
    out += i + 1 < size ? kBase64[(v >> 6) & 63] : '=';
    out += i + 2 < size ? kBase64[v & 63] : '=';
  }
  return out;
}

double float_as_short_double(float v) {
  char buf[32];
  for (int digits = 6; digits <= 9; ++digits) {
    std::snprintf(buf, sizeof buf, "%.*g", digits, static_cast<double>(v));
    if (std::strtof(buf, nullptr) == v) break;
  }
  return std::strtod(buf, nullptr);
}
