#pragma once

#include <sqlite3.h>

#include <string>
#include <vector>

namespace msg_tarvel {

/** The texts that a connection runs. */
class StatementTrace {
 public:
  explicit StatementTrace(sqlite3* connection) : _connection(connection) {
    sqlite3_trace_v2(_connection, SQLITE_TRACE_STMT, &StatementTrace::record, this);
  }
  StatementTrace(const StatementTrace&) = delete;
  StatementTrace& operator=(const StatementTrace&) = delete;
  ~StatementTrace() { sqlite3_trace_v2(_connection, 0, nullptr, nullptr); }

  const std::vector<std::string>& texts() const { return _texts; }

 private:
  static int record(unsigned int /*event*/, void* self, void* /*statement*/, void* text) {
    static_cast<StatementTrace*>(self)->_texts.emplace_back(static_cast<const char*>(text));
    return 0;
  }

  sqlite3* _connection;
  std::vector<std::string> _texts;
};

}  // namespace msg_tarvel
