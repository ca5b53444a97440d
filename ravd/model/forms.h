// The forms that texts of certain types have: dates, addresses, encoded bytes.
#pragma once

#include <cstdint>
#include <string_view>

namespace ravd {

// Why text is no value of a parameter of that type code, as in "is no IP address"; null when it is one. The empty text
// is one of every type. Types without a form of their own take everything.
const char *form_problem(int type, std::string_view text);

// What minLength and maxLength count: the bytes that hexBinary and base64 stand for, else characters. text need not be
// well-formed.
int64_t text_length(int type, std::string_view text);
// "bytes" or "characters".
const char *length_unit(int type);

}  // namespace ravd
