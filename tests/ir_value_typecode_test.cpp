// The TypeCodes of value types: equal() to the ones omniidl compiles from
// tests/idl/values_test.idl for the same definitions (concrete bases,
// public and private members, a value type holding sequences of itself),
// and kept up to date when the value type, its members or its base
// change.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ir_fixture.h"
#include "values_test.hh"

namespace {

class CompiledValueTypeCodeTest : public IrTest {
 protected:
  // Builds module VT as a client that reads the IDL would: the forward
  // declared Node first, its base and members once it is defined.
  void Fill() {
    CORBA::ModuleDef_var vt = repo_->create_module("IDL:VT:1.0", "VT", "1.0");
    CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
    CORBA::PrimitiveDef_var s = Prim(CORBA::pk_string);
    CORBA::PrimitiveDef_var d = Prim(CORBA::pk_double);
    CORBA::PrimitiveDef_var sh = Prim(CORBA::pk_short);
    CORBA::InterfaceDef_var drawable = vt->create_interface(
        "IDL:VT/Drawable:1.0", "Drawable", "1.0", CORBA::InterfaceDefSeq());
    CORBA::OperationDef_var(VoidOp(drawable, "draw"));

    CORBA::ValueDef_var base = Value("VT/Base", ValueArgs(), vt);
    CORBA::ValueMemberDef_var(Member(base, "id", l, CORBA::PUBLIC_MEMBER));
    CORBA::ValueMemberDef_var(Member(base, "secret", s, CORBA::PRIVATE_MEMBER));

    CORBA::ValueDef_var node = Value("VT/Node", ValueArgs(), vt);
    CORBA::SequenceDef_var nodes = repo_->create_sequence(0, node);
    CORBA::AliasDef_var node_seq =
        vt->create_alias("IDL:VT/NodeSeq:1.0", "NodeSeq", "1.0", nodes);
    CORBA::ValueBoxDef_var name_box =
        vt->create_value_box("IDL:VT/NameBox:1.0", "NameBox", "1.0", s);
    node->base_value(base);
    CORBA::ValueMemberDef_var(Member(node, "name", s, CORBA::PUBLIC_MEMBER));
    CORBA::ValueMemberDef_var(Member(node, "weight", d, CORBA::PRIVATE_MEMBER));
    CORBA::SequenceDef_var kids = repo_->create_sequence(0, node);
    CORBA::ValueMemberDef_var(Member(node, "kids", kids));
    CORBA::ValueMemberDef_var(Member(node, "more", node_seq));
    CORBA::ValueMemberDef_var(Member(node, "label", name_box));
    CORBA::InitializerSeq inits;
    Push(inits, Init("make", {{"name", s}}));
    node->initializers(inits);

    ValueArgs shape_args;
    shape_args.abstract = true;
    CORBA::ValueDef_var shape = Value("VT/Shape", shape_args, vt);
    CORBA::OperationDef_var(Op(shape, "area", d));
    ValueArgs square_args;
    square_args.base = base.in();
    square_args.abstract_bases = {shape.in()};
    square_args.supported = {drawable.in()};
    CORBA::ValueDef_var square = Value("VT/Square", square_args, vt);
    CORBA::ValueMemberDef_var(
        Member(square, "side", sh, CORBA::PRIVATE_MEMBER));
    ValueArgs trunc_args;
    trunc_args.base = base.in();
    trunc_args.truncatable = true;
    CORBA::ValueDef_var trunc = Value("VT/Trunc", trunc_args, vt);
    CORBA::ValueMemberDef_var(Member(trunc, "s", sh, CORBA::PRIVATE_MEMBER));
    CORBA::ValueDef_var(Value("VT/Empty", ValueArgs(), vt));

    CORBA::SequenceDef_var bases = repo_->create_sequence(0, base);
    CORBA::StructDef_var(
        vt->create_struct("IDL:VT/Holder:1.0", "Holder", "1.0",
                          Fields({{"n", node}, {"all", bases}})));
  }

