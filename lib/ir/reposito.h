// The repository root: owner of the store, the servant cache and its
// critical-section mutex, the primitive objects and user transactions.
#ifndef IR_IR_REPOSITO_H
#define IR_IR_REPOSITO_H

#include <functional>
#include <memory>

#include "ir/containd.h"
#include "ir/containr_forwarders.h"
#include "ir/servant_cache.h"

class CORBA_PrimitiveDef_Impl;
class omniCallHandle;

// The contained view of the root: its record in the store.
class CORBA_Repository_Contained : public CORBA_Contained_Impl {
 public:
  CORBA_Repository_Contained(const char* id, const char* name,
                             CORBA_Repository_Impl* root);
  CORBA::Contained::Description* describe() override;  // null
  std::string store_parent() const override { return std::string(); }
};

class CORBA_Repository_Impl : public virtual POA_IRExt::Repository,
                              public CORBA_Container_Impl {
 public:
  // Opens the store for `database` (null: the store's default), creates
  // the cache, its mutex and the primitive objects and writes the root's
  // record.  Raises a CORBA system exception when the store cannot be
  // opened.
  explicit CORBA_Repository_Impl(const char* database);
  ~CORBA_Repository_Impl() override;

  // The process's root, created on first use (the argument is ignored
  // once it exists); creates the interface Object.
  static CORBA_Repository_Impl* theRepository(const char* database);
  // A second root beside the first, without the interface Object.
  static CORBA_Repository_Impl* theMergeRepository(const char* database);
  // Opens the store of a new root; replaceable (read-only mode, tests).
  static std::function<std::unique_ptr<IRStore>(const char* database)>
      store_opener;
  // The capacity of the servant cache of roots made from now on.
  static std::size_t cache_capacity;
  static constexpr std::size_t kDefaultCacheCapacity = 20000;

  IRStore* get_irs() { return store_; }
  char* repid();
  void destroy() override;
  static void create_Object(CORBA_Repository_Impl* root);
  static void init_Object_interface_ptr();
  CORBA_PrimitiveDef_Impl* get_primitive_impl(CORBA::PrimitiveKind kind);

  // IRExt::Repository
  void ext_beginUserTransaction() override;
  void ext_endUserTransaction() override;
  void ext_cancelUserTransaction() override;
  CORBA::ContainedSeq* ext_find_objects(const char* pattern, const char* scope,
                                        CORBA::Boolean match_ids,
                                        const char* kinds) override;
  IRExt::ExtPage* ext_list(const char* container, CORBA::ULong offset,
                           CORBA::ULong limit) override;
  IRExt::ExtPage* ext_search(const char* pattern, const char* scope,
                             CORBA::Boolean match_ids,
                             CORBA::Boolean ignore_case, const char* kinds,
                             CORBA::ULong offset, CORBA::ULong limit) override;
  IRExt::ExtKindCountSeq* ext_count_kinds() override;
  IRExt::ExtServerInfo* ext_server_info() override;
  char* ext_backup() override;

  // CORBA::Repository
  CORBA::Contained_ptr lookup_id(const char* search_id) override;
  CORBA::TypeCode_ptr get_canonical_typecode(CORBA::TypeCode_ptr tc) override;
  CORBA::PrimitiveDef_ptr get_primitive(CORBA::PrimitiveKind kind) override;
  CORBA::StringDef_ptr create_string(CORBA::ULong bound) override;
  CORBA::WstringDef_ptr create_wstring(CORBA::ULong bound) override;
  CORBA::SequenceDef_ptr create_sequence(
      CORBA::ULong bound, CORBA::IDLType_ptr element_type) override;
  CORBA::ArrayDef_ptr create_array(CORBA::ULong length,
                                   CORBA::IDLType_ptr element_type) override;
  CORBA::FixedDef_ptr create_fixed(CORBA::UShort digits,
                                   CORBA::Short scale) override;

  const char* container_id() override { return repository_base_rep_id; }
  IR_CONTAINER_FORWARDERS(fwd, fwd, fwd, fwd, fwd, fwd, fwd, fwd, fwd, fwd, fwd,
                          fwd)

  std::string object_key() override;
  CORBA::Object_ptr _ref() override;
  // Every remote request to the root runs under the upcall lock.
  CORBA::Boolean _dispatch(omniCallHandle& handle) override;
  // The same for a caller that holds the upcall lock already.
  CORBA::Boolean dispatch_locked(omniCallHandle& handle);

  // The servant cache and its mutex (see irobj.h).
  KALMutexSem cache_mutex() const { return mutex_; }
  ServantCache* cache() const { return cache_.get(); }
  // Forgets every servant and cached content: after a cancelled user
  // transaction nothing may show rolled-back state.
  void forget_servants();

 private:
  std::unique_ptr<IRStore> owned_store_;
  KALMutexSem mutex_ = nullptr;
  std::unique_ptr<ServantCache> cache_;
  CORBA_PrimitiveDef_Impl* primitives_[21] = {};
  std::unique_ptr<StoreHandle> root_handle_;
  Servant_ref<CORBA_Repository_Contained> contained_view_;
};

// The interface Object ("IDL:Object:1.0").
extern CORBA::InterfaceDef_var Object_interface_ptr;

#endif
