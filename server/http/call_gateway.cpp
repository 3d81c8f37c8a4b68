#include "http/call_gateway.h"

#include <omniORB4/IIOP.h>
#include <omniORB4/cdrStream.h>
#include <omniORB4/omniIOR.h>
#include <omniORB4/omniInterceptors.h>
#include <omniORB4/omniORB.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <mutex>

#include "client/corba_text.h"
#include "client/dynamic_call.h"
#include "http/url_codec.h"
#include "platform/request_log.h"

using ojson = nlohmann::ordered_json;

namespace {

// Nesting deeper than this is refused before anything looks at the
// value: no IDL type of a sensible interface nests deeper.
constexpr int kMaxJsonDepth = 100;

// What the connection interceptor checks on the thread of a gateway call:
// the list, and the first address it refused.
struct GatewayScope {
  const CallAllowList* allowed;
  std::string refused;
};
thread_local GatewayScope* t_scope = nullptr;

// Sets the scope and the thread's call timeout for one gateway call, and
// clears both at the end.
class ScopeGuard {
 public:
  ScopeGuard(GatewayScope& scope, unsigned long timeout_ms) {
    t_scope = &scope;
    omniORB::setClientThreadCallTimeout(timeout_ms);
  }
  ~ScopeGuard() {
    omniORB::setClientThreadCallTimeout(0);
    t_scope = nullptr;
  }
  ScopeGuard(const ScopeGuard&) = delete;
  ScopeGuard& operator=(const ScopeGuard&) = delete;
};

// Connections opened by other threads (irserver makes none of its own)
// pass; those of a gateway call only to addresses on its list.
CORBA::Boolean check_connection(
    omni::omniInterceptors::clientOpenConnection_T::info_T& info) {
  GatewayScope* scope = t_scope;
  if (!scope) return true;
  const char* peer = info.peeraddress();
  if (peer && scope->allowed->allows_address(peer)) return true;
  info.reject = true;
  info.why = "the call gateway may not connect to this address";
  if (scope->refused.empty()) {
    std::string address = peer ? peer : "";
    if (address.compare(0, 9, "giop:tcp:") == 0 ||
        address.compare(0, 9, "giop:ssl:") == 0)
      address.erase(0, 9);
    scope->refused = address.empty() ? "an unknown address" : address;
  }
  return false;
}

std::once_flag interceptor_once;

std::string host_port(const std::string& host, unsigned port) {
  return (host.find(':') != std::string::npos ? "[" + host + "]" : host) + ":" +
         std::to_string(port);
}

// The first component of `components` that names an address not on the
// list, or a transport the gateway cannot check; "" for none.
std::string refused_component(const IOP::MultipleComponentProfile& components,
                              const std::string& host,
                              const CallAllowList& allowed) {
  for (CORBA::ULong i = 0; i < components.length(); ++i) {
    const IOP::TaggedComponent& c = components[i];
    if (c.tag == IOP::TAG_ALTERNATE_IIOP_ADDRESS) {
      cdrEncapsulationStream in(c.component_data.get_buffer(),
                                c.component_data.length(), 1);
      CORBA::String_var alt_host = in.unmarshalString();
      CORBA::UShort alt_port;
      alt_port <<= in;
      if (!allowed.allows(alt_host.in(), alt_port))
        return host_port(alt_host.in(), alt_port);
    } else if (c.tag == IOP::TAG_SSL_SEC_TRANS) {
      cdrEncapsulationStream in(c.component_data.get_buffer(),
                                c.component_data.length(), 1);
      CORBA::UShort supports, requires, ssl_port;
      supports <<= in;
      requires <<= in;
      ssl_port <<= in;
      if (!allowed.allows(host, ssl_port)) return host_port(host, ssl_port);
    } else if (c.tag == IOP::TAG_OMNIORB_UNIX_TRANS) {
      return "a Unix socket";
    } else if (c.tag == IOP::TAG_CSI_SEC_MECH_LIST ||
               c.tag == IOP::TAG_TLS_SEC_TRANS ||
               c.tag == IOP::TAG_FIREWALL_TRANS) {
      return "a transport the gateway does not check (component " +
             std::to_string(c.tag) + ")";
    }
  }
  return std::string();
}

// The body's JSON; HttpError 400 for anything else.
ojson parse_body(const std::string& body) {
  ojson doc;
  try {
    doc = ojson::parse(body, [](int depth, ojson::parse_event_t, ojson&) {
      if (depth > kMaxJsonDepth)
        throw HttpError(400, "the request nests deeper than " +
                                 std::to_string(kMaxJsonDepth) + " levels");
      return true;
    });
  } catch (const ojson::parse_error& e) {
    std::string what = e.what();
    // "[json.exception.parse_error.101] parse error at line 1, ...": the
    // part after the tag.
    std::size_t tag = what.find("] ");
    throw HttpError(
        400, "the request is not JSON: " +
                 (tag == std::string::npos ? what : what.substr(tag + 2)));
  }
  if (!doc.is_object())
    throw HttpError(400,
                    "the request must be a JSON object {\"target\", "
                    "\"operation\", \"args\"}");
  return doc;
}

std::string text_field(const ojson& doc, const char* name, bool required) {
  auto it = doc.find(name);
  if (it == doc.end() || it->is_null()) {
    if (required)
      throw HttpError(400, std::string("the request has no \"") + name + "\"");
    return std::string();
  }
  if (!it->is_string())
    throw HttpError(400, std::string("\"") + name + "\" must be a string");
  std::string text = it->get<std::string>();
  if (required && text.empty())
    throw HttpError(400, std::string("\"") + name + "\" is empty");
  return text;
}

WebReply outcome_reply(const CallOutcome& outcome) {
  WebReply reply;
  reply.media_type = "application/json";
  reply.body =
      outcome.json.dump(2, ' ', false, ojson::error_handler_t::replace) + "\n";
  if (outcome.status == 1)
    reply.status =
        outcome.json.value("system_exception", "") == "TIMEOUT" ? 504 : 502;
  return reply;
}

// A corbaname URL split into its naming service's corbaloc and the
// (decoded) name; false when `target` is not a corbaname URL.
bool split_corbaname(const std::string& target, std::string* ns,
                     std::string* name) {
  static const char kPrefix[] = "corbaname:";
  if (target.size() < sizeof kPrefix - 1) return false;
  for (std::size_t i = 0; i + 1 < sizeof kPrefix; ++i)
    if (std::tolower(static_cast<unsigned char>(target[i])) != kPrefix[i])
      return false;
  std::string rest = target.substr(sizeof kPrefix - 1);
  std::size_t hash = rest.find('#');
  std::string where = rest.substr(0, hash);
  if (where.find('/') == std::string::npos) where += "/NameService";
  *ns = "corbaloc:" + where;
  name->clear();
  if (hash != std::string::npos &&
      !percent_decode(rest.substr(hash + 1), false, name))
    throw HttpError(400, "the name in '" + target + "' is not well encoded");
  if (name->empty())
    throw HttpError(400, "give a name after '#' in '" + target + "'");
  return true;
}

}  // namespace

