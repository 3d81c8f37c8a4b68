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

// The files whose definitions `tree` holds, in the order in which they
// first appear (an included file before the file that includes it); its
// main file last when it defines nothing.  Without `include_deps` only
// the main file.
std::vector<int> tree_files(const IdlTree& tree, bool include_deps);

// Without `include_deps`: one step per tree, main files after the main
// files they include (otherwise in the order given).  With it: the trees
// in the order omniidl printed them, each with the files it holds first
// (omniidl's back-end prints an included file in the first tree that
// includes it), which puts every file after the files it includes.  A
// file appears once.
std::vector<FeedStep> plan_feed(const IdlRecords& records, bool include_deps);

// The path of a file as the file system knows it, for telling whether
// two names denote one file.
std::string canonical_path(const std::string& path);

#endif
