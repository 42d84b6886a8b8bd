#include "msg-tarvel-common/db/db_indexes.h"

#include <string>

#include "db/index_definitions.h"
#include "log.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"

namespace msg_tarvel::db {

namespace {

/**
 * Rolls back. After some errors SQLite has done so itself, and the manager, which still counts a
 * transaction, gets an empty one to end.
 */
void give_up(DBMgr& store) {
  if (store.endTransaction(false) == DB_SUCCESS) return;
  if (store.execStatement("BEGIN;") == DB_SUCCESS) store.endTransaction(false);
}

int create_all(DBMgr& store, log::CallSite site) {
  for (const IndexDefinition& index : INDEXES) {
    const int ret = store.execStatement(std::string("CREATE INDEX IF NOT EXISTS ") + index.name +
                                        " ON " + index.definition + ";");
    if (ret != DB_SUCCESS) {
      MSG_TARVEL_ERROR_AT(site, "Creating index (%s) failed! ret:(%d)", index.name, ret);
      return ret;
    }
  }
  return DB_SUCCESS;
}

}  // namespace

int db_create_indexes() {
  DBMgr& store = *DBMgr::getInstance();
  if (const int ret = store.beginTransaction(); ret != DB_SUCCESS) {
    MSG_TARVEL_ERROR("beginTransaction() failed!");
    return ret;
  }
  int ret = DB_SUCCESS;
  try {
    ret = create_all(store, log::CallSite::here());
  } catch (...) {
    give_up(store);
    throw;
  }
  if (ret != DB_SUCCESS) {
    give_up(store);
    return ret;
  }
  ret = store.endTransaction(true);
  if (ret == DB_SUCCESS) return ret;
  MSG_TARVEL_ERROR("endTransaction() failed: (%d)", ret);
  give_up(store);
  return ret;
}

}  // namespace msg_tarvel::db
