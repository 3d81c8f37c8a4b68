// What the repository tells about the server that runs it (ext_server_info)
// and the online backup (ext_backup).
//
// The library knows its store; only the server knows its version, when it
// started, its database path and its backup directory.  irserver installs
// those facts once, before it serves requests; a process that installs
// none (a test that holds the repository in-process) gets the library's
// version, an unknown database and no backup directory.
#ifndef IR_IR_SERVER_STATE_H
#define IR_IR_SERVER_STATE_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "irext.hh"
#include "store/irstore.h"

struct IrServerFacts {
  std::string version;   // "" for the library's own version text
  std::string database;  // the database file
  bool read_only = false;
  // Where ext_backup writes; "" refuses backups.
  std::string backup_dir;
  std::chrono::steady_clock::time_point started =
      std::chrono::steady_clock::now();
  // Further health checks, each "" when healthy, else why not; they run
  // under the upcall lock and must be cheap.
  std::vector<std::function<std::string()>> health_checks;
};

// Installs the facts; call before requests are served.
void ir_set_server_facts(const IrServerFacts& facts);
const IrServerFacts& ir_server_facts();

// The answer of ext_server_info for the repository whose store is
// `store`: the store answers a count of the definitions (healthy when it
// does and every health check passes).  Never raises for an unhealthy
// store: that is what the answer says.
IRExt::ExtServerInfo* ir_server_info(IRStore* store);

// ext_backup: writes a copy of the database into the backup directory
// (created when missing) under a new time-stamped name and returns the
// copy's path.  Raises NO_PERMISSION when no backup directory is set,
// and the store's failures as the repository's exceptions.
char* ir_backup(IRStore* store);

// The name of a backup of `database` made at `when`:
// "<stem>-YYYYMMDDTHHMMSSZ.db" ("ir-20260102T101112Z.db" for ir.db),
// with "-N" before ".db" for the N-th copy within one second (N >= 2).
std::string ir_backup_file_name(const std::string& database,
                                std::chrono::system_clock::time_point when,
                                int n);

#endif
