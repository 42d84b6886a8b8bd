// The paths of the message store, the connection that every thread has to it, and the creation of
// its files and tables.

#include "msg-tarvel-common/db/DBMgr.h"

#include <app_common.h>
#include <fcntl.h>
#include <pthread.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "db/DBMgr_internal.h"
#include "db/bounded_text.h"
#include "db/db_schema.h"
#include "db/kept_statements.h"
#include "log.h"
#include "msg-tarvel-common/db/db_error.h"
#include "utility/platform_string.h"

namespace msg_tarvel::db {

std::string data_dir_path;
std::string db_dir_path;
std::string db_filepath;
std::string db_journal_filepath;

namespace {

constexpr mode_t DIRECTORY_MODE = 0755;
constexpr mode_t FILE_CREATION_MODE = 0644;
constexpr mode_t FILE_MODE = 0660;
constexpr gid_t FILE_GROUP = 5000;

constexpr int CREATION_FAILED = -1;

constexpr const char* PERSIST_JOURNAL = "PRAGMA journal_mode = PERSIST;";

// Strings that are there already: where memory has run out, a transaction can still be ended.
const std::string COMMIT = "COMMIT TRANSACTION";
const std::string ROLLBACK = "ROLLBACK TRANSACTION";

constexpr int BUSY_LAST_COUNT = 5;
constexpr useconds_t BUSY_WAIT_MICROSECONDS = 100000;

// Guards the four path strings: any thread may be the first to ask for one.
std::mutex pathMutex;

// Each fills one path string if it is empty. False when the platform has no data path to tell: then
// nothing is kept, so that no store is ever made in whatever the working directory is.

bool fill_data_dir_path() {
  if (!data_dir_path.empty()) return true;
  const common_util::PlatformString path(app_get_data_path());
  if (!path) {
    MSG_TARVEL_ERROR("app_get_data_path() failed!");
    return false;
  }
  data_dir_path = path.get();
  return true;
}

bool fill_db_dir_path() {
  if (!db_dir_path.empty()) return true;
  if (!fill_data_dir_path()) return false;
  db_dir_path = data_dir_path + "dbspace";
  return true;
}

bool fill_path_in_db_dir(std::string& path, const char* name) {
  if (!path.empty()) return true;
  if (!fill_db_dir_path()) return false;
  path = db_dir_path + name;
  return true;
}

/**
 * The calling thread's manager, as getInstance last found it; good while `generation` is the
 * current one. Plain data, so that reading it needs no guard.
 */
struct CachedManager {
  DBMgr* manager;
  unsigned int generation;
};
thread_local CachedManager cachedManager = {nullptr, 0};

// Counts how often all managers were destroyed at once, which outdates every thread's cache.
std::atomic<unsigned int> managerGeneration{0};

/** The process that registered the exit hook. A child that it forks inherits hook and managers. */
std::atomic<pid_t> exitHookProcess{0};

/**
 * What a thread did to its manager happens before a later thread with the same id takes it over:
 * the one locks the mutex as it ends, the other to look the manager up.
 *
 * A key of the thread, not an object of it: the object's destructor would keep the library loaded,
 * after dlclose, for as long as the thread lives. The key goes when the library goes.
 */
class HandOverAtThreadEnd {
 public:
  HandOverAtThreadEnd() : _isMade(pthread_key_create(&_key, &HandOverAtThreadEnd::lock) == 0) {}
  HandOverAtThreadEnd(const HandOverAtThreadEnd&) = delete;
  HandOverAtThreadEnd& operator=(const HandOverAtThreadEnd&) = delete;
  ~HandOverAtThreadEnd() {
    if (_isMade) pthread_key_delete(_key);
  }

  /** Has the calling thread lock `mutex` as it ends. */
  void prepare(std::mutex& mutex) const {
    if (_isMade) pthread_setspecific(_key, &mutex);
  }

 private:
  static void lock(void* mutex) {
    const std::lock_guard<std::mutex> lock(*static_cast<std::mutex*>(mutex));
  }

