// What printing one definition as a file that compiles on its own needs:
// the definitions outside it that it names, whole.
#ifndef IR_CLIENT_IDL_DEPENDENCIES_H
#define IR_CLIENT_IDL_DEPENDENCIES_H

#include <omniORB4/CORBA.h>

#include <vector>

#include "client/repository_session.h"
#include "client/repository_tree.h"

// The definition that IDL must write whole to write `c`: `c` itself, or
// the outermost definition around it that is not a module.
CORBA::Contained_ptr idl_unit_of(CORBA::Repository_ptr repo,
                                 CORBA::Contained_ptr c);

// Every node below `node` that the tree holds whole (not the containers
// read only as the way to a subtree), in tree order, appended to `out`.
void collect_whole_nodes(const TreeNode& node,
                         std::vector<const TreeNode*>* out);

// Adds to `tree` every definition that what it holds needs (bases, types,
// raised exceptions), each as the whole unit that holds it, until nothing
// is missing.  Ids that name nothing (dangling) are left out.  The caller
// numbers the tree again (RepositoryTree::number_all) before printing.
void add_idl_dependencies(RepositorySession& session, RepositoryTree& tree);

#endif
