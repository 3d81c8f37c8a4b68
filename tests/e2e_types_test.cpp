// End-to-end: every named type and value type fed by irctl into a real
// irserver (bases, supported interfaces, initializers, public
// and private state members, recursion through sequences, value boxes both
// ways), described, and found again with the same descriptions and
// TypeCodes after the server has restarted.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "irext.hh"
#include "orb_main.h"

namespace {

using Names = std::vector<std::string>;

// What a client sees of the definitions under `c`: the fields of every
// description as text, the TypeCodes in them to compare with equal().
// Object references are left out.
struct Seen {
  std::string text;
  std::vector<CORBA::TypeCode_var> types;
};

void Flatten(DynamicAny::DynAny_ptr d, Seen& seen) {
  CORBA::TypeCode_var tc = d->type();
  while (tc->kind() == CORBA::tk_alias) tc = tc->content_type();
  switch (tc->kind()) {
    case CORBA::tk_string:
      seen.text += CORBA::String_var(d->get_string()).in();
      break;
    case CORBA::tk_boolean:
      seen.text += d->get_boolean() ? "true" : "false";
      break;
    case CORBA::tk_short:
      seen.text += std::to_string(d->get_short());
      break;
    case CORBA::tk_long:
      seen.text += std::to_string(d->get_long());
      break;
    case CORBA::tk_double: {
      char exact[32];
      std::snprintf(exact, sizeof exact, "%.17g", d->get_double());
      seen.text += exact;
      break;
    }
    case CORBA::tk_TypeCode:
      seen.types.emplace_back(d->get_typecode());
      break;
    case CORBA::tk_objref:
      break;
    case CORBA::tk_enum:
      seen.text += CORBA::String_var(
                       DynamicAny::DynEnum_var(DynamicAny::DynEnum::_narrow(d))
                           ->get_as_string())
                       .in();
      break;
    case CORBA::tk_any:
      Flatten(DynamicAny::DynAny_var(d->get_dyn_any()), seen);
      break;
    default:  // structures, unions and sequences
      for (CORBA::ULong i = 0; i < d->component_count(); ++i) {
        d->seek(i);
        Flatten(DynamicAny::DynAny_var(d->current_component()), seen);
        seen.text += ",";
      }
  }
  seen.text += ";";
}

void Describe(CORBA::Container_ptr c, Seen& seen) {
  static DynamicAny::DynAnyFactory_var factory =
      DynamicAny::DynAnyFactory::_narrow(CORBA::Object_var(
          test_orb()->resolve_initial_references("DynAnyFactory")));
  CORBA::ContainedSeq_var all = c->contents(CORBA::dk_all, true);
  for (CORBA::ULong i = 0; i < all->length(); ++i) {
    CORBA::Contained::Description_var d = all[i]->describe();
    seen.text += std::to_string(d->kind) + ":";
    DynamicAny::DynAny_var dyn = factory->create_dyn_any(d->value);
    Flatten(dyn, seen);
    dyn->destroy();
    seen.text += "\n";
    CORBA::Container_var inner = CORBA::Container::_narrow(all[i]);
    if (!CORBA::is_nil(inner)) Describe(inner, seen);
  }
}

TEST_F(IrServerE2E, EveryKindIsCreatedDescribedAndReloaded) {
  IrServerProcess server;
  ASSERT_EQ(server.start(), "");
  std::string idl = server.dir() + "/kinds.idl";
  write_text(idl, R"(
module M {
  struct Point { long x; long y; };
  enum Color { red, blue };
  union U switch (Color) { case red: long r; default: Point p; };
  typedef sequence<Point> PointSeq;
  exception Failure { long code; Point where; };
  native Handle;
  const double Pi = 3.141592653589793;
  const string Hello = "hello";
  struct Node { string name; sequence<Node> children; };
  interface Drawable { long draw(); };
  valuetype Base { public long id; };
  abstract valuetype Shape {};
  valuetype NameBox string;
  valuetype Node2 : Base, Shape supports Drawable {
    public NameBox name; private double weight; public sequence<Node2> kids;
    factory make(in string name);
  };
};)");
  ProcessResult fed =
      run_process({irctl_path(), "--ir", server.corbaloc(), "feed", idl});
  ASSERT_EQ(fed.status(), 0) << fed.describe();
  Seen before;
  Guarded([&] {
    CORBA::Repository_var repo = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(repo));
    auto find = [&](const char* name) {
      return CORBA::Contained_var(repo->lookup(name));
    };
    CORBA::UnionDef_var u = CORBA::UnionDef::_narrow(find("::M::U"));
    CORBA::ExceptionDef_var failure =
        CORBA::ExceptionDef::_narrow(find("::M::Failure"));
    CORBA::StructDef_var node = CORBA::StructDef::_narrow(find("::M::Node"));
    CORBA::ValueDef_var base = CORBA::ValueDef::_narrow(find("::M::Base"));
    CORBA::ValueDef_var v = CORBA::ValueDef::_narrow(find("::M::Node2"));
    // A box of a value type, which IDL does not allow.
    CORBA::ModuleDef_var m = CORBA::ModuleDef::_narrow(find("::M"));
    CORBA::ValueBoxDef_var node_box =
        m->create_value_box("IDL:M/NodeBox:1.0", "NodeBox", "1.0", v);
    CORBA::IDLType_var l = repo->get_primitive(CORBA::pk_long);

    // Usable at once: the TypeCodes came back over the wire.
    CORBA::TypeCode_var union_tc = u->type();
    EXPECT_EQ(union_tc->member_count(), 2u);
    EXPECT_EQ(union_tc->default_index(), 1);
    CORBA::TypeCode_var failure_tc = failure->type();
    EXPECT_EQ(failure_tc->kind(), CORBA::tk_except);
    for (CORBA::IDLType_ptr recursive :
         {CORBA::IDLType_ptr(node.in()), CORBA::IDLType_ptr(v.in())}) {
      CORBA::TypeCode_var tc = recursive->type();
      CORBA::TypeCode_var seq = tc->member_type(tc->member_count() - 1);
      CORBA::TypeCode_var element = seq->content_type();
      EXPECT_TRUE(element->equal(tc)) << "recursion closed";
    }
    CORBA::ValueDef::FullValueDescription_var full = v->describe_value();
    Names members;
    for (CORBA::ULong i = 0; i < full->members.length(); ++i)
      members.push_back(std::string(full->members[i].name.in()) + ":" +
                        std::to_string(full->members[i].access));
    EXPECT_EQ(members, (Names{"name:1", "weight:0", "kids:1"}));
    EXPECT_EQ(full->initializers.length(), 1u);
    EXPECT_STREQ(full->base_value.in(), "IDL:M/Base:1.0");
    CORBA::TypeCode_var concrete_base = full->type->concrete_base_type();
    CORBA::TypeCode_var base_tc = base->type();
    EXPECT_TRUE(concrete_base->equal(base_tc));
    EXPECT_TRUE(v->is_a("IDL:M/Drawable:1.0"));
    CORBA::TypeCode_var box_tc = node_box->type();
    CORBA::TypeCode_var boxed = box_tc->content_type();
    EXPECT_STREQ(boxed->id(), "IDL:M/Node2:1.0");

    // The rules hold over the wire: an inherited operation's name, a
    // concrete value type as abstract base.
    try {
      CORBA::ValueMemberDef_var(v->create_value_member(
          "IDL:M/Node2/draw:1.0", "draw", "1.0", l, CORBA::PUBLIC_MEMBER));
      ADD_FAILURE() << "an inherited name was accepted";
    } catch (const CORBA::BAD_PARAM& ex) {
      EXPECT_EQ(ex.minor(), CORBA::OMGVMCID | 2);
    }
    CORBA::ValueDefSeq abstracts;
    abstracts.length(1);
    abstracts[0] = CORBA::ValueDef::_duplicate(base);
    try {
      v->abstract_base_values(abstracts);
      ADD_FAILURE() << "a concrete abstract base was accepted";
    } catch (const CORBA::BAD_PARAM& ex) {
      EXPECT_EQ(ex.minor(), CORBA::OMGVMCID | 5);
    }
    Describe(m, before);
    EXPECT_EQ(std::count(before.text.begin(), before.text.end(), '\n'), 20);
    EXPECT_NE(before.text.find("3.1415926535897931"), std::string::npos)
        << before.text;
  });

