#include "platform/kal_lookup_table.h"

#include <cstring>
#include <functional>
#include <string_view>
#include <unordered_map>

struct KALLookupTable {
  struct Hash {
    kalKeyHash fn;
    std::size_t operator()(const char* k) const {
      return fn ? fn(k) : std::hash<std::string_view>()(std::string_view(k));
    }
  };
  struct Equal {
    kalKeyCompare fn;
    bool operator()(const char* a, const char* b) const {
      return (fn ? fn(a, b) : std::strcmp(a, b)) == 0;
    }
  };
  KALLookupTable(kalKeyCompare c, kalKeyHash h, unsigned size)
      : map(size, Hash{h}, Equal{c}) {}
  std::unordered_map<const char*, std::pair<char*, void*>, Hash, Equal> map;
  kalCacheCallback callback = nullptr;

  void drop(char* key, void* value) {
    if (callback) callback(key, value);
  }
};

KALLookupTable* kalCreateLookupTable(kalKeyCompare compare, kalKeyHash hash,
                                     int, void*, void*, int,
                                     unsigned initial_size, unsigned) {
  return new KALLookupTable(compare, hash, initial_size);
}

void kalLookupTableCacheCallback(KALLookupTable* table, kalCacheCallback cb) {
  table->callback = cb;
}

int kalInsertIntoLookupTable(KALLookupTable* table, char* key, void* value) {
  auto it = table->map.find(key);
  int replaced = 0;
  if (it != table->map.end()) {
    std::pair<char*, void*> old = it->second;
    table->map.erase(it);
    table->drop(old.first, old.second);
    replaced = 1;
  }
  table->map.emplace(key, std::make_pair(key, value));
  return replaced;
}

void* kalFindElementInLookupTable(KALLookupTable* table, const char* key) {
  auto it = table->map.find(key);
  return it == table->map.end() ? nullptr : it->second.second;
}

void* kalRemoveElementFromLookupTable(KALLookupTable* table, const char* key,
                                      char** stored_key) {
  auto it = table->map.find(key);
  if (it == table->map.end()) {
    if (stored_key) *stored_key = nullptr;
    return nullptr;
  }
  std::pair<char*, void*> entry = it->second;
  table->map.erase(it);
  if (stored_key) *stored_key = entry.first;
  return entry.second;
}

std::vector<std::string> kalLookupTableDumpKeys(KALLookupTable* table) {
  std::vector<std::string> keys;
  keys.reserve(table->map.size());
  for (const auto& e : table->map) keys.emplace_back(e.first);
  return keys;
}

std::size_t kalLookupTableSize(KALLookupTable* table) {
  return table->map.size();
}

void kalFlushLookupTable(KALLookupTable* table) {
  auto entries = std::move(table->map);
  table->map.clear();
  for (auto& e : entries) table->drop(e.second.first, e.second.second);
}

void kalDeleteLookupTable(KALLookupTable* table) {
  if (!table) return;
  kalFlushLookupTable(table);
  delete table;
}
