#include "server_options.h"

#include <cstring>

namespace {

// Splits "--name=value" into name and value; returns false when there
// is no '='.
bool split_inline_value(const std::string& arg, std::string* name,
                        std::string* value) {
  std::string::size_type eq = arg.find('=');
  if (eq == std::string::npos) return false;
  *name = arg.substr(0, eq);
  *value = arg.substr(eq + 1);
  return true;
}

std::string parse_trace_list(const std::string& list, ServerOptions* out) {
  if (list.empty()) return "--trace needs a list of switches (ir, mutex)";
  std::string::size_type start = 0;
  while (true) {
    std::string::size_type comma = list.find(',', start);
    std::string word = list.substr(
        start, comma == std::string::npos ? std::string::npos : comma - start);
    if (word == "ir") {
      out->trace_ir = true;
    } else if (word == "mutex") {
      out->trace_mutex = true;
    } else {
      return "unknown trace switch '" + word + "' in --trace (use ir, mutex)";
    }
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return std::string();
}

// omniORB keeps message sizes in an unsigned 32-bit count.
constexpr unsigned long long kMinMessageSize = 64ULL << 10;
constexpr unsigned long long kMaxMessageSize = 0xffffffffULL;

// omniORB options that take no value.
bool orb_option_without_value(const std::string& name) {
  return name == "-ORBhelp";
}

}  // namespace

std::string parse_server_options(int argc, const char* const* argv,
                                 ServerOptions* out) {
  *out = ServerOptions();
  bool endpoint_given = false;
  std::string user_orb_endpoint;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.compare(0, 4, "-ORB") == 0) {
      out->orb_args.push_back(arg);
      if (orb_option_without_value(arg)) continue;
      if (i + 1 >= argc) return "option " + arg + " needs a value";
      out->orb_args.push_back(argv[++i]);
      if (arg == "-ORBendPoint" && user_orb_endpoint.empty())
        user_orb_endpoint = argv[i];
      continue;
    }
    std::string name = arg, value;
    bool has_inline = split_inline_value(arg, &name, &value);
    if (name == "--help" || name == "-h") {
      if (has_inline) return "option " + name + " takes no value";
      out->help = true;
      return std::string();
    }
    if (name == "--read-only") {
      if (has_inline) return "option --read-only takes no value";
      out->read_only = true;
      continue;
    }
    if (name == "--db" || name == "--endpoint" || name == "--ior-file" ||
        name == "--trace" || name == "--log" || name == "--max-message-size" ||
        name == "--sync" || name == "--cache-size") {
      if (!has_inline) {
        if (i + 1 >= argc) return "option " + name + " needs a value";
        value = argv[++i];
      }
      if (value.empty() && name != "--trace")
        return "option " + name + " needs a non-empty value";
      if (name == "--db") {
        out->db_path = value;
      } else if (name == "--endpoint") {
        out->endpoint = value;
        endpoint_given = true;
      } else if (name == "--ior-file") {
        out->ior_file = value;
      } else if (name == "--log") {
        out->log_file = value;
      } else if (name == "--sync") {
        if (value != "full" && value != "normal")
          return "--sync needs full or normal (got '" + value + "')";
        out->full_sync = value == "full";
      } else if (name == "--cache-size") {
        unsigned long long size = 0;
        if (value.find_first_not_of("0123456789") != std::string::npos ||
            !parse_byte_size(value, &size) || size > 100000000ULL)
          return "--cache-size needs a number of definitions from 1 to "
                 "100000000 (got '" +
                 value + "')";
        out->cache_size = static_cast<unsigned long>(size);
      } else if (name == "--max-message-size") {
        if (!parse_byte_size(value, &out->max_message_size) ||
            out->max_message_size < kMinMessageSize ||
            out->max_message_size > kMaxMessageSize)
          return "--max-message-size needs a size from 64K to 4G, such as "
                 "256M (got '" +
                 value + "')";
      } else {
        std::string error = parse_trace_list(value, out);
        if (!error.empty()) return error;
      }
      continue;
    }
    if (arg.size() > 1 && arg[0] == '-')
      return "unknown option '" + arg + "' (try --help)";
    return "unexpected argument '" + arg + "' (try --help)";
  }
  if (!endpoint_given && !user_orb_endpoint.empty()) {
    out->endpoint = user_orb_endpoint;
    out->add_endpoint_arg = false;
  }
  return std::string();
}

std::vector<std::string> orb_init_args(const char* program,
                                       const ServerOptions& options) {
  std::vector<std::string> args;
  args.push_back(program ? program : "irserver");
  if (options.add_endpoint_arg) {
    args.push_back("-ORBendPoint");
    args.push_back(options.endpoint);
  }
  if (!options.log_file.empty()) {
    args.push_back("-ORBtraceFile");
    args.push_back(options.log_file);
  }
  args.push_back("-ORBgiopMaxMsgSize");
  args.push_back(std::to_string(options.max_message_size));
  args.insert(args.end(), options.orb_args.begin(), options.orb_args.end());
  return args;
}

