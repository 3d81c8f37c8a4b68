// irctl idl: the repository, or one definition, printed as IDL; with
// --with-deps also every definition outside it that it needs.
#include <set>

#include "client/corba_text.h"
#include "client/definition_json.h"
#include "client/idl_dependencies.h"
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
    // A definition inside an interface, value type, struct, ... needs
    // the header of what holds it (its bases): the whole of it is printed.
    if (o.with_deps) start = idl_unit_of(ctx.session.repo(), start);
  }
  RepositoryTree tree(ctx.session, start);
  if (o.with_deps && !CORBA::is_nil(start)) {
    add_idl_dependencies(ctx.session, tree);
    tree.number_all();
  }
  AnyCodec codec(ctx.session.orb());
  std::string text = print_idl(tree, codec);
  if (ctx.json) {
    std::vector<const TreeNode*> nodes;
    collect_whole_nodes(tree.top(), &nodes);
    nlohmann::json defs = nlohmann::json::array();
    for (const TreeNode* n : nodes)
      defs.push_back({{"kind", kind_name(n->kind)},
                      {"name", n->scoped_name()},
                      {"id", n->id}});
    ctx.print_json({{"name", o.name.empty() ? nlohmann::json(nullptr)
                                            : nlohmann::json(o.name)},
                    {"with_deps", o.with_deps},
                    {"definitions", defs},
                    {"idl", text}});
    return 0;
  }
  ctx.out << text << std::flush;
  return 0;
}
