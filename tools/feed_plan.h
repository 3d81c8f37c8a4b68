// The order in which irctl feeds (and, reversed, removes) the files of
// one command.
#ifndef IR_TOOLS_FEED_PLAN_H
#define IR_TOOLS_FEED_PLAN_H

#include <string>
#include <vector>

#include "idl_records.h"

// One file's turn: its items inside the tree of one main file.
struct FeedStep {
  int tree = 0;
  int file = 0;
};

// Main files come after the main files they include (otherwise in the
// order given); inside a tree, with `include_deps`, the included files
// come first, in the order omniidl met them.  A file appears once, in
// the first tree that has it.
std::vector<FeedStep> plan_feed(const IdlRecords& records, bool include_deps);

// The path of a file as the file system knows it, for telling whether
// two names denote one file.
std::string canonical_path(const std::string& path);

#endif
