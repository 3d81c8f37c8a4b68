#include "platform/encap_iiop.h"

#include <omniORB4/cdrStream.h>

#include <cstring>

EncapIIOP::EncapIIOP() : stream_(new cdrEncapsulationStream(256, 1)) {}

EncapIIOP::EncapIIOP(const std::vector<std::uint8_t>& body) : input_(body) {
  if (input_.empty()) throw CORBA::MARSHAL(0, CORBA::COMPLETED_NO);
  stream_.reset(new cdrEncapsulationStream(
      input_.data(), static_cast<CORBA::ULong>(input_.size()), 1));
}

EncapIIOP::~EncapIIOP() = default;

void EncapIIOP::put_ulong(CORBA::ULong v) { v >>= *stream_; }

CORBA::ULong EncapIIOP::get_ulong() {
  CORBA::ULong v;
  v <<= *stream_;
  return v;
}

void EncapIIOP::put_boolean(CORBA::Boolean v) { stream_->marshalBoolean(v); }

CORBA::Boolean EncapIIOP::get_boolean() { return stream_->unmarshalBoolean(); }

void EncapIIOP::put_string(const char* s) {
  stream_->marshalString(s ? s : "");
}

char* EncapIIOP::get_string() { return stream_->unmarshalString(); }

void EncapIIOP::put_any(const CORBA::Any& a) { a >>= *stream_; }

void EncapIIOP::get_any(CORBA::Any& a) { a <<= *stream_; }

std::vector<std::uint8_t> EncapIIOP::bytes() {
  const std::uint8_t* begin =
      static_cast<const std::uint8_t*>(stream_->bufPtr());
  return std::vector<std::uint8_t>(begin, begin + stream_->bufSize());
}
