// irctl call: call an operation of any CORBA object with JSON arguments,
// typed by the repository.
#include <unistd.h>

#include <iostream>
#include <nlohmann/json.hpp>

#include "client/dynamic_call.h"
#include "commands.h"

using json = nlohmann::ordered_json;

namespace {

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

int call_command(CommandContext& ctx, const CallOptions& o) {
  // The command line has checked that the arguments are JSON.
  json call_args = o.args.empty() ? json() : json::parse(o.args);
  DynamicCaller caller(ctx.session.orb(), ctx.session.repo());
  try {
    CORBA::Object_var target;
    // With --interface, --list needs nothing from the target itself.
    if (!o.list || o.interface.empty())
      target = caller.resolve_target(o.target, o.ns, o.timeout_ms);
    InterfaceOperations ops = caller.operations_of(target, o.interface);
    if (o.list) {
      if (ctx.json) {
        ctx.out << caller.describe(ops).dump(2) << std::endl;
        return 0;
      }
      print_list(ctx, caller, ops);
      return 0;
    }
    CallOutcome outcome = caller.call(target, ops.find(o.operation), call_args);
    bool pretty = isatty(STDOUT_FILENO) != 0;
    ctx.out << outcome.json.dump(pretty ? 2 : -1, ' ', false,
                                 json::error_handler_t::replace)
            << std::endl;
    return outcome.status;
  } catch (const CallError& e) {
    ctx.error("call", e.what());
    return 1;
  }
}
