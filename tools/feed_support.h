// What the parts of irctl's feeder share: the error of one definition,
// the repository kind of a record, and the way the parts reach the
// definitions that records name by repository id.
#ifndef IR_TOOLS_FEED_SUPPORT_H
#define IR_TOOLS_FEED_SUPPORT_H

#include <omniORB4/CORBA.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "idl_records.h"

// Something wrong with the definition being fed; what() says what, the
// feeder adds the file, line and definition.
class DefinitionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The definitions that records name by repository id: the feeder knows
// the ones it made, the ones still to make (forward declarations) and
// looks up the others.
class ReferenceSource {
 public:
  virtual ~ReferenceSource() = default;
  // The definition with repository id `id`; throws DefinitionError when
  // there is none.
  virtual CORBA::Contained_ptr reference(const std::string& id) = 0;
};

// Called before every call that changes the repository (the feeder opens
// its user transaction there, or refuses under --check).
using ChangeHook = std::function<void()>;

// The repository's kind for a record (forward declarations: the kind
// they declare).
CORBA::DefinitionKind repository_kind(const DefRecord& d);

// A decimal integer of the back-end's output.
long long integer_of(const std::string& text);

#endif
