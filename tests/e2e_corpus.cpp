#include "e2e_corpus.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "util/process.h"

const char kCosDir[] = "/usr/share/idl/omniORB/COS";
const char kOmniIdlDir[] = "/usr/share/idl/omniORB";

namespace fs = std::filesystem;

std::vector<std::string> accepted_cos_files(std::vector<std::string>* refused) {
  std::vector<std::string> files;
  for (const auto& entry : fs::directory_iterator(kCosDir))
    if (entry.path().extension() == ".idl") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  // A few omniidl runs at a time: each one spends most of its time
  // starting Python.
  std::vector<std::string> accepted;
  const std::size_t kAtOnce = 4;
  for (std::size_t first = 0; first < files.size(); first += kAtOnce) {
    std::vector<pid_t> running;
    std::size_t end = std::min(files.size(), first + kAtOnce);
    for (std::size_t i = first; i < end; ++i) {
      std::string error;
      running.push_back(
          spawn_process({"omniidl", std::string("-I") + kCosDir,
                         std::string("-I") + kOmniIdlDir, files[i]},
                        SpawnOptions(), &error));
    }
    for (std::size_t i = first; i < end; ++i) {
      pid_t pid = running[i - first];
      bool ok = pid > 0 && wait_process(pid, 60000).status() == 0;
      (ok ? accepted : *refused).push_back(files[i]);
    }
  }
  return accepted;
}

std::vector<std::string> feed_corpus(const IrServerProcess& server) {
  std::vector<std::string> refused;
  std::vector<std::string> files = accepted_cos_files(&refused);
  std::cout << "COS files: " << files.size() << " accepted, " << refused.size()
            << " refused by omniidl:";
  for (const std::string& f : refused)
    std::cout << " " << fs::path(f).filename().string();
  std::cout << std::endl;
  std::vector<std::string> argv{irctl_path(),
                                "--ir",
                                server.corbaloc(),
                                "feed",
                                "--quiet",
                                "--include-deps",
                                std::string("-I") + kCosDir,
                                std::string("-I") + kOmniIdlDir};
  argv.insert(argv.end(), files.begin(), files.end());
  ProcessResult r = run_process(argv);
  EXPECT_EQ(r.status(), 0) << r.describe();
  EXPECT_NE(r.out.find(" 0 failed"), std::string::npos) << r.out;
  return files;
}
