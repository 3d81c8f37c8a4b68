// The repository core: root, factory, cache, user transactions, errors.
#include <gtest/gtest.h>

#include "ir/irglob.h"
#include "ir/moduledf.h"
#include "ir_fixture.h"

namespace {

using CoreTest = IrTest;

TEST_F(CoreTest, RootAnswersDefKindAndRefusesDestroy) {
  EXPECT_EQ(repo_->def_kind(), CORBA::dk_Repository);
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), repo_->destroy());
}

TEST_F(CoreTest, ObjectInterfaceExistsAndCannotBeDestroyed) {
  CORBA::Contained_var obj = repo_->lookup_id("IDL:Object:1.0");
  ASSERT_FALSE(CORBA::is_nil(obj));
  EXPECT_EQ(obj->def_kind(), CORBA::dk_Interface);
  CORBA::String_var name = obj->name();
  EXPECT_STREQ(name.in(), "Object");
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), obj->destroy());
  CORBA::Contained_var again = repo_->lookup("::CORBA::Object");
  ASSERT_FALSE(CORBA::is_nil(again));
  EXPECT_TRUE(again->_is_equivalent(obj));
}

TEST_F(CoreTest, ModulesSurviveReopen) {
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::ModuleDef_var n = m->create_module("IDL:M/N:1.0", "N", "1.0");
  Reopen();
  CORBA::Contained_var found = repo_->lookup("::M::N");
  ASSERT_FALSE(CORBA::is_nil(found));
  CORBA::String_var abs = found->absolute_name();
  EXPECT_STREQ(abs.in(), "::M::N");
  CORBA::Contained_var by_id = repo_->lookup_id("IDL:M/N:1.0");
  EXPECT_TRUE(by_id->_is_equivalent(found));
}

TEST_F(CoreTest, CancelledUserTransactionLeavesNoTrace) {
  CORBA::ModuleDef_var keep = repo_->create_module("IDL:K:1.0", "K", "1.0");
  ext_->ext_beginUserTransaction();
  CORBA::ModuleDef_var gone = repo_->create_module("IDL:G:1.0", "G", "1.0");
  keep->name("Renamed");
  CORBA::ContainedSeq_var during = repo_->contents(CORBA::dk_Module, false);
  EXPECT_EQ(during->length(), 2u);
  ext_->ext_cancelUserTransaction();
  CORBA::ContainedSeq_var after = repo_->contents(CORBA::dk_Module, false);
  ASSERT_EQ(after->length(), 1u);
  CORBA::String_var name = after[0]->name();
  EXPECT_STREQ(name.in(), "K");
  CORBA::String_var kept_name = keep->name();
  EXPECT_STREQ(kept_name.in(), "K");
  EXPECT_TRUE(
      CORBA::is_nil(CORBA::Contained_var(repo_->lookup_id("IDL:G:1.0"))));
}

TEST_F(CoreTest, UserTransactionSkipsNameChecks) {
  CORBA::ModuleDef_var a = repo_->create_module("IDL:A:1.0", "A", "1.0");
  EXPECT_SYSEX(
      BAD_PARAM, OmgMinor(3),
      CORBA::ModuleDef_var(repo_->create_module("IDL:A2:1.0", "A", "1.0")));
  ext_->ext_beginUserTransaction();
  CORBA::ModuleDef_var twin = repo_->create_module("IDL:A2:1.0", "A", "1.0");
  ext_->ext_endUserTransaction();
  CORBA::ContainedSeq_var all = repo_->contents(CORBA::dk_Module, false);
  EXPECT_EQ(all->length(), 2u);
}

TEST_F(CoreTest, UserTransactionProtocolErrors) {
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), ext_->ext_endUserTransaction());
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), ext_->ext_cancelUserTransaction());
  ext_->ext_beginUserTransaction();
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), ext_->ext_beginUserTransaction());
  ext_->ext_endUserTransaction();
}

TEST_F(CoreTest, DuplicateIdIsAClash) {
  CORBA::ModuleDef_var a = repo_->create_module("IDL:X:1.0", "X", "1.0");
  EXPECT_SYSEX(
      BAD_PARAM, IrMinor(0x54),
      CORBA::ModuleDef_var(repo_->create_module("IDL:X:1.0", "Y", "1.0")));
  CORBA::ContainedSeq_var all = repo_->contents(CORBA::dk_Module, false);
  EXPECT_EQ(all->length(), 1u);
}

}  // namespace
