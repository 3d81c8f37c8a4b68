#include "ir/irobj.h"

#include <atomic>
#include <cstdio>
#include <string>

#include "ir/abstradf.h"
#include "ir/aliasdf.h"
#include "ir/attribdf.h"
#include "ir/constdf.h"
#include "ir/containd.h"
#include "ir/enumdf.h"
#include "ir/exceptdf.h"
#include "ir/interfdf.h"
#include "ir/moduledf.h"
#include "ir/nativedf.h"
#include "ir/operatdf.h"
#include "ir/reposito.h"
#include "ir/servant_cache.h"
#include "ir/servant_locator.h"
#include "ir/structdf.h"
#include "ir/uniondf.h"
#include "ir/valuebdf.h"
#include "ir/valuedf.h"
#include "ir/valuemdf.h"
#include "platform/principal.h"
#include "platform/qor_log.h"

namespace {
const char kFile[] = "lib/ir/irobj";
const char kSccs[] = "irobj 1.0";
}  // namespace

const char* const repository_base_rep_id =
    "QRX:theRepository:1.0:Xq7Lm2Vb9Tr4Hs6Pd1Ny3Cw";

// --- kinds -------------------------------------------------------------

bool is_contained_def_kind(CORBA::DefinitionKind kind) {
  switch (kind) {
    case CORBA::dk_Attribute:
    case CORBA::dk_Constant:
    case CORBA::dk_Exception:
    case CORBA::dk_Interface:
    case CORBA::dk_Module:
    case CORBA::dk_Operation:
    case CORBA::dk_Alias:
    case CORBA::dk_Struct:
    case CORBA::dk_Union:
    case CORBA::dk_Enum:
    case CORBA::dk_Value:
    case CORBA::dk_ValueBox:
    case CORBA::dk_ValueMember:
    case CORBA::dk_Native:
    case CORBA::dk_AbstractInterface:
      return true;
    default:
      return false;
  }
}

bool ck_idltype(CORBA::DefinitionKind kind) {
  switch (kind) {
    case CORBA::dk_Interface:
    case CORBA::dk_Alias:
    case CORBA::dk_Struct:
    case CORBA::dk_Union:
    case CORBA::dk_Enum:
    case CORBA::dk_Primitive:
    case CORBA::dk_String:
    case CORBA::dk_Sequence:
    case CORBA::dk_Array:
    case CORBA::dk_Wstring:
    case CORBA::dk_Value:
    case CORBA::dk_ValueBox:
    case CORBA::dk_Native:
    case CORBA::dk_AbstractInterface:
      return true;
    default:
      return false;
  }
}

bool is_anonymous_type(CORBA::DefinitionKind kind) {
  switch (kind) {
    case CORBA::dk_Primitive:
    case CORBA::dk_String:
    case CORBA::dk_Sequence:
    case CORBA::dk_Array:
    case CORBA::dk_Wstring:
      return true;
    default:
      return false;
  }
}

const char* def_kind_name(CORBA::DefinitionKind kind) {
  static const char* const kNames[] = {"dk_none",
                                       "dk_all",
                                       "dk_Attribute",
                                       "dk_Constant",
                                       "dk_Exception",
                                       "dk_Interface",
                                       "dk_Module",
                                       "dk_Operation",
                                       "dk_Typedef",
                                       "dk_Alias",
                                       "dk_Struct",
                                       "dk_Union",
                                       "dk_Enum",
                                       "dk_Primitive",
                                       "dk_String",
                                       "dk_Sequence",
                                       "dk_Array",
                                       "dk_Repository",
                                       "dk_Wstring",
                                       "dk_Fixed",
                                       "dk_Value",
                                       "dk_ValueBox",
                                       "dk_ValueMember",
                                       "dk_Native",
                                       "dk_AbstractInterface"};
  unsigned k = static_cast<unsigned>(kind);
  return k < sizeof kNames / sizeof kNames[0] ? kNames[k] : "dk_?";
}

// --- servant base --------------------------------------------------------

CORBA_IRObject_Impl::CORBA_IRObject_Impl() : def_kind_(CORBA::dk_none) {}

