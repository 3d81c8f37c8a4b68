#include "definition_compare.h"

#include <cstring>

#include "client/description_fields.h"
#include "feed_support.h"

namespace {

const char kObjectInterfaceId[] = "IDL:Object:1.0";

// True when the members of `tc` (struct, exception) have the names and
// types of `members`.
bool same_members(CORBA::TypeCode_ptr tc,
                  const std::vector<MemberExpr>& members) {
  if (tc->member_count() != members.size()) return false;
  for (CORBA::ULong i = 0; i < members.size(); ++i) {
    CORBA::TypeCode_var mt = tc->member_type(i);
    if (members[i].name != tc->member_name(i) ||
        members[i].type.signature() != type_signature(mt))
      return false;
  }
  return true;
}

const char* const kModes[] = {"in", "out", "inout"};

}  // namespace

std::vector<std::string> id_list(const CORBA::RepositoryIdSeq& seq,
                                 bool drop_object) {
  std::vector<std::string> out;
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    if (drop_object && std::strcmp(seq[i].in(), kObjectInterfaceId) == 0)
      continue;
    out.push_back(seq[i].in());
  }
  return out;
}

std::string Comparison::text() const {
  std::string out;
  for (const std::string& d : differences) out += (out.empty() ? "" : "; ") + d;
  return out;
}

bool DefinitionComparer::is_placeholder(const DefRecord& d,
                                        const ExistingDefinition& e) {
  if (d.kind != DefKind::kInterface && d.kind != DefKind::kValue) return false;
  if (d.kind == DefKind::kInterface) {
    const CORBA::InterfaceDescription* desc = nullptr;
    if (!(e.description >>= desc) ||
        !id_list(desc->base_interfaces, true).empty())
      return false;
  } else {
    const CORBA::ValueDescription* desc = nullptr;
    if (!(e.description >>= desc) || desc->base_value.in()[0] ||
        desc->abstract_base_values.length() ||
        desc->supported_interfaces.length() || desc->is_custom ||
        desc->is_truncatable)
      return false;
  }
  CORBA::Container_var container = CORBA::Container::_unchecked_narrow(e.ref);
  CORBA::ContainedSeq_var inside = container->contents(CORBA::dk_all, true);
  return inside->length() == 0;
}

Comparison DefinitionComparer::compare(const DefRecord& d,
                                       const ExistingDefinition& e) {
  Comparison c;
  std::vector<std::string>& out = c.differences;
  DescriptionFields fields = description_fields(e.kind, e.description);
  if (!fields.known) {
    out.push_back("its description cannot be read");
    return c;
  }
  if (fields.version != d.version()) {
    c.version_differs = true;
    out.push_back("its version is " + fields.version + ", the file's " +
                  d.version());
  }
  switch (d.kind) {
    case DefKind::kModule:
    case DefKind::kNative:
    case DefKind::kForward:
      break;
    case DefKind::kInterface: {
      const CORBA::InterfaceDescription* desc = nullptr;
      e.description >>= desc;
      if (id_list(desc->base_interfaces, true) != d.bases)
        out.push_back("its base interfaces differ");
      break;
    }
    case DefKind::kStruct:
    case DefKind::kUnion:
    case DefKind::kEnum:
    case DefKind::kAlias:
    case DefKind::kValueBox: {
      const CORBA::TypeDescription* desc = nullptr;
      e.description >>= desc;
      compare_type(d, desc->type.in(), &out);
      break;
    }
    case DefKind::kException: {
      const CORBA::ExceptionDescription* desc = nullptr;
      e.description >>= desc;
      if (!same_members(desc->type.in(), d.members))
        out.push_back("its members differ");
      break;
    }
    case DefKind::kConst: {
      const CORBA::ConstantDescription* desc = nullptr;
      e.description >>= desc;
      if (type_signature(desc->type.in()) != d.type.signature()) {
        out.push_back("its type differs");
        break;
      }
      CORBA::Any_var expected = values_.constant(d);
      auto by_name = [](CORBA::TypeCode_ptr, const char* name) {
        return std::string(name);
      };
      if (codec_.literal(expected.in(), by_name) !=
          codec_.literal(desc->value, by_name))
        out.push_back("its value differs");
      break;
    }
    case DefKind::kOperation: {
      const CORBA::OperationDescription* desc = nullptr;
      e.description >>= desc;
      if (type_signature(desc->result.in()) != d.type.signature())
        out.push_back("its result type differs");
      if ((desc->mode == CORBA::OP_ONEWAY) != d.flag)
        out.push_back("its mode differs");
      bool same_params = desc->parameters.length() == d.members.size();
      for (CORBA::ULong i = 0; same_params && i < d.members.size(); ++i) {
        const CORBA::ParameterDescription& p = desc->parameters[i];
        const MemberExpr& m = d.members[i];
        same_params = m.name == p.name.in() &&
                      m.type.signature() == type_signature(p.type.in()) &&
                      m.direction == kModes[p.mode];
      }
      if (!same_params) out.push_back("its parameters differ");
      std::vector<std::string> raised;
      for (CORBA::ULong i = 0; i < desc->exceptions.length(); ++i)
        raised.push_back(desc->exceptions[i].id.in());
      if (raised != d.raises) out.push_back("its exceptions differ");
      std::vector<std::string> contexts;
      for (CORBA::ULong i = 0; i < desc->contexts.length(); ++i)
        contexts.push_back(desc->contexts[i].in());
      if (contexts != d.contexts) out.push_back("its contexts differ");
      break;
    }
    case DefKind::kAttribute: {
      const CORBA::AttributeDescription* desc = nullptr;
      e.description >>= desc;
      if (type_signature(desc->type.in()) != d.type.signature())
        out.push_back("its type differs");
      if ((desc->mode == CORBA::ATTR_READONLY) != d.flag)
        out.push_back("its mode differs");
      break;
    }
    case DefKind::kValueMember: {
      const CORBA::ValueMember* desc = nullptr;
      e.description >>= desc;
      if (type_signature(desc->type.in()) != d.type.signature())
        out.push_back("its type differs");
      if ((desc->access == CORBA::PUBLIC_MEMBER) != d.flag)
        out.push_back("its access differs");
      break;
    }
    case DefKind::kValue:
      compare_value(d, e, &out);
      break;
  }
  return c;
}

