// An in-process repository for the benchmarks: a fresh database in a
// temporary directory, reached through the root's CORBA reference as a
// colocated client reaches it.  The destructor shuts the repository and
// the ORB down and removes the directory; the caller must have released
// every reference it took by then.
#ifndef IR_BENCH_BENCH_REPOSITORY_H
#define IR_BENCH_BENCH_REPOSITORY_H

#include <omniORB4/CORBA.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "ir/irglob.h"
#include "ir/reposito.h"
#include "ir/servant_locator.h"

class BenchRepository {
 public:
  explicit BenchRepository(char* argv0) {
    int orb_argc = 3;
    char* orb_argv[] = {argv0, const_cast<char*>("-ORBtraceLevel"),
                        const_cast<char*>("0"), nullptr};
    orb_ = CORBA::ORB_init(orb_argc, orb_argv);
    char pattern[] = "/tmp/irbench.XXXXXX";
    dir_ = mkdtemp(pattern);
    std::string db = dir_ + "/ir.db";
    ir_poa_init(orb_);
    CORBA_Repository_Impl* root =
        CORBA_Repository_Impl::theRepository(db.c_str());
    ir_poa_activate();
    CORBA::Object_var obj = root->_ref();
    repo_ = CORBA::Repository::_narrow(obj);
  }
  ~BenchRepository() {
    repo_ = CORBA::Repository::_nil();
    kaldIrGlobalObject->reset();
    orb_->destroy();
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }
  BenchRepository(const BenchRepository&) = delete;
  BenchRepository& operator=(const BenchRepository&) = delete;

  // The root; owned by this object.
  CORBA::Repository_ptr repo() const { return repo_.in(); }

 private:
  CORBA::ORB_var orb_;
  std::string dir_;
  CORBA::Repository_var repo_;
};

#endif  // IR_BENCH_BENCH_REPOSITORY_H
