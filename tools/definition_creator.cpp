#include "definition_creator.h"

#include "definition_compare.h"

CORBA::Contained_ptr DefinitionCreator::create(const DefRecord& d,
                                               CORBA::Container_ptr c,
                                               bool in_value, bool shell) {
  const char* id = d.id.c_str();
  const char* name = d.name.c_str();
  std::string version = d.version();
  const char* v = version.c_str();
  // The arguments first: they may create anonymous types and shells.
  switch (d.kind) {
    case DefKind::kModule:
      before_change_();
      return c->create_module(id, name, v);
    case DefKind::kInterface:
    case DefKind::kForward: {
      if (d.flavour == "abstract" || d.flavour == "abstract_interface") {
        CORBA::AbstractInterfaceDefSeq bases;
        if (!shell) {
          CORBA::InterfaceDefSeq all = interfaces(d.bases);
          bases.length(all.length());
          for (CORBA::ULong i = 0; i < all.length(); ++i)
            bases[i] = CORBA::AbstractInterfaceDef::_unchecked_narrow(all[i]);
        }
        before_change_();
        return c->create_abstract_interface(id, name, v, bases);
      }
      CORBA::InterfaceDefSeq bases;
      if (!shell) bases = interfaces(d.bases);
      before_change_();
      return c->create_interface(id, name, v, bases);
    }
    case DefKind::kValue: {
      CORBA::InitializerSeq none;
      if (shell) {
        before_change_();
        return c->create_value(
            id, name, v, false, d.is_abstract, CORBA::ValueDef::_nil(), false,
            CORBA::ValueDefSeq(), CORBA::InterfaceDefSeq(), none);
      }
      CORBA::ValueDef_var base;
      if (!d.base_value.empty()) {
        CORBA::Contained_var b = refs_.reference(d.base_value);
        base = CORBA::ValueDef::_unchecked_narrow(b);
      }
      CORBA::ValueDefSeq abstract_bases = values(d.bases);
      CORBA::InterfaceDefSeq supported = interfaces(d.supports);
      before_change_();
      return c->create_value(id, name, v, d.is_custom, d.is_abstract, base,
                             d.is_truncatable, abstract_bases, supported, none);
    }
    case DefKind::kValueBox: {
      CORBA::IDLType_var t = types_.resolve(d.type);
      before_change_();
      return c->create_value_box(id, name, v, t);
    }
    case DefKind::kStruct: {
      if (shell) {
        CORBA::StructMemberSeq placeholder;
        placeholder.length(1);
        placeholder[0].name =
            d.members.empty() ? "placeholder" : d.members[0].name.c_str();
        placeholder[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
        placeholder[0].type_def = types_.primitive(CORBA::pk_long);
        before_change_();
        return c->create_struct(id, name, v, placeholder);
      }
      CORBA::StructMemberSeq members = struct_members(d.members);
      before_change_();
      return c->create_struct(id, name, v, members);
    }
    case DefKind::kException: {
      CORBA::StructMemberSeq members;
      if (!shell) members = struct_members(d.members);
      before_change_();
      return c->create_exception(id, name, v, members);
    }
    case DefKind::kUnion: {
      if (shell) {
        CORBA::IDLType_var disc = types_.primitive(CORBA::pk_long);
        CORBA::UnionMemberSeq placeholder;
        placeholder.length(1);
        placeholder[0].name =
            d.members.empty() ? "placeholder" : d.members[0].name.c_str();
        placeholder[0].label <<= CORBA::Any::from_octet(0);
        placeholder[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
        placeholder[0].type_def = CORBA::IDLType::_duplicate(disc);
        before_change_();
        return c->create_union(id, name, v, disc, placeholder);
      }
      CORBA::IDLType_var disc = types_.resolve(d.type);
      CORBA::UnionMemberSeq members = union_members(d);
      before_change_();
      return c->create_union(id, name, v, disc, members);
    }
    case DefKind::kEnum:
      before_change_();
      return c->create_enum(id, name, v, enumerators(d));
    case DefKind::kAlias: {
      CORBA::IDLType_var t = types_.resolve(d.type);
      before_change_();
      return c->create_alias(id, name, v, t);
    }
    case DefKind::kNative:
      before_change_();
      return c->create_native(id, name, v);
    case DefKind::kConst: {
      CORBA::IDLType_var t = types_.resolve(d.type);
      CORBA::Any_var value = values_.constant(d);
      before_change_();
      return c->create_constant(id, name, v, t, value.in());
    }
    case DefKind::kOperation: {
      CORBA::IDLType_var result = types_.resolve(d.type);
      CORBA::OperationMode mode = d.flag ? CORBA::OP_ONEWAY : CORBA::OP_NORMAL;
      CORBA::ParDescriptionSeq params = parameters(d);
      CORBA::ExceptionDefSeq raised = exceptions(d);
      CORBA::ContextIdSeq ctx = contexts(d);
      before_change_();
      if (in_value) {
        CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(c);
        return value->create_operation(id, name, v, result, mode, params,
                                       raised, ctx);
      }
      CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_unchecked_narrow(c);
      return iface->create_operation(id, name, v, result, mode, params, raised,
                                     ctx);
    }
    case DefKind::kAttribute: {
      CORBA::IDLType_var t = types_.resolve(d.type);
      CORBA::AttributeMode mode =
          d.flag ? CORBA::ATTR_READONLY : CORBA::ATTR_NORMAL;
      before_change_();
      if (in_value) {
        CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(c);
        return value->create_attribute(id, name, v, t, mode);
      }
      CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_unchecked_narrow(c);
      return iface->create_attribute(id, name, v, t, mode);
    }
    case DefKind::kValueMember: {
      CORBA::IDLType_var t = types_.resolve(d.type);
      CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(c);
      before_change_();
      return value->create_value_member(
          id, name, v, t,
          d.flag ? CORBA::PUBLIC_MEMBER : CORBA::PRIVATE_MEMBER);
    }
  }
  throw DefinitionError("cannot create a definition of this kind");
}

void DefinitionCreator::set_header(const DefRecord& d, CORBA::Contained_ptr obj,
                                   const CORBA::Any* description) {
  if (d.kind == DefKind::kInterface) {
    CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_unchecked_narrow(obj);
    CORBA::InterfaceDefSeq bases = interfaces(d.bases);
    before_change_();
    iface->base_interfaces(bases);
    return;
  }
  if (d.kind != DefKind::kValue) return;
  // Only what differs is set: from the repository's description, or from
  // what a shell starts with.
  CORBA::ValueDescription shell;
  shell.is_abstract = d.is_abstract;
  shell.is_custom = false;
  shell.is_truncatable = false;
  shell.base_value = "";
  const CORBA::ValueDescription* now = &shell;
  if (description) *description >>= now;
  CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(obj);
  if (d.is_abstract != static_cast<bool>(now->is_abstract)) {
    before_change_();
    value->is_abstract(d.is_abstract);
  }
  if (d.is_custom != static_cast<bool>(now->is_custom)) {
    before_change_();
    value->is_custom(d.is_custom);
  }
  if (d.base_value != now->base_value.in()) {
    CORBA::ValueDef_var base;
    if (!d.base_value.empty()) {
      CORBA::Contained_var b = refs_.reference(d.base_value);
      base = CORBA::ValueDef::_unchecked_narrow(b);
    }
    before_change_();
    value->base_value(base);
  }
  if (d.is_truncatable != static_cast<bool>(now->is_truncatable)) {
    before_change_();
    value->is_truncatable(d.is_truncatable);
  }
  if (d.bases != id_list(now->abstract_base_values, false)) {
    CORBA::ValueDefSeq bases = values(d.bases);
    before_change_();
    value->abstract_base_values(bases);
  }
  if (d.supports != id_list(now->supported_interfaces, false)) {
    CORBA::InterfaceDefSeq supported = interfaces(d.supports);
    before_change_();
    value->supported_interfaces(supported);
  }
}

void DefinitionCreator::complete(const DefRecord& d, CORBA::Contained_ptr obj) {
  switch (d.kind) {
    case DefKind::kStruct: {
      CORBA::StructDef_var s = CORBA::StructDef::_unchecked_narrow(obj);
      CORBA::StructMemberSeq members = struct_members(d.members);
      before_change_();
      s->members(members);
      break;
    }
    case DefKind::kException: {
      CORBA::ExceptionDef_var e = CORBA::ExceptionDef::_unchecked_narrow(obj);
      CORBA::StructMemberSeq members = struct_members(d.members);
      before_change_();
      e->members(members);
      break;
    }
    case DefKind::kUnion: {
      CORBA::UnionDef_var u = CORBA::UnionDef::_unchecked_narrow(obj);
      CORBA::IDLType_var disc = types_.resolve(d.type);
      CORBA::UnionMemberSeq members = union_members(d);
      before_change_();
      u->discriminator_type_def(disc);
      u->members(members);
      break;
    }
    case DefKind::kValue: {
      CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(obj);
      CORBA::InitializerSeq inits = initializers(d);
      before_change_();
      value->initializers(inits);
      break;
    }
    case DefKind::kInterface:
    case DefKind::kModule:
      break;
    default:
      update(d, obj);
      break;
  }
}

void DefinitionCreator::update(const DefRecord& d, CORBA::Contained_ptr obj) {
  switch (d.kind) {
    case DefKind::kAlias: {
      CORBA::AliasDef_var a = CORBA::AliasDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = types_.resolve(d.type);
      before_change_();
      a->original_type_def(t);
      break;
    }
    case DefKind::kValueBox: {
      CORBA::ValueBoxDef_var b = CORBA::ValueBoxDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = types_.resolve(d.type);
      before_change_();
      b->original_type_def(t);
      break;
    }
    case DefKind::kEnum: {
      CORBA::EnumDef_var e = CORBA::EnumDef::_unchecked_narrow(obj);
      before_change_();
      e->members(enumerators(d));
      break;
    }
    case DefKind::kConst: {
      CORBA::ConstantDef_var k = CORBA::ConstantDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = types_.resolve(d.type);
      CORBA::Any_var value = values_.constant(d);
      before_change_();
      k->type_def(t);
      k->value(value.in());
      break;
    }
    case DefKind::kOperation: {
      CORBA::OperationDef_var op = CORBA::OperationDef::_unchecked_narrow(obj);
      CORBA::IDLType_var result = types_.resolve(d.type);
      CORBA::ParDescriptionSeq params = parameters(d);
      CORBA::ExceptionDefSeq raised = exceptions(d);
      before_change_();
      op->result_def(result);
      op->params(params);
      op->mode(d.flag ? CORBA::OP_ONEWAY : CORBA::OP_NORMAL);
      op->exceptions(raised);
      op->contexts(contexts(d));
      break;
    }
    case DefKind::kAttribute: {
      CORBA::AttributeDef_var a = CORBA::AttributeDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = types_.resolve(d.type);
      before_change_();
      a->type_def(t);
      a->mode(d.flag ? CORBA::ATTR_READONLY : CORBA::ATTR_NORMAL);
      break;
    }
    case DefKind::kValueMember: {
      CORBA::ValueMemberDef_var m =
          CORBA::ValueMemberDef::_unchecked_narrow(obj);
      CORBA::IDLType_var t = types_.resolve(d.type);
      before_change_();
      m->type_def(t);
      m->access(d.flag ? CORBA::PUBLIC_MEMBER : CORBA::PRIVATE_MEMBER);
      break;
    }
    default:
      break;
  }
}

CORBA::StructMemberSeq DefinitionCreator::struct_members(
    const std::vector<MemberExpr>& ms) {
  CORBA::StructMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(ms.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    seq[i].name = ms[i].name.c_str();
    seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[i].type_def = types_.resolve(ms[i].type);
  }
  return seq;
}

CORBA::UnionMemberSeq DefinitionCreator::union_members(const DefRecord& d) {
  CORBA::UnionMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.members.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    seq[i].name = d.members[i].name.c_str();
    CORBA::Any_var label = values_.label(d, d.members[i].label);
    seq[i].label = label.in();
    seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[i].type_def = types_.resolve(d.members[i].type);
  }
  return seq;
}

CORBA::ParDescriptionSeq DefinitionCreator::parameters(const DefRecord& d) {
  CORBA::ParDescriptionSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.members.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    const MemberExpr& m = d.members[i];
    seq[i].name = m.name.c_str();
    seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[i].type_def = types_.resolve(m.type);
    seq[i].mode = m.direction == "out"     ? CORBA::PARAM_OUT
                  : m.direction == "inout" ? CORBA::PARAM_INOUT
                                           : CORBA::PARAM_IN;
  }
  return seq;
}

