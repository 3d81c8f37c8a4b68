// Value types and their state members: the flag setters and the order of
// the modifiers, the rules on abstract bases and supported interfaces,
// inheritance as is_a sees it, initializers and their use links, state
// members (access, inherited names, use links), the descriptions, the
// stored records, and what a failing store leaves behind.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "failing_store.h"
#include "ir/reposito.h"
#include "ir_value_fixture.h"
#include "platform/encap_iiop.h"
#include "store/irdb.h"

namespace {

using Ids = std::vector<std::string>;

using ValueFlagTest = ValueTest;
using ValueBaseTest = ValueTest;
using InitializerTest = ValueTest;
using ValueMemberTest = ValueTest;
using DescribeValueTest = ValueTest;
using ValueRecordTest = ValueTest;

// --- flags -------------------------------------------------------------------

TEST_F(ValueFlagTest, ModifierFollowsTheFlagsCustomFirst) {
  struct Case {
    bool custom, abstract, truncatable;
    CORBA::ValueModifier modifier;
  } cases[] = {
      {false, false, false, CORBA::VM_NONE},
      {false, false, true, CORBA::VM_TRUNCATABLE},
      {false, true, false, CORBA::VM_ABSTRACT},
      {false, true, true, CORBA::VM_ABSTRACT},
      {true, false, false, CORBA::VM_CUSTOM},
      {true, false, true, CORBA::VM_CUSTOM},
      {true, true, false, CORBA::VM_CUSTOM},
      {true, true, true, CORBA::VM_CUSTOM},
  };
  // Through create_value, one value type per case, and through the
  // setters on one value type walking all cases.
  CORBA::ValueDef_var walker = Value("Walker");
  int i = 0;
  for (const Case& k : cases) {
    SCOPED_TRACE(i);
    ValueArgs a;
    a.custom = k.custom;
    a.abstract = k.abstract;
    a.truncatable = k.truncatable;
    CORBA::ValueDef_var v = Value("V" + std::to_string(i++), a);
    CORBA::TypeCode_var tc = v->type();
    EXPECT_EQ(tc->kind(), CORBA::tk_value);
    EXPECT_EQ(tc->type_modifier(), k.modifier);

    walker->is_custom(k.custom);
    walker->is_abstract(k.abstract);
    walker->is_truncatable(k.truncatable);
    EXPECT_EQ(walker->is_custom(), k.custom);
    EXPECT_EQ(walker->is_abstract(), k.abstract);
    EXPECT_EQ(walker->is_truncatable(), k.truncatable);
    tc = walker->type();
    EXPECT_EQ(tc->type_modifier(), k.modifier);
  }
  // The last case (all set) is what the record holds.
  walker = CORBA::ValueDef::_nil();
  Reopen();
  walker = Find("IDL:Walker:1.0");
  ASSERT_FALSE(CORBA::is_nil(walker));
  EXPECT_TRUE(walker->is_custom());
  EXPECT_TRUE(walker->is_abstract());
  EXPECT_TRUE(walker->is_truncatable());
  walker->is_custom(false);
  walker->is_abstract(false);
  Reopen();
  walker = Find("IDL:Walker:1.0");
  CORBA::TypeCode_var tc = walker->type();
  EXPECT_EQ(tc->type_modifier(), CORBA::VM_TRUNCATABLE);
}

// --- bases and supported interfaces ------------------------------------------

TEST_F(ValueBaseTest, CreateValueChecksItsListsInOrder) {
  ValueArgs abstract_args;
  abstract_args.abstract = true;
  CORBA::ValueDef_var abs = Value("A", abstract_args);
  CORBA::ValueDef_var concrete = Value("C");
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::InterfaceDef_var value_as_interface =
      CORBA::InterfaceDef::_unchecked_narrow(concrete);
  CORBA::ValueDef_var interface_as_value =
      CORBA::ValueDef::_unchecked_narrow(itf);
  std::string n255(255, 'n');
  const std::string prefix = "CORBA::Container::create_value::";

  struct Case {
    const char* what;
    std::function<void(ValueArgs&, std::string&)> change;
    const char* text;  // after the prefix
  };
  const Case cases[] = {
      {"name of 255, concrete abstract base",
       [&](ValueArgs& a, std::string& name) {
         name = n255;
         a.abstract_bases = {concrete.in()};
       },
       "name"},
      {"nil supported interface, concrete abstract base",
       [&](ValueArgs& a, std::string&) {
         a.supported = {CORBA::InterfaceDef::_nil()};
         a.abstract_bases = {concrete.in()};
       },
       "supported_interfaces"},
      {"a value type as supported interface",
       [&](ValueArgs& a, std::string&) { a.supported = {value_as_interface}; },
       "supported_interfaces"},
      {"concrete abstract base",
       [&](ValueArgs& a, std::string&) {
         a.abstract_bases = {abs.in(), concrete.in()};
       },
       "abstract_base_values"},
      {"nil abstract base",
       [&](ValueArgs& a, std::string&) {
         a.abstract_bases = {CORBA::ValueDef::_nil()};
       },
       "abstract_base_values"},
      {"an interface as abstract base",
       [&](ValueArgs& a, std::string&) {
         a.abstract_bases = {interface_as_value};
       },
       "abstract_base_values"},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.what);
    ValueArgs a;
    std::string name = "V";
    k.change(a, name);
    EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), prefix + k.text,
                  CORBA::ValueDef_var(Value(name, a)));
  }
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), prefix + "null_input",
                CORBA::ValueDef_var(repo_->create_value(
                    "IDL:V:1.0", nullptr, "1.0", false, false,
                    CORBA::ValueDef::_nil(), false, CORBA::ValueDefSeq(),
                    CORBA::InterfaceDefSeq(), CORBA::InitializerSeq())));
  // A base that is not a value type is not a type to refer to.
  ValueArgs bad_base;
  bad_base.base = interface_as_value;
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4),
               CORBA::ValueDef_var(Value("V", bad_base)));
  CORBA::Contained_var none = repo_->lookup_id("IDL:V:1.0");
  EXPECT_TRUE(CORBA::is_nil(none));

  // Names are free once more: the same name with sound lists works, and
  // a concrete or abstract base may be any value type.
  ValueArgs good;
  good.base = abs.in();
  good.abstract_bases = {abs.in()};
  good.supported = {itf.in()};
  CORBA::ValueDef_var v = Value("V", good);
  EXPECT_EQ(IdOf(CORBA::ValueDef_var(v->base_value())), "IDL:A:1.0");
}

