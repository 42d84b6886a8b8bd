#include "msg-tarvel-common/db/SqlStatement.h"

#include <sqlite3.h>

#include <cstring>

#include "db/SqlStatement_internal.h"
#include "log.h"
#include "msg-tarvel-common/db/db_error.h"

namespace msg_tarvel::db {

namespace {

/**
 * The statement of this thread that has lost a text which was bound to it: SQLite would run it all
 * the same, with other characters. Null for none.
 */
thread_local const SqlStatement* withLostText = nullptr;

void forget_lost_text(const SqlStatement* statement) {
  if (withLostText == statement) withLostText = nullptr;
}

}  // namespace

SqlStatement::SqlStatement(sqlite3_stmt* statement) : _stmt(statement) {}

SqlStatement::~SqlStatement() {
  forget_lost_text(this);
  if (_stmt) _finalize();
}

int SqlStatement::step() {
  return SqlStatementInternal::step(withLostText == this ? SQLITE_NOMEM : sqlite3_step(_stmt));
}

int SqlStatementInternal::step(int code) {
  if (code == SQLITE_ROW) return DB_ROW;
  if (code == SQLITE_DONE) return DB_SUCCESS;
  MSG_TARVEL_ERROR("sqlite3_step() failed: (%d)", code);
  return DB_ERR_STEP;
}

void SqlStatement::reset() {
  forget_lost_text(this);
  // An empty text has no handle, and SQLite would follow the null pointer when clearing it.
  if (!_stmt) return;

  if (const int code = sqlite3_reset(_stmt); code != SQLITE_OK) {
    MSG_TARVEL_WARN("sqlite3_reset() failed: (%d)", code);
  }
  if (const int code = sqlite3_clear_bindings(_stmt); code != SQLITE_OK) {
    MSG_TARVEL_WARN("sqlite3_clear_bindings() failed: (%d)", code);
  }
}

void SqlStatement::bind(int index, int value) { sqlite3_bind_int(_stmt, index, value); }

void SqlStatement::bind(int index, long long value) { sqlite3_bind_int64(_stmt, index, value); }

void SqlStatement::bind(int index, const char* text) {
  if (!text) return;
  const int code =
      sqlite3_bind_text(_stmt, index, text, static_cast<int>(std::strlen(text)), SQLITE_STATIC);
  if (code != SQLITE_NOMEM) return;
  // One is remembered; of another nothing is left that could run.
  if (withLostText && withLostText != this) {
    _finalize();
  } else {
    withLostText = this;
  }
}

void SqlStatement::bindNull(int index) { sqlite3_bind_null(_stmt, index); }

int SqlStatement::getInt(int column) const { return sqlite3_column_int(_stmt, column); }

long long SqlStatement::getInt64(int column) const { return sqlite3_column_int64(_stmt, column); }

std::string SqlStatement::getText(int column) const {
  const unsigned char* text = sqlite3_column_text(_stmt, column);
  if (text) return reinterpret_cast<const char*>(text);
  if (_stmt && sqlite3_errcode(sqlite3_db_handle(_stmt)) == SQLITE_NOMEM) LostTexts::add();
  return {};
}

thread_local unsigned LostTexts::count = 0;

void SqlStatement::_finalize() {
  if (!_stmt) {
    MSG_TARVEL_ERROR("no statement!");
    return;
  }
  if (const int code = sqlite3_finalize(_stmt); code != SQLITE_OK) {
    MSG_TARVEL_WARN("sqlite3_finalize() failed: (%d)", code);
  }
  _stmt = nullptr;
}

}  // namespace msg_tarvel::db
