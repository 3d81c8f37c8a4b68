#include "http/web_site.h"

#include <set>

#include "client/repository_tree.h"
#include "http/call_form.h"
#include "http/definition_page.h"
#include "http/idl_links.h"
#include "http/url_codec.h"
#include "http/web_assets.h"
#include "http/web_pages.h"
#include "values/value_error.h"

namespace {

WebReply json_reply(const json& value, int status = 200) {
  WebReply reply;
  reply.status = status;
  reply.media_type = "application/json";
  // Names and ids are the clients' bytes: what is not UTF-8 is replaced
  // rather than refused.
  reply.body = value.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
  return reply;
}

WebReply html_reply(std::string body, int status = 200) {
  WebReply reply;
  reply.status = status;
  reply.body = std::move(body);
  return reply;
}

WebReply redirect(const std::string& location) {
  WebReply reply;
  reply.status = 302;
  reply.media_type = "text/plain; charset=utf-8";
  reply.body = "See " + location + "\n";
  reply.headers.emplace_back("Location", location);
  return reply;
}

const char* status_words(int status) {
  switch (status) {
    case 400:
      return "bad request";
    case 403:
      return "forbidden";
    case 404:
      return "not found";
    case 405:
      return "method not allowed";
    case 413:
      return "payload too large";
    case 414:
      return "request target too long";
    case 415:
      return "unsupported media type";
    case 431:
      return "request headers too large";
    case 500:
      return "internal error";
    case 502:
      return "bad gateway";
    case 503:
      return "unavailable";
    case 504:
      return "gateway timeout";
    default:
      return status < 500 ? "bad request" : "internal error";
  }
}

bool is_api(const std::string& path) {
  return path == "/api" || path.compare(0, 5, "/api/") == 0;
}

// The segments from `first` on, joined back with '/'.
std::string rest_of(const WebRequest& request, std::size_t first) {
  std::string rest;
  for (std::size_t i = first; i < request.segments.size(); ++i)
    rest += (i > first ? "/" : "") + request.segments[i];
  return rest;
}

// The repository id after "/id/" or "/api/v1/ids/" in the raw path:
// decoded whole, so that the '/' inside ids stay.
std::string id_after(const WebRequest& request, const std::string& prefix) {
  std::string id;
  if (request.path.size() <= prefix.size() ||
      !percent_decode(request.path.substr(prefix.size()), false, &id))
    throw HttpError(400, "give a repository id after " + prefix);
  return id;
}

}  // namespace

WebSite::WebSite(CORBA::ORB_ptr orb, CORBA::Object_ptr repository)
    : data_(orb, repository),
      orb_(CORBA::ORB::_duplicate(orb)),
      repository_(CORBA::Object::_duplicate(repository)) {}

WebSite::~WebSite() = default;

void WebSite::enable_calls(const CallAllowList& allowed,
                           unsigned long timeout_ms) {
  gateway_ =
      std::make_unique<CallGateway>(orb_, repository_, allowed, timeout_ms);
}

json WebSite::call_form(CORBA::Contained_ptr c) {
  CORBA::String_var id = c->id();
  CORBA::Repository_var root =
      CORBA::Repository::_unchecked_narrow(repository_);
  DynamicCaller caller(orb_, root);
  try {
    InterfaceOperations ops =
        caller.operations_of(CORBA::Object::_nil(), id.in());
    return call_form_model(caller, ops, gateway_ != nullptr);
  } catch (const CallError&) {
    // An interface that cannot be described (a base that is missing):
    // the page shows it without a form.
    return json();
  } catch (const ValueError&) {
    // A parameter type without a JSON form: no form either.
    return json();
  }
}

WebReply WebSite::call(const WebRequest& request) {
  if (request.method != "POST")
    throw HttpError(405, "call an operation with POST");
  QueryReader reader(request);
  reader.finish();
  if (!gateway_)
    throw HttpError(403,
                    "the call gateway is off: irserver calls objects only "
                    "when started with --http-invoke HOST:PORT,...");
  // No turn of the readers: a call waits for its target, and reads
  // only a few definitions, each under the repository's own lock.
  return gateway_->call(request);
}

