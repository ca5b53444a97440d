// Assertions of the platform library, fatal, with a message on standard error; and its log, which goes wherever the
// program says.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Print "<text> (<condition>) at func <function>:<line> (<file>)" resp. the formatted text, and abort().
__attribute__((noreturn)) void __rv_log_assert(const char *text, const char *condition, const char *function, int line,
                                               const char *file);
__attribute__((noreturn, format(printf, 1, 2))) void __rv_log_assert_fmt(const char *format, ...);

// Takes one line of the log, without a line feed; the text is valid during the call.
typedef void (*rv_log_sink)(const char *text);
// Where the log goes from now on; null for nowhere, as at the start.
void rv_log_set_sink(rv_log_sink sink);
// Hands the formatted text to the sink, cut to 1023 bytes. Prints nothing.
__attribute__((format(printf, 1, 2))) void rv_log_error(const char *format, ...);

#ifdef __cplusplus
}
#endif
