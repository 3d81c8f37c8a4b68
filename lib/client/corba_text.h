// Words for CORBA things that irctl prints: exceptions with their minor
// codes, definition kinds.
#ifndef IR_CLIENT_CORBA_TEXT_H
#define IR_CLIENT_CORBA_TEXT_H

#include <omniORB4/CORBA.h>

#include <string>

// "CORBA::BAD_PARAM (minor 0x51520054: name or repository id already in
// use)": the exception's name, and for a system exception its minor code
// with the repository's words for its own codes and for the standard
// BAD_PARAM conditions, or omniORB's name for omniORB's codes.
std::string exception_text(const CORBA::Exception& e);

// The name of a definition kind as in DefinitionKind without "dk_"
// ("Interface", "AbstractInterface"); "kind N" for an unknown value.
std::string kind_name(CORBA::DefinitionKind kind);

// The kind of a name (case-insensitive, "dk_" optional); false when the
// name is not a kind.
bool kind_from_name(const std::string& name, CORBA::DefinitionKind* kind);

// True for kinds that have contents (the repository, modules, interfaces,
// value types, structs, unions, exceptions).
bool is_container_kind(CORBA::DefinitionKind kind);

#endif
