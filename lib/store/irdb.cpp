// IRDB: the interface repository store on an SQLite 3 database.
//
// Tables
//   record(seq, id, kind, name, parent, body)
//       one row per definition.  `seq` is the rowid and the record's key:
//       assigned by the store from meta.next_key, never changed, never
//       reused.  Keys grow with creation, so every list is returned
//       ORDER BY seq.  `parent` references record(id) (NULL for the root).
//   link(src, dst, kind, pos)
//       use links (kind 1, a multiset) and inheritance links (kind 2,
//       ordered by pos).  Both ends reference record(id).
//   comment(seq, text)
//       documentation comments, removed with their record.
//   meta(name, value)
//       next_key: no key at or above it has been handed out.
// Foreign keys cascade on update, so changing a record's id (IRReKey)
// moves its children and links with one UPDATE.
//
// Keys are handed out from a counter in memory.  meta.next_key stays
// ahead of it: it is raised by kKeyReserve when a writer opens the file
// (so that keys handed out in a user transaction that a crash then loses
// are not handed out again after the restart, up to that many) and in the
// same transaction as any insert that reaches it; after a rollback the
// counter keeps its value, and a cancelled user transaction writes the
// counter back at once.
//
// Format 1 (no keys of its own, no comments) is upgraded in place by the
// first writable open, in one transaction: a crash leaves format 1.  Every
// operation is a handful of statements that reach rows through an index; the
// only exception is IRFindObjects without a scope, which is a search over every
// record by nature.  query_plans() lets a test check this.
//
// Durability: WAL journal with synchronous=FULL by default: a commit
// returns once the WAL file has been synced, so a committed update
// survives a power cut.  With Options::full_sync false, synchronous=NORMAL:
// a commit has written the WAL file when it returns, so it survives the
// process being killed (kill -9); an operating system crash or power loss
// may lose the last commits but never damages the file.
//
// Exclusive use: a writer opens with locking_mode=EXCLUSIVE and keeps the
// file locked until it closes, so a second process (or connection) cannot
// open the database; it is refused with kBusy.  A read-only store takes
// ordinary shared locks: readers coexist, but not with a writer.
//
// Damage: a file up to Options::check_at_open_limit bytes is checked
// (quick_check) before it is used.  A larger one would make start-up as
// slow as reading the whole file: it is checked by a thread of its own,
// on a connection of its own that opens the file as immutable (no locks,
// main file only, the WAL ignored).  While that check runs the writer does
// not checkpoint, so the main file does not change under it; afterwards
// checkpoints resume.  A failed check refuses every change from then on.
//
// The file is ours when application_id is kApplicationId and user_version
// is a format this code reads; anything else is refused before the file is
// changed in any way.
#include "store/irdb.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <functional>
#include <mutex>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace {

constexpr int kApplicationId = 0x49524442;  // "IRDB"
constexpr int kFormatVersion = 2;
constexpr std::int64_t kKeyReserve = 1 << 16;
constexpr int kAllKinds = 1;  // dk_all: a kind filter that accepts all

const std::string kNoKey;

struct StatementFinalizer {
  void operator()(sqlite3_stmt* stmt) const { sqlite3_finalize(stmt); }
};
using StatementPtr = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

