// irctl idl: the repository, or one definition, printed as IDL; with
// --with-deps also every definition outside it that it needs.
#include <set>

#include "client/corba_text.h"
#include "client/definition_json.h"
#include "client/idl_printer.h"
#include "client/repository_tree.h"
#include "client/type_text.h"
#include "command_support.h"
#include "commands.h"

namespace {

const char kObjectInterfaceId[] = "IDL:Object:1.0";

// The definition that IDL must write whole to write `c`: `c` itself, or
// the outermost definition around it that is not a module.
CORBA::Contained_ptr unit_of(CORBA::Repository_ptr repo,
                             CORBA::Contained_ptr c) {
  CORBA::String_var abs = c->absolute_name();
  std::string name = abs.in(), prefix;
  std::size_t pos = 0;
  while (pos < name.size()) {
    std::size_t begin = name.find_first_not_of(':', pos);
    if (begin == std::string::npos) break;
    std::size_t end = name.find("::", begin);
    if (end == std::string::npos) end = name.size();
    prefix += "::" + name.substr(begin, end - begin);
    pos = end;
    if (prefix == name) break;
    CORBA::Contained_var outer = repo->lookup(prefix.c_str());
    if (CORBA::is_nil(outer)) break;
    if (outer->def_kind() != CORBA::dk_Module) return outer._retn();
  }
  return CORBA::Contained::_duplicate(c);
}

void collect_nodes(const TreeNode& node, std::vector<const TreeNode*>* out) {
  for (const auto& child : node.children) {
    if (!child->partial) out->push_back(child.get());
    collect_nodes(*child, out);
  }
}

// Adds to `tree` every definition that what it holds needs, until
// nothing is missing.  Ids that name nothing (dangling) are left out.
void add_dependencies(CommandContext& ctx, RepositoryTree& tree) {
  std::set<std::string> tried{kObjectInterfaceId};
  while (true) {
    std::vector<const TreeNode*> nodes;
    collect_nodes(tree.top(), &nodes);
    std::vector<std::string> missing;
    for (const TreeNode* n : nodes) {
      if (n->parent && !n->parent->partial && n->parent != &tree.top())
        continue;  // dependencies are gathered from whole units
      for (const std::string& id : dependency_ids(*n)) {
        const TreeNode* there = tree.find(id);
        if ((!there || there->partial) && tried.insert(id).second)
          missing.push_back(id);
      }
    }
    if (missing.empty()) return;
    for (const std::string& id : missing) {
      CORBA::Contained_var c = ctx.session.repo()->lookup_id(id.c_str());
      if (CORBA::is_nil(c)) continue;
      CORBA::Contained_var unit = unit_of(ctx.session.repo(), c);
      tree.add_subtree(unit);
    }
  }
}

}  // namespace

int idl_command(CommandContext& ctx, const IdlOptions& o) {
  CORBA::Contained_var start;
  if (!o.name.empty()) {
    start = find_definition(ctx, "idl", o.name);
    if (CORBA::is_nil(start)) return 1;
    // A definition inside an interface, value type, struct, ... needs
    // the header of what holds it (its bases): the whole of it is printed.
    if (o.with_deps) start = unit_of(ctx.session.repo(), start);
  }
  RepositoryTree tree(ctx.session, start);
  if (o.with_deps && !CORBA::is_nil(start)) {
    add_dependencies(ctx, tree);
    tree.number_all();
  }
  AnyCodec codec(ctx.session.orb());
  std::string text = print_idl(tree, codec);
  if (ctx.json) {
    std::vector<const TreeNode*> nodes;
    collect_nodes(tree.top(), &nodes);
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
