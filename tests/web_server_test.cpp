// The HTTP front end on its own, with a handler of the test's: limits,
// methods, error replies, internal errors, ETags, security headers.  The
// web view's own pages are the end-to-end tests' (e2e_web_test.cpp).
#include "http/web_server.h"

#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <atomic>
#include <chrono>
#include <string>

#include "http_client.h"

namespace {

class TestHandler : public WebHandler {
 public:
  std::atomic<int> calls{0};

  WebReply answer(const WebRequest& request) override {
    ++calls;
    const std::string& p = request.path;
    if (p == "/boom" || p == "/api/boom")
      throw std::runtime_error("secret detail of the failure");
    if (p == "/corba") throw CORBA::INTERNAL(7, CORBA::COMPLETED_NO);
    if (p == "/int") throw 42;
    if (p == "/api/refuse") throw HttpError(400, "bad parameter 'x'");
    WebReply reply;
    reply.media_type = "text/plain; charset=utf-8";
    std::string text;
    for (const std::string& s : request.segments) text += "|" + s;
    for (const auto& q : request.query) text += "|" + q.first + "=" + q.second;
    reply.body = text;
    return reply;
  }

  WebReply error_reply(const std::string& path, int status,
                       const std::string& message) override {
    WebReply reply;
    reply.status = status;
    bool api = path.compare(0, 5, "/api/") == 0;
    reply.media_type = api ? "application/json" : "text/html; charset=utf-8";
    reply.body =
        (api ? "{\"message\": \"" : "<p>") + message + (api ? "\"}" : "</p>");
    return reply;
  }
};

class WebServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HttpAddress address;
    ASSERT_EQ(parse_http_address("127.0.0.1:0", &address), "");
    server_ = std::make_unique<WebServer>(address, handler_);
    ASSERT_EQ(server_->bind(), "");
    port_ = server_->port();
    ASSERT_GT(port_, 0);
    server_->start();
  }
  void TearDown() override { server_.reset(); }

  TestHandler handler_;
  std::unique_ptr<WebServer> server_;
  int port_ = 0;
};

