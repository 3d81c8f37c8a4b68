// Interfaces: base lists and their rules, is_a, inherited names,
// contents with inherited members, descriptions, changes of id and name,
// abstract interfaces.
#include <gtest/gtest.h>

#include <string>

#include "ir/interfdf.h"
#include "ir/servant_locator.h"
#include "ir_fixture.h"

namespace {

const char kBaseText[] = "CORBA::InterfaceDef::base_interfaces(...)";

using InterfaceTest = IrTest;

// --- base lists ------------------------------------------------------------

TEST_F(InterfaceTest, EmptyBaseListMeansObject) {
  CORBA::InterfaceDef_var a = Itf("A");
  CORBA::InterfaceDef_var b = Itf("B", {a});
  EXPECT_EQ(BasesOf(a), Ids{"IDL:Object:1.0"});
  b->base_interfaces(CORBA::InterfaceDefSeq());
  EXPECT_EQ(BasesOf(b), Ids{"IDL:Object:1.0"});
  EXPECT_FALSE(b->is_a("IDL:A:1.0"));
  EXPECT_TRUE(b->is_a("IDL:Object:1.0"));

  CORBA::Contained::Description_var d = b->describe();
  const CORBA::InterfaceDescription* desc;
  ASSERT_TRUE(d->value >>= desc);
  EXPECT_EQ(IdsOf(desc->base_interfaces), Ids{"IDL:Object:1.0"});
  EXPECT_STREQ(desc->defined_in.in(), "");  // at the top level
  Reopen();
  EXPECT_EQ(BasesOf(Find<CORBA::InterfaceDef>("IDL:B:1.0")),
            Ids{"IDL:Object:1.0"});
}

TEST_F(InterfaceTest, NilOrForeignBasesAreRefusedAndChangeNothing) {
  CORBA::InterfaceDef_var a = Itf("A");
  CORBA::InterfaceDef_var b = Itf("B", {a});
  CORBA::InterfaceDefSeq with_nil;
  with_nil.length(2);
  with_nil[0] = CORBA::InterfaceDef::_duplicate(a);
  // with_nil[1] stays nil: refused before any store query.
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                "CORBA::InterfaceDef::base_interfaces(...)::null input",
                b->base_interfaces(with_nil));
  CORBA::InterfaceDefSeq not_an_interface;
  Push(not_an_interface,
       CORBA::InterfaceDef::_unchecked_narrow(CORBA::IDLType_var(NotAType())));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), kBaseText,
                b->base_interfaces(not_an_interface));
  EXPECT_EQ(BasesOf(b), Ids{"IDL:A:1.0"});

  for (const CORBA::InterfaceDefSeq* bad : {&with_nil, &not_an_interface})
    EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                  "CORBA::Container::create_interface::base_interfaces",
                  CORBA::InterfaceDef_var(
                      repo_->create_interface("IDL:C:1.0", "C", "1.0", *bad)));
  EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup_id("IDL:C:1.0"))), "<nil>");
}

TEST_F(InterfaceTest, CyclesAreRefusedAndTheCurrentBasesMaybeSetAgain) {
  CORBA::InterfaceDef_var a = Itf("A");
  CORBA::InterfaceDef_var b = Itf("B", {a});
  CORBA::InterfaceDef_var c = Itf("C", {b});
  struct Case {
    CORBA::InterfaceDef_ptr target;
    CORBA::InterfaceDef_ptr base;
  };
  const Case refused[] = {{a, c}, {a, b}, {a, a}, {b, c}, {c, c}};
  for (const Case& k : refused) {
    SCOPED_TRACE(IdOf(k.target) + " given base " + IdOf(k.base));
    Ids before = BasesOf(k.target);
    CORBA::InterfaceDefSeq seq;
    Append(seq, k.base);
    EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), kBaseText,
                  k.target->base_interfaces(seq));
    EXPECT_EQ(BasesOf(k.target), before);
  }
  // The bases it has already, and more of the same chain, are fine.
  CORBA::InterfaceDefSeq again;
  Append(again, b.in());
  c->base_interfaces(again);
  Append(again, a.in());
  c->base_interfaces(again);
  EXPECT_EQ(BasesOf(c), (Ids{"IDL:B:1.0", "IDL:A:1.0"}));

  // The records are unchanged by the refusals.
  Reopen();
  a = Find<CORBA::InterfaceDef>("IDL:A:1.0");
  EXPECT_EQ(BasesOf(a), Ids{"IDL:Object:1.0"});
  EXPECT_FALSE(a->is_a("IDL:C:1.0"));
}

