// irserver's call gateway: POST /api/v1/call with {"target", "operation",
// "args"} calls an operation of any CORBA object, typed by this
// repository, and answers with the JSON that `irctl call` prints (the
// same DynamicCaller makes the call).
//
// The gateway lets HTTP clients reach the CORBA objects that irserver can
// reach, so it calls only objects at the addresses of its allow-list:
//  - before anything is contacted, every IIOP address of the target (the
//    profiles of an IOR or corbaloc URL, their alternate addresses and
//    SSL ports) must be on the list, and so must the naming service that
//    resolves a name; the object the name resolves to is checked the same
//    way before it is called;
//  - while the gateway calls, every connection that the ORB opens on the
//    calling thread is checked by a connection interceptor, so that
//    location forwards, a remote interface repository that the target
//    names, or corbaname references inside arguments cannot lead
//    anywhere else.
// A refusal is a 403 that names the address.
//
// Replies: 200 for a call that was made (its result, out parameters, or
// a user exception); 502 with the system exception's JSON when the
// target raised one (504 for TIMEOUT); otherwise {"error", "status",
// "message"}: 400 for a bad request (JSON, fields, target syntax,
// operation, arguments), 403 for an address not on the list, 415 for a
// body that is not application/json, 502 when the target or its naming
// service cannot be reached or fails.
#ifndef IR_SERVER_HTTP_CALL_GATEWAY_H
#define IR_SERVER_HTTP_CALL_GATEWAY_H

#include <omniORB4/CORBA.h>

#include <nlohmann/json.hpp>
#include <string>

#include "http/call_allow_list.h"
#include "http/web_request.h"

class CallGateway {
 public:
  // `repository` is irserver's root object (the types of every call come
  // from it); `timeout_ms` bounds each call, connecting included.
  // Installs the connection interceptor (once per process).
  CallGateway(CORBA::ORB_ptr orb, CORBA::Object_ptr repository,
              CallAllowList allowed, unsigned long timeout_ms);

  // Answers one POST /api/v1/call: a call that was made is the reply
  // (200, or 502/504 for a system exception); every other failure is an
  // HttpError (400, 403, 415, 502) that the server turns into an Error
  // body.  Thread-safe: each call has a caller of its own, and the
  // repository is read through its own locking.
  WebReply call(const WebRequest& request);

  // With --log-requests, each call is logged as a request line with
  // client=http:ADDR:PORT and outcome=HTTP-<status>.
  const CallAllowList& allowed() const { return allowed_; }
  unsigned long timeout_ms() const { return timeout_ms_; }

 private:
  WebReply answer(const WebRequest& request);

  CORBA::ORB_var orb_;
  CORBA::Repository_var repository_;
  CallAllowList allowed_;
  unsigned long timeout_ms_;
};

// The first address of `obj` that `allowed` does not hold, as
// "HOST:PORT" (or a description of a transport the gateway does not
// use); "" when every address is on the list.  Reads the reference only.
std::string refused_address(CORBA::Object_ptr obj,
                            const CallAllowList& allowed);

#endif
