// Named types: structs, unions, exceptions, enums, aliases, value boxes,
// natives and constants: creation checks, member setters with their use
// links, records across a reopen, TypeCodes, changes of id and
// descriptions.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>

#include "ir/containd.h"
#include "ir_fixture.h"

namespace {

using NamedTypeTest = IrTest;

// --- structs -----------------------------------------------------------------

TEST_F(NamedTypeTest, StructCreateFillsMemberTypesAndRefusesBadInput) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StringDef_var s8 = repo_->create_string(8);
  CORBA::StructDef_var p = Struct("P", {{"x", l}, {"label", s8}});
  // The TypeCode is usable at once, without a reload.
  ASSERT_EQ(TypeOf(p)->member_count(), 2u);
  EXPECT_EQ(TcAt(TypeOf(p), {1})->kind(), CORBA::tk_string);
  EXPECT_EQ(TcAt(TypeOf(p), {1})->length(), 8u);
  CORBA::StructMemberSeq_var got = p->members();
  EXPECT_TRUE(got[0].type->equal(CORBA::_tc_long));

  CORBA::ExceptionDef_var e = Exception("E");
  CORBA::IDLType_var not_a_type = CORBA::IDLType::_unchecked_narrow(e);
  EXPECT_BAD_ARG(CORBA::StructDef_var(Struct("Q", {})));
  EXPECT_BAD_ARG(
      CORBA::StructDef_var(Struct("Q", {{"x", CORBA::IDLType::_nil()}})));
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4),
               CORBA::StructDef_var(Struct("Q", {{"x", not_a_type}})));
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(3),
               CORBA::StructDef_var(repo_->create_struct(
                   "IDL:Q:1.0", "P", "1.0", Fields({{"x", l}}))));
  EXPECT_EQ(IdOf(Find("IDL:Q:1.0")), "<nil>");
}

TEST_F(NamedTypeTest, StructMemberSetterMovesUseLinksAndRefusalsChangeNothing) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var a = Struct("A", {{"m", l}});
  CORBA::StructDef_var b = Struct("B", {{"m", l}});
  CORBA::SequenceDef_var seq_b = repo_->create_sequence(0, b);
  CORBA::StructDef_var s = Struct("S", {{"a1", a}, {"a2", a}, {"n", l}});
  EXPECT_EQ(Refs("IDL:A:1.0"), Ids{"IDL:S:1.0"});
  // One of the two links to A goes; the other keeps A used.
  s->members(Fields({{"a", a}, {"bs", seq_b}}));
  EXPECT_EQ(Refs("IDL:A:1.0"), Ids{"IDL:S:1.0"});
  EXPECT_EQ(Refs("IDL:B:1.0"), Ids{"IDL:S:1.0"});

  // Refusals change nothing.
  EXPECT_BAD_ARG(s->members(CORBA::StructMemberSeq()));
  EXPECT_BAD_ARG(s->members(Fields({{"x", CORBA::IDLType_var(NotAType())}})));
  EXPECT_BAD_ARG(s->members(Fields({{"x", CORBA::IDLType::_nil()}})));
  CORBA::StructMemberSeq_var m = s->members();
  EXPECT_EQ(NamesOf(m.in()), (Ids{"a", "bs"}));
  EXPECT_EQ(Refs("IDL:A:1.0"), Ids{"IDL:S:1.0"});

  // Duplicate and empty member names are accepted.
  s->members(Fields({{"", l}, {"", l}}));
  EXPECT_EQ(TypeOf(s)->member_count(), 2u);
  EXPECT_EQ(Refs("IDL:A:1.0"), Ids{});
  EXPECT_EQ(Refs("IDL:B:1.0"), Ids{});

  // The links and the members are stored: a reopened repository agrees.
  s->members(Fields({{"b", b}}));
  Reopen();
  EXPECT_EQ(Refs("IDL:B:1.0"), Ids{"IDL:S:1.0"});
  s = Find<CORBA::StructDef>("IDL:S:1.0");
  m = s->members();
  ASSERT_EQ(NamesOf(m.in()), Ids{"b"});
  EXPECT_EQ(IdOf(m[0].type_def), "IDL:B:1.0");

  // A member whose type has gone cannot be unlinked: the setter refuses.
  Find<CORBA::StructDef>("IDL:B:1.0")->destroy();
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53), s->members(Fields({{"x", l}})));
}