struct ConnectionCloser {
  void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using ConnectionPtr = std::unique_ptr<sqlite3, ConnectionCloser>;

// The one place where SQLite result codes (extended) become store failure
// codes.
int StoreCode(int rc) {
  switch (rc) {
    case SQLITE_CONSTRAINT_PRIMARYKEY:
    case SQLITE_CONSTRAINT_UNIQUE:
      return IRStore::kDuplicateId;
    case SQLITE_CONSTRAINT_FOREIGNKEY:
      return IRStore::kNoSuchRecord;
  }
  switch (rc & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return IRStore::kBusy;
    case SQLITE_NOMEM:
      return IRStore::kNoMemory;
    case SQLITE_READONLY:
      return IRStore::kReadOnly;
    default:
      return IRStore::kStoreFailure;
  }
}

// Contents in creation order: (parent, seq) without a sort.  Databases
// made before this index existed get it when a writer opens them.
constexpr const char kParentIndexSql[] =
    "CREATE INDEX IF NOT EXISTS record_parent ON record(parent)";

// Tables and the key counter that format 2 adds to format 1.
constexpr const char kFormat2Tables[] =
    "CREATE TABLE comment("
    " seq INTEGER PRIMARY KEY REFERENCES record(seq) ON DELETE CASCADE,"
    " text TEXT NOT NULL);"
    "CREATE TABLE meta(name TEXT PRIMARY KEY, value INTEGER NOT NULL)"
    " WITHOUT ROWID;"
    "INSERT INTO meta(name, value)"
    " SELECT 'next_key', coalesce(max(seq), 0) + 1 FROM record;";

std::string SchemaSql() {
  return "BEGIN IMMEDIATE;"
         "CREATE TABLE record("
         " seq INTEGER PRIMARY KEY,"
         " id TEXT NOT NULL UNIQUE,"
         " kind INTEGER NOT NULL,"
         " name TEXT,"
         " parent TEXT REFERENCES record(id)"
         "  ON UPDATE CASCADE ON DELETE CASCADE,"
         " body BLOB NOT NULL);"
         "CREATE INDEX record_parent_name ON record(parent, name);"
         "CREATE INDEX record_name ON record(name);" +
         std::string(kParentIndexSql) +
         ";"
         "CREATE TABLE link("
         " src TEXT NOT NULL REFERENCES record(id)"
         "  ON UPDATE CASCADE ON DELETE CASCADE,"
         " dst TEXT NOT NULL REFERENCES record(id)"
         "  ON UPDATE CASCADE ON DELETE CASCADE,"
         " kind INTEGER NOT NULL,"
         " pos INTEGER NOT NULL);"
         "CREATE INDEX link_src ON link(src, kind, pos);"
         "CREATE INDEX link_dst ON link(dst, kind);" +
         std::string(kFormat2Tables) +
         "PRAGMA application_id = " + std::to_string(kApplicationId) +
         ";"
         "PRAGMA user_version = " +
         std::to_string(kFormatVersion) +
         ";"
         "COMMIT";
}

// Format 1 to format 2, in one transaction.
std::string UpgradeSql() {
  return std::string("BEGIN IMMEDIATE;") + kParentIndexSql + ";" +
         kFormat2Tables +
         "PRAGMA user_version = " + std::to_string(kFormatVersion) + ";COMMIT";
}

// The statements of the operations.  CROSS JOIN fixes the join order where
// the planner might otherwise scan a table and probe a CTE: the CTE row
// comes first and the table is searched through its index.
namespace sql {

// Closure of a container over inheritance links, the container included.
#define IR_BASES_CTE                                         \
  "bases(id) AS (SELECT ?1 UNION SELECT link.dst FROM bases" \
  " CROSS JOIN link ON link.src = bases.id AND link.kind = 2)"

constexpr const char kSelectRecord[] =
    "SELECT kind, name, parent, body, seq FROM record WHERE id = ?1";
constexpr const char kSelectRecordByKey[] =
    "SELECT kind, name, parent, body, id FROM record WHERE seq = ?1";
constexpr const char kIdOfKey[] = "SELECT id FROM record WHERE seq = ?1";
// ?1 a JSON array of ids.
constexpr const char kRefsOf[] =
    "SELECT record.id, record.seq, record.kind, record.name, record.parent"
    " FROM json_each(?1) AS j"
    " CROSS JOIN record ON record.id = j.value ORDER BY j.key";
constexpr const char kSelectHeader[] =
    "SELECT kind, name, parent FROM record WHERE id = ?1";
constexpr const char kExists[] = "SELECT 1 FROM record WHERE id = ?1";
constexpr const char kInsert[] =
    "INSERT INTO record(id, kind, name, parent, body, seq)"
    " VALUES(?1, ?2, ?3, ?4, ?5, ?6)";
constexpr const char kUpdateByKey[] =
    "UPDATE record SET kind = ?2, name = ?3, parent = ?4, body = ?5"
    " WHERE seq = ?6";
constexpr const char kUpdateById[] =
    "UPDATE record SET kind = ?2, name = ?3, parent = ?4, body = ?5"
    " WHERE id = ?1 RETURNING seq";
constexpr const char kReadNextKey[] =
    "SELECT value FROM meta WHERE name = 'next_key'";
constexpr const char kWriteNextKey[] =
    "UPDATE meta SET value = max(value, ?1) WHERE name = 'next_key'";
constexpr const char kMaxKey[] = "SELECT coalesce(max(seq), 0) FROM record";
constexpr const char kGetComment[] =
    "SELECT comment.text FROM record CROSS JOIN comment"
    " ON comment.seq = record.seq WHERE record.id = ?1";
constexpr const char kSetComment[] =
    "INSERT INTO comment(seq, text) SELECT seq, ?2 FROM record"
    " WHERE id = ?1 ON CONFLICT(seq) DO UPDATE SET text = excluded.text";
constexpr const char kDropComment[] =
    "DELETE FROM comment WHERE seq = (SELECT seq FROM record WHERE id = ?1)";
constexpr const char kSetParent[] =
    "UPDATE record SET parent = ?2 WHERE id = ?1";
constexpr const char kRename[] = "UPDATE record SET name = ?2 WHERE id = ?1";
constexpr const char kReKey[] = "UPDATE record SET id = ?2 WHERE id = ?1";
constexpr const char kChildByName[] =
    "SELECT id FROM record WHERE parent = ?1 AND name = ?2"
    " ORDER BY seq LIMIT 1";
// ?2 kind filter, ?3 maximum (negative: none).
constexpr const char kChildren[] =
    "SELECT id FROM record WHERE parent = ?1 AND (?2 = 1 OR kind = ?2)"
    " ORDER BY seq LIMIT ?3";
constexpr const char kContentsInherited[] =
    "WITH RECURSIVE " IR_BASES_CTE
    " SELECT record.id FROM bases CROSS JOIN record"
    " ON record.parent = bases.id WHERE ?2 = 1 OR record.kind = ?2"
    " ORDER BY record.seq LIMIT ?3";
constexpr const char kNameInContents[] =
    "WITH RECURSIVE " IR_BASES_CTE
    " SELECT 1 FROM bases CROSS JOIN record"
    " ON record.parent = bases.id AND record.name = ?2 LIMIT 1";
// ?2 name, ?3 levels (> 0), ?4 kind filter, ?5 exclude inherited.
constexpr const char kLookupLevels[] =
    "WITH RECURSIVE scope(id, depth) AS (SELECT ?1, 1 UNION"
    " SELECT record.id, scope.depth + 1 FROM scope CROSS JOIN record"
    " ON record.parent = scope.id WHERE scope.depth < ?3),"
    " searched(id) AS (SELECT id FROM scope UNION SELECT link.dst"
    " FROM searched CROSS JOIN link ON link.src = searched.id"
    " AND link.kind = 2 WHERE ?5 = 0)"
    " SELECT DISTINCT record.id FROM searched CROSS JOIN record"
    " ON record.parent = searched.id AND record.name = ?2"
    " WHERE ?4 = 1 OR record.kind = ?4 ORDER BY record.seq";
// As kLookupLevels at any depth (?3 unused, bound harmlessly); the scope
// has no depth column so that UNION ends even on a cycle of parents.
constexpr const char kLookupAll[] =
    "WITH RECURSIVE scope(id) AS (SELECT ?1 UNION"
    " SELECT record.id FROM scope CROSS JOIN record"
    " ON record.parent = scope.id),"
    " searched(id) AS (SELECT id FROM scope UNION SELECT link.dst"
    " FROM searched CROSS JOIN link ON link.src = searched.id"
    " AND link.kind = 2 WHERE ?5 = 0)"
    " SELECT DISTINCT record.id FROM searched CROSS JOIN record"
    " ON record.parent = searched.id AND record.name = ?2"
    " WHERE ?4 = 1 OR record.kind = ?4 ORDER BY record.seq";
constexpr const char kInheritedName[] =
    "WITH RECURSIVE " IR_BASES_CTE
    " SELECT record.id FROM bases CROSS JOIN record"
    " ON record.parent = bases.id AND record.name = ?2"
    " WHERE bases.id <> ?1 AND (?3 = 1 OR record.kind = ?3)"
    " ORDER BY record.seq";
// Every record of the subtree with its parent; the caller orders them.
constexpr const char kSubtree[] =
    "WITH RECURSIVE sub(id) AS (SELECT id FROM record WHERE id = ?1 UNION"
    " SELECT record.id FROM sub CROSS JOIN record"
    " ON record.parent = sub.id)"
    " SELECT record.id, record.parent FROM sub CROSS JOIN record"
    " ON record.id = sub.id ORDER BY record.seq";
// ?2 link kind, 0 for both.
constexpr const char kReferring[] =
    "SELECT DISTINCT link.src FROM link CROSS JOIN record"
    " ON record.id = link.src WHERE link.dst = ?1"
    " AND (?2 = 0 OR link.kind = ?2) ORDER BY record.seq";
constexpr const char kBases[] =
    "SELECT dst FROM link WHERE src = ?1 AND kind = 2 ORDER BY pos";
constexpr const char kIsA[] =
    "WITH RECURSIVE " IR_BASES_CTE " SELECT 1 FROM bases WHERE id = ?2 LIMIT 1";
// ?1 pattern, ?2 accepted kinds as ",k,k," ('' for all), ?3 scope.
// Without a scope this is a search over every record (the one full scan).
constexpr const char kFindByName[] =
    "SELECT id FROM record WHERE name GLOB ?1"
    " AND (?2 = '' OR instr(?2, ',' || kind || ',') > 0) ORDER BY seq";
constexpr const char kFindById[] =
    "SELECT id FROM record WHERE id GLOB ?1"
    " AND (?2 = '' OR instr(?2, ',' || kind || ',') > 0) ORDER BY seq";
#define IR_BELOW_CTE                                                       \
  "WITH RECURSIVE below(id) AS (SELECT id FROM record WHERE parent = ?3"   \
  " UNION SELECT record.id FROM below CROSS JOIN record"                   \
  " ON record.parent = below.id)"                                          \
  " SELECT record.id FROM below CROSS JOIN record ON record.id = below.id" \
  " WHERE record.id <> ?3 AND (?2 = ''"                                    \
  " OR instr(?2, ',' || record.kind || ',') > 0)"
constexpr const char kFindByNameBelow[] =
    IR_BELOW_CTE " AND record.name GLOB ?1 ORDER BY record.seq";
constexpr const char kFindByIdBelow[] =
    IR_BELOW_CTE " AND record.id GLOB ?1 ORDER BY record.seq";
constexpr const char kAddUse[] =
    "INSERT INTO link(src, dst, kind, pos) VALUES(?1, ?2, 1, 0)";
constexpr const char kRemoveUse[] =
    "DELETE FROM link WHERE rowid = (SELECT rowid FROM link"
    " WHERE src = ?1 AND kind = 1 AND dst = ?2 LIMIT 1)";
constexpr const char kAddInherit[] =
    "INSERT INTO link(src, dst, kind, pos)"
    " SELECT ?1, ?2, 2, coalesce(max(pos), 0) + 1 FROM link"
    " WHERE src = ?1 AND kind = 2";
constexpr const char kRemoveInherit[] =
    "DELETE FROM link WHERE src = ?1 AND dst = ?2 AND kind = 2";
// IRRemove: the doomed ids are collected in a temporary table, their links
// deleted, their parents cleared (so that no delete cascades down a chain
// of parents) and then the records deleted.
constexpr const char kDoomedTable[] =
    "CREATE TEMP TABLE IF NOT EXISTS doomed(id TEXT PRIMARY KEY)";
constexpr const char kDoomedClear[] = "DELETE FROM doomed";
constexpr const char kDoomedFill[] =
    "INSERT INTO doomed(id) WITH RECURSIVE sub(id) AS"
    " (SELECT id FROM record WHERE id = ?1 UNION SELECT record.id FROM sub"
    " CROSS JOIN record ON record.parent = sub.id) SELECT id FROM sub";
constexpr const char kDoomedLinksFrom[] =
    "DELETE FROM link WHERE src IN (SELECT id FROM doomed)";
constexpr const char kDoomedLinksTo[] =
    "DELETE FROM link WHERE dst IN (SELECT id FROM doomed)";
constexpr const char kDoomedDetach[] =
    "UPDATE record SET parent = NULL WHERE id IN (SELECT id FROM doomed)";
constexpr const char kDoomedDelete[] =
    "DELETE FROM record WHERE id IN (SELECT id FROM doomed)";

// Bulk listings.  Keys first (cheap, and counted for the page total),
// then the summaries of one page by key.
constexpr const char kChildKeys[] =
    "SELECT seq FROM record WHERE parent = ?1 ORDER BY seq";
// ?1 pattern (lower-case for the case-insensitive forms), ?2 accepted
// kinds as in kFindByName, ?3 scope.  The root (no parent) never matches.
#define IR_SEARCH(match)                \
  "SELECT seq FROM record WHERE " match \
  " GLOB ?1"                            \
  " AND parent IS NOT NULL"             \
  " AND (?2 = '' OR instr(?2, ',' || kind || ',') > 0) ORDER BY seq"
#define IR_SEARCH_BELOW(match)                                              \
  "WITH RECURSIVE below(id) AS (SELECT id FROM record WHERE parent = ?3"    \
  " UNION SELECT record.id FROM below CROSS JOIN record"                    \
  " ON record.parent = below.id)"                                           \
  " SELECT record.seq FROM below CROSS JOIN record ON record.id = below.id" \
  " WHERE record.id <> ?3 AND " match                                       \
  " GLOB ?1 AND (?2 = ''"                                                   \
  " OR instr(?2, ',' || record.kind || ',') > 0) ORDER BY record.seq"
constexpr const char kSearchName[] = IR_SEARCH("name");
constexpr const char kSearchId[] = IR_SEARCH("id");
constexpr const char kSearchNameNoCase[] = IR_SEARCH("lower(name)");
constexpr const char kSearchIdNoCase[] = IR_SEARCH("lower(id)");
constexpr const char kSearchNameBelow[] = IR_SEARCH_BELOW("record.name");
constexpr const char kSearchIdBelow[] = IR_SEARCH_BELOW("record.id");
constexpr const char kSearchNameNoCaseBelow[] =
    IR_SEARCH_BELOW("lower(record.name)");
constexpr const char kSearchIdNoCaseBelow[] =
    IR_SEARCH_BELOW("lower(record.id)");
#undef IR_SEARCH
#undef IR_SEARCH_BELOW
// ?1 a JSON array of keys.
constexpr const char kSummaries[] =
    "SELECT r.seq, r.kind, r.name, r.id, r.parent, substr(r.body, 1, 64),"
    " (SELECT count(*) FROM record AS c WHERE c.parent = r.id)"
    " FROM json_each(?1) AS j CROSS JOIN record AS r ON r.seq = j.value"
    " ORDER BY r.seq";
// ?1 a JSON array of ids: those records and all their ancestors.
constexpr const char kAncestors[] =
    "WITH RECURSIVE anc(id) AS (SELECT value FROM json_each(?1) UNION"
    " SELECT record.parent FROM anc CROSS JOIN record ON record.id = anc.id"
    " WHERE record.parent IS NOT NULL)"
    " SELECT record.id, record.name, record.parent FROM anc"
    " CROSS JOIN record ON record.id = anc.id";
// Counting every record is a scan by nature.
constexpr const char kCountKinds[] =
    "SELECT kind, count(*) FROM record WHERE parent IS NOT NULL"
    " GROUP BY kind ORDER BY kind";
constexpr const char kOutsideRefs[] =
    "WITH RECURSIVE sub(id) AS (SELECT ?1 UNION SELECT record.id FROM sub"
    " CROSS JOIN record ON record.parent = sub.id)"
    " SELECT DISTINCT user.seq, link.dst, used.seq FROM sub"
    " CROSS JOIN link ON link.dst = sub.id"
    " CROSS JOIN record AS user ON user.id = link.src"
    " CROSS JOIN record AS used ON used.id = link.dst"
    " WHERE link.src NOT IN (SELECT id FROM sub)"
    " ORDER BY user.seq, used.seq";

#undef IR_BASES_CTE
#undef IR_BELOW_CTE

// Every statement with parameters, for query_plans().
constexpr const char* kAll[] = {
    kSelectRecord,
    kSelectRecordByKey,
    kIdOfKey,
    kRefsOf,
    kSelectHeader,
    kExists,
    kInsert,
    kUpdateByKey,
    kUpdateById,
    kReadNextKey,
    kWriteNextKey,
    kMaxKey,
    kGetComment,
    kSetComment,
    kDropComment,
    kSetParent,
    kRename,
    kReKey,
    kChildByName,
    kChildren,
    kContentsInherited,
    kNameInContents,
    kLookupLevels,
    kLookupAll,
    kInheritedName,
    kSubtree,
    kReferring,
    kBases,
    kIsA,
    kFindByName,
    kFindById,
    kFindByNameBelow,
    kFindByIdBelow,
    kAddUse,
    kRemoveUse,
    kAddInherit,
    kRemoveInherit,
    kDoomedClear,
    kDoomedFill,
    kDoomedLinksFrom,
    kDoomedLinksTo,
    kDoomedDetach,
    kDoomedDelete,
    kChildKeys,
    kSearchName,
    kSearchId,
    kSearchNameNoCase,
    kSearchIdNoCase,
    kSearchNameBelow,
    kSearchIdBelow,
    kSearchNameNoCaseBelow,
    kSearchIdNoCaseBelow,
    kSummaries,
    kAncestors,
    kCountKinds,
    kOutsideRefs,
};

}  // namespace sql

// The kinds as ",k1,k2,"; empty (or dk_all among them) accepts all.
std::string AcceptedKinds(const std::vector<int>& kinds) {
  std::string accepted;
  for (int kind : kinds) {
    if (kind == kAllKinds) return std::string();
    accepted += (accepted.empty() ? "," : "") + std::to_string(kind) + ",";
  }
  return accepted;
}

// A JSON string: what json_each() reads back as `text`.
void AppendJsonString(std::string& out, const std::string& text) {
  static const char kHex[] = "0123456789abcdef";
  out += '"';
  for (char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (u < 0x20) {
      out += "\\u00";
      out += kHex[u >> 4];
      out += kHex[u & 0xf];
    } else {
      out += c;
    }
  }
  out += '"';
}

std::string ASCIILower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

}  // namespace

