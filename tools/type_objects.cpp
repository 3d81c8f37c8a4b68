#include "type_objects.h"

namespace {

struct PrimitiveName {
  const char* name;
  CORBA::PrimitiveKind kind;
};

constexpr PrimitiveName kPrimitives[] = {
    {"void", CORBA::pk_void},
    {"short", CORBA::pk_short},
    {"long", CORBA::pk_long},
    {"ushort", CORBA::pk_ushort},
    {"ulong", CORBA::pk_ulong},
    {"float", CORBA::pk_float},
    {"double", CORBA::pk_double},
    {"boolean", CORBA::pk_boolean},
    {"char", CORBA::pk_char},
    {"octet", CORBA::pk_octet},
    {"any", CORBA::pk_any},
    {"TypeCode", CORBA::pk_TypeCode},
    {"Principal", CORBA::pk_Principal},
    {"Object", CORBA::pk_objref},
    {"longlong", CORBA::pk_longlong},
    {"ulonglong", CORBA::pk_ulonglong},
    {"longdouble", CORBA::pk_longdouble},
    {"wchar", CORBA::pk_wchar},
    {"ValueBase", CORBA::pk_value_base},
};

}  // namespace

TypeObjects::TypeObjects(CORBA::Repository_ptr repository,
                         ReferenceSource& refs, ChangeHook before_change)
    : repository_(repository),
      refs_(refs),
      before_change_(std::move(before_change)) {}

CORBA::IDLType_ptr TypeObjects::primitive(CORBA::PrimitiveKind kind) {
  CORBA::IDLType_var& slot = primitives_[static_cast<int>(kind)];
  if (CORBA::is_nil(slot)) {
    CORBA::PrimitiveDef_var p = repository_->get_primitive(kind);
    slot = CORBA::IDLType::_duplicate(p);
  }
  return CORBA::IDLType::_duplicate(slot);
}

CORBA::IDLType_ptr TypeObjects::resolve(const TypeExpr& t) {
  switch (t.kind) {
    case TypeExpr::kPrimitive:
      for (const PrimitiveName& p : kPrimitives)
        if (t.name == p.name) return primitive(p.kind);
      throw DefinitionError("unknown primitive type " + t.name);
    case TypeExpr::kRef: {
      CORBA::Contained_var c = refs_.reference(t.name);
      return CORBA::IDLType::_unchecked_narrow(c);
    }
    case TypeExpr::kString:
      if (t.bound == 0) return primitive(CORBA::pk_string);
      break;
    case TypeExpr::kWstring:
      if (t.bound == 0) return primitive(CORBA::pk_wstring);
      break;
    default:
      break;
  }
  std::string sig = t.signature();
  auto cached = anonymous_.find(sig);
  if (cached != anonymous_.end())
    return CORBA::IDLType::_duplicate(cached->second);
  // The element first: it may be a named type still to be made.
  CORBA::IDLType_var element;
  if (t.kind == TypeExpr::kSequence || t.kind == TypeExpr::kArray)
    element = resolve(*t.element);
  before_change_();
  CORBA::IDLType_var made;
  switch (t.kind) {
    case TypeExpr::kString:
      made = repository_->create_string(t.bound);
      break;
    case TypeExpr::kWstring:
      made = repository_->create_wstring(t.bound);
      break;
    case TypeExpr::kSequence:
      made = repository_->create_sequence(t.bound, element);
      break;
    case TypeExpr::kArray:
      made = repository_->create_array(t.bound, element);
      break;
    case TypeExpr::kFixed:
      made = repository_->create_fixed(t.digits, t.scale);
      break;
    default:
      throw DefinitionError("a type the repository cannot hold");
  }
  anonymous_[sig] = made;
  return made._retn();
}

CORBA::TypeCode_ptr TypeObjects::type_code(const TypeExpr& t) {
  CORBA::IDLType_var type = resolve(t);
  return type->type();
}
