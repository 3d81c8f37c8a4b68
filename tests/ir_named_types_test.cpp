// Named types: structs, unions, exceptions, enums, aliases, value boxes,
// natives and constants: creation checks, member setters with their use
// links, records across a reopen, TypeCodes, changes of id and
// descriptions.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "failing_store.h"
#include "ir/containd.h"
#include "ir/structdf.h"
#include "ir/typedf.h"
#include "ir_fixture.h"
#include "orb_main.h"
#include "store/irdb.h"
#include "store/store_handle.h"

namespace {

using Ids = std::vector<std::string>;

struct Member {
  const char* name;
  CORBA::IDLType_ptr type;
};

// Members as clients send them: the TypeCode left tk_void, the type
// given by its definition.
CORBA::StructMemberSeq StructMembers(std::initializer_list<Member> list) {
  CORBA::StructMemberSeq seq;
  seq.length(0);
  for (const Member& m : list) {
    CORBA::ULong n = seq.length();
    seq.length(n + 1);
    seq[n].name = m.name;
    seq[n].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[n].type_def = CORBA::IDLType::_duplicate(m.type);
  }
  return seq;
}

struct Case {
  const char* name;
  CORBA::Any label;
  CORBA::IDLType_ptr type;
};

CORBA::UnionMemberSeq UnionMembers(const std::vector<Case>& list) {
  CORBA::UnionMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(list.size()));
  for (CORBA::ULong n = 0; n < seq.length(); ++n) {
    seq[n].name = list[n].name;
    seq[n].label = list[n].label;
    seq[n].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[n].type_def = CORBA::IDLType::_duplicate(list[n].type);
  }
  return seq;
}

template <class T>
CORBA::Any AnyOf(T v) {
  CORBA::Any a;
  a <<= v;
  return a;
}
CORBA::Any DefaultLabel() {
  CORBA::Any a;
  a <<= CORBA::Any::from_octet(0);
  return a;
}

class NamedTypeTest : public IrTest {
 protected:
  CORBA::IDLType_ptr Prim(CORBA::PrimitiveKind k) {
    return repo_->get_primitive(k);
  }
  CORBA::StructDef_ptr Struct(const char* id, const char* name,
                              CORBA::IDLType_ptr member_type) {
    return repo_->create_struct(id, name, "1.0",
                                StructMembers({{"m", member_type}}));
  }
  // The definitions with a use link to `id`, in creation order.
  Ids Users(const char* id) {
    return root_->get_irs()->IRReferring(StoreHandle(id), IRStore::kUseLink);
  }
  template <class T>
  typename T::_ptr_type Find(const char* id) {
    CORBA::Contained_var c = repo_->lookup_id(id);
    return T::_narrow(c);
  }
  static std::string IdOf(CORBA::Object_ptr obj) {
    CORBA::Contained_var c = CORBA::Contained::_narrow(obj);
    if (CORBA::is_nil(c)) return "<nil>";
    CORBA::String_var id = c->id();
    return id.in();
  }
};

using StructTest = NamedTypeTest;
using UnionTest = NamedTypeTest;
using ExceptionTest = NamedTypeTest;
using EnumTest = NamedTypeTest;
using AliasTest = NamedTypeTest;
using NativeTest = NamedTypeTest;
using ConstantTest = NamedTypeTest;
using DescribeTest = NamedTypeTest;

// --- structs -----------------------------------------------------------------

TEST_F(StructTest, CreateFillsMemberTypesAndRefusesBadInput) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StringDef_var s8 = repo_->create_string(8);
  CORBA::StructDef_var p = repo_->create_struct(
      "IDL:P:1.0", "P", "1.0", StructMembers({{"x", l}, {"label", s8}}));
  // The TypeCode is usable at once, without a reload.
  CORBA::TypeCode_var tc = p->type();
  ASSERT_EQ(tc->member_count(), 2u);
  CORBA::TypeCode_var m1 = tc->member_type(1);
  EXPECT_EQ(m1->kind(), CORBA::tk_string);
  EXPECT_EQ(m1->length(), 8u);
  CORBA::StructMemberSeq_var got = p->members();
  EXPECT_TRUE(got[0].type->equal(CORBA::_tc_long));

  CORBA::ExceptionDef_var e =
      repo_->create_exception("IDL:E:1.0", "E", "1.0", StructMembers({}));
  CORBA::IDLType_var not_a_type = CORBA::IDLType::_unchecked_narrow(e);
  CORBA::StructMemberSeq none;
  std::string long_name(255, 'n');
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               CORBA::StructDef_var(
                   repo_->create_struct("IDL:Q:1.0", "Q", "1.0", none)));
  EXPECT_SYSEX(
      BAD_PARAM, IrMinor(0x48),
      CORBA::StructDef_var(repo_->create_struct(
          "IDL:Q:1.0", long_name.c_str(), "1.0", StructMembers({{"x", l}}))));
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               CORBA::StructDef_var(repo_->create_struct(
                   "IDL:Q:1.0", "Q", "1.0",
                   StructMembers({{"x", CORBA::IDLType::_nil()}}))));
  EXPECT_SYSEX(
      BAD_PARAM, OmgMinor(4),
      CORBA::StructDef_var(repo_->create_struct(
          "IDL:Q:1.0", "Q", "1.0", StructMembers({{"x", not_a_type}}))));
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(3),
               CORBA::StructDef_var(repo_->create_struct(
                   "IDL:Q:1.0", "P", "1.0", StructMembers({{"x", l}}))));
  EXPECT_TRUE(
      CORBA::is_nil(CORBA::Contained_var(repo_->lookup_id("IDL:Q:1.0"))));
  // Exactly 254 characters is accepted.
  std::string name254(254, 'n');
  CORBA::StructDef_var ok = repo_->create_struct(
      "IDL:Q:1.0", name254.c_str(), "1.0", StructMembers({{"x", l}}));
  EXPECT_EQ(IdOf(ok), "IDL:Q:1.0");
}

