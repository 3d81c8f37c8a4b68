// Comparing a definition of parsed IDL with the repository's definition
// of the same repository id and kind.
#ifndef IR_TOOLS_DEFINITION_COMPARE_H
#define IR_TOOLS_DEFINITION_COMPARE_H

#include <omniORB4/CORBA.h>

#include <string>
#include <vector>

#include "client/type_text.h"
#include "constant_values.h"
#include "idl_records.h"

// A definition of the repository, as its container's describe_contents
// gave it.
struct ExistingDefinition {
  std::string id;
  CORBA::DefinitionKind kind = CORBA::dk_none;
  CORBA::Contained_var ref;
  CORBA::Any description;
};

// What differs, each as words ("its members differ").
struct Comparison {
  bool version_differs = false;
  std::vector<std::string> differences;  // the version's among them

  bool same() const { return differences.empty(); }
  // True when the version is all that differs.
  bool only_version() const {
    return version_differs && differences.size() == 1;
  }
  // The differences joined with "; ".
  std::string text() const;
};

class DefinitionComparer {
 public:
  // Both must outlive this object.
  DefinitionComparer(AnyCodec& codec, ConstantValues& values)
      : codec_(codec), values_(values) {}

  // Compares the record with the repository's definition (same id and
  // kind); documentation comments are not compared here.  A value type's
  // initializers cost one call.  Throws the CORBA exception of a failed
  // call, DefinitionError when a constant of the record cannot be built.
  Comparison compare(const DefRecord& d, const ExistingDefinition& e);

  // True for what a forward declaration of an interface or value type
  // leaves in the repository (no bases, no contents), which a full
  // definition completes.  One call.
  bool is_placeholder(const DefRecord& d, const ExistingDefinition& e);

 private:
  void compare_type(const DefRecord& d, CORBA::TypeCode_ptr tc,
                    std::vector<std::string>* out);
  void compare_value(const DefRecord& d, const ExistingDefinition& e,
                     std::vector<std::string>* out);

  AnyCodec& codec_;
  ConstantValues& values_;
};

// The ids of `seq`; without IDL:Object:1.0 when `drop_object`.
std::vector<std::string> id_list(const CORBA::RepositoryIdSeq& seq,
                                 bool drop_object);

#endif
