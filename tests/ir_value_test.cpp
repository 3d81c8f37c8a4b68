// Value types and their state members: the flag setters and the order of
// the modifiers, the rules on abstract bases and supported interfaces,
// inheritance as is_a sees it, initializers and their use links, state
// members (access, inherited names, use links), the descriptions, the
// stored records, and what a failing store leaves behind.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "ir_fixture.h"
#include "platform/encap_iiop.h"

namespace {

using ValueTest = IrTest;

ValueArgs AbstractArgs(std::vector<CORBA::ValueDef_ptr> bases = {}) {
  ValueArgs a;
  a.abstract = true;
  a.abstract_bases = std::move(bases);
  return a;
}

// --- flags -------------------------------------------------------------------

TEST_F(ValueTest, ModifierFollowsTheFlagsCustomFirst) {
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
  Reopen();
  walker = Find<CORBA::ValueDef>("IDL:Walker:1.0");
  EXPECT_TRUE(walker->is_custom() && walker->is_abstract() &&
              walker->is_truncatable());
  walker->is_custom(false);
  walker->is_abstract(false);
  Reopen();
  walker = Find<CORBA::ValueDef>("IDL:Walker:1.0");
  EXPECT_EQ(TypeOf(walker)->type_modifier(), CORBA::VM_TRUNCATABLE);
}

// --- bases and supported interfaces ------------------------------------------

TEST_F(ValueTest, CreateValueChecksItsListsInOrder) {
  CORBA::ValueDef_var abs = Value("A", AbstractArgs());
  CORBA::ValueDef_var concrete = Value("C");
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::InterfaceDef_var value_as_interface =
      CORBA::InterfaceDef::_unchecked_narrow(concrete);
  CORBA::ValueDef_var interface_as_value =
      CORBA::ValueDef::_unchecked_narrow(itf);
  const CORBA::InterfaceDef_ptr nil_itf = CORBA::InterfaceDef::_nil();
  const CORBA::ValueDef_ptr nil_value = CORBA::ValueDef::_nil();
  const char *kSupported = "supported_interfaces",
             *kAbstract = "abstract_base_values";
  struct Case {
    const char* what;
    bool long_name;
    std::vector<CORBA::InterfaceDef_ptr> supported;
    std::vector<CORBA::ValueDef_ptr> abstract_bases;
    const char* text;  // after "CORBA::Container::create_value::"
  } cases[] = {
      {"255 name, bad base", true, {}, {concrete}, "name"},
      {"nil interface, bad base", false, {nil_itf}, {concrete}, kSupported},
      {"value as interface", false, {value_as_interface}, {}, kSupported},
      {"concrete base", false, {}, {abs, concrete}, kAbstract},
      {"nil base", false, {}, {nil_value}, kAbstract},
      {"interface as base", false, {}, {interface_as_value}, kAbstract},
  };
  const std::string prefix = "CORBA::Container::create_value::";
  for (const Case& k : cases) {
    SCOPED_TRACE(k.what);
    ValueArgs a;
    a.supported = k.supported;
    a.abstract_bases = k.abstract_bases;
    EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), prefix + k.text,
                  CORBA::ValueDef_var(
                      Value(k.long_name ? std::string(255, 'n') : "V", a)));
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
  EXPECT_EQ(IdOf(Find("IDL:V:1.0")), "<nil>");

  // Names are free once more: the same name with sound lists works, and
  // a concrete or abstract base may be any value type.
  ValueArgs good = AbstractArgs({abs.in()});
  good.abstract = false;
  good.base = abs.in();
  good.supported = {itf.in()};
  CORBA::ValueDef_var v = Value("V", good);
  EXPECT_EQ(IdOf(CORBA::ValueDef_var(v->base_value())), "IDL:A:1.0");
}