TEST_F(StructTest, MemberSetterMovesUseLinks) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var a = Struct("IDL:A:1.0", "A", l);
  CORBA::StructDef_var b = Struct("IDL:B:1.0", "B", l);
  CORBA::SequenceDef_var seq_b = repo_->create_sequence(0, b);
  CORBA::StructDef_var s = repo_->create_struct(
      "IDL:S:1.0", "S", "1.0", StructMembers({{"a1", a}, {"a2", a}, {"n", l}}));
  EXPECT_EQ(Users("IDL:A:1.0"), Ids{"IDL:S:1.0"});
  // One of the two links to A goes; the other keeps A used.
  s->members(StructMembers({{"a", a}, {"bs", seq_b}}));
  EXPECT_EQ(Users("IDL:A:1.0"), Ids{"IDL:S:1.0"});
  EXPECT_EQ(Users("IDL:B:1.0"), Ids{"IDL:S:1.0"});
  s->members(StructMembers({{"n", l}}));
  EXPECT_EQ(Users("IDL:A:1.0"), Ids{});
  EXPECT_EQ(Users("IDL:B:1.0"), Ids{});
  // The links and the members are stored: a reopened repository agrees.
  s->members(StructMembers({{"b", b}}));
  Reopen();
  EXPECT_EQ(Users("IDL:B:1.0"), Ids{"IDL:S:1.0"});
  CORBA::StructDef_var again = Find<CORBA::StructDef>("IDL:S:1.0");
  CORBA::StructMemberSeq_var m = again->members();
  ASSERT_EQ(m->length(), 1u);
  EXPECT_STREQ(m[0].name.in(), "b");
  EXPECT_EQ(IdOf(m[0].type_def), "IDL:B:1.0");
}

TEST_F(StructTest, MemberSetterRefusalsChangeNothing) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var a = Struct("IDL:A:1.0", "A", l);
  CORBA::StructDef_var s = Struct("IDL:S:1.0", "S", a);
  CORBA::ModuleDef_var mod = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var module_as_type = CORBA::IDLType::_unchecked_narrow(mod);
  CORBA::StructMemberSeq none;
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), s->members(none));
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               s->members(StructMembers({{"x", module_as_type}})));
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               s->members(StructMembers({{"x", CORBA::IDLType::_nil()}})));
  CORBA::StructMemberSeq_var m = s->members();
  ASSERT_EQ(m->length(), 1u);
  EXPECT_EQ(IdOf(m[0].type_def), "IDL:A:1.0");
  EXPECT_EQ(Users("IDL:A:1.0"), Ids{"IDL:S:1.0"});
  // Duplicate and empty member names are accepted.
  s->members(StructMembers({{"", l}, {"", l}}));
  CORBA::TypeCode_var tc = s->type();
  EXPECT_EQ(tc->member_count(), 2u);
  // A member whose type has gone cannot be unlinked: the setter refuses.
  s->members(StructMembers({{"a", a}}));
  a->destroy();
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53),
               s->members(StructMembers({{"x", l}})));
}

// A store that fails on demand: every changing store call of a member
// change is made to fail in turn, and each time the change must leave the
// definition, its record and its use links as they were.
class StoreFaultTest : public NamedTypeTest {
 protected:
  struct OwningFailingStore : private std::unique_ptr<IRDB>,
                              public FailingStore {
    explicit OwningFailingStore(const char* path)
        : std::unique_ptr<IRDB>(new IRDB(path)), FailingStore(**this) {}
  };

  void SetUp() override {
    saved_opener_ = CORBA_Repository_Impl::store_opener;
    CORBA_Repository_Impl::store_opener = [this](const char* database) {
      auto* store = new OwningFailingStore(database);
      failing_ = store;
      return std::unique_ptr<IRStore>(store);
    };
    NamedTypeTest::SetUp();
  }
  void TearDown() override {
    NamedTypeTest::TearDown();
    CORBA_Repository_Impl::store_opener = saved_opener_;
  }

  // Runs `change` with the n-th changing store call failing, for n = 1,
  // 2, ... until it succeeds; `unchanged` checks the state after each
  // failure.  Returns the number of failures seen.
  int FailEachStep(const std::function<void()>& change,
                   const std::function<void()>& unchanged) {
    int failures = 0;
    for (int n = 1; n < 50; ++n) {
      failing_->fail_at(n);
      try {
        change();
      } catch (const CORBA::PERSIST_STORE&) {
        ++failures;
        SCOPED_TRACE("store call " + std::to_string(n) + " failed");
        unchanged();
        continue;
      }
      failing_->disarm();
      return failures;
    }
    ADD_FAILURE() << "the change never succeeded";
    return failures;
  }

  FailingStore* failing_ = nullptr;
  std::function<std::unique_ptr<IRStore>(const char*)> saved_opener_;
};

