// End-to-end: documentation comments over IIOP.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <string>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "irext.hh"

namespace {

std::string CommentOf(IRExt::Contained_ptr c) {
  return CORBA::String_var(c->ext_get_comment()).in();
}

TEST_F(IrServerE2E, CommentsAreChangesLikeAnyOther) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    IRExt::Repository_var root = ext_repository_at(server.corbaloc());
    CORBA::ModuleDef_var m = root->create_module("IDL:M:1.0", "M", "1.0");
    IRExt::Contained_var ext_m = IRExt::Contained::_narrow(m);
    ASSERT_FALSE(CORBA::is_nil(ext_m));
    EXPECT_EQ(CommentOf(ext_m), "");

    const std::string text = "The module.\n  Second line: \"quoted\" \\ \x7f";
    ext_m->ext_set_comment(text.c_str());
    EXPECT_EQ(CommentOf(ext_m), text);
    // It stays with the definition through a change of id.
    m->id("IDL:M2:1.0");
    EXPECT_EQ(CommentOf(ext_m), text);

    // A cancelled user transaction takes its comments back.
    root->ext_beginUserTransaction();
    ext_m->ext_set_comment("changed");
    CORBA::ModuleDef_var n = root->create_module("IDL:N:1.0", "N", "1.0");
    IRExt::Contained_var(IRExt::Contained::_narrow(n))->ext_set_comment("new");
    EXPECT_EQ(CommentOf(ext_m), "changed");
    root->ext_cancelUserTransaction();
    EXPECT_EQ(CommentOf(ext_m), text);

    EXPECT_THROW(ext_m->ext_set_comment(std::string(65537, 'x').c_str()),
                 CORBA::BAD_PARAM);
    ext_m->ext_set_comment(std::string(65536, 'x').c_str());
    EXPECT_EQ(CommentOf(ext_m).size(), 65536u);
    ext_m->ext_set_comment(text.c_str());

    // It survives a restart, and a read-only server shows it but refuses
    // to change it.
    server.stop();
    server.extra_args = {"--read-only"};
    ASSERT_EQ(server.restart(), "");
    EXPECT_EQ(CommentOf(ext_m), text);
    EXPECT_THROW(ext_m->ext_set_comment("no"), CORBA::NO_PERMISSION);
    EXPECT_THROW(ext_m->ext_set_comment(""), CORBA::NO_PERMISSION);
    server.stop();
    server.extra_args.clear();
    ASSERT_EQ(server.restart(), "");

    // "" removes it; a destroyed definition takes it along, so that a new
    // one of the same id starts without.
    CORBA::ModuleDef_var inner =
        CORBA::ModuleDef::_narrow(CORBA::Contained_var(root->lookup("::M")));
    ASSERT_FALSE(CORBA::is_nil(inner));
    CORBA::ModuleDef_var child =
        inner->create_module("IDL:M/C:1.0", "C", "1.0");
    IRExt::Contained_var(IRExt::Contained::_narrow(child))
        ->ext_set_comment("child");
    ext_m->ext_set_comment("");
    EXPECT_EQ(CommentOf(ext_m), "");
    m->destroy();
    EXPECT_THROW(CommentOf(ext_m), CORBA::OBJECT_NOT_EXIST);
    CORBA::ModuleDef_var again = root->create_module("IDL:M2:1.0", "M", "1.0");
    CORBA::ModuleDef_var child_again =
        again->create_module("IDL:M/C:1.0", "C", "1.0");
    EXPECT_EQ(CommentOf(IRExt::Contained_var(IRExt::Contained::_narrow(again))),
              "");
    EXPECT_EQ(
        CommentOf(IRExt::Contained_var(IRExt::Contained::_narrow(child_again))),
        "");
  });
}

}  // namespace
