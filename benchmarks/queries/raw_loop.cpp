#include "queries/raw_loop.h"

#include <stdexcept>

#include "queries/columns.h"

namespace msg_tarvel::bench {

namespace {

void require(int code, int expected, sqlite3* db) {
  if (code != expected) throw std::runtime_error(sqlite3_errmsg(db));
}

constexpr const char* ALL_ROWS = "";

}  // namespace

/** A statement of a RawLoop for one use: kept and reset, or compiled and finalized. */
class RawStatement {
 public:
  RawStatement(RawLoop& owner, const char* columns, const char* condition)
      : _db(owner._db.get()), _isKept(owner._statements == RawLoop::Statements::KEPT) {
    sqlite3_stmt*& slot = _isKept ? owner._kept[columns][condition] : _statement;
    if (!slot) {
      const std::string sql = std::string(columns) + condition;
      require(
          sqlite3_prepare_v2(_db, sql.c_str(), static_cast<int>(sql.size() + 1), &slot, nullptr),
          SQLITE_OK, _db);
    }
    _statement = slot;
  }
  RawStatement(const RawStatement&) = delete;
  RawStatement& operator=(const RawStatement&) = delete;
  ~RawStatement() {
    if (_isKept) {
      sqlite3_reset(_statement);
    } else {
      sqlite3_finalize(_statement);
    }
  }

  void bind(int index, long long value) { sqlite3_bind_int64(_statement, index, value); }
  void bind(const Condition& condition) {
    int index = 0;
    for (const auto& value : condition.values) {
      ++index;
      if (const auto* const number = std::get_if<std::int64_t>(&value)) {
        bind(index, *number);
      } else {
        const auto& text = std::get<std::string>(value);
        sqlite3_bind_text(_statement, index, text.data(), static_cast<int>(text.size()),
                          SQLITE_STATIC);
      }
    }
  }
  void reset() { sqlite3_reset(_statement); }

  bool nextRow() {
    const int code = sqlite3_step(_statement);
    if (code != SQLITE_ROW) require(code, SQLITE_DONE, _db);
    return code == SQLITE_ROW;
  }
  int number(int column) const { return sqlite3_column_int(_statement, column); }
  long long longNumber(int column) const { return sqlite3_column_int64(_statement, column); }
  void text(int column, std::string& out) const {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(_statement, column));
    if (text) out.assign(text, static_cast<std::size_t>(sqlite3_column_bytes(_statement, column)));
  }

 private:
  sqlite3* _db;
  bool _isKept;
  sqlite3_stmt* _statement = nullptr;
};

namespace {

/** One state of the store for all statements of a query. */
class ReadTransaction {
 public:
  explicit ReadTransaction(RawLoop& owner) : _owner(owner) { run("BEGIN"); }
  ReadTransaction(const ReadTransaction&) = delete;
  ReadTransaction& operator=(const ReadTransaction&) = delete;
  // There is no going on after a failure here.
  ~ReadTransaction() { run("COMMIT"); }  // NOLINT(bugprone-exception-escape)

 private:
  void run(const char* sql) { RawStatement(_owner, sql, "").nextRow(); }

  RawLoop& _owner;
};

}  // namespace

RawLoop::RawLoop(const std::string& path, Statements statements) : _statements(statements) {
  sqlite3* db = nullptr;
  const int code =
      sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
  _db.reset(db);
  require(code, SQLITE_OK, db);
  _isIndexed = number("SELECT count(*) FROM sqlite_master WHERE type = 'index'") > 0;
}

RawLoop::~RawLoop() {
  for (const auto& [columns, byCondition] : _kept) {
    for (const auto& [condition, statement] : byCondition) sqlite3_finalize(statement);
  }
}

long long RawLoop::number(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  require(sqlite3_prepare_v2(_db.get(), sql.c_str(), -1, &statement, nullptr), SQLITE_OK,
          _db.get());
  const std::unique_ptr<sqlite3_stmt, FinalizeStatement> owned(statement);
  return sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : 0;
}

bool RawLoop::_isLookedUp(const char* table, std::size_t keys) {
  // Without an index each look-up is a scan too, but SQLite's own, which is twice as fast.
  constexpr std::size_t FEW_SCANS = 2;
  constexpr std::size_t FEW_KEYS = 64;
  constexpr long long ROWS_SCANNED_IN_A_LOOK_UP = 4;
  if (!_isIndexed) return keys <= FEW_SCANS;
  if (keys <= FEW_KEYS) return true;
  RawStatement rows(*this, "SELECT max(rowid) FROM ", table);
  return rows.nextRow() &&
         static_cast<long long>(keys) * ROWS_SCANNED_IN_A_LOOK_UP < rows.longNumber(0);
}

