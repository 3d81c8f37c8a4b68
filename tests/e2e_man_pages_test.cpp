// The man pages document every option that --help shows: irserver(8) for
// irserver's, irctl(1) for irctl's and each of its commands'.  The pages'
// sources are read from debian/man in the source tree.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>
#include <vector>

#include "e2e_server.h"

namespace {

std::string man_source(const std::string& page) {
  std::string text =
      read_file(std::string(IR_SOURCE_DIR) + "/debian/man/" + page + ".md");
  EXPECT_FALSE(text.empty()) << page;
  return text;
}

// The options a help text names: "--name" and "-x" tokens that start a
// word.  omniORB's options are one family: every "-ORB..." is "-ORB".
std::set<std::string> options_in(const std::string& help) {
  std::set<std::string> found;
  std::regex option("(^|[\\s\\[(,|])(--?[A-Za-z][A-Za-z0-9-]*)");
  for (auto it = std::sregex_iterator(help.begin(), help.end(), option);
       it != std::sregex_iterator(); ++it) {
    std::string name = (*it)[2].str();
    found.insert(name.compare(0, 4, "-ORB") == 0 ? "-ORB" : name);
  }
  return found;
}

// True when `page` names `option` as a word of its own.
bool documents(const std::string& page, const std::string& option) {
  std::regex word("(^|[^A-Za-z0-9-])" + option + "($|[^A-Za-z0-9-])");
  return std::regex_search(page, word);
}

// The commands listed in irctl's help: the first word of each indented
// line after a line that ends in "commands:" (any case), up to a blank
// line.
std::vector<std::string> irctl_commands(const std::string& help) {
  std::vector<std::string> commands;
  bool in_list = false;
  std::regex heading(".*commands:\\s*", std::regex::icase);
  std::regex entry("\\s+([a-z][a-z-]*)\\b.*");
  for (const std::string& line : text_lines(help)) {
    std::smatch m;
    if (std::regex_match(line, heading)) {
      in_list = true;
    } else if (line.empty()) {
      in_list = false;
    } else if (in_list && std::regex_match(line, m, entry)) {
      commands.push_back(m[1]);
    }
  }
  return commands;
}

TEST(ManPages, IrserverPageDocumentsEveryOptionOfHelp) {
  ProcessResult help = run_irserver({"--help"});
  ASSERT_EQ(help.status(), 0) << help.describe();
  std::set<std::string> options = options_in(help.out);
  EXPECT_GT(options.size(), 10u);
  std::string page = man_source("irserver.8");
  for (const std::string& option : options)
    EXPECT_TRUE(documents(page, option))
        << option << " is missing from debian/man/irserver.8.md";
}

TEST(ManPages, IrctlPageDocumentsEveryOptionOfEveryCommand) {
  ProcessResult help = run_process({irctl_path(), "--help"});
  ASSERT_EQ(help.status(), 0) << help.describe();
  std::vector<std::string> commands = irctl_commands(help.out);
  EXPECT_GE(commands.size(), 8u) << help.out;
  std::string page = man_source("irctl.1");
  std::set<std::string> options = options_in(help.out);
  for (const std::string& command : commands) {
    EXPECT_TRUE(documents(page, command))
        << "command " << command << " is missing from debian/man/irctl.1.md";
    ProcessResult sub = run_process({irctl_path(), command, "--help"});
    EXPECT_EQ(sub.status(), 0) << command << sub.describe();
    for (const std::string& o : options_in(sub.out)) options.insert(o);
  }
  for (const std::string& option : options)
    EXPECT_TRUE(documents(page, option))
        << option << " is missing from debian/man/irctl.1.md";
}

}  // namespace
