#include "platform/version.h"

// Generated at configure time from project(VERSION) and git.
#include "ir_version.h"

const char* ir_version() { return IR_VERSION; }

const char* ir_commit() { return IR_COMMIT; }

std::string ir_version_text() {
  std::string text = ir_version();
  if (*ir_commit()) text += std::string(" (commit ") + ir_commit() + ")";
  return text;
}
