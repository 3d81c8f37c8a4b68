// The floor twin of latency_bench (floor.idl): lookup_id returns the
// reference and describe_interface the description given to set(), from
// memory.  Prints its IOR as its ready line; runs until killed.
//
// Usage: floor_server ENDPOINT
#include <cstdio>

#include "floor.hh"
#include "serve_one.h"

namespace {

class FloorServant : public POA_Floor {
 public:
  void set(CORBA::Contained_ptr found,
           const CORBA::InterfaceDef::FullInterfaceDescription& d) override {
    found_ = CORBA::Contained::_duplicate(found);
    description_ = d;
  }
  CORBA::Contained_ptr lookup_id(const char*) override {
    return CORBA::Contained::_duplicate(found_.in());
  }
  CORBA::InterfaceDef::FullInterfaceDescription* describe_interface() override {
    return new CORBA::InterfaceDef::FullInterfaceDescription(description_);
  }

 private:
  CORBA::Contained_var found_;
  CORBA::InterfaceDef::FullInterfaceDescription description_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: floor_server ENDPOINT\n");
    return 2;
  }
  CORBA::ORB_var orb = bench_orb_on(argv[0], argv[1]);
  return serve_one(orb, new FloorServant);
}
