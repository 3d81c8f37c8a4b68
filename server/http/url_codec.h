// Percent-encoding of URL parts and parsing of query strings, strict:
// malformed input is an error for the caller to report, never guessed at.
#ifndef IR_SERVER_HTTP_URL_CODEC_H
#define IR_SERVER_HTTP_URL_CODEC_H

#include <string>
#include <utility>
#include <vector>

// Decodes %XX escapes (and, with `plus_is_space`, '+' as a space, as
// HTML forms send queries).  False on a '%' not followed by two hex
// digits or on a decoded NUL.
bool percent_decode(const std::string& in, bool plus_is_space,
                    std::string* out);

// Encodes every byte except A-Z a-z 0-9 - . _ ~ and the bytes of `keep`.
std::string percent_encode(const std::string& in, const char* keep = "");

using QueryParams = std::vector<std::pair<std::string, std::string>>;

// Parses "a=1&b=x+y" (empty pieces are skipped; "a" alone has the value
// ""). Returns "" on success, else what is wrong.
std::string parse_query(const std::string& query, QueryParams* out);

// Splits a path ("/a/b%2Fc/") into decoded segments ({"a", "b/c"}; a
// trailing '/' adds nothing).  Returns "" on success, else what is wrong.
std::string split_path(const std::string& path,
                       std::vector<std::string>* segments);

#endif
