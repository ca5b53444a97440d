// Compact JSON written straight into a text: how ravd builds its replies.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <jansson.h>

namespace ravd {

// Append text as a JSON string, quotes included. text must be UTF-8: see clean_utf8() for texts from outside.
void append_json_string(std::string &out, std::string_view text);
void append_json_integer(std::string &out, int64_t value);
// Always with a fraction or an exponent, so that it reads back as a real; what is not finite is written as 0.0.
void append_json_real(std::string &out, double value);
// Append a jansson value, compact.
void append_json(std::string &out, const json_t *value);

// text without control characters (C0, DEL and C1) and without bytes that are not UTF-8: what a live value from the
// machine or its network goes through, so that no value can drive a terminal.
std::string clean_utf8(std::string_view text);

// From here on the memory of JSON values is overwritten when they are freed, for a request may hold a password. To be
// called before there are any.
void wipe_freed_json();

}  // namespace ravd
