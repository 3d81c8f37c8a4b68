// Tests of IRDB's keys, documentation comments and the upgrade of
// format 1 databases.
#include <sqlite3.h>

#include <chrono>
#include <mutex>
#include <thread>

#include "failing_vfs.h"
#include "store_fixture.h"

namespace {

using namespace store_test;

std::int64_t KeyOf(IRDB& db, const std::string& id) {
  StoreRecord r;
  return db.IRReadRecord(id, r) ? r.key : -1;
}

// A value of the database read with SQLite directly.
long long SqlInt(const std::string& path, const std::string& query) {
  sqlite3* db = nullptr;
  long long value = -1;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) ==
      SQLITE_OK) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, query.c_str(), -1, &stmt, nullptr) ==
            SQLITE_OK &&
        sqlite3_step(stmt) == SQLITE_ROW)
      value = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
  }
  sqlite3_close(db);
  return value;
}

class KeyTest : public StoreTest {};

TEST_F(KeyTest, KeysFollowCreationAndSurviveChangesOfId) {
  Add("a");
  Add("b");
  Add("a/c", "a");
  const std::int64_t a = KeyOf(*db_, "a"), b = KeyOf(*db_, "b"),
                     c = KeyOf(*db_, "a/c");
  EXPECT_LT(KeyOf(*db_, "root"), a);
  EXPECT_LT(a, b);
  EXPECT_LT(b, c);
  db_->IRReKey(H("a"), H("z"));
  EXPECT_EQ(KeyOf(*db_, "z"), a);
  EXPECT_EQ(db_->IRIdOfKey(a), "z");
  EXPECT_EQ(db_->IRIdOfKey(c), "a/c");
  EXPECT_EQ(db_->IRIdOfKey(999999), "");

  // A servant that knows its key writes its own record, whatever the id
  // says; once the record has gone, it cannot bring it back.
  FakeObject z("z", kInterface, "renamed", "root", {'x'});
  z.key = a;
  db_->IRStoreObject(&z);
  StoreRecord r;
  ASSERT_TRUE(db_->IRReadRecord("z", r));
  EXPECT_EQ(r.name, "renamed");
  EXPECT_EQ(r.kind, kInterface);
  db_->IRRemove(H("z"));
  EXPECT_CODE(kNoSuchRecord, db_->IRStoreObject(&z));
  EXPECT_FALSE(db_->IRExists(H("z")));

  FakeFactory factory;
  db_->set_factory(&factory);
  StoredObject* found = db_->IRFindObjectByKey(b);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->store_id(), "b");
  EXPECT_EQ(found->store_key(), b);
  EXPECT_EQ(db_->IRFindObjectByKey(b), found);  // cached now
  EXPECT_EQ(db_->IRFindObjectByKey(c), nullptr);
  EXPECT_EQ(factory.made, 1);
}

// Keys are never handed out twice: not after the record with the highest
// key is removed, not after a user transaction that handed keys out is
// cancelled, not after one is lost with the process.
TEST_F(KeyTest, KeysAreNeverReused) {
  Add("a");
  Add("b");
  std::int64_t highest = KeyOf(*db_, "b");
  db_->IRRemove(H("b"));
  Open();
  Add("c");
  EXPECT_GT(KeyOf(*db_, "c"), highest);
  highest = KeyOf(*db_, "c");

  db_->IRBeginUserTransaction();
  Add("t1");
  Add("t2");
  const std::int64_t cancelled = KeyOf(*db_, "t2");
  EXPECT_GT(cancelled, highest);
  db_->IRCancelUserTransaction();
  Add("d");
  EXPECT_GT(KeyOf(*db_, "d"), cancelled);
  Open();
  Add("e");
  EXPECT_GT(KeyOf(*db_, "e"), KeyOf(*db_, "d"));

  // A cancelled update inside a transaction, then the transaction lost
  // with the process (closing discards it).
  db_->IRBeginUserTransaction();
  db_->IRBeginUpdate();
  Add("u1");
  db_->IRCancelUpdate();
  Add("u2");
  const std::int64_t lost = KeyOf(*db_, "u2");
  Open();
  EXPECT_FALSE(db_->IRExists(H("u2")));
  Add("f");
  EXPECT_GT(KeyOf(*db_, "f"), lost);
}

