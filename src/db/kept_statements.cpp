#include "db/kept_statements.h"

#include <array>
#include <map>
#include <mutex>
#include <utility>

#include "db/DBMgr_internal.h"
#include "db/db_common_funcs_internal.h"
#include "db/fast_queries.h"

namespace msg_tarvel::db {

namespace {

using KeptStatements = std::array<std::unique_ptr<QuietStatement>, 5>;

// By connection, since the exit hook closes those of all threads.
std::map<sqlite3*, KeptStatements> keptStatements;
std::mutex keptMutex;

/** Exchanges what is kept for `statement`. */
void exchange(sqlite3* db, KeptText text, std::unique_ptr<QuietStatement>& statement) {
  const std::lock_guard<std::mutex> lock(keptMutex);
  keptStatements[db][static_cast<std::size_t>(text)].swap(statement);
}

std::string sql_of(KeptText text) {
  switch (text) {
    case KeptText::MESSAGE:
      return std::string(SELECT_MESSAGE) + "WHERE msgId = ? ORDER BY displayTime DESC;";
    case KeptText::CONVERSATION:
      return std::string(SELECT_CONVERSATION) + "WHERE msgId = ?;";
    case KeptText::ADDRESSES:
      return std::string(SELECT_ADDRESS) + "WHERE convId = ?;";
    case KeptText::CONTENTS:
      return std::string(SELECT_CONTENT) + "WHERE msgId = ?;";
    case KeptText::NMS_META:
      break;
  }
  return std::string(SELECT_NMS_META) + "WHERE msgId = ?;";
}

}  // namespace

LookUp::LookUp(KeptText text, int key, const std::string& sql, log::CallSite site) : _text(text) {
  if (fastQueriesAreOn && _runKept(key, site)) return;
  _plain = compile(sql, site);
  if (!_plain) return;
  _plain->bind(1, key);
  _firstStep = _plain->step();
}

/** A statement that was not kept was left by a failure, which the end of it repeats. */
LookUp::~LookUp() {
  if (_kept) _kept->finalizeAloud();
}

/** False when the defined text is to run. */
bool LookUp::_runKept(int key, log::CallSite site) {
  const DBMgrInternal manager;
  if (!manager.handle()) return false;
  exchange(manager.handle(), _text, _kept);
  if (!_kept) _kept = std::make_unique<QuietStatement>(manager.handle(), sql_of(_text));
  if (_kept->code() == SQLITE_BUSY) {
    DBMgrInternal::compileStatement(manager.handle(), SQLITE_BUSY);
    MSG_TARVEL_ERROR_AT(site, "compileStatement() failed!");
    _kept.reset();
    return true;
  }
  const bool hadTransaction = sqlite3_get_autocommit(manager.handle()) == 0;
  int code = SQLITE_ERROR;
  if (_kept->isCompiled()) {
    sqlite3_bind_int(_kept->handle(), 1, key);
    code = _kept->step();
  }
  // Where the failure rolled the caller's transaction back, another try would find another store.
  const bool isLost = hadTransaction && sqlite3_get_autocommit(manager.handle()) != 0;
  if (code == SQLITE_ROW || code == SQLITE_DONE || code == SQLITE_BUSY || isLost) {
    _firstStep = SqlStatementInternal::step(code);
    return true;
  }
  _kept.reset();
  return false;
}

void LookUp::keep() {
  if (!_kept) return;
  sqlite3_reset(_kept->handle());
  exchange(sqlite3_db_handle(_kept->handle()), _text, _kept);
  _kept.reset();
}

void forget_kept_statements(sqlite3* db) {
  const std::lock_guard<std::mutex> lock(keptMutex);
  keptStatements.erase(db);
}

}  // namespace msg_tarvel::db