// An own member of a derived interface against a member of the same name
// that a new base brings in (directly or from its own base).
TEST_F(InterfaceTest, ClashesOfOwnMembersWithInheritedOnes) {
  struct ClashCase {
    const char* what;
    bool own_is_operation;
    bool base_is_operation;
    bool in_grand_base;
    CORBA::ULong minor;  // of BAD_PARAM
  } cases[] = {
      {"operation vs operation", true, true, false, OmgMinor(5)},
      {"operation vs inherited operation", true, true, true, OmgMinor(5)},
      {"operation vs attribute", true, false, false, IrMinor(0x54)},
      {"attribute vs operation", false, true, false, IrMinor(0x54)},
      {"attribute vs attribute", false, false, true, IrMinor(0x54)},
  };
  CORBA::InterfaceDef_var grand = Itf("G");
  CORBA::InterfaceDef_var base = Itf("B", {grand});
  CORBA::InterfaceDefSeq seq;
  Append(seq, base.in());
  int n = 0;
  for (const ClashCase& k : cases) {
    SCOPED_TRACE(k.what);
    std::string name = "m" + std::to_string(n++);
    CORBA::InterfaceDef_ptr holder = k.in_grand_base ? grand.in() : base.in();
    CORBA::InterfaceDef_var derived = Itf("D" + name);
    for (CORBA::InterfaceDef_ptr in : {holder, derived.in()}) {
      if (in == holder ? k.base_is_operation : k.own_is_operation)
        CORBA::OperationDef_var(VoidOp(in, name));
      else
        CORBA::AttributeDef_var(LongAttr(in, name));
    }
    EXPECT_REPORT(BAD_PARAM, k.minor, kBaseText, derived->base_interfaces(seq));
    EXPECT_FALSE(derived->is_a("IDL:B:1.0"));
  }
  // A member of another name does not clash.
  CORBA::InterfaceDef_var fine = Itf("Fine");
  CORBA::OperationDef_var(VoidOp(fine, "other"));
  fine->base_interfaces(seq);
  EXPECT_TRUE(fine->is_a("IDL:G:1.0"));
}

TEST_F(InterfaceTest, IsAFollowsEveryLevelAndNothingElse) {
  CORBA::InterfaceDef_var a = Itf("A");
  CORBA::InterfaceDef_var b = Itf("B", {a});
  CORBA::InterfaceDef_var c = Itf("C", {a});
  CORBA::InterfaceDef_var d = Itf("D", {b, c});
  CORBA::InterfaceDef_var e = Itf("E", {d});
  struct Case {
    CORBA::InterfaceDef_ptr itf;
    const char* id;
    bool expected;
  } cases[] = {
      {e, "IDL:E:1.0", true},        {e, "IDL:D:1.0", true},
      {e, "IDL:C:1.0", true},        {e, "IDL:B:1.0", true},
      {e, "IDL:A:1.0", true},        {e, "IDL:Object:1.0", true},
      {b, "IDL:C:1.0", false},       {a, "IDL:B:1.0", false},
      {d, "IDL:E:1.0", false},       {e, "IDL:a:1.0", false},
      {e, "IDL:Nothing:1.0", false}, {e, "", false},
  };
  for (const Case& k : cases)
    EXPECT_EQ(k.itf->is_a(k.id), k.expected) << IdOf(k.itf) << " is_a " << k.id;

  IRExt::InterfaceDef_var ext = IRExt::InterfaceDef::_narrow(a);
  CORBA::InterfaceDefSeq_var children = ext->ext_interface_children();
  EXPECT_EQ(IdsOf(children.in()), (Ids{"IDL:B:1.0", "IDL:C:1.0"}));
}

