#include "client/dynamic_call.h"

#include <omniORB4/omniORB.h>

#include <algorithm>
#include <cctype>
#include <omniORB4/Naming.hh>
#include <set>

#include "client/corba_text.h"
#include "client/repository_session.h"
#include "irext.hh"
#include "platform/kald_error.h"
#include "values/json_path.h"
#include "values/typecode_util.h"

using json = nlohmann::ordered_json;

namespace {

bool starts_with_nocase(const std::string& text, const char* prefix) {
  std::size_t n = std::char_traits<char>::length(prefix);
  if (text.size() < n) return false;
  for (std::size_t i = 0; i < n; ++i)
    if (std::tolower(static_cast<unsigned char>(text[i])) != prefix[i])
      return false;
  return true;
}

bool unreachable(const CORBA::SystemException& e) {
  return CORBA::TRANSIENT::_downcast(&e) ||
         CORBA::COMM_FAILURE::_downcast(&e) || CORBA::TIMEOUT::_downcast(&e);
}

std::string joined(const std::vector<std::string>& names, std::size_t most) {
  std::string text;
  for (std::size_t i = 0; i < names.size() && i < most; ++i)
    text += (i ? ", " : "") + names[i];
  if (names.size() > most) text += ", ...";
  return text.empty() ? "none" : text;
}

const char* mode_text(CORBA::ParameterMode mode) {
  switch (mode) {
    case CORBA::PARAM_IN:
      return "in";
    case CORBA::PARAM_OUT:
      return "out";
    default:
      return "inout";
  }
}

// The operations and attributes of one interface, as descriptions give
// them, into `out`.
void add_operations(const CORBA::OpDescriptionSeq& ops,
                    InterfaceOperations& out) {
  for (CORBA::ULong i = 0; i < ops.length(); ++i) {
    const CORBA::OperationDescription& d = ops[i];
    CallableOperation op;
    op.name = d.name.in();
    op.oneway = d.mode == CORBA::OP_ONEWAY;
    op.result = CORBA::TypeCode::_duplicate(d.result);
    op.defined_in = d.defined_in.in();
    for (CORBA::ULong p = 0; p < d.parameters.length(); ++p)
      op.parameters.push_back(
          {d.parameters[p].name.in(), d.parameters[p].mode,
           CORBA::TypeCode::_duplicate(d.parameters[p].type)});
    for (CORBA::ULong e = 0; e < d.exceptions.length(); ++e)
      op.exceptions.emplace_back(
          CORBA::TypeCode::_duplicate(d.exceptions[e].type));
    out.operations.push_back(std::move(op));
  }
}

void add_attribute(const std::string& name, CORBA::TypeCode_ptr type,
                   bool readonly, const std::string& defined_in,
                   InterfaceOperations& out) {
  out.attributes.push_back(name);
  CallableOperation get;
  get.name = "_get_" + name;
  get.result = CORBA::TypeCode::_duplicate(type);
  get.defined_in = defined_in;
  out.operations.push_back(std::move(get));
  if (readonly) return;
  CallableOperation set;
  set.name = "_set_" + name;
  set.result = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
  set.defined_in = defined_in;
  set.parameters.push_back(
      {"value", CORBA::PARAM_IN, CORBA::TypeCode::_duplicate(type)});
  out.operations.push_back(std::move(set));
}

// The operations of `idef` and its bases through the standard
// describe_interface, for repositories without describe_ext_interface:
// bases first, each interface once.
void add_standard_description(CORBA::InterfaceDef_ptr idef,
                              CORBA::Repository_ptr repository,
                              std::set<std::string>& done,
                              InterfaceOperations& out) {
  CORBA::InterfaceDef::FullInterfaceDescription_var d =
      idef->describe_interface();
  if (!done.insert(d->id.in()).second) return;
  for (CORBA::ULong i = 0; i < d->base_interfaces.length(); ++i) {
    CORBA::Contained_var base =
        repository->lookup_id(d->base_interfaces[i].in());
    CORBA::InterfaceDef_var base_def = CORBA::InterfaceDef::_narrow(base);
    if (!CORBA::is_nil(base_def))
      add_standard_description(base_def, repository, done, out);
  }
  add_operations(d->operations, out);
  for (CORBA::ULong i = 0; i < d->attributes.length(); ++i) {
    const CORBA::AttributeDescription& a = d->attributes[i];
    add_attribute(a.name.in(), a.type, a.mode == CORBA::ATTR_READONLY,
                  a.defined_in.in(), out);
  }
}

}  // namespace

