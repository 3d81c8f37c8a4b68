#include "ir/reposito.h"

#include <omniORB4/callHandle.h>

#include <cstring>

#include "ir/interfdf.h"
#include "ir/irglob.h"
#include "ir/primitdf.h"
#include "ir/servant_locator.h"
#include "ir/server_state.h"
#include "ir/write_access.h"
#include "platform/qor_log.h"
#include "store/irdb.h"

namespace {
const char kFile[] = "lib/ir/reposito";
const char kObjectId[] = "IDL:Object:1.0";

const CORBA::PrimitiveKind kPrimitiveOrder[] = {
    CORBA::pk_null,    CORBA::pk_void,     CORBA::pk_short,
    CORBA::pk_long,    CORBA::pk_ushort,   CORBA::pk_ulong,
    CORBA::pk_float,   CORBA::pk_double,   CORBA::pk_boolean,
    CORBA::pk_char,    CORBA::pk_wchar,    CORBA::pk_octet,
    CORBA::pk_any,     CORBA::pk_TypeCode, CORBA::pk_Principal,
    CORBA::pk_string,  CORBA::pk_longlong, CORBA::pk_ulonglong,
    CORBA::pk_wstring, CORBA::pk_objref};
}  // namespace

CORBA::InterfaceDef_var Object_interface_ptr;

std::function<std::unique_ptr<IRStore>(const char*)>
    CORBA_Repository_Impl::store_opener = [](const char* database) {
      return std::unique_ptr<IRStore>(new IRDB(database));
    };

std::size_t CORBA_Repository_Impl::cache_capacity =
    CORBA_Repository_Impl::kDefaultCacheCapacity;

namespace {
IrObjectFactory the_factory;
}

// --- the contained view ------------------------------------------------------

CORBA_Repository_Contained::CORBA_Repository_Contained(
    const char* id, const char* name, CORBA_Repository_Impl* root)
    : CORBA_IRObject_Impl(CORBA::dk_Repository),
      CORBA_Contained_Impl(id, name, nullptr, root, nullptr) {}

CORBA::Contained::Description* CORBA_Repository_Contained::describe() {
  return nullptr;
}

// --- construction
// ----------------------------------------------------------------

CORBA_Repository_Impl::CORBA_Repository_Impl(const char* database)
    : CORBA_IRObject_Impl(CORBA::dk_Repository) {
  CORBA::String_var name =
      CORBA::string_dup(database ? database : "[default database]");
  cache_.reset(new ServantCache(cache_capacity));
  int r = KALCreateMutexSem(&mutex_);
  if (r != 0)
    kaldError(kaldMapSysError(r), CORBA::COMPLETED_NO, kFile, 286, nullptr, 0,
              0);
  ir_trace_mutex(kFile, 286, "Creating CS Mutex: ", mutex_);

  try {
    owned_store_ = store_opener(database);
  } catch (const IRStore::Exception& e) {
    std::string text = "CORBA::Repository::constructor: " + e.text();
    irobj_parse_throw(e.code(), kFile, 302, text.c_str());
  }
  store_ = owned_store_.get();
  store_->set_factory(&the_factory);

  for (unsigned i = 0; i < sizeof kPrimitiveOrder / sizeof kPrimitiveOrder[0];
       ++i) {
    CORBA::PrimitiveKind k = kPrimitiveOrder[i];
    primitives_[k] = new CORBA_PrimitiveDef_Impl(k);
  }

  root_handle_.reset(new StoreHandle(repository_base_rep_id));
  contained_view_ =
      new CORBA_Repository_Contained(repository_base_rep_id, name.in(), this);
  // An existing root record is left as it is: start-up reads nothing else
  // and writes nothing.
  bool exists = ir_store_call(kFile, 302, "CORBA::Repository::constructor",
                              [&] { return store_->IRExists(*root_handle_); });
  if (exists) return;
  if (store_->IRReadOnly())
    irobj_parse_throw(IRStore::kNoSuchRecord, kFile, 302,
                      "CORBA::Repository::constructor: the read-only "
                      "database holds no repository");
  ir_in_update(store_, kFile, 302, "CORBA::Repository::constructor",
               [&](IrUpdate&) { store_->IRStoreObject(contained_view_.in()); });
}

