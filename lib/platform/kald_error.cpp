#include "platform/kald_error.h"

#include <string>

#include "platform/qor_log.h"

namespace {

struct CatalogueEntry {
  int number;
  const char* text;
};

const CatalogueEntry kCatalogue[] = {
    {IR_MSG_STORE_OPERATION, "repository store operation failed: %s"},
    {IR_MSG_CLASH, "name or repository id already in use: %s"},
    {IR_MSG_NO_SUCH_OBJECT, "no such definition in the repository: %s"},
    {IR_MSG_STORE_FAILURE, "the repository's persistent store failed: %s"},
    {IR_MSG_BAD_ARGUMENT, "invalid argument or state: %s"},
};

std::string format_message(int msgno, std::initializer_list<KaldArg> inserts) {
  const char* pattern = kaldMessageText(msgno);
  std::string values;
  for (const KaldArg& a : inserts) {
    if (a.tag() == KaldArg::kValue && a.value()) {
      if (!values.empty()) values += ", ";
      values += a.value();
    }
  }
  std::string out = "message " + std::to_string(msgno) + ": ";
  if (!pattern) return out + values;
  std::string p(pattern);
  std::size_t at = p.find("%s");
  if (at == std::string::npos) return out + p;
  return out + p.substr(0, at) + values + p.substr(at + 2);
}

}  // namespace

const char* kaldMessageText(int msgno) {
  for (const CatalogueEntry& e : kCatalogue)
    if (e.number == msgno) return e.text;
  return nullptr;
}

const char* kaldMinorName(CORBA::ULong minor) {
  switch (minor) {
#define IR_MINOR_NAME(name, offset, exc, words) \
  case name:                                    \
    return #name;
    IR_MINOR_CODES(IR_MINOR_NAME)
#undef IR_MINOR_NAME
  }
  if (minor >= kIrMinorBase + kSysErrorOffset &&
      minor < kIrMinorBase + 2 * kSysErrorOffset)
    return "IR_MINOR_SYSTEM_ERROR";
  return nullptr;
}

const char* kaldMinorWords(CORBA::ULong minor) {
  switch (minor) {
#define IR_MINOR_WORDS(name, offset, exc, words) \
  case name:                                     \
    return words;
    IR_MINOR_CODES(IR_MINOR_WORDS)
#undef IR_MINOR_WORDS
  }
  if (minor >= kIrMinorBase + kSysErrorOffset &&
      minor < kIrMinorBase + 2 * kSysErrorOffset)
    return "system call failed";
  return nullptr;
}

void kaldErrorList(CORBA::ULong minor, CORBA::CompletionStatus completion,
                   const char* file, int line, const void*, std::size_t,
                   int msgno, std::initializer_list<KaldArg> inserts) {
  const char* name = kaldMinorName(minor);
  std::string text = std::string(name ? name : "minor") + " (0x";
  static const char kHex[] = "0123456789abcdef";
  for (int shift = 28; shift >= 0; shift -= 4)
    text += kHex[(minor >> shift) & 0xf];
  text += ")";
  if (msgno != IR_MSG_NONE) text += " " + format_message(msgno, inserts);
  QORLogError(file, line, text.c_str());

  switch (minor) {
#define IR_MINOR_THROW(name, offset, exc, words) \
  case name:                                     \
    throw CORBA::exc(minor, completion);
    IR_MINOR_CODES(IR_MINOR_THROW)
#undef IR_MINOR_THROW
  }
  throw CORBA::INTERNAL(minor, completion);
}

CORBA::ULong kaldMapSysError(int error) {
  return kIrMinorBase + kSysErrorOffset +
         (static_cast<CORBA::ULong>(error) & (kSysErrorOffset - 1));
}

void kaldBadArgument(const char* file, int line, const char* text) {
  kaldError(IR_MINOR_BAD_ARGUMENT, CORBA::COMPLETED_NO, file, line, nullptr, 0,
            IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string, text, 0);
}

void kaldNoMemory(const char* file, int line) {
  kaldError(IR_MINOR_NO_MEMORY, CORBA::COMPLETED_NO, file, line, nullptr, 0, 0);
}
