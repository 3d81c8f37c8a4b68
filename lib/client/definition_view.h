// One definition of the repository read into plain data: every field of
// its description and, by kind, what a reader of it wants to see, with
// every type and every definition it names spelled as a scoped name next
// to the repository id behind it.
//
// The model is read through the standard repository interfaces (plus the
// IRExt extensions where a server offers them) and does no printing:
// irctl renders it as text and as JSON (definition_json.h), the web view
// as HTML.
#ifndef IR_CLIENT_DEFINITION_VIEW_H
#define IR_CLIENT_DEFINITION_VIEW_H

#include <omniORB4/CORBA.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "client/listing.h"
#include "client/type_text.h"

// A definition named by another one (a base, a raised exception, a type).
struct DefinitionRef {
  std::string id;
  // The scoped name ("::A::B"); empty when the repository holds no
  // definition with this id (a reference left dangling by a removal).
  std::string name;
};

// A type as a declaration uses it.
struct TypeView {
  // IDL text with scoped names: "sequence<::A::B, 10>", "unsigned long",
  // "string<8>".  Arrays give the text of their element; their bounds
  // are in `dimensions`.
  std::string idl;
  std::vector<CORBA::ULong> dimensions;  // "[2][3]": {2, 3}
  // The named types the text mentions, in order of appearance, each once.
  std::vector<DefinitionRef> named;
};

struct ParameterView {
  std::string name;
  std::string mode;  // "in", "out", "inout"
  TypeView type;
};

struct OperationView {
  std::string name;
  std::string id;
  std::string version;
  bool oneway = false;
  TypeView result;
  std::vector<ParameterView> parameters;
  std::vector<DefinitionRef> raises;
  std::vector<std::string> contexts;
  // The interface or value type that declares it; for an inherited one a
  // base of the definition described.
  DefinitionRef defined_in;
  bool inherited = false;
};

struct AttributeView {
  std::string name;
  std::string id;
  std::string version;
  bool readonly = false;
  TypeView type;
  DefinitionRef defined_in;
  bool inherited = false;
};

// A member of a struct or exception, or a parameter of an initializer.
struct MemberView {
  std::string name;
  TypeView type;
};

// One arm of a union: consecutive members with the same name and type
// form one arm with several labels.
struct UnionCaseView {
  std::string name;
  TypeView type;
  // IDL literals of the labels ("1", "'a'", "TRUE", "small"); the
  // default label is not among them.
  std::vector<std::string> labels;
  bool is_default = false;
};

struct ValueMemberView {
  std::string name;
  std::string id;
  std::string version;
  bool is_public = true;
  TypeView type;
};

struct InitializerView {
  std::string name;
  std::vector<MemberView> parameters;
};

// A direct child of a container.
struct ContentView {
  CORBA::DefinitionKind kind = CORBA::dk_none;
  std::string name;
  std::string id;
};

struct DefinitionView {
  // The fields of every description.
  CORBA::DefinitionKind kind = CORBA::dk_none;
  std::string name;
  std::string scoped_name;
  std::string id;
  std::string version;
  // The container; id "" and name "::" at the top level.
  DefinitionRef defined_in;
  // The documentation comment, "" when it has none (or the server keeps
  // no comments).
  std::string comment;
  // The TypeCode as IDL-like text (typecode_text); "" for kinds without
  // a TypeCode of their own (modules, operations, attributes, ...).
  std::string type_code;

  // Interfaces: the base interfaces (Object left out), the interfaces
  // that name this one as a direct base.  Value types: the abstract base
  // values, and the value types that inherit from or support this one.
  std::vector<DefinitionRef> bases;
  std::vector<DefinitionRef> derived;
  // Interfaces and value types: own operations and attributes, then the
  // inherited ones (interfaces: every base once, bases before the
  // interfaces that derive from them; value types: along the value
  // bases), each marked with the definition that declares it.
  std::vector<OperationView> operations;
  std::vector<AttributeView> attributes;

