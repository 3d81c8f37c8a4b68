// End-to-end tests of irctl: a real irserver in its own process, irctl run
// as a program against it, and this process checking the repository over
// IIOP.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "e2e_corpus.h"
#include "e2e_irctl_fixture.h"
#include "irext.hh"
#include "orb_main.h"

namespace {

namespace fs = std::filesystem;

// --- command line ---------------------------------------------------------

TEST_F(IrctlE2E, HelpDescribesToolAndEveryCommand) {
  struct Case {
    std::vector<std::string> args;
    std::vector<std::string> mentions;
  };
  const Case cases[] = {
      {{"--help"},
       {"Usage: irctl", "--ir", "-o,--output", "--version", "-ORBInitRef",
        "-ORBDefaultInitRef", "corbaloc::127.0.0.1:2810/InterfaceRepository",
        "feed", "rm", "ls", "describe", "idl", "find", "refs", "children",
        "ping", "backup"}},
      {{"feed", "--help"},
       {"Usage: irctl feed", "-I DIR", "-D NAME", "--no-include-deps",
        "--replace", "--force", "--check", "--quiet", "transaction",
        "comment"}},
      {{"rm", "--help"},
       {"Usage: irctl rm", "--include-deps", "--force", "--dry-run", "Object"}},
      {{"ls", "--help"}, {"Usage: irctl ls", "-l", "-R"}},
      {{"describe", "--help"}, {"Usage: irctl describe", "inherited"}},
      {{"idl", "--help"}, {"Usage: irctl idl", "#pragma", "--with-deps"}},
      {{"find", "--help"},
       {"Usage: irctl find", "--ids", "--kind", "--in", "--ignore-case"}},
      {{"refs", "--help"}, {"Usage: irctl refs", "--uses", "--derives"}},
      {{"children", "--help"}, {"Usage: irctl children"}},
      {{"ping", "--help"}, {"Usage: irctl ping", "healthy"}},
      {{"backup", "--help"}, {"Usage: irctl backup", "backup directory"}},
  };
  for (const Case& c : cases) {
    std::vector<std::string> argv{irctl_path()};
    argv.insert(argv.end(), c.args.begin(), c.args.end());
    ProcessResult r = run_process(argv);
    EXPECT_EQ(r.status(), 0) << c.args[0] << ": " << r.describe();
    EXPECT_EQ(r.err, "") << c.args[0];
    for (const std::string& m : c.mentions)
      EXPECT_TRUE(contains(r.out, m)) << c.args[0] << " help lacks " << m;
  }
}

TEST_F(IrctlE2E, CommandLineErrorsAndWaysToTheRepository) {
  const std::vector<std::string> cases[] = {
      {},
      {"frobnicate"},
      {"--bogus", "ls"},
      {"feed"},
      {"feed", "--bogus", "x.idl"},
      {"feed", "-I"},
      {"ls", "-Z"},
      {"ls", "::A", "::B"},
      {"describe"},
      {"find"},
      {"find", "--kind", "Bogus", "x"},
      {"refs", "--uses", "--derives", "::X"},
      {"rm"},
      {"rm", "-I", "dir", "::Some::Name"},
  };
  for (const std::vector<std::string>& args : cases) {
    ProcessResult r = irctl(args);
    std::string what = args.empty() ? "(nothing)" : args[0];
    EXPECT_EQ(r.status(), 2) << what << ": " << r.describe();
    std::vector<std::string> lines = text_lines(r.err);
    ASSERT_EQ(lines.size(), 1u) << what << ": " << r.describe();
    EXPECT_EQ(lines[0].rfind("irctl: ", 0), 0u) << lines[0];
  }

  // An unreachable repository: one line naming it.
  std::string url = "corbaloc::127.0.0.1:" + std::to_string(free_tcp_port()) +
                    "/InterfaceRepository";
  ProcessResult r = run_process({irctl_path(), "--ir", url, "ls"});
  EXPECT_EQ(r.status(), 1) << r.describe();
  EXPECT_EQ(r.err, "irctl: no repository answers at " + url +
                       ": is irserver running?\n");

  // omniORB's initial references find the repository too.
  const std::vector<std::string> ways[] = {
      {"-ORBInitRef", "InterfaceRepository=" + server_.corbaloc()},
      {"-ORBDefaultInitRef", server_.corbaloc_base()},
  };
  for (const std::vector<std::string>& way : ways) {
    r = run_process({irctl_path(), way[0], way[1], "ls"});
    EXPECT_EQ(r.status(), 0) << way[0] << ": " << r.describe();
    EXPECT_TRUE(contains(r.out, "Object")) << way[0] << ": " << r.out;
  }
}

// --- feed
// ---------------------------------------------------------------------

TEST_F(IrctlE2E, FeedCreatesModulesInterfacesAndIdsThatIdlPrintsBack) {
  std::string path = idl_file("shop.idl", R"(
#pragma prefix "example.org"
module Shop {
  interface Catalog {};
  interface Item : Catalog {};
  module Inner {
#pragma prefix "inner.example"
    interface Deep : ::Shop::Item, ::Shop::Catalog {};
  };
  interface Versioned {};
#pragma version Versioned 3.2
  interface Special {};
#pragma ID Special "LOCAL:special-id"
};
module Shop { interface Later : Versioned {}; };
interface TopLevel {};
#pragma prefix ""
module Plain { interface P {}; module module_ { interface Object_ {}; }; };
interface Top : Plain::P, ::Shop::Item {};
)");
  ProcessResult r = irctl({"feed", path});
  ASSERT_EQ(r.status(), 0) << r.describe();
  EXPECT_TRUE(contains(r.out, "shop.idl: 14 created, 0 unchanged")) << r.out;
  EXPECT_TRUE(contains(r.out, "1 file fed")) << r.out;

  // Scoped name, id, version and base interfaces of each.
  const char* const expected[] = {
      "::Shop IDL:example.org/Shop:1.0 1.0",
      "::Shop::Catalog IDL:example.org/Shop/Catalog:1.0 1.0 IDL:Object:1.0",
      "::Shop::Item IDL:example.org/Shop/Item:1.0 1.0 "
      "IDL:example.org/Shop/Catalog:1.0",
      "::Shop::Inner::Deep IDL:inner.example/Deep:1.0 1.0 "
      "IDL:example.org/Shop/Item:1.0 IDL:example.org/Shop/Catalog:1.0",
      "::Shop::Versioned IDL:example.org/Shop/Versioned:3.2 3.2 "
      "IDL:Object:1.0",
      "::Shop::Special LOCAL:special-id 1.0 IDL:Object:1.0",
      "::Shop::Later IDL:example.org/Shop/Later:1.0 1.0 "
      "IDL:example.org/Shop/Versioned:3.2",
      "::TopLevel IDL:example.org/TopLevel:1.0 1.0 IDL:Object:1.0",
  };
  CORBA::Repository_var repo = repository_at(server_.corbaloc());
  for (const std::string e : expected) {
    std::string name = e.substr(0, e.find(' '));
    CORBA::Contained_var c = repo->lookup(name.c_str());
    ASSERT_FALSE(CORBA::is_nil(c)) << name;
    CORBA::String_var id = c->id(), version = c->version();
    std::string seen = name + " " + id.in() + " " + version.in();
    CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_narrow(c);
    CORBA::InterfaceDefSeq_var bases = CORBA::is_nil(iface)
                                           ? new CORBA::InterfaceDefSeq
                                           : iface->base_interfaces();
    for (CORBA::ULong i = 0; i < bases->length(); ++i)
      seen += " " + std::string(CORBA::String_var(bases[i]->id()).in());
    EXPECT_EQ(seen, e);
  }

  // `irctl idl` prints them back with the pragmas that give these ids: a
  // prefix for a scope where most definitions need it, ID and version for
  // the odd ones; escaped names keep their escape.
  std::string printed = expect_idl_round_trip(server_);
  for (const char* line :
       {"#pragma prefix \"inner.example\"\n", "#pragma version Versioned 3.2\n",
        "#pragma ID Special \"LOCAL:special-id\"\n", "interface Object_ {"})
    EXPECT_TRUE(contains(printed, line)) << line << " missing in " << printed;
}

TEST_F(IrctlE2E, RefeedLeavesIdenticalDefinitionsAndReplaceChangesOthers) {
  std::string v1 = idl_file("v1.idl",
                            "module M { interface A {}; interface B {};\n"
                            "  interface C : A {}; };\n");
  std::string v2 = idl_file("v2.idl",
                            "module M { interface A {}; interface B {};\n"
                            "  interface C : B {}; };\n");
  ProcessResult first = irctl({"feed", v1});
  ASSERT_EQ(first.status(), 0) << first.describe();
  EXPECT_TRUE(contains(first.out, "v1.idl: 4 created, 0 unchanged"));

  ProcessResult again = irctl({"feed", v1});
  EXPECT_EQ(again.status(), 0) << again.describe();
  EXPECT_TRUE(contains(again.out, "v1.idl: 0 created, 4 unchanged"))
      << again.out;

  std::string before = snapshot(server_);
  ProcessResult differs = irctl({"feed", v2});
  EXPECT_EQ(differs.status(), 1) << differs.describe();
  std::vector<std::string> lines = text_lines(differs.err);
  ASSERT_EQ(lines.size(), 1u) << differs.err;
  EXPECT_TRUE(contains(lines[0], "v2.idl:2: ::M::C (IDL:M/C:1.0)")) << lines[0];
  EXPECT_TRUE(contains(lines[0], "base interfaces differ")) << lines[0];
  EXPECT_TRUE(contains(lines[0], "--replace")) << lines[0];
  EXPECT_EQ(snapshot(server_), before);

  ProcessResult replaced = irctl({"feed", "--replace", v2});
  EXPECT_EQ(replaced.status(), 0) << replaced.describe();
  EXPECT_TRUE(contains(replaced.out,
                       "v2.idl: 0 created, 3 unchanged, 1 "
                       "replaced"))
      << replaced.out;
  CORBA::Repository_var repo = repository_at(server_.corbaloc());
  CORBA::Contained_var c = repo->lookup("::M::C");
  CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_narrow(c);
  CORBA::InterfaceDefSeq_var bases = iface->base_interfaces();
  ASSERT_EQ(bases->length(), 1u);
  CORBA::String_var base = bases[0]->id();
  EXPECT_STREQ(base.in(), "IDL:M/B:1.0");
  CORBA::Contained_var a = repo->lookup("::M::A");
  IRExt::InterfaceDef_var a_ext = IRExt::InterfaceDef::_narrow(a);
  CORBA::InterfaceDefSeq_var children = a_ext->ext_interface_children();
  EXPECT_EQ(children->length(), 0u) << "the old base link stayed";
}

// --replace brings every kind of definition to what the file says: each
// definition then describes itself as in a repository fed the file
// directly.
TEST_F(IrctlE2E, ReplaceChangesTypesAndInterfaceMembers) {
  std::string v1 = idl_file("v1.idl", R"(
module R {
  struct S { long a; string b; };
  union U switch (long) { case 1: long x; default: string y; };
  const long K = 5;
  interface I { void op(in long a); void gone(); attribute long at; };
  typedef sequence<S> SSeq;
  enum E { e1, e2 };
  exception X { long code; };
};)");
  std::string v2 = idl_file("v2.idl", R"(
module R {
  struct S { long a; string b; short c; };
  union U switch (long) { case 1: long x; case 2: double z; default: string y; };
  const long K = 6;
  interface I { void op(in string a); readonly attribute long at; };
  typedef sequence<S, 5> SSeq;
  enum E { e1, e2, e3 };
  struct X { long code; };
};)");
  feed_ok({v1});
  ProcessResult refused = irctl({"feed", v2});
  EXPECT_EQ(refused.status(), 1) << refused.describe();
  ProcessResult replaced = irctl({"feed", "--replace", v2});
  ASSERT_EQ(replaced.status(), 0) << replaced.describe();
  ProcessResult again = irctl({"feed", v2});
  EXPECT_EQ(again.status(), 0) << again.describe();
  EXPECT_TRUE(contains(again.out, " 0 created, 10 unchanged")) << again.out;

  IrServerProcess direct;
  ASSERT_EQ(direct.start(), "");
  ProcessResult fed = irctl_on(direct, {"feed", v2});
  ASSERT_EQ(fed.status(), 0) << fed.describe();
  std::vector<std::string> ids = all_ids(server_);
  EXPECT_EQ(ids, all_ids(direct));
  // The contents of a container list in creation order, in which a
  // remade definition comes last: compare them as sets.
  auto description = [](const ProcessResult& r) {
    nlohmann::json d = nlohmann::json::parse(r.out)["definitions"][0];
    if (d.contains("contents")) {
      std::vector<nlohmann::json> contents = d["contents"];
      std::sort(contents.begin(), contents.end());
      d["contents"] = contents;
    }
    return d;
  };
  for (const std::string& id : ids) {
    ProcessResult mine = irctl({"describe", "-o", "json", id});
    ProcessResult theirs = irctl_on(direct, {"describe", "-o", "json", id});
    ASSERT_EQ(mine.status(), 0) << mine.describe();
    ASSERT_EQ(theirs.status(), 0) << theirs.describe();
    EXPECT_EQ(description(mine), description(theirs)) << id;
  }
}

TEST_F(IrctlE2E, FailedFeedChangesNothing) {
  feed_ok({idl_file("base.idl",
                    "module M { interface A {}; };\n"
                    "module P { interface Q {}; };\n")});
  struct Case {
    const char* what;
    const char* file;
    const char* text;
    std::vector<std::string> message;
  };
  const Case cases[] = {
      {"syntax error",
       "broken.idl",
       "module S { interface X {}; interface Y : X {} };\n",
       {"broken.idl", "omniidl refused the file", "nothing of it went in"}},
      {"name used by another id",
       "clash.idl",
       "module M { interface B {}; interface A {};\n"
       "#pragma ID A \"IDL:other/A:1.0\"\n};\n",
       {"clash.idl:1: ::M::A (IDL:other/A:1.0)", "already used by IDL:M/A:1.0",
        "nothing of", "went in"}},
      {"id used elsewhere",
       "idclash.idl",
       "module R { interface First {}; interface Q2 {};\n"
       "#pragma ID Q2 \"IDL:P/Q:1.0\"\n};\n",
       {"idclash.idl:1: ::R::Q2 (IDL:P/Q:1.0)", "already used by ::P::Q"}},
      {"base not in the repository",
       "user.idl",
       "#include \"dep.idl\"\n"
       "module U { interface Early {}; interface X : ::D::Base {}; };\n",
       {"user.idl:2: ::U::X (IDL:U/X:1.0)", "IDL:D/Base:1.0",
        "not in the repository", "feed the file that defines it first"}},
  };
  idl_file("dep.idl", "module D { interface Base {}; };\n");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::string before = snapshot(server_);
    ProcessResult r =
        irctl({"feed", "--no-include-deps", idl_file(c.file, c.text)});
    EXPECT_EQ(r.status(), 1) << r.describe();
    std::vector<std::string> irctl_lines = lines_with(r.err, "irctl: ");
    ASSERT_EQ(irctl_lines.size(), 1u) << r.err;
    for (const std::string& part : c.message)
      EXPECT_TRUE(contains(irctl_lines[0], part))
          << "[" << irctl_lines[0] << "] lacks [" << part << "]";
    EXPECT_TRUE(contains(r.out, "0 files fed")) << r.out;
    EXPECT_EQ(snapshot(server_), before);
  }
}

