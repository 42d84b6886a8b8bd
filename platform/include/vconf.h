#pragma once

// The part of the watch's key-value settings that the library reads.

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The text stored under `in_key`, to be released with free(), or null when it cannot be read.
 * May be called on any thread.
 */
char* vconf_get_str(const char* in_key) __attribute__((visibility("default")));

/**
 * Stores the number kept under `in_key` in `*intval` and returns 0; returns a negative number, and
 * leaves `*intval` alone, when it cannot be read. May be called on any thread.
 */
int vconf_get_int(const char* in_key, int* intval) __attribute__((visibility("default")));

#ifdef __cplusplus
}
#endif