CORBA_IRObject_Impl::CORBA_IRObject_Impl(CORBA::DefinitionKind kind)
    : def_kind_(kind) {}

CORBA_IRObject_Impl::~CORBA_IRObject_Impl() = default;

CORBA::DefinitionKind CORBA_IRObject_Impl::def_kind() { return def_kind_; }

void CORBA_IRObject_Impl::destroy() {}

void CORBA_IRObject_Impl::object_to_stream(Encapsulation&) {}

CORBA_IRObject_Impl* CORBA_IRObject_Impl::_has_kind(
    CORBA::DefinitionKind kind) {
  return kind == def_kind_ ? this : nullptr;
}

CORBA_IRObject_Impl* CORBA_IRObject_Impl::_has_kind_contained(
    CORBA::DefinitionKind) {
  return this;
}

CORBA_IRObject_Impl* CORBA_IRObject_Impl::_has_kind_container(
    CORBA::DefinitionKind) {
  return this;
}

CORBA::Object_ptr CORBA_IRObject_Impl::_ref() {
  std::string key = object_key();
  std::lock_guard<std::mutex> lock(ref_mutex_);
  if (CORBA::is_nil(ref_.in()) || key != ref_key_) {
    ref_ = ir_make_reference(key, def_kind_);
    ref_key_ = std::move(key);
  }
  return CORBA::Object::_duplicate(ref_.in());
}

PortableServer::POA_ptr CORBA_IRObject_Impl::_default_POA() {
  return PortableServer::POA::_duplicate(ir_poa());
}

CORBA_IRObject_Impl* ir_servant_of(CORBA::Object_ptr obj) {
  if (CORBA::is_nil(obj)) return nullptr;
  std::string key = ir_object_key_of(obj);
  if (!key.empty()) return ir_servant_for_oid(key);
  CORBA_Repository_Impl* root = get_repository_impl();
  if (root) {
    CORBA::Object_var root_ref = root->_ref();
    if (obj->_is_equivalent(root_ref)) {
      root->_add_ref();
      return root;
    }
  }
  return nullptr;
}

std::string ir_definition_id_of(CORBA::Object_ptr obj) {
  std::string oid = ir_object_key_of(obj);
  std::int64_t key = 0;
  if (ir_parse_key_object_id(oid, &key)) {
    Servant_ref<CORBA_Contained_Impl> s(irobj_get_from_cache_by_key(key));
    if (s.in()) return s->own_id();
    CORBA_Repository_Impl* root = get_repository_impl();
    if (!root) return std::string();
    return ir_store_call(kFile, __LINE__, oid.c_str(),
                         [&] { return root->get_irs()->IRIdOfKey(key); });
  }
  // Anonymous and primitive objects have no id; any other object id is
  // the id itself (a reference made before records had keys).
  if (oid.empty() || oid[0] == '~') return std::string();
  return oid;
}

bool ir_names_changing_id(CORBA::Object_ptr obj, const char* old_id,
                          const char* new_id) {
  std::string id = ir_definition_id_of(obj);
  return !id.empty() && (id == old_id || id == new_id);
}

std::string ir_object_key_of(CORBA::Object_ptr obj) {
  PortableServer::POA_ptr poa = ir_poa();
  if (CORBA::is_nil(obj) || CORBA::is_nil(poa)) return std::string();
  try {
    PortableServer::ObjectId_var oid = poa->reference_to_id(obj);
    CORBA::String_var key = PortableServer::ObjectId_to_string(oid);
    return key.in();
  } catch (const PortableServer::POA::WrongAdapter&) {
  } catch (const PortableServer::POA::WrongPolicy&) {
  } catch (const CORBA::BAD_PARAM&) {
  }
  return std::string();
}

// --- errors ------------------------------------------------------------

char* identify_principal() {
  std::string peer = KALDCurrentPrincipal();
  if (!peer.empty()) return CORBA::string_dup(peer.c_str());
  // The copy of "unknown client" is made and dropped on purpose: the
  // host name is the answer outside a request.
  CORBA::String_var unknown = CORBA::string_dup("unknown client");
  return QorGetHostname();
}

