// Operations and attributes: the argument checks of their creation, the
// records, the setters with their rules (oneway among them), use links,
// descriptions, and what a failing store leaves behind.
#include <gtest/gtest.h>

#include <string>

#include "ir_fixture.h"

namespace {

using OperationTest = IrTest;

TEST_F(OperationTest, CreationChecksRunInOrderBeforeAnythingIsStored) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::IDLType_var bad_type = NotAType();
  std::string n255(255, 'n');
  const CORBA::IDLType_ptr nil = CORBA::IDLType::_nil();
  const auto bad_op_mode = static_cast<CORBA::OperationMode>(2);
  const auto normal = CORBA::OP_NORMAL;
  const auto in = CORBA::PARAM_IN, bad_in = CORBA::ParameterMode(3);
  const char *id = "IDL:I/f:1.0", *f = "f";
  // The exception: none, a nil entry, an interface seen as an exception.
  enum Raises { kNone, kNil, kInterface };
  // Where two arguments are wrong, the first checked is reported.
  struct Case {
    const char *id, *name, *version;
    CORBA::IDLType_ptr result;
    CORBA::OperationMode mode;
    bool empty_context;
    Raises raises;
    CORBA::IDLType_ptr param_type;
    CORBA::ParameterMode param_mode;
    const char* text;  // after "CORBA::InterfaceDef::create_operation::"
  } cases[] = {
      {nullptr, f, "1.0", l, normal, false, kNone, l, in, "null_input"},
      {id, nullptr, "1.0", l, normal, false, kNone, l, in, "null_input"},
      {id, f, nullptr, l, normal, false, kNone, l, in, "null_input"},
      {id, f, "1.0", nil, normal, false, kNone, l, in, "null_input"},
      {id, n255.c_str(), "1.0", l, bad_op_mode, false, kNone, l, in, "name"},
      {id, f, "1.0", l, bad_op_mode, false, kNone, l, in, "mode"},
      {id, f, "1.0", bad_type, normal, true, kNone, l, in, "contexts"},
      {id, f, "1.0", bad_type, normal, false, kNil, l, in, "result"},
      {id, f, "1.0", l, normal, false, kNil, l, in, "exceptions"},
      {id, f, "1.0", l, normal, false, kInterface, bad_type, in, "exceptions"},
      {id, f, "1.0", l, normal, false, kNone, nil, in, "params"},
      {id, f, "1.0", l, normal, false, kNone, bad_type, in, "params"},
      {id, f, "1.0", l, normal, false, kNone, l, bad_in, "params"},
  };
  int n = 0;
  for (const Case& k : cases) {
    SCOPED_TRACE("case " + std::to_string(n++));
    CORBA::ParDescriptionSeq params;
    Push(params, Param("p", k.param_type, k.param_mode));
    CORBA::ContextIdSeq contexts;
    if (k.empty_context) {
      Push(contexts, "ok");
      Push(contexts, "");
    }
    CORBA::ExceptionDefSeq raises;
    if (k.raises != kNone) raises.length(1);
    if (k.raises == kInterface)
      raises[0] = CORBA::ExceptionDef::_unchecked_narrow(itf);
    EXPECT_REPORT(
        BAD_PARAM, IrMinor(0x48),
        std::string("CORBA::InterfaceDef::create_operation::") + k.text,
        CORBA::OperationDef_var(itf->create_operation(k.id, k.name, k.version,
                                                      k.result, k.mode, params,
                                                      raises, contexts)));
  }

