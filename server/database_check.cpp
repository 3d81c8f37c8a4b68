#include "database_check.h"

#include <omniORB4/CORBA.h>

#include <cstdio>

#include "client/corba_text.h"
#include "store/irdb.h"

int run_database_check(const std::string& path, std::ostream& out,
                       std::ostream& err) {
  IRDB::CheckReport report = IRDB::Check(path);
  if (!report.sound) {
    err << "irserver: check failed: " << report.problem << std::endl;
    return 1;
  }
  long long definitions = 0;
  for (const auto& k : report.kinds) definitions += k.second;
  out << path << ": sound, format " << report.format << ", " << definitions
      << (definitions == 1 ? " definition, " : " definitions, ") << report.links
      << (report.links == 1 ? " link" : " links") << "\n";
  for (const auto& k : report.kinds) {
    char line[80];
    std::snprintf(
        line, sizeof line, "  %-18s %lld\n",
        kind_name(static_cast<CORBA::DefinitionKind>(k.first)).c_str(),
        k.second);
    out << line;
  }
  out.flush();
  return 0;
}
