// irserver --check FILE: verifies a database offline and reports it.
#ifndef IR_SERVER_DATABASE_CHECK_H
#define IR_SERVER_DATABASE_CHECK_H

#include <ostream>
#include <string>

// Checks the database `path` (see IRDB::Check) without changing it.
// When it is sound, prints a summary on `out` (the file, its format, the
// number of definitions and links, then one line per kind) and returns 0;
// otherwise prints one line "irserver: check failed: REASON" on `err`
// and returns 1.
int run_database_check(const std::string& path, std::ostream& out,
                       std::ostream& err);

#endif
