// Paths of parts of a JSON value in error messages:
// "args[1].entries[3].name".
#ifndef IR_VALUES_JSON_PATH_H
#define IR_VALUES_JSON_PATH_H

#include <nlohmann/json.hpp>
#include <string>

// Appends one step to `path` for its lifetime: a member (".name", or
// "name" at the start) or an index ("[3]").
class PathStep {
 public:
  PathStep(std::string& path, const std::string& member)
      : path_(path), size_(path.size()) {
    if (!path_.empty()) path_ += '.';
    path_ += member;
  }
  PathStep(std::string& path, std::size_t index)
      : path_(path), size_(path.size()) {
    path_ += "[" + std::to_string(index) + "]";
  }
  ~PathStep() { path_.resize(size_); }
  PathStep(const PathStep&) = delete;
  PathStep& operator=(const PathStep&) = delete;

 private:
  std::string& path_;
  std::size_t size_;
};

// How deep values may nest (structs in sequences in values ...): deeper
// JSON or CDR is refused rather than exhausting the stack.
constexpr int kMaxNesting = 1000;

// Counts one level of nesting in `depth` for its lifetime.
class NestingLevel {
 public:
  explicit NestingLevel(int& depth) : depth_(++depth) {}
  ~NestingLevel() { --depth_; }
  NestingLevel(const NestingLevel&) = delete;
  NestingLevel& operator=(const NestingLevel&) = delete;
  bool too_deep() const { return depth_ > kMaxNesting; }
  static std::string message() {
    return "nested deeper than " + std::to_string(kMaxNesting) + " levels";
  }

 private:
  int& depth_;
};

// A short JSON text of `v` for messages (at most about 40 characters).
inline std::string json_preview(const nlohmann::ordered_json& v) {
  std::string text =
      v.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  if (text.size() > 40) text = text.substr(0, 37) + "...";
  return text;
}

#endif
