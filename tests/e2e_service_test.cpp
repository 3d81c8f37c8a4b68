// End-to-end tests of irserver as a service: configuration files, who may
// write, online backup and restore, the offline check, server info, the
// request log, SIGHUP and systemd readiness.
#include <gtest/gtest.h>
#include <omniORB4/CORBA.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "e2e_fixture.h"
#include "e2e_server.h"
#include "irext.hh"

namespace fs = std::filesystem;

namespace {

constexpr CORBA::ULong kMinorNotAWriter = 0x51520000UL + 0x57;

// Definitions of every kind whose operations the tests drive.
const char kServiceIdl[] = R"(
module W {
  interface Base { void ping(); };
  interface I : Base {
    attribute long a;
    exception E { long code; };
    long op(in string s) raises (E);
  };
  struct S { long x; sequence<long, 5> seq; string<8> bs; };
  enum Colour { red, green };
  union U switch (long) { case 1: long l; default: string s; };
  typedef long Alias;
  typedef long Arr[3];
  exception Fail { string why; };
  const long C = 7;
  native N;
  abstract interface A { void f(); };
  valuetype V { public long m; };
  valuetype Box long;
};
)";

std::string endpoint(int port) {
  return "giop:tcp:127.0.0.1:" + std::to_string(port);
}

// irctl against `server`: the result of the run.
ProcessResult irctl(const IrServerProcess& server,
                    const std::vector<std::string>& args) {
  std::vector<std::string> argv{irctl_path(), "--ir", server.corbaloc()};
  argv.insert(argv.end(), args.begin(), args.end());
  return run_process(argv);
}

// Feeds kServiceIdl into a running server.
void feed_service_idl(const IrServerProcess& server) {
  std::string idl = server.dir() + "/service.idl";
  write_text(idl, kServiceIdl);
  ProcessResult r = irctl(server, {"feed", idl});
  ASSERT_EQ(r.status(), 0) << r.describe();
}

// The whole repository as IDL: what "unchanged" is compared by.
std::string repository_idl(const IrServerProcess& server) {
  ProcessResult r = irctl(server, {"idl"});
  EXPECT_EQ(r.status(), 0) << r.describe();
  return r.out;
}

