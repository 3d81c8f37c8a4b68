// The floor twin of latency_bench (floor.idl): lookup_id returns the
// reference and describe_interface the description given to set(), from
// memory.  Prints its IOR as its ready line; runs until killed.
//
// Usage: floor_server ENDPOINT
#include <cstdio>

#include "floor.hh"

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
  const char* orb_argv[] = {argv[0], "-ORBendPoint", argv[1], "-ORBtraceLevel",
                            "0",     nullptr};
  int orb_argc = 5;
  CORBA::ORB_var orb = CORBA::ORB_init(orb_argc, const_cast<char**>(orb_argv));
  CORBA::Object_var obj = orb->resolve_initial_references("RootPOA");
  PortableServer::POA_var poa = PortableServer::POA::_narrow(obj);
  PortableServer::ServantBase_var servant = new FloorServant;
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
