#pragma once

// What the library tells, by codes and in the log, when something fails below what an owner calls.

#include <dlog.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "support/fake_platform.h"

namespace msg_tarvel {

inline bool contains(const std::string& text, const std::string& piece) {
  return text.find(piece) != std::string::npos;
}

inline bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

/** So that the next use opens the store, and reads all that it needs. */
inline void close_store() {
  db::init_db();
  db::deinit_db();
}

/** The numbers that SQLite gives to what fails. */
using Numbers = std::vector<int>;

/** Whether `lines` say that `function` of SQLite's failed with one of the numbers. */
inline bool is_told(const std::string& lines, const std::string& function, const Numbers& numbers) {
  return std::any_of(numbers.begin(), numbers.end(), [&](int number) {
    return contains(lines, function + "() failed: (" + std::to_string(number) + ")");
  });
}

/** The errors in the log. */
inline std::vector<std::string> error_lines() {
  std::vector<std::string> errors;
  for (const LogLine& line : FakePlatform::get().lines()) {
    if (line.priority == DLOG_ERROR) errors.push_back(line.message);
  }
  return errors;
}

inline std::string all_of(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

}  // namespace msg_tarvel
