#pragma once

#include <string>

#include "../export.h"

struct sqlite3_stmt;

namespace msg_tarvel::db {

/**
 * One compiled SQL statement, finalized when the object is destroyed. DBMgr::compileStatement makes
 * them.
 *
 * Used only by the thread whose manager compiled it, and destroyed before that manager is. Bind
 * parameters count from 1, result columns from 0; indexes out of range and failed binds are not
 * reported. No function throws except getText, which may run out of memory.
 */
class MSG_TARVEL_EXPORT SqlStatement {
 public:
  /** Takes ownership of `statement`, which may be null (an empty SQL text). */
  explicit SqlStatement(sqlite3_stmt* statement);
  SqlStatement(const SqlStatement&) = delete;
  SqlStatement& operator=(const SqlStatement&) = delete;
  ~SqlStatement();

  /** DB_ROW for a row, DB_SUCCESS when done, DB_ERR_STEP for anything else. */
  int step();

  /** Makes the statement ready to run again, with every parameter NULL. */
  void reset();

  void bind(int index, int value);
  void bind(int index, long long value);
  /**
   * Binds `text` without copying it: it must stay alive and unchanged until the statement has run
   * to its end, is reset or destroyed. Null leaves the parameter as it is.
   */
  void bind(int index, const char* text);
  void bindNull(int index);

  /** Columns of the current row, converted as SQLite does; 0 for NULL. */
  int getInt(int column) const;
  long long getInt64(int column) const;
  /** The text up to its first NUL byte; empty for NULL. */
  std::string getText(int column) const;

 private:
  friend class SqlStatementInternal;

  void _finalize();

  sqlite3_stmt* _stmt;
};

}  // namespace msg_tarvel::db
