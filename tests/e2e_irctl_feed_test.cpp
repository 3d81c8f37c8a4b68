// irctl feed: included files brought in first, --check, read-only
// servers, documentation comments.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_irctl_fixture.h"
#include "irext.hh"

namespace {

using nlohmann::json;

class FeedE2E : public IrctlE2E {
 protected:
  // c.idl <- b.idl <- a.idl (each includes the next).
  void write_chain() {
    c_ = idl_file("c.idl", "module C { struct Base { long v; }; };\n");
    b_ = idl_file("b.idl",
                  "#include \"c.idl\"\n"
                  "module B { typedef sequence<::C::Base> Bases; };\n");
    a_ = idl_file("a.idl",
                  "#include \"b.idl\"\n"
                  "module A { interface User { ::B::Bases all(); }; };\n");
  }
  std::string a_, b_, c_;
};

TEST_F(FeedE2E, IncludedFilesGoInFirstEachOnceInItsOwnTransaction) {
  write_chain();
  ProcessResult r = irctl({"feed", a_});
  ASSERT_EQ(r.status(), 0) << r.describe();
  EXPECT_EQ(
      r.out,
      "fed c.idl: 2 created, 0 unchanged\n"
      "fed b.idl: 2 created, 0 unchanged\n"
      "fed " +
          a_ +
          ": 3 created, 0 unchanged\n"
          "irctl: feed: 3 files fed (7 definitions created, 0 unchanged, 0 "
          "replaced, 0 removed), 0 failed\n");
  // Identical ones are left alone; a file named twice goes in once.
  ProcessResult again = irctl({"feed", a_, c_});
  EXPECT_EQ(again.status(), 0) << again.describe();
  EXPECT_TRUE(contains(again.out,
                       "3 files fed (0 definitions created, 7 "
                       "unchanged"))
      << again.out;

  // b.idl cannot go in (its name is taken by another id): c.idl still
  // does, a.idl fails on what it needs from b.idl.
  IrServerProcess fresh;
  ASSERT_EQ(fresh.start(), "");
  std::string clash = idl_file(
      "clash.idl",
      "module B { interface X {}; };\n#pragma ID B \"IDL:Other/B:1.0\"\n");
  ASSERT_EQ(irctl_on(fresh, {"feed", clash}).status(), 0);
  ProcessResult partly = irctl_on(fresh, {"feed", a_});
  EXPECT_EQ(partly.status(), 1) << partly.describe();
  EXPECT_TRUE(contains(partly.out, "fed c.idl: 2 created")) << partly.out;
  EXPECT_TRUE(contains(partly.out,
                       "1 file fed (2 definitions created, 0 "
                       "unchanged, 0 replaced, 0 removed), 2 "
                       "failed"))
      << partly.out;
  EXPECT_TRUE(contains(partly.err, "b.idl:2: ::B (IDL:B:1.0)")) << partly.err;

  // --no-include-deps refuses instead.
  IrServerProcess bare;
  ASSERT_EQ(bare.start(), "");
  ProcessResult refused = irctl_on(bare, {"feed", "--no-include-deps", a_});
  EXPECT_EQ(refused.status(), 1) << refused.describe();
  EXPECT_TRUE(contains(refused.err,
                       "IDL:B/Bases:1.0, which is not in the "
                       "repository"))
      << refused.err;
}

// A syntax error is reported once, by omniidl's own message.
TEST_F(FeedE2E, SyntaxErrorsAreReportedOnce) {
  std::string bad = idl_file("bad.idl", "module Bad {\n  interface ;\n};\n");
  ProcessResult r = irctl({"feed", bad});
  EXPECT_EQ(r.status(), 1) << r.describe();
  EXPECT_EQ(lines_with(r.err, "bad.idl:2").size(), 1u) << r.err;
  EXPECT_EQ(lines_with(r.err, "irctl: feed: " + bad +
                                  ": omniidl refused the file; nothing of it "
                                  "went in")
                .size(),
            1u)
      << r.err;
  json doc = irctl_json({"feed", bad}, 1);
  EXPECT_EQ(doc["files"][0]["status"], "refused");
  EXPECT_TRUE(
      contains(doc["files"][0]["error"].get<std::string>(), "bad.idl:2"));
}

TEST_F(FeedE2E, CheckListsEveryDifferenceAndChangesNothing) {
  std::string v1 =
      idl_file("v1.idl",
               "module M {\n"
               "  struct S { long a; };\n"
               "  interface I { void f(in long x); attribute long n; };\n"
               "  const long K = 1;\n"
               "  enum E { one, two };\n"
               "  interface Extra { typedef long Gone; };\n"
               "};\n");
  std::string v2 = idl_file(
      "v2.idl",
      "module M {\n"
      "  struct S { long a; short b; };\n"
      "  interface I { void f(in string x); readonly attribute long n; };\n"
      "  const long K = 2;\n"
      "  enum E { one, two };\n"
      "  interface Extra {};\n"
      "  interface New { void g(); };\n"
      "};\n");
  feed_ok({v1});
  std::string before = snapshot(server_);
  ProcessResult same = irctl({"feed", "--check", v1});
  EXPECT_EQ(same.status(), 0) << same.describe();
  EXPECT_TRUE(contains(same.out, "checked " + v1 + ": matches the repository"))
      << same.out;

  ProcessResult r = irctl({"feed", "--check", v2});
  EXPECT_EQ(r.status(), 1) << r.describe();
  const std::string p = v2 + ":";
  for (const std::string& line :
       {p + "2: ::M::S (IDL:M/S:1.0): its members differ",
        p + "3: ::M::I::f (IDL:M/I/f:1.0): its parameters differ",
        p + "3: ::M::I::n (IDL:M/I/n:1.0): its mode differs",
        p + "4: ::M::K (IDL:M/K:1.0): its value differs",
        p + "6: ::M::Extra (IDL:M/Extra:1.0): the repository also has Gone "
            "(IDL:M/Extra/Gone:1.0) inside it",
        p + "7: ::M::New (IDL:M/New:1.0): not in the repository",
        "checked " + v2 + ": 6 differences"})
    EXPECT_TRUE(contains(r.out, line + "\n")) << line << " in " << r.out;
  EXPECT_FALSE(contains(r.out, "::M::New::g")) << "inside a missing one";
  EXPECT_EQ(snapshot(server_), before);
  json doc = irctl_json({"feed", "--check", v2}, 1);
  EXPECT_EQ(doc["differences"], 6);
  EXPECT_EQ(doc["files"][0]["status"], "differs");
  EXPECT_EQ(doc["files"][0]["differences"][0],
            json({{"line", 2},
                  {"name", "::M::S"},
                  {"id", "IDL:M/S:1.0"},
                  {"difference", "its members differ"}}));
}

TEST_F(FeedE2E, ReadOnlyServerTakesUnchangedFilesAndNamesWhatItRefuses) {
  std::string v1 = idl_file("v1.idl", "module M { interface A {}; };\n");
  std::string v2 =
      idl_file("v2.idl", "module M { interface A {}; interface B {}; };\n");
  feed_ok({v1});
  server_.stop();
  server_.extra_args = {"--read-only"};
  ASSERT_EQ(server_.restart(), "");
  ProcessResult same = irctl({"feed", v1});
  EXPECT_EQ(same.status(), 0) << same.describe();
  EXPECT_TRUE(contains(same.out, "0 created, 2 unchanged")) << same.out;
  ProcessResult check = irctl({"feed", "--check", v2});
  EXPECT_EQ(check.status(), 1) << check.describe();
  EXPECT_TRUE(
      contains(check.out, "::M::B (IDL:M/B:1.0): not in the repository"));
  ProcessResult changed = irctl({"feed", v2});
  EXPECT_EQ(changed.status(), 1) << changed.describe();
  EXPECT_TRUE(contains(changed.err,
                       "v2.idl:1: ::M::B (IDL:M/B:1.0): creating "
                       "it: the repository refused "
                       "ext_beginUserTransaction: "
                       "CORBA::NO_PERMISSION"))
      << changed.err;
  ProcessResult rm = irctl({"rm", "::M::A"});
  EXPECT_EQ(rm.status(), 1) << rm.describe();
  EXPECT_TRUE(
      contains(rm.err, "the repository refused ext_beginUserTransaction"))
      << rm.err;
}

// The comment right above a definition goes into the repository with it.
TEST_F(FeedE2E, DocumentationCommentsFollowTheFile) {
  {
    // A server without comments cannot show this.
    IRExt::Repository_var repo = ext_repository_at(server_.corbaloc());
    CORBA::Contained_var object = repo->lookup_id("IDL:Object:1.0");
    IRExt::Contained_var ext = IRExt::Contained::_narrow(object);
    try {
      CORBA::String_var text = ext->ext_get_comment();
    } catch (const CORBA::NO_IMPLEMENT&) {
      GTEST_SKIP() << "this irserver keeps no documentation comments";
    }
  }
  auto comment_of = [&](const std::string& name) {
    json doc = irctl_json({"describe", name});
    return doc["definitions"][0]["comment"].get<std::string>();
  };
  std::string path = idl_file("doc.idl",
                              "// The module.\n"
                              "module D {\n"
                              "  /** Holds things.\n"
                              "   *  Two lines. */\n"
                              "  interface Box { void put(); };\n"
                              "  struct Plain { long x; };\n"
                              "};\n");
  feed_ok({path});
  EXPECT_EQ(comment_of("::D"), "The module.");
  EXPECT_EQ(comment_of("::D::Box"), "Holds things.\n Two lines.");
  EXPECT_EQ(comment_of("::D::Plain"), "");
  ProcessResult text = irctl({"describe", "::D::Box"});
  EXPECT_TRUE(contains(text.out, "comment: Holds things.\n   Two lines.\n"))
      << text.out;

  // Only the comments change: the definitions are left as they are and
  // take the new comments; a definition without one loses its comment.
  write_text(path,
             "module D {\n"
             "  // Changed.\n"
             "  interface Box { void put(); };\n"
             "  // Now documented.\n"
             "  struct Plain { long x; };\n"
             "};\n");
  ProcessResult check = irctl({"feed", "--check", path});
  EXPECT_EQ(check.status(), 1) << check.describe();
  EXPECT_TRUE(
      contains(check.out, "::D::Box (IDL:D/Box:1.0): its comment differs"))
      << check.out;
  ProcessResult refed = irctl({"feed", path});
  EXPECT_EQ(refed.status(), 0) << refed.describe();
  EXPECT_TRUE(contains(refed.out, "0 created, 4 unchanged")) << refed.out;
  EXPECT_EQ(comment_of("::D"), "");
  EXPECT_EQ(comment_of("::D::Box"), "Changed.");
  EXPECT_EQ(comment_of("::D::Plain"), "Now documented.");
}

}  // namespace