TEST_F(ValueTest, SettersRefuseWhatIsNotAbstractOrNotAnInterface) {
  CORBA::ValueDef_var a1 = Value("A1", AbstractArgs());
  CORBA::ValueDef_var a2 = Value("A2", AbstractArgs());
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
    CORBA::ValueDefSeq seq;
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
  Push(with_value, CORBA::InterfaceDef::_unchecked_narrow(concrete));
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(5), v->supported_interfaces(with_value));
  unchanged("a value type as supported interface");
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::ValueDef::base_value(...)",
                v->base_value(itf_as_value));
  Reopen();
  v = Find<CORBA::ValueDef>("IDL:V:1.0");
  unchanged("after reopen");
}

TEST_F(ValueTest, IsAFollowsBasesAndSupportedInterfacesAtEveryLevel) {
  CORBA::InterfaceDef_var j = Itf("J");
  CORBA::InterfaceDef_var i = Itf("I", {j.in()});
  CORBA::ValueDef_var top = Value("Top", AbstractArgs());
  CORBA::ValueDef_var abs = Value("A", AbstractArgs({top.in()}));
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
  for (const char* id : {"IDL:B:1.0", "IDL:A:1.0", "IDL:I:1.0"})
    EXPECT_EQ(Refs(id, "derives"), (Ids{"IDL:V:1.0"})) << id;
  // A value type supporting I is not one of I's children.
  IRExt::InterfaceDef_var i_ext = IRExt::InterfaceDef::_narrow(i);
  CORBA::InterfaceDefSeq_var children = i_ext->ext_interface_children();
  EXPECT_EQ(children->length(), 0u);
  Reopen();
  v = Find<CORBA::ValueDef>("IDL:V:1.0");
  check("reopened", true);

  // Replacing the lists moves the links; nothing checks that the base is
  // concrete or is not this value type itself.
  v->base_value(CORBA::ValueDef::_nil());
  v->abstract_base_values(CORBA::ValueDefSeq());
  v->supported_interfaces(CORBA::InterfaceDefSeq());
  check("cleared", false);
  EXPECT_EQ(Refs("IDL:G:1.0", "derives"), Ids{"IDL:B:1.0"});
  v->base_value(Find<CORBA::ValueDef>("IDL:Other:1.0"));
  EXPECT_TRUE(v->is_a("IDL:Other:1.0"));
  v->base_value(v);
  CORBA::TypeCode_var base_tc = TypeOf(v)->concrete_base_type();
  EXPECT_EQ(base_tc->kind(), CORBA::tk_null);
  Reopen();
  v = Find<CORBA::ValueDef>("IDL:V:1.0");
  EXPECT_EQ(IdOf(CORBA::ValueDef_var(v->base_value())), "IDL:V:1.0");
  EXPECT_FALSE(v->is_a("IDL:Other:1.0"));

  // A new id must be free; one that is reaches the derived value types.
  other = Find<CORBA::ValueDef>("IDL:Other:1.0");
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54), "CORBA::ValueDef::id(...)",
                other->id("IDL:G:1.0"));
  base = Find<CORBA::ValueDef>("IDL:B:1.0");
  Find<CORBA::ValueDef>("IDL:G:1.0")->id("IDL:G2:1.0");
  EXPECT_EQ(IdOf(CORBA::ValueDef_var(base->base_value())), "IDL:G2:1.0");
  EXPECT_TRUE(base->is_a("IDL:G2:1.0"));
  Reopen();
  base = Find<CORBA::ValueDef>("IDL:B:1.0");
  EXPECT_EQ(IdOf(CORBA::ValueDef_var(base->base_value())), "IDL:G2:1.0");
}

// --- initializers ------------------------------------------------------------