  const auto bad_mode = static_cast<CORBA::AttributeMode>(2);
  struct AttrCase {
    const char* id;
    const char* name;
    const char* version;
    CORBA::IDLType_ptr type;
    CORBA::AttributeMode mode;
    const char* text;
  } attr_cases[] = {
      {nullptr, "a", "1.0", l, CORBA::ATTR_NORMAL, "null_input"},
      {"IDL:I/a:1.0", nullptr, "1.0", l, CORBA::ATTR_NORMAL, "null_input"},
      {"IDL:I/a:1.0", "a", nullptr, l, CORBA::ATTR_NORMAL, "null_input"},
      {"IDL:I/a:1.0", "a", "1.0", CORBA::IDLType::_nil(), bad_mode,
       "null_input"},
      {"IDL:I/a:1.0", n255.c_str(), "1.0", bad_type, bad_mode, "name"},
      {"IDL:I/a:1.0", "a", "1.0", bad_type, bad_mode, "mode"},
      {"IDL:I/a:1.0", "a", "1.0", bad_type, CORBA::ATTR_READONLY, "type"},
  };
  for (const auto& k : attr_cases) {
    SCOPED_TRACE(k.text);
    EXPECT_REPORT(
        BAD_PARAM, IrMinor(0x48),
        std::string("CORBA::InterfaceDef::create_attribute::") + k.text,
        CORBA::AttributeDef_var(
            itf->create_attribute(k.id, k.name, k.version, k.type, k.mode)));
  }
  CORBA::ContainedSeq_var contents = itf->contents(CORBA::dk_all, false);
  EXPECT_EQ(contents->length(), 0u);

  // No oneway rule at creation: a oneway with a result and an out
  // parameter is accepted.
  CORBA::ParDescriptionSeq out;
  Push(out, Param("p", l, CORBA::PARAM_OUT));
  CORBA::OperationDef_var op = Op(itf, "f", l, out, CORBA::OP_ONEWAY);
  EXPECT_EQ(op->mode(), CORBA::OP_ONEWAY);
}

TEST_F(OperationTest, EveryFieldSurvivesReopen) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StringDef_var s5 = repo_->create_string(5);
  CORBA::SequenceDef_var seq_i = repo_->create_sequence(3, itf);
  CORBA::ParDescriptionSeq params;
  Push(params, Param("a", l, CORBA::PARAM_IN));
  Push(params, Param("b", s5, CORBA::PARAM_OUT));
  Push(params, Param("c", seq_i, CORBA::PARAM_INOUT));
  Push(params, Param("d", itf, CORBA::PARAM_IN));
  CORBA::ContextIdSeq contexts;
  Push(contexts, "C1");
  Push(contexts, "C*");
  CORBA::OperationDef_var(
      Op(itf, "f", CORBA::PrimitiveDef_var(Prim(CORBA::pk_wstring)), params,
         CORBA::OP_NORMAL, CORBA::ExceptionDefSeq(), contexts));
  CORBA::SequenceDef_var seq_l = repo_->create_sequence(0, l);
  CORBA::AttributeDef_var(Attr(itf, "a", seq_l, CORBA::ATTR_READONLY));

  for (const char* when : {"live", "after reopen"}) {
    SCOPED_TRACE(when);
    if (std::string(when) != "live") Reopen();
    CORBA::OperationDef_var op = Find<CORBA::OperationDef>("IDL:I/f:1.0");
    ASSERT_FALSE(CORBA::is_nil(op));
    CORBA::TypeCode_var result = op->result();
    EXPECT_TRUE(result->equal(CORBA::_tc_wstring));
    EXPECT_EQ(op->mode(), CORBA::OP_NORMAL);
    CORBA::ContextIdSeq_var ctx = op->contexts();
    EXPECT_EQ(IdsOf(ctx.in()), (Ids{"C1", "C*"}));
    CORBA::ParDescriptionSeq_var ps = op->params();
    ASSERT_EQ(NamesOf(ps.in()), (Ids{"a", "b", "c", "d"}));
    EXPECT_EQ(ps[1].mode, CORBA::PARAM_OUT);
    EXPECT_EQ(ps[2].mode, CORBA::PARAM_INOUT);
    EXPECT_TRUE(ps[0].type->equal(CORBA::_tc_long));
    EXPECT_EQ(ps[1].type->length(), 5u);
    EXPECT_EQ(ps[2].type->length(), 3u);
    CORBA::TypeCode_var element = ps[2].type->content_type();
    EXPECT_STREQ(element->id(), "IDL:I:1.0");
    EXPECT_STREQ(ps[3].type->id(), "IDL:I:1.0");
    EXPECT_EQ(ps[3].type_def->def_kind(), CORBA::dk_Interface);

    CORBA::Contained::Description_var d = op->describe();
    EXPECT_EQ(d->kind, CORBA::dk_Operation);
    const CORBA::OperationDescription* od;
    ASSERT_TRUE(d->value >>= od);
    EXPECT_STREQ(od->defined_in.in(), "IDL:I:1.0");
    EXPECT_EQ(od->parameters.length(), 4u);
    EXPECT_EQ(od->contexts.length(), 2u);

    CORBA::AttributeDef_var attr = Find<CORBA::AttributeDef>("IDL:I/a:1.0");
    ASSERT_FALSE(CORBA::is_nil(attr));
    EXPECT_EQ(attr->mode(), CORBA::ATTR_READONLY);
    EXPECT_EQ(TypeOf(attr)->kind(), CORBA::tk_sequence);
    d = attr->describe();
    EXPECT_EQ(d->kind, CORBA::dk_Attribute);
    const CORBA::AttributeDescription* ad;
    ASSERT_TRUE(d->value >>= ad);
    EXPECT_STREQ(ad->id.in(), "IDL:I/a:1.0");
    EXPECT_STREQ(ad->defined_in.in(), "IDL:I:1.0");
    EXPECT_EQ(ad->mode, CORBA::ATTR_READONLY);
  }
}

