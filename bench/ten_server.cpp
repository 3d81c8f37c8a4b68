// The server of call_bench: one CallBench::TenService object whose echo
// returns its argument.  Prints its IOR as its ready line; runs until
// killed.
//
// Usage: ten_server [-ORB<option> <value>]...   (-ORBendPoint, -ORBInitRef
// InterfaceRepository=... for _get_interface())
#include <cstdio>

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
  CORBA::Object_var obj = orb->resolve_initial_references("RootPOA");
  PortableServer::POA_var poa = PortableServer::POA::_narrow(obj);
  PortableServer::ServantBase_var servant = new TenServant;
  PortableServer::ObjectId_var id = poa->activate_object(servant);
  CORBA::Object_var ref = poa->id_to_reference(id);
  PortableServer::POAManager_var manager = poa->the_POAManager();
  manager->activate();
  CORBA::String_var ior = orb->object_to_string(ref);
  std::printf("%s\n", ior.in());
  std::fflush(stdout);
  orb->run();
  return 0;
}
