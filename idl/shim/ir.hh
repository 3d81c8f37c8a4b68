// omniidl's generated code includes this for <ir.idl>; omniORB provides
// the interface repository stubs and skeletons when built with
// ENABLE_CLIENT_IR_SUPPORT.
#include <omniORB4/CORBA.h>