TEST_F(StoreFaultTest, MemberChangesAreOneUpdate) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var a = Struct("IDL:A:1.0", "A", l);
  CORBA::StructDef_var b = Struct("IDL:B:1.0", "B", l);
  CORBA::StructDef_var s = Struct("IDL:S:1.0", "S", a);
  CORBA::ExceptionDef_var e = repo_->create_exception(
      "IDL:E:1.0", "E", "1.0", StructMembers({{"a", a}}));
  CORBA::AliasDef_var t = repo_->create_alias("IDL:T:1.0", "T", "1.0", a);
  auto holds_a = [&](const char* what, CORBA::IDLType_ptr type_def,
                     const char* user) {
    SCOPED_TRACE(what);
    EXPECT_EQ(IdOf(type_def), "IDL:A:1.0");
    Ids a_users = Users("IDL:A:1.0"), b_users = Users("IDL:B:1.0");
    EXPECT_NE(std::find(a_users.begin(), a_users.end(), user), a_users.end());
    EXPECT_EQ(std::find(b_users.begin(), b_users.end(), user), b_users.end());
  };
  EXPECT_EQ(FailEachStep(
                [&] {
                  s->members(StructMembers({{"b", b}}));
                },
                [&] {
                  CORBA::StructMemberSeq_var m = s->members();
                  holds_a("struct", m[0].type_def, "IDL:S:1.0");
                }),
            3);  // remove a link, add a link, rewrite the record
  EXPECT_EQ(FailEachStep(
                [&] {
                  e->members(StructMembers({{"b", b}}));
                },
                [&] {
                  CORBA::StructMemberSeq_var m = e->members();
                  holds_a("exception", m[0].type_def, "IDL:E:1.0");
                }),
            3);
  EXPECT_EQ(FailEachStep([&] { t->original_type_def(b); },
                         [&] {
                           CORBA::IDLType_var o = t->original_type_def();
                           holds_a("alias", o, "IDL:T:1.0");
                           CORBA::TypeCode_var tc = t->type();
                           CORBA::TypeCode_var content = tc->content_type();
                           EXPECT_STREQ(content->id(), "IDL:A:1.0");
                         }),
            3);
  // What the store holds is what the servants hold.
  Reopen();
  EXPECT_EQ(Users("IDL:A:1.0"), Ids{});
  EXPECT_EQ(Users("IDL:B:1.0"), (Ids{"IDL:S:1.0", "IDL:E:1.0", "IDL:T:1.0"}));
}

TEST_F(StoreFaultTest, FailedCreateLeavesNoRecordAndNoLink) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var a = Struct("IDL:A:1.0", "A", l);
  int failures = FailEachStep(
      [&] {
        CORBA::UnionDef_var u = repo_->create_union(
            "IDL:U:1.0", "U", "1.0", l,
            UnionMembers({{"a", AnyOf(CORBA::Long(1)), a},
                          {"b", AnyOf(CORBA::Long(2)), a}}));
      },
      [&] {
        EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup_id("IDL:U:1.0"))),
                  "<nil>");
        EXPECT_EQ(Users("IDL:A:1.0"), Ids{});
      });
  EXPECT_EQ(failures, 3);  // insert, two links
  EXPECT_EQ(Users("IDL:A:1.0"), Ids{"IDL:U:1.0"});
}

// --- recursion ------------------------------------------------------------

TEST_F(StructTest, RecursiveStructIsClosedBeforeAndAfterReload) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var node = Struct("IDL:Node:1.0", "Node", l);
  CORBA::SequenceDef_var kids = repo_->create_sequence(0, node);
  CORBA::SequenceDef_var kids_of_kids = repo_->create_sequence(0, kids);
  node->members(
      StructMembers({{"value", l}, {"kids", kids}, {"grid", kids_of_kids}}));
  auto check = [](CORBA::TypeCode_ptr tc) {
    ASSERT_EQ(tc->member_count(), 3u);
    CORBA::TypeCode_var k = tc->member_type(1);
    CORBA::TypeCode_var inner = k->content_type();
    // The element is the struct itself, with its current members.
    EXPECT_TRUE(inner->equal(tc));
    CORBA::TypeCode_var g = tc->member_type(2);
    CORBA::TypeCode_var g1 = g->content_type();
    CORBA::TypeCode_var g2 = g1->content_type();
    EXPECT_TRUE(g2->equal(tc));
  };
  CORBA::TypeCode_var before = node->type();
  check(before);
  EXPECT_EQ(Users("IDL:Node:1.0"), Ids{"IDL:Node:1.0"});
  Reopen();
  CORBA::StructDef_var again = Find<CORBA::StructDef>("IDL:Node:1.0");
  CORBA::TypeCode_var after = again->type();
  check(after);
  EXPECT_TRUE(after->equal(before));
  CORBA::StructMemberSeq_var m = again->members();
  EXPECT_EQ(m[1].type->kind(), CORBA::tk_sequence);

  // A new id reaches the struct's references to itself.
  again->id("IDL:Node2:1.0");
  Reopen();
  CORBA::StructDef_var renamed = Find<CORBA::StructDef>("IDL:Node2:1.0");
  ASSERT_FALSE(CORBA::is_nil(renamed));
  after = renamed->type();
  ASSERT_EQ(after->member_count(), 3u);
  CORBA::TypeCode_var k = after->member_type(1);
  CORBA::TypeCode_var inner = k->content_type();
  EXPECT_STREQ(inner->id(), "IDL:Node2:1.0");
  EXPECT_EQ(Users("IDL:Node2:1.0"), Ids{"IDL:Node2:1.0"});
}

// --- unions
// -------------------------------------------------------------------

