#include "http/web_pages.h"

#include <algorithm>

#include "http/html.h"
#include "http/url_codec.h"
#include "http/web_assets.h"

namespace {

// "CosNaming::NamingContext" for "::CosNaming::NamingContext".
std::string display_name(const std::string& scoped_name) {
  return scoped_name.compare(0, 2, "::") == 0 ? scoped_name.substr(2)
                                              : scoped_name;
}

void definition_link(HtmlOut& out, const json& summary, bool full_name = true) {
  std::string scoped = summary.value("scoped_name", "");
  out.link(browse_url(scoped),
           full_name ? display_name(scoped) : summary.value("name", ""));
}

void kind_badge(HtmlOut& out, const std::string& kind) {
  out.element("span", kind, {{"class", "kind"}});
}

// A query string from (name, value) pairs: "?a=1&b=x%20y", or "".
std::string query_string(
    const std::vector<std::pair<std::string, std::string>>& params) {
  std::string q;
  for (const auto& p : params)
    q += (q.empty() ? "?" : "&") + percent_encode(p.first) + "=" +
         percent_encode(p.second);
  return q;
}

// "Showing 101–200 of 1234" with links to the previous and next page of
// `path` with `params` (offset and limit added).
void pager(HtmlOut& out, const std::string& path,
           std::vector<std::pair<std::string, std::string>> params,
           const json& page) {
  unsigned long offset = page.value("offset", 0ul);
  unsigned long limit = page.value("limit", kDefaultPageSize);
  unsigned long total = page.value("total", 0ul);
  unsigned long shown = page.contains("items") ? page["items"].size() : 0;
  if (total <= shown && offset == 0) return;
  auto url = [&](unsigned long at) {
    auto p = params;
    p.emplace_back("offset", std::to_string(at));
    if (limit != kDefaultPageSize)
      p.emplace_back("limit", std::to_string(limit));
    return path + query_string(p);
  };
  out.open("nav", {{"class", "pager"}, {"aria-label", "Pages"}});
  if (offset > 0)
    out.link(url(offset > limit ? offset - limit : 0), "‹ previous", "prev");
  else
    out.element("span", "‹ previous", {{"class", "disabled"}});
  std::string range = shown == 0 ? "nothing here"
                                 : std::to_string(offset + 1) + "–" +
                                       std::to_string(offset + shown);
  out.element("span", range + " of " + std::to_string(total));
  if (limit > 0 && offset + shown < total)
    out.link(url(offset + limit), "next ›", "next");
  else
    out.element("span", "next ›", {{"class", "disabled"}});
  out.close("nav");
}

// A table of definitions (summaries); with `contents` a column of the
// number of definitions inside each.
void summary_table(HtmlOut& out, const json& items, bool contents) {
  if (items.empty()) {
    out.element("p", "None.", {{"class", "empty"}});
    return;
  }
  out.open("table", {{"class", "list"}});
  out.raw("<thead><tr><th>Kind</th><th>Name</th><th>Repository id</th>");
  if (contents) out.raw("<th class=\"num\">Contents</th>");
  out.raw("</tr></thead><tbody>");
  for (const json& item : items) {
    out.open("tr").open("td");
    kind_badge(out, item.value("kind", ""));
    out.close("td").open("td");
    definition_link(out, item);
    out.close("td").open("td").element("code", item.value("id", ""),
                                       {{"class", "repo-id"}});
    out.close("td");
    if (contents) {
      unsigned long n = item.value("contents", 0ul);
      out.element("td", n ? std::to_string(n) : "", {{"class", "num"}});
    }
    out.close("tr");
  }
  out.raw("</tbody></table>");
}

// The breadcrumbs of a scoped name: every enclosing name a link, the
// last one (the page itself) plain.
std::vector<std::pair<std::string, std::string>> name_crumbs(
    const std::string& scoped_name) {
  std::vector<std::pair<std::string, std::string>> crumbs;
  std::vector<std::string> parts = scoped_name_parts(scoped_name);
  std::string so_far;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    so_far += "::" + parts[i];
    crumbs.emplace_back(parts[i],
                        i + 1 == parts.size() ? "" : browse_url(so_far));
  }
  return crumbs;
}

}  // namespace