  // Value types.
  bool is_abstract = false;
  bool is_custom = false;
  bool is_truncatable = false;
  std::optional<DefinitionRef> base_value;
  std::vector<DefinitionRef> supported_interfaces;
  std::vector<ValueMemberView> value_members;
  std::vector<InitializerView> initializers;

  // Structs and exceptions.
  std::vector<MemberView> members;
  // Unions.
  std::optional<TypeView> discriminator;
  std::vector<UnionCaseView> cases;
  // Enums.
  std::vector<std::string> enumerators;
  // Aliases (the original type), value boxes (the boxed type), constants
  // (their type).
  std::optional<TypeView> type;
  // Constants: the value as an IDL literal.
  std::string value;

  // The definition itself when it is an operation, an attribute or a
  // value member.
  std::optional<OperationView> operation;
  std::optional<AttributeView> attribute;
  std::optional<ValueMemberView> value_member;

  // Containers (modules, interfaces, value types, structs, unions,
  // exceptions): the direct contents, oldest first.
  std::vector<ContentView> contents;
};

// Reads definitions into DefinitionViews.  Remembers the scoped names of
// the repository ids it met, so that reading several definitions costs
// one lookup per id.  Not thread-safe; cheap to make one per request.
class DefinitionReader {
 public:
  // `orb` reads constant values and union labels (DynAny); `repository`
  // resolves repository ids.  Both must outlive the reader.
  DefinitionReader(CORBA::ORB_ptr orb, CORBA::Repository_ptr repository);

  // Reads `definition`.  Throws the CORBA exception of a call that
  // failed; the extension operations that a server may lack (comments,
  // inherited operations, derived interfaces) are read as absent instead.
  DefinitionView read(CORBA::Contained_ptr definition);

  // Whether read() lists the contents of containers (by default it
  // does).  A client that pages through large containers itself turns it
  // off; `contents` then stays empty.
  void set_read_contents(bool on) { read_contents_ = on; }

  // The scoped name of a repository id ("" when nothing has it).
  DefinitionRef ref(const std::string& id);
  // The type `tc` as a declaration uses it.
  TypeView type(CORBA::TypeCode_ptr tc);

 private:
  void read_interface(CORBA::Contained_ptr definition, DefinitionView& v);
  void read_value(CORBA::Contained_ptr definition, DefinitionView& v);
  void read_union(CORBA::TypeCode_ptr tc, DefinitionView& v);
  void read_contents(DefinitionView& v);
  std::string read_comment(CORBA::Contained_ptr definition);
  OperationView operation(const CORBA::OperationDescription& d,
                          const std::string& owner);
  AttributeView attribute(const char* name, const char* id, const char* version,
                          const char* defined_in, CORBA::TypeCode_ptr tc,
                          CORBA::AttributeMode mode, const std::string& owner);
  ValueMemberView value_member(const CORBA::ValueMember& m);
  // Adds the operations and attributes that `v` (a value type) inherits
  // along its value bases.
  void inherited_value_features(const std::vector<std::string>& bases,
                                DefinitionView& v);
  std::vector<DefinitionRef> refs_of(const CORBA::ContainedSeq& seq);
  std::vector<DefinitionRef> refs(const CORBA::RepositoryIdSeq& ids);
  std::string literal(const CORBA::Any& value);

  CORBA::Repository_ptr repository_;
  AnyCodec codec_;
  RepositoryListing listing_;
  std::map<std::string, std::string> names_;  // repository id -> scoped name
  // Cleared when the server answers that it lacks an extension.
  bool comments_ = true;
  bool ext_interface_ = true;
  bool ext_refs_ = true;
  bool read_contents_ = true;
};

// True for a CORBA exception that says the server does not offer an
// operation at all (an irserver without that extension).
bool is_not_offered(const CORBA::Exception& e);

#endif
