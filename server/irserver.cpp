// irserver: serves the interface repository over IIOP.
//
// Start-up is one sequence of steps; any failure ends it with exactly one
// line on standard error ("irserver: cannot start: REASON") and exit
// status 1.  omniORB reports some failures (a port in use) only through
// its log, so the log is captured while starting and its first message
// becomes part of the reason; once the server is ready the captured
// messages are written to the log's real destination and logging goes
// there directly.
//
// Requests that arrive while irserver starts wait (the POA managers stay
// in the holding state) until the root and its store are ready; the POA
// managers are activated last, just before the ready line.
//
// SIGINT, SIGTERM and SIGHUP are blocked in every thread (the mask is
// set before ORB_init, so the ORB's threads inherit it); one thread waits
// for them with sigwait.  SIGHUP reopens the log file.  On SIGINT and
// SIGTERM every new request is answered with TRANSIENT (the POA managers
// discard requests), never with OBJECT_NOT_EXIST, which a client would
// take to mean that its object has gone for good; the request in progress
// finishes, the repository closes the database and the process ends.
// Started by systemd as a Type=notify service, irserver reports READY=1
// once it serves requests (after the ready line) and STOPPING=1 when it
// stops.
#include <omniORB4/CORBA.h>
#include <omniORB4/IIOP.h>
#include <omniORB4/cdrStream.h>
#include <signal.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "database_check.h"
#include "http/web_server.h"
#include "http/web_site.h"
#include "ir/irglob.h"
#include "ir/reposito.h"
#include "ir/servant_locator.h"
#include "ir/server_state.h"
#include "ir/write_access.h"
#include "platform/address_list.h"
#include "platform/kald_error.h"
#include "platform/principal.h"
#include "platform/qor_log.h"
#include "platform/request_log.h"
#include "platform/ssl_transport.h"
#include "platform/version.h"
#include "server_log.h"
#include "server_options.h"
#include "store/irdb.h"

namespace {

// A failure to start, with the reason shown to the user.
struct StartupError {
  std::string reason;
};

// --- start-up log capture ----------------------------------------------

std::mutex capture_mutex;
std::vector<std::string> captured;  // guarded by capture_mutex

void capture_log_message(const char* message) {
  std::lock_guard<std::mutex> lock(capture_mutex);
  captured.emplace_back(message ? message : "");
}

void begin_log_capture() { omniORB::setLogFunction(capture_log_message); }

// Sends the log to its real destination (the --log file or standard
// error) and appends the messages captured so far to it, so that nothing
// is lost from the log.  A server that failed to start replays them only
// into a log file: its standard error carries the one line of the
// reason.
void end_log_capture(bool started, bool to_file) {
  server_log_install();
  std::vector<std::string> messages;
  {
    std::lock_guard<std::mutex> lock(capture_mutex);
    messages.swap(captured);
  }
  if (!to_file && !started) return;
  for (const std::string& m : messages) server_log_write(m.c_str());
}

// "omniORB: (0) 2026-01-02 10:11:12.345678: Failed to bind ..." gives
// "Failed to bind ...": the prefix, trace level and time stamp are
// noise in a one-line reason.
std::string strip_log_prefix(std::string m) {
  while (!m.empty() && (m.back() == '\n' || m.back() == ' ')) m.pop_back();
  static const char kPrefix[] = "omniORB: ";
  if (m.compare(0, sizeof kPrefix - 1, kPrefix) == 0)
    m.erase(0, sizeof kPrefix - 1);
  if (!m.empty() && m[0] == '(') {
    std::string::size_type close = m.find(") ");
    if (close != std::string::npos) m.erase(0, close + 2);
  }
  // A time stamp starts with a digit and ends at the first ": ".
  if (!m.empty() && m[0] >= '0' && m[0] <= '9') {
    std::string::size_type end = m.find(": ");
    if (end != std::string::npos) m.erase(0, end + 2);
  }
  static const char kError[] = "Error: ";
  if (m.compare(0, sizeof kError - 1, kError) == 0)
    m.erase(0, sizeof kError - 1);
  std::string::size_type nl;
  while ((nl = m.find('\n')) != std::string::npos) m[nl] = ' ';
  return m;
}

// The first error omniORB logged while starting, or "".  Errors are
// told from the informational messages of higher trace levels by their
// words.
std::string first_captured_error() {
  static const char* const kErrorWords[] = {"error", "fail", "unable", "cannot",
                                            "invalid"};
  std::lock_guard<std::mutex> lock(capture_mutex);
  for (const std::string& m : captured) {
    std::string text = strip_log_prefix(m);
    std::string lower = text;
    for (char& c : lower)
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const char* word : kErrorWords)
      if (lower.find(word) != std::string::npos) return text;
  }
  return std::string();
}