// A store that fails on demand: every changing store call of a member
// change is made to fail in turn, and each time the change must leave the
// definition, its record and its use links as they were.
TEST_F(StoreFaultTest, NamedTypeChangesAreOneUpdate) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var a = Struct("A", {{"m", l}});
  CORBA::StructDef_var b = Struct("B", {{"m", l}});
  CORBA::StructDef_var s = Struct("S", {{"m", a}});
  CORBA::ExceptionDef_var e =
      repo_->create_exception("IDL:E:1.0", "E", "1.0", Fields({{"a", a}}));
  CORBA::AliasDef_var t = repo_->create_alias("IDL:T:1.0", "T", "1.0", a);
  auto state = [&] {
    CORBA::StructMemberSeq_var sm = s->members(), em = e->members();
    std::string out = IdOf(sm[0].type_def) + " " + IdOf(em[0].type_def) + " " +
                      IdOf(CORBA::IDLType_var(t->original_type_def())) + " " +
                      TcAt(TypeOf(t), {-1})->id();
    for (const char* id : {"IDL:A:1.0", "IDL:B:1.0"})
      for (const std::string& user : Refs(id)) out += " " + user;
    return out + " " + IdOf(Find("IDL:U:1.0"));
  };
  // Each: remove a link, add a link, rewrite the record.
  auto s_to_b = [&] { s->members(Fields({{"b", b}})); };
  auto e_to_b = [&] { e->members(Fields({{"b", b}})); };
  EXPECT_EQ(FailEachChangeInTurn(s_to_b, state), 3);
  EXPECT_EQ(FailEachChangeInTurn(e_to_b, state), 3);
  EXPECT_EQ(FailEachChangeInTurn([&] { t->original_type_def(b); }, state), 3);
  // A failed create leaves no record and no link: insert, two links.
  EXPECT_EQ(FailEachChangeInTurn(
                [&] {
                  CORBA::UnionDef_var(repo_->create_union(
                      "IDL:U:1.0", "U", "1.0", l,
                      UnionMembers({{"a", AnyOf(CORBA::Long(1)), a},
                                    {"b", AnyOf(CORBA::Long(2)), a}})));
                },
                state),
            3);
  // What the store holds is what the servants hold.
  Reopen();
  EXPECT_EQ(Refs("IDL:A:1.0"), Ids{"IDL:U:1.0"});
  EXPECT_EQ(Refs("IDL:B:1.0"), (Ids{"IDL:S:1.0", "IDL:E:1.0", "IDL:T:1.0"}));
}

TEST_F(NamedTypeTest, RecursiveStructIsClosedBeforeAndAfterReload) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var node = Struct("Node", {{"m", l}});
  CORBA::SequenceDef_var kids = repo_->create_sequence(0, node);
  CORBA::SequenceDef_var kids_of_kids = repo_->create_sequence(0, kids);
  node->members(Fields({{"value", l}, {"kids", kids}, {"grid", kids_of_kids}}));
  auto check = [](CORBA::TypeCode_ptr tc, const char* id) {
    ASSERT_EQ(tc->member_count(), 3u);
    EXPECT_STREQ(tc->id(), id);
    // The element is the struct itself, with its current members.
    EXPECT_TRUE(TcAt(tc, {1, -1})->equal(tc));
    EXPECT_TRUE(TcAt(tc, {2, -1, -1})->equal(tc));
  };
  CORBA::TypeCode_var before = TypeOf(node);
  check(before, "IDL:Node:1.0");
  EXPECT_EQ(Refs("IDL:Node:1.0"), Ids{"IDL:Node:1.0"});
  Reopen();
  node = Find<CORBA::StructDef>("IDL:Node:1.0");
  check(TypeOf(node), "IDL:Node:1.0");
  EXPECT_TRUE(TypeOf(node)->equal(before));
  CORBA::StructMemberSeq_var m = node->members();
  EXPECT_EQ(m[1].type->kind(), CORBA::tk_sequence);

  // A new id reaches the struct's references to itself.
  node->id("IDL:Node2:1.0");
  Reopen();
  node = Find<CORBA::StructDef>("IDL:Node2:1.0");
  ASSERT_FALSE(CORBA::is_nil(node));
  check(TypeOf(node), "IDL:Node2:1.0");
  EXPECT_EQ(Refs("IDL:Node2:1.0"), Ids{"IDL:Node2:1.0"});
}

// --- unions ------------------------------------------------------------------