  pthread_key_t _key = 0;
  bool _isMade;
};

/**
 * Sets the PERSIST journal mode outside any transaction.
 *
 * Beginning the first transaction on an empty file already dirties its first page, and from then on
 * SQLite answers the journal-mode pragma with success and ignores it: the pragma inside the
 * transaction would come too late, and the first commit would delete the journal file together with
 * its group and mode. Set beforehand, the mode holds, and the pragma inside merely repeats it.
 *
 * Whatever goes wrong here goes wrong in the transaction too and is reported there, so this step is
 * silent.
 */
void keep_journal(sqlite3* db) {
  sqlite3_stmt* pragma = nullptr;
  if (sqlite3_prepare_v2(db, PERSIST_JOURNAL, -1, &pragma, nullptr) == SQLITE_OK) {
    sqlite3_step(pragma);
  }
  sqlite3_finalize(pragma);
}

/** Inserts the subscription row of a new SUBSCRIPTION_TABLE; 0 or a result code. */
int insert_subscription_row(log::CallSite site = log::CallSite::here()) {
  auto statement = DBMgr::getInstance()->compileStatement(
      "INSERT INTO mssi_info_table (notiIdx, restartToken) VALUES (?, ?);");
  if (!statement) {
    MSG_TARVEL_ERROR_AT(site, "compileStatement() failed!");
    return DB_ERR_PREPARE;
  }
  statement->bind(1, 0);
  statement->bind(2, "");
  const int ret = statement->step();
  statement.reset();
  if (ret != DB_SUCCESS) MSG_TARVEL_ERROR_AT(site, "step() failed: (%d)", ret);
  return ret;
}

}  // namespace

std::string get_data_dir_path() {
  const std::lock_guard<std::mutex> lock(pathMutex);
  fill_data_dir_path();
  return data_dir_path;
}

std::string get_db_dir_path() {
  const std::lock_guard<std::mutex> lock(pathMutex);
  fill_db_dir_path();
  return db_dir_path;
}

std::string get_db_filepath() {
  const std::lock_guard<std::mutex> lock(pathMutex);
  fill_path_in_db_dir(db_filepath, "/.msg-tarvel-server.db");
  return db_filepath;
}

std::string get_db_journal_filepath() {
  const std::lock_guard<std::mutex> lock(pathMutex);
  fill_path_in_db_dir(db_journal_filepath, "/.msg-tarvel-server.db-journal");
  return db_journal_filepath;
}

void init_db() { DBMgr::initialize(); }

void deinit_db() { DBMgr::finalize(); }

std::map<std::thread::id, DBMgr*> DBMgr::_instances;
std::mutex DBMgr::_mutex;
std::once_flag DBMgr::only_once;

DBMgr::DBMgr() = default;

DBMgr::~DBMgr() { _closeDb(); }

DBMgr* DBMgr::getInstance() {
  std::call_once(only_once, [] {
    exitHookProcess = getpid();
    std::atexit(&DBMgr::_onDestroyed);
  });

  const unsigned int generation = managerGeneration.load(std::memory_order_acquire);
  if (cachedManager.manager && cachedManager.generation == generation) {
    return cachedManager.manager;
  }

  static const HandOverAtThreadEnd handOver;
  handOver.prepare(_mutex);
  const std::lock_guard<std::mutex> lock(_mutex);
  DBMgr*& manager = _instances[std::this_thread::get_id()];
  if (!manager) manager = new DBMgr();
  cachedManager = {manager, generation};
  return manager;
}

void DBMgr::initialize() { getInstance()->_ref(); }

void DBMgr::finalize() { getInstance()->_unref(); }

void DBMgr::_ref() { ++_refCount; }

void DBMgr::_unref() {
  if (_refCount == 1) {
    DBMgr* manager = nullptr;
    {
      const std::lock_guard<std::mutex> lock(_mutex);
      const auto found = _instances.find(std::this_thread::get_id());
      if (found != _instances.end()) {
        manager = found->second;
        _instances.erase(found);
      }
    }
    if (manager) {
      cachedManager.manager = nullptr;
      delete manager;
      return;
    }
  }
  _refCount = std::max(_refCount - 1, 0);
}

void DBMgr::_onDestroyed() {
  // In a forked child the managers are its parent's: closing one would roll back, in the file, a
  // transaction that the parent is in.
  if (exitHookProcess != getpid()) return;

  std::map<std::thread::id, DBMgr*> managers;
  {
    const std::lock_guard<std::mutex> lock(_mutex);
    managers.swap(_instances);
    managerGeneration.fetch_add(1, std::memory_order_release);
  }
  for (const auto& entry : managers) delete entry.second;
}

int DBMgr::_openDb() {
  if (_db) return DB_SUCCESS;

  MSG_TARVEL_INFO("Trying to db open!!");
  const std::string path = get_db_filepath();
  if (geteuid() != 0 && access(path.c_str(), R_OK) != 0 && errno == EACCES) {
    MSG_TARVEL_ERROR("file access permission error");
    return DB_ERR_ACCESS;
  }

  // SQLite takes an empty path for a private temporary database, which would lose what is written.
  // A connection is used by one thread only and does without SQLite's own mutex.
  constexpr int FLAGS = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  sqlite3* handle = nullptr;
  int code =
      path.empty() ? SQLITE_CANTOPEN : sqlite3_open_v2(path.c_str(), &handle, FLAGS, nullptr);
  if (code != SQLITE_OK) {
    // The handle that a failed open leaves behind is not closed.
    MSG_TARVEL_ERROR("sqlite3_open() failed: (%d)", code);
    return DB_ERR_OPEN;
  }
  code = sqlite3_busy_handler(handle, &DBMgr::_onBusyHandler, nullptr);
  if (code != SQLITE_OK) {
    MSG_TARVEL_ERROR("sqlite3_busy_handler() failed: (%d)", code);
    sqlite3_close(handle);
    return DB_ERR_OPEN;
  }
  _db = handle;
  return DB_SUCCESS;
}

int DBMgr::_closeDb() {
  if (!_db) {
    MSG_TARVEL_WARN("no db handle found!");
    return DB_SUCCESS;
  }
  forget_kept_statements(_db);
  if (const int code = sqlite3_close(_db); code != SQLITE_OK) {
    MSG_TARVEL_ERROR("sqlite3_close() failed: (%d)", code);
    return DB_ERR_CLOSE;
  }
  _db = nullptr;
  return DB_SUCCESS;
}

int DBMgr::_onBusyHandler(void* /*unused*/, int count) {
  if (count > BUSY_LAST_COUNT) {
    MSG_TARVEL_ERROR("Busy Handler will be returned SQLITE_BUSY error : PID(%d) \n", getpid());
    return 0;
  }
  usleep(BUSY_WAIT_MICROSECONDS * (static_cast<useconds_t>(count) + 1));
  return 1;
}

int DBMgr::execStatement(const std::string& sql) {
  if (const int ret = _openDb(); ret != DB_SUCCESS) return ret;

  char* message = nullptr;
  const int code = sqlite3_exec(_db, sql.c_str(), nullptr, nullptr, &message);
  if (code == SQLITE_OK) return DB_SUCCESS;
  MSG_TARVEL_ERROR("sqlite3_exec() failed: (%d) - (%s)", code, message ? message : "");
  sqlite3_free(message);
  return DB_ERR_EXEC;
}

int DBMgr::beginTransaction() {
  if (const int ret = _openDb(); ret != DB_SUCCESS) return ret;

  if (_transactionDepth == 0) {
    if (const int ret = execStatement("BEGIN IMMEDIATE TRANSACTION"); ret != DB_SUCCESS) return ret;
  }
  ++_transactionDepth;
  return DB_SUCCESS;
}

int DBMgr::endTransaction(bool commit) {
  if (_transactionDepth == 1) {
    const int ret = execStatement(commit ? COMMIT : ROLLBACK);
    if (ret != DB_SUCCESS) return ret;
  }
  _transactionDepth = std::max(_transactionDepth - 1, 0);
  return DB_SUCCESS;
}

std::unique_ptr<SqlStatement> DBMgr::compileStatement(const std::string& sql) {
  if (_openDb() != DB_SUCCESS) return nullptr;

  sqlite3_stmt* statement = nullptr;
  const int code =
      sqlite3_prepare_v2(_db, sql.c_str(), static_cast<int>(sql.size()), &statement, nullptr);
  if (code != SQLITE_OK) {
    DBMgrInternal::compileStatement(_db, code);
    return nullptr;
  }
  // Without memory for the wrapper the statement goes too, or the connection could never be closed.
  std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> owned(statement, &sqlite3_finalize);
  auto wrapper = std::make_unique<SqlStatement>(statement);
  static_cast<void>(owned.release());
  return wrapper;
}

void DBMgrInternal::compileStatement(sqlite3* db, int code) {
  MSG_TARVEL_ERROR("sqlite3_prepare_v2() failed: (%d) (%s)", code, sqlite3_errmsg(db));
}

int DBMgr::createDb() {
  const int32_t depth = _transactionDepth;
  try {
    if (const int ret = _createDbFiles(); ret != DB_SUCCESS) {
      // The function's name lacks its "s" in this line; readers of the log know it so.
      MSG_TARVEL_ERROR("_createDbFile() failed: (%d)", ret);
      return ret;
    }
    if (const int ret = _createDbTables(); ret != DB_SUCCESS) {
      MSG_TARVEL_ERROR("_createDbTables() failed: (%d)", ret);
      return ret;
    }
    return DB_SUCCESS;
  } catch (...) {
    if (_transactionDepth > depth) endTransaction(false);
    throw;
  }
}

int DBMgr::_createDbFiles() {
  const std::string dataDirectory = get_data_dir_path();
  const std::string dbDirectory = get_db_dir_path();
  const std::string dbFile = get_db_filepath();
  const std::string journalFile = get_db_journal_filepath();

  if (access(dbDirectory.c_str(), F_OK) != 0) {
    MSG_TARVEL_WARN("No DB directory exists, Creating DB directories...");
    if (access(dataDirectory.c_str(), F_OK) != 0 &&
        mkdir(dataDirectory.c_str(), DIRECTORY_MODE) == -1) {
      MSG_TARVEL_ERROR("mkdir() failed for data directory!");
      return CREATION_FAILED;
    }
    if (mkdir(dbDirectory.c_str(), DIRECTORY_MODE) == -1) {
      MSG_TARVEL_ERROR("mkdir() failed for db directory!");
      return CREATION_FAILED;
    }
  }
  if (access(dbFile.c_str(), F_OK) == 0) return DB_SUCCESS;

  MSG_TARVEL_WARN("No DB file exists, Creating DB files...");
  const int db = open(dbFile.c_str(), O_RDONLY | O_CREAT, FILE_CREATION_MODE);
  if (db == -1) {
    MSG_TARVEL_ERROR("open() failed for db file!");
    return CREATION_FAILED;
  }
  const int journal = open(journalFile.c_str(), O_RDONLY | O_CREAT, FILE_CREATION_MODE);
  if (journal == -1) {
    close(db);
    MSG_TARVEL_ERROR("open() failed for journal file!");
    return CREATION_FAILED;
  }
  // A process that may not give the files away still gets its store.
  static_cast<void>(fchmod(db, FILE_MODE) == 0);
  static_cast<void>(fchmod(journal, FILE_MODE) == 0);
  static_cast<void>(fchown(db, getuid(), FILE_GROUP) == 0);
  static_cast<void>(fchown(journal, getuid(), FILE_GROUP) == 0);
  close(db);
  close(journal);

  int ret = _openDb();
  if (ret == DB_SUCCESS) {
    // Both steps may find the file locked; together they wait no longer than one of them may.
    int waits = 0;
    const auto waitWithinBudget = [](void* used, int /*count*/) {
      int& count = *static_cast<int*>(used);
      return count > BUSY_LAST_COUNT + 1 ? 0 : _onBusyHandler(nullptr, count++);
    };
    // Also where memory ends meanwhile, nothing waits with `waits` when it is gone.
    struct Restored {
      sqlite3* db;
      ~Restored() { sqlite3_busy_handler(db, &DBMgr::_onBusyHandler, nullptr); }
    } const restored = {_db};
    sqlite3_busy_handler(_db, waitWithinBudget, &waits);
    keep_journal(_db);
    ret = beginTransaction();
  }
  if (ret != DB_SUCCESS) {
    MSG_TARVEL_ERROR("beginTransaction() failed!");
    return ret;
  }
  ret = execStatement(PERSIST_JOURNAL);
  if (ret != DB_SUCCESS) {
    MSG_TARVEL_ERROR("Failed to set journal_mode! ret:(%d)", ret);
  } else {
    BoundedText<128> stamp;
    stamp.append("PRAGMA user_version = %d;", DB_SCHEMA_VERSION);
    ret = execStatement(stamp.c_str());
    // This one line goes without "[ERROR] ".
    if (ret != DB_SUCCESS) MSG_TARVEL_ERROR_BARE("Failed to set user_version! ret:(%d)", ret);
  }
  endTransaction(ret == DB_SUCCESS);
  return ret;
}

bool DBMgr::_doesTableExist(const char* name) {
  if (!name) return false;

  BoundedText<128> sql;
  sql.append("SELECT count(name) FROM sqlite_master WHERE name='%s';", name);
  const auto statement = getInstance()->compileStatement(sql.c_str());
  if (!statement) {
    MSG_TARVEL_ERROR("compileStatement() failed!");
    return false;
  }
  const int ret = statement->step();
  if (ret == DB_ERR_STEP) MSG_TARVEL_ERROR("step() failed: (%d)", ret);
  return ret == DB_ROW && statement->getInt(0) > 0;
}

int DBMgr::_createDbTables() {
  int ret = beginTransaction();
  if (ret != DB_SUCCESS) {
    MSG_TARVEL_ERROR("beginTransaction() failed!");
    return ret;
  }

  for (const TableDefinition& table : TABLES) {
    if (_doesTableExist(table.name)) continue;
    ret = execStatement(table.creationText);
    if (ret != DB_SUCCESS) {
      MSG_TARVEL_ERROR("Creating table (%s) table failed! ret:(%d)", table.name, ret);
      break;
    }
    if (std::strcmp(table.name, SUBSCRIPTION_TABLE) == 0) {
      ret = insert_subscription_row();
      if (ret != DB_SUCCESS) break;
    }
  }

  if (ret == DB_SUCCESS) {
    MSG_TARVEL_WARN("Succeeded to create msg-tarvel DB!");
  } else {
    MSG_TARVEL_WARN("Failed to create msg-tarvel DB! reason: (%d)", ret);
  }
  // Whether the commit succeeds does not change the result.
  endTransaction(ret == DB_SUCCESS);
  return ret;
}

}  // namespace msg_tarvel::db