TEST_F(ValueTest, InitializerMembersKeepUseLinksToTheirNamedTypes) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var s = Struct("S", {{"x", l}});
  CORBA::StructDef_var t = Struct("T", {{"y", l}});
  CORBA::SequenceDef_var ts = repo_->create_sequence(0, t);
  CORBA::IDLType_var bad_type = NotAType();

  // A member type that is not a type makes create_value refuse.
  ValueArgs bad;
  Push(bad.initializers, Init("make", {{"s", s}, {"m", bad_type}}));
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(4), CORBA::ValueDef_var(Value("V", bad)));
  EXPECT_EQ(Refs("IDL:S:1.0"), Ids{});

  ValueArgs args;
  Push(args.initializers, Init("make", {{"s", s}, {"n", l}}));
  Push(args.initializers, Init("empty", {}));
  CORBA::ValueDef_var v = Value("V", args);
  EXPECT_EQ(Refs("IDL:S:1.0"), (Ids{"IDL:V:1.0"}));

  auto check = [&](const char* when, const Ids& names, const Ids& types) {
    SCOPED_TRACE(when);
    CORBA::InitializerSeq_var inits = v->initializers();
    Ids got_types;
    for (CORBA::ULong i = 0; i < inits->length(); ++i) {
      for (CORBA::ULong j = 0; j < inits[i].members.length(); ++j) {
        const CORBA::StructMember& m = inits[i].members[j];
        CORBA::TypeCode_var def_tc = m.type_def->type();
        EXPECT_TRUE(m.type->equal(def_tc)) << m.name.in();
        got_types.push_back(std::string(m.name.in()) + ":" +
                            std::to_string(m.type->kind()));
      }
    }
    EXPECT_EQ(NamesOf(inits.in()), names);
    EXPECT_EQ(got_types, types);
  };
  check("created", {"make", "empty"},
        {"s:" + std::to_string(CORBA::tk_struct),
         "n:" + std::to_string(CORBA::tk_long)});

  // Replacing them moves the links, through sequences too.
  CORBA::InitializerSeq next;
  Push(next, Init("from_list", {{"items", ts}}));
  v->initializers(next);
  EXPECT_EQ(Refs("IDL:S:1.0"), Ids{});
  EXPECT_EQ(Refs("IDL:T:1.0"), (Ids{"IDL:V:1.0"}));
  const Ids after{"items:" + std::to_string(CORBA::tk_sequence)};
  check("replaced", {"from_list"}, after);

  // A refused list changes nothing, links included.
  CORBA::InitializerSeq wrong;
  Push(wrong, Init("ok", {{"s", s}}));
  Push(wrong, Init("bad", {{"m", bad_type}}));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::ValueDef::initializers(...)",
                v->initializers(wrong));
  check("refused", {"from_list"}, after);
  EXPECT_EQ(Refs("IDL:S:1.0"), Ids{});
  EXPECT_EQ(Refs("IDL:T:1.0"), (Ids{"IDL:V:1.0"}));

  // A new id of a member's type reaches the initializer.
  t->id("IDL:T2:1.0");
  auto element_id = [&] {
    CORBA::InitializerSeq_var inits = v->initializers();
    CORBA::SequenceDef_var seq =
        CORBA::SequenceDef::_narrow(inits[0].members[0].type_def);
    return IdOf(CORBA::IDLType_var(seq->element_type_def()));
  };
  EXPECT_EQ(element_id(), "IDL:T2:1.0");
  bad_type = CORBA::IDLType::_nil();
  Reopen();
  v = Find<CORBA::ValueDef>("IDL:V:1.0");
  check("reopened", {"from_list"}, after);
  EXPECT_EQ(element_id(), "IDL:T2:1.0");
}

// --- state members -----------------------------------------------------------

TEST_F(ValueTest, MemberCreationChecksItsArgumentsInOrder) {
  CORBA::ValueDef_var v = Value("V");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::IDLType_var module_as_type = NotAType();
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
  EXPECT_EQ(ContentsOf(v), Ids{});
  // A name of 254 characters is the longest.
  CORBA::ValueMemberDef_var(Member(v, std::string(254, 'n'), l));
}

