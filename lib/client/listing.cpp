#include "client/listing.h"

#include <fnmatch.h>

#include <cstring>

#include "client/corba_text.h"
#include "client/definition_view.h"
#include "client/description_fields.h"

namespace {

std::string child_name(const std::string& container_name,
                       const std::string& name) {
  return (container_name == "::" ? "" : container_name) + "::" + name;
}

// Appends the rows of `page` to `out`; true while more pages follow.
bool take_page(const IRExt::ExtPage& page, CORBA::ULong offset,
               std::vector<DefinitionSummary>* out) {
  for (CORBA::ULong i = 0; i < page.items.length(); ++i)
    out->push_back(summary_of(page.items[i]));
  CORBA::ULong got = page.items.length();
  return got > 0 && offset + got < page.total;
}

bool kind_wanted(const std::string& kinds, CORBA::DefinitionKind kind) {
  if (kinds.empty()) return true;
  std::size_t pos = 0;
  while (pos <= kinds.size()) {
    std::size_t comma = kinds.find(',', pos);
    if (comma == std::string::npos) comma = kinds.size();
    CORBA::DefinitionKind k;
    if (kind_from_name(kinds.substr(pos, comma - pos), &k) && k == kind)
      return true;
    pos = comma + 1;
  }
  return false;
}

// True for the MARSHAL of a reply larger than the client's or the
// server's message size limit.
bool too_large(const CORBA::MARSHAL& e) {
  const char* words = e.NP_minorString();
  return words && std::strstr(words, "MessageSizeExceedLimit") != nullptr;
}

}  // namespace

template <class Fetch>
void RepositoryListing::read_pages(Fetch fetch,
                                   std::vector<DefinitionSummary>* out) {
  CORBA::ULong offset = 0;
  while (true) {
    IRExt::ExtPage_var page;
    try {
      page = fetch(offset, page_size_);
    } catch (const CORBA::MARSHAL& e) {
      // A server with a smaller message limit: smaller pages.
      if (!too_large(e) || page_size_ <= kSmallestPage) throw;
      page_size_ /= 10;
      continue;
    }
    if (!take_page(page.in(), offset, out)) break;
    offset += page->items.length();
  }
}

DefinitionSummary summary_of(const IRExt::ExtSummary& row) {
  DefinitionSummary s;
  s.kind = row.kind;
  s.name = row.name.in();
  s.scoped_name = row.absolute_name.in();
  s.id = row.id.in();
  s.version = row.version.in();
  s.defined_in = row.defined_in.in();
  s.contents = static_cast<long>(row.contents);
  return s;
}

DefinitionSummary summary_of(CORBA::Contained_ptr definition) {
  CORBA::Contained::Description_var d = definition->describe();
  DescriptionFields f = description_fields(d->kind, d->value);
  CORBA::String_var abs = definition->absolute_name();
  DefinitionSummary s;
  s.kind = d->kind;
  s.name = f.name;
  s.scoped_name = abs.in();
  s.id = f.id;
  s.version = f.version;
  s.defined_in = f.defined_in;
  return s;
}

RepositoryListing::RepositoryListing(CORBA::Repository_ptr repository)
    : repository_(repository),
      ext_(IRExt::Repository::_unchecked_narrow(repository)) {}

std::vector<DefinitionSummary> RepositoryListing::children(
    const std::string& container, const std::string& container_name) {
  if (bulk_) {
    std::vector<DefinitionSummary> out;
    try {
      read_pages(
          [&](CORBA::ULong offset, CORBA::ULong limit) {
            return ext_->ext_list(container.c_str(), offset, limit);
          },
          &out);
      return out;
    } catch (const CORBA::SystemException& e) {
      if (!is_not_offered(e)) throw;
      bulk_ = false;
    }
  }
  return children_one_by_one(container, container_name);
}

