// Fatal assertions.
#include "rv/log.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

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
