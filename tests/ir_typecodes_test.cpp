// The repository's TypeCodes against the ones omniidl compiles from
// tests/idl/types_test.idl: for the same definitions they must be equal(),
// so that clients can use them for Any values and dynamic invocation.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ir_fixture.h"
#include "orb_main.h"
#include "types_test.hh"

namespace {

class CompiledTypeCodeTest : public IrTest {
 protected:
  // Builds TT as a client that reads the IDL would.
  void Fill() {
    tt_ = repo_->create_module("IDL:TT:1.0", "TT", "1.0");
    CORBA::IDLType_var l = Prim(CORBA::pk_long);
    CORBA::IDLType_var s = Prim(CORBA::pk_string);
    CORBA::IDLType_var sh = Prim(CORBA::pk_short);
    CORBA::IDLType_var us = Prim(CORBA::pk_ushort);
    CORBA::IDLType_var d = Prim(CORBA::pk_double);
    CORBA::IDLType_var any = Prim(CORBA::pk_any);
    CORBA::IDLType_var b = Prim(CORBA::pk_boolean);
    point_ = tt_->create_struct("IDL:TT/Point:1.0", "Point", "1.0",
                                Fields({{"x", l}, {"y", l}}));
    CORBA::EnumDef_var color =
        tt_->create_enum("IDL:TT/Color:1.0", "Color", "1.0",
                         EnumMembers({"red", "green", "blue"}));
    CORBA::SequenceDef_var points = repo_->create_sequence(0, point_);
    CORBA::AliasDef_var point_seq =
        tt_->create_alias("IDL:TT/PointSeq:1.0", "PointSeq", "1.0", points);
    tt_->create_alias("IDL:TT/PointAlias:1.0", "PointAlias", "1.0", point_);
    CORBA::ArrayDef_var row = repo_->create_array(3, l);
    CORBA::ArrayDef_var matrix = repo_->create_array(2, row);
    tt_->create_alias("IDL:TT/Matrix:1.0", "Matrix", "1.0", matrix);
    CORBA::StringDef_var s8 = repo_->create_string(8);
    tt_->create_struct("IDL:TT/Shape:1.0", "Shape", "1.0",
                       Fields({{"label", s8},
                               {"outline", point_seq},
                               {"fill", color},
                               {"note", any}}));

    tt_->create_union("IDL:TT/Value:1.0", "Value", "1.0", l,
                      UnionMembers({{"l", AnyOf(CORBA::Long(1)), l},
                                    {"s", AnyOf(CORBA::Long(2)), s},
                                    {"s", AnyOf(CORBA::Long(3)), s},
                                    {"p", DefaultLabel(), point_}}));

    CORBA::TypeCode_var color_tc = color->type();
    CORBA::Any red, blue;
    CORBA::ULong red_v = 0, blue_v = 2;
    red.replace(color_tc, &red_v, 0);
    blue.replace(color_tc, &blue_v, 0);
    tt_->create_union("IDL:TT/Pick:1.0", "Pick", "1.0", color,
                      UnionMembers({{"r", red, sh}, {"b", blue, d}}));
    tt_->create_union(
        "IDL:TT/Flag:1.0", "Flag", "1.0", b,
        UnionMembers({{"yes", AnyOf(CORBA::Any::from_boolean(1)), l},
                      {"no", AnyOf(CORBA::Any::from_boolean(0)), us}}));

    tt_->create_exception("IDL:TT/Failure:1.0", "Failure", "1.0",
                          Fields({{"code", l}, {"reason", s}}));
    tt_->create_exception("IDL:TT/Empty:1.0", "Empty", "1.0", Fields({}));

    // Recursive structs are made as an IDL compiler must: the struct
    // first, then the sequences of it, then its real members.
    CORBA::StructDef_var node = tt_->create_struct(
        "IDL:TT/Node:1.0", "Node", "1.0", Fields({{"name", s}}));
    CORBA::SequenceDef_var nodes = repo_->create_sequence(0, node);
    node->members(Fields({{"name", s}, {"children", nodes}}));

    CORBA::StructDef_var tree = tt_->create_struct(
        "IDL:TT/Tree:1.0", "Tree", "1.0", Fields({{"value", l}}));
    CORBA::SequenceDef_var kids = repo_->create_sequence(2, tree);
    CORBA::SequenceDef_var row_of_trees = repo_->create_sequence(0, tree);
    CORBA::SequenceDef_var grid = repo_->create_sequence(0, row_of_trees);
    tree->members(Fields({{"value", l}, {"kids", kids}, {"grid", grid}}));

    CORBA::StructDef_var link = tt_->create_struct("IDL:TT/Link:1.0", "Link",
                                                   "1.0", Fields({{"id", l}}));
    CORBA::SequenceDef_var links = repo_->create_sequence(0, link);
    CORBA::AliasDef_var link_seq =
        tt_->create_alias("IDL:TT/LinkSeq:1.0", "LinkSeq", "1.0", links);
    link->members(Fields({{"id", l}, {"next", link_seq}}));

    tt_->create_value_box("IDL:TT/Boxed:1.0", "Boxed", "1.0", l);
  }

