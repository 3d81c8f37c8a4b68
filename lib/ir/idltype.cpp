#include "ir/idltype.h"

#include <cstring>

#include "ir/anontype.h"
#include "ir/arraydf.h"
#include "ir/containd.h"
#include "ir/irglob.h"
#include "ir/primitdf.h"
#include "ir/reposito.h"
#include "ir/sequendf.h"
#include "ir/servant_locator.h"
#include "ir/stringdf.h"

namespace {

const char kFile[] = "lib/ir/idltype";

[[noreturn]] void bad_kind(int line, const char* text) {
  kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, line, nullptr, 0,
            IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string, text, 0);
}

// Depth of the narrow_and_continue_streaming calls in progress on this
// thread: an anonymous type is streamed by its servant, which streams its
// element through narrow_and_continue_streaming again.
thread_local int stream_depth = 0;

class StreamDepthGuard {
 public:
  StreamDepthGuard() {
    if (stream_depth > kMaxTypeNesting)
      bad_kind(__LINE__, "narrow_and_continue_streaming");
    ++stream_depth;
  }
  ~StreamDepthGuard() { --stream_depth; }
  StreamDepthGuard(const StreamDepthGuard&) = delete;
  StreamDepthGuard& operator=(const StreamDepthGuard&) = delete;
};

// The element reference of a sequence or array servant, duplicated; nil
// for other servants.
CORBA::IDLType_ptr element_of(CORBA_IRObject_Impl* s) {
  if (auto* holder = CORBA_ElementType_Impl::_narrow(s))
    return CORBA::IDLType::_duplicate(holder->element());
  return CORBA::IDLType::_nil();
}

// The object id of a reference of the IR POA, or "" when it has none.
std::string object_id_of(CORBA::Object_ptr obj) {
  PortableServer::POA_ptr poa = ir_poa();
  if (CORBA::is_nil(obj) || CORBA::is_nil(poa)) return std::string();
  try {
    PortableServer::ObjectId_var oid = poa->reference_to_id(obj);
    return std::string(reinterpret_cast<const char*>(oid->get_buffer()),
                       oid->length());
  } catch (const PortableServer::POA::WrongAdapter&) {
  } catch (const PortableServer::POA::WrongPolicy&) {
  } catch (const CORBA::SystemException&) {
  }
  return std::string();
}

