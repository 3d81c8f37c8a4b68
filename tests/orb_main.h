// The ORB of a test executable that links orb_main.cpp.
#ifndef IR_TESTS_ORB_MAIN_H
#define IR_TESTS_ORB_MAIN_H

#include <omniORB4/CORBA.h>

// The ORB that main initialised before running the tests (not
// duplicated; valid until every test has run).
CORBA::ORB_ptr test_orb();

#endif
