// echo_server IOR_FILE [-ORB options]
//
// Serves one EchoTest::Echo object and writes its IOR to IOR_FILE (whole
// or not at all).  Started with -ORBInitRef InterfaceRepository=... it
// answers _get_interface() through omniORB's default implementation,
// which asks that repository for the servant's repository id.  Runs until
// it is killed.
#include <omniORB4/CORBA.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <string>
#include <utility>

#include "echo.hh"

namespace {

class EchoImpl : public POA_EchoTest::Echo {
 public:
  CORBA::Long ping(CORBA::Long x) override {
    ++calls_;
    return x + 1;
  }
  char* echo_string(const char* s) override {
    ++calls_;
    return CORBA::string_dup(("echo: " + std::string(s)).c_str());
  }
  CORBA::Double sum(const EchoTest::LongSeq& values,
                    CORBA::Long& count) override {
    ++calls_;
    CORBA::Double total = 0;
    for (CORBA::ULong i = 0; i < values.length(); ++i) total += values[i];
    count = static_cast<CORBA::Long>(values.length());
    return total;
  }
  void swap(char*& a, char*& b) override {
    ++calls_;
    std::swap(a, b);
  }
  EchoTest::Echo_ptr self_ref(EchoTest::Echo_ptr other) override {
    ++calls_;
    if (CORBA::is_nil(other)) return _this();
    return EchoTest::Echo::_duplicate(other);
  }
  void refuse(const char* why) override {
    ++calls_;
    throw EchoTest::Refused(why, 7);
  }
  CORBA::Long calls() override { return calls_; }

 private:
  std::atomic<CORBA::Long> calls_{0};
};

}  // namespace

int main(int argc, char** argv) {
  try {
    CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
    if (argc != 2) {
      std::fprintf(stderr, "usage: echo_server IOR_FILE [-ORB options]\n");
      return 2;
    }
    CORBA::Object_var obj = orb->resolve_initial_references("RootPOA");
    PortableServer::POA_var poa = PortableServer::POA::_narrow(obj);
    PortableServer::Servant_var<EchoImpl> servant(new EchoImpl);
    PortableServer::ObjectId_var oid = poa->activate_object(servant.in());
    obj = servant->_this();
    CORBA::String_var ior = orb->object_to_string(obj);
    std::string path = argv[1], partial = path + ".partial";
    {
      std::ofstream out(partial);
      out << ior.in() << "\n";
      if (!out) {
        std::fprintf(stderr, "echo_server: cannot write %s\n", partial.c_str());
        return 1;
      }
    }
    if (std::rename(partial.c_str(), path.c_str()) != 0) {
      std::perror("echo_server: rename");
      return 1;
    }
    PortableServer::POAManager_var manager = poa->the_POAManager();
    manager->activate();
    orb->run();
  } catch (const CORBA::Exception& e) {
    std::fprintf(stderr, "echo_server: CORBA::%s\n", e._name());
    return 1;
  }
  return 0;
}