// Waits up to 10 s for `path` to hold `text`.
bool wait_for_text(const std::string& path, const std::string& text) {
  for (int i = 0; i < 1000; ++i) {
    if (read_file(path).find(text) != std::string::npos) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

// Runs SQL on a database file (not one a server holds open).
void run_sql(const std::string& path, const std::string& sql) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  char* message = nullptr;
  int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
  std::string text = message ? message : "";
  sqlite3_free(message);
  sqlite3_close(db);
  ASSERT_EQ(rc, SQLITE_OK) << text;
}

template <class T>
typename T::_ptr_type narrow_at(CORBA::Repository_ptr root, const char* name) {
  CORBA::Contained_var c = root->lookup(name);
  EXPECT_FALSE(CORBA::is_nil(c)) << name;
  return T::_narrow(c);
}

TEST_F(IrServerE2E, VersionOfBothPrograms) {
  ProcessResult server = run_irserver({"--version"});
  ProcessResult client = run_process({irctl_path(), "--version"});
  std::regex version(
      "(irserver|irctl) [0-9]+\\.[0-9]+\\.[0-9]+"
      "( \\(commit [0-9a-f]+\\))?\n");
  EXPECT_TRUE(std::regex_match(server.out, version)) << server.describe();
  EXPECT_TRUE(std::regex_match(client.out, version)) << client.describe();
  // The same build, the same version.
  EXPECT_EQ(server.out.substr(9), client.out.substr(6));
  EXPECT_EQ(server.status(), 0);
  EXPECT_EQ(client.status(), 0);
}

TEST_F(IrServerE2E, ConfigurationFileConfiguresAndTheCommandLineWins) {
  Guarded([&] {
    IrServerProcess server;
    std::string conf = server.dir() + "/irserver.conf";
    std::string ior = server.dir() + "/ir.ior";
    std::string log = server.dir() + "/irserver.log";
    // The file names another database and port: the harness's --db and
    // --endpoint win, and its ready line checks that they did.
    write_text(conf,
               "# test configuration\n"
               "db = " +
                   server.dir() +
                   "/other.db\n"
                   "endpoint = " +
                   endpoint(free_tcp_port()) +
                   "\n"
                   "ior-file = " +
                   ior +
                   "\n"
                   "log = " +
                   log +
                   "\n"
                   "log-requests = yes\n"
                   "orb.traceLevel = 1\n");
    server.extra_args = {"--config", conf};
    ASSERT_EQ(server.start(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    CORBA::Contained_var(root->lookup_id("IDL:Object:1.0"));
    EXPECT_EQ(read_file(ior).rfind("IOR:", 0), 0u);
    EXPECT_TRUE(wait_for_text(log, "op=lookup_id")) << read_file(log);
    server.stop();
    EXPECT_FALSE(fs::exists(server.dir() + "/other.db"));

    // A bad file is refused with its name and line, before anything
    // starts.
    write_text(conf, "db = x.db\nwriters = everyone\n");
    ProcessResult r = run_irserver({"--config", conf});
    EXPECT_EQ(r.status(), 2) << r.describe();
    EXPECT_EQ(r.err, "irserver: " + conf +
                         ":2: bad value for 'writers': 'everyone' is not "
                         "an IPv4 or IPv6 address\n");
    EXPECT_EQ(r.out, "");
  });
}

// Every reference a changing operation is driven on.
struct Targets {
  IRExt::Repository_var root;
  CORBA::ModuleDef_var module;
  CORBA::InterfaceDef_var base, itf;
  CORBA::AbstractInterfaceDef_var abstract_itf;
  CORBA::AttributeDef_var attribute;
  CORBA::OperationDef_var operation;
  CORBA::StructDef_var structure;
  CORBA::UnionDef_var union_def;
  CORBA::EnumDef_var enumeration;
  CORBA::AliasDef_var alias, array_alias;
  CORBA::ExceptionDef_var exception;
  CORBA::ConstantDef_var constant;
  CORBA::NativeDef_var native;
  CORBA::ValueDef_var value;
  CORBA::ValueMemberDef_var member;
  CORBA::ValueBoxDef_var box;
  CORBA::SequenceDef_var sequence;
  CORBA::StringDef_var bounded_string;
  CORBA::ArrayDef_var array;
  CORBA::PrimitiveDef_var long_type;
};

Targets find_targets(IRExt::Repository_ptr root) {
  Targets t;
  t.root = IRExt::Repository::_duplicate(root);
  t.module = narrow_at<CORBA::ModuleDef>(t.root, "::W");
  t.base = narrow_at<CORBA::InterfaceDef>(t.root, "::W::Base");
  t.itf = narrow_at<CORBA::InterfaceDef>(t.root, "::W::I");
  t.abstract_itf = narrow_at<CORBA::AbstractInterfaceDef>(t.root, "::W::A");
  t.attribute = narrow_at<CORBA::AttributeDef>(t.root, "::W::I::a");
  t.operation = narrow_at<CORBA::OperationDef>(t.root, "::W::I::op");
  t.structure = narrow_at<CORBA::StructDef>(t.root, "::W::S");
  t.union_def = narrow_at<CORBA::UnionDef>(t.root, "::W::U");
  t.enumeration = narrow_at<CORBA::EnumDef>(t.root, "::W::Colour");
  t.alias = narrow_at<CORBA::AliasDef>(t.root, "::W::Alias");
  t.array_alias = narrow_at<CORBA::AliasDef>(t.root, "::W::Arr");
  t.exception = narrow_at<CORBA::ExceptionDef>(t.root, "::W::Fail");
  t.constant = narrow_at<CORBA::ConstantDef>(t.root, "::W::C");
  t.native = narrow_at<CORBA::NativeDef>(t.root, "::W::N");
  t.value = narrow_at<CORBA::ValueDef>(t.root, "::W::V");
  t.member = narrow_at<CORBA::ValueMemberDef>(t.root, "::W::V::m");
  t.box = narrow_at<CORBA::ValueBoxDef>(t.root, "::W::Box");
  CORBA::StructMemberSeq_var members = t.structure->members();
  t.sequence = CORBA::SequenceDef::_narrow(members[1].type_def);
  t.bounded_string = CORBA::StringDef::_narrow(members[2].type_def);
  CORBA::IDLType_var array_type = t.array_alias->original_type_def();
  t.array = CORBA::ArrayDef::_narrow(array_type);
  t.long_type = t.root->get_primitive(CORBA::pk_long);
  return t;
}

TEST_F(IrServerE2E, WritersListRefusesEveryChangeFromOtherClients) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    feed_service_idl(server);
    std::string before = repository_idl(server);
    ASSERT_NE(before.find("valuetype V"), std::string::npos) << before;
    server.stop();

    // This client (127.0.0.1) is not in the list.
    std::string log = server.dir() + "/irserver.log";
    server.extra_args = {"--writers", "10.0.0.0/8", "--log", log};
    ASSERT_EQ(server.start(), "");
    IRExt::Repository_var ext = ext_repository_at(server.corbaloc());
    Targets t = find_targets(ext);
    ASSERT_FALSE(CORBA::is_nil(t.sequence));
    ASSERT_FALSE(CORBA::is_nil(t.bounded_string));
    ASSERT_FALSE(CORBA::is_nil(t.array));

    CORBA::Any seven;
    seven <<= static_cast<CORBA::Long>(7);
    CORBA::StructMemberSeq struct_members;
    struct_members.length(1);
    struct_members[0].name = CORBA::string_dup("x");
    struct_members[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    struct_members[0].type_def = CORBA::IDLType::_duplicate(t.long_type);
    CORBA::UnionMemberSeq union_members;
    union_members.length(1);
    union_members[0].name = CORBA::string_dup("l");
    union_members[0].label <<= static_cast<CORBA::Long>(1);
    union_members[0].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    union_members[0].type_def = CORBA::IDLType::_duplicate(t.long_type);
    CORBA::EnumMemberSeq enum_members;
    enum_members.length(1);
    enum_members[0] = CORBA::string_dup("blue");
    CORBA::InterfaceDefSeq no_bases;
    CORBA::AbstractInterfaceDefSeq no_abstract_bases;
    CORBA::ValueDefSeq no_values;
    CORBA::InitializerSeq no_initializers;
    CORBA::ParDescriptionSeq no_params;
    CORBA::ExceptionDefSeq no_exceptions;
    CORBA::ContextIdSeq no_contexts;
    CORBA::ValueDef_var no_value;

    const struct {
      const char* operation;
      std::function<void()> call;
    } changes[] = {
        {"create_module",
         [&] {
           CORBA::ModuleDef_var(t.root->create_module("IDL:X:1.0", "X", "1.0"));
         }},
        {"create_constant",
         [&] {
           CORBA::ConstantDef_var(t.module->create_constant(
               "IDL:W/X:1.0", "X", "1.0", t.long_type, seven));
         }},
        {"create_struct",
         [&] {
           CORBA::StructDef_var(t.module->create_struct("IDL:W/X:1.0", "X",
                                                        "1.0", struct_members));
         }},
        {"create_union",
         [&] {
           CORBA::UnionDef_var(t.module->create_union(
               "IDL:W/X:1.0", "X", "1.0", t.long_type, union_members));
         }},
        {"create_enum",
         [&] {
           CORBA::EnumDef_var(
               t.module->create_enum("IDL:W/X:1.0", "X", "1.0", enum_members));
         }},
        {"create_alias",
         [&] {
           CORBA::AliasDef_var(
               t.module->create_alias("IDL:W/X:1.0", "X", "1.0", t.long_type));
         }},
        {"create_interface",
         [&] {
           CORBA::InterfaceDef_var(
               t.module->create_interface("IDL:W/X:1.0", "X", "1.0", no_bases));
         }},
        {"create_value",
         [&] {
           CORBA::ValueDef_var(t.module->create_value(
               "IDL:W/X:1.0", "X", "1.0", false, false, no_value, false,
               no_values, no_bases, no_initializers));
         }},
        {"create_value_box",
         [&] {
           CORBA::ValueBoxDef_var(t.module->create_value_box(
               "IDL:W/X:1.0", "X", "1.0", t.long_type));
         }},
        {"create_exception",
         [&] {
           CORBA::ExceptionDef_var(t.module->create_exception(
               "IDL:W/X:1.0", "X", "1.0", struct_members));
         }},
        {"create_native",
         [&] {
           CORBA::NativeDef_var(
               t.module->create_native("IDL:W/X:1.0", "X", "1.0"));
         }},
        {"create_abstract_interface",
         [&] {
           CORBA::AbstractInterfaceDef_var(t.root->create_abstract_interface(
               "IDL:X:1.0", "X", "1.0", no_abstract_bases));
         }},
        {"create_string",
         [&] { CORBA::StringDef_var(t.root->create_string(5)); }},
        {"create_wstring",
         [&] { CORBA::WstringDef_var(t.root->create_wstring(5)); }},
        {"create_sequence",
         [&] {
           CORBA::SequenceDef_var(t.root->create_sequence(0, t.long_type));
         }},
        {"create_array",
         [&] { CORBA::ArrayDef_var(t.root->create_array(2, t.long_type)); }},
        {"create_fixed",
         [&] { CORBA::FixedDef_var(t.root->create_fixed(5, 2)); }},
        {"create_attribute",
         [&] {
           CORBA::AttributeDef_var(t.itf->create_attribute(
               "IDL:W/I/x:1.0", "x", "1.0", t.long_type, CORBA::ATTR_NORMAL));
         }},
        {"create_operation",
         [&] {
           CORBA::OperationDef_var(t.itf->create_operation(
               "IDL:W/I/x:1.0", "x", "1.0", t.long_type, CORBA::OP_NORMAL,
               no_params, no_exceptions, no_contexts));
         }},
        {"create_value_member",
         [&] {
           CORBA::ValueMemberDef_var(t.value->create_value_member(
               "IDL:W/V/x:1.0", "x", "1.0", t.long_type, CORBA::PUBLIC_MEMBER));
         }},
        {"create_attribute",
         [&] {
           CORBA::AttributeDef_var(t.value->create_attribute(
               "IDL:W/V/x:1.0", "x", "1.0", t.long_type, CORBA::ATTR_NORMAL));
         }},
        {"create_operation",
         [&] {
           CORBA::OperationDef_var(t.value->create_operation(
               "IDL:W/V/x:1.0", "x", "1.0", t.long_type, CORBA::OP_NORMAL,
               no_params, no_exceptions, no_contexts));
         }},
        {"_set_id", [&] { t.structure->id("IDL:W/S2:1.0"); }},
        {"_set_name", [&] { t.structure->name("S2"); }},
        {"_set_version", [&] { t.structure->version("2.0"); }},
        {"move", [&] { t.structure->move(t.root, "S", "1.0"); }},
        {"destroy", [&] { t.enumeration->destroy(); }},
        {"destroy", [&] { t.module->destroy(); }},
        {"_set_base_interfaces", [&] { t.itf->base_interfaces(no_bases); }},
        {"_set_base_interfaces",
         [&] { t.abstract_itf->base_interfaces(no_bases); }},
        {"_set_type_def", [&] { t.attribute->type_def(t.long_type); }},
        {"_set_mode", [&] { t.attribute->mode(CORBA::ATTR_READONLY); }},
        {"_set_result_def", [&] { t.operation->result_def(t.long_type); }},
        {"_set_params", [&] { t.operation->params(no_params); }},
        {"_set_mode", [&] { t.operation->mode(CORBA::OP_ONEWAY); }},
        {"_set_contexts", [&] { t.operation->contexts(no_contexts); }},
        {"_set_exceptions", [&] { t.operation->exceptions(no_exceptions); }},
        {"_set_members", [&] { t.structure->members(struct_members); }},
        {"_set_members", [&] { t.union_def->members(union_members); }},
        {"_set_discriminator_type_def",
         [&] { t.union_def->discriminator_type_def(t.long_type); }},
        {"_set_members", [&] { t.enumeration->members(enum_members); }},
        {"_set_original_type_def",
         [&] { t.alias->original_type_def(t.long_type); }},
        {"_set_members", [&] { t.exception->members(struct_members); }},
        {"_set_type_def", [&] { t.constant->type_def(t.long_type); }},
        {"_set_value", [&] { t.constant->value(seven); }},
        {"_set_supported_interfaces",
         [&] { t.value->supported_interfaces(no_bases); }},
        {"_set_initializers", [&] { t.value->initializers(no_initializers); }},
        {"_set_base_value", [&] { t.value->base_value(no_value); }},
        {"_set_abstract_base_values",
         [&] { t.value->abstract_base_values(no_values); }},
        {"_set_is_abstract", [&] { t.value->is_abstract(true); }},
        {"_set_is_custom", [&] { t.value->is_custom(true); }},
        {"_set_is_truncatable", [&] { t.value->is_truncatable(true); }},
        {"_set_type_def", [&] { t.member->type_def(t.long_type); }},
        {"_set_access", [&] { t.member->access(CORBA::PRIVATE_MEMBER); }},
        {"_set_original_type_def",
         [&] { t.box->original_type_def(t.long_type); }},
        {"_set_bound", [&] { t.sequence->bound(9); }},
        {"_set_element_type_def",
         [&] { t.sequence->element_type_def(t.long_type); }},
        {"_set_bound", [&] { t.bounded_string->bound(9); }},
        {"_set_length", [&] { t.array->length(9); }},
        {"_set_element_type_def",
         [&] { t.array->element_type_def(t.long_type); }},
        {"ext_set_comment",
         [&] {
           IRExt::Contained_var c = IRExt::Contained::_narrow(t.structure);
           c->ext_set_comment("changed");
         }},
        {"ext_beginUserTransaction",
         [&] { t.root->ext_beginUserTransaction(); }},
        {"ext_endUserTransaction", [&] { t.root->ext_endUserTransaction(); }},
        {"ext_cancelUserTransaction",
         [&] { t.root->ext_cancelUserTransaction(); }},
        {"ext_backup", [&] { CORBA::String_var(t.root->ext_backup()); }},
    };
    for (const auto& change : changes) {
      SCOPED_TRACE(change.operation);
      try {
        change.call();
        ADD_FAILURE() << "allowed";
      } catch (const CORBA::NO_PERMISSION& e) {
        EXPECT_EQ(e.minor(), kMinorNotAWriter);
      } catch (const CORBA::Exception& e) {
        ADD_FAILURE() << "raised CORBA::" << e._name() << " instead";
      }
      // The log names the operation and the client's address.
      EXPECT_TRUE(wait_for_text(
          log, std::string("refused ") + change.operation + " on "))
          << read_file(log);
    }
    EXPECT_NE(read_file(log).find("from 127.0.0.1 "), std::string::npos);

    // Reads stay open, including those that call other servants inside
    // the server.
    IRExt::InterfaceDef_var ext_itf = IRExt::InterfaceDef::_narrow(t.itf);
    IRExt::ExtFullInterfaceDescription_var full =
        ext_itf->describe_ext_interface();
    EXPECT_EQ(full->operations.length(), 2u);  // ping inherited, op
    CORBA::ContainedSeq_var contents = t.module->contents(CORBA::dk_all, false);
    EXPECT_EQ(contents->length(), 13u);
    CORBA::TypeCode_var tc = t.structure->type();
    EXPECT_EQ(tc->member_count(), 3u);
    IRExt::ExtServerInfo_var info = t.root->ext_server_info();
    EXPECT_TRUE(info->healthy);
    server.stop();

    // Nothing changed, and no backup was written.
    server.extra_args.clear();
    ASSERT_EQ(server.start(), "");
    EXPECT_EQ(repository_idl(server), before);
    EXPECT_FALSE(fs::exists(server.dir() + "/backups"));

    // An address list that holds this client lets it write again.
    server.stop();
    server.extra_args = {"--writers", "10.0.0.0/8,127.0.0.1"};
    ASSERT_EQ(server.start(), "");
    IRExt::Repository_var ext2 = ext_repository_at(server.corbaloc());
    Targets again = find_targets(ext2);
    again.structure->version("2.0");
    CORBA::String_var version = again.structure->version();
    EXPECT_STREQ(version.in(), "2.0");
  });
}

TEST_F(IrServerE2E, BackupWhileServingAndRestoreFromIt) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    feed_service_idl(server);
    std::string idl = repository_idl(server);
    IRExt::Repository_var root = ext_repository_at(server.corbaloc());

    CORBA::String_var first = root->ext_backup();
    CORBA::String_var second = root->ext_backup();
    std::string backups = server.dir() + "/backups/";
    for (const char* path : {first.in(), second.in()}) {
      EXPECT_EQ(std::string(path).rfind(backups, 0), 0u) << path;
      EXPECT_TRUE(
          std::regex_match(fs::path(path).filename().string(),
                           std::regex("ir-[0-9]{8}T[0-9]{6}Z(-[0-9]+)?\\.db")))
          << path;
      EXPECT_TRUE(fs::is_regular_file(path)) << path;
    }
    EXPECT_STRNE(first.in(), second.in());
    // Only the copies are there: no temporary file is left.
    int files = 0;
    for (const auto& entry : fs::directory_iterator(backups)) {
      (void)entry;
      ++files;
    }
    EXPECT_EQ(files, 2);

    // A backup is refused while a user transaction is open (its changes
    // are not committed), and works again after it.
    root->ext_beginUserTransaction();
    EXPECT_THROW(CORBA::String_var(root->ext_backup()), CORBA::INTF_REPOS);
    root->ext_cancelUserTransaction();

    // The copy passes the offline check while the server still runs.
    ProcessResult check = run_irserver({"--check", first.in()});
    EXPECT_EQ(check.status(), 0) << check.describe();

    // Restore: the copy in place of another server's database.
    IrServerProcess restored;
    fs::copy_file(first.in(), restored.db_path);
    ASSERT_EQ(restored.start(), "");
    EXPECT_EQ(repository_idl(restored), idl);
    IRExt::Repository_var again = ext_repository_at(restored.corbaloc());
    CORBA::ContainedSeq_var all = again->ext_find_objects("*", "", false, "");
    CORBA::ContainedSeq_var orig = root->ext_find_objects("*", "", false, "");
    EXPECT_EQ(all->length(), orig->length());
    EXPECT_GT(all->length(), 20u);
    restored.stop();

    // A read-only server backs up too, into --backup-dir.
    server.stop();
    std::string elsewhere = server.dir() + "/elsewhere";
    server.extra_args = {"--read-only", "--backup-dir", elsewhere};
    ASSERT_EQ(server.start(), "");
    root = ext_repository_at(server.corbaloc());
    CORBA::String_var third = root->ext_backup();
    EXPECT_EQ(fs::path(third.in()).parent_path(), fs::path(elsewhere));
    EXPECT_TRUE(fs::is_regular_file(third.in()));
    server.stop();

    // A backup directory that cannot be made fails cleanly.
    write_text(server.dir() + "/blocked", "a file, not a directory");
    server.extra_args = {"--backup-dir", server.dir() + "/blocked/sub"};
    ASSERT_EQ(server.start(), "");
    root = ext_repository_at(server.corbaloc());
    EXPECT_THROW(CORBA::String_var(root->ext_backup()), CORBA::PERSIST_STORE);
    CORBA::Contained_var still = root->lookup("::W::I");
    EXPECT_FALSE(CORBA::is_nil(still));
  });
}