void DefinitionComparer::compare_type(const DefRecord& d,
                                      CORBA::TypeCode_ptr tc,
                                      std::vector<std::string>* out) {
  switch (d.kind) {
    case DefKind::kStruct:
      if (!same_members(tc, d.members)) out->push_back("its members differ");
      return;
    case DefKind::kEnum: {
      bool same = tc->member_count() == d.members.size();
      for (CORBA::ULong i = 0; same && i < d.members.size(); ++i)
        same = d.members[i].name == tc->member_name(i);
      if (!same) out->push_back("its enumerators differ");
      return;
    }
    case DefKind::kAlias:
    case DefKind::kValueBox: {
      CORBA::TypeCode_var content = tc->content_type();
      if (type_signature(content) != d.type.signature())
        out->push_back("its original type differs");
      return;
    }
    default:
      break;
  }
  // A union.
  CORBA::TypeCode_var disc = tc->discriminator_type();
  if (type_signature(disc) != d.type.signature())
    out->push_back("its discriminator type differs");
  if (tc->member_count() != d.members.size()) {
    out->push_back("its members differ");
    return;
  }
  bool same_members = true, same_labels = true;
  CORBA::Long def = tc->default_index();
  for (CORBA::ULong i = 0; i < d.members.size(); ++i) {
    CORBA::TypeCode_var mt = tc->member_type(i);
    const MemberExpr& m = d.members[i];
    if (m.name != tc->member_name(i) ||
        m.type.signature() != type_signature(mt))
      same_members = false;
    bool is_default = static_cast<CORBA::Long>(i) == def;
    if (is_default != (m.label == "default")) {
      same_labels = false;
    } else if (!is_default) {
      CORBA::Any_var label = tc->member_label(i);
      long long value = 0;
      if (!codec_.integer(label.in(), &value) || value != integer_of(m.label))
        same_labels = false;
    }
  }
  if (!same_members) out->push_back("its members differ");
  if (!same_labels) out->push_back("its labels differ");
}

void DefinitionComparer::compare_value(const DefRecord& d,
                                       const ExistingDefinition& e,
                                       std::vector<std::string>* out) {
  const CORBA::ValueDescription* desc = nullptr;
  e.description >>= desc;
  if (desc->is_abstract != d.is_abstract || desc->is_custom != d.is_custom ||
      desc->is_truncatable != d.is_truncatable)
    out->push_back("its modifiers differ");
  if (d.base_value != desc->base_value.in())
    out->push_back("its base value differs");
  if (id_list(desc->abstract_base_values, false) != d.bases)
    out->push_back("its abstract base values differ");
  if (id_list(desc->supported_interfaces, false) != d.supports)
    out->push_back("its supported interfaces differ");
  CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(e.ref);
  CORBA::ValueDef::FullValueDescription_var full = value->describe_value();
  bool same = full->initializers.length() == d.initializers.size();
  for (CORBA::ULong i = 0; same && i < d.initializers.size(); ++i) {
    const CORBA::Initializer& init = full->initializers[i];
    const InitializerExpr& mine = d.initializers[i];
    same = mine.name == init.name.in() &&
           init.members.length() == mine.params.size();
    for (CORBA::ULong j = 0; same && j < mine.params.size(); ++j)
      same = mine.params[j].name == init.members[j].name.in() &&
             mine.params[j].type.signature() ==
                 type_signature(init.members[j].type.in());
  }
  if (!same) out->push_back("its initializers differ");
}
