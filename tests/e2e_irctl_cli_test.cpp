// irctl's command line and output against a real irserver: where options
// may stand, mistakes refused before anything is contacted, suggestions,
// addresses, exit statuses, and the JSON document of every command.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "e2e_irctl_fixture.h"
#include "irext.hh"

namespace {

using nlohmann::json;

const char kZoo[] =
    "module Zoo {\n"
    "  interface Animal {};\n"
    "  interface Cat : Animal {};\n"
    "  interface Dog : Animal { void bark(in Cat c); };\n"
    "  module Inner { interface Catfish : ::Zoo::Cat {}; };\n"
    "};\n";

class CliE2E : public IrctlE2E {
 protected:
  void SetUp() override {
    IrctlE2E::SetUp();
    zoo_ = idl_file("zoo.idl", kZoo);
    feed_ok({zoo_});
  }

  // irctl with these arguments and no --ir of the fixture's.
  static ProcessResult bare(const std::vector<std::string>& args) {
    std::vector<std::string> argv{irctl_path()};
    argv.insert(argv.end(), args.begin(), args.end());
    return run_process(argv);
  }

  std::string zoo_;
};

TEST_F(CliE2E, OptionsGoBeforeOrAfterTheCommandAndFlagsCombine) {
  const std::string url = server_.corbaloc();
  const std::vector<std::string> ways[] = {
      {"--ir", url, "-o", "json", "ls"},
      {"ls", "--ir", url, "-o", "json"},
      {"-o", "json", "ls", "--ir=" + url},
      {"--output=json", "--ir", url, "ls"},
      {"ls", "--ir", url, "-ORBtraceLevel", "0", "--output", "json"},
  };
  for (const auto& args : ways) {
    ProcessResult r = bare(args);
    ASSERT_EQ(r.status(), 0) << args[0] << ": " << r.describe();
    json doc = json::parse(r.out);
    EXPECT_EQ(doc["definitions"].size(), 2u) << r.out;
  }
  ProcessResult apart = irctl({"ls", "-l", "-R"});
  ProcessResult together = irctl({"ls", "-lR"});
  ProcessResult after = irctl({"ls", "-Rl", "::Zoo"});
  EXPECT_EQ(apart.status(), 0) << apart.describe();
  EXPECT_EQ(apart.out, together.out);
  EXPECT_TRUE(contains(after.out, "::Zoo::Inner::Catfish")) << after.out;
}

// A dead address: any attempt to reach it would say "no repository
// answers", so the usage message proves nothing was contacted.
TEST_F(CliE2E, MistakesAreRefusedBeforeAnythingIsContacted) {
  std::string dead = "127.0.0.1:" + std::to_string(free_tcp_port());
  struct Case {
    std::vector<std::string> args;
    std::string message;
  };
  const Case cases[] = {
      {{}, "irctl: no command given (see irctl --help)"},
      {{"lss"},
       "irctl: unknown command 'lss'; did you mean 'ls'? (see irctl "
       "--help)"},
      {{"descibe", "::X"}, "did you mean 'describe'?"},
      {{"frobnicate"},
       "irctl: unknown command 'frobnicate' (see irctl --help)"},
      {{"ls", "-Z"}, "irctl: ls: unknown option -Z (see irctl ls --help)"},
      {{"ls", "::A", "::B"}, "irctl: ls: unexpected argument ::B"},
      {{"-o", "xml", "ls"}, "xml not in {text,json}"},
      {{"--ir", "not an address", "ls"}, "not a repository address"},
      {{"describe"}, "irctl: describe: NAME is required"},
      {{"find", "--kind", "Bogus", "x"}, "unknown kind 'Bogus' in --kind"},
      {{"refs", "--uses", "--derives", "::X"}, "--uses excludes --derives"},
      {{"rm", "a.idl", "::X"}, "give either IDL files or names, not both"},
      {{"rm", "-I", "dir", "::X"}, "apply to IDL files"},
      {{"feed", "--force", "x.idl"}, "--force goes with --replace"},
      {{"feed", "--check", "--replace", "x.idl"}, "excludes --replace"},
      {{"feed", "-I"}, "-I"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args{"--ir", dead};
    args.insert(args.end(), c.args.begin(), c.args.end());
    ProcessResult r = bare(args);
    std::string what = c.args.empty() ? "(nothing)" : c.args[0];
    EXPECT_EQ(r.status(), 2) << what << ": " << r.describe();
    EXPECT_EQ(r.out, "") << what;
    std::vector<std::string> lines = text_lines(r.err);
    ASSERT_EQ(lines.size(), 1u) << what << ": " << r.describe();
    EXPECT_TRUE(contains(lines[0], c.message))
        << "[" << lines[0] << "] lacks [" << c.message << "]";
  }
  // The same address with a good command line is contacted.
  ProcessResult r = bare({"--ir", dead, "ls"});
  EXPECT_EQ(r.status(), 1) << r.describe();
  EXPECT_EQ(r.err, "irctl: no repository answers at corbaloc::" + dead +
                       "/InterfaceRepository: is irserver running?\n");
}

TEST_F(CliE2E, RepositoryAddressesInEveryForm) {
  const std::string hp = "127.0.0.1:" + std::to_string(server_.port());
  for (const std::string& ir :
       {hp, "corbaloc::" + hp, "corbaloc:iiop:" + hp + "/",
        server_.corbaloc_base() + "/DefaultRepository"}) {
    ProcessResult r = bare({"ls", "--ir", ir});
    EXPECT_EQ(r.status(), 0) << ir << ": " << r.describe();
    EXPECT_TRUE(contains(r.out, "::Zoo")) << ir << ": " << r.out;
  }
  // A server that is not a repository.
  ProcessResult r = bare({"ls", "--ir", server_.corbaloc_base() + "/Nothing"});
  EXPECT_EQ(r.status(), 1) << r.describe();
  EXPECT_TRUE(contains(r.err, "is not an interface repository")) << r.err;
}

TEST_F(CliE2E, NamesNotFoundGetSuggestions) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"describe", "::Zoo::Catt"},
       "::Zoo::Catt: no such definition; did you "
       "mean ::Zoo::Cat?"},
      {{"ls", "::zoo"}, "::zoo: no such definition; did you mean ::Zoo?"},
      {{"refs", "Catfish"}, "did you mean ::Zoo::Inner::Catfish?"},
      {{"children", "::Zoo::Inner::Catfsh"},
       "did you mean "
       "::Zoo::Inner::Catfish?"},
      {{"describe", "::Zoo::Dog::brak"}, "did you mean ::Zoo::Dog::bark?"},
      {{"idl", "::Nothing::Near"}, "::Nothing::Near: no such definition\n"},
      {{"find", "--in", "::Zooo", "*"}, "did you mean ::Zoo?"},
  };
  for (const auto& c : cases) {
    ProcessResult r = irctl(c.first);
    EXPECT_EQ(r.status(), 1) << c.first[0] << ": " << r.describe();
    EXPECT_EQ(text_lines(r.err).size(), 1u) << r.err;
    EXPECT_TRUE(contains(r.err, c.second)) << r.err;
  }
}

