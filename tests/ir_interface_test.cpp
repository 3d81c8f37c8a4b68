// Interfaces: base lists and their rules, is_a, inherited names,
// contents with inherited members, descriptions, changes of id and name,
// abstract interfaces.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ir/interfdf.h"
#include "ir/servant_locator.h"
#include "ir_interface_fixture.h"

namespace {

using Ids = std::vector<std::string>;
const char kBaseText[] = "CORBA::InterfaceDef::base_interfaces(...)";

using BaseListTest = InterfaceTest;
using InheritedNameTest = InterfaceTest;
using InterfaceContentsTest = InterfaceTest;
using DescribeInterfaceTest = InterfaceTest;
using InterfaceIdTest = InterfaceTest;
using AbstractInterfaceTest = InterfaceTest;

// --- base lists ------------------------------------------------------------

TEST_F(BaseListTest, EmptyListMeansObject) {
  CORBA::InterfaceDef_var a = Itf("A");
  CORBA::InterfaceDef_var b = Itf("B", {a});
  CORBA::InterfaceDefSeq_var bases = a->base_interfaces();
  EXPECT_EQ(IdsOf(bases.in()), Ids{"IDL:Object:1.0"});
  EXPECT_TRUE(a->is_a("IDL:Object:1.0"));

  b->base_interfaces(CORBA::InterfaceDefSeq());
  bases = b->base_interfaces();
  EXPECT_EQ(IdsOf(bases.in()), Ids{"IDL:Object:1.0"});
  EXPECT_FALSE(b->is_a("IDL:A:1.0"));
  EXPECT_TRUE(b->is_a("IDL:Object:1.0"));

  CORBA::Contained::Description_var d = b->describe();
  const CORBA::InterfaceDescription* desc;
  ASSERT_TRUE(d->value >>= desc);
  EXPECT_EQ(IdsOf(desc->base_interfaces), Ids{"IDL:Object:1.0"});
  EXPECT_STREQ(desc->defined_in.in(), "");  // at the top level

  Reopen();
  CORBA::Contained_var again = repo_->lookup_id("IDL:B:1.0");
  b = CORBA::InterfaceDef::_narrow(again);
  bases = b->base_interfaces();
  EXPECT_EQ(IdsOf(bases.in()), Ids{"IDL:Object:1.0"});
}

TEST_F(BaseListTest, NilOrForeignEntriesAreRefusedAndChangeNothing) {
  CORBA::InterfaceDef_var a = Itf("A");
  CORBA::InterfaceDef_var b = Itf("B", {a});
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::InterfaceDef_var module_as_interface =
      CORBA::InterfaceDef::_unchecked_narrow(m);

  CORBA::InterfaceDefSeq with_nil;
  with_nil.length(2);
  with_nil[0] = CORBA::InterfaceDef::_duplicate(a);
  // with_nil[1] stays nil: refused before any store query.
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                "CORBA::InterfaceDef::base_interfaces(...)::null input",
                b->base_interfaces(with_nil));
  CORBA::InterfaceDefSeq not_an_interface;
  Append(not_an_interface, module_as_interface.in());
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), kBaseText,
                b->base_interfaces(not_an_interface));
  CORBA::InterfaceDefSeq_var bases = b->base_interfaces();
  EXPECT_EQ(IdsOf(bases.in()), Ids{"IDL:A:1.0"});

  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                "CORBA::Container::create_interface::base_interfaces",
                CORBA::InterfaceDef_var(repo_->create_interface(
                    "IDL:C:1.0", "C", "1.0", with_nil)));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                "CORBA::Container::create_interface::base_interfaces",
                CORBA::InterfaceDef_var(repo_->create_interface(
                    "IDL:C:1.0", "C", "1.0", not_an_interface)));
  EXPECT_TRUE(
      CORBA::is_nil(CORBA::Contained_var(repo_->lookup_id("IDL:C:1.0"))));
}

