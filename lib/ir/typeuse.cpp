#include "ir/typeuse.h"

#include <algorithm>

#include "ir/elemtype.h"
#include "ir/servant_locator.h"
#include "store/store_handle.h"

namespace {

bool contains(const std::vector<std::string>& ids, const std::string& id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

// `tc` with every struct, union, exception or value type of `scope`
// nested in it replaced by its recursive placeholder; nil when nothing
// was replaced.
// `path` holds the ids of the named TypeCodes being walked: a resolved
// recursive TypeCode leads back to one of them, and the walk stops there.
CORBA::TypeCode_ptr close_onto(CORBA::TypeCode_ptr tc,
                               const std::vector<std::string>& scope,
                               std::vector<std::string>& path) {
  CORBA::TCKind kind;
  try {
    kind = tc->kind();
  } catch (const CORBA::BAD_TYPECODE&) {
    // An unresolved placeholder: nothing to look into.
    return CORBA::TypeCode::_nil();
  }
  CORBA::ORB_ptr orb = ir_orb();
  switch (kind) {
    case CORBA::tk_struct:
    case CORBA::tk_except:
    case CORBA::tk_union: {
      std::string id = tc->id();
      if (contains(scope, id)) return orb->create_recursive_tc(id.c_str());
      if (contains(path, id)) return CORBA::TypeCode::_nil();
      path.push_back(id);
      CORBA::ULong n = tc->member_count();
      std::vector<CORBA::TypeCode_var> types(n);
      bool changed = false;
      for (CORBA::ULong i = 0; i < n; ++i) {
        CORBA::TypeCode_var member = tc->member_type(i);
        types[i] = close_onto(member, scope, path);
        if (CORBA::is_nil(types[i].in()))
          types[i] = member._retn();
        else
          changed = true;
      }
      path.pop_back();
      if (!changed) return CORBA::TypeCode::_nil();
      CORBA::String_var name = CORBA::string_dup(tc->name());
      if (kind == CORBA::tk_union) {
        CORBA::UnionMemberSeq members;
        members.length(n);
        for (CORBA::ULong i = 0; i < n; ++i) {
          members[i].name = tc->member_name(i);
          CORBA::Any_var label = tc->member_label(i);
          members[i].label = label.in();
          members[i].type = types[i]._retn();
        }
        CORBA::TypeCode_var disc = tc->discriminator_type();
        return orb->create_union_tc(id.c_str(), name, disc, members);
      }
      CORBA::StructMemberSeq members;
      members.length(n);
      for (CORBA::ULong i = 0; i < n; ++i) {
        members[i].name = tc->member_name(i);
        members[i].type = types[i]._retn();
      }
      return kind == CORBA::tk_struct
                 ? orb->create_struct_tc(id.c_str(), name, members)
                 : orb->create_exception_tc(id.c_str(), name, members);
    }
    case CORBA::tk_value: {
      std::string id = tc->id();
      if (contains(scope, id)) return orb->create_recursive_tc(id.c_str());
      if (contains(path, id)) return CORBA::TypeCode::_nil();
      path.push_back(id);
      bool changed = false;
      // The concrete base is closed only when it is not itself a
      // definition being built: a value TypeCode cannot have a recursive
      // placeholder as its base.
      CORBA::TypeCode_var base = tc->concrete_base_type();
      if (CORBA::is_nil(base.in()))
        base = CORBA::TypeCode::_duplicate(CORBA::_tc_null);
      if (base->kind() == CORBA::tk_value &&
          !contains(scope, std::string(base->id()))) {
        CORBA::TypeCode_var closed = close_onto(base, scope, path);
        if (!CORBA::is_nil(closed.in())) {
          base = closed._retn();
          changed = true;
        }
      }
      CORBA::ULong n = tc->member_count();
      CORBA::ValueMemberSeq members;
      members.length(n);
      for (CORBA::ULong i = 0; i < n; ++i) {
        CORBA::TypeCode_var member = tc->member_type(i);
        CORBA::TypeCode_var closed = close_onto(member, scope, path);
        members[i].name = tc->member_name(i);
        members[i].access = tc->member_visibility(i);
        if (CORBA::is_nil(closed.in())) {
          members[i].type = member._retn();
        } else {
          members[i].type = closed._retn();
          changed = true;
        }
      }
      path.pop_back();
      if (!changed) return CORBA::TypeCode::_nil();
      return orb->create_value_tc(id.c_str(), tc->name(), tc->type_modifier(),
                                  base, members);
    }
    case CORBA::tk_sequence:
    case CORBA::tk_array:
    case CORBA::tk_alias: {
      CORBA::TypeCode_var content = tc->content_type();
      CORBA::TypeCode_var inner = close_onto(content, scope, path);
      if (CORBA::is_nil(inner.in())) return CORBA::TypeCode::_nil();
      if (kind == CORBA::tk_sequence)
        return orb->create_sequence_tc(tc->length(), inner);
      if (kind == CORBA::tk_array)
        return orb->create_array_tc(tc->length(), inner);
      return orb->create_alias_tc(tc->id(), tc->name(), inner);
    }
    // omniORB resolves no recursive placeholder inside a value box: the
    // box keeps the TypeCode it was built with.
    case CORBA::tk_value_box:
    default:
      return CORBA::TypeCode::_nil();
  }
}

bool unresolved_in_box(CORBA::TypeCode_ptr tc, bool in_box,
                       std::vector<std::string>& path, int depth) {
  if (depth > 2 * kMaxTypeNesting) return false;
  CORBA::TCKind kind;
  try {
    kind = tc->kind();
  } catch (const CORBA::BAD_TYPECODE&) {
    return in_box;
  }
  switch (kind) {
    case CORBA::tk_struct:
    case CORBA::tk_except:
    case CORBA::tk_union:
    case CORBA::tk_value: {
      // A resolved recursion leads back to a TypeCode on the path.
      std::string id = tc->id();
      if (contains(path, id)) return false;
      path.push_back(id);
      bool found = false;
      for (CORBA::ULong i = 0; !found && i < tc->member_count(); ++i) {
        CORBA::TypeCode_var member = tc->member_type(i);
        found = unresolved_in_box(member, in_box, path, depth + 1);
      }
      if (!found && kind == CORBA::tk_value) {
        CORBA::TypeCode_var base = tc->concrete_base_type();
        if (!CORBA::is_nil(base.in()))
          found = unresolved_in_box(base, in_box, path, depth + 1);
      }
      path.pop_back();
      return found;
    }
    case CORBA::tk_sequence:
    case CORBA::tk_array:
    case CORBA::tk_alias:
    case CORBA::tk_value_box: {
      CORBA::TypeCode_var content = tc->content_type();
      return unresolved_in_box(content, in_box || kind == CORBA::tk_value_box,
                               path, depth + 1);
    }
    default:
      return false;
  }
}

}  // namespace

bool ir_unresolved_in_box(CORBA::TypeCode_ptr tc) {
  if (CORBA::is_nil(tc)) return false;
  std::vector<std::string> path;
  return unresolved_in_box(tc, false, path, 0);
}

CORBA::DefinitionKind ir_type_kind(CORBA::IDLType_ptr type) {
  if (CORBA::is_nil(type)) return CORBA::dk_none;
  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(type));
  return s.in() ? s->def_kind() : CORBA::dk_none;
}

