// The part that aliases and value boxes share: a named type defined by
// one other type (the original type), with a use link to the named type
// behind it.
#ifndef IR_IR_ORIGTYPE_H
#define IR_IR_ORIGTYPE_H

#include "ir/typedf.h"
#include "ir/typeuse.h"

// What differs between the kinds: `Traits` supplies kFile, kSetterText,
// kOldLine, kNewLine (the failures of the setter), kChangeIdText,
// kChangeIdLine and make_tc(id, name, original TypeCode).
template <class Skeleton, class Traits>
class IrOriginalTypeDef : public virtual Skeleton,
                          public CORBA_TypedefDef_Impl {
 public:
  // Creation: keeps a duplicate of `original` and adopts `tc`.  The use
  // link is the caller's.
  IrOriginalTypeDef(const char* id, const char* name, const char* version,
                    const char* defined_in, CORBA::IDLType_ptr original,
                    CORBA::TypeCode_ptr tc)
      : CORBA_TypedefDef_Impl(id, name, version, defined_in),
        original_(CORBA::IDLType::_duplicate(original)) {
    CORBA_IDLType_Impl::type(tc);
  }
  // Loading, before stream_to_object.
  IrOriginalTypeDef(const char* id, const char* name, const char* version,
                    CORBA_Repository_Impl* repository, const char* defined_in)
      : CORBA_TypedefDef_Impl(id, name, version, repository, defined_in) {}

  // IDL
  CORBA::IDLType_ptr original_type_def() override {
    return CORBA::IDLType::_duplicate(original_.in());
  }
  // base + 0x48 when `t` (nil included) or the current type is not a
  // type; nothing changes then.
  void original_type_def(CORBA::IDLType_ptr t) override {
    CORBA::TypeCode_var tc = ir_replace_original(
        *this, original_, t, Traits::kFile, Traits::kSetterText,
        Traits::kOldLine, Traits::kNewLine, [&](CORBA::TypeCode_ptr original) {
          return Traits::make_tc(own_id(), own_name(), original);
        });
    CORBA_IDLType_Impl::type(tc._retn());
  }

  void object_to_stream(Encapsulation& e) override {
    CORBA_Contained_Impl::object_to_stream(e);
    narrow_and_continue_streaming(original_.in(), e);
  }
  // An original type that has gone leaves the definition without a
  // TypeCode.
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override {
    CORBA_Contained_Impl::stream_to_object(name, id, e);
    CORBA::TypeCode_var tc = ir_read_original(
        *this, e, original_, [&](CORBA::TypeCode_ptr original) {
          return Traits::make_tc(own_id(), own_name(), original);
        });
    if (!CORBA::is_nil(tc.in())) CORBA_IDLType_Impl::type(tc._retn());
  }
  // base + 0x52 when the original type does not refer to `old_id`.
  void changeID(const char* old_id, const char* new_id) override {
    if (ir_change_held_type(original_, old_id, new_id) == 0)
      kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, Traits::kFile,
                Traits::kChangeIdLine, nullptr, 0, IR_MSG_BAD_ARGUMENT, 0,
                CORBA::_tc_string, Traits::kChangeIdText, 0);
  }

 protected:
  CORBA::IDLType_var original_;
};

#endif