CORBA::ExceptionDefSeq DefinitionCreator::exceptions(const DefRecord& d) {
  CORBA::ExceptionDefSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.raises.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    CORBA::Contained_var c = refs_.reference(d.raises[i]);
    seq[i] = CORBA::ExceptionDef::_unchecked_narrow(c);
  }
  return seq;
}

CORBA::ContextIdSeq DefinitionCreator::contexts(const DefRecord& d) {
  CORBA::ContextIdSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.contexts.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i)
    seq[i] = d.contexts[i].c_str();
  return seq;
}

CORBA::InterfaceDefSeq DefinitionCreator::interfaces(
    const std::vector<std::string>& ids) {
  CORBA::InterfaceDefSeq seq;
  seq.length(static_cast<CORBA::ULong>(ids.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    CORBA::Contained_var c = refs_.reference(ids[i]);
    seq[i] = CORBA::InterfaceDef::_unchecked_narrow(c);
  }
  return seq;
}

CORBA::ValueDefSeq DefinitionCreator::values(
    const std::vector<std::string>& ids) {
  CORBA::ValueDefSeq seq;
  seq.length(static_cast<CORBA::ULong>(ids.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    CORBA::Contained_var c = refs_.reference(ids[i]);
    seq[i] = CORBA::ValueDef::_unchecked_narrow(c);
  }
  return seq;
}

CORBA::InitializerSeq DefinitionCreator::initializers(const DefRecord& d) {
  CORBA::InitializerSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.initializers.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    seq[i].name = d.initializers[i].name.c_str();
    seq[i].members = struct_members(d.initializers[i].params);
  }
  return seq;
}

CORBA::EnumMemberSeq DefinitionCreator::enumerators(const DefRecord& d) {
  CORBA::EnumMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(d.members.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i)
    seq[i] = d.members[i].name.c_str();
  return seq;
}
