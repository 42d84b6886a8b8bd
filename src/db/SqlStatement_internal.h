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

}  // namespace msg_tarvel::db
