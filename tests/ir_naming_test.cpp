// The naming tree: lookup, rename, change of id, absolute names,
// destroy and the create checks.
#include <gtest/gtest.h>

#include <string>

#include "ir/containd.h"
#include "ir_fixture.h"

namespace {

class NamingTest : public IrTest {
 protected:
  void SetUp() override {
    IrTest::SetUp();
    a_ = repo_->create_module("IDL:A:1.0", "A", "1.0");
    b_ = a_->create_module("IDL:A/B:1.0", "B", "1.0");
    c_ = b_->create_module("IDL:A/B/C:1.0", "C", "1.0");
  }
  CORBA::ModuleDef_var a_, b_, c_;
};

TEST_F(NamingTest, ScopedNameLookup) {
  struct Case {
    const char* from;  // "" = the root, else the id of a module
    const char* name;
    const char* expected;  // "<nil>" when nothing is found
  } cases[] = {
      {"", "::A::B::C", "IDL:A/B/C:1.0"},
      {"", "A::B", "IDL:A/B:1.0"},
      {"", "::A:B", "IDL:A/B:1.0"},  // one colon separates as well
      {"", "::A:::B", "IDL:A/B:1.0"},
      {"IDL:A:1.0", "B::C", "IDL:A/B/C:1.0"},
      {"IDL:A/B:1.0", "::A", "IDL:A:1.0"},  // absolute from anywhere
      {"", "::CORBA::Object", "IDL:Object:1.0"},
      {"", "::Object", "IDL:Object:1.0"},
      {"", "::a", "<nil>"},  // case-sensitive
      {"", "::A::X", "<nil>"},
      {"", "", "<nil>"},
      {"", "::", "<nil>"},
      {"IDL:A/B/C:1.0", "B", "<nil>"},  // no search in enclosing scopes
  };
  for (const Case& c : cases) {
    CORBA::Contained_var found;
    if (std::string(c.from).empty()) {
      found = repo_->lookup(c.name);
    } else {
      CORBA::Contained_var from = repo_->lookup_id(c.from);
      CORBA::Container_var container = CORBA::Container::_narrow(from);
      found = container->lookup(c.name);
    }
    EXPECT_EQ(IdOf(found), c.expected)
        << "lookup(\"" << c.name << "\") from " << c.from;
  }
  EXPECT_BAD_ARG(CORBA::Contained_var(repo_->lookup(nullptr)));
}

TEST_F(NamingTest, AbsoluteNameAndDefinedIn) {
  EXPECT_EQ(Str(c_->absolute_name()), "::A::B::C");
  EXPECT_EQ(Str(a_->absolute_name()), "::A");
  CORBA::Container_var parent = c_->defined_in();
  EXPECT_EQ(IdOf(CORBA::Contained_var(CORBA::Contained::_narrow(parent))),
            "IDL:A/B:1.0");
  CORBA::Container_var root = a_->defined_in();
  EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
  CORBA::Repository_var r = c_->containing_repository();
  EXPECT_TRUE(r->_is_equivalent(repo_));
  // The scoped name follows a rename of an enclosing module.
  b_->name("B2");
  CORBA::String_var renamed = c_->absolute_name();
  EXPECT_STREQ(renamed.in(),
               "::A::B::C")  // cached per object until its own rename
      << "the scoped-name cache is per object";
  EXPECT_EQ(Str(b_->absolute_name()), "::A::B2");
}

TEST_F(NamingTest, RenameRules) {
  CORBA::ModuleDef_var d = a_->create_module("IDL:A/D:1.0", "D", "1.0");
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x54), d->name("B"));
  EXPECT_EQ(Str(d->name()), "D");
  d->name("E");
  EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup("::A::E"))), "IDL:A/D:1.0");
  EXPECT_TRUE(CORBA::is_nil(CORBA::Contained_var(repo_->lookup("::A::D"))));
  // Inside a user transaction the checks are skipped.
  ext_->ext_beginUserTransaction();
  d->name("B");
  ext_->ext_endUserTransaction();
  EXPECT_EQ(Str(d->name()), "B");
}

