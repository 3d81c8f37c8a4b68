// End-to-end tests: irserver in its own process, this process as an IIOP
// client that reaches it only through corbaloc URLs, IORs and the
// references the server hands out.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>
#include <signal.h>

#include <fstream>
#include <string>
#include <vector>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "irext.hh"
#include "orb_main.h"

namespace {

// The vendor minor code base of the repository and the code that a
// refused argument (such as destroy on the root) carries.
constexpr CORBA::ULong kMinorBase = 0x51520000UL;
constexpr CORBA::ULong kMinorBadArgument = kMinorBase + 0x48;

// Checks that a failed start said why in exactly one line on standard
// error, starting with "irserver: cannot start: ".
void expect_one_line_reason(const ProcessResult& r) {
  EXPECT_FALSE(r.timed_out) << r.describe();
  EXPECT_TRUE(r.exited) << r.describe();
  EXPECT_EQ(r.exit_status, 1) << r.describe();
  std::vector<std::string> lines = text_lines(r.err);
  ASSERT_EQ(lines.size(), 1u) << r.describe();
  EXPECT_EQ(lines[0].rfind("irserver: cannot start: ", 0), 0u) << lines[0];
  EXPECT_GT(lines[0].size(), std::string("irserver: cannot start: ").size());
  EXPECT_EQ(r.err.back(), '\n');
  EXPECT_EQ(r.out, "") << "a server that did not start announced itself";
}

TEST_F(IrServerE2E, HelpPrintsUsageAndExitsZero) {
  Guarded([&] {
    ProcessResult r = run_irserver({"--help"});
    EXPECT_TRUE(r.exited && r.exit_status == 0) << r.describe();
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.out.rfind("Usage: irserver", 0), 0u) << r.out;
    for (const char* option :
         {"--db", "--endpoint", "--ior-file", "--read-only", "--trace", "--log",
          "--help", "-ORB", "InterfaceRepository", "DefaultRepository"}) {
      EXPECT_NE(r.out.find(option), std::string::npos) << option;
    }
  });
}

TEST_F(IrServerE2E, UnknownOptionIsOneLineAndStatusTwo) {
  Guarded([&] {
    ProcessResult r = run_irserver({"--no-such-option"});
    EXPECT_TRUE(r.exited && r.exit_status == 2) << r.describe();
    EXPECT_EQ(r.out, "");
    std::vector<std::string> lines = text_lines(r.err);
    ASSERT_EQ(lines.size(), 1u) << r.err;
    EXPECT_NE(lines[0].find("--no-such-option"), std::string::npos) << lines[0];
  });
}

TEST_F(IrServerE2E, BadOptionValuesAreStatusTwo) {
  Guarded([&] {
    for (std::vector<std::string> args :
         {std::vector<std::string>{"--trace", "ir,bogus"},
          std::vector<std::string>{"--db"}, std::vector<std::string>{"stray"},
          std::vector<std::string>{"-ORBtraceLevel"}}) {
      ProcessResult r = run_irserver(args);
      EXPECT_TRUE(r.exited && r.exit_status == 2) << args[0] << r.describe();
      EXPECT_EQ(text_lines(r.err).size(), 1u) << args[0] << r.describe();
    }
  });
}

TEST_F(IrServerE2E, RootAnswersAtBothCorbalocKeys) {
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
    EXPECT_EQ(by_default->def_kind(), CORBA::dk_Repository);

    // Both keys are the same repository, not two of them.
    CORBA::ModuleDef_var m =
        by_ir->create_module("IDL:Both:1.0", "Both", "1.0");
    CORBA::Contained_var seen = by_default->lookup_id("IDL:Both:1.0");
    ASSERT_FALSE(CORBA::is_nil(seen));
    CORBA::String_var name = seen->name();
    EXPECT_STREQ(name.in(), "Both");

    // A key that is not the repository's is not answered by it.
    CORBA::Object_var other = object_at(server.corbaloc_base() + "/NoSuchKey");
    EXPECT_TRUE(other->_non_existent());
  });
}

TEST_F(IrServerE2E, DestroyOnRootRaisesBadParamWithVendorMinor) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    try {
      root->destroy();
      ADD_FAILURE() << "destroy on the root returned normally";
    } catch (const CORBA::BAD_PARAM& e) {
      EXPECT_EQ(e.minor(), kMinorBadArgument) << std::hex << e.minor();
    }
    // The root is still there and still serves.
    EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
    CORBA::Contained_var object = root->lookup_id("IDL:Object:1.0");
    EXPECT_FALSE(CORBA::is_nil(object));
  });
}

