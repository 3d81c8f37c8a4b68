// End-to-end tests: irserver in its own process, this process as an IIOP
// client that reaches it only through corbaloc URLs, IORs and the
// references the server hands out.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>
#include <signal.h>

#include <functional>
#include <string>
#include <vector>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "irext.hh"
#include "orb_main.h"

namespace {

// The vendor minor code that a refused argument (such as destroy on the
// root) carries.
constexpr CORBA::ULong kMinorBadArgument = 0x51520000UL + 0x48;

bool exists(CORBA::Repository_ptr root, const char* id) {
  return !CORBA::is_nil(CORBA::Contained_var(root->lookup_id(id)));
}

std::string endpoint(int port) {
  return "giop:tcp:127.0.0.1:" + std::to_string(port);
}

TEST_F(IrServerE2E, CommandLineHelpAndErrors) {
  ProcessResult help = run_irserver({"--help"});
  EXPECT_TRUE(help.exited && help.exit_status == 0) << help.describe();
  EXPECT_EQ(help.err, "");
  EXPECT_EQ(help.out.rfind("Usage: irserver", 0), 0u) << help.out;
  for (const char* option :
       {"--db", "--endpoint", "--ior-file", "--read-only", "--trace", "--log",
        "--max-message-size", "--sync", "--cache-size", "--help", "-ORB",
        "InterfaceRepository", "DefaultRepository"})
    EXPECT_NE(help.out.find(option), std::string::npos) << option;

  // Bad options and values: one line and status 2.
  const std::vector<std::string> bad[] = {{"--no-such-option"},
                                          {"--trace", "ir,bogus"},
                                          {"--db"},
                                          {"stray"},
                                          {"-ORBtraceLevel"},
                                          {"--sync", "sometimes"},
                                          {"--cache-size", "0"},
                                          {"--cache-size", "1M"}};
  for (const std::vector<std::string>& args : bad) {
    ProcessResult r = run_irserver(args);
    EXPECT_TRUE(r.exited && r.exit_status == 2) << args[0] << r.describe();
    EXPECT_EQ(r.out, "");
    ASSERT_EQ(text_lines(r.err).size(), 1u) << args[0] << r.describe();
    EXPECT_NE(r.err.find(args[0]), std::string::npos) << r.err;
  }
}

// Each server that cannot start says why in exactly one line on standard
// error, starting with "irserver: cannot start: ", that names the cause.
TEST_F(IrServerE2E, ServersThatCannotStartSayWhyInOneLine) {
  IrServerProcess first;
  ASSERT_EQ(first.start(), "");
  TempDir dir;
  std::string garbage_db = dir.file("garbage.db"),
              damaged_db = dir.file("d.db");
  std::string garbage;
  while (garbage.size() < 8192)
    garbage += "This file is not a database of any kind. ";
  write_text(garbage_db, garbage);
  {
    IrServerProcess other;
    other.db_path = damaged_db;
    ASSERT_EQ(other.start(), "");
    other.stop();
    // The first 100 bytes are the database header.
    std::string bytes = read_file(damaged_db);
    ASSERT_GT(bytes.size(), 100u);
    write_text(damaged_db, std::string(100, '\xa5') + bytes.substr(100));
  }
  const std::string free = endpoint(free_tcp_port());
  struct Case {
    const char* what;
    std::vector<std::string> args;
    std::string named;  // in the reason
  } cases[] = {
      {"port in use",
       {"--db", dir.file("ir.db"), "--endpoint", endpoint(first.port())},
       std::to_string(first.port())},
      {"database in use",
       {"--db", first.db_path, "--endpoint", free},
       first.db_path + " is in use by another process"},
      {"garbage database",
       {"--db", garbage_db, "--endpoint", free},
       garbage_db},
      {"damaged header", {"--db", damaged_db, "--endpoint", free}, damaged_db},
      {"read-only without database",
       {"--read-only", "--db", dir.file("absent.db"), "--endpoint", free},
       dir.file("absent.db")},
      {"unwritable IOR file",
       {"--db", dir.file("ior.db"), "--endpoint", free, "--ior-file",
        dir.file("no/such/dir/ir.ior")},
       "no/such/dir"},
      {"unknown ORB option",
       {"--db", dir.file("orb.db"), "--endpoint", free, "-ORBnoSuchOption",
        "1"},
       "ORB"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ProcessResult r = run_irserver(c.args);
    EXPECT_TRUE(r.exited && r.exit_status == 1 && !r.timed_out) << r.describe();
    std::vector<std::string> lines = text_lines(r.err);
    ASSERT_EQ(lines.size(), 1u) << r.describe();
    EXPECT_EQ(lines[0].rfind("irserver: cannot start: ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(c.named), std::string::npos) << lines[0];
    EXPECT_EQ(r.err.back(), '\n');
    EXPECT_EQ(r.out, "") << "a server that did not start announced itself";
  }
  // Files not its own are left alone; the first server is unaffected.
  EXPECT_EQ(read_file(garbage_db), garbage);
  EXPECT_TRUE(read_file(dir.file("absent.db")).empty());
  Guarded([&] {
    CORBA::Repository_var root = repository_at(first.corbaloc());
    CORBA::ModuleDef_var m =
        root->create_module("IDL:StillMine:1.0", "StillMine", "1.0");
    EXPECT_FALSE(CORBA::is_nil(m));
  });
}

TEST_F(IrServerE2E, RootAnswersAtBothCorbalocKeysAndRefusesDestroy) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    CORBA::Repository_var by_ir = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(by_ir));
    EXPECT_EQ(by_ir->def_kind(), CORBA::dk_Repository);
    // The form that -ORBDefaultInitRef corbaloc::HOST:PORT produces.
    CORBA::Repository_var by_default =
        repository_at(server.corbaloc_base() + "/DefaultRepository");
    ASSERT_FALSE(CORBA::is_nil(by_default));
    // Both keys are the same repository, not two of them.
    CORBA::ModuleDef_var m =
        by_ir->create_module("IDL:Both:1.0", "Both", "1.0");
    EXPECT_TRUE(exists(by_default, "IDL:Both:1.0"));
    // A key that is not the repository's is not answered by it.
    CORBA::Object_var other = object_at(server.corbaloc_base() + "/NoSuchKey");
    EXPECT_TRUE(other->_non_existent());

    try {
      by_ir->destroy();
      ADD_FAILURE() << "destroy on the root returned normally";
    } catch (const CORBA::BAD_PARAM& e) {
      EXPECT_EQ(e.minor(), kMinorBadArgument) << std::hex << e.minor();
    }
    // The root is still there and still serves.
    EXPECT_EQ(by_ir->def_kind(), CORBA::dk_Repository);
    EXPECT_TRUE(exists(by_ir, "IDL:Object:1.0"));
  });
}