TEST_F(NamingTest, ChangeOfIdAndVersionRules) {
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(2), c_->id("IDL:A/B/C:1.0"));
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(2), c_->id("IDL:A:1.0"));
  b_->id("IDL:NewB:2.0");
  // The reference names the definition, whatever its id.
  EXPECT_EQ(Str(b_->id()), "IDL:NewB:2.0");
  EXPECT_TRUE(
      CORBA::is_nil(CORBA::Contained_var(repo_->lookup_id("IDL:A/B:1.0"))));
  CORBA::Contained_var moved = repo_->lookup_id("IDL:NewB:2.0");
  EXPECT_TRUE(moved->_is_equivalent(b_));
  // The children keep their parent.
  CORBA::Container_var parent = c_->defined_in();
  EXPECT_EQ(IdOf(CORBA::Contained_var(CORBA::Contained::_narrow(parent))),
            "IDL:NewB:2.0");
  Find("IDL:A/B/C:1.0")->version("3.1");
  Reopen();
  EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup("::A::B"))),
            "IDL:NewB:2.0");
  EXPECT_EQ(Str(CORBA::Contained_var(repo_->lookup("::A::B::C"))->version()),
            "3.1");
  EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup("::A::B::C"))),
            "IDL:A/B/C:1.0");
}

TEST_F(NamingTest, DestroyRemovesTheSubtreeAndTurnsCachesOff) {
  IRExt::Contained_var ext_b = IRExt::Contained::_narrow(b_);
  CORBA::ContainedSeq_var doomed = ext_b->ext_get_objects_2b_deleted();
  ASSERT_EQ(doomed->length(), 2u);
  EXPECT_EQ(IdOf(doomed[0]), "IDL:A/B:1.0");
  EXPECT_EQ(IdOf(doomed[1]), "IDL:A/B/C:1.0");
  CORBA::ContainedSeq_var before = a_->contents(CORBA::dk_all, false);
  EXPECT_EQ(before->length(), 1u);
  EXPECT_FALSE(dont_use_contents_cache);
  b_->destroy();
  EXPECT_TRUE(dont_use_contents_cache);
  CORBA::ContainedSeq_var after = a_->contents(CORBA::dk_all, false);
  EXPECT_EQ(after->length(), 0u);
  EXPECT_TRUE(
      CORBA::is_nil(CORBA::Contained_var(repo_->lookup_id("IDL:A/B/C:1.0"))));
  EXPECT_THROW(c_->name(), CORBA::OBJECT_NOT_EXIST);
}

TEST_F(NamingTest, ContentsLimitTypes) {
  for (CORBA::ULong k : {19u, 25u, 1000u}) {
    auto kind = static_cast<CORBA::DefinitionKind>(k);
    EXPECT_BAD_ARG(CORBA::ContainedSeq_var(repo_->contents(kind, false)));
    EXPECT_SYSEX(
        BAD_PARAM, IrMinor(0x48),
        CORBA::ContainedSeq_var(repo_->lookup_name("A", 1, kind, false)));
    EXPECT_BAD_ARG(CORBA::Container::DescriptionSeq_var(
        repo_->describe_contents(kind, false, -1)));
  }
  CORBA::ContainedSeq_var typedefs = repo_->contents(CORBA::dk_Typedef, false);
  EXPECT_EQ(typedefs->length(), 0u);
  CORBA::ContainedSeq_var modules = repo_->contents(CORBA::dk_Module, true);
  EXPECT_EQ(modules->length(), 1u);  // exclusion only counts for interfaces
}

TEST_F(NamingTest, LookupNameLevelsAndDescribeContents) {
  CORBA::ModuleDef_var c2 = a_->create_module("IDL:A/C:1.0", "C", "1.0");
  CORBA::ContainedSeq_var one = a_->lookup_name("C", 1, CORBA::dk_all, false);
  ASSERT_EQ(one->length(), 1u);
  EXPECT_EQ(IdOf(one[0]), "IDL:A/C:1.0");
  CORBA::ContainedSeq_var all =
      a_->lookup_name("C", -1, CORBA::dk_Module, false);
  EXPECT_EQ(all->length(), 2u);
  CORBA::Container::DescriptionSeq_var d =
      a_->describe_contents(CORBA::dk_all, false, -1);
  ASSERT_EQ(d->length(), 2u);
  EXPECT_EQ(d[0].kind, CORBA::dk_Module);
  const CORBA::ModuleDescription* md;
  ASSERT_TRUE(d[0].value >>= md);
  EXPECT_STREQ(md->name.in(), "B");
  EXPECT_STREQ(md->defined_in.in(), "IDL:A:1.0");
  CORBA::Container::DescriptionSeq_var capped =
      a_->describe_contents(CORBA::dk_all, false, 1);
  EXPECT_EQ(capped->length(), 1u);
  CORBA::Contained::Description_var top = a_->describe();
  ASSERT_TRUE(top->value >>= md);
  EXPECT_STREQ(md->defined_in.in(), "");
}