WebReply WebSite::error_reply(const std::string& path, int status,
                              const std::string& message) {
  if (is_api(path)) {
    return json_reply({{"error", status_words(status)},
                       {"status", status},
                       {"message", message}},
                      status);
  }
  return html_reply(error_page(status, message), status);
}

WebReply WebSite::answer(const WebRequest& request) {
  const std::vector<std::string>& s = request.segments;
  if (!s.empty() && s[0] == "static") return asset(request);
  if (s.size() == 3 && s[0] == "api" && s[1] == "v1" && s[2] == "call")
    return call(request);
  std::lock_guard<std::mutex> one_reader(reading_);
  if (s.empty()) return overview(request);
  const std::string& first = s[0];
  if (first == "api") return api(request);
  if (first == "browse") return browse(request);
  if (first == "id") return by_id(request);
  if (first == "search" && s.size() == 1) return search(request);
  if (first == "idl") return idl_file(request);
  if (first == "favicon.ico" && s.size() == 1)
    return redirect("/static/favicon.svg");
  throw HttpError(404, "there is no page " + request.path);
}

CORBA::Contained_ptr WebSite::named(const WebRequest& request,
                                    std::size_t first) {
  if (request.segments.size() <= first) return CORBA::Contained::_nil();
  std::vector<std::string> path(request.segments.begin() + first,
                                request.segments.end());
  return data_.find_by_path(path);
}

WebReply WebSite::overview(const WebRequest& request) {
  QueryReader reader(request);
  reader.finish();
  return html_reply(overview_page(data_.overview()));
}

WebReply WebSite::browse(const WebRequest& request) {
  QueryReader reader(request);
  unsigned long offset = reader.number("offset", 0, 0xFFFFFFFFul);
  unsigned long limit = reader.number("limit", kDefaultPageSize, kMaxPageSize);
  reader.finish();
  CORBA::Contained_var c = named(request, 1);
  if (CORBA::is_nil(c))
    return html_reply(top_level_page(data_.contents("", offset, limit)));
  json page;
  page["definition"] = data_.definition(c, false);
  json& def = page["definition"];
  CORBA::DefinitionKind kind = c->def_kind();
  if (is_container_kind(kind)) {
    page["contents"] = data_.contents(def["id"], offset, limit);
    def["contents_total"] = page["contents"]["total"];
  }
  // A module's IDL is everything inside it, which may be very large: its
  // contents are listed instead and its IDL is a download.
  if (kind != CORBA::dk_Module) {
    std::string idl = data_.idl(c, false);
    std::set<std::string> names;
    for (const IdlName& n : idl_names(idl)) names.insert(n.scoped_name);
    page["idl_links"] =
        data_.existing(std::vector<std::string>(names.begin(), names.end()));
    page["idl"] = std::move(idl);
  }
  if (kind == CORBA::dk_Interface || kind == CORBA::dk_AbstractInterface) {
    json form = call_form(c);
    if (!form.is_null()) page["call_form"] = std::move(form);
  }
  page["used_by"] = data_.references(c, "uses");
  page["derived_by"] = data_.references(c, "derives");
  return html_reply(definition_page(page));
}

WebReply WebSite::by_id(const WebRequest& request) {
  QueryReader reader(request);
  reader.finish();
  CORBA::Contained_var c = data_.find_by_id(id_after(request, "/id/"));
  CORBA::String_var abs = c->absolute_name();
  return redirect(browse_url(abs.in()));
}

WebSearch WebSite::search_query(QueryReader& reader) {
  WebSearch q;
  q.pattern = reader.text("q");
  std::string match = reader.text("match");
  if (match == "substring" || match == "text")
    q.substring = true;
  else if (!match.empty() && match != "glob")
    throw HttpError(400, "parameter 'match' must be glob or substring");
  std::string in = reader.text("in");
  if (in == "id" || in == "ids")
    q.ids = true;
  else if (!in.empty() && in != "name" && in != "names")
    throw HttpError(400, "parameter 'in' must be name or id");
  q.ignore_case = reader.flag("icase");
  q.kinds = WebData::parse_kinds(reader.all("kind"));
  q.offset = reader.number("offset", 0, 0xFFFFFFFFul);
  q.limit = reader.number("limit", kDefaultPageSize, kMaxPageSize);
  if (q.pattern.size() > 512)
    throw HttpError(400, "parameter 'q' is longer than 512 bytes");
  return q;
}

