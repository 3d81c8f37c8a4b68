// Named definitions inside a container: repository id, name, version,
// defining container, the common record header, rename, change of id and
// destroy.
#ifndef IR_IR_CONTAIND_H
#define IR_IR_CONTAIND_H

#include <memory>

#include "ir/irobj.h"
#include "store/store_handle.h"

class CORBA_Contained_Impl : public virtual POA_IRExt::Contained,
                             public virtual CORBA_IRObject_Impl,
                             public StoredObject {
 public:
  CORBA_Contained_Impl();
  // Copies every string; a null one raises base + 0x33.
  CORBA_Contained_Impl(const char* id, const char* name, const char* version,
                       const char* defined_in);
  // Copies `id` (not null) and the others when not null.
  CORBA_Contained_Impl(const char* id, const char* name, const char* version,
                       CORBA_Repository_Impl* repository,
                       const char* defined_in);
  ~CORBA_Contained_Impl() override;

  // Reads the record: name and id from the store, the header from `e`,
  // the defining container from the store's parent link.
  virtual void stream_to_object(const char* name, const char* id,
                                Encapsulation& e);
  // Replaces `old_id` by `new_id` in the references this object holds;
  // the base holds none.
  virtual void changeID(const char* old_id, const char* new_id);
  void object_to_stream(Encapsulation& e) override;
  CORBA_IRObject_Impl* _has_kind_contained(CORBA::DefinitionKind kind) override;

  // IDL: CORBA::Contained
  char* id() override;
  void id(const char* id) override;
  char* name() override;
  void name(const char* name) override;
  char* version() override;
  void version(const char* version) override;
  CORBA::Container_ptr defined_in() override;
  char* absolute_name() override;
  CORBA::Repository_ptr containing_repository() override;
  CORBA::Contained::Description* describe() override;
  void move(CORBA::Container_ptr new_container, const char* new_name,
            const char* new_version) override;
  void destroy() override;
  // IDL: IRExt::Contained
  CORBA::ContainedSeq* ext_get_refs_object(const char* which) override;
  CORBA::ContainedSeq* ext_get_objects_2b_deleted() override;
  IRExt::ExtReferenceSeq* ext_outside_refs() override;
  char* ext_get_comment() override;
  void ext_set_comment(const char* text) override;

  CORBA_Contained_Impl* is_contained();
  static CORBA_Contained_Impl* _narrow(CORBA_IRObject_Impl* p);
  // Gives the object a new id without touching the store.
  void set_id(const char* id);
  // Writes the in-line reference: own kind, own repository id.
  virtual void stream_in_line(Encapsulation& e);

  // Own fields, for the kinds.
  const char* own_id() const { return id_handle_->key(); }
  const StoreHandle& id_handle() const { return *id_handle_; }
  const char* own_name() const { return name_.in() ? name_.in() : ""; }
  const char* own_version() const { return version_.in() ? version_.in() : ""; }
  const char* own_defined_in() const {
    return defined_in_.in() ? defined_in_.in() : "";
  }
  // "" for a definition at the top level, else the container's id: the
  // `defined_in` of descriptions.
  const char* described_defined_in() const;
  // "~k<key>" once the record exists: the reference survives changes of
  // id, name and container, and restarts.
  std::string object_key() override;
  // The record's key; 0 until the record exists.
  std::int64_t def_key() const { return key_; }
  // True while the servant holds a change that its record does not have
  // yet (the servant cache keeps such a servant).
  virtual bool has_unstored_state() const { return false; }
  CORBA_Repository_Impl* repository() const { return repository_; }
  // Writes this object's record back to the store.
  void write_record();

  // StoredObject
  std::string store_id() const override { return own_id(); }
  std::int64_t store_key() const override { return key_; }
  void store_set_key(std::int64_t key) override { key_ = key; }
  int store_kind() const override { return def_kind_; }
  std::string store_name() const override { return own_name(); }
  std::string store_parent() const override { return own_defined_in(); }
  std::vector<std::uint8_t> store_body() override;
  void store_add_ref() override { _add_ref(); }
  void store_release() override { _remove_ref(); }

 protected:
  std::unique_ptr<StoreHandle> id_handle_;
  CORBA::String_var name_;
  CORBA::String_var version_;
  CORBA::String_var defined_in_;
  CORBA::String_var absolute_name_cache_;
  CORBA_Repository_Impl* repository_ = nullptr;
  std::int64_t key_ = 0;

 private:
  void drop_parent_contents_cache();
};

// Reads an in-line reference to a contained object (the kind is read and
// ignored) and returns that object's reference, or nil when the store
// has no such record.
CORBA::Contained_ptr get_next_contained(Encapsulation& e, IRStore* store);

// Set by the first destroy: containers stop trusting their contents
// caches.
extern bool dont_use_contents_cache;

#endif