TEST_F(NamedTypeTest, UnionDiscriminatorKinds) {
  CORBA::EnumDef_var color = repo_->create_enum("IDL:Color:1.0", "Color", "1.0",
                                                EnumMembers({"red", "blue"}));
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::AliasDef_var long_alias =
      repo_->create_alias("IDL:LA:1.0", "LA", "1.0", l);
  CORBA::StringDef_var s5 = repo_->create_string(5);
  CORBA::ExceptionDef_var ex = Exception("E");
  struct Kind {
    const char* what;
    CORBA::IDLType_ptr type;
    bool accepted;
  };
  std::vector<CORBA::IDLType_var> prims;
  std::vector<Kind> kinds;
  const std::pair<CORBA::PrimitiveKind, bool> prim_cases[] = {
      {CORBA::pk_short, true},     {CORBA::pk_long, true},
      {CORBA::pk_ushort, true},    {CORBA::pk_ulong, true},
      {CORBA::pk_boolean, true},   {CORBA::pk_char, true},
      {CORBA::pk_octet, true},     {CORBA::pk_wchar, true},
      {CORBA::pk_longlong, false}, {CORBA::pk_ulonglong, false},
      {CORBA::pk_float, false},    {CORBA::pk_string, false},
  };
  for (const auto& p : prim_cases) {
    prims.emplace_back(Prim(p.first));
    kinds.push_back({"primitive", prims.back().in(), p.second});
  }
  kinds.push_back({"enum", color.in(), true});
  kinds.push_back({"alias of long", long_alias.in(), false});
  kinds.push_back({"string<5>", s5.in(), false});

  // A union whose only member is the default fits any discriminator.
  const CORBA::UnionMemberSeq members =
      UnionMembers({{"d", DefaultLabel(), l}});
  CORBA::UnionDef_var u =
      repo_->create_union("IDL:U:1.0", "U", "1.0", l, members);
  int i = 0;
  for (const Kind& k : kinds) {
    SCOPED_TRACE(std::string(k.what) + " #" + std::to_string(i));
    std::string name = "V" + std::to_string(i++);
    auto create = [&] {
      CORBA::UnionDef_var(repo_->create_union(Id(name).c_str(), name.c_str(),
                                              "1.0", k.type, members));
    };
    if (k.accepted) {
      create();
      u->discriminator_type_def(k.type);
      EXPECT_TRUE(
          CORBA::TypeCode_var(u->discriminator_type())->equal(TypeOf(k.type)));
    } else {
      EXPECT_BAD_ARG(create());
      EXPECT_BAD_ARG(u->discriminator_type_def(k.type));
    }
  }
  EXPECT_SYSEX(
      BAD_PARAM, OmgMinor(4),
      CORBA::UnionDef_var(repo_->create_union(
          "IDL:W:1.0", "W", "1.0",
          CORBA::IDLType_var(CORBA::IDLType::_unchecked_narrow(ex)), members)));
  EXPECT_BAD_ARG(u->discriminator_type_def(CORBA::IDLType::_nil()));
  // Only an enum discriminator is a use of a named type.
  u->discriminator_type_def(color);
  EXPECT_EQ(Refs("IDL:Color:1.0"), (Ids{"IDL:U:1.0", "IDL:V12:1.0"}));
  u->discriminator_type_def(l);
  EXPECT_EQ(Refs("IDL:Color:1.0"), Ids{"IDL:V12:1.0"});
}

