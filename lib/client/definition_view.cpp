#include "client/definition_view.h"

#include <set>

#include "client/description_fields.h"
#include "client/repository_tree.h"
#include "irext.hh"

namespace {

const char kObjectInterfaceId[] = "IDL:Object:1.0";

const char* parameter_mode(CORBA::ParameterMode mode) {
  switch (mode) {
    case CORBA::PARAM_OUT:
      return "out";
    case CORBA::PARAM_INOUT:
      return "inout";
    default:
      return "in";
  }
}

// "::A::B" of "::A::B::C"; "::" for a top-level name.
std::string container_of(const std::string& scoped) {
  std::string::size_type cut = scoped.rfind("::");
  if (cut == std::string::npos || cut == 0) return "::";
  return scoped.substr(0, cut);
}

// The TypeCode of a kind whose description carries one; nil otherwise.
bool has_type_code(CORBA::TypeCode_ptr tc) {
  return !CORBA::is_nil(tc) && tc->kind() != CORBA::tk_void;
}

}  // namespace

bool is_not_offered(const CORBA::Exception& e) {
  return CORBA::NO_IMPLEMENT::_downcast(&e) != nullptr ||
         CORBA::BAD_OPERATION::_downcast(&e) != nullptr;
}

DefinitionReader::DefinitionReader(CORBA::ORB_ptr orb,
                                   CORBA::Repository_ptr repository)
    : repository_(repository), codec_(orb), listing_(repository) {}

DefinitionRef DefinitionReader::ref(const std::string& id) {
  DefinitionRef r;
  r.id = id;
  auto cached = names_.find(id);
  if (cached != names_.end()) {
    r.name = cached->second;
    return r;
  }
  CORBA::Contained_var c = repository_->lookup_id(id.c_str());
  if (!CORBA::is_nil(c)) {
    CORBA::String_var abs = c->absolute_name();
    r.name = abs.in();
  }
  names_[id] = r.name;
  return r;
}

TypeView DefinitionReader::type(CORBA::TypeCode_ptr tc) {
  TypeView v;
  if (CORBA::is_nil(tc)) {
    v.idl = "void";  // what descriptions carry for a type without TypeCode
    return v;
  }
  CORBA::TypeCode_var t = CORBA::TypeCode::_duplicate(tc);
  while (t->kind() == CORBA::tk_array) {
    v.dimensions.push_back(t->length());
    t = t->content_type();
  }
  std::set<std::string> seen;
  TypeNamer namer = [&](CORBA::TypeCode_ptr named) {
    DefinitionRef r = ref(named->id());
    std::string text = r.name;
    if (text.empty()) text = named->name();
    if (text.empty()) text = r.id;
    if (seen.insert(r.id).second) v.named.push_back(r);
    return text;
  };
  v.idl = type_idl(t, namer);
  return v;
}

std::string DefinitionReader::literal(const CORBA::Any& value) {
  // Enumerators are written as scoped names, in the scope of their enum.
  return codec_.literal(value, [this](CORBA::TypeCode_ptr tc, const char* e) {
    DefinitionRef r = ref(tc->id());
    if (r.name.empty()) return std::string(e);
    return (container_of(r.name) == "::" ? "" : container_of(r.name)) +
           "::" + e;
  });
}

std::vector<DefinitionRef> DefinitionReader::refs(
    const CORBA::RepositoryIdSeq& ids) {
  std::vector<DefinitionRef> out;
  for (CORBA::ULong i = 0; i < ids.length(); ++i) {
    if (std::string(ids[i].in()) == kObjectInterfaceId) continue;
    out.push_back(ref(ids[i].in()));
  }
  return out;
}

std::vector<DefinitionRef> DefinitionReader::refs_of(
    const CORBA::ContainedSeq& seq) {
  std::vector<DefinitionRef> out;
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    CORBA::String_var id = seq[i]->id();
    CORBA::String_var abs = seq[i]->absolute_name();
    names_[id.in()] = abs.in();
    out.push_back(DefinitionRef{id.in(), abs.in()});
  }
  return out;
}

