// The repository's objects for the types of parsed IDL: primitives,
// anonymous types (made on first use) and named types.
#ifndef IR_TOOLS_TYPE_OBJECTS_H
#define IR_TOOLS_TYPE_OBJECTS_H

#include <omniORB4/CORBA.h>

#include <map>
#include <string>

#include "feed_support.h"
#include "idl_records.h"

// Caches what it resolved; forget() drops the cache (after a cancelled
// transaction or a removal the anonymous types may be gone).  Not
// thread-safe.
class TypeObjects {
 public:
  // `refs` resolves named types; `before_change` runs before an anonymous
  // type is created.  All must outlive this object.
  TypeObjects(CORBA::Repository_ptr repository, ReferenceSource& refs,
              ChangeHook before_change);

  // The IDLType of `t` (a new reference).  Throws DefinitionError for a
  // type the repository cannot hold, or from the reference source.
  CORBA::IDLType_ptr resolve(const TypeExpr& t);
  // The TypeCode of `t`.
  CORBA::TypeCode_ptr type_code(const TypeExpr& t);
  // A primitive by kind.
  CORBA::IDLType_ptr primitive(CORBA::PrimitiveKind kind);

  void forget() { anonymous_.clear(); }

 private:
  CORBA::Repository_ptr repository_;
  ReferenceSource& refs_;
  ChangeHook before_change_;
  std::map<std::string, CORBA::IDLType_var> anonymous_;  // by signature
  std::map<int, CORBA::IDLType_var> primitives_;
};

#endif