TEST_F(KeyTest, RefsOfGiveHeadersInTheOrderAsked) {
  Add("m");
  Add("m/q\"\\\n", "m", kStruct);
  const auto refs = db_->IRRefsOf({"m/q\"\\\n", "none", "m", "m"});
  ASSERT_EQ(refs.size(), 3u);
  EXPECT_EQ(refs[0].id, "m/q\"\\\n");
  EXPECT_EQ(refs[0].kind, kStruct);
  EXPECT_EQ(refs[0].name, "q\"\\\n");
  EXPECT_EQ(refs[0].parent, "m");
  EXPECT_EQ(refs[0].key, KeyOf(*db_, "m/q\"\\\n"));
  EXPECT_EQ(refs[1].id, "m");
  EXPECT_EQ(refs[1].parent, "root");
  EXPECT_EQ(refs[2].id, "m");
  EXPECT_TRUE(db_->IRRefsOf({}).empty());
}

TEST_F(KeyTest, CommentsBelongToTheirRecord) {
  Add("m");
  Add("m/s", "m", kStruct);
  EXPECT_EQ(db_->IRGetComment(H("m")), "");
  db_->IRSetComment(H("m"), "module m");
  db_->IRSetComment(H("m/s"), "struct s");
  db_->IRSetComment(H("m/s"), "struct s, again");
  EXPECT_EQ(db_->IRGetComment(H("m")), "module m");
  EXPECT_EQ(db_->IRGetComment(H("m/s")), "struct s, again");
  db_->IRReKey(H("m"), H("n"));
  EXPECT_EQ(db_->IRGetComment(H("n")), "module m");
  db_->IRSetComment(H("n"), "");
  EXPECT_EQ(db_->IRGetComment(H("n")), "");
  EXPECT_CODE(kNoSuchRecord, db_->IRGetComment(H("none")));
  EXPECT_CODE(kNoSuchRecord, db_->IRSetComment(H("none"), "x"));
  EXPECT_CODE(kNoSuchRecord, db_->IRSetComment(H("none"), ""));

  db_->IRBeginUserTransaction();
  db_->IRSetComment(H("m/s"), "changed");
  db_->IRCancelUserTransaction();
  EXPECT_EQ(db_->IRGetComment(H("m/s")), "struct s, again");

  // Removed with the record: a new record of the same id has none.
  db_->IRRemove(H("n"));
  Add("n");
  Add("m/s", "n", kStruct);
  EXPECT_EQ(db_->IRGetComment(H("m/s")), "");
  db_->IRSetComment(H("m/s"), "kept");
  db_.reset();
  EXPECT_EQ(SqlInt(path_, "SELECT count(*) FROM comment"), 1);
  Open(ReadOnlyOptions());
  EXPECT_EQ(db_->IRGetComment(H("m/s")), "kept");
  EXPECT_CODE(kReadOnly, db_->IRSetComment(H("m/s"), "no"));
}

// --- format 1 ----------------------------------------------------------------

class UpgradeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "irdb.XXXXXX");
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    path_ = dir_ + "/v1.db";
  }
  void TearDown() override { fs::remove_all(dir_); }

  // A database as format 1 wrote it: no keys of its own (seq was a plain
  // rowid), no comments, in WAL mode.
  void WriteFormat1(const std::string& path) {
    RawSql(path,
           "PRAGMA journal_mode = WAL;"
           "CREATE TABLE record(seq INTEGER PRIMARY KEY,"
           " id TEXT NOT NULL UNIQUE, kind INTEGER NOT NULL, name TEXT,"
           " parent TEXT REFERENCES record(id)"
           "  ON UPDATE CASCADE ON DELETE CASCADE, body BLOB NOT NULL);"
           "CREATE INDEX record_parent_name ON record(parent, name);"
           "CREATE INDEX record_name ON record(name);"
           "CREATE TABLE link(src TEXT NOT NULL REFERENCES record(id)"
           "  ON UPDATE CASCADE ON DELETE CASCADE,"
           " dst TEXT NOT NULL REFERENCES record(id)"
           "  ON UPDATE CASCADE ON DELETE CASCADE,"
           " kind INTEGER NOT NULL, pos INTEGER NOT NULL);"
           "CREATE INDEX link_src ON link(src, kind, pos);"
           "CREATE INDEX link_dst ON link(dst, kind);"
           "INSERT INTO record VALUES(1, 'root', 17, 'r', NULL, x'00');"
           "INSERT INTO record VALUES(5, 'm', 6, 'm', 'root', x'01');"
           "INSERT INTO record VALUES(9, 'm/s', 10, 's', 'm', x'02');"
           "INSERT INTO record VALUES(7, 'u', 5, 'u', 'root', x'03');"
           "INSERT INTO link VALUES('u', 'm/s', 1, 0);"
           "PRAGMA application_id = 1230128194;"
           "PRAGMA user_version = 1;");
  }
  // The records and links, as format 1 shows them.
  std::string Format1Contents(const std::string& path) {
    std::string out;
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr),
              SQLITE_OK);
    for (const char* q :
         {"SELECT seq || ' ' || id || ' ' || kind || ' ' || name || ' ' ||"
          " coalesce(parent, '-') || ' ' || hex(body) FROM record"
          " ORDER BY seq",
          "SELECT src || '>' || dst FROM link"}) {
      sqlite3_stmt* stmt = nullptr;
      EXPECT_EQ(sqlite3_prepare_v2(db, q, -1, &stmt, nullptr), SQLITE_OK);
      while (sqlite3_step(stmt) == SQLITE_ROW)
        out += std::string(reinterpret_cast<const char*>(
                   sqlite3_column_text(stmt, 0))) +
               "\n";
      sqlite3_finalize(stmt);
    }
    sqlite3_close(db);
    return out;
  }

  std::string dir_, path_;
};

TEST_F(UpgradeTest, AWriterUpgradesFormat1InPlace) {
  WriteFormat1(path_);
  {
    IRDB db(path_.c_str());
    EXPECT_EQ(KeyOf(db, "m"), 5);
    EXPECT_EQ(KeyOf(db, "m/s"), 9);
    EXPECT_EQ(db.IRIdOfKey(7), "u");
    EXPECT_EQ(db.IRReferring(H("m/s"), 0), IdList{"u"});
    EXPECT_EQ(db.IRChildren(H("root"), kAll), (IdList{"m", "u"}));
    db.IRSetComment(H("m"), "upgraded");
    FakeObject n("n", kModule, "n", "root");
    db.IRInsertObject(&n);
    EXPECT_GT(n.key, 9);
  }
  EXPECT_EQ(SqlInt(path_, "PRAGMA user_version"), 2);
  IRDB again(path_.c_str(), ReadOnlyOptions());
  EXPECT_EQ(again.IRGetComment(H("m")), "upgraded");
  EXPECT_EQ(KeyOf(again, "m/s"), 9);
}

TEST_F(UpgradeTest, AReaderRefusesFormat1InOneLine) {
  WriteFormat1(path_);
  const Bytes before = ReadFile(path_);
  const auto e = Thrown([&] { IRDB db(path_.c_str(), ReadOnlyOptions()); });
  EXPECT_EQ(e.code(), IRStore::kStoreFailure);
  EXPECT_NE(e.text().find("older version (format 1)"), std::string::npos)
      << e.text();
  EXPECT_NE(e.text().find("without --read-only"), std::string::npos);
  EXPECT_EQ(e.text().find('\n'), std::string::npos);
  EXPECT_EQ(ReadFile(path_), before);
}

