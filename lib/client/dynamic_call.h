// Calling an operation of any CORBA object with JSON arguments, typed by
// an interface repository: the DII request that `irctl call` (and
// irserver's HTTP gateway) sends, and the JSON it prints.
#ifndef IR_CLIENT_DYNAMIC_CALL_H
#define IR_CLIENT_DYNAMIC_CALL_H

#include <omniORB4/CORBA.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "client/repository_types.h"
#include "values/value_codec.h"

// A call that cannot be made or whose reply cannot be shown: a bad target,
// operation or argument, an object or naming service that does not
// answer.  what() is one line for the user; cause() tells whether the
// request was at fault or the objects it reached (the HTTP gateway
// answers 400 or 502).
class CallError : public std::runtime_error {
 public:
  enum class Cause { request, remote };
  explicit CallError(const std::string& what, Cause cause = Cause::request)
      : std::runtime_error(what), cause_(cause) {}
  Cause cause() const { return cause_; }

 private:
  Cause cause_;
};

// One operation as a client calls it; attributes become _get_NAME and,
// unless read-only, _set_NAME.
struct CallableOperation {
  struct Parameter {
    std::string name;
    CORBA::ParameterMode mode;
    CORBA::TypeCode_var type;
  };
  std::string name;  // the operation name on the wire
  bool oneway = false;
  CORBA::TypeCode_var result;  // tk_void for none
  std::vector<Parameter> parameters;
  std::vector<CORBA::TypeCode_var> exceptions;
  std::string defined_in;  // repository id of the declaring interface
};

struct InterfaceOperations {
  std::string id;  // the interface's repository id
  std::vector<CallableOperation> operations;
  std::vector<std::string> attributes;  // their names, for messages

  // The operation named `name`; throws CallError naming the operations
  // there are when there is none.
  const CallableOperation& find(const std::string& name) const;
};

// The result of a call that was made, as printed: {"result": R, "out":
// {...}} (no "result" for void), {"exception": ID, "members": {...}} for a
// user exception, {"system_exception": NAME, "minor": N, "minor_text": T,
// "completed": "NO"|"YES"|"MAYBE"} for a system exception.
struct CallOutcome {
  nlohmann::ordered_json json;
  int status = 0;  // 0 done, 1 system exception, 3 user exception
};

// What a client asks for: the whole call in one.
struct CallRequest {
  std::string target;          // IOR, corbaloc/corbaname URL, or a name
  std::string naming_service;  // where names are resolved ("": default)
  std::string interface;       // NAME|ID in the repository ("": ask)
  std::string operation;
  nlohmann::ordered_json args;   // array, object, or null for none
  unsigned long timeout_ms = 0;  // 0: no limit
};

// Makes calls with one ORB, taking types from one repository.  Not
// thread-safe (its type cache); the ORB and the repository outlive it.
class DynamicCaller {
 public:
  DynamicCaller(CORBA::ORB_ptr orb, CORBA::Repository_ptr repository);

  // The object that `target` names: an IOR, a corbaloc or corbaname URL,
  // or else a name ("a/b.kind") in the naming service `naming_service`
  // (a URL, or HOST:PORT for its corbaloc; "" for the ORB's NameService
  // initial reference).  Calls on the result are bounded by timeout_ms
  // (0: no limit).  Throws CallError.
  CORBA::Object_ptr resolve_target(const std::string& target,
                                   const std::string& naming_service,
                                   unsigned long timeout_ms);

  // The operations and attributes of the interface `interface` (a name
  // or id in the repository) or, when it is empty, of the interface that
  // `target` reports through _get_interface().  Inherited ones included.
  // Throws CallError.
  InterfaceOperations operations_of(CORBA::Object_ptr target,
                                    const std::string& interface);

  // Calls `op` on `target` with `args`: a JSON array of the in and inout
  // parameters in order, an object keyed by their names, or null when
  // there are none.  Throws CallError for bad arguments (naming their
  // path) and for replies that have no JSON form; exceptions raised by
  // the call are outcomes.
  CallOutcome call(CORBA::Object_ptr target, const CallableOperation& op,
                   const nlohmann::ordered_json& args);

  // resolve_target, operations_of, find and call in one.
  CallOutcome call(const CallRequest& request);

  // Every operation of `ops` with its IDL signature and a sample of its
  // arguments that call() accepts: [{"operation": NAME, "signature":
  // TEXT, "args": [...], "oneway": B, "defined_in": ID}, ...].
  nlohmann::ordered_json describe(const InterfaceOperations& ops);

  // The IDL text of a type, named as the repository names it.
  std::string type_text(CORBA::TypeCode_ptr tc) { return codec_.type_text(tc); }

  // A value of `tc` that call() accepts (zeros, empty strings, ...).
  nlohmann::ordered_json sample(CORBA::TypeCode_ptr tc) {
    return codec_.sample(tc);
  }

  // How messages name the ways to give an interface and a naming
  // service: irctl's options by default; the HTTP gateway names the
  // fields of its request.
  std::string interface_hint = "--interface NAME|ID";
  std::string naming_service_hint = "--ns URL";

 private:
  CORBA::ORB_ptr orb_;
  CORBA::Repository_var repository_;
  RepositoryTypes types_;
  ValueCodec codec_;
};

// True for an IOR or a URL that the ORB resolves itself (corbaloc:,
// corbaname:), case ignored.
bool is_object_url(const std::string& text);

// The URL of a naming service given as a URL or as HOST:PORT (its
// corbaloc); other text unchanged.
std::string naming_service_url(const std::string& text);

// The JSON of a system exception, as CallOutcome shows it.
nlohmann::ordered_json system_exception_json(const CORBA::SystemException& e);

#endif