TEST_F(IrServerE2E, CheckVerifiesDatabasesOffline) {
  TempDir dir;
  std::string sound = dir.file("sound.db");
  {
    IrServerProcess server;
    server.db_path = sound;
    ASSERT_EQ(server.start(), "");
    feed_service_idl(server);
    // While the server holds it, the database is in use.
    ProcessResult busy = run_irserver({"--check", sound});
    EXPECT_EQ(busy.status(), 1) << busy.describe();
    EXPECT_NE(busy.err.find("in use"), std::string::npos) << busy.err;
    server.stop();
  }
  ProcessResult ok = run_irserver({"--check", sound});
  EXPECT_EQ(ok.status(), 0) << ok.describe();
  EXPECT_EQ(ok.err, "");
  std::vector<std::string> lines = text_lines(ok.out);
  ASSERT_FALSE(lines.empty());
  EXPECT_TRUE(std::regex_match(
      lines[0], std::regex(".*sound\\.db: sound, format [0-9]+, [0-9]+ "
                           "definitions, [0-9]+ links")))
      << lines[0];
  for (const char* kind : {"  Interface ", "  Struct ", "  ValueBox ",
                           "  Operation ", "  AbstractInterface "})
    EXPECT_NE(ok.out.find(kind), std::string::npos) << kind << ok.out;

  // Faults, each to a copy of the sound file.
  std::string bytes = read_file(sound);
  ASSERT_GT(bytes.size(), 8192u);
  const struct {
    const char* what;
    std::function<void(const std::string&)> make;
    const char* reason;
  } cases[] = {
      {"missing", [](const std::string&) {}, "does not exist"},
      {"not a database",
       [](const std::string& p) { write_text(p, std::string(9000, 'x')); },
       "is not a database"},
      {"damaged header",
       [&](const std::string& p) {
         write_text(p, std::string(100, '\xa5') + bytes.substr(100));
       },
       "not a database"},
      {"damaged page",
       [&](const std::string& p) {
         std::string damaged = bytes;
         for (std::size_t i = 4096 + 8; i < 4096 + 64; ++i) damaged[i] = '\x7f';
         write_text(p, damaged);
       },
       "is damaged"},
      {"not ours",
       [](const std::string& p) { run_sql(p, "CREATE TABLE t(x)"); },
       "is not an interface repository database"},
      {"newer format",
       [&](const std::string& p) {
         write_text(p, bytes);
         run_sql(p, "PRAGMA user_version = 999");
       },
       "newer version (format 999"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    std::string path = dir.file(std::string("case-") + c.what);
    c.make(path);
    ProcessResult r = run_irserver({"--check", path});
    EXPECT_EQ(r.status(), 1) << r.describe();
    EXPECT_EQ(r.out, "");
    ASSERT_EQ(text_lines(r.err).size(), 1u) << r.err;
    EXPECT_EQ(r.err.rfind("irserver: check failed: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
  }
  // The check changed nothing.
  EXPECT_EQ(read_file(sound), bytes);
}

TEST_F(IrServerE2E, ServerInfoAnswersHealthChecks) {
  Guarded([&] {
    IrServerProcess server;
    ASSERT_EQ(server.start(), "");
    IRExt::Repository_var root = ext_repository_at(server.corbaloc());
    IRExt::ExtServerInfo_var empty = root->ext_server_info();
    EXPECT_EQ(empty->definitions, 1u);  // Object
    feed_service_idl(server);
    IRExt::ExtServerInfo_var info = root->ext_server_info();
    ProcessResult version = run_irserver({"--version"});
    EXPECT_EQ("irserver " + std::string(info->version.in()) + "\n",
              version.out);
    EXPECT_EQ(std::string(info->database.in()),
              fs::path(server.db_path).lexically_normal().string());
    EXPECT_FALSE(info->read_only);
    EXPECT_TRUE(info->healthy);
    EXPECT_STREQ(info->status.in(), "ok");
    CORBA::ContainedSeq_var all = root->ext_find_objects("*", "", false, "");
    EXPECT_EQ(info->definitions, all->length());
    EXPECT_LT(info->uptime_seconds, 60u);
    server.stop();

    server.extra_args = {"--read-only"};
    ASSERT_EQ(server.start(), "");
    info = root->ext_server_info();
    EXPECT_TRUE(info->read_only);
    EXPECT_TRUE(info->healthy);
    EXPECT_EQ(info->definitions, all->length());
  });
}

TEST_F(IrServerE2E, RequestLogAndSighupReopeningTheLog) {
  Guarded([&] {
    IrServerProcess server;
    std::string log = server.dir() + "/irserver.log";
    server.extra_args = {"--log", log, "--log-requests"};
    ASSERT_EQ(server.start(), "");
    CORBA::Repository_var root = repository_at(server.corbaloc());
    CORBA::ModuleDef_var(root->create_module("IDL:L:1.0", "L", "1.0"));
    EXPECT_THROW(
        CORBA::ModuleDef_var(root->create_module("IDL:L:1.0", "L", "1.0")),
        CORBA::BAD_PARAM);
    CORBA::Contained_var l = root->lookup("::L");
    CORBA::String_var name = l->name();
    ASSERT_TRUE(wait_for_text(log, "op=_get_name"));

    // Rotation: the file is moved away, SIGHUP makes a new one.
    std::string rotated = log + ".1";
    fs::rename(log, rotated);
    server.send_signal(SIGHUP);
    ASSERT_TRUE(wait_for_text(log, "log reopened")) << read_file(rotated);
    CORBA::Contained_var(root->lookup_id("IDL:L:1.0"));
    ASSERT_TRUE(wait_for_text(log, "op=lookup_id"));
    server.stop();

    const std::string line =
        "irserver: .*request [0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:"
        "[0-9]{2}\\.[0-9]{3}Z client=127\\.0\\.0\\.1:[0-9]+ ";
    std::string old_text = read_file(rotated), new_text = read_file(log);
    EXPECT_TRUE(std::regex_search(
        old_text, std::regex(line + "op=create_module target=Repository "
                                    "ms=[0-9]+\\.[0-9]{3} outcome=ok\n")))
        << old_text;
    EXPECT_TRUE(std::regex_search(
        old_text,
        std::regex(line + "op=create_module target=Repository "
                          "ms=[0-9.]+ outcome=BAD_PARAM/0x[0-9a-f]{8}\n")))
        << old_text;
    EXPECT_TRUE(std::regex_search(
        old_text,
        std::regex(line + "op=_get_name target=IDL:L:1\\.0 ms=[0-9.]+ "
                          "outcome=ok\n")))
        << old_text;
    EXPECT_EQ(old_text.find("op=lookup_id target=Repository ms"),
              std::string::npos);
    EXPECT_NE(new_text.find("op=lookup_id target=Repository ms"),
              std::string::npos)
        << new_text;
    EXPECT_NE(new_text.find("stopped on SIGTERM"), std::string::npos);
  });
}

// A socket in the place of systemd's notification socket.
class NotifySocket {
 public:
  explicit NotifySocket(const std::string& path) : path_(path) {
    fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    path.copy(addr.sun_path, sizeof addr.sun_path - 1);
    bound_ = fd_ >= 0 &&
             bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
    timeval timeout{10, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  }
  ~NotifySocket() {
    if (fd_ >= 0) close(fd_);
    unlink(path_.c_str());
  }
  bool bound() const { return bound_; }
  // The next message, or "" after 10 s.
  std::string receive() {
    char buffer[4096];
    ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
    return n > 0 ? std::string(buffer, static_cast<std::size_t>(n)) : "";
  }

 private:
  std::string path_;
  int fd_ = -1;
  bool bound_ = false;
};

TEST_F(IrServerE2E, TellsSystemdWhenReadyAndWhenStopping) {
  Guarded([&] {
    IrServerProcess server;
    NotifySocket notify(server.dir() + "/notify");
    ASSERT_TRUE(notify.bound());
    setenv("NOTIFY_SOCKET", (server.dir() + "/notify").c_str(), 1);
    std::string started = server.start();
    unsetenv("NOTIFY_SOCKET");
    ASSERT_EQ(started, "");
    std::string ready = notify.receive();
    EXPECT_EQ(ready.rfind("READY=1\n", 0), 0u) << ready;
    EXPECT_NE(ready.find("STATUS=irserver: ready " + server.corbaloc()),
              std::string::npos)
        << ready;
    // Ready means serving.
    CORBA::Repository_var root = repository_at(server.corbaloc());
    EXPECT_EQ(root->def_kind(), CORBA::dk_Repository);
    server.stop();
    EXPECT_EQ(notify.receive(), "STOPPING=1");
  });
}

}  // namespace

namespace {

// omniORB's SSL transport, loaded because the endpoint asks for it: the
// ready line shows the ssliop URL, irctl reaches the server through it,
// and the writers list applies to SSL clients like to any other.
TEST_F(IrServerE2E, ServesOverSslWhenTheEndpointAsksForIt) {
  TempDir dir;
  std::string key = dir.file("server.pem"), cert = dir.file("cert.pem");
  ProcessResult made = run_process(
      {"openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
       key, "-out", cert, "-days", "2", "-subj", "/CN=127.0.0.1"});
  ASSERT_EQ(made.status(), 0) << made.describe();
  write_text(key, read_file(key) + read_file(cert));
  int port = free_tcp_port();
  std::vector<std::string> ssl = {"-ORBsslKeyFile",     key,
                                  "-ORBsslKeyPassword", "unused",
                                  "-ORBsslCAFile",      cert};
  std::vector<std::string> argv = {irserver_path(),
                                   "--db",
                                   dir.file("ir.db"),
                                   "--endpoint",
                                   "giop:ssl:127.0.0.1:" + std::to_string(port),
                                   "--http",
                                   "off"};
  argv.insert(argv.end(), ssl.begin(), ssl.end());
  pid_t pid = spawn_to_files(argv, dir.file("out"), dir.file("err"));
  ASSERT_GT(pid, 0);
  std::string problem;
  std::string ready = first_line(dir.file("out"), pid, 20000, &problem);
  std::string url = "corbaloc:ssliop:127.0.0.1:" + std::to_string(port) +
                    "/InterfaceRepository";
  EXPECT_EQ(ready,
            "irserver: ready " + url + " (database " + dir.file("ir.db") + ")")
      << problem;
  EXPECT_EQ(read_file(dir.file("err")), "");

  write_text(dir.file("s.idl"), "module OverSsl { struct P { long x; }; };\n");
  auto irctl_ssl = [&](const std::vector<std::string>& args) {
    std::vector<std::string> cmd = {irctl_path(), "--ir", url};
    cmd.insert(cmd.end(), ssl.begin(), ssl.end());
    cmd.insert(cmd.end(), args.begin(), args.end());
    return run_process(cmd);
  };
  ProcessResult fed = irctl_ssl({"feed", dir.file("s.idl")});
  EXPECT_EQ(fed.status(), 0) << fed.describe();
  ProcessResult listed = irctl_ssl({"ls"});
  EXPECT_EQ(listed.status(), 0) << listed.describe();
  EXPECT_NE(listed.out.find("OverSsl"), std::string::npos) << listed.out;
  kill(pid, SIGTERM);
  ProcessResult end = wait_for_process(pid, 20000);
  EXPECT_EQ(end.status(), 0) << end.describe();
}

}  // namespace
