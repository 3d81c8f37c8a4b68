// A store handle names one record of the store by its key, the
// repository id of the definition.
#ifndef IR_STORE_STORE_HANDLE_H
#define IR_STORE_STORE_HANDLE_H

#include <cstdint>
#include <string>
#include <vector>

class StoreHandle {
 public:
  // `data` and `flag` are carried for callers that tag a handle; the
  // store itself only reads the key.
  explicit StoreHandle(std::string key, std::vector<std::uint8_t> data = {},
                       int flag = 0)
      : key_(std::move(key)), data_(std::move(data)), flag_(flag) {}

  const char* key() const { return key_.c_str(); }
  const std::string& key_string() const { return key_; }
  const std::vector<std::uint8_t>& data() const { return data_; }
  int flag() const { return flag_; }

 private:
  std::string key_;
  std::vector<std::uint8_t> data_;
  int flag_;
};

#endif
