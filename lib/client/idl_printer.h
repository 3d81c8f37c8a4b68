// Printing (part of) the repository back as IDL that omniidl accepts.
#ifndef IR_CLIENT_IDL_PRINTER_H
#define IR_CLIENT_IDL_PRINTER_H

#include <string>
#include <vector>

#include "client/repository_tree.h"
#include "client/type_text.h"

// Prints the definitions of `tree` as IDL.  The text is a function of the
// repository's contents alone: feeding it into an empty repository and
// printing that again gives the same text.
//
// Definitions come out in the order in which they were created, except
// that a definition that needs another one complete (a base interface, a
// struct used as a member, an alias, ...) is preceded by it, and uses of
// interfaces, value types, and of structs and unions inside sequences,
// before their definitions get forward declarations.  Modules are opened
// again as needed; empty ones cannot be written in IDL and are left out.
// Repository ids that the default rules would not give are written with
// #pragma prefix, #pragma ID and #pragma version.
std::string print_idl(RepositoryTree& tree, AnyCodec& codec);

// The repository ids that the definition `node` and everything below it
// name (bases, types, raised exceptions), each as often as named.
std::vector<std::string> dependency_ids(const TreeNode& node);

#endif
