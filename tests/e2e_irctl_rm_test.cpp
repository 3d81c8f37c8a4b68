// irctl rm and feed --replace: removals that would leave definitions
// outside them referring to nothing are refused unless --force; --dry-run
// shows what would go and what would dangle.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "e2e_irctl_fixture.h"

namespace {

using nlohmann::json;

const char kCommon[] =
    "module Common {\n"
    "  struct Money { long cents; };\n"
    "  typedef sequence<Money> Wallet;\n"
    "};\n";
const char kBank[] =
    "#include \"common.idl\"\n"
    "module Bank {\n"
    "  interface Account { Common::Money balance(); };\n"
    "};\n";

const char kUse[] =
    "::Bank::Account::balance (IDL:Bank/Account/balance:1.0) uses "
    "::Common::Money";

class RmE2E : public IrctlE2E {
 protected:
  void SetUp() override {
    IrctlE2E::SetUp();
    common_ = idl_file("common.idl", kCommon);
    bank_ = idl_file("bank.idl", kBank);
    feed_ok({bank_});
  }
  std::string common_, bank_;
};

TEST_F(RmE2E, RefusesWhatOthersStillUseAndListsTheUsers) {
  std::string before = snapshot(server_);
  for (const std::vector<std::string>& args :
       {std::vector<std::string>{"rm", "::Common"},
        std::vector<std::string>{"rm", "::Common::Money"},
        std::vector<std::string>{"rm", common_}}) {
    ProcessResult r = irctl(args);
    EXPECT_EQ(r.status(), 1) << args[1] << ": " << r.describe();
    EXPECT_EQ(r.out, "") << args[1];
    EXPECT_TRUE(contains(r.err, "refused")) << r.err;
    EXPECT_TRUE(contains(r.err, std::string("  ") + kUse + "\n")) << r.err;
    EXPECT_TRUE(contains(r.err, "nothing was removed")) << r.err;
    EXPECT_TRUE(contains(r.err, "--force")) << r.err;
    EXPECT_EQ(snapshot(server_), before) << args[1];
  }
}

TEST_F(RmE2E, DryRunShowsWhatWouldGoAndWhatWouldDangle) {
  std::string before = snapshot(server_);
  ProcessResult r = irctl({"rm", "--dry-run", "::Common"});
  EXPECT_EQ(r.status(), 1) << "would be refused: " << r.describe();
  EXPECT_EQ(r.out,
            "would remove ::Common (IDL:Common:1.0) and 2 definitions inside "
            "it\n"
            "would leave dangling: " +
                std::string(kUse) + "\n");
  ProcessResult forced = irctl({"rm", "-n", "--force", "::Common"});
  EXPECT_EQ(forced.status(), 0) << forced.describe();
  ProcessResult both = irctl({"rm", "--dry-run", "::Common", "::Bank"});
  EXPECT_EQ(both.status(), 0) << both.describe();
  EXPECT_FALSE(contains(both.out, "dangling")) << both.out;

  json doc = irctl_json({"rm", "--dry-run", "::Common"}, 1);
  EXPECT_EQ(doc["dry_run"], true);
  EXPECT_EQ(doc["force"], false);
  EXPECT_EQ(doc["removed"], json::parse(R"([{"kind":"Module","name":"::Common",
                             "id":"IDL:Common:1.0","inside":2}])"));
  ASSERT_EQ(doc["dangling"].size(), 1u) << doc;
  EXPECT_EQ(doc["dangling"][0]["user"]["scoped_name"],
            "::Bank::Account::balance");
  EXPECT_EQ(doc["dangling"][0]["user"]["kind"], "Operation");
  EXPECT_EQ(doc["dangling"][0]["uses"], json({{"name", "::Common::Money"},
                                              {"id", "IDL:Common/Money:1.0"}}));

  // Files: the removal of common.idl would leave bank.idl's operation
  // dangling; removing both in one run would not.
  ProcessResult file = irctl({"rm", "--dry-run", common_});
  EXPECT_EQ(file.status(), 1) << file.describe();
  EXPECT_TRUE(contains(file.out, std::string("would leave dangling: ") + kUse))
      << file.out;
  ProcessResult files = irctl({"rm", "--dry-run", bank_, common_});
  EXPECT_EQ(files.status(), 0) << files.describe();
  // Modules that the removal empties go whole.
  EXPECT_TRUE(contains(files.out,
                       "would remove ::Common (IDL:Common:1.0) and 2 "
                       "definitions inside it\n"))
      << files.out;
  EXPECT_TRUE(contains(files.out,
                       "would remove ::Bank (IDL:Bank:1.0) and 2 definitions "
                       "inside it\n"))
      << files.out;
  EXPECT_FALSE(contains(files.out, "dangling")) << files.out;
  EXPECT_EQ(snapshot(server_), before);
}