TEST_F(ValueBaseTest, SettersRefuseWhatIsNotAbstractOrNotAnInterface) {
  ValueArgs abstract_args;
  abstract_args.abstract = true;
  CORBA::ValueDef_var a1 = Value("A1", abstract_args);
  CORBA::ValueDef_var a2 = Value("A2", abstract_args);
  CORBA::ValueDef_var concrete = Value("C");
  CORBA::InterfaceDef_var itf = Itf("I");
  ValueArgs args;
  args.abstract_bases = {a1.in()};
  args.supported = {itf.in()};
  CORBA::ValueDef_var v = Value("V", args);

  auto unchanged = [&](const char* when) {
    SCOPED_TRACE(when);
    CORBA::ValueDefSeq_var abstracts = v->abstract_base_values();
    EXPECT_EQ(IdsOf(abstracts.in()), (Ids{"IDL:A1:1.0"}));
    CORBA::InterfaceDefSeq_var supported = v->supported_interfaces();
    EXPECT_EQ(IdsOf(supported.in()), (Ids{"IDL:I:1.0"}));
    EXPECT_TRUE(v->is_a("IDL:A1:1.0"));
    EXPECT_TRUE(v->is_a("IDL:I:1.0"));
    EXPECT_FALSE(v->is_a("IDL:A2:1.0"));
  };

  CORBA::ValueDef_var itf_as_value = CORBA::ValueDef::_unchecked_narrow(itf);
  struct Case {
    const char* what;
    std::vector<CORBA::ValueDef_ptr> bases;
  } abstract_cases[] = {
      {"a concrete value type", {a2.in(), concrete.in()}},
      {"nil", {a2.in(), CORBA::ValueDef::_nil()}},
      {"an interface", {itf_as_value.in()}},
  };
  for (const Case& k : abstract_cases) {
    SCOPED_TRACE(k.what);
    CORBA::ValueDefSeq seq;
    seq.length(0);
    for (CORBA::ValueDef_ptr b : k.bases)
      Push(seq, CORBA::ValueDef::_duplicate(b));
    EXPECT_SYSEX(BAD_PARAM, OmgMinor(5), v->abstract_base_values(seq));
    unchanged(k.what);
  }

  CORBA::InterfaceDefSeq with_nil;
  Append(with_nil, itf);
  Append(with_nil, CORBA::InterfaceDef::_nil());
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(5), v->supported_interfaces(with_nil));
  unchanged("nil supported interface");
  CORBA::InterfaceDefSeq with_value;
  with_value.length(1);
  with_value[0] = CORBA::InterfaceDef::_unchecked_narrow(concrete);
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(5), v->supported_interfaces(with_value));
  unchanged("a value type as supported interface");

  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::ValueDef::base_value(...)",
                v->base_value(itf_as_value));

  Reopen();
  v = Find("IDL:V:1.0");
  unchanged("after reopen");
}