// --- inherited names -------------------------------------------------------

TEST_F(InterfaceTest, CreatorsRefuseInheritedAndUsedNames) {
  CORBA::InterfaceDef_var g = Itf("G");
  CORBA::OperationDef_var(VoidOp(g, "op"));
  CORBA::AttributeDef_var(LongAttr(g, "attr"));
  CORBA::InterfaceDef_var b = Itf("B", {g});
  CORBA::InterfaceDef_var d = Itf("D", {b});
  CORBA::OperationDef_var(VoidOp(d, "own"));
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  struct Case {
    const char* name;
    const char* id;
    CORBA::ULong attribute_minor;
  } cases[] = {
      {"op", "IDL:D/x1:1.0", OmgMinor(2)},      // inherited operation
      {"attr", "IDL:D/x2:1.0", OmgMinor(2)},    // inherited attribute
      {"own", "IDL:D/x3:1.0", OmgMinor(3)},     // own member's name
      {"fresh", "IDL:D/own:1.0", OmgMinor(3)},  // own member's id
      {"fresh", "IDL:G/op:1.0", OmgMinor(3)},   // any definition's id
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.name);
    EXPECT_SYSEX(BAD_PARAM, k.attribute_minor,
                 CORBA::AttributeDef_var(d->create_attribute(
                     k.id, k.name, "1.0", l, CORBA::ATTR_NORMAL)));
    EXPECT_REPORT(BAD_PARAM, IrMinor(0x54),
                  "CORBA::InterfaceDef::create_operation::name",
                  CORBA::OperationDef_var(d->create_operation(
                      k.id, k.name, "1.0", l, CORBA::OP_NORMAL,
                      CORBA::ParDescriptionSeq(), CORBA::ExceptionDefSeq(),
                      CORBA::ContextIdSeq())));
  }
  EXPECT_EQ(ContentsOf(d, CORBA::dk_all, true), Ids{"IDL:D/own:1.0"});

  // The interface's own query: operations first, attributes otherwise.
  Servant_ref<CORBA_IRObject_Impl> s(ir_servant_of(d));
  CORBA_InterfaceDef_Impl* impl =
      CORBA_InterfaceDef_Impl::interface_view(s.in());
  ASSERT_NE(impl, nullptr);
  for (const char* name : {"op", "attr", "own"}) {
    CORBA::ContainedSeq_var found = impl->check_inherited_name(name);
    EXPECT_EQ(IdsOf(found.in()),
              std::string(name) == "own"
                  ? Ids{}  // not inherited: own
                  : Ids{"IDL:G/" + std::string(name) + ":1.0"});
  }

  // A user transaction skips the name checks, but not the one on ids.
  ext_->ext_beginUserTransaction();
  CORBA::AttributeDef_var(
      d->create_attribute("IDL:D/op:1.0", "op", "1.0", l, CORBA::ATTR_NORMAL));
  CORBA::AttributeDef_var(d->create_attribute("IDL:D/own2:1.0", "own", "1.0", l,
                                              CORBA::ATTR_NORMAL));
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(3),
               CORBA::AttributeDef_var(d->create_attribute(
                   "IDL:D/op:1.0", "other", "1.0", l, CORBA::ATTR_NORMAL)));
  ext_->ext_endUserTransaction();
  EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup_id("IDL:D/own2:1.0"))),
            "IDL:D/own2:1.0");
}

// --- contents with inherited members ---------------------------------------

