// Parsing IDL files with omniidl's front end and irctl's back-end.
#ifndef IR_TOOLS_IDL_PARSER_H
#define IR_TOOLS_IDL_PARSER_H

#include <stdexcept>
#include <string>
#include <vector>

#include "idl_records.h"

struct IdlParseOptions {
  std::vector<std::string> include_dirs;  // -I
  std::vector<std::string> defines;       // -D, "NAME" or "NAME=VALUE"
  bool include_deps = false;  // also read the definitions of #includes
};

// A file that omniidl refused, with what omniidl printed.
struct IdlParseFailure {
  std::string file;
  std::string message;
};

struct IdlParseResult {
  IdlRecords records;
  std::vector<IdlParseFailure> failures;
};

// Something that stops every parse (omniidl or the back-end is missing).
class IdlParserError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The omniidl program: $IRCTL_OMNIIDL, else the one found at build time.
std::string omniidl_program();
// The directory of irctl's back-end: $IRCTL_BACKEND_DIR, else the copy
// in the build tree.
std::string backend_dir();
// The module name of the back-end (omniidl's -b).
const char* backend_module();

// Called with each tree as soon as omniidl has printed all of it (while
// omniidl goes on with the next files), and with each refused file.  The
// records may grow after the call returns: keep indexes, not pointers.
struct IdlParseListener {
  virtual ~IdlParseListener() = default;
  virtual void tree_done(IdlRecords& records, std::size_t tree) = 0;
  virtual void file_refused(const IdlParseFailure& failure) = 0;
};

// Parses `files` with as few omniidl runs as possible: one run for all,
// and after a file that omniidl refuses, one more run for the files after
// it.  Every refused file is listed in `failures`; the trees of the
// others are in `records` in the order of `files`, each with the real
// location of its files filled in.  Throws IdlParserError when omniidl or
// the back-end cannot run at all, RecordError when the back-end's output
// is malformed.
IdlParseResult parse_idl(const std::vector<std::string>& files,
                         const IdlParseOptions& options,
                         IdlParseListener* listener = nullptr);

#endif
