// irctl's commands.  Each takes the arguments after its name, prints its
// results on `out` and its messages on `err`, and returns the exit status
// (0 success, 1 failure); a bad command line throws UsageError.
#ifndef IR_TOOLS_COMMANDS_H
#define IR_TOOLS_COMMANDS_H

#include <ostream>
#include <string>
#include <vector>

#include "client/repository_session.h"

struct CommandContext {
  RepositorySession& session;
  std::ostream& out;
  std::ostream& err;
  bool terminal = false;  // standard error is a terminal: show progress
};

using Args = std::vector<std::string>;

int feed_command(CommandContext& ctx, const Args& args);
int rm_command(CommandContext& ctx, const Args& args);
int ls_command(CommandContext& ctx, const Args& args);
int describe_command(CommandContext& ctx, const Args& args);
int idl_command(CommandContext& ctx, const Args& args);
int find_command(CommandContext& ctx, const Args& args);
int refs_command(CommandContext& ctx, const Args& args);
int children_command(CommandContext& ctx, const Args& args);
// Also returns 3 when the called operation raised a user exception.
int call_command(CommandContext& ctx, const Args& args);

#endif
