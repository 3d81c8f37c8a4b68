// irserver's HTTP front end: a cpp-httplib server with its own worker
// threads that answers GET and HEAD requests through a WebHandler (the
// web view's WebSite).
//
// Every request passes one function (WebServer::serve) that enforces the
// limits on the request line, the query and the headers, refuses other
// methods, turns the handler's refusals into 4xx replies (a JSON body
// under /api/, a page elsewhere) and anything unexpected into a plain
// 500 reply without details (the details go to the log), and adds the
// security headers and an ETag to every reply (If-None-Match gives 304).
#ifndef IR_SERVER_HTTP_WEB_SERVER_H
#define IR_SERVER_HTTP_WEB_SERVER_H

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "http/http_address.h"
#include "http/web_request.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

// The limits of what a request may send; larger requests get 414 (the
// target) or 431 (the headers) with a JSON body.
struct WebLimits {
  static constexpr std::size_t kTarget = 4096;  // path and query together
  static constexpr std::size_t kQuery = 2048;
  static constexpr std::size_t kHeaderCount = 64;
  static constexpr std::size_t kHeaderBytes = 16384;  // names and values
};

class WebServer {
 public:
  // Serves `handler` (which must outlive the server) at `address`.
  // Binds nothing yet.  Each worker thread runs `on_worker_start` (if
  // any) first.
  WebServer(const HttpAddress& address, WebHandler& handler,
            std::function<void()> on_worker_start = {});
  // Stops serving and joins the threads.
  ~WebServer();
  WebServer(const WebServer&) = delete;
  WebServer& operator=(const WebServer&) = delete;

  // Opens the listening socket.  Returns "", else why it cannot (naming
  // the address).
  std::string bind();
  // Starts accepting connections on a thread of its own; requests are
  // answered by the worker threads.
  void start();
  // Stops accepting, finishes the requests in progress, joins.
  void stop();

  // After bind(): the port (the chosen one for port 0) and the URL.
  int port() const { return port_; }
  std::string url() const;

 private:
  // The answer to one request, headers included.
  void serve(const httplib::Request& request, httplib::Response& response);
  WebReply answer(const httplib::Request& request);
  WebReply error_reply(const std::string& path, int status,
                       const std::string& message);

  HttpAddress address_;
  WebHandler& handler_;
  std::unique_ptr<httplib::Server> http_;
  std::thread listener_;
  int port_ = 0;
};

#endif