TEST_F(NamedTypeTest, UnionLabelsAndTheOrbsRefusals) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::PrimitiveDef_var sh = Prim(CORBA::pk_short);
  CORBA::StructDef_var p = Struct("P", {{"m", l}});
  CORBA::UnionDef_var u =
      repo_->create_union("IDL:U:1.0", "U", "1.0", l,
                          UnionMembers({{"a", AnyOf(CORBA::Long(1)), l},
                                        {"b", AnyOf(CORBA::Long(2)), sh},
                                        {"p", DefaultLabel(), p}}));
  CORBA::TypeCode_var tc = u->type();
  EXPECT_EQ(tc->member_count(), 3u);
  EXPECT_EQ(tc->default_index(), 2);
  EXPECT_EQ(Refs("IDL:P:1.0"), Ids{"IDL:U:1.0"});
  auto create_v = [&](const std::vector<Arm>& arms) {
    CORBA::UnionDef_var(
        repo_->create_union("IDL:V:1.0", "V", "1.0", l, UnionMembers(arms)));
  };
  // A label of another type than the discriminator.
  EXPECT_BAD_ARG(create_v({{"a", AnyOf(CORBA::Short(1)), l}}));
  // Lists the ORB cannot make a TypeCode of fail with its exception, and
  // change nothing: duplicate labels, two defaults.
  EXPECT_THROW(create_v({{"a", AnyOf(CORBA::Long(1)), l},
                         {"b", AnyOf(CORBA::Long(1)), l}}),
               CORBA::BAD_PARAM);
  EXPECT_EQ(IdOf(Find("IDL:V:1.0")), "<nil>");
  EXPECT_THROW(u->members(UnionMembers(
                   {{"a", DefaultLabel(), l}, {"b", DefaultLabel(), p}})),
               CORBA::BAD_PARAM);
  CORBA::UnionMemberSeq_var m = u->members();
  EXPECT_EQ(m->length(), 3u);
  EXPECT_EQ(Refs("IDL:P:1.0"), Ids{"IDL:U:1.0"});

  // Labels are stored as CDR Anys and come back as values.
  Reopen();
  u = Find<CORBA::UnionDef>("IDL:U:1.0");
  m = u->members();
  ASSERT_EQ(m->length(), 3u);
  CORBA::Long label = 0;
  EXPECT_TRUE(m[1].label >>= label);
  EXPECT_EQ(label, 2);
  CORBA::Octet def = 1;
  EXPECT_TRUE(m[2].label >>= CORBA::Any::to_octet(def));
  EXPECT_EQ(def, 0);
  EXPECT_TRUE(TypeOf(u)->equal(tc));
  EXPECT_BAD_ARG(u->members(CORBA::UnionMemberSeq()));
}

// --- exceptions --------------------------------------------------------------

TEST_F(NamedTypeTest, ExceptionMembersMayBeEmptyAndItIsNoType) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ExceptionDef_var e = Exception("E");
  auto members = [&] {
    CORBA::TypeCode_var tc = e->type();
    EXPECT_EQ(tc->kind(), CORBA::tk_except);
    return tc->member_count();
  };
  EXPECT_EQ(members(), 0u);
  e->members(Fields({{"code", l}}));
  EXPECT_EQ(members(), 1u);
  e->members(Fields({}));
  EXPECT_EQ(members(), 0u);
  EXPECT_BAD_ARG(e->members(Fields({{"x", CORBA::IDLType::_nil()}})));
  // An exception is not a type of anything.
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4),
               CORBA::AliasDef_var(repo_->create_alias(
                   "IDL:A:1.0", "A", "1.0",
                   CORBA::IDLType_var(CORBA::IDLType::_unchecked_narrow(e)))));
  CORBA::StructDef_var s = Struct("S", {{"m", l}});
  e->members(Fields({{"s", s}}));
  s->destroy();
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x52), e->members(Fields({})));
}

// --- container forwarding ----------------------------------------------------

TEST_F(NamedTypeTest, NestedCreationFollowsEachContainerKind) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var s = Struct("S", {{"m", l}});
  CORBA::UnionDef_var u = repo_->create_union(
      "IDL:U:1.0", "U", "1.0", l, UnionMembers({{"d", DefaultLabel(), l}}));
  CORBA::ExceptionDef_var e = Exception("E");
  // Creates the definition `kind` named after it in `c`.
  auto create = [&](CORBA::Container_ptr c, const std::string& prefix,
                    const std::string& kind) -> CORBA::Contained_ptr {
    std::string id = prefix + kind + ":1.0";
    const char* n = kind.c_str();
    if (kind == "struct")
      return c->create_struct(id.c_str(), n, "1.0", Fields({{"x", l}}));
    if (kind == "union")
      return c->create_union(id.c_str(), n, "1.0", l,
                             UnionMembers({{"d", DefaultLabel(), l}}));
    if (kind == "enum")
      return c->create_enum(id.c_str(), n, "1.0", EnumMembers({"x"}));
    if (kind == "constant")
      return c->create_constant(id.c_str(), n, "1.0", l, AnyOf(CORBA::Long(1)));
    if (kind == "alias") return c->create_alias(id.c_str(), n, "1.0", l);
    if (kind == "exception")
      return c->create_exception(id.c_str(), n, "1.0", Fields({}));
    if (kind == "native") return c->create_native(id.c_str(), n, "1.0");
    if (kind == "module") return c->create_module(id.c_str(), n, "1.0");
    if (kind == "interface")
      return c->create_interface(id.c_str(), n, "1.0",
                                 CORBA::InterfaceDefSeq());
    return c->create_value_box(id.c_str(), n, "1.0", l);
  };
  // Where each kind may be made: in structs and exceptions; in unions.
  const std::tuple<const char*, bool, bool> kinds[] = {
      {"struct", true, true},      {"union", true, true},
      {"enum", true, true},        {"constant", false, true},
      {"alias", false, true},      {"exception", false, true},
      {"native", false, true},     {"module", false, false},
      {"interface", false, false}, {"value_box", false, false},
  };
  const std::tuple<CORBA::Container_ptr, const char*, bool> owners[] = {
      {s, "IDL:S/", false}, {u, "IDL:U/", true}, {e, "IDL:E/", false}};
  for (const auto& [owner, prefix, is_union] : owners) {
    for (const auto& [kind, in_struct, in_union] : kinds) {
      SCOPED_TRACE(std::string(prefix) + " " + kind);
      if (is_union ? in_union : in_struct) {
        CORBA::Contained_var made = create(owner, prefix, kind);
        EXPECT_EQ(IdOf(CORBA::Container_var(made->defined_in())), IdOf(owner));
      } else {
        EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
                     CORBA::Contained_var(create(owner, prefix, kind)));
      }
    }
  }
  EXPECT_EQ(ContentsOf(u).size(), 7u);
}