TEST_F(BaseListTest, CyclesAreRefusedAndTheCurrentBasesMaybeSetAgain) {
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
    CORBA::InterfaceDefSeq_var before = k.target->base_interfaces();
    CORBA::InterfaceDefSeq seq;
    Append(seq, k.base);
    EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), kBaseText,
                  k.target->base_interfaces(seq));
    CORBA::InterfaceDefSeq_var after = k.target->base_interfaces();
    EXPECT_EQ(IdsOf(after.in()), IdsOf(before.in()));
  }
  EXPECT_FALSE(a->is_a("IDL:C:1.0"));

  // The bases it has already, and more of the same chain, are fine.
  CORBA::InterfaceDefSeq again;
  Append(again, b.in());
  c->base_interfaces(again);
  Append(again, a.in());
  c->base_interfaces(again);
  CORBA::InterfaceDefSeq_var now = c->base_interfaces();
  EXPECT_EQ(IdsOf(now.in()), (Ids{"IDL:B:1.0", "IDL:A:1.0"}));

  // Both records are unchanged by the refusals.
  Reopen();
  CORBA::Contained_var ra = repo_->lookup_id("IDL:A:1.0");
  a = CORBA::InterfaceDef::_narrow(ra);
  CORBA::InterfaceDefSeq_var a_bases = a->base_interfaces();
  EXPECT_EQ(IdsOf(a_bases.in()), Ids{"IDL:Object:1.0"});
  EXPECT_FALSE(a->is_a("IDL:C:1.0"));
}

// An own member of a derived interface against a member of the same name
// that a new base brings in (directly or from its own base).
struct ClashCase {
  const char* what;
  bool own_is_operation;
  bool base_is_operation;
  bool in_grand_base;
  CORBA::ULong minor;  // of BAD_PARAM
};

TEST_F(BaseListTest, ClashesOfOwnMembersWithInheritedOnes) {
  const ClashCase cases[] = {
      {"operation vs operation", true, true, false, OmgMinor(5)},
      {"operation vs inherited operation", true, true, true, OmgMinor(5)},
      {"operation vs attribute", true, false, false, IrMinor(0x54)},
      {"attribute vs operation", false, true, false, IrMinor(0x54)},
      {"attribute vs attribute", false, false, true, IrMinor(0x54)},
  };
  CORBA::InterfaceDef_var grand = Itf("G");
  CORBA::InterfaceDef_var base = Itf("B", {grand});
  int n = 0;
  for (const ClashCase& k : cases) {
    SCOPED_TRACE(k.what);
    std::string name = "m" + std::to_string(n++);
    CORBA::InterfaceDef_ptr holder = k.in_grand_base ? grand.in() : base.in();
    if (k.base_is_operation)
      CORBA::OperationDef_var(VoidOp(holder, name));
    else
      CORBA::AttributeDef_var(LongAttr(holder, name));
    CORBA::InterfaceDef_var derived = Itf("D" + name);
    if (k.own_is_operation)
      CORBA::OperationDef_var(VoidOp(derived, name));
    else
      CORBA::AttributeDef_var(LongAttr(derived, name));
    CORBA::InterfaceDefSeq seq;
    Append(seq, base.in());
    EXPECT_REPORT(BAD_PARAM, k.minor, kBaseText, derived->base_interfaces(seq));
    EXPECT_FALSE(derived->is_a("IDL:B:1.0"));
  }
  // A member of another name does not clash.
  CORBA::InterfaceDef_var fine = Itf("Fine");
  CORBA::OperationDef_var(VoidOp(fine, "other"));
  CORBA::InterfaceDefSeq seq;
  Append(seq, base.in());
  fine->base_interfaces(seq);
  EXPECT_TRUE(fine->is_a("IDL:G:1.0"));
}