bool is_object_url(const std::string& text) {
  return starts_with_nocase(text, "ior:") ||
         starts_with_nocase(text, "corbaloc:") ||
         starts_with_nocase(text, "corbaname:");
}

// HOST:PORT stands for the corbaloc of a naming service there.
std::string naming_service_url(const std::string& text) {
  if (is_object_url(text) || text.find(':') == std::string::npos) return text;
  return "corbaloc::" + text + "/NameService";
}

json system_exception_json(const CORBA::SystemException& e) {
  const char* words = kaldMinorWords(e.minor());
  if (!words) words = e.NP_minorString();
  const char* completed = e.completed() == CORBA::COMPLETED_YES  ? "YES"
                          : e.completed() == CORBA::COMPLETED_NO ? "NO"
                                                                 : "MAYBE";
  return json{{"system_exception", e._name()},
              {"minor", e.minor()},
              {"minor_text", words ? words : ""},
              {"completed", completed}};
}

const CallableOperation& InterfaceOperations::find(
    const std::string& name) const {
  for (const CallableOperation& op : operations)
    if (op.name == name) return op;
  if (std::find(attributes.begin(), attributes.end(), name) !=
      attributes.end()) {
    bool writable = false;
    for (const CallableOperation& op : operations)
      writable = writable || op.name == "_set_" + name;
    throw CallError("'" + name + "' is an attribute of " + id + ": call _get_" +
                    name + (writable ? " or _set_" + name : std::string()));
  }
  std::vector<std::string> names;
  for (const CallableOperation& op : operations) names.push_back(op.name);
  throw CallError(id + " has no operation '" + name +
                  "' (operations: " + joined(names, 30) + ")");
}

DynamicCaller::DynamicCaller(CORBA::ORB_ptr orb,
                             CORBA::Repository_ptr repository)
    : orb_(orb),
      repository_(CORBA::Repository::_duplicate(repository)),
      types_(repository),
      codec_(orb, &types_) {}

