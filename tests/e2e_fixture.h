// The fixture of the end-to-end tests: a client ORB that retries a call
// once after a server restart, and helpers that reach a server only
// through corbaloc URLs and the references it hands out.
#ifndef IR_TESTS_E2E_FIXTURE_H
#define IR_TESTS_E2E_FIXTURE_H

#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>

#include <string>

#include "e2e_server.h"
#include "irext.hh"
#include "orb_main.h"

class IrServerE2E : public ::testing::Test {
 protected:
  static CORBA::Boolean RetryOnce(void*, CORBA::ULong retries,
                                  const CORBA::COMM_FAILURE&) {
    return retries < 1;
  }

  void SetUp() override {
    // No call timeout: with one set, omniORB 4.2 reads a connection that
    // the server closed in an orderly way as a plain network error and
    // raises COMM_FAILURE instead of reconnecting, which would break
    // every restart test.  ctest's timeout catches a hung server.
    // A connection to a server that has since restarted fails once with
    // COMM_FAILURE on its next use; retry such a call once on a fresh
    // connection, as a client of a restartable service would.
    omniORB::installCommFailureExceptionHandler(nullptr, RetryOnce);
  }

  // Runs a test body; a CORBA exception that escapes it fails the test
  // with its name and minor code instead of "unknown exception".
  template <class Body>
  static void Guarded(Body body) {
    try {
      body();
    } catch (const CORBA::SystemException& e) {
      ADD_FAILURE() << "CORBA::" << e._name() << " minor 0x" << std::hex
                    << e.minor() << " ("
                    << (e.NP_minorString() ? e.NP_minorString() : "?")
                    << ") escaped the test";
    } catch (const CORBA::Exception& e) {
      ADD_FAILURE() << "CORBA::" << e._name() << " escaped the test";
    }
  }

  // After a crash the client's connections to the dead process are still
  // cached, and the first call through each fails with COMM_FAILURE
  // (completion MAYBE: the client cannot know whether it ran).  omniORB
  // keeps one connection per GIOP version: corbaloc references speak
  // GIOP 1.0, the references the repository returns 1.2.  One ping
  // through each, allowed to fail that way, makes later calls open new
  // connections.
  static void reconnect_after_crash(const std::string& url) {
    CORBA::Object_var root = object_at(url);
    ping_until_reachable(root);
    CORBA::Repository_var repository = CORBA::Repository::_narrow(root);
    ASSERT_FALSE(CORBA::is_nil(repository));
    CORBA::Contained_var object = repository->lookup_id("IDL:Object:1.0");
    ASSERT_FALSE(CORBA::is_nil(object));
    ping_until_reachable(object);
  }

  static void ping_until_reachable(CORBA::Object_ptr obj) {
    for (int attempt = 0; attempt < 3; ++attempt) {
      try {
        obj->_non_existent();
        return;
      } catch (const CORBA::COMM_FAILURE&) {
      } catch (const CORBA::TRANSIENT&) {
      }
    }
    ADD_FAILURE() << "the restarted server stays unreachable";
  }

  static CORBA::Object_ptr object_at(const std::string& url) {
    return test_orb()->string_to_object(url.c_str());
  }

  static CORBA::Repository_ptr repository_at(const std::string& url) {
    CORBA::Object_var obj = object_at(url);
    return CORBA::Repository::_narrow(obj);
  }

  static IRExt::Repository_ptr ext_repository_at(const std::string& url) {
    CORBA::Object_var obj = object_at(url);
    return IRExt::Repository::_narrow(obj);
  }
};

#endif  // IR_TESTS_E2E_FIXTURE_H