TEST_F(InterfaceTest, InheritedMembersAreContentsUnlessExcluded) {
  CORBA::InterfaceDef_var b = Itf("B");
  CORBA::OperationDef_var(VoidOp(b, "f"));
  CORBA::InterfaceDef_var d = Itf("D", {b});
  CORBA::AttributeDef_var(LongAttr(d, "a"));
  // Filled now: a later member of the base must still show.
  EXPECT_EQ(ContentsOf(d), (Ids{"IDL:B/f:1.0", "IDL:D/a:1.0"}));
  CORBA::OperationDef_var(VoidOp(b, "g"));
  EXPECT_EQ(ContentsOf(d), (Ids{"IDL:B/f:1.0", "IDL:D/a:1.0", "IDL:B/g:1.0"}));
  EXPECT_EQ(ContentsOf(d, CORBA::dk_all, true), Ids{"IDL:D/a:1.0"});
  EXPECT_EQ(ContentsOf(d, CORBA::dk_Operation),
            (Ids{"IDL:B/f:1.0", "IDL:B/g:1.0"}));

  EXPECT_EQ(IdOf(CORBA::Contained_var(d->lookup("g"))), "IDL:B/g:1.0");
  CORBA::ContainedSeq_var named =
      d->lookup_name("f", 1, CORBA::dk_Operation, false);
  EXPECT_EQ(IdsOf(named.in()), Ids{"IDL:B/f:1.0"});
  named = d->lookup_name("f", 1, CORBA::dk_Operation, true);
  EXPECT_EQ(named->length(), 0u);
  named = repo_->lookup_name("g", -1, CORBA::dk_all, false);
  EXPECT_EQ(IdsOf(named.in()), Ids{"IDL:B/g:1.0"});

  // A new base list changes what is inherited.
  CORBA::InterfaceDef_var c = Itf("C");
  CORBA::OperationDef_var(VoidOp(c, "h"));
  CORBA::InterfaceDefSeq seq;
  Append(seq, c.in());
  d->base_interfaces(seq);
  EXPECT_EQ(ContentsOf(d), (Ids{"IDL:D/a:1.0", "IDL:C/h:1.0"}));
  EXPECT_TRUE(CORBA::is_nil(CORBA::Contained_var(d->lookup("f"))));
}

TEST_F(InterfaceTest, MembersRenamedInABaseAreFoundByTheirNewNames) {
  CORBA::InterfaceDef_var b = Itf("B");
  CORBA::OperationDef_var f = VoidOp(b, "f");
  CORBA::AttributeDef_var a = LongAttr(b, "a");
  CORBA::InterfaceDef_var d = Itf("D", {b});
  CORBA::OperationDef_var own = VoidOp(d, "own");
  EXPECT_EQ(IdOf(CORBA::Contained_var(d->lookup("f"))), "IDL:B/f:1.0");
  f->name("g");
  EXPECT_TRUE(CORBA::is_nil(CORBA::Contained_var(d->lookup("f"))));
  EXPECT_EQ(IdOf(CORBA::Contained_var(d->lookup("g"))), "IDL:B/f:1.0");
  a->id("IDL:B/a2:1.0");
  EXPECT_EQ(IdOf(CORBA::Contained_var(d->lookup("a"))), "IDL:B/a2:1.0");
  // A member may not take the name of a member its interface inherits.
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54), "CORBA::Contained::name(...)",
                own->name("a"));
  EXPECT_EQ(Str(own->name()), "own");
}

// --- descriptions ----------------------------------------------------------