TEST_F(ValueTest, AccessIsCheckedButOnlyKeptInTheServant) {
  CORBA::ValueDef_var v = Value("V");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ValueMemberDef_var m = Member(v, "m", l, CORBA::PRIVATE_MEMBER);
  // Creation takes any access as it is.
  CORBA::ValueMemberDef_var odd = Member(v, "odd", l, 7);
  CORBA::ValueMemberDef_var(Member(v, "neg", l, -2));
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
  auto access_of = [&](const char* id) {
    return Find<CORBA::ValueMemberDef>(id)->access();
  };
  EXPECT_EQ(access_of("IDL:V/m:1.0"), CORBA::PRIVATE_MEMBER)
      << "access was written";
  EXPECT_EQ(access_of("IDL:V/odd:1.0"), 7);
  EXPECT_EQ(access_of("IDL:V/neg:1.0"), -2);

  // Another change writes the access along.
  m = Find<CORBA::ValueMemberDef>("IDL:V/m:1.0");
  m->access(CORBA::PUBLIC_MEMBER);
  m->type_def(CORBA::PrimitiveDef_var(Prim(CORBA::pk_string)));
  Reopen();
  m = Find<CORBA::ValueMemberDef>("IDL:V/m:1.0");
  EXPECT_EQ(m->access(), CORBA::PUBLIC_MEMBER);
  EXPECT_TRUE(TypeOf(m)->equal(CORBA::_tc_string));
}

TEST_F(ValueTest, InheritedNamesAreRefusedEvenInAUserTransaction) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::OperationDef_var(VoidOp(itf, "from_interface"));
  CORBA::ValueDef_var abs = Value("A", AbstractArgs());
  CORBA::AttributeDef_var(Attr(abs, "from_abstract", l));
  CORBA::ValueDef_var grand = Value("G");
  CORBA::OperationDef_var(Op(grand, "from_grand", l));
  ValueArgs base_args;
  base_args.base = grand.in();
  CORBA::ValueDef_var base = Value("B", base_args);
  CORBA::AttributeDef_var(Attr(base, "from_base", l));
  CORBA::ValueMemberDef_var(Member(base, "base_member", l));
  ValueArgs args;
  args.base = base.in();
  args.abstract_bases = {abs.in()};
  args.supported = {itf.in()};
  CORBA::ValueDef_var v = Value("V", args);
  CORBA::ValueMemberDef_var(Member(v, "own", l));

  for (bool transaction : {false, true}) {
    SCOPED_TRACE(transaction ? "in a user transaction" : "outside");
    if (transaction) ext_->ext_beginUserTransaction();
    for (const char* name :
         {"from_interface", "from_abstract", "from_grand", "from_base"}) {
      SCOPED_TRACE(name);
      EXPECT_SYSEX(BAD_PARAM, OmgMinor(2),
                   CORBA::ValueMemberDef_var(Member(v, name, l)));
    }
    if (transaction) ext_->ext_endUserTransaction();
  }
  // A name used in the value type itself is refused outside a user
  // transaction only.
  auto own_again = [&] {
    CORBA::ValueMemberDef_var(v->create_value_member(
        "IDL:V/own2:1.0", "own", "1.0", l, CORBA::PUBLIC_MEMBER));
  };
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(3), own_again());
  ext_->ext_beginUserTransaction();
  own_again();
  ext_->ext_endUserTransaction();
  // The search for inherited names looks for value types, operations and
  // attributes: an inherited state member's name is free.
  CORBA::ValueMemberDef_var(Member(v, "base_member", l));

  // Attributes and operations of a value type meet the same inherited
  // names, with the reports of their kind, but not inside a transaction.
  EXPECT_REPORT(BAD_PARAM, OmgMinor(2), "CORBA::ValueDef::create_attribute",
                CORBA::AttributeDef_var(Attr(v, "from_grand", l)));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54),
                "CORBA::ValueDef::create_operation::name",
                CORBA::OperationDef_var(Op(v, "from_abstract", l)));
  ext_->ext_beginUserTransaction();
  CORBA::AttributeDef_var(Attr(v, "from_grand", l));
  ext_->ext_endUserTransaction();
}