TEST_F(IrctlE2E, FilesAreFedIncludedFirstEachInItsOwnTransaction) {
  std::string base =
      idl_file("base.idl", "module Base { interface Root {}; };\n");
  std::string user = idl_file("user.idl",
                              "#include \"base.idl\"\n"
                              "module User { interface Leaf : ::Base::Root {}; "
                              "};\n");
  std::string bad = idl_file("bad.idl", "module Bad { interface };\n");

  // Named in the wrong order: the included file still goes first.
  ProcessResult r = irctl({"feed", user, base});
  ASSERT_EQ(r.status(), 0) << r.describe();
  EXPECT_LT(r.out.find("fed " + base), r.out.find("fed " + user)) << r.out;

  // One good and one refused file: the good one goes in.
  std::string good = idl_file("good.idl", "module Good { interface G {}; };\n");
  ProcessResult mixed = irctl({"feed", good, bad});
  EXPECT_EQ(mixed.status(), 1) << mixed.describe();
  EXPECT_TRUE(contains(mixed.out, "1 file fed")) << mixed.out;
  EXPECT_TRUE(contains(mixed.out, "1 failed")) << mixed.out;
  CORBA::Repository_var repo = repository_at(server_.corbaloc());
  EXPECT_FALSE(CORBA::is_nil(CORBA::Contained_var(repo->lookup("::Good::G"))));

  // Feeding brings the included file into a fresh repository too, and
  // rm --include-deps removes both.
  IrServerProcess fresh;
  ASSERT_EQ(fresh.start(), "");
  ProcessResult deps = irctl_on(fresh, {"feed", user});
  EXPECT_EQ(deps.status(), 0) << deps.describe();
  EXPECT_TRUE(contains(deps.out, "2 files fed")) << deps.out;
  ProcessResult rm = irctl_on(fresh, {"rm", "--include-deps", user});
  EXPECT_EQ(rm.status(), 0) << rm.describe();
  EXPECT_EQ(all_ids(fresh), std::vector<std::string>{"IDL:Object:1.0"});
}