// --- enums -------------------------------------------------------------------

TEST_F(NamedTypeTest, EnumMemberChecks) {
  struct Check {
    std::vector<const char*> names;
    bool accepted;
  } checks[] = {
      {{}, false},
      {{"a", ""}, false},
      {{"a", "b", "a"}, true},  // duplicates are not looked for
      {{"only"}, true},
  };
  CORBA::EnumDef_var e =
      repo_->create_enum("IDL:E:1.0", "E", "1.0", EnumMembers({"x", "y"}));
  int i = 0;
  for (const Check& c : checks) {
    SCOPED_TRACE("check " + std::to_string(i));
    std::string name = "F" + std::to_string(i++);
    auto create = [&] {
      CORBA::EnumDef_var(repo_->create_enum(Id(name).c_str(), name.c_str(),
                                            "1.0", EnumMembers(c.names)));
    };
    if (c.accepted) {
      create();
      e->members(EnumMembers(c.names));
      EXPECT_EQ(TypeOf(e)->member_count(), c.names.size());
    } else {
      EXPECT_BAD_ARG(create());
      EXPECT_BAD_ARG(e->members(EnumMembers(c.names)));
    }
  }
  Reopen();
  e = Find<CORBA::EnumDef>("IDL:E:1.0");
  CORBA::EnumMemberSeq_var m = e->members();
  EXPECT_EQ(IdsOf(m.in()), Ids{"only"});
  EXPECT_STREQ(TypeOf(e)->member_name(0), "only");
}

// --- aliases and value boxes -------------------------------------------------

TEST_F(NamedTypeTest, AliasAndBoxOriginalTypeSetterAndLinks) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var a = Struct("A", {{"m", l}});
  CORBA::AliasDef_var t = repo_->create_alias("IDL:T:1.0", "T", "1.0", a);
  CORBA::ValueBoxDef_var b =
      repo_->create_value_box("IDL:B:1.0", "B", "1.0", a);
  EXPECT_EQ(Refs("IDL:A:1.0"), (Ids{"IDL:T:1.0", "IDL:B:1.0"}));
  EXPECT_EQ(TypeOf(b)->kind(), CORBA::tk_value_box);
  CORBA::SequenceDef_var seq_l = repo_->create_sequence(3, l);
  t->original_type_def(seq_l);
  b->original_type_def(t);
  EXPECT_EQ(Refs("IDL:A:1.0"), Ids{});
  EXPECT_EQ(Refs("IDL:T:1.0"), Ids{"IDL:B:1.0"});
  CORBA::IDLType_var module_as_type = NotAType();
  for (CORBA::IDLType_ptr bad : {CORBA::IDLType::_nil(), module_as_type.in()}) {
    EXPECT_BAD_ARG(t->original_type_def(bad));
    EXPECT_BAD_ARG(b->original_type_def(bad));
  }
  Reopen();
  t = Find<CORBA::AliasDef>("IDL:T:1.0");
  EXPECT_EQ(TypeOf(t)->kind(), CORBA::tk_alias);
  EXPECT_EQ(TcAt(TypeOf(t), {-1})->kind(), CORBA::tk_sequence);
  EXPECT_EQ(TcAt(TypeOf(t), {-1})->length(), 3u);
  b = Find<CORBA::ValueBoxDef>("IDL:B:1.0");
  EXPECT_EQ(IdOf(CORBA::IDLType_var(b->original_type_def())), "IDL:T:1.0");
  // Value boxes refuse a non-type with the create operation's own text,
  // aliases with BAD_PARAM minor 4, both before the name length.
  CORBA::ExceptionDef_var ex = Exception("X");
  CORBA::IDLType_var ex_as_type = CORBA::IDLType::_unchecked_narrow(ex);
  std::string long_name(300, 'n');
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4),
               CORBA::AliasDef_var(repo_->create_alias(
                   "IDL:Y:1.0", long_name.c_str(), "1.0", ex_as_type)));
  EXPECT_BAD_ARG(CORBA::ValueBoxDef_var(
      repo_->create_value_box("IDL:Y:1.0", "Y", "1.0", ex_as_type)));
}