std::string refused_address(CORBA::Object_ptr obj,
                            const CallAllowList& allowed) {
  if (CORBA::is_nil(obj)) return std::string();
  omniIOR* ior = obj->_PR_getobj()->_getIOR();
  struct Release {
    omniIOR* ior;
    ~Release() { ior->release(); }
  } release{ior};
  const IOP::TaggedProfileList& profiles = ior->iopProfiles();
  bool any_iiop = false;
  try {
    for (CORBA::ULong i = 0; i < profiles.length(); ++i) {
      if (profiles[i].tag == IOP::TAG_INTERNET_IOP) {
        any_iiop = true;
        IIOP::ProfileBody body;
        IIOP::unmarshalProfile(profiles[i], body);
        std::string host = body.address.host.in();
        if (!allowed.allows(host, body.address.port))
          return host_port(host, body.address.port);
        std::string refused = refused_component(body.components, host, allowed);
        if (!refused.empty()) return refused;
      } else if (profiles[i].tag == IOP::TAG_MULTIPLE_COMPONENTS) {
        IOP::MultipleComponentProfile components;
        IIOP::unmarshalMultiComponentProfile(profiles[i], components);
        std::string refused = refused_component(components, "", allowed);
        if (!refused.empty()) return refused;
      }
    }
  } catch (const CORBA::SystemException&) {
    return "a damaged profile";
  }
  if (!any_iiop) return "no IIOP address";
  return std::string();
}

CallGateway::CallGateway(CORBA::ORB_ptr orb, CORBA::Object_ptr repository,
                         CallAllowList allowed, unsigned long timeout_ms)
    : orb_(CORBA::ORB::_duplicate(orb)),
      repository_(CORBA::Repository::_unchecked_narrow(repository)),
      allowed_(std::move(allowed)),
      timeout_ms_(timeout_ms) {
  allowed_.resolve();
  std::call_once(interceptor_once, [] {
    omniORB::getInterceptors()->clientOpenConnection.add(check_connection);
  });
}

WebReply CallGateway::call(const WebRequest& request) {
  if (!KALDRequestLogOn()) return answer(request);
  // With --log-requests every call gets a line, as IIOP requests do.
  auto when = std::chrono::system_clock::now();
  auto start = std::chrono::steady_clock::now();
  auto log = [&](int status) {
    std::string operation, target;
    try {
      ojson doc = ojson::parse(request.body);
      operation = doc.value("operation", "");
      target = doc.value("target", "");
    } catch (const std::exception&) {
    }
    std::string line =
        KALDRequestLogLine(when, "http:" + request.peer, operation, target,
                           std::chrono::steady_clock::now() - start,
                           "HTTP-" + std::to_string(status));
    omniORB::logger out("irserver: ");
    out << line.c_str() << "\n";
  };
  try {
    WebReply reply = answer(request);
    log(reply.status);
    return reply;
  } catch (const HttpError& e) {
    log(e.status());
    throw;
  }
}

