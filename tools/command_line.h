// Options of irctl's commands, and the help texts.
#ifndef IR_TOOLS_COMMAND_LINE_H
#define IR_TOOLS_COMMAND_LINE_H

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

// A command line that cannot be run; what() is the one-line reason.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct OptionDef {
  const char* name;  // "--replace", "-I"
  bool takes_value;
};

struct ParsedArgs {
  // Every value of an option, in order; a flag has one empty value per
  // occurrence.
  std::map<std::string, std::vector<std::string>> options;
  std::vector<std::string> positional;

  bool has(const std::string& name) const { return options.count(name) != 0; }
  std::vector<std::string> values(const std::string& name) const;
  std::string value(const std::string& name) const;  // the last, or ""
};

// Parses `args` against `known`: "-I DIR" and "-IDIR" for short options,
// "--name VALUE" and "--name=VALUE" for long ones, "--" ends the options.
// Throws UsageError for an unknown option or a missing value.
ParsedArgs parse_args(const std::vector<std::string>& args,
                      const std::vector<OptionDef>& known);

// The help of irctl (`command` empty) or of one command; empty when the
// command does not exist.
std::string usage_text(const std::string& command);

#endif
