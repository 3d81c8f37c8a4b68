#include "ir/servant_locator.h"

#include <omniORB4/callDescriptor.h>
#include <omniORB4/callHandle.h>
#include <omniORB4/omniInterceptors.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <map>
#include <vector>

#include "ir/containd.h"
#include "ir/idltype.h"
#include "ir/irglob.h"
#include "ir/primitdf.h"
#include "ir/reposito.h"
#include "ir/write_access.h"
#include "platform/principal.h"
#include "platform/request_log.h"

namespace {

const char kFile[] = "lib/ir/servant_locator";

CORBA::ORB_var the_orb;
PortableServer::POA_var the_poa;
PortableServer::POA_var ins_poa;
CORBA_Repository_Impl* active_root = nullptr;

// Anonymous servants by object id; one reference each.
std::map<std::string, CORBA_IRObject_Impl*> anonymous;
unsigned long next_anonymous = 1;

std::string hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (unsigned char c : bytes) {
    out += digits[c >> 4];
    out += digits[c & 0xf];
  }
  return out;
}

bool unhex(const std::string& text, std::vector<std::uint8_t>& out) {
  if (text.size() % 2) return false;
  out.clear();
  for (std::size_t i = 0; i < text.size(); i += 2) {
    auto digit = [](char c) -> int {
      if (c >= '0' && c <= '9') return c - '0';
      if (c >= 'a' && c <= 'f') return c - 'a' + 10;
      return -1;
    };
    int hi = digit(text[i]), lo = digit(text[i + 1]);
    if (hi < 0 || lo < 0) return false;
    out.push_back(static_cast<std::uint8_t>(hi * 16 + lo));
  }
  return true;
}

// Rebuilds an anonymous type from the in-line form carried by its object
// id ("~a<serial>:<hex>"), for references that outlived the process that
// made them.
CORBA_IRObject_Impl* rebuild_anonymous(const std::string& oid) {
  std::size_t colon = oid.find(':');
  std::vector<std::uint8_t> bytes;
  if (colon == std::string::npos || !unhex(oid.substr(colon + 1), bytes) ||
      bytes.empty())
    return nullptr;
  CORBA_Repository_Impl* root = get_repository_impl();
  if (!root) return nullptr;
  try {
    EncapIIOP in(bytes);
    CORBA::IDLType_var type = get_next_object(in, root->get_irs());
    if (CORBA::is_nil(type)) return nullptr;
    CORBA_IRObject_Impl* servant = CORBA_IDLType_Impl::get_impl(type);
    if (!servant) return nullptr;
    // Keep it under the id the client holds.
    servant->_add_ref();
    anonymous[oid] = servant;
    return servant;
  } catch (const CORBA::SystemException&) {
    return nullptr;
  }
}

// The key of an object id "~k<key>", read from its octets.
bool parse_key(const PortableServer::ObjectId& oid, std::int64_t* key) {
  const CORBA::ULong n = oid.length();
  if (n < 3 || n > 21 || oid[0] != '~' || oid[1] != 'k') return false;
  std::int64_t value = 0;
  for (CORBA::ULong i = 2; i < n; ++i) {
    if (oid[i] < '0' || oid[i] > '9') return false;
    if (value > (INT64_MAX - (oid[i] - '0')) / 10) return false;
    value = value * 10 + (oid[i] - '0');
  }
  *key = value;
  return value > 0;
}

// The request log names a definition by its repository id rather than by
// its key, which says nothing to a reader.  Only the request's first
// target (still in its key form) is renamed: colocated calls made while
// serving it pass here too.
void name_request_target(CORBA_IRObject_Impl* servant) {
  if (!KALDRequestLogOn() || KALDRequestTarget().compare(0, 2, "~k") != 0)
    return;
  if (CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(servant))
    KALDSetRequestTarget(c->own_id());
}

class IrServantLocator : public virtual POA_PortableServer::ServantLocator {
 public:
  PortableServer::Servant preinvoke(
      const PortableServer::ObjectId& oid, PortableServer::POA_ptr,
      const char* operation,
      PortableServer::ServantLocator::Cookie& cookie) override {
    ir_upcall_mutex().lock();
    try {
      // Without a repository (it is closing) nothing can be said about
      // the object: the client may try again.
      if (!get_repository_impl())
        throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
      // A definition whose servant is cached: no string is made.
      std::int64_t def_key = 0;
      if (parse_key(oid, &def_key)) {
        char target[32];
        std::snprintf(target, sizeof target, "~k%lld",
                      static_cast<long long>(def_key));
        ir_admit_request(operation, target);
        if (CORBA_IRObject_Impl* s = irobj_get_from_cache_by_key(def_key)) {
          name_request_target(s);
          cookie = nullptr;
          return s;
        }
      }
      CORBA::String_var key = PortableServer::ObjectId_to_string(oid);
      ir_admit_request(operation, key.in());
      CORBA_IRObject_Impl* servant = ir_servant_for_oid(key.in());
      if (!servant) throw CORBA::OBJECT_NOT_EXIST(0, CORBA::COMPLETED_NO);
      name_request_target(servant);
      cookie = nullptr;
      return servant;
    } catch (...) {
      ir_upcall_mutex().unlock();
      throw;
    }
  }

