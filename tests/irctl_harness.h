// Running irctl and omniidl from the end-to-end tests.
#ifndef IR_TESTS_IRCTL_HARNESS_H
#define IR_TESTS_IRCTL_HARNESS_H

#include <string>
#include <vector>

// How a tool run ended, with both outputs.
struct ToolResult {
  int status = -1;  // exit status; 128 + signal when killed
  bool timed_out = false;
  std::string out;
  std::string err;
  // "status 1; stdout: [...]; stderr: [...]"
  std::string describe() const;
};

// The irctl executable: $IR_BUILD_DIR/irctl, else next to (or one
// directory above) the test executable.
std::string irctl_path();

// Runs argv[0] (searched on PATH) with `argv` to its end, standard input
// from /dev/null; kills it after `timeout_ms`.
ToolResult run_tool(const std::vector<std::string>& argv,
                    int timeout_ms = 120000);

// The lines of `text` (a trailing newline ends the last line).
std::vector<std::string> text_lines(const std::string& text);

// Writes `text` to `path`, replacing it.
void write_text(const std::string& path, const std::string& text);

#endif
