// Running a helper program (omniidl) to its end with both outputs
// captured.
#ifndef IR_TOOLS_CHILD_PROCESS_H
#define IR_TOOLS_CHILD_PROCESS_H

#include <string>
#include <vector>

struct ChildResult {
  bool started = false;  // false: exec failed; `err` says why
  int exit_status = -1;  // the exit status, or 128 + signal
  std::string out;
  std::string err;
};

// Runs argv[0] (searched on PATH) with `argv`, standard input from
// /dev/null, and waits for it.  Never throws for a failing program.
ChildResult run_child(const std::vector<std::string>& argv);

#endif
