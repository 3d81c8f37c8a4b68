#include "http/web_pages.h"

#include <algorithm>

#include "http/html.h"
#include "http/page_parts.h"

const std::vector<std::string>& searchable_kinds() {
  static const std::vector<std::string> kinds = {
      "Module",    "Interface", "AbstractInterface",
      "Operation", "Attribute", "Struct",
      "Union",     "Enum",      "Alias",
      "Exception", "Constant",  "Native",
      "Value",     "ValueBox",  "ValueMember"};
  return kinds;
}

std::string overview_page(const json& overview) {
  HtmlOut out;
  out.element("h1", "Interface Repository");
  unsigned long long total = overview.value("total", 0ull);
  out.element(
      "p",
      std::to_string(total) + (total == 1 ? " definition." : " definitions."),
      {{"class", "note"}});

  out.open("form", {{"class", "search-form"},
                    {"action", "/search"},
                    {"method", "get"},
                    {"role", "search"}});
  out.open("input", {{"type", "search"},
                     {"name", "q"},
                     {"placeholder", "Name or glob, e.g. *Context*"},
                     {"aria-label", "Search the repository"}});
  out.open("label").open(
      "input", {{"type", "checkbox"}, {"name", "icase"}, {"value", "1"}});
  out.text(" ignore case").close("label");
  out.raw("<button type=\"submit\">Search</button>");
  out.close("form");

  out.element("h2", "Definitions by kind");
  out.open("div", {{"class", "counts"}});
  for (const json& c : overview["counts"]) {
    std::string kind = c.value("kind", "");
    out.open("a", {{"href",
                    "/search" + query_string({{"q", "*"}, {"kind", kind}})}});
    out.element("span", std::to_string(c.value("count", 0ul)),
                {{"class", "n"}});
    out.text(kind).close("a");
  }
  out.close("div");

  out.element("h2", "Top-level modules");
  const json& modules = overview["modules"];
  if (modules.empty()) {
    out.element("p", "No modules.", {{"class", "empty"}});
  } else {
    out.open("ul", {{"class", "plain columns"}});
    for (const json& m : modules) {
      out.open("li");
      definition_link(out, m);
      unsigned long n = count_of(m, "contents");
      out.element("span", " (" + std::to_string(n) + ")", {{"class", "note"}});
      out.close("li");
    }
    out.close("ul");
  }
  out.open("p").link(
      "/browse/", "Everything at the top level (" +
                      std::to_string(overview.value("top_level", 0ul)) + ")");
  out.text(" · ").link("/idl/", "the whole repository as IDL").close("p");

  PageFrame frame;
  frame.title = "Overview";
  frame.content = out.str();
  return render_page(frame);
}

std::string top_level_page(const json& contents) {
  HtmlOut out;
  out.element("h1", "Top level");
  pager(out, "/browse/", {}, contents);
  summary_table(out, contents["items"], true);
  pager(out, "/browse/", {}, contents);
  PageFrame frame;
  frame.title = "Top level";
  frame.crumbs.emplace_back("Top level", "");
  frame.content = out.str();
  return render_page(frame);
}

std::string search_page(const WebSearch& q, const json* results) {
  HtmlOut out;
  out.element("h1", "Search");
  out.open("form", {{"class", "search-form"},
                    {"action", "/search"},
                    {"method", "get"},
                    {"role", "search"},
                    {"id", "search-form"}});
  out.open("input", {{"type", "search"},
                     {"name", "q"},
                     {"value", q.pattern},
                     {"placeholder", "Name, glob or text"},
                     {"aria-label", "Pattern"}});
  out.open("fieldset").element("legend", "Match");
  auto radio = [&](const char* name, const char* value, bool checked,
                   const char* label) {
    out.open("label");
    if (checked)
      out.open("input", {{"type", "radio"},
                         {"name", name},
                         {"value", value},
                         {"checked", "checked"}});
    else
      out.open("input", {{"type", "radio"}, {"name", name}, {"value", value}});
    out.text(std::string(" ") + label).close("label");
  };
  radio("match", "glob", !q.substring, "glob");
  radio("match", "substring", q.substring, "text");
  out.close("fieldset");
  out.open("fieldset").element("legend", "In");
  radio("in", "name", !q.ids, "names");
  radio("in", "id", q.ids, "repository ids");
  out.close("fieldset");
  out.open("label");
  if (q.ignore_case)
    out.open("input", {{"type", "checkbox"},
                       {"name", "icase"},
                       {"value", "1"},
                       {"checked", "checked"}});
  else
    out.open("input",
             {{"type", "checkbox"}, {"name", "icase"}, {"value", "1"}});
  out.text(" ignore case").close("label");
  out.open("label").text("Kind ");
  out.open("select", {{"name", "kind"}, {"aria-label", "Kind"}});
  out.open("option", {{"value", ""}}).text("any").close("option");
  std::string chosen = q.kinds.size() == 1 ? q.kinds[0] : "";
  for (const std::string& k : searchable_kinds()) {
    if (k == chosen)
      out.open("option", {{"value", k}, {"selected", "selected"}});
    else
      out.open("option", {{"value", k}});
    out.text(k).close("option");
  }
  out.close("select").close("label");
  out.raw("<button type=\"submit\">Search</button>");
  out.close("form");

  if (results) {
    std::vector<std::pair<std::string, std::string>> params{{"q", q.pattern}};
    if (q.substring) params.emplace_back("match", "substring");
    if (q.ids) params.emplace_back("in", "id");
    if (q.ignore_case) params.emplace_back("icase", "1");
    for (const std::string& k : q.kinds) params.emplace_back("kind", k);
    unsigned long total = results->value("total", 0ul);
    out.element("p",
                std::to_string(total) + (total == 1 ? " match." : " matches."),
                {{"class", "note"}, {"id", "match-count"}});
    pager(out, "/search", params, *results);
    summary_table(out, (*results)["items"], false);
    pager(out, "/search", params, *results);
  }
  PageFrame frame;
  frame.title = q.pattern.empty() ? "Search" : "Search: " + q.pattern;
  frame.crumbs.emplace_back("Search", "");
  frame.query = q.pattern;
  frame.content = out.str();
  return render_page(frame);
}

std::string error_page(int status, const std::string& message) {
  HtmlOut out;
  const char* title = status == 404 ? "Not found" : "Cannot answer that";
  out.element("h1", title);
  out.element("div", message, {{"class", "error-box"}, {"id", "error"}});
  out.open("p").link("/", "Back to the overview").close("p");
  PageFrame frame;
  frame.title = title;
  frame.content = out.str();
  return render_page(frame);
}
