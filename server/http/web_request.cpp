#include "http/web_request.h"

#include <algorithm>

std::string QueryReader::text(const std::string& name) {
  known_.push_back(name);
  std::string value;
  int seen = 0;
  for (const auto& p : query_) {
    if (p.first != name) continue;
    if (++seen > 1)
      throw HttpError(400, "parameter '" + name + "' is given more than once");
    value = p.second;
  }
  return value;
}

std::vector<std::string> QueryReader::all(const std::string& name) {
  known_.push_back(name);
  std::vector<std::string> values;
  for (const auto& p : query_)
    if (p.first == name) values.push_back(p.second);
  return values;
}

unsigned long QueryReader::number(const std::string& name,
                                  unsigned long fallback, unsigned long max) {
  bool present = std::any_of(query_.begin(), query_.end(),
                             [&](const auto& p) { return p.first == name; });
  std::string value = text(name);
  if (!present) return fallback;
  if (value.empty() || value.size() > 10 ||
      value.find_first_not_of("0123456789") != std::string::npos)
    throw HttpError(400, "parameter '" + name +
                             "' must be a whole number from 0 to " +
                             std::to_string(max));
  unsigned long n = std::stoul(value);
  if (n > max)
    throw HttpError(
        400, "parameter '" + name + "' must be at most " + std::to_string(max));
  return n;
}

bool QueryReader::flag(const std::string& name, bool fallback) {
  bool present = std::any_of(query_.begin(), query_.end(),
                             [&](const auto& p) { return p.first == name; });
  std::string value = text(name);
  if (!present) return fallback;
  if (value.empty() || value == "1" || value == "true" || value == "yes" ||
      value == "on")
    return true;
  if (value == "0" || value == "false" || value == "no" || value == "off")
    return false;
  throw HttpError(400, "parameter '" + name + "' must be true or false");
}

void QueryReader::finish() const {
  for (const auto& p : query_)
    if (std::find(known_.begin(), known_.end(), p.first) == known_.end())
      throw HttpError(400, "unknown parameter '" + p.first + "'");
}
