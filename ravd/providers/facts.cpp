// Small files of the kernel, and texts and times as live values.
#include "ravd/providers/facts.h"

#include <charconv>

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "ravd/json_text.h"

namespace ravd {

namespace {

constexpr size_t max_fact = 65536;
constexpr std::string_view blanks(" \t\r\n\0", 5);  // texts of a device tree end in a zero byte

std::string_view trimmed(std::string_view text) {
    const size_t start = text.find_first_not_of(blanks);
    if (start == text.npos) return {};
    return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

// Where the character after the first max_characters begins.
size_t cut_at(std::string_view text, size_t max_characters) {
    size_t count = 0;
    for (size_t i = 0; i < text.size(); i++) {
        const bool begins_character = (static_cast<unsigned char>(text[i]) & 0xc0) != 0x80;
        if (begins_character && count++ == max_characters) return i;
    }
    return text.size();
}

}  // namespace

std::optional<std::string> read_fact_at(int dir_fd, const char *path) {
    const Descriptor file(openat(dir_fd, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) return std::nullopt;
    std::string text;
    char chunk[4096];
    while (text.size() < max_fact) {
        const ssize_t got = read(file.get(), chunk, sizeof chunk);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return std::nullopt;
        if (got == 0) break;
        text.append(chunk, static_cast<size_t>(got));
    }
    return text;
}

std::optional<std::string> read_fact(const char *path) {
    return read_fact_at(AT_FDCWD, path);
}

std::optional<int64_t> read_number(const char *path) {
    const auto text = read_fact(path);
    if (!text) return std::nullopt;
    const std::string_view digits = trimmed(*text);
    int64_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
    return number;
}

std::string_view next_word(std::string_view &text, std::string_view stops) {
    const size_t end = text.find_first_of(stops);
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end);
    const size_t next = text.find_first_not_of(stops);
    text.remove_prefix(next == text.npos ? text.size() : next);
    return word;
}

Value text_value(std::string_view text, size_t max_characters) {
    std::string clean = clean_utf8(trimmed(text));
    clean.resize(cut_at(clean, max_characters));
    if (clean.empty()) return {};
    return clean;
}

std::string utc_text(time_t moment) {
    tm parts = {};
    if (!gmtime_r(&moment, &parts)) return "0001-01-01T00:00:00Z";
    char text[64];
    return std::string(text, strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts));
}

}  // namespace ravd