CORBA::IDLType_ptr read_type(Encapsulation& enc, IRStore* store, int depth) {
  if (depth > kMaxTypeNesting) bad_kind(__LINE__, "get_next_object");
  CORBA::ULong kind = enc.get_ulong();
  // Checked before the conversion: a damaged record may hold any number.
  if (kind > CORBA::dk_AbstractInterface) bad_kind(__LINE__, "get_next_object");
  auto dk = static_cast<CORBA::DefinitionKind>(kind);

  if (is_contained_def_kind(dk)) {
    CORBA::String_var id = enc.get_string();
    if (!store) {
      CORBA_Repository_Impl* root = get_repository_impl();
      store = root ? root->get_irs() : nullptr;
    }
    if (!store) return CORBA::IDLType::_nil();
    Servant_ref<CORBA_Contained_Impl> c(
        ir_fetch_object(store, id.in(), kFile, __LINE__, id.in()));
    // A definition that has gone, or that is not a type, reads as nil.
    if (!c.in() || !ck_idltype(c->def_kind())) return CORBA::IDLType::_nil();
    return ir_ref_as<CORBA::IDLType>(c.in());
  }

  switch (dk) {
    case CORBA::dk_Primitive: {
      CORBA::ULong pk = enc.get_ulong();
      // A kind without a primitive object cannot have been written by
      // this repository: the record is damaged.
      if (!CORBA_PrimitiveDef_Impl::is_supported(pk))
        bad_kind(__LINE__, "get_next_object");
      CORBA_Repository_Impl* root =
          kaldIrGlobalObject ? kaldIrGlobalObject->repository : nullptr;
      if (!root) kaldNoMemory(kFile, 389);
      Servant_ref<CORBA_PrimitiveDef_Impl> p(
          root->get_primitive_impl(static_cast<CORBA::PrimitiveKind>(pk)));
      if (!p.in()) kaldNoMemory(kFile, 389);
      return ir_ref_as<CORBA::IDLType>(p.in());
    }
    case CORBA::dk_String: {
      CORBA::ULong bound = enc.get_ulong();
      Servant_ref<CORBA_StringDef_Impl> s(new CORBA_StringDef_Impl(bound));
      return ir_ref_as<CORBA::IDLType>(s.in());
    }
    case CORBA::dk_Wstring: {
      CORBA::ULong bound = enc.get_ulong();
      Servant_ref<CORBA_WstringDef_Impl> s(new CORBA_WstringDef_Impl(bound));
      return ir_ref_as<CORBA::IDLType>(s.in());
    }
    case CORBA::dk_Sequence: {
      CORBA::ULong bound = enc.get_ulong();
      CORBA::IDLType_var element = read_type(enc, store, depth + 1);
      Servant_ref<CORBA_SequenceDef_Impl> s(new CORBA_SequenceDef_Impl(
          bound, CORBA::TypeCode::_nil(), element.in()));
      return ir_ref_as<CORBA::IDLType>(s.in());
    }
    case CORBA::dk_Array: {
      CORBA::ULong length = enc.get_ulong();
      CORBA::IDLType_var element = read_type(enc, store, depth + 1);
      Servant_ref<CORBA_ArrayDef_Impl> s(new CORBA_ArrayDef_Impl(
          length, CORBA::TypeCode::_nil(), element.in()));
      return ir_ref_as<CORBA::IDLType>(s.in());
    }
    default:
      bad_kind(403, "get_next_object");
  }
}

}  // namespace

// --- CORBA_IDLType_Impl ------------------------------------------------

CORBA_IDLType_Impl::CORBA_IDLType_Impl() = default;

CORBA_IDLType_Impl::CORBA_IDLType_Impl(CORBA::DefinitionKind kind) {
  // The virtual base was built by the most derived class; the kind given
  // here is the same one.
  def_kind_ = kind;
  switch (kind) {
    case CORBA::dk_Primitive:
    case CORBA::dk_String:
    case CORBA::dk_Wstring:
      store_ = nullptr;
      break;
    case CORBA::dk_Sequence:
    case CORBA::dk_Array: {
      CORBA_Repository_Impl* root = get_repository_impl();
      store_ = root ? root->get_irs() : nullptr;
      break;
    }
    default:
      break;
  }
}

CORBA_IDLType_Impl::CORBA_IDLType_Impl(CORBA::TypeCode_ptr tc)
    : cached_tc_(tc) {}

CORBA_IDLType_Impl::~CORBA_IDLType_Impl() = default;

CORBA::TypeCode_ptr CORBA_IDLType_Impl::type() {
  if (CORBA::is_nil(cached_tc_.in())) return CORBA::TypeCode::_nil();
  return CORBA::TypeCode::_duplicate(cached_tc_.in());
}

void CORBA_IDLType_Impl::type(CORBA::TypeCode_ptr tc) {
  if (CORBA::is_nil(tc))
    kaldBadArgument(kFile, __LINE__, "CORBA::IDLType::type");
  if (tc == cached_tc_.in()) return;
  cached_tc_ = tc;
}

CORBA_IRObject_Impl* CORBA_IDLType_Impl::get_impl(CORBA::IDLType_ptr ref) {
  return ir_servant_of(ref);
}

CORBA_IDLType_Impl* CORBA_IDLType_Impl::is_idltype() {
  return ck_idltype(def_kind_) ? this : nullptr;
}

CORBA_IDLType_Impl* CORBA_IDLType_Impl::_narrow(CORBA_IRObject_Impl* p) {
  if (!p || !ck_idltype(p->def_kind())) return nullptr;
  return dynamic_cast<CORBA_IDLType_Impl*>(p);
}

// --- in-line type references ---------------------------------------------

