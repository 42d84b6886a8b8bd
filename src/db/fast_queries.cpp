#include "db/fast_queries.h"

#include <sqlite3.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <unordered_map>

#include "db/DBMgr_internal.h"
#include "db/db_common_funcs_internal.h"
#include "db/index_definitions.h"
#include "db/quiet_statement.h"
#include "msg-tarvel-common/utility/common_util_funcs.h"

namespace msg_tarvel::db {

bool fastQueriesAreOn = true;

namespace {

// The state of the store that a query reads, and the statements that read it

/** Keeps the connection in one state of the store: a transaction, unless the caller has one. */
class OneState {
 public:
  explicit OneState(sqlite3* db) : _db(db) {
    if (sqlite3_get_autocommit(db) == 0) return;
    _isOurs = true;
    // Compiled before it is needed: where memory has run out, the transaction can still be ended.
    _commit.emplace(db, "COMMIT");
    _isHeld = _commit->isCompiled() && run("BEGIN");
  }
  OneState(const OneState&) = delete;
  OneState& operator=(const OneState&) = delete;
  ~OneState() {
    if (_isOurs && _isHeld && _commit->step() != SQLITE_DONE) run("ROLLBACK");
  }

  bool isHeld() const { return _isHeld; }
  /** True when a failure made SQLite roll the caller's transaction back. */
  bool isLost() const { return !_isOurs && sqlite3_get_autocommit(_db) != 0; }

 private:
  bool run(const char* sql) {
    return sqlite3_exec(_db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  }

  sqlite3* _db;
  std::optional<QuietStatement> _commit;
  bool _isOurs = false;
  bool _isHeld = true;
};

/** A statement of the caller's that still writes would not let the transaction end. */
bool is_writing(sqlite3* db) {
  for (sqlite3_stmt* each = sqlite3_next_stmt(db, nullptr); each;
       each = sqlite3_next_stmt(db, each)) {
    if (sqlite3_stmt_busy(each) != 0 && sqlite3_stmt_readonly(each) == 0) return true;
  }
  return false;
}

/** True when `table` is a table, no view, and compares and orders `column` as createDb has it. */
bool is_as_created(sqlite3* db, const char* table, const char* column, const char* expectedType) {
  const char* type = nullptr;
  const char* collation = nullptr;
  int isPrimaryKey = 0;
  const int code = sqlite3_table_column_metadata(db, nullptr, table, column, &type, &collation,
                                                 nullptr, &isPrimaryKey, nullptr);
  const bool isKey = std::strcmp(expectedType, "INTEGER") == 0;
  return code == SQLITE_OK && type && std::strcmp(type, expectedType) == 0 && collation &&
         std::strcmp(collation, "BINARY") == 0 && (isPrimaryKey != 0) == isKey;
}

bool are_messages_as_created(sqlite3* db) {
  return is_as_created(db, "msg_message_table", "msgId", "INTEGER");
}

bool are_threads_as_created(sqlite3* db) {
  return is_as_created(db, "msg_conversation_table", "convId", "INTEGER") &&
         are_messages_as_created(db) && is_as_created(db, "msg_message_table", "convId", "INT") &&
         is_as_created(db, "msg_message_table", "displayTime", "INT") &&
         is_as_created(db, "msg_message_table", "networkStatus", "INT");
}

bool are_metas_as_created(sqlite3* db) {
  return is_as_created(db, "msg_nms_meta_table", "id", "INTEGER");
}

/** Whether the indexes may choose among rows whose order a text leaves open. */
bool has_indexes(sqlite3* db) {
  QuietStatement index(
      db, std::string("SELECT 1 FROM sqlite_master WHERE type = 'index' AND name = '") +
              CONVERSATION_INDEX + "';");
  return index.isCompiled() && index.step() == SQLITE_ROW;
}

/** The first statement of a query: it takes the lock and decides which state of the store is read.
 */
class Query {
 public:
  /** `isAsCreated` looks at the tables of `sql`; `stepFailure` words that the first step failed. */
  Query(const std::string& sql, bool (*isAsCreated)(sqlite3*), StepFailure stepFailure,
        log::CallSite site)
      : _stepFailure(stepFailure), _site(site) {
    DBMgrInternal manager;
    if (manager.openDb() != DB_SUCCESS) {
      giveUp();
      return;
    }
    _db = manager.handle();
    if (is_writing(_db)) return;

    // Compiling may have to read the schema, and so to wait for a lock.
    _rows.emplace(_db, sql);
    if (_rows->code() == SQLITE_BUSY) {
      DBMgrInternal::compileStatement(_db, SQLITE_BUSY);
      giveUp();
    }
    if (!_rows->isCompiled()) return;

    _state.emplace(_db);
    if (!_state->isHeld()) return;
    _code = _rows->step();
    if (_code == SQLITE_BUSY) _answer = failStep(_code);
    // Only now is the schema that the connection knows the one of the store.
    _isReadable = (_code == SQLITE_ROW || _code == SQLITE_DONE) && isAsCreated(_db);
  }