TEST_F(ValueBaseTest, IsAFollowsBasesAndSupportedInterfacesAtEveryLevel) {
  CORBA::InterfaceDef_var j = Itf("J");
  CORBA::InterfaceDef_var i = Itf("I", {j.in()});
  ValueArgs abstract_args;
  abstract_args.abstract = true;
  CORBA::ValueDef_var top = Value("Top", abstract_args);
  abstract_args.abstract_bases = {top.in()};
  CORBA::ValueDef_var abs = Value("A", abstract_args);
  CORBA::ValueDef_var grand = Value("G");
  ValueArgs base_args;
  base_args.base = grand.in();
  CORBA::ValueDef_var base = Value("B", base_args);
  CORBA::ValueDef_var other = Value("Other");
  ValueArgs args;
  args.base = base.in();
  args.abstract_bases = {abs.in()};
  args.supported = {i.in()};
  CORBA::ValueDef_var v = Value("V", args);

  const Ids inherited{"IDL:B:1.0", "IDL:G:1.0", "IDL:A:1.0",      "IDL:Top:1.0",
                      "IDL:I:1.0", "IDL:J:1.0", "IDL:Object:1.0", "IDL:V:1.0"};
  auto check = [&](const char* when, bool expected) {
    SCOPED_TRACE(when);
    for (const std::string& id : inherited)
      EXPECT_EQ(v->is_a(id.c_str()), id == "IDL:V:1.0" || expected) << id;
    EXPECT_FALSE(v->is_a("IDL:Other:1.0"));
    EXPECT_FALSE(v->is_a("IDL:Nowhere:1.0"));
  };
  check("created", true);
  EXPECT_EQ(Referrers(base, "derives"), (Ids{"IDL:V:1.0"}));
  EXPECT_EQ(Referrers(abs, "derives"), (Ids{"IDL:V:1.0"}));
  EXPECT_EQ(Referrers(i, "derives"), (Ids{"IDL:V:1.0"}));
  // A value type supporting I is not one of I's children.
  IRExt::InterfaceDef_var i_ext = IRExt::InterfaceDef::_narrow(i);
  CORBA::InterfaceDefSeq_var children = i_ext->ext_interface_children();
  EXPECT_EQ(children->length(), 0u);
  Reopen();
  v = Find("IDL:V:1.0");
  check("reopened", true);

  // Replacing the lists moves the links; nothing checks that the base is
  // concrete or is not this value type itself.
  v->base_value(CORBA::ValueDef::_nil());
  v->abstract_base_values(CORBA::ValueDefSeq());
  v->supported_interfaces(CORBA::InterfaceDefSeq());
  check("cleared", false);
  CORBA::Contained_var g = repo_->lookup_id("IDL:G:1.0");
  EXPECT_TRUE(Referrers(g, "derives").size() == 1);  // B only
  other = Find("IDL:Other:1.0");
  v->base_value(other);
  EXPECT_TRUE(v->is_a("IDL:Other:1.0"));
  v->base_value(v);
  EXPECT_EQ(IdOf(CORBA::ValueDef_var(v->base_value())), "IDL:V:1.0");
  CORBA::TypeCode_var tc = v->type();
  CORBA::TypeCode_var base_tc = tc->concrete_base_type();
  EXPECT_EQ(base_tc->kind(), CORBA::tk_null);
  Reopen();
  v = Find("IDL:V:1.0");
  EXPECT_EQ(IdOf(CORBA::ValueDef_var(v->base_value())), "IDL:V:1.0");
  EXPECT_FALSE(v->is_a("IDL:Other:1.0"));

  // A new id must be free; one that is reaches the derived value types.
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54), "CORBA::ValueDef::id(...)",
                other->id("IDL:G:1.0"));
  base = Find("IDL:B:1.0");
  grand = Find("IDL:G:1.0");
  grand->id("IDL:G2:1.0");
  EXPECT_EQ(IdOf(CORBA::ValueDef_var(base->base_value())), "IDL:G2:1.0");
  EXPECT_TRUE(base->is_a("IDL:G2:1.0"));
  Reopen();
  base = Find("IDL:B:1.0");
  EXPECT_EQ(IdOf(CORBA::ValueDef_var(base->base_value())), "IDL:G2:1.0");
}

// --- initializers ------------------------------------------------------------

TEST_F(InitializerTest, MembersKeepUseLinksToTheirNamedTypes) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var s =
      repo_->create_struct("IDL:S:1.0", "S", "1.0", Fields({{"x", l.in()}}));
  CORBA::StructDef_var t =
      repo_->create_struct("IDL:T:1.0", "T", "1.0", Fields({{"y", l.in()}}));
  CORBA::SequenceDef_var ts = repo_->create_sequence(0, t);
  CORBA::ModuleDef_var module = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var module_as_type = CORBA::IDLType::_unchecked_narrow(module);

  // A member type that is not a type makes create_value refuse.
  ValueArgs bad;
  Push(bad.initializers, Init("make", {{"s", s.in()}, {"m", module_as_type}}));
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4), CORBA::ValueDef_var(Value("V", bad)));
  EXPECT_TRUE(Referrers(s, "uses").empty());

  ValueArgs args;
  Push(args.initializers, Init("make", {{"s", s.in()}, {"n", l.in()}}));
  Push(args.initializers, Init("empty", {}));
  CORBA::ValueDef_var v = Value("V", args);
  EXPECT_EQ(Referrers(s, "uses"), (Ids{"IDL:V:1.0"}));

  auto check = [&](const char* when, const Ids& names, const Ids& types) {
    SCOPED_TRACE(when);
    CORBA::InitializerSeq_var inits = v->initializers();
    Ids got_names, got_types;
    for (CORBA::ULong i = 0; i < inits->length(); ++i) {
      got_names.push_back(inits[i].name.in());
      for (CORBA::ULong j = 0; j < inits[i].members.length(); ++j) {
        const CORBA::StructMember& m = inits[i].members[j];
        CORBA::TypeCode_var def_tc = m.type_def->type();
        EXPECT_TRUE(m.type->equal(def_tc)) << m.name.in();
        got_types.push_back(std::string(m.name.in()) + ":" +
                            std::to_string(m.type->kind()));
      }
    }
    EXPECT_EQ(got_names, names);
    EXPECT_EQ(got_types, types);
  };
  const std::string tk_struct = std::to_string(CORBA::tk_struct);
  check("created", {"make", "empty"},
        {"s:" + tk_struct, "n:" + std::to_string(CORBA::tk_long)});

  // Replacing them moves the links, through sequences too.
  CORBA::InitializerSeq next;
  next.length(0);
  Push(next, Init("from_list", {{"items", ts.in()}}));
  v->initializers(next);
  EXPECT_TRUE(Referrers(s, "uses").empty());
  EXPECT_EQ(Referrers(t, "uses"), (Ids{"IDL:V:1.0"}));
  const Ids after{"items:" + std::to_string(CORBA::tk_sequence)};
  check("replaced", {"from_list"}, after);

  // A refused list changes nothing, links included.
  CORBA::InitializerSeq wrong;
  wrong.length(0);
  Push(wrong, Init("ok", {{"s", s.in()}}));
  Push(wrong, Init("bad", {{"m", module_as_type}}));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::ValueDef::initializers(...)",
                v->initializers(wrong));
  check("refused", {"from_list"}, after);
  EXPECT_TRUE(Referrers(s, "uses").empty());
  EXPECT_EQ(Referrers(t, "uses"), (Ids{"IDL:V:1.0"}));

  // A new id of a member's type reaches the initializer.
  t->id("IDL:T2:1.0");
  auto element_id = [&] {
    CORBA::InitializerSeq_var inits = v->initializers();
    CORBA::IDLType_var type = inits[0].members[0].type_def;
    CORBA::SequenceDef_var seq = CORBA::SequenceDef::_narrow(type);
    CORBA::IDLType_var element = seq->element_type_def();
    return IdOf(CORBA::Contained_var(CORBA::Contained::_narrow(element)));
  };
  EXPECT_EQ(element_id(), "IDL:T2:1.0");
  module_as_type = CORBA::IDLType::_nil();
  Reopen();
  v = Find("IDL:V:1.0");
  check("reopened", {"from_list"}, after);
  EXPECT_EQ(element_id(), "IDL:T2:1.0");
}

