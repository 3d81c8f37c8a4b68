#include "client/corba_text.h"

#include <cctype>
#include <cstdio>

#include "platform/kald_error.h"

namespace {

constexpr CORBA::ULong kOmgMinorBase = 0x4f4d0000UL;

// The standard conditions of the repository operations, BAD_PARAM with
// the OMG minor codes 1 to 5.
const char* omg_bad_param_words(CORBA::ULong n) {
  switch (n) {
    case 1:
      return "name already used (rename)";
    case 2:
      return "repository id already in use";
    case 3:
      return "name already used in the container";
    case 4:
      return "not a valid type for this use";
    case 5:
      return "inherited operation names clash";
    default:
      return nullptr;
  }
}

const char* const kKindNames[] = {
    "none",      "all",      "Attribute",   "Constant",  "Exception",
    "Interface", "Module",   "Operation",   "Typedef",   "Alias",
    "Struct",    "Union",    "Enum",        "Primitive", "String",
    "Sequence",  "Array",    "Repository",  "Wstring",   "Fixed",
    "Value",     "ValueBox", "ValueMember", "Native",    "AbstractInterface",
};

std::string lower(std::string s) {
  for (char& c : s)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

}  // namespace

std::string exception_text(const CORBA::Exception& e) {
  std::string text = std::string("CORBA::") + e._name();
  const CORBA::SystemException* sys = CORBA::SystemException::_downcast(&e);
  if (!sys) {
    const CORBA::UserException* user = CORBA::UserException::_downcast(&e);
    if (user) text = std::string(e._rep_id());
    return text;
  }
  CORBA::ULong minor = sys->minor();
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%08lx", static_cast<unsigned long>(minor));
  const char* words = kaldMinorWords(minor);
  if (!words && (minor & 0xfffff000UL) == kOmgMinorBase &&
      CORBA::BAD_PARAM::_downcast(&e))
    words = omg_bad_param_words(minor & 0xfffUL);
  if (!words) words = sys->NP_minorString();
  text += std::string(" (minor ") + hex;
  if (words && *words) text += std::string(": ") + words;
  text += ")";
  return text;
}

std::string kind_name(CORBA::DefinitionKind kind) {
  auto k = static_cast<std::size_t>(kind);
  if (k < sizeof kKindNames / sizeof kKindNames[0]) return kKindNames[k];
  return "kind " + std::to_string(k);
}

bool kind_from_name(const std::string& name, CORBA::DefinitionKind* kind) {
  std::string n = lower(name);
  if (n.compare(0, 3, "dk_") == 0) n = n.substr(3);
  for (std::size_t k = 0; k < sizeof kKindNames / sizeof kKindNames[0]; ++k) {
    if (lower(kKindNames[k]) == n) {
      *kind = static_cast<CORBA::DefinitionKind>(k);
      return true;
    }
  }
  return false;
}

bool is_container_kind(CORBA::DefinitionKind kind) {
  switch (kind) {
    case CORBA::dk_Repository:
    case CORBA::dk_Module:
    case CORBA::dk_Interface:
    case CORBA::dk_AbstractInterface:
    case CORBA::dk_Value:
    case CORBA::dk_Struct:
    case CORBA::dk_Union:
    case CORBA::dk_Exception:
      return true;
    default:
      return false;
  }
}
