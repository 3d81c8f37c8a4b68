// The one-line forwarders by which each container kind implements the
// CORBA::Container operations on CORBA_Container_Impl, passing its own
// repository id.  A create operation is either forwarded (fwd) or refused
// with base + 0x34 (refuse), per container kind:
//   IR_CONTAINER_FORWARDERS(module, constant, struct, union, enum, alias,
//                           interface, exception, value, value_box,
//                           native, abstract_interface)
// each argument being fwd or refuse.
#ifndef IR_IR_CONTAINR_FORWARDERS_H
#define IR_IR_CONTAINR_FORWARDERS_H

#include "ir/containr.h"

#define IR_CONTAINER_READ_FORWARDERS                                         \
  CORBA::Contained_ptr lookup(const char* search_name) override {            \
    return CORBA_Container_Impl::lookup(search_name, container_id());        \
  }                                                                          \
  CORBA::ContainedSeq* contents(CORBA::DefinitionKind limit_type,            \
                                CORBA::Boolean exclude_inherited) override { \
    return CORBA_Container_Impl::contents(limit_type, exclude_inherited,     \
                                          container_id());                   \
  }                                                                          \
  CORBA::ContainedSeq* lookup_name(                                          \
      const char* search_name, CORBA::Long levels_to_search,                 \
      CORBA::DefinitionKind limit_type, CORBA::Boolean exclude_inherited)    \
      override {                                                             \
    return CORBA_Container_Impl::lookup_name(search_name, levels_to_search,  \
                                             limit_type, exclude_inherited,  \
                                             container_id());                \
  }                                                                          \
  CORBA::Container::DescriptionSeq* describe_contents(                       \
      CORBA::DefinitionKind limit_type, CORBA::Boolean exclude_inherited,    \
      CORBA::Long max_returned_objs) override {                              \
    return CORBA_Container_Impl::describe_contents(                          \
        limit_type, exclude_inherited, max_returned_objs, container_id());   \
  }

#define IR_FWD_BODY(call) \
  { return CORBA_Container_Impl::call; }
// The unevaluated call names the arguments without running anything.
#define IR_REFUSE_BODY(call)                               \
  {                                                        \
    static_cast<void>(sizeof(CORBA_Container_Impl::call)); \
    ir_refuse_create(__FILE__, __LINE__);                  \
  }

#define IR_CREATE_module(how)                                          \
  CORBA::ModuleDef_ptr create_module(const char* id, const char* name, \
                                     const char* version) override     \
  how(create_module(id, name, version, container_id()))
#define IR_CREATE_constant(how)                                  \
  CORBA::ConstantDef_ptr create_constant(                        \
      const char* id, const char* name, const char* version,     \
      CORBA::IDLType_ptr type, const CORBA::Any& value) override \
  how(create_constant(id, name, version, type, value, container_id()))
#define IR_CREATE_struct(how)                                \
  CORBA::StructDef_ptr create_struct(                        \
      const char* id, const char* name, const char* version, \
      const CORBA::StructMemberSeq& members) override        \
  how(create_struct(id, name, version, members, container_id()))
#define IR_CREATE_union(how)                                       \
  CORBA::UnionDef_ptr create_union(                                \
      const char* id, const char* name, const char* version,       \
      CORBA::IDLType_ptr discriminator_type,                       \
      const CORBA::UnionMemberSeq& members) override               \
  how(create_union(id, name, version, discriminator_type, members, \
                   container_id()))
#define IR_CREATE_enum(how)                                                    \
  CORBA::EnumDef_ptr create_enum(const char* id, const char* name,             \
                                 const char* version,                          \
                                 const CORBA::EnumMemberSeq& members) override \
  how(create_enum(id, name, version, members, container_id()))
#define IR_CREATE_alias(how)                                                  \
  CORBA::AliasDef_ptr create_alias(const char* id, const char* name,          \
                                   const char* version,                       \
                                   CORBA::IDLType_ptr original_type) override \
  how(create_alias(id, name, version, original_type, container_id()))
#define IR_CREATE_interface(how)                              \
  CORBA::InterfaceDef_ptr create_interface(                   \
      const char* id, const char* name, const char* version,  \
      const CORBA::InterfaceDefSeq& base_interfaces) override \
  how(create_interface(id, name, version, base_interfaces, container_id()))
#define IR_CREATE_exception(how)                             \
  CORBA::ExceptionDef_ptr create_exception(                  \
      const char* id, const char* name, const char* version, \
      const CORBA::StructMemberSeq& members) override        \
  how(create_exception(id, name, version, members, container_id()))
#define IR_CREATE_value(how)                                                \
  CORBA::ValueDef_ptr create_value(                                         \
      const char* id, const char* name, const char* version,                \
      CORBA::Boolean is_custom, CORBA::Boolean is_abstract,                 \
      CORBA::ValueDef_ptr base_value, CORBA::Boolean is_truncatable,        \
      const CORBA::ValueDefSeq& abstract_base_values,                       \
      const CORBA::InterfaceDefSeq& supported_interfaces,                   \
      const CORBA::InitializerSeq& initializers) override                   \
  how(create_value_i(id, name, version, is_custom, is_abstract, base_value, \
                     is_truncatable, abstract_base_values,                  \
                     supported_interfaces, initializers, container_id()))
#define IR_CREATE_value_box(how)                               \
  CORBA::ValueBoxDef_ptr create_value_box(                     \
      const char* id, const char* name, const char* version,   \
      CORBA::IDLType_ptr original_type_def) override           \
  how(create_value_box_i(id, name, version, original_type_def, \
                         container_id()))
#define IR_CREATE_native(how)                                          \
  CORBA::NativeDef_ptr create_native(const char* id, const char* name, \
                                     const char* version) override     \
  how(create_native(id, name, version, container_id()))
#define IR_CREATE_abstract_interface(how)                             \
  CORBA::AbstractInterfaceDef_ptr create_abstract_interface(          \
      const char* id, const char* name, const char* version,          \
      const CORBA::AbstractInterfaceDefSeq& base_interfaces) override \
  how(create_abstract_interface_i(id, name, version, base_interfaces, \
                                  container_id()))

#define IR_HOW_fwd IR_FWD_BODY
#define IR_HOW_refuse IR_REFUSE_BODY

#define IR_CONTAINER_FORWARDERS(module, constant, struct_, union_, enum_,      \
                                alias, interface, exception, value, value_box, \
                                native, abstract_interface)                    \
  IR_CONTAINER_READ_FORWARDERS                                                 \
  IR_CREATE_module(IR_HOW_##module) IR_CREATE_constant(IR_HOW_##constant)      \
      IR_CREATE_struct(IR_HOW_##struct_) IR_CREATE_union(IR_HOW_##union_)      \
          IR_CREATE_enum(IR_HOW_##enum_) IR_CREATE_alias(IR_HOW_##alias)       \
              IR_CREATE_interface(IR_HOW_##interface)                          \
                  IR_CREATE_exception(IR_HOW_##exception)                      \
                      IR_CREATE_value(IR_HOW_##value)                          \
                          IR_CREATE_value_box(IR_HOW_##value_box)              \
                              IR_CREATE_native(IR_HOW_##native)                \
                                  IR_CREATE_abstract_interface(                \
                                      IR_HOW_##abstract_interface)

#endif
