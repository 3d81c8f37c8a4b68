// Operations and attributes: the argument checks of their creation, the
// records, the setters with their rules (oneway among them), use links,
// descriptions, and what a failing store leaves behind.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "failing_store.h"
#include "ir/reposito.h"
#include "ir_interface_fixture.h"
#include "store/irdb.h"

namespace {

using Ids = std::vector<std::string>;

using CreateOperationTest = InterfaceTest;
using OperationRecordTest = InterfaceTest;
using OperationSetterTest = InterfaceTest;
using AttributeTest = InterfaceTest;
using OperationExceptionTest = InterfaceTest;

// The arguments of one create_operation call, changed per case.
struct OperationArgs {
  const char* id = "IDL:I/f:1.0";
  const char* name = "f";
  const char* version = "1.0";
  CORBA::IDLType_var result;
  CORBA::OperationMode mode = CORBA::OP_NORMAL;
  CORBA::ParDescriptionSeq params;
  CORBA::ExceptionDefSeq exceptions;
  CORBA::ContextIdSeq contexts;
};

TEST_F(CreateOperationTest, ChecksRunInOrderBeforeAnythingIsStored) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ModuleDef_var module = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var module_as_type = CORBA::IDLType::_unchecked_narrow(module);
  CORBA::ExceptionDef_var interface_as_exception =
      CORBA::ExceptionDef::_unchecked_narrow(itf);
  std::string n255(255, 'n');
  const std::string prefix = "CORBA::InterfaceDef::create_operation::";

  struct Case {
    const char* what;
    std::function<void(OperationArgs&)> change;
    const char* text;  // after the prefix
  };
  const Case cases[] = {
      {"null id", [](OperationArgs& a) { a.id = nullptr; }, "null_input"},
      {"null name", [](OperationArgs& a) { a.name = nullptr; }, "null_input"},
      {"null version", [](OperationArgs& a) { a.version = nullptr; },
       "null_input"},
      {"nil result",
       [](OperationArgs& a) { a.result = CORBA::IDLType::_nil(); },
       "null_input"},
      {"name of 255, bad mode",
       [&](OperationArgs& a) {
         a.name = n255.c_str();
         a.mode = static_cast<CORBA::OperationMode>(2);
       },
       "name"},
      {"mode 2",
       [](OperationArgs& a) { a.mode = static_cast<CORBA::OperationMode>(2); },
       "mode"},
      {"empty context, result not a type",
       [&](OperationArgs& a) {
         a.contexts.length(2);
         a.contexts[0] = "ok";
         a.contexts[1] = "";
         a.result = CORBA::IDLType::_duplicate(module_as_type);
       },
       "contexts"},
      {"result not a type, nil exception",
       [&](OperationArgs& a) {
         a.result = CORBA::IDLType::_duplicate(module_as_type);
         a.exceptions.length(1);
       },
       "result"},
      {"nil exception", [](OperationArgs& a) { a.exceptions.length(1); },
       "exceptions"},
      {"exception that is an interface, parameter not a type",
       [&](OperationArgs& a) {
         a.exceptions.length(1);
         a.exceptions[0] =
             CORBA::ExceptionDef::_duplicate(interface_as_exception);
         a.params[0].type_def = CORBA::IDLType::_duplicate(module_as_type);
       },
       "exceptions"},
      {"nil parameter type",
       [](OperationArgs& a) { a.params[0].type_def = CORBA::IDLType::_nil(); },
       "params"},
      {"parameter type that is a module",
       [&](OperationArgs& a) {
         a.params[0].type_def = CORBA::IDLType::_duplicate(module_as_type);
       },
       "params"},
      {"parameter mode 3",
       [](OperationArgs& a) {
         a.params[0].mode = static_cast<CORBA::ParameterMode>(3);
       },
       "params"},
  };
  for (const Case& k : cases) {
    SCOPED_TRACE(k.what);
    OperationArgs a;
    a.result = CORBA::IDLType::_duplicate(l);
    Push(a.params, Param("p", l, CORBA::PARAM_IN));
    k.change(a);
    EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), prefix + k.text,
                  CORBA::OperationDef_var(itf->create_operation(
                      a.id, a.name, a.version, a.result, a.mode, a.params,
                      a.exceptions, a.contexts)));
  }
  CORBA::ContainedSeq_var contents = itf->contents(CORBA::dk_all, false);
  EXPECT_EQ(contents->length(), 0u);

  // No oneway rule at creation: a oneway with a result and an out
  // parameter is accepted.
  OperationArgs ok;
  ok.result = CORBA::IDLType::_duplicate(l);
  ok.mode = CORBA::OP_ONEWAY;
  Push(ok.params, Param("p", l, CORBA::PARAM_OUT));
  CORBA::OperationDef_var op =
      itf->create_operation(ok.id, ok.name, ok.version, ok.result, ok.mode,
                            ok.params, ok.exceptions, ok.contexts);
  EXPECT_EQ(op->mode(), CORBA::OP_ONEWAY);
}