  void ExpectAllEqual(const char* when) {
    struct Expect {
      const char* id;
      CORBA::TypeCode_ptr compiled;
    } expected[] = {
        {"IDL:TT/Point:1.0", TT::_tc_Point},
        {"IDL:TT/Color:1.0", TT::_tc_Color},
        {"IDL:TT/PointSeq:1.0", TT::_tc_PointSeq},
        {"IDL:TT/PointAlias:1.0", TT::_tc_PointAlias},
        {"IDL:TT/Matrix:1.0", TT::_tc_Matrix},
        {"IDL:TT/Shape:1.0", TT::_tc_Shape},
        {"IDL:TT/Value:1.0", TT::_tc_Value},
        {"IDL:TT/Pick:1.0", TT::_tc_Pick},
        {"IDL:TT/Flag:1.0", TT::_tc_Flag},
        {"IDL:TT/Failure:1.0", TT::_tc_Failure},
        {"IDL:TT/Empty:1.0", TT::_tc_Empty},
        {"IDL:TT/Node:1.0", TT::_tc_Node},
        {"IDL:TT/Tree:1.0", TT::_tc_Tree},
        {"IDL:TT/Link:1.0", TT::_tc_Link},
        {"IDL:TT/Boxed:1.0", TT::_tc_Boxed},
    };
    for (const Expect& e : expected) {
      SCOPED_TRACE(std::string(when) + ": " + e.id);
      CORBA::Contained_var c = repo_->lookup_id(e.id);
      ASSERT_FALSE(CORBA::is_nil(c));
      CORBA::TypeCode_var tc;
      if (c->def_kind() == CORBA::dk_Exception)
        tc = CORBA::ExceptionDef_var(CORBA::ExceptionDef::_narrow(c))->type();
      else
        tc = CORBA::IDLType_var(CORBA::IDLType::_narrow(c))->type();
      ASSERT_FALSE(CORBA::is_nil(tc));
      EXPECT_TRUE(tc->equal(e.compiled));
      EXPECT_TRUE(tc->equivalent(e.compiled));
    }
  }

  CORBA::ModuleDef_var tt_;
  CORBA::StructDef_var point_;
};

TEST_F(CompiledTypeCodeTest, EqualWhenCreatedAndAfterReload) {
  Fill();
  ExpectAllEqual("created");
  point_ = CORBA::StructDef::_nil();
  tt_ = CORBA::ModuleDef::_nil();
  Reopen();
  ExpectAllEqual("reloaded");
}

// A value described by the repository's TypeCode is read by the
// compiled code, and the other way round.
TEST_F(CompiledTypeCodeTest, AnyValuesCrossBetweenBoth) {
  Fill();
  TT::Node tree;
  tree.name = CORBA::string_dup("root");
  tree.children.length(1);
  tree.children[0].name = CORBA::string_dup("leaf");
  CORBA::Any compiled;
  compiled <<= tree;
  CORBA::Contained_var c = repo_->lookup_id("IDL:TT/Node:1.0");
  CORBA::TypeCode_var tc =
      CORBA::IDLType_var(CORBA::IDLType::_narrow(c))->type();
  // Re-label the compiled value with the repository's TypeCode: the
  // marshalled form must be the same.
  cdrMemoryStream buf;
  compiled.NP_marshalDataOnly(buf);
  CORBA::Any mine;
  mine.replace(tc, nullptr);
  mine.NP_unmarshalDataOnly(buf);
  const TT::Node* back = nullptr;
  ASSERT_TRUE(mine >>= back);
  ASSERT_EQ(back->children.length(), 1u);
  EXPECT_STREQ(back->children[0].name.in(), "leaf");
}

}  // namespace
