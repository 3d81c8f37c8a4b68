// The persistent store of the interface repository.
//
// Every named definition is one record: repository id, kind, name, parent
// (the repository id of the defining container) and a body (the CDR
// encapsulation written by the definition's servant).  Each record also
// has a key: a number the store assigns when the record is created, that
// never changes (whatever happens to the id, name or parent) and is never
// given to another record, even after the record is removed or its
// creation rolled back.  Keys grow with creation order.  Store handles
// name records by repository id; the key is what outlives a change of
// id.  Besides the records the store keeps links between them:
//   use links          a record names another as a type (member types,
//                      results, parameters, exceptions, aliased types);
//                      a multiset: one link per use
//   inheritance links  an interface or value type derives from, or
//                      supports, another; ordered by position
// and documentation comments, one per record at most.
// The store also turns records into servants: IRFindObject asks the
// ObjectFactory for a cached servant and, failing that, builds one from
// the record.
//
// Updates nest: IRBeginUpdate opens one, IREndUpdate commits it into
// the enclosing one (or to disk when it is the outermost and no user
// transaction is open), IRCancelUpdate restores the state of its
// IRBeginUpdate.  A user transaction encloses any number of updates.
//
// Every operation reports failure by throwing IRStore::Exception.
// Not thread-safe: callers serialize all calls (irserver holds its upcall
// lock around every request).
#ifndef IR_STORE_IRSTORE_H
#define IR_STORE_IRSTORE_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "store/store_handle.h"

// A servant as the store sees it.  Reference counted by its owner; the
// store never deletes one.
class StoredObject {
 public:
  virtual ~StoredObject() = default;
  // The repository id.
  virtual std::string store_id() const = 0;
  // The record's key, 0 until the record exists; the store sets it when
  // it creates the record.
  virtual std::int64_t store_key() const = 0;
  virtual void store_set_key(std::int64_t key) = 0;
  virtual int store_kind() const = 0;
  virtual std::string store_name() const = 0;
  // Key of the defining container; empty for the repository root.
  virtual std::string store_parent() const = 0;
  // Serializes the record body.
  virtual std::vector<std::uint8_t> store_body() = 0;
  // One more reference for the caller; released by store_release().
  virtual void store_add_ref() = 0;
  virtual void store_release() = 0;
};

// Builds servants for records; installed by the repository.
class ObjectFactory {
 public:
  virtual ~ObjectFactory() = default;
  // The servant cached for `id` (or for the record `key`), with one
  // reference for the caller, or null.
  virtual StoredObject* cached(const std::string& id) = 0;
  virtual StoredObject* cached_key(std::int64_t key) = 0;
  // Builds the servant of a record, caches it and returns it with one
  // reference for the caller; may return null (a kind that is never
  // built from a record) and may throw.
  virtual StoredObject* make(int kind, const std::string& name,
                             const std::string& id, std::int64_t key,
                             const std::vector<std::uint8_t>& body) = 0;
};

using IdList = std::vector<std::string>;

// A definition as listings show it: the record's header, the first bytes
// of its body (where the contained header begins), its absolute name and
// the number of its direct children.  Carries no servant.
struct StoreSummary {
  std::int64_t key = 0;
  int kind = 0;
  std::string name;
  std::string id;
  std::string parent;  // empty for the root
  // "::A::B": the names from the top level down (the root's own name is
  // not part of it).
  std::string absolute_name;
  std::vector<std::uint8_t> body_head;  // at most kSummaryHeadBytes
  std::uint64_t children = 0;
};
constexpr std::size_t kSummaryHeadBytes = 64;

// What IRSearch matches.
struct StoreSearch {
  std::string pattern;     // a GLOB pattern
  std::vector<int> kinds;  // accepted kinds; empty (or dk_all) for all
  bool match_ids = false;  // match the id instead of the name
  bool ignore_case = false;
  std::string scope;  // below this container only; empty: everywhere
};

// A link that leaves a subtree: `user` (outside) refers to `used` (inside).
struct StoreOutsideRef {
  std::int64_t user_key = 0;
  std::string used;
};

using KeyList = std::vector<std::int64_t>;

// A record's header without its body: what a reference to it and a
// listing of names need.
struct StoreRef {
  std::string id;
  std::int64_t key = 0;
  int kind = 0;
  std::string name;
  std::string parent;  // empty for the root
};

struct StoreRecord {
  std::string id;
  std::int64_t key = 0;
  int kind = 0;
  std::string name;
  std::string parent;  // empty for the root
  std::vector<std::uint8_t> body;
};