struct IRDB::Impl {
  class Query;
  class Atomic;

  Impl(const char* file, Options options);

  // The cached statement for `text`, prepared on first use.
  sqlite3_stmt* Prepare(std::string_view text);
  // Throws the Exception for the failure `rc` of the last call on the
  // connection; `key` names the record concerned (may be empty).
  [[noreturn]] void Fail(int rc, const std::string& key);
  // Runs a statement without parameters, ignoring any rows.
  void Exec(std::string_view text);
  // Throws kReadOnly when the store is read-only, kStoreFailure when the
  // open user transaction has been lost.
  void RequireWritable() const;
  // Throws kStoreFailure when the open user transaction has been lost.
  void RequireNotLost() const {
    if (!lost.empty()) {
      throw Exception(kStoreFailure,
                      "the user transaction was rolled back by a store "
                      "failure (cancel it): " +
                          lost);
    }
  }
  // Writes the record of `obj`: always a new record when `insert`, else
  // as IRStoreObject says.
  void WriteObject(StoredObject* obj, bool insert);
  // The next key, raising meta.next_key (in the current transaction)
  // when the counter reaches it.
  std::int64_t AllocateKey();
  // Writes meta.next_key = the counter + kKeyReserve.
  void ReserveKeys();
  // Opening a writer: the counter starts above every key ever handed out
  // and meta.next_key is moved kKeyReserve ahead of it (committed).
  void StartKeys();
  // After a rollback the reservation may have gone with it: the next
  // insert writes it again.
  void KeysRolledBack() { reserved_key = next_key; }
  std::string Savepoint(const char* verb, int level) const {
    return std::string(verb) + " u" + std::to_string(level);
  }
  // True when the update at `depth` is a transaction of its own: the
  // outermost one outside user transactions.
  bool OwnTransaction() const { return depth == 0 && !user_transaction; }

  void CheckFile();
  // The format version written in the file's header (user_version).
  long long ReadFormat();
  // The integrity check of a large file, run by `checker`.
  void CheckInBackground();
  // Once the background check has ended, the writer checkpoints again.
  void ResumeCheckpoints();
  // quick_check on `conn`: "" when the file is intact, else what it found.
  static std::string QuickCheck(sqlite3* conn, int* rc);
  [[noreturn]] void Refuse(const std::string& why) const {
    throw Exception(kStoreFailure, "database " + path + " " + why);
  }

  std::string path;
  bool read_only;
  ConnectionPtr db;  // declared before `statements`: destroyed after them
  // Keyed by views of the SQL text kept by each statement itself.
  std::unordered_map<std::string_view, StatementPtr> statements;
  unsigned long run = 0;
  // Open updates: update n is savepoint u<n>, except the outermost outside
  // a user transaction, which is a transaction.
  int depth = 0;
  std::int64_t next_key = 0;      // the next key to hand out
  std::int64_t reserved_key = 0;  // meta.next_key as this process wrote it
  bool user_transaction = false;
  // Why SQLite rolled the open user transaction back; empty while it is
  // intact.
  std::string lost;
  bool opening = true;  // failures are reported as failures to open
  ObjectFactory* factory = nullptr;

  // The background integrity check.
  Options options;
  bool check_deferred = false;
  std::atomic<int> integrity{static_cast<int>(Integrity::kPassed)};
  mutable std::mutex check_mutex;  // guards check_detail and check_db
  std::string check_detail;
  sqlite3* check_db = nullptr;  // the checker's connection while it runs
  bool checkpoints_paused = false;
  std::thread checker;

  ~Impl();
};