CORBA_Repository_Impl::~CORBA_Repository_Impl() {
  drop_contents_cache();
  if (cache_) {
    ServantCache::Released released;
    {
      IrCriticalSection cs(mutex_, kFile, 459);
      cache_->flush(released);
    }
    for (CORBA_Contained_Impl* s : released) s->_remove_ref();
    cache_.reset();
    if (mutex_) {
      int r = KALDestroyMutexSem(mutex_);
      ir_trace_mutex(kFile, 494, "Destroying CS Mutex: ", mutex_);
      (void)r;
    }
  }
  for (CORBA::PrimitiveKind k : kPrimitiveOrder)
    if (primitives_[k]) primitives_[k]->_remove_ref();
  ir_flush_anonymous();
}

CORBA_Repository_Impl* CORBA_Repository_Impl::theRepository(
    const char* database) {
  if (!kaldIrGlobalObject) return nullptr;
  if (kaldIrGlobalObject->repository) return kaldIrGlobalObject->repository;
  if (!database && !ir_poa()) return nullptr;
  CORBA_Repository_Impl* root = new CORBA_Repository_Impl(database);
  kaldIrGlobalObject->repository = root;
  try {
    create_Object(root);
    ir_activate_root(root);
  } catch (...) {
    kaldIrGlobalObject->repository = nullptr;
    root->_remove_ref();
    throw;
  }
  return root;
}

CORBA_Repository_Impl* CORBA_Repository_Impl::theMergeRepository(
    const char* database) {
  if (!kaldIrGlobalObject) return nullptr;
  if (!kaldIrGlobalObject->second_repository)
    kaldIrGlobalObject->second_repository = new CORBA_Repository_Impl(database);
  return kaldIrGlobalObject->second_repository;
}

void CORBA_Repository_Impl::create_Object(CORBA_Repository_Impl* root) {
  IRStore* store = root->get_irs();
  StoreHandle object_handle(kObjectId);
  // Object is made once, in a new database; init_Object_interface_ptr()
  // finds it when it is needed.
  bool exists = ir_store_call(kFile, 135, "CORBA::Repository::create_Object",
                              [&] { return store->IRExists(object_handle); });
  if (exists || store->IRReadOnly()) return;
  Servant_ref<CORBA_InterfaceDef_Impl> object;
  ir_in_update(
      store, kFile, 135, "CORBA::Repository::create_Object", [&](IrUpdate&) {
        CORBA::TypeCode_var tc =
            ir_orb()->create_interface_tc(kObjectId, "Object");
        object = new CORBA_InterfaceDef_Impl(
            kObjectId, "Object", "1.0", repository_base_rep_id, tc._retn());
        store->IRStoreObject(object.in());
        store->IRAddContained(object_handle, *root->root_handle_);
      });
  irobj_put_in_cache(kObjectId, object.in());
  Object_interface_ptr = ir_ref_as<CORBA::InterfaceDef>(object.in());
}

void CORBA_Repository_Impl::init_Object_interface_ptr() {
  if (!CORBA::is_nil(Object_interface_ptr)) return;
  CORBA_Repository_Impl* root = get_repository_impl();
  CORBA::Contained_var found =
      root->CORBA_Container_Impl::lookup("::Object", repository_base_rep_id);
  if (CORBA::is_nil(found))
    kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, 93, nullptr, 0,
              IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::Repository::init_Object_interface_ptr()", 0);
  Object_interface_ptr = CORBA::InterfaceDef::_narrow(found);
}

char* CORBA_Repository_Impl::repid() {
  return CORBA::string_dup(repository_base_rep_id);
}

