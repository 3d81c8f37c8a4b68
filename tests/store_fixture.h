// The fixture of the store tests: servants as the store sees them (fake
// ones), a fresh database per test and helpers that read files and run
// SQL on them directly.
#ifndef IR_TESTS_STORE_FIXTURE_H
#define IR_TESTS_STORE_FIXTURE_H

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gtest/gtest.h"
#include "store/irdb.h"

namespace store_test {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

// A few definition kinds; the store only compares them.
constexpr int kAll = 1, kAttribute = 2, kInterface = 5, kModule = 6,
              kOperation = 7, kStruct = 10, kRepository = 17;

class FakeObject : public StoredObject {
 public:
  FakeObject(std::string id, int kind, std::string name, std::string parent,
             Bytes body = {})
      : id(std::move(id)),
        kind(kind),
        name(std::move(name)),
        parent(std::move(parent)),
        body(std::move(body)) {}
  std::string store_id() const override { return id; }
  std::int64_t store_key() const override { return key; }
  void store_set_key(std::int64_t k) override { key = k; }
  int store_kind() const override { return kind; }
  std::string store_name() const override { return name; }
  std::string store_parent() const override { return parent; }
  Bytes store_body() override { return body; }
  void store_add_ref() override { ++refs; }
  void store_release() override { --refs; }

  std::string id;
  int kind;
  std::string name, parent;
  Bytes body;
  std::int64_t key = 0;
  int refs = 1;
};

// Builds FakeObjects from records and caches them, as the repository does.
class FakeFactory : public ObjectFactory {
 public:
  StoredObject* cached(const std::string& id) override {
    const auto found = objects.find(id);
    if (found == objects.end()) return nullptr;
    found->second->store_add_ref();
    return found->second.get();
  }
  StoredObject* cached_key(std::int64_t key) override {
    for (auto& o : objects) {
      if (o.second->key == key) {
        o.second->store_add_ref();
        return o.second.get();
      }
    }
    return nullptr;
  }
  StoredObject* make(int kind, const std::string& name, const std::string& id,
                     std::int64_t key, const Bytes& body) override {
    ++made;
    auto& obj = objects[id];
    obj = std::make_unique<FakeObject>(id, kind, name, "", body);
    obj->key = key;
    return obj.get();  // the cache's reference goes to the caller
  }
  std::map<std::string, std::unique_ptr<FakeObject>> objects;
  int made = 0;
};

inline IRDB::Options ReadOnlyOptions() {
  IRDB::Options options;
  options.read_only = true;
  return options;
}

inline StoreHandle H(const std::string& id) { return StoreHandle(id); }

// The exception `f` throws; code 0 when it throws none.
inline IRStore::Exception Thrown(const std::function<void()>& f) {
  try {
    f();
  } catch (const IRStore::Exception& e) {
    return e;
  }
  return IRStore::Exception(0, "nothing thrown");
}
#define EXPECT_CODE(expected, call) \
  EXPECT_EQ(Thrown([&] { call; }).code(), IRStore::expected)

inline Bytes ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

inline void WriteAt(const std::string& path, long offset, const Bytes& bytes) {
  std::fstream out(path, std::ios::binary | std::ios::in | std::ios::out);
  out.seekp(offset);
  out.write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

// Runs SQL on a database file with SQLite directly (no IRDB open).
inline void RawSql(const std::string& path, const std::string& sql) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sqlite3_errmsg(db);
  sqlite3_close(db);
}

class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "irdb.XXXXXX");
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    path_ = dir_ + "/ir.db";
    Open();
    Add("root", "", kRepository);
  }
  void TearDown() override {
    db_.reset();
    fs::remove_all(dir_);
  }
  void Open(IRDB::Options options = IRDB::Options()) {
    db_.reset();
    db_ = std::make_unique<IRDB>(path_.c_str(), options);
  }
  // Inserts a record named after the last part of its id ("a/b" -> "b").
  void Add(const std::string& id, const std::string& parent = "root",
           int kind = kModule, Bytes body = {}) {
    FakeObject obj(id, kind, id.substr(id.rfind('/') + 1), parent,
                   std::move(body));
    db_->IRInsertObject(&obj);
  }
  // Everything observable about the store, records in creation order.
  std::string Snapshot() {
    std::string out;
    for (const auto& id : db_->IRFindObjects("*", {}, true, nullptr)) {
      StoreRecord r;
      EXPECT_TRUE(db_->IRReadRecord(id, r));
      out += id + " " + std::to_string(r.kind) + " " + r.name + " ^" +
             r.parent + " " + std::string(r.body.begin(), r.body.end());
      for (const auto& b : db_->IRBases(H(id))) out += " :" + b;
      for (const auto& u : db_->IRReferring(H(id), IRStore::kUseLink)) {
        out += " <" + u;
      }
      out += "\n";
    }
    return out;
  }

  std::string dir_, path_;
  std::unique_ptr<IRDB> db_;
};

}  // namespace store_test

#endif
