// Attributes, and what the members of interfaces and value types
// (attributes and operations) share: the checks on the type references
// that clients hand in, the use links to the named types behind them,
// and the frame of their create operations.
#ifndef IR_IR_ATTRIBDF_H
#define IR_IR_ATTRIBDF_H

#include <functional>
#include <string>

#include "ir/containd.h"
#include "ir/idltype.h"

class CORBA_Container_Impl;

// --- type references handed in by clients ----------------------------------

// The kind of the repository object behind `ref`, or dk_none when `ref`
// is nil or not an object of this repository.  A reference is judged by
// the object behind it, never by the type its proxy claims.
CORBA::DefinitionKind ir_kind_behind(CORBA::Object_ptr ref);
// True when `ref` denotes a type of this repository (ck_idltype).
bool ir_is_idltype(CORBA::Object_ptr ref);

// Adds (or removes) the use link from `user` to the named type behind
// `type` (through sequence and array elements); nothing for a type with
// no named type inside.  A named type that is not a contained object
// raises base + 0x48 with `text`; store failures reach the caller as
// IRStore::Exception (callers run this inside an update).
void ir_add_type_use(IRStore* store, const StoreHandle& user,
                     CORBA::IDLType_ptr type, const char* file, int line,
                     const char* text);
void ir_remove_type_use(IRStore* store, const StoreHandle& user,
                        CORBA::IDLType_ptr type, const char* file, int line,
                        const char* text);

// The TypeCode of a member of type `type`: its type(), the recursive
// placeholder while the type is being built, and tk_null when `type` is
// nil (the record named a definition that has been destroyed): a nil
// TypeCode cannot be marshalled in a reply.  Caller owns the result.
CORBA::TypeCode_ptr ir_member_typecode(CORBA::IDLType_ptr type);

// The type_def setters of attributes and value members: `t` must be a
// type of this repository, else base + 0x48 with `text`.  In one store
// update the object is handed to the store, the use link moves from the
// named type behind `type_def` to the one behind `t`, `type_def` and
// `type` (ir_member_typecode of `t`) are replaced and the record of
// `self` is rewritten.  Any failure leaves both fields as they were.
void ir_replace_member_type(CORBA_Contained_Impl& self,
                            CORBA::IDLType_var& type_def,
                            CORBA::TypeCode_var& type, CORBA::IDLType_ptr t,
                            const char* file, int line, const char* text);

// Follows a change of repository id in a type reference held by a
// member: change1ref, and a reference that names `old_id` itself is
// replaced by one under `new_id`.  Returns 1 when something changed.
int ir_change_type_ref(CORBA::IDLType_var& ref, const char* old_id,
                       const char* new_id);

// Forgets the contents caches that list `member` as an inherited member
// (those of the interfaces and value types that derive from its
// container), after its name or id has changed.
void ir_forget_inherited_member(CORBA_Contained_Impl* member);

// Raises base + 0x54 with `msgno` and `text`.
[[noreturn]] void ir_report_clash(const char* file, int line, const char* text,
                                  int msgno = IR_MSG_CLASH);

// Raises base + 0x48 with `text` when `name` is longer than 254
// characters.
void ir_check_name_length(const char* name, const char* file, int line,
                          const char* text);

// --- creation of members ---------------------------------------------------

// One clash report: BAD_PARAM with OMG minor `omg_minor` when that is
// not 0, else base + 0x54 (message 1021); `text` is logged.
struct IrClashReport {
  CORBA::ULong omg_minor;
  const char* text;
};

// How a container kind checks and reports the clashes of a new member.
struct IrMemberCreation {
  // Context of store failures ("CORBA::InterfaceDef::create_attribute").
  const char* context;
  // True when the container inherits a definition named `name`; asked
  // only while TransOn is clear.
  std::function<bool(const char* name)> inherited;
  // An inherited name, and an existing definition: the repository id is
  // in use, or (while TransOn is clear) the name is used in the
  // container.  Raised after the update is cancelled.
  IrClashReport inherited_clash;
  IrClashReport existing_clash;
  // Ask `inherited` while a user transaction is open too (value members:
  // an inherited name is refused whatever the state of TransOn).
  bool inherited_in_transaction = false;
};

// The store side of every member creation, in one store update: the
// clash checks of `how`, `build` (the new servant with one reference for
// the caller), the insert of its record under `container_id`, `links`
// (use links), then the servant cache and the container's contents.
// Returns the servant with one reference for the caller.
CORBA_Contained_Impl* ir_create_member(
    CORBA_Container_Impl* container, const char* container_id, const char* id,
    const char* name, const IrMemberCreation& how,
    const std::function<CORBA_Contained_Impl*()>& build,
    const std::function<void(CORBA_Contained_Impl*)>& links);

// The context strings of create_attribute of one container kind.
struct IrAttributeTexts {
  const char* null_input;
  const char* name;
  const char* mode;
  const char* type;
  const char* context;
};

// create_attribute of interfaces and value types: the argument checks in
// order (null input, name length, mode, type), then ir_create_member with
// BAD_PARAM OMG minor 2 for an inherited name and 3 for an existing
// definition, and the use link to the attribute's named type.
CORBA::AttributeDef_ptr ir_create_attribute(
    CORBA_Container_Impl* container, const char* container_id,
    const IrAttributeTexts& texts,
    const std::function<bool(const char*)>& inherited, const char* id,
    const char* name, const char* version, CORBA::IDLType_ptr type,
    CORBA::AttributeMode mode);

// --- the attribute servant -------------------------------------------------

class CORBA_AttributeDef_Impl : public virtual POA_IRExt::AttributeDef,
                                public CORBA_Contained_Impl {
 public:
  // Creation: the type and mode are checked by the caller.
  CORBA_AttributeDef_Impl(const char* id, const char* name, const char* version,
                          const char* defined_in, CORBA::IDLType_ptr type,
                          CORBA::AttributeMode mode);
  // Loading, before stream_to_object.
  CORBA_AttributeDef_Impl(const char* id, const char* name, const char* version,
                          CORBA_Repository_Impl* repository,
                          const char* defined_in);
  ~CORBA_AttributeDef_Impl() override;

  static CORBA_AttributeDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // CORBA::Contained, keeping derived interfaces' contents caches true.
  char* id() override { return CORBA_Contained_Impl::id(); }
  void id(const char* new_id) override;
  char* name() override { return CORBA_Contained_Impl::name(); }
  void name(const char* new_name) override;

  // CORBA::AttributeDef
  CORBA::TypeCode_ptr type() override;
  CORBA::IDLType_ptr type_def() override;
  // Moves the use link to the new type's named type; base + 0x48
  // "CORBA::AttributeDef::type_def(...)" for a reference that is not a
  // type of this repository.
  void type_def(CORBA::IDLType_ptr type) override;
  CORBA::AttributeMode mode() override;
  // base + 0x48 "CORBA::AttributeDef::mode(...)" above ATTR_READONLY;
  // the current mode writes nothing.
  void mode(CORBA::AttributeMode mode) override;
  CORBA::Contained::Description* describe() override;

  // The description of describe(), describe_interface and the like.
  CORBA::AttributeDescription description();

  void changeID(const char* old_id, const char* new_id) override;
  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;

 private:
  CORBA::TypeCode_var type_;
  CORBA::IDLType_var type_def_;
  CORBA::AttributeMode mode_ = CORBA::ATTR_NORMAL;
};

#endif