TEST_F(OperationTest, OnewayNeedsVoidResultAndInParameters) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::PrimitiveDef_var v = Prim(CORBA::pk_void);
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  const char* text = "CORBA::OperationDef::mode(...)";
  struct Case {
    const char* name;
    CORBA::IDLType_ptr result;
    CORBA::ParameterMode param;  // of the one parameter
    bool accepted;
  } cases[] = {
      {"void_in", v, CORBA::PARAM_IN, true},
      {"void_out", v, CORBA::PARAM_OUT, false},
      {"void_inout", v, CORBA::PARAM_INOUT, false},
      {"long_in", l, CORBA::PARAM_IN, false},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.name);
    CORBA::ParDescriptionSeq params;
    Push(params, Param("p", l, k.param));
    CORBA::OperationDef_var op = Op(itf, k.name, k.result, params);
    if (k.accepted)
      op->mode(CORBA::OP_ONEWAY);
    else
      EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), text, op->mode(CORBA::OP_ONEWAY));
    EXPECT_EQ(op->mode(), k.accepted ? CORBA::OP_ONEWAY : CORBA::OP_NORMAL);
  }
  CORBA::OperationDef_var op = VoidOp(itf, "plain");
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), text,
                op->mode(static_cast<CORBA::OperationMode>(2)));
  op->mode(CORBA::OP_ONEWAY);
  op->mode(CORBA::OP_NORMAL);
  op->mode(CORBA::OP_ONEWAY);
  Reopen();
  op = Find<CORBA::OperationDef>("IDL:I/plain:1.0");
  EXPECT_EQ(op->mode(), CORBA::OP_ONEWAY);
  op = Find<CORBA::OperationDef>("IDL:I/void_out:1.0");
  EXPECT_EQ(op->mode(), CORBA::OP_NORMAL);
}

