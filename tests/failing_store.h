// FailingStore: an IRStore for fault-injection tests.  It forwards every
// call to an inner store and, once armed with fail_at(n), makes the n-th
// changing call fail with kStoreFailure ("injected") without forwarding it.
//
// Changing calls are the ones that write records or links: IRStoreObject,
// IRInsertObject, IRAddContained, IRAddUse, IRRemoveUse, IRAddInherit,
// IRRemoveInherit, IRReKey, IRRename, IRRemove.  Updates and transactions
// are not counted, so a test can fail each change of an operation in turn
// and check that the operation's update is cancelled cleanly.
#ifndef IR_TESTS_FAILING_STORE_H
#define IR_TESTS_FAILING_STORE_H

#include <memory>
#include <string>
#include <vector>

#include "store/irstore.h"

class FailingStore : public IRStore {
 public:
  // `inner` must outlive this store.
  explicit FailingStore(IRStore& inner) : inner_(inner) {}

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

  void IRBeginUpdate() override { inner_.IRBeginUpdate(); }
  void IREndUpdate() override { inner_.IREndUpdate(); }
  void IRCancelUpdate() override { inner_.IRCancelUpdate(); }
  void IRBeginUserTransaction() override { inner_.IRBeginUserTransaction(); }
  void IREndUserTransaction() override { inner_.IREndUserTransaction(); }
  void IRCancelUserTransaction() override { inner_.IRCancelUserTransaction(); }
  bool IRInUserTransaction() const override {
    return inner_.IRInUserTransaction();
  }
  bool IRReadOnly() const override { return inner_.IRReadOnly(); }

  void set_factory(ObjectFactory* factory) override {
    inner_.set_factory(factory);
  }
  void IRStoreObject(StoredObject* obj) override {
    Change();
    inner_.IRStoreObject(obj);
  }
  void IRInsertObject(StoredObject* obj) override {
    Change();
    inner_.IRInsertObject(obj);
  }
  StoredObject* IRFindObject(const StoreHandle& h) override {
    return inner_.IRFindObject(h);
  }
  void IRObjectOp(const StoreHandle& h) override { inner_.IRObjectOp(h); }
  void IRAddContained(const StoreHandle& obj,
                      const StoreHandle& container) override {
    Change();
    inner_.IRAddContained(obj, container);
  }

  bool IRExists(const StoreHandle& h) override { return inner_.IRExists(h); }
  bool IRReadRecord(const std::string& id, StoreRecord& out) override {
    return inner_.IRReadRecord(id, out);
  }
  int IRKindOf(const StoreHandle& h) override { return inner_.IRKindOf(h); }
  std::string IRNameOf(const StoreHandle& h) override {
    return inner_.IRNameOf(h);
  }
  std::unique_ptr<StoreHandle> IRParentOf(const StoreHandle& h) override {
    return inner_.IRParentOf(h);
  }
  std::unique_ptr<StoreHandle> IRChildByName(const StoreHandle& container,
                                             const std::string& name) override {
    return inner_.IRChildByName(container, name);
  }
  bool IRNameInContents(const StoreHandle& container,
                        const std::string& name) override {
    return inner_.IRNameInContents(container, name);
  }

  IdList IRChildren(const StoreHandle& container, int limit_kind) override {
    return inner_.IRChildren(container, limit_kind);
  }
  IdList IRContents(const StoreHandle& container, int limit_kind,
                    bool exclude_inherited, long max) override {
    return inner_.IRContents(container, limit_kind, exclude_inherited, max);
  }
  IdList IRLookupName(const StoreHandle& container, const std::string& name,
                      long levels, int limit_kind,
                      bool exclude_inherited) override {
    return inner_.IRLookupName(container, name, levels, limit_kind,
                               exclude_inherited);
  }
  IdList IRInheritedName(const StoreHandle& container, const std::string& name,
                         int kind) override {
    return inner_.IRInheritedName(container, name, kind);
  }
  IdList IRSubtree(const StoreHandle& h) override {
    return inner_.IRSubtree(h);
  }
  IdList IRReferring(const StoreHandle& h, int link_kind) override {
    return inner_.IRReferring(h, link_kind);
  }
  IdList IRDerived(const StoreHandle& h) override {
    return inner_.IRDerived(h);
  }
  IdList IRBases(const StoreHandle& h) override { return inner_.IRBases(h); }
  IdList IRFindObjects(const std::string& pattern,
                       const std::vector<int>& kinds, bool match_ids,
                       const StoreHandle* scope) override {
    return inner_.IRFindObjects(pattern, kinds, match_ids, scope);
  }

  void IRAddUse(const StoreHandle& user, const StoreHandle& used) override {
    Change();
    inner_.IRAddUse(user, used);
  }
  void IRRemoveUse(const StoreHandle& user, const StoreHandle& used) override {
    Change();
    inner_.IRRemoveUse(user, used);
  }
  void IRAddInherit(const StoreHandle& derived,
                    const StoreHandle& base) override {
    Change();
    inner_.IRAddInherit(derived, base);
  }
  void IRRemoveInherit(const StoreHandle& derived,
                       const StoreHandle& base) override {
    Change();
    inner_.IRRemoveInherit(derived, base);
  }
  bool IRIsA(const StoreHandle& h, const std::string& target_id) override {
    return inner_.IRIsA(h, target_id);
  }

  void IRReKey(const StoreHandle& from, const StoreHandle& to) override {
    Change();
    inner_.IRReKey(from, to);
  }
  void IRRename(const StoreHandle& h, const std::string& name) override {
    Change();
    inner_.IRRename(h, name);
  }
  void IRRemove(const StoreHandle& h) override {
    Change();
    inner_.IRRemove(h);
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

  IRStore& inner_;
  int fail_at_ = 0;  // 0: disarmed
  int seen_ = 0;     // changing calls since arming
  int changes_ = 0;
};

#endif