OperationView DefinitionReader::operation(const CORBA::OperationDescription& d,
                                          const std::string& owner) {
  OperationView op;
  op.name = d.name.in();
  op.id = d.id.in();
  op.version = d.version.in();
  op.oneway = d.mode == CORBA::OP_ONEWAY;
  op.result = type(d.result.in());
  for (CORBA::ULong i = 0; i < d.parameters.length(); ++i)
    op.parameters.push_back(ParameterView{d.parameters[i].name.in(),
                                          parameter_mode(d.parameters[i].mode),
                                          type(d.parameters[i].type.in())});
  for (CORBA::ULong i = 0; i < d.exceptions.length(); ++i)
    op.raises.push_back(ref(d.exceptions[i].id.in()));
  for (CORBA::ULong i = 0; i < d.contexts.length(); ++i)
    op.contexts.push_back(d.contexts[i].in());
  op.defined_in = ref(d.defined_in.in());
  op.inherited = owner != d.defined_in.in();
  return op;
}

AttributeView DefinitionReader::attribute(const char* name, const char* id,
                                          const char* version,
                                          const char* defined_in,
                                          CORBA::TypeCode_ptr tc,
                                          CORBA::AttributeMode mode,
                                          const std::string& owner) {
  AttributeView a;
  a.name = name;
  a.id = id;
  a.version = version;
  a.readonly = mode == CORBA::ATTR_READONLY;
  a.type = type(tc);
  a.defined_in = ref(defined_in);
  a.inherited = owner != defined_in;
  return a;
}

ValueMemberView DefinitionReader::value_member(const CORBA::ValueMember& m) {
  ValueMemberView v;
  v.name = m.name.in();
  v.id = m.id.in();
  v.version = m.version.in();
  v.is_public = m.access == CORBA::PUBLIC_MEMBER;
  v.type = type(m.type.in());
  return v;
}

std::string DefinitionReader::read_comment(CORBA::Contained_ptr definition) {
  if (!comments_) return std::string();
  try {
    IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(definition);
    CORBA::String_var text = ext->ext_get_comment();
    return text.in();
  } catch (const CORBA::SystemException& e) {
    if (!is_not_offered(e)) throw;
    comments_ = false;
    return std::string();
  }
}

DefinitionView DefinitionReader::read(CORBA::Contained_ptr definition) {
  CORBA::Contained::Description_var d = definition->describe();
  DescriptionFields f = description_fields(d->kind, d->value);
  CORBA::String_var abs = definition->absolute_name();
  DefinitionView v;
  v.kind = d->kind;
  v.name = f.name;
  v.scoped_name = abs.in();
  v.id = f.id;
  v.version = f.version;
  v.defined_in.id = f.defined_in;
  v.defined_in.name = container_of(v.scoped_name);
  names_[v.id] = v.scoped_name;
  if (!f.defined_in.empty()) names_[f.defined_in] = v.defined_in.name;
  v.comment = read_comment(definition);

  const CORBA::Any& value = d->value;
  switch (d->kind) {
    case CORBA::dk_Interface:
    case CORBA::dk_AbstractInterface:
      read_interface(definition, v);
      break;
    case CORBA::dk_Value:
      read_value(definition, v);
      break;
    case CORBA::dk_Exception: {
      const CORBA::ExceptionDescription* e = nullptr;
      if (!(value >>= e)) break;
      CORBA::TypeCode_ptr tc = e->type.in();
      v.type_code = typecode_text(tc, codec_);
      for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
        CORBA::TypeCode_var mt = tc->member_type(i);
        v.members.push_back(MemberView{tc->member_name(i), type(mt)});
      }
      break;
    }
    case CORBA::dk_Struct:
    case CORBA::dk_Union:
    case CORBA::dk_Enum:
    case CORBA::dk_Alias:
    case CORBA::dk_ValueBox:
    case CORBA::dk_Native: {
      const CORBA::TypeDescription* t = nullptr;
      if (!(value >>= t)) break;
      CORBA::TypeCode_ptr tc = t->type.in();
      if (!has_type_code(tc)) break;
      v.type_code = typecode_text(tc, codec_);
      if (d->kind == CORBA::dk_Struct) {
        for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
          CORBA::TypeCode_var mt = tc->member_type(i);
          v.members.push_back(MemberView{tc->member_name(i), type(mt)});
        }
      } else if (d->kind == CORBA::dk_Union) {
        read_union(tc, v);
      } else if (d->kind == CORBA::dk_Enum) {
        for (CORBA::ULong i = 0; i < tc->member_count(); ++i)
          v.enumerators.push_back(tc->member_name(i));
      } else if (d->kind == CORBA::dk_Alias || d->kind == CORBA::dk_ValueBox) {
        CORBA::TypeCode_var content = tc->content_type();
        v.type = type(content);
      }
      break;
    }
    case CORBA::dk_Constant: {
      const CORBA::ConstantDescription* k = nullptr;
      if (!(value >>= k)) break;
      v.type = type(k->type.in());
      v.value = literal(k->value);
      break;
    }
    case CORBA::dk_Operation: {
      const CORBA::OperationDescription* op = nullptr;
      if (value >>= op) v.operation = operation(*op, op->defined_in.in());
      break;
    }
    case CORBA::dk_Attribute: {
      const CORBA::AttributeDescription* a = nullptr;
      if (value >>= a)
        v.attribute = attribute(a->name, a->id, a->version, a->defined_in,
                                a->type.in(), a->mode, a->defined_in.in());
      break;
    }
    case CORBA::dk_ValueMember: {
      const CORBA::ValueMember* m = nullptr;
      if (value >>= m) v.value_member = value_member(*m);
      break;
    }
    default:
      break;
  }
  if (read_contents_ && is_container_kind(d->kind)) read_contents(v);
  return v;
}