TEST_F(OperationTest, ContextsParamsAndResultAreCheckedAndMoveUseLinks) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::InterfaceDef_var used = Itf("Used");
  CORBA::InterfaceDef_var other = Itf("Other");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::IDLType_var bad_type = NotAType();
  CORBA::ParDescriptionSeq params;
  Push(params, Param("p", used, CORBA::PARAM_IN));
  CORBA::OperationDef_var op = Op(itf, "f", l, params);
  EXPECT_EQ(Refs("IDL:Used:1.0"), Ids{"IDL:I/f:1.0"});

  // contexts: an empty list or an empty name is refused.
  const char* ctx_text = "CORBA::OperationDef::contexts (...)";
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), ctx_text,
                op->contexts(CORBA::ContextIdSeq()));
  CORBA::ContextIdSeq ctx;
  Push(ctx, "");
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), ctx_text, op->contexts(ctx));
  ctx[0] = "X";
  op->contexts(ctx);

  // params: bad modes and types are refused; a new list moves the links.
  const char* params_text = "CORBA::OperationDef::params(...)";
  CORBA::ParDescriptionSeq bad = params;
  bad[0].mode = static_cast<CORBA::ParameterMode>(3);
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), params_text, op->params(bad));
  bad = params;
  bad[0].type_def = CORBA::IDLType::_duplicate(bad_type);
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), params_text, op->params(bad));
  EXPECT_EQ(Refs("IDL:Used:1.0"), Ids{"IDL:I/f:1.0"});
  CORBA::ParDescriptionSeq replaced;
  Push(replaced, Param("q", other, CORBA::PARAM_OUT));
  Push(replaced, Param("r", l, CORBA::PARAM_INOUT));
  op->params(replaced);
  EXPECT_EQ(Refs("IDL:Used:1.0"), Ids{});
  EXPECT_EQ(Refs("IDL:Other:1.0"), Ids{"IDL:I/f:1.0"});

  // result_def: nil and non-types are refused; a new result moves its link.
  const char* result_text = "CORBA::OperationDef::result_def(...)";
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), result_text,
                op->result_def(CORBA::IDLType::_nil()));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), result_text,
                op->result_def(bad_type));
  op->result_def(used);
  EXPECT_EQ(Refs("IDL:Used:1.0"), Ids{"IDL:I/f:1.0"});

  Reopen();
  op = Find<CORBA::OperationDef>("IDL:I/f:1.0");
  CORBA::ContextIdSeq_var now = op->contexts();
  EXPECT_EQ(IdsOf(now.in()), Ids{"X"});
  CORBA::ParDescriptionSeq_var ps = op->params();
  EXPECT_EQ(NamesOf(ps.in()), (Ids{"q", "r"}));
  EXPECT_STREQ(ps[0].type->id(), "IDL:Other:1.0");
  CORBA::TypeCode_var result = op->result();
  EXPECT_STREQ(result->id(), "IDL:Used:1.0");
}

TEST_F(OperationTest, AttributeSettersCheckTheirArgumentsAndPersist) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::InterfaceDef_var used = Itf("Used");
  CORBA::AttributeDef_var attr = Attr(itf, "a", used);
  EXPECT_EQ(Refs("IDL:Used:1.0"), Ids{"IDL:I/a:1.0"});
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::AttributeDef::type_def(...)",
                attr->type_def(CORBA::IDLType_var(NotAType())));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::AttributeDef::mode(...)",
                attr->mode(static_cast<CORBA::AttributeMode>(2)));
  CORBA::TypeCode_var tc = attr->type();
  EXPECT_STREQ(tc->id(), "IDL:Used:1.0");

  attr->type_def(CORBA::PrimitiveDef_var(Prim(CORBA::pk_long)));
  attr->mode(CORBA::ATTR_READONLY);
  EXPECT_EQ(Refs("IDL:Used:1.0"), Ids{});
  Reopen();
  attr = Find<CORBA::AttributeDef>("IDL:I/a:1.0");
  tc = attr->type();
  EXPECT_TRUE(tc->equal(CORBA::_tc_long));
  EXPECT_EQ(attr->mode(), CORBA::ATTR_READONLY);
  CORBA::IDLType_var def = attr->type_def();
  EXPECT_EQ(def->def_kind(), CORBA::dk_Primitive);
}

