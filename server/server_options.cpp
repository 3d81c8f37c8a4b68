#include "server_options.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/address_list.h"

namespace {

std::string trim(const std::string& s) {
  std::string::size_type b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return std::string();
  std::string::size_type e = s.find_last_not_of(" \t\r");
  return s.substr(b, e - b + 1);
}

// A value that must not be empty (paths, endpoints).
std::string require_value(const std::string& value) {
  return value.empty() ? "needs a non-empty value" : std::string();
}

// A switch: "" (given on the command line) and the usual words for true
// and false in a file.
std::string parse_switch(const std::string& value, bool* out) {
  std::string v;
  for (char c : value)
    v += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (v.empty() || v == "true" || v == "yes" || v == "on" || v == "1") {
    *out = true;
  } else if (v == "false" || v == "no" || v == "off" || v == "0") {
    *out = false;
  } else {
    return "'" + value + "' is not true or false";
  }
  return std::string();
}

std::string apply_trace(ServerOptions& o, const std::string& list) {
  o.trace_ir = o.trace_mutex = false;
  if (list.empty() || list == "none") return std::string();
  std::string::size_type start = 0;
  while (true) {
    std::string::size_type comma = list.find(',', start);
    std::string word = trim(list.substr(
        start, comma == std::string::npos ? std::string::npos : comma - start));
    if (word == "ir") {
      o.trace_ir = true;
    } else if (word == "mutex") {
      o.trace_mutex = true;
    } else {
      return "unknown trace switch '" + word + "' (use ir, mutex)";
    }
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return std::string();
}

#define PATH_OPTION(member)                    \
  [](ServerOptions& o, const std::string& v) { \
    std::string e = require_value(v);          \
    if (e.empty()) o.member = v;               \
    return e;                                  \
  }
#define SWITCH_OPTION(member)                  \
  [](ServerOptions& o, const std::string& v) { \
    return parse_switch(v, &o.member);         \
  }

// omniORB keeps message sizes in an unsigned 32-bit count.
constexpr unsigned long long kMinMessageSize = 64ULL << 10;
constexpr unsigned long long kMaxMessageSize = 0xffffffffULL;

const std::vector<ServerOptionSpec> kSpecs = {
    {"db", 0, "PATH", "db",
     "database file (default ./ir.db); created when absent, unless "
     "read-only.  A file that is not a repository database, or is "
     "damaged, is refused.",
     PATH_OPTION(db_path)},
    {"endpoint", 0, "EP", "endpoint",
     "omniORB endpoint to listen on (default giop:tcp:127.0.0.1:2810).  "
     "giop:tcp::2810 listens on every interface; giop:tcp:127.0.0.1: "
     "picks a free port.",
     [](ServerOptions& o, const std::string& v) {
       std::string e = require_value(v);
       if (e.empty()) {
         o.endpoint = v;
         o.add_endpoint_arg = true;
         o.endpoint_named = true;
       }
       return e;
     }},
    {"ior-file", 0, "FILE", "ior-file",
     "write the root's stringified IOR to FILE once ready.",
     PATH_OPTION(ior_file)},
    {"read-only", 0, nullptr, "read-only",
     "open the database read-only: every operation that would change the "
     "repository raises CORBA::NO_PERMISSION.",
     SWITCH_OPTION(read_only)},
    {"writers", 0, "ADDR[/PREFIX],...", "writers",
     "the client addresses that may change the repository (default "
     "127.0.0.0/8,::1: this machine only).  Every other client may read; "
     "its changes are refused with CORBA::NO_PERMISSION and logged.",
     [](ServerOptions& o, const std::string& v) {
       AddressList list;
       std::string e = AddressList::parse(v, &list);
       if (e.empty()) o.writers = v;
       return e;
     }},
    {"backup-dir", 0, "DIR", "backup-dir",
     "where backups (irctl backup) are written (default: the directory "
     "backups beside the database).",
     PATH_OPTION(backup_dir)},
    {"http", 0, "ADDR:PORT", "http",
     "serve the web view and the JSON API over HTTP at ADDR:PORT (default "
     "127.0.0.1:2811, this machine only); [::1]:PORT for IPv6, :PORT for "
     "every interface, port 0 for any free port, off for no HTTP.  HTTP "
     "only reads: GET and HEAD (and POST /api/v1/call with "
     "--http-invoke).",
     [](ServerOptions& o, const std::string& v) {
       return parse_http_address(v, &o.http);
     }},
    {"http-invoke", 0, "HOST:PORT,...", "http-invoke",
     "turn on the call gateway, POST /api/v1/call, and the call forms of "
     "the interface pages, allowed to call only objects at these CORBA "
     "addresses (PORT * for any port of HOST); off (the default) turns it "
     "off.  Every address of a target, and the naming service that "
     "resolves a name, must be on the list.",
     [](ServerOptions& o, const std::string& v) -> std::string {
       if (v == "off") {
         o.http_invoke = CallAllowList();
         return std::string();
       }
       return CallAllowList::parse(v, &o.http_invoke);
     }},
    {"http-invoke-timeout", 0, "SECONDS", "http-invoke-timeout",
     "the longest a call through the gateway may take, connecting "
     "included (default 10; from 0.1 to 3600).",
     [](ServerOptions& o, const std::string& v) -> std::string {
       char* end = nullptr;
       double seconds = v.empty() ? 0 : std::strtod(v.c_str(), &end);
       if (v.empty() || *end != '\0' || !(seconds >= 0.1 && seconds <= 3600))
         return "needs a number of seconds from 0.1 to 3600 (got '" + v + "')";
       o.http_invoke_timeout_ms = static_cast<unsigned long>(seconds * 1000);
       return std::string();
     }},
    {"trace", 0, "LIST", "trace",
     "comma-separated trace switches: ir (method calls), mutex (critical "
     "sections), or none.  Traces go to the log.",
     apply_trace},
    {"log", 0, "FILE", "log",
     "append the log (irserver's and omniORB's messages and traces) to "
     "FILE instead of standard error; SIGHUP reopens it.  -ORBtraceFile "
     "FILE means the same.",
     PATH_OPTION(log_file)},
    {"log-requests", 0, nullptr, "log-requests",
     "log one line per request: time, client address, operation, target "
     "definition, duration and outcome.",
     SWITCH_OPTION(log_requests)},
    {"sync", 0, "MODE", "sync",
     "full (the default): a change is answered only once it is on stable "
     "storage, so it survives a power cut; normal: once the operating "
     "system has it, so it survives a crash of irserver but maybe not a "
     "power cut (faster changes).",
     [](ServerOptions& o, const std::string& v) -> std::string {
       if (v != "full" && v != "normal")
         return "needs full or normal (got '" + v + "')";
       o.full_sync = v == "full";
       return std::string();
     }},
    {"cache-size", 0, "N", "cache-size",
     "keep the servants of at most N definitions in memory (default "
     "20000; the least recently used go first).  Memory stays bounded "
     "however large the repository.",
     [](ServerOptions& o, const std::string& v) -> std::string {
       unsigned long long size = 0;
       if (v.find_first_not_of("0123456789") != std::string::npos ||
           !parse_byte_size(v, &size) || size > 100000000ULL)
         return "needs a number of definitions from 1 to 100000000 (got '" + v +
                "')";
       o.cache_size = static_cast<unsigned long>(size);
       return std::string();
     }},
    {"max-message-size", 0, "SIZE", "max-message-size",
     "the largest GIOP message irserver sends or accepts (default 256M; K, "
     "M and G are powers of 1024), so that contents, describe_contents, "
     "lookup_name and searches of 100,000 definitions fit in one reply.  A "
     "larger reply fails with CORBA::MARSHAL.",
     [](ServerOptions& o, const std::string& v) -> std::string {
       unsigned long long size = 0;
       if (!parse_byte_size(v, &size) || size < kMinMessageSize ||
           size > kMaxMessageSize)
         return "needs a size from 64K to 4G, such as 256M (got '" + v + "')";
       o.max_message_size = size;
       return std::string();
     }},
    {"config", 0, "FILE", nullptr,
     "read options from FILE, one \"key = value\" per line (see "
     "irserver.conf(5)); the command line overrides the file.",
     PATH_OPTION(config_file)},
    {"check", 0, "FILE", nullptr,
     "verify the database FILE (integrity, format version, counts per "
     "kind) without serving it, and exit: 0 when it is sound, 1 otherwise.",
     PATH_OPTION(check_file)},
    {"version", 0, nullptr, nullptr, "print the version and exit.",
     SWITCH_OPTION(version)},
    {"help", 'h', nullptr, nullptr, "print this text and exit.",
     SWITCH_OPTION(help)},
};

#undef PATH_OPTION
#undef SWITCH_OPTION

const ServerOptionSpec* find_long(const std::string& name) {
  for (const ServerOptionSpec& s : kSpecs)
    if (name == s.name) return &s;
  return nullptr;
}

const ServerOptionSpec* find_key(const std::string& key) {
  for (const ServerOptionSpec& s : kSpecs)
    if (s.config_key && key == s.config_key) return &s;
  return nullptr;
}

// omniORB options that take no value.
bool orb_option_without_value(const std::string& name) {
  return name == "-ORBhelp";
}

// One value to apply, remembered until the file has been applied.
struct Setting {
  const ServerOptionSpec* spec;
  std::string value;
};

// Adds an -ORB option; -ORBtraceFile is irserver's --log (irserver
// writes the log itself, so that SIGHUP can reopen it).
void add_orb_option(ServerOptions* out, const std::string& name,
                    const std::string& value, bool has_value) {
  if (name == "-ORBtraceFile" && has_value) {
    out->log_file = value;
    return;
  }
  out->orb_args.push_back(name);
  if (has_value) out->orb_args.push_back(value);
}

// After everything is applied: an -ORBendPoint of the user stands for
// the endpoint unless one was named.
void settle_endpoint(ServerOptions* out) {
  if (out->endpoint_named) return;
  for (std::size_t i = 0; i + 1 < out->orb_args.size(); ++i) {
    if (out->orb_args[i] == "-ORBendPoint") {
      out->endpoint = out->orb_args[i + 1];
      out->add_endpoint_arg = false;
      return;
    }
  }
}

bool valid_orb_name(const std::string& name) {
  if (name.empty()) return false;
  for (char c : name)
    if (!std::isalnum(static_cast<unsigned char>(c))) return false;
  return true;
}

}  // namespace

const std::vector<ServerOptionSpec>& server_option_specs() { return kSpecs; }

bool read_text_file(const std::string& path, std::string* text,
                    std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = std::strerror(errno);
    return false;
  }
  std::ostringstream s;
  s << in.rdbuf();
  if (in.bad()) {
    *error = "read error";
    return false;
  }
  *text = s.str();
  return true;
}