TEST_F(BaseListTest, IsAFollowsEveryLevelAndNothingElse) {
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

TEST_F(InheritedNameTest, CreatorsRefuseInheritedAndUsedNames) {
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
  CORBA::ContainedSeq_var contents = d->contents(CORBA::dk_all, true);
  EXPECT_EQ(IdsOf(contents.in()), Ids{"IDL:D/own:1.0"});

  // The interface's own query: operations first, attributes otherwise.
  Servant_ref<CORBA_IRObject_Impl> s(ir_servant_of(d));
  CORBA_InterfaceDef_Impl* impl =
      CORBA_InterfaceDef_Impl::interface_view(s.in());
  ASSERT_NE(impl, nullptr);
  CORBA::ContainedSeq_var found = impl->check_inherited_name("op");
  EXPECT_EQ(IdsOf(found.in()), Ids{"IDL:G/op:1.0"});
  found = impl->check_inherited_name("attr");
  EXPECT_EQ(IdsOf(found.in()), Ids{"IDL:G/attr:1.0"});
  found = impl->check_inherited_name("own");  // not inherited: own
  EXPECT_EQ(found->length(), 0u);
}

TEST_F(InheritedNameTest, UserTransactionSkipsTheNameChecks) {
  CORBA::InterfaceDef_var b = Itf("B");
  CORBA::OperationDef_var(VoidOp(b, "op"));
  CORBA::InterfaceDef_var d = Itf("D", {b});
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  ext_->ext_beginUserTransaction();
  CORBA::AttributeDef_var attr =
      d->create_attribute("IDL:D/op:1.0", "op", "1.0", l, CORBA::ATTR_NORMAL);
  CORBA::OperationDef_var op = VoidOp(d, "op2");
  CORBA::AttributeDef_var same_name = d->create_attribute(
      "IDL:D/op2b:1.0", "op2", "1.0", l, CORBA::ATTR_NORMAL);
  // The repository id stays unique even then.
  EXPECT_SYSEX(BAD_PARAM, OmgMinor(3),
               CORBA::AttributeDef_var(d->create_attribute(
                   "IDL:D/op:1.0", "other", "1.0", l, CORBA::ATTR_NORMAL)));
  ext_->ext_endUserTransaction();
  EXPECT_EQ(IdOf(CORBA::Contained_var(repo_->lookup_id("IDL:D/op:1.0"))),
            "IDL:D/op:1.0");
}

TEST_F(InheritedNameTest, NamesOf254CharactersAreTheLongest) {
  CORBA::InterfaceDef_var d = Itf("D");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  std::string n254(254, 'a'), n255(255, 'b'), o254(254, 'c'), o255(255, 'd');
  CORBA::AttributeDef_var ok_attr = d->create_attribute(
      "IDL:D/a254:1.0", n254.c_str(), "1.0", l, CORBA::ATTR_READONLY);
  CORBA::OperationDef_var ok_op =
      d->create_operation("IDL:D/o254:1.0", o254.c_str(), "1.0", l,
                          CORBA::OP_NORMAL, CORBA::ParDescriptionSeq(),
                          CORBA::ExceptionDefSeq(), CORBA::ContextIdSeq());
  EXPECT_REPORT(
      BAD_PARAM, IrMinor(0x48), "CORBA::InterfaceDef::create_attribute::name",
      CORBA::AttributeDef_var(d->create_attribute(
          "IDL:D/a255:1.0", n255.c_str(), "1.0", l, CORBA::ATTR_NORMAL)));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                "CORBA::InterfaceDef::create_operation::name",
                CORBA::OperationDef_var(d->create_operation(
                    "IDL:D/o255:1.0", o255.c_str(), "1.0", l, CORBA::OP_NORMAL,
                    CORBA::ParDescriptionSeq(), CORBA::ExceptionDefSeq(),
                    CORBA::ContextIdSeq())));
  CORBA::ContainedSeq_var all = d->contents(CORBA::dk_all, false);
  EXPECT_EQ(IdsOf(all.in()), (Ids{"IDL:D/a254:1.0", "IDL:D/o254:1.0"}));
}

// --- contents with inherited members ---------------------------------------

TEST_F(InterfaceContentsTest, InheritedMembersAreContentsUnlessExcluded) {
  CORBA::InterfaceDef_var b = Itf("B");
  CORBA::OperationDef_var(VoidOp(b, "f"));
  CORBA::InterfaceDef_var d = Itf("D", {b});
  CORBA::AttributeDef_var(LongAttr(d, "a"));
  // Filled now: a later member of the base must still show.
  CORBA::ContainedSeq_var all = d->contents(CORBA::dk_all, false);
  EXPECT_EQ(IdsOf(all.in()), (Ids{"IDL:B/f:1.0", "IDL:D/a:1.0"}));
  CORBA::OperationDef_var(VoidOp(b, "g"));

  all = d->contents(CORBA::dk_all, false);
  EXPECT_EQ(IdsOf(all.in()),
            (Ids{"IDL:B/f:1.0", "IDL:D/a:1.0", "IDL:B/g:1.0"}));
  CORBA::ContainedSeq_var own = d->contents(CORBA::dk_all, true);
  EXPECT_EQ(IdsOf(own.in()), Ids{"IDL:D/a:1.0"});
  CORBA::ContainedSeq_var ops = d->contents(CORBA::dk_Operation, false);
  EXPECT_EQ(IdsOf(ops.in()), (Ids{"IDL:B/f:1.0", "IDL:B/g:1.0"}));

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
  all = d->contents(CORBA::dk_all, false);
  EXPECT_EQ(IdsOf(all.in()), (Ids{"IDL:D/a:1.0", "IDL:C/h:1.0"}));
  EXPECT_TRUE(CORBA::is_nil(CORBA::Contained_var(d->lookup("f"))));
}

