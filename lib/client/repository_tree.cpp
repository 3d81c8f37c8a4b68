#include "client/repository_tree.h"

#include <unordered_map>

#include "client/description_fields.h"
#include "client/listing.h"

std::string TreeNode::scoped_name() const {
  std::string s;
  for (const std::string& p : path) s += "::" + p;
  return s.empty() ? "::" : s;
}

bool TreeNode::is_container() const { return is_container_kind(kind); }

RepositoryTree::RepositoryTree(RepositorySession& session,
                               CORBA::Contained_ptr start)
    : session_(session) {
  top_.kind = CORBA::dk_Repository;
  if (CORBA::is_nil(start)) {
    load_children(top_, session.repo());
    number_nodes("");
    return;
  }
  TreeNode* node = add_subtree(start);
  if (node) number_nodes(node->id);
}

TreeNode* RepositoryTree::add_subtree(CORBA::Contained_ptr start) {
  // The containers around `start` come in as a chain of nodes that hold
  // only the next one (partial); `start` comes with everything inside it.
  CORBA::String_var abs = start->absolute_name();
  std::string a = abs.in();
  std::vector<std::string> names;
  std::size_t pos = 0;
  while (pos < a.size()) {
    std::size_t begin = a.find_first_not_of(':', pos);
    if (begin == std::string::npos) break;
    std::size_t end = a.find("::", begin);
    if (end == std::string::npos) end = a.size();
    names.push_back(a.substr(begin, end - begin));
    pos = end;
  }
  TreeNode* parent = &top_;
  std::string scoped;
  for (std::size_t i = 0; i < names.size(); ++i) {
    scoped += "::" + names[i];
    bool last = i + 1 == names.size();
    TreeNode* existing = nullptr;
    for (const auto& child : parent->children)
      if (child->name == names[i]) existing = child.get();
    if (existing) {
      if (!existing->partial) return existing;  // already there in full
      if (last) {
        // The chain node becomes the whole definition.
        forget_below(*existing);
        existing->children.clear();
        existing->partial = false;
        add(*existing);
        return existing;
      }
      parent = existing;
      continue;
    }
    CORBA::Contained_var c = last ? CORBA::Contained::_duplicate(start)
                                  : session_.repo()->lookup(scoped.c_str());
    if (CORBA::is_nil(c)) return nullptr;
    CORBA::Contained::Description_var d = c->describe();
    DescriptionFields f = description_fields(d->kind, d->value);
    auto node = std::make_unique<TreeNode>();
    node->kind = d->kind;
    node->name = f.name;
    node->id = f.id;
    node->version = f.version;
    node->path = parent->path;
    node->path.push_back(f.name);
    node->parent = parent;
    node->ref = CORBA::Contained::_duplicate(c);
    node->description = d->value;
    node->partial = !last;
    TreeNode* raw = node.get();
    parent->children.push_back(std::move(node));
    if (last) {
      add(*raw);
    } else {
      by_id_[raw->id] = raw;
      if (raw->kind == CORBA::dk_Value) {
        CORBA::ValueDef_var v = CORBA::ValueDef::_unchecked_narrow(raw->ref);
        raw->full_value = v->describe_value();
      }
    }
    parent = raw;
  }
  return parent == &top_ ? nullptr : parent;
}

void RepositoryTree::forget_below(const TreeNode& node) {
  for (const auto& child : node.children) {
    forget_below(*child);
    auto it = by_id_.find(child->id);
    if (it != by_id_.end() && it->second == child.get()) by_id_.erase(it);
  }
}

void RepositoryTree::number_all() {
  for (const auto& entry : by_id_) entry.second->seq = -1;
  number_nodes("");
}

void RepositoryTree::number_nodes(const std::string& scope_id) {
  RepositoryListing listing(session_.repo());
  SearchQuery everything;
  everything.scope = scope_id;
  std::vector<DefinitionSummary> rows;
  if (listing.bulk_search(everything, &rows)) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      auto it = by_id_.find(rows[i].id);
      if (it != by_id_.end() && it->second->seq < 0)
        it->second->seq = static_cast<long>(i);
    }
    return;
  }
  // References are matched without remote calls: omniORB hashes and
  // compares object keys locally.
  constexpr CORBA::ULong kBound = 0x7fffffff;
  std::unordered_multimap<CORBA::ULong, TreeNode*> by_hash;
  for (const auto& entry : by_id_)
    if (!CORBA::is_nil(entry.second->ref))
      by_hash.emplace(entry.second->ref->_hash(kBound), entry.second);
  CORBA::ContainedSeq_var all =
      session_.ext()->ext_find_objects("*", scope_id.c_str(), false, "");
  for (CORBA::ULong i = 0; i < all->length(); ++i) {
    auto range = by_hash.equal_range(all[i]->_hash(kBound));
    for (auto it = range.first; it != range.second; ++it) {
      if (it->second->seq < 0 && all[i]->_is_equivalent(it->second->ref)) {
        it->second->seq = static_cast<long>(i);
        break;
      }
    }
  }
}

void RepositoryTree::add(TreeNode& node) {
  by_id_[node.id] = &node;
  if (node.kind == CORBA::dk_Value) {
    CORBA::ValueDef_var v = CORBA::ValueDef::_unchecked_narrow(node.ref);
    node.full_value = v->describe_value();
  }
  if (node.is_container()) {
    CORBA::Container_var c = CORBA::Container::_unchecked_narrow(node.ref);
    load_children(node, c);
  }
}

void RepositoryTree::load_children(TreeNode& node,
                                   CORBA::Container_ptr container) {
  CORBA::Container::DescriptionSeq_var all =
      container->describe_contents(CORBA::dk_all, true, -1);
  for (CORBA::ULong i = 0; i < all->length(); ++i) {
    DescriptionFields f = description_fields(all[i].kind, all[i].value);
    auto child = std::make_unique<TreeNode>();
    child->kind = all[i].kind;
    child->name = f.name;
    child->id = f.id;
    child->version = f.version;
    child->path = node.path;
    child->path.push_back(f.name);
    child->parent = &node;
    child->ref = CORBA::Contained::_duplicate(all[i].contained_object.in());
    child->description = all[i].value;
    TreeNode& c = *child;
    node.children.push_back(std::move(child));
    add(c);
  }
}

TreeNode* RepositoryTree::find(const std::string& id) const {
  auto it = by_id_.find(id);
  return it == by_id_.end() ? nullptr : it->second;
}

std::string RepositoryTree::scoped_name_of(const std::string& id) {
  if (TreeNode* n = find(id)) return n->scoped_name();
  auto it = outside_names_.find(id);
  if (it != outside_names_.end()) return it->second;
  std::string name;
  CORBA::Contained_var c = session_.repo()->lookup_id(id.c_str());
  if (!CORBA::is_nil(c)) {
    CORBA::String_var abs = c->absolute_name();
    name = abs.in();
  }
  outside_names_[id] = name;
  return name;
}
