#pragma once

#include <sqlite3.h>

#include <string>

#include "db/SqlStatement_internal.h"
#include "msg-tarvel-common/db/SqlStatement.h"

namespace msg_tarvel::db {

/** A statement of which nothing reaches the log by itself. */
class QuietStatement {
 public:
  QuietStatement(sqlite3* db, const std::string& sql)
      : _code(sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size()), &_handle, nullptr)),
        _statement(_handle) {}
  QuietStatement(const QuietStatement&) = delete;
  QuietStatement& operator=(const QuietStatement&) = delete;
  /** The reset forgets a failure, which finalizing would report. */
  ~QuietStatement() {
    if (!_isAloud) sqlite3_reset(_handle);
  }

  /** What compiling it gave. */
  int code() const { return _code; }
  bool isCompiled() const { return _handle != nullptr; }
  sqlite3_stmt* handle() const { return _handle; }
  SqlStatement& row() { return _statement; }
  int step() { return sqlite3_step(_handle); }

  /** Has the end of the statement report a failure of its last step, as SqlStatement's does. */
  void finalizeAloud() { _isAloud = true; }

 private:
  sqlite3_stmt* _handle = nullptr;
  int _code;
  SqlStatement _statement;
  bool _isAloud = false;
};

}  // namespace msg_tarvel::db
