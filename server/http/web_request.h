// One HTTP request as the web view's handlers see it, their reply, and
// the error they throw for a request they refuse.
#ifndef IR_SERVER_HTTP_WEB_REQUEST_H
#define IR_SERVER_HTTP_WEB_REQUEST_H

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "http/url_codec.h"

// A refusal with its HTTP status (4xx, or 502 for the call gateway's
// unreachable targets) and a message for the user.  The
// server turns it into a JSON body under /api/ and a page elsewhere.
class HttpError : public std::runtime_error {
 public:
  HttpError(int status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

struct WebRequest {
  std::string method;                 // "GET", "HEAD", or "POST"
  std::string path;                   // as sent, before any '?'
  std::vector<std::string> segments;  // the path's decoded segments
  QueryParams query;                  // decoded, in the order sent
  // For POST: the body, and the headers that say what it is and where
  // it comes from ("" when absent).
  std::string body;
  std::string content_type;
  std::string origin;
  std::string host;
  std::string peer;  // the client's "ADDR:PORT"
};

struct WebReply {
  int status = 200;
  std::string media_type = "text/html; charset=utf-8";
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;
};

// What answers the requests that WebServer lets through (WebSite).
class WebHandler {
 public:
  virtual ~WebHandler() = default;
  // The reply to a request; throws HttpError for refusals, anything else
  // for internal errors.  Called from several threads at once.
  virtual WebReply answer(const WebRequest& request) = 0;
  // The reply that reports a refusal with `status` (4xx, or 500 for an
  // internal error, whose message then holds no details).
  virtual WebReply error_reply(const std::string& path, int status,
                               const std::string& message) = 0;
};

// Reads the query parameters of a request: each getter names one
// parameter a handler accepts; finish() refuses any other.  Every refusal
// is an HttpError 400 that names the parameter.
class QueryReader {
 public:
  explicit QueryReader(const WebRequest& request) : query_(request.query) {}

  // The value of `name` ("" when absent); given twice is an error.
  std::string text(const std::string& name);
  // Every value of `name`, in the order given.
  std::vector<std::string> all(const std::string& name);
  // A number from 0 to `max`; `fallback` when absent.
  unsigned long number(const std::string& name, unsigned long fallback,
                       unsigned long max);
  // "1", "true", "yes", "on" or "" (present without a value) are true;
  // "0", "false", "no", "off" false; absent is `fallback`.
  bool flag(const std::string& name, bool fallback = false);
  // Throws for a parameter no getter asked for.
  void finish() const;

 private:
  const QueryParams& query_;
  std::vector<std::string> known_;
};

#endif