  server.stop();
  ASSERT_EQ(server.restart(), "");
  Guarded([&] {
    CORBA::Repository_var repo = repository_at(server.corbaloc());
    // Loaded from the box first: the value type it holds is read on the
    // way.
    CORBA::Contained_var box = repo->lookup_id("IDL:M/NodeBox:1.0");
    CORBA::TypeCode_var box_tc =
        CORBA::ValueBoxDef_var(CORBA::ValueBoxDef::_narrow(box))->type();
    CORBA::TypeCode_var boxed = box_tc->content_type();
    EXPECT_STREQ(boxed->id(), "IDL:M/Node2:1.0");
    CORBA::Container_var m =
        CORBA::Container::_narrow(CORBA::Contained_var(repo->lookup("::M")));
    ASSERT_FALSE(CORBA::is_nil(m));
    Seen after;
    Describe(m, after);
    EXPECT_EQ(after.text, before.text);
    ASSERT_EQ(after.types.size(), before.types.size());
    for (std::size_t i = 0; i < after.types.size(); ++i)
      EXPECT_TRUE(after.types[i]->equal(before.types[i])) << i;

    // The members and their type definitions are back too.
    CORBA::UnionDef_var u =
        CORBA::UnionDef::_narrow(CORBA::Contained_var(repo->lookup("::M::U")));
    CORBA::IDLType_var disc = u->discriminator_type_def();
    EXPECT_EQ(disc->def_kind(), CORBA::dk_Enum);
    CORBA::UnionMemberSeq_var cases = u->members();
    ASSERT_EQ(cases->length(), 2u);
    EXPECT_EQ(cases[1].type_def->def_kind(), CORBA::dk_Struct);
    CORBA::ValueDef_var v = CORBA::ValueDef::_narrow(
        CORBA::Contained_var(repo->lookup("::M::Node2")));
    CORBA::ValueDef::FullValueDescription_var full = v->describe_value();
    ASSERT_EQ(full->members.length(), 3u);
    EXPECT_EQ(full->members[2].type_def->def_kind(), CORBA::dk_Sequence);
  });
  server.stop();
}

}  // namespace