TEST_F(CliE2E, FindMatchesLikeGrep) {
  struct Case {
    std::vector<std::string> args;
    int status;
    std::vector<std::string> names;
  };
  const Case cases[] = {
      {{"find", "Cat*"}, 0, {"::Zoo::Cat", "::Zoo::Inner::Catfish"}},
      {{"find", "cat*"}, 1, {}},
      {{"find", "-i", "cat*"}, 0, {"::Zoo::Cat", "::Zoo::Inner::Catfish"}},
      {{"find", "--ignore-case", "--kind", "module", "ZOO"}, 0, {"::Zoo"}},
      {{"find", "--ids", "-i", "idl:zoo/d*"},
       0,
       {"::Zoo::Dog", "::Zoo::Dog::bark"}},
      {{"find", "--in", "::Zoo::Inner", "*"}, 0, {"::Zoo::Inner::Catfish"}},
      {{"find", "Nothing*"}, 1, {}},
  };
  for (const Case& c : cases) {
    json doc = irctl_json(c.args, c.status);
    std::vector<std::string> names;
    for (const json& m : doc["matches"])
      names.push_back(m["scoped_name"].get<std::string>());
    EXPECT_EQ(names, c.names) << c.args.back();
    ProcessResult text = irctl(c.args);
    EXPECT_EQ(text.status(), c.status) << text.describe();
    EXPECT_EQ(text_lines(text.out).size(), c.names.size()) << text.out;
  }
}