TEST_F(WebServerTest, PassesDecodedRequestsAndAddsHeadersToEveryReply) {
  HttpReply r = http_get(port_, "/a%20b/c%2Fd?x=1+2&y=%3C");
  ASSERT_EQ(r.status, 200) << r.error;
  EXPECT_EQ(r.body, "|a b|c/d|x=1 2|y=<");
  EXPECT_EQ(server_->url(), "http://127.0.0.1:" + std::to_string(port_) + "/");

  for (const char* target : {"/ok", "/api/refuse", "/boom", "/nope%zz"}) {
    HttpReply reply = http_get(port_, target);
    SCOPED_TRACE(target);
    std::string csp = reply.header("Content-Security-Policy");
    EXPECT_NE(csp.find("default-src 'none'"), std::string::npos) << csp;
    EXPECT_NE(csp.find("script-src 'self'"), std::string::npos) << csp;
    EXPECT_EQ(csp.find("unsafe-inline"), std::string::npos) << csp;
    EXPECT_EQ(reply.header("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(reply.header("ETag").size(), 18u) << reply.header("ETag");
  }
}

TEST_F(WebServerTest, HeadGivesHeadersWithoutBodyAndEtagsGive304) {
  HttpReply get = http_get(port_, "/thing");
  ASSERT_EQ(get.status, 200);
  std::string tag = get.header("ETag");
  HttpReply head = http_request(port_, "HEAD", "/thing");
  EXPECT_EQ(head.status, 200);
  EXPECT_EQ(head.body, "");
  EXPECT_EQ(head.header("ETag"), "\"" + tag.substr(1, 16) + "\"");

  struct Row {
    std::string if_none_match;
    int status;
  } rows[] = {
      {tag, 304}, {"W/" + tag, 304},  {"\"other\", " + tag, 304},
      {"*", 304}, {"\"other\"", 200},
  };
  for (const Row& row : rows) {
    HttpReply r = http_request(port_, "GET", "/thing",
                               {{"If-None-Match", row.if_none_match}});
    EXPECT_EQ(r.status, row.status) << row.if_none_match;
    if (row.status == 304) {
      EXPECT_EQ(r.body, "");
    }
  }
  // Another resource has another tag; refusals are never 304.
  EXPECT_NE(http_get(port_, "/other").header("ETag"), tag);
  HttpReply refused =
      http_request(port_, "GET", "/api/refuse", {{"If-None-Match", "*"}});
  EXPECT_EQ(refused.status, 400);
}

TEST_F(WebServerTest, RefusesOtherMethodsAndOversizedRequestsWithAReply) {
  for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS",
                             "TRACE", "CONNECT", "FROB"}) {
    auto t0 = std::chrono::steady_clock::now();
    HttpReply r = http_request(port_, method, "/api/v1/overview", {}, "x=1");
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(3))
        << method << ": the connection stayed open";
    EXPECT_EQ(r.status, 405) << method << " " << r.error << r.body;
    EXPECT_EQ(r.header("Allow"), "GET, HEAD") << method;
    EXPECT_NE(r.body.find("read-only"), std::string::npos) << r.body;
  }

  int before = handler_.calls;
  std::string long_path = "/api/" + std::string(5000, 'a');
  std::string long_query = "/x?q=" + std::string(3000, 'b');
  std::string huge_line = "/api/" + std::string(9000, 'c');
  std::string many_headers, big_headers, huge_header;
  for (int i = 0; i < 80; ++i)
    many_headers += "X-H" + std::to_string(i) + ": 1\r\n";
  for (int i = 0; i < 5; ++i)
    big_headers +=
        "X-B" + std::to_string(i) + ": " + std::string(4000, 'v') + "\r\n";
  huge_header = "X-Huge: " + std::string(9000, 'h') + "\r\n";
  auto request = [](const std::string& target, const std::string& headers) {
    return "GET " + target + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n" +
           headers + "\r\n";
  };
  struct Row {
    const char* what;
    std::string bytes;
    int status;
  } rows[] = {
      {"long path", request(long_path, ""), 414},
      {"long query", request(long_query, ""), 414},
      {"request line over the library's limit", request(huge_line, ""), 414},
      {"many headers", request("/api/x", many_headers), 431},
      {"large headers", request("/api/x", big_headers), 431},
      {"one header over the library's limit", request("/api/x", huge_header),
       400},
      {"garbage", "\x01\x02 nonsense\r\n\r\n", 400},
      {"no version", "GET /\r\n\r\n", 400},
      {"bad escape", request("/api/%zz", ""), 400},
      {"empty segment", request("/api//x", ""), 400},
      {"bad query", request("/api/x?a=%", ""), 400},
  };
  for (const Row& row : rows) {
    auto t0 = std::chrono::steady_clock::now();
    HttpReply r = raw_http(port_, row.bytes);
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(3))
        << row.what << ": the connection stayed open";
    EXPECT_EQ(r.status, row.status) << row.what << ": " << r.error;
    EXPECT_FALSE(r.body.empty()) << row.what;
  }
  EXPECT_EQ(handler_.calls, before) << "an oversized request got through";
  // Under /api/ the refusals are JSON.
  HttpReply api = raw_http(port_, request(long_path, ""));
  EXPECT_EQ(api.header("Content-Type"), "application/json");
}

TEST_F(WebServerTest, InternalErrorsGiveAPlain500WithoutDetails) {
  for (const char* target : {"/boom", "/corba", "/int"}) {
    HttpReply r = http_get(port_, target);
    EXPECT_EQ(r.status, 500) << target;
    EXPECT_EQ(r.header("Content-Type"), "text/plain; charset=utf-8");
    EXPECT_EQ(r.body, "500 Internal Server Error\n") << target;
  }
  HttpReply api = http_get(port_, "/api/boom");
  EXPECT_EQ(api.status, 500);
  EXPECT_EQ(api.header("Content-Type"), "application/json");
  EXPECT_EQ(api.body.find("secret"), std::string::npos) << api.body;
  // The server goes on serving.
  EXPECT_EQ(http_get(port_, "/still").status, 200);
}

TEST(WebServerBind, NamesTheAddressItCannotUse) {
  TestHandler handler;
  HttpAddress any;
  ASSERT_EQ(parse_http_address("127.0.0.1:0", &any), "");
  WebServer first(any, handler);
  ASSERT_EQ(first.bind(), "");
  HttpAddress taken;
  ASSERT_EQ(
      parse_http_address("127.0.0.1:" + std::to_string(first.port()), &taken),
      "");
  WebServer second(taken, handler);
  std::string problem = second.bind();
  EXPECT_NE(problem.find("127.0.0.1:" + std::to_string(first.port())),
            std::string::npos)
      << problem;
  EXPECT_NE(problem.find("in use"), std::string::npos) << problem;
}

}  // namespace