TEST_F(ValueTest, MemberTypesKeepUseLinksAndFollowChangesOfId) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var s = Struct("S", {{"x", l}});
  CORBA::StructDef_var t = Struct("T", {{"y", l}});
  CORBA::SequenceDef_var ss = repo_->create_sequence(0, s);
  CORBA::ValueDef_var v = Value("V");
  CORBA::ValueMemberDef_var m = Member(v, "m", ss);
  EXPECT_EQ(Refs("IDL:S:1.0"), (Ids{"IDL:V/m:1.0"}));
  m->type_def(t);
  EXPECT_EQ(Refs("IDL:S:1.0"), Ids{});
  EXPECT_EQ(Refs("IDL:T:1.0"), (Ids{"IDL:V/m:1.0"}));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                "CORBA::ValueMemberDef::type_def(...)",
                m->type_def(CORBA::IDLType_var(NotAType())));
  EXPECT_EQ(IdOf(CORBA::IDLType_var(m->type_def())), "IDL:T:1.0");
  t->id("IDL:T2:1.0");
  EXPECT_EQ(IdOf(CORBA::IDLType_var(m->type_def())), "IDL:T2:1.0");
  Reopen();
  m = Find<CORBA::ValueMemberDef>("IDL:V/m:1.0");
  EXPECT_EQ(IdOf(CORBA::IDLType_var(m->type_def())), "IDL:T2:1.0");
  EXPECT_STREQ(TypeOf(m)->id(), "IDL:T2:1.0");
}

// --- descriptions ------------------------------------------------------------

TEST_F(ValueTest, DescriptionHoldsOwnMembersWithEveryListAndFlag) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::PrimitiveDef_var d = Prim(CORBA::pk_double);
  CORBA::ModuleDef_var module = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::ValueDef_var abs = Value("A", AbstractArgs());
  CORBA::ValueDef_var base = Value("B");
  CORBA::OperationDef_var(Op(base, "inherited_op", l));
  CORBA::ValueMemberDef_var(Member(base, "inherited_member", l));
  ValueArgs args;
  args.truncatable = true;
  args.base = base.in();
  args.abstract_bases = {abs.in()};
  args.supported = {itf.in()};
  Push(args.initializers, Init("make", {{"x", l}}));
  CORBA::ValueDef_var v = Value("V", args, module);
  CORBA::OperationDef_var(Op(v, "op", l));
  CORBA::AttributeDef_var(Attr(v, "attr", d));
  CORBA::ValueMemberDef_var(Member(v, "pub", l, CORBA::PUBLIC_MEMBER));
  CORBA::ValueMemberDef_var(Member(v, "priv", d, CORBA::PRIVATE_MEMBER));

  for (const char* when : {"live", "after reopen"}) {
    SCOPED_TRACE(when);
    if (std::string(when) != "live") Reopen();
    v = Find<CORBA::ValueDef>("IDL:V:1.0");
    CORBA::ValueDef::FullValueDescription_var full = v->describe_value();
    EXPECT_STREQ(full->name.in(), "V");
    EXPECT_STREQ(full->id.in(), "IDL:V:1.0");
    EXPECT_STREQ(full->defined_in.in(), "IDL:M:1.0");
    EXPECT_STREQ(full->version.in(), "1.0");
    EXPECT_FALSE(full->is_abstract || full->is_custom);
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
    ASSERT_EQ(NamesOf(full->initializers), (Ids{"make"}));
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
    EXPECT_EQ(ContentsOf(v, CORBA::dk_all, true),
              (Ids{"IDL:V/op:1.0", "IDL:V/attr:1.0", "IDL:V/pub:1.0",
                   "IDL:V/priv:1.0"}));
    EXPECT_EQ(ContentsOf(v, CORBA::dk_ValueMember).size(), 3u);
  }

  // A value type at the top with no base describes both as "".
  CORBA::Contained::Description_var desc = Find("IDL:B:1.0")->describe();
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

