// Log lines on standard error: formatted, escaped and written with one call, so that lines never mix.
#include "ravd/log.h"

#include <cerrno>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>

#include <stdarg.h>
#include <stdio.h>
#include <unistd.h>

namespace ravd {

namespace {

LogLevel log_limit = LogLevel::info;
bool tell_all = false;

constexpr int notice = 5;
constexpr size_t kept_bytes = 256 * 1024;

// The lines that were written last. Threads of the workers log, too.
class Recent {
 public:
    void keep(std::string_view line) {
        const std::lock_guard lock(mutex_);
        bytes_ += line.size();
        lines_.emplace_back(line);
        while (bytes_ > kept_bytes) {
            bytes_ -= lines_.front().size();
            lines_.pop_front();
        }
    }
    std::string text() {
        const std::lock_guard lock(mutex_);
        std::string all;
        for (const std::string &line : lines_) all += line;
        return all;
    }

 private:
    std::mutex mutex_;
    std::deque<std::string> lines_;
    size_t bytes_ = 0;
};

Recent recent;

void append_escaped(std::string &line, const char *text) {
    for (; *text; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (byte >= 0x20 && byte < 0x7f) {
            line += *text;
        } else {
            char escape[5];
            snprintf(escape, sizeof escape, "\\x%02x", byte);
            line += escape;
        }
    }
}

void put_line(int priority, const char *text, bool is_kept = true) {
    const int saved = errno;
    std::string line = "<" + std::to_string(priority) + ">";
    append_escaped(line, text);
    line += '\n';
    if (is_kept) recent.keep(std::string_view(line).substr(line.find('>') + 1));
    // A log that cannot be written has nowhere to be reported.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
    errno = saved;
}

__attribute__((format(printf, 2, 0))) void write_line(LogLevel level, const char *format, va_list arguments) {
    if (!log_tells(level)) return;
    const int saved = errno;
    char text[2048];
    vsnprintf(text, sizeof text, format, arguments);
    errno = saved;
    put_line(static_cast<int>(level), text);
}

}  // namespace

void log_set_level(LogLevel level) {
    log_limit = level;
}

void log_tell_all(bool all) {
    tell_all = all;
}

bool log_tells(LogLevel level) {
    return level <= log_limit || tell_all;
}

std::string log_recent() {
    return recent.text();
}

void log_once(const std::string &text) {
    put_line(notice, text.c_str(), false);
}

void log_audit(const std::string &text) {
    put_line(notice, text.c_str());
}

void log_error(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_line(LogLevel::error, format, arguments);
    va_end(arguments);
}

void log_warning(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_line(LogLevel::warning, format, arguments);
    va_end(arguments);
}

void log_info(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_line(LogLevel::info, format, arguments);
    va_end(arguments);
}

void log_debug(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    write_line(LogLevel::debug, format, arguments);
    va_end(arguments);
}

}  // namespace ravd