TEST_F(IrServerE2E, UserTransactionCommitsAndCancelsAcrossRestart) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    {
      IRExt::Repository_var root = ext_repository_at(server.corbaloc());
      ASSERT_FALSE(CORBA::is_nil(root));

      root->ext_beginUserTransaction();
      CORBA::ModuleDef_var a = root->create_module("IDL:TxA:1.0", "TxA", "1.0");
      CORBA::ModuleDef_var b = root->create_module("IDL:TxB:1.0", "TxB", "1.0");
      root->ext_endUserTransaction();

      root->ext_beginUserTransaction();
      CORBA::ModuleDef_var c = root->create_module("IDL:TxC:1.0", "TxC", "1.0");
      CORBA::Contained_var c_inside = root->lookup_id("IDL:TxC:1.0");
      EXPECT_FALSE(CORBA::is_nil(c_inside)) << "own change invisible in its "
                                               "transaction";
      root->ext_cancelUserTransaction();

      CORBA::Contained_var found = root->lookup_id("IDL:TxA:1.0");
      EXPECT_FALSE(CORBA::is_nil(found));
      found = root->lookup_id("IDL:TxB:1.0");
      EXPECT_FALSE(CORBA::is_nil(found));
      found = root->lookup_id("IDL:TxC:1.0");
      EXPECT_TRUE(CORBA::is_nil(found)) << "cancelled module still there";

      // End without a transaction is a protocol error, not a crash.
      EXPECT_THROW(root->ext_endUserTransaction(), CORBA::INTF_REPOS);
    }
    server.stop();
    ASSERT_EQ(server.restart(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    CORBA::Contained_var found = root->lookup_id("IDL:TxA:1.0");
    EXPECT_FALSE(CORBA::is_nil(found));
    found = root->lookup_id("IDL:TxB:1.0");
    EXPECT_FALSE(CORBA::is_nil(found));
    found = root->lookup_id("IDL:TxC:1.0");
    EXPECT_TRUE(CORBA::is_nil(found));
  });
}

TEST_F(IrServerE2E, ReferencesTakenBeforeRestartStillWork) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");

    CORBA::Repository_var root = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    CORBA::Contained_var object = root->lookup_id("IDL:Object:1.0");
    ASSERT_FALSE(CORBA::is_nil(object));
    EXPECT_EQ(object->def_kind(), CORBA::dk_Interface);
    CORBA::ModuleDef_var module =
        root->create_module("IDL:Kept:1.0", "Kept", "1.0");
    ASSERT_FALSE(CORBA::is_nil(module));
    // Stringified, as a client would keep it in a file.
    CORBA::String_var object_ior = test_orb()->object_to_string(object);
    CORBA::String_var module_ior = test_orb()->object_to_string(module);

    server.stop();
    ASSERT_EQ(server.restart(), "");

    EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
    EXPECT_EQ(object->def_kind(), CORBA::dk_Interface);
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
    ASSERT_FALSE(CORBA::is_nil(parent));
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
    ASSERT_EQ(server.start(), "");
    {
      CORBA::Repository_var root = repository_at(server.corbaloc());
      ASSERT_FALSE(CORBA::is_nil(root));
      EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
    }
    ProcessResult r = server.terminate(SIGTERM);
    EXPECT_TRUE(r.exited && r.exit_status == 0 && !r.timed_out) << r.describe();

    ASSERT_EQ(server.restart(), "");
    {
      // A connected client does not hold up the stop.
      CORBA::Repository_var root = repository_at(server.corbaloc());
      ASSERT_FALSE(CORBA::is_nil(root));
      EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
      r = server.terminate(SIGINT);
    }
    EXPECT_TRUE(r.exited && r.exit_status == 0 && !r.timed_out) << r.describe();
  });
}

TEST_F(IrServerE2E, CommittedChangesSurviveKill9) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    {
      IRExt::Repository_var root = ext_repository_at(server.corbaloc());
      ASSERT_FALSE(CORBA::is_nil(root));
      CORBA::ModuleDef_var m =
          root->create_module("IDL:Durable:1.0", "Durable", "1.0");
      root->ext_beginUserTransaction();
      CORBA::ModuleDef_var t =
          root->create_module("IDL:DurableTx:1.0", "DurableTx", "1.0");
      root->ext_endUserTransaction();
      // Left open when the server dies: must be lost, entirely.
      root->ext_beginUserTransaction();
      CORBA::ModuleDef_var open =
          root->create_module("IDL:Uncommitted:1.0", "Uncommitted", "1.0");
    }
    server.kill9();
    ASSERT_EQ(server.restart(), "");
    reconnect_after_crash(server.corbaloc());

    IRExt::Repository_var root = ext_repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    CORBA::Contained_var found = root->lookup_id("IDL:Durable:1.0");
    ASSERT_FALSE(CORBA::is_nil(found));
    CORBA::String_var name = found->name();
    EXPECT_STREQ(name.in(), "Durable");
    found = root->lookup_id("IDL:DurableTx:1.0");
    EXPECT_FALSE(CORBA::is_nil(found));
    found = root->lookup_id("IDL:Uncommitted:1.0");
    EXPECT_TRUE(CORBA::is_nil(found));
    // No transaction is left open by the crash: a new one can begin.
    root->ext_beginUserTransaction();
    root->ext_cancelUserTransaction();
  });
}

