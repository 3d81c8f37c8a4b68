#include "client/description_fields.h"

namespace {

template <class T>
bool read_as(const CORBA::Any& value, DescriptionFields* out) {
  const T* d = nullptr;
  if (!(value >>= d) || !d) return false;
  out->name = d->name.in();
  out->id = d->id.in();
  out->defined_in = d->defined_in.in();
  out->version = d->version.in();
  out->known = true;
  return true;
}

}  // namespace

DescriptionFields description_fields(CORBA::DefinitionKind kind,
                                     const CORBA::Any& value) {
  DescriptionFields f;
  f.kind = kind;
  switch (kind) {
    case CORBA::dk_Module:
      read_as<CORBA::ModuleDescription>(value, &f);
      break;
    case CORBA::dk_Interface:
    case CORBA::dk_AbstractInterface:
      read_as<CORBA::InterfaceDescription>(value, &f);
      break;
    case CORBA::dk_Exception:
      read_as<CORBA::ExceptionDescription>(value, &f);
      break;
    case CORBA::dk_Constant:
      read_as<CORBA::ConstantDescription>(value, &f);
      break;
    case CORBA::dk_Operation:
      read_as<CORBA::OperationDescription>(value, &f);
      break;
    case CORBA::dk_Attribute:
      read_as<CORBA::AttributeDescription>(value, &f);
      break;
    case CORBA::dk_Value:
      read_as<CORBA::ValueDescription>(value, &f);
      break;
    case CORBA::dk_ValueMember:
      read_as<CORBA::ValueMember>(value, &f);
      break;
    default:
      read_as<CORBA::TypeDescription>(value, &f);
      break;
  }
  return f;
}
