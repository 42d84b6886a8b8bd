#pragma once

// Statements on the calling thread's connection whose results nobody can forget to look at: each of
// these functions throws a StoreError, which begins with `purpose`, when the store refuses.

#include <msg-tarvel-common/db/SqlStatement.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace msg_tarvel::helpers {

/** Runs every statement of `sql`; rows are discarded. */
void execute(const std::string& sql, std::string_view purpose);

std::unique_ptr<db::SqlStatement> compile(const std::string& sql, std::string_view purpose);

/** Steps to the next row; false when there is none left. */
bool next_row(db::SqlStatement& statement, std::string_view purpose);

/** Runs a statement that returns no rows and makes it ready for the next time. */
void run(db::SqlStatement& statement, std::string_view purpose);

inline void bind_value(db::SqlStatement& statement, int index, int value) {
  statement.bind(index, value);
}
inline void bind_value(db::SqlStatement& statement, int index, long long value) {
  statement.bind(index, value);
}
inline void bind_value(db::SqlStatement& statement, int index, std::optional<long long> value) {
  if (value) {
    statement.bind(index, *value);
  } else {
    statement.bindNull(index);
  }
}
inline void bind_value(db::SqlStatement& statement, int index, const std::string& text) {
  statement.bind(index, text.c_str());
}

/** Binds the values to the parameters 1, 2, ...; texts are not copied and outlive the step. */
template <typename... Values>
void bind_all(db::SqlStatement& statement, const Values&... values) {
  int index = 0;
  (bind_value(statement, ++index, values), ...);
}

/** The number in the first row that a statement returns; 0 without one. */
template <typename... Values>
int number(const std::string& sql, std::string_view purpose, const Values&... values) {
  const auto statement = compile(sql, purpose);
  bind_all(*statement, values...);
  return next_row(*statement, purpose) ? statement->getInt(0) : 0;
}

}  // namespace msg_tarvel::helpers