// A back-end or omniidl that misbehaves is a clean failure that changes
// nothing, never a crash.
TEST_F(IrctlE2E, BrokenParserSetupFailsCleanly) {
  std::string good = idl_file("good.idl", "module Good { interface G {}; };\n");
  // An environment setting, or the body of the back-end's run(), and what
  // the one line of the failure says.
  const std::pair<std::string, std::string> cases[] = {
      {"IRCTL_BACKEND_DIR=/nonexistent", "cannot load irctl's back-end"},
      {"IRCTL_OMNIIDL=/nonexistent/omniidl", "cannot run /nonexistent/omniidl"},
      {"print('hello')", "not the output of irctl's back-end"},
      {"print('irctl-idl 1\\nF 0 x 1\\nT 0\\nE IDL:X:1.0')", "does not match"},
      {"print('irctl-idl 1\\nF 0 x 1\\nT 0\\nD gizmo 0 1 IDL:G:1.0 G \"\"')",
       "unknown definition kind gizmo"},
      {"print('irctl-idl 1\\nF 0 x 1\\nT 0\\nD interface 0 1 IDL:G:1.0')",
       "record ends too early"},
  };
  std::string before = snapshot(server_);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.first);
    TempDir dir;
    std::string setting = c.first;
    if (setting.rfind("print(", 0) == 0) {
      write_text(dir.file("irctl_backend.py"),
                 "def run(tree, args):\n    " + setting + "\n");
      setting = "IRCTL_BACKEND_DIR=" + dir.path();
    }
    ProcessResult r = run_process({"env", setting, irctl_path(), "--ir",
                                   server_.corbaloc(), "feed", good});
    EXPECT_EQ(r.status(), 1) << r.describe();
    std::vector<std::string> lines = text_lines(r.err);
    ASSERT_EQ(lines.size(), 1u) << r.err;
    EXPECT_TRUE(contains(lines[0], c.second)) << lines[0];
  }
  EXPECT_EQ(snapshot(server_), before);
}

