// Value types: the flags (custom, abstract, truncatable) with their
// modifier, the concrete base, the abstract bases and the supported
// interfaces (kept as inheritance links in the store, so that is_a and
// inherited names follow them), initializers with the use links of their
// members, state members, attributes and operations with the inherited
// name rules of value types, the descriptions, and the value TypeCode
// built from the definition itself.
#ifndef IR_IR_VALUEDF_H
#define IR_IR_VALUEDF_H

#include <string>
#include <vector>

#include "ir/containd.h"
#include "ir/containr_forwarders.h"
#include "ir/idltype.h"

class CORBA_ValueMemberDef_Impl;

class CORBA_ValueDef_Impl : public virtual POA_IRExt::ValueDef,
                            public CORBA_Contained_Impl,
                            public CORBA_Container_Impl,
                            public CORBA_IDLType_Impl {
 public:
  // Creation: copies the lists (whose checks are the caller's) and adopts
  // `tc`; the inheritance and use links are added by the caller through
  // add_links() inside its update.  The initializers' member TypeCodes
  // are taken from their type definitions.
  CORBA_ValueDef_Impl(const char* id, const char* name, const char* version,
                      const char* defined_in, CORBA::Boolean is_custom,
                      CORBA::Boolean is_abstract,
                      CORBA::ValueDef_ptr base_value,
                      CORBA::Boolean is_truncatable,
                      const CORBA::ValueDefSeq& abstract_base_values,
                      const CORBA::InterfaceDefSeq& supported_interfaces,
                      const CORBA::InitializerSeq& initializers,
                      CORBA::TypeCode_ptr tc);
  // Loading, before stream_to_object.
  CORBA_ValueDef_Impl(const char* id, const char* name, const char* version,
                      CORBA_Repository_Impl* repository,
                      const char* defined_in);
  ~CORBA_ValueDef_Impl() override;

  static CORBA_ValueDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // --- checks shared with create_value ---------------------------------
  // True when every entry is a value type of this repository whose
  // is_abstract is set.
  static bool abstract_bases_ok(const CORBA::ValueDefSeq& bases);
  // True when every entry is an interface or abstract interface of this
  // repository.
  static bool supported_interfaces_ok(const CORBA::InterfaceDefSeq& itfs);
  // The modifier that the flags give: custom before abstract before
  // truncatable.
  static CORBA::ValueModifier modifier_of(CORBA::Boolean is_custom,
                                          CORBA::Boolean is_abstract,
                                          CORBA::Boolean is_truncatable);
  // The value TypeCode of a value type with no state members (caller
  // owns): the TypeCode of a new value type.
  static CORBA::TypeCode_ptr initial_typecode(const char* id, const char* name,
                                              CORBA::ValueModifier modifier,
                                              CORBA::ValueDef_ptr base_value);

  // --- CORBA::ValueDef ----------------------------------------------------
  CORBA::InterfaceDefSeq* supported_interfaces() override;
  // The update is begun before the entries are checked; an entry that is
  // nil or not an interface of this repository raises BAD_PARAM OMG
  // minor 5 and changes nothing.
  void supported_interfaces(const CORBA::InterfaceDefSeq& itfs) override;
  CORBA::InitializerSeq* initializers() override;
  // Moves the use links from the named types of the old initializers'
  // members to those of the new ones; a member type that is not a type of
  // this repository raises base + 0x48 "CORBA::ValueDef::initializers(...)"
  // and changes nothing.
  void initializers(const CORBA::InitializerSeq& inits) override;
  CORBA::ValueDef_ptr base_value() override;
  // Replaces the concrete base and its inheritance link.  The base is not
  // required to be concrete; one that is not a value type of this
  // repository raises base + 0x48 "CORBA::ValueDef::base_value(...)".
  void base_value(CORBA::ValueDef_ptr base) override;
  CORBA::ValueDefSeq* abstract_base_values() override;
  // An entry that is nil or not an abstract value type raises BAD_PARAM
  // OMG minor 5 and changes nothing.
  void abstract_base_values(const CORBA::ValueDefSeq& bases) override;
  CORBA::Boolean is_abstract() override { return s_.is_abstract; }
  CORBA::Boolean is_custom() override { return s_.is_custom; }
  CORBA::Boolean is_truncatable() override { return s_.is_truncatable; }
  // The flag setters do nothing when the value is unchanged, else rewrite
  // the record and rebuild the TypeCode.  is_custom and is_truncatable
  // refuse a boolean above 1 (base + 0x48); is_abstract stores any
  // non-zero value as it is.  (Where omniORB maps CORBA::Boolean to a
  // C++ bool, as in the usual builds, a boolean is never above 1.)
  void is_abstract(CORBA::Boolean b) override;
  void is_custom(CORBA::Boolean b) override;
  void is_truncatable(CORBA::Boolean b) override;
  // True when this value type is `id`, or derives from it through a
  // concrete base, an abstract base or a supported interface, at any
  // level.
  CORBA::Boolean is_a(const char* id) override;
  // Own operations, attributes and state members only, in store order.
  CORBA::ValueDef::FullValueDescription* describe_value() override;
  // A state member.  The name may not be inherited (BAD_PARAM OMG minor
  // 2, even inside a user transaction) nor used in this value type
  // (BAD_PARAM OMG minor 3, unless a user transaction is open); `access`
  // is stored as given.
  CORBA::ValueMemberDef_ptr create_value_member(
      const char* id, const char* name, const char* version,
      CORBA::IDLType_ptr type, CORBA::Visibility access) override;
  CORBA::AttributeDef_ptr create_attribute(const char* id, const char* name,
                                           const char* version,
                                           CORBA::IDLType_ptr type,
                                           CORBA::AttributeMode mode) override;
  CORBA::OperationDef_ptr create_operation(
      const char* id, const char* name, const char* version,
      CORBA::IDLType_ptr result, CORBA::OperationMode mode,
      const CORBA::ParDescriptionSeq& params,
      const CORBA::ExceptionDefSeq& exceptions,
      const CORBA::ContextIdSeq& contexts) override;
  CORBA::Contained::Description* describe() override;

  // CORBA::Contained: a new id or name gives the value type a new
  // TypeCode.  base + 0x54 "CORBA::ValueDef::id(...)" when the new id is
  // in use; a name that the ORB refuses in a TypeCode changes nothing.
  char* id() override { return CORBA_Contained_Impl::id(); }
  void id(const char* new_id) override;
  char* name() override { return CORBA_Contained_Impl::name(); }
  void name(const char* new_name) override;
  // The value TypeCode; one built while an alias or value box that a
  // member names was itself being loaded is built again first.
  CORBA::TypeCode_ptr type() override;

  // --- own helpers ---------------------------------------------------------
  CORBA::ValueModifier value_modifier() const;
  // True when a value type, operation or attribute named `name` is
  // inherited (through the bases and supported interfaces, all levels).
  bool check_inherited_name_for_value(const char* name);
  // The value TypeCode of the definition as it is now (caller owns).
  CORBA::TypeCode_ptr create_value_tc_from_self();
  // The TypeCode that this value type's TypeCode holds for its state
  // member `member_id` (recursion closed onto the value type), or nil
  // while the value type has no TypeCode or does not list the member in
  // it yet.  Caller owns the result.
  CORBA::TypeCode_ptr member_typecode(const char* member_id);
  // Replaces the cached TypeCode by create_value_tc_from_self(), and that
  // of every cached value type derived from this one (their TypeCodes
  // hold this one as concrete base).
  void refresh_typecode();
  // Adds the inheritance links and the initializers' use links of a new
  // value type (inside the caller's update).
  void add_links();

  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;
  // Follows a changed id in the bases, the supported interfaces and the
  // initializers' member types; base + 0x52 "CORBA::ValueDef::changeID(...)"
  // when none refers to `old_id`.
  void changeID(const char* old_id, const char* new_id) override;
  const char* container_id() override { return own_id(); }

  IR_CONTAINER_FORWARDERS(refuse, fwd, fwd, fwd, fwd, fwd, refuse, fwd, refuse,
                          refuse, fwd, refuse)

 private:
  // The own fields, saved and restored together by the setters.
  struct State {
    CORBA::Boolean is_custom = false;
    CORBA::Boolean is_abstract = false;
    CORBA::Boolean is_truncatable = false;
    CORBA::ValueDef_var base_value;
    CORBA::ValueDefSeq abstract_base_values;
    CORBA::InterfaceDefSeq supported_interfaces;
    CORBA::InitializerSeq initializers;
  };
  // The frame of the setters: one store update in which `change`
  // replaces fields (and use links), the inheritance links move from the
  // old targets to the new ones, the record is rewritten and, when
  // `new_typecode`, the TypeCode is rebuilt (a refusal by the ORB
  // cancels the update).  Any failure restores the fields and the
  // TypeCode.  Values derived from this one get new TypeCodes too.
  template <class Change>
  void set(const char* text, bool new_typecode, Change&& change);
  // The flag setters' body; `range_text` null for is_abstract.
  void set_flag(CORBA::Boolean State::*field, CORBA::Boolean b,
                const char* range_text);
  // The ids of the definitions this value type inherits from, in link
  // order: concrete base, abstract bases, supported interfaces.
  std::vector<std::string> inheritance_targets() const;
  // Replaces the inheritance links to `old_targets` by links to the
  // current targets (inside the caller's update).
  void relink(const std::vector<std::string>& old_targets);
  // A value TypeCode with what it was built from.
  struct BuiltTypeCode {
    CORBA::TypeCode_var tc;
    // False when a member's type had no TypeCode yet: the TypeCode is to
    // be built again on the next type().
    bool complete = true;
    // The state members it holds, in order (some may be left out).
    std::vector<std::string> member_ids;
  };
  // The TypeCode for `tc_id` and `tc_name` from the flags, the base and
  // the state members, with `extra` (a member being created, its type
  // already the TypeCode's entry) last.  The ORB's refusal passes on.
  BuiltTypeCode build_typecode(const char* tc_id, const char* tc_name,
                               const CORBA::ValueMember* extra = nullptr);
  // The cached TypeCode as a BuiltTypeCode (to restore it).
  BuiltTypeCode cached() const;
  void adopt_typecode(BuiltTypeCode built);
  // Builds the cached TypeCode again from the definition.
  void rebuild();
  // Rebuilds the TypeCodes of the cached value types derived from this
  // one, at every level.
  void refresh_derived();
  // The definitions a member TypeCode may refer back to.
  std::vector<std::string> recursion_scope();
  // Fills the TypeCodes of the initializers' members from their type
  // definitions.
  static void fill_initializer_types(CORBA::InitializerSeq& inits);

  State s_;
  bool incomplete_ = false;  // the cached TypeCode is to be built again
  bool building_ = false;    // build_typecode is running
  // The state members that the cached TypeCode holds, in order.
  std::vector<std::string> tc_member_ids_;
};