TEST_F(InterfaceTest, DescriptionHoldsOwnMembersOnlyInStoreOrder) {
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::InterfaceDef_var b = Itf("B");
  CORBA::OperationDef_var(VoidOp(b, "inherited"));
  CORBA::InterfaceDefSeq bases;
  Append(bases, b.in());
  CORBA::InterfaceDef_var i =
      m->create_interface("IDL:M/I:1.0", "I", "2.0", bases);
  CORBA::InterfaceDef::FullInterfaceDescription_var full =
      i->describe_interface();
  EXPECT_STREQ(full->name.in(), "I");
  EXPECT_STREQ(full->id.in(), "IDL:M/I:1.0");
  EXPECT_STREQ(full->defined_in.in(), "IDL:M:1.0");
  EXPECT_STREQ(full->version.in(), "2.0");
  EXPECT_EQ(full->operations.length(), 0u);
  EXPECT_EQ(IdsOf(full->base_interfaces), Ids{"IDL:B:1.0"});
  EXPECT_EQ(full->type->kind(), CORBA::tk_objref);
  EXPECT_STREQ(full->type->id(), "IDL:M/I:1.0");
  EXPECT_STREQ(full->type->name(), "I");

  CORBA::OperationDef_var(VoidOp(i, "z"));
  CORBA::AttributeDef_var(LongAttr(i, "y"));
  CORBA::OperationDef_var(VoidOp(i, "x"));
  full = i->describe_interface();
  EXPECT_EQ(NamesOf(full->operations), (Ids{"z", "x"}));
  EXPECT_EQ(NamesOf(full->attributes), Ids{"y"});
  EXPECT_STREQ(full->operations[0].defined_in.in(), "IDL:M/I:1.0");
  EXPECT_STREQ(full->attributes[0].defined_in.in(), "IDL:M/I:1.0");
}

TEST_F(InterfaceTest, ExtendedDescriptionListsInheritedMembersBaseFirst) {
  // D : B, C; B : A; C : A.  Each interface once, after its bases.
  CORBA::InterfaceDef_var a = Itf("A");
  CORBA::InterfaceDef_var c = Itf("C", {a});
  CORBA::InterfaceDef_var b = Itf("B", {a});
  CORBA::InterfaceDef_var d = Itf("D", {b, c});
  // Created in an order that differs from the inheritance order.
  const std::pair<CORBA::InterfaceDef_ptr, const char*> ops[] = {
      {d, "d_op"}, {c, "c_op"}, {b, "b_op"}, {a, "a_op"}};
  for (const auto& o : ops) CORBA::OperationDef_var(VoidOp(o.first, o.second));
  CORBA::AttributeDef_var(LongAttr(a, "a_attr"));
  CORBA::AttributeDef_var(Attr(d, "d_attr",
                               CORBA::PrimitiveDef_var(Prim(CORBA::pk_string)),
                               CORBA::ATTR_READONLY));

  IRExt::InterfaceDef_var ext = IRExt::InterfaceDef::_narrow(d);
  IRExt::ExtFullInterfaceDescription_var full = ext->describe_ext_interface();
  EXPECT_STREQ(full->id.in(), "IDL:D:1.0");
  EXPECT_STREQ(full->defined_in.in(), "");
  EXPECT_EQ(NamesOf(full->operations), (Ids{"a_op", "b_op", "c_op", "d_op"}));
  EXPECT_STREQ(full->operations[0].defined_in.in(), "IDL:A:1.0");
  EXPECT_EQ(NamesOf(full->attributes), (Ids{"a_attr", "d_attr"}));
  EXPECT_EQ(full->attributes[1].mode, CORBA::ATTR_READONLY);
  EXPECT_TRUE(full->attributes[1].type->equal(CORBA::_tc_string));
  for (CORBA::ULong i = 0; i < full->attributes.length(); ++i) {
    EXPECT_EQ(full->attributes[i].get_exceptions.length(), 0u);
    EXPECT_EQ(full->attributes[i].put_exceptions.length(), 0u);
  }
  EXPECT_EQ(IdsOf(full->base_interfaces), (Ids{"IDL:B:1.0", "IDL:C:1.0"}));
  EXPECT_STREQ(full->type->id(), "IDL:D:1.0");
  // describe_interface keeps to the own members.
  CORBA::InterfaceDef::FullInterfaceDescription_var own =
      d->describe_interface();
  EXPECT_EQ(NamesOf(own->operations), Ids{"d_op"});

  // The standard repository ids of the CORBA 3 structures.
  EXPECT_STREQ(IRExt::_tc_ExtFullInterfaceDescription->id(),
               "IDL:omg.org/CORBA/InterfaceAttrExtension/"
               "ExtFullInterfaceDescription:1.0");
  EXPECT_STREQ(IRExt::_tc_ExtAttributeDescription->id(),
               "IDL:omg.org/CORBA/ExtAttributeDescription:1.0");
  EXPECT_STREQ(IRExt::_tc_ExtAttrDescriptionSeq->id(),
               "IDL:omg.org/CORBA/ExtAttrDescriptionSeq:1.0");
}

