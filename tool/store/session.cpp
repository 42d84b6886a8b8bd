#include "store/session.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_error.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "failure.h"
#include "store/log_sink.h"

namespace msg_tarvel::tool {

StoreSession::StoreSession() { db::init_db(); }

StoreSession::~StoreSession() { db::deinit_db(); }

void require_store() {
  const std::string path = db::get_db_filepath();
  if (path.empty()) throw Failure("there is no place for a message store: HOME is not set");
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) {
    if (S_ISREG(status.st_mode)) return;
    throw Failure("the message store " + path + " is not a file");
  }
  if (errno == ENOENT || errno == ENOTDIR) {
    throw Failure("no message store at " + path + "; make one with 'msg-tarvel create'");
  }
  throw Failure("cannot read the message store " + path + ": " + std::strerror(errno));
}

bool is_found(int result, const std::string& what) {
  if (result == db::DB_SUCCESS) return true;
  // Some queries take a failed step for the end of the rows.
  if (result == db::DB_NO_DATA && !has_database_error()) return false;
  fail_with_log(what);
}

Transaction::Transaction() {
  forget_log_errors();
  db::DBMgr* const store = db::DBMgr::getInstance();
  // As the store's maker does: the journal keeps its file, and with it group and mode.
  if (store->execStatement("PRAGMA journal_mode = PERSIST;") != db::DB_SUCCESS ||
      store->beginTransaction() != db::DB_SUCCESS) {
    fail_with_log("cannot write the message store");
  }
  _open = true;
}

Transaction::~Transaction() {
  if (_open) db::DBMgr::getInstance()->endTransaction(false);
}

void Transaction::commit() {
  forget_log_errors();
  if (db::DBMgr::getInstance()->endTransaction(true) != db::DB_SUCCESS) {
    fail_with_log("cannot write the message store");
  }
  _open = false;
}

}  // namespace msg_tarvel::tool
