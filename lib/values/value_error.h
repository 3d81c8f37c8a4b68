// The error of a JSON value that does not fit its IDL type.
#ifndef IR_VALUES_VALUE_ERROR_H
#define IR_VALUES_VALUE_ERROR_H

#include <stdexcept>
#include <string>

// what() is "<path>: <message>", e.g.
// "args[1].entries[3].name: expected a string, got 12"; just the message
// when the path is empty.  A path of more than 120 characters (deep
// recursion) shows its start and its end.
class ValueError : public std::runtime_error {
 public:
  ValueError(const std::string& path, const std::string& message)
      : std::runtime_error(path.empty() ? message
                                        : shortened(path) + ": " + message),
        path_(path),
        message_(message) {}

  const std::string& path() const { return path_; }
  const std::string& message() const { return message_; }

 private:
  static std::string shortened(const std::string& path) {
    if (path.size() <= 120) return path;
    return path.substr(0, 55) + "..." + path.substr(path.size() - 55);
  }

  std::string path_;
  std::string message_;
};

#endif
