// The web view's pages other than a definition's (definition_page.h):
// HTML rendered from the JSON that WebData reads, the same JSON the API
// returns.
#ifndef IR_SERVER_HTTP_WEB_PAGES_H
#define IR_SERVER_HTTP_WEB_PAGES_H

#include <string>
#include <utility>
#include <vector>

#include "http/page_parts.h"
#include "http/web_data.h"

// `overview` as WebData::overview returns it.
std::string overview_page(const json& overview);
// The top level of the repository, one page of WebData::contents("").
std::string top_level_page(const json& contents);
// The search form filled with `query`, and `results` (WebData::search)
// when a pattern was given.
std::string search_page(const WebSearch& query, const json* results);
// A refusal (404, 400, ...) as a page.
std::string error_page(int status, const std::string& message);

// The kinds a search can be limited to, in the order the form lists them.
const std::vector<std::string>& searchable_kinds();

#endif
