// Listings of many definitions at once: the contents of a container and
// searches, as rows that carry names and ids but no object references.
//
// They come from the bulk extension operations (IRExt::Repository::
// ext_list and ext_search, a few paged round trips whatever the size).
// Against an irserver that lacks them the same rows are read through the
// standard operations and ext_find_objects, a round trip or two per row.
#ifndef IR_CLIENT_LISTING_H
#define IR_CLIENT_LISTING_H

#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

#include "irext.hh"

struct DefinitionSummary {
  CORBA::DefinitionKind kind = CORBA::dk_none;
  std::string name;
  std::string scoped_name;
  std::string id;
  std::string version;
  std::string defined_in;  // the container's repository id, "" at the top
  long contents = -1;      // the number of direct children; -1 not known
};

struct SearchQuery {
  std::string pattern = "*";  // glob: '*', '?', '[...]'
  std::string scope;          // a container's repository id; "" everywhere
  bool match_ids = false;     // match repository ids instead of names
  bool ignore_case = false;
  std::string kinds;  // "Interface,Struct"; "" every kind
};

class RepositoryListing {
 public:
  // `repository` must outlive the listing.
  explicit RepositoryListing(CORBA::Repository_ptr repository);

  // The direct children of the container with repository id `container`
  // ("" the repository itself), oldest first.  `container_name` is its
  // scoped name ("::" for the repository).  Throws the CORBA exception of
  // a failed call (INTF_REPOS when there is no such container).
  std::vector<DefinitionSummary> children(const std::string& container,
                                          const std::string& container_name);

  // Everything below the container `container` ("" the repository; the
  // container itself not included), each container's children in the
  // order they were created.
  std::vector<DefinitionSummary> subtree(const std::string& container,
                                         const std::string& container_name);

  // The number of definitions below the container `container` (itself
  // not counted).
  long count_below(CORBA::Contained_ptr container, const std::string& id);

  // The definitions that match `query`, oldest first.
  std::vector<DefinitionSummary> search(const SearchQuery& query);

  // search() through the bulk operation only: false (and `out` empty)
  // when the server lacks it.
  bool bulk_search(const SearchQuery& query,
                   std::vector<DefinitionSummary>* out);

  // Rows per round trip of the bulk operations at first (fewer, larger
  // pages cost the server less); a server whose message size limit
  // refuses a page gets pages a tenth that size, down to the smallest.
  static constexpr CORBA::ULong kPageSize = 100000;
  static constexpr CORBA::ULong kSmallestPage = 1000;

 private:
  // Reads every page that `fetch(offset, limit)` gives into `out`.
  template <class Fetch>
  void read_pages(Fetch fetch, std::vector<DefinitionSummary>* out);
  std::vector<DefinitionSummary> children_one_by_one(
      const std::string& container, const std::string& container_name);
  std::vector<DefinitionSummary> search_one_by_one(const SearchQuery& query);

  CORBA::Repository_ptr repository_;
  IRExt::Repository_var ext_;
  bool bulk_ = true;  // cleared when the server lacks ext_list/ext_search
  CORBA::ULong page_size_ = kPageSize;
};

// Reads one row of the bulk operations.
DefinitionSummary summary_of(const IRExt::ExtSummary& row);

// The summary of a definition through its reference (two round trips).
DefinitionSummary summary_of(CORBA::Contained_ptr definition);

#endif
