// End-to-end: the HTTP call gateway (POST /api/v1/call) of a real
// irserver, against the call test server (tests/idl/call_test.idl) and
// omniNames, with the IDL fed by irctl.  Every reply is checked whole:
// its status and its JSON body, which for a call that was made is what
// `irctl call` prints.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "e2e_call_fixture.h"
#include "e2e_fixture.h"
#include "e2e_server.h"
#include "http_client.h"
#include "json_schema.h"

using json = nlohmann::ordered_json;

namespace {

const char kIdlDir[] = "/usr/share/idl/omniORB";

struct Reply {
  int status;
  json body;
};

class GatewayE2E : public IrServerE2E {
 protected:
  // irserver with the gateway allowed to call 127.0.0.1 at `ports`.
  void StartIrserver(const std::vector<int>& ports,
                     const std::vector<std::string>& extra = {}) {
    std::string allow;
    for (int port : ports)
      allow += (allow.empty() ? "" : ",") + std::string("127.0.0.1:") +
               std::to_string(port);
    if (!allow.empty())
      irserver_.extra_args = {"--http-invoke", allow, "--http-invoke-timeout",
                              "5"};
    irserver_.extra_args.insert(irserver_.extra_args.end(), extra.begin(),
                                extra.end());
    ASSERT_EQ(irserver_.start(), "");
  }

  ProcessResult Irctl(std::vector<std::string> args) {
    args.insert(args.begin(), {irctl_path(), "--ir", irserver_.corbaloc()});
    return run_process(args, 30000);
  }

  void Feed(const std::vector<std::string>& files) {
    std::vector<std::string> args{"feed", "--quiet", "-I", kIdlDir};
    args.insert(args.end(), files.begin(), files.end());
    ProcessResult r = Irctl(args);
    ASSERT_EQ(r.status(), 0) << r.describe();
  }

  Reply Post(const std::string& body,
             const std::string& type = "application/json",
             std::vector<std::pair<std::string, std::string>> headers = {}) {
    headers.emplace_back("Content-Type", type);
    HttpReply r = http_request(irserver_.http_port(), "POST", "/api/v1/call",
                               headers, body);
    EXPECT_EQ(r.header("Content-Type"), "application/json") << r.body;
    json doc = json::parse(r.body, nullptr, false);
    EXPECT_FALSE(doc.is_discarded()) << r.status << " " << r.body;
    ExpectDocumented(r.status, r.body);
    return {r.status, doc};
  }

  // The reply as the OpenAPI document describes it for this status.
  void ExpectDocumented(int status, const std::string& body) {
    if (api_.is_null()) {
      api_ = nlohmann::json::parse(
          http_get(irserver_.http_port(), "/api/v1/openapi.json").body);
    }
    const nlohmann::json& responses =
        api_["paths"]["/api/v1/call"]["post"]["responses"];
    std::string code = std::to_string(status);
    ASSERT_TRUE(responses.contains(code)) << code << " is not documented";
    std::vector<std::string> errors = schema_errors(
        nlohmann::json::parse(body, nullptr, false),
        responses[code]["content"]["application/json"]["schema"], api_);
    EXPECT_TRUE(errors.empty()) << ::testing::PrintToString(errors) << body;
  }

  nlohmann::json api_;
  Reply Call(const json& request) { return Post(request.dump()); }

