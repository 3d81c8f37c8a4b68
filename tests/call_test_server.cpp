// call_test_server DIR [-ORB options]
//
// Serves the objects of tests/idl/call_test.idl and call_test_fixed.idl
// for the `irctl call` tests and writes their IORs to DIR/everything.ior
// and DIR/till.ior (each whole or not at all).  Runs until it is killed.
#include <omniORB4/CORBA.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "call_test.hh"
#include "call_test_factories.h"
#include "call_test_fixed.hh"

namespace {

class PeerImpl : public POA_CallTest::Peer {
 public:
  explicit PeerImpl(std::string name) : name_(std::move(name)) {}
  char* name() override { return CORBA::string_dup(name_.c_str()); }

 private:
  std::string name_;
};

template <class T>
T* copy_of(const T& v) {
  return new T(v);
}

class EverythingImpl : public POA_CallTest::Everything {
 public:
  explicit EverythingImpl(PortableServer::POA_ptr poa)
      : poa_(PortableServer::POA::_duplicate(poa)) {}

  CORBA::Long base_ping(CORBA::Long x) override { return x + 1; }

  CallTest::Primitives echo_primitives(const CallTest::Primitives& p) override {
    return p;
  }
  CallTest::Strings* echo_strings(const CallTest::Strings& s) override {
    return copy_of(s);
  }
  CORBA::LongLong twice(CORBA::LongLong a) override { return 2 * a; }
  void split(CORBA::Double value, CORBA::Long& whole,
             CORBA::Double& fraction) override {
    double w = std::trunc(value);
    whole = static_cast<CORBA::Long>(w);
    fraction = value - w;
  }
  void swap(char*& a, char*& b) override { std::swap(a, b); }
  CallTest::Nested* echo_nested(const CallTest::Nested& n) override {
    return copy_of(n);
  }
  CallTest::Unions* echo_unions(const CallTest::Unions& u) override {
    return copy_of(u);
  }
  CallTest::Tree* echo_tree(const CallTest::Tree& t) override {
    return copy_of(t);
  }
  CallTest::Bytes* echo_bytes(const CallTest::Bytes& b) override {
    return copy_of(b);
  }
  CallTest::Block_slice* echo_block(const CallTest::Block b) override {
    return CallTest::Block_dup(b);
  }
  CallTest::Color next_color(CallTest::Color c) override {
    return static_cast<CallTest::Color>((static_cast<int>(c) + 1) % 3);
  }
  CORBA::Any* echo_any(const CORBA::Any& a) override { return copy_of(a); }
  CORBA::TypeCode_ptr echo_type(CORBA::TypeCode_ptr t) override {
    return CORBA::TypeCode::_duplicate(t);
  }
  CallTest::Peer_ptr make_peer(const char* name) override {
    PortableServer::Servant_var<PeerImpl> peer(new PeerImpl(name));
    PortableServer::ObjectId_var id = poa_->activate_object(peer.in());
    return peer->_this();
  }
  char* peer_name(CallTest::Peer_ptr p) override {
    if (CORBA::is_nil(p)) return CORBA::string_dup("(nil)");
    return p->name();
  }
  CORBA::Object_ptr echo_object(CORBA::Object_ptr o) override {
    return CORBA::Object::_duplicate(o);
  }