// --- id and name -----------------------------------------------------------

TEST_F(InterfaceTest, NewIdReachesEveryUserAndTheTypeCodes) {
  CORBA::InterfaceDef_var i = Itf("I");
  CORBA::InterfaceDef_var k = Itf("K", {i});
  CORBA::InterfaceDef_var user = Itf("U");
  CORBA::SequenceDef_var seq = repo_->create_sequence(0, i);
  CORBA::ParDescriptionSeq params;
  Push(params, Param("direct", i, CORBA::PARAM_IN));
  Push(params, Param("wrapped", seq, CORBA::PARAM_OUT));
  CORBA::OperationDef_var(Op(user, "f", i, params));
  CORBA::AttributeDef_var(Attr(user, "a", i));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54), "CORBA::InterfaceDef::id(...)",
                i->id("IDL:K:1.0"));
  i->id("IDL:I2:1.0");

  for (const char* when : {"live", "after reopen"}) {
    SCOPED_TRACE(when);
    if (std::string(when) != "live") Reopen();
    CORBA::InterfaceDef_var renamed = Find<CORBA::InterfaceDef>("IDL:I2:1.0");
    ASSERT_FALSE(CORBA::is_nil(renamed));
    EXPECT_STREQ(TypeOf(renamed)->id(), "IDL:I2:1.0");
    EXPECT_EQ(IdOf(Find("IDL:I:1.0")), "<nil>");
    CORBA::InterfaceDef_var derived = Find<CORBA::InterfaceDef>("IDL:K:1.0");
    EXPECT_EQ(BasesOf(derived), Ids{"IDL:I2:1.0"});
    EXPECT_TRUE(derived->is_a("IDL:I2:1.0"));

    CORBA::OperationDef_var o = Find<CORBA::OperationDef>("IDL:U/f:1.0");
    CORBA::TypeCode_var result = o->result();
    EXPECT_STREQ(result->id(), "IDL:I2:1.0");
    EXPECT_EQ(IdOf(CORBA::IDLType_var(o->result_def())), "IDL:I2:1.0");
    CORBA::ParDescriptionSeq_var ps = o->params();
    ASSERT_EQ(ps->length(), 2u);
    EXPECT_STREQ(ps[0].type->id(), "IDL:I2:1.0");
    EXPECT_EQ(ps[1].type->kind(), CORBA::tk_sequence);
    CORBA::SequenceDef_var sd = CORBA::SequenceDef::_narrow(ps[1].type_def);
    EXPECT_EQ(IdOf(CORBA::IDLType_var(sd->element_type_def())), "IDL:I2:1.0");
    CORBA::AttributeDef_var at = Find<CORBA::AttributeDef>("IDL:U/a:1.0");
    EXPECT_STREQ(TypeOf(at)->id(), "IDL:I2:1.0");
    EXPECT_EQ(Refs("IDL:I2:1.0"), (Ids{"IDL:U/f:1.0", "IDL:U/a:1.0"}));
  }
}

TEST_F(InterfaceTest, RenameGivesANewTypeCode) {
  CORBA::InterfaceDef_var i = Itf("I");
  i->name("J");
  CORBA::TypeCode_var tc = i->type();
  EXPECT_STREQ(tc->name(), "J");
  EXPECT_STREQ(tc->id(), "IDL:I:1.0");
  EXPECT_EQ(Str(i->absolute_name()), "::J");
}

// --- abstract interfaces ---------------------------------------------------