  // Looks the definitions up in `order` (the first one loads the others
  // it refers to) and compares their TypeCodes with the compiled ones.
  void ExpectAllEqual(const char* when, const std::vector<std::string>& order) {
    struct Expect {
      const char* id;
      CORBA::TypeCode_ptr compiled;
    } expected[] = {
        {"IDL:VT/Base:1.0", VT::_tc_Base},
        {"IDL:VT/Node:1.0", VT::_tc_Node},
        {"IDL:VT/NameBox:1.0", VT::_tc_NameBox},
        {"IDL:VT/Shape:1.0", VT::_tc_Shape},
        {"IDL:VT/Square:1.0", VT::_tc_Square},
        {"IDL:VT/Trunc:1.0", VT::_tc_Trunc},
        {"IDL:VT/Empty:1.0", VT::_tc_Empty},
        {"IDL:VT/Holder:1.0", VT::_tc_Holder},
    };
    for (const std::string& id : order)
      CORBA::Contained_var(repo_->lookup_id(id.c_str()));
    for (const Expect& e : expected) {
      SCOPED_TRACE(std::string(when) + ": " + e.id);
      CORBA::TypeCode_var tc = TypeOf(Find<CORBA::IDLType>(e.id));
      ASSERT_FALSE(CORBA::is_nil(tc));
      EXPECT_TRUE(tc->equal(e.compiled));
      EXPECT_TRUE(tc->equivalent(e.compiled));
    }
    // A state member of a value type holding itself reports its type's
    // whole TypeCode, not a placeholder.
    CORBA::TypeCode_var element =
        TcAt(TypeOf(Find<CORBA::ValueMemberDef>("IDL:Node/kids:1.0")), {-1});
    EXPECT_EQ(element->kind(), CORBA::tk_value);
    EXPECT_EQ(element->member_count(), 5u);
  }
};

TEST_F(CompiledValueTypeCodeTest, EqualWhenCreatedAndWhateverIsLoadedFirst) {
  Fill();
  ExpectAllEqual("created", {});
  const std::vector<std::vector<std::string>> orders = {
      {"IDL:VT/Base:1.0"},
      {"IDL:VT/Holder:1.0"},
      {"IDL:VT/Square:1.0"},
      {"IDL:VT/Node:1.0", "IDL:VT/NodeSeq:1.0"},
      {"IDL:VT/NodeSeq:1.0", "IDL:VT/Node:1.0"},
  };
  for (const auto& order : orders) {
    Reopen();
    ExpectAllEqual(("reloaded, first " + order[0]).c_str(), order);
  }
}

// --- TypeCodes that follow changes -------------------------------------------

using ValueTypeCodeTest = IrTest;

// True when `tc` survives marshalling and unmarshalling as equal(): a
// TypeCode with an unresolved placeholder does not.
bool RoundTrips(CORBA::TypeCode_ptr tc) {
  try {
    cdrMemoryStream buf;
    CORBA::TypeCode::marshalTypeCode(tc, buf);
    CORBA::TypeCode_var back = CORBA::TypeCode::unmarshalTypeCode(buf);
    return back->equal(tc);
  } catch (const CORBA::SystemException& e) {
    ADD_FAILURE() << "TypeCode does not travel: " << e._name();
    return false;
  }
}

std::vector<std::string> MemberNames(CORBA::TypeCode_ptr tc) {
  std::vector<std::string> out;
  for (CORBA::ULong i = 0; i < tc->member_count(); ++i)
    out.push_back(tc->member_name(i));
  return out;
}

TEST_F(ValueTypeCodeTest, FollowsMembersBaseNameAndId) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::PrimitiveDef_var s = Prim(CORBA::pk_string);
  CORBA::ValueDef_var v = Value("V");
  ValueArgs derived;
  derived.base = v.in();
  CORBA::ValueDef_var w = Value("W", derived);
  CORBA::ValueMemberDef_var a = Member(v, "a", l, CORBA::PUBLIC_MEMBER);
  CORBA::SequenceDef_var vs = repo_->create_sequence(0, v);
  CORBA::ValueMemberDef_var self = Member(v, "self", vs, CORBA::PRIVATE_MEMBER);