// The entry of a state member in the TypeCode of its value type: name,
// id, defined_in, version, type (its type definition's TypeCode with the
// definitions of `scope` replaced by recursive placeholders), type_def
// and access (CORBA's Visibility).  The type is nil when there is no
// TypeCode that a value TypeCode may hold (the member is then left out
// of it): for good when the type has gone or is a native; for now, with
// `*complete` cleared, while an alias or value box is still being
// loaded.
CORBA::ValueMember get_value_member(CORBA_ValueMemberDef_Impl* member,
                                    const std::vector<std::string>& scope,
                                    bool* complete);

// The visibility that a value TypeCode carries for a member of `access`.
// omniORB's compiled TypeCodes (omniidl's C++ back-end) carry 0 for a
// public and 1 for a private member, the reverse of CORBA's
// PUBLIC_MEMBER and PRIVATE_MEMBER, and TypeCode::equal() compares
// visibilities: the repository's TypeCodes follow the compiled ones so
// that both are equal() for the same definition.  Other values pass
// unchanged.
CORBA::Visibility ir_typecode_visibility(CORBA::Visibility access);

// Rebuilds the TypeCode of the value type `value_id` when its servant is
// cached (and of those derived from it), after one of its state members
// has changed.
void ir_value_members_changed(const char* value_id);

#endif