TEST_F(InterfaceContentsTest, MembersRenamedInABaseAreFoundByTheirNewNames) {
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

  // A member may not take the name of a member that its interface
  // inherits.
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54), "CORBA::Contained::name(...)",
                own->name("a"));
  CORBA::String_var name = own->name();
  EXPECT_STREQ(name.in(), "own");
}

// --- descriptions ----------------------------------------------------------

TEST_F(DescribeInterfaceTest, OwnMembersOnlyInStoreOrder) {
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::InterfaceDef_var b = Itf("B");
  CORBA::OperationDef_var(VoidOp(b, "inherited"));
  CORBA::InterfaceDefSeq bases;
  Append(bases, b.in());
  CORBA::InterfaceDef_var only_inherits =
      m->create_interface("IDL:M/I:1.0", "I", "2.0", bases);
  CORBA::InterfaceDef::FullInterfaceDescription_var full =
      only_inherits->describe_interface();
  EXPECT_STREQ(full->name.in(), "I");
  EXPECT_STREQ(full->id.in(), "IDL:M/I:1.0");
  EXPECT_STREQ(full->defined_in.in(), "IDL:M:1.0");
  EXPECT_STREQ(full->version.in(), "2.0");
  EXPECT_EQ(full->operations.length(), 0u);
  EXPECT_EQ(full->attributes.length(), 0u);
  EXPECT_EQ(IdsOf(full->base_interfaces), Ids{"IDL:B:1.0"});
  EXPECT_EQ(full->type->kind(), CORBA::tk_objref);
  EXPECT_STREQ(full->type->id(), "IDL:M/I:1.0");
  EXPECT_STREQ(full->type->name(), "I");

  CORBA::OperationDef_var(VoidOp(only_inherits, "z"));
  CORBA::AttributeDef_var(LongAttr(only_inherits, "y"));
  CORBA::OperationDef_var(VoidOp(only_inherits, "x"));
  full = only_inherits->describe_interface();
  EXPECT_EQ(NamesOf(full->operations), (Ids{"z", "x"}));
  EXPECT_EQ(NamesOf(full->attributes), Ids{"y"});
  EXPECT_STREQ(full->operations[0].defined_in.in(), "IDL:M/I:1.0");
  EXPECT_STREQ(full->attributes[0].defined_in.in(), "IDL:M/I:1.0");
}