TEST_F(InterfaceTest, AbstractBasesMustBeAbstractAndAreNeverObject) {
  CORBA::AbstractInterfaceDef_var a = Abstract("A");
  EXPECT_EQ(BasesOf(a), Ids{});
  EXPECT_FALSE(a->is_a("IDL:Object:1.0"));
  EXPECT_EQ(a->def_kind(), CORBA::dk_AbstractInterface);
  CORBA::TypeCode_var tc = a->type();
  EXPECT_EQ(tc->kind(), CORBA::tk_abstract_interface);
  EXPECT_STREQ(tc->id(), "IDL:A:1.0");

  CORBA::AbstractInterfaceDef_var b = Abstract("B", {a});
  CORBA::InterfaceDef_var concrete = Itf("C");
  CORBA::InterfaceDefSeq concrete_seq;
  Append(concrete_seq, concrete.in());
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), kBaseText,
                b->base_interfaces(concrete_seq));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), kBaseText,
                b->base_interfaces(CORBA::InterfaceDefSeq()));
  EXPECT_EQ(BasesOf(b), Ids{"IDL:A:1.0"});
  CORBA::InterfaceDefSeq cycle;
  Append(cycle, b.in());
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), kBaseText, a->base_interfaces(cycle));

  CORBA::AbstractInterfaceDefSeq concrete_abstract;
  Push(concrete_abstract,
       CORBA::AbstractInterfaceDef::_unchecked_narrow(concrete));
  EXPECT_REPORT(
      BAD_PARAM, IrMinor(0x48),
      "CORBA::Container::create_abstract_interface::base_interfaces",
      CORBA::AbstractInterfaceDef_var(repo_->create_abstract_interface(
          "IDL:X:1.0", "X", "1.0", concrete_abstract)));

  // A concrete interface may derive from an abstract one.
  CORBA::InterfaceDef_var d = Itf("D", {b});
  EXPECT_TRUE(d->is_a("IDL:A:1.0"));
  EXPECT_TRUE(b->is_a("IDL:A:1.0"));

  // Every clash is reported as a clash (the interface kind raises
  // BAD_PARAM minor 5 here).
  CORBA::OperationDef_var(VoidOp(a, "f"));
  CORBA::AbstractInterfaceDef_var other = Abstract("Other");
  CORBA::OperationDef_var(VoidOp(other, "f"));
  CORBA::InterfaceDefSeq seq;
  Append(seq, a.in());
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54), kBaseText,
                other->base_interfaces(seq));
  // Abstract interfaces hold members but no other definitions.
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::EnumDef_var(a->create_enum("IDL:A/E:1.0", "E", "1.0",
                                                 CORBA::EnumMemberSeq())));
  EXPECT_SYSEX(
      NO_IMPLEMENT, IrMinor(0x34),
      CORBA::ModuleDef_var(a->create_module("IDL:A/M:1.0", "M", "1.0")));
}

TEST_F(InterfaceTest, AbstractTypeCodeFollowsRenameIdChangeAndReload) {
  CORBA::AbstractInterfaceDef_var a = Abstract("A");
  CORBA::AttributeDef_var(LongAttr(a, "x"));
  a->name("Renamed");
  a->id("IDL:New:1.0");
  // The reference follows the definition through both changes.
  EXPECT_EQ(Str(a->id()), "IDL:New:1.0");
  for (const char* when : {"live", "after reopen"}) {
    SCOPED_TRACE(when);
    if (std::string(when) != "live") Reopen();
    CORBA::AbstractInterfaceDef_var again =
        CORBA::AbstractInterfaceDef::_narrow(
            CORBA::Contained_var(repo_->lookup("::Renamed")));
    ASSERT_FALSE(CORBA::is_nil(again));
    EXPECT_EQ(again->def_kind(), CORBA::dk_AbstractInterface);
    CORBA::TypeCode_var tc = again->type();
    EXPECT_EQ(tc->kind(), CORBA::tk_abstract_interface);
    EXPECT_STREQ(tc->id(), "IDL:New:1.0");
    EXPECT_STREQ(tc->name(), "Renamed");
    CORBA::InterfaceDef::FullInterfaceDescription_var full =
        again->describe_interface();
    EXPECT_EQ(NamesOf(full->attributes), Ids{"x"});
  }
}

}  // namespace
