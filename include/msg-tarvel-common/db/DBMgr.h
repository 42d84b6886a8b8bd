#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "../export.h"
#include "SqlStatement.h"

struct sqlite3;

/** The message store: connections, statements and queries. */
namespace msg_tarvel::db {

/**
 * The calling thread's connection to the message store.
 *
 * Every thread has a manager of its own; a manager, its connection and its statements are used by
 * that thread only. The connection is opened by the first statement and stays open as long as the
 * manager lives. A manager is destroyed by the deinit_db that matches the thread's first init_db;
 * one that is left over lives until the process exits, and a later thread that receives the same
 * thread id gets it. A child process must not use what its parent opened before the fork.
 *
 * Functions that return int return DB_SUCCESS or a negative code of db_error.h.
 */
class MSG_TARVEL_EXPORT DBMgr {
 public:
  DBMgr(const DBMgr&) = delete;
  DBMgr& operator=(const DBMgr&) = delete;

  /** The calling thread's manager, made if missing; never null. Takes no lock but the first time.
   */
  static DBMgr* getInstance();
  /** Counts a use of the calling thread's manager; see init_db. */
  static void initialize();
  /** Ends a use of the calling thread's manager; see deinit_db. */
  static void finalize();

  /** Runs every statement of `sql` and discards the rows. */
  int execStatement(const std::string& sql);

  /**
   * Begins a transaction, or enters the one that is running: only the outermost pair of
   * beginTransaction and endTransaction reaches the database. The write lock is taken at once, with
   * up to 2.1 s of waiting for it.
   */
  int beginTransaction();

  /**
   * Leaves the transaction; the outermost call commits or rolls back by its own argument alone.
   * When that fails, the transaction is still running and the call may be repeated. Without a
   * transaction it does nothing.
   */
  int endTransaction(bool commit);

  /** Compiles the first statement of `sql`; null on failure. The caller owns the result. */
  std::unique_ptr<SqlStatement> compileStatement(const std::string& sql);

  /**
   * Creates what is missing of the data directory, the database files and the tables. For the one
   * process that owns the store. Returns 0; -1 when a directory or file cannot be made; or the code
   * of what failed, with no table of this call left behind.
   */
  int createDb();

 private:
  friend class DBMgrInternal;

  DBMgr();
  ~DBMgr();

  int _openDb();
  int _closeDb();
  void _ref();
  void _unref();
  int _createDbFiles();
  int _createDbTables();
  bool _doesTableExist(const char* name);
  static int _onBusyHandler(void* unused, int count);
  static void _onDestroyed();

  static std::map<std::thread::id, DBMgr*> _instances;
  static std::mutex _mutex;
  static std::once_flag only_once;

  sqlite3* _db = nullptr;
  int32_t _transactionDepth = 0;
  int32_t _refCount = 0;
};

/**
 * Declares that the calling thread uses the store, until the matching deinit_db destroys its
 * manager and closes its connection. Calls nest.
 */
MSG_TARVEL_EXPORT void init_db();
MSG_TARVEL_EXPORT void deinit_db();

/** The paths below, each worked out on first use and kept for the life of the process. */
MSG_TARVEL_EXPORT extern std::string data_dir_path;
MSG_TARVEL_EXPORT extern std::string db_dir_path;
MSG_TARVEL_EXPORT extern std::string db_filepath;
MSG_TARVEL_EXPORT extern std::string db_journal_filepath;

/**
 * Where the application keeps its data (ending in "/"), the database directory in it, the database
 * file and its rollback journal. May be called on any thread. While the platform cannot tell the
 * data path, all four are empty and nothing is kept.
 */
MSG_TARVEL_EXPORT std::string get_data_dir_path();
MSG_TARVEL_EXPORT std::string get_db_dir_path();
MSG_TARVEL_EXPORT std::string get_db_filepath();
MSG_TARVEL_EXPORT std::string get_db_journal_filepath();

}  // namespace msg_tarvel::db
