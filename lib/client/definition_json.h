// The JSON form of the description model and of listing rows: the
// documents of `irctl -o json` and of the web view's JSON API.  The field
// names are part of the interface (the README lists them): add fields,
// never rename or drop one.
#ifndef IR_CLIENT_DEFINITION_JSON_H
#define IR_CLIENT_DEFINITION_JSON_H

#include <nlohmann/json.hpp>

#include "client/definition_view.h"
#include "client/listing.h"

// {"name": "::A::B" or null when dangling, "id": "IDL:A/B:1.0"}
nlohmann::json ref_json(const DefinitionRef& ref);
// {"idl": ..., "dimensions": [...], "named": [ref...]}
nlohmann::json type_json(const TypeView& type);
nlohmann::json operation_json(const OperationView& op);
nlohmann::json attribute_json(const AttributeView& attr);

// Every definition: kind, name, scoped_name, id, version, defined_in,
// comment, type_code; then the fields of its kind.
nlohmann::json definition_json(const DefinitionView& view);

// A listing row: kind, name, scoped_name, id, version, defined_in (the
// container's id, "" at the top), contents (null when not known).
nlohmann::json summary_json(const DefinitionSummary& row);

#endif
