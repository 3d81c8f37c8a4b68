// End-to-end: value types built by an IIOP client of a real irserver
// (bases, supported interfaces, initializers, public and private state
// members, a value type holding sequences of itself, value boxes both
// ways), described, and found again with the same descriptions and
// TypeCodes after the server has restarted.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

#include "e2e_fixture.h"

namespace {

using Names = std::vector<std::string>;

class ValuesE2E : public IrServerE2E {
 protected:
  static CORBA::ValueDef_ptr Value(CORBA::Container_ptr in, const char* name,
                                   CORBA::ValueDef_ptr base,
                                   const CORBA::ValueDefSeq& abstracts,
                                   const CORBA::InterfaceDefSeq& supported,
                                   bool abstract = false) {
    std::string id = std::string("IDL:E/") + name + ":1.0";
    return in->create_value(id.c_str(), name, "1.0", false, abstract, base,
                            false, abstracts, supported,
                            CORBA::InitializerSeq());
  }

  static void Member(CORBA::ValueDef_ptr v, const char* name,
                     CORBA::IDLType_ptr type, CORBA::Visibility access) {
    CORBA::String_var owner = v->name();
    std::string id = std::string("IDL:E/") + owner.in() + "/" + name + ":1.0";
    CORBA::ValueMemberDef_var m =
        v->create_value_member(id.c_str(), name, "1.0", type, access);
  }

  // What a client can tell of a value type.
  struct Seen {
    Names members;
    std::vector<CORBA::Visibility> access;
    Names initializers;
    std::string base;
    Names abstract_bases;
    Names supported;
    bool is_abstract = false;
    CORBA::TypeCode_var type;
  };

