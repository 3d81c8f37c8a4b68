#include "json_schema.h"

#include <set>

using nlohmann::json;

namespace {

const std::set<std::string> kKnownKeywords = {
    "type",  "nullable",   "properties", "required", "additionalProperties",
    "items", "enum",       "minimum",    "maximum",  "allOf",
    "$ref",  "description"};

std::string type_of(const json& v) {
  switch (v.type()) {
    case json::value_t::null:
      return "null";
    case json::value_t::object:
      return "object";
    case json::value_t::array:
      return "array";
    case json::value_t::string:
      return "string";
    case json::value_t::boolean:
      return "boolean";
    case json::value_t::number_integer:
    case json::value_t::number_unsigned:
      return "integer";
    default:
      return "number";
  }
}

bool has_type(const json& v, const std::string& type) {
  std::string actual = type_of(v);
  return actual == type || (type == "number" && actual == "integer");
}

void check(const json& v, const json& schema, const json& doc,
           const std::string& path, std::vector<std::string>& errors) {
  for (auto it = schema.begin(); it != schema.end(); ++it)
    if (!kKnownKeywords.count(it.key()))
      errors.push_back(path + ": the schema uses '" + it.key() +
                       "', which this validator does not know");
  // OpenAPI's nullable admits null whatever the rest of the schema says.
  if (v.is_null() && schema.value("nullable", false)) return;
  if (schema.contains("$ref")) {
    std::string ref = schema["$ref"];
    const std::string prefix = "#/components/schemas/";
    if (ref.compare(0, prefix.size(), prefix) != 0 ||
        !doc["components"]["schemas"].contains(ref.substr(prefix.size()))) {
      errors.push_back(path + ": unresolved $ref " + ref);
      return;
    }
    check(v, doc["components"]["schemas"][ref.substr(prefix.size())], doc, path,
          errors);
    return;
  }
  if (schema.contains("allOf"))
    for (const json& part : schema["allOf"]) check(v, part, doc, path, errors);
  if (v.is_null()) {
    if (schema.contains("type"))
      errors.push_back(path + ": null where a " +
                       schema["type"].get<std::string>() + " is required");
    return;
  }
  if (schema.contains("type")) {
    std::string type = schema["type"];
    if (!has_type(v, type)) {
      errors.push_back(path + ": expected " + type + ", got " + v.dump());
      return;
    }
  }
  if (schema.contains("enum")) {
    bool found = false;
    for (const json& e : schema["enum"]) found = found || e == v;
    if (!found)
      errors.push_back(path + ": " + v.dump() + " is not one of " +
                       schema["enum"].dump());
  }
  if (v.is_number()) {
    if (schema.contains("minimum") && v.get<double>() < schema["minimum"])
      errors.push_back(path + ": " + v.dump() + " is below the minimum");
    if (schema.contains("maximum") && v.get<double>() > schema["maximum"])
      errors.push_back(path + ": " + v.dump() + " is above the maximum");
  }
  if (v.is_object()) {
    const json props = schema.value("properties", json::object());
    for (const json& r : schema.value("required", json::array()))
      if (!v.contains(r.get<std::string>()))
        errors.push_back(path + ": the required field '" +
                         r.get<std::string>() + "' is missing");
    for (auto it = v.begin(); it != v.end(); ++it) {
      if (props.contains(it.key()))
        check(it.value(), props[it.key()], doc, path + "." + it.key(), errors);
      else if (schema.contains("additionalProperties") &&
               schema["additionalProperties"] == false)
        errors.push_back(path + ": the field '" + it.key() +
                         "' is not in the document");
    }
  }
  if (v.is_array() && schema.contains("items"))
    for (std::size_t i = 0; i < v.size(); ++i)
      check(v[i], schema["items"], doc, path + "[" + std::to_string(i) + "]",
            errors);
}

}  // namespace

std::vector<std::string> schema_errors(const json& value, const json& schema,
                                       const json& document) {
  std::vector<std::string> errors;
  check(value, schema, document, "$", errors);
  return errors;
}