bool parse_byte_size(const std::string& text, unsigned long long* out) {
  std::size_t digits = 0;
  unsigned long long value = 0;
  while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
    unsigned d = static_cast<unsigned>(text[digits] - '0');
    if (value > (~0ULL - d) / 10) return false;
    value = value * 10 + d;
    ++digits;
  }
  if (digits == 0 || value == 0) return false;
  std::string unit = text.substr(digits);
  int shift = 0;
  if (unit == "K" || unit == "k") {
    shift = 10;
  } else if (unit == "M" || unit == "m") {
    shift = 20;
  } else if (unit == "G" || unit == "g") {
    shift = 30;
  } else if (!unit.empty()) {
    return false;
  }
  if (value > (~0ULL >> shift)) return false;
  *out = value << shift;
  return true;
}

bool split_tcp_endpoint(const std::string& endpoint, std::string* host,
                        std::string* port) {
  static const char kPrefix[] = "giop:tcp:";
  const std::size_t prefix_len = std::strlen(kPrefix);
  if (endpoint.compare(0, prefix_len, kPrefix) != 0) return false;
  std::string rest = endpoint.substr(prefix_len);
  std::string::size_type colon;
  if (!rest.empty() && rest[0] == '[') {
    std::string::size_type close = rest.find(']');
    if (close == std::string::npos) return false;
    colon = close + 1;
    if (colon < rest.size() && rest[colon] != ':') return false;
  } else {
    colon = rest.find(':');
  }
  if (colon == std::string::npos || colon >= rest.size()) {
    *host = rest;
    port->clear();
  } else {
    *host = rest.substr(0, colon);
    *port = rest.substr(colon + 1);
  }
  return true;
}

std::string server_usage() {
  return R"(Usage: irserver [OPTION]... [-ORBoption value]...

Serve a persistent CORBA Interface Repository.  The repository's records
live in one SQLite database file; a change is committed before its reply
leaves, and a committed change survives a crash of irserver and, unless
--sync normal is given, a power cut.  The root
answers at the corbaloc keys InterfaceRepository and DefaultRepository,
so that clients can use
  -ORBInitRef InterfaceRepository=corbaloc::HOST:PORT/InterfaceRepository
or
  -ORBDefaultInitRef corbaloc::HOST:PORT

With no options, irserver uses the database ./ir.db (created when it
does not exist) and listens on giop:tcp:127.0.0.1:2810, which only this
machine can reach.

Options:
  --db PATH          database file (default ./ir.db); created when absent,
                     unless --read-only is given.  A file that is not a
                     repository database, or is damaged, is refused.
  --endpoint EP      omniORB endpoint to listen on (default
                     giop:tcp:127.0.0.1:2810).  giop:tcp::2810 listens on
                     every interface; giop:tcp:127.0.0.1: picks a free port.
  --ior-file FILE    write the root's stringified IOR to FILE once ready.
  --read-only        open the database read-only: every operation that
                     would change the repository raises CORBA::NO_PERMISSION.
  --trace LIST       comma-separated trace switches: ir (method calls),
                     mutex (critical sections).  Traces go to the log.
  --log FILE         append the log (irserver's and omniORB's messages and
                     traces) to FILE instead of standard error; the same as
                     -ORBtraceFile FILE.
  --sync MODE        full (the default): a change is answered only once it
                     is on stable storage, so it survives a power cut;
                     normal: once the operating system has it, so it
                     survives a crash of irserver but maybe not a power
                     cut (faster changes).
  --cache-size N     keep the servants of at most N definitions in memory
                     (default 20000; least recently used ones go first).
                     Memory stays bounded however large the repository.
  --max-message-size SIZE
                     the largest GIOP message irserver sends or accepts
                     (default 256M; K, M and G are powers of 1024), so that
                     contents, describe_contents, lookup_name and searches
                     of 100,000 definitions fit in one reply.  A larger
                     reply fails with CORBA::MARSHAL.
  -h, --help         print this text and exit.
  -ORBoption value   passed to omniORB unchanged, for example
                     -ORBtraceLevel 10 or -ORBendPoint giop:tcp::2810
                     (used as the endpoint when --endpoint is absent).
                     -ORBhelp lists omniORB's options.

Options that take a value also accept the form --option=value.

Once it listens, irserver prints one line on standard output:
  irserver: ready corbaloc::HOST:PORT/InterfaceRepository (database PATH)
and serves until it receives SIGINT or SIGTERM, when it shuts the ORB
down, closes the database and exits with status 0.

Exit status:
  0  stopped by SIGINT or SIGTERM, or --help
  1  could not start (endpoint in use or invalid, database missing,
     locked, damaged or not a repository database, IOR file not
     writable); the reason is printed as one line on standard error:
       irserver: cannot start: REASON
  2  invalid command line

Examples:
  irserver
  irserver --db /var/lib/ir/ir.db --endpoint giop:tcp::2810
  irserver --read-only --db ir.db --ior-file /tmp/ir.ior
  irserver --trace ir,mutex --log /tmp/irserver.log -ORBtraceLevel 5
)";
}