// --- state members -----------------------------------------------------------

TEST_F(ValueMemberTest, CreationChecksItsArgumentsInOrder) {
  CORBA::ValueDef_var v = Value("V");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ModuleDef_var module = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var module_as_type = CORBA::IDLType::_unchecked_narrow(module);
  CORBA::ExceptionDef_var e = Exception("E");
  CORBA::IDLType_var exception_as_type = CORBA::IDLType::_unchecked_narrow(e);
  std::string n255(255, 'n');
  struct Case {
    const char* id;
    const char* name;
    const char* version;
    CORBA::IDLType_ptr type;
    const char* text;
  } cases[] = {
      {nullptr, "m", "1.0", l, "null_input"},
      {"IDL:V/m:1.0", nullptr, "1.0", l, "null_input"},
      {"IDL:V/m:1.0", "m", nullptr, l, "null_input"},
      {"IDL:V/m:1.0", n255.c_str(), "1.0", CORBA::IDLType::_nil(),
       "null_input"},
      {"IDL:V/m:1.0", n255.c_str(), "1.0", module_as_type, "name"},
      {"IDL:V/m:1.0", "m", "1.0", module_as_type, "type"},
      {"IDL:V/m:1.0", "m", "1.0", exception_as_type, "type"},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.text);
    EXPECT_REPORT(
        BAD_PARAM, IrMinor(0x48),
        std::string("CORBA::ValueDef::create_value_member::") + k.text,
        CORBA::ValueMemberDef_var(v->create_value_member(
            k.id, k.name, k.version, k.type, CORBA::PUBLIC_MEMBER)));
  }
  CORBA::ContainedSeq_var contents = v->contents(CORBA::dk_all, false);
  EXPECT_EQ(contents->length(), 0u);
  // A name of 254 characters is the longest.
  std::string n254(254, 'n');
  CORBA::ValueMemberDef_var(Member(v, n254, l));
}

TEST_F(ValueMemberTest, AccessIsCheckedButOnlyKeptInTheServant) {
  CORBA::ValueDef_var v = Value("V");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::PrimitiveDef_var s = Prim(CORBA::pk_string);
  CORBA::ValueMemberDef_var m = Member(v, "m", l, CORBA::PRIVATE_MEMBER);
  // Creation takes any access as it is.
  CORBA::ValueMemberDef_var odd = Member(v, "odd", l, 7);
  CORBA::ValueMemberDef_var neg = Member(v, "neg", l, -2);

  for (CORBA::Visibility bad : {2, -1, 7}) {
    SCOPED_TRACE(bad);
    EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                  "CORBA::ValueMemeberDef::access(...)", m->access(bad));
    EXPECT_EQ(m->access(), CORBA::PRIVATE_MEMBER);
  }
  // The current value again does nothing, even out of range.
  odd->access(7);
  EXPECT_EQ(odd->access(), 7);

  m->access(CORBA::PUBLIC_MEMBER);
  EXPECT_EQ(m->access(), CORBA::PUBLIC_MEMBER);
  Reopen();
  CORBA::Contained_var c = repo_->lookup("::V::m");
  m = CORBA::ValueMemberDef::_narrow(c);
  ASSERT_FALSE(CORBA::is_nil(m));
  EXPECT_EQ(m->access(), CORBA::PRIVATE_MEMBER) << "access was written";
  c = repo_->lookup("::V::odd");
  EXPECT_EQ(
      CORBA::ValueMemberDef_var(CORBA::ValueMemberDef::_narrow(c))->access(),
      7);
  c = repo_->lookup("::V::neg");
  EXPECT_EQ(
      CORBA::ValueMemberDef_var(CORBA::ValueMemberDef::_narrow(c))->access(),
      -2);

  // Another change writes the access along.
  m->access(CORBA::PUBLIC_MEMBER);
  m->type_def(s);
  Reopen();
  c = repo_->lookup("::V::m");
  m = CORBA::ValueMemberDef::_narrow(c);
  EXPECT_EQ(m->access(), CORBA::PUBLIC_MEMBER);
  CORBA::TypeCode_var tc = m->type();
  EXPECT_TRUE(tc->equal(CORBA::_tc_string));
}