  /** False when the query ends here: with `end`. */
  bool isReadable() const { return _isReadable; }
  FastResult end() { return _answer ? FastResult{_answer} : handOver(); }
  /** What to return when a row or what it depends on is not as expected. */
  FastResult handOver() {
    // The defined way would find another store than the caller's, and nothing wrong with it.
    if (_state && _state->isLost()) return {failStep(sqlite3_errcode(_db))};
    return {std::nullopt, has_indexes(_db)};
  }

  sqlite3* db() const { return _db; }
  bool hasRow() const { return _code == SQLITE_ROW; }
  bool isDone() const { return _code == SQLITE_DONE; }
  /** Of a row, or of what it depends on. */
  bool hasLostText() const { return _lost.any(); }
  SqlStatement& row() { return _rows->row(); }
  void next() { _code = _rows->step(); }

 private:
  void giveUp() {
    MSG_TARVEL_ERROR_AT(_site, "compileStatement() failed!");
    _answer = DB_ERR_PREPARE;
  }

  /** Reports, as the defined way does, that a step gave `code`. */
  int failStep(int code) {
    SqlStatementInternal::step(code);
    _rows->finalizeAloud();
    log_step_failure(_stepFailure, DB_ERR_STEP, _site);
    return DB_ERR_STEP;
  }

  StepFailure _stepFailure;
  log::CallSite _site;
  sqlite3* _db = nullptr;
  std::optional<OneState> _state;
  std::optional<QuietStatement> _rows;
  int _code = SQLITE_MISUSE;
  bool _isReadable = false;
  LostTexts _lost;
  std::optional<int> _answer;
};

// What the rows of a list depend on

/** A table whose rows belong to messages or conversations by the number in their first column. */
struct DependentTable {
  const char* name;
  const char* key;
  const char* select;
};

constexpr DependentTable ADDRESSES = {"msg_address_table", "convId", SELECT_ADDRESS};
constexpr DependentTable CONTENTS = {"msg_mms_content_table", "msgId", SELECT_CONTENT};
constexpr DependentTable NMS_METAS = {"msg_nms_meta_table", "msgId", SELECT_NMS_META};

/** The places in a list whose items wait for the rows of a key. */
class Waiting {
 public:
  struct Key {
    /** The place whose item takes the rows. */
    std::size_t first;
    bool isServed = false;
  };
  using Map = std::unordered_map<int, Key>;

  /** `size`: of the list. */
  explicit Waiting(std::size_t size) : _first(size, NONE) {}

  /** Places are added in their order. */
  void add(int key, std::size_t place) {
    _first[place] = _keys.try_emplace(key, Key{place}).first->second.first;
  }

  Map& keys() { return _keys; }

  /** Calls `share` with each place that is not the first with its key, and that first one. */
  template <typename Share>
  void forEachOther(Share share) const {
    for (std::size_t place = 0; place < _first.size(); ++place) {
      if (_first[place] != NONE && _first[place] != place) share(_first[place], place);
    }
  }

 private:
  static constexpr std::size_t NONE = SIZE_MAX;

