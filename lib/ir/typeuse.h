// How a definition uses other types: the named types behind its type
// references (the store's use links), the TypeCodes of its members and
// aliased types (with recursion closed onto the definitions that are
// being built), member lists in records, and the change of a referenced
// repository id.  Shared by structs, unions, exceptions, aliases and
// value boxes.
#ifndef IR_IR_TYPEUSE_H
#define IR_IR_TYPEUSE_H

#include <string>
#include <vector>

#include "ir/containd.h"
#include "ir/idltype.h"

// The kind of the repository object behind `type`; dk_none when `type`
// is nil or not an object of this repository.
CORBA::DefinitionKind ir_type_kind(CORBA::IDLType_ptr type);

// The repository id of the named type reached from `type` through
// sequence and array elements into `id` ("" for an anonymous type with
// no named type inside).  False when `type` is not a type of this
// repository (nil included).
bool ir_named_type_id(CORBA::IDLType_ptr type, std::string& id);

// The definitions that a TypeCode built for the definition `self_id`
// may refer back to: `self_id` and every struct, union and exception
// that encloses it, found through the store from `defined_in`.  A store
// failure ends the walk (the ids found so far are returned).
std::vector<std::string> ir_recursion_scope(IRStore* store, const char* self_id,
                                            const char* defined_in);

// The TypeCode of a use of `type` by a definition whose recursion scope
// is `scope`: type() of `type`, or its recursive placeholder while it has
// none, in which every struct, union, exception or value type whose id
// is in `scope` is replaced by the recursive placeholder of that id, so
// that the TypeCode built around it closes onto the definition itself
// (as a compiled TypeCode does).  Nil when `type` has no TypeCode.
// Caller owns the result.
CORBA::TypeCode_ptr ir_use_typecode(CORBA::IDLType_ptr type,
                                    const std::vector<std::string>& scope);

// `tc` (adopted) closed onto `scope` as ir_use_typecode does.  Caller
// owns the result.
CORBA::TypeCode_ptr ir_close_typecode(CORBA::TypeCode_ptr tc,
                                      const std::vector<std::string>& scope);

// The TypeCode of `type` built again through its sequence and array
// layers from the TypeCodes their innermost types have now, so that a
// named type whose members or id changed after the anonymous objects
// were made is seen as it is; ir_referenced_typecode for other types.
// Nil when a type has none.  Caller owns the result.
CORBA::TypeCode_ptr ir_fresh_typecode(CORBA::IDLType_ptr type);

// True when a value box in `tc` holds a recursive placeholder that no
// TypeCode has resolved: omniORB resolves none inside a value box, so
// such a TypeCode names a type it cannot describe.
bool ir_unresolved_in_box(CORBA::TypeCode_ptr tc);

// Replaces use links of `user`: one link removed per id of `removed`,
// one added per id of `added`.  Runs inside the caller's store update;
// store failures pass on as IRStore::Exception.
void ir_replace_uses(IRStore* store, const StoreHandle& user,
                     const std::vector<std::string>& removed,
                     const std::vector<std::string>& added);

// The changeID step for one held type reference: change1ref, and when
// the reference names the definition `old_id` itself (not through a
// sequence or array) `*replacement` receives a new reference under
// `new_id` (caller owns it).  Returns 1 when `ref` referred to `old_id`
// (change1ref's result, or an anonymous type that another user
// sharing it has re-pointed already).
int ir_change_type_ref(CORBA::IDLType_ptr ref, const char* old_id,
                       const char* new_id, CORBA::IDLType_ptr* replacement);

// ir_change_type_ref on a held reference (an IDLType_var or a member of
// a member sequence), replacing it when needed.
template <class Holder>
int ir_change_held_type(Holder& held, const char* old_id, const char* new_id) {
  CORBA::IDLType_ptr replacement = CORBA::IDLType::_nil();
  int changed = ir_change_type_ref(held, old_id, new_id, &replacement);
  if (!CORBA::is_nil(replacement)) held = replacement;
  return changed;
}

// --- member lists (StructMemberSeq, UnionMemberSeq) ---------------------