// One run of a cached statement: binds, steps, reads columns, and resets
// the statement when it goes out of scope.  Text and blobs are bound
// without copying, so what is bound must outlive the Query (temporaries
// are refused at compile time).
class IRDB::Impl::Query {
 public:
  Query(Impl& impl, std::string_view text, const std::string& key = kNoKey)
      : impl_(impl), stmt_(impl.Prepare(text)), key_(key) {
    ++impl.run;
  }
  Query(Impl&, std::string_view, std::string&&) = delete;
  ~Query() { sqlite3_reset(stmt_); }
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  Query& Bind(int index, const std::string& text) {
    return Check(sqlite3_bind_text(stmt_, index, text.data(),
                                   static_cast<int>(text.size()),
                                   SQLITE_STATIC));
  }
  Query& Bind(int index, std::string&&) = delete;
  Query& Bind(int index, long long value) {
    return Check(sqlite3_bind_int64(stmt_, index, value));
  }
  // A parent key: empty binds NULL (the root has no parent).
  Query& BindParent(int index, const std::string& parent) {
    return parent.empty() ? Check(sqlite3_bind_null(stmt_, index))
                          : Bind(index, parent);
  }
  Query& BindBlob(int index, const std::vector<std::uint8_t>& bytes) {
    // A null pointer would bind NULL; an empty body is a zero-length blob.
    static const std::uint8_t kEmpty = 0;
    return Check(
        sqlite3_bind_blob(stmt_, index, bytes.empty() ? &kEmpty : bytes.data(),
                          static_cast<int>(bytes.size()), SQLITE_STATIC));
  }

  // Steps: true when a row is available, false when done.
  bool Next() {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    impl_.Fail(rc, key_);
  }
  void Run() {
    while (Next()) {
    }
  }
  // The first column of every row.
  IdList Column0() {
    IdList ids;
    while (Next()) ids.push_back(Text(0));
    return ids;
  }
  // Runs the statement and returns the number of rows it changed.
  int Change() {
    Run();
    return sqlite3_changes(impl_.db.get());
  }

  bool Null(int col) const {
    return sqlite3_column_type(stmt_, col) == SQLITE_NULL;
  }
  long long Int(int col) const { return sqlite3_column_int64(stmt_, col); }
  std::string Text(int col) const {
    const auto* text =
        reinterpret_cast<const char*>(sqlite3_column_text(stmt_, col));
    return text ? std::string(text, sqlite3_column_bytes(stmt_, col))
                : std::string();
  }
  std::vector<std::uint8_t> Blob(int col) const {
    const auto* data =
        static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt_, col));
    return data ? std::vector<std::uint8_t>(
                      data, data + sqlite3_column_bytes(stmt_, col))
                : std::vector<std::uint8_t>();
  }

 private:
  Query& Check(int rc) {
    if (rc != SQLITE_OK) impl_.Fail(rc, key_);
    return *this;
  }

  Impl& impl_;
  sqlite3_stmt* stmt_;
  const std::string& key_;
};

// Makes a change of several statements atomic, inside or outside updates:
// a savepoint released by Commit() and rolled back when left without it.
class IRDB::Impl::Atomic {
 public:
  explicit Atomic(Impl& impl) : impl_(impl) { impl_.Exec("SAVEPOINT op"); }
  ~Atomic() {
    if (done_) return;
    try {
      impl_.Exec("ROLLBACK TO op");
      impl_.Exec("RELEASE op");
    } catch (const Exception&) {
      // SQLite already rolled the transaction back (Fail() noted it).
    }
  }
  Atomic(const Atomic&) = delete;
  Atomic& operator=(const Atomic&) = delete;
  void Commit() {
    impl_.Exec("RELEASE op");
    done_ = true;
  }

 private:
  Impl& impl_;
  bool done_ = false;
};

IRDB::Impl::Impl(const char* file, Options options_in)
    : path(file ? file : kDefaultPath),
      read_only(options_in.read_only),
      options(std::move(options_in)) {
  // (An empty file is refused by CheckFile.)
  struct stat st;
  if (read_only && stat(path.c_str(), &st) != 0) {
    Refuse("does not exist");
  }
  const int flags = (read_only ? SQLITE_OPEN_READONLY
                               : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) |
                    SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
  sqlite3* raw = nullptr;
  const int rc = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
  db.reset(raw);
  if (rc != SQLITE_OK) {
    if (!raw) throw Exception(kNoMemory, "cannot open database " + path);
    Fail(rc, kNoKey);
  }
  sqlite3_extended_result_codes(db.get(), 1);
  // A reader must not lock the file exclusively: its descriptor is
  // read-only, and readers may share the file.
  if (!read_only) Exec("PRAGMA locking_mode = EXCLUSIVE");
  CheckFile();
  if (!read_only) {
    Query wal(*this, "PRAGMA journal_mode = WAL");
    if (!wal.Next() || wal.Text(0) != "wal") {
      Refuse("cannot be switched to WAL journal mode");
    }
  }  // `wal` is reset here
  Exec(options.full_sync ? "PRAGMA synchronous = FULL"
                         : "PRAGMA synchronous = NORMAL");
  Exec("PRAGMA foreign_keys = ON");
  Exec(sql::kDoomedTable);
  if (!read_only) StartKeys();
  opening = false;
  if (check_deferred) {
    if (!read_only) {
      Exec("PRAGMA wal_autocheckpoint = 0");
      checkpoints_paused = true;
    }
    integrity = static_cast<int>(Integrity::kChecking);
    checker = std::thread([this] { CheckInBackground(); });
  }
}

IRDB::Impl::~Impl() {
  if (checker.joinable()) {
    {
      std::lock_guard<std::mutex> lock(check_mutex);
      if (check_db) sqlite3_interrupt(check_db);
    }
    checker.join();
  }
}

std::string IRDB::Impl::QuickCheck(sqlite3* conn, int* rc_out) {
  std::string problems;
  sqlite3_stmt* raw = nullptr;
  int rc = sqlite3_prepare_v2(conn, "PRAGMA quick_check", -1, &raw, nullptr);
  const StatementPtr check(raw);
  while (rc == SQLITE_OK || rc == SQLITE_ROW) {
    rc = sqlite3_step(raw);
    if (rc != SQLITE_ROW) break;
    const auto* text = sqlite3_column_text(raw, 0);
    std::string line = text ? reinterpret_cast<const char*>(text) : "";
    if (line == "ok") continue;
    for (char& c : line) c = c == '\n' ? ' ' : c;
    problems += (problems.empty() ? "" : "; ") + line;
  }
  if (rc == SQLITE_DONE) rc = SQLITE_OK;
  if (rc != SQLITE_OK && problems.empty()) problems = sqlite3_errmsg(conn);
  *rc_out = rc;
  return problems;
}

void IRDB::Impl::CheckInBackground() {
  // The path as a URI: '%', '?' and '#' would be read as URI syntax.
  std::string uri = "file:";
  for (char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      static const char kHex[] = "0123456789abcdef";
      uri += '%';
      uri += kHex[(c >> 4) & 0xf];
      uri += kHex[c & 0xf];
    } else {
      uri += c;
    }
  }
  uri += "?immutable=1";
  sqlite3* conn = nullptr;
  int rc = sqlite3_open_v2(
      uri.c_str(), &conn,
      SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
  const ConnectionPtr owner(conn);
  std::string problems;
  if (rc == SQLITE_OK) {
    {
      std::lock_guard<std::mutex> lock(check_mutex);
      check_db = conn;
    }
    problems = QuickCheck(conn, &rc);
    std::lock_guard<std::mutex> lock(check_mutex);
    check_db = nullptr;
  } else {
    problems = conn ? sqlite3_errmsg(conn) : "cannot open it to check it";
  }
  // Interrupted: the store is closing, and nothing is known.
  if (rc == SQLITE_INTERRUPT) return;
  {
    std::lock_guard<std::mutex> lock(check_mutex);
    check_detail = problems;
  }
  integrity = static_cast<int>(problems.empty() ? Integrity::kPassed
                                                : Integrity::kFailed);
  if (!problems.empty() && options.on_damage) {
    options.on_damage("database " + path + " is damaged: " + problems +
                      "; every change is refused");
  }
}

void IRDB::Impl::ResumeCheckpoints() {
  if (!checkpoints_paused ||
      integrity == static_cast<int>(Integrity::kChecking))
    return;
  checkpoints_paused = false;
  if (checker.joinable()) checker.join();
  Exec("PRAGMA wal_autocheckpoint = 1000");
}

long long IRDB::Impl::ReadFormat() {
  Query q(*this, "PRAGMA user_version");
  return q.Next() ? q.Int(0) : 0;
}