class IRStore {
 public:
  // Failure codes carried by Exception.
  enum Code {
    kDuplicateId = 1,   // a record with that key exists already
    kNoSuchRecord = 2,  // no record with that key
    kBadState = 3,      // update or transaction protocol violated
    kNotChanged = 4,    // an operation found nothing to change
    kStoreFailure = 5,  // the database failed (I/O, damaged, full)
    kNoMemory = 6,
    kBusy = 7,      // the database is locked by another process
    kReadOnly = 9,  // a change was attempted on a read-only store
  };

  class Exception {
   public:
    Exception(int code, std::string text)
        : code_(code), text_(std::move(text)) {}
    int code() const { return code_; }
    const std::string& text() const { return text_; }

   private:
    int code_;
    std::string text_;
  };

  // Link kinds.
  enum LinkKind { kUseLink = 1, kInheritLink = 2 };

  virtual ~IRStore() = default;

  // --- updates and user transactions ---------------------------------
  virtual void IRBeginUpdate() = 0;
  virtual void IREndUpdate() = 0;
  virtual void IRCancelUpdate() = 0;
  virtual void IRBeginUserTransaction() = 0;
  virtual void IREndUserTransaction() = 0;
  virtual void IRCancelUserTransaction() = 0;
  virtual bool IRInUserTransaction() const = 0;
  virtual bool IRReadOnly() const = 0;

  // The whole-file integrity check of the database: a small file is
  // checked when it is opened (a damaged one is refused then), a large one
  // once it is open, while the repository serves.  A failed check makes
  // every later change fail with kStoreFailure.  `detail` (when not null)
  // receives what the check found.
  enum class Integrity { kChecking, kPassed, kFailed };
  virtual Integrity IRIntegrity(std::string* detail) const {
    if (detail) detail->clear();
    return Integrity::kPassed;
  }

  // --- servants -------------------------------------------------------
  virtual void set_factory(ObjectFactory* factory) = 0;
  // Writes the servant's record: replaces the body, kind, name and parent
  // of the record with the servant's key (kNoSuchRecord when it has
  // gone); a servant without a key replaces the record with its id, or
  // inserts a new record and gets its key.
  virtual void IRStoreObject(StoredObject* obj) = 0;
  // Inserts a new record and gives the servant its key; kDuplicateId when
  // the id exists, kNoSuchRecord when the parent does not.
  virtual void IRInsertObject(StoredObject* obj) = 0;
  // The servant of the record `h` (or of the record `key`), with one
  // reference for the caller, or null when there is no such record.
  virtual StoredObject* IRFindObject(const StoreHandle& h) = 0;
  virtual StoredObject* IRFindObjectByKey(std::int64_t key) = 0;
  // Checks that the record exists (kNoSuchRecord otherwise); the step
  // before a servant describes itself.
  virtual void IRObjectOp(const StoreHandle& h) = 0;
  // Enters `obj` into the contents of `container`: sets its parent.
  virtual void IRAddContained(const StoreHandle& obj,
                              const StoreHandle& container) = 0;

  // --- single records -------------------------------------------------
  virtual bool IRExists(const StoreHandle& h) = 0;
  virtual bool IRReadRecord(const std::string& id, StoreRecord& out) = 0;
  // The repository id of the record `key`, or "" when there is none.
  virtual std::string IRIdOfKey(std::int64_t key) = 0;
  // The headers of the records with these ids, in the order given; ids
  // without a record are left out.  One query whatever the number.
  virtual std::vector<StoreRef> IRRefsOf(const IdList& ids) = 0;
  // kNoSuchRecord when absent.
  virtual int IRKindOf(const StoreHandle& h) = 0;
  virtual std::string IRNameOf(const StoreHandle& h) = 0;
  // Parent handle (caller owns); null for the root.
  virtual std::unique_ptr<StoreHandle> IRParentOf(const StoreHandle& h) = 0;
  // The direct child named `name` (exact, case-sensitive), or null.
  virtual std::unique_ptr<StoreHandle> IRChildByName(
      const StoreHandle& container, const std::string& name) = 0;
  // True when `name` is used by a direct child of `container` or by a
  // definition that `container` inherits (interfaces and value types).
  virtual bool IRNameInContents(const StoreHandle& container,
                                const std::string& name) = 0;