// --- rm
// -------------------------------------------------------------------------

TEST_F(IrctlE2E, RemoveFilesKeepsModulesOthersStillUse) {
  std::string a = idl_file("a.idl", "module Shared { interface A {}; };\n");
  std::string b = idl_file("b.idl",
                           "#include \"a.idl\"\n"
                           "module Shared { interface B : A {}; };\n"
                           "module OnlyB { interface X {}; };\n");
  feed_ok({a, b});
  ProcessResult rm_b = irctl({"rm", b});
  EXPECT_EQ(rm_b.status(), 0) << rm_b.describe();
  EXPECT_TRUE(contains(rm_b.out, "removed ::OnlyB (IDL:OnlyB:1.0)"))
      << rm_b.out;
  EXPECT_FALSE(contains(rm_b.out, "removed ::Shared ")) << rm_b.out;
  EXPECT_EQ(all_ids(server_),
            (std::vector<std::string>{"IDL:Object:1.0", "IDL:Shared/A:1.0",
                                      "IDL:Shared:1.0"}));
  ProcessResult rm_a = irctl({"rm", a});
  EXPECT_EQ(rm_a.status(), 0) << rm_a.describe();
  EXPECT_EQ(all_ids(server_), std::vector<std::string>{"IDL:Object:1.0"});
  ProcessResult gone = irctl({"rm", a});
  EXPECT_EQ(gone.status(), 0) << gone.describe();
  EXPECT_TRUE(contains(gone.err, "not in the repository")) << gone.err;
}

