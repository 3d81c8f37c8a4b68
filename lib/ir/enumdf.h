// Enum definitions: a named type with an ordered list of enumerators.
#ifndef IR_IR_ENUMDF_H
#define IR_IR_ENUMDF_H

#include "ir/typedf.h"

class CORBA_EnumDef_Impl : public virtual POA_IRExt::EnumDef,
                           public CORBA_TypedefDef_Impl {
 public:
  // Creation: copies `members` and adopts `tc`.
  CORBA_EnumDef_Impl(const char* id, const char* name, const char* version,
                     const char* defined_in,
                     const CORBA::EnumMemberSeq& members,
                     CORBA::TypeCode_ptr tc);
  // Loading, before stream_to_object.
  CORBA_EnumDef_Impl(const char* id, const char* name, const char* version,
                     CORBA_Repository_Impl* repository, const char* defined_in);
  ~CORBA_EnumDef_Impl() override;

  static CORBA_EnumDef_Impl* _narrow(CORBA_IRObject_Impl* p);
  // 0 when `members` is a valid enumerator list (not empty, no null or
  // empty name; duplicates are allowed), else the line of the failure.
  static int members_refusal(const CORBA::EnumMemberSeq& members);

  // IDL
  CORBA::EnumMemberSeq* members() override;
  // Refuses (base + 0x48) what members_refusal refuses; nothing changes
  // then.
  void members(const CORBA::EnumMemberSeq& members) override;

  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;

 private:
  CORBA::EnumMemberSeq members_;
};

#endif