template <typename Item>
void RawLoop::_readAll(const char* columns, const char* condition, long long key,
                       std::vector<Item>& out) {
  RawStatement rows(*this, columns, condition);
  rows.bind(1, key);
  while (rows.nextRow()) read(rows, out.emplace_back());
}

void RawLoop::addresses(int convId, std::vector<Address>& out) {
  _readAll(ADDRESS_COLUMNS, OF_CONVERSATION, convId, out);
}

void RawLoop::contents(int msgId, std::vector<Content>& out) {
  _readAll(CONTENT_COLUMNS, OF_MESSAGE, msgId, out);
}

void RawLoop::metas(const Condition& condition, std::vector<NmsMsgMeta>& out) {
  RawStatement rows(*this, META_COLUMNS, condition.text);
  rows.bind(condition);
  while (rows.nextRow()) read(rows, out.emplace_back());
}

bool RawLoop::hasDownload() {
  RawStatement rows(*this, COUNT_DOWNLOADS, "");
  return rows.nextRow() && rows.number(0) > 0;
}

void RawLoop::message(const Condition& condition, Message& out) {
  const ReadTransaction transaction(*this);
  RawStatement rows(*this, MESSAGE_COLUMNS, condition.text);
  rows.bind(condition);
  if (!rows.nextRow()) return;
  read_whole_message(rows, out);
  addresses(out.convId, out.addresses);
  mark_sender(out);
  if (is_multimedia(out)) contents(out.msgId, out.contents);
  if (!has_metadata(out)) return;
  RawStatement meta(*this, META_COLUMNS, FIRST_OF_MESSAGE);
  meta.bind(1, out.msgId);
  if (meta.nextRow()) read(meta, out.nmsMsgMeta);
}

void RawLoop::messages(const Condition& condition, std::vector<Message>& out) {
  const ReadTransaction transaction(*this);
  {
    RawStatement rows(*this, MESSAGE_LIST_COLUMNS, condition.text);
    rows.bind(condition);
    while (rows.nextRow()) read_message(rows, out.emplace_back());
  }
  _addAddresses(out);
  _addContents<Message>(out, &is_multimedia);
  _addMetadata(out);
}

void RawLoop::_addAddresses(std::vector<Message>& messages) {
  std::unordered_map<int, std::vector<Address>> byConversation;
  for (const Message& message : messages) byConversation.try_emplace(message.convId);

  if (_isLookedUp("msg_address_table", byConversation.size())) {
    for (auto& [convId, rows] : byConversation) addresses(convId, rows);
  } else {
    RawStatement rows(*this, ADDRESS_COLUMNS, ALL_ROWS);
    while (rows.nextRow()) {
      const auto found = byConversation.find(rows.number(0));
      if (found != byConversation.end()) read(rows, found->second.emplace_back());
    }
  }
  for (Message& message : messages) {
    message.addresses = byConversation.find(message.convId)->second;
    mark_sender(message);
  }
}

template <typename AnyMessage>
void RawLoop::_addContents(std::vector<AnyMessage>& messages, bool (*isWanted)(const AnyMessage&)) {
  std::unordered_map<int, AnyMessage*> wanted;
  for (AnyMessage& message : messages) {
    if (isWanted(message)) wanted.emplace(message.msgId, &message);
  }
  if (wanted.empty()) return;
  if (_isLookedUp("msg_mms_content_table", wanted.size())) {
    for (const auto& [msgId, message] : wanted) contents(msgId, message->contents);
    return;
  }
  RawStatement rows(*this, CONTENT_COLUMNS, ALL_ROWS);
  while (rows.nextRow()) {
    const auto found = wanted.find(rows.number(0));
    if (found != wanted.end()) read(rows, found->second->contents.emplace_back());
  }
}

void RawLoop::_addMetadata(std::vector<Message>& messages) {
  std::unordered_map<int, Message*> wanted;
  for (Message& message : messages) {
    if (has_metadata(message)) wanted.emplace(message.msgId, &message);
  }
  if (wanted.empty()) return;
  if (_isLookedUp("msg_nms_meta_table", wanted.size())) {
    RawStatement rows(*this, META_COLUMNS, FIRST_OF_MESSAGE);
    for (const auto& [msgId, message] : wanted) {
      rows.bind(1, msgId);
      if (rows.nextRow()) read(rows, message->nmsMsgMeta);
      rows.reset();
    }
    return;
  }
  RawStatement rows(*this, META_COLUMNS, ALL_ROWS);
  while (rows.nextRow()) {
    const auto found = wanted.find(rows.number(0));
    if (found == wanted.end()) continue;
    read(rows, found->second->nmsMsgMeta);
    // The first row of a message counts.
    wanted.erase(found);
  }
}