TEST_F(OperationTest, ExceptionsAreDescribedByTheirOwnObjects) {
  CORBA::ExceptionDef_var e1 = Exception("E1");
  CORBA::ExceptionDef_var e2 = Exception("E2");
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::ExceptionDefSeq raises;
  Push(raises, CORBA::ExceptionDef::_duplicate(e2));
  Push(raises, CORBA::ExceptionDef::_duplicate(e1));
  CORBA::OperationDef_var op =
      Op(itf, "f", CORBA::PrimitiveDef_var(Prim(CORBA::pk_void)),
         CORBA::ParDescriptionSeq(), CORBA::OP_NORMAL, raises);
  // Oneway does not look at the exceptions.
  op->mode(CORBA::OP_ONEWAY);
  CORBA::ExceptionDefSeq nil_entry;
  nil_entry.length(1);
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                "CORBA::OperationDef::exceptions (...)",
                op->exceptions(nil_entry));

  for (const char* when : {"live", "after reopen"}) {
    SCOPED_TRACE(when);
    if (std::string(when) != "live") Reopen();
    itf = Find<CORBA::InterfaceDef>("IDL:I:1.0");
    CORBA::InterfaceDef::FullInterfaceDescription_var full =
        itf->describe_interface();
    ASSERT_EQ(full->operations.length(), 1u);
    const CORBA::ExcDescriptionSeq& ex = full->operations[0].exceptions;
    ASSERT_EQ(ex.length(), 2u);
    EXPECT_STREQ(ex[0].id.in(), "IDL:E2:1.0");
    EXPECT_STREQ(ex[1].id.in(), "IDL:E1:1.0");
    EXPECT_STREQ(ex[0].name.in(), "E2");
    EXPECT_STREQ(ex[0].defined_in.in(), "");
    EXPECT_EQ(ex[0].type->kind(), CORBA::tk_except);
    EXPECT_EQ(Refs("IDL:E1:1.0"), Ids{"IDL:I/f:1.0"});
  }
  op = Find<CORBA::OperationDef>("IDL:I/f:1.0");
  CORBA::ExceptionDefSeq one;
  Push(one, Find<CORBA::ExceptionDef>("IDL:E2:1.0"));
  op->exceptions(one);
  CORBA::ExceptionDefSeq_var now = op->exceptions();
  EXPECT_EQ(IdsOf(now.in()), Ids{"IDL:E2:1.0"});
}

TEST_F(StoreFaultTest, FailedMemberChangesLeaveNothingBehind) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::InterfaceDef_var used = Itf("Used");
  CORBA::InterfaceDef_var base = Itf("Base");
  // What a client can see of the interfaces and their links.
  auto state = [&]() {
    std::string s;
    CORBA::ContainedSeq_var contents = itf->contents(CORBA::dk_all, false);
    for (const std::string& id : IdsOf(contents.in())) s += id + " ";
    for (const std::string& id : Refs("IDL:Used:1.0", "all"))
      s += "user " + id + " ";
    CORBA::InterfaceDefSeq_var bases = itf->base_interfaces();
    for (const std::string& id : IdsOf(bases.in())) s += "base " + id + " ";
    return s + IdOf(CORBA::Contained_var(repo_->lookup_id("IDL:I/f:1.0")));
  };
  CORBA::ParDescriptionSeq params;
  Push(params, Param("p", used, CORBA::PARAM_IN));
  int changes = FailEachChangeInTurn(
      [&] { CORBA::OperationDef_var(Op(itf, "f", used, params)); }, state);
  EXPECT_GE(changes, 3);  // record, result link, parameter link

  CORBA::OperationDef_var op = Find<CORBA::OperationDef>("IDL:I/f:1.0");
  CORBA::ParDescriptionSeq longs;
  Push(longs, Param("p", CORBA::PrimitiveDef_var(Prim(CORBA::pk_long)),
                    CORBA::PARAM_IN));
  FailEachChangeInTurn([&] { op->params(longs); }, state);

  CORBA::InterfaceDefSeq bases;
  Append(bases, base.in());
  FailEachChangeInTurn([&] { itf->base_interfaces(bases); }, state);
  EXPECT_TRUE(itf->is_a("IDL:Base:1.0"));

  // Setting the mode an object has already writes nothing.
  CORBA::AttributeDef_var attr = LongAttr(used, "x");
  store_->fail_at(1);
  op->mode(CORBA::OP_NORMAL);
  attr->mode(CORBA::ATTR_NORMAL);
  EXPECT_TRUE(store_->armed());
  store_->disarm();
}

}  // namespace
