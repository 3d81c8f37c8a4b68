// The references that a removal would leave dangling: links to a
// definition, or to anything below it, from definitions that are not
// below it.
#ifndef IR_CLIENT_OUTSIDE_USES_H
#define IR_CLIENT_OUTSIDE_USES_H

#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

#include "client/listing.h"

struct OutsideUse {
  DefinitionSummary user;  // the definition that refers
  std::string used_id;     // to this one (the removed definition or below)
  std::string used_name;   // its scoped name
};

// The uses of `definition` and of everything below it from outside it,
// oldest user first: one call (IRExt::Contained::ext_outside_refs), or,
// against an irserver without it, a call per definition of the subtree.
// Throws the CORBA exception of a failed call.
std::vector<OutsideUse> outside_uses(CORBA::Repository_ptr repository,
                                     CORBA::Contained_ptr definition);

// True when the scoped name `name` is `top` or lies below it.
bool is_within(const std::string& name, const std::string& top);

#endif
