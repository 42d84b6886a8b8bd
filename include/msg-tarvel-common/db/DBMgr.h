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
 * \code
 * init_db();
 * DBMgr* const store = DBMgr::getInstance();
 * if (store->beginTransaction() == DB_SUCCESS) {
 *   const int ret = store->execStatement("UPDATE msg_message_table SET read = 1 WHERE msgId = 7;");
 *   if (store->endTransaction(ret == DB_SUCCESS) != DB_SUCCESS) store->endTransaction(false);
 * }
 * deinit_db();
 * \endcode
 *
 * Every thread has a manager of its own; a manager, its connection and its statements are used by
 * that thread only. The connection is opened by the first statement and stays open as long as the
 * manager lives. A manager is destroyed by the deinit_db that matches the thread's first init_db;
 * one that is left over lives until the process exits, and a later thread that receives the same
 * thread id gets it.
 *
 * When a process exits, managers that are left are destroyed, also under threads that are still at
 * work with them. End or join such threads before main returns or exit is called, or leave by
 * _exit or quick_exit, which skip this.
 *
 * A child process must not use the library's connections, and must open none of its own while any
 * thread of its parent had one at the fork; that includes deinit_db. Let it exec, or fork before
 * the first use. Its exit leaves the parent's connections alone, also where other threads were at
 * work. A program that it execs inherits no connection, and createDb's own descriptors only in the
 * moment in which the files are made.
 *
 * dlclose closes the connections and unloads the library; threads that used it may have ended or
 * end later, but not in that moment.
 *
 * An open that fails is tried again by the next statement and keeps a handle of about 1.5 KB, which
 * is not given back: do not ask again and again for a store that is not there (a query each second
 * is 130 MB a day); wait longer from one try to the next, or until the file is readable. An open
 * that finds the file for reading only succeeds, and the connection stays such a one until
 * deinit_db.
 *
 * Functions that return int return DB_SUCCESS or a negative code of db_error.h. Every function may
 * throw std::bad_alloc; a transaction that was running then still is.
 */
class MSG_TARVEL_EXPORT DBMgr {
 public:
  DBMgr(const DBMgr&) = delete;
  DBMgr& operator=(const DBMgr&) = delete;

  /**
   * The calling thread's manager, made if missing; never null. Takes no lock but the first time.
   * Throws std::system_error when the lock itself fails.
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
   * When that fails, the transaction is still running and the call may be repeated. When rolling
   * back fails too, SQLite has ended the transaction by itself, or lacks the memory to: with
   * memory, only a new connection goes on then: deinit_db, init_db. Without a transaction it does
   * nothing.
   *
   * After a commit that returned 0 every other process sees the transaction. After a power cut it
   * is still there if the connection is in the journal mode PERSIST; in SQLite's default mode,
   * DELETE, the last one may be gone.
   */
  int endTransaction(bool commit);

  /** Compiles the first statement of `sql`; null on failure. The caller owns the result. */
  std::unique_ptr<SqlStatement> compileStatement(const std::string& sql);

  /**
   * Creates what is missing of the data directory, the database files and the tables. For the one
   * process that owns the store, outside any transaction. Returns 0; -1 when a directory or file
   * cannot be made; or the code of what failed, with no table of this call left behind.
   *
   * The result of the last commit is not looked at. When it fails, 0 is returned all the same,
   * nobody else sees the tables, and the transaction is still running, so that no later commit
   * reaches SQLite. An owner therefore ends it, which does nothing and returns 0 where nothing is
   * open:
   *
   * \code
   * const bool isMade = store->createDb() == 0 && store->endTransaction(true) == 0;
   * \endcode
   *
   * When that is false, call endTransaction(false), and give up or try both again. If that fails
   * too, SQLite has ended the transaction by itself, and only a new connection goes on: deinit_db,
   * init_db. When createDb throws std::bad_alloc, what it began is rolled back.
   *
   * The files are readable for everyone from their birth until their mode is set. An owner keeps
   * others out by making the directories first (0755) and calling this under umask 0077.
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
 * manager and closes its connection. Calls nest. Both throw std::bad_alloc.
 */
MSG_TARVEL_EXPORT void init_db();
/** Ends what init_db began; every statement of the thread must be destroyed by then. */
MSG_TARVEL_EXPORT void deinit_db();

/** What get_data_dir_path gives, once it was asked for; empty before. Not to be written. */
MSG_TARVEL_EXPORT extern std::string data_dir_path;
/** What get_db_dir_path gives, once it was asked for. */
MSG_TARVEL_EXPORT extern std::string db_dir_path;
/** What get_db_filepath gives, once it was asked for. */
MSG_TARVEL_EXPORT extern std::string db_filepath;
/** What get_db_journal_filepath gives, once it was asked for. */
MSG_TARVEL_EXPORT extern std::string db_journal_filepath;

// Each of the four below may be called on any thread, is worked out once and holds for the life of
// the process. While the platform cannot tell the data path, all are empty and nothing is kept.
// They throw std::bad_alloc.

/** Where the application keeps its data; ends in "/". */
MSG_TARVEL_EXPORT std::string get_data_dir_path();
/** The directory "dbspace" in it, which holds the database. */
MSG_TARVEL_EXPORT std::string get_db_dir_path();
/** The database file. */
MSG_TARVEL_EXPORT std::string get_db_filepath();
/** The rollback journal beside it. */
MSG_TARVEL_EXPORT std::string get_db_journal_filepath();

}  // namespace msg_tarvel::db