CORBA::Object_ptr DynamicCaller::resolve_target(
    const std::string& target, const std::string& naming_service,
    unsigned long timeout_ms) {
  CORBA::Object_var obj;
  if (target.empty()) throw CallError("no target given");
  if (is_object_url(target)) {
    try {
      obj = orb_->string_to_object(target.c_str());
    } catch (const CORBA::BAD_PARAM&) {
      throw CallError("'" + target + "' is not a valid IOR or URL");
    } catch (const CORBA::MARSHAL&) {  // a damaged IOR
      throw CallError("'" + target + "' is not a valid IOR or URL");
    } catch (const CORBA::SystemException& e) {
      throw CallError("cannot resolve " + target + ": " + exception_text(e),
                      CallError::Cause::remote);
    }
  } else {
    std::string where = naming_service.empty()
                            ? "the NameService initial reference"
                            : naming_service_url(naming_service);
    CORBA::Object_var ns_obj;
    try {
      if (naming_service.empty())
        ns_obj = orb_->resolve_initial_references("NameService");
      else
        ns_obj = orb_->string_to_object(where.c_str());
    } catch (const CORBA::ORB::InvalidName&) {
    } catch (const CORBA::SystemException&) {
    }
    if (CORBA::is_nil(ns_obj))
      throw CallError(
          "'" + target + "' is not an IOR or URL, and " +
          (naming_service.empty()
               ? "no naming service is configured: give " + naming_service_hint
               : "'" + naming_service + "' is not a naming service URL"));
    if (timeout_ms) omniORB::setClientCallTimeout(ns_obj, timeout_ms);
    try {
      CosNaming::NamingContextExt_var ns =
          CosNaming::NamingContextExt::_narrow(ns_obj);
      if (CORBA::is_nil(ns))
        throw CallError(where + " is not a naming service",
                        CallError::Cause::remote);
      obj = ns->resolve_str(target.c_str());
    } catch (const CosNaming::NamingContext::NotFound&) {
      throw CallError("the naming service at " + where + " has no name '" +
                      target + "'");
    } catch (const CosNaming::NamingContext::InvalidName&) {
      throw CallError("'" + target + "' is not a valid name");
    } catch (const CosNaming::NamingContext::CannotProceed&) {
      throw CallError(
          "the naming service at " + where + " cannot resolve '" + target + "'",
          CallError::Cause::remote);
    } catch (const CORBA::SystemException& e) {
      throw CallError(
          std::string(unreachable(e) ? "no naming service answers"
                                     : "the naming service failed") +
              " at " + where + ": " + exception_text(e),
          CallError::Cause::remote);
    }
  }
  if (CORBA::is_nil(obj))
    throw CallError("'" + target + "' is a nil reference");
  if (timeout_ms) omniORB::setClientCallTimeout(obj, timeout_ms);
  return obj._retn();
}

InterfaceOperations DynamicCaller::operations_of(CORBA::Object_ptr target,
                                                 const std::string& interface) {
  CORBA::InterfaceDef_var idef;
  try {
    if (!interface.empty()) {
      CORBA::Contained_var c;
      if (looks_like_repository_id(interface))
        c = repository_->lookup_id(interface.c_str());
      if (CORBA::is_nil(c))
        c = repository_->lookup(
            (interface.compare(0, 2, "::") == 0 ? interface : "::" + interface)
                .c_str());
      if (CORBA::is_nil(c))
        throw CallError("the repository has no interface '" + interface + "'");
      CORBA::DefinitionKind kind = c->def_kind();
      if (kind != CORBA::dk_Interface && kind != CORBA::dk_AbstractInterface)
        throw CallError("'" + interface + "' is not an interface (it is a " +
                        kind_name(kind) + ")");
      idef = CORBA::InterfaceDef::_unchecked_narrow(c);
    }
  } catch (const CORBA::SystemException& e) {
    throw CallError("looking up '" + interface +
                        "' in the repository failed: " + exception_text(e),
                    CallError::Cause::remote);
  }
  if (CORBA::is_nil(idef)) {
    try {
      idef = target->_get_interface();
    } catch (const CORBA::SystemException& e) {
      // omniORB answers _get_interface() for a target that it cannot
      // reach from the client's own repository reference: ask the target
      // itself why.
      bool exists = true;
      try {
        exists = !target->_non_existent();
      } catch (const CORBA::SystemException& ping) {
        if (unreachable(ping))
          throw CallError("the target does not answer: " + exception_text(ping),
                          CallError::Cause::remote);
      }
      if (!exists)
        throw CallError("no object exists at the target",
                        CallError::Cause::remote);
      throw CallError("the target does not tell its interface (" +
                          exception_text(e) + "): give " + interface_hint +
                          ", or start its server with -ORBInitRef "
                          "InterfaceRepository=...",
                      CallError::Cause::remote);
    }
    if (CORBA::is_nil(idef))
      throw CallError(
          "the target's interface repository does not know its interface: "
          "give " +
              interface_hint,
          CallError::Cause::remote);
  }

  InterfaceOperations out;
  try {
    IRExt::InterfaceDef_var ext = IRExt::InterfaceDef::_unchecked_narrow(idef);
    try {
      IRExt::ExtFullInterfaceDescription_var d = ext->describe_ext_interface();
      out.id = d->id.in();
      add_operations(d->operations, out);
      for (CORBA::ULong i = 0; i < d->attributes.length(); ++i) {
        const IRExt::ExtAttributeDescription& a = d->attributes[i];
        add_attribute(a.name.in(), a.type, a.mode == CORBA::ATTR_READONLY,
                      a.defined_in.in(), out);
      }
    } catch (const CORBA::BAD_OPERATION&) {
      // Another repository: the standard descriptions, base by base.
      CORBA::Repository_var home = idef->containing_repository();
      std::set<std::string> done;
      add_standard_description(idef, home, done, out);
      CORBA::String_var id = idef->id();
      out.id = id.in();
    }
  } catch (const CORBA::SystemException& e) {
    throw CallError("reading the interface from its repository failed: " +
                        exception_text(e),
                    CallError::Cause::remote);
  }
  return out;
}

