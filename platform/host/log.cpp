// For development machines, never for the watch, whose system has this function itself. The log is
// GLib's structured log writer, that is the journal or standard error, whichever GLib finds. Errors
// and warnings show by default, the rest when G_MESSAGES_DEBUG asks for it.

#include <dlog.h>
#include <glib.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

namespace {

GLogLevelFlags level_of(int priority) {
  // Not G_LOG_LEVEL_ERROR: GLib ends the process after such a line.
  if (priority >= DLOG_ERROR) return G_LOG_LEVEL_CRITICAL;
  if (priority == DLOG_WARN) return G_LOG_LEVEL_WARNING;
  if (priority == DLOG_INFO) return G_LOG_LEVEL_INFO;
  return G_LOG_LEVEL_DEBUG;
}

/** The PRIORITY field of the journal, as syslog numbers it. */
const char* journal_priority(GLogLevelFlags level) {
  switch (level) {
    case G_LOG_LEVEL_CRITICAL:
      return "3";
    case G_LOG_LEVEL_WARNING:
      return "4";
    case G_LOG_LEVEL_INFO:
      return "6";
    default:
      return "7";
  }
}

const char* colour_of(GLogLevelFlags level) {
  switch (level) {
    case G_LOG_LEVEL_CRITICAL:
      return "\033[0;31m";
    case G_LOG_LEVEL_WARNING:
      return "\033[0;35m";
    default:
      return "\033[0;32m";
  }
}

/** `line` without its colour escapes and trailing newlines. */
std::string plain(const std::string& line) {
  std::string text;
  for (std::size_t at = 0; at < line.size();) {
    if (line.compare(at, 2, "\033[") == 0) {
      const std::size_t end = line.find_first_not_of("0123456789;", at + 2);
      if (end != std::string::npos && line[end] == 'm') {
        at = end + 1;
        continue;
      }
    }
    text += line[at++];
  }
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

#if GLIB_CHECK_VERSION(2, 68, 0)

void send_everything_to_stderr() {
  static std::once_flag once;
  std::call_once(once, [] { g_log_writer_default_set_use_stderr(TRUE); });
}

/**
 * On a terminal the line keeps the colour of its priority. GLib's own writer would show the escapes
 * as text, so the line is formatted by GLib and coloured here. False when this is not the place.
 */
bool wrote_to_terminal(GLogLevelFlags level, const char* tag, const GLogField* fields,
                       gsize count) {
  if (!g_log_writer_supports_color(STDERR_FILENO)) return false;
  if (g_log_writer_default_would_drop(level, tag)) return true;
  char* line = g_log_writer_format_fields(level, fields, count, FALSE);
  std::fprintf(stderr, "%s%s\033[0;m\n", colour_of(level), line);
  g_free(line);
  return true;
}

#else

void send_everything_to_stderr() {}

bool wrote_to_terminal(GLogLevelFlags, const char*, const GLogField*, gsize) { return false; }

#endif

}  // namespace

int __dlog_print(log_id_t /*log_id*/, int prio, const char* tag, const char* fmt, ...) {
  std::va_list arguments;
  va_start(arguments, fmt);
  char* const line = g_strdup_vprintf(fmt, arguments);
  va_end(arguments);
  const std::string text = plain(line);
  g_free(line);

  const GLogLevelFlags level = level_of(prio);
  const GLogField fields[] = {{"MESSAGE", text.c_str(), -1},
                              {"PRIORITY", journal_priority(level), -1},
                              {"GLIB_DOMAIN", tag, -1}};
  send_everything_to_stderr();
  if (!wrote_to_terminal(level, tag, fields, G_N_ELEMENTS(fields))) {
    g_log_structured_array(level, fields, G_N_ELEMENTS(fields));
  }
  return static_cast<int>(text.size());
}