TEST_F(CreateOperationTest, AttributeChecksRunInOrder) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ModuleDef_var module = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var module_as_type = CORBA::IDLType::_unchecked_narrow(module);
  const auto bad_mode = static_cast<CORBA::AttributeMode>(2);
  std::string n255(255, 'n');
  struct Case {
    const char* id;
    const char* name;
    const char* version;
    CORBA::IDLType_ptr type;
    CORBA::AttributeMode mode;
    const char* text;
  } cases[] = {
      {nullptr, "a", "1.0", l, CORBA::ATTR_NORMAL, "null_input"},
      {"IDL:I/a:1.0", nullptr, "1.0", l, CORBA::ATTR_NORMAL, "null_input"},
      {"IDL:I/a:1.0", "a", nullptr, l, CORBA::ATTR_NORMAL, "null_input"},
      {"IDL:I/a:1.0", "a", "1.0", CORBA::IDLType::_nil(), bad_mode,
       "null_input"},
      {"IDL:I/a:1.0", n255.c_str(), "1.0", module_as_type, bad_mode, "name"},
      {"IDL:I/a:1.0", "a", "1.0", module_as_type, bad_mode, "mode"},
      {"IDL:I/a:1.0", "a", "1.0", module_as_type, CORBA::ATTR_READONLY, "type"},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(k.text);
    EXPECT_REPORT(
        BAD_PARAM, IrMinor(0x48),
        std::string("CORBA::InterfaceDef::create_attribute::") + k.text,
        CORBA::AttributeDef_var(
            itf->create_attribute(k.id, k.name, k.version, k.type, k.mode)));
  }
  CORBA::ContainedSeq_var contents = itf->contents(CORBA::dk_all, false);
  EXPECT_EQ(contents->length(), 0u);
}

// --- records ---------------------------------------------------------------

TEST_F(OperationRecordTest, EveryFieldSurvivesReopen) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::StringDef_var s5 = repo_->create_string(5);
  CORBA::SequenceDef_var seq_i = repo_->create_sequence(3, itf);
  CORBA::PrimitiveDef_var ws = Prim(CORBA::pk_wstring);
  CORBA::ParDescriptionSeq params;
  Push(params, Param("a", l, CORBA::PARAM_IN));
  Push(params, Param("b", s5, CORBA::PARAM_OUT));
  Push(params, Param("c", seq_i, CORBA::PARAM_INOUT));
  Push(params, Param("d", itf, CORBA::PARAM_IN));
  CORBA::ContextIdSeq contexts;
  contexts.length(2);
  contexts[0] = "C1";
  contexts[1] = "C*";
  CORBA::OperationDef_var(Op(itf, "f", ws, params, CORBA::OP_NORMAL,
                             CORBA::ExceptionDefSeq(), contexts));
  CORBA::SequenceDef_var seq_l = repo_->create_sequence(0, l);
  CORBA::AttributeDef_var(Attr(itf, "a", seq_l, CORBA::ATTR_READONLY));

  auto check = [&](const char* when) {
    SCOPED_TRACE(when);
    CORBA::Contained_var c = repo_->lookup("::I::f");
    CORBA::OperationDef_var op = CORBA::OperationDef::_narrow(c);
    ASSERT_FALSE(CORBA::is_nil(op));
    EXPECT_EQ(op->def_kind(), CORBA::dk_Operation);
    CORBA::TypeCode_var result = op->result();
    EXPECT_TRUE(result->equal(CORBA::_tc_wstring));
    EXPECT_EQ(op->mode(), CORBA::OP_NORMAL);
    CORBA::ContextIdSeq_var ctx = op->contexts();
    ASSERT_EQ(ctx->length(), 2u);
    EXPECT_STREQ(ctx[1].in(), "C*");
    CORBA::ParDescriptionSeq_var ps = op->params();
    ASSERT_EQ(ps->length(), 4u);
    EXPECT_EQ(NamesOf(ps.in()), (Ids{"a", "b", "c", "d"}));
    EXPECT_EQ(ps[1].mode, CORBA::PARAM_OUT);
    EXPECT_EQ(ps[2].mode, CORBA::PARAM_INOUT);
    EXPECT_TRUE(ps[0].type->equal(CORBA::_tc_long));
    EXPECT_EQ(ps[1].type->kind(), CORBA::tk_string);
    EXPECT_EQ(ps[1].type->length(), 5u);
    EXPECT_EQ(ps[2].type->kind(), CORBA::tk_sequence);
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
    EXPECT_EQ(od->exceptions.length(), 0u);

    c = repo_->lookup("::I::a");
    CORBA::AttributeDef_var attr = CORBA::AttributeDef::_narrow(c);
    ASSERT_FALSE(CORBA::is_nil(attr));
    EXPECT_EQ(attr->mode(), CORBA::ATTR_READONLY);
    CORBA::TypeCode_var atc = attr->type();
    EXPECT_EQ(atc->kind(), CORBA::tk_sequence);
    d = attr->describe();
    EXPECT_EQ(d->kind, CORBA::dk_Attribute);
    const CORBA::AttributeDescription* ad;
    ASSERT_TRUE(d->value >>= ad);
    EXPECT_STREQ(ad->id.in(), "IDL:I/a:1.0");
    EXPECT_STREQ(ad->defined_in.in(), "IDL:I:1.0");
    EXPECT_EQ(ad->mode, CORBA::ATTR_READONLY);
  };
  check("live");
  Reopen();
  check("after reopen");
}

