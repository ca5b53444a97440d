// Fatal assertions, and the log.
#include "rv/log.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

namespace {

rv_log_sink log_sink;

}  // namespace

void __rv_log_assert(const char *text, const char *condition, const char *function, int line, const char *file) {
    __rv_log_assert_fmt("%s (%s) at func %s:%d (%s)", text, condition, function, line, file);
}

void __rv_log_assert_fmt(const char *format, ...) {
    va_list args;
    va_start(args, format);
    vfprintf(stderr, format, args);
    va_end(args);
    fputc('\n', stderr);
    abort();
}

void rv_log_set_sink(rv_log_sink sink) {
    log_sink = sink;
}

void rv_log_error(const char *format, ...) {
    if (!log_sink) return;
    char text[1024];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    log_sink(text);
}
