// IRDB: the store on an SQLite database file.
#ifndef IR_STORE_IRDB_H
#define IR_STORE_IRDB_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "store/irstore.h"

struct sqlite3;

class IRDB : public IRStore {
 public:
  // Default database file when none is named.
  static constexpr const char* kDefaultPath = "ir.db";

  struct Options {
    bool read_only = false;
    // true: a commit returns once it is on stable storage (it survives a
    // power cut); false: once the operating system has it (it survives
    // the process being killed, not a power cut).
    bool full_sync = true;
    // Files up to this size are checked for damage when they are opened;
    // larger ones in a thread of their own once open, so that opening
    // them takes no longer than opening a small one.
    std::uint64_t check_at_open_limit = 32ULL << 20;
    // Called (from that thread) when the check of a large file finds
    // damage, with what it found.
    std::function<void(const std::string&)> on_damage;
  };

  // Opens (creating when absent, unless read-only) the database `path`
  // (null: kDefaultPath).  A file that is not an SQLite database, is
  // damaged, or is an SQLite database of something else is refused with
  // kStoreFailure and a message that says which.
  // (Two constructors rather than a default argument: GCC cannot use the
  // member initializer of Options before the end of IRDB.)
  explicit IRDB(const char* path);
  IRDB(const char* path, Options options);
  ~IRDB() override;
  IRDB(const IRDB&) = delete;
  IRDB& operator=(const IRDB&) = delete;

  const std::string& path() const;

  // The format version this code writes.
  static int format_version();

  // What an offline check of a database file found (irserver --check).
  struct CheckReport {
    bool sound = false;
    std::string problem;   // why it is not sound ("" when it is)
    long long format = 0;  // the file's format version (0: unknown)
    // Definitions per kind (the root excluded), in kind order.
    std::vector<std::pair<int, long long>> kinds;
    long long links = 0;
  };
  // Opens `path` read-only (refusing what the server would refuse), runs
  // SQLite's full integrity check and the foreign key check, checks that
  // the root record is there and counts the definitions.  Changes
  // nothing; a database in use by a running server is reported as such.
  static CheckReport Check(const std::string& path);
  // Number of SQL statements run since opening (for tests and benches).
  unsigned long statements_run() const;
  // Diagnostics: for every parameterized statement the operations run, its
  // SQL text followed by one line per step of SQLite's query plan
  // (EXPLAIN QUERY PLAN, parameters bound to dummy values).
  std::vector<std::string> query_plans();

  // IRStore
  void IRBeginUpdate() override;
  void IREndUpdate() override;
  void IRCancelUpdate() override;
  void IRBeginUserTransaction() override;
  void IREndUserTransaction() override;
  void IRCancelUserTransaction() override;
  bool IRInUserTransaction() const override;
  bool IRReadOnly() const override;
  Integrity IRIntegrity(std::string* detail) const override;
  void set_factory(ObjectFactory* factory) override;
  void IRStoreObject(StoredObject* obj) override;
  void IRInsertObject(StoredObject* obj) override;
  StoredObject* IRFindObject(const StoreHandle& h) override;
  StoredObject* IRFindObjectByKey(std::int64_t key) override;
  void IRObjectOp(const StoreHandle& h) override;
  void IRAddContained(const StoreHandle& obj,
                      const StoreHandle& container) override;
  bool IRExists(const StoreHandle& h) override;
  bool IRReadRecord(const std::string& id, StoreRecord& out) override;
  std::string IRIdOfKey(std::int64_t key) override;
  std::vector<StoreRef> IRRefsOf(const IdList& ids) override;
  int IRKindOf(const StoreHandle& h) override;
  std::string IRNameOf(const StoreHandle& h) override;
  std::unique_ptr<StoreHandle> IRParentOf(const StoreHandle& h) override;
  std::unique_ptr<StoreHandle> IRChildByName(const StoreHandle& container,
                                             const std::string& name) override;
  bool IRNameInContents(const StoreHandle& container,
                        const std::string& name) override;
  IdList IRChildren(const StoreHandle& container, int limit_kind) override;
  IdList IRContents(const StoreHandle& container, int limit_kind,
                    bool exclude_inherited, long max) override;
  IdList IRLookupName(const StoreHandle& container, const std::string& name,
                      long levels, int limit_kind,
                      bool exclude_inherited) override;
  IdList IRInheritedName(const StoreHandle& container, const std::string& name,
                         int kind) override;
  IdList IRSubtree(const StoreHandle& h) override;
  IdList IRReferring(const StoreHandle& h, int link_kind) override;
  IdList IRDerived(const StoreHandle& h) override;
  IdList IRBases(const StoreHandle& h) override;
  IdList IRFindObjects(const std::string& pattern,
                       const std::vector<int>& kinds, bool match_ids,
                       const StoreHandle* scope) override;
  KeyList IRChildKeys(const StoreHandle& container) override;
  KeyList IRSearch(const StoreSearch& search) override;
  std::vector<StoreSummary> IRSummaries(const KeyList& keys) override;
  std::vector<std::pair<int, std::uint64_t>> IRCountKinds() override;
  std::vector<StoreOutsideRef> IROutsideRefs(const StoreHandle& h) override;
  void IRAddUse(const StoreHandle& user, const StoreHandle& used) override;
  void IRRemoveUse(const StoreHandle& user, const StoreHandle& used) override;
  void IRAddInherit(const StoreHandle& derived,
                    const StoreHandle& base) override;
  void IRRemoveInherit(const StoreHandle& derived,
                       const StoreHandle& base) override;
  bool IRIsA(const StoreHandle& h, const std::string& target_id) override;
  std::string IRGetComment(const StoreHandle& h) override;
  void IRSetComment(const StoreHandle& h, const std::string& text) override;
  void IRReKey(const StoreHandle& from, const StoreHandle& to) override;
  void IRRename(const StoreHandle& h, const std::string& name) override;
  void IRRemove(const StoreHandle& h) override;
  long long IRCountDefinitions() override;
  void IRBackup(const std::string& path) override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

#endif