std::string apply_config_text(const std::string& name, const std::string& text,
                              ServerOptions* out) {
  std::istringstream in(text);
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    ++number;
    std::string where = name + ":" + std::to_string(number) + ": ";
    std::string content = trim(line);
    if (content.empty() || content[0] == '#' || content[0] == ';') continue;
    std::string::size_type eq = content.find('=');
    if (eq == std::string::npos)
      return where + "expected \"key = value\", found '" + content + "'";
    std::string key = trim(content.substr(0, eq));
    std::string value = trim(content.substr(eq + 1));
    // A value in double quotes keeps its spaces.
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"')
      value = value.substr(1, value.size() - 2);
    if (key.empty()) return where + "a key is missing before '='";
    if (key.compare(0, 4, "orb.") == 0) {
      std::string orb_name = key.substr(4);
      if (!valid_orb_name(orb_name))
        return where + "'" + key + "' is not an omniORB option name";
      if (value.empty()) return where + "'" + key + "' needs a value";
      add_orb_option(out, "-ORB" + orb_name, value, true);
      continue;
    }
    const ServerOptionSpec* spec = find_key(key);
    if (!spec) {
      std::string hint;
      if (find_long(key))
        hint = " (--" + key + " exists on the command line only)";
      return where + "unknown key '" + key + "'" + hint;
    }
    std::string error = spec->apply(*out, value);
    if (!error.empty()) return where + "bad value for '" + key + "': " + error;
  }
  return std::string();
}

