#include "store/connections.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "interrupt.h"
#include "store/work_time.h"

namespace msg_tarvel::tool {

namespace {

// Of SQLite's own allocations. A row of two texts as long as they may be takes less than the first;
// to sort what a store holds takes up to all of it, and copies.
constexpr long long MEMORY_FOR_EVERY_STORE = 64'000'000;
constexpr long long MEMORY_PER_BYTE = 4;
constexpr long long MOST_MEMORY = 1 << 30;

// A statement's work is counted in slices of so many operations, each well below a millisecond
// where nobody means harm.
constexpr int OPERATIONS_PER_SLICE = 1000;
constexpr long long SLICES_FOR_EVERY_STORE = 10'000;
/** What takes most work takes a third of that: it looks at everything a few times. */
constexpr long long SLICES_PER_PAGE = 10;
constexpr long long BYTES_PER_PAGE = 8192;
/** As stat counts blocks. */
constexpr long long BYTES_PER_BLOCK = 512;

constexpr int PRIMARY_CODE = 0xFF;

constexpr int LOCK_WAIT_MICROSECONDS = 20'000;
/** 2.1 seconds in all. */
constexpr int LOCK_WAITS = 105;

constexpr const char* LIFETIME_FUNCTION = "msg_tarvel_connection_lifetime";

/** A connection while it is open. */
struct Connection {
  sqlite3* handle = nullptr;
  /** What the database held when it last had its name. */
  long long bytes = 0;
  /** Of the statement that runs, or of the outermost of several. */
  long long slices = 0;
  /** What it may take, by the size of the database when it began: it may make that grow. */
  long long mostSlices = 0;
};

std::vector<Connection*>& connections() {
  static auto* const all = new std::vector<Connection*>;  // outlives the library's exit hook
  return *all;
}

/** The last error in SQLite's log, which is all there is when a connection cannot be opened. */
int loggedCode = SQLITE_OK;

void note_error(void* /*unused*/, int code, const char* /*text*/) {
  const int primary = code & PRIMARY_CODE;
  if (primary != SQLITE_NOTICE && primary != SQLITE_WARNING && primary != SQLITE_SCHEMA) {
    loggedCode = primary;
  }
}

/** Without holes: those make a file as long as one likes and hold no row. */
long long bytes_in(const struct stat& file) {
  const long long onDisk = file.st_blocks * BYTES_PER_BLOCK;
  // A file system that does not count blocks tells of less than any database takes.
  return onDisk < BYTES_PER_PAGE ? file.st_size
                                 : std::min(onDisk, static_cast<long long>(file.st_size));
}

/** A row of a view may have many long texts, and each has its own limit alone. */
void allow_memory(long long bytes) {
  const sqlite3_int64 limit = memory_for(bytes);
  if (limit > sqlite3_hard_heap_limit64(-1)) sqlite3_hard_heap_limit64(limit);
}

/** A private copy loses its name once it is open, and does not grow then. */
void measure(Connection& connection) {
  struct stat file = {};
  const char* const path = sqlite3_db_filename(connection.handle, "main");
  if (!path || stat(path, &file) != 0) return;
  connection.bytes = bytes_in(file);
  allow_memory(connection.bytes);
  allow_work_time_for(connection.bytes);
}

/** As many slices as a query on a store of this size can need. */
long long most_slices(Connection& connection) {
  measure(connection);
  return SLICES_FOR_EVERY_STORE + connection.bytes / BYTES_PER_PAGE * SLICES_PER_PAGE;
}

/** Called after each slice; not 0 ends the statement. */
int on_slice(void* argument) {
  auto& connection = *static_cast<Connection*>(argument);
  begin_work();
  if (connection.slices++ == 0) connection.mostSlices = most_slices(connection);
  const bool isTooMuch = connection.slices > connection.mostSlices || is_work_time_up();
  return isTooMuch || is_interrupted() ? 1 : 0;
}

bool others_run(const Connection& connection, const void* statement) {
  sqlite3_stmt* other = nullptr;
  while ((other = sqlite3_next_stmt(connection.handle, other)) != nullptr) {
    if (other != statement && sqlite3_stmt_busy(other) != 0) return true;
  }
  return false;
}

/** Called at a statement's end, and when it or a trigger of it, told by a comment, begins. */
int on_statement(unsigned event, void* argument, void* statement, void* text) {
  auto& connection = *static_cast<Connection*>(argument);
  if (event == SQLITE_TRACE_PROFILE) {
    end_work();
    return 0;
  }
  // Of an inner statement SQLite makes a comment, and without memory nothing.
  const auto* const sql = static_cast<const char*>(text);
  if (!sql || *sql == '-') return 0;
  begin_work();
  note_statement();
  if (connection.slices > 0 && !others_run(connection, statement)) connection.slices = 0;
  return 0;
}

void forget(void* argument) {
  auto* const connection = static_cast<Connection*>(argument);
  auto& all = connections();
  all.erase(std::remove(all.begin(), all.end(), connection), all.end());
  delete connection;
}

/** Null without memory; no exception passes through SQLite. */
Connection* remember(sqlite3* handle) {
  try {
    auto connection = std::make_unique<Connection>(Connection{handle});
    connections().push_back(connection.get());
    return connection.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void do_nothing(sqlite3_context* /*context*/, int /*count*/, sqlite3_value** /*values*/) {}

int limit_connection(sqlite3* handle, const char** /*message*/,
                     const sqlite3_api_routines* /*routines*/) {
  auto* const connection = remember(handle);
  if (!connection) return SQLITE_NOMEM;
  measure(*connection);
  sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, LONGEST_VALUE);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_progress_handler(handle, OPERATIONS_PER_SLICE, &on_slice, connection);
  sqlite3_trace_v2(handle, SQLITE_TRACE_STMT | SQLITE_TRACE_PROFILE, &on_statement, connection);
  // SQLite tells of the end of a connection only by destroying what was registered with it.
  return sqlite3_create_function_v2(handle, LIFETIME_FUNCTION, 0, SQLITE_UTF8, connection,
                                    &do_nothing, nullptr, nullptr, &forget);
}

int on_locked(void* /*unused*/, int count) {
  if (count >= LOCK_WAITS || is_interrupted()) return 0;
  usleep(LOCK_WAIT_MICROSECONDS);
  return 1;
}

}  // namespace

long long memory_for(long long bytes) {
  const long long most = MOST_MEMORY / MEMORY_PER_BYTE;
  return std::max(MEMORY_FOR_EVERY_STORE, std::min(bytes, most) * MEMORY_PER_BYTE);
}

void limit_connections() {
  limit_work_time();
  sqlite3_config(SQLITE_CONFIG_LOG, &note_error, nullptr);
  sqlite3_auto_extension(reinterpret_cast<void (*)()>(&limit_connection));
  sqlite3_hard_heap_limit64(memory_for(0));
}

sqlite3* last_connection() {
  return connections().empty() ? nullptr : connections().back()->handle;
}

void wait_interruptibly() {
  if (db::DBMgr::getInstance()->execStatement("") != 0 || !last_connection()) return;
  limit_waits(last_connection());
}

void limit_waits(sqlite3* handle) { sqlite3_busy_handler(handle, &on_locked, nullptr); }

DatabaseError current_database_error() {
  if (sqlite3* const handle = last_connection()) {
    const int code = sqlite3_errcode(handle) & PRIMARY_CODE;
    // A list of messages leaves SQLITE_RANGE behind: it reads a column more than its rows have.
    if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE && code != SQLITE_RANGE) {
      return {code, sqlite3_errmsg(handle)};
    }
  }
  if (loggedCode == SQLITE_OK) return {};
  return {loggedCode, sqlite3_errstr(loggedCode)};
}

void forget_database_error() { loggedCode = SQLITE_OK; }

}  // namespace msg_tarvel::tool
