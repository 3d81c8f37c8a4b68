// End-to-end: replies larger than omniORB's default message limit, and
// the bulk listings over IIOP.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "irext.hh"

namespace {

// Definitions whose repository ids are long enough that describing them
// all takes more than omniORB's default limit of 2 MB.
constexpr int kBigModules = 300;
const std::string kLongTail(10000, 'x');

std::string BigId(int i) {
  return "IDL:Big/M" + std::to_string(i) + ":" + kLongTail;
}

void FillBigModule(IRExt::Repository_ptr root) {
  root->ext_beginUserTransaction();
  CORBA::ModuleDef_var big = root->create_module("IDL:Big:1.0", "Big", "1.0");
  for (int i = 0; i < kBigModules; ++i) {
    std::string name = "M" + std::to_string(i);
    CORBA::ModuleDef_var(
        big->create_module(BigId(i).c_str(), name.c_str(), "1.0"));
  }
  root->ext_endUserTransaction();
}

TEST_F(IrServerE2E, RepliesBeyondTwoMegabytesWorkWithDefaults) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    IRExt::Repository_var root = ext_repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    FillBigModule(root);
    CORBA::Contained_var found = root->lookup_id("IDL:Big:1.0");
    CORBA::ModuleDef_var big = CORBA::ModuleDef::_narrow(found);
    ASSERT_FALSE(CORBA::is_nil(big));

    CORBA::Container::DescriptionSeq_var described =
        big->describe_contents(CORBA::dk_all, false, -1);
    ASSERT_EQ(described->length(), CORBA::ULong(kBigModules));
    CORBA::ModuleDescription* last = nullptr;
    ASSERT_TRUE(described[kBigModules - 1].value >>= last);
    EXPECT_EQ(std::string(last->id.in()), BigId(kBigModules - 1));

    CORBA::ContainedSeq_var contents = big->contents(CORBA::dk_all, false);
    EXPECT_EQ(contents->length(), CORBA::ULong(kBigModules));
    CORBA::ContainedSeq_var named =
        root->lookup_name("M7", -1, CORBA::dk_all, false);
    EXPECT_EQ(named->length(), 1u);
    CORBA::ContainedSeq_var found_all =
        root->ext_find_objects("*:x*", "", true, "Module");
    EXPECT_EQ(found_all->length(), CORBA::ULong(kBigModules));

    IRExt::ExtPage_var listed = root->ext_list("IDL:Big:1.0", 0, 0);
    ASSERT_EQ(listed->items.length(), CORBA::ULong(kBigModules));
    EXPECT_EQ(listed->total, CORBA::ULong(kBigModules));
    EXPECT_STREQ(listed->items[3].absolute_name.in(), "::Big::M3");
    EXPECT_EQ(std::string(listed->items[3].id.in()), BigId(3));
    IRExt::ExtPage_var searched =
        root->ext_search("m1*", "IDL:Big:1.0", false, true, "", 0, 0);
    EXPECT_EQ(searched->total, 111u);  // M1, M10-M19, M100-M199
    IRExt::ExtPage_var page =
        root->ext_search("*", "", false, false, "Module", 290, 5);
    EXPECT_EQ(page->total, CORBA::ULong(kBigModules + 1));
    ASSERT_EQ(page->items.length(), 5u);
    EXPECT_STREQ(page->items[0].name.in(), "M289");
  });
}

TEST_F(IrServerE2E, AReplyBeyondTheConfiguredLimitFailsAlone) {
  Guarded([&] {
    IrServerProcess server;
    server.extra_args = {"--max-message-size", "1M"};
    ASSERT_EQ(server.start(), "");
    IRExt::Repository_var root = ext_repository_at(server.corbaloc());
    FillBigModule(root);
    CORBA::Contained_var found = root->lookup_id("IDL:Big:1.0");
    CORBA::ModuleDef_var big = CORBA::ModuleDef::_narrow(found);
    ASSERT_FALSE(CORBA::is_nil(big));
    try {
      CORBA::Container::DescriptionSeq_var described =
          big->describe_contents(CORBA::dk_all, false, -1);
      ADD_FAILURE() << "a 3 MB reply went through a 1 MB limit";
    } catch (const CORBA::MARSHAL&) {
    }
    // Pages small enough to fit still come through, on the same server.
    IRExt::ExtPage_var page = root->ext_list("IDL:Big:1.0", 0, 50);
    EXPECT_EQ(page->items.length(), 50u);
    EXPECT_EQ(page->total, CORBA::ULong(kBigModules));
  });

  // Sizes that make no sense are refused on the command line.
  for (const char* bad : {"0", "12Q", "-5", "1K", "5G"}) {
    ProcessResult r = run_irserver({"--max-message-size", bad});
    EXPECT_EQ(r.status(), 2) << bad << r.describe();
    EXPECT_NE(r.err.find("--max-message-size"), std::string::npos) << r.err;
  }
}

}  // namespace

namespace {

// What a removal would leave dangling, and the kinds present, asked over
// IIOP.
TEST_F(IrServerE2E, OutsideRefsAndKindCountsOverIiop) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    IRExt::Repository_var root = ext_repository_at(server.corbaloc());
    CORBA::ModuleDef_var lib = root->create_module("IDL:Lib:1.0", "Lib", "1.0");
    CORBA::PrimitiveDef_var lng = root->get_primitive(CORBA::pk_long);
    CORBA::StructMemberSeq members;
    members.length(1);
    members[0].name = "v";
    members[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    members[0].type_def = CORBA::IDLType::_duplicate(lng);
    CORBA::StructDef_var s =
        lib->create_struct("IDL:Lib/S:1.0", "S", "1.0", members);
    CORBA::ModuleDef_var app = root->create_module("IDL:App:1.0", "App", "1.0");
    CORBA::AliasDef_var alias =
        app->create_alias("IDL:App/A:1.0", "A", "1.0", s);

    IRExt::Contained_var ext_lib = IRExt::Contained::_narrow(lib);
    IRExt::ExtReferenceSeq_var refs = ext_lib->ext_outside_refs();
    ASSERT_EQ(refs->length(), 1u);
    EXPECT_STREQ(refs[0].user.absolute_name.in(), "::App::A");
    EXPECT_STREQ(refs[0].user.defined_in.in(), "IDL:App:1.0");
    EXPECT_EQ(refs[0].user.kind, CORBA::dk_Alias);
    EXPECT_STREQ(refs[0].used.in(), "IDL:Lib/S:1.0");

    IRExt::ExtKindCountSeq_var counts = root->ext_count_kinds();
    std::string text;
    for (CORBA::ULong i = 0; i < counts->length(); ++i)
      text += std::to_string(counts[i].kind) + ":" +
              std::to_string(counts[i].count) + " ";
    EXPECT_EQ(text, "5:1 6:2 9:1 10:1 ");  // Object, two modules, ...
  });
}

}  // namespace
