// The process-wide global object: the repository roots of the process.
#ifndef IR_IR_IRGLOB_H
#define IR_IR_IRGLOB_H

class CORBA_Repository_Impl;

class IrGlobalObject {
 public:
  IrGlobalObject();
  // Destroys the roots that exist.
  ~IrGlobalObject();
  IrGlobalObject(const IrGlobalObject&) = delete;
  IrGlobalObject& operator=(const IrGlobalObject&) = delete;

  // Destroys both roots now (tests, and irserver's shutdown before the
  // ORB goes).
  void reset();

  CORBA_Repository_Impl* repository = nullptr;
  CORBA_Repository_Impl* second_repository = nullptr;
};

extern IrGlobalObject* kaldIrGlobalObject;

#endif
