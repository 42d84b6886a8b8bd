#include "queries/sqlitecpp.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <map>
#include <optional>
#include <utility>

#include "queries/columns.h"

namespace msg_tarvel::bench {

namespace {

#define SELECT_THREADS                                                                  \
  "SELECT A.convId, A.unreadCnt, A.msgCnt, A.storageFolder, A.msgType, A.displayTime, " \
  "A.mainText, A.msgText, A.peerConvId, A.peerChatType, A.peerChatState, A.stickerId, " \
  "A.lastMsgId, "                                                                       \
  "(SELECT networkStatus FROM msg_message_table WHERE convId = A.convId "               \
  "ORDER BY displayTime DESC, msgId) AS NETWORK_STATUS, "                               \
  "(SELECT simIndex FROM msg_message_table WHERE convId = A.convId "                    \
  "ORDER BY displayTime DESC, msgId) AS SIMINDEX, "                                     \
  "COUNT(CASE WHEN B.networkStatus = 3 THEN 1 END) AS FAILED, "                         \
  "COUNT(CASE WHEN B.networkStatus = 1 THEN 1 END) AS SENDING "                         \
  "FROM msg_conversation_table A, msg_message_table B WHERE A.msgCnt > 0 AND B.convId = A.convId "

class Row {
 public:
  explicit Row(SQLite::Statement& statement) : _statement(statement) {}

  int number(int column) const { return _statement.getColumn(column).getInt(); }
  long long longNumber(int column) const { return _statement.getColumn(column).getInt64(); }
  void text(int column, std::string& out) const { out = _statement.getColumn(column).getString(); }

 private:
  SQLite::Statement& _statement;
};

class SqliteCpp : public Way {
 public:
  SqliteCpp(const std::string& path, bool keepsStatements)
      : _db(path, SQLite::OPEN_READONLY), _keepsStatements(keepsStatements) {}

  bool asksRowByRow() const override { return true; }

  void message(const Condition& condition, Message& out) override {
    Query query(*this, MESSAGE_COLUMNS, condition);
    if (!query->executeStep()) return;
    read_whole_message(Row(*query), out);
    _addDependents(out);
  }

  void messages(const Condition& condition, std::vector<Message>& out) override {
    Query query(*this, MESSAGE_LIST_COLUMNS, condition);
    while (query->executeStep()) {
      Message message;
      read_message(Row(*query), message);
      _addDependents(message);
      out.push_back(std::move(message));
    }
  }

  void thread(int convId, Thread& out) override {
    Query query(*this, SELECT_THREADS, {"AND A.convId = ? GROUP BY A.convId", {convId}});
    if (query->executeStep()) _readThread(*query, out);
  }

  void threads(std::vector<Thread>& out) override {
    Query query(*this, SELECT_THREADS,
                {"GROUP BY A.convId ORDER BY A.displayTime DESC, A.convId ASC", {}});
    while (query->executeStep()) {
      Thread thread;
      _readThread(*query, thread);
      out.push_back(std::move(thread));
    }
  }

  void conversations(int convId, std::vector<Conversation>& out) override {
    Query query(*this, MESSAGE_COLUMNS, {SHOWN_IN_CONVERSATION, {convId}});
    while (query->executeStep()) {
      Conversation message;
      read_whole_message(Row(*query), message);
      if (shows_contents(message)) contents(message.msgId, message.contents);
      out.push_back(std::move(message));
    }
  }

  void addresses(int convId, std::vector<Address>& out) override {
    _readAll(ADDRESS_COLUMNS, {OF_CONVERSATION, {convId}}, out);
  }
  void contents(int msgId, std::vector<Content>& out) override {
    _readAll(CONTENT_COLUMNS, {OF_MESSAGE, {msgId}}, out);
  }
  void metas(const Condition& condition, std::vector<NmsMsgMeta>& out) override {
    _readAll(META_COLUMNS, condition, out);
  }
  bool hasDownload() override {
    Query query(*this, COUNT_DOWNLOADS, {"", {}});
    return query->executeStep() && query->getColumn(0).getInt() > 0;
  }

 private:
  /** A statement for one use, its parameters bound. */
  class Query {
   public:
    Query(SqliteCpp& owner, const char* columns, const Condition& condition) {
      if (owner._keepsStatements) {
        auto& kept = owner._kept[{columns, condition.text}];
        if (!kept) {
          kept =
              std::make_unique<SQLite::Statement>(owner._db, std::string(columns) + condition.text);
        }
        _statement = kept.get();
      } else {
        _own.emplace(owner._db, std::string(columns) + condition.text);
        _statement = &*_own;
      }
      int index = 0;
      for (const auto& value : condition.values) {
        ++index;
        std::visit([this, index](const auto& one) { _statement->bind(index, one); }, value);
      }
    }
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;
    ~Query() { _statement->tryReset(); }

    SQLite::Statement& operator*() { return *_statement; }
    SQLite::Statement* operator->() { return _statement; }

   private:
    std::optional<SQLite::Statement> _own;
    SQLite::Statement* _statement = nullptr;
  };

  template <typename Item>
  void _readAll(const char* columns, const Condition& condition, std::vector<Item>& out) {
    Query query(*this, columns, condition);
    while (query->executeStep()) {
      Item item;
      read(Row(*query), item);
      out.push_back(std::move(item));
    }
  }

  void _addDependents(Message& message) {
    addresses(message.convId, message.addresses);
    mark_sender(message);
    if (is_multimedia(message)) contents(message.msgId, message.contents);
    if (!has_metadata(message)) return;
    Query query(*this, META_COLUMNS, {FIRST_OF_MESSAGE, {message.msgId}});
    if (query->executeStep()) read(Row(*query), message.nmsMsgMeta);
  }

  static void _readThread(SQLite::Statement& statement, Thread& thread) {
    const Row row(statement);
    read(row, thread);
    thread.networkStatus = row.number(13);
    thread.simIndex = row.number(14);
    thread.failed = row.number(15) > 0;
    thread.sending = row.number(16) > 0;
  }

  SQLite::Database _db;
  bool _keepsStatements;
  /** By the places of their two texts, which are constants. */
  std::map<std::pair<const char*, const char*>, std::unique_ptr<SQLite::Statement>> _kept;
};

}  // namespace

std::unique_ptr<Way> make_sqlitecpp(const std::string& path, bool keepsStatements) {
  return std::make_unique<SqliteCpp>(path, keepsStatements);
}

}  // namespace msg_tarvel::bench
