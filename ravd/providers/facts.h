// What several providers need: small files of the kernel, and texts and times as live values.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "ravd/descriptor.h"
#include "ravd/model/value.h"

namespace ravd {

// The first 64 KiB of a file, read from the folder dir_fd (AT_FDCWD for the current one). nullopt when it can't be
// read. Never waits: a FIFO reads as empty.
std::optional<std::string> read_fact_at(int dir_fd, const char *path);
std::optional<std::string> read_fact(const char *path);
// The number that a file consists of; nullopt when there is no such file or it holds anything else.
std::optional<int64_t> read_number(const char *path);

// The part of text up to any of the stop characters, which is cut from it together with the stops after it.
std::string_view next_word(std::string_view &text, std::string_view stops);

// text as a live value: without control characters, broken UTF-8, and blanks around it; at most max_characters long.
// Unset when nothing is left.
Value text_value(std::string_view text, size_t max_characters);

// A moment as a dateTime in UTC, "2024-02-29T12:00:00Z".
std::string utc_text(time_t moment);

// A kernel counter as an unsignedLong, and as an unsignedInt, which starts again from 0 like the counter would.
inline Value long_counter(uint64_t count) {
    return static_cast<int64_t>(count & INT64_MAX);
}
inline Value short_counter(uint64_t count) {
    return static_cast<int64_t>(count & UINT32_MAX);
}

}  // namespace ravd
