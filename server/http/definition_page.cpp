#include "http/definition_page.h"

#include <set>

#include "http/call_form.h"
#include "http/idl_links.h"
#include "http/web_data.h"

namespace {

const json kEmptyArray = json::array();

// The array under `key`, or an empty one.
const json& list_of(const json& object, const char* key) {
  auto it = object.find(key);
  return it != object.end() && it->is_array() ? *it : kEmptyArray;
}

std::string text_of(const json& object, const char* key) {
  auto it = object.find(key);
  return it != object.end() && it->is_string() ? it->get<std::string>() : "";
}

// A type as a declaration uses it ({"idl", "dimensions", "named"}), with
// the named types in it linked.
void type_html(HtmlOut& out, const json& type) {
  std::string idl = text_of(type, "idl");
  std::size_t pos = 0;
  out.open("code", {{"class", "type"}});
  for (const json& ref : list_of(type, "named")) {
    if (!ref["name"].is_string()) continue;
    std::string name = ref["name"];
    std::size_t at = idl.find(name, pos);
    if (at == std::string::npos) continue;
    out.text(idl.substr(pos, at - pos));
    out.link(browse_url(name), name);
    pos = at + name.size();
  }
  out.text(idl.substr(pos));
  out.close("code");
}

std::string dimensions(const json& type) {
  std::string d;
  for (const json& n : list_of(type, "dimensions"))
    d += "[" + std::to_string(n.get<unsigned long>()) + "]";
  return d;
}

void ref_list(HtmlOut& out, const json& refs, const char* none) {
  if (refs.empty()) {
    out.element("span", none, {{"class", "empty"}});
    return;
  }
  for (std::size_t i = 0; i < refs.size(); ++i) {
    if (i) out.text(", ");
    ref_link(out, refs[i]);
  }
}

// "readonly"-like facts of a definition, as a list of term and markup.
void fact(HtmlOut& out, const std::string& term, const std::string& markup) {
  out.element("dt", term).open("dd").raw(markup).close("dd");
}

std::string text_markup(const std::string& text) {
  return HtmlOut().text(text).str();
}

std::string type_markup(const json& type) {
  HtmlOut out;
  type_html(out, type);
  return out.str();
}

std::string refs_markup(const json& refs, const char* none) {
  HtmlOut out;
  ref_list(out, refs, none);
  return out.str();
}

// The parameters and result of an operation: "(in long a, out ::M::S b)".
void signature(HtmlOut& out, const json& op) {
  out.text("(");
  const json& params = list_of(op, "parameters");
  for (std::size_t i = 0; i < params.size(); ++i) {
    const json& p = params[i];
    if (i) out.text(", ");
    out.element("span", text_of(p, "mode"), {{"class", "mode"}}).text(" ");
    type_html(out, p["type"]);
    out.text(" " + text_of(p, "name") + dimensions(p["type"]));
  }
  out.text(")");
}

// "from ::A::B" for an inherited operation or attribute.
void origin(HtmlOut& out, const json& feature) {
  if (feature.value("inherited", false)) {
    out.text("inherited from ");
    ref_link(out, feature["defined_in"]);
  }
}

// The name of an operation or attribute, linked to its own page (in the
// interface or value type that declares it).
void feature_name(HtmlOut& out, const json& feature, const std::string& text) {
  const json& owner = feature["defined_in"]["name"];
  if (owner.is_string())
    out.link(
        browse_url(owner.get<std::string>() + "::" + text_of(feature, "name")),
        text);
  else
    out.text(text);
}

void operations_table(HtmlOut& out, const json& ops) {
  out.element("h2", "Operations (" + std::to_string(ops.size()) + ")",
              {{"id", "operations"}});
  if (ops.empty()) {
    out.element("p", "None.", {{"class", "empty"}});
    return;
  }
  out.open("table", {{"class", "list"}});
  out.raw(
      "<thead><tr><th>Result</th><th>Operation</th><th>Raises</th>"
      "<th>Declared</th></tr></thead><tbody>");
  for (const json& op : ops) {
    bool inherited = op.value("inherited", false);
    if (inherited)
      out.open("tr", {{"class", "inherited"}});
    else
      out.open("tr");
    out.open("td");
    if (text_of(op, "mode") == "oneway")
      out.element("span", "oneway ", {{"class", "mode"}});
    type_html(out, op["result"]);
    out.close("td").open("td");
    feature_name(out, op, text_of(op, "name"));
    signature(out, op);
    const json& contexts = list_of(op, "contexts");
    if (!contexts.empty()) {
      std::string c;
      for (const json& ctx : contexts)
        c += (c.empty() ? "" : ", ") + ("\"" + ctx.get<std::string>() + "\"");
      out.element("span", " context (" + c + ")", {{"class", "note"}});
    }
    out.close("td").open("td");
    ref_list(out, list_of(op, "raises"), "");
    out.close("td").open("td");
    origin(out, op);
    out.close("td").close("tr");
  }
  out.raw("</tbody></table>");
}

void attributes_table(HtmlOut& out, const json& attrs) {
  out.element("h2", "Attributes (" + std::to_string(attrs.size()) + ")",
              {{"id", "attributes"}});
  if (attrs.empty()) {
    out.element("p", "None.", {{"class", "empty"}});
    return;
  }
  out.open("table", {{"class", "list"}});
  out.raw(
      "<thead><tr><th>Type</th><th>Attribute</th><th>Mode</th>"
      "<th>Declared</th></tr></thead><tbody>");
  for (const json& a : attrs) {
    if (a.value("inherited", false))
      out.open("tr", {{"class", "inherited"}});
    else
      out.open("tr");
    out.open("td");
    type_html(out, a["type"]);
    out.close("td").open("td");
    feature_name(out, a, text_of(a, "name") + dimensions(a["type"]));
    out.close("td").element("td", text_of(a, "mode")).open("td");
    origin(out, a);
    out.close("td").close("tr");
  }
  out.raw("</tbody></table>");
}

// Members of a struct or exception, parameters of an initializer.
void members_table(HtmlOut& out, const json& members, const char* title,
                   const char* id) {
  out.element("h2",
              std::string(title) + " (" + std::to_string(members.size()) + ")",
              {{"id", id}});
  if (members.empty()) {
    out.element("p", "None.", {{"class", "empty"}});
    return;
  }
  out.open("table", {{"class", "list"}});
  out.raw("<thead><tr><th>Type</th><th>Name</th></tr></thead><tbody>");
  for (const json& m : members) {
    out.open("tr").open("td");
    type_html(out, m["type"]);
    out.close("td")
        .element("td", text_of(m, "name") + dimensions(m["type"]))
        .close("tr");
  }
  out.raw("</tbody></table>");
}

void interface_sections(HtmlOut& out, const json& def) {
  out.open("dl", {{"class", "facts"}});
  fact(out, "Bases", refs_markup(list_of(def, "bases"), "Object only"));
  out.close("dl");
  operations_table(out, list_of(def, "operations"));
  attributes_table(out, list_of(def, "attributes"));
}

void value_sections(HtmlOut& out, const json& def) {
  out.open("dl", {{"class", "facts"}});
  std::string flags;
  for (const char* f : {"is_abstract", "is_custom", "is_truncatable"})
    if (def.value(f, false))
      flags += (flags.empty() ? "" : ", ") + std::string(f + 3);
  fact(out, "Modifiers", text_markup(flags.empty() ? "none" : flags));
  fact(out, "Base value",
       def.contains("base_value") && def["base_value"].is_object()
           ? refs_markup(json::array({def["base_value"]}), "")
           : text_markup("none"));
  fact(out, "Abstract bases",
       refs_markup(list_of(def, "abstract_base_values"), "none"));
  fact(out, "Supports",
       refs_markup(list_of(def, "supported_interfaces"), "none"));
  out.close("dl");

  const json& members = list_of(def, "members");
  out.element("h2", "State members (" + std::to_string(members.size()) + ")",
              {{"id", "members"}});
  if (members.empty()) {
    out.element("p", "None.", {{"class", "empty"}});
  } else {
    out.open("table", {{"class", "list"}});
    out.raw(
        "<thead><tr><th>Visibility</th><th>Type</th><th>Name</th></tr>"
        "</thead><tbody>");
    for (const json& m : members) {
      out.open("tr").element("td", text_of(m, "access")).open("td");
      type_html(out, m["type"]);
      out.close("td")
          .element("td", text_of(m, "name") + dimensions(m["type"]))
          .close("tr");
    }
    out.raw("</tbody></table>");
  }
  const json& inits = list_of(def, "initializers");
  if (!inits.empty()) {
    out.element("h2", "Initializers (" + std::to_string(inits.size()) + ")",
                {{"id", "initializers"}});
    out.open("ul", {{"class", "plain"}});
    for (const json& init : inits) {
      out.open("li").element("code", "factory " + text_of(init, "name"));
      json as_op = {{"parameters", json::array()}};
      for (const json& p : list_of(init, "parameters"))
        as_op["parameters"].push_back(
            {{"mode", "in"}, {"name", p["name"]}, {"type", p["type"]}});
      signature(out, as_op);
      out.close("li");
    }
    out.close("ul");
  }
  operations_table(out, list_of(def, "operations"));
  attributes_table(out, list_of(def, "attributes"));
}

void union_sections(HtmlOut& out, const json& def) {
  out.open("dl", {{"class", "facts"}});
  if (def.contains("discriminator") && def["discriminator"].is_object())
    fact(out, "Discriminator", type_markup(def["discriminator"]));
  out.close("dl");
  const json& cases = list_of(def, "cases");
  out.element("h2", "Cases (" + std::to_string(cases.size()) + ")",
              {{"id", "cases"}});
  out.open("table", {{"class", "list"}});
  out.raw(
      "<thead><tr><th>Labels</th><th>Type</th><th>Name</th></tr></thead>"
      "<tbody>");
  for (const json& c : cases) {
    std::string labels;
    for (const json& l : list_of(c, "labels"))
      labels += (labels.empty() ? "case " : ", case ") + l.get<std::string>();
    if (c.value("default", false))
      labels += labels.empty() ? "default" : ", default";
    out.open("tr").open("td").element("code", labels).close("td").open("td");
    type_html(out, c["type"]);
    out.close("td")
        .element("td", text_of(c, "name") + dimensions(c["type"]))
        .close("tr");
  }
  out.raw("</tbody></table>");
}

void operation_sections(HtmlOut& out, const json& def) {
  out.element("h2", "Signature", {{"id", "signature"}});
  out.open("p", {{"class", "signature"}});
  if (text_of(def, "mode") == "oneway")
    out.element("span", "oneway ", {{"class", "mode"}});
  if (def.contains("result")) type_html(out, def["result"]);
  out.text(" ").element("strong", text_of(def, "name"));
  signature(out, def);
  out.close("p");
  out.open("dl", {{"class", "facts"}});
  fact(out, "Raises", refs_markup(list_of(def, "raises"), "nothing"));
  std::string contexts;
  for (const json& c : list_of(def, "contexts"))
    contexts +=
        (contexts.empty() ? "\"" : ", \"") + c.get<std::string>() + "\"";
  if (!contexts.empty()) fact(out, "Context", text_markup(contexts));
  out.close("dl");
}

void kind_sections(HtmlOut& out, const json& def) {
  std::string kind = text_of(def, "kind");
  if (kind == "Interface" || kind == "AbstractInterface") {
    interface_sections(out, def);
  } else if (kind == "Value") {
    value_sections(out, def);
  } else if (kind == "Struct") {
    members_table(out, list_of(def, "members"), "Members", "members");
  } else if (kind == "Exception") {
    members_table(out, list_of(def, "members"), "Members", "members");
  } else if (kind == "Union") {
    union_sections(out, def);
  } else if (kind == "Enum") {
    const json& e = list_of(def, "enumerators");
    out.element("h2", "Enumerators (" + std::to_string(e.size()) + ")",
                {{"id", "enumerators"}});
    out.open("ol", {{"class", "enumerators"}, {"start", "0"}});
    for (const json& name : e) out.open("li").element("code", name).close("li");
    out.close("ol");
  } else if (kind == "Alias" || kind == "ValueBox") {
    out.open("dl", {{"class", "facts"}});
    if (def.contains("type") && def["type"].is_object())
      fact(out, kind == "Alias" ? "Original type" : "Boxed type",
           type_markup(def["type"]));
    out.close("dl");
  } else if (kind == "Constant") {
    out.open("dl", {{"class", "facts"}});
    if (def.contains("type") && def["type"].is_object())
      fact(out, "Type", type_markup(def["type"]));
    fact(out, "Value", HtmlOut().element("code", text_of(def, "value")).str());
    out.close("dl");
  } else if (kind == "Operation") {
    operation_sections(out, def);
  } else if (kind == "Attribute" || kind == "ValueMember") {
    out.open("dl", {{"class", "facts"}});
    if (def.contains("type") && def["type"].is_object())
      fact(out, "Type", type_markup(def["type"]));
    if (kind == "Attribute")
      fact(out, "Mode", text_markup(text_of(def, "mode")));
    else
      fact(out, "Visibility", text_markup(text_of(def, "access")));
    out.close("dl");
  }
}

}  // namespace

