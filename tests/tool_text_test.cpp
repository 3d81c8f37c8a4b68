// irctl's pieces that need no server: suggestions, repository addresses,
// documentation comments of IDL files, tables and counts.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "cli.h"
#include "client/suggest.h"
#include "command_support.h"
#include "idl_comments.h"

namespace {

TEST(Suggestions, ClosestWordIsATypingMistakeAway) {
  const std::vector<std::string>& commands = command_names();
  const std::pair<const char*, const char*> cases[] = {
      {"lss", "ls"},
      {"descibe", "describe"},
      {"dsecribe", "describe"},
      {"LS", "ls"},
      {"fed", "feed"},
      {"pign", "ping"},
      {"chidlren", "children"},
      {"frobnicate", ""},
      {"x", ""},
      {"backupp", "backup"},
      {"idk", "idl"},
      {"rn", "rm"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(closest_word(c.first, commands), c.second) << c.first;
  EXPECT_EQ(edit_distance("abc", "acb"), 1u);
  EXPECT_EQ(edit_distance("", "abc"), 3u);
  EXPECT_EQ(edit_distance("Zoo", "zoo"), 0u);
}

TEST(RepositoryAddresses, HostPortAndKeylessCorbalocMeanTheRepositoryKey) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"localhost:2810", "corbaloc::localhost:2810/InterfaceRepository"},
      {"10.1.2.3:99", "corbaloc::10.1.2.3:99/InterfaceRepository"},
      {"[::1]:2810", "corbaloc::[::1]:2810/InterfaceRepository"},
      {"corbaloc::h:2810", "corbaloc::h:2810/InterfaceRepository"},
      {"corbaloc::h:2810/", "corbaloc::h:2810/InterfaceRepository"},
      {"corbaloc:iiop:h:2810", "corbaloc:iiop:h:2810/InterfaceRepository"},
      {"corbaloc::h", "corbaloc::h/InterfaceRepository"},
      {"corbaloc::h:2810/DefaultRepository",
       "corbaloc::h:2810/DefaultRepository"},
      {"IOR:0000", "IOR:0000"},
      {"corbaname::h#a/b", "corbaname::h#a/b"},
  };
  for (const auto& c : cases) EXPECT_EQ(repository_url(c.first), c.second);
  for (const char* bad : {"nonsense", "host:port", "http://h:1/", "h:1:2", " "})
    EXPECT_THROW(repository_url(bad), UsageError) << bad;
}

class CommentsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char name[] = "/tmp/irctl-comments-XXXXXX";
    int fd = mkstemp(name);
    ASSERT_GE(fd, 0);
    close(fd);
    path_ = name;
  }
  void TearDown() override { std::remove(path_.c_str()); }
  void write(const std::string& text) {
    std::ofstream out(path_, std::ios::trunc);
    out << text;
  }
  std::string path_;
};

// Each row: the line of a definition and the comment it gets.
TEST_F(CommentsTest, TheCommentRightAboveADefinitionIsItsComment) {
  write(
      "// File header, not about A.\n"    // 1
      "\n"                                // 2
      "// The module.\n"                  // 3
      "module M {\n"                      // 4
      "  /** An interface\n"              // 5
      "   *  on two lines. */\n"          // 6
      "  interface A {\n"                 // 7
      "    // First line.\n"              // 8
      "    //   Indented second line.\n"  // 9
      "    void op(); // not about x\n"   // 10
      "    attribute long x;\n"           // 11
      "    /* one line */\n"              // 12
      "#pragma version A 1.1\n"           // 13
      "    const long K = 1;\n"           // 14
      "    long y; /* after y */\n"       // 15
      "    long z;\n"                     // 16
      "  };\n"                            // 17
      "};\n");                            // 18
  IdlComments comments;
  const std::pair<int, const char*> cases[] = {
      {4, "The module."},
      {7, "An interface\n on two lines."},
      {10, "First line.\n  Indented second line."},
      {11, ""},
      {14, "one line"},
      {16, ""},
      {1, ""},
      {99, ""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(comments.before(path_, c.first), c.second) << "line " << c.first;
  EXPECT_EQ(comments.before("/nonexistent/file.idl", 3), "");
}

TEST(CommentText, MarkersAndFramesAreStripped) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"// a", "// b"}, "a\nb"},
      {{"/// triple"}, "triple"},
      {{"/*", " * framed", " */"}, "framed"},
      {{"/**", " * one", " *", " * two", " **/"}, "one\n\ntwo"},
      {{"/* x */"}, "x"},
      {{"//"}, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(comment_text(c.first), c.second);
}

TEST(Output, CountsAndTables) {
  EXPECT_EQ(count_text(0, "file"), "0 files");
  EXPECT_EQ(count_text(1, "file"), "1 file");
  EXPECT_EQ(count_text(2, "definition"), "2 definitions");
  EXPECT_EQ(count_text(1, "match", "matches"), "1 match");
  EXPECT_EQ(count_text(3, "match", "matches"), "3 matches");

  Table t;
  t.add({"KIND", "NAME", "ID"});
  t.add({"Interface", "::A", "IDL:A:1.0"});
  t.add({"Module", "::LongName", "IDL:LongName:1.0"});
  testing::internal::CaptureStdout();
  t.print(std::cout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "KIND       NAME        ID\n"
            "Interface  ::A         IDL:A:1.0\n"
            "Module     ::LongName  IDL:LongName:1.0\n");
  EXPECT_EQ(t.format({"Struct", "::B", "x"}), "Struct     ::B         x");
}

}  // namespace