  CallTest::Node* make_ring(CORBA::Long count) override {
    if (count < 0 || count > 1000)
      throw CORBA::BAD_PARAM(1, CORBA::COMPLETED_NO);
    if (count == 0) return nullptr;
    std::vector<CallTest::Node_var> nodes;
    for (CORBA::Long i = 0; i < count; ++i) {
      nodes.emplace_back(new OBV_CallTest::Node);
      nodes.back()->id(i + 1);
    }
    for (CORBA::Long i = 0; i < count; ++i) {
      nodes[i]->next(nodes[(i + 1) % count]);
      nodes[i]->other(nodes[i]);
    }
    // A ring holds references to itself, so reference counting never
    // frees it: a test server can afford that.
    CallTest::Node* first = nodes[0];
    CORBA::add_ref(first);
    return first;
  }
  CORBA::Long count_nodes(CallTest::Node* n) override {
    std::set<CallTest::Node*> seen;
    std::vector<CallTest::Node*> todo{n};
    while (!todo.empty()) {
      CallTest::Node* x = todo.back();
      todo.pop_back();
      if (!x || !seen.insert(x).second) continue;
      todo.push_back(x->next());
      todo.push_back(x->other());
    }
    return static_cast<CORBA::Long>(seen.size());
  }
  CallTest::Node* echo_node(CallTest::Node* n) override {
    if (n) CORBA::add_ref(n);
    return n;
  }
  CallTest::Shape* echo_shape(CallTest::Shape* s) override {
    if (s) CORBA::add_ref(s);
    return s;
  }
  CallTest::Square* echo_square(CallTest::Square* s) override {
    if (s) CORBA::add_ref(s);
    return s;
  }
  CallTest::Shape* make_circle(CORBA::Double radius) override {
    CallTest::Point origin{0, 0};
    return new OBV_CallTest::Circle(origin, radius);
  }
  CallTest::Label* echo_label(CallTest::Label* l) override {
    if (l) CORBA::add_ref(l);
    return l;
  }
  void fail(CORBA::Long code, const char* reason) override {
    if (code == 0) throw CallTest::Empty();
    throw CallTest::Failure(code, reason);
  }
  void crash() override { throw CORBA::BAD_PARAM(42, CORBA::COMPLETED_NO); }
  void notify(const char* message) override {
    std::lock_guard<std::mutex> lock(mutex_);
    last_message_ = message;
  }
  void sleep(CORBA::ULong milliseconds) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
  char* last_message() override {
    std::lock_guard<std::mutex> lock(mutex_);
    return CORBA::string_dup(last_message_.c_str());
  }
  CORBA::Long counter() override {
    std::lock_guard<std::mutex> lock(mutex_);
    return counter_;
  }
  void counter(CORBA::Long value) override {
    std::lock_guard<std::mutex> lock(mutex_);
    counter_ = value;
  }

 private:
  PortableServer::POA_var poa_;
  std::mutex mutex_;
  std::string last_message_;
  CORBA::Long counter_ = 0;
};

class TillImpl : public POA_CallTestFixed::Till {
 public:
  CallTestFixed::Money add(const CallTestFixed::Money& a,
                           const CallTestFixed::Money& b) override {
    return a + b;
  }
  CallTestFixed::Price quote(const CallTestFixed::Money& amount,
                             const CallTestFixed::Fraction& rate) override {
    CallTestFixed::Price p;
    p.amount = amount * rate;
    p.rate = rate;
    return p;
  }
};

bool write_ior(CORBA::ORB_ptr orb, CORBA::Object_ptr obj,
               const std::string& path) {
  CORBA::String_var ior = orb->object_to_string(obj);
  std::string partial = path + ".partial";
  {
    std::ofstream out(partial);
    out << ior.in() << "\n";
    if (!out) return false;
  }
  return std::rename(partial.c_str(), path.c_str()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CORBA::ORB_var orb = CORBA::ORB_init(argc, argv);
    if (argc != 2) {
      std::fprintf(stderr, "usage: call_test_server DIR [-ORB options]\n");
      return 2;
    }
    register_call_test_factories(orb);
    CORBA::Object_var obj = orb->resolve_initial_references("RootPOA");
    PortableServer::POA_var poa = PortableServer::POA::_narrow(obj);
    PortableServer::Servant_var<EverythingImpl> everything(
        new EverythingImpl(poa));
    PortableServer::ObjectId_var id = poa->activate_object(everything.in());
    PortableServer::Servant_var<TillImpl> till(new TillImpl);
    id = poa->activate_object(till.in());
    PortableServer::POAManager_var manager = poa->the_POAManager();
    manager->activate();
    std::string dir = argv[1];
    CORBA::Object_var e = everything->_this(), t = till->_this();
    if (!write_ior(orb, e, dir + "/everything.ior") ||
        !write_ior(orb, t, dir + "/till.ior")) {
      std::fprintf(stderr, "call_test_server: cannot write to %s\n",
                   dir.c_str());
      return 1;
    }
    orb->run();
  } catch (const CORBA::Exception& e) {
    std::fprintf(stderr, "call_test_server: CORBA::%s\n", e._name());
    return 1;
  }
  return 0;
}
