#include "feed_plan.h"

#include <algorithm>
#include <filesystem>
#include <set>

std::string canonical_path(const std::string& path) {
  std::error_code ec;
  std::filesystem::path p = std::filesystem::weakly_canonical(path, ec);
  return ec ? path : p.string();
}

std::vector<int> tree_files(const IdlTree& tree, bool include_deps) {
  std::vector<int> files;
  if (include_deps) {
    for (const TreeItem& item : tree.items)
      if (std::find(files.begin(), files.end(), item.file) == files.end())
        files.push_back(item.file);
  }
  if (std::find(files.begin(), files.end(), tree.main_file) == files.end())
    files.push_back(tree.main_file);
  return files;
}

namespace {

std::string location_of(const IdlFile& f) {
  return f.location.empty() ? canonical_path(f.path) : f.location;
}

// Tree indexes with every tree after the trees of the main files it
// includes; a cycle falls back to the given order.
std::vector<std::size_t> trees_by_includes(const IdlRecords& records) {
  const std::size_t n = records.trees.size();
  std::vector<bool> placed(n, false);
  std::vector<std::size_t> order;
  while (order.size() < n) {
    std::size_t pick = n;
    for (std::size_t t = 0; t < n && pick == n; ++t) {
      if (placed[t]) continue;
      bool ready = true;
      for (int inc : records.trees[t].includes)
        for (std::size_t u = 0; u < n; ++u)
          if (u != t && !placed[u] &&
              location_of(records.files[records.trees[u].main_file]) ==
                  location_of(records.files[inc]))
            ready = false;
      if (ready) pick = t;
    }
    if (pick == n)
      for (std::size_t t = 0; t < n && pick == n; ++t)
        if (!placed[t]) pick = t;
    placed[pick] = true;
    order.push_back(pick);
  }
  return order;
}

}  // namespace

std::vector<FeedStep> plan_feed(const IdlRecords& records, bool include_deps) {
  std::vector<std::size_t> order;
  if (include_deps) {
    for (std::size_t t = 0; t < records.trees.size(); ++t) order.push_back(t);
  } else {
    order = trees_by_includes(records);
  }
  std::vector<FeedStep> plan;
  std::set<std::string> planned;
  for (std::size_t t : order) {
    for (int f : tree_files(records.trees[t], include_deps)) {
      if (!planned.insert(location_of(records.files[f])).second) continue;
      plan.push_back(FeedStep{static_cast<int>(t), f});
    }
  }
  return plan;
}