// --- browsing
// --------------------------------------------------------------------

TEST_F(IrctlE2E, BrowseCommandsShowTheRepository) {
  feed_ok({idl_file("zoo.idl",
                    "module Zoo { interface Animal {};\n"
                    "  interface Cat : Animal {}; interface Dog : Animal {};\n"
                    "  module Inner { interface Catfish : ::Zoo::Cat {}; };\n"
                    "};\n")});
  // Each case: arguments, status, and the exact output lines (first
  // words of each, squeezed of column padding).
  struct Case {
    std::vector<std::string> args;
    int status;
    std::vector<std::string> lines;
  };
  const Case cases[] = {
      {{"ls"}, 0, {"KIND NAME", "Interface ::Object", "Module ::Zoo"}},
      {{"ls", "-l", "::Zoo::Inner"},
       0,
       {"KIND NAME ID VERSION",
        "Interface ::Zoo::Inner::Catfish IDL:Zoo/Inner/Catfish:1.0 1.0"}},
      {{"find", "Ca*"},
       0,
       {"Interface ::Zoo::Cat IDL:Zoo/Cat:1.0",
        "Interface ::Zoo::Inner::Catfish IDL:Zoo/Inner/Catfish:1.0"}},
      {{"find", "--kind", "module", "*"},
       0,
       {"Module ::Zoo IDL:Zoo:1.0", "Module ::Zoo::Inner IDL:Zoo/Inner:1.0"}},
      {{"find", "--ids", "IDL:Zoo/D*"},
       0,
       {"Interface ::Zoo::Dog IDL:Zoo/Dog:1.0"}},
      {{"find", "--in", "::Zoo::Inner", "*"},
       0,
       {"Interface ::Zoo::Inner::Catfish IDL:Zoo/Inner/Catfish:1.0"}},
      {{"refs", "::Zoo::Animal"},
       0,
       {"Interface ::Zoo::Cat IDL:Zoo/Cat:1.0",
        "Interface ::Zoo::Dog IDL:Zoo/Dog:1.0"}},
      {{"refs", "--uses", "::Zoo::Animal"}, 0, {}},
      {{"children", "IDL:Zoo/Cat:1.0"},
       0,
       {"Interface ::Zoo::Inner::Catfish IDL:Zoo/Inner/Catfish:1.0"}},
  };
  auto squeeze = [](const std::string& line) {
    std::string out;
    for (char ch : line)
      if (ch != ' ' || (!out.empty() && out.back() != ' ')) out += ch;
    while (!out.empty() && out.back() == ' ') out.pop_back();
    return out;
  };
  for (const Case& c : cases) {
    ProcessResult r = irctl(c.args);
    SCOPED_TRACE(c.args[0] + " " + c.args.back());
    EXPECT_EQ(r.status(), c.status) << r.describe();
    std::vector<std::string> lines;
    for (const std::string& l : text_lines(r.out)) lines.push_back(squeeze(l));
    EXPECT_EQ(lines, c.lines) << r.out;
  }

  ProcessResult recursive = irctl({"ls", "-R"});
  EXPECT_EQ(recursive.status(), 0) << recursive.describe();
  EXPECT_TRUE(contains(recursive.out, "::Zoo::Inner:\n")) << recursive.out;
  EXPECT_LT(recursive.out.find("::Zoo::Inner:"), recursive.out.find("Catfish"));

  ProcessResult described = irctl({"describe", "::Zoo::Cat"});
  EXPECT_EQ(described.status(), 0) << described.describe();
  for (const char* line :
       {"kind: Interface", "id: IDL:Zoo/Cat:1.0",
        "defined in: ::Zoo (IDL:Zoo:1.0)", "type code: interface Cat",
        "base interfaces: ::Zoo::Animal",
        "derived interfaces: ::Zoo::Inner::Catfish", "operations: (none)",
        "attributes: (none)"})
    EXPECT_TRUE(contains(described.out, std::string(line) + "\n"))
        << line << " missing in " << described.out;

  // Failures name what failed, in one line.
  const std::pair<std::vector<std::string>, std::string> failing[] = {
      {{"ls", "::No::Such"}, "::No::Such: no such definition"},
      {{"children", "::Zoo"}, "::Zoo is Module, not an interface"},
      {{"describe", "IDL:None:1.0"}, "IDL:None:1.0: no such definition"},
      {{"refs", "::Nothing"}, "::Nothing: no such definition"},
      {{"find", "--in", "::Nowhere", "*"}, "::Nowhere: no such definition"},
  };
  for (const auto& f : failing) {
    ProcessResult r = irctl(f.first);
    EXPECT_EQ(r.status(), 1) << f.second << ": " << r.describe();
    EXPECT_EQ(text_lines(r.err).size(), 1u) << r.err;
    EXPECT_TRUE(contains(r.err, f.second)) << r.err;
  }

  ProcessResult subtree = irctl({"idl", "::Zoo::Inner"});
  EXPECT_EQ(subtree.status(), 0) << subtree.describe();
  EXPECT_EQ(subtree.out,
            "module Zoo {\n"
            "  module Inner {\n"
            "    interface Catfish : ::Zoo::Cat {\n"
            "    };\n"
            "  };\n"
            "};\n");
}