  Map _keys;
  std::vector<std::size_t> _first;
};

/** The key of the current row, if one of the keys that wait; else null. */
Waiting::Key* key_of(sqlite3_stmt* row, Waiting& waiting) {
  if (sqlite3_column_type(row, 0) != SQLITE_INTEGER) return nullptr;
  const sqlite3_int64 key = sqlite3_column_int64(row, 0);
  if (key < INT32_MIN || key > INT32_MAX) return nullptr;
  const auto found = waiting.keys().find(static_cast<int>(key));
  return found == waiting.keys().end() ? nullptr : &found->second;
}

/** Whether the rows of each key come in the order of the table: only our own indexes are known to.
 */
bool has_known_indexes_only(sqlite3* db, const char* table) {
  QuietStatement indexes(db, std::string("PRAGMA index_list(") + table + ");");
  int code = indexes.step();
  for (; code == SQLITE_ROW; code = indexes.step()) {
    if (!is_index_of_ours(indexes.row().getText(1))) return false;
  }
  return code == SQLITE_DONE;
}

/** Whether reading a whole table costs less than looking up `keys` of its rows in an index. */
bool is_scan_cheaper(sqlite3* db, const char* table, std::size_t keys) {
  constexpr std::size_t FEW_KEYS = 32;
  constexpr std::size_t ROWS_PER_LOOK_UP = 8;
  if (keys <= FEW_KEYS) return false;
  QuietStatement last(db, std::string("SELECT max(rowid) FROM ") + table + ";");
  return last.isCompiled() && last.step() == SQLITE_ROW &&
         last.row().getInt64(0) / static_cast<long long>(ROWS_PER_LOOK_UP) <
             static_cast<long long>(keys);
}

/** What came of serving keys by looking each up. */
enum class LookUps { ALL_SERVED, WITHOUT_INDEX, FAILED };

/** `take` reads a row for the item at a place, and says whether the key wants more rows. */
template <typename Take>
LookUps look_up(sqlite3* db, const DependentTable& table, Waiting& waiting, Take take) {
  QuietStatement rows(db, std::string(table.select) + "WHERE " + table.key + " = ?;");
  if (!rows.isCompiled()) return LookUps::FAILED;
  std::size_t left = waiting.keys().size();
  for (auto& [number, key] : waiting.keys()) {
    sqlite3_bind_int(rows.handle(), 1, number);
    int code = rows.step();
    while (code == SQLITE_ROW && take(rows.row(), key.first)) code = rows.step();
    if (code != SQLITE_ROW && code != SQLITE_DONE) return LookUps::FAILED;
    sqlite3_reset(rows.handle());
    key.isServed = true;
    const bool hasScanned =
        sqlite3_stmt_status(rows.handle(), SQLITE_STMTSTATUS_FULLSCAN_STEP, 0) > 0;
    if (hasScanned && --left > 0) return LookUps::WITHOUT_INDEX;
  }
  return LookUps::ALL_SERVED;
}

/** Serves the keys that are left in one pass through the table. */
template <typename Take>
bool scan(sqlite3* db, const DependentTable& table, Waiting& waiting, Take take) {
  if (!has_known_indexes_only(db, table.name)) return false;
  QuietStatement rows(db, std::string(table.select) + "NOT INDEXED;");
  if (!rows.isCompiled()) return false;
  int code = rows.step();
  for (; code == SQLITE_ROW; code = rows.step()) {
    Waiting::Key* const key = key_of(rows.handle(), waiting);
    if (key && !key->isServed) key->isServed = !take(rows.row(), key->first);
  }
  return code == SQLITE_DONE;
}

/**
 * Reads the rows of all keys. `take` puts a row into the first item that waits for its key; `share`
 * then copies from there to the others. False when anything failed or is not as expected.
 */
template <typename Take, typename Share>
bool read_dependents(sqlite3* db, const DependentTable& table, Waiting& waiting, Take take,
                     Share share) {
  if (waiting.keys().empty()) return true;
  if (!is_as_created(db, table.name, table.key, "INT")) return false;

  LookUps result = LookUps::WITHOUT_INDEX;
  if (!is_scan_cheaper(db, table.name, waiting.keys().size())) {
    result = look_up(db, table, waiting, take);
  }
  if (result == LookUps::FAILED) return false;
  if (result == LookUps::WITHOUT_INDEX && !scan(db, table, waiting, take)) return false;

  waiting.forEachOther(share);
  return true;
}

template <typename Item>
bool read_contents(sqlite3* db, std::vector<Item>& items, std::size_t begin) {
  Waiting waiting(items.size());
  for (std::size_t i = begin; i < items.size(); ++i) {
    if (has_contents(items[i])) waiting.add(items[i].msgId, i);
  }
  return read_dependents(
      db, CONTENTS, waiting,
      [&](SqlStatement& row, std::size_t i) {
        step_get_content(row, items[i].contents.emplace_back());
        return true;
      },
      [&](std::size_t from, std::size_t to) { items[to].contents = items[from].contents; });
}

bool read_addresses(sqlite3* db, std::vector<Message>& messages, std::size_t begin) {
  Waiting waiting(messages.size());
  for (std::size_t i = begin; i < messages.size(); ++i) waiting.add(messages[i].convId, i);
  const bool isRead = read_dependents(
      db, ADDRESSES, waiting,
      [&](SqlStatement& row, std::size_t i) {
        step_get_address(row, messages[i].addresses.emplace_back());
        return true;
      },
      [&](std::size_t from, std::size_t to) { messages[to].addresses = messages[from].addresses; });
  if (isRead) {
    for (std::size_t i = begin; i < messages.size(); ++i) mark_sender(messages[i]);
  }
  return isRead;
}

bool read_nms_metas(sqlite3* db, std::vector<Message>& messages, std::size_t begin) {
  if (begin == messages.size() || !common_util::is_linkdial_supported()) return true;
  Waiting waiting(messages.size());
  for (std::size_t i = begin; i < messages.size(); ++i) {
    if (has_nms_meta(messages[i])) waiting.add(messages[i].msgId, i);
  }
  return read_dependents(
      db, NMS_METAS, waiting,
      [&](SqlStatement& row, std::size_t i) {
        _db_step_get_nms_meta(row, messages[i].nmsMsgMeta);
        return false;
      },
      [&](std::size_t from, std::size_t to) {
        messages[to].nmsMsgMeta = messages[from].nmsMsgMeta;
      });
}

/** Ids that need more than 32 bits are looked up as others than they are. */
bool has_usual_ids(const SqlStatement& row, const Message& message) {
  return message.msgId > 0 && message.msgId == row.getInt64(0) && message.convId >= 0;
}
bool has_usual_ids(const SqlStatement& row, const Conversation& conversation) {
  return conversation.msgId == row.getInt64(0);
}
/** Nothing is looked up by what metadata holds. */
bool has_usual_ids(const SqlStatement& /*row*/, const NmsMsgMeta& /*meta*/) { return true; }

/** Takes back what was appended to a list while it lives, unless it is kept. */
template <typename Item>
class Appended {
 public:
  explicit Appended(std::vector<Item>& items) : begin(items.size()), _items(items) {}
  Appended(const Appended&) = delete;
  Appended& operator=(const Appended&) = delete;
  ~Appended() {
    if (!_isKept) _items.erase(_items.begin() + static_cast<std::ptrdiff_t>(begin), _items.end());
  }

