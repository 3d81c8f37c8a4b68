// The page of one definition: its names and id, its documentation
// comment, what its kind has (bases and derived interfaces, operations
// and attributes with the inherited ones marked, members, union cases,
// enumerators, constant values, value members, ...), its IDL with every
// type name linked, its contents one page at a time, the definitions
// that derive from it and use it, and its TypeCode.
#ifndef IR_SERVER_HTTP_DEFINITION_PAGE_H
#define IR_SERVER_HTTP_DEFINITION_PAGE_H

#include <string>

#include "http/page_parts.h"

// `page` holds:
//   "definition"  WebData::definition (the description model's JSON)
//   "contents"    one page of WebData::contents (containers only)
//   "used_by", "derived_by"  WebData::references
//   "idl"         its IDL text (not for modules), and "idl_links": the
//                 scoped names in it that name definitions
//   "offset", "limit"  the contents page shown
std::string definition_page(const json& page);

#endif
