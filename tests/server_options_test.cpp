// irserver's options: the command line, configuration files and their
// refusals, and the ORB arguments made from them.
#include "server_options.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace {

struct Parsed {
  std::string error;
  ServerOptions options;
};

// Parses `args` (without the program name); configuration files are
// read from `files` (a name that is not there cannot be read).
Parsed parse(const std::vector<std::string>& args,
             const std::map<std::string, std::string>& files = {}) {
  std::vector<const char*> argv{"irserver"};
  for (const std::string& a : args) argv.push_back(a.c_str());
  FileReader reader = [&files](const std::string& path, std::string* text,
                               std::string* error) {
    auto it = files.find(path);
    if (it == files.end()) {
      *error = "No such file or directory";
      return false;
    }
    *text = it->second;
    return true;
  };
  Parsed p;
  p.error = parse_server_options(static_cast<int>(argv.size()), argv.data(),
                                 &p.options, reader);
  return p;
}

TEST(ServerOptions, DefaultsServeThisMachineOnly) {
  Parsed p = parse({});
  ASSERT_EQ(p.error, "");
  EXPECT_EQ(p.options.db_path, "./ir.db");
  EXPECT_EQ(p.options.endpoint, "giop:tcp:127.0.0.1:2810");
  EXPECT_EQ(p.options.writers, "127.0.0.0/8,::1");
  EXPECT_EQ(p.options.http.text(), "127.0.0.1:2811");
  EXPECT_FALSE(p.options.read_only || p.options.log_requests);
  EXPECT_EQ(orb_init_args("irserver", p.options),
            (std::vector<std::string>{"irserver", "-ORBendPoint",
                                      "giop:tcp:127.0.0.1:2810",
                                      "-ORBgiopMaxMsgSize", "268435456"}));
  EXPECT_TRUE(p.options.full_sync);
  EXPECT_EQ(p.options.cache_size, 20000u);
}

TEST(ServerOptions, CommandLineSetsEveryOption) {
  Parsed p = parse({"--db",
                    "a.db",
                    "--endpoint=giop:tcp::7",
                    "--ior-file",
                    "x.ior",
                    "--read-only",
                    "--writers",
                    "10.0.0.0/8, ::1",
                    "--backup-dir",
                    "/b",
                    "--trace",
                    "ir,mutex",
                    "--log",
                    "l.log",
                    "--log-requests",
                    "--sync",
                    "normal",
                    "--cache-size",
                    "500",
                    "--max-message-size",
                    "1M",
                    "--http",
                    "[::1]:8080",
                    "-ORBtraceLevel",
                    "5"});
  ASSERT_EQ(p.error, "");
  const ServerOptions& o = p.options;
  EXPECT_EQ(o.db_path, "a.db");
  EXPECT_EQ(o.endpoint, "giop:tcp::7");
  EXPECT_EQ(o.ior_file, "x.ior");
  EXPECT_TRUE(o.read_only && o.trace_ir && o.trace_mutex && o.log_requests);
  EXPECT_EQ(o.writers, "10.0.0.0/8, ::1");
  EXPECT_EQ(o.backup_dir, "/b");
  EXPECT_EQ(o.http.text(), "[::1]:8080");
  EXPECT_EQ(o.log_file, "l.log");
  EXPECT_EQ(orb_init_args("p", o),
            (std::vector<std::string>{"p", "-ORBendPoint", "giop:tcp::7",
                                      "-ORBgiopMaxMsgSize", "1048576",
                                      "-ORBtraceLevel", "5"}));
  EXPECT_FALSE(o.full_sync);
  EXPECT_EQ(o.cache_size, 500u);
  EXPECT_TRUE(parse({"--version", "--no-such"}).options.version);
  EXPECT_TRUE(parse({"-h"}).options.help);
  EXPECT_EQ(parse({"--check", "f.db"}).options.check_file, "f.db");
}

TEST(ServerOptions, OrbEndpointAndTraceFileAreIrserversOwn) {
  // -ORBendPoint stands for the endpoint when none is named; -ORBtraceFile
  // is --log (irserver writes the log so that SIGHUP can reopen it).
  Parsed p = parse({"-ORBendPoint", "giop:tcp::9", "-ORBtraceFile", "t.log"});
  ASSERT_EQ(p.error, "");
  EXPECT_EQ(p.options.endpoint, "giop:tcp::9");
  EXPECT_EQ(p.options.log_file, "t.log");
  EXPECT_EQ(orb_init_args("p", p.options),
            (std::vector<std::string>{"p", "-ORBgiopMaxMsgSize", "268435456",
                                      "-ORBendPoint", "giop:tcp::9"}));
  Parsed both = parse({"-ORBendPoint", "giop:tcp::9", "--endpoint", "e"});
  EXPECT_EQ(both.options.endpoint, "e");
  EXPECT_TRUE(both.options.add_endpoint_arg);
}

