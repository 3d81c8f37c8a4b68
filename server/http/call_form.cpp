#include "http/call_form.h"

#include "http/html.h"
#include "values/typecode_util.h"

using json = nlohmann::json;

namespace {

const char* mode_text(CORBA::ParameterMode mode) {
  switch (mode) {
    case CORBA::PARAM_IN:
      return "in";
    case CORBA::PARAM_OUT:
      return "out";
    default:
      return "inout";
  }
}

// The kind of field for a value of `tc`, and its enumerators.
const char* input_for(CORBA::TypeCode_ptr tc, json* choices) {
  CORBA::TypeCode_var t = unaliased(tc);
  switch (t->kind()) {
    case CORBA::tk_short:
    case CORBA::tk_long:
    case CORBA::tk_longlong:
    case CORBA::tk_ushort:
    case CORBA::tk_ulong:
    case CORBA::tk_ulonglong:
    case CORBA::tk_float:
    case CORBA::tk_double:
    case CORBA::tk_longdouble:
    case CORBA::tk_octet:
      return "number";
    case CORBA::tk_char:
    case CORBA::tk_wchar:
    case CORBA::tk_string:
    case CORBA::tk_wstring:
    case CORBA::tk_fixed:
    case CORBA::tk_TypeCode:
      return "text";
    case CORBA::tk_objref:
      return "object";
    case CORBA::tk_boolean:
      return "boolean";
    case CORBA::tk_enum:
      for (CORBA::ULong i = 0; i < t->member_count(); ++i)
        choices->push_back(t->member_name(i));
      return "enum";
    default:
      return "json";
  }
}

// ` name="value"`, the value escaped.
std::string attr(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + html_escape(value) + "\"";
}

void field_html(HtmlOut& out, const json& f, bool enabled) {
  std::string input = f["input"];
  std::string name = f["name"];
  std::string common = attr("name", name) + attr("data-input", input) +
                       attr("aria-label", name) + (enabled ? "" : " disabled");
  out.raw("<label class=\"call-field\"><span class=\"param\">");
  out.element("span", f["mode"].get<std::string>(), {{"class", "mode"}});
  out.text(" ").element("code", f["type"].get<std::string>()).text(" " + name);
  out.raw("</span>");
  std::string value = f["value"];
  if (input == "boolean" || input == "enum") {
    out.raw("<select" + common + ">");
    json choices =
        input == "boolean" ? json::array({"false", "true"}) : f["choices"];
    for (const json& c : choices) {
      std::string text = c;
      out.raw("<option" + attr("value", text) +
              (text == value ? " selected" : "") + ">");
      out.text(text).raw("</option>");
    }
    out.raw("</select>");
  } else if (input == "json") {
    std::size_t lines = 1;
    for (char c : value) lines += c == '\n';
    out.raw("<textarea" + common + " spellcheck=\"false\"" +
            attr("rows", std::to_string(lines < 3    ? 3
                                        : lines > 12 ? 12
                                                     : lines)) +
            ">");
    out.text(value).raw("</textarea>");
  } else {
    out.raw("<input type=\"text\"" + common + " spellcheck=\"false\"" +
            attr("value", value) +
            (input == "object"
                 ? attr("placeholder", "IOR:... or corbaloc:...; empty: nil")
                 : std::string()) +
            ">");
  }
  out.raw("</label>");
}

}  // namespace

json call_form_model(DynamicCaller& caller, const InterfaceOperations& ops,
                     bool enabled) {
  nlohmann::ordered_json described = caller.describe(ops);
  json operations = json::array();
  for (std::size_t i = 0; i < ops.operations.size(); ++i) {
    const CallableOperation& op = ops.operations[i];
    json fields = json::array();
    for (const CallableOperation::Parameter& p : op.parameters) {
      if (p.mode == CORBA::PARAM_OUT) continue;
      json choices = json::array();
      std::string input = input_for(p.type, &choices);
      nlohmann::ordered_json sample = caller.sample(p.type);
      std::string value;
      if (input == "json")
        value = sample.dump(2, ' ', false, json::error_handler_t::replace);
      else if (sample.is_string())
        value = sample.get<std::string>();
      else if (sample.is_boolean())
        value = sample.get<bool>() ? "true" : "false";
      else if (!sample.is_null())
        value = sample.dump();
      json field = {{"name", p.name},
                    {"mode", mode_text(p.mode)},
                    {"type", caller.type_text(p.type)},
                    {"input", input},
                    {"value", value}};
      if (input == "enum") field["choices"] = choices;
      fields.push_back(std::move(field));
    }
    operations.push_back({{"name", op.name},
                          {"signature", described[i]["signature"]},
                          {"oneway", op.oneway},
                          {"fields", std::move(fields)}});
  }
  return {{"interface", ops.id},
          {"enabled", enabled},
          {"operations", std::move(operations)}};
}

std::string call_form_html(const json& model) {
  bool enabled = model.value("enabled", false);
  std::string off = enabled ? "" : " disabled";
  HtmlOut out;
  out.raw("<section class=\"call\" id=\"call\"" +
          attr("data-interface", model["interface"].get<std::string>()) + ">");
  out.element("h2", "Call an object");
  if (!enabled) {
    out.element("p",
                "The call gateway is off: irserver calls objects only when "
                "it is started with --http-invoke HOST:PORT,... (the "
                "addresses it may call).",
                {{"class", "gateway-off"}});
  } else {
    out.element("p",
                "Calls an object of this interface through irserver's "
                "gateway; arguments and results are JSON.",
                {{"class", "note"}});
  }
  out.raw("<div class=\"call-target\">");
  out.raw(
      "<label>Target <input type=\"text\" id=\"call-target\" "
      "name=\"target\" spellcheck=\"false\"" +
      attr("placeholder",
           "IOR:..., corbaloc::HOST:PORT/KEY, corbaname:... or a name") +
      off + "></label>");
  out.raw(
      "<label>Naming service <input type=\"text\" id=\"call-ns\" "
      "name=\"naming_service\" spellcheck=\"false\"" +
      attr("placeholder", "HOST:PORT, for a name") + off + "></label>");
  out.raw("</div>");
  for (const json& op : model["operations"]) {
    std::string name = op["name"];
    out.raw("<details class=\"call-op\"" + attr("id", "call-" + name) + ">");
    out.open("summary").element("code", op["signature"].get<std::string>());
    out.close("summary");
    out.raw("<form class=\"call-form\"" + attr("data-operation", name) + ">");
    for (const json& f : op["fields"]) field_html(out, f, enabled);
    out.raw("<p class=\"call-actions\"><button type=\"submit\"" + off +
            ">Call " + html_escape(name) +
            "</button> <output class=\"call-status\"></output></p>");
    out.raw("<pre class=\"call-result\" hidden></pre>");
    out.raw("</form></details>");
  }
  out.raw("</section>");
  return out.str();
}
