// Replies that would not fit in one GIOP message.
//
// omniORB sends a large GIOP 1.2 reply in fragments as it marshals it and
// notices that the reply exceeds -ORBgiopMaxMsgSize only part way
// through; it then has to close the connection, and the client sees
// COMM_FAILURE on every request of that connection.  The operations that
// return lists measure their result first and refuse it with MARSHAL
// (minor MessageSizeExceedLimitOnServer, what omniORB itself reports)
// while nothing is sent yet.
#ifndef IR_IR_REPLY_LIMIT_H
#define IR_IR_REPLY_LIMIT_H

#include <omniORB4/CORBA.h>
#include <omniORB4/cdrStream.h>

#include <cstddef>

// The code sets that the size is counted with (an estimate for strings
// outside ASCII); set once the ORB runs.
omni::omniCodeSet::TCS_C* ir_counting_tcs_c();
omni::omniCodeSet::TCS_W* ir_counting_tcs_w();

// Raises CORBA::MARSHAL when a reply body of `bytes` does not fit in a
// message of omniORB's limit (with room for the GIOP and reply headers).
void ir_check_reply_bytes(std::size_t bytes, const char* context);

// Measures `result` as it would be marshalled and raises as
// ir_check_reply_bytes does.
template <class T>
void ir_check_reply_size(const T& result, const char* context) {
  cdrCountingStream count(ir_counting_tcs_c(), ir_counting_tcs_w());
  result >>= count;
  ir_check_reply_bytes(count.total(), context);
}

#endif