  using Names = std::vector<std::string>;
  auto check = [&](const char* when, const char* v_id, const char* v_name,
                   const Names& names) {
    SCOPED_TRACE(when);
    CORBA::TypeCode_var tc = v->type();
    EXPECT_STREQ(tc->id(), v_id);
    EXPECT_STREQ(tc->name(), v_name);
    EXPECT_EQ(MemberNames(tc), names);
    // The derived value type holds the same TypeCode as its base.
    EXPECT_TRUE(
        CORBA::TypeCode_var(TypeOf(w)->concrete_base_type())->equal(tc));
    // The member holding a sequence of the value type closes onto it.
    for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
      if (TcAt(tc, {int(i)})->kind() != CORBA::tk_sequence) continue;
      CORBA::TypeCode_var element = TcAt(tc, {int(i), -1});
      EXPECT_STREQ(element->id(), v_id);
      EXPECT_EQ(element->member_count(), names.size());
    }
  };
  check("created", "IDL:V:1.0", "V", {"a", "self"});
  // Public members carry 0 and private ones 1, as compiled TypeCodes do.
  EXPECT_EQ(TypeOf(v)->member_visibility(0), 0);
  EXPECT_EQ(TypeOf(v)->member_visibility(1), 1);

  a->name("renamed");
  check("member renamed", "IDL:V:1.0", "V", {"renamed", "self"});
  // A member with a new id still finds its entry.
  self->id("IDL:V/self2:1.0");
  CORBA::ValueMemberDef_var moved = CORBA::ValueMemberDef::_narrow(
      CORBA::Contained_var(repo_->lookup("::V::self")));
  EXPECT_EQ(TcAt(TypeOf(moved), {-1})->member_count(), 2u);
  a->type_def(s);
  EXPECT_EQ(TcAt(TypeOf(v), {0})->kind(), CORBA::tk_string);
  a->access(CORBA::PRIVATE_MEMBER);
  EXPECT_EQ(TypeOf(v)->member_visibility(0), 1);
  // A name that cannot be a TypeCode's member name changes nothing.
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::Contained::name(...)",
                a->name("not a name"));
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(17),
               CORBA::ValueMemberDef_var(Member(v, "not a name", l)));
  check("refused names", "IDL:V:1.0", "V", {"renamed", "self"});

  v->name("V2");
  check("value renamed", "IDL:V:1.0", "V2", {"renamed", "self"});
  v->id("IDL:V2:1.0");
  v = Find<CORBA::ValueDef>(
      "IDL:V2:1.0");  // references carry the id they were made with
  check("new id", "IDL:V2:1.0", "V2", {"renamed", "self"});
  CORBA::ValueMemberDef_var(Member(v, "late", l));
  check("member added", "IDL:V2:1.0", "V2", {"renamed", "self", "late"});
  Reopen();
  v = Find<CORBA::ValueDef>("IDL:V2:1.0");
  w = Find<CORBA::ValueDef>("IDL:W:1.0");
  check("reopened", "IDL:V2:1.0", "V2", {"renamed", "self", "late"});
  CORBA::Contained_var c = repo_->lookup("::V2::renamed");
  c->destroy();
  check("member destroyed", "IDL:V2:1.0", "V2", {"self", "late"});

  w->base_value(CORBA::ValueDef::_nil());
  EXPECT_EQ(CORBA::TypeCode_var(TypeOf(w)->concrete_base_type())->kind(),
            CORBA::tk_null);
  w->is_truncatable(true);
  EXPECT_EQ(TypeOf(w)->type_modifier(), CORBA::VM_TRUNCATABLE);
}

