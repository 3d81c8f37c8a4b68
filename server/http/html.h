// Building HTML safely: every text is escaped unless it is markup built
// by this code, and page templates (web/templates) are filled the same
// way.
#ifndef IR_SERVER_HTTP_HTML_H
#define IR_SERVER_HTTP_HTML_H

#include <initializer_list>
#include <map>
#include <string>
#include <utility>

// `text` with & < > " ' replaced by character references, and bytes that
// are not valid UTF-8 (and control characters other than tab and newline)
// replaced by U+FFFD: names and ids come from clients and may hold
// anything.
std::string html_escape(const std::string& text);

// Fills a template: "{{name}}" becomes the escaped value, "{{{name}}}"
// the value as it is (markup built with HtmlOut).  A name the template
// uses but `values` lacks throws std::logic_error.
std::string fill_template(const std::string& tmpl,
                          const std::map<std::string, std::string>& values);

using HtmlAttributes =
    std::initializer_list<std::pair<const char*, std::string>>;

// Appends markup to a string.  Tag and attribute names are the caller's
// constants; texts and attribute values are escaped.
class HtmlOut {
 public:
  HtmlOut& text(const std::string& t) {
    out_ += html_escape(t);
    return *this;
  }
  // Markup made by this code (another HtmlOut, a filled template).
  HtmlOut& raw(const std::string& markup) {
    out_ += markup;
    return *this;
  }
  HtmlOut& open(const char* tag, HtmlAttributes attributes = {});
  HtmlOut& close(const char* tag);
  // <tag attributes>text</tag>
  HtmlOut& element(const char* tag, const std::string& text,
                   HtmlAttributes attributes = {});
  // <a href="href">text</a>
  HtmlOut& link(const std::string& href, const std::string& text,
                const char* css_class = nullptr);

  const std::string& str() const { return out_; }
  bool empty() const { return out_.empty(); }

 private:
  std::string out_;
};

#endif
