#include "ir/reply_limit.h"

#include <omniORB4/codeSets.h>

#include <string>

#include "platform/qor_log.h"

namespace {
const char kFile[] = "lib/ir/reply_limit";
// The GIOP header, the reply header and its service contexts.
constexpr std::size_t kHeaderRoom = 4096;
const GIOP::Version kGiop12 = {1, 2};
}  // namespace

omni::omniCodeSet::TCS_C* ir_counting_tcs_c() {
  static omni::omniCodeSet::TCS_C* tcs =
      omni::omniCodeSet::getTCS_C(omni::omniCodeSet::ID_8859_1, kGiop12);
  return tcs;
}

omni::omniCodeSet::TCS_W* ir_counting_tcs_w() {
  static omni::omniCodeSet::TCS_W* tcs =
      omni::omniCodeSet::getTCS_W(omni::omniCodeSet::ID_UTF_16, kGiop12);
  return tcs;
}

void ir_check_reply_bytes(std::size_t bytes, const char* context) {
  const std::size_t limit = omniORB::giopMaxMsgSize();
  if (bytes + kHeaderRoom <= limit) return;
  std::string text = std::string(context ? context : "") + ": a reply of " +
                     std::to_string(bytes) +
                     " bytes exceeds the message limit of " +
                     std::to_string(limit) + " bytes";
  QORLogError(kFile, __LINE__, text.c_str());
  throw CORBA::MARSHAL(omni::MARSHAL_MessageSizeExceedLimitOnServer,
                       CORBA::COMPLETED_NO);
}