  IrServerProcess irserver_;
};

// An error reply: its status, and the message holding `text`.
void ExpectError(const Reply& r, int status, const std::string& text) {
  EXPECT_EQ(r.status, status) << r.body;
  EXPECT_EQ(r.body.value("status", 0), status) << r.body;
  EXPECT_NE(r.body.value("message", "").find(text), std::string::npos)
      << r.body;
}

TEST_F(GatewayE2E, CallsTheTestServerAndAnswersLikeIrctl) {
  int port = free_tcp_port();
  int dead = free_tcp_port();
  ASSERT_NO_FATAL_FAILURE(StartIrserver({port, dead}));
  ASSERT_NO_FATAL_FAILURE(Feed({test_source_file("idl/call_test.idl")}));
  Child server;
  std::string e = start_call_server(server, irserver_.corbaloc(), port);
  ASSERT_FALSE(e.empty());

  // Calls that are made: results, out parameters, a user exception
  // (200), a system exception (502), a timeout (504).
  const json nested = json::parse(
      R"([{"points":[{"x":1,"y":2}],"corner":{"x":5,"y":6},
          "cells":[[1,2,3],[4,5,6]],"rows":[[7,8],[]],
          "choices":[{"discriminator":3,"s":"s"}],"colors":["blue","red"],
          "texts":[{"s":"\u00e9","bounded":"","ws":"\u20ac","wbounded":""}]}])");
  const struct {
    json request;
    int status;
    json body;
  } kCalls[] = {
      {{{"target", e}, {"operation", "base_ping"}, {"args", {41}}},
       200,
       json::parse(R"({"result":42,"out":{}})")},
      {{{"target", e}, {"operation", "echo_nested"}, {"args", nested}},
       200,
       {{"result", nested[0]}, {"out", json::object()}}},
      {{{"target", e},
        {"operation", "swap"},
        {"args", {{"a", "x"}, {"b", "y"}}}},
       200,
       json::parse(R"({"out":{"a":"y","b":"x"}})")},
      {{{"target", e}, {"operation", "fail"}, {"args", {3, "no"}}},
       200,
       json::parse(R"({"exception":"IDL:CallTest/Failure:1.0",
                       "members":{"code":3,"reason":"no"}})")},
      {{{"target", e}, {"operation", "crash"}},
       502,
       json::parse(R"({"system_exception":"BAD_PARAM","minor":42,
                       "minor_text":"","completed":"NO"})")},
      {{{"target", e},
        {"operation", "_get_counter"},
        {"interface", "::CallTest::Everything"}},
       200,
       json::parse(R"({"result":0,"out":{}})")},
  };
  for (const auto& c : kCalls) {
    SCOPED_TRACE(c.request.dump());
    Reply r = Call(c.request);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.body, c.body);
  }
  Reply slow = Call({{"target", e},
                     {"operation", "sleep"},
                     {"args", {5000}},
                     {"timeout", 0.3}});
  EXPECT_EQ(slow.status, 504);
  EXPECT_EQ(slow.body["system_exception"], "TIMEOUT") << slow.body;

  // The very JSON that irctl call prints.
  ProcessResult irctl = Irctl({"call", e, "echo_nested", nested.dump()});
  ASSERT_EQ(irctl.status(), 0) << irctl.describe();
  EXPECT_EQ(
      json::parse(irctl.out),
      Call({{"target", e}, {"operation", "echo_nested"}, {"args", nested}})
          .body);

  // Bad requests: 400, 405, 413, 415, each with a JSON body.
  std::string nobody = "corbaloc::127.0.0.1:" + std::to_string(dead) + "/x";
  const struct {
    json request;
    int status;
    std::string message;
  } kBad[] = {
      {{{"target", e}, {"operation", "base_ping"}, {"args", {"x"}}},
       400,
       "args[0]: expected an integer (long), got \"x\""},
      {{{"target", e}, {"operation", "base_ping"}, {"args", json::array()}},
       400,
       "base_ping takes 1 argument (x), got 0"},
      {{{"target", e}, {"operation", "base_ping"}, {"args", {1, 2}}},
       400,
       "base_ping takes 1 argument (x), got 2"},
      {{{"target", e}, {"operation", "base_ping"}},
       400,
       "missing arguments; base_ping takes 1 argument (x)"},
      {{{"target", e},
        {"operation", "swap"},
        {"args", {{"a", "x"}, {"b", "y"}, {"c", 1}}}},
       400,
       "swap has no parameter 'c'"},
      {{{"target", e}, {"operation", "base_ping"}, {"args", {3000000000}}},
       400,
       "args[0]: 3000000000 is out of range for long"},
      {{{"target", e}, {"operation", "next_color"}, {"args", {"purple"}}},
       400,
       "args[0]: unknown enumerator \"purple\" of Color"},
      {{{"target", e},
        {"operation", "echo_unions"},
        {"args", json::parse(R"([{"by_long":{"discriminator":1},
             "by_short":{"discriminator":5},"by_ushort":{"discriminator":8,"other":true},
             "by_ulong":{"discriminator":1},"by_enum":{"discriminator":"green"},
             "by_bool":{"discriminator":false,"no":1},
             "by_char":{"discriminator":"a","a":1}}])")}},
       400,
       "args[0].by_long: missing member 'l' for discriminator 1"},
      {{{"target", e}, {"operation", "nope"}},
       400,
       "IDL:CallTest/Everything:1.0 has no operation 'nope'"},
      {{{"target", e}, {"operation", "base_ping"}, {"args", 5}},
       400,
       "\"args\" must be an array or an object, got number"},
      {{{"operation", "base_ping"}}, 400, "the request has no \"target\""},
      {{{"target", e}, {"operation", 7}},
       400,
       "\"operation\" must be a string"},
      {{{"target", e}, {"operation", "base_ping"}, {"arg", {1}}},
       400,
       "unknown field \"arg\""},
      {{{"target", "IOR:zz"}, {"operation", "base_ping"}},
       400,
       "'IOR:zz' is not a valid IOR or URL"},
      {{{"target", "some/name"}, {"operation", "base_ping"}},
       400,
       "give the naming service that resolves it as \"naming_service\""},
      {{{"target", e}, {"operation", "base_ping"}, {"timeout", -1}},
       400,
       "\"timeout\" must be a positive number of seconds"},
      {{{"target", e},
        {"operation", "base_ping"},
        {"interface", "::CallTest::Point"}},
       400,
       "'::CallTest::Point' is not an interface (it is a Struct)"},
      // Not on the allow-list: another port, the repository itself, a
      // naming service elsewhere.
      {{{"target", "corbaloc::127.0.0.1:1/x"}, {"operation", "base_ping"}},
       403,
       "the target at 127.0.0.1:1 is not on the call gateway's allow-list"},
      {{{"target", irserver_.corbaloc()}, {"operation", "destroy"}},
       403,
       "the target at 127.0.0.1:" + std::to_string(irserver_.port()) +
           " is not on"},
      {{{"target", "corbaname::10.9.8.7:2809#a/b"}, {"operation", "x"}},
       403,
       "the naming service at 10.9.8.7:2809 is not on"},
      {{{"target", "a/b"},
        {"operation", "x"},
        {"naming_service", "127.0.0.1:1"}},
       403,
       "the naming service at 127.0.0.1:1 is not on"},
      // Unreachable: 502.
      {{{"target", nobody}, {"operation", "base_ping"}, {"args", {1}}},
       502,
       "the target does not answer: CORBA::TRANSIENT"},
  };
  for (const auto& bad : kBad) {
    SCOPED_TRACE(bad.request.dump());
    ExpectError(Call(bad.request), bad.status, bad.message);
  }
  // With its interface given, the unreachable target is called and the
  // ORB's exception is the reply.
  Reply unreachable = Call({{"target", nobody},
                            {"operation", "base_ping"},
                            {"args", {1}},
                            {"interface", "IDL:CallTest/Everything:1.0"}});
  EXPECT_EQ(unreachable.status, 502);
  EXPECT_EQ(unreachable.body["system_exception"], "TRANSIENT")
      << unreachable.body;

  ExpectError(Post("{\"target\":"), 400, "the request is not JSON: ");
  ExpectError(Post("[1]"), 400, "the request must be a JSON object");
  ExpectError(Post(std::string(200, '[') + std::string(200, ']')), 400,
              "the request nests deeper than 100 levels");
  ExpectError(Post("{}", "text/plain"), 415,
              "send the call as Content-Type: application/json");
  ExpectError(
      Post("{}", "application/json", {{"Origin", "http://evil.example"}}), 403,
      "calls from pages of another site");
  Reply big = Post("{\"target\":\"" + std::string(70000, 'x') + "\"}");
  EXPECT_EQ(big.status, 413) << big.body;
  EXPECT_EQ(big.body.value("status", 0), 413);
  HttpReply get = http_get(irserver_.http_port(), "/api/v1/call");
  EXPECT_EQ(get.status, 405);
  EXPECT_EQ(get.header("Allow"), "POST");
  HttpReply post_elsewhere =
      http_request(irserver_.http_port(), "POST", "/api/v1/overview",
                   {{"Content-Type", "application/json"}}, "{}");
  EXPECT_EQ(post_elsewhere.status, 405);
  EXPECT_EQ(post_elsewhere.header("Allow"), "GET, HEAD");

  // Nothing above hurt either server.
  EXPECT_EQ(Call({{"target", e}, {"operation", "base_ping"}, {"args", {1}}})
                .body["result"],
            2);
}