// idl NAME --with-deps: NAME and everything it needs from elsewhere,
// each whole, and nothing else; omniidl compiles it on its own.
TEST_F(IrctlE2E, IdlWithDepsCompilesOnItsOwn) {
  feed_ok({idl_file("deps.idl", R"(
module Base {
  struct Point { long x; long y; };
  typedef sequence<Point> Points;
  exception Bad { string why; };
  interface Shape { Points corners(); };
  interface Unrelated {};
};
module Other { struct Unused { long z; }; };
module Use {
  interface Canvas : ::Base::Shape {
    typedef ::Base::Point Origin;
    void draw(in ::Base::Points p) raises (::Base::Bad);
  };
};
)")});
  struct Row {
    const char* name;
    std::vector<std::string> present;
    std::vector<std::string> absent;
  };
  const Row rows[] = {
      {"::Use::Canvas",
       {"struct Point", "typedef sequence<::Base::Point> Points",
        "exception Bad", "interface Shape", "interface Canvas : ::Base::Shape"},
       {"Unrelated", "Other", "Unused"}},
      // A definition inside an interface brings the whole interface.
      {"::Use::Canvas::Origin",
       {"interface Canvas", "void draw(", "interface Shape"},
       {"Unrelated", "Other"}},
      {"::Base::Point", {"struct Point"}, {"Shape", "Canvas", "Unrelated"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ProcessResult r = irctl({"idl", "--with-deps", row.name});
    ASSERT_EQ(r.status(), 0) << r.describe();
    for (const std::string& p : row.present)
      EXPECT_TRUE(contains(r.out, p)) << p << " missing in " << r.out;
    for (const std::string& a : row.absent)
      EXPECT_FALSE(contains(r.out, a)) << a << " present in " << r.out;
    std::string path = server_.dir() + "/with_deps.idl";
    write_text(path, r.out);
    TempDir out;
    ProcessResult check =
        run_process({"omniidl", "-bcxx", "-C" + out.path(), path});
    EXPECT_EQ(check.status(), 0) << check.describe() << "\n" << r.out;
  }
  // Without --with-deps the same definition does not compile alone.
  ProcessResult alone = irctl({"idl", "::Use::Canvas"});
  std::string path = server_.dir() + "/alone.idl";
  write_text(path, alone.out);
  EXPECT_NE(run_process({"omniidl", path}).status(), 0) << alone.out;
}

// --- IDL out and back in
// -----------------------------------------------------------

// Every kind of definition, one module per row: fed,
// printed, accepted by omniidl, fed into a fresh repository and printed
// the same.
TEST_F(IrctlE2E, EveryKindRoundTrips) {
  struct Row {
    const char* what;
    const char* idl;
    bool cxx;  // omniidl's C++ back-end takes it (natives it does not)
  };
  const Row rows[] = {
      {"structs, recursion, nesting, arrays, exceptions", R"(
module Structs {
  struct Point { long x; long y; };
  struct Node;
  typedef sequence<Node> NodeSeq;
  struct Node { string label; NodeSeq children; };
  struct Outer {
    struct Inner { short s; } in_part;
    enum Color { red, green } shade;
    Point where[2][3];
  };
  exception Failed { string why; Point at; };
  exception Empty {};
  typedef Point Corners[4];
  typedef sequence<Point, 10> BoundedPoints;
  typedef string<16> Name16;
  typedef wstring<8> WName8;
};)",
       true},
      {"unions with labels, defaults and inline enums", R"(
module Unions {
  enum Kind { none, small, big };
  union ByEnum switch (Kind) { case small: short s; case big: long long b;
                               default: string other; };
  union ByLong switch (long) { case 1: case 2: long low; case -5: string neg; };
  union ByChar switch (char) { case 'a': long a; case 'z': double z; };
  union ByBool switch (boolean) { case TRUE: long t; case FALSE: float f; };
  union Inline switch (enum Shade { light, dark }) { case light: long l; };
  union List;
  typedef sequence<List> ListSeq;
  union List switch (boolean) { case TRUE: ListSeq more; };
};)",
       true},
      {"constants of every accepted type", R"(
module Consts {
  const short S = -12;
  const long L = 100000;
  const unsigned short US = 65535;
  const unsigned long UL = 4000000000;
  const float F = 1.5;
  const double D = 2.25e-10;
  const boolean B = TRUE;
  const char C = 'q';
  const octet O = 255;
  const string STR = "tab\there \"quoted\"";
  const string<5> BSTR = "abc";
  const wchar WC = L'x';
};)",
       true},
      {"operations, attributes, raises, contexts, forward interfaces", R"(
module Ops {
  exception Oops { long code; };
  interface Service;
  interface Base { attribute long counter; readonly attribute string label;
                   Service owner(); };
  interface Service : Base {
    typedef sequence<octet> Blob;
    const long LIMIT = 10;
    Blob fetch(in string key, out long size, inout Blob extra) raises (Oops);
    oneway void notify(in long code);
    void with_context(in long a) context ("USER", "HOST*");
  };
};)",
       true},
      {"abstract interfaces and natives", R"(
module Abstracts {
  abstract interface Shape { double area(); };
  abstract interface Solid : Shape { double volume(); };
  interface Cube : Solid {};
  native Handle;
};)",
       false},
      // (omniidl's C++ back-end refuses custom value types.)
      {"value types", R"(
module Values {
  valuetype Box long;
  abstract valuetype Printable { void print(); };
  valuetype Point : Printable { public long x; private long y;
                                factory make(in long x, in long y); };
  valuetype Point3 : truncatable Point { public long z; };
  custom valuetype Blob { public sequence<octet> data; };
  valuetype Linked { public Linked next; public string payload; };
  interface Drawer { void draw(in Point p); };
  valuetype Sketch supports Drawer { public Point origin; };
};)",
       false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    feed_and_round_trip(row.idl, row.cxx);
  }
}