  void postinvoke(const PortableServer::ObjectId&, PortableServer::POA_ptr,
                  const char*, PortableServer::ServantLocator::Cookie,
                  PortableServer::Servant servant) override {
    servant->_remove_ref();
    ir_upcall_mutex().unlock();
  }
};

// The servant under the corbaloc keys "InterfaceRepository" and
// "DefaultRepository" (one each: the INS POA gives one servant one key).
// Both are active from the moment the POAs exist, before the root does:
// omniORB answers a GIOP LocateRequest for a key that is not active with
// OBJECT_NOT_EXIST (LocateRequests pass no interceptor, so the gate does
// not hold them), and a client that verifies its reference first would
// take the repository for gone.  Every request is handed to the root;
// without one (the repository is closing) the client is told to retry.
class RootEntry : public virtual PortableServer::ServantBase {
 public:
  CORBA::Boolean _dispatch(omniCallHandle& handle) override {
    ir_admit_request(handle.operation_name(), "Repository");
    IrUpcallGuard guard(ir_upcall_mutex());
    if (!active_root) throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
    return active_root->dispatch_locked(handle);
  }
  // Colocated calls reach the root's skeleton through this.
  void* _ptrToInterface(const char* id) override {
    if (!active_root) return PortableServer::ServantBase::_ptrToInterface(id);
    // (Private in the skeleton, public in the servant base.)
    omniServant* root = active_root;
    return root->_ptrToInterface(id);
  }
  CORBA::Boolean _is_a(const char* id) override {
    if (!active_root) throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
    return active_root->_is_a(id);
  }
  const char* _mostDerivedRepoId() override {
    return IRExt::Repository::_PD_repoId;
  }
};

// The servants under the corbaloc keys (set once, before any request).
omniServant* root_entries[2] = {nullptr, nullptr};

// omniORB hands a colocated call straight to the servant: RootEntry's
// _dispatch, which takes the upcall lock for remote callers, is not on
// that path (the locator's preinvoke is, for definitions).  Every upcall,
// local or remote, passes this call interceptor, which takes the lock for
// calls on the root, so that threads of the process's own (the web
// view's) are serialized with every other caller, one call at a time.
void lock_root_calls(omniCallDescriptor* call, omniServant* servant) {
  if (servant == root_entries[0] || servant == root_entries[1] ||
      (active_root && servant == static_cast<omniServant*>(active_root))) {
    IrUpcallGuard guard(ir_upcall_mutex());
    call->interceptedCall(servant);
    return;
  }
  call->interceptedCall(servant);
}

// The gate of every incoming request.  omniORB serves requests from the
// moment its first POA exists and answers an object key that is not
// active (the corbaloc keys before the root exists, or after it has gone)
// with OBJECT_NOT_EXIST, whatever the state of the POA managers; the gate
// runs before omniORB looks the key up.  While irserver starts, requests
// wait at the gate; once it stops, they are turned away with TRANSIENT.
enum GateState { kGateHolding, kGateOpen, kGateClosed };
std::mutex gate_mutex;
std::condition_variable gate_changed;
std::atomic<int> gate_state{kGateHolding};

CORBA::Boolean pass_gate(
    omni::omniInterceptors::serverReceiveRequest_T::info_T&) {
  int state = gate_state.load(std::memory_order_acquire);
  if (state == kGateHolding) {
    std::unique_lock<std::mutex> lock(gate_mutex);
    gate_changed.wait(lock, [] { return gate_state != kGateHolding; });
    state = gate_state;
  }
  if (state == kGateClosed) throw CORBA::TRANSIENT(0, CORBA::COMPLETED_NO);
  return true;
}

void set_gate(GateState state) {
  {
    std::lock_guard<std::mutex> lock(gate_mutex);
    gate_state = state;
  }
  gate_changed.notify_all();
}

}  // namespace

IrUpcallLock& ir_upcall_mutex() {
  static IrUpcallLock mutex;
  return mutex;
}

