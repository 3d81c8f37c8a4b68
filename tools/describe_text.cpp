#include "describe_text.h"

#include "client/corba_text.h"

namespace {

std::string refs_text(const std::vector<DefinitionRef>& refs) {
  if (refs.empty()) return "(none)";
  std::string out;
  for (const DefinitionRef& r : refs)
    out += (out.empty() ? "" : ", ") + ref_text(r);
  return out;
}

std::string type_text(const TypeView& t) {
  std::string out = t.idl;
  for (CORBA::ULong d : t.dimensions) out += "[" + std::to_string(d) + "]";
  return out;
}

std::string yes_no(bool b) { return b ? "yes" : "no"; }

const char* inherited_from = "  (from ";

class Lines {
 public:
  void field(const std::string& name, const std::string& value) {
    text_ += name + ": " + value + "\n";
  }
  // A field whose value may span lines: the later lines indented.
  void block(const std::string& name, const std::string& value) {
    text_ += name + ":";
    std::string::size_type start = 0;
    bool first = true;
    while (start <= value.size()) {
      std::string::size_type nl = value.find('\n', start);
      if (nl == std::string::npos) nl = value.size();
      text_ += (first ? " " : "  ") + value.substr(start, nl - start) + "\n";
      first = false;
      start = nl + 1;
    }
  }
  template <class T, class F>
  void list(const std::string& name, const std::vector<T>& items, F line) {
    if (items.empty()) {
      field(name, "(none)");
      return;
    }
    text_ += name + ":\n";
    for (const T& item : items) text_ += "  " + line(item) + "\n";
  }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

bool shown_as_feature(CORBA::DefinitionKind owner, CORBA::DefinitionKind kind) {
  if (owner != CORBA::dk_Interface && owner != CORBA::dk_AbstractInterface &&
      owner != CORBA::dk_Value)
    return false;
  return kind == CORBA::dk_Operation || kind == CORBA::dk_Attribute ||
         kind == CORBA::dk_ValueMember;
}

}  // namespace

std::string ref_text(const DefinitionRef& ref) {
  if (ref.name.empty()) return ref.id + " (not in the repository)";
  return ref.name;
}

std::string declarator_text(const TypeView& type, const std::string& name) {
  std::string out = type.idl + " " + name;
  for (CORBA::ULong d : type.dimensions) out += "[" + std::to_string(d) + "]";
  return out;
}

std::string operation_text(const OperationView& op) {
  std::string text = op.oneway ? "oneway " : "";
  text += type_text(op.result) + " " + op.name + "(";
  for (std::size_t i = 0; i < op.parameters.size(); ++i)
    text += std::string(i ? ", " : "") + op.parameters[i].mode + " " +
            declarator_text(op.parameters[i].type, op.parameters[i].name);
  text += ")";
  if (!op.raises.empty()) text += " raises (" + refs_text(op.raises) + ")";
  if (!op.contexts.empty()) {
    text += " context (";
    for (std::size_t i = 0; i < op.contexts.size(); ++i)
      text += std::string(i ? ", " : "") + "\"" + op.contexts[i] + "\"";
    text += ")";
  }
  if (op.inherited) text += inherited_from + ref_text(op.defined_in) + ")";
  return text;
}

std::string attribute_text(const AttributeView& a) {
  std::string text = std::string(a.readonly ? "readonly " : "") + "attribute " +
                     declarator_text(a.type, a.name);
  if (a.inherited) text += inherited_from + ref_text(a.defined_in) + ")";
  return text;
}

std::string describe_text(const DefinitionView& v) {
  Lines out;
  out.field("kind", kind_name(v.kind));
  out.field("name", v.name);
  out.field("scoped name", v.scoped_name);
  out.field("id", v.id);
  out.field("version", v.version);
  out.field("defined in",
            v.defined_in.id.empty()
                ? std::string("(the repository)")
                : ref_text(v.defined_in) + " (" + v.defined_in.id + ")");
  if (!v.comment.empty()) out.block("comment", v.comment);
  if (!v.type_code.empty()) out.field("type code", v.type_code);

  auto op_line = [](const OperationView& op) { return operation_text(op); };
  auto attr_line = [](const AttributeView& a) { return attribute_text(a); };
  auto member_line = [](const MemberView& m) {
    return declarator_text(m.type, m.name);
  };
  switch (v.kind) {
    case CORBA::dk_Interface:
    case CORBA::dk_AbstractInterface:
      out.field("base interfaces", refs_text(v.bases));
      out.field("derived interfaces", refs_text(v.derived));
      out.list("operations", v.operations, op_line);
      out.list("attributes", v.attributes, attr_line);
      break;
    case CORBA::dk_Value:
      out.field("abstract", yes_no(v.is_abstract));
      out.field("custom", yes_no(v.is_custom));
      out.field("truncatable", yes_no(v.is_truncatable));
      out.field("base value",
                v.base_value ? ref_text(*v.base_value) : std::string("(none)"));
      out.field("abstract base values", refs_text(v.bases));
      out.field("supported interfaces", refs_text(v.supported_interfaces));
      out.field("derived", refs_text(v.derived));
      out.list("members", v.value_members, [](const ValueMemberView& m) {
        return std::string(m.is_public ? "public " : "private ") +
               declarator_text(m.type, m.name);
      });
      out.list("initializers", v.initializers, [&](const InitializerView& i) {
        std::string text = "factory " + i.name + "(";
        for (std::size_t j = 0; j < i.parameters.size(); ++j)
          text +=
              std::string(j ? ", " : "") + "in " + member_line(i.parameters[j]);
        return text + ")";
      });
      out.list("operations", v.operations, op_line);
      out.list("attributes", v.attributes, attr_line);
      break;
    case CORBA::dk_Struct:
    case CORBA::dk_Exception:
      out.list("members", v.members, member_line);
      break;
    case CORBA::dk_Union:
      if (v.discriminator)
        out.field("discriminator", type_text(*v.discriminator));
      out.list("cases", v.cases, [](const UnionCaseView& c) {
        std::string text;
        for (const std::string& l : c.labels) text += "case " + l + ": ";
        if (c.is_default) text += "default: ";
        return text + declarator_text(c.type, c.name);
      });
      break;
    case CORBA::dk_Enum: {
      std::string names;
      for (const std::string& e : v.enumerators)
        names += (names.empty() ? "" : ", ") + e;
      out.field("enumerators", names);
      break;
    }
    case CORBA::dk_Alias:
      if (v.type) out.field("original type", type_text(*v.type));
      break;
    case CORBA::dk_ValueBox:
      if (v.type) out.field("boxed type", type_text(*v.type));
      break;
    case CORBA::dk_Constant:
      if (v.type) out.field("type", type_text(*v.type));
      out.field("value", v.value);
      break;
    case CORBA::dk_Operation:
      if (v.operation) out.field("operation", operation_text(*v.operation));
      break;
    case CORBA::dk_Attribute:
      if (v.attribute) out.field("attribute", attribute_text(*v.attribute));
      break;
    case CORBA::dk_ValueMember:
      if (v.value_member)
        out.field(
            "member",
            std::string(v.value_member->is_public ? "public " : "private ") +
                declarator_text(v.value_member->type, v.value_member->name));
      break;
    default:
      break;
  }
  std::vector<ContentView> contents;
  for (const ContentView& c : v.contents)
    if (!shown_as_feature(v.kind, c.kind)) contents.push_back(c);
  bool container = v.kind == CORBA::dk_Module || !contents.empty();
  if (container)
    out.list("contents", contents, [&](const ContentView& c) {
      return kind_name(c.kind) + " " +
             (v.scoped_name == "::" ? "" : v.scoped_name) + "::" + c.name;
    });
  return out.take();
}
