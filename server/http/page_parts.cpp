#include "http/page_parts.h"

#include "http/url_codec.h"
#include "http/web_assets.h"
#include "http/web_data.h"

unsigned long count_of(const json& object, const char* key) {
  auto it = object.find(key);
  // Counts come signed from the description model (-1: not counted).
  return it != object.end() && it->is_number_integer() && *it >= 0
             ? it->get<unsigned long>()
             : 0;
}

std::string display_name(const std::string& scoped_name) {
  return scoped_name.compare(0, 2, "::") == 0 ? scoped_name.substr(2)
                                              : scoped_name;
}

void definition_link(HtmlOut& out, const json& summary, bool full_name) {
  std::string scoped = summary.value("scoped_name", "");
  out.link(browse_url(scoped),
           full_name ? display_name(scoped) : summary.value("name", ""));
}

void kind_badge(HtmlOut& out, const std::string& kind) {
  out.element("span", kind, {{"class", "kind"}});
}

std::string query_string(const UrlParams& params) {
  std::string q;
  for (const auto& p : params)
    q += (q.empty() ? "?" : "&") + percent_encode(p.first) + "=" +
         percent_encode(p.second);
  return q;
}

void pager(HtmlOut& out, const std::string& path, const UrlParams& params,
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

void summary_table(HtmlOut& out, const json& items, bool contents,
                   bool full_names) {
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
    definition_link(out, item, full_names);
    out.close("td").open("td").element("code", item.value("id", ""),
                                       {{"class", "repo-id"}});
    out.close("td");
    if (contents) {
      unsigned long n = count_of(item, "contents");
      out.element("td", n ? std::to_string(n) : "", {{"class", "num"}});
    }
    out.close("tr");
  }
  out.raw("</tbody></table>");
}

UrlParams name_crumbs(const std::string& scoped_name) {
  UrlParams crumbs;
  std::vector<std::string> parts = scoped_name_parts(scoped_name);
  std::string so_far;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    so_far += "::" + parts[i];
    crumbs.emplace_back(parts[i],
                        i + 1 == parts.size() ? "" : browse_url(so_far));
  }
  return crumbs;
}

void ref_link(HtmlOut& out, const json& ref) {
  if (ref.contains("name") && ref["name"].is_string()) {
    std::string name = ref["name"];
    out.link(browse_url(name), display_name(name));
  } else {
    out.element("span", ref.value("id", "") + " (not in the repository)",
                {{"class", "dangling"}});
  }
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