// ls: a header over aligned columns; -R: one section per container that
// has contents, nothing for empty ones.
TEST_F(CliE2E, LsColumnsAndSections) {
  ProcessResult r = irctl({"ls", "-R", "::Zoo"});
  ASSERT_EQ(r.status(), 0) << r.describe();
  EXPECT_EQ(r.out,
            "::Zoo:\n"
            "KIND       NAME\n"
            "Interface  ::Zoo::Animal\n"
            "Interface  ::Zoo::Cat\n"
            "Interface  ::Zoo::Dog\n"
            "Module     ::Zoo::Inner\n"
            "\n"
            "::Zoo::Dog:\n"
            "KIND       NAME\n"
            "Operation  ::Zoo::Dog::bark\n"
            "\n"
            "::Zoo::Inner:\n"
            "KIND       NAME\n"
            "Interface  ::Zoo::Inner::Catfish\n");
  ProcessResult leaf = irctl({"ls", "::Zoo::Cat"});
  EXPECT_EQ(leaf.status(), 0) << leaf.describe();
  EXPECT_EQ(leaf.out, "KIND  NAME\n");
  ProcessResult not_container = irctl({"ls", "::Zoo::Dog::bark"});
  EXPECT_EQ(not_container.status(), 1);
  EXPECT_TRUE(contains(not_container.err, "is Operation, not a container"));
}

bool is_summary(const json& row) {
  for (const char* key :
       {"kind", "name", "scoped_name", "id", "version", "defined_in"})
    if (!row.contains(key) || !row[key].is_string()) return false;
  return row.contains("contents") &&
         (row["contents"].is_null() || row["contents"].is_number_unsigned());
}

// Every command's -o json is one document with the documented fields.
TEST_F(CliE2E, JsonOfEveryCommand) {
  json ls = irctl_json({"ls"});
  EXPECT_EQ(ls["container"], json({{"name", "::"}, {"id", ""}}));
  EXPECT_EQ(ls["recursive"], false);
  ASSERT_EQ(ls["definitions"].size(), 2u) << ls;
  for (const json& row : ls["definitions"]) EXPECT_TRUE(is_summary(row)) << row;
  EXPECT_EQ(ls["definitions"][1]["scoped_name"], "::Zoo");
  EXPECT_EQ(ls["definitions"][1]["kind"], "Module");

  json all = irctl_json({"ls", "-R", "::Zoo"});
  EXPECT_EQ(all["container"]["id"], "IDL:Zoo:1.0");
  std::vector<std::string> rows;
  for (const json& row : all["definitions"])
    rows.push_back(row["scoped_name"].get<std::string>() + " in " +
                   row["defined_in"].get<std::string>());
  std::sort(rows.begin(), rows.end());
  EXPECT_EQ(rows, (std::vector<std::string>{
                      "::Zoo::Animal in IDL:Zoo:1.0",
                      "::Zoo::Cat in IDL:Zoo:1.0", "::Zoo::Dog in IDL:Zoo:1.0",
                      "::Zoo::Dog::bark in IDL:Zoo/Dog:1.0",
                      "::Zoo::Inner in IDL:Zoo:1.0",
                      "::Zoo::Inner::Catfish in IDL:Zoo/Inner:1.0"}));

  json refs = irctl_json({"refs", "--derives", "::Zoo::Animal"});
  EXPECT_EQ(refs["definition"],
            json({{"name", "::Zoo::Animal"}, {"id", "IDL:Zoo/Animal:1.0"}}));
  EXPECT_EQ(refs["which"], "derives");
  ASSERT_EQ(refs["refs"].size(), 2u) << refs;
  EXPECT_TRUE(is_summary(refs["refs"][0])) << refs;
  json uses = irctl_json({"refs", "--uses", "::Zoo::Cat"});
  ASSERT_EQ(uses["refs"].size(), 1u) << uses;
  EXPECT_EQ(uses["refs"][0]["scoped_name"], "::Zoo::Dog::bark");

  json kids = irctl_json({"children", "::Zoo::Cat"});
  ASSERT_EQ(kids["children"].size(), 1u) << kids;
  EXPECT_EQ(kids["children"][0]["id"], "IDL:Zoo/Inner/Catfish:1.0");

  json idl = irctl_json({"idl", "::Zoo::Inner"});
  EXPECT_EQ(idl["name"], "::Zoo::Inner");
  EXPECT_EQ(idl["with_deps"], false);
  EXPECT_EQ(idl["idl"], irctl({"idl", "::Zoo::Inner"}).out);
  EXPECT_EQ(idl["definitions"],
            json::parse(R"([{"kind":"Module","name":"::Zoo::Inner",
                             "id":"IDL:Zoo/Inner:1.0"},
                            {"kind":"Interface",
                             "name":"::Zoo::Inner::Catfish",
                             "id":"IDL:Zoo/Inner/Catfish:1.0"}])"));

  json fed = irctl_json({"feed", zoo_});
  EXPECT_EQ(fed["failed"], 0);
  EXPECT_EQ(fed["created"], 0);
  EXPECT_EQ(fed["unchanged"], 7);
  ASSERT_EQ(fed["files"].size(), 1u) << fed;
  EXPECT_EQ(fed["files"][0]["path"], zoo_);
  EXPECT_EQ(fed["files"][0]["status"], "fed");
  EXPECT_EQ(fed["files"][0]["removed_definitions"], json::array());

  json checked = irctl_json({"feed", "--check", zoo_});
  EXPECT_EQ(checked["differences"], 0);
  EXPECT_EQ(checked["files"][0]["status"], "matches");

  json removed = irctl_json({"rm", "--dry-run", "::Zoo::Inner"});
  EXPECT_EQ(removed["dry_run"], true);
  EXPECT_EQ(removed["refused"], false);
  EXPECT_EQ(removed["removed"],
            json::parse(R"([{"kind":"Module","name":"::Zoo::Inner",
                             "id":"IDL:Zoo/Inner:1.0","inside":1}])"));
  EXPECT_EQ(removed["dangling"], json::array());
}

