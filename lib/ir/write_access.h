// Who may change the repository.
//
// Every request that reaches the repository passes ir_admit_request
// first (the servant locator's preinvoke for definitions, the root's own
// dispatch for the root).  The decision is made once per remote request,
// by the name of the operation the client called and the client's
// address: an operation that changes the repository (creates, attribute
// setters, destroy, move, user transactions, comments, backup) from a
// client outside the writers list is refused with NO_PERMISSION (minor
// IR_MINOR_NOT_A_WRITER) and logged with the client's address and the
// operation; reads are open to every client.  Colocated calls (no peer)
// are the server's own and always pass, and so do the calls a request
// makes inside the server once it has been admitted.
#ifndef IR_IR_WRITE_ACCESS_H
#define IR_IR_WRITE_ACCESS_H

#include <string>

#include "platform/address_list.h"

// Replaces the writers list (default: loopback, 127.0.0.0/8 and ::1).
// Call before requests are served.
void ir_set_writers(const AddressList& writers);

// True when the operation `operation` (its GIOP name: "create_module",
// "_set_name", ...) changes the repository.
bool ir_operation_changes(const char* operation);

// The hook every request passes: records `target` (the object id the
// request is addressed to) for the request log and raises
// CORBA::NO_PERMISSION when a client that may not write calls a
// changing operation.  Takes no lock.
void ir_admit_request(const char* operation, const char* target);

#endif
