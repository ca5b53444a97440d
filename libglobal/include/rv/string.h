// Numbers in text, and the string hash.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Read a number from the first len bytes of text, all of which must belong to it: no blanks around it, no empty text,
// an optional sign ("-" only where the type has one). base 0 takes "0x" for 16, a leading "0" for 8, else 10.
// Return 0 and set *value; or -1 and leave *value as it was: not wholly a number, or out of range for the type.
int rv_string_strntol(const char *text, size_t len, int base, int32_t *value);
int rv_string_strntoul(const char *text, size_t len, int base, uint32_t *value);
// A decimal number with an optional fraction and exponent; "inf" and "nan" are refused.
int rv_string_strntod(const char *text, size_t len, double *value);

// A fixed 32-bit hash of text. Null has a hash that no text of at least one byte has.
uint32_t rv_string_get_hash(const char *text);

#ifdef __cplusplus
}
#endif
