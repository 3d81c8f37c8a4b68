// Command line of irserver: what the user asked for, parsed without side
// effects so that tests and main share one parser.
#ifndef IR_SERVER_SERVER_OPTIONS_H
#define IR_SERVER_SERVER_OPTIONS_H

#include <string>
#include <vector>

// Defaults when irserver runs without arguments: a database in the
// current directory and an endpoint that only this machine can reach.
constexpr const char* kDefaultDatabase = "./ir.db";
constexpr const char* kDefaultEndpoint = "giop:tcp:127.0.0.1:2810";

// omniORB's own limit (2 MB) refuses the contents of a large module.
constexpr unsigned long long kDefaultMaxMessageSize = 256ULL << 20;
constexpr unsigned long kDefaultCacheSize = 20000;

struct ServerOptions {
  std::string db_path = kDefaultDatabase;
  // The omniORB endpoint irserver listens on.  When --endpoint is absent
  // and the user passes -ORBendPoint, that one is used instead of the
  // default and not added twice.
  std::string endpoint = kDefaultEndpoint;
  // True when `endpoint` must be added to the ORB arguments (it did not
  // come from a user's -ORBendPoint).
  bool add_endpoint_arg = true;
  std::string ior_file;  // empty: no IOR file
  bool read_only = false;
  bool trace_ir = false;
  bool trace_mutex = false;
  std::string log_file;  // empty: omniORB's default (stderr)
  // The largest GIOP message irserver sends or accepts, in bytes
  // (omniORB's -ORBgiopMaxMsgSize).
  unsigned long long max_message_size = kDefaultMaxMessageSize;
  // --sync full (the default): a change is answered once it is on stable
  // storage; --sync normal: once the operating system has it.
  bool full_sync = true;
  // The number of definitions whose servants stay cached (--cache-size).
  unsigned long cache_size = kDefaultCacheSize;
  bool help = false;
  // The -ORB options with their values, in the order given; ORB_init
  // receives them after irserver's own -ORBendPoint/-ORBtraceFile.
  std::vector<std::string> orb_args;
};

// Parses argv[1..argc-1] into `out`.  Returns "" on success, else a
// one-line description of the first error (no program name, no
// newline).  --help sets `help` and stops parsing.
std::string parse_server_options(int argc, const char* const* argv,
                                 ServerOptions* out);

// The arguments for CORBA::ORB_init, program name first, built from the
// options: -ORBendPoint (unless the user gave one), -ORBtraceFile for
// --log, -ORBgiopMaxMsgSize, then the user's -ORB options (which may
// override irserver's).
std::vector<std::string> orb_init_args(const char* program,
                                       const ServerOptions& options);

// host:port of an omniORB endpoint ("giop:tcp:127.0.0.1:2810" gives
// host "127.0.0.1" and port "2810"; "giop:tcp::2810" gives an empty
// host; "giop:tcp:[::1]:2810" keeps the brackets).  Returns false when
// the endpoint is not a giop:tcp one (for instance giop:unix:).
bool split_tcp_endpoint(const std::string& endpoint, std::string* host,
                        std::string* port);

// A size in bytes: digits with an optional K, M or G (powers of 1024).
// Returns false for anything else, and for 0 or an overflow.
bool parse_byte_size(const std::string& text, unsigned long long* out);

// The usage text printed by --help (several lines, ends with '\n').
std::string server_usage();

#endif
