// A validator for the part of JSON Schema that the web view's OpenAPI
// document uses: type (with OpenAPI's nullable), properties, required,
// additionalProperties: false, items, enum, minimum, maximum, allOf and
// local $refs ("#/components/schemas/Name").
#ifndef IR_TESTS_JSON_SCHEMA_H
#define IR_TESTS_JSON_SCHEMA_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// The ways `value` breaks `schema`, each "path: what" ("$.items[2].kind:
// expected a string, got 12"); empty when it conforms.  `document` is
// the whole document that $refs point into.  A keyword outside the
// subset is reported as an error too, so that the document cannot use
// one that is silently ignored.
std::vector<std::string> schema_errors(const nlohmann::json& value,
                                       const nlohmann::json& schema,
                                       const nlohmann::json& document);

#endif