// union U switch (long) { case 1: long value; default: List next; }
// with typedef sequence<U> List inside U.
TEST_F(NamedTypeTest, AliasInsideItsUnionClosesOntoIt) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::UnionDef_var s = repo_->create_union(
      "IDL:U:1.0", "U", "1.0", l, UnionMembers({{"value", DefaultLabel(), l}}));
  CORBA::SequenceDef_var seq_s = repo_->create_sequence(0, s);
  CORBA::AliasDef_var list =
      s->create_alias("IDL:U/List:1.0", "List", "1.0", l);
  list->original_type_def(seq_s);
  ASSERT_EQ(TcAt(TypeOf(list), {-1})->kind(), CORBA::tk_sequence);
  s->members(UnionMembers(
      {{"value", AnyOf(CORBA::Long(1)), l}, {"next", DefaultLabel(), list}}));
  EXPECT_TRUE(TcAt(TypeOf(s), {1, -1, -1})->equal(TypeOf(s)));
}

// --- natives -----------------------------------------------------------------

TEST_F(NamedTypeTest, NativeHasNoTypeCode) {
  CORBA::NativeDef_var n = repo_->create_native("IDL:N:1.0", "N", "1.0");
  EXPECT_EQ(n->def_kind(), CORBA::dk_Native);
  EXPECT_TRUE(CORBA::is_nil(TypeOf(n)));
  CORBA::Contained::Description_var d = n->describe();
  const CORBA::TypeDescription* td = nullptr;
  ASSERT_TRUE(d->value >>= td);
  EXPECT_STREQ(td->name.in(), "N");
  EXPECT_EQ(td->type->kind(), CORBA::tk_void);
  EXPECT_BAD_ARG(
      CORBA::NativeDef_var(root_->create_native("IDL:O:1.0", nullptr, "1.0")));
  Reopen();
  CORBA::Container::DescriptionSeq_var all =
      repo_->describe_contents(CORBA::dk_Native, false, -1);
  EXPECT_EQ(all->length(), 1u);
}

// --- constants ---------------------------------------------------------------

