#pragma once

// What the fast ways and the unit tests see of the private members of DBMgr.

#include <cstddef>

#include "msg-tarvel-common/db/DBMgr.h"

namespace msg_tarvel::db {

class DBMgrInternal {
 public:
  explicit DBMgrInternal(DBMgr* manager = DBMgr::getInstance()) : _manager(manager) {}

  static std::size_t instanceCount() {
    const std::lock_guard<std::mutex> lock(DBMgr::_mutex);
    return DBMgr::_instances.size();
  }
  static int onBusyHandler(int count) { return DBMgr::_onBusyHandler(nullptr, count); }
  /** Reports, under the name of compileStatement, that SQLite refused a text with `code`. */
  static void compileStatement(sqlite3* db, int code);
  static void onDestroyed() { DBMgr::_onDestroyed(); }

  sqlite3* handle() const { return _manager->_db; }
  int transactionDepth() const { return _manager->_transactionDepth; }
  int refCount() const { return _manager->_refCount; }
  int openDb() { return _manager->_openDb(); }
  int closeDb() { return _manager->_closeDb(); }
  int createDbFiles() { return _manager->_createDbFiles(); }
  int createDbTables() { return _manager->_createDbTables(); }
  bool doesTableExist(const char* name) { return _manager->_doesTableExist(name); }

 private:
  DBMgr* _manager;
};

}  // namespace msg_tarvel::db
