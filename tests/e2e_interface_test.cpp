// End-to-end: omniORB's _get_interface() against irserver.  echo.idl is
// fed into the repository with irctl; an ordinary omniORB server
// (echo_server, built from echo.idl) is started with
// -ORBInitRef InterfaceRepository=<irserver's corbaloc>; this process is
// a dynamic client that knows nothing of echo.idl: it asks the echo
// object for its InterfaceDef, learns the operations from the repository
// and calls them through the DII with the TypeCodes it was given.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>
#include <signal.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "irext.hh"
#include "orb_main.h"

namespace {

// --- the dynamic client ----------------------------------------------------

DynamicAny::DynAnyFactory_ptr dyn_factory() {
  static DynamicAny::DynAnyFactory_var factory;
  if (CORBA::is_nil(factory)) {
    CORBA::Object_var obj =
        test_orb()->resolve_initial_references("DynAnyFactory");
    factory = DynamicAny::DynAnyFactory::_narrow(obj);
  }
  return factory;
}

// A value of TypeCode `tc` (as the repository described it), filled by
// `fill`; the default value when `fill` is empty.
CORBA::Any Value(CORBA::TypeCode_ptr tc,
                 const std::function<void(DynamicAny::DynAny_ptr)>& fill = {}) {
  DynamicAny::DynAny_var dyn = dyn_factory()->create_dyn_any_from_type_code(tc);
  if (fill) fill(dyn);
  CORBA::Any_var any = dyn->to_any();
  dyn->destroy();
  return any.in();
}

const CORBA::OperationDescription* Find(const CORBA::OpDescriptionSeq& ops,
                                        const char* name) {
  for (CORBA::ULong i = 0; i < ops.length(); ++i)
    if (std::string(ops[i].name.in()) == name) return &ops[i];
  return nullptr;
}

// Calls `op` on `target` through the DII: `inputs` are the values of the
// in and inout parameters in order; out parameters get default values of
// their types.  Returns the invoked request.
CORBA::Request_ptr Call(CORBA::Object_ptr target,
                        const CORBA::OperationDescription& op,
                        const std::vector<CORBA::Any>& inputs) {
  CORBA::Request_var req = target->_request(op.name);
  std::size_t next = 0;
  for (CORBA::ULong i = 0; i < op.parameters.length(); ++i) {
    const CORBA::ParameterDescription& p = op.parameters[i];
    switch (p.mode) {
      case CORBA::PARAM_IN:
        req->add_in_arg(p.name) = inputs.at(next++);
        break;
      case CORBA::PARAM_INOUT:
        req->add_inout_arg(p.name) = inputs.at(next++);
        break;
      case CORBA::PARAM_OUT:
        req->add_out_arg(p.name) = Value(p.type);
        break;
    }
  }
  req->set_return_type(op.result);
  for (CORBA::ULong i = 0; i < op.exceptions.length(); ++i)
    req->exceptions()->add(op.exceptions[i].type);
  req->invoke();
  return req._retn();
}

const CORBA::Any& Argument(CORBA::Request_ptr req, CORBA::ULong i) {
  return *req->arguments()->item(i)->value();
}

class GetInterfaceE2E : public IrServerE2E {
 protected:
  void SetUp() override {
    IrServerE2E::SetUp();
    ASSERT_EQ(irserver_.start(), "");
  }

  // Puts echo.idl (next to this file) into the repository with irctl.
  void FeedEchoIdl() {
    std::string file = __FILE__;
    file = file.substr(0, file.rfind('/') + 1) + "echo.idl";
    ProcessResult r =
        run_process({irctl_path(), "--ir", irserver_.corbaloc(), "feed", file});
    ASSERT_EQ(r.status(), 0) << r.describe();
  }

  void TearDown() override {
    if (echo_pid_ > 0) {
      kill(echo_pid_, SIGKILL);
      wait_for_process(echo_pid_, 20000);
    }
  }