// "CORBA::INITIALIZE (TransportError)" and the like: the exception's
// name and its minor code in words.
std::string describe(const CORBA::Exception& e) {
  std::string text = std::string("CORBA::") + e._name();
  const CORBA::SystemException* se = CORBA::SystemException::_downcast(&e);
  if (!se) return text;
  CORBA::ULong minor = se->minor();
  if (const char* words = kaldMinorWords(minor)) {
    text += std::string(" (") + words + ")";
  } else if (const char* name = se->NP_minorString()) {
    std::string n = name;
    std::string prefix = std::string(e._name()) + "_";
    if (n.compare(0, prefix.size(), prefix) == 0) n.erase(0, prefix.size());
    text += " (" + n + ")";
  } else if (minor != 0) {
    char buf[32];
    std::snprintf(buf, sizeof buf, " (minor 0x%08lx)",
                  static_cast<unsigned long>(minor));
    text += buf;
  }
  return text;
}

// The reason for a failed step: what omniORB logged, if anything, then
// the exception.
std::string reason_for(const std::string& step, const CORBA::Exception& e) {
  std::string logged = first_captured_error();
  std::string reason = step + ": ";
  if (!logged.empty()) reason += logged + " - ";
  return reason + describe(e);
}

// --- the address to publish ----------------------------------------------

// Host and port of the first IIOP profile of a stringified IOR.
bool address_from_ior(const std::string& ior, std::string* host,
                      std::string* port) {
  if (ior.size() < 4 ||
      (ior.compare(0, 4, "IOR:") != 0 && ior.compare(0, 4, "ior:") != 0))
    return false;
  std::string hex = ior.substr(4);
  if (hex.size() % 2 != 0) return false;
  std::vector<CORBA::Octet> bytes(hex.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    unsigned value = 0;
    if (std::sscanf(hex.c_str() + 2 * i, "%2x", &value) != 1) return false;
    bytes[i] = static_cast<CORBA::Octet>(value);
  }
  try {
    cdrEncapsulationStream in(bytes.data(),
                              static_cast<CORBA::ULong>(bytes.size()), 1);
    CORBA::String_var type_id = in.unmarshalString();
    CORBA::ULong count;
    count <<= in;
    for (CORBA::ULong i = 0; i < count; ++i) {
      IOP::TaggedProfile profile;
      profile <<= in;
      if (profile.tag != IOP::TAG_INTERNET_IOP) continue;
      IIOP::ProfileBody body;
      IIOP::unmarshalProfile(profile, body);
      *host = static_cast<const char*>(body.address.host);
      *port = std::to_string(body.address.port);
      return true;
    }
  } catch (const CORBA::SystemException&) {
  }
  return false;
}