bool ir_named_type_id(CORBA::IDLType_ptr type, std::string& id) {
  id.clear();
  CORBA::Boolean found = 0;
  CORBA::IDLType_var named = find_named_type(type, found);
  if (!found) return false;
  if (CORBA::is_nil(named.in())) return true;
  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(named));
  CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(s.in());
  if (!c) return false;
  id = c->own_id();
  return true;
}

std::vector<std::string> ir_recursion_scope(IRStore* store, const char* self_id,
                                            const char* defined_in) {
  std::vector<std::string> scope{self_id};
  std::string current = defined_in ? defined_in : "";
  if (!store) return scope;
  try {
    // Containers nest as deep as the store holds them; the bound only
    // guards against a damaged parent chain.
    for (int guard = 0;
         guard < 10000 && !current.empty() && current != repository_base_rep_id;
         ++guard) {
      StoreHandle h(current);
      int kind = store->IRKindOf(h);
      if (kind != CORBA::dk_Struct && kind != CORBA::dk_Union &&
          kind != CORBA::dk_Exception)
        break;
      scope.push_back(current);
      std::unique_ptr<StoreHandle> parent = store->IRParentOf(h);
      if (!parent) break;
      current = parent->key_string();
    }
  } catch (const IRStore::Exception&) {
  }
  return scope;
}

CORBA::TypeCode_ptr ir_use_typecode(CORBA::IDLType_ptr type,
                                    const std::vector<std::string>& scope) {
  return ir_close_typecode(ir_referenced_typecode(type), scope);
}

CORBA::TypeCode_ptr ir_close_typecode(CORBA::TypeCode_ptr tc,
                                      const std::vector<std::string>& scope) {
  CORBA::TypeCode_var held(tc);
  if (CORBA::is_nil(held.in()) || scope.empty()) return held._retn();
  std::vector<std::string> path;
  CORBA::TypeCode_ptr closed = close_onto(held, scope, path);
  return CORBA::is_nil(closed) ? held._retn() : closed;
}

CORBA::TypeCode_ptr ir_fresh_typecode(CORBA::IDLType_ptr type) {
  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(type));
  CORBA::IDLType_ptr element = CORBA::IDLType::_nil();
  CORBA::ULong bound = 0;
  if (auto* holder = CORBA_ElementType_Impl::_narrow(s.in())) {
    element = holder->element();
    bound = holder->size();
  } else {
    return ir_referenced_typecode(type);
  }
  // Element chains are bounded (the element setters refuse deeper ones).
  CORBA::TypeCode_var inner = ir_fresh_typecode(element);
  if (CORBA::is_nil(inner.in())) return CORBA::TypeCode::_nil();
  if (s->def_kind() == CORBA::dk_Sequence)
    return ir_orb()->create_sequence_tc(bound, inner);
  return ir_orb()->create_array_tc(bound, inner);
}

void ir_replace_uses(IRStore* store, const StoreHandle& user,
                     const std::vector<std::string>& removed,
                     const std::vector<std::string>& added) {
  for (const std::string& id : removed)
    store->IRRemoveUse(user, StoreHandle(id));
  for (const std::string& id : added) store->IRAddUse(user, StoreHandle(id));
}

int ir_change_type_ref(CORBA::IDLType_ptr ref, const char* old_id,
                       const char* new_id, CORBA::IDLType_ptr* replacement) {
  if (!old_id || !new_id) return 0;
  // Whether the reference itself names the old id is known only before
  // the change: afterwards its object id resolves to nothing.
  bool direct = ir_object_key_of(ref) == old_id;
  CORBA::DefinitionKind kind = direct ? ir_type_kind(ref) : CORBA::dk_none;
  int changed = change1ref(ref, old_id, new_id);
  // An anonymous type shared with another user may have been re-pointed
  // by that user's change already: it still refers to the definition.
  std::string named;
  if (!changed && ir_named_type_id(ref, named) && named == new_id) changed = 1;
  if (changed && direct && kind != CORBA::dk_none && replacement) {
    CORBA::Object_var fresh = ir_make_reference(new_id, kind);
    *replacement = CORBA::IDLType::_unchecked_narrow(fresh);
  }
  return changed;
}
