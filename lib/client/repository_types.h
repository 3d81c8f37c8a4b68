// The named types of an interface repository for the JSON mapping of
// values (lib/values): TypeCodes by scoped name or repository id, and
// scoped names for TypeCodes.
#ifndef IR_CLIENT_REPOSITORY_TYPES_H
#define IR_CLIENT_REPOSITORY_TYPES_H

#include <omniORB4/CORBA.h>

#include <map>
#include <string>

#include "values/type_resolver.h"

// Asks the repository once per name or id and remembers the answer.  The
// CORBA exceptions of a failed lookup pass through.  Not thread-safe.
class RepositoryTypes : public TypeResolver {
 public:
  explicit RepositoryTypes(CORBA::Repository_ptr repository)
      : repository_(CORBA::Repository::_duplicate(repository)) {}

  // The type of the definition `name` (a scoped name or repository id)
  // when it is a type (an IDLType, or an exception); nil otherwise.
  CORBA::TypeCode_ptr find_type(const std::string& name) override;
  // The absolute name of the definition with tc's repository id; "" when
  // the repository has none.
  std::string type_name(CORBA::TypeCode_ptr tc) override;

 private:
  CORBA::Repository_var repository_;
  std::map<std::string, CORBA::TypeCode_var> types_;
  std::map<std::string, std::string> names_;
};

#endif
