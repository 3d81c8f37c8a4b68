// The fields that every description of a contained definition carries,
// read from the kind-specific structure inside its Any.
#ifndef IR_CLIENT_DESCRIPTION_FIELDS_H
#define IR_CLIENT_DESCRIPTION_FIELDS_H

#include <omniORB4/CORBA.h>

#include <string>

struct DescriptionFields {
  CORBA::DefinitionKind kind = CORBA::dk_none;
  std::string name;
  std::string id;
  std::string defined_in;
  std::string version;
  bool known = false;  // false when the Any held no description we read
};

// Reads `value`, a description of kind `kind` (ModuleDescription,
// InterfaceDescription, TypeDescription, ...).
DescriptionFields description_fields(CORBA::DefinitionKind kind,
                                     const CORBA::Any& value);

#endif
