// End-to-end tests of the naming tree: a client builds and edits a tree of
// modules and interfaces over IIOP, the server restarts, and the tree is
// found again by scoped name, by id and through contents.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "orb_main.h"

namespace {

// The names of a contents listing, in its order.
std::vector<std::string> names_of(const CORBA::ContainedSeq& seq) {
  std::vector<std::string> names;
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    CORBA::String_var name = seq[i]->name();
    names.emplace_back(name.in());
  }
  return names;
}

std::string absolute_name_of(CORBA::Contained_ptr c) {
  CORBA::String_var name = c->absolute_name();
  return name.in();
}

std::string id_of(CORBA::Contained_ptr c) {
  CORBA::String_var id = c->id();
  return id.in();
}

TEST_F(IrServerE2E, EditedTreeIsFoundByNameIdAndContentsAfterRestart) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));

    CORBA::ModuleDef_var a = root->create_module("IDL:A:1.0", "A", "1.0");
    CORBA::ModuleDef_var b = a->create_module("IDL:A/B:1.0", "B", "1.0");
    CORBA::ModuleDef_var c = b->create_module("IDL:A/B/C:1.0", "C", "1.0");
    CORBA::InterfaceDefSeq no_bases;
    CORBA::InterfaceDef_var i =
        b->create_interface("IDL:A/B/I:1.0", "I", "1.0", no_bases);
    CORBA::ModuleDef_var gone = a->create_module("IDL:A/X:1.0", "X", "1.0");
    gone->create_module("IDL:A/X/Y:1.0", "Y", "1.0");

    // Refusals: a name that is taken (BAD_PARAM with the standard minor
    // code 3) and one of 255 characters; 254 are accepted.
    try {
      CORBA::ModuleDef_var(root->create_module("IDL:Other:1.0", "A", "1.0"));
      ADD_FAILURE() << "a second A was created";
    } catch (const CORBA::BAD_PARAM& e) {
      EXPECT_EQ(e.minor(), CORBA::OMGVMCID | 3);
    }
    const std::string n254(254, 'n');
    try {
      CORBA::ModuleDef_var(root->create_module(
          "IDL:Long:1.0", std::string(255, 'n').c_str(), "1.0"));
      ADD_FAILURE() << "a 255-character name was accepted";
    } catch (const CORBA::BAD_PARAM& e) {
      EXPECT_EQ(e.minor(), 0x51520000UL + 0x48);
    }
    CORBA::ModuleDef_var(
        root->create_module("IDL:Long:1.0", n254.c_str(), "1.0"));

    // Edits: a rename, a new id and version, a destroyed subtree.
    c->name("D");
    c->version("2.0");
    c->id("IDL:renamed/D:2.0");
    gone->destroy();

    CORBA::PrimitiveDef_var lng = root->get_primitive(CORBA::pk_long);
    CORBA::SequenceDef_var seq = root->create_sequence(5, lng);
    CORBA::String_var seq_ior = test_orb()->object_to_string(seq);
    CORBA::String_var long_ior = test_orb()->object_to_string(lng);

    server.stop();
    ASSERT_EQ(server.restart(), "");

    // By scoped name, relative and absolute.
    CORBA::Contained_var d = root->lookup("A::B::D");
    ASSERT_FALSE(CORBA::is_nil(d));
    EXPECT_EQ(d->def_kind(), CORBA::dk_Module);
    EXPECT_EQ(id_of(d), "IDL:renamed/D:2.0");
    CORBA::String_var version = d->version();
    EXPECT_STREQ(version.in(), "2.0");
    EXPECT_EQ(absolute_name_of(d), "::A::B::D");
    CORBA::Contained_var found_i = root->lookup("::A::B::I");
    ASSERT_FALSE(CORBA::is_nil(found_i));
    EXPECT_EQ(found_i->def_kind(), CORBA::dk_Interface);
    CORBA::Contained_var b_again = root->lookup("A::B");
    CORBA::Container_var b_container = CORBA::Container::_narrow(b_again);
    ASSERT_FALSE(CORBA::is_nil(b_container));
    CORBA::Contained_var relative = b_container->lookup("I");
    ASSERT_FALSE(CORBA::is_nil(relative));
    EXPECT_EQ(id_of(relative), "IDL:A/B/I:1.0");
    EXPECT_TRUE(CORBA::is_nil(CORBA::Contained_var(root->lookup("A::B::C"))));
    EXPECT_TRUE(CORBA::is_nil(CORBA::Contained_var(root->lookup("A::X"))));

    // By id: the new id is found, the old and destroyed ones are not, and a
    // scoped name is not an id.
    CORBA::Contained_var by_id = root->lookup_id("IDL:renamed/D:2.0");
    ASSERT_FALSE(CORBA::is_nil(by_id));
    EXPECT_EQ(absolute_name_of(by_id), "::A::B::D");
    for (const char* missing : {"IDL:A/B/C:1.0", "IDL:A/X:1.0", "IDL:A/X/Y:1.0",
                                "::A::B", "IDL:Other:1.0"}) {
      EXPECT_TRUE(CORBA::is_nil(CORBA::Contained_var(root->lookup_id(missing))))
          << missing;
    }

    // Through contents, in creation order, and through defined_in.
    CORBA::ContainedSeq_var in_b = b_container->contents(CORBA::dk_all, false);
    EXPECT_EQ(names_of(in_b.in()), (std::vector<std::string>{"D", "I"}));
    CORBA::ContainedSeq_var in_a =
        CORBA::Container_var(
            CORBA::Container::_narrow(CORBA::Contained_var(root->lookup("A"))))
            ->contents(CORBA::dk_all, false);
    EXPECT_EQ(names_of(in_a.in()), (std::vector<std::string>{"B"}));
    CORBA::ContainedSeq_var modules = root->contents(CORBA::dk_Module, true);
    EXPECT_EQ(names_of(modules.in()), (std::vector<std::string>{"A", n254}));
    CORBA::Container_var parent = d->defined_in();
    CORBA::Contained_var parent_contained = CORBA::Contained::_narrow(parent);
    ASSERT_FALSE(CORBA::is_nil(parent_contained));
    EXPECT_EQ(id_of(parent_contained), "IDL:A/B:1.0");

    // References handed out before the restart still work, including
    // those of anonymous and primitive types, and one taken before its
    // object's name and id changed; one to a destroyed definition names
    // nothing.
    EXPECT_EQ(absolute_name_of(c), "::A::B::D");
    EXPECT_EQ(id_of(c), "IDL:renamed/D:2.0");
    EXPECT_THROW(gone->def_kind(), CORBA::OBJECT_NOT_EXIST);
    EXPECT_EQ(absolute_name_of(i), "::A::B::I");
    CORBA::Object_var seq_obj = test_orb()->string_to_object(seq_ior.in());
    CORBA::SequenceDef_var seq_again = CORBA::SequenceDef::_narrow(seq_obj);
    ASSERT_FALSE(CORBA::is_nil(seq_again));
    EXPECT_EQ(seq_again->bound(), 5u);
    CORBA::TypeCode_var expected = test_orb()->create_sequence_tc(
        5, CORBA::TypeCode::_duplicate(CORBA::_tc_long));
    CORBA::TypeCode_var seq_tc = seq_again->type();
    EXPECT_TRUE(seq_tc->equal(expected));
    CORBA::Object_var long_obj = test_orb()->string_to_object(long_ior.in());
    CORBA::PrimitiveDef_var long_again = root->get_primitive(CORBA::pk_long);
    EXPECT_TRUE(long_obj->_is_equivalent(long_again));
  });
}

}  // namespace
