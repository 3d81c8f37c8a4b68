// Abstract interfaces: interfaces whose bases are abstract interfaces
// only and whose TypeCode is an abstract-interface TypeCode.  They hold
// attributes and operations like interfaces but offer none of the other
// create operations of a container.
#ifndef IR_IR_ABSTRADF_H
#define IR_IR_ABSTRADF_H

#include "ir/interfdf.h"

class CORBA_AbstractInterfaceDef_Impl
    : public virtual POA_IRExt::AbstractInterfaceDef,
      public CORBA_InterfaceDef_Impl {
 public:
  // Creation: adopts `tc`; the bases are stored by the caller through
  // set_bases() (an empty list stays empty: no Object base).
  CORBA_AbstractInterfaceDef_Impl(const char* id, const char* name,
                                  const char* version, const char* defined_in,
                                  CORBA::TypeCode_ptr tc);
  // Loading, before stream_to_object.
  CORBA_AbstractInterfaceDef_Impl(const char* id, const char* name,
                                  const char* version,
                                  CORBA_Repository_Impl* repository,
                                  const char* defined_in);
  ~CORBA_AbstractInterfaceDef_Impl() override;

  static CORBA_AbstractInterfaceDef_Impl* _narrow(CORBA_IRObject_Impl* p);
  // The abstract-interface TypeCode for an id and a name (caller owns).
  static CORBA::TypeCode_ptr abstract_typecode(const char* id,
                                               const char* name);

  // The interface's checks, except that every base must be an abstract
  // interface (so an empty list, which stands for Object, is refused) and
  // that every clash is base + 0x54.
  void base_interfaces(const CORBA::InterfaceDefSeq& bases) override;
  CORBA::InterfaceDefSeq* base_interfaces() override {
    return CORBA_InterfaceDef_Impl::base_interfaces();
  }

  IR_CONTAINER_FORWARDERS(refuse, refuse, refuse, refuse, refuse, refuse,
                          refuse, refuse, refuse, refuse, refuse, refuse)

 protected:
  CORBA::TypeCode_ptr make_typecode(const char* id, const char* name) override;
};

#endif