// --- setters ---------------------------------------------------------------

TEST_F(OperationSetterTest, OnewayNeedsVoidResultAndInParameters) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::PrimitiveDef_var v = Prim(CORBA::pk_void);
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
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
    if (k.accepted) {
      op->mode(CORBA::OP_ONEWAY);
      EXPECT_EQ(op->mode(), CORBA::OP_ONEWAY);
    } else {
      EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::OperationDef::mode(...)",
                    op->mode(CORBA::OP_ONEWAY));
      EXPECT_EQ(op->mode(), CORBA::OP_NORMAL);
    }
  }
  CORBA::OperationDef_var op = VoidOp(itf, "plain");
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::OperationDef::mode(...)",
                op->mode(static_cast<CORBA::OperationMode>(2)));
  op->mode(CORBA::OP_ONEWAY);
  op->mode(CORBA::OP_NORMAL);
  op->mode(CORBA::OP_ONEWAY);
  Reopen();
  CORBA::Contained_var c = repo_->lookup_id("IDL:I/plain:1.0");
  op = CORBA::OperationDef::_narrow(c);
  EXPECT_EQ(op->mode(), CORBA::OP_ONEWAY);
  c = repo_->lookup_id("IDL:I/void_out:1.0");
  op = CORBA::OperationDef::_narrow(c);
  EXPECT_EQ(op->mode(), CORBA::OP_NORMAL);
}

TEST_F(OperationSetterTest, ContextsParamsAndResultAreCheckedAndMoveUseLinks) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::InterfaceDef_var used = Itf("Used");
  CORBA::InterfaceDef_var other = Itf("Other");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ModuleDef_var module = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var module_as_type = CORBA::IDLType::_unchecked_narrow(module);
  CORBA::ParDescriptionSeq params;
  Push(params, Param("p", used, CORBA::PARAM_IN));
  CORBA::OperationDef_var op = Op(itf, "f", l, params);
  IRExt::Contained_var used_ext = IRExt::Contained::_narrow(used);
  IRExt::Contained_var other_ext = IRExt::Contained::_narrow(other);
  auto users = [](IRExt::Contained_ptr c) {
    CORBA::ContainedSeq_var seq = c->ext_get_refs_object("uses");
    return IdsOf(seq.in());
  };
  EXPECT_EQ(users(used_ext), Ids{"IDL:I/f:1.0"});

  // contexts: an empty list or an empty name is refused.
  const char* ctx_text = "CORBA::OperationDef::contexts (...)";
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), ctx_text,
                op->contexts(CORBA::ContextIdSeq()));
  CORBA::ContextIdSeq ctx;
  ctx.length(1);
  ctx[0] = "";
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), ctx_text, op->contexts(ctx));
  ctx[0] = "X";
  op->contexts(ctx);

  // params: bad modes and types are refused; a new list moves the links.
  const char* params_text = "CORBA::OperationDef::params(...)";
  CORBA::ParDescriptionSeq bad = params;
  bad[0].mode = static_cast<CORBA::ParameterMode>(3);
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), params_text, op->params(bad));
  bad = params;
  bad[0].type_def = CORBA::IDLType::_duplicate(module_as_type);
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), params_text, op->params(bad));
  EXPECT_EQ(users(used_ext), Ids{"IDL:I/f:1.0"});
  CORBA::ParDescriptionSeq replaced;
  Push(replaced, Param("q", other, CORBA::PARAM_OUT));
  Push(replaced, Param("r", l, CORBA::PARAM_INOUT));
  op->params(replaced);
  EXPECT_EQ(users(used_ext), Ids{});
  EXPECT_EQ(users(other_ext), Ids{"IDL:I/f:1.0"});

  // result_def: nil and non-types are refused; a new result moves its link.
  const char* result_text = "CORBA::OperationDef::result_def(...)";
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), result_text,
                op->result_def(CORBA::IDLType::_nil()));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), result_text,
                op->result_def(module_as_type));
  op->result_def(used);
  EXPECT_EQ(users(used_ext), Ids{"IDL:I/f:1.0"});
  CORBA::TypeCode_var result = op->result();
  EXPECT_STREQ(result->id(), "IDL:Used:1.0");

  Reopen();
  CORBA::Contained_var c = repo_->lookup_id("IDL:I/f:1.0");
  op = CORBA::OperationDef::_narrow(c);
  CORBA::ContextIdSeq_var now = op->contexts();
  ASSERT_EQ(now->length(), 1u);
  EXPECT_STREQ(now[0].in(), "X");
  CORBA::ParDescriptionSeq_var ps = op->params();
  EXPECT_EQ(NamesOf(ps.in()), (Ids{"q", "r"}));
  EXPECT_STREQ(ps[0].type->id(), "IDL:Other:1.0");
  result = op->result();
  EXPECT_STREQ(result->id(), "IDL:Used:1.0");
}

