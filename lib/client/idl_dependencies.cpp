#include "client/idl_dependencies.h"

#include <set>
#include <string>
#include <vector>

#include "client/idl_printer.h"

namespace {

const char kObjectInterfaceId[] = "IDL:Object:1.0";

}  // namespace

void collect_whole_nodes(const TreeNode& node,
                         std::vector<const TreeNode*>* out) {
  for (const auto& child : node.children) {
    if (!child->partial) out->push_back(child.get());
    collect_whole_nodes(*child, out);
  }
}

CORBA::Contained_ptr idl_unit_of(CORBA::Repository_ptr repo,
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

void add_idl_dependencies(RepositorySession& session, RepositoryTree& tree) {
  std::set<std::string> tried{kObjectInterfaceId};
  while (true) {
    std::vector<const TreeNode*> nodes;
    collect_whole_nodes(tree.top(), &nodes);
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
      CORBA::Contained_var c = session.repo()->lookup_id(id.c_str());
      if (CORBA::is_nil(c)) continue;
      CORBA::Contained_var unit = idl_unit_of(session.repo(), c);
      tree.add_subtree(unit);
    }
  }
}
