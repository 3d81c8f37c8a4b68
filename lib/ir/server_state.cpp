#include "ir/server_state.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "ir/irobj.h"
#include "platform/qor_log.h"
#include "platform/version.h"

namespace {

const char kFile[] = "lib/ir/server_state";

IrServerFacts& facts() {
  static IrServerFacts the_facts;
  return the_facts;
}

// Creates `dir` and its missing parents (mode 0750); "" or why not.
std::string make_directory(const std::string& dir) {
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) return ec.message();
  struct stat st;
  if (stat(dir.c_str(), &st) != 0) return std::strerror(errno);
  if (!S_ISDIR(st.st_mode)) return "not a directory";
  return std::string();
}

}  // namespace

void ir_set_server_facts(const IrServerFacts& f) { facts() = f; }

const IrServerFacts& ir_server_facts() { return facts(); }

IRExt::ExtServerInfo* ir_server_info(IRStore* store) {
  const IrServerFacts& f = facts();
  IRExt::ExtServerInfo_var info = new IRExt::ExtServerInfo;
  info->version = CORBA::string_dup(
      (f.version.empty() ? ir_version_text() : f.version).c_str());
  info->database = CORBA::string_dup(f.database.c_str());
  info->read_only = f.read_only || (store && store->IRReadOnly());
  info->definitions = 0;
  std::string status;
  try {
    if (!store) throw IRStore::Exception(IRStore::kBadState, "no store");
    info->definitions =
        static_cast<CORBA::ULongLong>(store->IRCountDefinitions());
  } catch (const IRStore::Exception& e) {
    status = "the store does not answer: " + e.text();
  }
  if (status.empty() && store) {
    // A failed integrity check of the whole file (run in the background
    // for large databases) stops every change: the server is not healthy.
    std::string detail;
    if (store->IRIntegrity(&detail) == IRStore::Integrity::kFailed)
      status = "the database is damaged: " + detail;
  }
  for (const auto& check : f.health_checks) {
    if (!status.empty()) break;
    status = check();
  }
  info->healthy = status.empty();
  info->status = CORBA::string_dup(status.empty() ? "ok" : status.c_str());
  auto up = std::chrono::steady_clock::now() - f.started;
  info->uptime_seconds = static_cast<CORBA::ULongLong>(
      std::chrono::duration_cast<std::chrono::seconds>(up).count());
  return info._retn();
}

std::string ir_backup_file_name(const std::string& database,
                                std::chrono::system_clock::time_point when,
                                int n) {
  std::string stem = std::filesystem::path(database).stem().string();
  if (stem.empty()) stem = "ir";
  std::time_t t = std::chrono::system_clock::to_time_t(when);
  std::tm utc;
  gmtime_r(&t, &utc);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y%m%dT%H%M%SZ", &utc);
  std::string name = stem + "-" + stamp;
  if (n >= 2) name += "-" + std::to_string(n);
  return name + ".db";
}

char* ir_backup(IRStore* store) {
  const IrServerFacts& f = facts();
  if (f.backup_dir.empty() || !store) {
    QORLogError(kFile, __LINE__,
                "IRExt::Repository::ext_backup: no backup directory");
    throw CORBA::NO_PERMISSION(0, CORBA::COMPLETED_NO);
  }
  std::string problem = make_directory(f.backup_dir);
  if (!problem.empty()) {
    std::string text = "IRExt::Repository::ext_backup: cannot create " +
                       f.backup_dir + ": " + problem;
    irobj_parse_throw(IRStore::kStoreFailure, kFile, __LINE__, text.c_str());
  }
  auto now = std::chrono::system_clock::now();
  // Upcalls are serialized: no other backup picks the same name meanwhile.
  for (int n = 1; n < 1000; ++n) {
    std::string path =
        (std::filesystem::path(f.backup_dir) /
         ir_backup_file_name(f.database.empty() ? "ir.db" : f.database, now, n))
            .string();
    try {
      store->IRBackup(path);
      return CORBA::string_dup(path.c_str());
    } catch (const IRStore::Exception& e) {
      if (e.code() == IRStore::kDuplicateId) continue;
      std::string text = "IRExt::Repository::ext_backup: " + e.text();
      irobj_parse_throw(e.code(), kFile, __LINE__, text.c_str());
    }
  }
  irobj_parse_throw(IRStore::kDuplicateId, kFile, __LINE__,
                    "IRExt::Repository::ext_backup: too many backups in one "
                    "second");
}