// Reads the header and refuses anything that is not an intact database of
// ours; creates the schema in an empty file.  Nothing is written to a
// refused file.
void IRDB::Impl::CheckFile() {
  // Each query is reset (its read ended) before the next statement.
  auto read_int = [this](const char* text) {
    Query q(*this, text);
    return q.Next() ? q.Int(0) : 0;
  };
  const long long app_id = read_int("PRAGMA application_id");  // first read
  const long long user_version = ReadFormat();
  const long long schema_objects =
      read_int("SELECT count(*) FROM sqlite_schema");

  if (app_id == 0 && user_version == 0 && schema_objects == 0) {
    if (read_only) Refuse("is empty");
    ++run;
    // On failure, closing the connection rolls the schema back.
    const int rc =
        sqlite3_exec(db.get(), SchemaSql().c_str(), nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) Fail(rc, kNoKey);
    return;
  }

  struct stat st;
  const bool large =
      stat(path.c_str(), &st) == 0 &&
      static_cast<std::uint64_t>(st.st_size) > options.check_at_open_limit;
  if (large) {
    check_deferred = true;
  } else {
    ++run;
    int rc = SQLITE_OK;
    const std::string problems = QuickCheck(db.get(), &rc);
    if (rc != SQLITE_OK) Fail(rc, kNoKey);
    if (!problems.empty()) Refuse("is damaged: " + problems);
  }

  if (app_id != kApplicationId) {
    Refuse("is not an interface repository database");
  }
  if (user_version > kFormatVersion) {
    Refuse("was written by a newer version (format " +
           std::to_string(user_version) + ", this one reads " +
           std::to_string(kFormatVersion) + ")");
  }
  if (user_version < 1) {
    Refuse("is not an interface repository database (format " +
           std::to_string(user_version) + ")");
  }
  const long long tables = read_int(
      "SELECT count(*) FROM sqlite_schema WHERE type = 'table'"
      " AND name IN ('record', 'link', 'comment', 'meta')");
  if (tables != (user_version == 1 ? 2 : 4)) {
    Refuse("is damaged: tables are missing");
  }
  if (user_version < kFormatVersion) {
    if (read_only) {
      Refuse("was written by an older version (format " +
             std::to_string(user_version) +
             "); open it once without --read-only to upgrade it");
    }
    ++run;
    // One transaction: on failure SQLite rolls it back (or closing the
    // connection does), and the file keeps format 1.
    const int rc =
        sqlite3_exec(db.get(), UpgradeSql().c_str(), nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) {
      const std::string message = sqlite3_errmsg(db.get());
      sqlite3_exec(db.get(), "ROLLBACK", nullptr, nullptr, nullptr);
      throw Exception(StoreCode(rc), "cannot upgrade database " + path +
                                         " from format 1: " + message);
    }
  }
}

