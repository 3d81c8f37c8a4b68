// Definitions whose client-chosen texts (ids, names, versions, constant
// values) hold markup and scripts, created over IIOP, for the tests that
// check that the web view shows them as text.
#ifndef IR_TESTS_E2E_HOSTILE_H
#define IR_TESTS_E2E_HOSTILE_H

#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

namespace hostile {

constexpr const char kModuleId[] = "IDL:x/<script>alert(1)</script>:1.0";
constexpr const char kModuleName[] = "M<img src=x onerror=alert(2)>";
constexpr const char kVersion[] = "\"><script>alert(3)</script>";
// Types carry their names in TypeCodes, whose factory wants IDL
// identifiers; ids, operations, constants and modules take anything.
constexpr const char kInterfaceId[] = "IDL:x/I'\"&amp;<i>:1.0";
constexpr const char kOperation[] = "</code><script>alert(4)</script>";
constexpr const char kConstant[] = "C<svg onload=alert(5)>";
constexpr const char kConstantValue[] = "<script>alert(6)</script>";
constexpr const char kComment[] =
    "Read <b>this</b>\n<script>alert(7)</script> & \"that\"";

// Creates, in `repo`: the module (kModuleId, kModuleName, kVersion)
// holding an interface "I" (kInterfaceId) with the operation kOperation,
// and the string constant kConstant = kConstantValue; the module's
// documentation comment is kComment.
void create(CORBA::Repository_ptr repo);

// Every character but letters and digits percent-encoded.
std::string encode(const std::string& text);

// The pages that show them: the module's, the interface's, the
// operation's, the constant's, and searches that list them.
std::vector<std::string> pages();

}  // namespace hostile

#endif