void CORBA_Repository_Impl::destroy() {
  kaldBadArgument(kFile, __LINE__, "CORBA::Repository::destroy");
}

CORBA_PrimitiveDef_Impl* CORBA_Repository_Impl::get_primitive_impl(
    CORBA::PrimitiveKind kind) {
  CORBA::ULong k = static_cast<CORBA::ULong>(kind);
  if (k > static_cast<CORBA::ULong>(CORBA::pk_wstring) ||
      kind == CORBA::pk_longdouble || !primitives_[k])
    kaldBadArgument(kFile, 774, "CORBA::Repository::get_primitive");
  primitives_[k]->_add_ref();
  return primitives_[k];
}

// --- user transactions
// ----------------------------------------------------------

// TransOn follows the store after every call, failed ones included: a
// failed end leaves the transaction open (the client may retry or cancel),
// a cancel closes it whatever happens.

void CORBA_Repository_Impl::ext_beginUserTransaction() {
  ir_note_change();
  try {
    store_->IRBeginUserTransaction();
  } catch (const IRStore::Exception& e) {
    TransOn = store_->IRInUserTransaction();
    ir_forget_after_failure(e.code());
    irobj_parse_throw(e.code(), kFile, __LINE__,
                      "IRExt::Repository::ext_beginUserTransaction");
  }
  TransOn = true;
}

void CORBA_Repository_Impl::ext_endUserTransaction() {
  ir_note_change();
  try {
    store_->IREndUserTransaction();
  } catch (const IRStore::Exception& e) {
    TransOn = store_->IRInUserTransaction();
    ir_forget_after_failure(e.code());
    irobj_parse_throw(e.code(), kFile, __LINE__,
                      "IRExt::Repository::ext_endUserTransaction");
  }
  TransOn = false;
}

void CORBA_Repository_Impl::ext_cancelUserTransaction() {
  // Nothing may show rolled-back state, whether or not the store raises.
  int failure = 0;
  try {
    store_->IRCancelUserTransaction();
  } catch (const IRStore::Exception& e) {
    failure = e.code();
  }
  TransOn = store_->IRInUserTransaction();
  forget_servants();
  if (failure != 0)
    irobj_parse_throw(failure, kFile, __LINE__,
                      "IRExt::Repository::ext_cancelUserTransaction");
}

void CORBA_Repository_Impl::forget_servants() {
  ir_note_change();
  drop_contents_cache();
  ServantCache::Released released;
  {
    IrCriticalSection cs(mutex_, kFile, __LINE__);
    cache_->flush(released);
  }
  for (CORBA_Contained_Impl* s : released) s->_remove_ref();
  ir_flush_anonymous();
  // Object is never rolled back, but its servant went with the cache.
  Object_interface_ptr = CORBA::InterfaceDef::_nil();
}

// --- server state (not built yet) -----------------------------------------

IRExt::ExtServerInfo* CORBA_Repository_Impl::ext_server_info() {
  return ir_server_info(store_);
}

char* CORBA_Repository_Impl::ext_backup() { return ir_backup(store_); }

// --- references and dispatch
// -------------------------------------------------------

std::string CORBA_Repository_Impl::object_key() {
  return repository_base_rep_id;
}

CORBA::Object_ptr CORBA_Repository_Impl::_ref() {
  CORBA::Object_ptr ins = ir_root_reference(this);
  if (!CORBA::is_nil(ins)) return ins;
  return CORBA_IRObject_Impl::_ref();
}

CORBA::Boolean CORBA_Repository_Impl::dispatch_locked(omniCallHandle& handle) {
  return POA_IRExt::Repository::_dispatch(handle);
}

CORBA::Boolean CORBA_Repository_Impl::_dispatch(omniCallHandle& handle) {
  ir_admit_request(handle.operation_name(), "Repository");
  IrUpcallGuard guard(ir_upcall_mutex());
  return POA_IRExt::Repository::_dispatch(handle);
}