CallOutcome DynamicCaller::call(CORBA::Object_ptr target,
                                const CallableOperation& op, const json& args) {
  std::vector<const CallableOperation::Parameter*> inputs;
  std::vector<std::string> input_names;
  for (const CallableOperation::Parameter& p : op.parameters) {
    if (p.mode == CORBA::PARAM_OUT) continue;
    inputs.push_back(&p);
    input_names.push_back(p.name);
  }
  std::string takes = op.name + " takes " + std::to_string(inputs.size()) +
                      (inputs.size() == 1 ? " argument" : " arguments") + " (" +
                      joined(input_names, 100) + ")";
  // The JSON value and its path for every in and inout parameter.
  std::vector<std::pair<const json*, std::string>> given(inputs.size());
  static const json kNone;
  if (args.is_array()) {
    if (args.size() != inputs.size())
      throw CallError(takes + ", got " + std::to_string(args.size()));
    for (std::size_t i = 0; i < inputs.size(); ++i)
      given[i] = {&args[i], "args[" + std::to_string(i) + "]"};
  } else if (args.is_object()) {
    for (auto it = args.begin(); it != args.end(); ++it) {
      auto p = std::find_if(op.parameters.begin(), op.parameters.end(),
                            [&](const CallableOperation::Parameter& q) {
                              return q.name == it.key();
                            });
      if (p == op.parameters.end())
        throw CallError(op.name + " has no parameter '" + it.key() + "'; " +
                        takes);
      if (p->mode == CORBA::PARAM_OUT)
        throw CallError("'" + it.key() +
                        "' is an out parameter: its value comes back in "
                        "\"out\"");
    }
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      auto it = args.find(inputs[i]->name);
      if (it == args.end())
        throw CallError("missing argument '" + inputs[i]->name + "'; " + takes);
      given[i] = {&*it, "args." + inputs[i]->name};
    }
  } else if (args.is_null()) {
    if (!inputs.empty()) throw CallError("missing arguments; " + takes);
  } else {
    throw CallError("the arguments must be a JSON array or object, got " +
                    json_preview(args));
  }

  CORBA::Request_var req = target->_request(op.name.c_str());
  std::size_t next = 0;
  for (const CallableOperation::Parameter& p : op.parameters) {
    CORBA::Any_var value;
    try {
      if (p.mode == CORBA::PARAM_OUT) {
        // An out argument only carries its type to the ORB.
        value = codec_.to_any(codec_.sample(p.type), p.type, "out." + p.name);
      } else {
        value = codec_.to_any(*given[next].first, p.type, given[next].second);
        ++next;
      }
    } catch (const ValueError& e) {
      throw CallError(e.what());
    }
    switch (p.mode) {
      case CORBA::PARAM_IN:
        req->add_in_arg(p.name.c_str()) = value.in();
        break;
      case CORBA::PARAM_INOUT:
        req->add_inout_arg(p.name.c_str()) = value.in();
        break;
      case CORBA::PARAM_OUT:
        req->add_out_arg(p.name.c_str()) = value.in();
        break;
    }
  }
  req->set_return_type(op.result);
  for (const CORBA::TypeCode_var& e : op.exceptions) req->exceptions()->add(e);

  CallOutcome outcome;
  try {
    if (op.oneway) {
      req->send_oneway();
      outcome.json = json{{"out", json::object()}};
      return outcome;
    }
    req->invoke();
  } catch (const CORBA::SystemException& e) {
    outcome.json = system_exception_json(e);
    outcome.status = 1;
    return outcome;
  }
  try {
    CORBA::Exception* raised = req->env()->exception();
    if (const auto* sys = CORBA::SystemException::_downcast(raised)) {
      outcome.json = system_exception_json(*sys);
      outcome.status = 1;
      return outcome;
    }
    if (auto* user = CORBA::UnknownUserException::_downcast(raised)) {
      CORBA::Any& members = user->exception();
      CORBA::TypeCode_var tc = members.type();
      outcome.json = json{{"exception", tc->id()},
                          {"members", codec_.to_json(members, "members")}};
      outcome.status = 3;
      return outcome;
    }
    if (raised) {
      outcome.json =
          json{{"exception", raised->_rep_id()}, {"members", json::object()}};
      outcome.status = 3;
      return outcome;
    }
    CORBA::TypeCode_var result = op.result;
    CORBA::TypeCode_var kind = unaliased(result);
    if (kind->kind() != CORBA::tk_void)
      outcome.json["result"] = codec_.to_json(req->return_value(), "result");
    json out = json::object();
    CORBA::NVList_ptr list = req->arguments();
    for (CORBA::ULong i = 0; i < list->count(); ++i) {
      CORBA::NamedValue_ptr nv = list->item(i);
      if (!(nv->flags() & CORBA::ARG_OUT)) continue;  // in: not returned
      std::string name = nv->name();
      out[name] = codec_.to_json(*nv->value(), "out." + name);
    }
    outcome.json["out"] = out;
  } catch (const ValueError& e) {
    throw CallError("the reply of " + op.name + " cannot be shown: " + e.what(),
                    CallError::Cause::remote);
  } catch (const CORBA::SystemException& e) {
    throw CallError(
        "the reply of " + op.name + " cannot be read: " + exception_text(e),
        CallError::Cause::remote);
  }
  return outcome;
}

