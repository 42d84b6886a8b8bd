#pragma once

// SQLite and the system as a test wants them to fail. Linked into a test program, the functions of
// sqlite_faults.cpp stand in front of SQLite's own and of usleep and access: they record the calls
// of the library, fail those that a test names, and pass on the rest.

#include <cerrno>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace msg_tarvel {

class SqliteFaults {
 public:
  /**
   * Makes the next `times` calls of `call` for `text` return `code`: "exec" and "prepare" with
   * their SQL text, "step" with the statement's, "metadata" with the table's name;
   * "clear_bindings", "busy_handler" and "close" with "". A connection whose close fails stays
   * open.
   */
  static void fail(const std::string& call, const std::string& text, int code, int times = 1);

  /**
   * Makes call number `number` (of those that are recorded, from 1, counted from here on) return
   * `code`, once.
   */
  static void failCall(std::size_t number, int code);
  /** Runs `action` once, just before call number `number`, counted in the same way. */
  static void onCall(std::size_t number, std::function<void()> action);
  /** Whether the call that either of them waits for has come. */
  static bool hasCallCome();

  /** Makes access() refuse to say that a file may be read, for this reason. */
  static void refuseReading(int reason = EACCES);

  /** The recorded calls since the last clear, as "exec TEXT", "step TEXT", "close", ... */
  static std::vector<std::string> calls();
  static void clearCalls();

  /** How long the library wanted to sleep, in microseconds; it never does. */
  static std::vector<unsigned int> sleeps();
  /** Called in place of every sleep. */
  static void onSleep(std::function<void()> action);

  /** Called after every close of the library's that succeeds. */
  static void onClose(std::function<void()> action);
};

}  // namespace msg_tarvel
