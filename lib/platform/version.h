// The version of this build, shared by irserver and irctl.
#ifndef IR_PLATFORM_VERSION_H
#define IR_PLATFORM_VERSION_H

#include <string>

// The project's version ("1.0.0").
const char* ir_version();
// The git commit the build was configured from, or "" when unknown.
const char* ir_commit();
// "1.0.0 (commit 0123abcd4567)", or "1.0.0" when the commit is unknown.
std::string ir_version_text();

#endif
