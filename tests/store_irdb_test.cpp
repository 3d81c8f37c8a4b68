// Tests of IRDB: records, updates and transactions, queries and the
// integrity of its database file.
#include <sqlite3.h>

#include <regex>

#include "failing_store.h"
#include "store_fixture.h"

namespace {

using namespace store_test;

// --- records -----------------------------------------------------------------

TEST_F(StoreTest, InsertThenReadEveryField) {
  const Bytes body = {0, 1, 0xff, 0};  // binary, with zero bytes
  Add("m", "root", kModule, body);
  Add("m/s", "m", kStruct);  // empty body

  StoreRecord r;
  ASSERT_TRUE(db_->IRReadRecord("m", r));
  EXPECT_EQ(r.id, "m");
  EXPECT_EQ(r.kind, kModule);
  EXPECT_EQ(r.name, "m");
  EXPECT_EQ(r.parent, "root");
  EXPECT_EQ(r.body, body);
  ASSERT_TRUE(db_->IRReadRecord("m/s", r));
  EXPECT_TRUE(r.body.empty());
  ASSERT_TRUE(db_->IRReadRecord("root", r));
  EXPECT_EQ(r.parent, "");
  EXPECT_FALSE(db_->IRReadRecord("nope", r));

  EXPECT_EQ(db_->IRKindOf(H("m/s")), kStruct);
  EXPECT_EQ(db_->IRNameOf(H("m/s")), "s");
  EXPECT_EQ(db_->IRParentOf(H("m/s"))->key_string(), "m");
  EXPECT_EQ(db_->IRParentOf(H("root")), nullptr);
  EXPECT_TRUE(db_->IRExists(H("m")));
  EXPECT_FALSE(db_->IRExists(H("M")));
  EXPECT_EQ(db_->IRChildByName(H("m"), "s")->key_string(), "m/s");
  EXPECT_EQ(db_->IRChildByName(H("m"), "S"), nullptr);
}

TEST_F(StoreTest, MissingRecordIsReportedByEveryQueryOfOne) {
  const std::vector<std::function<void()>> calls = {
      [&] { db_->IRKindOf(H("x")); },
      [&] { db_->IRNameOf(H("x")); },
      [&] { db_->IRParentOf(H("x")); },
      [&] { db_->IRObjectOp(H("x")); },
      [&] { db_->IRRename(H("x"), "y"); },
      [&] { db_->IRRemove(H("x")); },
      [&] { db_->IRAddContained(H("x"), H("root")); },
  };
  for (size_t i = 0; i < calls.size(); ++i) {
    const auto e = Thrown(calls[i]);
    EXPECT_EQ(e.code(), IRStore::kNoSuchRecord) << "call " << i;
    EXPECT_NE(e.text().find("x"), std::string::npos) << e.text();
  }
  EXPECT_NO_THROW(db_->IRObjectOp(H("root")));
}

TEST_F(StoreTest, InsertRefusesDuplicateAndMissingParent) {
  Add("m");
  auto e = Thrown([&] { Add("m"); });
  EXPECT_EQ(e.code(), IRStore::kDuplicateId);
  EXPECT_NE(e.text().find("UNIQUE"), std::string::npos) << e.text();
  EXPECT_NE(e.text().find("key m"), std::string::npos) << e.text();
  e = Thrown([&] { Add("orphan", "nowhere"); });
  EXPECT_EQ(e.code(), IRStore::kNoSuchRecord);
  EXPECT_NE(e.text().find("orphan"), std::string::npos) << e.text();
  EXPECT_FALSE(db_->IRExists(H("orphan")));
  // Links to missing records are refused the same way.
  EXPECT_CODE(kNoSuchRecord, db_->IRAddUse(H("m"), H("nope")));
  EXPECT_CODE(kNoSuchRecord, db_->IRAddContained(H("m"), H("nope")));
}

TEST_F(StoreTest, StoreObjectUpsertsKeepingPosition) {
  Add("a");
  Add("b");
  Add("c", "a");
  FakeObject a("a", kInterface, "renamed", "b", {'x'});
  db_->IRStoreObject(&a);
  FakeObject d("d", kStruct, "d", "root", {'y'});
  db_->IRStoreObject(&d);  // new: inserted after the others

  StoreRecord r;
  ASSERT_TRUE(db_->IRReadRecord("a", r));
  EXPECT_EQ(r.kind, kInterface);
  EXPECT_EQ(r.name, "renamed");
  EXPECT_EQ(r.parent, "b");
  EXPECT_EQ(r.body, Bytes{'x'});
  EXPECT_EQ(db_->IRFindObjects("*", {}, true, nullptr),
            (IdList{"root", "a", "b", "c", "d"}));
  EXPECT_EQ(db_->IRChildren(H("a"), kAll), IdList{"c"});  // kept
  a.parent = "missing";
  EXPECT_CODE(kNoSuchRecord, db_->IRStoreObject(&a));
}

TEST_F(StoreTest, FindObjectBuildsOnceThenUsesTheCache) {
  EXPECT_CODE(kBadState, db_->IRFindObject(H("root")));
  FakeFactory factory;
  db_->set_factory(&factory);
  Add("m", "root", kModule, {'b'});

  StoredObject* first = db_->IRFindObject(H("m"));
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(factory.made, 1);
  EXPECT_EQ(first->store_kind(), kModule);
  EXPECT_EQ(first->store_name(), "m");
  EXPECT_EQ(first->store_body(), Bytes{'b'});
  EXPECT_EQ(db_->IRFindObject(H("m")), first);
  EXPECT_EQ(factory.made, 1);
  EXPECT_EQ(factory.objects["m"]->refs, 2);
  EXPECT_EQ(db_->IRFindObject(H("none")), nullptr);
  EXPECT_EQ(factory.made, 1);
}

TEST_F(StoreTest, SingleRecordCallsRunOneStatement) {
  Add("m");
  const std::vector<std::function<void()>> calls = {
      [&] { db_->IRExists(H("m")); },
      [&] { db_->IRKindOf(H("m")); },
      [&] { db_->IRChildByName(H("root"), "m"); },
      [&] { db_->IRContents(H("root"), kAll, false, -1); },
      [&] { db_->IRRename(H("m"), "n"); },
  };
  for (size_t i = 0; i < calls.size(); ++i) {
    const unsigned long before = db_->statements_run();
    calls[i]();
    EXPECT_EQ(db_->statements_run() - before, 1u) << "call " << i;
  }
}

// --- updates and user transactions -------------------------------------------

TEST_F(StoreTest, CancellingAnInnerUpdateKeepsTheOuterOne) {
  db_->IRBeginUpdate();
  Add("a");
  const std::string outer = Snapshot();
  db_->IRBeginUpdate();
  Add("b");
  db_->IRRename(H("a"), "z");
  db_->IRAddUse(H("b"), H("a"));
  db_->IRCancelUpdate();
  EXPECT_EQ(Snapshot(), outer);
  db_->IREndUpdate();
  Open();
  EXPECT_EQ(Snapshot(), outer);
}

TEST_F(StoreTest, CancelRestoresExactlyThePreviousState) {
  Add("m");
  Add("m/i", "m", kInterface, {'1'});
  Add("m/j", "m", kInterface);
  Add("m/i/op", "m/i", kOperation);
  Add("n");
  db_->IRAddInherit(H("m/i"), H("m/j"));
  db_->IRAddUse(H("m/i/op"), H("n"));
  db_->IRAddUse(H("m/i/op"), H("n"));
  const std::string before = Snapshot();

  db_->IRBeginUpdate();
  db_->IRBeginUpdate();
  Add("m/k", "m", kStruct);
  db_->IRRemoveUse(H("m/i/op"), H("n"));
  db_->IRReKey(H("m/i"), H("m/i2"));
  db_->IRAddInherit(H("m/i2"), H("m/k"));
  db_->IREndUpdate();
  FakeObject changed("n", kStruct, "nn", "m", {'2'});
  db_->IRStoreObject(&changed);
  db_->IRRemove(H("m/j"));
  db_->IRAddContained(H("m/k"), H("root"));
  ASSERT_NE(Snapshot(), before);
  db_->IRCancelUpdate();
  EXPECT_EQ(Snapshot(), before);
  // Both use links are back: one removal leaves the other.
  db_->IRRemoveUse(H("m/i/op"), H("n"));
  EXPECT_EQ(db_->IRReferring(H("n"), 0), IdList{"m/i/op"});
}

TEST_F(StoreTest, ProtocolViolationsAreBadState) {
  struct Case {
    const char* what;
    std::function<void()> setup, call;
  };
  const Case cases[] = {
      {"end without update", [] {}, [&] { db_->IREndUpdate(); }},
      {"cancel without update", [] {}, [&] { db_->IRCancelUpdate(); }},
      {"end without transaction", [] {}, [&] { db_->IREndUserTransaction(); }},
      {"cancel without transaction", [] {},
       [&] { db_->IRCancelUserTransaction(); }},
      {"second begin", [&] { db_->IRBeginUserTransaction(); },
       [&] { db_->IRBeginUserTransaction(); }},
      {"begin inside update", [&] { db_->IRBeginUpdate(); },
       [&] { db_->IRBeginUserTransaction(); }},
      {"end with open update",
       [&] {
         db_->IRBeginUserTransaction();
         db_->IRBeginUpdate();
       },
       [&] { db_->IREndUserTransaction(); }},
  };
  for (const auto& c : cases) {
    Open();
    c.setup();
    EXPECT_EQ(Thrown(c.call).code(), IRStore::kBadState) << c.what;
  }
}

TEST_F(StoreTest, UserTransactionEnclosesUpdates) {
  db_->IRBeginUserTransaction();
  EXPECT_TRUE(db_->IRInUserTransaction());
  db_->IRBeginUpdate();
  Add("kept");
  db_->IREndUpdate();
  db_->IREndUserTransaction();
  EXPECT_FALSE(db_->IRInUserTransaction());

  // Cancelling discards updates ended inside it and those still open.
  db_->IRBeginUserTransaction();
  db_->IRBeginUpdate();
  Add("ended");
  db_->IREndUpdate();
  db_->IRBeginUpdate();
  db_->IRBeginUpdate();
  Add("open");
  db_->IRCancelUserTransaction();
  EXPECT_FALSE(db_->IRInUserTransaction());
  EXPECT_CODE(kBadState, db_->IREndUpdate());
  Add("after");  // autocommit again
  Open();
  EXPECT_EQ(db_->IRChildren(H("root"), kAll), (IdList{"kept", "after"}));
}

TEST_F(StoreTest, ReopenKeepsCommittedDataAndDropsOpenUpdates) {
  Add("committed", "root", kModule, {'c'});
  db_->IRBeginUpdate();
  Add("pending");
  Open();
  StoreRecord r;
  EXPECT_TRUE(db_->IRReadRecord("committed", r));
  EXPECT_EQ(r.body, Bytes{'c'});
  EXPECT_FALSE(db_->IRExists(H("pending")));
}

// (A second process is refused the same way: see the end-to-end tests.)
TEST_F(StoreTest, SecondOpenerIsBusy) {
  auto e = Thrown([&] { IRDB other(path_.c_str()); });
  EXPECT_EQ(e.code(), IRStore::kBusy);
  EXPECT_NE(e.text().find("is in use by another process"), std::string::npos)
      << e.text();
  EXPECT_EQ(
      Thrown([&] { IRDB other(path_.c_str(), ReadOnlyOptions()); }).code(),
      IRStore::kBusy);
}

// --- the database file -------------------------------------------------------

// Files that are not intact databases of ours are refused with a message
// that says why, and are left exactly as they were.
TEST_F(StoreTest, RefusesFilesThatAreNotOurs) {
  for (int i = 0; i < 60; ++i)
    Add("m" + std::to_string(i), "root", kModule, Bytes(200, 'b'));
  db_.reset();
  const Bytes ours = ReadFile(path_);
  ASSERT_GT(ours.size(), 4 * 4096u);
  struct Case {
    const char* what;
    std::function<void(const std::string&)> make;
    const char* message;
  };
  const Case cases[] = {
      {"text file",
       [](const std::string& p) { std::ofstream(p) << std::string(3000, 'x'); },
       "is not a database"},
      {"overwritten pages",
       [&](const std::string& p) {
         std::ofstream(p, std::ios::binary)
             .write(reinterpret_cast<const char*>(ours.data()), ours.size());
         WriteAt(p, 2 * 4096, Bytes(2 * 4096, 0xa5));
       },
       "is damaged"},
      {"truncated",
       [&](const std::string& p) {
         std::ofstream(p, std::ios::binary)
             .write(reinterpret_cast<const char*>(ours.data()), 3 * 4096);
       },
       "is damaged"},
      {"other application's database",
       [](const std::string& p) { RawSql(p, "CREATE TABLE t(x)"); },
       "is not an interface repository database"},
      {"other application id",
       [](const std::string& p) {
         RawSql(p, "PRAGMA application_id = 7; CREATE TABLE record(x)");
       },
       "is not an interface repository database"},
      {"newer format",
       [&](const std::string& p) {
         fs::copy_file(path_, p);
         RawSql(p, "PRAGMA user_version = 3");
       },
       "newer version"},
  };
  int n = 0;
  for (const auto& c : cases) {
    const std::string path = dir_ + "/case" + std::to_string(n++) + ".db";
    c.make(path);
    const Bytes before = ReadFile(path);
    for (const bool read_only : {false, true}) {
      const auto e = Thrown([&] {
        IRDB db(path.c_str(),
                (read_only ? ReadOnlyOptions() : IRDB::Options()));
      });
      EXPECT_EQ(e.code(), IRStore::kStoreFailure) << c.what;
      EXPECT_NE(e.text().find(c.message), std::string::npos)
          << c.what << ": " << e.text();
      EXPECT_NE(e.text().find(path), std::string::npos) << e.text();
    }
    EXPECT_EQ(ReadFile(path), before) << c.what;
  }
}

TEST_F(StoreTest, ReadOnlyStoreReadsAndRefusesEveryChange) {
  Add("m");
  Add("m/i", "m", kInterface);
  db_->IRAddUse(H("m/i"), H("m"));
  Open(ReadOnlyOptions());
  EXPECT_TRUE(db_->IRReadOnly());
  EXPECT_EQ(db_->IRSubtree(H("m")), (IdList{"m", "m/i"}));
  EXPECT_EQ(db_->IRReferring(H("m"), 0), IdList{"m/i"});

  FakeObject obj("n", kModule, "n", "root");
  const std::vector<std::function<void()>> changes = {
      [&] { db_->IRBeginUpdate(); },
      [&] { db_->IREndUpdate(); },
      [&] { db_->IRCancelUpdate(); },
      [&] { db_->IRBeginUserTransaction(); },
      [&] { db_->IREndUserTransaction(); },
      [&] { db_->IRCancelUserTransaction(); },
      [&] { db_->IRStoreObject(&obj); },
      [&] { db_->IRInsertObject(&obj); },
      [&] { db_->IRAddContained(H("m/i"), H("root")); },
      [&] { db_->IRAddUse(H("m"), H("m/i")); },
      [&] { db_->IRRemoveUse(H("m/i"), H("m")); },
      [&] { db_->IRAddInherit(H("m/i"), H("m/i")); },
      [&] { db_->IRRemoveInherit(H("m/i"), H("m/i")); },
      [&] { db_->IRReKey(H("m"), H("m2")); },
      [&] { db_->IRRename(H("m"), "x"); },
      [&] { db_->IRRemove(H("m")); },
  };
  const std::string before = Snapshot();
  for (size_t i = 0; i < changes.size(); ++i) {
    EXPECT_EQ(Thrown(changes[i]).code(), IRStore::kReadOnly) << "change " << i;
  }
  EXPECT_EQ(Snapshot(), before);

  db_.reset();
  for (const char* name : {"/missing.db", "/empty.db"}) {
    const std::string path = dir_ + name;
    if (std::string(name) == "/empty.db") std::ofstream{path};
    const auto e = Thrown([&] { IRDB db(path.c_str(), ReadOnlyOptions()); });
    EXPECT_EQ(e.code(), IRStore::kStoreFailure) << name;
    EXPECT_FALSE(fs::exists(dir_ + "/missing.db"));
  }
}

// --- queries -----------------------------------------------------------------

// Diamond: d inherits b and c, both inherit a; each has members.
class InheritanceTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    for (const char* i : {"a", "b", "c", "d"}) Add(i, "root", kInterface);
    Add("a/x", "a", kAttribute);
    Add("b/op", "b", kOperation);
    Add("c/x", "c", kAttribute);
    Add("d/op2", "d", kOperation);
    Add("a/op3", "a", kOperation);
    db_->IRAddInherit(H("d"), H("b"));
    db_->IRAddInherit(H("d"), H("c"));
    db_->IRAddInherit(H("b"), H("a"));
    db_->IRAddInherit(H("c"), H("a"));
  }
};