// Every write and every sync of the upgrade fails in turn (and the disk
// fills up at each write): each time the file keeps format 1 with all its
// records, and a later open upgrades it.
TEST_F(UpgradeTest, AFailedUpgradeLeavesFormat1) {
  WriteFormat1(path_);
  const std::string original = Format1Contents(path_);
  ASSERT_NE(original, "");
  for (FailingVfs::Fault fault :
       {FailingVfs::kWriteError, FailingVfs::kSyncError,
        FailingVfs::kDiskFull}) {
    int failures = 0;
    for (int n = 1; n < 200; ++n) {
      const std::string path =
          dir_ + "/f" + std::to_string(fault) + "_" + std::to_string(n);
      fs::copy_file(path_, path);
      bool opened = false;
      {
        FailingVfs vfs;
        vfs.arm(fault, n);
        try {
          IRDB db(path.c_str());
          opened = true;
        } catch (const IRStore::Exception& e) {
          EXPECT_EQ(e.code(), IRStore::kStoreFailure) << e.text();
        }
        if (opened && !vfs.fired()) break;  // no write or sync left
      }
      if (opened) continue;
      // Either the upgrade had not committed (format 1, every record as it
      // was) or it had, and a later step of opening failed.
      const long long format = SqlInt(path, "PRAGMA user_version");
      if (format == 1) {
        ++failures;
        EXPECT_EQ(Format1Contents(path), original) << n;
      } else {
        EXPECT_EQ(format, 2) << n;
      }
      IRDB db(path.c_str());
      EXPECT_EQ(KeyOf(db, "m/s"), 9);
    }
    EXPECT_GT(failures, 0) << "fault " << fault;
  }
}

}  // namespace

// --- failures of the disk ----------------------------------------------------

class DiskFailureTest : public StoreTest {
 protected:
  void SetUp() override {
    vfs_ = std::make_unique<FailingVfs>();
    StoreTest::SetUp();
  }
  void TearDown() override {
    StoreTest::TearDown();
    vfs_.reset();
  }
  std::unique_ptr<FailingVfs> vfs_;
};

TEST_F(DiskFailureTest, ACommitSyncsUnlessToldNotTo) {
  for (bool full : {true, false}) {
    IRDB::Options options;
    options.full_sync = full;
    Open(options);
    const int syncs = vfs_->syncs();
    db_->IRBeginUpdate();
    Add(full ? "full" : "normal");
    db_->IREndUpdate();
    if (full) {
      EXPECT_GT(vfs_->syncs(), syncs);
    } else {
      EXPECT_EQ(vfs_->syncs(), syncs);
    }
  }
}

TEST_F(DiskFailureTest, AFailedCommitTakesItsUpdateAlong) {
  Add("kept");
  db_->IRBeginUpdate();
  Add("gone");
  vfs_->arm(FailingVfs::kSyncError, 1);
  EXPECT_CODE(kStoreFailure, db_->IREndUpdate());
  EXPECT_CODE(kBadState, db_->IRCancelUpdate());
  EXPECT_FALSE(db_->IRExists(H("gone")));
  EXPECT_TRUE(db_->IRExists(H("kept")));
  db_->IRBeginUpdate();
  Add("next");
  db_->IREndUpdate();
  Open();
  EXPECT_TRUE(db_->IRExists(H("next")));
  EXPECT_FALSE(db_->IRExists(H("gone")));
}

// A user transaction that SQLite rolls back (its commit failed) stays
// open as lost: changes and the end fail until the cancel, which closes
// it and says so.
TEST_F(DiskFailureTest, ALostUserTransactionIsReportedUntilCancelled) {
  Add("kept");
  db_->IRBeginUserTransaction();
  Add("t1");
  vfs_->arm(FailingVfs::kWriteError, 1);
  auto e = Thrown([&] { db_->IREndUserTransaction(); });
  EXPECT_EQ(e.code(), IRStore::kStoreFailure);
  EXPECT_TRUE(db_->IRInUserTransaction());
  EXPECT_FALSE(db_->IRExists(H("t1")));
  e = Thrown([&] { Add("t2"); });
  EXPECT_EQ(e.code(), IRStore::kStoreFailure);
  EXPECT_NE(e.text().find("rolled back"), std::string::npos) << e.text();
  EXPECT_CODE(kStoreFailure, db_->IRBeginUpdate());
  EXPECT_CODE(kStoreFailure, db_->IREndUserTransaction());
  EXPECT_CODE(kStoreFailure, db_->IRBeginUserTransaction());
  e = Thrown([&] { db_->IRCancelUserTransaction(); });
  EXPECT_EQ(e.code(), IRStore::kStoreFailure);
  EXPECT_NE(e.text().find("already been rolled back"), std::string::npos);
  EXPECT_FALSE(db_->IRInUserTransaction());
  EXPECT_CODE(kBadState, db_->IRCancelUserTransaction());

  db_->IRBeginUserTransaction();
  Add("t3");
  db_->IREndUserTransaction();
  Open();
  EXPECT_TRUE(db_->IRExists(H("t3")));
  EXPECT_TRUE(db_->IRExists(H("kept")));
  EXPECT_FALSE(db_->IRExists(H("t1")));
}

