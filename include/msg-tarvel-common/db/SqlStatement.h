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
 * parameters count from 1, result columns from 0. A bind with an index out of range is not
 * reported; of one that memory fails the next step tells. No function throws but getText.
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

  /** Binds a number of 32 bits. */
  void bind(int index, int value);
  /** Binds a number of 64 bits. */
  void bind(int index, long long value);
  /**
   * Binds `text` without copying it: it must stay alive and unchanged until the statement has run
   * to its end, is reset or destroyed. Null leaves the parameter as it is.
   *
   * A store in UTF-16 keeps another text, and where SQLite lacks the memory to make it, no step
   * succeeds until the statement is reset; when a second statement meets with that before the first
   * is reset or destroyed, none of its steps succeeds any more.
   */
  void bind(int index, const char* text);
  /** Makes the parameter NULL. */
  void bindNull(int index);

  /** A column of the current row as SQLite converts it: the low 32 bits of a number, 0 for NULL. */
  int getInt(int column) const;
  /** The same with 64 bits. */
  long long getInt64(int column) const;
  /**
   * The text up to its first NUL byte; empty for NULL, and when SQLite lacks the memory to give it:
   * then the next step fails. Throws std::bad_alloc.
   */
  std::string getText(int column) const;

 private:
  friend class SqlStatementInternal;

  void _finalize();

  sqlite3_stmt* _stmt;
};

}  // namespace msg_tarvel::db