TEST_F(NamingTest, CreateModuleChecks) {
  std::string n254(254, 'n'), n255(255, 'n');
  EXPECT_BAD_ARG(CORBA::ModuleDef_var(
      repo_->create_module("IDL:N255:1.0", n255.c_str(), "1.0")));
  EXPECT_BAD_ARG(
      CORBA::ModuleDef_var(repo_->create_module(nullptr, "x", "1.0")));
  CORBA::ModuleDef_var(
      repo_->create_module("IDL:N254:1.0", n254.c_str(), "1.0"));
  // A name or id in use is a clash, though a user transaction skips the
  // check of names.
  EXPECT_SYSEX(
      BAD_PARAM, OmgMinor(3),
      CORBA::ModuleDef_var(repo_->create_module("IDL:A2:1.0", "A", "1.0")));
  EXPECT_SYSEX(
      BAD_PARAM, IrMinor(0x54),
      CORBA::ModuleDef_var(repo_->create_module("IDL:A:1.0", "Y", "1.0")));
  EXPECT_EQ(ContentsOf(repo_, CORBA::dk_Module).size(), 2u);
  ext_->ext_beginUserTransaction();
  CORBA::ModuleDef_var(repo_->create_module("IDL:A2:1.0", "A", "1.0"));
  ext_->ext_endUserTransaction();
  EXPECT_EQ(IdOf(Find("IDL:A2:1.0")), "IDL:A2:1.0");
}

TEST_F(NamingTest, ContainersRefuseWhatTheyDoNotHold) {
  CORBA::Contained_var object = repo_->lookup_id("IDL:Object:1.0");
  CORBA::InterfaceDef_var itf = CORBA::InterfaceDef::_narrow(object);
  EXPECT_SYSEX(
      NO_IMPLEMENT, IrMinor(0x34),
      CORBA::ModuleDef_var(itf->create_module("IDL:I/M:1.0", "M", "1.0")));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::InterfaceDef_var(itf->create_interface(
                   "IDL:I/J:1.0", "J", "1.0", CORBA::InterfaceDefSeq())));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34), object->move(repo_, "x", "1.0"));
}

TEST_F(NamingTest, ContentAddedElsewhereIsFound) {
  CORBA::ContainedSeq_var cached = a_->contents(CORBA::dk_all, false);
  ASSERT_EQ(cached->length(), 1u);
  // Created through a second reference to the same container.
  CORBA::Contained_var again = repo_->lookup_id("IDL:A:1.0");
  CORBA::ModuleDef_var a2 = CORBA::ModuleDef::_narrow(again);
  CORBA::ModuleDef_var late = a2->create_module("IDL:A/L:1.0", "L", "1.0");
  EXPECT_EQ(IdOf(CORBA::Contained_var(a_->lookup("L"))), "IDL:A/L:1.0");
  CORBA::ContainedSeq_var now = a_->contents(CORBA::dk_all, false);
  EXPECT_EQ(now->length(), 2u);
}

using CoreTest = IrTest;

TEST_F(CoreTest, RootAndObjectExistAndCannotBeDestroyed) {
  EXPECT_EQ(repo_->def_kind(), CORBA::dk_Repository);
  EXPECT_BAD_ARG(repo_->destroy());
  CORBA::Contained_var obj = repo_->lookup_id("IDL:Object:1.0");
  ASSERT_FALSE(CORBA::is_nil(obj));
  EXPECT_EQ(obj->def_kind(), CORBA::dk_Interface);
  EXPECT_EQ(Str(obj->name()), "Object");
  EXPECT_BAD_ARG(obj->destroy());
  CORBA::Contained_var again = repo_->lookup("::CORBA::Object");
  ASSERT_FALSE(CORBA::is_nil(again));
  EXPECT_TRUE(again->_is_equivalent(obj));
}

TEST_F(CoreTest, CancelledUserTransactionLeavesNoTrace) {
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), ext_->ext_endUserTransaction());
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), ext_->ext_cancelUserTransaction());
  CORBA::ModuleDef_var keep = repo_->create_module("IDL:K:1.0", "K", "1.0");
  ext_->ext_beginUserTransaction();
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), ext_->ext_beginUserTransaction());
  CORBA::ModuleDef_var(repo_->create_module("IDL:G:1.0", "G", "1.0"));
  keep->name("Renamed");
  EXPECT_EQ(ContentsOf(repo_, CORBA::dk_Module).size(), 2u);
  ext_->ext_cancelUserTransaction();
  EXPECT_EQ(ContentsOf(repo_, CORBA::dk_Module), Ids{"IDL:K:1.0"});
  EXPECT_EQ(Str(keep->name()), "K");
  EXPECT_EQ(IdOf(Find("IDL:G:1.0")), "<nil>");
}

}  // namespace