TEST_F(ValueMemberTest, InheritedNamesAreRefusedEvenInAUserTransaction) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::OperationDef_var(VoidOp(itf, "from_interface"));
  ValueArgs abstract_args;
  abstract_args.abstract = true;
  CORBA::ValueDef_var abs = Value("A", abstract_args);
  CORBA::AttributeDef_var(ValueAttr(abs, "from_abstract", l));
  CORBA::ValueDef_var grand = Value("G");
  CORBA::OperationDef_var(ValueOp(grand, "from_grand", l));
  ValueArgs base_args;
  base_args.base = grand.in();
  CORBA::ValueDef_var base = Value("B", base_args);
  CORBA::AttributeDef_var(ValueAttr(base, "from_base", l));
  CORBA::ValueMemberDef_var(Member(base, "base_member", l));
  ValueArgs args;
  args.base = base.in();
  args.abstract_bases = {abs.in()};
  args.supported = {itf.in()};
  CORBA::ValueDef_var v = Value("V", args);
  CORBA::ValueMemberDef_var(Member(v, "own", l));

  const char* const inherited[] = {"from_interface", "from_abstract",
                                   "from_grand", "from_base"};
  for (bool transaction : {false, true}) {
    SCOPED_TRACE(transaction ? "in a user transaction" : "outside");
    if (transaction) ext_->ext_beginUserTransaction();
    for (const char* name : inherited) {
      SCOPED_TRACE(name);
      EXPECT_SYSEX(BAD_PARAM, OmgMinor(2),
                   CORBA::ValueMemberDef_var(Member(v, name, l)));
    }
    if (transaction) ext_->ext_endUserTransaction();
  }
  // A name used in the value type itself is refused outside a user
  // transaction only.
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(3),
               CORBA::ValueMemberDef_var(v->create_value_member(
                   "IDL:V/own2:1.0", "own", "1.0", l, CORBA::PUBLIC_MEMBER)));
  ext_->ext_beginUserTransaction();
  CORBA::ValueMemberDef_var(v->create_value_member(
      "IDL:V/own2:1.0", "own", "1.0", l, CORBA::PUBLIC_MEMBER));
  ext_->ext_endUserTransaction();
  // The search for inherited names looks for value types, operations and
  // attributes: an inherited state member's name is free.
  CORBA::ValueMemberDef_var shadow = Member(v, "base_member", l);
  EXPECT_FALSE(CORBA::is_nil(shadow));

  // Attributes and operations of a value type meet the same inherited
  // names, with the reports of their kind, but not inside a transaction.
  EXPECT_REPORT(BAD_PARAM, OmgMinor(2), "CORBA::ValueDef::create_attribute",
                CORBA::AttributeDef_var(ValueAttr(v, "from_grand", l)));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54),
                "CORBA::ValueDef::create_operation::name",
                CORBA::OperationDef_var(ValueOp(v, "from_abstract", l)));
  ext_->ext_beginUserTransaction();
  CORBA::AttributeDef_var(ValueAttr(v, "from_grand", l));
  ext_->ext_endUserTransaction();
}

TEST_F(ValueMemberTest, TypesKeepUseLinksAndFollowChangesOfId) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var s =
      repo_->create_struct("IDL:S:1.0", "S", "1.0", Fields({{"x", l.in()}}));
  CORBA::StructDef_var t =
      repo_->create_struct("IDL:T:1.0", "T", "1.0", Fields({{"y", l.in()}}));
  CORBA::SequenceDef_var ss = repo_->create_sequence(0, s);
  CORBA::ValueDef_var v = Value("V");
  CORBA::ValueMemberDef_var m = Member(v, "m", ss);
  EXPECT_EQ(Referrers(s, "uses"), (Ids{"IDL:V/m:1.0"}));
  m->type_def(t);
  EXPECT_TRUE(Referrers(s, "uses").empty());
  EXPECT_EQ(Referrers(t, "uses"), (Ids{"IDL:V/m:1.0"}));
  CORBA::ModuleDef_var module = repo_->create_module("IDL:M:1.0", "M", "1.0");
  EXPECT_REPORT(
      BAD_PARAM, IrMinor(0x48), "CORBA::ValueMemberDef::type_def(...)",
      m->type_def(
          CORBA::IDLType_var(CORBA::IDLType::_unchecked_narrow(module))));
  CORBA::IDLType_var held = m->type_def();
  EXPECT_EQ(IdOf(CORBA::Contained_var(CORBA::Contained::_narrow(held))),
            "IDL:T:1.0");

  t->id("IDL:T2:1.0");
  CORBA::IDLType_var now = m->type_def();
  EXPECT_EQ(IdOf(CORBA::Contained_var(CORBA::Contained::_narrow(now))),
            "IDL:T2:1.0");
  Reopen();
  CORBA::Contained_var c = repo_->lookup("::V::m");
  m = CORBA::ValueMemberDef::_narrow(c);
  now = m->type_def();
  EXPECT_EQ(IdOf(CORBA::Contained_var(CORBA::Contained::_narrow(now))),
            "IDL:T2:1.0");
  CORBA::TypeCode_var tc = m->type();
  EXPECT_STREQ(tc->id(), "IDL:T2:1.0");
}

// --- descriptions ------------------------------------------------------------