TEST_F(UnionTest, DiscriminatorKinds) {
  CORBA::EnumMemberSeq colors;
  colors.length(2);
  colors[0] = CORBA::string_dup("red");
  colors[1] = CORBA::string_dup("blue");
  CORBA::EnumDef_var color =
      repo_->create_enum("IDL:Color:1.0", "Color", "1.0", colors);
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::AliasDef_var long_alias =
      repo_->create_alias("IDL:LA:1.0", "LA", "1.0", l);
  CORBA::StringDef_var s5 = repo_->create_string(5);
  CORBA::ExceptionDef_var ex =
      repo_->create_exception("IDL:E:1.0", "E", "1.0", StructMembers({}));
  CORBA::IDLType_var ex_as_type = CORBA::IDLType::_unchecked_narrow(ex);
  struct Kind {
    const char* what;
    CORBA::IDLType_ptr type;
    bool accepted;
  };
  std::vector<CORBA::IDLType_var> prims;
  std::vector<Kind> kinds;
  struct PrimCase {
    CORBA::PrimitiveKind kind;
    bool accepted;
  } prim_cases[] = {
      {CORBA::pk_short, true},     {CORBA::pk_long, true},
      {CORBA::pk_ushort, true},    {CORBA::pk_ulong, true},
      {CORBA::pk_boolean, true},   {CORBA::pk_char, true},
      {CORBA::pk_octet, true},     {CORBA::pk_wchar, true},
      {CORBA::pk_longlong, false}, {CORBA::pk_ulonglong, false},
      {CORBA::pk_float, false},    {CORBA::pk_string, false},
  };
  for (const PrimCase& p : prim_cases) {
    prims.emplace_back(Prim(p.kind));
    kinds.push_back({"primitive", prims.back().in(), p.accepted});
  }
  kinds.push_back({"enum", color.in(), true});
  kinds.push_back({"alias of long", long_alias.in(), false});
  kinds.push_back({"string<5>", s5.in(), false});

  CORBA::UnionDef_var u = repo_->create_union(
      "IDL:U:1.0", "U", "1.0", l, UnionMembers({{"d", DefaultLabel(), l}}));
  int i = 0;
  for (const Kind& k : kinds) {
    SCOPED_TRACE(std::string(k.what) + " #" + std::to_string(i));
    std::string id = "IDL:V" + std::to_string(i++) + ":1.0";
    std::string name = "V" + std::to_string(i);
    // A union whose only member is the default fits any discriminator.
    CORBA::UnionMemberSeq members = UnionMembers({{"d", DefaultLabel(), l}});
    if (k.accepted) {
      CORBA::UnionDef_var v =
          repo_->create_union(id.c_str(), name.c_str(), "1.0", k.type, members);
      u->discriminator_type_def(k.type);
      CORBA::TypeCode_var d = u->discriminator_type();
      CORBA::TypeCode_var expected = k.type->type();
      EXPECT_TRUE(d->equal(expected));
    } else {
      EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
                   CORBA::UnionDef_var(repo_->create_union(
                       id.c_str(), name.c_str(), "1.0", k.type, members)));
      EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), u->discriminator_type_def(k.type));
    }
  }
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4),
               CORBA::UnionDef_var(repo_->create_union(
                   "IDL:W:1.0", "W", "1.0", ex_as_type,
                   UnionMembers({{"d", DefaultLabel(), l}}))));
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               u->discriminator_type_def(CORBA::IDLType::_nil()));
  // Only an enum discriminator is a use of a named type.
  u->discriminator_type_def(color);
  EXPECT_EQ(Users("IDL:Color:1.0"), (Ids{"IDL:U:1.0", "IDL:V12:1.0"}));
  u->discriminator_type_def(l);
  EXPECT_EQ(Users("IDL:Color:1.0"), Ids{"IDL:V12:1.0"});
}

TEST_F(UnionTest, LabelsAndTheOrbsRefusals) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::IDLType_var sh = Prim(CORBA::pk_short);
  CORBA::StructDef_var p = Struct("IDL:P:1.0", "P", l);
  CORBA::UnionDef_var u =
      repo_->create_union("IDL:U:1.0", "U", "1.0", l,
                          UnionMembers({{"a", AnyOf(CORBA::Long(1)), l},
                                        {"b", AnyOf(CORBA::Long(2)), sh},
                                        {"p", DefaultLabel(), p}}));
  CORBA::TypeCode_var tc = u->type();
  EXPECT_EQ(tc->member_count(), 3u);
  EXPECT_EQ(tc->default_index(), 2);
  EXPECT_EQ(Users("IDL:P:1.0"), Ids{"IDL:U:1.0"});
  // A label of another type than the discriminator.
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               CORBA::UnionDef_var(repo_->create_union(
                   "IDL:V:1.0", "V", "1.0", l,
                   UnionMembers({{"a", AnyOf(CORBA::Short(1)), l}}))));
  // Lists the ORB cannot make a TypeCode of fail with its exception, and
  // change nothing: duplicate labels, two defaults.
  EXPECT_THROW(CORBA::UnionDef_var(repo_->create_union(
                   "IDL:V:1.0", "V", "1.0", l,
                   UnionMembers({{"a", AnyOf(CORBA::Long(1)), l},
                                 {"b", AnyOf(CORBA::Long(1)), l}}))),
               CORBA::BAD_PARAM);
  EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup_id("IDL:V:1.0"))), "<nil>");
  EXPECT_THROW(u->members(UnionMembers(
                   {{"a", DefaultLabel(), l}, {"b", DefaultLabel(), p}})),
               CORBA::BAD_PARAM);
  CORBA::UnionMemberSeq_var m = u->members();
  EXPECT_EQ(m->length(), 3u);
  EXPECT_EQ(Users("IDL:P:1.0"), Ids{"IDL:U:1.0"});

  // Labels are stored as CDR Anys and come back as values.
  Reopen();
  CORBA::UnionDef_var again = Find<CORBA::UnionDef>("IDL:U:1.0");
  m = again->members();
  ASSERT_EQ(m->length(), 3u);
  CORBA::Long label = 0;
  EXPECT_TRUE(m[1].label >>= label);
  EXPECT_EQ(label, 2);
  CORBA::Octet def = 1;
  EXPECT_TRUE(m[2].label >>= CORBA::Any::to_octet(def));
  EXPECT_EQ(def, 0);
  CORBA::TypeCode_var after = again->type();
  EXPECT_TRUE(after->equal(tc));
  CORBA::UnionMemberSeq none;
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), again->members(none));
}

