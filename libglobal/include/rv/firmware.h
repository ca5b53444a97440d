// Versions of firmware: "MAJOR.MINOR.BUILD" in decimal, with an optional "-BRANCH". Nothing here prints.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// What rv_firmware_version_cmp() gives, negative when the new version is the older one.
enum { RV_FIRMWARE_BUILD = 1, RV_FIRMWARE_MINOR = 2, RV_FIRMWARE_MAJOR = 3, RV_FIRMWARE_BRANCH = 2147483647 };

// How the version next differs from current: 0 when they are equal; the code of the first number that differs; and
// RV_FIRMWARE_BRANCH, by the byte order of the texts, when the branches differ or a text has another form. Numbers have
// no limit, and leading zeros count for nothing.
int rv_firmware_version_cmp(const char *current, const char *next);

#ifdef __cplusplus
}
#endif
