// Documentation comments of IDL definitions, read from the source files:
// the comment right above the line where a definition begins.
#ifndef IR_TOOLS_IDL_COMMENTS_H
#define IR_TOOLS_IDL_COMMENTS_H

#include <map>
#include <string>
#include <vector>

// Reads each file once.  Not thread-safe.
class IdlComments {
 public:
  // The text of the comment that ends on the line right above `line` of
  // the file at `path` (#pragma lines between them allowed): a run of
  // "//" lines or one "/* ... */" block, without the comment markers, a
  // leading "*" on each line, or one space after them; lines joined with
  // "\n".  "" when there is none or the file cannot be read.
  std::string before(const std::string& path, int line);

 private:
  const std::vector<std::string>& lines_of(const std::string& path);

  std::map<std::string, std::vector<std::string>> files_;
};

// The comment text of `lines` (a comment as it stands in a file).
std::string comment_text(const std::vector<std::string>& lines);

#endif