void DefinitionReader::read_union(CORBA::TypeCode_ptr tc, DefinitionView& v) {
  CORBA::TypeCode_var disc = tc->discriminator_type();
  v.discriminator = type(disc);
  CORBA::Long default_index = tc->default_index();
  for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
    std::string name = tc->member_name(i);
    CORBA::TypeCode_var mt = tc->member_type(i);
    // The members of one arm are consecutive and share the name, which no
    // other arm may use.
    if (v.cases.empty() || v.cases.back().name != name)
      v.cases.push_back(UnionCaseView{name, type(mt), {}, false});
    UnionCaseView& arm = v.cases.back();
    if (static_cast<CORBA::Long>(i) == default_index) {
      arm.is_default = true;
    } else {
      CORBA::Any_var label = tc->member_label(i);
      arm.labels.push_back(literal(label.in()));
    }
  }
}

void DefinitionReader::read_interface(CORBA::Contained_ptr definition,
                                      DefinitionView& v) {
  CORBA::TypeCode_var tc;
  CORBA::RepositoryIdSeq bases;
  // Own operations and attributes first, then the inherited ones in the
  // order the server gives them.
  std::vector<OperationView> inherited_ops;
  std::vector<AttributeView> inherited_attrs;
  auto add_op = [&](const CORBA::OperationDescription& d) {
    OperationView op = operation(d, v.id);
    (op.inherited ? inherited_ops : v.operations).push_back(op);
  };
  bool done = false;
  if (ext_interface_) {
    try {
      IRExt::InterfaceDef_var ext =
          IRExt::InterfaceDef::_unchecked_narrow(definition);
      IRExt::ExtFullInterfaceDescription_var full =
          ext->describe_ext_interface();
      tc = CORBA::TypeCode::_duplicate(full->type.in());
      bases = full->base_interfaces;
      for (CORBA::ULong i = 0; i < full->operations.length(); ++i)
        add_op(full->operations[i]);
      for (CORBA::ULong i = 0; i < full->attributes.length(); ++i) {
        const IRExt::ExtAttributeDescription& a = full->attributes[i];
        AttributeView view = attribute(a.name, a.id, a.version, a.defined_in,
                                       a.type.in(), a.mode, v.id);
        (view.inherited ? inherited_attrs : v.attributes).push_back(view);
      }
      done = true;
    } catch (const CORBA::SystemException& e) {
      if (!is_not_offered(e)) throw;
      ext_interface_ = false;
    }
  }
  if (!done) {
    CORBA::InterfaceDef_var iface =
        CORBA::InterfaceDef::_unchecked_narrow(definition);
    CORBA::InterfaceDef::FullInterfaceDescription_var full =
        iface->describe_interface();
    tc = CORBA::TypeCode::_duplicate(full->type.in());
    bases = full->base_interfaces;
    for (CORBA::ULong i = 0; i < full->operations.length(); ++i)
      add_op(full->operations[i]);
    for (CORBA::ULong i = 0; i < full->attributes.length(); ++i) {
      const CORBA::AttributeDescription& a = full->attributes[i];
      v.attributes.push_back(attribute(a.name, a.id, a.version, a.defined_in,
                                       a.type.in(), a.mode, v.id));
    }
  }
  v.operations.insert(v.operations.end(), inherited_ops.begin(),
                      inherited_ops.end());
  v.attributes.insert(v.attributes.end(), inherited_attrs.begin(),
                      inherited_attrs.end());
  if (has_type_code(tc)) v.type_code = typecode_text(tc, codec_);
  v.bases = refs(bases);
  if (ext_refs_) {
    try {
      IRExt::InterfaceDef_var ext =
          IRExt::InterfaceDef::_unchecked_narrow(definition);
      CORBA::InterfaceDefSeq_var kids = ext->ext_interface_children();
      CORBA::ContainedSeq seq;
      seq.length(kids->length());
      for (CORBA::ULong i = 0; i < kids->length(); ++i)
        seq[i] = CORBA::Contained::_duplicate(kids[i]);
      v.derived = refs_of(seq);
    } catch (const CORBA::SystemException& e) {
      if (!is_not_offered(e)) throw;
      ext_refs_ = false;
    }
  }
}