void ir_poa_init(CORBA::ORB_ptr orb) {
  if (!CORBA::is_nil(the_poa)) return;
  the_orb = CORBA::ORB::_duplicate(orb);
  // Before the first POA: from then on omniORB serves requests.
  omniORB::getInterceptors()->serverReceiveRequest.add(pass_gate);
  omniCallDescriptor::addInterceptor(lock_root_calls);
  CORBA::Object_var obj = orb->resolve_initial_references("omniINSPOA");
  ins_poa = PortableServer::POA::_narrow(obj);
  int entry_index = 0;
  for (const char* key : {"InterfaceRepository", "DefaultRepository"}) {
    PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId(key);
    PortableServer::Servant_var<RootEntry> entry(new RootEntry);
    root_entries[entry_index++] = entry.in();
    ins_poa->activate_object_with_id(id, entry.in());
  }
  obj = orb->resolve_initial_references("RootPOA");
  PortableServer::POA_var root = PortableServer::POA::_narrow(obj);
  PortableServer::POAManager_var manager = root->the_POAManager();
  CORBA::PolicyList policies;
  policies.length(5);
  policies[0] = root->create_lifespan_policy(PortableServer::PERSISTENT);
  policies[1] = root->create_id_assignment_policy(PortableServer::USER_ID);
  policies[2] =
      root->create_servant_retention_policy(PortableServer::NON_RETAIN);
  policies[3] = root->create_request_processing_policy(
      PortableServer::USE_SERVANT_MANAGER);
  policies[4] = root->create_implicit_activation_policy(
      PortableServer::NO_IMPLICIT_ACTIVATION);
  the_poa = root->create_POA("IR", manager, policies);
  for (CORBA::ULong i = 0; i < policies.length(); ++i) policies[i]->destroy();

  PortableServer::ServantLocator_var locator = (new IrServantLocator)->_this();
  the_poa->set_servant_manager(locator);
}

namespace {
// Both POA managers: the root POA's (shared by the IR POA) and the INS
// POA's.
std::vector<PortableServer::POAManager_var> poa_managers() {
  std::vector<PortableServer::POAManager_var> managers;
  if (!CORBA::is_nil(the_poa)) managers.push_back(the_poa->the_POAManager());
  if (!CORBA::is_nil(ins_poa)) managers.push_back(ins_poa->the_POAManager());
  return managers;
}
}  // namespace

void ir_poa_activate() {
  for (PortableServer::POAManager_var& m : poa_managers()) m->activate();
  set_gate(kGateOpen);
}

void ir_poa_discard() {
  set_gate(kGateClosed);
  for (PortableServer::POAManager_var& m : poa_managers()) {
    try {
      m->discard_requests(false);
    } catch (const PortableServer::POAManager::AdapterInactive&) {
    }
  }
}

PortableServer::POA_ptr ir_poa() { return the_poa.in(); }

CORBA::ORB_ptr ir_orb() { return the_orb.in(); }

const char* ir_interface_repo_id(CORBA::DefinitionKind kind) {
  switch (kind) {
    case CORBA::dk_Attribute:
      return CORBA::AttributeDef::_PD_repoId;
    case CORBA::dk_Constant:
      return CORBA::ConstantDef::_PD_repoId;
    case CORBA::dk_Exception:
      return CORBA::ExceptionDef::_PD_repoId;
    case CORBA::dk_Interface:
      return CORBA::InterfaceDef::_PD_repoId;
    case CORBA::dk_Module:
      return CORBA::ModuleDef::_PD_repoId;
    case CORBA::dk_Operation:
      return CORBA::OperationDef::_PD_repoId;
    case CORBA::dk_Alias:
      return CORBA::AliasDef::_PD_repoId;
    case CORBA::dk_Struct:
      return CORBA::StructDef::_PD_repoId;
    case CORBA::dk_Union:
      return CORBA::UnionDef::_PD_repoId;
    case CORBA::dk_Enum:
      return CORBA::EnumDef::_PD_repoId;
    case CORBA::dk_Primitive:
      return CORBA::PrimitiveDef::_PD_repoId;
    case CORBA::dk_String:
      return CORBA::StringDef::_PD_repoId;
    case CORBA::dk_Sequence:
      return CORBA::SequenceDef::_PD_repoId;
    case CORBA::dk_Array:
      return CORBA::ArrayDef::_PD_repoId;
    case CORBA::dk_Repository:
      return CORBA::Repository::_PD_repoId;
    case CORBA::dk_Wstring:
      return CORBA::WstringDef::_PD_repoId;
    case CORBA::dk_Value:
      return CORBA::ValueDef::_PD_repoId;
    case CORBA::dk_ValueBox:
      return CORBA::ValueBoxDef::_PD_repoId;
    case CORBA::dk_ValueMember:
      return CORBA::ValueMemberDef::_PD_repoId;
    case CORBA::dk_Native:
      return CORBA::NativeDef::_PD_repoId;
    case CORBA::dk_AbstractInterface:
      return CORBA::AbstractInterfaceDef::_PD_repoId;
    default:
      return CORBA::IRObject::_PD_repoId;
  }
}