// --- exceptions
// ----------------------------------------------------------------

TEST_F(ExceptionTest, EmptyMembersAndTypeCode) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::ExceptionDef_var e =
      repo_->create_exception("IDL:E:1.0", "E", "1.0", StructMembers({}));
  CORBA::TypeCode_var tc = e->type();
  EXPECT_EQ(tc->kind(), CORBA::tk_except);
  EXPECT_EQ(tc->member_count(), 0u);
  e->members(StructMembers({{"code", l}}));
  tc = e->type();
  EXPECT_EQ(tc->member_count(), 1u);
  e->members(StructMembers({}));
  tc = e->type();
  EXPECT_EQ(tc->member_count(), 0u);
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               e->members(StructMembers({{"x", CORBA::IDLType::_nil()}})));
  // An exception is not a type of anything.
  CORBA::IDLType_var as_type = CORBA::IDLType::_unchecked_narrow(e);
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4),
               CORBA::AliasDef_var(
                   repo_->create_alias("IDL:A:1.0", "A", "1.0", as_type)));
  CORBA::StructDef_var s = Struct("IDL:S:1.0", "S", l);
  e->members(StructMembers({{"s", s}}));
  s->destroy();
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x52), e->members(StructMembers({})));
}

// --- container forwarding
// ---------------------------------------------------------

TEST_F(NamedTypeTest, NestedCreationFollowsEachContainerKind) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var s = Struct("IDL:S:1.0", "S", l);
  CORBA::UnionDef_var u = repo_->create_union(
      "IDL:U:1.0", "U", "1.0", l, UnionMembers({{"d", DefaultLabel(), l}}));
  CORBA::ExceptionDef_var e =
      repo_->create_exception("IDL:E:1.0", "E", "1.0", StructMembers({}));
  CORBA::Any one = AnyOf(CORBA::Long(1));
  CORBA::EnumMemberSeq en;
  en.length(1);
  en[0] = CORBA::string_dup("x");
  CORBA::InterfaceDefSeq no_bases;
  using Create =
      std::function<CORBA::Contained_ptr(CORBA::Container_ptr, std::string)>;
  struct Op {
    const char* what;
    Create create;
    bool in_struct_or_exception;  // union: always
  };
  std::vector<Op> ops = {
      {"struct",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_struct((p + "s:1.0").c_str(), "s", "1.0",
                                 StructMembers({{"x", l}}));
       },
       true},
      {"union",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_union((p + "u:1.0").c_str(), "u", "1.0", l,
                                UnionMembers({{"d", DefaultLabel(), l}}));
       },
       true},
      {"enum",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_enum((p + "e:1.0").c_str(), "e", "1.0", en);
       },
       true},
      {"constant",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_constant((p + "c:1.0").c_str(), "c", "1.0", l, one);
       },
       false},
      {"alias",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_alias((p + "a:1.0").c_str(), "a", "1.0", l);
       },
       false},
      {"exception",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_exception((p + "x:1.0").c_str(), "x", "1.0",
                                    StructMembers({}));
       },
       false},
      {"native",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_native((p + "n:1.0").c_str(), "n", "1.0");
       },
       false},
  };
  std::vector<Op> refused_everywhere = {
      {"module",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_module((p + "m:1.0").c_str(), "m", "1.0");
       },
       false},
      {"interface",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_interface((p + "i:1.0").c_str(), "i", "1.0",
                                    no_bases);
       },
       false},
      {"value box",
       [&](CORBA::Container_ptr c, std::string p) {
         return c->create_value_box((p + "b:1.0").c_str(), "b", "1.0", l);
       },
       false},
  };
  struct Owner {
    CORBA::Container_ptr c;
    const char* prefix;
    bool is_union;
  } owners[] = {{s.in(), "IDL:S/", false},
                {u.in(), "IDL:U/", true},
                {e.in(), "IDL:E/", false}};
  for (const Owner& o : owners) {
    for (const Op& op : ops) {
      SCOPED_TRACE(std::string(o.prefix) + " " + op.what);
      if (o.is_union || op.in_struct_or_exception) {
        CORBA::Contained_var made = op.create(o.c, o.prefix);
        CORBA::Container_var parent = made->defined_in();
        EXPECT_EQ(IdOf(parent), IdOf(o.c));
      } else {
        EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
                     CORBA::Contained_var(op.create(o.c, o.prefix)));
      }
    }
    for (const Op& op : refused_everywhere) {
      SCOPED_TRACE(std::string(o.prefix) + " " + op.what);
      EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
                   CORBA::Contained_var(op.create(o.c, o.prefix)));
    }
  }
  CORBA::ContainedSeq_var in_union = u->contents(CORBA::dk_all, false);
  EXPECT_EQ(in_union->length(), ops.size());
}

// --- enums
// ----------------------------------------------------------------------

