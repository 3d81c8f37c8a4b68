// The web view's routes: which request gets which page or JSON answer.
//
//   /                         overview          /api/v1/overview
//   /browse/                  the top level     /api/v1/contents/
//   /browse/A/B[?offset,limit] a definition     /api/v1/definitions/A/B
//                                               /api/v1/contents/A/B
//                                               /api/v1/used-by/A/B
//                                               /api/v1/derived-by/A/B
//   /id/<repository id>       302 to /browse/   /api/v1/ids/<repository id>
//   /search?q,match,in,icase,kind,offset,limit  /api/v1/search?...
//   /idl/[A/B][?deps=1]       IDL download      /api/v1/idl/A/B
//   /static/<file>            assets            /api/v1/openapi.json
//                                               POST /api/v1/call
//
// Only the methods GET and HEAD reach it (WebServer refuses the others),
// and POST on /api/v1/call: the call gateway, when enable_calls() has
// turned it on.
#ifndef IR_SERVER_HTTP_WEB_SITE_H
#define IR_SERVER_HTTP_WEB_SITE_H

#include <omniORB4/CORBA.h>

#include <memory>
#include <mutex>
#include <string>

#include "http/call_gateway.h"
#include "http/web_data.h"
#include "http/web_request.h"

class WebSite : public WebHandler {
 public:
  // `repository` is irserver's root object; its ORB must be running.
  WebSite(CORBA::ORB_ptr orb, CORBA::Object_ptr repository);
  ~WebSite() override;

  // Turns on the call gateway (POST /api/v1/call) and the call forms of
  // interface pages.  Call before the server starts.
  void enable_calls(const CallAllowList& allowed, unsigned long timeout_ms);

  // The reply to a request; throws HttpError for refusals, CORBA and
  // other exceptions for internal errors.  Thread-safe.
  WebReply answer(const WebRequest& request) override;

  // The reply that reports a refusal with `status`: a JSON body
  // {"error", "status", "message"} for paths under /api/, a page
  // elsewhere.
  WebReply error_reply(const std::string& path, int status,
                       const std::string& message) override;

 private:
  WebReply api(const WebRequest& request);
  WebReply overview(const WebRequest& request);
  WebReply browse(const WebRequest& request);
  WebReply by_id(const WebRequest& request);
  WebReply search(const WebRequest& request);
  WebReply idl_file(const WebRequest& request);
  WebReply asset(const WebRequest& request);
  WebReply call(const WebRequest& request);
  // The call form's data for the interface `c` (call_form.h).
  json call_form(CORBA::Contained_ptr c);

  // The definition named by the segments from `first` on; nil for none
  // (the top level).  HttpError 404 for an unknown name.
  CORBA::Contained_ptr named(const WebRequest& request, std::size_t first);
  WebSearch search_query(QueryReader& reader);

  WebData data_;
  CORBA::ORB_var orb_;
  CORBA::Object_var repository_;
  std::unique_ptr<CallGateway> gateway_;  // null: the gateway is off
  // Requests that read the repository take turns: the web view is its
  // second face, and a page is many calls, each of which an IIOP client
  // may have to wait for.  With one reader at a time an IIOP call waits
  // for at most one of them.
  std::mutex reading_;
};

#endif