void irobj_parse_throw(int code, const char* file, int line, const char* text) {
  switch (code) {
    case IRStore::kDuplicateId:
      kaldError(IR_MINOR_CLASH, CORBA::COMPLETED_NO, file, line, nullptr, 0,
                IR_MSG_CLASH, 0, CORBA::_tc_string, text, 0);
    case IRStore::kNoSuchRecord:
      kaldError(IR_MINOR_NO_SUCH_OBJECT, CORBA::COMPLETED_NO, file, line,
                nullptr, 0, IR_MSG_NO_SUCH_OBJECT, 0, CORBA::_tc_string, text,
                0);
    case IRStore::kNotChanged:
      kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, file, line,
                nullptr, 0, IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string, text,
                0);
    case IRStore::kStoreFailure:
      kaldError(IR_MINOR_STORE_FAILURE, CORBA::COMPLETED_NO, file, line,
                nullptr, 0, IR_MSG_STORE_FAILURE, 0, CORBA::_tc_string, text,
                0);
    case IRStore::kNoMemory:
      kaldError(IR_MINOR_NO_MEMORY, CORBA::COMPLETED_NO, kFile, 354, nullptr, 0,
                0);
    case IRStore::kReadOnly: {
      // irserver --read-only: every changing operation is refused.
      std::string t =
          std::string("read-only repository: ") + (text ? text : "");
      QORLogError(file, line, t.c_str());
      throw CORBA::NO_PERMISSION(0, CORBA::COMPLETED_NO);
    }
    default:
      kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, file, line, nullptr, 0,
                IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string, text, 0);
  }
}

void ir_throw_bad_param(CORBA::ULong omg_minor, const char* file, int line,
                        const char* text) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "BAD_PARAM minor OMG %lu: ",
                static_cast<unsigned long>(omg_minor));
  std::string t = std::string(buf) + (text ? text : "");
  QORLogError(file, line, t.c_str());
  throw CORBA::BAD_PARAM(CORBA::OMGVMCID | omg_minor, CORBA::COMPLETED_NO);
}

// --- critical section --------------------------------------------------

void ir_trace_mutex(const char* file, int line, const char* what,
                    KALMutexSem mutex) {
  if (!QORMutexTrace) return;
  char text[128];
  std::snprintf(text, sizeof text, "\n%s0x%08x\n", what, KALMutexHandle(mutex));
  QORTraceString(file, line, kSccs, text);
}

IrCriticalSection::IrCriticalSection(KALMutexSem mutex, const char* file,
                                     int line)
    : mutex_(mutex), file_(file), line_(line) {
  int r = KALRequestMutexSem(mutex_);
  if (r != 0)
    kaldError(kaldMapSysError(r), CORBA::COMPLETED_NO, file_, line_, nullptr, 0,
              0);
  ir_trace_mutex(file_, line_, "Starting CS: ", mutex_);
}

IrCriticalSection::~IrCriticalSection() {
  ir_trace_mutex(file_, line_, "Ending CS: ", mutex_);
  // A release can only fail when this thread does not hold the mutex,
  // which the constructor rules out.
  KALReleaseMutexSem(mutex_);
}

// --- store updates ---------------------------------------------------------

namespace {
std::atomic<std::uint64_t> change_generation{1};
}  // namespace

std::uint64_t ir_change_generation() {
  return change_generation.load(std::memory_order_acquire);
}

void ir_note_change() {
  change_generation.fetch_add(1, std::memory_order_acq_rel);
}

void ir_forget_after_failure(int code) {
  switch (code) {
    case IRStore::kStoreFailure:
    case IRStore::kNoMemory:
    case IRStore::kBusy: {
      CORBA_Repository_Impl* root = get_repository_impl();
      if (root) root->forget_servants();
      break;
    }
    default:
      break;
  }
}

IrUpdate::IrUpdate(IRStore* store, const char* file, int line,
                   const char* context)
    : store_(store), file_(file), line_(line), context_(context), open_(false) {
  ir_note_change();
  try {
    store_->IRBeginUpdate();
  } catch (const IRStore::Exception& e) {
    irobj_parse_throw(e.code(), file_, line_, context_);
  }
  open_ = true;
}