std::vector<DefinitionSummary> RepositoryListing::children_one_by_one(
    const std::string& container, const std::string& container_name) {
  CORBA::Container_var c;
  if (container.empty()) {
    c = CORBA::Container::_duplicate(repository_);
  } else {
    CORBA::Contained_var found = repository_->lookup_id(container.c_str());
    if (CORBA::is_nil(found)) throw CORBA::INTF_REPOS(0, CORBA::COMPLETED_NO);
    c = CORBA::Container::_unchecked_narrow(found);
  }
  CORBA::Container::DescriptionSeq_var all =
      c->describe_contents(CORBA::dk_all, true, -1);
  std::vector<DefinitionSummary> out;
  for (CORBA::ULong i = 0; i < all->length(); ++i) {
    DescriptionFields f = description_fields(all[i].kind, all[i].value);
    DefinitionSummary s;
    s.kind = all[i].kind;
    s.name = f.name;
    s.scoped_name = child_name(container_name, f.name);
    s.id = f.id;
    s.version = f.version;
    s.defined_in = container;
    out.push_back(s);
  }
  return out;
}

std::vector<DefinitionSummary> RepositoryListing::subtree(
    const std::string& container, const std::string& container_name) {
  std::vector<DefinitionSummary> out;
  if (bulk_) {
    SearchQuery q;
    q.scope = container;
    out = search(q);
    if (bulk_) return out;
    out.clear();
  }
  // One container at a time, depth first.
  std::vector<std::pair<std::string, std::string>> pending{
      {container, container_name}};
  while (!pending.empty()) {
    auto next = pending.back();
    pending.pop_back();
    std::vector<DefinitionSummary> rows =
        children_one_by_one(next.first, next.second);
    for (auto it = rows.rbegin(); it != rows.rend(); ++it)
      if (is_container_kind(it->kind))
        pending.emplace_back(it->id, it->scoped_name);
    out.insert(out.end(), rows.begin(), rows.end());
  }
  return out;
}

long RepositoryListing::count_below(CORBA::Contained_ptr container,
                                    const std::string& id) {
  if (bulk_) {
    try {
      IRExt::ExtPage_var page =
          ext_->ext_search("*", id.c_str(), false, false, "", 0, 1);
      return static_cast<long>(page->total);
    } catch (const CORBA::SystemException& e) {
      if (!is_not_offered(e)) throw;
      bulk_ = false;
    }
  }
  IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(container);
  CORBA::ContainedSeq_var all = ext->ext_get_objects_2b_deleted();
  return all->length() > 0 ? static_cast<long>(all->length()) - 1 : 0;
}

bool RepositoryListing::bulk_search(const SearchQuery& q,
                                    std::vector<DefinitionSummary>* out) {
  if (!bulk_) return false;
  try {
    read_pages(
        [&](CORBA::ULong offset, CORBA::ULong limit) {
          return ext_->ext_search(q.pattern.c_str(), q.scope.c_str(),
                                  q.match_ids, q.ignore_case, q.kinds.c_str(),
                                  offset, limit);
        },
        out);
    return true;
  } catch (const CORBA::SystemException& e) {
    if (!is_not_offered(e)) throw;
    bulk_ = false;
    out->clear();
    return false;
  }
}

std::vector<DefinitionSummary> RepositoryListing::search(const SearchQuery& q) {
  std::vector<DefinitionSummary> out;
  if (bulk_search(q, &out)) return out;
  return search_one_by_one(q);
}

std::vector<DefinitionSummary> RepositoryListing::search_one_by_one(
    const SearchQuery& q) {
  // ext_find_objects matches case-sensitively: a case-insensitive search
  // takes every definition of the kinds and matches here.
  CORBA::ContainedSeq_var found =
      ext_->ext_find_objects(q.ignore_case ? "*" : q.pattern.c_str(),
                             q.scope.c_str(), q.match_ids, q.kinds.c_str());
  std::vector<DefinitionSummary> out;
  for (CORBA::ULong i = 0; i < found->length(); ++i) {
    DefinitionSummary s = summary_of(found[i]);
    if (!kind_wanted(q.kinds, s.kind)) continue;
    if (q.ignore_case &&
        fnmatch(q.pattern.c_str(), (q.match_ids ? s.id : s.name).c_str(),
                FNM_CASEFOLD) != 0)
      continue;
    out.push_back(s);
  }
  return out;
}
