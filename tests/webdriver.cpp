#include "webdriver.h"

#include <httplib.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

const char kElementKey[] = "element-6066-11e4-a52e-4f735466cecf";

std::string chromium_binary() {
  // The program itself rather than Debian's launcher script, which only
  // adds its own flags.
  if (access("/usr/lib/chromium/chromium", X_OK) == 0)
    return "/usr/lib/chromium/chromium";
  return "/usr/bin/chromium";
}

std::string base64_decode(const std::string& in) {
  static const std::string kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  unsigned buffer = 0;
  int bits = 0;
  for (char c : in) {
    std::size_t v = kAlphabet.find(c);
    if (v == std::string::npos) continue;  // '=', line breaks
    buffer = buffer << 6 | static_cast<unsigned>(v);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += static_cast<char>((buffer >> bits) & 0xFF);
    }
  }
  return out;
}

}  // namespace

Browser::Browser() {
  int port = free_tcp_port();
  driver_ = spawn_to_files({"chromedriver", "--port=" + std::to_string(port)},
                           dir_.file("chromedriver.out"),
                           dir_.file("chromedriver.err"));
  if (driver_ < 0) {
    problem_ =
        "cannot start chromedriver (is Debian's chromium-driver "
        "installed?)";
    return;
  }
  client_ = std::make_unique<httplib::Client>("127.0.0.1", port);
  client_->set_read_timeout(120, 0);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  bool ready = false;
  while (!ready && std::chrono::steady_clock::now() < deadline) {
    if (auto r = client_->Get("/status")) {
      json status = json::parse(r->body, nullptr, false);
      ready = !status.is_discarded() && status["value"].value("ready", false);
    }
    if (!ready) std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  if (!ready) {
    problem_ = "chromedriver did not become ready: " +
               read_file(dir_.file("chromedriver.err"));
    return;
  }
  json args = json::array(
      {"--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
       "--disable-background-networking", "--disable-component-update",
       "--disable-sync", "--no-first-run", "--window-size=1280,1000",
       "--user-data-dir=" + dir_.file("profile")});
  json capabilities = {{"capabilities",
                        {{"alwaysMatch",
                          {{"browserName", "chrome"},
                           {"goog:chromeOptions",
                            {{"binary", chromium_binary()}, {"args", args}}},
                           {"goog:loggingPrefs", {{"browser", "ALL"}}}}}}}};
  try {
    json value = command("POST", "/session", capabilities);
    session_ = value.value("sessionId", "");
    if (session_.empty()) problem_ = "no session: " + value.dump();
  } catch (const std::exception& e) {
    problem_ = std::string("cannot open a Chromium session: ") + e.what();
  }
}

Browser::~Browser() {
  if (!session_.empty()) {
    try {
      command("DELETE", "/session/" + session_);
    } catch (...) {
    }
  }
  if (driver_ > 0) {
    kill(driver_, SIGTERM);
    wait_for_process(driver_, 10000);
  }
}

Browser::json Browser::command(const std::string& method,
                               const std::string& path, const json& body) {
  httplib::Result r =
      method == "GET" ? client_->Get(path.c_str())
      : method == "DELETE"
          ? client_->Delete(path.c_str())
          : client_->Post(path.c_str(), body.is_null() ? "{}" : body.dump(),
                          "application/json");
  if (!r)
    throw std::runtime_error("chromedriver did not answer " + method + " " +
                             path);
  json reply = json::parse(r->body, nullptr, false);
  if (reply.is_discarded())
    throw std::runtime_error("chromedriver's reply is not JSON: " + r->body);
  json value = reply.contains("value") ? reply["value"] : json();
  if (r->status != 200) {
    std::string message = value.is_object() ? value.value("error", "") + ": " +
                                                  value.value("message", "")
                                            : r->body;
    throw std::runtime_error(method + " " + path + ": " + message);
  }
  return value;
}

void Browser::go(const std::string& url) {
  command("POST", "/session/" + session_ + "/url", {{"url", url}});
}

std::string Browser::current_url() {
  return command("GET", "/session/" + session_ + "/url").get<std::string>();
}

std::string Browser::title() {
  return command("GET", "/session/" + session_ + "/title").get<std::string>();
}

Browser::json Browser::run(const std::string& script, const json& args) {
  return command("POST", "/session/" + session_ + "/execute/sync",
                 {{"script", script}, {"args", args}});
}

Browser::json Browser::run_async(const std::string& script, const json& args,
                                 int timeout_ms) {
  command("POST", "/session/" + session_ + "/timeouts",
          {{"script", timeout_ms}});
  return command("POST", "/session/" + session_ + "/execute/async",
                 {{"script", script}, {"args", args}});
}

std::vector<std::string> Browser::find(const std::string& css) {
  json found = command("POST", "/session/" + session_ + "/elements",
                       {{"using", "css selector"}, {"value", css}});
  std::vector<std::string> ids;
  for (const json& e : found) ids.push_back(e.value(kElementKey, ""));
  return ids;
}

std::string Browser::text(const std::string& element) {
  return command("GET",
                 "/session/" + session_ + "/element/" + element + "/text")
      .get<std::string>();
}

std::string Browser::attribute(const std::string& element,
                               const std::string& name) {
  json v = command("GET", "/session/" + session_ + "/element/" + element +
                              "/attribute/" + name);
  return v.is_string() ? v.get<std::string>() : std::string();
}

void Browser::click(const std::string& element) {
  command("POST", "/session/" + session_ + "/element/" + element + "/click",
          json::object());
}

void Browser::click_to_load(const std::string& element) {
  std::string before = current_url();
  click(element);
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < deadline) {
    if (current_url() != before &&
        run("return document.readyState;") == "complete")
      return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  throw std::runtime_error("no new page loaded after a click on " + before);
}

void Browser::type(const std::string& element, const std::string& keys) {
  command("POST", "/session/" + session_ + "/element/" + element + "/value",
          {{"text", keys}});
}

void Browser::clear(const std::string& element) {
  command("POST", "/session/" + session_ + "/element/" + element + "/clear",
          json::object());
}

Browser::json Browser::log() {
  return command("POST", "/session/" + session_ + "/se/log",
                 {{"type", "browser"}});
}

std::string Browser::screenshot() {
  return base64_decode(command("GET", "/session/" + session_ + "/screenshot")
                           .get<std::string>());
}
