// A trivial omniORB server for latency_bench: one object whose only
// operation does nothing.  Prints its IOR as its ready line; runs until
// killed.
//
// Usage: null_server ENDPOINT
#include <cstdio>

#include "null.hh"

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
  const char* orb_argv[] = {argv[0], "-ORBendPoint", argv[1], "-ORBtraceLevel",
                            "0",     nullptr};
  int orb_argc = 5;
  CORBA::ORB_var orb = CORBA::ORB_init(orb_argc, const_cast<char**>(orb_argv));
  CORBA::Object_var obj = orb->resolve_initial_references("RootPOA");
  PortableServer::POA_var poa = PortableServer::POA::_narrow(obj);
  PortableServer::ServantBase_var servant = new NullServant;
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