TEST_F(IrServerE2E, SecondServerOnSamePortCannotStart) {
  Guarded([&] {
    IrServerProcess first;
    ASSERT_EQ(first.start(), "");
    TempDir other;
    ProcessResult r =
        run_irserver({"--db", other.file("ir.db"), "--endpoint",
                      "giop:tcp:127.0.0.1:" + std::to_string(first.port())});
    expect_one_line_reason(r);
    EXPECT_NE(r.err.find(std::to_string(first.port())), std::string::npos)
        << "the reason does not name the endpoint: " << r.err;

    // The first server is unaffected.
    CORBA::Repository_var root = repository_at(first.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
  });
}

TEST_F(IrServerE2E, DatabaseInUseByAnotherServerIsRefused) {
  Guarded([&] {
    IrServerProcess first;
    ASSERT_EQ(first.start(), "");
    ProcessResult r =
        run_irserver({"--db", first.db_path, "--endpoint",
                      "giop:tcp:127.0.0.1:" + std::to_string(free_tcp_port())});
    expect_one_line_reason(r);
    EXPECT_NE(r.err.find(first.db_path), std::string::npos) << r.err;
    CORBA::Repository_var root = repository_at(first.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    CORBA::ModuleDef_var m =
        root->create_module("IDL:StillMine:1.0", "StillMine", "1.0");
    EXPECT_FALSE(CORBA::is_nil(m));
  });
}

TEST_F(IrServerE2E, GarbageDatabaseIsRefusedAndLeftAlone) {
  Guarded([&] {
    TempDir dir;
    std::string db = dir.file("garbage.db");
    std::string garbage;
    while (garbage.size() < 8192)
      garbage += "This file is not a database of any kind. ";
    write_text(db, garbage);

    ProcessResult r =
        run_irserver({"--db", db, "--endpoint",
                      "giop:tcp:127.0.0.1:" + std::to_string(free_tcp_port())});
    expect_one_line_reason(r);
    EXPECT_NE(r.err.find(db), std::string::npos) << r.err;
    EXPECT_EQ(read_file(db), garbage) << "irserver changed a file not its own";
  });
}

TEST_F(IrServerE2E, DamagedDatabaseHeaderIsRefused) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    server.stop();
    std::string bytes = read_file(server.db_path);
    ASSERT_GT(bytes.size(), 100u);
    // The first 100 bytes are the database header.
    for (std::size_t i = 0; i < 100; ++i) bytes[i] = static_cast<char>(0xA5);
    write_text(server.db_path, bytes);

    ProcessResult r =
        run_irserver({"--db", server.db_path, "--endpoint",
                      "giop:tcp:127.0.0.1:" + std::to_string(server.port())});
    expect_one_line_reason(r);
  });
}

TEST_F(IrServerE2E, ReadOnlyServesButRefusesEveryChange) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    {
      CORBA::Repository_var root = repository_at(server.corbaloc());
      ASSERT_FALSE(CORBA::is_nil(root));
      CORBA::ModuleDef_var m = root->create_module("IDL:RO:1.0", "RO", "1.0");
    }
    server.stop();

    server.extra_args = {"--read-only"};
    ASSERT_EQ(server.restart(), "");
    {
      IRExt::Repository_var root = ext_repository_at(server.corbaloc());
      ASSERT_FALSE(CORBA::is_nil(root));
      CORBA::Contained_var found = root->lookup_id("IDL:RO:1.0");
      ASSERT_FALSE(CORBA::is_nil(found));
      CORBA::String_var name = found->name();
      EXPECT_STREQ(name.in(), "RO");

      EXPECT_THROW(root->ext_beginUserTransaction(), CORBA::NO_PERMISSION);
      EXPECT_THROW(CORBA::ModuleDef_var(
                       root->create_module("IDL:New:1.0", "New", "1.0")),
                   CORBA::NO_PERMISSION);
      EXPECT_THROW(found->name("Renamed"), CORBA::NO_PERMISSION);
      EXPECT_THROW(found->destroy(), CORBA::NO_PERMISSION);

      found = root->lookup_id("IDL:RO:1.0");
      ASSERT_FALSE(CORBA::is_nil(found));
      name = found->name();
      EXPECT_STREQ(name.in(), "RO");
      found = root->lookup_id("IDL:New:1.0");
      EXPECT_TRUE(CORBA::is_nil(found));
    }
    server.stop();

    // Nothing changed on disk either.
    server.extra_args.clear();
    ASSERT_EQ(server.restart(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    CORBA::Contained_var found = root->lookup_id("IDL:RO:1.0");
    ASSERT_FALSE(CORBA::is_nil(found));
    CORBA::String_var name = found->name();
    EXPECT_STREQ(name.in(), "RO");
    found = root->lookup_id("IDL:New:1.0");
    EXPECT_TRUE(CORBA::is_nil(found));
  });
}