TEST(ServerOptions, BadCommandLinesSayWhatIsWrong) {
  const struct {
    std::vector<std::string> args;
    const char* error;
  } cases[] = {
      {{"--no-such"}, "unknown option '--no-such' (try --help)"},
      {{"stray"}, "unexpected argument 'stray' (try --help)"},
      {{"--db"}, "option --db needs a value"},
      {{"--db="}, "option --db needs a non-empty value"},
      {{"--read-only=yes"}, "option --read-only takes no value"},
      {{"--trace", "ir,bogus"},
       "option --trace unknown trace switch 'bogus' (use ir, mutex)"},
      {{"--writers", "everyone"},
       "option --writers 'everyone' is not an IPv4 or IPv6 address"},
      {{"--http", "2811"}, "option --http '2811' is not ADDRESS:PORT or off"},
      {{"--http-invoke", "2809"},
       "option --http-invoke '2809' is not HOST:PORT"},
      {{"--http-invoke", "a:1,,b:2"},
       "option --http-invoke needs HOST:PORT pairs separated by commas (got "
       "'a:1,,b:2')"},
      {{"--http-invoke", "h:0"},
       "option --http-invoke 'h:0' needs a port from 1 to 65535 or *"},
      {{"--http-invoke", "a b:1"},
       "option --http-invoke 'a b:1' does not name a host"},
      {{"--http-invoke-timeout", "0"},
       "option --http-invoke-timeout needs a number of seconds from 0.1 to "
       "3600 (got '0')"},
      {{"--http", "off", "--http-invoke", "h:1"},
       "--http-invoke needs HTTP, but --http is off"},
      {{"-ORBtraceLevel"}, "option -ORBtraceLevel needs a value"},
      {{"--sync", "always"},
       "option --sync needs full or normal (got 'always')"},
      {{"--cache-size", "10K"},
       "option --cache-size needs a number of definitions from 1 to "
       "100000000 (got '10K')"},
      {{"--max-message-size", "1K"},
       "option --max-message-size needs a size from 64K to 4G, such as 256M "
       "(got '1K')"},
      {{"--config", "absent.conf"},
       "cannot read the configuration file absent.conf: No such file or "
       "directory"},
  };
  for (const auto& c : cases) EXPECT_EQ(parse(c.args).error, c.error);
}

TEST(ServerOptions, CallGatewayIsOffUnlessGivenItsAllowList) {
  Parsed off = parse({});
  ASSERT_EQ(off.error, "");
  EXPECT_TRUE(off.options.http_invoke.empty());
  EXPECT_EQ(off.options.http_invoke_timeout_ms, 10000u);
  Parsed on = parse({"--http-invoke", "ns.example:2809, [::1]:*,127.0.0.1:5000",
                     "--http-invoke-timeout", "2.5"});
  ASSERT_EQ(on.error, "");
  EXPECT_EQ(on.options.http_invoke.text(),
            "ns.example:2809, [::1]:*, 127.0.0.1:5000");
  EXPECT_EQ(on.options.http_invoke_timeout_ms, 2500u);
  ServerOptions o;
  EXPECT_EQ(
      apply_config_text("f", "http-invoke = h:1\nhttp-invoke = off\n", &o), "");
  EXPECT_TRUE(o.http_invoke.empty());
}