TEST_F(AttributeTest, SettersCheckTheirArgumentsAndPersist) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::InterfaceDef_var used = Itf("Used");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  CORBA::ModuleDef_var module = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::IDLType_var module_as_type = CORBA::IDLType::_unchecked_narrow(module);
  CORBA::AttributeDef_var attr = Attr(itf, "a", used);
  IRExt::Contained_var used_ext = IRExt::Contained::_narrow(used);
  CORBA::ContainedSeq_var users = used_ext->ext_get_refs_object("uses");
  EXPECT_EQ(IdsOf(users.in()), Ids{"IDL:I/a:1.0"});

  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::AttributeDef::type_def(...)",
                attr->type_def(module_as_type));
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48), "CORBA::AttributeDef::mode(...)",
                attr->mode(static_cast<CORBA::AttributeMode>(2)));
  CORBA::TypeCode_var tc = attr->type();
  EXPECT_STREQ(tc->id(), "IDL:Used:1.0");

  attr->type_def(l);
  attr->mode(CORBA::ATTR_READONLY);
  users = used_ext->ext_get_refs_object("uses");
  EXPECT_EQ(users->length(), 0u);
  Reopen();
  CORBA::Contained_var c = repo_->lookup_id("IDL:I/a:1.0");
  attr = CORBA::AttributeDef::_narrow(c);
  tc = attr->type();
  EXPECT_TRUE(tc->equal(CORBA::_tc_long));
  EXPECT_EQ(attr->mode(), CORBA::ATTR_READONLY);
  CORBA::IDLType_var def = attr->type_def();
  EXPECT_EQ(def->def_kind(), CORBA::dk_Primitive);
}

// --- exceptions (need the exception kind) ----------------------------------

