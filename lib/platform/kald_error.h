// Error reporting: every failure that reaches a client leaves through
// kaldError, which logs the message (when one is given) and raises the
// CORBA system exception that belongs to the minor code.
#ifndef IR_PLATFORM_KALD_ERROR_H
#define IR_PLATFORM_KALD_ERROR_H

#include <omniORB4/CORBA.h>

#include <cstddef>
#include <initializer_list>

// The vendor minor-code base of the repository.
constexpr CORBA::ULong kIrMinorBase = 0x51520000UL;

// X(name, offset, exception, words): every minor code of the repository,
// listed once.  `words` is what a client tool prints for the code.
#define IR_MINOR_CODES(X)                                                    \
  X(IR_MINOR_NO_MEMORY, 0x33, NO_MEMORY, "allocation failed")                \
  X(IR_MINOR_NOT_SUPPORTED, 0x34, NO_IMPLEMENT,                              \
    "operation not supported by this kind of definition")                    \
  X(IR_MINOR_BAD_ARGUMENT, 0x48, BAD_PARAM, "invalid argument or state")     \
  X(IR_MINOR_NOTHING_CHANGED, 0x52, INTF_REPOS, "nothing to change")         \
  X(IR_MINOR_BAD_KIND, 0x53, INTF_REPOS,                                     \
    "bad definition kind or store failure")                                  \
  X(IR_MINOR_CLASH, 0x54, BAD_PARAM, "name or repository id already in use") \
  X(IR_MINOR_NO_SUCH_OBJECT, 0x55, INTF_REPOS, "no such definition")         \
  X(IR_MINOR_STORE_FAILURE, 0x56, PERSIST_STORE, "persistent store failure") \
  X(IR_MINOR_NOT_A_WRITER, 0x57, NO_PERMISSION,                              \
    "this client may not change the repository")

enum IrMinorCode : CORBA::ULong {
#define IR_MINOR_ENUM(name, offset, exc, words) name = kIrMinorBase + offset,
  IR_MINOR_CODES(IR_MINOR_ENUM)
#undef IR_MINOR_ENUM
};

// Minor codes made by kaldMapSysError: kIrMinorBase + kSysErrorOffset +
// the system error number; they raise CORBA::INTERNAL.
constexpr CORBA::ULong kSysErrorOffset = 0x1000;

// Message numbers of the catalogue; each takes one string insert.
enum IrMessage : int {
  IR_MSG_NONE = 0,
  IR_MSG_STORE_OPERATION = 1020,
  IR_MSG_CLASH = 1021,
  IR_MSG_NO_SUCH_OBJECT = 1022,
  IR_MSG_STORE_FAILURE = 1023,
  IR_MSG_BAD_ARGUMENT = 1056,
};

// The catalogue text of a message number ("%s" marks the insert), or
// null for an unknown number.
const char* kaldMessageText(int msgno);

// The name and words of a repository minor code, or null when `minor` is
// not one of ours.
const char* kaldMinorName(CORBA::ULong minor);
const char* kaldMinorWords(CORBA::ULong minor);

// One element of kaldError's insert list: the opening and closing 0, a
// TypeCode, or the value that follows it.
class KaldArg {
 public:
  enum Tag { kMark, kTypeCode, kValue };
  KaldArg(int mark) : tag_(kMark), tc_(nullptr), value_(nullptr) { (void)mark; }
  KaldArg(CORBA::TypeCode_ptr tc) : tag_(kTypeCode), tc_(tc), value_(nullptr) {}
  KaldArg(const char* value) : tag_(kValue), tc_(nullptr), value_(value) {}
  Tag tag() const { return tag_; }
  CORBA::TypeCode_ptr typecode() const { return tc_; }
  const char* value() const { return value_; }

 private:
  Tag tag_;
  CORBA::TypeCode_ptr tc_;
  const char* value_;
};

[[noreturn]] void kaldErrorList(CORBA::ULong minor,
                                CORBA::CompletionStatus completion,
                                const char* file, int line, const void* data,
                                std::size_t data_length, int msgno,
                                std::initializer_list<KaldArg> inserts);

// Raises the system exception of `minor` with `completion`.  When
// `msgno` is not 0 the inserts follow as 0, (TypeCode, value)..., 0 and
// the message is logged with them first.  Never returns.
template <class... Inserts>
[[noreturn]] void kaldError(CORBA::ULong minor,
                            CORBA::CompletionStatus completion,
                            const char* file, int line, const void* data,
                            std::size_t data_length, int msgno,
                            Inserts... inserts) {
  kaldErrorList(minor, completion, file, line, data, data_length, msgno,
                {KaldArg(inserts)...});
}

// The minor code for a failed system call (an errno value).
CORBA::ULong kaldMapSysError(int error);

// Shorthands for the common reports: base + 0x48 / 0x53 / 0x54 with one
// string insert, base + 0x33 without message.
[[noreturn]] void kaldBadArgument(const char* file, int line, const char* text);
[[noreturn]] void kaldNoMemory(const char* file, int line);

#endif