// Committed changes survive a restart and a kill -9; a cancelled or open
// transaction leaves nothing.
TEST_F(IrServerE2E, UserTransactionsAcrossRestartAndKill9) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    IRExt::Repository_var root = ext_repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    auto module = [&](const char* name) {
      std::string id = std::string("IDL:") + name + ":1.0";
      CORBA::ModuleDef_var(root->create_module(id.c_str(), name, "1.0"));
    };
    module("Durable");
    root->ext_beginUserTransaction();
    module("TxA");
    module("TxB");
    root->ext_endUserTransaction();
    root->ext_beginUserTransaction();
    module("TxC");
    EXPECT_TRUE(exists(root, "IDL:TxC:1.0")) << "own change invisible";
    root->ext_cancelUserTransaction();
    EXPECT_FALSE(exists(root, "IDL:TxC:1.0")) << "cancelled module still there";
    // End without a transaction is a protocol error, not a crash.
    EXPECT_THROW(root->ext_endUserTransaction(), CORBA::INTF_REPOS);

    auto check = [&](const char* when) {
      SCOPED_TRACE(when);
      for (const char* id : {"IDL:Durable:1.0", "IDL:TxA:1.0", "IDL:TxB:1.0"})
        EXPECT_TRUE(exists(root, id)) << id;
      EXPECT_FALSE(exists(root, "IDL:TxC:1.0"));
      EXPECT_FALSE(exists(root, "IDL:Uncommitted:1.0"));
    };
    server.stop();
    ASSERT_EQ(server.restart(), "");
    check("restarted");
    // Left open when the server dies: must be lost, entirely.
    root->ext_beginUserTransaction();
    module("Uncommitted");
    server.kill9();
    ASSERT_EQ(server.restart(), "");
    reconnect_after_crash(server.corbaloc());
    check("killed");
    // No transaction is left open by the crash: a new one can begin.
    root->ext_beginUserTransaction();
    root->ext_cancelUserTransaction();
  });
}