TEST_F(EnumTest, MemberChecks) {
  auto list = [](std::vector<const char*> names) {
    CORBA::EnumMemberSeq seq;
    seq.length(static_cast<CORBA::ULong>(names.size()));
    for (CORBA::ULong i = 0; i < seq.length(); ++i)
      seq[i] = CORBA::string_dup(names[i]);
    return seq;
  };
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
      repo_->create_enum("IDL:E:1.0", "E", "1.0", list({"x", "y"}));
  int i = 0;
  for (const Check& c : checks) {
    SCOPED_TRACE("check " + std::to_string(i));
    std::string id = "IDL:F" + std::to_string(i) + ":1.0";
    std::string name = "F" + std::to_string(i++);
    if (c.accepted) {
      CORBA::EnumDef_var f =
          repo_->create_enum(id.c_str(), name.c_str(), "1.0", list(c.names));
      e->members(list(c.names));
      CORBA::TypeCode_var tc = e->type();
      EXPECT_EQ(tc->member_count(), c.names.size());
    } else {
      EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
                   CORBA::EnumDef_var(repo_->create_enum(
                       id.c_str(), name.c_str(), "1.0", list(c.names))));
      EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), e->members(list(c.names)));
    }
  }
  Reopen();
  CORBA::EnumDef_var again = Find<CORBA::EnumDef>("IDL:E:1.0");
  CORBA::EnumMemberSeq_var m = again->members();
  ASSERT_EQ(m->length(), 1u);
  EXPECT_STREQ(m[0].in(), "only");
  CORBA::TypeCode_var tc = again->type();
  EXPECT_STREQ(tc->member_name(0), "only");
}

// --- aliases and value boxes
// --------------------------------------------------------

TEST_F(AliasTest, OriginalTypeSetterAndLinks) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var a = Struct("IDL:A:1.0", "A", l);
  CORBA::AliasDef_var t = repo_->create_alias("IDL:T:1.0", "T", "1.0", a);
  CORBA::ValueBoxDef_var b =
      repo_->create_value_box("IDL:B:1.0", "B", "1.0", a);
  EXPECT_EQ(Users("IDL:A:1.0"), (Ids{"IDL:T:1.0", "IDL:B:1.0"}));
  CORBA::TypeCode_var btc = b->type();
  EXPECT_EQ(btc->kind(), CORBA::tk_value_box);
  CORBA::SequenceDef_var seq_l = repo_->create_sequence(3, l);
  t->original_type_def(seq_l);
  b->original_type_def(t);
  EXPECT_EQ(Users("IDL:A:1.0"), Ids{});
  EXPECT_EQ(Users("IDL:T:1.0"), Ids{"IDL:B:1.0"});
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var module_as_type = CORBA::IDLType::_unchecked_narrow(m);
  for (CORBA::IDLType_ptr bad : {CORBA::IDLType::_nil(), module_as_type.in()}) {
    EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), t->original_type_def(bad));
    EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), b->original_type_def(bad));
  }
  Reopen();
  CORBA::AliasDef_var t2 = Find<CORBA::AliasDef>("IDL:T:1.0");
  CORBA::TypeCode_var tc = t2->type();
  EXPECT_EQ(tc->kind(), CORBA::tk_alias);
  CORBA::TypeCode_var content = tc->content_type();
  EXPECT_EQ(content->kind(), CORBA::tk_sequence);
  EXPECT_EQ(content->length(), 3u);
  CORBA::ValueBoxDef_var b2 = Find<CORBA::ValueBoxDef>("IDL:B:1.0");
  CORBA::IDLType_var o = b2->original_type_def();
  EXPECT_EQ(IdOf(o), "IDL:T:1.0");
  // Value boxes refuse a non-type with the create operation's own text,
  // aliases with BAD_PARAM minor 4, both before the name length.
  CORBA::ExceptionDef_var ex =
      repo_->create_exception("IDL:X:1.0", "X", "1.0", StructMembers({}));
  CORBA::IDLType_var ex_as_type = CORBA::IDLType::_unchecked_narrow(ex);
  std::string long_name(300, 'n');
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4),
               CORBA::AliasDef_var(repo_->create_alias(
                   "IDL:Y:1.0", long_name.c_str(), "1.0", ex_as_type)));
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               CORBA::ValueBoxDef_var(repo_->create_value_box(
                   "IDL:Y:1.0", "Y", "1.0", ex_as_type)));
}

// union U switch (long) { case 1: long value; default: List next; }
// with typedef sequence<U> List inside U.
TEST_F(AliasTest, AliasInsideItsUnionClosesOntoIt) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::UnionDef_var s = repo_->create_union(
      "IDL:U:1.0", "U", "1.0", l, UnionMembers({{"value", DefaultLabel(), l}}));
  CORBA::SequenceDef_var seq_s = repo_->create_sequence(0, s);
  CORBA::AliasDef_var list =
      s->create_alias("IDL:U/List:1.0", "List", "1.0", l);
  list->original_type_def(seq_s);
  CORBA::TypeCode_var tc = list->type();
  CORBA::TypeCode_var seq_tc = tc->content_type();
  ASSERT_EQ(seq_tc->kind(), CORBA::tk_sequence);
  s->members(UnionMembers(
      {{"value", AnyOf(CORBA::Long(1)), l}, {"next", DefaultLabel(), list}}));
  CORBA::TypeCode_var stc = s->type();
  CORBA::TypeCode_var next = stc->member_type(1);
  CORBA::TypeCode_var next_seq = next->content_type();
  CORBA::TypeCode_var element = next_seq->content_type();
  EXPECT_TRUE(element->equal(stc));
}

// --- natives
// -----------------------------------------------------------------------

