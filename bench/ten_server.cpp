// The server of call_bench: one CallBench::TenService object whose echo
// returns its argument.  Prints its IOR as its ready line; runs until
// killed.
//
// Usage: ten_server [-ORB<option> <value>]...   (-ORBendPoint, -ORBInitRef
// InterfaceRepository=... for _get_interface())
#include <cstdio>

#include "serve_one.h"
#include "ten.hh"

namespace {

class TenServant : public POA_CallBench::TenService {
 public:
  CallBench::Ten* echo(const CallBench::Ten& t) override {
    return new CallBench::Ten(t);
  }
};

}  // namespace

int main(int argc, char** argv) {
  CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
  if (argc != 1) {
    std::fprintf(stderr, "usage: ten_server [-ORB<option> <value>]...\n");
    return 2;
  }
  return serve_one(orb, new TenServant);
}
