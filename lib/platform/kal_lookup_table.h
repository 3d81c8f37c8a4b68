// Hash lookup tables from NUL-terminated string keys to pointers.
// The table stores the key pointers it is given (the caller hands over
// ownership of the key) and calls the cache callback for each entry it
// drops by itself: a replaced entry, and every entry still present when
// the table is flushed or deleted.  Not thread-safe: callers lock.
#ifndef IR_PLATFORM_KAL_LOOKUP_TABLE_H
#define IR_PLATFORM_KAL_LOOKUP_TABLE_H

#include <cstddef>
#include <string>
#include <vector>

struct KALLookupTable;

using kalKeyCompare = int (*)(const char* a, const char* b);
using kalKeyHash = std::size_t (*)(const char* key);
using kalCacheCallback = void (*)(char* key, void* value);

// `compare` decides equality (0 = equal); `hash` may be null for the
// default string hash and must agree with `compare`.  `initial_size`
// reserves buckets; the other arguments are accepted for compatibility
// and unused.
KALLookupTable* kalCreateLookupTable(kalKeyCompare compare, kalKeyHash hash,
                                     int flags, void* arg1, void* arg2,
                                     int arg3, unsigned initial_size,
                                     unsigned growth);
void kalLookupTableCacheCallback(KALLookupTable* table, kalCacheCallback cb);
// Inserts `key` -> `value`; an entry with an equal key is dropped first
// (callback).  Returns 0, or 1 when an entry was replaced.
int kalInsertIntoLookupTable(KALLookupTable* table, char* key, void* value);
void* kalFindElementInLookupTable(KALLookupTable* table, const char* key);
// Takes the entry out without the callback; returns its value and hands
// the stored key back through `stored_key` (the caller frees it).  Null
// when there is no such entry.
void* kalRemoveElementFromLookupTable(KALLookupTable* table, const char* key,
                                      char** stored_key);
std::vector<std::string> kalLookupTableDumpKeys(KALLookupTable* table);
std::size_t kalLookupTableSize(KALLookupTable* table);
// Drops every entry (callback for each); the table stays usable.
void kalFlushLookupTable(KALLookupTable* table);
// Drops every entry (callback for each) and frees the table.
void kalDeleteLookupTable(KALLookupTable* table);

#endif