void narrow_and_continue_streaming(CORBA::IDLType_ptr type,
                                   Encapsulation& enc) {
  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(type));
  if (!s.in()) bad_kind(67, "narrow_and_continue_streaming");
  StreamDepthGuard guard;
  CORBA::DefinitionKind kind = s->def_kind();
  if (is_contained_def_kind(kind)) {
    if (CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(s.in()))
      c->stream_in_line(enc);
    return;
  }
  switch (kind) {
    case CORBA::dk_Primitive:
      if (auto* p = CORBA_PrimitiveDef_Impl::_narrow(s.in()))
        p->stream_in_line(enc);
      break;
    case CORBA::dk_String:
      if (auto* p = CORBA_StringDef_Impl::_narrow(s.in()))
        p->stream_in_line(enc);
      break;
    case CORBA::dk_Wstring:
      if (auto* p = CORBA_WstringDef_Impl::_narrow(s.in()))
        p->stream_in_line(enc);
      break;
    case CORBA::dk_Sequence:
    case CORBA::dk_Array:
      if (auto* p = CORBA_ElementType_Impl::_narrow(s.in()))
        p->stream_in_line(enc);
      break;
    default:
      break;
  }
}

CORBA::IDLType_ptr get_next_object(Encapsulation& enc, IRStore* store) {
  try {
    return read_type(enc, store, 0);
  } catch (const CORBA::MARSHAL&) {
    // A truncated or garbled record.
    bad_kind(__LINE__, "get_next_object");
  }
}

std::string ir_inline_form(CORBA::IDLType_ptr type) {
  EncapIIOP e;
  narrow_and_continue_streaming(type, e);
  std::vector<std::uint8_t> bytes = e.bytes();
  return std::string(bytes.begin(), bytes.end());
}

// --- named types and TypeCodes ---------------------------------------------

CORBA::IDLType_ptr find_named_type(CORBA::IDLType_ptr type,
                                   CORBA::Boolean& found) {
  found = 0;
  CORBA::IDLType_var current = CORBA::IDLType::_duplicate(type);
  // Element chains are acyclic (the element setters refuse cycles) and
  // bounded; the bound is checked anyway so that no chain loops forever.
  for (int depth = 0; depth <= kMaxTypeNesting + 1; ++depth) {
    if (CORBA::is_nil(current.in())) return CORBA::IDLType::_nil();
    Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(current));
    if (!s.in()) return CORBA::IDLType::_nil();
    CORBA::DefinitionKind kind = s->def_kind();
    if (!ck_idltype(kind)) return CORBA::IDLType::_nil();
    if (!is_anonymous_type(kind)) {
      found = 1;
      return current._retn();
    }
    if (kind != CORBA::dk_Sequence && kind != CORBA::dk_Array) {
      found = 1;
      return CORBA::IDLType::_nil();
    }
    current = element_of(s.in());
  }
  bad_kind(__LINE__, "find_named_type");
}

CORBA::TypeCode_ptr make_recursive_tc(CORBA::IDLType_ptr type) {
  CORBA::Boolean found = 0;
  CORBA::IDLType_var named = find_named_type(type, found);
  if (!found || CORBA::is_nil(named.in())) return CORBA::TypeCode::_nil();
  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(named));
  CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(s.in());
  if (!c) return CORBA::TypeCode::_nil();
  return ir_orb()->create_recursive_tc(c->own_id());
}

CORBA::TypeCode_ptr ir_type_of(CORBA::IDLType_ptr type) {
  if (CORBA::is_nil(type)) return CORBA::TypeCode::_nil();
  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(type));
  CORBA_IDLType_Impl* t = CORBA_IDLType_Impl::_narrow(s.in());
  if (!t) return CORBA::TypeCode::_nil();
  return t->type();
}

CORBA::TypeCode_ptr ir_referenced_typecode(CORBA::IDLType_ptr type) {
  CORBA::TypeCode_var tc = ir_type_of(type);
  if (!CORBA::is_nil(tc.in())) return tc._retn();
  return make_recursive_tc(type);
}

