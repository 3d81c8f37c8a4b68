// What the web view shows, read from the repository through its CORBA
// interfaces (colocated calls on irserver's own ORB: the same locking and
// the same answers as any client) and put into JSON.  The pages render
// this JSON, and the JSON API returns it as it is, so both faces always
// carry the same data.
//
// Thread-safe: every worker thread may call every member at once; the
// only shared state is the repository session, whose object references
// omniORB lets many threads use.  Failures of the repository leave as
// CORBA exceptions (internal errors); unknown names and bad parameters
// as HttpError.
//
// Each call takes the repository's upcall lock for its own length, as a
// remote client's does (lib/ir/servant_locator.h): a page is read in many
// short calls, between which IIOP clients are served.
#ifndef IR_SERVER_HTTP_WEB_DATA_H
#define IR_SERVER_HTTP_WEB_DATA_H

#include <omniORB4/CORBA.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "client/repository_session.h"

using json = nlohmann::json;

// A search as the search page and /api/v1/search take it.
struct WebSearch {
  std::string pattern;     // "" only asks for the form
  bool substring = false;  // a plain text to find inside names, else a glob
  bool ids = false;        // match repository ids instead of names
  bool ignore_case = false;
  std::vector<std::string> kinds;  // kind names as kind_name() gives them
  unsigned long offset = 0;
  unsigned long limit = 100;
};

// Paging of long lists: the default and the largest page.
constexpr unsigned long kDefaultPageSize = 100;
constexpr unsigned long kMaxPageSize = 1000;

class WebData {
 public:
  // `repository` is irserver's root object.
  WebData(CORBA::ORB_ptr orb, CORBA::Object_ptr repository);

  // {"total", "counts": [{"kind", "count"}], "modules": [summary],
  //  "top_level": n}
  json overview();

  // The definition whose scoped name has these components, or whose
  // repository id is `id`; HttpError 404 when there is none.
  CORBA::Contained_ptr find_by_path(const std::vector<std::string>& path);
  CORBA::Contained_ptr find_by_id(const std::string& id);

  // One page of the direct contents of the container with repository id
  // `container_id` ("" = the top level): {"offset", "limit", "total",
  // "items": [row]}, rows as summary_json (client/definition_json.h)
  // gives them.
  json contents(const std::string& container_id, unsigned long offset,
                unsigned long limit);

  // {"pattern", "match", "field", "ignore_case", "kinds", "offset",
  //  "limit", "total", "items"}
  json search(const WebSearch& query);

  // The definitions that use (`which` "uses") or derive from ("derives")
  // `c`: {"items": [row]}, oldest first.
  json references(CORBA::Contained_ptr c, const char* which);

  // Everything about one definition: the description model's JSON
  // (definition_json) without the list of contents, which may be very
  // long; containers get "contents_total" instead (unless `count` is
  // false: a caller that reads a page of the contents anyway takes the
  // total from there) and page through contents().
  json definition(CORBA::Contained_ptr c, bool count = true);

  // Those of `scoped_names` that name a definition.
  std::vector<std::string> existing(
      const std::vector<std::string>& scoped_names);

  // The IDL of `c` (nil: the whole repository), and with `with_deps`
  // the definitions it needs before it.
  std::string idl(CORBA::Contained_ptr c, bool with_deps);

  // Kind names from parameters ("Interface", "struct,enum"), checked and
  // spelled as kind_name() does; HttpError 400 for an unknown one.
  static std::vector<std::string> parse_kinds(
      const std::vector<std::string>& values);

 private:
  CORBA::ORB_var orb_;
  RepositorySession session_;
};

// "/browse/A/B" for the scoped name "::A::B" (components percent-encoded);
// "/browse/" for "" or "::".
std::string browse_url(const std::string& scoped_name,
                       const std::string& prefix = "/browse/");
// The components of a scoped name ("::A::B" gives {"A", "B"}).
std::vector<std::string> scoped_name_parts(const std::string& scoped_name);

#endif