TEST_F(NamedTypeTest, ConstantTypeRules) {
  CORBA::EnumDef_var e =
      repo_->create_enum("IDL:E:1.0", "E", "1.0", EnumMembers({"x"}));
  CORBA::StringDef_var s4 = repo_->create_string(4);
  CORBA::WstringDef_var w4 = repo_->create_wstring(4);
  std::vector<CORBA::IDLType_var> keep;
  auto prim = [&](CORBA::PrimitiveKind k) {
    keep.emplace_back(Prim(k));
    return keep.back().in();
  };
  struct TypeCase {
    const char* what;
    CORBA::IDLType_ptr type;
    CORBA::Any value;
    bool create_ok;  // create_constant
    bool setter_ok;  // type_def(...)
  };
  std::vector<TypeCase> cases = {
      {"short", prim(CORBA::pk_short), AnyOf(CORBA::Short(-3)), true, true},
      {"octet", prim(CORBA::pk_octet), AnyOf(CORBA::Any::from_octet(7)), true,
       true},
      {"float", prim(CORBA::pk_float), AnyOf(CORBA::Float(1.5f)), true, true},
      {"string", prim(CORBA::pk_string), AnyOf("text"), true, true},
      {"wchar", prim(CORBA::pk_wchar), AnyOf(CORBA::Any::from_wchar(L'w')),
       true, true},
      {"string<4>", s4.in(), AnyOf(CORBA::Any::from_string("abc", 4)), true,
       true},
      {"wstring<4>", w4.in(), AnyOf(CORBA::Any::from_wstring(L"ab", 4)), true,
       false},
      {"long long", prim(CORBA::pk_longlong), AnyOf(CORBA::LongLong(1)), false,
       false},
      {"wstring", prim(CORBA::pk_wstring), AnyOf(L"w"), false, false},
      {"any", prim(CORBA::pk_any), AnyOf(CORBA::Long(1)), false, false},
      {"enum", e.in(), AnyOf(CORBA::Long(0)), false, false},
  };
  CORBA::ConstantDef_var c = repo_->create_constant(
      "IDL:C:1.0", "C", "1.0", prim(CORBA::pk_long), AnyOf(CORBA::Long(1)));
  int i = 0;
  for (const TypeCase& t : cases) {
    SCOPED_TRACE(t.what);
    std::string name = "K" + std::to_string(i++);
    auto create = [&] {
      return repo_->create_constant(Id(name).c_str(), name.c_str(), "1.0",
                                    t.type, t.value);
    };
    if (t.create_ok) {
      CORBA::ConstantDef_var k = create();
      CORBA::Any_var v = k->value();
      EXPECT_TRUE(CORBA::TypeCode_var(v->type())->equal(TypeOf(k)));
    } else {
      EXPECT_BAD_ARG(CORBA::ConstantDef_var k = create());
    }
    if (t.setter_ok) {
      c->type_def(t.type);
      EXPECT_TRUE(TypeOf(c)->equal(TypeOf(t.type)));
    } else {
      EXPECT_BAD_ARG(c->type_def(t.type));
    }
  }
  // A value of another type than the constant's.
  EXPECT_BAD_ARG(CORBA::ConstantDef_var(repo_->create_constant(
      "IDL:Z:1.0", "Z", "1.0", prim(CORBA::pk_short), AnyOf(CORBA::Long(1)))));
  CORBA::ExceptionDef_var ex = Exception("X");
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4),
               CORBA::ConstantDef_var(repo_->create_constant(
                   "IDL:Z:1.0", "Z", "1.0",
                   CORBA::IDLType_var(CORBA::IDLType::_unchecked_narrow(ex)),
                   AnyOf(CORBA::Long(1)))));
  EXPECT_BAD_ARG(c->type_def(CORBA::IDLType::_nil()));
}

TEST_F(NamedTypeTest, ConstantValueRulesAndRoundTrip) {
  CORBA::ConstantDef_var c = repo_->create_constant(
      "IDL:C:1.0", "C", "1.0", CORBA::PrimitiveDef_var(Prim(CORBA::pk_short)),
      AnyOf(CORBA::Short(-7)));
  EXPECT_BAD_ARG(c->value(AnyOf(CORBA::Long(5))));
  auto short_value = [&] {
    CORBA::Any_var v = c->value();
    CORBA::Short got = 0;
    EXPECT_TRUE(v.in() >>= got);
    return got;
  };
  EXPECT_EQ(short_value(), -7);
  // A new type keeps the old value, even when it no longer fits.
  c->type_def(CORBA::PrimitiveDef_var(Prim(CORBA::pk_double)));
  EXPECT_EQ(short_value(), -7);
  const CORBA::Double pi = 3.141592653589793;
  c->value(AnyOf(pi));
  CORBA::ConstantDef_var(repo_->create_constant(
      "IDL:S:1.0", "S", "1.0", CORBA::PrimitiveDef_var(Prim(CORBA::pk_string)),
      AnyOf("caf\xc3\xa9 \x01")));
  Reopen();
  c = Find<CORBA::ConstantDef>("IDL:C:1.0");
  CORBA::Any_var v = c->value();
  CORBA::Double read = 0;
  ASSERT_TRUE(v.in() >>= read);
  EXPECT_EQ(read, pi);
  EXPECT_TRUE(TypeOf(c)->equal(CORBA::_tc_double));
  v = Find<CORBA::ConstantDef>("IDL:S:1.0")->value();
  const char* text = nullptr;
  ASSERT_TRUE(v.in() >>= text);
  EXPECT_STREQ(text, "caf\xc3\xa9 \x01");
}

// --- descriptions ------------------------------------------------------------

