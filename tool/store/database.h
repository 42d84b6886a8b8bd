#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

#include "exit_status.h"

namespace msg_tarvel::tool {

/** SQLite refused; what() is its reason in words for a user. */
class DatabaseFailure : public Failure {
 public:
  explicit DatabaseFailure(sqlite3* handle);
  explicit DatabaseFailure(int code);

  int code() const { return _code; }

 private:
  int _code;
};

/** As a name in a statement. */
std::string quoted_name(const std::string& name);

/** The rows of a query, one after the other. */
class Rows {
 public:
  Rows(sqlite3* handle, const std::string& sql);

  Rows& bind(int index, long long value);
  Rows& bind(int index, const std::string& text);

  /** False behind the last one. Throws DatabaseFailure. */
  bool next();
  sqlite3_stmt* statement() const { return _statement.get(); }
  void reset() { sqlite3_reset(_statement.get()); }

  long long number(int column) const { return sqlite3_column_int64(_statement.get(), column); }
  /** The text up to its first NUL byte; empty for NULL. */
  std::string text(int column) const;

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  sqlite3* _handle;
  std::unique_ptr<sqlite3_stmt, Finalizer> _statement;
};

/** A database beside the library's connection, or that connection itself. */
class Database {
 public:
  /** Opens a file that is there. Throws DatabaseFailure. */
  explicit Database(const std::string& path, int flags = SQLITE_OPEN_READWRITE);
  /** Somebody else's, who closes it. */
  explicit Database(sqlite3* handle) : _handle(handle), _isOwn(false) {}
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database();

  sqlite3* handle() const { return _handle; }

  Rows query(const std::string& sql) const { return {_handle, sql}; }
  /** The number in the first row; 0 without one. */
  long long number(const std::string& sql) const;
  /** Runs every statement of `sql`; rows are discarded. */
  void execute(const std::string& sql) const;

 private:
  sqlite3* _handle = nullptr;
  bool _isOwn = true;
};

}  // namespace msg_tarvel::tool