TEST_F(InheritanceTest, ContentsWithAndWithoutInherited) {
  struct Case {
    int kind;
    bool exclude;
    long max;
    IdList expected;
  };
  const Case cases[] = {
      {kAll, true, -1, {"d/op2"}},
      {kAll, false, -1, {"a/x", "b/op", "c/x", "d/op2", "a/op3"}},
      {kOperation, false, -1, {"b/op", "d/op2", "a/op3"}},
      {kAttribute, true, -1, {}},
      {kAll, false, 2, {"a/x", "b/op"}},
      {kAll, false, 0, {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(db_->IRContents(H("d"), c.kind, c.exclude, c.max), c.expected)
        << c.kind << " " << c.exclude << " " << c.max;
  }
  EXPECT_EQ(db_->IRContents(H("a"), kAll, false, -1), (IdList{"a/x", "a/op3"}));
  // A cycle of inheritance ends the closure.
  db_->IRAddInherit(H("a"), H("d"));
  EXPECT_EQ(db_->IRContents(H("a"), kAll, false, -1),
            (IdList{"a/x", "b/op", "c/x", "d/op2", "a/op3"}));
  EXPECT_TRUE(db_->IRIsA(H("a"), "d"));
}

TEST_F(InheritanceTest, NamesInInheritedContainers) {
  EXPECT_EQ(db_->IRBases(H("d")), (IdList{"b", "c"}));
  EXPECT_EQ(db_->IRInheritedName(H("d"), "x", kAttribute),
            (IdList{"a/x", "c/x"}));
  EXPECT_EQ(db_->IRInheritedName(H("d"), "x", kOperation), IdList{});
  EXPECT_EQ(db_->IRInheritedName(H("d"), "op2", kAll), IdList{});  // own
  EXPECT_TRUE(db_->IRNameInContents(H("d"), "op2"));
  EXPECT_TRUE(db_->IRNameInContents(H("d"), "x"));
  EXPECT_FALSE(db_->IRNameInContents(H("b"), "op2"));
  EXPECT_FALSE(db_->IRNameInContents(H("d"), "X"));
  EXPECT_EQ(db_->IRDerived(H("a")), (IdList{"b", "c"}));

  db_->IRRemoveInherit(H("d"), H("b"));
  db_->IRAddInherit(H("d"), H("b"));  // now after c
  EXPECT_EQ(db_->IRBases(H("d")), (IdList{"c", "b"}));
}

TEST_F(StoreTest, LookupNameByLevels) {
  // root > m1 > m2 > m3, each holding an "x"; m1/i inherits j, which holds
  // an "x" too; m2 has a struct named "x" as well.
  Add("j", "root", kInterface);
  Add("j/x", "j", kAttribute);
  Add("m1");
  Add("m1/x", "m1", kAttribute);
  Add("m1/i", "m1", kInterface);
  Add("m1/m2", "m1");
  Add("m1/m2/x", "m1/m2", kStruct);
  Add("m1/m2/m3", "m1/m2");
  Add("m1/m2/m3/x", "m1/m2/m3", kAttribute);
  db_->IRAddInherit(H("m1/i"), H("j"));
  struct Case {
    std::string container;
    long levels;
    int kind;
    bool exclude;
    IdList expected;
  };
  const Case cases[] = {
      {"m1", 1, kAll, false, {"m1/x"}},
      {"m1", 2, kAll, false, {"j/x", "m1/x", "m1/m2/x"}},
      {"m1", 2, kAll, true, {"m1/x", "m1/m2/x"}},
      {"m1", -1, kAll, false, {"j/x", "m1/x", "m1/m2/x", "m1/m2/m3/x"}},
      {"m1", -1, kAttribute, false, {"j/x", "m1/x", "m1/m2/m3/x"}},
      {"m1", -1, kAll, true, {"m1/x", "m1/m2/x", "m1/m2/m3/x"}},
      {"m1/i", 1, kAll, false, {"j/x"}},
      {"m1/i", 1, kAll, true, {}},
      {"m1", 0, kAll, false, {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(
        db_->IRLookupName(H(c.container), "x", c.levels, c.kind, c.exclude),
        c.expected)
        << c.container << " levels " << c.levels << " kind " << c.kind
        << " exclude " << c.exclude;
  }
}

TEST_F(StoreTest, IsAFollowsALongChain) {
  for (int i = 0; i < 50; ++i) Add("c" + std::to_string(i), "root", kInterface);
  for (int i = 1; i < 50; ++i) {
    db_->IRAddInherit(H("c" + std::to_string(i)),
                      H("c" + std::to_string(i - 1)));
  }
  EXPECT_TRUE(db_->IRIsA(H("c49"), "c0"));
  EXPECT_TRUE(db_->IRIsA(H("c30"), "c29"));
  EXPECT_TRUE(db_->IRIsA(H("c7"), "c7"));
  EXPECT_FALSE(db_->IRIsA(H("c0"), "c49"));
  EXPECT_FALSE(db_->IRIsA(H("c29"), "c30"));
  EXPECT_FALSE(db_->IRIsA(H("c49"), "root"));
}

TEST_F(StoreTest, ReferringSeparatesUseFromInheritance) {
  for (const char* id : {"t", "u1", "u2", "d"}) Add(id);
  db_->IRAddUse(H("u2"), H("t"));
  db_->IRAddUse(H("u1"), H("t"));
  db_->IRAddUse(H("u1"), H("t"));
  db_->IRAddInherit(H("d"), H("t"));
  EXPECT_EQ(db_->IRReferring(H("t"), 0), (IdList{"u1", "u2", "d"}));
  EXPECT_EQ(db_->IRReferring(H("t"), IRStore::kUseLink), (IdList{"u1", "u2"}));
  EXPECT_EQ(db_->IRReferring(H("t"), IRStore::kInheritLink), IdList{"d"});
  EXPECT_EQ(db_->IRDerived(H("t")), IdList{"d"});
  // Use links are counted: u1 uses t twice.
  db_->IRRemoveUse(H("u1"), H("t"));
  EXPECT_EQ(db_->IRReferring(H("t"), IRStore::kUseLink), (IdList{"u1", "u2"}));
  db_->IRRemoveUse(H("u1"), H("t"));
  db_->IRRemoveUse(H("u1"), H("t"));  // none left: nothing happens
  EXPECT_EQ(db_->IRReferring(H("t"), IRStore::kUseLink), IdList{"u2"});
}

TEST_F(StoreTest, SubtreeListsParentsBeforeChildren) {
  Add("a");
  Add("a/b", "a");
  Add("c");
  Add("a/b/d", "a/b");
  Add("a/e", "a");
  db_->IRAddContained(H("a"), H("c"));  // c is younger than a
  EXPECT_EQ(db_->IRSubtree(H("c")), (IdList{"c", "a", "a/b", "a/b/d", "a/e"}));
  EXPECT_EQ(db_->IRSubtree(H("a/b/d")), IdList{"a/b/d"});
  EXPECT_EQ(db_->IRSubtree(H("none")), IdList{});
}

TEST_F(StoreTest, ReKeyMovesChildrenAndLinksAndRenameMovesLookups) {
  Add("m");
  Add("m/i", "m", kInterface);
  Add("b", "root", kInterface);
  Add("u");
  db_->IRAddInherit(H("m"), H("b"));
  db_->IRAddUse(H("u"), H("m"));
  db_->IRReKey(H("m"), H("n"));
  EXPECT_FALSE(db_->IRExists(H("m")));
  EXPECT_EQ(db_->IRParentOf(H("m/i"))->key_string(), "n");
  EXPECT_EQ(db_->IRChildren(H("n"), kAll), IdList{"m/i"});
  EXPECT_EQ(db_->IRBases(H("n")), IdList{"b"});
  EXPECT_EQ(db_->IRReferring(H("n"), 0), IdList{"u"});
  EXPECT_EQ(db_->IRFindObjects("*", {}, true, nullptr),
            (IdList{"root", "n", "m/i", "b", "u"}));  // position kept

  const std::string before = Snapshot();
  EXPECT_CODE(kDuplicateId, db_->IRReKey(H("n"), H("b")));
  EXPECT_CODE(kDuplicateId, db_->IRReKey(H("m"), H("b")));
  EXPECT_CODE(kNoSuchRecord, db_->IRReKey(H("m"), H("z")));
  EXPECT_EQ(Snapshot(), before);

  // A new name is the one lookups find.
  db_->IRRename(H("n"), "renamed");
  EXPECT_EQ(db_->IRNameOf(H("n")), "renamed");
  EXPECT_EQ(db_->IRChildByName(H("root"), "renamed")->key_string(), "n");
  EXPECT_EQ(db_->IRChildByName(H("root"), "m"), nullptr);
  EXPECT_EQ(db_->IRLookupName(H("root"), "renamed", 1, kAll, false),
            IdList{"n"});
}

TEST_F(StoreTest, RemoveTakesTheSubtreeAndItsLinks) {
  Add("m");
  Add("m/i", "m", kInterface);
  Add("m/i/op", "m/i", kOperation);
  Add("keep", "root", kInterface);
  Add("keep/op", "keep", kOperation);
  db_->IRAddUse(H("keep/op"), H("m/i"));  // into the subtree
  db_->IRAddUse(H("m/i/op"), H("keep"));  // out of it
  db_->IRAddInherit(H("m/i"), H("keep"));
  db_->IRAddInherit(H("keep"), H("m/i"));
  db_->IRAddUse(H("keep/op"), H("root"));
  db_->IRRemove(H("m"));
  EXPECT_EQ(db_->IRFindObjects("*", {}, true, nullptr),
            (IdList{"root", "keep", "keep/op"}));
  EXPECT_EQ(db_->IRReferring(H("keep"), 0), IdList{});
  EXPECT_EQ(db_->IRBases(H("keep")), IdList{});
  EXPECT_EQ(db_->IRReferring(H("root"), 0), IdList{"keep/op"});

  // A chain deeper than SQLite nests cascading deletes goes as a whole.
  db_->IRBeginUpdate();
  Add("d0");
  for (int i = 1; i < 1100; ++i) {
    Add("d" + std::to_string(i), "d" + std::to_string(i - 1));
  }
  db_->IREndUpdate();
  db_->IRRemove(H("d0"));
  EXPECT_EQ(db_->IRSubtree(H("root")), (IdList{"root", "keep", "keep/op"}));
}

TEST_F(StoreTest, FindObjectsByPatternKindAndScope) {
  Add("m");
  Add("m/Foo", "m", kInterface);
  Add("m/Foo/foo", "m/Foo", kOperation);
  Add("m/bar", "m", kStruct);
  Add("Fox", "root", kInterface);
  struct Case {
    std::string pattern;
    std::vector<int> kinds;
    bool ids;
    const char* scope;
    IdList expected;
  };
  const Case cases[] = {
      {"Fo*", {}, false, nullptr, {"m/Foo", "Fox"}},
      {"[Ff]oo", {}, false, nullptr, {"m/Foo", "m/Foo/foo"}},
      {"Fo?", {kOperation, kStruct}, false, nullptr, {}},
      {"*", {kOperation, kStruct}, false, nullptr, {"m/Foo/foo", "m/bar"}},
      {"*", {kAll}, false, "m/Foo", {"m/Foo/foo"}},
      {"*", {}, false, "m", {"m/Foo", "m/Foo/foo", "m/bar"}},
      {"m/*", {}, true, nullptr, {"m/Foo", "m/Foo/foo", "m/bar"}},
      {"*o*", {kInterface}, true, "root", {"m/Foo", "Fox"}},
      {"*", {}, false, "none", {}},
  };
  for (const auto& c : cases) {
    const StoreHandle scope(c.scope ? c.scope : "");
    EXPECT_EQ(db_->IRFindObjects(c.pattern, c.kinds, c.ids,
                                 c.scope ? &scope : nullptr),
              c.expected)
        << c.pattern << " ids " << c.ids << " scope "
        << (c.scope ? c.scope : "-");
  }
}

// --- bulk listings -----------------------------------------------------------

// "kind name id parent absolute-name children head" per summary.
std::vector<std::string> Rows(const std::vector<StoreSummary>& rows) {
  std::vector<std::string> out;
  for (const StoreSummary& r : rows) {
    out.push_back(std::to_string(r.kind) + " " + r.name + " " + r.id + " ^" +
                  r.parent + " " + r.absolute_name + " " +
                  std::to_string(r.children) + " " +
                  std::string(r.body_head.begin(), r.body_head.end()));
  }
  return out;
}

TEST_F(StoreTest, SummariesCarryAbsoluteNamesAndChildCounts) {
  Add("m", "root", kModule, Bytes(100, 'v'));
  Add("m/i", "m", kInterface, {'i'});
  Add("m/i/op", "m/i", kOperation);
  Add("m/i/at", "m/i", kAttribute);
  Add("n");
  // A child younger than its new parent's parent, and a name with quotes
  // and a backslash in its parent's id.
  Add("q\"\\\n", "root", kModule);
  Add("q/s", "q\"\\\n", kStruct);

  const KeyList top = db_->IRChildKeys(H("root"));
  ASSERT_EQ(top.size(), 3u);
  const KeyList all = db_->IRSearch(StoreSearch{"*", {}, true, false, ""});
  ASSERT_EQ(all.size(), 7u);  // the root is never a match
  EXPECT_EQ(Rows(db_->IRSummaries(all)),
            (std::vector<std::string>{
                "6 m m ^root ::m 1 " + std::string(kSummaryHeadBytes, 'v'),
                "5 i m/i ^m ::m::i 2 i", "7 op m/i/op ^m/i ::m::i::op 0 ",
                "2 at m/i/at ^m/i ::m::i::at 0 ", "6 n n ^root ::n 0 ",
                "6 q\"\\\n q\"\\\n ^root ::q\"\\\n 1 ",
                "10 s q/s ^q\"\\\n ::q\"\\\n::s 0 "}));
  // Any subset, in creation order whatever the order asked; unknown
  // positions are left out.
  EXPECT_EQ(Rows(db_->IRSummaries({all[2], 999999, all[0]})),
            (std::vector<std::string>{
                "6 m m ^root ::m 1 " + std::string(kSummaryHeadBytes, 'v'),
                "7 op m/i/op ^m/i ::m::i::op 0 "}));
  EXPECT_EQ(db_->IRSummaries({}).size(), 0u);
  EXPECT_EQ(db_->IRChildKeys(H("m/i")), (KeyList{all[2], all[3]}));
  EXPECT_CODE(kNoSuchRecord, db_->IRChildKeys(H("nope")));
  EXPECT_EQ(db_->IRCountKinds(),
            (std::vector<std::pair<int, std::uint64_t>>{{kAttribute, 1},
                                                        {kInterface, 1},
                                                        {kModule, 3},
                                                        {kOperation, 1},
                                                        {kStruct, 1}}));
}

TEST_F(StoreTest, SearchMatchesNamesOrIdsInAnyCaseBelowAScope) {
  Add("m");
  Add("m/Foo", "m", kInterface);
  Add("m/Foo/foo", "m/Foo", kOperation);
  Add("m/bar", "m", kStruct);
  Add("FOX", "root", kInterface);
  struct Case {
    StoreSearch search;
    IdList expected;
  };
  const Case cases[] = {
      {{"fo*", {}, false, false, ""}, {"m/Foo/foo"}},
      {{"fo*", {}, false, true, ""}, {"m/Foo", "m/Foo/foo", "FOX"}},
      {{"F[O]?", {}, false, true, ""}, {"m/Foo", "m/Foo/foo", "FOX"}},
      {{"fo*", {kInterface}, false, true, ""}, {"m/Foo", "FOX"}},
      {{"fo*", {kAll}, false, true, "m"}, {"m/Foo", "m/Foo/foo"}},
      {{"*", {}, false, false, "m/Foo"}, {"m/Foo/foo"}},
      {{"M/*", {}, true, true, ""}, {"m/Foo", "m/Foo/foo", "m/bar"}},
      {{"M/*", {}, true, false, ""}, {}},
      {{"*o*", {kInterface}, true, true, "root"}, {"m/Foo", "FOX"}},
      {{"root", {}, false, false, ""}, {}},
  };
  for (const auto& c : cases) {
    IdList ids;
    for (const StoreSummary& r : db_->IRSummaries(db_->IRSearch(c.search)))
      ids.push_back(r.id);
    EXPECT_EQ(ids, c.expected)
        << c.search.pattern << " ids " << c.search.match_ids << " nocase "
        << c.search.ignore_case << " scope " << c.search.scope;
  }
  EXPECT_CODE(kNoSuchRecord,
              db_->IRSearch(StoreSearch{"*", {}, false, false, "none"}));
}

TEST_F(StoreTest, OutsideRefsAreTheLinksIntoASubtreeFromOutside) {
  Add("m");
  Add("m/i", "m", kInterface);
  Add("m/i/op", "m/i", kOperation);
  Add("m/s", "m", kStruct);
  Add("x", "root", kInterface);
  Add("x/op", "x", kOperation);
  Add("y", "root", kStruct);
  db_->IRAddUse(H("m/i/op"), H("m/s"));  // inside: not listed
  db_->IRAddUse(H("x/op"), H("m/s"));
  db_->IRAddUse(H("x/op"), H("m/s"));  // the same pair once
  db_->IRAddUse(H("x/op"), H("m/i"));
  db_->IRAddInherit(H("x"), H("m/i"));
  db_->IRAddUse(H("y"), H("m"));
  db_->IRAddUse(H("m/i/op"), H("y"));  // out of the subtree: not listed
  auto Pairs = [&](const char* id) {
    std::vector<std::string> out;
    const auto refs = db_->IROutsideRefs(H(id));
    KeyList users;
    for (const auto& r : refs) users.push_back(r.user_key);
    std::map<std::int64_t, std::string> ids;
    for (const StoreSummary& s : db_->IRSummaries(users)) ids[s.key] = s.id;
    for (const auto& r : refs) out.push_back(ids[r.user_key] + ">" + r.used);
    return out;
  };
  EXPECT_EQ(Pairs("m"),
            (std::vector<std::string>{"x>m/i", "x/op>m/i", "x/op>m/s", "y>m"}));
  EXPECT_EQ(Pairs("m/s"), (std::vector<std::string>{"m/i/op>m/s", "x/op>m/s"}));
  EXPECT_EQ(Pairs("x"), std::vector<std::string>{});
  EXPECT_CODE(kNoSuchRecord, db_->IROutsideRefs(H("nope")));
}

// Every statement reaches its rows through an index; only the searches
// without a scope and the count of every kind read every record.
TEST_F(StoreTest, QueryPlansUseIndexes) {
  const std::regex full_scan(R"(\n  SCAN (record|link)\b)");
  const std::regex unscoped_search(
      R"(^SELECT (id|seq) FROM record WHERE (\w+|lower\(\w+\)) GLOB|)"
      R"(^SELECT kind, count)");
  const auto plans = db_->query_plans();
  ASSERT_GT(plans.size(), 25u);
  int searches = 0;
  for (const auto& plan : plans) {
    if (std::regex_search(plan, unscoped_search)) {
      ++searches;
      EXPECT_TRUE(std::regex_search(plan, full_scan)) << plan;
    } else {
      EXPECT_FALSE(std::regex_search(plan, full_scan)) << plan;
    }
  }
  EXPECT_EQ(searches, 7);
  // A container's own contents come in creation order from the index on
  // the parent, without sorting them per call.
  int children = 0;
  for (const auto& plan : plans) {
    if (plan.rfind("SELECT id FROM record WHERE parent = ?1 AND (?2", 0) != 0)
      continue;
    ++children;
    EXPECT_EQ(plan.find("TEMP B-TREE"), std::string::npos) << plan;
  }
  EXPECT_EQ(children, 1);
}

// --- FailingStore ------------------------------------------------------------

TEST_F(StoreTest, FailingStoreFailsTheArmedChangeOnly) {
  db_.reset();
  FailingStore store(path_.c_str());
  FakeObject a("a", kModule, "a", "root"), b("b", kModule, "b", "root");
  store.fail_at(2);
  store.IRBeginUpdate();  // not counted
  store.IRInsertObject(&a);
  EXPECT_TRUE(store.IRExists(H("a")));  // reads are not counted
  const auto e = Thrown([&] { store.IRRename(H("a"), "z"); });
  EXPECT_EQ(e.code(), IRStore::kStoreFailure);
  EXPECT_EQ(e.text(), "injected");
  EXPECT_EQ(store.IRNameOf(H("a")), "a");  // not forwarded
  EXPECT_FALSE(store.armed());
  store.IRInsertObject(&b);  // disarmed after firing
  store.IRCancelUpdate();
  EXPECT_EQ(store.changes(), 3);
  EXPECT_FALSE(store.IRExists(H("a")));
  EXPECT_FALSE(store.IRExists(H("b")));
}

}  // namespace