TEST_F(ValueTypeCodeTest, MembersWithoutATypeCodeAreLeftOut) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::NativeDef_var native = repo_->create_native("IDL:N:1.0", "N", "1.0");
  CORBA::StructDef_var s = Struct("S", {{"x", l}});
  CORBA::ValueDef_var v = Value("V");
  CORBA::ValueMemberDef_var(Member(v, "a", l));
  CORBA::ValueMemberDef_var(Member(v, "handle", native));
  CORBA::ValueMemberDef_var(Member(v, "gone", s));
  CORBA::ValueMemberDef_var(Member(v, "b", l));
  using Names = std::vector<std::string>;
  auto check = [&](const char* when, const Names& in_typecode,
                   CORBA::TCKind gone_kind) {
    SCOPED_TRACE(when);
    CORBA::TypeCode_var tc = v->type();
    EXPECT_EQ(MemberNames(tc), in_typecode);
    EXPECT_TRUE(RoundTrips(tc));
    // The members themselves are all there, each with its own type.
    CORBA::ValueDef::FullValueDescription_var full = v->describe_value();
    ASSERT_EQ(NamesOf(full->members), (Names{"a", "handle", "gone", "b"}));
    EXPECT_EQ(full->members[0].type->kind(), CORBA::tk_long);
    EXPECT_EQ(full->members[2].type->kind(), gone_kind);
    EXPECT_EQ(full->members[3].type->kind(), CORBA::tk_long);
  };
  // A native has no TypeCode that a value TypeCode may hold.
  check("created", {"a", "gone", "b"}, CORBA::tk_struct);
  // A destroyed type is noticed when the value type is read again.
  s->destroy();
  Reopen();
  v = Find<CORBA::ValueDef>("IDL:V:1.0");
  check("type destroyed", {"a", "b"}, CORBA::tk_null);
}

TEST_F(ValueTypeCodeTest, ValueBoxesBoxAndAreHeldByValueTypes) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ValueDef_var v = Value("V");
  CORBA::ValueMemberDef_var(Member(v, "x", l));
  // A box of a value type (which IDL does not allow, but nothing here
  // refuses) and a value type holding boxes of itself.  omniORB resolves
  // no recursion inside a value box: a box holds the value type as it was
  // when the box was built.
  CORBA::ValueBoxDef_var box =
      repo_->create_value_box("IDL:VBox:1.0", "VBox", "1.0", v);
  CORBA::SequenceDef_var vs = repo_->create_sequence(0, v);
  CORBA::ValueBoxDef_var list_box =
      repo_->create_value_box("IDL:VList:1.0", "VList", "1.0", vs);
  CORBA::ValueMemberDef_var(Member(v, "next", list_box));
  CORBA::ValueMemberDef_var(Member(v, "boxed", box));

  auto check = [&](const char* when, const std::vector<std::string>& first) {
    SCOPED_TRACE(when);
    for (const std::string& id : first)
      CORBA::Contained_var(repo_->lookup_id(id.c_str()));
    v = Find<CORBA::ValueDef>("IDL:V:1.0");
    CORBA::TypeCode_var vtc = v->type();
    ASSERT_EQ(MemberNames(vtc),
              (std::vector<std::string>{"x", "next", "boxed"}));
    EXPECT_STREQ(TcAt(vtc, {1})->id(), "IDL:VList:1.0");
    EXPECT_STREQ(TcAt(vtc, {1, -1, -1})->id(), "IDL:V:1.0");
    EXPECT_STREQ(TcAt(vtc, {2})->id(), "IDL:VBox:1.0");
    EXPECT_STREQ(TcAt(vtc, {2, -1})->id(), "IDL:V:1.0");
    // What a client receives: every TypeCode travels whole.
    EXPECT_TRUE(RoundTrips(vtc));
    for (const char* id : {"IDL:VBox:1.0", "IDL:VList:1.0"}) {
      CORBA::TypeCode_var btc = TypeOf(Find<CORBA::ValueBoxDef>(id));
      EXPECT_EQ(btc->kind(), CORBA::tk_value_box) << id;
      EXPECT_TRUE(RoundTrips(btc)) << id;
    }
  };
  check("created", {});
  for (const char* first : {"IDL:V:1.0", "IDL:VBox:1.0", "IDL:VList:1.0"}) {
    Reopen();
    check((std::string("reopened, first ") + first).c_str(), {first});
  }
}

}  // namespace
