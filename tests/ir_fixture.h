// A fresh repository per test, on a temporary database, reached through
// real (colocated) CORBA references, with short ways to define things the
// way an IDL compiler sends them (TypeCodes tk_void, types in type_def).
#ifndef IR_TESTS_IR_FIXTURE_H
#define IR_TESTS_IR_FIXTURE_H

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "failing_store.h"
#include "ir/reposito.h"
#include "irext.hh"
#include "platform/qor_log.h"

using Ids = std::vector<std::string>;
using Typed = std::vector<std::pair<const char*, CORBA::IDLType_ptr>>;

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

// A union member: name, label, type.
struct Arm {
  const char* name;
  CORBA::Any label;
  CORBA::IDLType_ptr type;
};

template <class T>
CORBA::Any AnyOf(T v) {
  CORBA::Any a;
  a <<= v;
  return a;
}
inline CORBA::Any DefaultLabel() { return AnyOf(CORBA::Any::from_octet(0)); }

// "<nil>" for nil and for what is not a Contained.
inline std::string IdOf(CORBA::Object_ptr obj) {
  CORBA::Contained_var c = CORBA::Contained::_narrow(obj);
  if (CORBA::is_nil(c)) return "<nil>";
  CORBA::String_var id = c->id();
  return id.in();
}
inline std::string IdOf(const char* id) { return id; }
template <class Seq>
Ids IdsOf(const Seq& seq) {
  Ids out;
  for (CORBA::ULong i = 0; i < seq.length(); ++i) out.push_back(IdOf(seq[i]));
  return out;
}
template <class DescriptionSeq>
Ids NamesOf(const DescriptionSeq& seq) {
  Ids out;
  for (CORBA::ULong i = 0; i < seq.length(); ++i)
    out.push_back(seq[i].name.in());
  return out;
}

// The TypeCode of a type or exception, and a string result, as values
// to use in one expression.
template <class T>
CORBA::TypeCode_var TypeOf(const T& typed) {
  return typed->type();
}
inline std::string Str(char* owned) { return CORBA::String_var(owned).in(); }
// The TypeCode reached from `tc` by member_type(i) for each i >= 0 and
// by content_type() for each -1.
inline CORBA::TypeCode_var TcAt(CORBA::TypeCode_ptr tc,
                                std::initializer_list<int> path) {
  CORBA::TypeCode_var at = CORBA::TypeCode::_duplicate(tc);
  for (int step : path)
    at = step < 0 ? at->content_type() : at->member_type(step);
  return at;
}

inline Ids ContentsOf(CORBA::Container_ptr c,
                      CORBA::DefinitionKind kind = CORBA::dk_all,
                      bool exclude_inherited = false) {
  CORBA::ContainedSeq_var seq = c->contents(kind, exclude_inherited);
  return IdsOf(seq.in());
}
inline Ids BasesOf(CORBA::InterfaceDef_ptr i) {
  CORBA::InterfaceDefSeq_var seq = i->base_interfaces();
  return IdsOf(seq.in());
}

// Appends a copy of a structure or a (duplicated) reference.
template <class Seq, class Value>
void Push(Seq& seq, const Value& v) {
  CORBA::ULong n = seq.length();
  seq.length(n + 1);
  seq[n] = v;
}
inline void Append(CORBA::InterfaceDefSeq& seq, CORBA::InterfaceDef_ptr v) {
  Push(seq, CORBA::InterfaceDef::_duplicate(v));
}

CORBA::StructMemberSeq Fields(const Typed& list);
CORBA::UnionMemberSeq UnionMembers(const std::vector<Arm>& list);
CORBA::EnumMemberSeq EnumMembers(const std::vector<const char*>& names);
// An initializer as a client sends it.
CORBA::Initializer Init(const char* name, const Typed& members);
CORBA::ParameterDescription Param(const char* name, CORBA::IDLType_ptr type,
                                  CORBA::ParameterMode mode);

class IrTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Closes the repository and opens it again on the same database: every
  // servant is rebuilt from its record.
  void Reopen();
  // Removes the repository of the process (used by Reopen and TearDown).
  void CloseRepository();
  void OpenRepository();

  CORBA::PrimitiveDef_ptr Prim(CORBA::PrimitiveKind k) {
    return repo_->get_primitive(k);
  }
  // A definition that is not a type where a type is expected: the
  // module "IDL:NotAType:1.0", made on first use.
  CORBA::IDLType_ptr NotAType();
  template <class T = CORBA::Contained>
  typename T::_var_type Find(const std::string& id) {
    CORBA::Contained_var c = repo_->lookup_id(id.c_str());
    return T::_narrow(c);
  }
  // The ids of what refers to `id` ("uses", "derives" or "all").
  Ids Refs(const std::string& id, const char* which = "uses");

  // "IDL:<path>:1.0", where the definition's name is the last part of
  // `path` ("VT/Base" is Base).
  static std::string Id(const std::string& path) {
    return "IDL:" + path + ":1.0";
  }
  static std::string Leaf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
  }
  // "IDL:<in's name>/<name>:1.0".
  static std::string MemberId(CORBA::Contained_ptr in, const std::string& name);

  // Definitions at the top level (values: in `in` when it is not nil).
  CORBA::InterfaceDef_ptr Itf(
      const std::string& path,
      std::initializer_list<CORBA::InterfaceDef_ptr> bases = {});
  CORBA::AbstractInterfaceDef_ptr Abstract(
      const std::string& path,
      std::initializer_list<CORBA::AbstractInterfaceDef_ptr> bases = {});
  CORBA::ValueDef_ptr Value(const std::string& path,
                            const ValueArgs& a = ValueArgs(),
                            CORBA::Container_ptr in = CORBA::Container::_nil());
  CORBA::StructDef_ptr Struct(const std::string& path, const Typed& members);
  // An exception with no members.
  CORBA::ExceptionDef_ptr Exception(const std::string& path);

  // Members of interfaces and value types, with ids from MemberId.
  static CORBA::OperationDef_ptr Op(
      CORBA::InterfaceDef_ptr in, const std::string& name,
      CORBA::IDLType_ptr result,
      const CORBA::ParDescriptionSeq& params = CORBA::ParDescriptionSeq(),
      CORBA::OperationMode mode = CORBA::OP_NORMAL,
      const CORBA::ExceptionDefSeq& exceptions = CORBA::ExceptionDefSeq(),
      const CORBA::ContextIdSeq& contexts = CORBA::ContextIdSeq()) {
    return in->create_operation(MemberId(in, name).c_str(), name.c_str(), "1.0",
                                result, mode, params, exceptions, contexts);
  }
  static CORBA::OperationDef_ptr Op(CORBA::ValueDef_ptr in,
                                    const std::string& name,
                                    CORBA::IDLType_ptr result) {
    return in->create_operation(
        MemberId(in, name).c_str(), name.c_str(), "1.0", result,
        CORBA::OP_NORMAL, CORBA::ParDescriptionSeq(), CORBA::ExceptionDefSeq(),
        CORBA::ContextIdSeq());
  }
  CORBA::OperationDef_ptr VoidOp(CORBA::InterfaceDef_ptr in,
                                 const std::string& name) {
    return Op(in, name, CORBA::PrimitiveDef_var(Prim(CORBA::pk_void)));
  }
  template <class Holder>
  static CORBA::AttributeDef_ptr Attr(
      Holder in, const std::string& name, CORBA::IDLType_ptr type,
      CORBA::AttributeMode mode = CORBA::ATTR_NORMAL) {
    return in->create_attribute(MemberId(in, name).c_str(), name.c_str(), "1.0",
                                type, mode);
  }
  CORBA::AttributeDef_ptr LongAttr(CORBA::InterfaceDef_ptr in,
                                   const std::string& name) {
    return Attr(in, name, CORBA::PrimitiveDef_var(Prim(CORBA::pk_long)));
  }
  static CORBA::ValueMemberDef_ptr Member(
      CORBA::ValueDef_ptr in, const std::string& name, CORBA::IDLType_ptr type,
      CORBA::Visibility access = CORBA::PUBLIC_MEMBER) {
    return in->create_value_member(MemberId(in, name).c_str(), name.c_str(),
                                   "1.0", type, access);
  }

  std::string dir_;
  std::string db_;
  CORBA_Repository_Impl* root_ = nullptr;
  CORBA::Repository_var repo_;
  IRExt::Repository_var ext_;
};

// A repository on a FailingStore.
class StoreFaultTest : public IrTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Runs `change` with the n-th store change failing, for n = 1, 2, ...
  // until it succeeds; each failure must be PERSIST_STORE and leave what
  // `state` reports unchanged.  Returns the number of failures.
  int FailEachChangeInTurn(const std::function<void()>& change,
                           const std::function<std::string()>& state);

  FailingStore* store_ = nullptr;
  std::function<std::unique_ptr<IRStore>(const char*)> saved_opener_;
};

// The vendor minor code base + n.
constexpr CORBA::ULong IrMinor(CORBA::ULong n) { return 0x51520000UL + n; }
// The OMG minor code n.
constexpr CORBA::ULong OmgMinor(CORBA::ULong n) { return 0x4f4d0000UL | n; }

// Runs `call`, expecting the system exception `Exc` with
// `expected_minor`.
#define EXPECT_SYSEX(Exc, expected_minor, call)                         \
  do {                                                                  \
    try {                                                               \
      call;                                                             \
      ADD_FAILURE() << #call " did not raise " #Exc;                    \
    } catch (const CORBA::Exc& ex_) {                                   \
      EXPECT_EQ(ex_.minor(), static_cast<CORBA::ULong>(expected_minor)) \
          << #call " raised " #Exc " with minor 0x" << std::hex         \
          << ex_.minor();                                               \
    } catch (const CORBA::SystemException& ex_) {                       \
      ADD_FAILURE() << #call " raised " << ex_._name() << " minor 0x"   \
                    << std::hex << ex_.minor() << " instead of " #Exc;  \
    }                                                                   \
  } while (0)

// BAD_PARAM with the vendor minor of a refused argument.
#define EXPECT_BAD_ARG(call) EXPECT_SYSEX(BAD_PARAM, IrMinor(0x48), call)

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