TEST_F(ValueTest, HoldsNestedTypesButNoModulesInterfacesOrValues) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ValueDef_var v = Value("V");
  // Nested types are definitions of the value type's scope.
  CORBA::StructDef_var s =
      v->create_struct("IDL:V/S:1.0", "S", "1.0", Fields({{"x", l}}));
  CORBA::AliasDef_var(v->create_alias("IDL:V/A:1.0", "A", "1.0", l));
  CORBA::ConstantDef_var(
      v->create_constant("IDL:V/K:1.0", "K", "1.0", l, AnyOf(CORBA::Long(1))));
  EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup("::V::S"))), "IDL:V/S:1.0");
  // A state member may have a type nested in its value type.
  CORBA::ValueMemberDef_var(Member(v, "s", s));
  CORBA::TypeCode_var member = TypeOf(v)->member_type(0);
  EXPECT_STREQ(member->id(), "IDL:V/S:1.0");

  EXPECT_SYSEX(
      NO_IMPLEMENT, IrMinor(0x34),
      CORBA::ModuleDef_var(v->create_module("IDL:V/M:1.0", "M", "1.0")));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::InterfaceDef_var(v->create_interface(
                   "IDL:V/I:1.0", "I", "1.0", CORBA::InterfaceDefSeq())));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::ValueDef_var(Value("V/W", ValueArgs(), v)));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::ValueBoxDef_var(
                   v->create_value_box("IDL:V/B:1.0", "B", "1.0", l)));
  // Interfaces hold no value types either.
  CORBA::InterfaceDef_var itf = Itf("I");
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::ValueDef_var(Value("I/W", ValueArgs(), itf)));
  EXPECT_EQ(ContentsOf(v, CORBA::dk_all, true).size(), 4u);
}

// --- records -----------------------------------------------------------------

TEST_F(ValueTest, RecordFieldsInTheirOrderWithOneFalseBooleanForNoBase) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::ValueDef_var abs = Value("A", AbstractArgs());
  ValueArgs args;
  args.custom = true;
  args.abstract_bases = {abs.in()};
  args.supported = {itf.in()};
  Push(args.initializers, Init("make", {{"x", l}}));
  CORBA::ValueDef_var v = Value("V", args);
  ValueArgs derived_args;
  derived_args.base = v.in();
  CORBA::ValueDef_var(Value("W", derived_args));
  CORBA::ValueMemberDef_var(Member(v, "m", l, -2));

  auto body = [&](const char* id) {
    StoreRecord rec;
    EXPECT_TRUE(root_->get_irs()->IRReadRecord(id, rec));
    return std::make_unique<EncapIIOP>(rec.body);
  };
  std::unique_ptr<EncapIIOP> e;
  auto str = [&e] {
    CORBA::String_var s = e->get_string();
    return std::string(s.in());
  };
  auto ulongs = [&e](int n) {
    std::vector<CORBA::ULong> out;
    for (int i = 0; i < n; ++i) out.push_back(e->get_ulong());
    return out;
  };
  using U = std::vector<CORBA::ULong>;
  const CORBA::ULong dk_value = CORBA::dk_Value,
                     dk_primitive = CORBA::dk_Primitive,
                     pk_long = CORBA::pk_long;

  e = body("IDL:V:1.0");
  EXPECT_EQ(str(), "1.0");
  EXPECT_TRUE(e->get_boolean());           // custom
  EXPECT_FALSE(e->get_boolean());          // abstract
  EXPECT_FALSE(e->get_boolean());          // truncatable
  EXPECT_FALSE(e->get_boolean());          // no base, and nothing for it
  EXPECT_EQ(ulongs(2), (U{1, dk_value}));  // abstract bases
  EXPECT_EQ(str(), "IDL:A:1.0");
  EXPECT_EQ(ulongs(2), (U{1, CORBA::ULong(CORBA::dk_Interface)}));
  EXPECT_EQ(str(), "IDL:I:1.0");
  EXPECT_EQ(ulongs(2), (U{1, 1}));  // initializers, its members
  EXPECT_EQ(str(), "x");
  EXPECT_EQ(ulongs(2), (U{dk_primitive, pk_long}));
  EXPECT_EQ(str(), "make");
  EXPECT_THROW(e->get_ulong(), CORBA::MARSHAL) << "the record goes on";

  e = body("IDL:W:1.0");
  str();
  for (int i = 0; i < 3; ++i) e->get_boolean();
  EXPECT_TRUE(e->get_boolean());
  EXPECT_EQ(e->get_ulong(), dk_value);
  EXPECT_EQ(str(), "IDL:V:1.0");
  EXPECT_EQ(ulongs(3), (U{0, 0, 0}));

  // A state member: its type first, then the access sign-extended.
  e = body("IDL:V/m:1.0");
  str();
  EXPECT_EQ(ulongs(3), (U{dk_primitive, pk_long, 0xfffffffeu}));
}