TEST_F(RmE2E, RemovalsOfUsersWithWhatTheyUseOrForcedGoThrough) {
  ProcessResult both = irctl({"rm", "::Common", "::Bank"});
  EXPECT_EQ(both.status(), 0) << both.describe();
  EXPECT_EQ(both.err, "");
  EXPECT_EQ(all_ids(server_), std::vector<std::string>{"IDL:Object:1.0"});

  feed_ok({bank_});
  ProcessResult files = irctl({"rm", common_, bank_});
  EXPECT_EQ(files.status(), 0) << files.describe();
  EXPECT_EQ(all_ids(server_), std::vector<std::string>{"IDL:Object:1.0"});

  feed_ok({bank_});
  ProcessResult forced =
      irctl({"rm", "--force", "::Common::Wallet", "::Common::Money"});
  EXPECT_EQ(forced.status(), 0) << forced.describe();
  EXPECT_EQ(forced.out,
            "removed ::Common::Wallet (IDL:Common/Wallet:1.0)\n"
            "removed ::Common::Money (IDL:Common/Money:1.0)\n");
  EXPECT_EQ(lines_with(forced.err, "warning").size(), 1u) << forced.err;
  EXPECT_TRUE(contains(forced.err, std::string(kUse) + ", which is removed"))
      << forced.err;
}

TEST_F(RmE2E, NamesThatAreNotThereOrObjectRemoveNothing) {
  std::string before = snapshot(server_);
  ProcessResult unknown = irctl({"rm", "::Bank", "::No::Such"});
  EXPECT_EQ(unknown.status(), 1) << unknown.describe();
  EXPECT_TRUE(contains(unknown.err, "::No::Such: no such definition"));
  ProcessResult object = irctl({"rm", "::Object"});
  EXPECT_EQ(object.status(), 1) << object.describe();
  EXPECT_TRUE(contains(object.err, "built-in Object")) << object.err;
  EXPECT_EQ(snapshot(server_), before);
}

// feed --replace removes what a file no longer has, saying which, unless
// definitions the file does not define still use it.
TEST_F(RmE2E, ReplaceSaysWhatItRemovesAndRefusesWhatOthersUse) {
  std::string v1 = idl_file("m.idl",
                            "module M { interface I {\n"
                            "  typedef long Count; typedef short Unused;\n"
                            "  void f(); }; };\n");
  std::string user = idl_file("user.idl",
                              "#include \"m.idl\"\n"
                              "module U { struct S { ::M::I::Count c; }; };\n");
  feed_ok({user});
  std::string v2 =
      idl_file("m2.idl", "module M { interface I { void f(); }; };\n");
  std::string before = snapshot(server_);
  ProcessResult refused = irctl({"feed", "--replace", v2});
  EXPECT_EQ(refused.status(), 1) << refused.describe();
  for (const char* part :
       {"--replace would remove ::M::I::Count (IDL:M/I/Count:1.0), "
        "::M::I::Unused (IDL:M/I/Unused:1.0), which the file no longer has",
        "::U::S (IDL:U/S:1.0) uses ::M::I::Count", "--force"})
    EXPECT_TRUE(contains(refused.err, part)) << part << " in " << refused.err;
  EXPECT_EQ(snapshot(server_), before);

  ProcessResult forced = irctl({"feed", "--replace", "--force", v2});
  EXPECT_EQ(forced.status(), 0) << forced.describe();
  EXPECT_TRUE(contains(forced.out,
                       "removed ::M::I::Count (IDL:M/I/Count:1.0)\n"
                       "removed ::M::I::Unused (IDL:M/I/Unused:1.0)\n"))
      << forced.out;
  EXPECT_TRUE(contains(forced.out, "3 unchanged, 2 removed")) << forced.out;
  json doc = irctl_json({"feed", "--check", v2});
  EXPECT_EQ(doc["differences"], 0) << doc;
}

}  // namespace
