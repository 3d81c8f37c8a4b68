// Creating and changing definitions of parsed IDL in the repository with
// the standard create operations and setters.
#ifndef IR_TOOLS_DEFINITION_CREATOR_H
#define IR_TOOLS_DEFINITION_CREATOR_H

#include <omniORB4/CORBA.h>

#include "constant_values.h"
#include "feed_support.h"
#include "idl_records.h"
#include "type_objects.h"

// Every method runs the change hook before it changes anything, and
// throws the CORBA exception of a failed call or a DefinitionError.  Not
// thread-safe.
class DefinitionCreator {
 public:
  // All must outlive this object.
  DefinitionCreator(CORBA::Repository_ptr repository, TypeObjects& types,
                    ConstantValues& values, ReferenceSource& refs,
                    ChangeHook before_change)
      : repository_(repository),
        types_(types),
        values_(values),
        refs_(refs),
        before_change_(std::move(before_change)) {}

  // Creates `d` in `container` (`in_value`: a value type's operations and
  // attributes).  A shell is what can be made before the rest of the file
  // (members with a placeholder, no bases): complete() and set_header()
  // finish it.
  CORBA::Contained_ptr create(const DefRecord& d,
                              CORBA::Container_ptr container, bool in_value,
                              bool shell);
  // Sets the bases (and for a value type its modifiers and supported
  // interfaces) where they differ from `description` (the repository's;
  // null: what a shell was created with).
  void set_header(const DefRecord& d, CORBA::Contained_ptr obj,
                  const CORBA::Any* description);
  // Sets what a shell was created without: members, discriminator,
  // initializers (other kinds: as update()).
  void complete(const DefRecord& d, CORBA::Contained_ptr obj);
  // Sets the fields of an alias, value box, enum, constant, operation,
  // attribute or value member to the record's.
  void update(const DefRecord& d, CORBA::Contained_ptr obj);

 private:
  CORBA::StructMemberSeq struct_members(const std::vector<MemberExpr>& ms);
  CORBA::UnionMemberSeq union_members(const DefRecord& d);
  CORBA::ParDescriptionSeq parameters(const DefRecord& d);
  CORBA::ExceptionDefSeq exceptions(const DefRecord& d);
  CORBA::ContextIdSeq contexts(const DefRecord& d);
  CORBA::InterfaceDefSeq interfaces(const std::vector<std::string>& ids);
  CORBA::ValueDefSeq values(const std::vector<std::string>& ids);
  CORBA::InitializerSeq initializers(const DefRecord& d);
  CORBA::EnumMemberSeq enumerators(const DefRecord& d);

  CORBA::Repository_ptr repository_;
  TypeObjects& types_;
  ConstantValues& values_;
  ReferenceSource& refs_;
  ChangeHook before_change_;
};

#endif
