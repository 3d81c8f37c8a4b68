// The CORBA::Repository operations of the root that are not container
// operations: lookup by id, primitives, the anonymous-type factory,
// canonical TypeCodes and the search extension.
#include <cctype>
#include <string>
#include <vector>

#include "ir/anontype.h"
#include "ir/arraydf.h"
#include "ir/ext_listing.h"
#include "ir/primitdf.h"
#include "ir/reply_limit.h"
#include "ir/reposito.h"
#include "ir/sequendf.h"
#include "ir/stringdf.h"

namespace {

const char kFile[] = "lib/ir/reposito";

[[noreturn]] void bad_argument(int line, const char* text) {
  kaldBadArgument(kFile, line, text);
}

// The kind named `word` (a DefinitionKind name without "dk_", any case),
// or -1.
int kind_of_name(const std::string& word) {
  for (int k = CORBA::dk_none; k <= CORBA::dk_AbstractInterface; ++k) {
    const char* name = def_kind_name(static_cast<CORBA::DefinitionKind>(k)) + 3;
    std::size_t i = 0;
    while (name[i] && i < word.size() &&
           std::tolower(static_cast<unsigned char>(name[i])) ==
               std::tolower(static_cast<unsigned char>(word[i])))
      ++i;
    if (!name[i] && i == word.size()) return k;
  }
  return -1;
}

// "" gives an empty list (every kind); otherwise the kinds of the
// comma-separated names.  Blanks around a name are ignored; "all"
// stands for every kind.
std::vector<int> parse_kinds(const char* kinds, const char* context) {
  std::vector<int> out;
  std::string text(kinds);
  if (text.find_first_not_of(" \t") == std::string::npos) return out;
  bool all = false;
  std::size_t start = 0;
  for (;;) {
    std::size_t comma = text.find(',', start);
    std::string word = text.substr(
        start, comma == std::string::npos ? std::string::npos : comma - start);
    std::size_t b = word.find_first_not_of(" \t");
    std::size_t e = word.find_last_not_of(" \t");
    word = b == std::string::npos ? std::string() : word.substr(b, e - b + 1);
    int k = kind_of_name(word);
    if (k < 0) bad_argument(__LINE__, context);
    if (k == CORBA::dk_all) all = true;
    out.push_back(k);
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  if (all) out.clear();
  return out;
}

}  // namespace

CORBA::Contained_ptr CORBA_Repository_Impl::lookup_id(const char* search_id) {
  if (!search_id) bad_argument(639, "CORBA::Repository::lookup_id (...)");
  // Any text may come here (clients try scoped names too): what is not
  // the id of a stored definition is simply not found.  A cached servant
  // answers without a store call.
  Servant_ref<CORBA_Contained_Impl> c(irobj_get_from_cache(search_id));
  if (!c.in())
    c = ir_fetch_object(get_irs(), search_id, kFile, 639,
                        "CORBA::Repository::lookup_id (...)");
  if (!c.in() || c->def_kind() == CORBA::dk_Repository)
    return CORBA::Contained::_nil();
  return ir_ref_as<CORBA::Contained>(c.in());
}

CORBA::PrimitiveDef_ptr CORBA_Repository_Impl::get_primitive(
    CORBA::PrimitiveKind kind) {
  Servant_ref<CORBA_PrimitiveDef_Impl> p(get_primitive_impl(kind));
  return ir_ref_as<CORBA::PrimitiveDef>(p.in());
}

CORBA::StringDef_ptr CORBA_Repository_Impl::create_string(CORBA::ULong bound) {
  // Unbounded strings are the primitive pk_string.
  if (bound == 0) bad_argument(799, "CORBA::Repository_Impl::create_string");
  Servant_ref<CORBA_StringDef_Impl> s(new CORBA_StringDef_Impl(bound));
  return ir_ref_as<CORBA::StringDef>(s.in());
}

CORBA::WstringDef_ptr CORBA_Repository_Impl::create_wstring(
    CORBA::ULong bound) {
  if (bound == 0) bad_argument(1233, "CORBA::Repository_Impl::create_wstring");
  Servant_ref<CORBA_WstringDef_Impl> s(new CORBA_WstringDef_Impl(bound));
  return ir_ref_as<CORBA::WstringDef>(s.in());
}

namespace {

// The element checks of create_sequence and create_array: `element` must
// be a type of this repository, not nested too deep, and the named type
// inside it must still have its own record.  Raises base + 0x48 with
// `context` otherwise.
void check_element(IRStore* store, CORBA::IDLType_ptr element,
                   const char* context, int not_type_line, int kind_line) {
  int depth = ir_anonymous_depth(element);
  if (depth >= kMaxTypeNesting) bad_argument(not_type_line, context);
  CORBA::Boolean found = 0;
  CORBA::IDLType_var named = find_named_type(element, found);
  if (found != 1) bad_argument(not_type_line, context);
  if (CORBA::is_nil(named.in())) return;

  Servant_ref<CORBA_IRObject_Impl> s(CORBA_IDLType_Impl::get_impl(named));
  CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(s.in());
  if (!c) bad_argument(kind_line, context);
  int stored_kind = -1;
  try {
    stored_kind = store->IRKindOf(StoreHandle(c->own_id()));
  } catch (const IRStore::Exception& e) {
    // A definition destroyed while a client still holds it.
    if (e.code() == IRStore::kNoSuchRecord) bad_argument(kind_line, context);
    irobj_parse_throw(e.code(), kFile, kind_line, context);
  }
  if (stored_kind != c->def_kind()) bad_argument(kind_line, context);
}

}  // namespace

CORBA::SequenceDef_ptr CORBA_Repository_Impl::create_sequence(
    CORBA::ULong bound, CORBA::IDLType_ptr element_type) {
  check_element(get_irs(), element_type,
                "CORBA::Repository_Impl::create_sequence", 933, 888);
  Servant_ref<CORBA_SequenceDef_Impl> s(
      new CORBA_SequenceDef_Impl(bound, CORBA::TypeCode::_nil(), element_type));
  return ir_ref_as<CORBA::SequenceDef>(s.in());
}

CORBA::ArrayDef_ptr CORBA_Repository_Impl::create_array(
    CORBA::ULong length, CORBA::IDLType_ptr element_type) {
  check_element(get_irs(), element_type, "CORBA::Repository_Impl::create_array",
                1055, 1010);
  Servant_ref<CORBA_ArrayDef_Impl> s(
      new CORBA_ArrayDef_Impl(length, CORBA::TypeCode::_nil(), element_type));
  return ir_ref_as<CORBA::ArrayDef>(s.in());
}

CORBA::FixedDef_ptr CORBA_Repository_Impl::create_fixed(CORBA::UShort,
                                                        CORBA::Short) {
  // This repository has no fixed-point type objects.
  kaldError(IR_MINOR_NOT_SUPPORTED, CORBA::COMPLETED_NO, kFile, __LINE__,
            nullptr, 0, 0);
}

CORBA::TypeCode_ptr CORBA_Repository_Impl::get_canonical_typecode(
    CORBA::TypeCode_ptr tc) {
  // Handed back as given: no names or ids are filled in here.
  if (CORBA::is_nil(tc)) kaldNoMemory(kFile, 1267);
  return CORBA::TypeCode::_duplicate(tc);
}

CORBA::ContainedSeq* CORBA_Repository_Impl::ext_find_objects(
    const char* pattern, const char* scope, CORBA::Boolean match_ids,
    const char* kinds) {
  const char* const context = "CORBA::Repository::ext_find_objects";
  if (!pattern) bad_argument(__LINE__, context);
  std::vector<int> kind_list = parse_kinds(kinds ? kinds : "", context);
  std::unique_ptr<StoreHandle> scope_handle;
  if (scope && *scope) scope_handle.reset(new StoreHandle(scope));

  IRStore* store = get_irs();
  IdList ids = ir_store_call(kFile, 1180, context, [&] {
    return store->IRFindObjects(pattern, kind_list, match_ids,
                                scope_handle.get());
  });
  CORBA::ContainedSeq_var out =
      ir_contained_seq(store, ids, kFile, 1180, context);
  ir_check_reply_size(out.in(), context);
  return out._retn();
}

IRExt::ExtPage* CORBA_Repository_Impl::ext_list(const char* container,
                                                CORBA::ULong offset,
                                                CORBA::ULong limit) {
  const char* const context = "IRExt::Repository::ext_list";
  if (!container) bad_argument(__LINE__, context);
  StoreHandle h(*container ? container : repository_base_rep_id);
  IRStore* store = get_irs();
  KeyList keys = ir_store_call(kFile, __LINE__, context,
                               [&] { return store->IRChildKeys(h); });
  return ir_summary_page(store, keys, offset, limit, context);
}

IRExt::ExtPage* CORBA_Repository_Impl::ext_search(
    const char* pattern, const char* scope, CORBA::Boolean match_ids,
    CORBA::Boolean ignore_case, const char* kinds, CORBA::ULong offset,
    CORBA::ULong limit) {
  const char* const context = "IRExt::Repository::ext_search";
  if (!pattern || !scope || !kinds) bad_argument(__LINE__, context);
  StoreSearch search;
  search.pattern = pattern;
  search.kinds = parse_kinds(kinds, context);
  search.match_ids = match_ids;
  search.ignore_case = ignore_case;
  search.scope = scope;
  IRStore* store = get_irs();
  KeyList keys = ir_store_call(kFile, __LINE__, context,
                               [&] { return store->IRSearch(search); });
  return ir_summary_page(store, keys, offset, limit, context);
}

IRExt::ExtKindCountSeq* CORBA_Repository_Impl::ext_count_kinds() {
  IRStore* store = get_irs();
  auto counts =
      ir_store_call(kFile, __LINE__, "IRExt::Repository::ext_count_kinds",
                    [&] { return store->IRCountKinds(); });
  IRExt::ExtKindCountSeq_var out = new IRExt::ExtKindCountSeq;
  out->length(static_cast<CORBA::ULong>(counts.size()));
  for (CORBA::ULong i = 0; i < out->length(); ++i) {
    out[i].kind = static_cast<CORBA::DefinitionKind>(counts[i].first);
    out[i].count = static_cast<CORBA::ULong>(counts[i].second);
  }
  return out._retn();
}
