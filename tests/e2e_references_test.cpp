// End-to-end: references that outlive changes of id and name, restarts
// and crashes; what a client sees while irserver starts and stops.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "irext.hh"

namespace {

std::string Str(char* owned) { return CORBA::String_var(owned).in(); }

TEST_F(IrServerE2E, ReferencesFollowTheirDefinitionsThroughChangesAndRestarts) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    CORBA::ModuleDef_var m = root->create_module("IDL:M:1.0", "M", "1.0");
    CORBA::InterfaceDef_var i = m->create_interface("IDL:M/I:1.0", "I", "1.0",
                                                    CORBA::InterfaceDefSeq());
    CORBA::PrimitiveDef_var lng = root->get_primitive(CORBA::pk_long);
    CORBA::OperationDef_var op =
        i->create_operation("IDL:M/I/ping:1.0", "ping", "1.0", lng,
                            CORBA::OP_NORMAL, CORBA::ParDescriptionSeq(),
                            CORBA::ExceptionDefSeq(), CORBA::ContextIdSeq());
    CORBA::StructMemberSeq members;
    members.length(1);
    members[0].name = "v";
    members[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    members[0].type_def = CORBA::IDLType::_duplicate(lng);
    CORBA::StructDef_var s =
        m->create_struct("IDL:M/S:1.0", "S", "1.0", members);
    // As a client keeps them in a file.
    std::map<std::string, std::string> iors;
    for (auto& [name, obj] : std::map<std::string, CORBA::Object_ptr>{
             {"i", i.in()}, {"op", op.in()}, {"s", s.in()}, {"m", m.in()}})
      iors[name] = Str(test_orb()->object_to_string(obj));

    i->id("IDL:M/I2:2.0");
    m->id("IDL:M2:1.0");
    s->name("S2");
    // A destroyed definition's reference stays dead, even when a new
    // definition takes its id.
    CORBA::ModuleDef_var gone =
        root->create_module("IDL:Gone:1.0", "Gone", "1");
    gone->destroy();
    CORBA::ModuleDef_var reborn =
        root->create_module("IDL:Gone:1.0", "Gone", "1");

    auto check = [&](const char* when) {
      SCOPED_TRACE(when);
      EXPECT_EQ(Str(i->id()), "IDL:M/I2:2.0");
      EXPECT_EQ(Str(m->id()), "IDL:M2:1.0");
      EXPECT_EQ(Str(s->name()), "S2");
      EXPECT_EQ(Str(s->absolute_name()), "::M::S2");
      EXPECT_EQ(Str(op->id()), "IDL:M/I/ping:1.0");
      EXPECT_EQ(Str(op->absolute_name()), "::M::I::ping");
      CORBA::Container_var op_in = op->defined_in();
      EXPECT_TRUE(op_in->_is_equivalent(i));
      CORBA::InterfaceDef::FullInterfaceDescription_var full =
          i->describe_interface();
      EXPECT_STREQ(full->id.in(), "IDL:M/I2:2.0");
      EXPECT_STREQ(full->defined_in.in(), "IDL:M2:1.0");
      ASSERT_EQ(full->operations.length(), 1u);
      EXPECT_STREQ(full->operations[0].defined_in.in(), "IDL:M/I2:2.0");
      CORBA::Contained_var by_id = root->lookup_id("IDL:M/I2:2.0");
      EXPECT_TRUE(by_id->_is_equivalent(i));
      for (const auto& [name, ior] : iors) {
        CORBA::Object_var obj = test_orb()->string_to_object(ior.c_str());
        CORBA::Contained_var c = CORBA::Contained::_narrow(obj);
        EXPECT_FALSE(c->_non_existent()) << name;
      }
      EXPECT_THROW(gone->def_kind(), CORBA::OBJECT_NOT_EXIST);
      EXPECT_EQ(reborn->def_kind(), CORBA::dk_Module);
    };
    check("live");
    server.stop();
    ASSERT_EQ(server.restart(), "");
    check("after a restart");
    server.kill9();
    ASSERT_EQ(server.restart(), "");
    reconnect_after_crash(server.corbaloc());
    check("after kill -9");
  });
}

// A client that keeps calling through a reference while irserver starts
// and stops sees the right answer, a connection failure or TRANSIENT,
// never OBJECT_NOT_EXIST or a nil answer: to a CORBA client those mean
// that the object has gone for good.
TEST_F(IrServerE2E, StartAndStopNeverTellAClientItsObjectHasGone) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    CORBA::ModuleDef_var m = root->create_module("IDL:Poll:1.0", "Poll", "1");
    server.stop();

    std::atomic<bool> done{false};
    std::mutex mutex;
    std::map<std::string, int> seen;  // guarded by mutex
    std::thread poller([&] {
      bool flip = false;
      while (!done) {
        std::string what;
        try {
          // Every other call through a new reference: its first call
          // verifies it with a LocateRequest.
          CORBA::Repository_var fresh = repository_at(server.corbaloc());
          CORBA::Repository_ptr target = flip ? fresh.in() : root.in();
          flip = !flip;
          CORBA::Contained_var c = target->lookup_id("IDL:Poll:1.0");
          what = CORBA::is_nil(c)       ? "nil"
                 : c->_is_equivalent(m) ? "answer"
                                        : "another object";
        } catch (const CORBA::TRANSIENT&) {
          what = "TRANSIENT";
        } catch (const CORBA::COMM_FAILURE&) {
          what = "COMM_FAILURE";
        } catch (const CORBA::SystemException& e) {
          what = e._name();
        }
        {
          std::lock_guard<std::mutex> lock(mutex);
          ++seen[what];
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
    for (int round = 0; round < 20; ++round) {
      ASSERT_EQ(server.restart(), "") << "round " << round;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      ProcessResult r = server.terminate(round % 2 ? SIGINT : SIGTERM);
      EXPECT_EQ(r.status(), 0) << r.describe();
    }
    done = true;
    poller.join();
    std::string summary;
    for (const auto& [what, count] : seen)
      summary += what + ": " + std::to_string(count) + "; ";
    for (const auto& [what, count] : seen) {
      EXPECT_TRUE(what == "answer" || what == "TRANSIENT" ||
                  what == "COMM_FAILURE")
          << summary;
    }
    EXPECT_GT(seen["answer"], 0) << summary;
  });
}

}  // namespace