IrUpdate::~IrUpdate() {
  if (!open_) return;
  try {
    store_->IRCancelUpdate();
  } catch (const IRStore::Exception& e) {
    QORLogError(file_, line_, ("IRCancelUpdate failed: " + e.text()).c_str());
  }
}

void IrUpdate::commit() {
  if (!open_) return;
  open_ = false;
  ir_note_change();
  try {
    store_->IREndUpdate();
  } catch (const IRStore::Exception& e) {
    try {
      store_->IRCancelUpdate();
    } catch (const IRStore::Exception&) {
    }
    ir_forget_after_failure(e.code());
    irobj_parse_throw(e.code(), file_, line_, context_);
  }
}

void IrUpdate::cancel() {
  if (!open_) return;
  open_ = false;
  ir_note_change();
  try {
    store_->IRCancelUpdate();
  } catch (const IRStore::Exception&) {
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, file_, line_, nullptr, 0,
              IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string, "IRCancelUpdate",
              0);
  }
}

void IrUpdate::store_failure(const IRStore::Exception& e) {
  ir_note_change();
  if (open_) {
    open_ = false;
    // The failure is what the client must hear; a cancel that fails
    // because SQLite rolled the update back already does not hide it.
    try {
      store_->IRCancelUpdate();
    } catch (const IRStore::Exception& c) {
      QORLogError(file_, line_,
                  ("IRCancelUpdate after a failure: " + c.text()).c_str());
    }
  }
  ir_forget_after_failure(e.code());
  std::string text = context_ ? context_ : "";
  irobj_parse_throw(e.code(), file_, line_, text.c_str());
}

// --- factory and cache ---------------------------------------------------

CORBA_Repository_Impl* get_repository_impl() {
  return CORBA_Repository_Impl::theRepository(nullptr);
}

namespace {

// Builds the servant class of `kind` with the load constructor.
CORBA_Contained_Impl* build_servant(CORBA::DefinitionKind kind,
                                    const char* name, const char* id,
                                    CORBA_Repository_Impl* root) {
  switch (kind) {
    case CORBA::dk_Module:
      return new CORBA_ModuleDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Interface:
      return new CORBA_InterfaceDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Constant:
      return new CORBA_ConstantDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Struct:
      return new CORBA_StructDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Union:
      return new CORBA_UnionDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Exception:
      return new CORBA_ExceptionDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Enum:
      return new CORBA_EnumDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Alias:
      return new CORBA_AliasDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_ValueBox:
      return new CORBA_ValueBoxDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Native:
      return new CORBA_NativeDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_AbstractInterface:
      return new CORBA_AbstractInterfaceDef_Impl(id, name, nullptr, root,
                                                 nullptr);
    case CORBA::dk_Operation:
      return new CORBA_OperationDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Attribute:
      return new CORBA_AttributeDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_Value:
      return new CORBA_ValueDef_Impl(id, name, nullptr, root, nullptr);
    case CORBA::dk_ValueMember:
      return new CORBA_ValueMemberDef_Impl(id, name, nullptr, root, nullptr);
    default:
      return nullptr;
  }
}

}  // namespace

CORBA_Contained_Impl* make_object(CORBA::DefinitionKind kind, const char* name,
                                  const char* id, Encapsulation& record,
                                  std::int64_t key) {
  CORBA_Repository_Impl* root = get_repository_impl();
  if (QORIRTrace) QORTraceMethod(kFile, __LINE__, kSccs);
  if (kind == CORBA::dk_Repository) return nullptr;
  CORBA_Contained_Impl* servant = nullptr;
  if (is_contained_def_kind(kind))
    servant = build_servant(kind, name, id, root);
  if (!servant)
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, 292, nullptr, 0,
              IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::Contained::make_object", 0);
  Servant_ref<CORBA_Contained_Impl> owner(servant);
  servant->store_set_key(key);
  irobj_put_in_cache(id, servant);
  try {
    servant->stream_to_object(name, id, record);
  } catch (const CORBA::MARSHAL&) {
    // A record body that ends early or holds nonsense.
    irobj_remove_from_cache(id);
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, __LINE__, nullptr,
              0, IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string, id, 0);
  } catch (...) {
    irobj_remove_from_cache(id);
    throw;
  }
  return owner._retn();
}