// The named types of the members' type_defs, one entry per member that
// has one.  False when a type_def is not a type of this repository.
template <class Seq>
bool ir_member_uses(const Seq& members, std::vector<std::string>& ids) {
  ids.clear();
  for (CORBA::ULong i = 0; i < members.length(); ++i) {
    std::string id;
    if (!ir_named_type_id(members[i].type_def, id)) return false;
    if (!id.empty()) ids.push_back(id);
  }
  return true;
}

// True when every member's type_def is an object of this repository
// whose kind may be used as a type.
template <class Seq>
bool ir_member_kinds_ok(const Seq& members) {
  for (CORBA::ULong i = 0; i < members.length(); ++i)
    if (!ck_idltype(ir_type_kind(members[i].type_def))) return false;
  return true;
}

// True when no member lacks its type_def.
template <class Seq>
bool ir_members_complete(const Seq& members) {
  for (CORBA::ULong i = 0; i < members.length(); ++i)
    if (CORBA::is_nil(members[i].type_def)) return false;
  return true;
}

// Fills every member's `type` from its `type_def` (ir_use_typecode) and
// collects the named types as ir_member_uses does.  False when a
// type_def is not a type or has no TypeCode; the members are then
// partly filled.
template <class Seq>
bool ir_fill_member_types(Seq& members, const std::vector<std::string>& scope,
                          std::vector<std::string>& ids) {
  if (!ir_member_uses(members, ids)) return false;
  for (CORBA::ULong i = 0; i < members.length(); ++i) {
    CORBA::TypeCode_ptr tc = ir_use_typecode(members[i].type_def, scope);
    if (CORBA::is_nil(tc)) return false;
    members[i].type = tc;
  }
  return true;
}

// The same for members read from a record, whose types may have gone: a
// member without a TypeCode gets tk_void.  False when any member has
// none (no TypeCode can then be built for the definition).
template <class Seq>
bool ir_fill_loaded_types(Seq& members, const std::vector<std::string>& scope) {
  bool complete = true;
  for (CORBA::ULong i = 0; i < members.length(); ++i) {
    CORBA::TypeCode_ptr tc = CORBA::TypeCode::_nil();
    if (!CORBA::is_nil(members[i].type_def))
      tc = ir_use_typecode(members[i].type_def, scope);
    if (CORBA::is_nil(tc)) {
      complete = false;
      tc = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    }
    members[i].type = tc;
  }
  return complete;
}

// Writes the member count, then per member its name, `extra` (the union
// label) and the in-line reference of its type_def.
template <class Seq, class Extra>
void ir_write_members(Encapsulation& e, const Seq& members, Extra&& extra) {
  e.put_ulong(members.length());
  for (CORBA::ULong i = 0; i < members.length(); ++i) {
    e.put_string(members[i].name);
    extra(e, members[i]);
    narrow_and_continue_streaming(members[i].type_def, e);
  }
}

// Reads what ir_write_members wrote.  The sequence grows one member at a
// time, so that a damaged count ends in CORBA::MARSHAL at the end of the
// record rather than in a huge allocation.
template <class Seq, class Extra>
void ir_read_members(Encapsulation& e, IRStore* store, Seq& members,
                     Extra&& extra) {
  CORBA::ULong n = e.get_ulong();
  members.length(0);
  for (CORBA::ULong i = 0; i < n; ++i) {
    members.length(i + 1);
    members[i].name = e.get_string();
    extra(e, members[i]);
    members[i].type_def = get_next_object(e, store);
  }
}

// Struct and exception members carry no label.
inline void ir_no_label(Encapsulation&, const CORBA::StructMember&) {}
inline void ir_no_label_in(Encapsulation&, CORBA::StructMember&) {}

// How a members setter reports its failures.
struct IrMembersContext {
  const char* file;
  const char* text;        // the insert, e.g. "CORBA::StructDef::members(...)"
  CORBA::ULong old_minor;  // an old member's type_def is not a type
  int old_msg;
  int old_line;
  int new_line;    // a new member's type_def is not a type (base + 0x48)
  bool object_op;  // hand the object to the store first
};

