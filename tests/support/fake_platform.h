#pragma once

// The platform as the tests want it: log lines are recorded, settings come from a map, and the data
// directory is whatever a test says. Linked into a test program, its four functions replace those
// of the platform library.

#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace msg_tarvel {

/** One line of the log, taken apart; the text as it was printed is in `raw`. */
struct LogLine {
  int priority = 0;
  std::string tag;
  std::string file;
  std::string function;
  int line = 0;
  std::string colour;
  std::string message;
  std::string raw;
};

/** What a test expects of a log line: everything but the line number. */
struct ExpectedLine {
  int priority;
  std::string colour;
  std::string file;
  std::string function;
  std::string message;
};

bool operator==(const LogLine& actual, const ExpectedLine& expected);
bool operator==(const ExpectedLine& a, const ExpectedLine& b);
std::ostream& operator<<(std::ostream& out, const LogLine& line);
std::ostream& operator<<(std::ostream& out, const ExpectedLine& line);

ExpectedLine error_line(const std::string& file, const std::string& function,
                        const std::string& message);
ExpectedLine warn_line(const std::string& file, const std::string& function,
                       const std::string& message);
ExpectedLine info_line(const std::string& file, const std::string& function,
                       const std::string& message);

/** The fake platform of the process. All functions may be called on any thread. */
class FakePlatform {
 public:
  static FakePlatform& get();

  /** The lines logged so far; malformed ones have an empty `file`. */
  std::vector<LogLine> lines() const;
  /** The lines logged so far without those at info priority. */
  std::vector<LogLine> problems() const;
  void clearLines();
  /** Called with every line, after it is recorded, on the thread that logs it. */
  void onLog(std::function<void(const LogLine&)> hook);

  // Settings; a key that is not set cannot be read.
  void set(const std::string& key, const std::string& value);
  void set(const std::string& key, int value);
  void makeUnreadable(const std::string& key);
  /**
   * Makes vconf_get_int return `result` for a key; without a value it leaves the caller's variable
   * as it is.
   */
  void answer(const std::string& key, int result, std::optional<int> value);
  /** What vconf_get_int returns for an unreadable key. */
  static constexpr int UNREADABLE = -7;
  /** How often a key was asked for. */
  int reads(const std::string& key) const;

  /** What app_get_data_path gives; none: null. */
  void setDataPath(std::optional<std::string> path);

 private:
  FakePlatform();
};

}  // namespace msg_tarvel
