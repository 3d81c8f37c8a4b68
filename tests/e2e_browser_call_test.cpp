// The call form of an interface page in headless Chromium: a target,
// fields made from the parameter types, the reply of the gateway shown
// on the page, and nothing refused by the page's security policy.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "e2e_call_fixture.h"
#include "e2e_fixture.h"
#include "webdriver.h"

namespace {

using json = nlohmann::json;

class BrowserCallE2E : public IrServerE2E {
 protected:
  // Opens the form of the operation `op`, fills its fields with `values`
  // in order (null keeps what the field holds), sends it, and returns
  // the status and the reply shown on the page.
  std::pair<std::string, std::string> Submit(
      Browser& browser, const std::string& op,
      const std::vector<const char*>& values) {
    std::string form = "#call-" + op;
    browser.run("document.querySelector(arguments[0]).open = true;",
                json::array({form}));
    std::vector<std::string> fields = browser.find(form + " [data-input]");
    EXPECT_EQ(fields.size(), values.size()) << op;
    for (std::size_t i = 0; i < fields.size() && i < values.size(); ++i) {
      if (!values[i]) continue;
      browser.clear(fields[i]);
      browser.type(fields[i], values[i]);
    }
    browser.click(browser.find(form + " button[type=submit]")[0]);
    for (int i = 0; i < 200; ++i) {
      json shown = browser.run(
          "var f = document.querySelector(arguments[0]);"
          "return [f.querySelector('.call-status').textContent,"
          "        f.querySelector('.call-result').textContent];",
          json::array({form}));
      std::string status = shown[0];
      if (!status.empty() && status != "calling...")
        return {status, shown[1].get<std::string>()};
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ADD_FAILURE() << "no reply shown for " << op;
    return {};
  }
};

TEST_F(BrowserCallE2E, FormCallsAnObjectAndShowsTheReply) {
  int port = free_tcp_port();
  IrServerProcess irserver;
  irserver.extra_args = {"--http-invoke", "127.0.0.1:" + std::to_string(port)};
  ASSERT_EQ(irserver.start(), "");
  ProcessResult fed = run_process(
      {irctl_path(), "--ir", irserver.corbaloc(), "feed", "--quiet", "-I",
       "/usr/share/idl/omniORB", test_source_file("idl/call_test.idl")});
  ASSERT_EQ(fed.status(), 0) << fed.describe();
  Child server;
  std::string everything = start_call_server(server, irserver.corbaloc(), port);
  ASSERT_FALSE(everything.empty());

  Browser browser;
  ASSERT_EQ(browser.problem(), "");
  browser.go(irserver.http_base() + "/browse/CallTest/Everything");
  browser.log();
  EXPECT_TRUE(browser.find(".gateway-off").empty());
  browser.type(browser.find("#call-target")[0], everything);

  // A number field and its result.
  auto ping = Submit(browser, "base_ping", {"41"});
  EXPECT_EQ(ping.first, "HTTP 200");
  EXPECT_EQ(json::parse(ping.second), json::parse(R"({"result":42,"out":{}})"));

  // An enum chosen from a list: its first enumerator is preselected.
  auto color = Submit(browser, "next_color", {nullptr});
  EXPECT_EQ(color.first, "HTTP 200");
  EXPECT_EQ(json::parse(color.second)["result"], "green");

  // A struct in a JSON text area, sent as its template with one member
  // changed.
  json primitives =
      json::parse(browser
                      .run("return document.querySelector(arguments[0]).value;",
                           json::array({"#call-echo_primitives textarea"}))
                      .get<std::string>());
  EXPECT_EQ(primitives["l"], 0);
  primitives["l"] = -7;
  primitives["c"] = "x";
  std::string text = primitives.dump();
  auto echoed = Submit(browser, "echo_primitives", {text.c_str()});
  EXPECT_EQ(echoed.first, "HTTP 200");
  EXPECT_EQ(json::parse(echoed.second)["result"], primitives);

  // A picture of the form with its reply, for people to look at.
  const char* build = std::getenv("IR_BUILD_DIR");
  std::filesystem::path shots =
      std::filesystem::path(build ? build : ".") / "screenshots";
  std::filesystem::create_directories(shots);
  std::ofstream(shots / "call_form.png", std::ios::binary)
      << browser.screenshot();

  // Nothing so far was refused by the page's security policy or failed.
  for (const json& entry : browser.log())
    EXPECT_NE(entry.value("level", ""), "SEVERE") << entry.dump();

  // A user exception and a bad argument are shown too.
  auto failed = Submit(browser, "fail", {"3", "no"});
  EXPECT_EQ(failed.first, "HTTP 200");
  EXPECT_EQ(json::parse(failed.second)["exception"],
            "IDL:CallTest/Failure:1.0");
  auto bad = Submit(browser, "base_ping", {"x"});
  EXPECT_EQ(bad.first, "HTTP 400");
  EXPECT_NE(
      bad.second.find("args[0]: expected an integer (long), got \\\"x\\\""),
      std::string::npos)
      << bad.second;
}

}  // namespace
