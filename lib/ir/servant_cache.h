// The servant cache: the servants built from records, found by repository
// id and by key, with a bound on their number.
#ifndef IR_IR_SERVANT_CACHE_H
#define IR_IR_SERVANT_CACHE_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <unordered_map>
#include <vector>

class CORBA_Contained_Impl;

// Holds one reference on each servant it contains.  When more servants
// than its capacity are cached, the least recently used ones go, but only
// servants that nothing else holds (no request in progress, no caller
// between two calls: the cache's is their only reference) and that have
// no state the store does not hold yet.  So a servant in use is never
// freed under its user, and two servants of one record never live at the
// same time.  A servant may be entered under two ids at once (while its
// id changes).
//
// Not thread-safe: the caller holds the repository's critical section.
// Servants released by put(), remove() and flush() are handed back to the
// caller to release after leaving it, since releasing may run a
// destructor.
class ServantCache {
 public:
  explicit ServantCache(std::size_t capacity);
  // Releases every servant still cached.
  ~ServantCache();
  ServantCache(const ServantCache&) = delete;
  ServantCache& operator=(const ServantCache&) = delete;

  using Released = std::vector<CORBA_Contained_Impl*>;

  // Enters `servant` under `id`, and under `key` when it is not 0, taking
  // one reference (none when the servant is cached already, under another
  // id).  A servant cached under `id` before is replaced.  Servants evicted
  // to make room are appended to `released`.
  void put(const std::string& id, std::int64_t key,
           CORBA_Contained_Impl* servant, Released& released);
  // The servant under `id` (or `key`), with one more reference for the
  // caller, or null.  Marks it as the most recently used.
  CORBA_Contained_Impl* find(const std::string& id);
  CORBA_Contained_Impl* find_key(std::int64_t key);
  // Removes `id`; the servant leaves the cache with its last id.
  void remove(const std::string& id, Released& released);
  // Removes everything.
  void flush(Released& released);

  std::size_t size() const { return entries_.size(); }
  std::size_t capacity() const { return capacity_; }
  void set_capacity(std::size_t capacity) { capacity_ = capacity; }
  // Every id cached, in no particular order.
  std::vector<std::string> ids() const;

 private:
  struct Entry {
    CORBA_Contained_Impl* servant;
    std::int64_t key;
    std::vector<std::string> ids;
  };
  using Lru = std::list<Entry>;  // most recently used first

  void touch(Lru::iterator it) {
    entries_.splice(entries_.begin(), entries_, it);
  }
  void drop(Lru::iterator it, Released& released);
  void evict(Released& released);

  std::size_t capacity_;
  Lru entries_;
  std::unordered_map<std::string, Lru::iterator> by_id_;
  std::unordered_map<std::int64_t, Lru::iterator> by_key_;
  std::unordered_map<const CORBA_Contained_Impl*, Lru::iterator> by_servant_;
};

#endif