TEST_F(IrServerE2E, ReadOnlyWithoutDatabaseCannotStart) {
  Guarded([&] {
    TempDir dir;
    std::string db = dir.file("absent.db");
    ProcessResult r =
        run_irserver({"--read-only", "--db", db, "--endpoint",
                      "giop:tcp:127.0.0.1:" + std::to_string(free_tcp_port())});
    expect_one_line_reason(r);
    EXPECT_NE(r.err.find(db), std::string::npos) << r.err;
    EXPECT_TRUE(read_file(db).empty());
  });
}

TEST_F(IrServerE2E, IorFileReachesTheRootAcrossRestart) {
  Guarded([&] {
    IrServerProcess server;
    std::string ior_file = server.dir() + "/ir.ior";
    server.extra_args = {"--ior-file", ior_file};
    ASSERT_EQ(server.start(), "");
    std::string ior = read_file(ior_file);
    ASSERT_EQ(ior.rfind("IOR:", 0), 0u) << ior;
    while (!ior.empty() && (ior.back() == '\n' || ior.back() == '\r'))
      ior.pop_back();

    CORBA::Repository_var root = repository_at(ior);
    ASSERT_FALSE(CORBA::is_nil(root));
    EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
    server.stop();
    ASSERT_EQ(server.restart(), "");
    EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
  });
}

TEST_F(IrServerE2E, UnwritableIorFileCannotStart) {
  Guarded([&] {
    IrServerProcess server;
    server.extra_args = {"--ior-file", server.dir() + "/no/such/dir/ir.ior"};
    std::vector<std::string> args{
        "--db", server.db_path, "--endpoint",
        "giop:tcp:127.0.0.1:" + std::to_string(server.port())};
    args.insert(args.end(), server.extra_args.begin(), server.extra_args.end());
    ProcessResult r = run_irserver(args);
    expect_one_line_reason(r);
    EXPECT_NE(r.err.find("no/such/dir"), std::string::npos) << r.err;
  });
}

TEST_F(IrServerE2E, OrbEndpointOptionIsUsedWithoutEndpointOption) {
  Guarded([&] {
    IrServerProcess server;
    server.pass_endpoint = false;
    server.extra_args = {"-ORBendPoint",
                         "giop:tcp:127.0.0.1:" + std::to_string(server.port()),
                         "-ORBtraceLevel", "0"};
    ASSERT_EQ(server.start(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    ASSERT_FALSE(CORBA::is_nil(root));
    EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
  });
}

TEST_F(IrServerE2E, UnknownOrbOptionCannotStart) {
  Guarded([&] {
    TempDir dir;
    ProcessResult r =
        run_irserver({"--db", dir.file("ir.db"), "--endpoint",
                      "giop:tcp:127.0.0.1:" + std::to_string(free_tcp_port()),
                      "-ORBnoSuchOption", "1"});
    expect_one_line_reason(r);
    EXPECT_NE(r.err.find("ORB"), std::string::npos) << r.err;
  });
}

// Runs a few calls against a server started with `extra` and returns
// what its log file holds after it stopped.
std::string log_after_calls(const std::vector<std::string>& extra) {
  IrServerProcess server;
  std::string log = server.dir() + "/irserver.log";
  server.extra_args = {"--log", log};
  server.extra_args.insert(server.extra_args.end(), extra.begin(), extra.end());
  std::string started = server.start();
  EXPECT_EQ(started, "");
  if (!started.empty()) return std::string();
  {
    CORBA::Object_var obj =
        test_orb()->string_to_object(server.corbaloc().c_str());
    CORBA::Repository_var root = CORBA::Repository::_narrow(obj);
    EXPECT_FALSE(CORBA::is_nil(root));
    if (CORBA::is_nil(root)) return std::string();
    CORBA::Contained_var object = root->lookup_id("IDL:Object:1.0");
    CORBA::ModuleDef_var m = root->create_module("IDL:Log:1.0", "Log", "1.0");
  }
  server.stop();
  return read_file(log);
}

TEST_F(IrServerE2E, TraceSwitchesWriteToTheLogFile) {
  Guarded([&] {
    std::string traced = log_after_calls({"--trace", "ir,mutex"});
    EXPECT_NE(traced.find("trace"), std::string::npos) << "[" << traced << "]";

    std::string quiet = log_after_calls({});
    EXPECT_EQ(quiet.find("trace"), std::string::npos) << "[" << quiet << "]";
  });
}

}  // namespace
