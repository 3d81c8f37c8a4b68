// A copy of (part of) the repository's naming tree in the client, read
// with one describe_contents call per container.
#ifndef IR_CLIENT_REPOSITORY_TREE_H
#define IR_CLIENT_REPOSITORY_TREE_H

#include <omniORB4/CORBA.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "client/corba_text.h"
#include "client/repository_session.h"

struct TreeNode {
  CORBA::DefinitionKind kind = CORBA::dk_none;
  std::string name;
  std::string id;
  std::string version;
  std::vector<std::string> path;  // scoped name components from the top
  TreeNode* parent = nullptr;     // nullptr for the top
  std::vector<std::unique_ptr<TreeNode>> children;  // oldest first
  CORBA::Contained_var ref;
  CORBA::Any description;  // the kind's description structure
  // The position of the definition in the order in which the repository
  // created its definitions (-1: not known).
  long seq = -1;
  // A container that holds only the way to a definition added below it,
  // not its whole contents.
  bool partial = false;
  // Value types only: the full description (for the initializers).
  CORBA::ValueDef::FullValueDescription_var full_value;

  // "::A::B"
  std::string scoped_name() const;
  bool is_container() const;
};

class RepositoryTree {
 public:
  // Reads the whole repository (`start` nil) or the definition `start`
  // with everything inside it.  Throws the CORBA exception of a failed
  // call.
  RepositoryTree(RepositorySession& session, CORBA::Contained_ptr start);

  // Adds the definition `start` with everything inside it (and the
  // containers around it, holding only what was added), unless it is in
  // the tree already.  Returns its node, or nullptr when a container on
  // the way is gone.  The positions of the new nodes are not known until
  // number_all().
  TreeNode* add_subtree(CORBA::Contained_ptr start);
  // Sets the position of every node in the repository's order of
  // creation (one search of the whole repository).
  void number_all();

  // The top: the repository (kind dk_Repository, no name), or the
  // container of the subtree (whose only child is the subtree).
  TreeNode& top() { return top_; }
  // The node of a repository id, or nullptr when it is not in the tree.
  TreeNode* find(const std::string& id) const;
  // The scoped name of a repository id: from the tree, else asked from
  // the repository (and remembered); "" when nothing has that id.
  std::string scoped_name_of(const std::string& id);

 private:
  void load_children(TreeNode& node, CORBA::Container_ptr container);
  // Sets `seq` of every node from the repository's search of everything
  // below `scope_id` ("" = everywhere), which lists oldest first.
  void number_nodes(const std::string& scope_id);
  void add(TreeNode& node);
  // Drops the ids of everything below `node` from the index.
  void forget_below(const TreeNode& node);

  RepositorySession& session_;
  TreeNode top_;
  std::map<std::string, TreeNode*> by_id_;
  std::map<std::string, std::string> outside_names_;
};

#endif
