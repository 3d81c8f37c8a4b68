#include "http/web_data.h"

#include <algorithm>

#include "client/corba_text.h"
#include "client/definition_json.h"
#include "client/definition_view.h"
#include "client/idl_dependencies.h"
#include "client/idl_printer.h"
#include "client/listing.h"
#include "client/repository_tree.h"
#include "client/type_text.h"
#include "http/url_codec.h"
#include "http/web_request.h"

namespace {

std::string repository_ior(CORBA::ORB_ptr orb, CORBA::Object_ptr repository) {
  CORBA::String_var ior = orb->object_to_string(repository);
  return ior.in();
}

json row_json(const IRExt::ExtSummary& row) {
  return summary_json(summary_of(row));
}

json page_json(const IRExt::ExtPage& page, unsigned long offset,
               unsigned long limit) {
  json items = json::array();
  for (CORBA::ULong i = 0; i < page.items.length(); ++i)
    items.push_back(row_json(page.items[i]));
  return json{{"offset", offset},
              {"limit", limit},
              {"total", page.total},
              {"items", std::move(items)}};
}

// The overview looks for modules among this many top-level rows.
constexpr CORBA::ULong kOverviewTopLevelRows = 1000;

// A glob that matches `text` anywhere: the glob characters of the text
// become one-character sets.

std::string substring_glob(const std::string& text) {
  std::string glob = "*";
  for (char c : text) {
    if (c == '*' || c == '?' || c == '[')
      glob += std::string("[") + c + "]";
    else
      glob += c;
  }
  return glob + "*";
}

}  // namespace

std::vector<std::string> scoped_name_parts(const std::string& scoped_name) {
  std::vector<std::string> parts;
  std::size_t pos = 0;
  while (pos < scoped_name.size()) {
    std::size_t begin = scoped_name.find_first_not_of(':', pos);
    if (begin == std::string::npos) break;
    std::size_t end = scoped_name.find("::", begin);
    if (end == std::string::npos) end = scoped_name.size();
    parts.push_back(scoped_name.substr(begin, end - begin));
    pos = end;
  }
  return parts;
}

std::string browse_url(const std::string& scoped_name,
                       const std::string& prefix) {
  std::string url = prefix;
  std::vector<std::string> parts = scoped_name_parts(scoped_name);
  for (std::size_t i = 0; i < parts.size(); ++i)
    url += (i ? "/" : "") + percent_encode(parts[i]);
  return url;
}

WebData::WebData(CORBA::ORB_ptr orb, CORBA::Object_ptr repository)
    : orb_(CORBA::ORB::_duplicate(orb)),
      session_(orb, repository_ior(orb, repository)) {}

std::vector<std::string> WebData::parse_kinds(
    const std::vector<std::string>& values) {
  std::vector<std::string> kinds;
  for (const std::string& value : values) {
    std::size_t pos = 0;
    while (pos <= value.size()) {
      std::size_t comma = value.find(',', pos);
      if (comma == std::string::npos) comma = value.size();
      std::string word = value.substr(pos, comma - pos);
      pos = comma + 1;
      if (word.empty()) continue;
      CORBA::DefinitionKind kind;
      if (!kind_from_name(word, &kind) || kind == CORBA::dk_none ||
          kind == CORBA::dk_all || kind == CORBA::dk_Repository)
        throw HttpError(400, "unknown kind '" + word + "'");
      std::string name = kind_name(kind);
      if (std::find(kinds.begin(), kinds.end(), name) == kinds.end())
        kinds.push_back(name);
    }
  }
  return kinds;
}

json WebData::overview() {
  IRExt::ExtKindCountSeq_var counts = session_.ext()->ext_count_kinds();
  json count_list = json::array();
  unsigned long long total = 0;
  for (CORBA::ULong i = 0; i < counts->length(); ++i) {
    count_list.push_back(
        {{"kind", kind_name(counts[i].kind)}, {"count", counts[i].count}});
    total += counts[i].count;
  }
  // The modules among the first rows of the top level: a repository
  // whose top level holds more than that is browsed through /browse/.
  IRExt::ExtPage_var top =
      session_.ext()->ext_list("", 0, kOverviewTopLevelRows);
  json top_modules = json::array();
  for (CORBA::ULong i = 0; i < top->items.length(); ++i)
    if (top->items[i].kind == CORBA::dk_Module)
      top_modules.push_back(row_json(top->items[i]));
  return json{{"total", total},
              {"counts", std::move(count_list)},
              {"modules", std::move(top_modules)},
              {"top_level", top->total}};
}