TEST_F(GatewayE2E, ConnectionsBeyondTheListAreRefusedWhereverTheyComeFrom) {
  // The target is allowed, but it names an interface repository that is
  // not: the gateway must not follow it there.
  IrServerProcess elsewhere;
  elsewhere.http = false;
  ASSERT_EQ(elsewhere.start(), "");
  ProcessResult fed = run_process({irctl_path(), "--ir", elsewhere.corbaloc(),
                                   "feed", "--quiet", "-I", kIdlDir,
                                   test_source_file("idl/call_test.idl")});
  ASSERT_EQ(fed.status(), 0) << fed.describe();
  int port = free_tcp_port();
  std::string log = elsewhere.dir() + "/gateway.log";
  ASSERT_NO_FATAL_FAILURE(
      StartIrserver({port}, {"--log-requests", "--log", log}));
  Child server;
  std::string e = start_call_server(server, elsewhere.corbaloc(), port);
  ASSERT_FALSE(e.empty());
  ExpectError(Call({{"target", e}, {"operation", "base_ping"}, {"args", {1}}}),
              403,
              "a connection at 127.0.0.1:" + std::to_string(elsewhere.port()) +
                  " is not on the call gateway's allow-list");
  // An object reference inside the arguments that the ORB would have to
  // resolve through a naming service elsewhere.
  ASSERT_NO_FATAL_FAILURE(Feed({test_source_file("idl/call_test.idl")}));
  ExpectError(
      Call({{"target", e},
            {"operation", "echo_object"},
            {"args",
             {"corbaname::127.0.0.1:" + std::to_string(elsewhere.port()) +
              "#x"}},
            {"interface", "::CallTest::Everything"}}),
      403, "a connection at 127.0.0.1:" + std::to_string(elsewhere.port()));
  // The same server called with its interface from here works.
  Reply ok = Call({{"target", e},
                   {"operation", "base_ping"},
                   {"args", {1}},
                   {"interface", "::CallTest::Everything"}});
  EXPECT_EQ(ok.status, 200) << ok.body;
  EXPECT_EQ(ok.body["result"], 2);

  // With --log-requests each call is a line of the log, refusals too.
  std::string lines = read_file(log);
  EXPECT_NE(lines.find(" client=http:127.0.0.1:"), std::string::npos) << lines;
  EXPECT_NE(lines.find(" op=echo_object target=" + e), std::string::npos)
      << lines;
  EXPECT_NE(lines.find("outcome=HTTP-403"), std::string::npos) << lines;
  EXPECT_NE(lines.find("outcome=HTTP-200"), std::string::npos) << lines;
}