std::string parse_server_options(int argc, const char* const* argv,
                                 ServerOptions* out, const FileReader& reader) {
  *out = ServerOptions();
  std::vector<Setting> settings;
  std::vector<std::pair<std::string, std::string>> orb;  // name, value
  std::vector<bool> orb_has_value;
  std::string config;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.compare(0, 4, "-ORB") == 0) {
      if (orb_option_without_value(arg)) {
        orb.emplace_back(arg, "");
        orb_has_value.push_back(false);
        continue;
      }
      if (i + 1 >= argc) return "option " + arg + " needs a value";
      orb.emplace_back(arg, argv[++i]);
      orb_has_value.push_back(true);
      continue;
    }
    const ServerOptionSpec* spec = nullptr;
    std::string shown = arg, value;
    bool has_inline = false;
    if (arg.compare(0, 2, "--") == 0) {
      std::string name = arg.substr(2);
      std::string::size_type eq = name.find('=');
      if (eq != std::string::npos) {
        value = name.substr(eq + 1);
        name.erase(eq);
        has_inline = true;
        shown = "--" + name;
      }
      spec = find_long(name);
    } else if (arg.size() == 2 && arg[0] == '-') {
      for (const ServerOptionSpec& s : kSpecs)
        if (s.short_name && s.short_name == arg[1]) spec = &s;
    }
    if (!spec) {
      if (arg.size() > 1 && arg[0] == '-')
        return "unknown option '" + arg + "' (try --help)";
      return "unexpected argument '" + arg + "' (try --help)";
    }
    if (!spec->value_name) {
      if (has_inline) return "option " + shown + " takes no value";
      value.clear();
    } else if (!has_inline) {
      if (i + 1 >= argc) return "option " + shown + " needs a value";
      value = argv[++i];
    }
    // Checked at once so that the message names the option as typed.
    ServerOptions scratch;
    std::string error = spec->apply(scratch, value);
    if (!error.empty()) return "option " + shown + " " + error;
    if (std::strcmp(spec->name, "help") == 0 ||
        std::strcmp(spec->name, "version") == 0) {
      spec->apply(*out, value);
      return std::string();
    }
    if (std::strcmp(spec->name, "config") == 0) {
      config = value;
      continue;
    }
    settings.push_back({spec, value});
  }

  if (!config.empty()) {
    std::string text, error;
    if (!reader(config, &text, &error))
      return "cannot read the configuration file " + config + ": " + error;
    std::string failure = apply_config_text(config, text, out);
    if (!failure.empty()) return failure;
    out->config_file = config;
  }
  for (const Setting& s : settings) s.spec->apply(*out, s.value);
  for (std::size_t i = 0; i < orb.size(); ++i)
    add_orb_option(out, orb[i].first, orb[i].second, orb_has_value[i]);
  settle_endpoint(out);
  if (!out->http_invoke.empty() && !out->http.enabled)
    return "--http-invoke needs HTTP, but --http is off";
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