WebReply CallGateway::answer(const WebRequest& request) {
  // A browser sends JSON only after a CORS preflight, which this server
  // never grants: pages of other sites cannot make calls.
  std::string media =
      request.content_type.substr(0, request.content_type.find(';'));
  while (!media.empty() && media.back() == ' ') media.pop_back();
  for (char& c : media)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (media != "application/json")
    throw HttpError(415, "send the call as Content-Type: application/json");
  if (!request.origin.empty() && request.origin != "null") {
    std::string origin_host = request.origin;
    std::size_t scheme = origin_host.find("://");
    if (scheme != std::string::npos) origin_host.erase(0, scheme + 3);
    if (origin_host != request.host)
      throw HttpError(403, "calls from pages of another site (" +
                               request.origin + ") are refused");
  }

  ojson doc = parse_body(request.body);
  for (auto it = doc.begin(); it != doc.end(); ++it) {
    static const char* const kFields[] = {"target",         "operation",
                                          "args",           "interface",
                                          "naming_service", "timeout"};
    bool known = false;
    for (const char* f : kFields) known = known || it.key() == f;
    if (!known)
      throw HttpError(400, "unknown field \"" + it.key() +
                               "\" (fields: target, operation, args, "
                               "interface, naming_service, timeout)");
  }
  CallRequest call;
  call.target = text_field(doc, "target", true);
  call.operation = text_field(doc, "operation", true);
  call.interface = text_field(doc, "interface", false);
  call.naming_service = text_field(doc, "naming_service", false);
  if (doc.contains("args")) call.args = doc["args"];
  if (!call.args.is_null() && !call.args.is_array() && !call.args.is_object())
    throw HttpError(400, "\"args\" must be an array or an object, got " +
                             std::string(call.args.type_name()));
  call.timeout_ms = timeout_ms_;
  if (doc.contains("timeout") && !doc["timeout"].is_null()) {
    const ojson& t = doc["timeout"];
    double seconds = t.is_number() ? t.get<double>() : -1;
    if (!(seconds > 0) || !std::isfinite(seconds))
      throw HttpError(400, "\"timeout\" must be a positive number of seconds");
    call.timeout_ms = std::min<unsigned long>(
        timeout_ms_,
        std::max<unsigned long>(1, static_cast<unsigned long>(seconds * 1000)));
  }

  DynamicCaller caller(orb_, repository_);
  caller.interface_hint = "\"interface\"";
  caller.naming_service_hint = "\"naming_service\"";
  GatewayScope scope{&allowed_, std::string()};
  auto refused = [](const std::string& address, const std::string& what) {
    return HttpError(403, what + " at " + address +
                              " is not on the call gateway's allow-list "
                              "(--http-invoke)");
  };
  try {
    ScopeGuard guard(scope, call.timeout_ms);
    std::string ns, name;
    if (split_corbaname(call.target, &ns, &name)) {
      call.naming_service = ns;
      call.target = name;
    }
    if (is_object_url(call.target)) {
      CORBA::Object_var obj;
      try {
        obj = orb_->string_to_object(call.target.c_str());
      } catch (const CORBA::SystemException&) {
        throw HttpError(400, "'" + call.target + "' is not a valid IOR or URL");
      }
      std::string address = refused_address(obj, allowed_);
      if (!address.empty()) throw refused(address, "the target");
    } else {
      if (call.naming_service.empty())
        throw HttpError(400, "'" + call.target +
                                 "' is not an IOR or URL: give the naming "
                                 "service that resolves it as "
                                 "\"naming_service\"");
      std::string url = naming_service_url(call.naming_service);
      CORBA::Object_var ns_obj;
      try {
        ns_obj = orb_->string_to_object(url.c_str());
      } catch (const CORBA::SystemException&) {
      }
      if (CORBA::is_nil(ns_obj))
        throw HttpError(400, "'" + call.naming_service +
                                 "' is not a naming service URL or HOST:PORT");
      std::string address = refused_address(ns_obj, allowed_);
      if (!address.empty()) throw refused(address, "the naming service");
    }

    CORBA::Object_var target = caller.resolve_target(
        call.target, call.naming_service, call.timeout_ms);
    std::string address = refused_address(target, allowed_);
    if (!address.empty())
      throw refused(address, "the object that '" + call.target + "' names");
    InterfaceOperations ops = caller.operations_of(target, call.interface);
    const CallableOperation& op = ops.find(call.operation);
    CallOutcome outcome = caller.call(target, op, call.args);
    if (!scope.refused.empty()) throw refused(scope.refused, "a connection");
    return outcome_reply(outcome);
  } catch (const CallError& e) {
    if (!scope.refused.empty()) throw refused(scope.refused, "a connection");
    throw HttpError(e.cause() == CallError::Cause::remote ? 502 : 400,
                    e.what());
  } catch (const CORBA::SystemException& e) {
    if (!scope.refused.empty()) throw refused(scope.refused, "a connection");
    throw HttpError(502, "the call failed: " + exception_text(e));
  }
}
