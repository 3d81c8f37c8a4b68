#include "ir/ext_listing.h"

#include <algorithm>

#include "ir/irobj.h"
#include "ir/reply_limit.h"
#include "platform/encap_iiop.h"

namespace {
const char kFile[] = "lib/ir/ext_listing";

// The version that begins a contained record body, or false when `head`
// holds only part of it.
bool version_from_head(const std::vector<std::uint8_t>& head,
                       CORBA::String_var& version) {
  if (head.empty()) return false;
  try {
    EncapIIOP in(head);
    version = in.get_string();
    return true;
  } catch (const CORBA::MARSHAL&) {
    return false;
  }
}
}  // namespace

void ir_fill_summary(IRStore* store, const StoreSummary& in,
                     IRExt::ExtSummary& out, const char* context) {
  out.kind = static_cast<CORBA::DefinitionKind>(in.kind);
  out.name = in.name.c_str();
  out.id = in.id.c_str();
  out.absolute_name = in.absolute_name.c_str();
  out.defined_in = in.parent == repository_base_rep_id ? "" : in.parent.c_str();
  out.contents = static_cast<CORBA::ULong>(
      std::min<std::uint64_t>(in.children, 0xffffffffu));
  CORBA::String_var version;
  if (!version_from_head(in.body_head, version)) {
    StoreRecord record;
    bool found = ir_store_call(kFile, __LINE__, context, [&] {
      return store->IRReadRecord(in.id, record);
    });
    // A record gone since the listing began, or a damaged one: its
    // version is unknown.
    if (!found || !version_from_head(record.body, version))
      version = CORBA::string_dup("");
  }
  out.version = version._retn();
}

IRExt::ExtPage* ir_summary_page(IRStore* store, const KeyList& keys,
                                CORBA::ULong offset, CORBA::ULong limit,
                                const char* context) {
  IRExt::ExtPage_var page = new IRExt::ExtPage;
  page->total = static_cast<CORBA::ULong>(
      std::min<std::size_t>(keys.size(), 0xffffffffu));
  std::size_t begin = std::min<std::size_t>(offset, keys.size());
  std::size_t end = limit == 0
                        ? keys.size()
                        : std::min<std::size_t>(keys.size(), begin + limit);
  KeyList wanted(keys.begin() + begin, keys.begin() + end);
  std::vector<StoreSummary> rows = ir_store_call(
      kFile, __LINE__, context, [&] { return store->IRSummaries(wanted); });
  page->items.length(static_cast<CORBA::ULong>(rows.size()));
  for (CORBA::ULong i = 0; i < page->items.length(); ++i)
    ir_fill_summary(store, rows[i], page->items[i], context);
  ir_check_reply_size(page.in(), context);
  return page._retn();
}
