#include "feed_plan.h"

#include <filesystem>
#include <set>

std::string canonical_path(const std::string& path) {
  std::error_code ec;
  std::filesystem::path p = std::filesystem::weakly_canonical(path, ec);
  return ec ? path : p.string();
}

std::vector<FeedStep> plan_feed(const IdlRecords& records, bool include_deps) {
  std::vector<std::string> canon;
  for (const IdlFile& f : records.files)
    canon.push_back(f.location.empty() ? canonical_path(f.path) : f.location);

  // Trees in an order where a tree follows the trees of the main files it
  // includes; a cycle falls back to the given order.
  const std::size_t n = records.trees.size();
  std::vector<bool> placed(n, false);
  std::vector<std::size_t> order;
  while (order.size() < n) {
    bool progress = false;
    for (std::size_t t = 0; t < n; ++t) {
      if (placed[t]) continue;
      bool ready = true;
      for (int inc : records.trees[t].includes) {
        for (std::size_t u = 0; u < n; ++u) {
          if (u != t && !placed[u] &&
              canon[records.trees[u].main_file] == canon[inc])
            ready = false;
        }
      }
      if (!ready) continue;
      placed[t] = true;
      order.push_back(t);
      progress = true;
      break;
    }
    if (!progress) {
      for (std::size_t t = 0; t < n; ++t) {
        if (!placed[t]) {
          placed[t] = true;
          order.push_back(t);
          break;
        }
      }
    }
  }

  std::vector<FeedStep> plan;
  std::set<std::string> planned;
  for (std::size_t t : order) {
    const IdlTree& tree = records.trees[t];
    std::vector<int> files;
    if (include_deps) {
      for (const TreeItem& item : tree.items) {
        bool seen = false;
        for (int f : files) seen = seen || f == item.file;
        if (!seen && item.file != tree.main_file) files.push_back(item.file);
      }
    }
    files.push_back(tree.main_file);
    for (int f : files) {
      if (!planned.insert(canon[f]).second) continue;
      plan.push_back(FeedStep{static_cast<int>(t), f});
    }
  }
  return plan;
}