TEST_F(IrServerE2E, ReferencesTakenBeforeRestartStillWork) {
  Guarded([&] {
    IrServerProcess server;
    std::string ior_file = server.dir() + "/ir.ior";
    server.extra_args = {"--ior-file", ior_file};
    ASSERT_EQ(server.start(), "");
    std::string ior = read_file(ior_file);
    ASSERT_EQ(ior.rfind("IOR:", 0), 0u) << ior;
    ior.erase(ior.find_last_not_of("\r\n") + 1);
    CORBA::Repository_var by_ior = repository_at(ior);
    ASSERT_FALSE(CORBA::is_nil(by_ior));

    CORBA::Repository_var root = repository_at(server.corbaloc());
    CORBA::Contained_var object = root->lookup_id("IDL:Object:1.0");
    ASSERT_FALSE(CORBA::is_nil(object));
    CORBA::ModuleDef_var module =
        root->create_module("IDL:Kept:1.0", "Kept", "1.0");
    // Stringified, as a client would keep it in a file.
    CORBA::String_var object_ior = test_orb()->object_to_string(object);
    CORBA::String_var module_ior = test_orb()->object_to_string(module);

    server.stop();
    ASSERT_EQ(server.restart(), "");
    EXPECT_EQ(by_ior->def_kind(), CORBA::dk_Repository);
    EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
    CORBA::String_var id = object->id();
    EXPECT_STREQ(id.in(), "IDL:Object:1.0");
    CORBA::String_var name = module->name();
    EXPECT_STREQ(name.in(), "Kept");
    CORBA::Object_var again = test_orb()->string_to_object(object_ior.in());
    CORBA::InterfaceDef_var object_def = CORBA::InterfaceDef::_narrow(again);
    ASSERT_FALSE(CORBA::is_nil(object_def));
    name = object_def->name();
    EXPECT_STREQ(name.in(), "Object");
    again = test_orb()->string_to_object(module_ior.in());
    CORBA::ModuleDef_var module_again = CORBA::ModuleDef::_narrow(again);
    ASSERT_FALSE(CORBA::is_nil(module_again));
    CORBA::Container_var parent = module_again->defined_in();
    EXPECT_EQ(parent->def_kind(), CORBA::dk_Repository);

    // The same references survive a crash too.
    server.kill9();
    ASSERT_EQ(server.restart(), "");
    reconnect_after_crash(server.corbaloc());
    EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
    id = object->id();
    EXPECT_STREQ(id.in(), "IDL:Object:1.0");
  });
}

TEST_F(IrServerE2E, SigtermAndSigintStopWithStatusZero) {
  Guarded([&] {
    IrServerProcess server;
    // -ORBendPoint serves when --endpoint is not given.
    server.pass_endpoint = false;
    server.extra_args = {"-ORBendPoint", endpoint(server.port()),
                         "-ORBtraceLevel", "0"};
    for (int sig : {SIGTERM, SIGINT}) {
      ASSERT_EQ(server.start(), "");
      ProcessResult r;
      {
        // A connected client does not hold up the stop.
        CORBA::Repository_var root = repository_at(server.corbaloc());
        EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
        r = server.terminate(sig);
      }
      EXPECT_TRUE(r.exited && r.exit_status == 0 && !r.timed_out)
          << sig << ": " << r.describe();
    }
  });
}

TEST_F(IrServerE2E, ReadOnlyServesButRefusesEveryChange) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    CORBA::ModuleDef_var(root->create_module("IDL:RO:1.0", "RO", "1.0"));
    server.stop();

    server.extra_args = {"--read-only"};
    ASSERT_EQ(server.restart(), "");
    {
      IRExt::Repository_var ext = ext_repository_at(server.corbaloc());
      CORBA::Contained_var found = ext->lookup_id("IDL:RO:1.0");
      ASSERT_FALSE(CORBA::is_nil(found));
      EXPECT_THROW(ext->ext_beginUserTransaction(), CORBA::NO_PERMISSION);
      EXPECT_THROW(
          CORBA::ModuleDef_var(ext->create_module("IDL:New:1.0", "New", "1.0")),
          CORBA::NO_PERMISSION);
      EXPECT_THROW(found->name("Renamed"), CORBA::NO_PERMISSION);
      EXPECT_THROW(found->destroy(), CORBA::NO_PERMISSION);
      CORBA::String_var name = found->name();
      EXPECT_STREQ(name.in(), "RO");
      EXPECT_FALSE(exists(ext, "IDL:New:1.0"));
    }
    server.stop();

    // Nothing changed on disk either.
    server.extra_args.clear();
    ASSERT_EQ(server.restart(), "");
    CORBA::String_var name = CORBA::Contained_var(root->lookup("::RO"))->name();
    EXPECT_STREQ(name.in(), "RO");
    EXPECT_FALSE(exists(root, "IDL:New:1.0"));
  });
}

TEST_F(IrServerE2E, TraceSwitchesWriteToTheLogFile) {
  Guarded([&] {
    // Runs a few calls against a server started with `extra` and returns
    // what its log file holds after it stopped.
    auto log_after_calls = [&](const std::vector<std::string>& extra) {
      IrServerProcess server;
      std::string log = server.dir() + "/irserver.log";
      server.extra_args = {"--log", log};
      server.extra_args.insert(server.extra_args.end(), extra.begin(),
                               extra.end());
      EXPECT_EQ(server.start(), "");
      CORBA::Repository_var root = repository_at(server.corbaloc());
      CORBA::Contained_var(root->lookup_id("IDL:Object:1.0"));
      CORBA::ModuleDef_var(root->create_module("IDL:Log:1.0", "Log", "1.0"));
      server.stop();
      return read_file(log);
    };
    std::string traced = log_after_calls({"--trace", "ir,mutex"});
    EXPECT_NE(traced.find("trace"), std::string::npos) << "[" << traced << "]";
    std::string quiet = log_after_calls({});
    EXPECT_EQ(quiet.find("trace"), std::string::npos) << "[" << quiet << "]";
  });
}

}  // namespace
