// Operations: result, parameters, mode (with the oneway rules), contexts
// and raised exceptions; and create_operation, shared by interfaces and
// value types.
#ifndef IR_IR_OPERATDF_H
#define IR_IR_OPERATDF_H

#include <functional>
#include <string>

#include "ir/attribdf.h"
#include "ir/containr.h"

// The context strings of create_operation of one container kind.
struct IrOperationTexts {
  const char* null_input;
  const char* name;
  const char* mode;
  const char* contexts;
  const char* result;
  const char* exceptions;
  const char* params;
  const char* context;
};

// create_operation of interfaces and value types: the argument checks in
// order (null input, name length, mode, contexts, result, exceptions,
// parameter types), then ir_create_member with base + 0x54 and the name
// text for an inherited name and for an existing definition, and the use
// links to the named types of the result and parameters and to the
// exceptions.  No oneway rule is enforced here.
CORBA::OperationDef_ptr ir_create_operation(
    CORBA_Container_Impl* container, const char* container_id,
    const IrOperationTexts& texts,
    const std::function<bool(const char*)>& inherited, const char* id,
    const char* name, const char* version, CORBA::IDLType_ptr result,
    CORBA::OperationMode mode, const CORBA::ParDescriptionSeq& params,
    const CORBA::ExceptionDefSeq& exceptions,
    const CORBA::ContextIdSeq& contexts);

// Appends to `operations` and `attributes` the descriptions of the
// operations and attributes defined directly in `container` (inherited
// ones excluded), in store order; `to_attribute` turns an
// AttributeDescription into an element of `attributes`.  Store failures
// are raised through irobj_parse_throw.
template <class AttributeSeq, class ToAttribute>
void ir_describe_own_members(IRStore* store, const std::string& container,
                             CORBA::OpDescriptionSeq& operations,
                             AttributeSeq& attributes,
                             ToAttribute&& to_attribute);

class CORBA_OperationDef_Impl : public virtual POA_IRExt::OperationDef,
                                public CORBA_Contained_Impl {
 public:
  // Creation: the arguments are checked by the caller.  The TypeCodes of
  // the parameters come from their type_def, not from the caller's type.
  CORBA_OperationDef_Impl(const char* id, const char* name, const char* version,
                          const char* defined_in, CORBA::IDLType_ptr result,
                          CORBA::OperationMode mode,
                          const CORBA::ParDescriptionSeq& params,
                          const CORBA::ExceptionDefSeq& exceptions,
                          const CORBA::ContextIdSeq& contexts);
  // Loading, before stream_to_object.
  CORBA_OperationDef_Impl(const char* id, const char* name, const char* version,
                          CORBA_Repository_Impl* repository,
                          const char* defined_in);
  ~CORBA_OperationDef_Impl() override;

  static CORBA_OperationDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // CORBA::Contained, keeping derived interfaces' contents caches true.
  char* id() override { return CORBA_Contained_Impl::id(); }
  void id(const char* new_id) override;
  char* name() override { return CORBA_Contained_Impl::name(); }
  void name(const char* new_name) override;

  // CORBA::OperationDef.  Every setter checks its argument first
  // (base + 0x48 with "CORBA::OperationDef::<attribute>(...)", or
  // "... (...)" for contexts and exceptions) and changes nothing when it
  // fails.
  CORBA::TypeCode_ptr result() override;
  CORBA::IDLType_ptr result_def() override;
  void result_def(CORBA::IDLType_ptr result) override;
  CORBA::ParDescriptionSeq* params() override;
  void params(const CORBA::ParDescriptionSeq& params) override;
  CORBA::OperationMode mode() override;
  // OP_ONEWAY needs a void result and only `in` parameters; the current
  // mode writes nothing.
  void mode(CORBA::OperationMode mode) override;
  CORBA::ContextIdSeq* contexts() override;
  // An empty sequence is refused: contexts cannot be cleared this way.
  void contexts(const CORBA::ContextIdSeq& contexts) override;
  CORBA::ExceptionDefSeq* exceptions() override;
  void exceptions(const CORBA::ExceptionDefSeq& exceptions) override;
  CORBA::Contained::Description* describe() override;

  // The description of describe(), describe_interface and the like; each
  // exception is described by its own object.
  CORBA::OperationDescription description();

  void changeID(const char* old_id, const char* new_id) override;
  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;

 private:
  // The fields a setter may replace, saved and restored together.
  struct State {
    CORBA::TypeCode_var result;
    CORBA::IDLType_var result_def;
    CORBA::ParDescriptionSeq params;
    CORBA::OperationMode mode;
    CORBA::ContextIdSeq contexts;
    CORBA::ExceptionDefSeq exceptions;
  };
  // Runs `change` (which replaces fields and links) in one update with
  // the record rewritten; any failure restores the fields.
  template <class Change>
  void set(const char* text, Change&& change);
  // Sets the `type` of every parameter from its type_def.
  void fill_parameter_types();

  State s_;
};

template <class AttributeSeq, class ToAttribute>
void ir_describe_own_members(IRStore* store, const std::string& container,
                             CORBA::OpDescriptionSeq& operations,
                             AttributeSeq& attributes,
                             ToAttribute&& to_attribute) {
  // Each sequence grows once: every reallocation copies all of its
  // descriptions.
  auto append = [](auto& seq, const auto& members, auto narrow, auto convert) {
    CORBA::ULong n = seq.length();
    seq.length(n + static_cast<CORBA::ULong>(members.size()));
    for (const auto& s : members)
      if (auto* member = narrow(s.in())) seq[n++] = convert(member);
    seq.length(n);
  };
  append(operations, ir_own_members(store, container, CORBA::dk_Operation),
         CORBA_OperationDef_Impl::_narrow,
         [](CORBA_OperationDef_Impl* op) { return op->description(); });
  append(attributes, ir_own_members(store, container, CORBA::dk_Attribute),
         CORBA_AttributeDef_Impl::_narrow, [&](CORBA_AttributeDef_Impl* attr) {
           return to_attribute(attr->description());
         });
}

#endif
