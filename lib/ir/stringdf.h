// Bounded strings and wide strings: transient anonymous objects (the
// unbounded ones are the primitives pk_string and pk_wstring).
#ifndef IR_IR_STRINGDF_H
#define IR_IR_STRINGDF_H

#include <string>

#include "ir/idltype.h"

class CORBA_StringDef_Impl : public virtual POA_CORBA::StringDef,
                             public CORBA_IDLType_Impl {
 public:
  // Accepts any bound, 0 (unbounded) included.
  explicit CORBA_StringDef_Impl(CORBA::ULong bound);
  ~CORBA_StringDef_Impl() override;

  // IDL
  CORBA::ULong bound() override;
  // 0 raises base + 0x48; the same bound changes nothing.
  void bound(CORBA::ULong bound) override;
  // Does nothing: the object goes with its last reference.
  void destroy() override;

  // Registers the object as anonymous on first use.
  std::string object_key() override;
  // Writes dk_String, then the bound.
  void stream_in_line(Encapsulation& e);
  static CORBA_StringDef_Impl* _narrow(CORBA_IRObject_Impl* p);

 private:
  CORBA::ULong bound_;
  std::string oid_;
};

class CORBA_WstringDef_Impl : public virtual POA_CORBA::WstringDef,
                              public CORBA_IDLType_Impl {
 public:
  explicit CORBA_WstringDef_Impl(CORBA::ULong bound);
  ~CORBA_WstringDef_Impl() override;

  // IDL
  CORBA::ULong bound() override;
  void bound(CORBA::ULong bound) override;
  void destroy() override;

  std::string object_key() override;
  // Writes dk_Wstring, then the bound.
  void stream_in_line(Encapsulation& e);
  static CORBA_WstringDef_Impl* _narrow(CORBA_IRObject_Impl* p);

 private:
  CORBA::ULong bound_;
  std::string oid_;
};

#endif