std::string ir_key_object_id(std::int64_t key) {
  return "~k" + std::to_string(key);
}

bool ir_parse_key_object_id(const std::string& oid, std::int64_t* key) {
  if (oid.size() < 3 || oid.size() > 21 || oid[0] != '~' || oid[1] != 'k')
    return false;
  std::int64_t value = 0;
  for (std::size_t i = 2; i < oid.size(); ++i) {
    if (oid[i] < '0' || oid[i] > '9') return false;
    if (value > (INT64_MAX - (oid[i] - '0')) / 10) return false;
    value = value * 10 + (oid[i] - '0');
  }
  if (value <= 0) return false;
  *key = value;
  return true;
}

CORBA::Object_ptr ir_make_reference(const std::string& oid,
                                    CORBA::DefinitionKind kind) {
  PortableServer::ObjectId_var id =
      PortableServer::string_to_ObjectId(oid.c_str());
  return the_poa->create_reference_with_id(id, ir_interface_repo_id(kind));
}

void ir_activate_root(CORBA_Repository_Impl* root) {
  if (CORBA::is_nil(ins_poa)) return;
  IrUpcallGuard guard(ir_upcall_mutex());
  active_root = root;
}

void ir_deactivate_root(CORBA_Repository_Impl* root) {
  IrUpcallGuard guard(ir_upcall_mutex());
  if (root == active_root) active_root = nullptr;
}

CORBA::Object_ptr ir_root_reference(CORBA_Repository_Impl* root) {
  if (CORBA::is_nil(ins_poa) || root != active_root)
    return CORBA::Object::_nil();
  PortableServer::ObjectId_var id =
      PortableServer::string_to_ObjectId("InterfaceRepository");
  return ins_poa->id_to_reference(id);
}

std::string ir_register_anonymous(CORBA_IRObject_Impl* servant,
                                  const std::string& inline_form) {
  std::string oid =
      "~a" + std::to_string(next_anonymous++) + ":" + hex(inline_form);
  servant->_add_ref();
  anonymous[oid] = servant;
  return oid;
}

CORBA_IRObject_Impl* ir_find_anonymous(const std::string& oid) {
  auto it = anonymous.find(oid);
  if (it == anonymous.end()) return nullptr;
  it->second->_add_ref();
  return it->second;
}

void ir_flush_anonymous() {
  // Releasing may destroy servants that touch the table: empty it first.
  std::vector<CORBA_IRObject_Impl*> old;
  old.reserve(anonymous.size());
  for (auto& e : anonymous) old.push_back(e.second);
  anonymous.clear();
  for (CORBA_IRObject_Impl* s : old) s->_remove_ref();
}

CORBA_IRObject_Impl* ir_servant_for_oid(const std::string& oid) {
  CORBA_Repository_Impl* root = get_repository_impl();
  if (!root) return nullptr;
  std::int64_t key = 0;
  if (ir_parse_key_object_id(oid, &key)) {
    try {
      return static_cast<CORBA_Contained_Impl*>(
          root->get_irs()->IRFindObjectByKey(key));
    } catch (const IRStore::Exception& e) {
      irobj_parse_throw(e.code(), kFile, __LINE__, oid.c_str());
    }
  }
  if (!oid.empty() && oid[0] == '~') {
    if (oid.size() > 2 && oid[1] == 'p') {
      char* end = nullptr;
      long kind = std::strtol(oid.c_str() + 2, &end, 10);
      if (*end != '\0') return nullptr;
      try {
        return root->get_primitive_impl(
            static_cast<CORBA::PrimitiveKind>(kind));
      } catch (const CORBA::SystemException&) {
        return nullptr;
      }
    }
    if (CORBA_IRObject_Impl* s = ir_find_anonymous(oid)) return s;
    return rebuild_anonymous(oid);
  }
  if (oid == repository_base_rep_id) {
    root->_add_ref();
    return root;
  }
  try {
    return ir_find_object(root->get_irs(), oid);
  } catch (const IRStore::Exception& e) {
    irobj_parse_throw(e.code(), kFile, __LINE__, oid.c_str());
  }
}