CallOutcome DynamicCaller::call(const CallRequest& request) {
  CORBA::Object_var target = resolve_target(
      request.target, request.naming_service, request.timeout_ms);
  InterfaceOperations ops = operations_of(target, request.interface);
  return call(target, ops.find(request.operation), request.args);
}

json DynamicCaller::describe(const InterfaceOperations& ops) {
  json list = json::array();
  for (const CallableOperation& op : ops.operations) {
    std::string signature = op.oneway ? "oneway " : "";
    signature += type_text(op.result) + " " + op.name + "(";
    json args = json::array();
    for (std::size_t i = 0; i < op.parameters.size(); ++i) {
      const CallableOperation::Parameter& p = op.parameters[i];
      signature += std::string(i ? ", " : "") + mode_text(p.mode) + " " +
                   type_text(p.type) + " " + p.name;
      if (p.mode != CORBA::PARAM_OUT) args.push_back(codec_.sample(p.type));
    }
    signature += ")";
    for (std::size_t i = 0; i < op.exceptions.size(); ++i)
      signature += (i ? ", " : " raises (") + type_text(op.exceptions[i]) +
                   (i + 1 == op.exceptions.size() ? ")" : "");
    list.push_back(json{{"operation", op.name},
                        {"signature", signature},
                        {"args", args},
                        {"oneway", op.oneway},
                        {"defined_in", op.defined_in}});
  }
  return list;
}