const std::vector<std::string>& searchable_kinds() {
  static const std::vector<std::string> kinds = {
      "Module",    "Interface", "AbstractInterface",
      "Operation", "Attribute", "Struct",
      "Union",     "Enum",      "Alias",
      "Exception", "Constant",  "Native",
      "Value",     "ValueBox",  "ValueMember"};
  return kinds;
}

std::string render_page(const PageFrame& frame) {
  HtmlOut crumbs;
  crumbs.link("/", "Repository");
  for (const auto& c : frame.crumbs) {
    if (c.second.empty())
      crumbs.element("span", c.first, {{"aria-current", "page"}});
    else
      crumbs.link(c.second, c.first);
  }
  return fill_template(web_asset_text("templates/layout.html"),
                       {{"title", frame.title},
                        {"crumbs", crumbs.str()},
                        {"query", frame.query},
                        {"content", frame.content},
                        {"footer_links", frame.footer_links}});
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
      unsigned long n = m.value("contents", 0ul);
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

std::string search_page(const SearchQuery& q, const json* results) {
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

std::string definition_page(const json& page) {
  const json& def = page["definition"];
  std::string scoped = def.value("scoped_name", "");
  std::string kind = def.value("kind", "");
  HtmlOut out;
  out.open("h1");
  kind_badge(out, kind);
  out.text(def.value("name", "")).close("h1");

  out.open("dl", {{"class", "facts"}});
  out.element("dt", "Scoped name").open("dd");
  out.element("code", scoped).close("dd");
  out.element("dt", "Repository id").open("dd");
  out.element("code", def.value("id", ""), {{"class", "repo-id copyable"}});
  out.close("dd");
  out.element("dt", "Version").element("dd", def.value("version", ""));
  out.element("dt", "Defined in").open("dd");
  std::vector<std::string> parts = scoped_name_parts(scoped);
  if (parts.size() <= 1) {
    out.link("/browse/", "the repository (top level)");
  } else {
    std::string container;
    for (std::size_t i = 0; i + 1 < parts.size(); ++i)
      container += "::" + parts[i];
    out.link(browse_url(container), display_name(container));
  }
  out.close("dd").close("dl");

  std::string comment = def.value("comment", "");
  if (!comment.empty())
    out.element("div", comment, {{"class", "comment"}, {"id", "comment"}});

  if (page.contains("idl")) {
    out.element("h2", "IDL");
    out.element("pre", page["idl"].get<std::string>(), {{"class", "idl"}});
  }
  out.open("p", {{"class", "downloads"}});
  out.link(browse_url(scoped, "/idl/"), "IDL file");
  out.link(browse_url(scoped, "/idl/") + "?deps=1", "IDL with dependencies");
  out.link(browse_url(scoped, "/api/v1/definitions/"), "JSON");
  out.close("p");

  if (page.contains("contents")) {
    const json& contents = page["contents"];
    out.element(
        "h2", "Contents (" + std::to_string(contents.value("total", 0ul)) + ")",
        {{"id", "contents"}});
    pager(out, browse_url(scoped), {}, contents);
    summary_table(out, contents["items"], true);
    pager(out, browse_url(scoped), {}, contents);
  }
  auto ref_list = [&](const char* key, const char* title, const char* id) {
    if (!page.contains(key) || page[key]["items"].empty()) return;
    const json& items = page[key]["items"];
    out.element("h2",
                std::string(title) + " (" + std::to_string(items.size()) + ")",
                {{"id", id}});
    summary_table(out, items, false);
  };
  ref_list("derived_by", "Derived by", "derived-by");
  ref_list("used_by", "Used by", "used-by");

  PageFrame frame;
  frame.title = display_name(scoped);
  frame.crumbs = name_crumbs(scoped);
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
