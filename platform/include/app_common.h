#pragma once

// The part of the watch's application framework that the library calls.

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The application's data directory, ending in "/", to be released with free(); null on failure.
 * May be called on any thread.
 */
char* app_get_data_path(void) __attribute__((visibility("default")));

#ifdef __cplusplus
}
#endif
