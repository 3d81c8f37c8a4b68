// The body of the benchmarks' trivial servers: one servant, activated in
// the root POA; its IOR printed as the ready line; the ORB run until the
// process is killed.
#ifndef BENCH_SERVE_ONE_H
#define BENCH_SERVE_ONE_H

#include <omniORB4/CORBA.h>

#include <cstdio>

// An ORB listening on `endpoint` only, without traces.
inline CORBA::ORB_ptr bench_orb_on(const char* program, const char* endpoint) {
  const char* orb_argv[] = {program, "-ORBendPoint", endpoint, "-ORBtraceLevel",
                            "0",     nullptr};
  int orb_argc = 5;
  return CORBA::ORB_init(orb_argc, const_cast<char**>(orb_argv));
}

// Serves `servant` (whose reference count it takes over) on `orb`; returns
// when the ORB stops.
inline int serve_one(CORBA::ORB_ptr orb, PortableServer::Servant servant) {
  PortableServer::ServantBase_var owned = servant;
  CORBA::Object_var obj = orb->resolve_initial_references("RootPOA");
  PortableServer::POA_var poa = PortableServer::POA::_narrow(obj);
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

#endif  // BENCH_SERVE_ONE_H