TEST(ServerOptions, ConfigurationFileSetsEveryKeyAndTheCommandLineWins) {
  const std::string conf = R"(# irserver.conf
  ; another comment

db = /var/lib/irserver/ir.db
endpoint = giop:tcp::2810
ior-file = /run/irserver/ir.ior
read-only = yes
writers = 10.0.0.0/8,::1
backup-dir = "/srv/backup dir"
http = off
trace = mutex
log = /var/log/irserver.log
log-requests = on
sync = normal
cache-size = 7
max-message-size = 64K
orb.traceLevel = 10
orb.maxServerThreadPoolSize = 4
)";
  Parsed p = parse({"--config", "c.conf"}, {{"c.conf", conf}});
  ASSERT_EQ(p.error, "");
  const ServerOptions& o = p.options;
  EXPECT_EQ(o.config_file, "c.conf");
  EXPECT_EQ(o.db_path, "/var/lib/irserver/ir.db");
  EXPECT_EQ(o.endpoint, "giop:tcp::2810");
  EXPECT_EQ(o.ior_file, "/run/irserver/ir.ior");
  EXPECT_TRUE(o.read_only && o.trace_mutex && o.log_requests);
  EXPECT_FALSE(o.trace_ir);
  EXPECT_EQ(o.writers, "10.0.0.0/8,::1");
  EXPECT_EQ(o.backup_dir, "/srv/backup dir");
  EXPECT_FALSE(o.http.enabled);
  EXPECT_EQ(o.log_file, "/var/log/irserver.log");
  EXPECT_FALSE(o.full_sync);
  EXPECT_EQ(o.cache_size, 7u);
  EXPECT_EQ(
      orb_init_args("p", o),
      (std::vector<std::string>{"p", "-ORBendPoint", "giop:tcp::2810",
                                "-ORBgiopMaxMsgSize", "65536", "-ORBtraceLevel",
                                "10", "-ORBmaxServerThreadPoolSize", "4"}));

  // The command line overrides the file, wherever --config stands; its
  // -ORB options follow the file's.
  Parsed q = parse({"--db", "mine.db", "--trace", "ir", "--config", "c.conf",
                    "-ORBtraceLevel", "1"},
                   {{"c.conf", conf}});
  ASSERT_EQ(q.error, "");
  EXPECT_EQ(q.options.db_path, "mine.db");
  EXPECT_TRUE(q.options.trace_ir);
  EXPECT_FALSE(q.options.trace_mutex);
  std::vector<std::string> args = orb_init_args("p", q.options);
  EXPECT_EQ(std::vector<std::string>(args.end() - 2, args.end()),
            (std::vector<std::string>{"-ORBtraceLevel", "1"}));

  // A file's orb.endPoint stands for the endpoint like -ORBendPoint.
  Parsed r = parse({"--config", "e.conf"},
                   {{"e.conf", "orb.endPoint = giop:tcp:127.0.0.1:5\n"}});
  EXPECT_EQ(r.options.endpoint, "giop:tcp:127.0.0.1:5");
  EXPECT_FALSE(r.options.add_endpoint_arg);
}

TEST(ServerOptions, BadConfigurationLinesNameFileAndLine) {
  const struct {
    const char* line2;
    const char* error;
  } cases[] = {
      {"colour = blue", "c.conf:2: unknown key 'colour'"},
      {"config = other.conf",
       "c.conf:2: unknown key 'config' (--config exists on the command line "
       "only)"},
      {"db", "c.conf:2: expected \"key = value\", found 'db'"},
      {"= x", "c.conf:2: a key is missing before '='"},
      {"db =", "c.conf:2: bad value for 'db': needs a non-empty value"},
      {"read-only = maybe",
       "c.conf:2: bad value for 'read-only': 'maybe' is not true or false"},
      {"trace = ir,all",
       "c.conf:2: bad value for 'trace': unknown trace switch 'all' (use ir, "
       "mutex)"},
      {"writers = 10.0.0.0/40",
       "c.conf:2: bad value for 'writers': bad prefix length '40' in "
       "'10.0.0.0/40' (0 to 32)"},
      {"orb.trace-level = 1",
       "c.conf:2: 'orb.trace-level' is not an omniORB option name"},
      {"orb.traceLevel =", "c.conf:2: 'orb.traceLevel' needs a value"},
  };
  for (const auto& c : cases) {
    std::string text = std::string("# first\n") + c.line2 + "\ndb = x.db\n";
    EXPECT_EQ(parse({"--config", "c.conf"}, {{"c.conf", text}}).error, c.error);
  }
}

TEST(ServerOptions, HelpListsEveryOptionOfTheTable) {
  std::string usage = server_usage();
  for (const ServerOptionSpec& s : server_option_specs()) {
    std::string name = std::string("--") + s.name;
    if (s.value_name) name += std::string(" ") + s.value_name;
    EXPECT_NE(usage.find(name), std::string::npos) << name;
    // Every option with a key is accepted on the command line and in a
    // file alike: the same entry applies both.
    if (s.config_key) {
      EXPECT_STREQ(s.config_key, s.name);
    }
  }
}

}  // namespace
