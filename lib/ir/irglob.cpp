#include "ir/irglob.h"

#include "ir/reposito.h"
#include "ir/servant_locator.h"

IrGlobalObject* kaldIrGlobalObject = nullptr;

namespace {
IrGlobalObject the_global_object;
}

IrGlobalObject::IrGlobalObject() { kaldIrGlobalObject = this; }

IrGlobalObject::~IrGlobalObject() {
  // At process exit the ORB may already be gone; irserver and the tests
  // call reset() while it still runs.
  kaldIrGlobalObject = nullptr;
}

void IrGlobalObject::reset() {
  CORBA_Repository_Impl* first = repository;
  CORBA_Repository_Impl* second = second_repository;
  repository = nullptr;
  second_repository = nullptr;
  if (second) second->_remove_ref();
  if (first) {
    // The INS POA holds a reference while the root is activated there.
    ir_deactivate_root(first);
    first->_remove_ref();
  }
}
