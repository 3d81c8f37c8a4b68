// Interface definitions: base interfaces and the rules that guard them,
// is_a, attributes and operations with their inherited-name rules, the
// descriptions (own members, and with the inherited ones for CORBA 3
// clients), changes of id and name with the TypeCode kept up to date.
#ifndef IR_IR_INTERFDF_H
#define IR_IR_INTERFDF_H

#include <cstdint>
#include <memory>
#include <string>

#include "ir/containd.h"
#include "ir/containr_forwarders.h"
#include "ir/idltype.h"

class CORBA_InterfaceDef_Impl : public virtual POA_IRExt::InterfaceDef,
                                public CORBA_Contained_Impl,
                                public CORBA_Container_Impl,
                                public CORBA_IDLType_Impl {
 public:
  // Creation: adopts `tc`; the bases are stored by the caller through
  // set_bases().
  CORBA_InterfaceDef_Impl(const char* id, const char* name, const char* version,
                          const char* defined_in, CORBA::TypeCode_ptr tc);
  // Loading, before stream_to_object.
  CORBA_InterfaceDef_Impl(const char* id, const char* name, const char* version,
                          CORBA_Repository_Impl* repository,
                          const char* defined_in);
  ~CORBA_InterfaceDef_Impl() override;

  // The servant of kind dk_Interface only (see interface_view).
  static CORBA_InterfaceDef_Impl* _narrow(CORBA_IRObject_Impl* p);
  // The interface part of an interface or abstract interface servant.
  static CORBA_InterfaceDef_Impl* interface_view(CORBA_IRObject_Impl* p);

  // Checks a base list handed to a create operation: every entry must be
  // an interface of this repository (an abstract one when
  // `abstract_only`); base + 0x48 with `text` otherwise.
  static void check_base_list(const CORBA::InterfaceDefSeq& bases,
                              bool abstract_only, const char* file, int line,
                              const char* text);

  // CORBA::InterfaceDef
  CORBA::InterfaceDefSeq* base_interfaces() override;
  // The checks in order: an empty list becomes the interface Object; nil
  // entries; entries that are not interfaces of this repository or that
  // would close a cycle (this interface itself, or one that derives from
  // it); own operations against the operations (BAD_PARAM OMG minor 5)
  // and attributes (base + 0x54) of each new base and its bases; own
  // attributes against both (base + 0x54).  A failure changes nothing.
  void base_interfaces(const CORBA::InterfaceDefSeq& bases) override;
  CORBA::Boolean is_a(const char* interface_id) override;
  CORBA::AttributeDef_ptr create_attribute(const char* id, const char* name,
                                           const char* version,
                                           CORBA::IDLType_ptr type,
                                           CORBA::AttributeMode mode) override;
  CORBA::OperationDef_ptr create_operation(
      const char* id, const char* name, const char* version,
      CORBA::IDLType_ptr result, CORBA::OperationMode mode,
      const CORBA::ParDescriptionSeq& params,
      const CORBA::ExceptionDefSeq& exceptions,
      const CORBA::ContextIdSeq& contexts) override;
  CORBA::Contained::Description* describe() override;
  // Own operations and attributes only, in store order.  The answer is
  // kept and given again until the repository changes in any way
  // (ir_change_generation), so that a client that asks again does not pay
  // for building it again and never sees a stale one.
  CORBA::InterfaceDef::FullInterfaceDescription* describe_interface() override;
  // IRExt::InterfaceDef
  CORBA::InterfaceDefSeq* ext_interface_children() override;
  IRExt::ExtFullInterfaceDescription* describe_ext_interface() override;

  // CORBA::Contained: a new id or name also gives the interface a new
  // TypeCode; base + 0x54 "CORBA::InterfaceDef::id(...)" when the new id
  // is in use.
  char* id() override { return CORBA_Contained_Impl::id(); }
  void id(const char* new_id) override;
  char* name() override { return CORBA_Contained_Impl::name(); }
  void name(const char* new_name) override;

  // The inherited operations named `name` (all levels), or when there are
  // none the inherited attributes of that name; caller owns the result.
  CORBA::ContainedSeq* check_inherited_name(const char* name);
  // True when check_inherited_name would return something.
  bool inherits_name(const char* name);

  void object_to_stream(Encapsulation& e) override;
  void stream_to_object(const char* name, const char* id,
                        Encapsulation& e) override;
  void changeID(const char* old_id, const char* new_id) override;
  void stream_in_line(Encapsulation& e) override;
  const char* container_id() override { return own_id(); }
  CORBA::TypeCode_ptr type() override { return CORBA_IDLType_Impl::type(); }

  // Replaces the base list in the servant and the store's inheritance
  // links (inside the caller's update); no checks.
  void set_bases(const CORBA::InterfaceDefSeq& bases);

  IR_CONTAINER_FORWARDERS(refuse, fwd, fwd, fwd, fwd, fwd, refuse, fwd, refuse,
                          refuse, fwd, refuse)

 protected:
  // What tells the base list setters of the two interface kinds apart.
  struct BaseRules {
    bool abstract_only;  // every base must be an abstract interface
    // An own operation named like an inherited operation: BAD_PARAM OMG
    // minor 5 when set, else base + 0x54.
    bool operation_clash_is_bad_param;
  };
  void replace_bases(const CORBA::InterfaceDefSeq& seq, const BaseRules& rules);
  // The TypeCode of this kind for an id and a name (caller owns).
  virtual CORBA::TypeCode_ptr make_typecode(const char* id, const char* name);

  CORBA::InterfaceDefSeq bases_;

 private:
  // describe_interface's last answer and the change generation it was
  // made at.
  std::unique_ptr<CORBA::InterfaceDef::FullInterfaceDescription> description_;
  std::uint64_t description_generation_ = 0;
};

#endif