TEST_F(DescribeInterfaceTest,
       ExtendedDescriptionListsInheritedMembersBaseFirst) {
  // D : B, C; B : A; C : A.  Each interface once, after its bases.
  CORBA::InterfaceDef_var a = Itf("A");
  CORBA::InterfaceDef_var c = Itf("C", {a});
  CORBA::InterfaceDef_var b = Itf("B", {a});
  CORBA::InterfaceDef_var d = Itf("D", {b, c});
  // Created in an order that differs from the inheritance order.
  CORBA::OperationDef_var(VoidOp(d, "d_op"));
  CORBA::OperationDef_var(VoidOp(c, "c_op"));
  CORBA::OperationDef_var(VoidOp(b, "b_op"));
  CORBA::OperationDef_var(VoidOp(a, "a_op"));
  CORBA::AttributeDef_var(LongAttr(a, "a_attr"));
  CORBA::AttributeDef_var(Attr(d, "d_attr",
                               CORBA::PrimitiveDef_var(Prim(CORBA::pk_string)),
                               CORBA::ATTR_READONLY));

  IRExt::InterfaceDef_var ext = IRExt::InterfaceDef::_narrow(d);
  ASSERT_FALSE(CORBA::is_nil(ext));
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

TEST_F(InterfaceIdTest, NewIdReachesEveryUserAndTheTypeCodes) {
  CORBA::InterfaceDef_var i = Itf("I");
  CORBA::InterfaceDef_var k = Itf("K", {i});
  CORBA::InterfaceDef_var user = Itf("U");
  CORBA::SequenceDef_var seq = repo_->create_sequence(0, i);
  CORBA::ParDescriptionSeq params;
  Push(params, Param("direct", i, CORBA::PARAM_IN));
  Push(params, Param("wrapped", seq, CORBA::PARAM_OUT));
  CORBA::OperationDef_var op = Op(user, "f", i, params);
  CORBA::AttributeDef_var attr = Attr(user, "a", i);

  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54), "CORBA::InterfaceDef::id(...)",
                i->id("IDL:K:1.0"));
  i->id("IDL:I2:1.0");

  auto check = [&](const char* when) {
    SCOPED_TRACE(when);
    CORBA::Contained_var found = repo_->lookup_id("IDL:I2:1.0");
    CORBA::InterfaceDef_var renamed = CORBA::InterfaceDef::_narrow(found);
    ASSERT_FALSE(CORBA::is_nil(renamed));
    CORBA::TypeCode_var tc = renamed->type();
    EXPECT_STREQ(tc->id(), "IDL:I2:1.0");
    EXPECT_TRUE(
        CORBA::is_nil(CORBA::Contained_var(repo_->lookup_id("IDL:I:1.0"))));

    CORBA::Contained_var kc = repo_->lookup_id("IDL:K:1.0");
    CORBA::InterfaceDef_var derived = CORBA::InterfaceDef::_narrow(kc);
    CORBA::InterfaceDefSeq_var bases = derived->base_interfaces();
    EXPECT_EQ(IdsOf(bases.in()), Ids{"IDL:I2:1.0"});
    EXPECT_TRUE(derived->is_a("IDL:I2:1.0"));

    CORBA::Contained_var oc = repo_->lookup_id("IDL:U/f:1.0");
    CORBA::OperationDef_var o = CORBA::OperationDef::_narrow(oc);
    CORBA::TypeCode_var result = o->result();
    EXPECT_STREQ(result->id(), "IDL:I2:1.0");
    CORBA::IDLType_var rdef = o->result_def();
    EXPECT_EQ(IdOf(CORBA::Contained_var(CORBA::Contained::_narrow(rdef))),
              "IDL:I2:1.0");
    CORBA::ParDescriptionSeq_var ps = o->params();
    ASSERT_EQ(ps->length(), 2u);
    EXPECT_STREQ(ps[0].type->id(), "IDL:I2:1.0");
    EXPECT_EQ(ps[1].type->kind(), CORBA::tk_sequence);
    CORBA::SequenceDef_var sd = CORBA::SequenceDef::_narrow(ps[1].type_def);
    CORBA::IDLType_var element = sd->element_type_def();
    EXPECT_EQ(IdOf(CORBA::Contained_var(CORBA::Contained::_narrow(element))),
              "IDL:I2:1.0");

    CORBA::Contained_var ac = repo_->lookup_id("IDL:U/a:1.0");
    CORBA::AttributeDef_var at = CORBA::AttributeDef::_narrow(ac);
    CORBA::TypeCode_var atc = at->type();
    EXPECT_STREQ(atc->id(), "IDL:I2:1.0");

    IRExt::Contained_var ext = IRExt::Contained::_narrow(renamed);
    CORBA::ContainedSeq_var users = ext->ext_get_refs_object("uses");
    EXPECT_EQ(IdsOf(users.in()), (Ids{"IDL:U/f:1.0", "IDL:U/a:1.0"}));
  };
  check("live");
  Reopen();
  check("after reopen");
}

TEST_F(InterfaceIdTest, RenameGivesANewTypeCode) {
  CORBA::InterfaceDef_var i = Itf("I");
  i->name("J");
  CORBA::TypeCode_var tc = i->type();
  EXPECT_STREQ(tc->name(), "J");
  EXPECT_STREQ(tc->id(), "IDL:I:1.0");
  CORBA::String_var absolute = i->absolute_name();
  EXPECT_STREQ(absolute.in(), "::J");
}

// --- abstract interfaces ---------------------------------------------------

