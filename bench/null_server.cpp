// A trivial omniORB server for latency_bench: one object whose only
// operation does nothing.  Prints its IOR as its ready line; runs until
// killed.
//
// Usage: null_server ENDPOINT
#include <cstdio>

#include "null.hh"
#include "serve_one.h"

namespace {

class NullServant : public POA_NullService {
 public:
  void ping() override {}
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: null_server ENDPOINT\n");
    return 2;
  }
  CORBA::ORB_var orb = bench_orb_on(argv[0], argv[1]);
  return serve_one(orb, new NullServant);
}
