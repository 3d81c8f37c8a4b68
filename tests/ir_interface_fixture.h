// Helpers of the interface, operation and attribute tests: a fresh
// repository per test (IrTest) with short ways to define interfaces and
// their members, and a check of the context string that a failure logs.
#ifndef IR_TESTS_IR_INTERFACE_FIXTURE_H
#define IR_TESTS_IR_INTERFACE_FIXTURE_H

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "ir_fixture.h"
#include "platform/qor_log.h"

class InterfaceTest : public IrTest {
 protected:
  CORBA::PrimitiveDef_ptr Prim(CORBA::PrimitiveKind k) {
    return repo_->get_primitive(k);
  }

  // An interface "IDL:<name>:1.0" at the top level with these bases.
  CORBA::InterfaceDef_ptr Itf(
      const std::string& name,
      std::initializer_list<CORBA::InterfaceDef_ptr> bases = {}) {
    CORBA::InterfaceDefSeq seq;
    seq.length(0);
    for (CORBA::InterfaceDef_ptr b : bases) Append(seq, b);
    return repo_->create_interface(("IDL:" + name + ":1.0").c_str(),
                                   name.c_str(), "1.0", seq);
  }

  CORBA::AbstractInterfaceDef_ptr Abstract(
      const std::string& name,
      std::initializer_list<CORBA::AbstractInterfaceDef_ptr> bases = {}) {
    CORBA::AbstractInterfaceDefSeq seq;
    seq.length(0);
    for (CORBA::AbstractInterfaceDef_ptr b : bases) {
      CORBA::ULong n = seq.length();
      seq.length(n + 1);
      seq[n] = CORBA::AbstractInterfaceDef::_duplicate(b);
    }
    return repo_->create_abstract_interface(("IDL:" + name + ":1.0").c_str(),
                                            name.c_str(), "1.0", seq);
  }

  // The id of a member `name` of `in`: "IDL:<in's name>/<name>:1.0".
  static std::string MemberId(CORBA::InterfaceDef_ptr in,
                              const std::string& name) {
    CORBA::String_var owner = in->name();
    return "IDL:" + std::string(owner.in()) + "/" + name + ":1.0";
  }

  CORBA::OperationDef_ptr Op(
      CORBA::InterfaceDef_ptr in, const std::string& name,
      CORBA::IDLType_ptr result,
      const CORBA::ParDescriptionSeq& params = CORBA::ParDescriptionSeq(),
      CORBA::OperationMode mode = CORBA::OP_NORMAL,
      const CORBA::ExceptionDefSeq& exceptions = CORBA::ExceptionDefSeq(),
      const CORBA::ContextIdSeq& contexts = CORBA::ContextIdSeq()) {
    return in->create_operation(MemberId(in, name).c_str(), name.c_str(), "1.0",
                                result, mode, params, exceptions, contexts);
  }

  CORBA::OperationDef_ptr VoidOp(CORBA::InterfaceDef_ptr in,
                                 const std::string& name) {
    CORBA::PrimitiveDef_var v = Prim(CORBA::pk_void);
    return Op(in, name, v);
  }

  CORBA::AttributeDef_ptr Attr(CORBA::InterfaceDef_ptr in,
                               const std::string& name, CORBA::IDLType_ptr type,
                               CORBA::AttributeMode mode = CORBA::ATTR_NORMAL) {
    return in->create_attribute(MemberId(in, name).c_str(), name.c_str(), "1.0",
                                type, mode);
  }

  CORBA::AttributeDef_ptr LongAttr(CORBA::InterfaceDef_ptr in,
                                   const std::string& name) {
    CORBA::PrimitiveDef_var l = Prim(CORBA::pk_long);
    return Attr(in, name, l);
  }

  static CORBA::ParameterDescription Param(const char* name,
                                           CORBA::IDLType_ptr type,
                                           CORBA::ParameterMode mode) {
    CORBA::ParameterDescription p;
    p.name = name;
    p.type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);  // not used
    p.type_def = CORBA::IDLType::_duplicate(type);
    p.mode = mode;
    return p;
  }

  // Appends a copy of a structure (for references: Append).
  template <class Seq, class Value>
  static void Push(Seq& seq, const Value& v) {
    CORBA::ULong n = seq.length();
    seq.length(n + 1);
    seq[n] = v;
  }
  static void Append(CORBA::InterfaceDefSeq& seq, CORBA::InterfaceDef_ptr v) {
    CORBA::ULong n = seq.length();
    seq.length(n + 1);
    seq[n] = CORBA::InterfaceDef::_duplicate(v);
  }

  static std::string IdOf(CORBA::Contained_ptr c) {
    if (CORBA::is_nil(c)) return "<nil>";
    CORBA::String_var id = c->id();
    return id.in();
  }
  static std::vector<std::string> IdsOf(const CORBA::ContainedSeq& seq) {
    std::vector<std::string> out;
    for (CORBA::ULong i = 0; i < seq.length(); ++i) out.push_back(IdOf(seq[i]));
    return out;
  }
  static std::vector<std::string> IdsOf(const CORBA::InterfaceDefSeq& seq) {
    std::vector<std::string> out;
    for (CORBA::ULong i = 0; i < seq.length(); ++i) out.push_back(IdOf(seq[i]));
    return out;
  }
  static std::vector<std::string> IdsOf(const CORBA::RepositoryIdSeq& seq) {
    std::vector<std::string> out;
    for (CORBA::ULong i = 0; i < seq.length(); ++i) out.push_back(seq[i].in());
    return out;
  }
  template <class DescriptionSeq>
  static std::vector<std::string> NamesOf(const DescriptionSeq& seq) {
    std::vector<std::string> out;
    for (CORBA::ULong i = 0; i < seq.length(); ++i)
      out.push_back(seq[i].name.in());
    return out;
  }

  // An exception "IDL:<name>:1.0" with no members, in the root.
  CORBA::ExceptionDef_ptr Exception(const std::string& name) {
    return repo_->create_exception(("IDL:" + name + ":1.0").c_str(),
                                   name.c_str(), "1.0",
                                   CORBA::StructMemberSeq());
  }
};

// Runs `call`, expecting the system exception `Exc` with
// `expected_minor` and a log line that ends in ": <text>".
#define EXPECT_REPORT(Exc, expected_minor, text, call)                         \
  do {                                                                         \
    QORCaptureLog(true);                                                       \
    EXPECT_SYSEX(Exc, expected_minor, call);                                   \
    std::string log_ = QORTakeCapturedLog();                                   \
    QORCaptureLog(false);                                                      \
    EXPECT_NE(log_.find(std::string(": ") + (text) + "\n"), std::string::npos) \
        << #call " did not log \"" << (text) << "\"; log: " << log_;           \
  } while (0)

#endif
