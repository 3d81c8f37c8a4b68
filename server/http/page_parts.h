// Pieces that every page of the web view is built from: the layout
// around a page, links to definitions, tables of definitions, pagers.
// Texts from the repository are escaped by HtmlOut; URLs built from
// names are percent-encoded.
#ifndef IR_SERVER_HTTP_PAGE_PARTS_H
#define IR_SERVER_HTTP_PAGE_PARTS_H

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "http/html.h"

using json = nlohmann::json;
using UrlParams = std::vector<std::pair<std::string, std::string>>;

// What goes into web/templates/layout.html around a page's content.
struct PageFrame {
  std::string title;
  // Breadcrumbs after the repository's own: (text, URL) pairs; the last
  // one is the current page ("" URL: not a link).
  UrlParams crumbs;
  std::string query;         // shown in the header's search box
  std::string content;       // markup built with HtmlOut
  std::string footer_links;  // markup appended to the footer
};

std::string render_page(const PageFrame& frame);

// "CosNaming::NamingContext" for "::CosNaming::NamingContext".
std::string display_name(const std::string& scoped_name);

// A link to the page of a listing row (summary_json), showing its scoped
// name, or with `full_name` false its simple name.
void definition_link(HtmlOut& out, const json& row, bool full_name = true);
// A link to a definition named by a model reference {"name", "id"}; a
// dangling one (name null) shows its id, unlinked.
void ref_link(HtmlOut& out, const json& ref);
void kind_badge(HtmlOut& out, const std::string& kind);

// The number under `key`, 0 when it is absent or not a number (null for
// "not known").
unsigned long count_of(const json& object, const char* key);

// "?a=1&b=x%20y" for the pairs; "" for none.
std::string query_string(const UrlParams& params);

// "‹ previous  101–200 of 1234  next ›" for one page of a list at `path`
// (with `params`); nothing when everything fits on the first page.
void pager(HtmlOut& out, const std::string& path, const UrlParams& params,
           const json& page);

// A table of listing rows; with `contents` a column of the number of
// definitions inside each; with `full_names` scoped names, else simple
// names (the rows of one container).
void summary_table(HtmlOut& out, const json& items, bool contents,
                   bool full_names = true);

// Breadcrumbs of a scoped name: the enclosing names as links, the last
// one (the page itself) plain.
UrlParams name_crumbs(const std::string& scoped_name);

#endif
