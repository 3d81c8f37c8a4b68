// Helpers of the value type tests: a fresh repository per test (through
// InterfaceTest) with short ways to define value types, their state
// members and initializers.
#ifndef IR_TESTS_IR_VALUE_FIXTURE_H
#define IR_TESTS_IR_VALUE_FIXTURE_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "ir_interface_fixture.h"

// What create_value takes besides the id, name and version.
struct ValueArgs {
  bool custom = false;
  bool abstract = false;
  bool truncatable = false;
  CORBA::ValueDef_ptr base = CORBA::ValueDef::_nil();  // not owned
  std::vector<CORBA::ValueDef_ptr> abstract_bases;     // not owned
  std::vector<CORBA::InterfaceDef_ptr> supported;      // not owned
  CORBA::InitializerSeq initializers;
};

class ValueTest : public InterfaceTest {
 protected:
  // A value type "IDL:<name>:1.0" in `in` (the repository when nil).
  CORBA::ValueDef_ptr Value(
      const std::string& name, const ValueArgs& a = ValueArgs(),
      CORBA::Container_ptr in = CORBA::Container::_nil()) {
    CORBA::ValueDefSeq abstracts;
    abstracts.length(0);
    for (CORBA::ValueDef_ptr v : a.abstract_bases)
      Push(abstracts, CORBA::ValueDef::_duplicate(v));
    CORBA::InterfaceDefSeq supported;
    supported.length(0);
    for (CORBA::InterfaceDef_ptr i : a.supported) Append(supported, i);
    CORBA::Container_ptr where = CORBA::is_nil(in) ? repo_.in() : in;
    return where->create_value(("IDL:" + name + ":1.0").c_str(), name.c_str(),
                               "1.0", a.custom, a.abstract, a.base,
                               a.truncatable, abstracts, supported,
                               a.initializers);
  }

  static std::string ValueMemberId(CORBA::ValueDef_ptr in,
                                   const std::string& name) {
    CORBA::String_var owner = in->name();
    return "IDL:" + std::string(owner.in()) + "/" + name + ":1.0";
  }

  static CORBA::ValueMemberDef_ptr Member(
      CORBA::ValueDef_ptr in, const std::string& name, CORBA::IDLType_ptr type,
      CORBA::Visibility access = CORBA::PUBLIC_MEMBER) {
    return in->create_value_member(ValueMemberId(in, name).c_str(),
                                   name.c_str(), "1.0", type, access);
  }

  static CORBA::OperationDef_ptr ValueOp(CORBA::ValueDef_ptr in,
                                         const std::string& name,
                                         CORBA::IDLType_ptr result) {
    return in->create_operation(
        ValueMemberId(in, name).c_str(), name.c_str(), "1.0", result,
        CORBA::OP_NORMAL, CORBA::ParDescriptionSeq(), CORBA::ExceptionDefSeq(),
        CORBA::ContextIdSeq());
  }

  static CORBA::AttributeDef_ptr ValueAttr(CORBA::ValueDef_ptr in,
                                           const std::string& name,
                                           CORBA::IDLType_ptr type) {
    return in->create_attribute(ValueMemberId(in, name).c_str(), name.c_str(),
                                "1.0", type, CORBA::ATTR_NORMAL);
  }

  // An initializer as a client sends it: member types tk_void, the types
  // in type_def.
  static CORBA::Initializer Init(
      const char* name,
      std::vector<std::pair<const char*, CORBA::IDLType_ptr>> members) {
    CORBA::Initializer init;
    init.name = name;
    init.members.length(static_cast<CORBA::ULong>(members.size()));
    for (CORBA::ULong i = 0; i < init.members.length(); ++i) {
      init.members[i].name = members[i].first;
      init.members[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
      init.members[i].type_def = CORBA::IDLType::_duplicate(members[i].second);
    }
    return init;
  }

  // Struct members as a client sends them.
  static CORBA::StructMemberSeq Fields(
      std::vector<std::pair<const char*, CORBA::IDLType_ptr>> list) {
    CORBA::StructMemberSeq seq;
    seq.length(static_cast<CORBA::ULong>(list.size()));
    for (CORBA::ULong i = 0; i < seq.length(); ++i) {
      seq[i].name = list[i].first;
      seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
      seq[i].type_def = CORBA::IDLType::_duplicate(list[i].second);
    }
    return seq;
  }

  // The ids of the definitions that refer to `c` ("uses", "derives").
  static std::vector<std::string> Referrers(CORBA::Contained_ptr c,
                                            const char* which) {
    IRExt::Contained_var ext = IRExt::Contained::_narrow(c);
    CORBA::ContainedSeq_var refs = ext->ext_get_refs_object(which);
    return IdsOf(refs.in());
  }

  // A value type found again by id (after a reopen, say).
  CORBA::ValueDef_ptr Find(const std::string& id) {
    CORBA::Contained_var c = repo_->lookup_id(id.c_str());
    return CORBA::ValueDef::_narrow(c);
  }

  static std::vector<std::string> IdsOf(const CORBA::ContainedSeq& seq) {
    return InterfaceTest::IdsOf(seq);
  }
  static std::vector<std::string> IdsOf(const CORBA::RepositoryIdSeq& seq) {
    return InterfaceTest::IdsOf(seq);
  }
  static std::vector<std::string> IdsOf(const CORBA::ValueDefSeq& seq) {
    std::vector<std::string> out;
    for (CORBA::ULong i = 0; i < seq.length(); ++i) out.push_back(IdOf(seq[i]));
    return out;
  }
  static std::vector<std::string> IdsOf(const CORBA::InterfaceDefSeq& seq) {
    return InterfaceTest::IdsOf(seq);
  }
};

#endif
