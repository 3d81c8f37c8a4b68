// irctl's commands.  Each prints its results on ctx.out (text, or one JSON
// document with -o json), its messages on ctx.err, and returns the exit
// status (0 success, 1 failure).  CORBA exceptions that a command does not
// handle itself are reported by irctl_main.cpp with the operation that
// raised them.
#ifndef IR_TOOLS_COMMANDS_H
#define IR_TOOLS_COMMANDS_H

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "cli.h"
#include "client/repository_session.h"

struct CommandContext {
  RepositorySession& session;
  std::ostream& out;
  std::ostream& err;
  bool terminal = false;  // standard error is a terminal: show progress
  bool json = false;      // -o json

  // Prints `doc` as the run's one JSON document.
  void print_json(const nlohmann::json& doc) const;
  // Prints "irctl: <command>: <text>" on err.
  void error(const std::string& command, const std::string& text) const;
};

int feed_command(CommandContext& ctx, const FeedOptions& options);
int rm_command(CommandContext& ctx, const RmOptions& options);
int ls_command(CommandContext& ctx, const LsOptions& options);
int describe_command(CommandContext& ctx, const DescribeOptions& options);
int idl_command(CommandContext& ctx, const IdlOptions& options);
int find_command(CommandContext& ctx, const FindOptions& options);
int refs_command(CommandContext& ctx, const RefsOptions& options);
int children_command(CommandContext& ctx, const ChildrenOptions& options);
int ping_command(CommandContext& ctx);
int backup_command(CommandContext& ctx);
// Also returns 3 when the called operation raised a user exception.
int call_command(CommandContext& ctx, const CallOptions& options);

#endif
