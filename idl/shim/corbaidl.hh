// omniidl's generated code includes this for <corbaidl.idl>; omniORB
// itself provides those definitions.
#include <omniORB4/CORBA.h>