void ir_check_element(const CORBA_IRObject_Impl* self, IRStore* store,
                      CORBA::IDLType_ptr element, const char* file, int line,
                      const char* context) {
  // The element must not contain `self` (its record form would never end)
  // and must leave room for this level of nesting.
  int depth = ir_anonymous_depth(element, self);
  if (depth < 0 || depth >= kMaxTypeNesting)
    kaldBadArgument(file, __LINE__, context);
  CORBA::Boolean found = 0;
  CORBA::IDLType_var named = find_named_type(element, found);
  if (!found) kaldBadArgument(file, line, context);
  if (CORBA::is_nil(named.in()) || !store) return;
  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(named));
  if (CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(s.in()))
    ir_store_call(file, __LINE__, context,
                  [&] { store->IRObjectOp(StoreHandle(c->own_id())); });
}

CORBA::TypeCode_ptr ir_element_type(CORBA::IDLType_ptr element,
                                    CORBA::TypeCode_ptr held) {
  CORBA::TypeCode_var tc = ir_type_of(element);
  if (CORBA::is_nil(tc.in())) return CORBA::TypeCode::_duplicate(held);
  return tc._retn();
}

int ir_anonymous_depth(CORBA::IDLType_ptr type,
                       const CORBA_IRObject_Impl* self) {
  CORBA::IDLType_var current = CORBA::IDLType::_duplicate(type);
  int depth = 0;
  while (depth <= kMaxTypeNesting && !CORBA::is_nil(current.in())) {
    Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(current));
    if (!s.in()) break;
    if (self && s.in() == self) return -1;
    CORBA::DefinitionKind kind = s->def_kind();
    if (kind != CORBA::dk_Sequence && kind != CORBA::dk_Array) break;
    ++depth;
    current = element_of(s.in());
  }
  return depth;
}

int change1ref(CORBA::IDLType_ptr type, const char* old_id,
               const char* new_id) {
  if (!old_id || !new_id) return 0;
  // Walk down sequence and array elements to the named type, remembering
  // the anonymous servant that holds it.
  CORBA::IDLType_var current = CORBA::IDLType::_duplicate(type);
  Servant_ref<CORBA_IRObject_Impl> holder;
  for (int depth = 0; depth <= kMaxTypeNesting + 1; ++depth) {
    if (CORBA::is_nil(current.in())) return 0;
    Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(current));
    CORBA::DefinitionKind kind = s.in() ? s->def_kind() : CORBA::dk_none;
    if (kind == CORBA::dk_Sequence || kind == CORBA::dk_Array) {
      holder = s._retn();
      current = element_of(holder.in());
      continue;
    }
    if (s.in() && is_anonymous_type(kind)) return 0;
    if (s.in() && !ck_idltype(kind)) return 0;

    // The reference names the definition by its object id, the id it had
    // when the reference was made.  While a change of id is under way the
    // servant may already carry the new id, and after it the old id
    // resolves to nothing: either way the object id tells what the holder
    // of the reference refers to.
    CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(s.in());
    bool names_old = object_id_of(current.in()) == old_id ||
                     (c && (std::strcmp(c->own_id(), old_id) == 0 ||
                            std::strcmp(c->own_id(), new_id) == 0));
    if (!names_old) return 0;
    if (!c) {
      // The change is complete: the definition is found under its new id.
      s = ir_servant_for_oid(new_id);
      c = CORBA_Contained_Impl::_narrow(s.in());
    }
    if (c && std::strcmp(c->own_id(), new_id) != 0) c->set_id(new_id);
    // Anonymous holders are re-pointed here; a named reference held by
    // the caller itself is the caller's to replace.
    if (holder.in() && c) {
      CORBA::IDLType_var fresh = ir_ref_as<CORBA::IDLType>(c);
      if (auto* anonymous = CORBA_ElementType_Impl::_narrow(holder.in()))
        anonymous->repoint_element(fresh.in());
    }
    return 1;
  }
  return 0;
}
