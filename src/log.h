#pragma once

// Log lines of the library: "<source file>: <function>(<line>) > <colour><message><reset>\n".
//
// The format is always a string literal, so data cannot reach it: the macros paste it between the
// prefix and the reset escape, and the compiler checks it against the arguments.

#include <dlog.h>

namespace msg_tarvel::log {

constexpr const char* base_name(const char* path) {
  const char* base = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '/') base = at + 1;
  }
  return base;
}

/**
 * The place a log line belongs to, for a helper that logs on behalf of its caller. It names the
 * caller's file too, so such a helper may live in any file.
 */
struct CallSite {
  /** A base name. */
  const char* file;
  const char* function;
  int line;

  static constexpr CallSite here(const char* file = __builtin_FILE(),
                                 const char* function = __builtin_FUNCTION(),
                                 int line = __builtin_LINE()) {
    return {base_name(file), function, line};
  }
};

}  // namespace msg_tarvel::log

#define MSG_TARVEL_COLOUR_RED "\033[0;31m"
#define MSG_TARVEL_COLOUR_GREEN "\033[0;32m"
#define MSG_TARVEL_COLOUR_MAGENTA "\033[0;35m"
#define MSG_TARVEL_COLOUR_RESET "\033[0;m"

// The reset escape is the last argument of every line, which keeps the argument list non-empty.
#define MSG_TARVEL_LOG_(file, function, line, priority, colour, format, ...)                    \
  __dlog_print(LOG_ID_MAIN, priority, "MSG_TARVEL", "%s: %s(%d) > " colour format "%s\n", file, \
               function, line, __VA_ARGS__)
#define MSG_TARVEL_LOG_HERE_(priority, colour, ...)                                             \
  MSG_TARVEL_LOG_(::msg_tarvel::log::base_name(__FILE__), __func__, __LINE__, priority, colour, \
                  __VA_ARGS__, MSG_TARVEL_COLOUR_RESET)
#define MSG_TARVEL_LOG_AT_(site, priority, colour, ...)                                     \
  MSG_TARVEL_LOG_((site).file, (site).function, (site).line, priority, colour, __VA_ARGS__, \
                  MSG_TARVEL_COLOUR_RESET)

/** A red line that begins with "[ERROR] ". */
#define MSG_TARVEL_ERROR(...) \
  MSG_TARVEL_LOG_HERE_(DLOG_ERROR, MSG_TARVEL_COLOUR_RED "[ERROR] ", __VA_ARGS__)
/** A red line without the prefix. */
#define MSG_TARVEL_ERROR_BARE(...) \
  MSG_TARVEL_LOG_HERE_(DLOG_ERROR, MSG_TARVEL_COLOUR_RED, __VA_ARGS__)
#define MSG_TARVEL_WARN(...) MSG_TARVEL_LOG_HERE_(DLOG_WARN, MSG_TARVEL_COLOUR_MAGENTA, __VA_ARGS__)
#define MSG_TARVEL_INFO(...) MSG_TARVEL_LOG_HERE_(DLOG_INFO, MSG_TARVEL_COLOUR_GREEN, __VA_ARGS__)

/** The same lines on behalf of the place that `site` names. */
#define MSG_TARVEL_ERROR_AT(site, ...) \
  MSG_TARVEL_LOG_AT_(site, DLOG_ERROR, MSG_TARVEL_COLOUR_RED "[ERROR] ", __VA_ARGS__)
#define MSG_TARVEL_INFO_AT(site, ...) \
  MSG_TARVEL_LOG_AT_(site, DLOG_INFO, MSG_TARVEL_COLOUR_GREEN, __VA_ARGS__)