  // Starts the echo server and returns its object's reference.
  CORBA::Object_ptr StartEcho() {
    std::string ior_file = echo_dir_.file("echo.ior"), problem = "no fork";
    echo_pid_ =
        spawn_to_files({ECHO_SERVER_PATH, ior_file, "-ORBInitRef",
                        "InterfaceRepository=" + irserver_.corbaloc(),
                        "-ORBendPoint", "giop:tcp:127.0.0.1:"},
                       echo_dir_.file("stdout"), echo_dir_.file("stderr"));
    std::string ior;
    if (echo_pid_ > 0) {
      problem.clear();
      ior = first_line(ior_file, echo_pid_, 20000, &problem);
    }
    EXPECT_EQ(problem, "") << read_file(echo_dir_.file("stderr"));
    if (!problem.empty()) return CORBA::Object::_nil();
    return test_orb()->string_to_object(ior.c_str());
  }

  IrServerProcess irserver_;
  TempDir echo_dir_;
  pid_t echo_pid_ = -1;
};

TEST_F(GetInterfaceE2E, DynamicClientLearnsAndCallsTheEchoServer) {
  Guarded([&] {
    FeedEchoIdl();
    CORBA::Object_var target = StartEcho();
    ASSERT_FALSE(CORBA::is_nil(target));

    CORBA::InterfaceDef_var itf = target->_get_interface();
    ASSERT_FALSE(CORBA::is_nil(itf));
    CORBA::InterfaceDef::FullInterfaceDescription_var full =
        itf->describe_interface();
    EXPECT_STREQ(full->id.in(), "IDL:EchoTest/Echo:1.0");
    EXPECT_STREQ(full->defined_in.in(), "IDL:EchoTest:1.0");
    ASSERT_EQ(full->base_interfaces.length(), 1u);
    EXPECT_STREQ(full->base_interfaces[0].in(), "IDL:EchoTest/Base:1.0");
    EXPECT_EQ(Find(full->operations, "ping"), nullptr);  // inherited

    const CORBA::OperationDescription* echo_string =
        Find(full->operations, "echo_string");
    ASSERT_NE(echo_string, nullptr);
    CORBA::Request_var req = Call(
        target, *echo_string,
        {Value(echo_string->parameters[0].type,
               [](DynamicAny::DynAny_ptr d) { d->insert_string("hello"); })});
    const char* text = nullptr;
    ASSERT_TRUE(req->return_value() >>= text);
    EXPECT_STREQ(text, "echo: hello");

    const CORBA::OperationDescription* sum = Find(full->operations, "sum");
    ASSERT_NE(sum, nullptr);
    req = Call(target, *sum,
               {Value(sum->parameters[0].type, [](DynamicAny::DynAny_ptr d) {
                 DynamicAny::DynSequence_var seq =
                     DynamicAny::DynSequence::_narrow(d);
                 seq->set_length(3);
                 for (CORBA::Long i = 0; i < 3; ++i) {
                   seq->seek(i);
                   DynamicAny::DynAny_var element = seq->current_component();
                   element->insert_long(10 * (i + 1));
                 }
               })});
    CORBA::Double total = 0;
    ASSERT_TRUE(req->return_value() >>= total);
    EXPECT_EQ(total, 60.0);
    CORBA::Long count = 0;
    ASSERT_TRUE(Argument(req, 1) >>= count);
    EXPECT_EQ(count, 3);

    const CORBA::OperationDescription* swap = Find(full->operations, "swap");
    ASSERT_NE(swap, nullptr);
    auto string_value = [&](CORBA::ULong i, const char* s) {
      return Value(swap->parameters[i].type,
                   [s](DynamicAny::DynAny_ptr d) { d->insert_string(s); });
    };
    req = Call(target, *swap,
               {string_value(0, "left"), string_value(1, "right")});
    const char* a = nullptr;
    const char* b = nullptr;
    ASSERT_TRUE(Argument(req, 0) >>= a);
    ASSERT_TRUE(Argument(req, 1) >>= b);
    EXPECT_STREQ(a, "right");
    EXPECT_STREQ(b, "left");

    const CORBA::OperationDescription* self_ref =
        Find(full->operations, "self_ref");
    ASSERT_NE(self_ref, nullptr);
    EXPECT_STREQ(self_ref->result->id(), "IDL:EchoTest/Echo:1.0");
    req =
        Call(target, *self_ref,
             {Value(self_ref->parameters[0].type, [](DynamicAny::DynAny_ptr d) {
               d->insert_reference(CORBA::Object::_nil());
             })});
    CORBA::Object_var returned;
    ASSERT_TRUE(req->return_value() >>= CORBA::Any::to_object(returned.out()));
    EXPECT_TRUE(returned->_is_equivalent(target));

    // The inherited operation, found through the CORBA 3 description,
    // called through the derived interface's reference.
    IRExt::InterfaceDef_var ext = IRExt::InterfaceDef::_narrow(itf);
    ASSERT_FALSE(CORBA::is_nil(ext));
    IRExt::ExtFullInterfaceDescription_var ext_full =
        ext->describe_ext_interface();
    ASSERT_GE(ext_full->operations.length(), 1u);
    EXPECT_STREQ(ext_full->operations[0].name.in(), "ping");
    req = Call(target, ext_full->operations[0],
               {Value(ext_full->operations[0].parameters[0].type,
                      [](DynamicAny::DynAny_ptr d) { d->insert_long(41); })});
    CORBA::Long pong = 0;
    ASSERT_TRUE(req->return_value() >>= pong);
    EXPECT_EQ(pong, 42);

    // The attribute, read through its description's TypeCode.
    ASSERT_EQ(full->attributes.length(), 1u);
    EXPECT_EQ(full->attributes[0].mode, CORBA::ATTR_READONLY);
    req = target->_request("_get_calls");
    req->set_return_type(full->attributes[0].type);
    req->invoke();
    CORBA::Long calls = 0;
    ASSERT_TRUE(req->return_value() >>= calls);
    EXPECT_EQ(calls, 5);

    // A user exception of the repository's TypeCode reaches the client.
    const CORBA::OperationDescription* refuse =
        Find(full->operations, "refuse");
    ASSERT_NE(refuse, nullptr);
    ASSERT_EQ(refuse->exceptions.length(), 1u);
    EXPECT_STREQ(refuse->exceptions[0].id.in(), "IDL:EchoTest/Refused:1.0");
    req = Call(target, *refuse,
               {Value(refuse->parameters[0].type, [](DynamicAny::DynAny_ptr d) {
                 d->insert_string("no");
               })});
    CORBA::Exception* raised = req->env()->exception();
    ASSERT_NE(raised, nullptr);
    CORBA::UnknownUserException* user =
        CORBA::UnknownUserException::_downcast(raised);
    ASSERT_NE(user, nullptr) << raised->_name();
    CORBA::Any& value = user->exception();
    CORBA::TypeCode_var tc = value.type();
    EXPECT_STREQ(tc->id(), "IDL:EchoTest/Refused:1.0");
    DynamicAny::DynAny_var dyn = dyn_factory()->create_dyn_any(value);
    DynamicAny::DynStruct_var st = DynamicAny::DynStruct::_narrow(dyn);
    DynamicAny::NameValuePairSeq_var members = st->get_members();
    ASSERT_EQ(members->length(), 2u);
    const char* reason = nullptr;
    ASSERT_TRUE(members[0].value >>= reason);
    EXPECT_STREQ(reason, "no");
    CORBA::Long code = 0;
    ASSERT_TRUE(members[1].value >>= code);
    EXPECT_EQ(code, 7);
    dyn->destroy();
  });
}

TEST_F(GetInterfaceE2E, UnknownInterfaceComesBackNil) {
  Guarded([&] {
    // Nothing defined: the repository answers lookup_id with nil.
    CORBA::Object_var target = StartEcho();
    ASSERT_FALSE(CORBA::is_nil(target));
    CORBA::InterfaceDef_var itf = target->_get_interface();
    EXPECT_TRUE(CORBA::is_nil(itf));
  });
}

}  // namespace
