// irctl ping and backup: questions to the server rather than to the
// repository's definitions.
#include "client/definition_view.h"
#include "command_support.h"
#include "commands.h"
#include "irext.hh"

namespace {

// "3d 4h 5m 6s", leading zero units left out.
std::string duration_text(unsigned long long seconds) {
  const std::pair<unsigned long long, const char*> units[] = {
      {86400, "d"}, {3600, "h"}, {60, "m"}};
  std::string out;
  for (const auto& u : units) {
    if (seconds >= u.first || !out.empty()) {
      out += std::to_string(seconds / u.first) + u.second + " ";
      seconds %= u.first;
    }
  }
  return out + std::to_string(seconds) + "s";
}

// Runs `call`; when the server lacks the operation, says so and returns
// false.
template <class Call>
bool offered(CommandContext& ctx, const char* command, const char* operation,
             Call call) {
  try {
    call();
    return true;
  } catch (const CORBA::SystemException& e) {
    if (!is_not_offered(e)) throw;
    ctx.error(command, "the repository at " + ctx.session.where() +
                           " does not offer " + operation +
                           " (an irserver older than this irctl?)");
    return false;
  }
}

}  // namespace

int ping_command(CommandContext& ctx) {
  IRExt::ExtServerInfo_var info;
  if (!offered(ctx, "ping", "ext_server_info",
               [&] { info = ctx.session.ext()->ext_server_info(); }))
    return 1;
  bool healthy = info->healthy;
  if (ctx.json) {
    ctx.print_json({{"repository", ctx.session.where()},
                    {"version", info->version.in()},
                    {"database", info->database.in()},
                    {"read_only", static_cast<bool>(info->read_only)},
                    {"healthy", healthy},
                    {"status", info->status.in()},
                    {"definitions", info->definitions},
                    {"uptime_seconds", info->uptime_seconds}});
  } else {
    Table table;
    table.add({"repository:", ctx.session.where()});
    table.add({"version:", info->version.in()});
    table.add({"database:", info->database.in()});
    table.add({"read-only:", info->read_only ? "yes" : "no"});
    table.add({"definitions:", std::to_string(info->definitions)});
    table.add({"uptime:", duration_text(info->uptime_seconds)});
    table.add({"status:", info->status.in()});
    table.print(ctx.out);
    ctx.out << std::flush;
  }
  if (!healthy)
    ctx.error("ping", "the repository at " + ctx.session.where() +
                          " is not healthy: " + info->status.in());
  return healthy ? 0 : 1;
}

int backup_command(CommandContext& ctx) {
  CORBA::String_var path;
  if (!offered(ctx, "backup", "ext_backup",
               [&] { path = ctx.session.ext()->ext_backup(); }))
    return 1;
  if (ctx.json)
    ctx.print_json({{"path", path.in()}});
  else
    ctx.out << path.in() << std::endl;
  return 0;
}
