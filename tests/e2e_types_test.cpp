// End-to-end: every named type created by an IIOP client of a real
// irserver, described, and found again with the same descriptions and
// TypeCodes after the server has restarted.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <map>
#include <string>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "irext.hh"
#include "orb_main.h"

namespace {

class TypesE2E : public IrServerE2E {
 protected:
  // Members as an IDL compiler sends them: tk_void, the type in type_def.
  static CORBA::StructMemberSeq Members(
      std::vector<std::pair<const char*, CORBA::IDLType_ptr>> list) {
    CORBA::StructMemberSeq seq;
    seq.length(static_cast<CORBA::ULong>(list.size()));
    for (CORBA::ULong i = 0; i < seq.length(); ++i) {
      seq[i].name = list[i].first;
      seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
      seq[i].type_def = CORBA::IDLType::_duplicate(list[i].second);
    }
    return seq;
  }

  // What describe_contents says about one definition.
  struct Seen {
    CORBA::DefinitionKind kind;
    std::string name;
    std::string defined_in;
    CORBA::TypeCode_var type;
    CORBA::Any value;  // constants only
  };

  static std::map<std::string, Seen> Describe(CORBA::Container_ptr c) {
    std::map<std::string, Seen> out;
    CORBA::Container::DescriptionSeq_var all =
        c->describe_contents(CORBA::dk_all, false, -1);
    for (CORBA::ULong i = 0; i < all->length(); ++i) {
      const CORBA::Container::Description& d = all[i];
      Seen seen;
      seen.kind = d.kind;
      const CORBA::TypeDescription* td = nullptr;
      const CORBA::ExceptionDescription* ed = nullptr;
      const CORBA::ConstantDescription* cd = nullptr;
      std::string id;
      if (d.kind == CORBA::dk_Exception && (d.value >>= ed)) {
        id = ed->id.in();
        seen.name = ed->name.in();
        seen.defined_in = ed->defined_in.in();
        seen.type = CORBA::TypeCode::_duplicate(ed->type);
      } else if (d.kind == CORBA::dk_Constant && (d.value >>= cd)) {
        id = cd->id.in();
        seen.name = cd->name.in();
        seen.defined_in = cd->defined_in.in();
        seen.type = CORBA::TypeCode::_duplicate(cd->type);
        seen.value = cd->value;
      } else if (d.value >>= td) {
        id = td->id.in();
        seen.name = td->name.in();
        seen.defined_in = td->defined_in.in();
        seen.type = CORBA::TypeCode::_duplicate(td->type);
      } else {
        ADD_FAILURE() << "description of kind " << d.kind << " not readable";
        continue;
      }
      out.emplace(id, std::move(seen));
    }
    return out;
  }
};

TEST_F(TypesE2E, EveryKindIsCreatedDescribedAndReloaded) {
  IrServerProcess server;
  ASSERT_EQ(server.start(), "");
  std::map<std::string, Seen> before;
  try {
    CORBA::Repository_var repo = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(repo));
    CORBA::IDLType_var l = repo->get_primitive(CORBA::pk_long);
    CORBA::IDLType_var s = repo->get_primitive(CORBA::pk_string);
    CORBA::IDLType_var d = repo->get_primitive(CORBA::pk_double);
    CORBA::ModuleDef_var m = repo->create_module("IDL:M:1.0", "M", "1.0");

    CORBA::StructDef_var point = m->create_struct(
        "IDL:M/Point:1.0", "Point", "1.0", Members({{"x", l}, {"y", l}}));
    CORBA::EnumMemberSeq colors;
    colors.length(2);
    colors[0] = CORBA::string_dup("red");
    colors[1] = CORBA::string_dup("blue");
    CORBA::EnumDef_var color =
        m->create_enum("IDL:M/Color:1.0", "Color", "1.0", colors);
    CORBA::TypeCode_var color_tc = color->type();

    CORBA::UnionMemberSeq cases;
    cases.length(2);
    CORBA::ULong red = 0;
    cases[0].name = "r";
    cases[0].label.replace(color_tc, &red, 0);
    cases[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    cases[0].type_def = CORBA::IDLType::_duplicate(l);
    cases[1].name = "p";
    cases[1].label <<= CORBA::Any::from_octet(0);
    cases[1].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    cases[1].type_def = CORBA::IDLType::_duplicate(point);
    CORBA::UnionDef_var u =
        m->create_union("IDL:M/U:1.0", "U", "1.0", color, cases);

    CORBA::SequenceDef_var points = repo->create_sequence(0, point);
    CORBA::AliasDef_var point_seq =
        m->create_alias("IDL:M/PointSeq:1.0", "PointSeq", "1.0", points);
    CORBA::ExceptionDef_var failure =
        m->create_exception("IDL:M/Failure:1.0", "Failure", "1.0",
                            Members({{"code", l}, {"where", point}}));
    CORBA::ValueBoxDef_var boxed =
        m->create_value_box("IDL:M/Boxed:1.0", "Boxed", "1.0", s);
    CORBA::NativeDef_var native =
        m->create_native("IDL:M/Handle:1.0", "Handle", "1.0");
    CORBA::Any pi;
    pi <<= CORBA::Double(3.141592653589793);
    CORBA::ConstantDef_var k =
        m->create_constant("IDL:M/Pi:1.0", "Pi", "1.0", d, pi);
    CORBA::Any text;
    text <<= "hello";
    CORBA::ConstantDef_var t =
        m->create_constant("IDL:M/Hello:1.0", "Hello", "1.0", s, text);

    CORBA::StructDef_var node = m->create_struct("IDL:M/Node:1.0", "Node",
                                                 "1.0", Members({{"name", s}}));
    CORBA::SequenceDef_var nodes = repo->create_sequence(0, node);
    node->members(Members({{"name", s}, {"children", nodes}}));

    // Usable at once: the TypeCodes came back over the wire.
    CORBA::TypeCode_var union_tc = u->type();
    EXPECT_EQ(union_tc->member_count(), 2u);
    EXPECT_EQ(union_tc->default_index(), 1);
    CORBA::TypeCode_var node_tc = node->type();
    CORBA::TypeCode_var children = node_tc->member_type(1);
    CORBA::TypeCode_var element = children->content_type();
    EXPECT_TRUE(element->equal(node_tc));
    CORBA::TypeCode_var failure_tc = failure->type();
    EXPECT_EQ(failure_tc->kind(), CORBA::tk_except);

    before = Describe(m);
    EXPECT_EQ(before.size(), 10u);
    for (auto& e : before) {
      SCOPED_TRACE(e.first);
      EXPECT_EQ(e.second.defined_in, "IDL:M:1.0");
    }
    EXPECT_EQ(before["IDL:M/Handle:1.0"].type->kind(), CORBA::tk_void);
  } catch (const CORBA::Exception& e) {
    FAIL() << "CORBA::" << e._name() << " before the restart";
  }

  server.stop();
  ASSERT_EQ(server.restart(), "");
  try {
    CORBA::Repository_var repo = repository_at(server.corbaloc());
    CORBA::Contained_var mc = repo->lookup("::M");
    CORBA::Container_var m = CORBA::Container::_narrow(mc);
    ASSERT_FALSE(CORBA::is_nil(m));
    std::map<std::string, Seen> after = Describe(m);
    ASSERT_EQ(after.size(), before.size());
    for (auto& e : before) {
      SCOPED_TRACE(e.first);
      auto it = after.find(e.first);
      ASSERT_NE(it, after.end());
      EXPECT_EQ(it->second.kind, e.second.kind);
      EXPECT_EQ(it->second.name, e.second.name);
      EXPECT_EQ(it->second.defined_in, e.second.defined_in);
      EXPECT_TRUE(it->second.type->equal(e.second.type));
    }
    CORBA::Double pi = 0;
    ASSERT_TRUE(after["IDL:M/Pi:1.0"].value >>= pi);
    EXPECT_EQ(pi, 3.141592653589793);
    const char* hello = nullptr;
    ASSERT_TRUE(after["IDL:M/Hello:1.0"].value >>= hello);
    EXPECT_STREQ(hello, "hello");

    // The members and their type definitions are back too.
    CORBA::Contained_var uc = repo->lookup_id("IDL:M/U:1.0");
    CORBA::UnionDef_var u = CORBA::UnionDef::_narrow(uc);
    ASSERT_FALSE(CORBA::is_nil(u));
    CORBA::IDLType_var disc = u->discriminator_type_def();
    EXPECT_EQ(disc->def_kind(), CORBA::dk_Enum);
    CORBA::UnionMemberSeq_var cases = u->members();
    ASSERT_EQ(cases->length(), 2u);
    EXPECT_EQ(cases[1].type_def->def_kind(), CORBA::dk_Struct);
    EXPECT_TRUE(cases[1].type->equal(after["IDL:M/Point:1.0"].type));
    CORBA::Contained_var bc = repo->lookup_id("IDL:M/Boxed:1.0");
    CORBA::ValueBoxDef_var boxed = CORBA::ValueBoxDef::_narrow(bc);
    CORBA::IDLType_var original = boxed->original_type_def();
    EXPECT_EQ(original->def_kind(), CORBA::dk_Primitive);
  } catch (const CORBA::Exception& e) {
    FAIL() << "CORBA::" << e._name() << " after the restart";
  }
  server.stop();
}

}  // namespace