// --- the COS corpus
// ------------------------------------------------------------------

// "::A::B" as {"A", "B"}.
std::vector<std::string> scoped_parts(const std::string& scoped) {
  std::vector<std::string> parts;
  for (std::size_t pos = 2; pos < scoped.size();) {  // after the first "::"
    std::size_t end = std::min(scoped.find("::", pos), scoped.size());
    parts.push_back(scoped.substr(pos, end - pos));
    pos = end + 2;
  }
  return parts;
}

// The C++ name of an IDL identifier, as omniidl's C++ back-end makes it.
std::string cxx_identifier(const std::string& name) {
  static const std::string kReserved =
      " and and_eq asm auto bitand bitor bool break case catch char class "
      "compl const const_cast continue default delete do double dynamic_cast "
      "else enum explicit export extern false float for friend goto if inline "
      "int long mutable namespace new not not_eq operator or or_eq private "
      "protected public register reinterpret_cast return short signed sizeof "
      "static static_cast struct switch template this throw true try typedef "
      "typeid typename union unsigned using virtual void volatile wchar_t "
      "while xor xor_eq ";
  if (kReserved.find(" " + name + " ") != std::string::npos)
    return "_cxx_" + name;
  return name;
}
// The mangled symbol of the TypeCode constant that omniidl's C++ back-end
// compiles for the definition at `path` (::A::B -> A::_tc_B).
std::string typecode_symbol(const std::vector<std::string>& path) {
  std::string symbol = "_ZN";
  for (std::size_t i = 0; i + 1 < path.size(); ++i) {
    std::string part = cxx_identifier(path[i]);
    symbol += std::to_string(part.size()) + part;
  }
  std::string last = "_tc_" + path.back();
  return symbol + std::to_string(last.size()) + last + "E";
}

