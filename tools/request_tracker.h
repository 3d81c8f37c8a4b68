// The operation of the last request that this thread sent, so that a
// failure can name the operation that the repository refused.
#ifndef IR_TOOLS_REQUEST_TRACKER_H
#define IR_TOOLS_REQUEST_TRACKER_H

#include <omniORB4/CORBA.h>

#include <string>

// Installs the client interceptor that notes each request's operation;
// call once, after ORB_init.
void track_requests();

// The operation of the last request sent by this thread; "" before any.
const std::string& last_operation();

// A failed call in words, naming the operation when one was sent:
// "the repository refused create_interface: CORBA::NO_PERMISSION (...)"
// for a refusal, "create_interface: CORBA::BAD_PARAM (...)" otherwise.
std::string failure_text(const CORBA::Exception& e);

#endif
