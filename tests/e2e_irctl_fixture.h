// The fixture of irctl's end-to-end tests: a real irserver per test, irctl
// run as a program against it, and helpers to write IDL files, feed them
// and read what the repository holds.
#ifndef IR_TESTS_E2E_IRCTL_FIXTURE_H
#define IR_TESTS_E2E_IRCTL_FIXTURE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "e2e_fixture.h"
#include "e2e_server.h"

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// The lines of `text` that contain `part`.
inline std::vector<std::string> lines_with(const std::string& text,
                                           const std::string& part) {
  std::vector<std::string> out;
  for (const std::string& l : text_lines(text))
    if (contains(l, part)) out.push_back(l);
  return out;
}

class IrctlE2E : public IrServerE2E {
 protected:
  void SetUp() override {
    IrServerE2E::SetUp();
    ASSERT_EQ(server_.start(), "");
  }

  static ProcessResult irctl_on(const IrServerProcess& server,
                                const std::vector<std::string>& args) {
    std::vector<std::string> argv{irctl_path(), "--ir", server.corbaloc()};
    argv.insert(argv.end(), args.begin(), args.end());
    return run_process(argv);
  }
  ProcessResult irctl(const std::vector<std::string>& args) {
    return irctl_on(server_, args);
  }

  // Writes an IDL file into the server's directory; returns its path.
  std::string idl_file(const std::string& name, const std::string& text) {
    std::string path = server_.dir() + "/" + name;
    write_text(path, text);
    return path;
  }

  // Feeds files and expects success.
  void feed_ok(const std::vector<std::string>& args) {
    std::vector<std::string> all{"feed"};
    all.insert(all.end(), args.begin(), args.end());
    ProcessResult r = irctl(all);
    ASSERT_EQ(r.status(), 0) << r.describe();
  }

  // Everything the repository holds, as `irctl ls -R -l` prints it.
  std::string snapshot(const IrServerProcess& server) {
    ProcessResult r = irctl_on(server, {"ls", "-R", "-l"});
    EXPECT_EQ(r.status(), 0) << r.describe();
    return r.out;
  }

  // The repository ids of everything, sorted.
  std::vector<std::string> all_ids(const IrServerProcess& server) {
    ProcessResult r = irctl_on(server, {"find", "--ids", "*"});
    EXPECT_EQ(r.status(), 0) << r.describe();
    std::vector<std::string> ids;
    for (const std::string& l : text_lines(r.out))
      ids.push_back(l.substr(l.rfind(' ') + 1));
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  // `irctl idl` of `server`; the same text after feeding it into a fresh
  // repository; and both repositories hold the same ids.
  std::string expect_idl_round_trip(const IrServerProcess& server,
                                    bool cxx = true) {
    ProcessResult printed = irctl_on(server, {"idl"});
    EXPECT_EQ(printed.status(), 0) << printed.describe();
    std::string path = server.dir() + "/printed.idl";
    write_text(path, printed.out);
    // omniidl accepts it: with the C++ back-end (its output goes to a
    // directory of its own), else the front end alone.
    TempDir out;
    ProcessResult check =
        cxx ? run_process({"omniidl", "-bcxx", "-C" + out.path(), path})
            : run_process({"omniidl", path});
    EXPECT_EQ(check.status(), 0)
        << "omniidl refused the output: " << check.describe();
    IrServerProcess fresh;
    EXPECT_EQ(fresh.start(), "");
    ProcessResult fed = irctl_on(fresh, {"feed", path});
    EXPECT_EQ(fed.status(), 0) << fed.describe();
    ProcessResult again = irctl_on(fresh, {"idl"});
    EXPECT_EQ(again.status(), 0) << again.describe();
    EXPECT_EQ(again.out, printed.out) << "printing the fed output differs";
    EXPECT_EQ(all_ids(fresh), all_ids(server));
    return printed.out;
  }

  // Feeds `idl` into a repository of its own and checks the round trip.
  void feed_and_round_trip(const char* idl, bool cxx) {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    std::string path = server.dir() + "/row.idl";
    write_text(path, idl);
    ProcessResult fed = irctl_on(server, {"feed", path});
    ASSERT_EQ(fed.status(), 0) << fed.describe();
    expect_idl_round_trip(server, cxx);
  }

  // Runs irctl with `args` and "-o json", expects `status`, and returns
  // its standard output parsed as one JSON document (null, with a test
  // failure, when it is not one).
  nlohmann::json irctl_json(std::vector<std::string> args, int status = 0) {
    args.push_back("-o");
    args.push_back("json");
    ProcessResult r = irctl(args);
    EXPECT_EQ(r.status(), status) << r.describe();
    try {
      return nlohmann::json::parse(r.out);
    } catch (const nlohmann::json::exception& e) {
      ADD_FAILURE() << "not one JSON document (" << e.what() << "): " << r.out;
      return nlohmann::json();
    }
  }

  IrServerProcess server_;
};

#endif  // IR_TESTS_E2E_IRCTL_FIXTURE_H