std::string definition_page(const json& page) {
  const json& def = page["definition"];
  std::string scoped = text_of(def, "scoped_name");
  HtmlOut out;
  out.open("h1");
  kind_badge(out, text_of(def, "kind"));
  out.text(text_of(def, "name")).close("h1");

  out.open("dl", {{"class", "facts"}});
  out.element("dt", "Scoped name").open("dd");
  out.element("code", scoped).close("dd");
  out.element("dt", "Repository id").open("dd");
  out.element("code", text_of(def, "id"), {{"class", "repo-id copyable"}});
  out.close("dd");
  out.element("dt", "Version").element("dd", text_of(def, "version"));
  out.element("dt", "Defined in").open("dd");
  const json& container = def["defined_in"];
  if (text_of(container, "id").empty())
    out.link("/browse/", "the repository (top level)");
  else
    ref_link(out, container);
  out.close("dd").close("dl");

  std::string comment = text_of(def, "comment");
  if (!comment.empty())
    out.element("div", comment, {{"class", "comment"}, {"id", "comment"}});

  kind_sections(out, def);
  if (page.contains("call_form")) out.raw(call_form_html(page["call_form"]));

  out.element("h2", "IDL", {{"id", "idl"}});
  if (page.contains("idl")) {
    std::set<std::string> linked;
    for (const json& n : list_of(page, "idl_links")) linked.insert(n);
    out.open("pre", {{"class", "idl"}})
        .raw(idl_html(text_of(page, "idl"), linked))
        .close("pre");
  }
  out.open("p", {{"class", "downloads"}});
  out.link(browse_url(scoped, "/idl/"), "IDL file");
  out.link(browse_url(scoped, "/idl/") + "?deps=1", "IDL with dependencies");
  out.link(browse_url(scoped, "/api/v1/definitions/"), "JSON");
  out.close("p");

  // Structs, unions, exceptions and most interfaces hold no nested
  // definitions: an empty list is shown for modules only.
  if (page.contains("contents") && (count_of(page["contents"], "total") > 0 ||
                                    text_of(def, "kind") == "Module")) {
    const json& contents = page["contents"];
    out.element(
        "h2", "Contents (" + std::to_string(count_of(contents, "total")) + ")",
        {{"id", "contents"}});
    pager(out, browse_url(scoped), {}, contents);
    summary_table(out, list_of(contents, "items"), true, false);
    pager(out, browse_url(scoped), {}, contents);
  }
  auto references = [&](const char* key, const char* title, const char* id) {
    if (!page.contains(key)) return;
    const json& items = list_of(page[key], "items");
    if (items.empty()) return;
    out.element("h2",
                std::string(title) + " (" + std::to_string(items.size()) + ")",
                {{"id", id}});
    summary_table(out, items, false);
  };
  references("derived_by", "Derived by", "derived-by");
  references("used_by", "Used by", "used-by");

  std::string type_code = text_of(def, "type_code");
  if (!type_code.empty()) {
    out.element("h2", "TypeCode", {{"id", "typecode"}});
    out.element("pre", type_code, {{"class", "idl typecode"}});
  }

  PageFrame frame;
  frame.title = display_name(scoped);
  frame.crumbs = name_crumbs(scoped);
  frame.content = out.str();
  return render_page(frame);
}