namespace {
// Servants that left the cache are released outside the critical
// section: a destructor may reach the cache again.
void release_all(const ServantCache::Released& released) {
  for (CORBA_Contained_Impl* s : released) s->_remove_ref();
}
}  // namespace

void irobj_put_in_cache(const char* id, CORBA_Contained_Impl* servant) {
  if (QORIRTrace) QORTraceMethod(kFile, __LINE__, kSccs);
  if (!servant) return;
  CORBA_Repository_Impl* root = get_repository_impl();
  ServantCache::Released released;
  {
    IrCriticalSection cs(root->cache_mutex(), kFile, __LINE__);
    root->cache()->put(id, servant->def_key(), servant, released);
  }
  release_all(released);
}

CORBA_Contained_Impl* irobj_get_from_cache(const char* id) {
  CORBA_Repository_Impl* root = get_repository_impl();
  // Every lookup_id passes here: the id is copied into a buffer that
  // keeps its storage rather than into a new string.
  static thread_local std::string probe;
  probe.assign(id);
  CORBA_Contained_Impl* found;
  {
    IrCriticalSection cs(root->cache_mutex(), kFile, __LINE__);
    found = root->cache()->find(probe);
  }
  if (QORIRTrace) QORTraceMethod(kFile, __LINE__, kSccs);
  return found;
}

CORBA_Contained_Impl* irobj_get_from_cache_by_key(std::int64_t key) {
  CORBA_Repository_Impl* root = get_repository_impl();
  IrCriticalSection cs(root->cache_mutex(), kFile, __LINE__);
  return root->cache()->find_key(key);
}

void irobj_remove_from_cache(const char* id) {
  CORBA_Repository_Impl* root = get_repository_impl();
  ServantCache::Released released;
  {
    IrCriticalSection cs(root->cache_mutex(), kFile, __LINE__);
    root->cache()->remove(id, released);
  }
  release_all(released);
}

StoredObject* IrObjectFactory::cached(const std::string& id) {
  return irobj_get_from_cache(id.c_str());
}

StoredObject* IrObjectFactory::cached_key(std::int64_t key) {
  return irobj_get_from_cache_by_key(key);
}

StoredObject* IrObjectFactory::make(int kind, const std::string& name,
                                    const std::string& id, std::int64_t key,
                                    const std::vector<std::uint8_t>& body) {
  EncapIIOP record(body);
  return make_object(static_cast<CORBA::DefinitionKind>(kind), name.c_str(),
                     id.c_str(), record, key);
}

CORBA::Object_ptr ir_reference_for_key(std::int64_t key,
                                       CORBA::DefinitionKind kind) {
  Servant_ref<CORBA_Contained_Impl> s(irobj_get_from_cache_by_key(key));
  if (s.in()) return s->_ref();
  return ir_make_reference(ir_key_object_id(key), kind);
}

CORBA_Contained_Impl* ir_find_object(IRStore* store, const std::string& id) {
  StoredObject* found = store->IRFindObject(StoreHandle(id));
  return static_cast<CORBA_Contained_Impl*>(found);
}

CORBA_Contained_Impl* ir_fetch_object(IRStore* store, const std::string& id,
                                      const char* file, int line,
                                      const char* context) {
  return ir_store_call(file, line, context,
                       [&] { return ir_find_object(store, id); });
}

CORBA::ContainedSeq* ir_contained_seq(IRStore* store, const IdList& ids,
                                      const char* file, int line,
                                      const char* context) {
  std::vector<StoreRef> refs =
      ir_store_call(file, line, context, [&] { return store->IRRefsOf(ids); });
  CORBA::ContainedSeq_var out = new CORBA::ContainedSeq;
  out->length(static_cast<CORBA::ULong>(refs.size()));
  CORBA::ULong n = 0;
  for (const StoreRef& r : refs) {
    auto kind = static_cast<CORBA::DefinitionKind>(r.kind);
    if (kind == CORBA::dk_Repository || !is_contained_def_kind(kind)) continue;
    CORBA::Object_var obj = ir_reference_for_key(r.key, kind);
    out[n++] = CORBA::Contained::_unchecked_narrow(obj);
  }
  out->length(n);
  return out._retn();
}
