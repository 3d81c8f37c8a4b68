// Options of irserver: what the user asked for, on the command line and
// in a configuration file, parsed without side effects so that tests and
// main share one parser.
//
// Every option is one entry of one table (kServerOptions): its name, the
// syntax of its value, its help text, its configuration key and the
// function that applies a value.  The command line, --help and the
// configuration file all read that table, so an option added there is
// accepted in all three and documented in --help at once.
#ifndef IR_SERVER_SERVER_OPTIONS_H
#define IR_SERVER_SERVER_OPTIONS_H

#include <functional>
#include <string>
#include <vector>

#include "http/call_allow_list.h"
#include "http/http_address.h"

// Defaults when irserver runs without arguments: a database in the
// current directory and an endpoint that only this machine can reach.
constexpr const char* kDefaultDatabase = "./ir.db";
constexpr const char* kDefaultEndpoint = "giop:tcp:127.0.0.1:2810";
// Who may change the repository when nobody says: this machine only.
constexpr const char* kDefaultWriters = "127.0.0.0/8,::1";

// omniORB's own limit (2 MB) refuses the contents of a large module.
constexpr unsigned long long kDefaultMaxMessageSize = 256ULL << 20;
constexpr unsigned long kDefaultCacheSize = 20000;
constexpr unsigned long kDefaultInvokeTimeoutMs = 10000;

struct ServerOptions {
  std::string db_path = kDefaultDatabase;
  // The omniORB endpoint irserver listens on.  When no endpoint is given
  // and the user passes -ORBendPoint, that one is used instead of the
  // default and not added twice.
  std::string endpoint = kDefaultEndpoint;
  // True when `endpoint` must be added to the ORB arguments (it did not
  // come from a user's -ORBendPoint).
  bool add_endpoint_arg = true;
  bool endpoint_named = false;  // set by --endpoint or the endpoint key
  std::string ior_file;         // empty: no IOR file
  bool read_only = false;
  bool trace_ir = false;
  bool trace_mutex = false;
  std::string log_file;  // empty: standard error
  // The addresses that may change the repository, as given (checked by
  // the parser, matched by lib/ir/write_access).
  std::string writers = kDefaultWriters;
  std::string backup_dir;  // empty: "backups" beside the database
  bool log_requests = false;
  std::string config_file;  // --config: the file that was read, if any
  std::string check_file;   // --check: verify this database and exit
  // The largest GIOP message irserver sends or accepts, in bytes
  // (omniORB's -ORBgiopMaxMsgSize).
  unsigned long long max_message_size = kDefaultMaxMessageSize;
  // --sync full (the default): a change is answered once it is on stable
  // storage; --sync normal: once the operating system has it.
  bool full_sync = true;
  // The number of definitions whose servants stay cached (--cache-size).
  unsigned long cache_size = kDefaultCacheSize;
  // The web view and JSON API (--http ADDR:PORT | off).
  HttpAddress http;
  // The call gateway (POST /api/v1/call): the CORBA addresses it may call
  // (--http-invoke); empty: the gateway is off.
  CallAllowList http_invoke;
  // The longest a gateway call may take (--http-invoke-timeout).
  unsigned long http_invoke_timeout_ms = kDefaultInvokeTimeoutMs;
  bool help = false;
  bool version = false;
  // The -ORB options with their values, in the order given (those of the
  // configuration file first); ORB_init receives them after irserver's
  // own -ORBendPoint.
  std::vector<std::string> orb_args;
};

// One option.  `name` is the long option without its dashes ("db" is
// --db); `config_key` is its key in a configuration file, or null when
// the option exists on the command line only.
struct ServerOptionSpec {
  const char* name;
  char short_name;         // 'h' for -h; 0 for none
  const char* value_name;  // "PATH"; null for a switch
  const char* config_key;
  const char* help;  // one paragraph, wrapped by server_usage()
  // Applies `value` ("" for a switch given on the command line; "true"
  // or "false" for a switch from a file).  Returns "" or, when the value
  // is refused, why (without the option's name).
  std::string (*apply)(ServerOptions& options, const std::string& value);
};

// The table of every option, in the order --help lists them.
const std::vector<ServerOptionSpec>& server_option_specs();

// Reads a whole file; returns false with `error` set when it cannot.
using FileReader = std::function<bool(const std::string& path,
                                      std::string* text, std::string* error)>;
bool read_text_file(const std::string& path, std::string* text,
                    std::string* error);

// Parses argv[1..argc-1], and the configuration file that --config
// names, into `out`.  Values of the file come first; the command line
// overrides them.  Returns "" on success, else a one-line description of
// the first error (no program name, no newline); errors in the file
// start with "FILE:LINE: ".  --help and --version stop parsing.
std::string parse_server_options(int argc, const char* const* argv,
                                 ServerOptions* out,
                                 const FileReader& reader = read_text_file);

// Applies the text of a configuration file (`name` is used in messages)
// to `out`.  One "key = value" per line; blank lines and lines starting
// with '#' or ';' are ignored; "orb.NAME = VALUE" passes -ORBNAME VALUE
// to omniORB.  Returns "" or "NAME:LINE: reason".
std::string apply_config_text(const std::string& name, const std::string& text,
                              ServerOptions* out);

// The arguments for CORBA::ORB_init, program name first, built from the
// options: -ORBendPoint (unless the user gave one), -ORBgiopMaxMsgSize,
// then the user's -ORB options (which may override irserver's).  (--log
// is not an ORB argument: irserver writes the log.)
std::vector<std::string> orb_init_args(const char* program,
                                       const ServerOptions& options);

// host:port of an omniORB TCP or SSL endpoint ("giop:tcp:127.0.0.1:2810"
// gives host "127.0.0.1" and port "2810"; "giop:tcp::2810" gives an empty
// host; "giop:ssl:[::1]:2810" keeps the brackets) and its transport
// ("tcp" or "ssl").  Returns false for other endpoints (giop:unix:).
bool split_ip_endpoint(const std::string& endpoint, std::string* transport,
                       std::string* host, std::string* port);

// A size in bytes: digits with an optional K, M or G (powers of 1024).
// Returns false for anything else, and for 0 or an overflow.
bool parse_byte_size(const std::string& text, unsigned long long* out);

// The usage text printed by --help (several lines, ends with '\n').
std::string server_usage();

#endif