TEST_F(DescribeValueTest, OwnMembersOnlyWithEveryListAndFlag) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::PrimitiveDef_var d = Prim(CORBA::pk_double);
  CORBA::ModuleDef_var module = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::InterfaceDef_var itf = Itf("I");
  ValueArgs abstract_args;
  abstract_args.abstract = true;
  CORBA::ValueDef_var abs = Value("A", abstract_args);
  CORBA::ValueDef_var base = Value("B");
  CORBA::OperationDef_var(ValueOp(base, "inherited_op", l));
  CORBA::ValueMemberDef_var(Member(base, "inherited_member", l));
  ValueArgs args;
  args.truncatable = true;
  args.base = base.in();
  args.abstract_bases = {abs.in()};
  args.supported = {itf.in()};
  Push(args.initializers, Init("make", {{"x", l.in()}}));
  CORBA::ValueDef_var v = Value("V", args, module);
  CORBA::OperationDef_var(ValueOp(v, "op", l));
  CORBA::AttributeDef_var(ValueAttr(v, "attr", d));
  CORBA::ValueMemberDef_var(Member(v, "pub", l, CORBA::PUBLIC_MEMBER));
  CORBA::ValueMemberDef_var(Member(v, "priv", d, CORBA::PRIVATE_MEMBER));

  auto check = [&](const char* when) {
    SCOPED_TRACE(when);
    CORBA::ValueDef::FullValueDescription_var full = v->describe_value();
    EXPECT_STREQ(full->name.in(), "V");
    EXPECT_STREQ(full->id.in(), "IDL:V:1.0");
    EXPECT_STREQ(full->defined_in.in(), "IDL:M:1.0");
    EXPECT_STREQ(full->version.in(), "1.0");
    EXPECT_FALSE(full->is_abstract);
    EXPECT_FALSE(full->is_custom);
    EXPECT_TRUE(full->is_truncatable);
    EXPECT_STREQ(full->base_value.in(), "IDL:B:1.0");
    EXPECT_EQ(IdsOf(full->abstract_base_values), (Ids{"IDL:A:1.0"}));
    EXPECT_EQ(IdsOf(full->supported_interfaces), (Ids{"IDL:I:1.0"}));
    EXPECT_EQ(NamesOf(full->operations), (Ids{"op"}));
    EXPECT_EQ(NamesOf(full->attributes), (Ids{"attr"}));
    ASSERT_EQ(NamesOf(full->members), (Ids{"pub", "priv"}));
    EXPECT_EQ(full->members[0].access, CORBA::PUBLIC_MEMBER);
    EXPECT_EQ(full->members[1].access, CORBA::PRIVATE_MEMBER);
    EXPECT_STREQ(full->members[1].defined_in.in(), "IDL:V:1.0");
    EXPECT_STREQ(full->members[1].id.in(), "IDL:V/priv:1.0");
    EXPECT_TRUE(full->members[1].type->equal(CORBA::_tc_double));
    EXPECT_EQ(full->members[0].type_def->def_kind(), CORBA::dk_Primitive);
    ASSERT_EQ(full->initializers.length(), 1u);
    EXPECT_STREQ(full->initializers[0].name.in(), "make");
    EXPECT_EQ(full->initializers[0].members.length(), 1u);
    CORBA::TypeCode_var tc = v->type();
    EXPECT_TRUE(full->type->equal(tc));
    EXPECT_EQ(full->type->type_modifier(), CORBA::VM_TRUNCATABLE);

    CORBA::Contained::Description_var desc = v->describe();
    EXPECT_EQ(desc->kind, CORBA::dk_Value);
    const CORBA::ValueDescription* vd = nullptr;
    ASSERT_TRUE(desc->value >>= vd);
    EXPECT_STREQ(vd->name.in(), "V");
    EXPECT_STREQ(vd->defined_in.in(), "IDL:M:1.0");
    EXPECT_STREQ(vd->base_value.in(), "IDL:B:1.0");
    EXPECT_TRUE(vd->is_truncatable);
    EXPECT_FALSE(vd->is_abstract);
    EXPECT_EQ(IdsOf(vd->abstract_base_values), (Ids{"IDL:A:1.0"}));
    EXPECT_EQ(IdsOf(vd->supported_interfaces), (Ids{"IDL:I:1.0"}));

    // The contents list inherited members unless they are excluded.
    CORBA::ContainedSeq_var own = v->contents(CORBA::dk_all, true);
    EXPECT_EQ(IdsOf(own.in()), (Ids{"IDL:V/op:1.0", "IDL:V/attr:1.0",
                                    "IDL:V/pub:1.0", "IDL:V/priv:1.0"}));
    CORBA::ContainedSeq_var members = v->contents(CORBA::dk_ValueMember, false);
    EXPECT_EQ(members->length(), 3u);
  };
  check("live");
  Reopen();
  v = Find("IDL:V:1.0");
  check("reopened");

  // A value type at the top with no base describes both as "".
  CORBA::Contained::Description_var desc = base->describe();
  const CORBA::ValueDescription* vd = nullptr;
  ASSERT_TRUE(desc->value >>= vd);
  EXPECT_STREQ(vd->defined_in.in(), "");
  EXPECT_STREQ(vd->base_value.in(), "");
  CORBA::Contained_var c = repo_->lookup("::M::V::pub");
  CORBA::Contained::Description_var md = c->describe();
  EXPECT_EQ(md->kind, CORBA::dk_ValueMember);
  const CORBA::ValueMember* vm = nullptr;
  ASSERT_TRUE(md->value >>= vm);
  EXPECT_STREQ(vm->name.in(), "pub");
  EXPECT_STREQ(vm->defined_in.in(), "IDL:V:1.0");
  EXPECT_EQ(vm->access, CORBA::PUBLIC_MEMBER);
  EXPECT_TRUE(vm->type->equal(CORBA::_tc_long));
}