TEST_F(NativeTest, NoTypeCodeAndModuleStrings) {
  CORBA::NativeDef_var n = repo_->create_native("IDL:N:1.0", "N", "1.0");
  EXPECT_EQ(n->def_kind(), CORBA::dk_Native);
  CORBA::TypeCode_var tc = n->type();
  EXPECT_TRUE(CORBA::is_nil(tc));
  CORBA::Contained::Description_var d = n->describe();
  const CORBA::TypeDescription* td = nullptr;
  ASSERT_TRUE(d->value >>= td);
  EXPECT_STREQ(td->name.in(), "N");
  EXPECT_EQ(td->type->kind(), CORBA::tk_void);
  std::string long_name(255, 'n');
  EXPECT_SYSEX(
      BAD_PARAM, IrMinor(0x48),
      CORBA::NativeDef_var(root_->create_native("IDL:O:1.0", nullptr, "1.0")));
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               CORBA::NativeDef_var(repo_->create_native(
                   "IDL:O:1.0", long_name.c_str(), "1.0")));
  Reopen();
  CORBA::NativeDef_var again = Find<CORBA::NativeDef>("IDL:N:1.0");
  ASSERT_FALSE(CORBA::is_nil(again));
  CORBA::Container::DescriptionSeq_var all =
      repo_->describe_contents(CORBA::dk_Native, false, -1);
  EXPECT_EQ(all->length(), 1u);
}

// --- constants
// --------------------------------------------------------------------

TEST_F(ConstantTest, TypeRules) {
  struct TypeCase {
    const char* what;
    CORBA::IDLType_ptr type;
    CORBA::Any value;
    bool create_ok;  // create_constant
    bool setter_ok;  // type_def(...)
  };
  CORBA::EnumMemberSeq en;
  en.length(1);
  en[0] = CORBA::string_dup("x");
  CORBA::EnumDef_var e = repo_->create_enum("IDL:E:1.0", "E", "1.0", en);
  CORBA::StringDef_var s4 = repo_->create_string(4);
  CORBA::WstringDef_var w4 = repo_->create_wstring(4);
  std::vector<CORBA::IDLType_var> keep;
  auto prim = [&](CORBA::PrimitiveKind k) {
    keep.emplace_back(Prim(k));
    return keep.back().in();
  };
  CORBA::Any bounded;
  bounded <<= CORBA::Any::from_string("abc", 4);
  CORBA::Any wbounded;
  wbounded <<= CORBA::Any::from_wstring(L"ab", 4);
  std::vector<TypeCase> cases = {
      {"short", prim(CORBA::pk_short), AnyOf(CORBA::Short(-3)), true, true},
      {"octet", prim(CORBA::pk_octet),
       [] {
         CORBA::Any a;
         a <<= CORBA::Any::from_octet(7);
         return a;
       }(),
       true, true},
      {"float", prim(CORBA::pk_float), AnyOf(CORBA::Float(1.5f)), true, true},
      {"string", prim(CORBA::pk_string), AnyOf("text"), true, true},
      {"wchar", prim(CORBA::pk_wchar),
       [] {
         CORBA::Any a;
         a <<= CORBA::Any::from_wchar(L'w');
         return a;
       }(),
       true, true},
      {"string<4>", s4.in(), bounded, true, true},
      {"wstring<4>", w4.in(), wbounded, true, false},
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
    std::string id = "IDL:K" + std::to_string(i) + ":1.0";
    std::string name = "K" + std::to_string(i++);
    if (t.create_ok) {
      CORBA::ConstantDef_var k = repo_->create_constant(
          id.c_str(), name.c_str(), "1.0", t.type, t.value);
      CORBA::Any_var v = k->value();
      CORBA::TypeCode_var vt = v->type();
      CORBA::TypeCode_var kt = k->type();
      EXPECT_TRUE(vt->equal(kt));
    } else {
      EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
                   CORBA::ConstantDef_var(repo_->create_constant(
                       id.c_str(), name.c_str(), "1.0", t.type, t.value)));
    }
    if (t.setter_ok) {
      c->type_def(t.type);
      CORBA::TypeCode_var ct = c->type();
      CORBA::TypeCode_var tt = t.type->type();
      EXPECT_TRUE(ct->equal(tt));
    } else {
      EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), c->type_def(t.type));
    }
  }
  // A value of another type than the constant's.
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48),
               CORBA::ConstantDef_var(repo_->create_constant(
                   "IDL:Z:1.0", "Z", "1.0", prim(CORBA::pk_short),
                   AnyOf(CORBA::Long(1)))));
  CORBA::ExceptionDef_var ex =
      repo_->create_exception("IDL:X:1.0", "X", "1.0", StructMembers({}));
  CORBA::IDLType_var ex_as_type = CORBA::IDLType::_unchecked_narrow(ex);
  EXPECT_SYSEX(
      BAD_PARAM, OmgMinor(4),
      CORBA::ConstantDef_var(repo_->create_constant(
          "IDL:Z:1.0", "Z", "1.0", ex_as_type, AnyOf(CORBA::Long(1)))));
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), c->type_def(CORBA::IDLType::_nil()));
}