void DefinitionReader::read_value(CORBA::Contained_ptr definition,
                                  DefinitionView& v) {
  CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(definition);
  CORBA::ValueDef::FullValueDescription_var full = value->describe_value();
  if (has_type_code(full->type.in()))
    v.type_code = typecode_text(full->type.in(), codec_);
  v.is_abstract = full->is_abstract;
  v.is_custom = full->is_custom;
  v.is_truncatable = full->is_truncatable;
  std::vector<std::string> value_bases;
  if (full->base_value.in()[0]) {
    v.base_value = ref(full->base_value.in());
    value_bases.push_back(full->base_value.in());
  }
  v.bases = refs(full->abstract_base_values);
  for (CORBA::ULong i = 0; i < full->abstract_base_values.length(); ++i)
    value_bases.push_back(full->abstract_base_values[i].in());
  v.supported_interfaces = refs(full->supported_interfaces);
  for (CORBA::ULong i = 0; i < full->members.length(); ++i)
    v.value_members.push_back(value_member(full->members[i]));
  for (CORBA::ULong i = 0; i < full->initializers.length(); ++i) {
    const CORBA::Initializer& init = full->initializers[i];
    InitializerView view;
    view.name = init.name.in();
    for (CORBA::ULong j = 0; j < init.members.length(); ++j)
      view.parameters.push_back(MemberView{init.members[j].name.in(),
                                           type(init.members[j].type.in())});
    v.initializers.push_back(view);
  }
  for (CORBA::ULong i = 0; i < full->operations.length(); ++i)
    v.operations.push_back(operation(full->operations[i], v.id));
  for (CORBA::ULong i = 0; i < full->attributes.length(); ++i) {
    const CORBA::AttributeDescription& a = full->attributes[i];
    v.attributes.push_back(attribute(a.name, a.id, a.version, a.defined_in,
                                     a.type.in(), a.mode, v.id));
  }
  inherited_value_features(value_bases, v);
  if (ext_refs_) {
    try {
      IRExt::Contained_var ext =
          IRExt::Contained::_unchecked_narrow(definition);
      CORBA::ContainedSeq_var users = ext->ext_get_refs_object("derives");
      v.derived = refs_of(users.in());
    } catch (const CORBA::SystemException& e) {
      if (!is_not_offered(e)) throw;
      ext_refs_ = false;
    }
  }
}

void DefinitionReader::inherited_value_features(
    const std::vector<std::string>& bases, DefinitionView& v) {
  // Breadth first along the value bases, each base once.
  std::set<std::string> seen{v.id};
  std::vector<std::string> queue = bases;
  for (std::size_t next = 0; next < queue.size(); ++next) {
    const std::string id = queue[next];
    if (!seen.insert(id).second) continue;
    CORBA::Contained_var c = repository_->lookup_id(id.c_str());
    if (CORBA::is_nil(c) || c->def_kind() != CORBA::dk_Value) continue;
    CORBA::ValueDef_var base = CORBA::ValueDef::_unchecked_narrow(c);
    CORBA::ValueDef::FullValueDescription_var full = base->describe_value();
    for (CORBA::ULong i = 0; i < full->operations.length(); ++i)
      v.operations.push_back(operation(full->operations[i], v.id));
    for (CORBA::ULong i = 0; i < full->attributes.length(); ++i) {
      const CORBA::AttributeDescription& a = full->attributes[i];
      v.attributes.push_back(attribute(a.name, a.id, a.version, a.defined_in,
                                       a.type.in(), a.mode, v.id));
    }
    if (full->base_value.in()[0]) queue.push_back(full->base_value.in());
    for (CORBA::ULong i = 0; i < full->abstract_base_values.length(); ++i)
      queue.push_back(full->abstract_base_values[i].in());
  }
}

void DefinitionReader::read_contents(DefinitionView& v) {
  for (const DefinitionSummary& s : listing_.children(v.id, v.scoped_name)) {
    names_[s.id] = s.scoped_name;
    v.contents.push_back(ContentView{s.kind, s.name, s.id});
  }
}
