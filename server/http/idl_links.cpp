#include "http/idl_links.h"

#include <cctype>

#include "http/html.h"
#include "http/web_data.h"

namespace {

bool ident_char(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

// Skips a literal that starts at text[i] (a quote); returns the index
// after it.
std::size_t skip_literal(const std::string& text, std::size_t i) {
  char quote = text[i++];
  while (i < text.size() && text[i] != quote && text[i] != '\n') {
    if (text[i] == '\\') ++i;
    ++i;
  }
  return i + 1;
}

}  // namespace

std::vector<IdlName> idl_names(const std::string& text) {
  std::vector<IdlName> names;
  std::size_t i = 0;
  bool line_start = true;
  while (i < text.size()) {
    char c = text[i];
    if (line_start) {
      std::size_t first = text.find_first_not_of(" \t", i);
      if (first != std::string::npos && text[first] == '#') {
        std::size_t eol = text.find('\n', first);
        i = eol == std::string::npos ? text.size() : eol + 1;
        continue;
      }
      line_start = false;
    }
    if (c == '\n') {
      line_start = true;
      ++i;
    } else if (c == '"' || c == '\'') {
      i = skip_literal(text, i);
    } else if (text.compare(i, 2, "//") == 0) {
      std::size_t eol = text.find('\n', i);
      i = eol == std::string::npos ? text.size() : eol;
    } else if (text.compare(i, 2, "/*") == 0) {
      std::size_t end = text.find("*/", i + 2);
      i = end == std::string::npos ? text.size() : end + 2;
    } else if (text.compare(i, 2, "::") == 0 &&
               (i == 0 || !ident_char(text[i - 1])) && i + 2 < text.size() &&
               ident_char(text[i + 2])) {
      std::size_t start = i;
      std::string scoped;
      while (text.compare(i, 2, "::") == 0 && i + 2 < text.size() &&
             ident_char(text[i + 2])) {
        i += 2;
        std::size_t b = i;
        while (i < text.size() && ident_char(text[i])) ++i;
        std::string part = text.substr(b, i - b);
        if (part.size() > 1 && part[0] == '_') part.erase(0, 1);
        scoped += "::" + part;
      }
      names.push_back(IdlName{start, i - start, scoped});
    } else if (ident_char(c)) {
      while (i < text.size() && ident_char(text[i])) ++i;
    } else {
      ++i;
    }
  }
  return names;
}

std::string idl_html(const std::string& text,
                     const std::set<std::string>& linked) {
  HtmlOut out;
  std::size_t pos = 0;
  for (const IdlName& n : idl_names(text)) {
    if (!linked.count(n.scoped_name)) continue;
    out.text(text.substr(pos, n.offset - pos));
    out.link(browse_url(n.scoped_name), text.substr(n.offset, n.length));
    pos = n.offset + n.length;
  }
  out.text(text.substr(pos));
  return out.str();
}