TEST_F(OperationExceptionTest, ExceptionsAreDescribedByTheirOwnObjects) {
  CORBA::ExceptionDef_var e1 = Exception("E1");
  CORBA::ExceptionDef_var e2 = Exception("E2");
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::PrimitiveDef_var v = Prim(CORBA::pk_void);
  CORBA::ExceptionDefSeq raises;
  raises.length(2);
  raises[0] = CORBA::ExceptionDef::_duplicate(e2);
  raises[1] = CORBA::ExceptionDef::_duplicate(e1);
  CORBA::OperationDef_var op =
      Op(itf, "f", v, CORBA::ParDescriptionSeq(), CORBA::OP_NORMAL, raises);
  // Oneway does not look at the exceptions.
  op->mode(CORBA::OP_ONEWAY);
  CORBA::ExceptionDefSeq nil_entry;
  nil_entry.length(1);
  EXPECT_REPORT(BAD_PARAM, IrMinor(0x48),
                "CORBA::OperationDef::exceptions (...)",
                op->exceptions(nil_entry));

  auto check = [&](const char* when) {
    SCOPED_TRACE(when);
    CORBA::InterfaceDef::FullInterfaceDescription_var full =
        itf->describe_interface();
    ASSERT_EQ(full->operations.length(), 1u);
    const CORBA::ExcDescriptionSeq& ex = full->operations[0].exceptions;
    ASSERT_EQ(ex.length(), 2u);
    EXPECT_STREQ(ex[0].id.in(), "IDL:E2:1.0");
    EXPECT_STREQ(ex[0].name.in(), "E2");
    EXPECT_STREQ(ex[0].defined_in.in(), "");
    EXPECT_EQ(ex[0].type->kind(), CORBA::tk_except);
    EXPECT_STREQ(ex[1].id.in(), "IDL:E1:1.0");
    CORBA::Contained_var e = repo_->lookup_id("IDL:E1:1.0");
    IRExt::Contained_var ext = IRExt::Contained::_narrow(e);
    CORBA::ContainedSeq_var users = ext->ext_get_refs_object("uses");
    EXPECT_EQ(IdsOf(users.in()), Ids{"IDL:I/f:1.0"});
  };
  check("live");
  Reopen();
  check("after reopen");

  CORBA::Contained_var c = repo_->lookup_id("IDL:I/f:1.0");
  op = CORBA::OperationDef::_narrow(c);
  CORBA::ExceptionDefSeq one;
  one.length(1);
  CORBA::Contained_var e2c = repo_->lookup_id("IDL:E2:1.0");
  one[0] = CORBA::ExceptionDef::_narrow(e2c);
  op->exceptions(one);
  CORBA::ExceptionDefSeq_var now = op->exceptions();
  ASSERT_EQ(now->length(), 1u);
  EXPECT_EQ(IdOf(now[0]), "IDL:E2:1.0");
}

// --- a failing store -------------------------------------------------------

// The repository's store, wrapped by a FailingStore that it owns.
class OwnedFailingStore {
 protected:
  explicit OwnedFailingStore(std::unique_ptr<IRStore> inner)
      : owned_(std::move(inner)) {}
  std::unique_ptr<IRStore> owned_;
};

class FailingRepositoryStore : private OwnedFailingStore, public FailingStore {
 public:
  explicit FailingRepositoryStore(const char* database)
      : OwnedFailingStore(std::make_unique<IRDB>(database)),
        FailingStore(*owned_) {}
};

class MemberStoreFaultTest : public InterfaceTest {
 protected:
  void SetUp() override {
    saved_opener_ = CORBA_Repository_Impl::store_opener;
    CORBA_Repository_Impl::store_opener = [this](const char* database) {
      auto store = std::make_unique<FailingRepositoryStore>(database);
      store_ = store.get();
      return std::unique_ptr<IRStore>(std::move(store));
    };
    InterfaceTest::SetUp();
  }
  void TearDown() override {
    InterfaceTest::TearDown();
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

  FailingRepositoryStore* store_ = nullptr;
  std::function<std::unique_ptr<IRStore>(const char*)> saved_opener_;
};

TEST_F(MemberStoreFaultTest, FailedChangesLeaveNothingBehind) {
  CORBA::InterfaceDef_var itf = Itf("I");
  CORBA::InterfaceDef_var used = Itf("Used");
  CORBA::InterfaceDef_var base = Itf("Base");
  CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
  IRExt::Contained_var used_ext = IRExt::Contained::_narrow(used);
  // What a client can see of the interfaces and their links.
  auto state = [&]() {
    std::string s;
    CORBA::ContainedSeq_var contents = itf->contents(CORBA::dk_all, false);
    for (const std::string& id : IdsOf(contents.in())) s += id + " ";
    CORBA::ContainedSeq_var users = used_ext->ext_get_refs_object("all");
    for (const std::string& id : IdsOf(users.in())) s += "user " + id + " ";
    CORBA::InterfaceDefSeq_var bases = itf->base_interfaces();
    for (const std::string& id : IdsOf(bases.in())) s += "base " + id + " ";
    s += IdOf(CORBA::Contained_var(repo_->lookup_id("IDL:I/f:1.0")));
    return s;
  };
  CORBA::ParDescriptionSeq params;
  Push(params, Param("p", used, CORBA::PARAM_IN));
  int changes = FailEachChangeInTurn(
      [&] { CORBA::OperationDef_var(Op(itf, "f", used, params)); }, state);
  EXPECT_GE(changes, 3);  // record, result link, parameter link

  CORBA::Contained_var c = repo_->lookup_id("IDL:I/f:1.0");
  CORBA::OperationDef_var op = CORBA::OperationDef::_narrow(c);
  CORBA::ParDescriptionSeq longs;
  Push(longs, Param("p", l, CORBA::PARAM_IN));
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