  /** The place of the first. */
  const std::size_t begin;

  /** The result of the query. */
  int keep() {
    _isKept = true;
    return _items.empty() ? DB_NO_DATA : DB_SUCCESS;
  }

 private:
  std::vector<Item>& _items;
  bool _isKept = false;
};

/** `readRow` reads an item without what it depends on, which `readDependents` reads for all. */
template <typename Item, typename ReadRow, typename ReadDependents>
FastResult read_list(const std::string& sql, bool (*isAsCreated)(sqlite3*),
                     const ListFailures& failures, std::vector<Item>& items, log::CallSite site,
                     ReadRow readRow, ReadDependents readDependents) {
  Query query(sql, isAsCreated, failures.firstStep, site);
  if (!query.isReadable()) return query.end();

  Appended<Item> appended(items);
  for (; query.hasRow(); query.next()) {
    Item& item = items.emplace_back();
    readRow(query.row(), item);
    if (!has_usual_ids(query.row(), item)) return query.handOver();
  }
  if (!query.isDone() || !readDependents(query.db(), items, appended.begin) ||
      query.hasLostText()) {
    return query.handOver();
  }
  return {appended.keep()};
}

/** What a fast way lacks the memory for, the defined way may still do. */
template <typename Way>
FastResult unless_memory_fails(Way way) {
  if (!fastQueriesAreOn) return {};
  try {
    return way();
  } catch (const std::bad_alloc&) {
    // The store may still have to be opened before it tells whether the order is open.
    DBMgrInternal manager;
    return {std::nullopt, manager.openDb() == DB_SUCCESS && has_indexes(manager.handle())};
  }
}

// Threads

/** What a thread tells of the messages of its conversation. */
struct MessageStates {
  bool exist = false;
  bool failed = false;
  bool sending = false;
  /** Of the newest message; of several, the one with the smallest id. */
  sqlite3_int64 msgId = 0;
  sqlite3_int64 displayTime = 0;
  bool hasTime = false;
  int networkStatus = 0;
  int simIndex = 0;
};

/** The columns that `add_state` takes. */
constexpr const char* SELECT_STATES =
    "SELECT convId, msgId, displayTime, networkStatus, simIndex FROM msg_message_table";

/** False for a time that is no number, which orders by rules of its own. */
bool add_state(sqlite3_stmt* row, MessageStates& states) {
  const int timeType = sqlite3_column_type(row, 2);
  if (timeType != SQLITE_INTEGER && timeType != SQLITE_NULL) return false;
  const bool hasTime = timeType == SQLITE_INTEGER;
  const sqlite3_int64 msgId = sqlite3_column_int64(row, 1);
  const sqlite3_int64 displayTime = sqlite3_column_int64(row, 2);
  const bool isNumber = sqlite3_column_type(row, 3) == SQLITE_INTEGER;
  const sqlite3_int64 networkStatus = sqlite3_column_int64(row, 3);

  if (isNumber && networkStatus == NETWORK_STATUS_FAILED) states.failed = true;
  if (isNumber && networkStatus == NETWORK_STATUS_SENDING) states.sending = true;
  const bool isNewer = hasTime != states.hasTime ? hasTime : displayTime > states.displayTime;
  const bool isSameTime = hasTime == states.hasTime && displayTime == states.displayTime;
  if (!states.exist || isNewer || (isSameTime && msgId < states.msgId)) {
    states.msgId = msgId;
    states.displayTime = displayTime;
    states.hasTime = hasTime;
    states.networkStatus = sqlite3_column_int(row, 3);
    states.simIndex = sqlite3_column_int(row, 4);
  }
  states.exist = true;
  return true;
}

/** Looks the states of one conversation up in the index of conversations, where there is one. */
class StatesByIndex {
 public:
  explicit StatesByIndex(sqlite3* db) : _newest(db, text()) {}

