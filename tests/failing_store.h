// FailingStore: an IRDB for fault-injection tests.  Once armed with
// fail_at(n), it makes the n-th changing call fail with kStoreFailure
// ("injected") without running it.
//
// Changing calls are the ones that write records or links: IRStoreObject,
// IRInsertObject, IRAddContained, IRAddUse, IRRemoveUse, IRAddInherit,
// IRRemoveInherit, IRReKey, IRRename, IRRemove.  Updates and transactions
// are not counted, so a test can fail each change of an operation in turn
// and check that the operation's update is cancelled cleanly.  (IRDB calls
// none of these itself, so each client call is counted once.)
#ifndef IR_TESTS_FAILING_STORE_H
#define IR_TESTS_FAILING_STORE_H

#include <string>

#include "store/irdb.h"

class FailingStore : public IRDB {
 public:
  explicit FailingStore(const char* path) : IRDB(path) {}

  // Arms the store: the n-th changing call from now (n >= 1) throws.  The
  // store disarms itself after throwing once.
  void fail_at(int n) {
    fail_at_ = n;
    seen_ = 0;
  }
  void disarm() { fail_at_ = 0; }
  bool armed() const { return fail_at_ > 0; }
  // Changing calls seen since construction (failed ones included).
  int changes() const { return changes_; }

  void IRStoreObject(StoredObject* obj) override {
    Change();
    IRDB::IRStoreObject(obj);
  }
  void IRInsertObject(StoredObject* obj) override {
    Change();
    IRDB::IRInsertObject(obj);
  }
  void IRAddContained(const StoreHandle& obj,
                      const StoreHandle& container) override {
    Change();
    IRDB::IRAddContained(obj, container);
  }
  void IRAddUse(const StoreHandle& user, const StoreHandle& used) override {
    Change();
    IRDB::IRAddUse(user, used);
  }
  void IRRemoveUse(const StoreHandle& user, const StoreHandle& used) override {
    Change();
    IRDB::IRRemoveUse(user, used);
  }
  void IRAddInherit(const StoreHandle& derived,
                    const StoreHandle& base) override {
    Change();
    IRDB::IRAddInherit(derived, base);
  }
  void IRRemoveInherit(const StoreHandle& derived,
                       const StoreHandle& base) override {
    Change();
    IRDB::IRRemoveInherit(derived, base);
  }
  void IRReKey(const StoreHandle& from, const StoreHandle& to) override {
    Change();
    IRDB::IRReKey(from, to);
  }
  void IRRename(const StoreHandle& h, const std::string& name) override {
    Change();
    IRDB::IRRename(h, name);
  }
  void IRRemove(const StoreHandle& h) override {
    Change();
    IRDB::IRRemove(h);
  }

 private:
  // Counts a changing call; throws instead of letting it through when it
  // is the one armed.
  void Change() {
    ++changes_;
    if (fail_at_ > 0 && ++seen_ == fail_at_) {
      fail_at_ = 0;
      throw Exception(kStoreFailure, "injected");
    }
  }

  int fail_at_ = 0;  // 0: disarmed
  int seen_ = 0;     // changing calls since arming
  int changes_ = 0;
};

#endif
