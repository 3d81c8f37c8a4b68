// Interface definitions: base interfaces, is_a, attributes and
// operations, descriptions.
#ifndef IR_IR_INTERFDF_H
#define IR_IR_INTERFDF_H

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

  static CORBA_InterfaceDef_Impl* _narrow(CORBA_IRObject_Impl* p);

  // CORBA::InterfaceDef
  CORBA::InterfaceDefSeq* base_interfaces() override;
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
  CORBA::InterfaceDef::FullInterfaceDescription* describe_interface() override;
  // IRExt::InterfaceDef
  CORBA::InterfaceDefSeq* ext_interface_children() override;

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
  CORBA::InterfaceDefSeq bases_;
};

#endif