// "corbaloc::HOST:PORT" for the endpoint ("corbaloc:ssliop:HOST:PORT" for
// an SSL one): the endpoint's own host (this machine's name when it
// names none) and port (for TCP, the one the ORB picked when it names
// none), or "" when there is no address to show.
std::string corbaloc_base(const ServerOptions& options,
                          const std::string& ior) {
  std::string transport, host, port, ior_host, ior_port;
  bool have_ior_address = address_from_ior(ior, &ior_host, &ior_port);
  if (!split_ip_endpoint(options.endpoint, &transport, &host, &port)) {
    if (!have_ior_address) return std::string();
    transport = "tcp";
    host = ior_host;
    port = ior_port;
  }
  if (host.empty()) {
    CORBA::String_var name = QorGetHostname();
    host = static_cast<const char*>(name);
  }
  if (port.empty() || port == "0") {
    // The IIOP profile of an SSL-only endpoint carries port 0.
    if (!have_ior_address || transport != "tcp") return std::string();
    port = ior_port;
  }
  if (host.find(':') != std::string::npos && host[0] != '[')
    host = "[" + host + "]";
  return (transport == "ssl" ? "corbaloc:ssliop:" : "corbaloc::") + host + ":" +
         port;
}

// Writes `text` to `path` through a temporary file and a rename, so that
// a reader never sees half an IOR.
void write_file_atomically(const std::string& path, const std::string& text) {
  std::string temp = path + ".tmp";
  FILE* f = std::fopen(temp.c_str(), "w");
  if (!f) {
    throw StartupError{"cannot write the IOR file " + path + ": " +
                       std::strerror(errno)};
  }
  bool ok = std::fputs(text.c_str(), f) >= 0 && std::fputc('\n', f) != EOF;
  int error = errno;
  if (std::fclose(f) != 0 && ok) {
    ok = false;
    error = errno;
  }
  if (ok && std::rename(temp.c_str(), path.c_str()) != 0) {
    ok = false;
    error = errno;
  }
  if (!ok) {
    std::remove(temp.c_str());
    throw StartupError{"cannot write the IOR file " + path + ": " +
                       std::strerror(error)};
  }
}

IRDB::Options store_options_of(const ServerOptions& options) {
  IRDB::Options store_options;
  store_options.read_only = options.read_only;
  store_options.full_sync = options.full_sync;
  // The check of a large database ends while irserver serves: its
  // verdict goes to the log (the store then refuses every change).
  store_options.on_damage = [](const std::string& text) {
    QORLogError("server/irserver", __LINE__, text.c_str());
  };
  return store_options;
}

// Opens the database, so that a file that cannot serve is refused with
// the store's own words rather than a bare CORBA exception; the
// repository then takes this store over (opening twice would cost a
// second commit of the key reservation).
std::unique_ptr<IRStore> open_database(const ServerOptions& options) {
  try {
    return std::make_unique<IRDB>(options.db_path.c_str(),
                                  store_options_of(options));
  } catch (const IRStore::Exception& e) {
    // The store's words usually name the file already.
    if (e.text().find(options.db_path) != std::string::npos)
      throw StartupError{e.text()};
    throw StartupError{"database " + options.db_path + ": " + e.text()};
  }
}

// Destroys what start-up built, ignoring further failures: the process
// is about to exit with the original reason.
void tear_down(CORBA::ORB_ptr orb) {
  try {
    if (kaldIrGlobalObject) kaldIrGlobalObject->reset();
  } catch (...) {
  }
  try {
    if (!CORBA::is_nil(orb)) orb->destroy();
  } catch (...) {
  }
}

// `path` made absolute and normal; unchanged when that fails.
std::string absolute_path(const std::string& path) {
  std::error_code ec;
  std::filesystem::path absolute = std::filesystem::absolute(path, ec);
  return ec ? path : absolute.lexically_normal().string();
}

// The facts of this server that the repository reports (ext_server_info)
// and uses (ext_backup).
IrServerFacts server_facts(const ServerOptions& options) {
  IrServerFacts facts;
  facts.version = ir_version_text();
  facts.database = options.db_path;
  facts.read_only = options.read_only;
  facts.backup_dir = options.backup_dir;
  return facts;
}

}  // namespace