TEST_F(AbstractInterfaceTest, BasesMustBeAbstractAndAreNeverObject) {
  CORBA::AbstractInterfaceDef_var a = Abstract("A");
  CORBA::InterfaceDefSeq_var bases = a->base_interfaces();
  EXPECT_EQ(bases->length(), 0u);
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
  bases = b->base_interfaces();
  EXPECT_EQ(IdsOf(bases.in()), Ids{"IDL:A:1.0"});
  CORBA::InterfaceDefSeq cycle;
  Append(cycle, b.in());
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), kBaseText, a->base_interfaces(cycle));

  CORBA::AbstractInterfaceDefSeq concrete_abstract;
  concrete_abstract.length(1);
  concrete_abstract[0] =
      CORBA::AbstractInterfaceDef::_unchecked_narrow(concrete);
  EXPECT_REPORT(
      BAD_PARAM, IrMinor(0x48),
      "CORBA::Container::create_abstract_interface::base_interfaces",
      CORBA::AbstractInterfaceDef_var(repo_->create_abstract_interface(
          "IDL:X:1.0", "X", "1.0", concrete_abstract)));

  // A concrete interface may derive from an abstract one.
  CORBA::InterfaceDef_var d = Itf("D", {b});
  EXPECT_TRUE(d->is_a("IDL:A:1.0"));
  EXPECT_TRUE(b->is_a("IDL:A:1.0"));
}

TEST_F(AbstractInterfaceTest, EveryClashIsReportedAsClash) {
  CORBA::AbstractInterfaceDef_var base = Abstract("Base");
  CORBA::OperationDef_var(VoidOp(base, "f"));
  CORBA::AbstractInterfaceDef_var other = Abstract("Other");
  CORBA::OperationDef_var(VoidOp(other, "f"));
  CORBA::InterfaceDefSeq seq;
  Append(seq, base.in());
  // The interface kind raises BAD_PARAM minor 5 here.
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x54), kBaseText,
                other->base_interfaces(seq));
}

TEST_F(AbstractInterfaceTest, TypeCodeFollowsRenameIdChangeAndReload) {
  CORBA::AbstractInterfaceDef_var a = Abstract("A");
  CORBA::AttributeDef_var(LongAttr(a, "x"));
  a->name("Renamed");
  a->id("IDL:New:1.0");
  auto check = [&](CORBA::AbstractInterfaceDef_ptr itf) {
    CORBA::TypeCode_var tc = itf->type();
    EXPECT_EQ(tc->kind(), CORBA::tk_abstract_interface);
    EXPECT_STREQ(tc->id(), "IDL:New:1.0");
    EXPECT_STREQ(tc->name(), "Renamed");
    CORBA::InterfaceDef::FullInterfaceDescription_var full =
        itf->describe_interface();
    EXPECT_EQ(NamesOf(full->attributes), Ids{"x"});
  };
  // A reference names its object by id: the old one has gone.
  EXPECT_THROW(a->def_kind(), CORBA::OBJECT_NOT_EXIST);
  CORBA::Contained_var moved = repo_->lookup_id("IDL:New:1.0");
  a = CORBA::AbstractInterfaceDef::_narrow(moved);
  check(a);
  Reopen();
  CORBA::Contained_var found = repo_->lookup("::Renamed");
  CORBA::AbstractInterfaceDef_var again =
      CORBA::AbstractInterfaceDef::_narrow(found);
  ASSERT_FALSE(CORBA::is_nil(again));
  EXPECT_EQ(again->def_kind(), CORBA::dk_AbstractInterface);
  check(again);
}

TEST_F(AbstractInterfaceTest, OffersMembersButNoOtherDefinitions) {
  CORBA::AbstractInterfaceDef_var a = Abstract("A");
  CORBA::OperationDef_var op = VoidOp(a, "f");
  EXPECT_FALSE(CORBA::is_nil(op));
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::EnumDef_var(a->create_enum("IDL:A/E:1.0", "E", "1.0",
                                                 CORBA::EnumMemberSeq())));
  EXPECT_SYSEX(
      NO_IMPLEMENT, IrMinor(0x34),
      CORBA::ModuleDef_var(a->create_module("IDL:A/M:1.0", "M", "1.0")));
  // A concrete interface holds nested definitions where its kind allows.
  CORBA::InterfaceDef_var i = Itf("I");
  EXPECT_SYSEX(NO_IMPLEMENT, IrMinor(0x34),
               CORBA::InterfaceDef_var(i->create_interface(
                   "IDL:I/J:1.0", "J", "1.0", CORBA::InterfaceDefSeq())));
}

}  // namespace
