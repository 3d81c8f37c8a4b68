// main() for the test executables that need an ORB: initialises
// GoogleTest, then the ORB (quiet unless the command line asks for
// -ORBtraceLevel), runs every test and destroys the ORB.
#include "orb_main.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {
CORBA::ORB_ptr the_orb = CORBA::ORB::_nil();
}  // namespace

CORBA::ORB_ptr test_orb() { return the_orb; }

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);

  // GoogleTest has removed its own flags; what is left goes to the ORB,
  // with trace level 0 unless the caller chose one.
  std::vector<std::string> args(argv, argv + argc);
  bool has_trace_level = false, has_max_size = false;
  for (const std::string& a : args) {
    if (a == "-ORBtraceLevel") has_trace_level = true;
    if (a == "-ORBgiopMaxMsgSize") has_max_size = true;
  }
  if (!has_trace_level) {
    args.push_back("-ORBtraceLevel");
    args.push_back("0");
  }
  // A client of large repositories raises omniORB's 2 MB limit, as
  // irserver does by default.
  if (!has_max_size) {
    args.push_back("-ORBgiopMaxMsgSize");
    args.push_back("268435456");
  }
  std::vector<char*> orb_argv;
  for (std::string& a : args) orb_argv.push_back(&a[0]);
  orb_argv.push_back(nullptr);
  int orb_argc = static_cast<int>(args.size());

  int status = 1;
  try {
    the_orb = CORBA::ORB_init(orb_argc, orb_argv.data());
    status = RUN_ALL_TESTS();
    the_orb->destroy();
  } catch (const CORBA::Exception& e) {
    std::fprintf(stderr, "test main: CORBA::%s escaped\n", e._name());
    return 1;
  }
  CORBA::release(the_orb);
  the_orb = CORBA::ORB::_nil();
  return status;
}