void RawLoop::conversations(int convId, std::vector<Conversation>& out) {
  const ReadTransaction transaction(*this);
  {
    RawStatement rows(*this, MESSAGE_COLUMNS, SHOWN_IN_CONVERSATION);
    rows.bind(1, convId);
    while (rows.nextRow()) read_whole_message(rows, out.emplace_back());
  }
  _addContents<Conversation>(out, &shows_contents);
}

namespace {

/** What a conversation's messages say of it. Of several newest ones the first counts. */
struct State {
  long long newestTime = 0;
  int newestId = 0;
  int networkStatus = 0;
  int simIndex = 0;
  bool isFailed = false;
  bool isSending = false;

  void add(int msgId, long long time, int status, int sim) {
    if (newestId == 0 || time > newestTime || (time == newestTime && msgId < newestId)) {
      newestTime = time;
      newestId = msgId;
      networkStatus = status;
      simIndex = sim;
    }
    isFailed = isFailed || status == STATUS_FAILED;
    isSending = isSending || status == STATUS_SENDING;
  }
};

/** By conversation: their ids are small numbers, one after the other. */
using States = std::vector<State>;

State& state_of(States& states, int convId) {
  const auto place = static_cast<std::size_t>(convId);
  if (place >= states.size()) states.resize(place + 1);
  return states[place];
}

/** With indexes the newest message and one with a state are found without a look at the others. */
constexpr const char* THREADS_BY_INDEX =
    "SELECT convId, unreadCnt, msgCnt, storageFolder, msgType, displayTime, mainText, msgText, "
    "peerConvId, peerChatType, peerChatState, stickerId, lastMsgId, "
    "(SELECT networkStatus FROM msg_message_table WHERE convId = A.convId "
    "ORDER BY displayTime DESC, msgId LIMIT 1), "
    "(SELECT simIndex FROM msg_message_table WHERE convId = A.convId "
    "ORDER BY displayTime DESC, msgId LIMIT 1), "
    "EXISTS (SELECT 1 FROM msg_message_table WHERE convId = A.convId AND networkStatus = 3), "
    "EXISTS (SELECT 1 FROM msg_message_table WHERE convId = A.convId AND networkStatus = 1) "
    "FROM msg_conversation_table A WHERE msgCnt > 0 AND "
    "EXISTS (SELECT 1 FROM msg_message_table WHERE convId = A.convId) ";

constexpr const char* STATES =
    "SELECT convId, msgId, displayTime, networkStatus, simIndex FROM msg_message_table ";

void read_with_state(const RawStatement& row, Thread& thread) {
  read(row, thread);
  thread.networkStatus = row.number(13);
  thread.simIndex = row.number(14);
  thread.failed = row.number(15) != 0;
  thread.sending = row.number(16) != 0;
}

void read_with_state(const RawStatement& row, const State& state, Thread& thread) {
  read(row, thread);
  thread.networkStatus = state.networkStatus;
  thread.simIndex = state.simIndex;
  thread.failed = state.isFailed;
  thread.sending = state.isSending;
}

}  // namespace

void RawLoop::threads(std::vector<Thread>& out) {
  constexpr const char* NEWEST_FIRST = "ORDER BY displayTime DESC, convId";
  if (_isIndexed) {
    RawStatement rows(*this, THREADS_BY_INDEX, NEWEST_FIRST);
    while (rows.nextRow()) read_with_state(rows, out.emplace_back());
    return;
  }
  const ReadTransaction transaction(*this);
  States states;
  {
    RawStatement rows(*this, STATES, ALL_ROWS);
    while (rows.nextRow()) {
      state_of(states, rows.number(0))
          .add(rows.number(1), rows.longNumber(2), rows.number(3), rows.number(4));
    }
  }
  RawStatement rows(*this, THREAD_COLUMNS, "WHERE msgCnt > 0 ORDER BY displayTime DESC, convId");
  while (rows.nextRow()) {
    const State& state = state_of(states, rows.number(0));
    if (state.newestId != 0) read_with_state(rows, state, out.emplace_back());
  }
}

void RawLoop::thread(int convId, Thread& out) {
  if (_isIndexed) {
    RawStatement rows(*this, THREADS_BY_INDEX, "AND convId = ?");
    rows.bind(1, convId);
    if (rows.nextRow()) read_with_state(rows, out);
    return;
  }
  const ReadTransaction transaction(*this);
  State state;
  {
    RawStatement rows(*this, STATES, OF_CONVERSATION);
    rows.bind(1, convId);
    while (rows.nextRow()) {
      state.add(rows.number(1), rows.longNumber(2), rows.number(3), rows.number(4));
    }
  }
  RawStatement rows(*this, THREAD_COLUMNS, "WHERE convId = ? AND msgCnt > 0");
  rows.bind(1, convId);
  if (rows.nextRow() && state.newestId != 0) read_with_state(rows, state, out);
}

}  // namespace msg_tarvel::bench
