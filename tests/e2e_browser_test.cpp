// The web view in a real browser: headless Chromium, driven through
// chromedriver, against a real irserver that holds the COS corpus or
// hostile definitions created over IIOP.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "e2e_corpus.h"
#include "e2e_fixture.h"
#include "e2e_hostile.h"
#include "http_client.h"
#include "png_check.h"
#include "webdriver.h"

namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;

// Fetches every page reachable from `start` through links to /browse/
// (pages of definitions and further pages of long contents lists), in
// the browser: each page is fetched and read with the browser's own HTML
// parser.  Returns {"definitions": [scoped names], "pages": n,
// "failures": [...]}.
const char kCrawlScript[] = R"js(
  var done = arguments[arguments.length - 1];
  var queue = [arguments[0]], seen = {}, definitions = {}, failures = [];
  var pages = 0, active = 0;
  seen[arguments[0]] = true;
  var parser = new DOMParser();
  function visit(url) {
    active++;
    fetch(url).then(function (reply) {
      if (!reply.ok) { failures.push(url + ": " + reply.status); return ""; }
      return reply.text();
    }).then(function (html) {
      pages++;
      var doc = parser.parseFromString(html, "text/html");
      var links = doc.querySelectorAll("a[href]");
      for (var i = 0; i < links.length; i++) {
        var target = new URL(links[i].getAttribute("href"),
                             location.origin + url);
        if (target.origin !== location.origin) {
          failures.push(url + " links outside: " + target.href);
          continue;
        }
        if (target.pathname.indexOf("/browse/") !== 0) continue;
        var key = target.pathname + target.search;
        if (seen[key]) continue;
        seen[key] = true;
        queue.push(key);
      }
      var path = new URL(url, location.origin).pathname;
      if (path.length > "/browse/".length) {
        var parts = path.substring("/browse/".length).split("/");
        definitions["::" + parts.map(decodeURIComponent).join("::")] = true;
      }
    }).catch(function (e) {
      failures.push(url + ": " + e);
    }).then(function () {
      active--;
      pump();
    });
  }
  function pump() {
    while (active < 4 && queue.length) visit(queue.shift());
    if (active === 0 && queue.length === 0)
      done({definitions: Object.keys(definitions), pages: pages,
            failures: failures});
  }
  pump();
)js";

// The scoped names of the definitions in an irctl JSON document (`irctl
// -o json ls -R` lists them under "definitions", find under "matches").
std::vector<std::string> irctl_names(const IrServerProcess& server,
                                     const std::vector<std::string>& args,
                                     const char* list) {
  std::vector<std::string> argv{irctl_path(), "--ir", server.corbaloc(), "-o",
                                "json"};
  argv.insert(argv.end(), args.begin(), args.end());
  ProcessResult r = run_process(argv);
  json doc = json::parse(r.out, nullptr, false);
  EXPECT_TRUE(doc.is_object()) << r.describe();
  std::vector<std::string> names;
  if (doc.is_object())
    for (const json& row : doc[list]) names.push_back(row["scoped_name"]);
  return names;
}

// Console messages of the level SEVERE since the last look.
std::vector<std::string> console_errors(Browser& browser) {
  std::vector<std::string> errors;
  for (const json& entry : browser.log())
    if (entry.value("level", "") == "SEVERE")
      errors.push_back(entry.value("message", ""));
  return errors;
}

// Where the tests leave their screenshots: the build directory when the
// tests run from ctest, else the working directory.
std::string screenshot_path(const std::string& name) {
  const char* build = std::getenv("IR_BUILD_DIR");
  fs::path dir = fs::path(build ? build : ".") / "screenshots";
  fs::create_directories(dir);
  return (dir / name).string();
}

void expect_real_screenshot(Browser& browser, const std::string& name) {
  std::string png = browser.screenshot();
  std::string path = screenshot_path(name);
  std::ofstream(path, std::ios::binary) << png;
  PngSummary s = summarize_png(png);
  ASSERT_EQ(s.error, "") << path;
  EXPECT_EQ(s.width, 1280u) << path;
  EXPECT_GT(s.height, 500u) << path;
  // Text, links, the header bar and the page: many colours, not one.
  EXPECT_GT(s.colours, 20u) << path;
}

class BrowserE2E : public IrServerE2E {
 protected:
  void SetUp() override {
    IrServerE2E::SetUp();
    ASSERT_EQ(server_.start(), "");
  }
  std::string url(const std::string& path) const {
    return server_.http_base() + path;
  }

  IrServerProcess server_;
};