TEST_F(GatewayE2E, BindsResolvesAndListsNamesInOmniNames) {
  int port = free_tcp_port();
  int names_port = free_tcp_port();
  int other_port = free_tcp_port();
  ASSERT_NO_FATAL_FAILURE(StartIrserver({port, names_port}));
  ASSERT_NO_FATAL_FAILURE(Feed({std::string(kIdlDir) + "/COS/CosNaming.idl",
                                test_source_file("idl/call_test.idl")}));
  Child server, other, names;
  std::string e = start_call_server(server, irserver_.corbaloc(), port);
  std::string outside =
      start_call_server(other, irserver_.corbaloc(), other_port);
  std::string ns = start_omninames(names, names_port, irserver_.corbaloc());
  ASSERT_FALSE(e.empty() || outside.empty() || ns.empty());

  Reply context =
      Call({{"target", ns},
            {"operation", "bind_new_context"},
            {"args", json::parse(R"([[{"id":"apps","kind":""}]])")}});
  ASSERT_EQ(context.status, 200) << context.body;
  EXPECT_EQ(context.body["result"].get<std::string>().compare(0, 4, "IOR:"), 0);
  json path =
      json::parse(R"([{"id":"apps","kind":""},{"id":"e","kind":"obj"}])");
  EXPECT_EQ(
      Call({{"target", ns}, {"operation", "bind"}, {"args", {path, e}}}).body,
      json::parse(R"({"out":{}})"));
  json outside_path =
      json::parse(R"([{"id":"apps","kind":""},{"id":"outside","kind":""}])");
  ASSERT_EQ(Call({{"target", ns},
                  {"operation", "bind"},
                  {"args", {outside_path, outside}}})
                .status,
            200);

  // The name resolves through the naming service's own operation, as a
  // target with "naming_service", and as a corbaname URL.
  Reply resolved = Call(
      {{"target", ns}, {"operation", "resolve_str"}, {"args", {"apps/e.obj"}}});
  EXPECT_EQ(resolved.status, 200) << resolved.body;
  EXPECT_EQ(resolved.body["result"].get<std::string>().compare(0, 4, "IOR:"),
            0);
  std::string names_at = "127.0.0.1:" + std::to_string(names_port);
  EXPECT_EQ(Call({{"target", "apps/e.obj"},
                  {"naming_service", names_at},
                  {"operation", "base_ping"},
                  {"args", {9}}})
                .body,
            json::parse(R"({"result":10,"out":{}})"));
  EXPECT_EQ(Call({{"target", "corbaname::" + names_at + "#apps/e.obj"},
                  {"operation", "base_ping"},
                  {"args", {10}}})
                .body["result"],
            11);

  // The context lists its bindings.
  Reply listed = Call({{"target", "apps"},
                       {"naming_service", ns},
                       {"operation", "list"},
                       {"args", {10}}});
  EXPECT_EQ(listed.status, 200) << listed.body;
  EXPECT_EQ(listed.body["out"]["bl"].size(), 2u) << listed.body;
  EXPECT_EQ(listed.body["out"]["bi"], nullptr);

  // A missing name is the naming service's user exception as a call, and
  // a 400 as a target; a name that resolves to an object outside the
  // list is refused.
  Reply missing =
      Call({{"target", ns},
            {"operation", "resolve"},
            {"args", json::parse(R"([[{"id":"gone","kind":""}]])")}});
  EXPECT_EQ(missing.status, 200);
  EXPECT_EQ(missing.body["exception"],
            "IDL:omg.org/CosNaming/NamingContext/NotFound:1.0");
  ExpectError(Call({{"target", "gone"},
                    {"naming_service", ns},
                    {"operation", "base_ping"},
                    {"args", {1}}}),
              400, "the naming service at " + ns + " has no name 'gone'");
  ExpectError(Call({{"target", "apps/outside"},
                    {"naming_service", ns},
                    {"operation", "base_ping"},
                    {"args", {1}}}),
              403,
              "the object that 'apps/outside' names at 127.0.0.1:" +
                  std::to_string(other_port) + " is not on");
}

TEST_F(GatewayE2E, IsOffWithoutHttpInvoke) {
  ASSERT_NO_FATAL_FAILURE(StartIrserver({}));
  ASSERT_NO_FATAL_FAILURE(Feed({test_source_file("idl/call_test.idl")}));
  ExpectError(Call({{"target", irserver_.corbaloc()}, {"operation", "x"}}), 403,
              "the call gateway is off");
  HttpReply page =
      http_get(irserver_.http_port(), "/browse/CallTest/Everything");
  EXPECT_EQ(page.status, 200);
  EXPECT_NE(page.body.find("The call gateway is off"), std::string::npos);
  EXPECT_NE(page.body.find("data-operation=\"base_ping\""), std::string::npos);
}

}  // namespace
