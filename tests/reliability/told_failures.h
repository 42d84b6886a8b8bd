#pragma once

// What the library tells, by codes and in the log, when something fails below what an owner calls.

#include <dlog.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
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

/** Whether `line` is that of a call of DBMgr or SqlStatement that gave `ret`. */
inline bool is_line_of(const std::string& line, int ret, const Numbers& numbers) {
  switch (ret) {
    case db::DB_ERR_EXEC:
      // SQLite has ended the transaction by itself.
      return is_told(line, "sqlite3_exec", numbers) ||
             contains(line, "(1) - (cannot rollback - no transaction is active)");
    case db::DB_ERR_STEP:
      return is_told(line, "sqlite3_step", numbers);
    case db::DB_ERR_PREPARE:
      return is_told(line, "sqlite3_open", numbers) || is_told(line, "sqlite3_prepare_v2", numbers);
    default:
      return ret == db::DB_ERR_OPEN && is_told(line, "sqlite3_open", numbers);
  }
}

/** The calls that gave `results`, one after the other, told of each failure with its number. */
inline void expect_told(const std::vector<int>& results, const Numbers& numbers) {
  std::vector<std::string> lines;
  for (const std::string& line : error_lines()) {
    if (contains(line, "() failed: (")) lines.push_back(line);
  }
  std::size_t next = 0;
  for (const int ret : results) {
    // No result is positive: such a one stands for an exception.
    if (ret >= db::DB_SUCCESS) continue;
    EXPECT_TRUE(next < lines.size() && is_line_of(lines[next], ret, numbers))
        << ret << ", line " << next << " of\n"
        << all_of(lines);
    ++next;
  }
  EXPECT_EQ(next, lines.size()) << "more is told than failed\n" << all_of(lines);
}

/** What db_create_indexes, which gave `ret`, tells of a failure. */
inline void expect_told_by_indexes(int ret, const Numbers& numbers) {
  if (ret >= db::DB_SUCCESS) return;
  EXPECT_TRUE(ret == db::DB_ERR_OPEN || ret == db::DB_ERR_EXEC) << ret;
  const std::string code = "(" + std::to_string(ret) + ")";
  const std::vector<std::string> errors = error_lines();
  const std::string text = all_of(errors);
  EXPECT_TRUE(is_told(text, "sqlite3_exec", numbers) || is_told(text, "sqlite3_open", numbers))
      << text;
  const auto told = std::count_if(errors.begin(), errors.end(), [&](const std::string& line) {
    return line == "[ERROR] beginTransaction() failed!" ||
           line == "[ERROR] endTransaction() failed: " + code ||
           (begins_with(line, "[ERROR] Creating index (") &&
            contains(line, ") failed! ret:" + code));
  });
  EXPECT_EQ(told, 1) << text;
}

/** What createDb, which gave `ret`, tells of a failure, in the end. */
inline void expect_told_by_making(int ret, const Numbers& numbers) {
  if (ret >= db::DB_SUCCESS) return;
  EXPECT_TRUE(ret == db::DB_ERR_OPEN || ret == db::DB_ERR_PREPARE || ret == db::DB_ERR_STEP ||
              ret == db::DB_ERR_EXEC)
      << ret;
  const std::string code = "(" + std::to_string(ret) + ")";
  const std::vector<std::string> errors = error_lines();
  const std::string text = all_of(errors);
  EXPECT_TRUE(is_told(text, "sqlite3_open", numbers) || is_told(text, "sqlite3_exec", numbers) ||
              is_told(text, "sqlite3_prepare_v2", numbers) ||
              is_told(text, "sqlite3_step", numbers))
      << text;
  EXPECT_TRUE(!errors.empty() && (errors.back() == "[ERROR] _createDbFile() failed: " + code ||
                                  errors.back() == "[ERROR] _createDbTables() failed: " + code))
      << text;
}

/** How many descriptors the process has, beside the one that it counts them with. */
inline std::ptrdiff_t open_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}) - 1;
}

}  // namespace msg_tarvel
