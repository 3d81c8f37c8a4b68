#include "client/repository_types.h"

#include "client/repository_session.h"

CORBA::TypeCode_ptr RepositoryTypes::find_type(const std::string& name) {
  auto known = types_.find(name);
  if (known != types_.end()) return CORBA::TypeCode::_duplicate(known->second);
  CORBA::Contained_var c;
  if (looks_like_repository_id(name)) {
    c = repository_->lookup_id(name.c_str());
  } else {
    c = repository_->lookup(
        (name.compare(0, 2, "::") == 0 ? name : "::" + name).c_str());
  }
  CORBA::TypeCode_var tc;
  switch (CORBA::is_nil(c) ? CORBA::dk_none : c->def_kind()) {
    case CORBA::dk_Exception: {
      CORBA::ExceptionDef_var e = CORBA::ExceptionDef::_unchecked_narrow(c);
      tc = e->type();
      break;
    }
    case CORBA::dk_Alias:
    case CORBA::dk_Struct:
    case CORBA::dk_Union:
    case CORBA::dk_Enum:
    case CORBA::dk_Interface:
    case CORBA::dk_AbstractInterface:
    case CORBA::dk_Value:
    case CORBA::dk_ValueBox: {
      CORBA::IDLType_var t = CORBA::IDLType::_unchecked_narrow(c);
      tc = t->type();
      break;
    }
    default:  // not a type, or none (natives have no TypeCode)
      break;
  }
  types_[name] = CORBA::TypeCode::_duplicate(tc);
  return tc._retn();
}

std::string RepositoryTypes::type_name(CORBA::TypeCode_ptr tc) {
  std::string id = tc->id();
  auto known = names_.find(id);
  if (known != names_.end()) return known->second;
  std::string name;
  CORBA::Contained_var c = repository_->lookup_id(id.c_str());
  if (!CORBA::is_nil(c)) {
    CORBA::String_var absolute = c->absolute_name();
    name = absolute.in();
  }
  names_[id] = name;
  return name;
}
