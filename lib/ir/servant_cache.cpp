#include "ir/servant_cache.h"

#include <algorithm>

#include "ir/containd.h"

ServantCache::ServantCache(std::size_t capacity) : capacity_(capacity) {}

ServantCache::~ServantCache() {
  Released released;
  flush(released);
  for (CORBA_Contained_Impl* s : released) s->_remove_ref();
}

void ServantCache::put(const std::string& id, std::int64_t key,
                       CORBA_Contained_Impl* servant, Released& released) {
  if (!servant) return;
  auto same_id = by_id_.find(id);
  if (same_id != by_id_.end()) {
    if (same_id->second->servant == servant) {
      touch(same_id->second);
    } else {
      remove(id, released);
    }
  }
  auto found = by_servant_.find(servant);
  Lru::iterator it;
  if (found != by_servant_.end()) {
    it = found->second;
    touch(it);
  } else {
    servant->_add_ref();
    entries_.push_front(Entry{servant, 0, {}});
    it = entries_.begin();
    by_servant_.emplace(servant, it);
  }
  if (std::find(it->ids.begin(), it->ids.end(), id) == it->ids.end()) {
    it->ids.push_back(id);
    by_id_[id] = it;
  }
  if (key != 0 && it->key != key) {
    if (it->key != 0) by_key_.erase(it->key);
    auto other = by_key_.find(key);
    // A stale entry of the same record goes (a servant rebuilt after a
    // cancelled change).
    if (other != by_key_.end() && other->second != it)
      drop(other->second, released);
    it->key = key;
    by_key_[key] = it;
  }
  evict(released);
}

CORBA_Contained_Impl* ServantCache::find(const std::string& id) {
  auto found = by_id_.find(id);
  if (found == by_id_.end()) return nullptr;
  touch(found->second);
  found->second->servant->_add_ref();
  return found->second->servant;
}

CORBA_Contained_Impl* ServantCache::find_key(std::int64_t key) {
  auto found = by_key_.find(key);
  if (found == by_key_.end()) return nullptr;
  touch(found->second);
  found->second->servant->_add_ref();
  return found->second->servant;
}

void ServantCache::remove(const std::string& id, Released& released) {
  auto found = by_id_.find(id);
  if (found == by_id_.end()) return;
  Lru::iterator it = found->second;
  by_id_.erase(found);
  it->ids.erase(std::remove(it->ids.begin(), it->ids.end(), id), it->ids.end());
  if (it->ids.empty()) drop(it, released);
}

void ServantCache::flush(Released& released) {
  for (Entry& e : entries_) released.push_back(e.servant);
  entries_.clear();
  by_id_.clear();
  by_key_.clear();
  by_servant_.clear();
}

std::vector<std::string> ServantCache::ids() const {
  std::vector<std::string> out;
  out.reserve(by_id_.size());
  for (const auto& e : by_id_) out.push_back(e.first);
  return out;
}

void ServantCache::drop(Lru::iterator it, Released& released) {
  for (const std::string& id : it->ids) by_id_.erase(id);
  if (it->key != 0) by_key_.erase(it->key);
  by_servant_.erase(it->servant);
  released.push_back(it->servant);
  entries_.erase(it);
}

void ServantCache::evict(Released& released) {
  if (entries_.size() <= capacity_) return;
  // Servants in use stay; a bounded number of them is stepped over per
  // call, so that a cache full of servants in use costs little.
  std::size_t budget = 2 * (entries_.size() - capacity_) + 16;
  auto it = entries_.end();
  while (entries_.size() > capacity_ && it != entries_.begin() &&
         budget-- > 0) {
    --it;
    CORBA_Contained_Impl* s = it->servant;
    if (s->_refcount_value() > 1 || s->has_unstored_state()) continue;
    auto doomed = it++;
    drop(doomed, released);
  }
}
