// irctl idl: the repository, or one definition, printed as IDL.
#include "client/idl_printer.h"
#include "client/repository_tree.h"
#include "client/type_text.h"
#include "command_support.h"
#include "commands.h"

int idl_command(CommandContext& ctx, const IdlOptions& o) {
  CORBA::Contained_var start;
  if (!o.name.empty()) {
    start = find_definition(ctx, "idl", o.name);
    if (CORBA::is_nil(start)) return 1;
  }
  RepositoryTree tree(ctx.session, start);
  AnyCodec codec(ctx.session.orb());
  std::string text = print_idl(tree, codec);
  if (ctx.json) {
    ctx.print_json({{"name", o.name.empty() ? nlohmann::json(nullptr)
                                            : nlohmann::json(o.name)},
                    {"with_deps", o.with_deps},
                    {"idl", text}});
    return 0;
  }
  ctx.out << text << std::flush;
  return 0;
}