sqlite3_stmt* IRDB::Impl::Prepare(std::string_view text) {
  const auto found = statements.find(text);
  if (found != statements.end()) return found->second.get();
  sqlite3_stmt* raw = nullptr;
  const int rc =
      sqlite3_prepare_v3(db.get(), text.data(), static_cast<int>(text.size()),
                         SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
  StatementPtr stmt(raw);
  if (rc != SQLITE_OK) Fail(rc, kNoKey);
  std::string_view key(sqlite3_sql(raw));
  assert(key == text);  // one statement, no trailing text
  statements.emplace(key, std::move(stmt));
  return raw;
}

void IRDB::Impl::Fail(int rc, const std::string& key) {
  const std::string message = sqlite3_errmsg(db.get());
  // Some failures (I/O error, full disk, out of memory) make SQLite roll
  // the whole transaction back; the open updates went with it.
  // A user transaction lost that way stays open, as lost, until the
  // client cancels it: until then every change and its end fail, so that
  // the client learns that its earlier changes have gone.
  if (sqlite3_get_autocommit(db.get())) {
    if (user_transaction && lost.empty()) lost = message;
    depth = 0;
    KeysRolledBack();
  }
  std::string text;
  if (opening) {
    switch (rc & 0xff) {
      case SQLITE_BUSY:
      case SQLITE_LOCKED:
        text = "database " + path + " is in use by another process";
        break;
      case SQLITE_NOTADB:
        text = path + " is not a database (" + message + ")";
        break;
      case SQLITE_CORRUPT:
        text = "database " + path + " is damaged: " + message;
        break;
      default:
        text = "cannot open database " + path + ": " + message;
    }
  } else {
    text = message + (key.empty() ? "" : " (key " + key + ")");
  }
  throw Exception(StoreCode(rc), text);
}

void IRDB::Impl::Exec(std::string_view text) { Query(*this, text).Run(); }

void IRDB::Impl::RequireWritable() const {
  if (read_only) {
    throw Exception(kReadOnly, "database " + path + " is open read-only");
  }
  if (integrity == static_cast<int>(Integrity::kFailed)) {
    std::lock_guard<std::mutex> lock(check_mutex);
    throw Exception(kStoreFailure,
                    "database " + path +
                        " is damaged, changes are refused: " + check_detail);
  }
  RequireNotLost();
}

void IRDB::Impl::WriteObject(StoredObject* obj, bool insert) {
  RequireWritable();
  if (!obj) throw Exception(kBadState, "no object to write");
  const std::string id = obj->store_id(), name = obj->store_name(),
                    parent = obj->store_parent();
  const std::vector<std::uint8_t> body = obj->store_body();
  const long long kind = obj->store_kind();
  const std::int64_t key = insert ? 0 : obj->store_key();
  if (key > 0) {
    Query q(*this, sql::kUpdateByKey, id);
    q.Bind(1, id).Bind(2, kind).Bind(3, name);
    q.BindParent(4, parent).BindBlob(5, body).Bind(6, key);
    if (q.Change() == 0) throw Exception(kNoSuchRecord, "no record " + id);
    return;
  }
  if (!insert) {
    Query q(*this, sql::kUpdateById, id);
    q.Bind(1, id).Bind(2, kind).Bind(3, name);
    q.BindParent(4, parent).BindBlob(5, body);
    if (q.Next()) {
      obj->store_set_key(q.Int(0));
      return;
    }
  }
  const std::int64_t new_key = AllocateKey();
  Query q(*this, sql::kInsert, id);
  q.Bind(1, id).Bind(2, kind).Bind(3, name);
  q.BindParent(4, parent).BindBlob(5, body).Bind(6, new_key).Run();
  obj->store_set_key(new_key);
}

std::int64_t IRDB::Impl::AllocateKey() {
  if (next_key >= reserved_key) ReserveKeys();
  return next_key++;
}

void IRDB::Impl::ReserveKeys() {
  const std::int64_t reserve = next_key + kKeyReserve;
  Query q(*this, sql::kWriteNextKey);
  q.Bind(1, reserve).Run();
  reserved_key = reserve;
}

void IRDB::Impl::StartKeys() {
  auto read_int = [this](const char* text) {
    Query q(*this, text);
    return q.Next() ? q.Int(0) : 0;
  };
  next_key = std::max<std::int64_t>(read_int(sql::kReadNextKey),
                                    read_int(sql::kMaxKey) + 1);
  ReserveKeys();
}

// --- IRDB --------------------------------------------------------------------

IRDB::IRDB(const char* path) : IRDB(path, Options()) {}

IRDB::IRDB(const char* path, Options options)
    : impl_(std::make_unique<Impl>(path, options)) {}

// Closing with an update or user transaction still open discards it.
IRDB::~IRDB() = default;

const std::string& IRDB::path() const { return impl_->path; }

unsigned long IRDB::statements_run() const { return impl_->run; }

std::vector<std::string> IRDB::query_plans() {
  std::vector<std::string> plans;
  for (const char* text : sql::kAll) {
    // Prepared apart from the cache: diagnostics only.
    const std::string explain = std::string("EXPLAIN QUERY PLAN ") + text;
    sqlite3_stmt* raw = nullptr;
    int rc =
        sqlite3_prepare_v2(impl_->db.get(), explain.c_str(), -1, &raw, nullptr);
    const StatementPtr plan(raw);
    if (rc != SQLITE_OK) impl_->Fail(rc, kNoKey);
    for (int i = 1; i <= sqlite3_bind_parameter_count(raw); ++i) {
      sqlite3_bind_int(raw, i, 1);
    }
    std::string out = text;
    while ((rc = sqlite3_step(raw)) == SQLITE_ROW) {
      out += "\n  ";
      out += reinterpret_cast<const char*>(sqlite3_column_text(raw, 3));
    }
    if (rc != SQLITE_DONE) impl_->Fail(rc, kNoKey);
    plans.push_back(std::move(out));
  }
  return plans;
}

// --- updates and user transactions -------------------------------------------

// The outermost update outside a user transaction is a transaction of its
// own (BEGIN ... COMMIT); the others are savepoints in it.  (A savepoint
// as the outermost transaction would be no good: when its RELEASE fails
// to commit, SQLite discards its changes but keeps the transaction open,
// so that a retry would "commit" nothing.)  A failed COMMIT makes SQLite
// roll the transaction back: Fail() notes it, and the update is gone.
void IRDB::IRBeginUpdate() {
  impl_->RequireWritable();
  impl_->ResumeCheckpoints();
  if (impl_->OwnTransaction()) {
    impl_->Exec("BEGIN IMMEDIATE");
  } else {
    impl_->Exec(impl_->Savepoint("SAVEPOINT", impl_->depth));
  }
  ++impl_->depth;
}

void IRDB::IREndUpdate() {
  impl_->RequireWritable();
  if (impl_->depth == 0) throw Exception(kBadState, "no update is open");
  --impl_->depth;
  try {
    if (impl_->OwnTransaction()) {
      impl_->Exec("COMMIT");
    } else {
      impl_->Exec(impl_->Savepoint("RELEASE", impl_->depth));
    }
  } catch (const Exception&) {
    // Still open (unless SQLite rolled it back, when Fail() set depth 0).
    if (!sqlite3_get_autocommit(impl_->db.get())) ++impl_->depth;
    throw;
  }
}

void IRDB::IRCancelUpdate() {
  // (A lost user transaction has no updates left: depth is 0.)
  if (impl_->read_only) impl_->RequireWritable();
  if (impl_->depth == 0) throw Exception(kBadState, "no update is open");
  --impl_->depth;
  if (impl_->OwnTransaction()) {
    impl_->Exec("ROLLBACK");
  } else {
    impl_->Exec(impl_->Savepoint("ROLLBACK TO", impl_->depth));
    impl_->Exec(impl_->Savepoint("RELEASE", impl_->depth));
  }
  impl_->KeysRolledBack();
}

// A user transaction is BEGIN ... COMMIT.  When the COMMIT fails (the
// disk failed or is full), SQLite rolls the whole transaction back: it is
// lost, and stays open as lost until the client cancels it (see Fail()).
void IRDB::IRBeginUserTransaction() {
  impl_->RequireWritable();
  if (impl_->user_transaction) {
    throw Exception(kBadState, "a user transaction is already open");
  }
  if (impl_->depth > 0) {
    throw Exception(kBadState, "a user transaction cannot begin in an update");
  }
  impl_->ResumeCheckpoints();
  impl_->Exec("BEGIN IMMEDIATE");
  impl_->user_transaction = true;
}

void IRDB::IREndUserTransaction() {
  impl_->RequireWritable();
  if (!impl_->user_transaction) {
    throw Exception(kBadState, "no user transaction is open");
  }
  if (impl_->depth > 0) {
    throw Exception(kBadState, "updates are still open in the transaction");
  }
  impl_->Exec("COMMIT");
  impl_->user_transaction = false;
}

void IRDB::IRCancelUserTransaction() {
  if (impl_->read_only) impl_->RequireWritable();
  if (!impl_->user_transaction) {
    throw Exception(kBadState, "no user transaction is open");
  }
  const std::string lost = std::move(impl_->lost);
  impl_->lost.clear();
  if (lost.empty()) {
    // Rolls back the updates still open in it as well.
    impl_->Exec("ROLLBACK");
  }
  impl_->user_transaction = false;
  impl_->depth = 0;
  impl_->KeysRolledBack();
  // Keys handed out in the transaction are known to its clients: write
  // the counter now, in a transaction of its own.  Should that fail, the
  // next insert writes it.
  try {
    impl_->ReserveKeys();
  } catch (const Exception&) {
  }
  // There was nothing left to cancel: the client learns why.
  if (!lost.empty()) {
    throw Exception(kStoreFailure,
                    "the user transaction had already been rolled back by a "
                    "store failure: " +
                        lost);
  }
}

bool IRDB::IRInUserTransaction() const { return impl_->user_transaction; }

bool IRDB::IRReadOnly() const { return impl_->read_only; }

IRStore::Integrity IRDB::IRIntegrity(std::string* detail) const {
  const auto state = static_cast<Integrity>(impl_->integrity.load());
  if (detail) {
    std::lock_guard<std::mutex> lock(impl_->check_mutex);
    *detail = impl_->check_detail;
  }
  return state;
}

// --- servants ----------------------------------------------------------------

void IRDB::set_factory(ObjectFactory* factory) { impl_->factory = factory; }

void IRDB::IRStoreObject(StoredObject* obj) { impl_->WriteObject(obj, false); }

void IRDB::IRInsertObject(StoredObject* obj) { impl_->WriteObject(obj, true); }

StoredObject* IRDB::IRFindObject(const StoreHandle& h) {
  if (!impl_->factory) throw Exception(kBadState, "no object factory is set");
  const std::string& id = h.key_string();
  if (StoredObject* cached = impl_->factory->cached(id)) return cached;
  StoreRecord record;
  // The statement is reset before make(), which may call the store again.
  if (!IRReadRecord(id, record)) return nullptr;
  return impl_->factory->make(record.kind, record.name, id, record.key,
                              record.body);
}

StoredObject* IRDB::IRFindObjectByKey(std::int64_t key) {
  if (!impl_->factory) throw Exception(kBadState, "no object factory is set");
  if (StoredObject* cached = impl_->factory->cached_key(key)) return cached;
  StoreRecord record;
  {
    Impl::Query q(*impl_, sql::kSelectRecordByKey);
    if (!q.Bind(1, static_cast<long long>(key)).Next()) return nullptr;
    record.kind = static_cast<int>(q.Int(0));
    record.name = q.Text(1);
    record.body = q.Blob(3);
    record.id = q.Text(4);
  }
  return impl_->factory->make(record.kind, record.name, record.id, key,
                              record.body);
}

void IRDB::IRObjectOp(const StoreHandle& h) {
  if (!IRExists(h)) {
    throw Exception(kNoSuchRecord, "no record " + h.key_string());
  }
}

void IRDB::IRAddContained(const StoreHandle& obj,
                          const StoreHandle& container) {
  impl_->RequireWritable();
  Impl::Query q(*impl_, sql::kSetParent, obj.key_string());
  q.Bind(1, obj.key_string()).BindParent(2, container.key_string());
  if (q.Change() == 0) {
    throw Exception(kNoSuchRecord, "no record " + obj.key_string());
  }
}

// --- single records ----------------------------------------------------------

bool IRDB::IRExists(const StoreHandle& h) {
  Impl::Query q(*impl_, sql::kExists, h.key_string());
  return q.Bind(1, h.key_string()).Next();
}

bool IRDB::IRReadRecord(const std::string& id, StoreRecord& out) {
  Impl::Query q(*impl_, sql::kSelectRecord, id);
  if (!q.Bind(1, id).Next()) return false;
  out.id = id;
  out.kind = static_cast<int>(q.Int(0));
  out.name = q.Text(1);
  out.parent = q.Text(2);
  out.body = q.Blob(3);
  out.key = q.Int(4);
  return true;
}

std::string IRDB::IRIdOfKey(std::int64_t key) {
  Impl::Query q(*impl_, sql::kIdOfKey);
  return q.Bind(1, static_cast<long long>(key)).Next() ? q.Text(0)
                                                       : std::string();
}

std::vector<StoreRef> IRDB::IRRefsOf(const IdList& ids) {
  std::vector<StoreRef> refs;
  if (ids.empty()) return refs;
  std::string json = "[";
  for (const std::string& id : ids) {
    if (json.size() > 1) json += ',';
    AppendJsonString(json, id);
  }
  json += ']';
  Impl::Query q(*impl_, sql::kRefsOf);
  q.Bind(1, json);
  refs.reserve(ids.size());
  while (q.Next())
    refs.push_back(StoreRef{q.Text(0), q.Int(1), static_cast<int>(q.Int(2)),
                            q.Text(3), q.Text(4)});
  return refs;
}

int IRDB::IRKindOf(const StoreHandle& h) {
  Impl::Query q(*impl_, sql::kSelectHeader, h.key_string());
  if (!q.Bind(1, h.key_string()).Next()) {
    throw Exception(kNoSuchRecord, "no record " + h.key_string());
  }
  return static_cast<int>(q.Int(0));
}

std::string IRDB::IRNameOf(const StoreHandle& h) {
  Impl::Query q(*impl_, sql::kSelectHeader, h.key_string());
  if (!q.Bind(1, h.key_string()).Next()) {
    throw Exception(kNoSuchRecord, "no record " + h.key_string());
  }
  return q.Text(1);
}

std::unique_ptr<StoreHandle> IRDB::IRParentOf(const StoreHandle& h) {
  Impl::Query q(*impl_, sql::kSelectHeader, h.key_string());
  if (!q.Bind(1, h.key_string()).Next()) {
    throw Exception(kNoSuchRecord, "no record " + h.key_string());
  }
  if (q.Null(2)) return nullptr;
  return std::make_unique<StoreHandle>(q.Text(2));
}

std::unique_ptr<StoreHandle> IRDB::IRChildByName(const StoreHandle& container,
                                                 const std::string& name) {
  Impl::Query q(*impl_, sql::kChildByName, container.key_string());
  if (!q.Bind(1, container.key_string()).Bind(2, name).Next()) return nullptr;
  return std::make_unique<StoreHandle>(q.Text(0));
}

bool IRDB::IRNameInContents(const StoreHandle& container,
                            const std::string& name) {
  Impl::Query q(*impl_, sql::kNameInContents, container.key_string());
  return q.Bind(1, container.key_string()).Bind(2, name).Next();
}

// --- lists -------------------------------------------------------------------

IdList IRDB::IRChildren(const StoreHandle& container, int limit_kind) {
  return IRContents(container, limit_kind, true, -1);
}

IdList IRDB::IRContents(const StoreHandle& container, int limit_kind,
                        bool exclude_inherited, long max) {
  Impl::Query q(*impl_,
                exclude_inherited ? sql::kChildren : sql::kContentsInherited,
                container.key_string());
  q.Bind(1, container.key_string()).Bind(2, limit_kind).Bind(3, max);
  return q.Column0();
}

IdList IRDB::IRLookupName(const StoreHandle& container, const std::string& name,
                          long levels, int limit_kind, bool exclude_inherited) {
  if (levels == 0) return {};  // no level to search
  Impl::Query q(*impl_, levels < 0 ? sql::kLookupAll : sql::kLookupLevels,
                container.key_string());
  q.Bind(1, container.key_string()).Bind(2, name).Bind(3, levels);
  q.Bind(4, limit_kind).Bind(5, exclude_inherited ? 1 : 0);
  return q.Column0();
}

IdList IRDB::IRInheritedName(const StoreHandle& container,
                             const std::string& name, int kind) {
  Impl::Query q(*impl_, sql::kInheritedName, container.key_string());
  q.Bind(1, container.key_string()).Bind(2, name).Bind(3, kind);
  return q.Column0();
}

IdList IRDB::IRSubtree(const StoreHandle& h) {
  // The query returns the subtree in creation order; a parent may be
  // younger than its children (IRAddContained), so the order "parents
  // first" is made here: depth-first, children in creation order.
  std::unordered_map<std::string, std::vector<std::string>> children;
  bool exists = false;
  {
    Impl::Query q(*impl_, sql::kSubtree, h.key_string());
    q.Bind(1, h.key_string());
    while (q.Next()) {
      std::string id = q.Text(0);
      // On a cycle of parents h is someone's child: it stays the top.
      if (id == h.key_string()) {
        exists = true;
      } else {
        children[q.Text(1)].push_back(std::move(id));
      }
    }
  }
  IdList ids;
  if (!exists) return ids;
  std::vector<std::string> pending{h.key_string()};
  while (!pending.empty()) {
    std::string id = std::move(pending.back());
    pending.pop_back();
    const auto found = children.find(id);
    if (found != children.end()) {
      pending.insert(pending.end(), found->second.rbegin(),
                     found->second.rend());
    }
    ids.push_back(std::move(id));
  }
  return ids;
}

IdList IRDB::IRReferring(const StoreHandle& h, int link_kind) {
  Impl::Query q(*impl_, sql::kReferring, h.key_string());
  q.Bind(1, h.key_string()).Bind(2, link_kind);
  return q.Column0();
}

IdList IRDB::IRDerived(const StoreHandle& h) {
  return IRReferring(h, kInheritLink);
}

IdList IRDB::IRBases(const StoreHandle& h) {
  Impl::Query q(*impl_, sql::kBases, h.key_string());
  q.Bind(1, h.key_string());
  return q.Column0();
}

IdList IRDB::IRFindObjects(const std::string& pattern,
                           const std::vector<int>& kinds, bool match_ids,
                           const StoreHandle* scope) {
  const std::string accepted = AcceptedKinds(kinds);
  const char* text =
      scope ? (match_ids ? sql::kFindByIdBelow : sql::kFindByNameBelow)
            : (match_ids ? sql::kFindById : sql::kFindByName);
  Impl::Query q(*impl_, text, scope ? scope->key_string() : kNoKey);
  q.Bind(1, pattern).Bind(2, accepted);
  if (scope) q.Bind(3, scope->key_string());
  return q.Column0();
}

// --- bulk listings -----------------------------------------------------------

KeyList IRDB::IRChildKeys(const StoreHandle& container) {
  IRObjectOp(container);
  Impl::Query q(*impl_, sql::kChildKeys, container.key_string());
  q.Bind(1, container.key_string());
  KeyList keys;
  while (q.Next()) keys.push_back(q.Int(0));
  return keys;
}

KeyList IRDB::IRSearch(const StoreSearch& search) {
  const bool scoped = !search.scope.empty();
  if (scoped) IRObjectOp(StoreHandle(search.scope));
  // SQLite's lower() folds ASCII letters only, as ASCIILower does.
  const std::string pattern =
      search.ignore_case ? ASCIILower(search.pattern) : search.pattern;
  const std::string accepted = AcceptedKinds(search.kinds);
  static const char* const kTexts[2][2][2] = {
      // [scoped][match_ids][ignore_case]
      {{sql::kSearchName, sql::kSearchNameNoCase},
       {sql::kSearchId, sql::kSearchIdNoCase}},
      {{sql::kSearchNameBelow, sql::kSearchNameNoCaseBelow},
       {sql::kSearchIdBelow, sql::kSearchIdNoCaseBelow}}};
  Impl::Query q(*impl_, kTexts[scoped][search.match_ids][search.ignore_case],
                search.scope);
  q.Bind(1, pattern).Bind(2, accepted);
  if (scoped) q.Bind(3, search.scope);
  KeyList keys;
  while (q.Next()) keys.push_back(q.Int(0));
  return keys;
}

std::vector<StoreSummary> IRDB::IRSummaries(const KeyList& keys) {
  std::vector<StoreSummary> rows;
  if (keys.empty()) return rows;
  std::string json = "[";
  for (std::int64_t key : keys) {
    if (json.size() > 1) json += ',';
    json += std::to_string(key);
  }
  json += ']';
  {
    Impl::Query q(*impl_, sql::kSummaries);
    q.Bind(1, json);
    while (q.Next()) {
      StoreSummary row;
      row.key = q.Int(0);
      row.kind = static_cast<int>(q.Int(1));
      row.name = q.Text(2);
      row.id = q.Text(3);
      row.parent = q.Text(4);
      row.body_head = q.Blob(5);
      row.children = static_cast<std::uint64_t>(q.Int(6));
      rows.push_back(std::move(row));
    }
  }
  // Absolute names from one map of every ancestor of the rows.
  struct Node {
    std::string name, parent;
  };
  std::unordered_map<std::string, Node> nodes;
  json = "[";
  std::unordered_set<std::string> listed;
  for (const StoreSummary& row : rows) {
    if (row.parent.empty() || !listed.insert(row.parent).second) {
      continue;
    }
    if (json.size() > 1) json += ',';
    AppendJsonString(json, row.parent);
  }
  json += ']';
  if (json.size() > 2) {
    Impl::Query q(*impl_, sql::kAncestors);
    q.Bind(1, json);
    while (q.Next()) nodes[q.Text(0)] = Node{q.Text(1), q.Text(2)};
  }
  std::unordered_map<std::string, std::string> scoped;  // id -> "::A::B"
  // The absolute name of the container `id`; the root's is "".
  std::function<const std::string&(const std::string&, int)> name_of =
      [&](const std::string& id, int depth) -> const std::string& {
    static const std::string kTop;
    const auto done = scoped.find(id);
    if (done != scoped.end()) return done->second;
    const auto node = nodes.find(id);
    // The root, or a chain that breaks or loops: the name stops there.
    if (node == nodes.end() || node->second.parent.empty() || depth > 10000) {
      return kTop;
    }
    std::string name =
        name_of(node->second.parent, depth + 1) + "::" + node->second.name;
    return scoped.emplace(id, std::move(name)).first->second;
  };
  for (StoreSummary& row : rows) {
    row.absolute_name = row.parent.empty()
                            ? std::string()
                            : name_of(row.parent, 0) + "::" + row.name;
  }
  return rows;
}

std::vector<std::pair<int, std::uint64_t>> IRDB::IRCountKinds() {
  Impl::Query q(*impl_, sql::kCountKinds);
  std::vector<std::pair<int, std::uint64_t>> counts;
  while (q.Next()) {
    counts.emplace_back(static_cast<int>(q.Int(0)),
                        static_cast<std::uint64_t>(q.Int(1)));
  }
  return counts;
}

std::vector<StoreOutsideRef> IRDB::IROutsideRefs(const StoreHandle& h) {
  IRObjectOp(h);
  Impl::Query q(*impl_, sql::kOutsideRefs, h.key_string());
  q.Bind(1, h.key_string());
  std::vector<StoreOutsideRef> refs;
  while (q.Next()) refs.push_back(StoreOutsideRef{q.Int(0), q.Text(1)});
  return refs;
}

// --- documentation comments --------------------------------------------------

std::string IRDB::IRGetComment(const StoreHandle& h) {
  {
    Impl::Query q(*impl_, sql::kGetComment, h.key_string());
    if (q.Bind(1, h.key_string()).Next()) return q.Text(0);
  }
  IRObjectOp(h);
  return std::string();
}

void IRDB::IRSetComment(const StoreHandle& h, const std::string& text) {
  impl_->RequireWritable();
  if (text.empty()) {
    IRObjectOp(h);
    Impl::Query q(*impl_, sql::kDropComment, h.key_string());
    q.Bind(1, h.key_string()).Run();
    return;
  }
  Impl::Query q(*impl_, sql::kSetComment, h.key_string());
  if (q.Bind(1, h.key_string()).Bind(2, text).Change() == 0) {
    throw Exception(kNoSuchRecord, "no record " + h.key_string());
  }
}

// --- links -------------------------------------------------------------------

void IRDB::IRAddUse(const StoreHandle& user, const StoreHandle& used) {
  impl_->RequireWritable();
  Impl::Query q(*impl_, sql::kAddUse, user.key_string());
  q.Bind(1, user.key_string()).Bind(2, used.key_string()).Run();
}

void IRDB::IRRemoveUse(const StoreHandle& user, const StoreHandle& used) {
  impl_->RequireWritable();
  Impl::Query q(*impl_, sql::kRemoveUse, user.key_string());
  q.Bind(1, user.key_string()).Bind(2, used.key_string()).Run();
}

void IRDB::IRAddInherit(const StoreHandle& derived, const StoreHandle& base) {
  impl_->RequireWritable();
  Impl::Query q(*impl_, sql::kAddInherit, derived.key_string());
  q.Bind(1, derived.key_string()).Bind(2, base.key_string()).Run();
}

void IRDB::IRRemoveInherit(const StoreHandle& derived,
                           const StoreHandle& base) {
  impl_->RequireWritable();
  Impl::Query q(*impl_, sql::kRemoveInherit, derived.key_string());
  q.Bind(1, derived.key_string()).Bind(2, base.key_string()).Run();
}

bool IRDB::IRIsA(const StoreHandle& h, const std::string& target_id) {
  if (h.key_string() == target_id) return true;
  Impl::Query q(*impl_, sql::kIsA, h.key_string());
  return q.Bind(1, h.key_string()).Bind(2, target_id).Next();
}

// --- changes -----------------------------------------------------------------

void IRDB::IRReKey(const StoreHandle& from, const StoreHandle& to) {
  impl_->RequireWritable();
  if (IRExists(to)) {
    throw Exception(kDuplicateId, "record " + to.key_string() + " exists");
  }
  Impl::Query q(*impl_, sql::kReKey, from.key_string());
  q.Bind(1, from.key_string()).Bind(2, to.key_string());
  if (q.Change() == 0) {
    throw Exception(kNoSuchRecord, "no record " + from.key_string());
  }
}

void IRDB::IRRename(const StoreHandle& h, const std::string& name) {
  impl_->RequireWritable();
  Impl::Query q(*impl_, sql::kRename, h.key_string());
  q.Bind(1, h.key_string()).Bind(2, name);
  if (q.Change() == 0) {
    throw Exception(kNoSuchRecord, "no record " + h.key_string());
  }
}

void IRDB::IRRemove(const StoreHandle& h) {
  impl_->RequireWritable();
  Impl& impl = *impl_;
  Impl::Atomic atomic(impl);
  // `doomed` is empty here: cleared at the end, or rolled back.
  {
    Impl::Query fill(impl, sql::kDoomedFill, h.key_string());
    if (fill.Bind(1, h.key_string()).Change() == 0) {
      throw Exception(kNoSuchRecord, "no record " + h.key_string());
    }
  }
  impl.Exec(sql::kDoomedLinksFrom);
  impl.Exec(sql::kDoomedLinksTo);
  impl.Exec(sql::kDoomedDetach);
  impl.Exec(sql::kDoomedDelete);
  impl.Exec(sql::kDoomedClear);
  atomic.Commit();
}

// --- maintenance -------------------------------------------------------------

int IRDB::format_version() { return kFormatVersion; }

long long IRDB::IRCountDefinitions() {
  Impl::Query q(*impl_, "SELECT count(*) FROM record WHERE parent IS NOT NULL");
  return q.Next() ? q.Int(0) : 0;
}

namespace {

// Syncs the directory that holds `path`, so that a new name in it
// survives a crash.
void SyncDirectoryOf(const std::string& path) {
  std::string::size_type slash = path.rfind('/');
  std::string dir = slash == std::string::npos ? "." : path.substr(0, slash);
  if (dir.empty()) dir = "/";
  int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);
  close(fd);
}

}  // namespace

