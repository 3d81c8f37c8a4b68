#include "http/web_server.h"

#include <httplib.h>
#include <omniORB4/CORBA.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>
#include <stdexcept>

#include "platform/qor_log.h"

namespace {

// Enough threads that a browser's handful of connections and a few
// scripts are served at once (each holds its connection while it is kept
// alive); reading the repository they take turns (WebSite).
constexpr std::size_t kWorkerThreads = 8;
constexpr int kWorkerNice = 10;

// Worker threads for the HTTP connections.  Each one is known to
// omniORB for its whole life, so that the colocated calls it makes into
// the repository find a thread of the ORB's own kind.
class WorkerPool : public httplib::TaskQueue {
 public:
  WorkerPool(std::size_t count, std::function<void()> on_start)
      : on_start_(std::move(on_start)) {
    for (std::size_t i = 0; i < count; ++i)
      threads_.emplace_back([this] { run(); });
  }
  ~WorkerPool() override { shutdown(); }

  void enqueue(std::function<void()> fn) override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      jobs_.push_back(std::move(fn));
    }
    ready_.notify_one();
  }

  void shutdown() override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (stopping_) return;
      stopping_ = true;
    }
    ready_.notify_all();
    for (std::thread& t : threads_)
      if (t.joinable()) t.join();
  }

 private:
  void run() {
    omni_thread::ensure_self self;
    // IIOP clients come first: the web view's threads yield the processor
    // to the ORB's upcall threads (Linux keeps a nice value per thread).
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)),
                kWorkerNice);
    if (on_start_) on_start_();
    while (true) {
      std::function<void()> job;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        ready_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
        if (jobs_.empty()) return;
        job = std::move(jobs_.front());
        jobs_.pop_front();
      }
      job();
    }
  }

  std::mutex mutex_;
  std::condition_variable ready_;
  std::deque<std::function<void()>> jobs_;  // guarded by mutex_
  bool stopping_ = false;                   // guarded by mutex_
  std::function<void()> on_start_;
  std::vector<std::thread> threads_;
};

const char kContentSecurityPolicy[] =
    "default-src 'none'; script-src 'self'; style-src 'self'; "
    "img-src 'self'; connect-src 'self'; form-action 'self'; "
    "base-uri 'none'; frame-ancestors 'none'";

const char kReadOnlyMessage[] =
    "the repository is read-only over HTTP: only GET and HEAD are accepted";

// A method name (an HTTP token of letters) that httplib does not know.
bool is_unknown_method(const std::string& method) {
  static const char* const kKnown[] = {"GET",    "HEAD",    "POST",    "PUT",
                                       "DELETE", "CONNECT", "OPTIONS", "TRACE",
                                       "PATCH",  "PRI"};
  if (method.empty() || method.size() > 32) return false;
  for (char c : method)
    if (!std::isalpha(static_cast<unsigned char>(c))) return false;
  for (const char* k : kKnown)
    if (method == k) return false;
  return true;
}

// The one path that takes POST: the call gateway.
const char kCallPath[] = "/api/v1/call";

bool is_api_path(const std::string& path) {
  return path == "/api" || path.compare(0, 5, "/api/") == 0;
}

// A strong entity tag of a reply: a 64-bit FNV-1a hash of its media type
// and body.
std::string entity_tag(const WebReply& reply) {
  std::uint64_t h = 1469598103934665603ull;
  auto mix = [&h](const std::string& s) {
    for (unsigned char c : s) {
      h ^= c;
      h *= 1099511628211ull;
    }
  };
  mix(reply.media_type);
  mix(reply.body);
  char text[24];
  std::snprintf(text, sizeof text, "\"%016llx\"",
                static_cast<unsigned long long>(h));
  return text;
}

// True when an If-None-Match header names `tag` (or is "*").
bool tag_matches(const std::string& header, const std::string& tag) {
  std::size_t pos = 0;
  while (pos < header.size()) {
    std::size_t comma = header.find(',', pos);
    if (comma == std::string::npos) comma = header.size();
    std::string item = header.substr(pos, comma - pos);
    std::size_t b = item.find_first_not_of(" \t");
    std::size_t e = item.find_last_not_of(" \t");
    item = b == std::string::npos ? "" : item.substr(b, e - b + 1);
    if (item.compare(0, 2, "W/") == 0) item.erase(0, 2);
    if (item == "*" || item == tag) return true;
    pos = comma + 1;
  }
  return false;
}

