#include "store/database.h"

#include "store/connections.h"
#include "store/log_sink.h"
#include "store/work_time.h"

namespace msg_tarvel::tool {

DatabaseFailure::DatabaseFailure(sqlite3* handle)
    : Failure(in_words({sqlite3_errcode(handle) & 0xFF, sqlite3_errmsg(handle)})),
      _code(sqlite3_errcode(handle) & 0xFF) {}

DatabaseFailure::DatabaseFailure(int code)
    : Failure(in_words({code & 0xFF, sqlite3_errstr(code)})), _code(code & 0xFF) {}

std::string quoted_name(const std::string& name) {
  std::string quoted = "\"";
  for (const char character : name) quoted.append(character == '"' ? 2 : 1, character);
  return quoted + "\"";
}

Rows::Rows(sqlite3* handle, const std::string& sql) : _handle(handle) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    throw DatabaseFailure(handle);
  }
  _statement.reset(statement);
}

Rows& Rows::bind(int index, long long value) {
  if (sqlite3_bind_int64(_statement.get(), index, value) != SQLITE_OK) {
    throw DatabaseFailure(_handle);
  }
  return *this;
}

Rows& Rows::bind(int index, const std::string& text) {
  if (sqlite3_bind_text(_statement.get(), index, text.c_str(), -1, SQLITE_TRANSIENT) != SQLITE_OK) {
    throw DatabaseFailure(_handle);
  }
  return *this;
}

bool Rows::next() {
  const Step step;
  const int code = sqlite3_step(_statement.get());
  if (code != SQLITE_ROW && code != SQLITE_DONE) throw DatabaseFailure(_handle);
  return code == SQLITE_ROW;
}

std::string Rows::text(int column) const {
  const unsigned char* const text = sqlite3_column_text(_statement.get(), column);
  return text ? reinterpret_cast<const char*>(text) : "";
}

Database::Database(const std::string& path, int flags) {
  if (sqlite3_open_v2(path.c_str(), &_handle, flags, nullptr) == SQLITE_OK) {
    limit_waits(_handle);
    return;
  }
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closed(_handle, &sqlite3_close);
  throw DatabaseFailure(_handle);
}

Database::~Database() {
  if (_isOwn) sqlite3_close(_handle);
}

long long Database::number(const std::string& sql) const {
  Rows rows = query(sql);
  return rows.next() ? rows.number(0) : 0;
}

void Database::execute(const std::string& sql) const {
  if (sqlite3_exec(_handle, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw DatabaseFailure(_handle);
  }
}

}  // namespace msg_tarvel::tool