TEST_F(DescribeValueTest, HoldsNestedTypesButNoModulesInterfacesOrValues) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ValueDef_var v = Value("V");
  // Nested types are definitions of the value type's scope.
  CORBA::StructDef_var s =
      v->create_struct("IDL:V/S:1.0", "S", "1.0", Fields({{"x", l.in()}}));
  CORBA::AliasDef_var a = v->create_alias("IDL:V/A:1.0", "A", "1.0", l);
  CORBA::Any one;
  one <<= CORBA::Long(1);
  CORBA::ConstantDef_var k =
      v->create_constant("IDL:V/K:1.0", "K", "1.0", l, one);
  CORBA::Contained_var found = repo_->lookup("::V::S");
  EXPECT_EQ(IdOf(found), "IDL:V/S:1.0");
  // A state member may have a type nested in its value type.
  CORBA::ValueMemberDef_var(Member(v, "s", s));
  CORBA::TypeCode_var tc = v->type();
  CORBA::TypeCode_var member = tc->member_type(0);
  EXPECT_STREQ(member->id(), "IDL:V/S:1.0");

  EXPECT_SYSEX(
      NO_IMPLEMENT, IrMinor(0x34),
      CORBA::ModuleDef_var(v->create_module("IDL:V/M:1.0", "M", "1.0")));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::InterfaceDef_var(v->create_interface(
                   "IDL:V/I:1.0", "I", "1.0", CORBA::InterfaceDefSeq())));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::ValueDef_var(v->create_value(
                   "IDL:V/W:1.0", "W", "1.0", false, false,
                   CORBA::ValueDef::_nil(), false, CORBA::ValueDefSeq(),
                   CORBA::InterfaceDefSeq(), CORBA::InitializerSeq())));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::ValueBoxDef_var(
                   v->create_value_box("IDL:V/B:1.0", "B", "1.0", l)));
  // Interfaces hold no value types either.
  CORBA::InterfaceDef_var itf = Itf("I");
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::ValueDef_var(itf->create_value(
                   "IDL:I/W:1.0", "W", "1.0", false, false,
                   CORBA::ValueDef::_nil(), false, CORBA::ValueDefSeq(),
                   CORBA::InterfaceDefSeq(), CORBA::InitializerSeq())));
  CORBA::ContainedSeq_var contents = v->contents(CORBA::dk_all, true);
  EXPECT_EQ(contents->length(), 4u);
}

// --- records -----------------------------------------------------------------

TEST_F(ValueRecordTest, FieldsInTheirOrderWithOneFalseBooleanForNoBase) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::InterfaceDef_var itf = Itf("I");
  ValueArgs abstract_args;
  abstract_args.abstract = true;
  CORBA::ValueDef_var abs = Value("A", abstract_args);
  ValueArgs args;
  args.custom = true;
  args.abstract_bases = {abs.in()};
  args.supported = {itf.in()};
  Push(args.initializers, Init("make", {{"x", l.in()}}));
  CORBA::ValueDef_var v = Value("V", args);
  ValueArgs derived_args;
  derived_args.base = v.in();
  CORBA::ValueDef_var w = Value("W", derived_args);
  CORBA::ValueMemberDef_var(Member(v, "m", l, -2));

  auto body = [&](const char* id) {
    StoreRecord rec;
    EXPECT_TRUE(root_->get_irs()->IRReadRecord(id, rec));
    return std::make_unique<EncapIIOP>(rec.body);
  };
  auto string_of = [](Encapsulation& e) {
    CORBA::String_var s = e.get_string();
    return std::string(s.in());
  };

  std::unique_ptr<EncapIIOP> e = body("IDL:V:1.0");
  EXPECT_EQ(string_of(*e), "1.0");
  EXPECT_TRUE(e->get_boolean());   // custom
  EXPECT_FALSE(e->get_boolean());  // abstract
  EXPECT_FALSE(e->get_boolean());  // truncatable
  EXPECT_FALSE(e->get_boolean());  // no base, and nothing for it
  EXPECT_EQ(e->get_ulong(), 1u);   // abstract bases
  EXPECT_EQ(e->get_ulong(), static_cast<CORBA::ULong>(CORBA::dk_Value));
  EXPECT_EQ(string_of(*e), "IDL:A:1.0");
  EXPECT_EQ(e->get_ulong(), 1u);  // supported interfaces
  EXPECT_EQ(e->get_ulong(), static_cast<CORBA::ULong>(CORBA::dk_Interface));
  EXPECT_EQ(string_of(*e), "IDL:I:1.0");
  EXPECT_EQ(e->get_ulong(), 1u);  // initializers
  EXPECT_EQ(e->get_ulong(), 1u);  // its members
  EXPECT_EQ(string_of(*e), "x");
  EXPECT_EQ(e->get_ulong(), static_cast<CORBA::ULong>(CORBA::dk_Primitive));
  EXPECT_EQ(e->get_ulong(), static_cast<CORBA::ULong>(CORBA::pk_long));
  EXPECT_EQ(string_of(*e), "make");
  EXPECT_THROW(e->get_ulong(), CORBA::MARSHAL) << "the record goes on";

  e = body("IDL:W:1.0");
  string_of(*e);
  e->get_boolean();
  e->get_boolean();
  e->get_boolean();
  EXPECT_TRUE(e->get_boolean());
  EXPECT_EQ(e->get_ulong(), static_cast<CORBA::ULong>(CORBA::dk_Value));
  EXPECT_EQ(string_of(*e), "IDL:V:1.0");
  EXPECT_EQ(e->get_ulong(), 0u);
  EXPECT_EQ(e->get_ulong(), 0u);
  EXPECT_EQ(e->get_ulong(), 0u);

  // A state member: its type first, then the access sign-extended.
  e = body("IDL:V/m:1.0");
  string_of(*e);
  EXPECT_EQ(e->get_ulong(), static_cast<CORBA::ULong>(CORBA::dk_Primitive));
  EXPECT_EQ(e->get_ulong(), static_cast<CORBA::ULong>(CORBA::pk_long));
  EXPECT_EQ(e->get_ulong(), 0xfffffffeu);
}

