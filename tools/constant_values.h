// Values of parsed IDL as CORBA Anys: constant values and union labels,
// from the back-end's text form.
#ifndef IR_TOOLS_CONSTANT_VALUES_H
#define IR_TOOLS_CONSTANT_VALUES_H

#include <omniORB4/CORBA.h>

#include "client/type_text.h"
#include "idl_records.h"
#include "type_objects.h"

class ConstantValues {
 public:
  // `types` gives the TypeCodes of enums; both must outlive this object.
  ConstantValues(AnyCodec& codec, TypeObjects& types)
      : codec_(codec), types_(types) {}

  // The value of the constant `d` (a new Any).  Throws DefinitionError
  // for a type a constant cannot have.
  CORBA::Any* constant(const DefRecord& d);
  // The label `label` ("default" or an integer) of the union `d`, whose
  // discriminator is d.type.  The default label is the octet 0.
  CORBA::Any* label(const DefRecord& d, const std::string& label);

 private:
  AnyCodec& codec_;
  TypeObjects& types_;
};

#endif