// Messages count in words: one file, two files; one definition.
TEST_F(CliE2E, CountsArePluralisedAndPathsAreAsGiven) {
  std::string one = idl_file("one.idl", "module One { interface I {}; };\n");
  // A path with a "./" and a ".." stays as it was typed.
  std::filesystem::create_directory(server_.dir() + "/sub");
  std::string typed = server_.dir() + "/./sub/../one.idl";
  ProcessResult r = irctl({"feed", typed});
  ASSERT_EQ(r.status(), 0) << r.describe();
  EXPECT_EQ(r.out, "fed " + typed +
                       ": 2 created, 0 unchanged\n"
                       "irctl: feed: 1 file fed (2 definitions created, 0 "
                       "unchanged, 0 replaced, 0 removed), 0 failed\n");
  std::string single = idl_file("single.idl", "interface Lone {};\n");
  ProcessResult s = irctl({"feed", single, one});
  EXPECT_TRUE(contains(s.out, "2 files fed (1 definition created,")) << s.out;
}

TEST_F(CliE2E, PingAndBackup) {
  std::string dead = "127.0.0.1:" + std::to_string(free_tcp_port());
  ProcessResult gone = bare({"ping", "--ir", dead});
  EXPECT_EQ(gone.status(), 1) << gone.describe();
  EXPECT_TRUE(contains(gone.err, "no repository answers at")) << gone.err;
  {
    IRExt::Repository_var repo = ext_repository_at(server_.corbaloc());
    try {
      IRExt::ExtServerInfo_var info = repo->ext_server_info();
    } catch (const CORBA::NO_IMPLEMENT&) {
      GTEST_SKIP() << "this irserver answers no ext_server_info";
    }
  }
  ProcessResult ping = irctl({"ping"});
  EXPECT_EQ(ping.status(), 0) << ping.describe();
  for (const std::string& line :
       {"repository:   " + server_.corbaloc() + "\n",
        std::string("read-only:    no\n"), std::string("status:       ok\n")})
    EXPECT_TRUE(contains(ping.out, line)) << line << " in " << ping.out;
  json info = irctl_json({"ping"});
  EXPECT_EQ(info["healthy"], true);
  EXPECT_EQ(info["read_only"], false);
  EXPECT_EQ(info["repository"], server_.corbaloc());
  EXPECT_TRUE(contains(info["database"].get<std::string>(), "ir.db")) << info;
  EXPECT_GE(info["definitions"].get<long>(), 7);
  EXPECT_TRUE(info["uptime_seconds"].is_number_unsigned()) << info;
  EXPECT_FALSE(info["version"].get<std::string>().empty());

  json copy = irctl_json({"backup"});
  std::string path = copy["path"].get<std::string>();
  EXPECT_TRUE(std::filesystem::exists(path)) << path;
  ProcessResult text = irctl({"backup"});
  EXPECT_EQ(text.status(), 0) << text.describe();
  EXPECT_EQ(text_lines(text.out).size(), 1u) << text.out;
}

}  // namespace
