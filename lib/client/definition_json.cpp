#include "client/definition_json.h"

#include "client/corba_text.h"
#include "client/repository_tree.h"

using nlohmann::json;

namespace {

json refs_json(const std::vector<DefinitionRef>& refs) {
  json out = json::array();
  for (const DefinitionRef& r : refs) out.push_back(ref_json(r));
  return out;
}

json members_json(const std::vector<MemberView>& members) {
  json out = json::array();
  for (const MemberView& m : members)
    out.push_back({{"name", m.name}, {"type", type_json(m.type)}});
  return out;
}

json value_member_json(const ValueMemberView& m) {
  return {{"name", m.name},
          {"id", m.id},
          {"version", m.version},
          {"access", m.is_public ? "public" : "private"},
          {"type", type_json(m.type)}};
}

void add_features(const DefinitionView& v, json& out) {
  json ops = json::array();
  for (const OperationView& op : v.operations)
    ops.push_back(operation_json(op));
  json attrs = json::array();
  for (const AttributeView& a : v.attributes)
    attrs.push_back(attribute_json(a));
  out["operations"] = ops;
  out["attributes"] = attrs;
}

}  // namespace

json ref_json(const DefinitionRef& ref) {
  return {{"name", ref.name.empty() ? json(nullptr) : json(ref.name)},
          {"id", ref.id}};
}

json type_json(const TypeView& type) {
  return {{"idl", type.idl},
          {"dimensions", type.dimensions},
          {"named", refs_json(type.named)}};
}

json operation_json(const OperationView& op) {
  json params = json::array();
  for (const ParameterView& p : op.parameters)
    params.push_back(
        {{"name", p.name}, {"mode", p.mode}, {"type", type_json(p.type)}});
  return {{"name", op.name},
          {"id", op.id},
          {"version", op.version},
          {"mode", op.oneway ? "oneway" : "normal"},
          {"result", type_json(op.result)},
          {"parameters", params},
          {"raises", refs_json(op.raises)},
          {"contexts", op.contexts},
          {"defined_in", ref_json(op.defined_in)},
          {"inherited", op.inherited}};
}

json attribute_json(const AttributeView& a) {
  return {{"name", a.name},
          {"id", a.id},
          {"version", a.version},
          {"mode", a.readonly ? "readonly" : "normal"},
          {"type", type_json(a.type)},
          {"defined_in", ref_json(a.defined_in)},
          {"inherited", a.inherited}};
}

json definition_json(const DefinitionView& v) {
  json out = {
      {"kind", kind_name(v.kind)},
      {"name", v.name},
      {"scoped_name", v.scoped_name},
      {"id", v.id},
      {"version", v.version},
      {"defined_in", {{"name", v.defined_in.name}, {"id", v.defined_in.id}}},
      {"comment", v.comment},
      {"type_code", v.type_code}};
  switch (v.kind) {
    case CORBA::dk_Interface:
    case CORBA::dk_AbstractInterface:
      out["bases"] = refs_json(v.bases);
      out["derived"] = refs_json(v.derived);
      add_features(v, out);
      break;
    case CORBA::dk_Value: {
      out["is_abstract"] = v.is_abstract;
      out["is_custom"] = v.is_custom;
      out["is_truncatable"] = v.is_truncatable;
      out["base_value"] =
          v.base_value ? ref_json(*v.base_value) : json(nullptr);
      out["abstract_base_values"] = refs_json(v.bases);
      out["supported_interfaces"] = refs_json(v.supported_interfaces);
      out["derived"] = refs_json(v.derived);
      json members = json::array();
      for (const ValueMemberView& m : v.value_members)
        members.push_back(value_member_json(m));
      out["members"] = members;
      json inits = json::array();
      for (const InitializerView& i : v.initializers)
        inits.push_back(
            {{"name", i.name}, {"parameters", members_json(i.parameters)}});
      out["initializers"] = inits;
      add_features(v, out);
      break;
    }
    case CORBA::dk_Struct:
    case CORBA::dk_Exception:
      out["members"] = members_json(v.members);
      break;
    case CORBA::dk_Union: {
      out["discriminator"] =
          v.discriminator ? type_json(*v.discriminator) : json(nullptr);
      json cases = json::array();
      for (const UnionCaseView& c : v.cases)
        cases.push_back({{"name", c.name},
                         {"type", type_json(c.type)},
                         {"labels", c.labels},
                         {"default", c.is_default}});
      out["cases"] = cases;
      break;
    }
    case CORBA::dk_Enum:
      out["enumerators"] = v.enumerators;
      break;
    case CORBA::dk_Alias:
    case CORBA::dk_ValueBox:
      out["type"] = v.type ? type_json(*v.type) : json(nullptr);
      break;
    case CORBA::dk_Constant:
      out["type"] = v.type ? type_json(*v.type) : json(nullptr);
      out["value"] = v.value;
      break;
    case CORBA::dk_Operation:
      if (v.operation) {
        json op = operation_json(*v.operation);
        for (const char* key :
             {"mode", "result", "parameters", "raises", "contexts"})
          out[key] = op[key];
      }
      break;
    case CORBA::dk_Attribute:
      if (v.attribute) {
        out["mode"] = v.attribute->readonly ? "readonly" : "normal";
        out["type"] = type_json(v.attribute->type);
      }
      break;
    case CORBA::dk_ValueMember:
      if (v.value_member) {
        out["access"] = v.value_member->is_public ? "public" : "private";
        out["type"] = type_json(v.value_member->type);
      }
      break;
    default:
      break;
  }
  if (is_container_kind(v.kind)) {
    json contents = json::array();
    for (const ContentView& c : v.contents)
      contents.push_back(
          {{"kind", kind_name(c.kind)}, {"name", c.name}, {"id", c.id}});
    out["contents"] = contents;
  }
  return out;
}

json summary_json(const DefinitionSummary& row) {
  return {{"kind", kind_name(row.kind)},
          {"name", row.name},
          {"scoped_name", row.scoped_name},
          {"id", row.id},
          {"version", row.version},
          {"defined_in", row.defined_in},
          {"contents", row.contents < 0 ? json(nullptr) : json(row.contents)}};
}