// The common body of the members setters: checks the old and the new
// members, fills the new members' types, builds the TypeCode with
// `build_tc(members)` (the ORB may refuse the list: its exception passes
// on and nothing changes), then in one store update replaces `held`,
// moves the use links and rewrites the record of `self`.  On any failure
// `held` and the store are as before.  Returns the new TypeCode (caller
// owns it).
template <class Seq, class BuildTc>
CORBA::TypeCode_ptr ir_replace_members(CORBA_Contained_Impl& self, Seq& held,
                                       const Seq& seq,
                                       const IrMembersContext& ctx,
                                       BuildTc&& build_tc) {
  std::vector<std::string> old_uses, new_uses;
  if (!ir_member_uses(held, old_uses))
    kaldError(ctx.old_minor, CORBA::COMPLETED_NO, ctx.file, ctx.old_line,
              nullptr, 0, ctx.old_msg, 0, CORBA::_tc_string, ctx.text, 0);
  Seq next(seq);
  std::vector<std::string> scope =
      ir_recursion_scope(self.store(), self.own_id(), self.own_defined_in());
  if (!ir_fill_member_types(next, scope, new_uses))
    kaldBadArgument(ctx.file, ctx.new_line, ctx.text);
  CORBA::TypeCode_var tc = build_tc(next);
  Seq old(held);
  held = next;
  try {
    ir_in_update(self.store(), ctx.file, __LINE__, ctx.text, [&](IrUpdate&) {
      if (ctx.object_op) self.store()->IRObjectOp(self.id_handle());
      ir_replace_uses(self.store(), self.id_handle(), old_uses, new_uses);
      self.write_record();
    });
  } catch (...) {
    held = old;
    throw;
  }
  return tc._retn();
}

// --- original types (aliases, value boxes) -------------------------------

// The common body of the original_type_def setters: checks the current
// and the new type (base + 0x48 at `old_line` or `new_line` with `text`
// when either is not a type), builds the new TypeCode with
// `build_tc(original TypeCode)` and then in one store update replaces
// `held`, moves the use link and rewrites the record of `self`.  On any
// failure `held` and the store are as before.  Returns the new TypeCode
// (caller owns it).
template <class BuildTc>
CORBA::TypeCode_ptr ir_replace_original(CORBA_Contained_Impl& self,
                                        CORBA::IDLType_var& held,
                                        CORBA::IDLType_ptr t, const char* file,
                                        const char* text, int old_line,
                                        int new_line, BuildTc&& build_tc) {
  std::string old_use, new_use;
  if (!ir_named_type_id(held, old_use)) kaldBadArgument(file, old_line, text);
  if (!ir_named_type_id(t, new_use)) kaldBadArgument(file, new_line, text);
  std::vector<std::string> scope =
      ir_recursion_scope(self.store(), self.own_id(), self.own_defined_in());
  CORBA::TypeCode_var original = ir_use_typecode(t, scope);
  if (CORBA::is_nil(original.in())) kaldBadArgument(file, new_line, text);
  CORBA::TypeCode_var tc = build_tc(original.in());
  std::vector<std::string> removed, added;
  if (!old_use.empty()) removed.push_back(old_use);
  if (!new_use.empty()) added.push_back(new_use);
  CORBA::IDLType_var old = held._retn();
  held = CORBA::IDLType::_duplicate(t);
  try {
    ir_in_update(self.store(), file, __LINE__, text, [&](IrUpdate&) {
      ir_replace_uses(self.store(), self.id_handle(), removed, added);
      self.write_record();
    });
  } catch (...) {
    held = old._retn();
    throw;
  }
  return tc._retn();
}

// Reads an original type from a record into `held` and returns the
// TypeCode that `build_tc` makes of its TypeCode (nil when the type has
// gone).
template <class BuildTc>
CORBA::TypeCode_ptr ir_read_original(CORBA_Contained_Impl& self,
                                     Encapsulation& e, CORBA::IDLType_var& held,
                                     BuildTc&& build_tc) {
  held = get_next_object(e, self.store());
  std::vector<std::string> scope =
      ir_recursion_scope(self.store(), self.own_id(), self.own_defined_in());
  CORBA::TypeCode_var original = CORBA::TypeCode::_nil();
  if (!CORBA::is_nil(held.in())) original = ir_use_typecode(held, scope);
  if (CORBA::is_nil(original.in())) return CORBA::TypeCode::_nil();
  return build_tc(original.in());
}

#endif