void IRDB::IRBackup(const std::string& path) {
  Impl& impl = *impl_;
  if (impl.user_transaction || impl.depth > 0) {
    throw Exception(kBadState,
                    "a user transaction is open; back up once it has ended");
  }
  struct stat st;
  if (lstat(path.c_str(), &st) == 0) {
    throw Exception(kDuplicateId, path + " exists already");
  }
  // The copy is written under a temporary name and linked to its own
  // name once complete: nobody sees half a backup, and link() never
  // replaces an existing file.
  const std::string part = path + ".part";
  unlink(part.c_str());
  auto fail = [&](const std::string& why) {
    unlink(part.c_str());
    throw Exception(kStoreFailure,
                    "cannot write the backup " + path + ": " + why);
  };
  sqlite3* raw = nullptr;
  int rc = sqlite3_open_v2(part.c_str(), &raw,
                           SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE |
                               SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE,
                           nullptr);
  ConnectionPtr dest(raw);
  if (rc != SQLITE_OK) {
    fail(raw ? sqlite3_errmsg(raw) : "out of memory");
  }
  sqlite3_backup* backup =
      sqlite3_backup_init(dest.get(), "main", impl.db.get(), "main");
  if (!backup) fail(sqlite3_errmsg(dest.get()));
  ++impl.run;
  rc = sqlite3_backup_step(backup, -1);
  const int finish = sqlite3_backup_finish(backup);
  if (rc != SQLITE_DONE) {
    fail(sqlite3_errstr(rc));
  }
  if (finish != SQLITE_OK) fail(sqlite3_errmsg(dest.get()));
  // The source's header says WAL; the copy is one self-contained file.
  if (sqlite3_exec(dest.get(), "PRAGMA journal_mode = DELETE", nullptr, nullptr,
                   nullptr) != SQLITE_OK) {
    fail(sqlite3_errmsg(dest.get()));
  }
  if (sqlite3_close(dest.release()) != SQLITE_OK) fail("cannot close the copy");
  if (link(part.c_str(), path.c_str()) != 0) {
    const int error = errno;
    unlink(part.c_str());
    throw Exception(
        error == EEXIST ? kDuplicateId : kStoreFailure,
        "cannot write the backup " + path + ": " + std::strerror(error));
  }
  unlink(part.c_str());
  SyncDirectoryOf(path);
}

