// Helpers of the JSON mapping tests: a TypeResolver over a fixed set of
// TypeCodes, and the compiled TypeCodes of tests/idl/call_test*.idl.
#ifndef IR_TESTS_VALUES_FIXTURE_H
#define IR_TESTS_VALUES_FIXTURE_H

#include <omniORB4/CORBA.h>

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "values/type_resolver.h"

// Named types by scoped name ("::A::B") and repository id.
class MapResolver : public TypeResolver {
 public:
  void add(const std::string& scoped_name, CORBA::TypeCode_ptr tc) {
    by_name_[scoped_name] = CORBA::TypeCode::_duplicate(tc);
    by_id_[tc->id()] = CORBA::TypeCode::_duplicate(tc);
    name_of_[tc->id()] = scoped_name;
  }
  CORBA::TypeCode_ptr find_type(const std::string& name) override {
    std::string n = name.compare(0, 2, "::") == 0 ? name : "::" + name;
    auto it = by_name_.find(n);
    if (it != by_name_.end()) return CORBA::TypeCode::_duplicate(it->second);
    it = by_id_.find(name);
    if (it != by_id_.end()) return CORBA::TypeCode::_duplicate(it->second);
    return CORBA::TypeCode::_nil();
  }
  std::string type_name(CORBA::TypeCode_ptr tc) override {
    auto it = name_of_.find(tc->id());
    return it == name_of_.end() ? std::string() : it->second;
  }
  std::vector<std::string> names() const {
    std::vector<std::string> out;
    for (const auto& e : by_name_) out.push_back(e.first);
    return out;
  }

 private:
  std::map<std::string, CORBA::TypeCode_var> by_name_, by_id_;
  std::map<std::string, std::string> name_of_;
};

// A resolver that knows every named type of call_test.idl and
// call_test_fixed.idl (defined in values_mapping_test.cpp).
MapResolver& call_test_types();

inline nlohmann::ordered_json J(const std::string& text) {
  return nlohmann::ordered_json::parse(text);
}

#endif