  bool hasIndex() const { return _newest.isCompiled(); }

  bool read(sqlite3_int64 convId, MessageStates& states) {
    sqlite3_bind_int64(_newest.handle(), 1, convId);
    const int code = _newest.step();
    if (code == SQLITE_ROW) {
      states.exist = true;
      states.networkStatus = _newest.row().getInt(0);
      states.simIndex = _newest.row().getInt(1);
      states.failed = _newest.row().getInt(2) != 0;
      states.sending = _newest.row().getInt(3) != 0;
    }
    sqlite3_reset(_newest.handle());
    return code == SQLITE_ROW || code == SQLITE_DONE;
  }

 private:
  /** It does not compile without the index. */
  static std::string text() {
    const std::string messages = std::string("FROM msg_message_table INDEXED BY ") +
                                 CONVERSATION_INDEX + " WHERE convId = ?1";
    const auto exists = [&](int networkStatus) {
      return "EXISTS(SELECT 1 " + messages +
             " AND networkStatus = " + std::to_string(networkStatus) + ")";
    };
    return "SELECT networkStatus, simIndex, " + exists(NETWORK_STATUS_FAILED) + ", " +
           exists(NETWORK_STATUS_SENDING) + " " + messages +
           " ORDER BY displayTime DESC, msgId LIMIT 1;";
  }

