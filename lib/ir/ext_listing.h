// Listings without object references: store summaries turned into the
// rows of IRExt's bulk operations.
#ifndef IR_IR_EXT_LISTING_H
#define IR_IR_EXT_LISTING_H

#include "irext.hh"
#include "store/irstore.h"

// Fills `out` from a store summary.  The version comes from the first
// bytes of the record body; a longer one is read from the whole record.
// Store failures are raised through irobj_parse_throw with `context`.
void ir_fill_summary(IRStore* store, const StoreSummary& in,
                     IRExt::ExtSummary& out, const char* context);

// The page of `keys` from `offset` (at most `limit` rows, 0: no limit),
// with `total` the length of the whole list.  Store failures are raised
// through irobj_parse_throw with `context`.  Caller owns the result.
IRExt::ExtPage* ir_summary_page(IRStore* store, const KeyList& keys,
                                CORBA::ULong offset, CORBA::ULong limit,
                                const char* context);

#endif
