// Every key of the option table is documented in irserver.conf(5), and
// every option in irserver(8).
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "server_options.h"

namespace {

std::string man_source(const std::string& page) {
  std::ifstream in(std::string(IR_SOURCE_DIR) + "/debian/man/" + page + ".md");
  std::ostringstream text;
  text << in.rdbuf();
  EXPECT_FALSE(text.str().empty()) << page;
  return text.str();
}

TEST(ConfigKeys, EveryKeyAndOptionHasItsManPageEntry) {
  std::string conf = man_source("irserver.conf.5");
  std::string server = man_source("irserver.8");
  for (const ServerOptionSpec& s : server_option_specs()) {
    // An entry of the page's list: the name in bold.
    EXPECT_NE(server.find(std::string("**--") + s.name + "**"),
              std::string::npos)
        << "--" << s.name << " has no entry in debian/man/irserver.8.md";
    if (s.config_key) {
      EXPECT_NE(conf.find(std::string("\n**") + s.config_key + "** = "),
                std::string::npos)
          << "key " << s.config_key
          << " has no entry in debian/man/irserver.conf.5.md";
    }
  }
}

}  // namespace