// --- a failing store ---------------------------------------------------------

TEST_F(StoreFaultTest, FailedValueChangesLeaveNothingBehind) {
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StructDef_var s = Struct("S", {{"x", l}});
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::ValueDef_var abs = Value("A", AbstractArgs());
  CORBA::ValueDef_var base = Value("B");
  // What a client can see of the value type V and of its links.
  auto state = [&]() {
    std::string out;
    CORBA::ValueDef_var v = Find<CORBA::ValueDef>("IDL:V:1.0");
    if (CORBA::is_nil(v)) return std::string("no V");
    for (const char* id : {"IDL:A:1.0", "IDL:B:1.0", "IDL:I:1.0"})
      out += v->is_a(id) ? std::string(id) + " " : "";
    for (const std::string& id : Refs("IDL:S:1.0", "all"))
      out += "user " + id + " ";
    CORBA::ValueDef::FullValueDescription_var full = v->describe_value();
    for (const std::string& n : NamesOf(full->members))
      out += "member " + n + " ";
    out += "inits " + std::to_string(full->initializers.length());
    out += full->is_custom ? " custom" : "";
    CORBA::TypeCode_var tc = v->type();
    out += " tc members " + std::to_string(tc->member_count());
    return out + " modifier " + std::to_string(tc->type_modifier());
  };
  ValueArgs args;
  args.base = base.in();
  args.abstract_bases = {abs.in()};
  args.supported = {itf.in()};
  Push(args.initializers, Init("make", {{"s", s}}));
  int changes = FailEachChangeInTurn(
      [&] { CORBA::ValueDef_var(Value("V", args)); }, state);
  EXPECT_GE(changes, 5);  // record, three inheritance links, one use link

  CORBA::ValueDef_var v = Find<CORBA::ValueDef>("IDL:V:1.0");
  FailEachChangeInTurn([&] { CORBA::ValueMemberDef_var(Member(v, "m", s)); },
                       state);
  FailEachChangeInTurn([&] { v->is_custom(true); }, state);
  FailEachChangeInTurn([&] { v->base_value(CORBA::ValueDef::_nil()); }, state);
  FailEachChangeInTurn(
      [&] { v->supported_interfaces(CORBA::InterfaceDefSeq()); }, state);
  FailEachChangeInTurn([&] { v->initializers(CORBA::InitializerSeq()); },
                       state);
  CORBA::ValueMemberDef_var m = Find<CORBA::ValueMemberDef>("IDL:V/m:1.0");
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
