#pragma once

// The part of the watch's log interface that the library calls.

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { LOG_ID_MAIN = 0 } log_id_t;

typedef enum {
  DLOG_DEBUG = 3,
  DLOG_INFO = 4,
  DLOG_WARN = 5,
  DLOG_ERROR = 6,
} log_priority;

/**
 * Writes one line to the log `log_id` under `tag`; `prio` is a log_priority, `fmt` and what follows
 * are as for printf. Returns a negative number on failure. May be called on any thread.
 */
int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 4, 5), visibility("default")));

#ifdef __cplusplus
}
#endif
