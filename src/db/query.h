#pragma once

// What every query does: compile, step, read and report. Each function logs on behalf of the query
// that calls it.

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "db/SqlStatement_internal.h"
#include "log.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/SqlStatement.h"
#include "msg-tarvel-common/db/db_error.h"

namespace msg_tarvel::db {

/** Finding nothing is no failure. */
inline bool is_failure(int ret) { return ret != DB_SUCCESS && ret != DB_NO_DATA; }

/** Null, and a line in the log, when `sql` cannot be compiled. */
inline std::unique_ptr<SqlStatement> compile(const std::string& sql,
                                             log::CallSite site = log::CallSite::here()) {
  auto statement = DBMgr::getInstance()->compileStatement(sql);
  if (!statement) MSG_TARVEL_ERROR_AT(site, "compileStatement() failed!");
  return statement;
}

/** The wordings in which a failed step is reported. */
enum class StepFailure { PLAIN, EXCLAIMED, WITH_CODE };

inline void log_step_failure(StepFailure wording, int ret, log::CallSite site) {
  switch (wording) {
    case StepFailure::PLAIN:
      MSG_TARVEL_ERROR_AT(site, "step() failed");
      break;
    case StepFailure::EXCLAIMED:
      MSG_TARVEL_ERROR_AT(site, "step() failed!");
      break;
    case StepFailure::WITH_CODE:
      MSG_TARVEL_ERROR_AT(site, "step failed: (%d)", ret);
      break;
  }
}

/** How a list query words its failures. */
struct ListFailures {
  StepFailure firstStep;
  StepFailure laterStep;
  /** The reader's name when it can fail. */
  const char* reader;
};

/** The wording of the lists whose parameters are bound. */
constexpr ListFailures BOUND_LIST_FAILURES = {StepFailure::WITH_CODE, StepFailure::WITH_CODE,
                                              nullptr};

/** The step behind a row that lost a text: it reports why, and never gives a row. */
inline int step_behind_lost_text(SqlStatement& statement) {
  statement.step();
  return DB_ERR_STEP;
}

/**
 * Steps `statement`, whose first step gave `ret`, to its end and appends to `items` what `readRow`
 * makes of each row.
 */
template <typename Item>
int append_rows(SqlStatement& statement, int ret, int (*readRow)(SqlStatement&, Item&),
                const ListFailures& failures, std::vector<Item>& items, log::CallSite site) {
  StepFailure stepFailure = failures.firstStep;
  while (ret == DB_ROW) {
    Item item;
    const LostTexts lost;
    const int readRet = readRow(statement, item);
    if (readRet != DB_SUCCESS) {
      if (failures.reader) MSG_TARVEL_ERROR_AT(site, "%s() failed!", failures.reader);
      return readRet;
    }
    if (lost.any()) {
      ret = step_behind_lost_text(statement);
      break;
    }
    items.push_back(std::move(item));
    stepFailure = failures.laterStep;
    ret = statement.step();
  }
  if (ret != DB_SUCCESS) {
    log_step_failure(stepFailure, ret, site);
    return ret;
  }
  return items.empty() ? DB_NO_DATA : DB_SUCCESS;
}

/** Compiles `sql` and appends its rows to `items`. */
template <typename Item>
int query_list(const std::string& sql, int (*readRow)(SqlStatement&, Item&),
               const ListFailures& failures, std::vector<Item>& items,
               log::CallSite site = log::CallSite::here()) {
  const auto statement = compile(sql, site);
  if (!statement) return DB_ERR_PREPARE;
  return append_rows(*statement, statement->step(), readRow, failures, items, site);
}

/** Reads the first row of `statement`, whose first step gave `ret`. */
template <typename Item>
int read_first(SqlStatement& statement, int ret, int (*readRow)(SqlStatement&, Item&),
               const char* reader, Item& item, log::CallSite site) {
  if (ret == DB_ERR_STEP) {
    log_step_failure(StepFailure::PLAIN, ret, site);
    return ret;
  }
  if (ret != DB_ROW) return DB_NO_DATA;

  const LostTexts lost;
  const int readRet = readRow(statement, item);
  if (readRet == DB_SUCCESS && lost.any()) {
    log_step_failure(StepFailure::PLAIN, step_behind_lost_text(statement), site);
    return DB_ERR_STEP;
  }
  if (readRet != DB_SUCCESS && reader) MSG_TARVEL_ERROR_AT(site, "%s() failed!", reader);
  return readRet;
}

/** Compiles `sql` and reads its first row; `reader` names a reader whose failure is reported. */
template <typename Item>
int query_first(const std::string& sql, int (*readRow)(SqlStatement&, Item&), const char* reader,
                Item& item, log::CallSite site = log::CallSite::here()) {
  const auto statement = compile(sql, site);
  if (!statement) return DB_ERR_PREPARE;
  return read_first(*statement, statement->step(), readRow, reader, item, site);
}

/** Reports, for a public function, that its worker failed. */
inline int report_failure(const char* worker, int ret, log::CallSite site = log::CallSite::here()) {
  if (is_failure(ret)) MSG_TARVEL_ERROR_AT(site, "%s() failed: (%d)", worker, ret);
  return ret;
}

}  // namespace msg_tarvel::db