  // --- lists (ids, in creation order unless said otherwise) -----------
  // Direct children, `limit_kind` 1 (dk_all) for every kind.
  virtual IdList IRChildren(const StoreHandle& container, int limit_kind) = 0;
  // Contents: direct children and, unless `exclude_inherited`, the
  // direct children of every container that `container` inherits from
  // (transitively); `limit_kind` 1 for every kind; at most `max` ids
  // (negative: no maximum).
  virtual IdList IRContents(const StoreHandle& container, int limit_kind,
                            bool exclude_inherited, long max) = 0;
  // Definitions named `name`: levels 1 = the contents of `container`,
  // n > 1 = down to n levels below it, -1 = at any depth below it;
  // inherited contents take part at every level unless
  // `exclude_inherited`.
  virtual IdList IRLookupName(const StoreHandle& container,
                              const std::string& name, long levels,
                              int limit_kind, bool exclude_inherited) = 0;
  // Definitions named `name` of kind `kind` directly inside any container
  // that `container` inherits from, transitively, itself excluded.
  virtual IdList IRInheritedName(const StoreHandle& container,
                                 const std::string& name, int kind) = 0;
  // The record and every record below it, parents before children.
  virtual IdList IRSubtree(const StoreHandle& h) = 0;
  // The records with a link to `h`: `link_kind` 0 for both kinds.
  virtual IdList IRReferring(const StoreHandle& h, int link_kind) = 0;
  // Records with an inheritance link to `h` (derived directly from it).
  virtual IdList IRDerived(const StoreHandle& h) = 0;
  // Targets of the inheritance links of `h`, in position order.
  virtual IdList IRBases(const StoreHandle& h) = 0;
  // Search: `pattern` is a GLOB pattern matched against the name (or the
  // id when `match_ids`); `kinds` lists the kinds accepted (empty: all);
  // `scope` restricts the search to the records below that container
  // (null: everywhere).
  virtual IdList IRFindObjects(const std::string& pattern,
                               const std::vector<int>& kinds, bool match_ids,
                               const StoreHandle* scope) = 0;

  // --- bulk listings (for clients that show many definitions at once) ---
  // The keys of the direct children of `container`, in creation order;
  // kNoSuchRecord when there is no such record.
  virtual KeyList IRChildKeys(const StoreHandle& container) = 0;
  // The keys of the records that `search` matches, in creation order
  // (the root never matches); kNoSuchRecord for an unknown scope.
  virtual KeyList IRSearch(const StoreSearch& search) = 0;
  // The summaries of the records with these keys, in creation order
  // (keys without a record are left out).  One query for the records and
  // one for all their ancestors, whatever the number.
  virtual std::vector<StoreSummary> IRSummaries(const KeyList& keys) = 0;
  // The number of records of each kind present, the root left out,
  // ordered by kind.
  virtual std::vector<std::pair<int, std::uint64_t>> IRCountKinds() = 0;
  // The links from a record outside the subtree of `h` to a record in it,
  // each (user, used) pair once, oldest user first, then by the used
  // record's position; kNoSuchRecord when `h` does not exist.
  virtual std::vector<StoreOutsideRef> IROutsideRefs(const StoreHandle& h) = 0;

  // --- links ------------------------------------------------------------
  virtual void IRAddUse(const StoreHandle& user, const StoreHandle& used) = 0;
  // Removes one use link (nothing when there is none).
  virtual void IRRemoveUse(const StoreHandle& user,
                           const StoreHandle& used) = 0;
  // Appends an inheritance link after the existing ones.
  virtual void IRAddInherit(const StoreHandle& derived,
                            const StoreHandle& base) = 0;
  virtual void IRRemoveInherit(const StoreHandle& derived,
                               const StoreHandle& base) = 0;
  // True when `h` is `target_id` or derives from it, transitively.
  virtual bool IRIsA(const StoreHandle& h, const std::string& target_id) = 0;

  // --- documentation comments ---------------------------------------------
  // The comment of the record `h`, "" when it has none; kNoSuchRecord
  // when there is no such record.
  virtual std::string IRGetComment(const StoreHandle& h) = 0;
  // Replaces the comment of `h`; "" removes it.  Removed with the record.
  virtual void IRSetComment(const StoreHandle& h, const std::string& text) = 0;

  // --- changes ------------------------------------------------------------
  // Changes a record's key; children, links and references follow.
  // kDuplicateId when `to` exists, kNoSuchRecord when `from` does not.
  virtual void IRReKey(const StoreHandle& from, const StoreHandle& to) = 0;
  virtual void IRRename(const StoreHandle& h, const std::string& name) = 0;
  // Removes the record, everything below it and every link from or to
  // any of them.
  virtual void IRRemove(const StoreHandle& h) = 0;

  // --- maintenance --------------------------------------------------------
  // The number of definitions: every record but the root's.  A cheap read
  // that proves the store answers (health checks).
  virtual long long IRCountDefinitions() = 0;
  // Writes a consistent copy of the committed state of the database into
  // the new file `path` (allowed on a read-only store).  The copy appears
  // under its name only once complete.  kDuplicateId when `path` exists,
  // kBadState while a user transaction or an update is open,
  // kStoreFailure when the copy cannot be written.
  virtual void IRBackup(const std::string& path) = 0;
};

#endif
