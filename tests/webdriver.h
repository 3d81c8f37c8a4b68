// Headless Chromium for the end-to-end tests, driven through
// chromedriver's WebDriver protocol (HTTP and JSON).
//
// A Browser starts its own chromedriver on a free port with a fresh
// profile directory, opens one session, and ends both with the object.
// Every command that fails throws std::runtime_error with WebDriver's
// message.
#ifndef IR_TESTS_WEBDRIVER_H
#define IR_TESTS_WEBDRIVER_H

#include <sys/types.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "e2e_server.h"

namespace httplib {
class Client;
}

class Browser {
 public:
  using json = nlohmann::json;

  Browser();
  ~Browser();
  Browser(const Browser&) = delete;
  Browser& operator=(const Browser&) = delete;

  // "" when the browser is ready, else why not.
  const std::string& problem() const { return problem_; }

  // Loads `url` and waits for the page (document ready state complete).
  void go(const std::string& url);
  std::string current_url();
  std::string title();

  // Runs `script` (a function body; `arguments` holds `args`) in the
  // page and returns its result.  The async form waits for the callback
  // passed as the last argument (up to `timeout_ms`).
  json run(const std::string& script, const json& args = json::array());
  json run_async(const std::string& script, const json& args = json::array(),
                 int timeout_ms = 60000);

  // Elements by CSS selector (WebDriver element ids).
  std::vector<std::string> find(const std::string& css);
  std::string text(const std::string& element);
  std::string attribute(const std::string& element, const std::string& name);
  void click(const std::string& element);
  // Clicks a link or button that loads another page and waits until the
  // new page has loaded (the URL changed and the document is complete).
  void click_to_load(const std::string& element);
  void type(const std::string& element, const std::string& keys);
  void clear(const std::string& element);

  // The browser's console and network messages since the last call:
  // objects with "level" ("SEVERE", "WARNING", "INFO") and "message".
  json log();
  // A PNG of the visible page.
  std::string screenshot();

 private:
  json command(const std::string& method, const std::string& path,
               const json& body = json());

  TempDir dir_;
  pid_t driver_ = -1;
  std::unique_ptr<httplib::Client> client_;
  std::string session_;
  std::string problem_;
};

#endif
