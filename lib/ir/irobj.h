// The base of every servant, the definition kinds, the critical section,
// the translation of store failures, the object factory and the servant
// cache.
#ifndef IR_IR_IROBJ_H
#define IR_IR_IROBJ_H

#include <omniORB4/CORBA.h>

#include <mutex>
#include <string>

#include "irext.hh"
#include "platform/encap_iiop.h"
#include "platform/kal_mutex.h"
#include "platform/kald_error.h"
#include "store/irstore.h"

class CORBA_Repository_Impl;
class CORBA_Contained_Impl;

// The repository root's own repository id: the key of its record and the
// defining container of every top-level definition.
extern const char* const repository_base_rep_id;

// Kind predicates shared by the whole library.
bool is_contained_def_kind(CORBA::DefinitionKind kind);
bool ck_idltype(CORBA::DefinitionKind kind);
bool is_anonymous_type(CORBA::DefinitionKind kind);
// "dk_Struct" and so on; "dk_?" for values outside the enumeration.
const char* def_kind_name(CORBA::DefinitionKind kind);

// The root of every servant class.  Servants are reference counted
// (PortableServer::ServantBase); whoever holds a raw pointer obtained
// from the factory, the cache or ir_servant_of owns one reference.
// Not thread-safe by itself: irserver serializes all upcalls (see
// servant_locator.h).
class CORBA_IRObject_Impl : public virtual POA_CORBA::IRObject {
 public:
  CORBA_IRObject_Impl();
  explicit CORBA_IRObject_Impl(CORBA::DefinitionKind kind);
  ~CORBA_IRObject_Impl() override;

  // IDL
  CORBA::DefinitionKind def_kind() override;
  void destroy() override;

  // Writes the object's record body; the base writes nothing.
  virtual void object_to_stream(Encapsulation& e);
  // This object when `kind` is its own kind, else null.
  virtual CORBA_IRObject_Impl* _has_kind(CORBA::DefinitionKind kind);
  virtual CORBA_IRObject_Impl* _has_kind_contained(CORBA::DefinitionKind kind);
  virtual CORBA_IRObject_Impl* _has_kind_container(CORBA::DefinitionKind kind);

  // The object id under which the object's reference is made.
  virtual std::string object_key() = 0;
  // A new reference to this object (caller owns).  The reference is made
  // once per object key and kept: making one costs more than a whole
  // lookup request.
  virtual CORBA::Object_ptr _ref();
  // The store of this object (null for objects that are never stored).
  IRStore* store() const { return store_; }

  PortableServer::POA_ptr _default_POA() override;

 protected:
  CORBA::DefinitionKind def_kind_;
  IRStore* store_ = nullptr;

 private:
  // The reference _ref() made last and the key it was made for; guarded
  // by ref_mutex_ (references are handed out outside upcalls too).
  std::mutex ref_mutex_;
  CORBA::Object_var ref_;
  std::string ref_key_;
};

// The servant behind a reference of this repository, with one reference
// for the caller, or null when `obj` is nil or not one of ours.
CORBA_IRObject_Impl* ir_servant_of(CORBA::Object_ptr obj);

// The object id of a reference of the IR POA ("~k<key>" for
// definitions), or "" when `obj` is nil or not one of ours.  No servant
// is touched.
std::string ir_object_key_of(CORBA::Object_ptr obj);

// The repository id that the definition behind a reference of ours has
// now, or "" when `obj` is nil, not ours, anonymous or its definition
// has gone.  Store failures are raised through irobj_parse_throw.
std::string ir_definition_id_of(CORBA::Object_ptr obj);

// True when `obj` names the definition whose id is changing from
// `old_id` to `new_id`: its servant carries either id while the change
// is under way.
bool ir_names_changing_id(CORBA::Object_ptr obj, const char* old_id,
                          const char* new_id);

// Holds one servant reference and releases it on scope exit.
template <class T>
using Servant_ref = PortableServer::Servant_var<T>;

// Names the calling client for the log (a new string; caller frees).
char* identify_principal();

// Turns a store failure code into a CORBA system exception; never
// returns.
[[noreturn]] void irobj_parse_throw(int code, const char* file, int line,
                                    const char* text);

// Raises CORBA::BAD_PARAM with an OMG minor code (1 to 5), logged first.
[[noreturn]] void ir_throw_bad_param(CORBA::ULong omg_minor, const char* file,
                                     int line, const char* text);

// The repository's one critical section, around the servant cache.  It
// is not re-entrant.  Traces "Starting CS: " and "Ending CS: " when
// QORMutexTrace is set.
class IrCriticalSection {
 public:
  IrCriticalSection(KALMutexSem mutex, const char* file, int line);
  ~IrCriticalSection();
  IrCriticalSection(const IrCriticalSection&) = delete;
  IrCriticalSection& operator=(const IrCriticalSection&) = delete;

 private:
  KALMutexSem mutex_;
  const char* file_;
  int line_;
};
// Formats a critical-section trace ("\n%s0x%08x\n") and hands it to
// QORTraceString.
void ir_trace_mutex(const char* file, int line, const char* what,
                    KALMutexSem mutex);