TEST_F(BrowserE2E, CosCorpusIsBrowsableSearchableAndFreeOfConsoleErrors) {
  feed_corpus(server_);
  ASSERT_FALSE(HasFailure()) << "the corpus did not go in";
  Browser browser;
  ASSERT_EQ(browser.problem(), "");

  // Every definition that irctl lists is reached from the overview by
  // following links.
  browser.go(url("/"));
  json crawl = browser.run_async(kCrawlScript, json::array({"/"}));
  EXPECT_EQ(crawl["failures"], json::array()) << crawl["failures"].dump(1);
  std::set<std::string> reached;
  for (const json& name : crawl["definitions"]) reached.insert(name);
  std::vector<std::string> ls =
      irctl_names(server_, {"ls", "-R"}, "definitions");
  std::set<std::string> listed(ls.begin(), ls.end());
  ASSERT_GT(listed.size(), 1000u);
  std::vector<std::string> missing;
  std::set_difference(listed.begin(), listed.end(), reached.begin(),
                      reached.end(), std::back_inserter(missing));
  EXPECT_TRUE(missing.empty())
      << missing.size() << " definitions not reached, e.g. " << missing[0];
  EXPECT_EQ(reached.size(), listed.size());
  std::cout << "crawled " << crawl["pages"] << " pages, reached "
            << reached.size() << " definitions" << std::endl;

  // No page logs a console error: the overview, the lists, the search,
  // and a definition of every kind.
  std::vector<std::string> pages = {"/", "/browse/", "/search",
                                    "/search?q=*Naming*&icase=1",
                                    "/browse/CosNaming/NamingContext"};
  json overview =
      json::parse(http_get(server_.http_port(), "/api/v1/overview").body);
  for (const json& count : overview["counts"]) {
    std::string kind = count["kind"];
    HttpReply r = http_get(server_.http_port(),
                           "/api/v1/search?q=*&limit=1&kind=" + kind);
    json first = json::parse(r.body)["items"][0];
    std::string path = "/browse";
    std::string scoped = first["scoped_name"];
    for (std::size_t pos = 2; pos < scoped.size();) {
      std::size_t end = std::min(scoped.find("::", pos), scoped.size());
      path += "/" + scoped.substr(pos, end - pos);
      pos = end + 2;
    }
    pages.push_back(path);
  }
  browser.log();
  for (const std::string& page : pages) {
    browser.go(url(page));
    EXPECT_EQ(console_errors(browser), std::vector<std::string>()) << page;
    EXPECT_FALSE(browser.find("main h1").empty()) << page;
  }

  // The search form finds what irctl find finds.
  struct Search {
    std::string pattern;
    std::string kind;  // "" for any
    bool ignore_case;
  } searches[] = {{"*Context*", "Interface", false},
                  {"Cos*", "", false},
                  {"*Seq", "Alias", false},
                  {"*naming*", "", true}};
  for (const Search& s : searches) {
    SCOPED_TRACE(s.pattern + " " + s.kind);
    browser.go(url("/search"));
    std::vector<std::string> box = browser.find("#search-form input[name=q]");
    ASSERT_EQ(box.size(), 1u);
    browser.type(box[0], s.pattern);
    if (!s.kind.empty()) {
      std::vector<std::string> option = browser.find(
          "#search-form select[name=kind] option[value=" + s.kind + "]");
      ASSERT_EQ(option.size(), 1u);
      browser.click(option[0]);
    }
    if (s.ignore_case)
      browser.click(browser.find("#search-form input[name=icase]")[0]);
    browser.click_to_load(browser.find("#search-form button[type=submit]")[0]);
    std::vector<std::string> shown;
    while (true) {
      for (const std::string& cell :
           browser.find("table.list tbody tr td:nth-child(2) a"))
        shown.push_back("::" + browser.text(cell));
      std::vector<std::string> next = browser.find("nav.pager a.next");
      if (next.empty()) break;
      browser.click_to_load(next[0]);
    }
    std::vector<std::string> args{"find"};
    if (!s.kind.empty()) args.insert(args.end(), {"--kind", s.kind});
    if (s.ignore_case) args.push_back("-i");
    args.push_back(s.pattern);
    std::vector<std::string> expected = irctl_names(server_, args, "matches");
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(shown, expected);
    EXPECT_EQ(console_errors(browser), std::vector<std::string>());
  }

  browser.go(url("/"));
  expect_real_screenshot(browser, "overview.png");
  browser.go(url("/browse/CosNaming/NamingContext"));
  expect_real_screenshot(browser, "naming_context.png");
}

// Definitions whose names, ids and texts hold scripts: no page runs
// them (an alert would fail the next command; the policy would log a
// refused inline script) and every page shows them as text.
TEST_F(BrowserE2E, HostileDefinitionsRunNothing) {
  Guarded([&] {
    CORBA::Repository_var repo = repository_at(server_.corbaloc());
    hostile::create(repo);
  });
  ASSERT_FALSE(HasFailure());
  Browser browser;
  ASSERT_EQ(browser.problem(), "");
  browser.log();
  for (const std::string& page : hostile::pages()) {
    SCOPED_TRACE(page);
    browser.go(url(page));
    EXPECT_EQ(console_errors(browser), std::vector<std::string>());
    // No element came from the data: no image, no svg, no script but
    // the site's own.
    json counts = browser.run(
        "return [document.images.length, document.querySelectorAll('svg,"
        " i').length, document.scripts.length];");
    EXPECT_EQ(counts, json::array({0, 0, 1}));
  }
  browser.go(url("/browse/" + hostile::encode(hostile::kModuleName)));
  std::string body = browser.text(browser.find("main")[0]);
  EXPECT_NE(body.find(hostile::kModuleId), std::string::npos) << body;
  EXPECT_NE(body.find(hostile::kVersion), std::string::npos) << body;
  EXPECT_EQ(browser.title(),
            std::string(hostile::kModuleName) + " · Interface Repository");
}

}  // namespace