// --- the integrity check of a large file
// --------------------------------------

class LargeFileTest : public StoreTest {
 protected:
  // A check after opening, whatever the size.
  IRDB::Options Deferred() {
    IRDB::Options options;
    options.check_at_open_limit = 0;
    options.on_damage = [this](const std::string& text) {
      std::lock_guard<std::mutex> lock(mutex_);
      damage_ = text;
    };
    return options;
  }
  IRStore::Integrity WaitForCheck() {
    for (int i = 0; i < 2000; ++i) {
      IRStore::Integrity state = db_->IRIntegrity(nullptr);
      if (state != IRStore::Integrity::kChecking) return state;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return IRStore::Integrity::kChecking;
  }
  std::mutex mutex_;
  std::string damage_;
};

TEST_F(LargeFileTest, AnIntactFileOpensAtOnceAndPassesItsCheck) {
  Add("m");
  Open(Deferred());
  EXPECT_EQ(WaitForCheck(), IRStore::Integrity::kPassed);
  std::string detail = "x";
  EXPECT_EQ(db_->IRIntegrity(&detail), IRStore::Integrity::kPassed);
  EXPECT_EQ(detail, "");
  Add("n");
  Open(ReadOnlyOptions());
  EXPECT_EQ(db_->IRIntegrity(nullptr), IRStore::Integrity::kPassed);
  EXPECT_TRUE(db_->IRExists(H("n")));
  // Closed while its check may still run.
  for (int i = 0; i < 5; ++i) Open(Deferred());
}

// Damage that opening does not read is found once the store serves:
// reported through on_damage and by IRIntegrity, and from then on every
// change is refused while reads go on.
TEST_F(LargeFileTest, DamageFoundAfterOpeningStopsEveryChange) {
  db_->IRBeginUpdate();
  for (int i = 0; i < 400; ++i)
    Add("m" + std::to_string(i), "root", kModule, Bytes(300, 'b'));
  db_->IREndUpdate();
  db_.reset();
  const Bytes file = ReadFile(path_);
  const long pages = static_cast<long>(file.size() / 4096);
  ASSERT_GT(pages, 40);
  WriteAt(path_, (pages / 2) * 4096, Bytes(4096, 0xa5));

  Open(Deferred());
  EXPECT_EQ(WaitForCheck(), IRStore::Integrity::kFailed);
  std::string detail;
  db_->IRIntegrity(&detail);
  EXPECT_NE(detail, "");
  {
    std::lock_guard<std::mutex> lock(mutex_);
    EXPECT_NE(damage_.find("is damaged"), std::string::npos) << damage_;
    EXPECT_NE(damage_.find(path_), std::string::npos) << damage_;
  }
  const auto e = Thrown([&] { db_->IRBeginUpdate(); });
  EXPECT_EQ(e.code(), IRStore::kStoreFailure);
  EXPECT_NE(e.text().find("changes are refused"), std::string::npos)
      << e.text();
  EXPECT_CODE(kStoreFailure, Add("late"));
  EXPECT_CODE(kStoreFailure, db_->IRBeginUserTransaction());
  EXPECT_TRUE(db_->IRExists(H("root")));
  // Checked at opening, the same file is refused.
  db_.reset();
  EXPECT_CODE(kStoreFailure, Open());
}
