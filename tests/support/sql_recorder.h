#pragma once

// What the library gives SQLite to run. Linked into a test program, the functions of
// sql_recorder.cpp stand in front of SQLite's own: they record every statement that is compiled and
// run, and make a step fail where no real error of the database would come at that moment.

#include <string>
#include <vector>

namespace msg_tarvel {

/** For programs that query on one thread. */
class SqlRecorder {
 public:
  static void clear();

  /** The texts compiled since the last clear, as they were given. */
  static std::vector<std::string> compiled();
  /** The statements stepped since the last clear, with their bound values put in. */
  static std::vector<std::string> run();

  /** Makes step number `step` (from 1) of the statement that contains `part` fail with `code`. */
  static void failStep(const std::string& part, int step, int code);
};

}  // namespace msg_tarvel
