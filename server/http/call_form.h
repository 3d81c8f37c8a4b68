// The call form of an interface page: a target field and, per operation
// (attributes as _get_NAME and _set_NAME), one field per in and inout
// parameter, made from the parameter's type: a text field for numbers,
// characters, strings, fixed, TypeCodes and object references, a choice
// for booleans and enums, and a JSON text area holding a template for
// everything else.  web/static/app.js sends the form to POST
// /api/v1/call and shows the reply; the page itself holds no script.
#ifndef IR_SERVER_HTTP_CALL_FORM_H
#define IR_SERVER_HTTP_CALL_FORM_H

#include <nlohmann/json.hpp>
#include <string>

#include "client/dynamic_call.h"

// {"interface": ID, "enabled": B, "operations": [{"name", "signature",
//  "oneway", "fields": [{"name", "mode", "type", "input", "value",
//  "choices"}]}]}: "input" is "number", "text", "object", "boolean",
// "enum" or "json"; "value" the field's first content (text);
// "choices" the names of an enum's enumerators.
nlohmann::json call_form_model(DynamicCaller& caller,
                               const InterfaceOperations& ops, bool enabled);

// The form's markup (a <section id="call">), every text escaped.
std::string call_form_html(const nlohmann::json& model);

#endif
