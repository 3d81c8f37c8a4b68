// irctl: feed IDL into an interface repository, remove it, browse the
// repository and print it back as IDL.
#include <unistd.h>

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "client/corba_text.h"
#include "command_line.h"
#include "commands.h"
#include "platform/ssl_transport.h"
#include "platform/version.h"

namespace {

using CommandFn = int (*)(CommandContext&, const Args&);

struct Command {
  const char* name;
  CommandFn run;
};

const Command kCommands[] = {
    {"feed", feed_command}, {"rm", rm_command},
    {"ls", ls_command},     {"describe", describe_command},
    {"idl", idl_command},   {"find", find_command},
    {"refs", refs_command}, {"children", children_command},
    {"call", call_command},
};

int usage_error(const std::string& command, const std::string& what) {
  std::cerr << "irctl: " << (command.empty() ? "" : command + ": ") << what
            << " (see irctl " << (command.empty() ? "" : command + " ")
            << "--help)" << std::endl;
  return 2;
}

// The ORB arguments: omniORB's -ORB options with their values, plus a
// quiet trace level unless one is given.
std::vector<std::string> orb_arguments(int argc, char** argv,
                                       std::vector<std::string>* rest) {
  std::vector<std::string> orb{argv[0]};
  bool trace_level = false;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a.compare(0, 4, "-ORB") == 0 && a != "-ORBhelp") {
      orb.push_back(a);
      if (a == "-ORBtraceLevel") trace_level = true;
      if (i + 1 < argc) orb.push_back(argv[++i]);
      continue;
    }
    rest->push_back(a);
  }
  if (!trace_level) {
    orb.push_back("-ORBtraceLevel");
    orb.push_back("0");
  }
  return orb;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args;
  std::vector<std::string> orb_args = orb_arguments(argc, argv, &args);

  std::string url;
  std::size_t i = 0;
  for (; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--help" || a == "-h") {
      std::cout << usage_text("");
      return 0;
    }
    if (a == "--version") {
      std::cout << "irctl " << ir_version_text() << std::endl;
      return 0;
    }
    if (a == "--ir") {
      if (i + 1 >= args.size()) return usage_error("", "--ir needs a URL");
      url = args[++i];
    } else if (a.compare(0, 5, "--ir=") == 0) {
      url = a.substr(5);
    } else if (!a.empty() && a[0] == '-') {
      return usage_error("", "unknown option " + a);
    } else {
      break;
    }
  }
  if (i >= args.size()) return usage_error("", "no command given");
  std::string command = args[i];
  Args rest(args.begin() + static_cast<long>(i) + 1, args.end());
  const Command* chosen = nullptr;
  for (const Command& c : kCommands)
    if (command == c.name) chosen = &c;
  if (!chosen) return usage_error("", "unknown command '" + command + "'");
  for (const std::string& a : rest) {
    if (a == "--") break;
    if (a == "--help" || a == "-h") {
      std::cout << usage_text(command);
      return 0;
    }
  }

  std::vector<std::string> ssl_args = orb_args;
  ssl_args.push_back(url);
  std::string ssl_error = KALDLoadSslTransport(ssl_args);
  if (!ssl_error.empty()) {
    std::cerr << "irctl: " << ssl_error << std::endl;
    return 1;
  }
  std::vector<char*> orb_argv;
  for (std::string& a : orb_args) orb_argv.push_back(&a[0]);
  orb_argv.push_back(nullptr);
  int orb_argc = static_cast<int>(orb_args.size());
  int status = 1;
  CORBA::ORB_var orb;
  std::string step = "starting the ORB";
  try {
    orb = CORBA::ORB_init(orb_argc, orb_argv.data());
    RepositorySession session(orb, url);
    step = "reaching the repository at " + session.where();
    try {
      session.connect();
    } catch (const CORBA::BAD_PARAM&) {
      std::cerr << "irctl: " << session.where()
                << " is not an interface repository" << std::endl;
      orb->destroy();
      return 1;
    }
    step = command;
    CommandContext ctx{session, std::cout, std::cerr,
                       isatty(STDERR_FILENO) != 0};
    status = chosen->run(ctx, rest);
  } catch (const UsageError& e) {
    status = usage_error(command, e.what());
  } catch (const CORBA::Exception& e) {
    std::cerr << "irctl: " << step << ": " << exception_text(e) << std::endl;
    status = 1;
  } catch (const std::exception& e) {
    std::cerr << "irctl: " << step << ": " << e.what() << std::endl;
    status = 1;
  }
  if (!CORBA::is_nil(orb)) {
    try {
      orb->destroy();
    } catch (const CORBA::Exception&) {
    }
  }
  return status;
}