  static Seen Describe(CORBA::Repository_ptr repo, const char* id) {
    Seen seen;
    CORBA::Contained_var c = repo->lookup_id(id);
    CORBA::ValueDef_var v = CORBA::ValueDef::_narrow(c);
    EXPECT_FALSE(CORBA::is_nil(v)) << id;
    if (CORBA::is_nil(v)) return seen;
    CORBA::ValueDef::FullValueDescription_var full = v->describe_value();
    for (CORBA::ULong i = 0; i < full->members.length(); ++i) {
      seen.members.push_back(full->members[i].name.in());
      seen.access.push_back(full->members[i].access);
    }
    for (CORBA::ULong i = 0; i < full->initializers.length(); ++i)
      seen.initializers.push_back(full->initializers[i].name.in());
    seen.base = full->base_value.in();
    for (CORBA::ULong i = 0; i < full->abstract_base_values.length(); ++i)
      seen.abstract_bases.push_back(full->abstract_base_values[i].in());
    for (CORBA::ULong i = 0; i < full->supported_interfaces.length(); ++i)
      seen.supported.push_back(full->supported_interfaces[i].in());
    seen.is_abstract = full->is_abstract;
    seen.type = CORBA::TypeCode::_duplicate(full->type);
    return seen;
  }
};

TEST_F(ValuesE2E, ValueTypesAreBuiltDescribedAndReloaded) {
  IrServerProcess server;
  ASSERT_EQ(server.start(), "");
  const char* const ids[] = {"IDL:E/Base:1.0", "IDL:E/Shape:1.0",
                             "IDL:E/Node:1.0"};
  std::vector<Seen> before;
  Guarded([&] {
    CORBA::Repository_var repo = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(repo));
    CORBA::IDLType_var l = repo->get_primitive(CORBA::pk_long);
    CORBA::IDLType_var s = repo->get_primitive(CORBA::pk_string);
    CORBA::IDLType_var d = repo->get_primitive(CORBA::pk_double);
    CORBA::ModuleDef_var e = repo->create_module("IDL:E:1.0", "E", "1.0");
    CORBA::InterfaceDef_var drawable = e->create_interface(
        "IDL:E/Drawable:1.0", "Drawable", "1.0", CORBA::InterfaceDefSeq());
    CORBA::OperationDef_var draw = drawable->create_operation(
        "IDL:E/Drawable/draw:1.0", "draw", "1.0", l, CORBA::OP_NORMAL,
        CORBA::ParDescriptionSeq(), CORBA::ExceptionDefSeq(),
        CORBA::ContextIdSeq());

    CORBA::ValueDef_var base =
        Value(e, "Base", CORBA::ValueDef::_nil(), CORBA::ValueDefSeq(),
              CORBA::InterfaceDefSeq());
    Member(base, "id", l, CORBA::PUBLIC_MEMBER);
    CORBA::ValueDef_var shape =
        Value(e, "Shape", CORBA::ValueDef::_nil(), CORBA::ValueDefSeq(),
              CORBA::InterfaceDefSeq(), true);
    CORBA::ValueDefSeq abstracts;
    abstracts.length(1);
    abstracts[0] = CORBA::ValueDef::_duplicate(shape);
    CORBA::InterfaceDefSeq supported;
    supported.length(1);
    supported[0] = CORBA::InterfaceDef::_duplicate(drawable);
    CORBA::ValueDef_var node = Value(e, "Node", base, abstracts, supported);
    CORBA::SequenceDef_var nodes = repo->create_sequence(0, node);
    CORBA::ValueBoxDef_var name_box =
        e->create_value_box("IDL:E/NameBox:1.0", "NameBox", "1.0", s);
    Member(node, "name", name_box, CORBA::PUBLIC_MEMBER);
    Member(node, "weight", d, CORBA::PRIVATE_MEMBER);
    Member(node, "kids", nodes, CORBA::PUBLIC_MEMBER);
    CORBA::InitializerSeq inits;
    inits.length(1);
    inits[0].name = "make";
    inits[0].members.length(1);
    inits[0].members[0].name = "name";
    inits[0].members[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    inits[0].members[0].type_def = CORBA::IDLType::_duplicate(s);
    node->initializers(inits);
    // A box of the value type itself.
    CORBA::ValueBoxDef_var node_box =
        e->create_value_box("IDL:E/NodeBox:1.0", "NodeBox", "1.0", node);

    // The rules hold over the wire: an inherited operation's name, a
    // concrete value type as abstract base.
    try {
      Member(node, "draw", l, CORBA::PUBLIC_MEMBER);
      ADD_FAILURE() << "an inherited name was accepted";
    } catch (const CORBA::BAD_PARAM& ex) {
      EXPECT_EQ(ex.minor(), CORBA::OMGVMCID | 2);
    }
    CORBA::ValueDefSeq concrete;
    concrete.length(1);
    concrete[0] = CORBA::ValueDef::_duplicate(base);
    try {
      node->abstract_base_values(concrete);
      ADD_FAILURE() << "a concrete abstract base was accepted";
    } catch (const CORBA::BAD_PARAM& ex) {
      EXPECT_EQ(ex.minor(), CORBA::OMGVMCID | 5);
    }

    for (const char* id : ids) before.push_back(Describe(repo, id));
    const Seen& n = before[2];
    EXPECT_EQ(n.members, (Names{"name", "weight", "kids"}));
    EXPECT_EQ(n.access, (std::vector<CORBA::Visibility>{CORBA::PUBLIC_MEMBER,
                                                        CORBA::PRIVATE_MEMBER,
                                                        CORBA::PUBLIC_MEMBER}));
    EXPECT_EQ(n.initializers, (Names{"make"}));
    EXPECT_EQ(n.base, "IDL:E/Base:1.0");
    EXPECT_EQ(n.abstract_bases, (Names{"IDL:E/Shape:1.0"}));
    EXPECT_EQ(n.supported, (Names{"IDL:E/Drawable:1.0"}));
    EXPECT_TRUE(before[1].is_abstract);
    ASSERT_FALSE(CORBA::is_nil(n.type));
    EXPECT_EQ(n.type->member_count(), 3u);
    CORBA::TypeCode_var kids = n.type->member_type(2);
    CORBA::TypeCode_var element = kids->content_type();
    EXPECT_TRUE(element->equal(n.type)) << "recursion closed";
    CORBA::TypeCode_var concrete_base = n.type->concrete_base_type();
    EXPECT_TRUE(concrete_base->equal(before[0].type));
    CORBA::TypeCode_var box_tc = node_box->type();
    CORBA::TypeCode_var boxed = box_tc->content_type();
    EXPECT_STREQ(boxed->id(), "IDL:E/Node:1.0");
    EXPECT_TRUE(node->is_a("IDL:E/Drawable:1.0"));
  });

  server.stop();
  ASSERT_EQ(server.restart(), "");
  Guarded([&] {
    CORBA::Repository_var repo = repository_at(server.corbaloc());
    // Loaded from the box first: the value type it holds is read on the
    // way.
    CORBA::Contained_var box = repo->lookup_id("IDL:E/NodeBox:1.0");
    CORBA::TypeCode_var box_tc =
        CORBA::ValueBoxDef_var(CORBA::ValueBoxDef::_narrow(box))->type();
    CORBA::TypeCode_var boxed = box_tc->content_type();
    EXPECT_STREQ(boxed->id(), "IDL:E/Node:1.0");
    for (std::size_t i = 0; i < before.size(); ++i) {
      SCOPED_TRACE(ids[i]);
      Seen after = Describe(repo, ids[i]);
      EXPECT_EQ(after.members, before[i].members);
      EXPECT_EQ(after.access, before[i].access);
      EXPECT_EQ(after.initializers, before[i].initializers);
      EXPECT_EQ(after.base, before[i].base);
      EXPECT_EQ(after.abstract_bases, before[i].abstract_bases);
      EXPECT_EQ(after.supported, before[i].supported);
      EXPECT_EQ(after.is_abstract, before[i].is_abstract);
      ASSERT_FALSE(CORBA::is_nil(after.type));
      EXPECT_TRUE(after.type->equal(before[i].type));
    }
    CORBA::Contained_var kids = repo->lookup("::E::Node::kids");
    CORBA::Contained::Description_var d = kids->describe();
    EXPECT_EQ(d->kind, CORBA::dk_ValueMember);
    const CORBA::ValueMember* vm = nullptr;
    ASSERT_TRUE(d->value >>= vm);
    EXPECT_STREQ(vm->defined_in.in(), "IDL:E/Node:1.0");
    EXPECT_EQ(vm->type->kind(), CORBA::tk_sequence);
  });
  server.stop();
}

}  // namespace
