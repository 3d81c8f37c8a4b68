// irctl call: call an operation of any CORBA object with JSON arguments,
// typed by the repository.
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "client/dynamic_call.h"
#include "command_line.h"
#include "commands.h"

using json = nlohmann::ordered_json;

namespace {

// The --timeout value in milliseconds; throws UsageError unless it is a
// positive number of seconds.
unsigned long timeout_ms(const std::string& text) {
  char* end = nullptr;
  double seconds = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !(seconds > 0) || seconds > 86400 * 7)
    throw UsageError("--timeout wants a positive number of seconds, not '" +
                     text + "'");
  unsigned long ms = static_cast<unsigned long>(seconds * 1000 + 0.5);
  return ms ? ms : 1;
}

// JSON-ARGS, or standard input for "-"; throws UsageError when it is not
// JSON.
json arguments(const std::string& text) {
  std::string source = text;
  if (text == "-")
    source.assign(std::istreambuf_iterator<char>(std::cin),
                  std::istreambuf_iterator<char>());
  try {
    return json::parse(source);
  } catch (const json::parse_error& e) {
    std::string why = e.what();
    std::string::size_type tag = why.find("] ");
    if (tag != std::string::npos) why = why.substr(tag + 2);
    throw UsageError("JSON-ARGS is not JSON: " + why);
  }
}

void print_list(CommandContext& ctx, DynamicCaller& caller,
                const InterfaceOperations& ops) {
  json list = caller.describe(ops);
  ctx.out << ops.id << ": " << list.size()
          << (list.size() == 1 ? " operation" : " operations") << "\n";
  for (const json& op : list) {
    ctx.out << "  " << op["signature"].get<std::string>() << "\n"
            << "      " << op["args"].dump() << "\n";
  }
  ctx.out.flush();
}

}  // namespace

int call_command(CommandContext& ctx, const Args& args) {
  ParsedArgs parsed = parse_args(args, {{"--ns", true},
                                        {"--interface", true},
                                        {"--timeout", true},
                                        {"--list", false}});
  bool list = parsed.has("--list");
  const std::vector<std::string>& pos = parsed.positional;
  if (pos.empty()) throw UsageError("give a TARGET");
  if (list && pos.size() != 1)
    throw UsageError("--list takes a TARGET and nothing else");
  if (!list && pos.size() < 2) throw UsageError("give an OPERATION");
  if (pos.size() > 3) throw UsageError("too many arguments: '" + pos[3] + "'");
  unsigned long timeout =
      parsed.has("--timeout") ? timeout_ms(parsed.value("--timeout")) : 0;
  json call_args = pos.size() == 3 ? arguments(pos[2]) : json();

  DynamicCaller caller(ctx.session.orb(), ctx.session.repo());
  try {
    CORBA::Object_var target;
    // With --interface, --list needs nothing from the target itself.
    if (!list || parsed.value("--interface").empty())
      target = caller.resolve_target(pos[0], parsed.value("--ns"), timeout);
    InterfaceOperations ops =
        caller.operations_of(target, parsed.value("--interface"));
    if (list) {
      print_list(ctx, caller, ops);
      return 0;
    }
    CallOutcome outcome = caller.call(target, ops.find(pos[1]), call_args);
    bool pretty = isatty(STDOUT_FILENO) != 0;
    ctx.out << outcome.json.dump(pretty ? 2 : -1, ' ', false,
                                 json::error_handler_t::replace)
            << std::endl;
    return outcome.status;
  } catch (const CallError& e) {
    ctx.err << "irctl: call: " << e.what() << std::endl;
    return 1;
  }
}