// A number that grows with every change of the repository: every store
// update begun or ended, every user transaction begun, ended or
// cancelled, every change kept in a servant only, every time the cached
// servants are dropped.  An answer cached in a servant stays valid while
// the number it was made at is the current one.  Read and bumped under
// the upcall lock; atomic for readers outside it.
std::uint64_t ir_change_generation();
void ir_note_change();

// After a failure of the database (`code` kStoreFailure, kNoMemory or
// kBusy) servants may hold changes that the store rolled back: every
// servant, anonymous object and contents cache is dropped, to be rebuilt
// from the store on demand.  Other codes (a clash, a missing record) change
// nothing.
void ir_forget_after_failure(int code);

// A store update as a scoped guard: begun by the constructor, committed
// by commit(), cancelled by the destructor otherwise.  fail() cancels and
// then raises; a store exception is translated by store_failure().  A
// failure of the database (in the update or its commit) drops every
// cached servant (ir_forget_after_failure) before it is raised.
class IrUpdate {
 public:
  IrUpdate(IRStore* store, const char* file, int line, const char* context);
  ~IrUpdate();
  IrUpdate(const IrUpdate&) = delete;
  IrUpdate& operator=(const IrUpdate&) = delete;

  void commit();
  // Cancels the update now; a failing cancel raises base + 0x53
  // "IRCancelUpdate".
  void cancel();
  // Cancels, then raises the mapping of the store failure.
  [[noreturn]] void store_failure(const IRStore::Exception& e);
  bool open() const { return open_; }

 private:
  IRStore* store_;
  const char* file_;
  int line_;
  const char* context_;
  bool open_;
};

// Runs `body` inside a store update: a store exception cancels the update
// and is raised through irobj_parse_throw with `context`; any other
// exception cancels the update and passes on.  The update commits when
// `body` returns.
template <class Body>
auto ir_in_update(IRStore* store, const char* file, int line,
                  const char* context, Body&& body) {
  IrUpdate update(store, file, line, context);
  try {
    if constexpr (std::is_void_v<decltype(body(update))>) {
      body(update);
      update.commit();
    } else {
      auto result = body(update);
      update.commit();
      return result;
    }
  } catch (const IRStore::Exception& e) {
    update.store_failure(e);
  }
}

// Runs `body`, turning a store exception into irobj_parse_throw(code,
// file, line, context).
template <class Body>
auto ir_store_call(const char* file, int line, const char* context,
                   Body&& body) {
  try {
    return body();
  } catch (const IRStore::Exception& e) {
    irobj_parse_throw(e.code(), file, line, context);
  }
}

// --- object factory and servant cache ---------------------------------

// Builds the servant of a stored record (whose key is `key`), caches it,
// reads its record and returns it with one reference for the caller.
// Null for dk_Repository; base + 0x53 for a kind that has no servant
// class.
CORBA_Contained_Impl* make_object(CORBA::DefinitionKind kind, const char* name,
                                  const char* id, Encapsulation& record,
                                  std::int64_t key = 0);

// Enters `servant` under a copy of `id` and under its key (one more
// reference held by the cache).  The cache is bounded: servants that
// nothing else holds may leave it (see servant_cache.h).
void irobj_put_in_cache(const char* id, CORBA_Contained_Impl* servant);
// The cached servant with one more reference for the caller, or null.
CORBA_Contained_Impl* irobj_get_from_cache(const char* id);
CORBA_Contained_Impl* irobj_get_from_cache_by_key(std::int64_t key);
// Drops the cache entry of `id` (a destroyed definition).
void irobj_remove_from_cache(const char* id);

CORBA_Repository_Impl* get_repository_impl();

// The store's hooks into the factory and the cache.
class IrObjectFactory : public ObjectFactory {
 public:
  StoredObject* cached(const std::string& id) override;
  StoredObject* cached_key(std::int64_t key) override;
  StoredObject* make(int kind, const std::string& name, const std::string& id,
                     std::int64_t key,
                     const std::vector<std::uint8_t>& body) override;
};

// The servant of the record `id` (cache first), with one reference for
// the caller, or null when there is no such record.
CORBA_Contained_Impl* ir_find_object(IRStore* store, const std::string& id);

// The same, raising a store failure through irobj_parse_throw with
// `file`, `line` and `context`.
CORBA_Contained_Impl* ir_fetch_object(IRStore* store, const std::string& id,
                                      const char* file, int line,
                                      const char* context);

// References to the definitions with these ids, in order; ids whose
// record has gone, and the root's own record, are left out.  One store
// query; no servant is built.  Store failures as in ir_fetch_object.
CORBA::ContainedSeq* ir_contained_seq(IRStore* store, const IdList& ids,
                                      const char* file, int line,
                                      const char* context);

// A new reference to the definition with `key` and `kind`: the cached
// servant's own when there is one, else made without building a servant.
CORBA::Object_ptr ir_reference_for_key(std::int64_t key,
                                       CORBA::DefinitionKind kind);

// A new reference to the servant `s` narrowed to `T` (unchecked: the
// caller knows the kind), or nil when `s` is null.
template <class T>
typename T::_ptr_type ir_ref_as(CORBA_IRObject_Impl* s) {
  if (!s) return T::_nil();
  CORBA::Object_var o = s->_ref();
  return T::_unchecked_narrow(o);
}

#endif
