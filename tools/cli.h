// irctl's command line: the options of the tool and of each command,
// declared once with CLI11, parsed and checked completely before anything
// is contacted.
#ifndef IR_TOOLS_CLI_H
#define IR_TOOLS_CLI_H

#include <stdexcept>
#include <string>
#include <vector>

// A command line that cannot be run; what() is the one-line reason.
// Commands throw it too for mistakes they find in their arguments.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class OutputFormat { kText, kJson };

struct GlobalOptions {
  // The repository: a corbaloc URL, an IOR, or host:port; "" = omniORB's
  // initial references, else irserver's default address.
  std::string ir;
  OutputFormat output = OutputFormat::kText;
  // -ORB options with their values, for omniORB.
  std::vector<std::string> orb_args;
};

struct IdlInputOptions {
  std::vector<std::string> include_dirs;  // -I
  std::vector<std::string> defines;       // -D
  // Also the files that the files #include: feed's default (feed
  // --no-include-deps clears it), rm only with --include-deps.
  bool include_deps = false;
};

struct FeedOptions {
  IdlInputOptions input;
  std::vector<std::string> files;
  bool replace = false;
  bool force = false;  // --replace may remove definitions still in use
  bool check = false;  // compare only
  bool quiet = false;
};

struct RmOptions {
  IdlInputOptions input;
  std::vector<std::string> files;  // IDL files, or
  std::vector<std::string> names;  // scoped names and repository ids
  bool force = false;
  bool dry_run = false;
};

struct LsOptions {
  std::string name;  // "" the repository
  bool long_form = false;
  bool recursive = false;
};

struct DescribeOptions {
  std::vector<std::string> names;
};

struct IdlOptions {
  std::string name;  // "" the whole repository
  bool with_deps = false;
};

struct FindOptions {
  std::string pattern;
  bool ids = false;
  bool ignore_case = false;
  std::string kinds;  // "Interface,Struct", checked and normalised
  std::string in;     // a container's name or id
};

struct RefsOptions {
  std::string name;
  std::string which = "all";  // "uses", "derives", "all"
};

struct ChildrenOptions {
  std::string name;
};

struct CallOptions {
  std::string ns;                // --ns: the naming service for names
  std::string interface;         // --interface: the target's interface
  unsigned long timeout_ms = 0;  // --timeout; 0 none
  bool list = false;             // --list: the operations, no call
  std::string target;
  std::string operation;
  // JSON-ARGS as text ("" when not given; "-" has been read from
  // standard input already).
  std::string args;
};

struct CommandLine {
  GlobalOptions global;
  std::string command;  // "feed", "ls", ...
  FeedOptions feed;
  RmOptions rm;
  LsOptions ls;
  DescribeOptions describe;
  IdlOptions idl;
  FindOptions find;
  RefsOptions refs;
  ChildrenOptions children;
  CallOptions call;
};

// What parse_command_line decided.
struct ParseOutcome {
  enum Action { kRun, kPrint, kUsageError } action = kRun;
  std::string text;  // kPrint: help to print; kUsageError: the message
};

// Parses argv.  -ORB options (with their values) go to global.orb_args
// wherever they stand; every other argument is irctl's.  Options of the
// tool may come before or after the command; short flags combine (-lR).
ParseOutcome parse_command_line(int argc, char** argv, CommandLine* out);

// The URL of the repository that `ir` names: "host:port" and
// "corbaloc::host:port" (or corbaloc:iiop:) without an object key mean
// the InterfaceRepository key there; other corbaloc URLs, IORs and
// corbaname URLs are taken as they are.  Throws UsageError for text that
// is none of these.
std::string repository_url(const std::string& ir);

// The names of irctl's commands, in the order of the help.
const std::vector<std::string>& command_names();

#endif