TEST_F(IrctlE2E, CosCorpusFeedsPrintsBackMatchesCompiledTypeCodesAndRemoves) {
  std::vector<std::string> files = feed_corpus(server_);
  ASSERT_GT(files.size(), 40u);
  ASSERT_FALSE(HasFailure()) << "the corpus did not go in";
  ProcessResult again = irctl({"feed", "--include-deps", "-I", kCosDir, "-I",
                               kOmniIdlDir, files.front()});
  EXPECT_EQ(again.status(), 0) << again.describe();
  EXPECT_TRUE(contains(again.out, " 0 created,")) << again.out;

  expect_idl_round_trip(server_);

  // The TypeCodes of the corpus equal() the ones omniidl compiled into
  // omniORB's COS library.
  void* cos = dlopen("libCOSDynamic4.so.2", RTLD_NOW | RTLD_GLOBAL);
  ASSERT_NE(cos, nullptr) << dlerror();
  IRExt::Repository_var repo = ext_repository_at(server_.corbaloc());
  CORBA::ContainedSeq_var defs = repo->ext_find_objects(
      "*", "", false, "Struct,Union,Enum,Alias,Exception,Interface");
  int checked = 0;
  std::map<std::string, int> per_module;
  std::vector<std::string> missing;
  for (CORBA::ULong i = 0; i < defs->length(); ++i) {
    CORBA::String_var abs = defs[i]->absolute_name();
    std::vector<std::string> path = scoped_parts(abs.in());
    // The services of the corpus; the CORBA module came in as an
    // #included dependency.
    if (path.size() < 2 || path[0] == "CORBA") continue;
    void* sym = dlsym(RTLD_DEFAULT, typecode_symbol(path).c_str());
    if (!sym) {
      missing.push_back(abs.in());
      continue;
    }
    CORBA::TypeCode_ptr compiled = *static_cast<CORBA::TypeCode_ptr*>(sym);
    CORBA::TypeCode_var mine;
    if (defs[i]->def_kind() == CORBA::dk_Exception) {
      CORBA::ExceptionDef_var e = CORBA::ExceptionDef::_narrow(defs[i]);
      mine = e->type();
    } else {
      CORBA::IDLType_var t = CORBA::IDLType::_narrow(defs[i]);
      mine = t->type();
    }
    EXPECT_TRUE(mine->equal(compiled)) << abs.in();
    ++checked;
    ++per_module[path[0]];
  }
  std::cout << "TypeCodes equal() to omniORB's compiled ones: " << checked
            << " checked" << std::endl;
  // Modules whose stubs omniORB's libraries hold must be complete.
  for (const std::string& m : missing) {
    std::string module = m.substr(2, m.find("::", 2) - 2);
    EXPECT_EQ(per_module.count(module), 0u)
        << m << " has no compiled TypeCode although " << module
        << " is compiled";
  }
  EXPECT_GT(per_module.count("CosNaming"), 0u);
  EXPECT_GT(checked, 400);

  std::vector<std::string> rm{"rm", "--include-deps", "-I", kCosDir,
                              "-I", kOmniIdlDir};
  rm.insert(rm.end(), files.begin(), files.end());
  ProcessResult removed = irctl(rm);
  EXPECT_EQ(removed.status(), 0) << removed.describe();
  EXPECT_EQ(all_ids(server_), std::vector<std::string>{"IDL:Object:1.0"});
}

}  // namespace
