// Containers: lookup, contents, lookup_name, describe_contents, the
// contents cache and the create operations shared by every container
// kind.  Each kind forwards its CORBA::Container operations here with
// its own repository id as the last argument (containr_forwarders.h).
#ifndef IR_IR_CONTAINR_H
#define IR_IR_CONTAINR_H

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "ir/irobj.h"

class StoreHandle;

class CORBA_Container_Impl : public virtual POA_CORBA::Container,
                             public virtual CORBA_IRObject_Impl {
 public:
  CORBA_Container_Impl();
  ~CORBA_Container_Impl() override;

  CORBA_IRObject_Impl* _has_kind_container(CORBA::DefinitionKind kind) override;
  // The container part of `p`; base + 0x53 when `p` is not a container.
  static CORBA_Container_Impl* _narrow(CORBA_IRObject_Impl* p);

  // --- reading ----------------------------------------------------------
  CORBA::Contained_ptr lookup(const char* search_name,
                              const char* container_id);
  CORBA::ContainedSeq* read_contents(CORBA::DefinitionKind limit_type,
                                     CORBA::Boolean exclude_inherited,
                                     const char* container_id);
  CORBA::ContainedSeq* contents(CORBA::DefinitionKind limit_type,
                                CORBA::Boolean exclude_inherited,
                                const char* container_id);
  CORBA::ContainedSeq* lookup_name(const char* search_name,
                                   CORBA::Long levels_to_search,
                                   CORBA::DefinitionKind limit_type,
                                   CORBA::Boolean exclude_inherited,
                                   const char* container_id);
  CORBA::Container::DescriptionSeq* describe_contents(
      CORBA::DefinitionKind limit_type, CORBA::Boolean exclude_inherited,
      CORBA::Long max_returned_objs, const char* container_id);

  // --- contents cache -------------------------------------------------------
  void cache_contents();
  void clear_cache_contents(const char* container_id);
  void clear_children_cache_contents(const char* container_id);
  // Handle on the id of the content named `name` (inherited ones
  // included), or null.
  std::unique_ptr<StoreHandle> is_name_in_contents(const char* name);
  std::unique_ptr<StoreHandle> is_name_in_contents(
      const char* name, const StoreHandle& container);
  void add_to_contents(CORBA_Contained_Impl* c);
  // Forgets the cached contents of this container.
  void drop_contents_cache();
  // The container whose id is the handle's key, with one reference for
  // the caller; base + 0x53 when there is none.
  static CORBA_Container_Impl* container_from_sh(const StoreHandle& h);
  // A new copy of this container's repository id.
  char* repid_from_container();
  virtual const char* container_id() = 0;

  // --- creation ---------------------------------------------------------
  CORBA::ModuleDef_ptr create_module(const char* id, const char* name,
                                     const char* version,
                                     const char* container_id);
  CORBA::ConstantDef_ptr create_constant(const char* id, const char* name,
                                         const char* version,
                                         CORBA::IDLType_ptr type,
                                         const CORBA::Any& value,
                                         const char* container_id);
  CORBA::StructDef_ptr create_struct(const char* id, const char* name,
                                     const char* version,
                                     const CORBA::StructMemberSeq& members,
                                     const char* container_id);
  CORBA::UnionDef_ptr create_union(const char* id, const char* name,
                                   const char* version,
                                   CORBA::IDLType_ptr discriminator_type,
                                   const CORBA::UnionMemberSeq& members,
                                   const char* container_id);
  CORBA::EnumDef_ptr create_enum(const char* id, const char* name,
                                 const char* version,
                                 const CORBA::EnumMemberSeq& members,
                                 const char* container_id);
  CORBA::AliasDef_ptr create_alias(const char* id, const char* name,
                                   const char* version,
                                   CORBA::IDLType_ptr original_type,
                                   const char* container_id);
  CORBA::InterfaceDef_ptr create_interface(
      const char* id, const char* name, const char* version,
      const CORBA::InterfaceDefSeq& base_interfaces, const char* container_id);
  CORBA::ExceptionDef_ptr create_exception(
      const char* id, const char* name, const char* version,
      const CORBA::StructMemberSeq& members, const char* container_id);
  virtual CORBA::ValueDef_ptr create_value_i(
      const char* id, const char* name, const char* version,
      CORBA::Boolean is_custom, CORBA::Boolean is_abstract,
      CORBA::ValueDef_ptr base_value, CORBA::Boolean is_truncatable,
      const CORBA::ValueDefSeq& abstract_base_values,
      const CORBA::InterfaceDefSeq& supported_interfaces,
      const CORBA::InitializerSeq& initializers, const char* container_id);
  virtual CORBA::ValueBoxDef_ptr create_value_box_i(
      const char* id, const char* name, const char* version,
      CORBA::IDLType_ptr original_type_def, const char* container_id);
  CORBA::NativeDef_ptr create_native(const char* id, const char* name,
                                     const char* version,
                                     const char* container_id);
  virtual CORBA::AbstractInterfaceDef_ptr create_abstract_interface_i(
      const char* id, const char* name, const char* version,
      const CORBA::AbstractInterfaceDefSeq& base_interfaces,
      const char* container_id);

  // The common steps 4 to 13 of every create operation: name check
  // (unless TransOn), `build` constructs the servant (with one reference
  // for the caller) inside the update, its record is inserted, then
  // `after` runs (use links and other store work, still inside the
  // update), and the servant is cached and added to the contents.
  // Returns the new servant with one reference for the caller.
  template <class Build, class After>
  CORBA_Contained_Impl* create_common(const char* id, const char* name,
                                      const char* container_id,
                                      const char* context, Build&& build,
                                      After&& after);

  // create_module and create_native, which have no own arguments: both
  // report argument failures with the strings of create_module.  Returns
  // the new servant with one reference for the caller.
  template <class Impl>
  CORBA_Contained_Impl* create_plain(const char* id, const char* name,
                                     const char* version,
                                     const char* container_id,
                                     const char* context);

  // The common steps of create_alias and create_value_box_i after their
  // argument checks: the original type's TypeCode (a recursive
  // placeholder where it refers back to what encloses the new type;
  // `refuse` reports a type without one), then create_common building an
  // `Impl` with the TypeCode that `Traits::make_tc` builds, and the use
  // link to the original type.  Returns the new servant with one
  // reference for the caller.
  template <class Impl, class Traits, class Refuse>
  CORBA_Contained_Impl* create_with_original(const char* id, const char* name,
                                             const char* version,
                                             CORBA::IDLType_ptr original_type,
                                             const char* container_id,
                                             const char* context,
                                             Refuse&& refuse);

  // The contents cache: the headers of the contents, by position; names
  // by hash.  It holds no servants, so that a large container does not
  // keep its contents in memory.
  struct CacheEntry {
    std::string name;
    std::string id;
    std::int64_t key;
    CORBA::DefinitionKind kind;
    std::string defined_in;
  };

 private:
  bool contents_cached_ = false;
  std::vector<CacheEntry> contents_cache_;
  std::unordered_map<std::string, std::size_t> contents_by_name_;

  void fill_contents_cache();
  void append_to_cache(CacheEntry entry);
};

// Checks a limit type of contents, lookup_name and describe_contents:
// 0 to 24 except 19.  Raises base + 0x48 with `text` otherwise.
void ir_check_limit_type(CORBA::DefinitionKind limit_type, const char* file,
                         int line, const char* text);

// Forgets the contents caches of the cached containers that derive from
// the definition `id`, at every level: their contents list what they
// inherit.  Store failures are raised through irobj_parse_throw.
void ir_drop_derived_contents_caches(IRStore* store, const std::string& id);

// The servants of the direct contents of `container` of one kind, in
// store order, each with one reference.  Store failures are raised
// through irobj_parse_throw.
std::vector<Servant_ref<CORBA_Contained_Impl>> ir_own_members(
    IRStore* store, const std::string& container, CORBA::DefinitionKind kind);

// Raises base + 0x34: a create operation that this container kind
// refuses.
[[noreturn]] void ir_refuse_create(const char* file, int line);

// The process-wide flag set while a user transaction is open: the name
// collision checks are skipped.
extern bool TransOn;

#endif
