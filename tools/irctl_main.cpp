// irctl: feed IDL into an interface repository, remove it, browse the
// repository and print it back as IDL.
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "cli.h"
#include "commands.h"
#include "platform/ssl_transport.h"
#include "request_tracker.h"

namespace {

int run(CommandContext& ctx, const CommandLine& cl) {
  const std::string& c = cl.command;
  if (c == "feed") return feed_command(ctx, cl.feed);
  if (c == "rm") return rm_command(ctx, cl.rm);
  if (c == "ls") return ls_command(ctx, cl.ls);
  if (c == "describe") return describe_command(ctx, cl.describe);
  if (c == "idl") return idl_command(ctx, cl.idl);
  if (c == "find") return find_command(ctx, cl.find);
  if (c == "refs") return refs_command(ctx, cl.refs);
  if (c == "children") return children_command(ctx, cl.children);
  if (c == "ping") return ping_command(ctx);
  if (c == "backup") return backup_command(ctx);
  if (c == "call") return call_command(ctx, cl.call);
  std::cerr << "irctl: unknown command " << c << std::endl;
  return 2;
}

// True for the exceptions of a server that does not answer at all.
bool no_answer(const CORBA::SystemException& e) {
  return CORBA::TRANSIENT::_downcast(&e) ||
         CORBA::COMM_FAILURE::_downcast(&e) || CORBA::TIMEOUT::_downcast(&e);
}

}  // namespace

int main(int argc, char** argv) {
  CommandLine cl;
  ParseOutcome parsed = parse_command_line(argc, argv, &cl);
  if (parsed.action == ParseOutcome::kPrint) {
    std::cout << parsed.text;
    return 0;
  }
  if (parsed.action == ParseOutcome::kUsageError) {
    std::cerr << parsed.text << std::endl;
    return 2;
  }

  // omniORB's SSL transport, when an -ORB option or the address asks
  // for it.
  std::vector<std::string> ssl_args = cl.global.orb_args;
  ssl_args.push_back(cl.global.ir);
  std::string ssl_error = KALDLoadSslTransport(ssl_args);
  if (!ssl_error.empty()) {
    std::cerr << "irctl: " << ssl_error << std::endl;
    return 1;
  }
  std::vector<char*> orb_argv;
  for (std::string& a : cl.global.orb_args) orb_argv.push_back(&a[0]);
  orb_argv.push_back(nullptr);
  int orb_argc = static_cast<int>(cl.global.orb_args.size());
  int status = 1;
  CORBA::ORB_var orb;
  std::string step = "starting the ORB";
  try {
    orb = CORBA::ORB_init(orb_argc, orb_argv.data());
    track_requests();
    RepositorySession session(orb, cl.global.ir);
    step = "reaching the repository at " + session.where();
    try {
      session.connect();
    } catch (const CORBA::BAD_PARAM&) {
      std::cerr << "irctl: " << session.where()
                << " is not an interface repository" << std::endl;
      orb->destroy();
      return 1;
    } catch (const CORBA::SystemException& e) {
      if (!no_answer(e)) throw;
      std::cerr << "irctl: no repository answers at " << session.where()
                << ": is irserver running?" << std::endl;
      orb->destroy();
      return 1;
    }
    step = cl.command;
    CommandContext ctx{session, std::cout, std::cerr,
                       isatty(STDERR_FILENO) != 0,
                       cl.global.output == OutputFormat::kJson};
    status = run(ctx, cl);
  } catch (const UsageError& e) {
    std::cerr << "irctl: " << cl.command << ": " << e.what() << std::endl;
    status = 2;
  } catch (const CORBA::Exception& e) {
    std::cerr << "irctl: " << step << ": " << failure_text(e) << std::endl;
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