bool split_ip_endpoint(const std::string& endpoint, std::string* transport,
                       std::string* host, std::string* port) {
  std::string rest;
  if (endpoint.compare(0, 9, "giop:tcp:") == 0) {
    *transport = "tcp";
  } else if (endpoint.compare(0, 9, "giop:ssl:") == 0) {
    *transport = "ssl";
  } else {
    return false;
  }
  rest = endpoint.substr(9);
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

namespace {

// "  --db PATH" and its help, wrapped at 78 columns with the help in a
// column of its own.
void append_option_help(std::string* out, const ServerOptionSpec& s) {
  const std::size_t kColumn = 24, kWidth = 78;
  std::string head = "  ";
  if (s.short_name) head += std::string("-") + s.short_name + ", ";
  head += std::string("--") + s.name;
  if (s.value_name) head += std::string(" ") + s.value_name;
  std::string line = head;
  if (line.size() + 2 > kColumn) {
    *out += line + "\n";
    line.clear();
  }
  line.resize(kColumn, ' ');
  std::istringstream words(s.help);
  std::string word;
  bool first = true;
  while (words >> word) {
    if (!first && line.size() + 1 + word.size() > kWidth) {
      *out += line + "\n";
      line = std::string(kColumn, ' ');
      first = true;
    }
    if (!first) line += ' ';
    line += word;
    first = false;
  }
  *out += line + "\n";
}

}  // namespace

std::string server_usage() {
  std::string text = R"(Usage: irserver [OPTION]... [-ORBoption value]...
       irserver --check FILE

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
does not exist), listens on giop:tcp:127.0.0.1:2810, which only this
machine can reach, and lets only this machine change the repository.

Options:
)";
  for (const ServerOptionSpec& s : kSpecs) append_option_help(&text, s);
  text += R"(  -ORBoption value      passed to omniORB unchanged, for example
                        -ORBtraceLevel 10 or -ORBendPoint giop:tcp::2810 (used
                        as the endpoint when --endpoint is absent).  -ORBhelp
                        lists omniORB's options.

Options that take a value also accept the form --option=value.  In a
configuration file each option above except --config, --check, --version
and --help is a key of the same name ("read-only = true"), and
"orb.NAME = VALUE" passes -ORBNAME VALUE to omniORB.

Once it listens, irserver prints one line on standard output:
  irserver: ready corbaloc::HOST:PORT/InterfaceRepository http://HOST:PORT/
    (database PATH)
(one line; the web view's http:// URL only when HTTP is on; ", read-only"
after PATH when it is read-only), tells systemd that
it is ready when started as a Type=notify service, and serves until it
receives SIGINT or SIGTERM, when it closes the database and exits with
status 0.  SIGHUP reopens the log file.

Exit status:
  0  stopped by SIGINT or SIGTERM; --help, --version; --check: sound
  1  could not start (endpoint or HTTP address in use or invalid,
     database missing, locked, damaged or not a repository database, IOR
     or log file not writable); the reason is printed as one line on standard error:
       irserver: cannot start: REASON
     --check: the database is not sound (the reason on standard error)
  2  invalid command line or configuration file

Examples:
  irserver
  irserver --db /var/lib/ir/ir.db --endpoint giop:tcp::2810 --writers 10.1.0.0/16
  irserver --config /etc/irserver/irserver.conf
  irserver --read-only --db ir.db --ior-file /tmp/ir.ior
  irserver --check /var/lib/irserver/backups/ir-20260102T101112Z.db
  irserver --trace ir,mutex --log /tmp/irserver.log -ORBtraceLevel 5
)";
  return text;
}