CORBA::Contained_ptr WebData::find_by_path(
    const std::vector<std::string>& path) {
  std::string scoped;
  for (const std::string& p : path) scoped += "::" + p;
  CORBA::Contained_var c = session_.repo()->lookup(scoped.c_str());
  if (CORBA::is_nil(c))
    throw HttpError(404, "no definition is named " + scoped);
  return c._retn();
}

CORBA::Contained_ptr WebData::find_by_id(const std::string& id) {
  CORBA::Contained_var c = session_.repo()->lookup_id(id.c_str());
  if (CORBA::is_nil(c))
    throw HttpError(404, "no definition has the repository id " + id);
  return c._retn();
}

json WebData::contents(const std::string& container_id, unsigned long offset,
                       unsigned long limit) {
  IRExt::ExtPage_var page = session_.ext()->ext_list(
      container_id.c_str(), static_cast<CORBA::ULong>(offset),
      static_cast<CORBA::ULong>(limit));
  return page_json(page.in(), offset, limit);
}

json WebData::search(const WebSearch& q) {
  std::string kinds;
  for (const std::string& k : q.kinds) kinds += (kinds.empty() ? "" : ",") + k;
  std::string glob = q.substring ? substring_glob(q.pattern) : q.pattern;
  IRExt::ExtPage_var page = session_.ext()->ext_search(
      glob.c_str(), "", q.ids, q.ignore_case, kinds.c_str(),
      static_cast<CORBA::ULong>(q.offset), static_cast<CORBA::ULong>(q.limit));
  json result = page_json(page.in(), q.offset, q.limit);
  result["pattern"] = q.pattern;
  result["match"] = q.substring ? "substring" : "glob";
  result["field"] = q.ids ? "id" : "name";
  result["ignore_case"] = q.ignore_case;
  result["kinds"] = q.kinds;
  return result;
}

json WebData::references(CORBA::Contained_ptr c, const char* which) {
  IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(c);
  CORBA::ContainedSeq_var refs = ext->ext_get_refs_object(which);
  json items = json::array();
  for (CORBA::ULong i = 0; i < refs->length(); ++i)
    items.push_back(summary_json(summary_of(refs[i])));
  return json{{"items", std::move(items)}};
}

json WebData::definition(CORBA::Contained_ptr c, bool count) {
  DefinitionReader reader(orb_, session_.repo());
  reader.set_read_contents(false);
  DefinitionView view = reader.read(c);
  json result = definition_json(view);
  result.erase("contents");
  if (count && is_container_kind(view.kind)) {
    IRExt::ExtPage_var first = session_.ext()->ext_list(view.id.c_str(), 0, 1);
    result["contents_total"] = first->total;
  }
  return result;
}

std::vector<std::string> WebData::existing(
    const std::vector<std::string>& scoped_names) {
  std::vector<std::string> found;
  for (const std::string& name : scoped_names) {
    CORBA::Contained_var c = session_.repo()->lookup(name.c_str());
    if (!CORBA::is_nil(c)) found.push_back(name);
  }
  return found;
}

std::string WebData::idl(CORBA::Contained_ptr c, bool with_deps) {
  if (CORBA::is_nil(c) || !with_deps) {
    RepositoryTree tree(session_, c);
    AnyCodec codec(session_.orb());
    return print_idl(tree, codec);
  }
  // As irctl idl --with-deps: the whole unit that holds the definition,
  // and everything outside it that it needs.
  CORBA::Contained_var unit = idl_unit_of(session_.repo(), c);
  RepositoryTree tree(session_, unit);
  add_idl_dependencies(session_, tree);
  tree.number_all();
  AnyCodec codec(session_.orb());
  return print_idl(tree, codec);
}
