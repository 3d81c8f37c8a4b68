// Text conversions of the JSON mapping: UTF-8, UTF-16, ISO-8859-1,
// base64 and the shortest decimal form of a float.
#ifndef IR_VALUES_TEXT_ENCODING_H
#define IR_VALUES_TEXT_ENCODING_H

#include <string>
#include <vector>

// The code points of the UTF-8 text `text`; false when it is not valid
// UTF-8 (overlong forms, surrogates and values above U+10FFFF included).
bool utf8_to_code_points(const std::string& text, std::u32string* out);

// Appends the UTF-8 form of `code_point` (at most U+10FFFF, no
// surrogate) to `out`.
void append_utf8(std::string& out, char32_t code_point);

// `bytes` as UTF-8 when they are valid UTF-8, else read as ISO-8859-1
// (the ORB's default code set for IDL strings) and converted.
std::string bytes_to_utf8(const std::string& bytes);

// UTF-16 code units of `code_points` (pairs for those above U+FFFF).
std::u16string to_utf16(const std::u32string& code_points);
// The UTF-8 text of UTF-16 code units; an unpaired surrogate becomes
// U+FFFD.
std::string utf16_to_utf8(const std::u16string& units);

// Standard base64 (RFC 4648, '=' padding, no line breaks); false on any
// other character or a bad length.
bool base64_decode(const std::string& text, std::vector<unsigned char>* out);
std::string base64_encode(const unsigned char* data, std::size_t size);

// The shortest decimal text that reads back as exactly `v` as a float,
// read as a double: 0.1f gives 0.1, not 0.10000000149011612.
double float_as_short_double(float v);

#endif
