// Bytes as hex digits.
#pragma once

#include <span>
#include <string>

namespace ravd {

// Two digits a byte, lower case.
inline std::string hex_digits(std::span<const unsigned char> bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const unsigned char byte : bytes) (text += digits[byte >> 4]) += digits[byte & 15];
    return text;
}

}  // namespace ravd
