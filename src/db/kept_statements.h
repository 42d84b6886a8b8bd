#pragma once

// The look-ups by id, compiled once for a connection instead of once for each call.

#include <memory>
#include <string>

#include "db/query.h"
#include "db/quiet_statement.h"

namespace msg_tarvel::db {

enum class KeptText { MESSAGE, CONVERSATION, ADDRESSES, CONTENTS, NMS_META };

/**
 * One look-up, run to its first row: by a kept statement, or, at any failure of it but a lock, by
 * the defined text, freshly compiled. Results and log lines are those of the defined way.
 */
class LookUp {
 public:
  /** `sql` is the defined text, with `key` in it or to be bound to it. */
  LookUp(KeptText text, int key, const std::string& sql, log::CallSite site);
  LookUp(const LookUp&) = delete;
  LookUp& operator=(const LookUp&) = delete;
  ~LookUp();

  /** False when nothing could be compiled, which is reported. */
  explicit operator bool() const { return _kept || _plain; }
  SqlStatement& statement() { return _kept ? _kept->row() : *_plain; }
  /** What the first step gave; a failure of SQLite's is reported. */
  int firstStep() const { return _firstStep; }

  /** To be called when the rows are read: resets a kept statement at once and keeps it. */
  void keep();

 private:
  bool _runKept(int key, log::CallSite site);

  KeptText _text;
  std::unique_ptr<QuietStatement> _kept;
  std::unique_ptr<SqlStatement> _plain;
  int _firstStep = DB_ERR_PREPARE;
};

/** query_first for a look-up by `key`. */
template <typename Item>
int look_first_up(KeptText text, int key, const std::string& sql,
                  int (*readRow)(SqlStatement&, Item&), const char* reader, Item& item,
                  log::CallSite site = log::CallSite::here()) {
  LookUp lookUp(text, key, sql, site);
  if (!lookUp) return DB_ERR_PREPARE;
  const int ret = read_first(lookUp.statement(), lookUp.firstStep(), readRow, reader, item, site);
  if (!is_failure(ret)) lookUp.keep();
  return ret;
}

/** query_list for a look-up by `key`. */
template <typename Item>
int look_list_up(KeptText text, int key, const std::string& sql,
                 int (*readRow)(SqlStatement&, Item&), const ListFailures& failures,
                 std::vector<Item>& items, log::CallSite site = log::CallSite::here()) {
  LookUp lookUp(text, key, sql, site);
  if (!lookUp) return DB_ERR_PREPARE;
  const int ret =
      append_rows(lookUp.statement(), lookUp.firstStep(), readRow, failures, items, site);
  if (!is_failure(ret)) lookUp.keep();
  return ret;
}

/** Finalizes what is kept for `db`, which is about to be closed. */
void forget_kept_statements(sqlite3* db);

}  // namespace msg_tarvel::db