int main(int argc, char** argv) {
  ServerOptions options;
  std::string error = parse_server_options(argc, argv, &options);
  if (!error.empty()) {
    std::cerr << "irserver: " << error << std::endl;
    return 2;
  }
  if (options.help) {
    std::cout << server_usage() << std::flush;
    return 0;
  }
  if (options.version) {
    std::cout << "irserver " << ir_version_text() << std::endl;
    return 0;
  }
  if (!options.check_file.empty())
    return run_database_check(options.check_file, std::cout, std::cerr);
  options.db_path = absolute_path(options.db_path);
  options.backup_dir = absolute_path(
      options.backup_dir.empty()
          ? (std::filesystem::path(options.db_path).parent_path() / "backups")
                .string()
          : options.backup_dir);
  AddressList writers;
  error = AddressList::parse(options.writers, &writers);
  if (!error.empty()) {
    std::cerr << "irserver: --writers: " << error << std::endl;
    return 2;
  }
  ir_set_writers(writers);

  // A client that goes away must not kill the server through a write.
  signal(SIGPIPE, SIG_IGN);
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  sigaddset(&stop_signals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

  error = server_log_open(options.log_file);
  if (!error.empty()) {
    std::cerr << "irserver: cannot start: " << error << std::endl;
    return 1;
  }
  const bool log_to_file = !options.log_file.empty();

  std::vector<std::string> orb_args = orb_init_args(argv[0], options);
  error = KALDLoadSslTransport(orb_args);
  if (!error.empty()) {
    std::cerr << "irserver: cannot start: " << error << std::endl;
    return 1;
  }
  std::vector<char*> orb_argv;
  for (std::string& a : orb_args) orb_argv.push_back(&a[0]);
  orb_argv.push_back(nullptr);
  int orb_argc = static_cast<int>(orb_args.size());

  CORBA::ORB_var orb;
  // The web view; both stay null with --http off.
  std::unique_ptr<WebSite> web_site;
  std::unique_ptr<WebServer> web_server;
  std::string step = "cannot initialise the ORB";
  std::string ready_line;
  begin_log_capture();
  try {
    orb = CORBA::ORB_init(orb_argc, orb_argv.data());
    KALDInstallPrincipalTracking();
    if (options.log_requests) KALDInstallRequestLog();
    ir_set_server_facts(server_facts(options));
    QORIRTrace = options.trace_ir;
    QORMutexTrace = options.trace_mutex;

    // The object adapter opens the endpoint when it first starts.
    step = "cannot listen on " + options.endpoint;
    ir_poa_init(orb);

    step = "cannot open the repository in " + options.db_path;
    std::shared_ptr<std::unique_ptr<IRStore>> opened =
        std::make_shared<std::unique_ptr<IRStore>>(open_database(options));
    IRDB::Options store_options = store_options_of(options);
    CORBA_Repository_Impl::store_opener = [opened,
                                           store_options](const char* db) {
      if (*opened) return std::move(*opened);
      return std::unique_ptr<IRStore>(new IRDB(db, store_options));
    };
    CORBA_Repository_Impl::cache_capacity = options.cache_size;
    CORBA_Repository_Impl* root =
        CORBA_Repository_Impl::theRepository(options.db_path.c_str());
    if (!root) throw StartupError{step + ": no repository root"};

    CORBA::Object_var root_ref = root->_ref();
    CORBA::String_var ior = orb->object_to_string(root_ref);
    if (!options.ior_file.empty())
      write_file_atomically(options.ior_file, static_cast<const char*>(ior));

    // The web view reads the repository through the root's reference:
    // colocated calls that take the same locks as any client's.
    std::string web_url;
    if (options.http.enabled) {
      web_site = std::make_unique<WebSite>(orb.in(), root_ref.in());
      if (!options.http_invoke.empty())
        web_site->enable_calls(options.http_invoke,
                               options.http_invoke_timeout_ms);
      // HTTP workers give way to IIOP clients on the repository's lock.
      web_server = std::make_unique<WebServer>(
          options.http, *web_site, &IrUpcallLock::mark_background_thread);
      std::string problem = web_server->bind();
      if (!problem.empty()) throw StartupError{problem};
      web_url = " " + web_server->url();
    }

    std::string base = corbaloc_base(options, static_cast<const char*>(ior));
    ir_poa_activate();
    ready_line = "irserver: ready " +
                 (base.empty() ? std::string(static_cast<const char*>(ior))
                               : base + "/InterfaceRepository") +
                 web_url + " (database " + options.db_path +
                 (options.read_only ? ", read-only)" : ")");
  } catch (const StartupError& e) {
    end_log_capture(false, log_to_file);
    std::cerr << "irserver: cannot start: " << e.reason << std::endl;
    web_server.reset();
    web_site.reset();
    tear_down(orb);
    return 1;
  } catch (const IRStore::Exception& e) {
    std::string reason = step + ": " + e.text();
    end_log_capture(false, log_to_file);
    std::cerr << "irserver: cannot start: " << reason << std::endl;
    web_server.reset();
    web_site.reset();
    tear_down(orb);
    return 1;
  } catch (const CORBA::Exception& e) {
    std::string reason = reason_for(step, e);
    end_log_capture(false, log_to_file);
    std::cerr << "irserver: cannot start: " << reason << std::endl;
    web_server.reset();
    web_site.reset();
    tear_down(orb);
    return 1;
  } catch (const std::exception& e) {
    end_log_capture(false, log_to_file);
    std::cerr << "irserver: cannot start: " << step << ": " << e.what()
              << std::endl;
    web_server.reset();
    web_site.reset();
    tear_down(orb);
    return 1;
  }
  end_log_capture(true, log_to_file);

  std::atomic<int> stop_signal{0};
  std::thread signal_waiter([&] {
    int sig = 0;
    while (true) {
      if (sigwait(&stop_signals, &sig) != 0) sig = SIGTERM;
      if (sig != SIGHUP) break;
      std::string problem = server_log_reopen();
      omniORB::logger log("irserver: ");
      if (problem.empty())
        log << "log reopened on SIGHUP\n";
      else
        log << problem.c_str() << "\n";
    }
    stop_signal = sig;
    sd_notify(0, "STOPPING=1");
    ir_poa_discard();
    // Wait for the request in progress, then close the repository (every
    // committed change is on disk) and leave without the ORB's orderly
    // shutdown: that one sends CloseConnection, which omniORB clients
    // report as COMM_FAILURE on their next call to a restarted server,
    // while a dropped connection is retried by them transparently.
    ir_upcall_mutex().lock();
    int status = 0;
    try {
      if (kaldIrGlobalObject) kaldIrGlobalObject->reset();
    } catch (const CORBA::Exception& e) {
      std::cerr << "irserver: " << describe(e) << " while stopping"
                << std::endl;
      status = 1;
    }
    if (omniORB::trace(1)) {
      omniORB::logger log("irserver: ");
      log << "stopped on " << (sig == SIGINT ? "SIGINT" : "SIGTERM") << "\n";
    }
    std::cout.flush();
    std::cerr.flush();
    std::_Exit(status);
  });

  if (web_server) web_server->start();
  std::cout << ready_line << std::endl;
  // Requests are served from here on (the POA managers are active).
  sd_notify(0, ("READY=1\nSTATUS=" + ready_line).c_str());

  int status = 0;
  try {
    orb->run();
  } catch (const CORBA::Exception& e) {
    std::cerr << "irserver: " << describe(e) << " while serving" << std::endl;
    status = 1;
  }
  // run() returns only after a shutdown; should anything else end it,
  // wake the waiter so that it can be joined.
  if (stop_signal == 0) kill(getpid(), SIGTERM);
  signal_waiter.join();

  if (omniORB::trace(1)) {
    omniORB::logger log("irserver: ");
    log << "stopping on " << (stop_signal == SIGINT ? "SIGINT" : "SIGTERM")
        << "\n";
  }
  web_server.reset();
  web_site.reset();
  try {
    if (kaldIrGlobalObject) kaldIrGlobalObject->reset();
    orb->destroy();
  } catch (const CORBA::Exception& e) {
    std::cerr << "irserver: " << describe(e) << " while stopping" << std::endl;
    status = 1;
  } catch (const IRStore::Exception& e) {
    std::cerr << "irserver: " << e.text() << " while stopping" << std::endl;
    status = 1;
  }
  return status;
}
