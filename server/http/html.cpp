#include "http/html.h"

#include <stdexcept>

namespace {

// The length of the valid UTF-8 sequence at `s[i]`, or 0.
std::size_t utf8_length(const std::string& s, std::size_t i) {
  unsigned char c = static_cast<unsigned char>(s[i]);
  std::size_t n;
  unsigned min;
  unsigned code;
  if (c < 0x80) return 1;
  if ((c & 0xE0) == 0xC0) {
    n = 2, min = 0x80, code = c & 0x1F;
  } else if ((c & 0xF0) == 0xE0) {
    n = 3, min = 0x800, code = c & 0x0F;
  } else if ((c & 0xF8) == 0xF0) {
    n = 4, min = 0x10000, code = c & 0x07;
  } else {
    return 0;
  }
  if (i + n > s.size()) return 0;
  for (std::size_t k = 1; k < n; ++k) {
    unsigned char d = static_cast<unsigned char>(s[i + k]);
    if ((d & 0xC0) != 0x80) return 0;
    code = (code << 6) | (d & 0x3F);
  }
  if (code < min || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
    return 0;
  return n;
}

}  // namespace

std::string html_escape(const std::string& text) {
  static const char kReplacement[] = "\xEF\xBF\xBD";
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  for (std::size_t i = 0; i < text.size();) {
    char c = text[i];
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&#39;";
        break;
      default: {
        unsigned char u = static_cast<unsigned char>(c);
        if (u < 0x80) {
          if (u < 0x20 && c != '\n' && c != '\t')
            out += kReplacement;
          else if (u == 0x7F)
            out += kReplacement;
          else
            out += c;
          break;
        }
        std::size_t n = utf8_length(text, i);
        if (n == 0) {
          out += kReplacement;
          ++i;
          continue;
        }
        out.append(text, i, n);
        i += n;
        continue;
      }
    }
    ++i;
  }
  return out;
}

std::string fill_template(const std::string& tmpl,
                          const std::map<std::string, std::string>& values) {
  std::string out;
  out.reserve(tmpl.size() * 2);
  std::size_t pos = 0;
  while (true) {
    std::size_t open = tmpl.find("{{", pos);
    if (open == std::string::npos) break;
    out.append(tmpl, pos, open - pos);
    bool raw = tmpl.compare(open, 3, "{{{") == 0;
    std::size_t start = open + (raw ? 3 : 2);
    std::size_t close = tmpl.find(raw ? "}}}" : "}}", start);
    if (close == std::string::npos)
      throw std::logic_error("unclosed {{ in a page template");
    std::string name = tmpl.substr(start, close - start);
    auto it = values.find(name);
    if (it == values.end())
      throw std::logic_error("page template needs '" + name + "'");
    out += raw ? it->second : html_escape(it->second);
    pos = close + (raw ? 3 : 2);
  }
  out.append(tmpl, pos, std::string::npos);
  return out;
}

HtmlOut& HtmlOut::open(const char* tag, HtmlAttributes attributes) {
  out_ += '<';
  out_ += tag;
  for (const auto& a : attributes) {
    out_ += ' ';
    out_ += a.first;
    out_ += "=\"";
    out_ += html_escape(a.second);
    out_ += '"';
  }
  out_ += '>';
  return *this;
}

HtmlOut& HtmlOut::close(const char* tag) {
  out_ += "</";
  out_ += tag;
  out_ += '>';
  return *this;
}

HtmlOut& HtmlOut::element(const char* tag, const std::string& text,
                          HtmlAttributes attributes) {
  return open(tag, attributes).text(text).close(tag);
}

HtmlOut& HtmlOut::link(const std::string& href, const std::string& text,
                       const char* css_class) {
  if (css_class)
    open("a", {{"href", href}, {"class", css_class}});
  else
    open("a", {{"href", href}});
  return this->text(text).close("a");
}
