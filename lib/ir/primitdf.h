// The primitive types (long, string, any, ...): one shared object per
// primitive kind, owned by the repository root and never destroyed.
#ifndef IR_IR_PRIMITDF_H
#define IR_IR_PRIMITDF_H

#include <string>

#include "ir/idltype.h"

class CORBA_PrimitiveDef_Impl : public virtual POA_CORBA::PrimitiveDef,
                                public CORBA_IDLType_Impl {
 public:
  // Takes the ORB's constant TypeCode of `k`.  pk_longdouble,
  // pk_value_base and anything beyond raise base + 0x53.
  explicit CORBA_PrimitiveDef_Impl(CORBA::PrimitiveKind k);
  ~CORBA_PrimitiveDef_Impl() override;

  // True for the kinds that have a primitive object: 0 to 17, 19, 20.
  static bool is_supported(CORBA::ULong k);

  // IDL
  CORBA::PrimitiveKind kind() override;
  // Always raises base + 0x48: primitives cannot be destroyed.
  void destroy() override;

  // "~p<kind>": the same reference in every run of the server.
  std::string object_key() override;
  // Writes dk_Primitive, then the kind.
  void stream_in_line(Encapsulation& e);
  static CORBA_PrimitiveDef_Impl* _narrow(CORBA_IRObject_Impl* p);

 private:
  CORBA::PrimitiveKind kind_;
};

#endif
