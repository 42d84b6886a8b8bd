#pragma once

// What the fast ways and the unit tests see of the private members of SqlStatement.

#include "msg-tarvel-common/db/SqlStatement.h"

namespace msg_tarvel::db {

class SqlStatementInternal {
 public:
  static void finalize(SqlStatement& statement) { statement._finalize(); }
  /** What step returns, and reports under its name, for SQLite's `code`. */
  static int step(int code);
  static sqlite3_stmt* handle(const SqlStatement& statement) { return statement._stmt; }
};

/**
 * Tells whether a text that the calling thread has read since could not be had for want of memory:
 * getText gives an empty one then, as for NULL, and SQLite fails the next step of that statement.
 * What one query has lost is its own failure, and no loss of a query around it.
 */
class LostTexts {
 public:
  LostTexts() : _before(count) {}
  LostTexts(const LostTexts&) = delete;
  LostTexts& operator=(const LostTexts&) = delete;
  ~LostTexts() { count = _before; }
  bool any() const { return count != _before; }
  /** Called by getText. */
  static void add() { ++count; }

 private:
  static thread_local unsigned count;

  unsigned _before;
};

}  // namespace msg_tarvel::db