IRDB::CheckReport IRDB::Check(const std::string& path) {
  CheckReport report;
  std::unique_ptr<IRDB> db;
  try {
    Options options;
    options.read_only = true;
    db = std::make_unique<IRDB>(path.c_str(), options);
  } catch (const Exception& e) {
    report.problem = e.text();
    return report;
  }
  Impl& impl = *db->impl_;
  try {
    report.format = impl.ReadFormat();
    std::string problems;
    {
      Impl::Query check(impl, "PRAGMA integrity_check");
      while (check.Next()) {
        std::string line = check.Text(0);
        if (line == "ok") continue;
        for (char& c : line) c = c == '\n' ? ' ' : c;
        problems += (problems.empty() ? "" : "; ") + line;
      }
    }
    if (!problems.empty()) {
      report.problem = "database " + path + " is damaged: " + problems;
      return report;
    }
    long long broken = 0;
    {
      Impl::Query fk(impl, "PRAGMA foreign_key_check");
      while (fk.Next()) ++broken;
    }
    if (broken > 0) {
      report.problem = "database " + path +
                       " is damaged: " + std::to_string(broken) +
                       " references to records that do not exist";
      return report;
    }
    {
      Impl::Query roots(impl,
                        "SELECT count(*) FROM record WHERE parent IS NULL");
      if (!roots.Next() || roots.Int(0) != 1) {
        report.problem = "database " + path +
                         " is damaged: it does not hold exactly one "
                         "repository root";
        return report;
      }
    }
    {
      Impl::Query kinds(
          impl,
          "SELECT kind, count(*) FROM record"
          " WHERE parent IS NOT NULL GROUP BY kind ORDER BY kind");
      while (kinds.Next()) {
        report.kinds.emplace_back(static_cast<int>(kinds.Int(0)), kinds.Int(1));
      }
    }
    {
      Impl::Query links(impl, "SELECT count(*) FROM link");
      if (links.Next()) report.links = links.Int(0);
    }
  } catch (const Exception& e) {
    report.problem = e.text();
    return report;
  }
  report.sound = true;
  return report;
}
