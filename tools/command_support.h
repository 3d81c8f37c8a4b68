// What several irctl commands share: finding a named definition (with a
// suggestion when it is not there), counts in words, aligned tables.
#ifndef IR_TOOLS_COMMAND_SUPPORT_H
#define IR_TOOLS_COMMAND_SUPPORT_H

#include <omniORB4/CORBA.h>

#include <ostream>
#include <string>
#include <vector>

#include "client/listing.h"
#include "commands.h"

// "1 file", "2 files"; `plural` defaults to `singular` + "s".
std::string count_text(long n, const std::string& singular,
                       const std::string& plural = "");

// The definition named by `name` (scoped name or repository id).  When the
// repository has none, prints "irctl: <command>: <name>: no such
// definition" (with "; did you mean X?" when one is close) and returns nil.
CORBA::Contained_ptr find_definition(CommandContext& ctx,
                                     const std::string& command,
                                     const std::string& name);

// Columns of text, each as wide as its widest cell, two spaces apart; the
// last column is not padded.
class Table {
 public:
  void add(std::vector<std::string> row);
  bool empty() const { return rows_.empty(); }
  // Every row added, one per line.
  void print(std::ostream& out) const;
  // One row (added or not) laid out in the columns of the rows added.
  std::string format(const std::vector<std::string>& row) const;

 private:
  std::vector<std::vector<std::string>> rows_;
  std::vector<std::size_t> widths_;
};

// Prints `head` with `rows` (as summary_json) under `key` as one JSON
// document, a row per line, without building the whole document first:
// listings of a whole repository stay quick and small.
void print_json_rows(CommandContext& ctx, const nlohmann::json& head,
                     const std::string& key,
                     const std::vector<DefinitionSummary>& rows);

// "Interface  ::A::B  IDL:A/B:1.0": rows of definitions with their kind,
// scoped name and id (find, refs, children).
void print_summaries(CommandContext& ctx,
                     const std::vector<DefinitionSummary>& rows);

#endif
