// Record bodies: CDR encapsulations (a byte-order octet, then the fields
// with CDR alignment), on omniORB's cdrEncapsulationStream.  The ORB must
// be initialised before strings are written or read.
#ifndef IR_PLATFORM_ENCAP_IIOP_H
#define IR_PLATFORM_ENCAP_IIOP_H

#include <omniORB4/CORBA.h>

#include <cstdint>
#include <memory>
#include <vector>

class cdrEncapsulationStream;

// The field forms that records use.  Reads of a truncated or damaged
// body raise CORBA::MARSHAL.
class Encapsulation {
 public:
  virtual ~Encapsulation() = default;
  virtual void put_ulong(CORBA::ULong v) = 0;
  virtual CORBA::ULong get_ulong() = 0;
  virtual void put_boolean(CORBA::Boolean v) = 0;
  virtual CORBA::Boolean get_boolean() = 0;
  virtual void put_string(const char* s) = 0;
  // A new CORBA string; the caller frees it.
  virtual char* get_string() = 0;
  virtual void put_any(const CORBA::Any& a) = 0;
  virtual void get_any(CORBA::Any& a) = 0;
  // The bytes written so far.
  virtual std::vector<std::uint8_t> bytes() = 0;
};

class EncapIIOP : public Encapsulation {
 public:
  // An empty encapsulation to write into.
  EncapIIOP();
  // Reads `body` (copied; the caller's buffer may go).
  explicit EncapIIOP(const std::vector<std::uint8_t>& body);
  ~EncapIIOP() override;
  EncapIIOP(const EncapIIOP&) = delete;
  EncapIIOP& operator=(const EncapIIOP&) = delete;

  void put_ulong(CORBA::ULong v) override;
  CORBA::ULong get_ulong() override;
  void put_boolean(CORBA::Boolean v) override;
  CORBA::Boolean get_boolean() override;
  void put_string(const char* s) override;
  char* get_string() override;
  void put_any(const CORBA::Any& a) override;
  void get_any(CORBA::Any& a) override;
  std::vector<std::uint8_t> bytes() override;

 private:
  std::vector<std::uint8_t> input_;  // kept alive while the stream reads
  std::unique_ptr<cdrEncapsulationStream> stream_;
};

#endif