  QuietStatement _newest;
};

using StatesOfAll = std::unordered_map<sqlite3_int64, MessageStates>;

/** Reads, in one pass through the messages, the states of the conversations that `all` has. */
bool scan_states(sqlite3* db, StatesOfAll& all) {
  QuietStatement rows(db, SELECT_STATES);
  if (!rows.isCompiled()) return false;
  int code = rows.step();
  for (; code == SQLITE_ROW; code = rows.step()) {
    if (sqlite3_column_type(rows.handle(), 0) != SQLITE_INTEGER) continue;
    const auto found = all.find(sqlite3_column_int64(rows.handle(), 0));
    if (found != all.end() && !add_state(rows.handle(), found->second)) return false;
  }
  return code == SQLITE_DONE;
}

bool read_states(sqlite3* db, StatesOfAll& all) {
  StatesByIndex index(db);
  if (!index.hasIndex()) return scan_states(db, all);
  for (auto& [convId, states] : all) {
    if (!index.read(convId, states)) return false;
  }
  return true;
}

/** Reads those of one conversation. */
bool scan_states(sqlite3* db, int convId, MessageStates& states) {
  QuietStatement rows(db, std::string(SELECT_STATES) + " WHERE convId = ?;");
  if (!rows.isCompiled()) return false;
  sqlite3_bind_int(rows.handle(), 1, convId);
  int code = rows.step();
  for (; code == SQLITE_ROW; code = rows.step()) {
    if (!add_state(rows.handle(), states)) return false;
  }
  return code == SQLITE_DONE;
}

void tell(const MessageStates& states, Thread& thread) {
  thread.networkStatus = states.networkStatus;
  thread.simIndex = states.simIndex;
  if (states.failed) thread.failed = true;
  if (states.sending) thread.sending = true;
}

std::string select_threads(const std::string& condition) {
  return std::string("SELECT ") + THREAD_COLUMNS + " FROM msg_conversation_table A WHERE " +
         condition + "A.msgCnt > 0";
}

FastResult read_thread_list(const ListFailures& failures, std::vector<Thread>& threads,
                            log::CallSite site) {
  Query query(select_threads("") + " ORDER BY A.displayTime DESC, A.convId ASC;",
              &are_threads_as_created, failures.firstStep, site);
  if (!query.isReadable()) return query.end();

  Appended<Thread> appended(threads);
  std::vector<sqlite3_int64> convIds;
  StatesOfAll states;
  for (; query.hasRow(); query.next()) {
    // Moved, so that an element is left without lastMsgId.
    Thread thread;
    read_thread(query.row(), thread);
    threads.push_back(std::move(thread));
    convIds.push_back(query.row().getInt64(0));
    states.try_emplace(convIds.back());
  }
  if (!query.isDone() || !read_states(query.db(), states)) return query.handOver();

  // A conversation without messages is no thread.
  std::size_t end = appended.begin;
  for (std::size_t i = 0; i < convIds.size(); ++i) {
    const MessageStates& ofThread = states[convIds[i]];
    if (!ofThread.exist) continue;
    Thread& thread = threads[appended.begin + i];
    tell(ofThread, thread);
    if (end != appended.begin + i) threads[end] = std::move(thread);
    ++end;
  }
  threads.erase(threads.begin() + static_cast<std::ptrdiff_t>(end), threads.end());
  return {appended.keep()};
}

FastResult read_one_thread(int convId, Thread& thread, log::CallSite site) {
  Query query(select_threads("A.convId = " + std::to_string(convId) + " AND ") + ";",
              &are_threads_as_created, StepFailure::PLAIN, site);
  if (!query.isReadable()) return query.end();
  if (!query.hasRow()) return {DB_NO_DATA};

  MessageStates states;
  StatesByIndex index(query.db());
  if (!(index.hasIndex() ? index.read(convId, states) : scan_states(query.db(), convId, states))) {
    return query.handOver();
  }
  if (!states.exist) return {DB_NO_DATA};
  read_thread(query.row(), thread);
  if (query.hasLostText()) return query.handOver();
  tell(states, thread);
  return {DB_SUCCESS};
}

}  // namespace

FastResult fast_message_list(const std::string& sql, const ListFailures& failures,
                             std::vector<Message>& messages, log::CallSite site) {
  return unless_memory_fails([&] {
    return read_list(sql, &are_messages_as_created, failures, messages, site, &read_message,
                     [](sqlite3* db, std::vector<Message>& items, std::size_t begin) {
                       return read_addresses(db, items, begin) && read_contents(db, items, begin) &&
                              read_nms_metas(db, items, begin);
                     });
  });
}

FastResult fast_conversation_list(const std::string& sql, const ListFailures& failures,
                                  std::vector<Conversation>& conversations, log::CallSite site) {
  return unless_memory_fails([&] {
    return read_list(sql, &are_messages_as_created, failures, conversations, site,
                     &read_conversation, &read_contents<Conversation>);
  });
}

FastResult fast_thread_list(const ListFailures& failures, std::vector<Thread>& threads,
                            log::CallSite site) {
  return unless_memory_fails([&] { return read_thread_list(failures, threads, site); });
}

FastResult fast_thread(int convId, Thread& thread, log::CallSite site) {
  return unless_memory_fails([&] { return read_one_thread(convId, thread, site); });
}

FastResult fast_nms_meta_list(const std::string& sql, const ListFailures& failures,
                              std::vector<NmsMsgMeta>& metas, log::CallSite site) {
  return unless_memory_fails([&] {
    return read_list(sql, &are_metas_as_created, failures, metas, site, &_db_step_get_nms_meta,
                     [](sqlite3* /*db*/, std::vector<NmsMsgMeta>& /*items*/,
                        std::size_t /*begin*/) { return true; });
  });
}

}  // namespace msg_tarvel::db
