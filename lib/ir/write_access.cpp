#include "ir/write_access.h"

#include <omniORB4/CORBA.h>

#include <cstring>

#include "platform/kald_error.h"
#include "platform/principal.h"

namespace {

// Set once at start-up, before the ORB serves requests; read-only
// afterwards.
AddressList& writers() {
  static AddressList list = [] {
    AddressList loopback;
    AddressList::parse("127.0.0.0/8,::1", &loopback);
    return loopback;
  }();
  return list;
}

// Changing operations that no prefix rule covers.
const char* const kChanging[] = {
    "destroy",
    "move",
    "ext_beginUserTransaction",
    "ext_endUserTransaction",
    "ext_cancelUserTransaction",
    "ext_set_comment",
    "ext_backup",
};

}  // namespace

void ir_set_writers(const AddressList& list) { writers() = list; }

bool ir_operation_changes(const char* operation) {
  if (!operation) return false;
  // Every create operation and every attribute setter changes something.
  if (std::strncmp(operation, "create_", 7) == 0 ||
      std::strncmp(operation, "_set_", 5) == 0)
    return true;
  for (const char* name : kChanging)
    if (std::strcmp(operation, name) == 0) return true;
  return false;
}

void ir_admit_request(const char* operation, const char* target) {
  if (!KALDEnterRequest()) return;  // nested, colocated or not remote
  KALDSetRequestTarget(target);
  if (!ir_operation_changes(operation)) return;
  std::string peer = KALDCurrentPrincipal();
  if (writers().contains(peer)) return;
  {
    omniORB::logger log("irserver: ");
    log << "refused " << operation << " on " << target << " from "
        << AddressList::host_of(peer).c_str() << " (" << peer.c_str()
        << "): not in the writers list\n";
  }
  throw CORBA::NO_PERMISSION(IR_MINOR_NOT_A_WRITER, CORBA::COMPLETED_NO);
}
