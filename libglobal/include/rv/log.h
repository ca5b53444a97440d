// Assertions of the platform library: fatal, with a message on standard error.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Print "<text> (<condition>) at func <function>:<line> (<file>)" resp. the formatted text, and abort().
__attribute__((noreturn)) void __rv_log_assert(const char *text, const char *condition, const char *function, int line,
                                               const char *file);
__attribute__((noreturn, format(printf, 1, 2))) void __rv_log_assert_fmt(const char *format, ...);

#ifdef __cplusplus
}
#endif