TEST_F(NamedTypeTest, DefinedInAtTheTopAndInsideAModule) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  for (CORBA::Container_ptr c : {static_cast<CORBA::Container_ptr>(repo_.in()),
                                 static_cast<CORBA::Container_ptr>(m.in())}) {
    bool top = c == repo_.in();
    SCOPED_TRACE(top ? "top level" : "in module");
    std::string p = top ? "IDL:" : "IDL:M/";
    CORBA::AliasDef_var a =
        c->create_alias((p + "A:1.0").c_str(), "A", "1.0", l);
    CORBA::ExceptionDef_var e = c->create_exception(
        (p + "E:1.0").c_str(), "E", "1.0", Fields({{"code", l}}));
    CORBA::ConstantDef_var k = c->create_constant(
        (p + "K:1.0").c_str(), "K", "1.0", l, AnyOf(CORBA::Long(4)));
    const char* inside = top ? "" : "IDL:M:1.0";

    CORBA::Contained::Description_var d = a->describe();
    const CORBA::TypeDescription* td = nullptr;
    ASSERT_TRUE(d->value >>= td);
    EXPECT_STREQ(td->defined_in.in(), inside);
    d = k->describe();
    const CORBA::ConstantDescription* cd = nullptr;
    ASSERT_TRUE(d->value >>= cd);
    EXPECT_STREQ(cd->defined_in.in(), inside);
    CORBA::Long value = 0;
    EXPECT_TRUE(cd->value >>= value);
    EXPECT_EQ(value, 4);
    // An exception at the top level names the root's id.
    d = e->describe();
    EXPECT_EQ(d->kind, CORBA::dk_Exception);
    const CORBA::ExceptionDescription* ed = nullptr;
    ASSERT_TRUE(d->value >>= ed);
    EXPECT_STREQ(ed->defined_in.in(),
                 top ? repository_base_rep_id : "IDL:M:1.0");
    EXPECT_EQ(ed->type->member_count(), 1u);
  }
}

// --- changes of id -----------------------------------------------------------

TEST_F(NamedTypeTest, ChangeOfIdReachesEveryUser) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::EnumDef_var t =
      repo_->create_enum("IDL:T:1.0", "T", "1.0", EnumMembers({"x"}));
  CORBA::SequenceDef_var seq_t = repo_->create_sequence(0, t);
  CORBA::StructDef_var(Struct("S", {{"t", t}, {"ts", seq_t}}));
  CORBA::UnionDef_var(repo_->create_union(
      "IDL:U:1.0", "U", "1.0", t, UnionMembers({{"d", DefaultLabel(), l}})));
  CORBA::ExceptionDef_var(
      repo_->create_exception("IDL:E:1.0", "E", "1.0", Fields({{"t", t}})));
  CORBA::AliasDef_var(repo_->create_alias("IDL:A:1.0", "A", "1.0", seq_t));
  CORBA::ValueBoxDef_var(repo_->create_value_box("IDL:B:1.0", "B", "1.0", t));

  t->id("IDL:T2:1.0");
  EXPECT_EQ(Refs("IDL:T2:1.0"), (Ids{"IDL:S:1.0", "IDL:U:1.0", "IDL:E:1.0",
                                     "IDL:A:1.0", "IDL:B:1.0"}));
  Reopen();
  CORBA::StructMemberSeq_var sm =
      Find<CORBA::StructDef>("IDL:S:1.0")->members();
  EXPECT_EQ(IdOf(sm[0].type_def), "IDL:T2:1.0");
  CORBA::SequenceDef_var seq = CORBA::SequenceDef::_narrow(sm[1].type_def);
  EXPECT_EQ(IdOf(CORBA::IDLType_var(seq->element_type_def())), "IDL:T2:1.0");
  EXPECT_EQ(IdOf(CORBA::IDLType_var(
                Find<CORBA::UnionDef>("IDL:U:1.0")->discriminator_type_def())),
            "IDL:T2:1.0");
  CORBA::StructMemberSeq_var em =
      Find<CORBA::ExceptionDef>("IDL:E:1.0")->members();
  EXPECT_EQ(IdOf(em[0].type_def), "IDL:T2:1.0");
  EXPECT_EQ(IdOf(CORBA::IDLType_var(
                Find<CORBA::ValueBoxDef>("IDL:B:1.0")->original_type_def())),
            "IDL:T2:1.0");

  // A definition that does not refer to the old id refuses the change.
  for (const char* id :
       {"IDL:S:1.0", "IDL:U:1.0", "IDL:E:1.0", "IDL:A:1.0", "IDL:B:1.0"}) {
    SCOPED_TRACE(id);
    CORBA::Contained_var loaded = Find(id);
    Servant_ref<CORBA_Contained_Impl> servant(irobj_get_from_cache(id));
    ASSERT_NE(servant.in(), nullptr);
    EXPECT_SYSEX(INTF_REPOS, IrMinor(0x52),
                 servant->changeID("IDL:Other:1.0", "IDL:New:1.0"));
  }
}

}  // namespace