// --- a failing store ---------------------------------------------------------

// The repository's store, wrapped by a FailingStore that it owns.
class OwnedStore {
 protected:
  explicit OwnedStore(std::unique_ptr<IRStore> inner)
      : owned_(std::move(inner)) {}
  std::unique_ptr<IRStore> owned_;
};

class FailingValueStore : private OwnedStore, public FailingStore {
 public:
  explicit FailingValueStore(const char* database)
      : OwnedStore(std::make_unique<IRDB>(database)), FailingStore(*owned_) {}
};

class ValueStoreFaultTest : public ValueTest {
 protected:
  void SetUp() override {
    saved_opener_ = CORBA_Repository_Impl::store_opener;
    CORBA_Repository_Impl::store_opener = [this](const char* database) {
      auto store = std::make_unique<FailingValueStore>(database);
      store_ = store.get();
      return std::unique_ptr<IRStore>(std::move(store));
    };
    ValueTest::SetUp();
  }
  void TearDown() override {
    ValueTest::TearDown();
    CORBA_Repository_Impl::store_opener = saved_opener_;
  }

  // Runs `change` with the n-th store change failing, for n = 1, 2, ...
  // until it succeeds; each failure must be PERSIST_STORE and leave what
  // `state` reports unchanged.  Returns the number of changes made.
  int FailEachChangeInTurn(const std::function<void()>& change,
                           const std::function<std::string()>& state) {
    std::string before = state();
    for (int n = 1; n < 50; ++n) {
      store_->fail_at(n);
      try {
        change();
        store_->disarm();
        return n - 1;
      } catch (const CORBA::PERSIST_STORE& e) {
        EXPECT_EQ(e.minor(), IrMinor(0x56)) << "change " << n;
      }
      store_->disarm();
      EXPECT_EQ(state(), before) << "after failing change " << n;
    }
    ADD_FAILURE() << "never succeeded";
    return -1;
  }

  FailingValueStore* store_ = nullptr;
  std::function<std::unique_ptr<IRStore>(const char*)> saved_opener_;
};

TEST_F(ValueStoreFaultTest, FailedChangesLeaveNothingBehind) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var s =
      repo_->create_struct("IDL:S:1.0", "S", "1.0", Fields({{"x", l.in()}}));
  CORBA::InterfaceDef_var itf = Itf("I");
  ValueArgs abstract_args;
  abstract_args.abstract = true;
  CORBA::ValueDef_var abs = Value("A", abstract_args);
  CORBA::ValueDef_var base = Value("B");
  // What a client can see of the value type V and of its links.
  auto state = [&]() {
    std::string out;
    CORBA::ValueDef_var v = Find("IDL:V:1.0");
    if (CORBA::is_nil(v)) return std::string("no V");
    for (const char* id : {"IDL:A:1.0", "IDL:B:1.0", "IDL:I:1.0"})
      out += v->is_a(id) ? std::string(id) + " " : "";
    for (const std::string& id : Referrers(s, "all")) out += "user " + id + " ";
    CORBA::ValueDef::FullValueDescription_var full = v->describe_value();
    for (const std::string& n : NamesOf(full->members))
      out += "member " + n + " ";
    out += "inits " + std::to_string(full->initializers.length());
    out += full->is_custom ? " custom" : "";
    CORBA::TypeCode_var tc = v->type();
    out += " tc members " + std::to_string(tc->member_count());
    out += " modifier " + std::to_string(tc->type_modifier());
    return out;
  };
  ValueArgs args;
  args.base = base.in();
  args.abstract_bases = {abs.in()};
  args.supported = {itf.in()};
  Push(args.initializers, Init("make", {{"s", s.in()}}));
  int changes = FailEachChangeInTurn(
      [&] { CORBA::ValueDef_var(Value("V", args)); }, state);
  EXPECT_GE(changes, 5);  // record, three inheritance links, one use link

  CORBA::ValueDef_var v = Find("IDL:V:1.0");
  FailEachChangeInTurn([&] { CORBA::ValueMemberDef_var(Member(v, "m", s)); },
                       state);
  FailEachChangeInTurn([&] { v->is_custom(true); }, state);
  FailEachChangeInTurn([&] { v->base_value(CORBA::ValueDef::_nil()); }, state);
  FailEachChangeInTurn(
      [&] { v->supported_interfaces(CORBA::InterfaceDefSeq()); }, state);
  FailEachChangeInTurn([&] { v->initializers(CORBA::InitializerSeq()); },
                       state);
  CORBA::Contained_var c = repo_->lookup("::V::m");
  CORBA::ValueMemberDef_var m = CORBA::ValueMemberDef::_narrow(c);
  FailEachChangeInTurn([&] { m->type_def(l); }, state);

  // Unchanged flags and access write nothing.
  store_->fail_at(1);
  v->is_custom(true);
  v->is_abstract(false);
  v->is_truncatable(false);
  m->access(CORBA::PUBLIC_MEMBER);
  m->access(CORBA::PRIVATE_MEMBER);  // kept in the servant only
  EXPECT_TRUE(store_->armed());
  store_->disarm();
}

}  // namespace
