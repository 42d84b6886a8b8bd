#include "helpers/transaction.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_error.h>

#include "helpers/statements.h"
#include "helpers/store_error.h"

namespace msg_tarvel::helpers {

using db::DBMgr;

StoreSession::StoreSession() { db::init_db(); }

StoreSession::~StoreSession() { db::deinit_db(); }

Transaction::Transaction() {
  // As the store's maker does: the journal keeps its file, and with it group and mode.
  execute("PRAGMA journal_mode = PERSIST;", CANNOT_WRITE);
  const int ret = DBMgr::getInstance()->beginTransaction();
  if (ret != db::DB_SUCCESS) throw StoreError(CANNOT_WRITE, ret);
  try {
    execute("SAVEPOINT standing;", CANNOT_WRITE);
  } catch (...) {
    abandon_transaction();
    throw;
  }
}

Transaction::~Transaction() {
  if (_isOpen) abandon_transaction();
}

void Transaction::requireStanding() {
  // The savepoint can be released as long as the transaction around it is there.
  execute("RELEASE standing; SAVEPOINT standing;", CANNOT_WRITE);
}

void Transaction::commit() {
  requireStanding();
  // Made before: without memory for it nobody would learn that the outcome is unknown.
  const UnknownOutcome unknown(CANNOT_WRITE, db::DB_ERR_EXEC);
  if (DBMgr::getInstance()->endTransaction(true) != db::DB_SUCCESS) {
    throw UnknownOutcome(unknown);
  }
  _isOpen = false;
}

void abandon_transaction() {
  DBMgr* const store = DBMgr::getInstance();
  if (store->endTransaction(false) == db::DB_SUCCESS) return;
  // SQLite has undone everything itself and the manager still counts a transaction: it gets an
  // empty one to end. Statements that were compiled stay good, which no new connection would leave
  // them.
  if (store->execStatement("BEGIN;") == db::DB_SUCCESS &&
      store->endTransaction(false) == db::DB_SUCCESS) {
    return;
  }
  db::deinit_db();
  db::init_db();
}

}  // namespace msg_tarvel::helpers