WebReply WebSite::search(const WebRequest& request) {
  QueryReader reader(request);
  WebSearch q = search_query(reader);
  reader.finish();
  if (q.pattern.empty()) return html_reply(search_page(q, nullptr));
  json results = data_.search(q);
  return html_reply(search_page(q, &results));
}

WebReply WebSite::idl_file(const WebRequest& request) {
  QueryReader reader(request);
  bool deps = reader.flag("deps");
  reader.finish();
  CORBA::Contained_var c = named(request, 1);
  WebReply reply;
  reply.media_type = "text/plain; charset=utf-8";
  reply.body = data_.idl(c, deps);
  std::string file =
      request.segments.size() > 1 ? request.segments.back() : "repository";
  std::string safe;
  for (char ch : file)
    safe +=
        (std::isalnum(static_cast<unsigned char>(ch)) || ch == '_' || ch == '-')
            ? ch
            : '_';
  reply.headers.emplace_back("Content-Disposition",
                             "attachment; filename=\"" + safe + ".idl\"");
  return reply;
}

WebReply WebSite::asset(const WebRequest& request) {
  QueryReader reader(request);
  reader.finish();
  // Only files under web/static are served; templates are not.
  const WebAsset* a = request.segments.size() == 2
                          ? find_web_asset("static/" + request.segments[1])
                          : nullptr;
  if (!a) throw HttpError(404, "there is no file " + request.path);
  WebReply reply;
  reply.media_type = web_asset_media_type(a->name);
  reply.body = a->text();
  return reply;
}

WebReply WebSite::api(const WebRequest& request) {
  const std::vector<std::string>& s = request.segments;
  if (s.size() < 3 || s[1] != "v1")
    throw HttpError(404, "there is no API endpoint " + request.path);
  const std::string& what = s[2];
  QueryReader reader(request);
  if (what == "openapi.json" && s.size() == 3) {
    reader.finish();
    WebReply reply;
    reply.media_type = "application/json";
    reply.body = web_asset_text("api/openapi.json");
    return reply;
  }
  if (what == "overview" && s.size() == 3) {
    reader.finish();
    return json_reply(data_.overview());
  }
  if (what == "search" && s.size() == 3) {
    WebSearch q = search_query(reader);
    reader.finish();
    if (q.pattern.empty()) throw HttpError(400, "parameter 'q' is missing");
    return json_reply(data_.search(q));
  }
  if (what == "ids") {
    reader.finish();
    CORBA::Contained_var c =
        data_.find_by_id(id_after(request, "/api/v1/ids/"));
    return json_reply(data_.definition(c));
  }
  if (what == "contents") {
    unsigned long offset = reader.number("offset", 0, 0xFFFFFFFFul);
    unsigned long limit =
        reader.number("limit", kDefaultPageSize, kMaxPageSize);
    reader.finish();
    CORBA::Contained_var c = named(request, 3);
    std::string id;
    if (!CORBA::is_nil(c)) {
      if (!is_container_kind(c->def_kind()))
        throw HttpError(404,
                        "::" + rest_of(request, 3) + " is not a container");
      CORBA::String_var cid = c->id();
      id = cid.in();
    }
    return json_reply(data_.contents(id, offset, limit));
  }
  if (what == "idl") {
    bool deps = reader.flag("deps");
    reader.finish();
    CORBA::Contained_var c = named(request, 3);
    return json_reply(
        {{"scoped_name",
          CORBA::is_nil(c) ? std::string() : "::" + rest_of(request, 3)},
         {"with_dependencies", deps},
         {"idl", data_.idl(c, deps)}});
  }
  if (what == "definitions" || what == "used-by" || what == "derived-by") {
    reader.finish();
    if (s.size() < 4) throw HttpError(404, "give a scoped name after /" + what);
    CORBA::Contained_var c = named(request, 3);
    if (what == "definitions") return json_reply(data_.definition(c));
    return json_reply(
        data_.references(c, what == "used-by" ? "uses" : "derives"));
  }
  throw HttpError(404, "there is no API endpoint " + request.path);
}