TEST_F(ConstantTest, ValueRulesAndRoundTrip) {
  CORBA::IDLType_var sh = Prim(CORBA::pk_short);
  CORBA::IDLType_var d = Prim(CORBA::pk_double);
  CORBA::ConstantDef_var c = repo_->create_constant("IDL:C:1.0", "C", "1.0", sh,
                                                    AnyOf(CORBA::Short(-7)));
  EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), c->value(AnyOf(CORBA::Long(5))));
  CORBA::Any_var v = c->value();
  CORBA::Short got = 0;
  EXPECT_TRUE(v.in() >>= got);
  EXPECT_EQ(got, -7);
  // A new type keeps the old value, even when it no longer fits.
  c->type_def(d);
  v = c->value();
  EXPECT_TRUE(v.in() >>= got);
  EXPECT_EQ(got, -7);
  const CORBA::Double pi = 3.141592653589793;
  c->value(AnyOf(pi));
  CORBA::ConstantDef_var s = repo_->create_constant(
      "IDL:S:1.0", "S", "1.0", CORBA::IDLType_var(Prim(CORBA::pk_string)),
      AnyOf("caf\xc3\xa9 \x01"));
  Reopen();
  CORBA::ConstantDef_var again = Find<CORBA::ConstantDef>("IDL:C:1.0");
  v = again->value();
  CORBA::Double read = 0;
  ASSERT_TRUE(v.in() >>= read);
  EXPECT_EQ(read, pi);
  CORBA::TypeCode_var t = again->type();
  EXPECT_TRUE(t->equal(CORBA::_tc_double));
  CORBA::ConstantDef_var s2 = Find<CORBA::ConstantDef>("IDL:S:1.0");
  v = s2->value();
  const char* text = nullptr;
  ASSERT_TRUE(v.in() >>= text);
  EXPECT_STREQ(text, "caf\xc3\xa9 \x01");
}

// --- descriptions
// -------------------------------------------------------------------

TEST_F(DescribeTest, DefinedInAtTheTopAndInsideAModule) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  for (CORBA::Container_ptr c : {static_cast<CORBA::Container_ptr>(repo_.in()),
                                 static_cast<CORBA::Container_ptr>(m.in())}) {
    bool top = c == repo_.in();
    SCOPED_TRACE(top ? "top level" : "in module");
    std::string p = top ? "IDL:" : "IDL:M/";
    CORBA::AliasDef_var a =
        c->create_alias((p + "A:1.0").c_str(), "A", "1.0", l);
    CORBA::ExceptionDef_var e = c->create_exception(
        (p + "E:1.0").c_str(), "E", "1.0", StructMembers({{"code", l}}));
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

// --- changes of id
// ---------------------------------------------------------------------

TEST_F(NamedTypeTest, ChangeOfIdReachesEveryUser) {
  CORBA::IDLType_var l = Prim(CORBA::pk_long);
  CORBA::EnumMemberSeq en;
  en.length(1);
  en[0] = CORBA::string_dup("x");
  CORBA::EnumDef_var t = repo_->create_enum("IDL:T:1.0", "T", "1.0", en);
  CORBA::SequenceDef_var seq_t = repo_->create_sequence(0, t);
  CORBA::StructDef_var s = repo_->create_struct(
      "IDL:S:1.0", "S", "1.0", StructMembers({{"t", t}, {"ts", seq_t}}));
  CORBA::UnionDef_var u = repo_->create_union(
      "IDL:U:1.0", "U", "1.0", t, UnionMembers({{"d", DefaultLabel(), l}}));
  CORBA::ExceptionDef_var e = repo_->create_exception(
      "IDL:E:1.0", "E", "1.0", StructMembers({{"t", t}}));
  CORBA::AliasDef_var a = repo_->create_alias("IDL:A:1.0", "A", "1.0", seq_t);
  CORBA::ValueBoxDef_var b =
      repo_->create_value_box("IDL:B:1.0", "B", "1.0", t);

  t->id("IDL:T2:1.0");
  EXPECT_EQ(Users("IDL:T2:1.0"), (Ids{"IDL:S:1.0", "IDL:U:1.0", "IDL:E:1.0",
                                      "IDL:A:1.0", "IDL:B:1.0"}));
  Reopen();
  CORBA::StructMemberSeq_var sm =
      CORBA::StructDef_var(Find<CORBA::StructDef>("IDL:S:1.0"))->members();
  EXPECT_EQ(IdOf(sm[0].type_def), "IDL:T2:1.0");
  CORBA::SequenceDef_var seq = CORBA::SequenceDef::_narrow(sm[1].type_def);
  EXPECT_EQ(IdOf(CORBA::IDLType_var(seq->element_type_def())), "IDL:T2:1.0");
  EXPECT_EQ(IdOf(CORBA::IDLType_var(
                CORBA::UnionDef_var(Find<CORBA::UnionDef>("IDL:U:1.0"))
                    ->discriminator_type_def())),
            "IDL:T2:1.0");
  CORBA::StructMemberSeq_var em =
      CORBA::ExceptionDef_var(Find<CORBA::ExceptionDef>("IDL:E:1.0"))
          ->members();
  EXPECT_EQ(IdOf(em[0].type_def), "IDL:T2:1.0");
  EXPECT_EQ(IdOf(CORBA::IDLType_var(
                CORBA::ValueBoxDef_var(Find<CORBA::ValueBoxDef>("IDL:B:1.0"))
                    ->original_type_def())),
            "IDL:T2:1.0");

  // A definition that does not refer to the old id refuses the change.
  Servant_ref<CORBA_Contained_Impl> servant(irobj_get_from_cache("IDL:S:1.0"));
  ASSERT_NE(servant.in(), nullptr);
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x52),
               servant->changeID("IDL:Other:1.0", "IDL:New:1.0"));
  for (const char* id : {"IDL:U:1.0", "IDL:E:1.0", "IDL:A:1.0", "IDL:B:1.0"}) {
    SCOPED_TRACE(id);
    CORBA::Contained_var loaded = Find<CORBA::Contained>(id);
    Servant_ref<CORBA_Contained_Impl> other(irobj_get_from_cache(id));
    ASSERT_NE(other.in(), nullptr);
    EXPECT_SYSEX(INTF_REPOS, IrMinor(0x52),
                 other->changeID("IDL:Other:1.0", "IDL:New:1.0"));
  }
}

}  // namespace