const char* reason_phrase(int status) {
  switch (status) {
    case 400:
      return "Bad Request";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 413:
      return "Payload Too Large";
    case 414:
      return "URI Too Long";
    case 415:
      return "Unsupported Media Type";
    case 416:
      return "Range Not Satisfiable";
    case 431:
      return "Request Header Fields Too Large";
    case 500:
      return "Internal Server Error";
    case 502:
      return "Bad Gateway";
    case 503:
      return "Service Unavailable";
    case 504:
      return "Gateway Timeout";
    default:
      return status < 500 ? "Bad Request" : "Internal Server Error";
  }
}

void log_internal_error(const std::string& target, const std::string& what) {
  std::string text = "HTTP " + target + ": " + what;
  QORLogError(__FILE__, __LINE__, text.c_str());
}

}  // namespace

WebServer::WebServer(const HttpAddress& address, WebHandler& handler,
                     std::function<void()> on_worker_start)
    : address_(address), handler_(handler), http_(new httplib::Server) {
  http_->new_task_queue = [on_worker_start] {
    return new WorkerPool(kWorkerThreads, on_worker_start);
  };
  http_->set_keep_alive_timeout(2);
  http_->set_keep_alive_max_count(100);
  http_->set_read_timeout(5, 0);
  http_->set_write_timeout(5, 0);
  http_->set_payload_max_length(64 * 1024);
  http_->set_tcp_nodelay(true);
  // SO_REUSEADDR so that a restart finds its port free at once, but not
  // httplib's default SO_REUSEPORT, which would let a second server bind
  // the same port and take half of the first one's connections.
  http_->set_socket_options([](int sock) {
    int yes = 1;
    setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  http_->set_default_headers({
      {"Content-Security-Policy", kContentSecurityPolicy},
      {"X-Content-Type-Options", "nosniff"},
      {"X-Frame-Options", "DENY"},
      {"Referrer-Policy", "no-referrer"},
      {"Cross-Origin-Resource-Policy", "same-origin"},
  });
  http_->set_pre_routing_handler(
      [this](const httplib::Request& request, httplib::Response& response) {
        // A call's body is read after routing (the request's size limit
        // applies): the POST handler below serves it.
        if (request.method == "POST" &&
            request.target.substr(0, request.target.find('?')) == kCallPath)
          return httplib::Server::HandlerResponse::Unhandled;
        serve(request, response);
        return httplib::Server::HandlerResponse::Handled;
      });
  http_->Post(kCallPath, [this](const httplib::Request& request,
                                httplib::Response& response) {
    serve(request, response);
  });
  // Requests that httplib itself refuses before routing (a request line
  // or a header line over its limits, a malformed request, a bad Range)
  // get a JSON body too; replies of ours already have one.
  http_->set_error_handler(httplib::Server::HandlerWithResponse(
      [this](const httplib::Request& request, httplib::Response& response) {
        if (!response.body.empty())
          return httplib::Server::HandlerResponse::Unhandled;
        // httplib reads a method it does not know as a malformed request;
        // it is a method this server does not allow.
        if (response.status == 400 && is_unknown_method(request.method)) {
          response.status = 405;
          response.set_header("Allow", "GET, HEAD");
        }
        std::string message = response.status == 405
                                  ? kReadOnlyMessage
                                  : reason_phrase(response.status);
        WebReply reply =
            error_reply(request.path.empty() ? "/api/" : request.path,
                        response.status, message);
        response.set_content(reply.body, reply.media_type);
        return httplib::Server::HandlerResponse::Handled;
      }));
}

WebServer::~WebServer() { stop(); }

std::string WebServer::bind() {
  std::string host = address_.host.empty() ? "0.0.0.0" : address_.host;
  errno = 0;
  if (address_.port == 0) {
    port_ = http_->bind_to_any_port(host);
    if (port_ > 0) return std::string();
  } else if (http_->bind_to_port(host, address_.port)) {
    port_ = address_.port;
    return std::string();
  }
  int error = errno;
  return "cannot listen for HTTP on " + address_.text() + ": " +
         (error ? std::strerror(error) : "the address is not available");
}

void WebServer::start() {
  listener_ = std::thread([this] { http_->listen_after_bind(); });
}

void WebServer::stop() {
  if (!listener_.joinable()) return;
  http_->stop();
  listener_.join();
}

std::string WebServer::url() const { return http_url(address_.host, port_); }

WebReply WebServer::error_reply(const std::string& path, int status,
                                const std::string& message) {
  try {
    return handler_.error_reply(path, status, message);
  } catch (...) {
    WebReply reply;
    reply.status = status;
    reply.media_type = "text/plain; charset=utf-8";
    reply.body = std::to_string(status) + " " + reason_phrase(status) + "\n";
    return reply;
  }
}

WebReply WebServer::answer(const httplib::Request& request) {
  const std::string& target = request.target;
  if (target.size() > WebLimits::kTarget)
    throw HttpError(414, "the request target is longer than " +
                             std::to_string(WebLimits::kTarget) + " bytes");
  std::size_t question = target.find('?');
  std::string path = target.substr(0, question);
  std::string query =
      question == std::string::npos ? "" : target.substr(question + 1);
  if (query.size() > WebLimits::kQuery)
    throw HttpError(414, "the query is longer than " +
                             std::to_string(WebLimits::kQuery) + " bytes");
  std::size_t header_bytes = 0;
  for (const auto& h : request.headers)
    header_bytes += h.first.size() + h.second.size();
  if (request.headers.size() > WebLimits::kHeaderCount ||
      header_bytes > WebLimits::kHeaderBytes)
    throw HttpError(
        431, "the request has more than " +
                 std::to_string(WebLimits::kHeaderCount) + " headers or " +
                 std::to_string(WebLimits::kHeaderBytes) + " bytes of them");
  if (request.method == "POST"
          ? path != kCallPath
          : request.method != "GET" && request.method != "HEAD")
    throw HttpError(405,
                    "the repository is read-only over HTTP: only GET "
                    "and HEAD are accepted (and POST on /api/v1/call)");
  WebRequest web;
  web.method = request.method;
  web.path = path;
  if (request.method == "POST") {
    web.body = request.body;
    web.content_type = request.get_header_value("Content-Type");
    web.origin = request.get_header_value("Origin");
    web.host = request.get_header_value("Host");
    web.peer = (request.remote_addr.find(':') != std::string::npos
                    ? "[" + request.remote_addr + "]"
                    : request.remote_addr) +
               ":" + std::to_string(request.remote_port);
  }
  std::string problem = split_path(path, &web.segments);
  if (problem.empty()) problem = parse_query(query, &web.query);
  if (!problem.empty()) throw HttpError(400, problem);
  return handler_.answer(web);
}

void WebServer::serve(const httplib::Request& request,
                      httplib::Response& response) {
  const std::string& target = request.target;
  std::string path = target.substr(0, target.find('?'));
  // An oversized path is not echoed back; only whether it was the API's.
  if (path.size() > WebLimits::kTarget)
    path = is_api_path(path) ? "/api/" : "/";
  WebReply reply;
  try {
    reply = answer(request);
  } catch (const HttpError& e) {
    reply = error_reply(path, e.status(), e.what());
    if (e.status() == 405)
      reply.headers.emplace_back("Allow",
                                 path == kCallPath ? "POST" : "GET, HEAD");
  } catch (const CORBA::TRANSIENT&) {
    // The repository is starting or stopping.
    reply = error_reply(path, 503, "the repository is not available now");
    reply.headers.emplace_back("Retry-After", "1");
  } catch (const CORBA::Exception& e) {
    log_internal_error(path, std::string("CORBA::") + e._name());
    reply = error_reply(path, 500, "internal error");
  } catch (const std::exception& e) {
    log_internal_error(path, e.what());
    reply = error_reply(path, 500, "internal error");
  } catch (...) {
    log_internal_error(path, "unknown exception");
    reply = error_reply(path, 500, "internal error");
  }
  if (reply.status == 500 && !is_api_path(path)) {
    reply.media_type = "text/plain; charset=utf-8";
    reply.body = "500 Internal Server Error\n";
  }

  // The reply to a call is not a resource's state: no tag, no caching.
  if (request.method == "POST") {
    response.set_header("Cache-Control", "no-store");
    for (const auto& h : reply.headers) response.set_header(h.first, h.second);
    response.status = reply.status;
    response.set_content(reply.body, reply.media_type);
    return;
  }
  std::string tag = entity_tag(reply);
  response.set_header("ETag", tag);
  response.set_header("Cache-Control", "no-cache");
  for (const auto& h : reply.headers) response.set_header(h.first, h.second);
  if (reply.status == 200 && request.has_header("If-None-Match") &&
      tag_matches(request.get_header_value("If-None-Match"), tag)) {
    response.status = 304;
    return;
  }
  response.status = reply.status;
  response.set_content(reply.body, reply.media_type);
}
