// The value factories of tests/idl/call_test.idl, for the processes that
// unmarshal its value types with the compiled classes (the call test
// server and the unit tests that compare with compiled code).
#ifndef IR_TESTS_CALL_TEST_FACTORIES_H
#define IR_TESTS_CALL_TEST_FACTORIES_H

#include <omniORB4/CORBA.h>

// Registers the default factories of CallTest's value types with `orb`.
void register_call_test_factories(CORBA::ORB_ptr orb);

#endif
