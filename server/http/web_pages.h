// The web view's pages: HTML rendered from the JSON that WebData reads
// (the same JSON the API returns), inside web/templates/layout.html.
// Every text from the repository goes through html_escape; every URL
// built from a name or id is percent-encoded.
#ifndef IR_SERVER_HTTP_WEB_PAGES_H
#define IR_SERVER_HTTP_WEB_PAGES_H

#include <string>
#include <utility>
#include <vector>

#include "http/web_data.h"

// What goes into the layout around a page's content.
struct PageFrame {
  std::string title;
  // Breadcrumbs after the repository's own: (text, URL) pairs; the last
  // one is the current page ("" URL: not a link).
  std::vector<std::pair<std::string, std::string>> crumbs;
  std::string query;         // shown in the header's search box
  std::string content;       // markup built with HtmlOut
  std::string footer_links;  // markup appended to the footer
};

std::string render_page(const PageFrame& frame);

// `overview` as WebData::overview returns it.
std::string overview_page(const json& overview);
// The top level of the repository, one page of WebData::contents("").
std::string top_level_page(const json& contents);
// The search form filled with `query`, and `results` (WebData::search)
// when a pattern was given.
std::string search_page(const SearchQuery& query, const json* results);
// One definition.  `page` holds "definition" (WebData::definition),
// "contents" (one page, containers only), "used_by", "derived_by" and
// "idl" (its IDL text).
std::string definition_page(const json& page);
// A refusal (404, 400, ...) as a page.
std::string error_page(int status, const std::string& message);

// The kinds a search can be limited to, in the order the form lists them.
const std::vector<std::string>& searchable_kinds();

#endif
