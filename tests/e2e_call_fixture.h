// Pieces shared by the end-to-end tests that call objects (irctl call and
// the HTTP gateway): child processes killed with the test, the call test
// server (tests/idl/call_test.idl) and omniNames on free ports.
#ifndef IR_TESTS_E2E_CALL_FIXTURE_H
#define IR_TESTS_E2E_CALL_FIXTURE_H

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "e2e_server.h"
#include "orb_main.h"

// A child process killed with the test.
class Child {
 public:
  Child() = default;
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { stop(); }
  void start(const std::vector<std::string>& argv) {
    pid_ = spawn_to_files(argv, dir_.file("stdout"), dir_.file("stderr"));
  }
  void stop() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      wait_for_process(pid_, 20000);
      pid_ = -1;
    }
  }
  bool running() const { return pid_ > 0; }
  pid_t pid() const { return pid_; }
  const TempDir& dir() const { return dir_; }
  std::string output() const {
    return read_file(dir_.file("stdout")) + read_file(dir_.file("stderr"));
  }

 private:
  TempDir dir_;
  pid_t pid_ = -1;
};

// A file beside the tests' sources ("idl/call_test.idl").
inline std::string test_source_file(const std::string& name) {
  std::string here = __FILE__;
  return here.substr(0, here.rfind('/') + 1) + name;
}

// Starts the call test server on `port` of 127.0.0.1 (0: a free one),
// telling it where the repository is when `repository` is not "", and
// returns the IOR of its Everything object ("" with a test failure when
// it does not start).
inline std::string start_call_server(Child& child,
                                     const std::string& repository,
                                     int port = 0) {
  std::vector<std::string> argv{
      CALL_TEST_SERVER_PATH, child.dir().path(), "-ORBendPoint",
      "giop:tcp:127.0.0.1:" + (port ? std::to_string(port) : std::string())};
  if (!repository.empty()) {
    argv.push_back("-ORBInitRef");
    argv.push_back("InterfaceRepository=" + repository);
  }
  child.start(argv);
  std::string problem;
  std::string ior = first_line(child.dir().file("everything.ior"), child.pid(),
                               20000, &problem);
  EXPECT_EQ(problem, "") << child.output();
  return ior;
}

// Starts omniNames on `port` with its data in the child's directory,
// asking `repository` for its interfaces, and waits until it answers.
// Returns its corbaloc URL ("" with a test failure when it does not
// answer).
inline std::string start_omninames(Child& names, int port,
                                   const std::string& repository) {
  std::string ns =
      "corbaloc::127.0.0.1:" + std::to_string(port) + "/NameService";
  names.start({"omniNames", "-start", std::to_string(port), "-datadir",
               names.dir().path(), "-ORBendPoint",
               "giop:tcp:127.0.0.1:" + std::to_string(port), "-ORBInitRef",
               "InterfaceRepository=" + repository});
  CORBA::Object_var root = test_orb()->string_to_object(ns.c_str());
  for (int i = 0; i < 200; ++i) {
    try {
      if (!root->_non_existent()) return ns;
    } catch (const CORBA::SystemException&) {
      std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
  }
  ADD_FAILURE() << "omniNames does not answer: " << names.output();
  return std::string();
}

#endif
