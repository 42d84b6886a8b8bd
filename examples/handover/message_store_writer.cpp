#include "message_store_writer.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>
#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

namespace msg_tarvel::handover {

namespace {

using db::DBMgr;
using db::SqlStatement;

constexpr const char* MARK_READ =
    "UPDATE msg_message_table SET read = 1, sync = 0 WHERE coalesce(read, 0) = 0 AND ";

constexpr const char* RECORD_DELETION =
    "INSERT INTO deleted_msg_table (msgId, msgType, itemId, storageFolder, displayTime) "
    "SELECT msgId, msgType, itemId, storageFolder, displayTime FROM msg_message_table WHERE ";

constexpr const char* TABLES_OF_A_MESSAGE[] = {"msg_mms_content_table", "msg_ft_content_table",
                                               "msg_nms_meta_table", "msg_message_table"};

constexpr const char* INSERT_CONVERSATION =
    "INSERT INTO msg_conversation_table (peerConvId, peerChatType, peerChatSessionId, "
    "peerChatState) VALUES (?, ?, ?, 0);";

constexpr const char* INSERT_ADDRESS =
    "INSERT INTO msg_address_table (convId, addressType, recipientType, address) "
    "VALUES (?, ?, ?, nullif(?, ''));";  // the search knows an empty address as NULL

constexpr const char* INSERT_MESSAGE =
    "INSERT INTO msg_message_table (convId, msgType, itemId, storageFolder, storageId, "
    "networkStatus, mainText, textMessage, displayTime, attachedNum, read, sync, simIndex, "
    "peerConvId, peerChatType, peerChatSessionId, peerGroupChatSender, stickerId, "
    "isShareDialMessage, isSafeMessage) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, 1, ?, ?, ?, ?, ?, ?, ?, ?);";

constexpr const char* INSERT_CONTENT =
    "INSERT INTO msg_mms_content_table (msgId, slideIdx, textData, mediaType, contentType, "
    "attachType, hasFile, status, filepath, filename, thumbpath, peer_filepath, "
    "peer_copied_filepath) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);";

constexpr const char* INSERT_METADATA =
    "INSERT INTO msg_nms_meta_table (msgId, objectId, primaryId, secondaryId, resourceURL, "
    "BTCorrelated, MSSICorrelated, lastModSeq, MSSISync, deleted, msgTime, downloadRequired) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);";

constexpr const char* UPDATE_SUBSCRIPTION =
    "INSERT INTO mssi_info_table (id, notiIdx, restartToken) VALUES (1, ?, ?) ON CONFLICT (id) "
    "DO UPDATE SET notiIdx = excluded.notiIdx, restartToken = excluded.restartToken;";

// The messages that the view of a conversation shows count; folders 5 and 105 are not in it.
#define SHOWN_OF_CONVERSATION                                                \
  "FROM msg_message_table B WHERE B.convId = msg_conversation_table.convId " \
  "AND storageFolder > 0 AND storageFolder < 9999 AND storageFolder NOT IN (5, 105) "

constexpr const char* UPDATE_CONVERSATION =
    "UPDATE msg_conversation_table SET "
    "(msgType, storageFolder, displayTime, mainText, msgText, stickerId, lastMsgId) = "
    "(SELECT msgType, storageFolder, displayTime, mainText, textMessage, stickerId, "
    "msgId " SHOWN_OF_CONVERSATION
    "ORDER BY displayTime DESC, msgId DESC LIMIT 1), "
    "msgCnt = (SELECT count(*) " SHOWN_OF_CONVERSATION
    "), "
    "unreadCnt = (SELECT count(*) " SHOWN_OF_CONVERSATION
    "AND storageFolder IN (1, 101) AND coalesce(read, 0) = 0) "
    "WHERE convId = ?;";

#undef SHOWN_OF_CONVERSATION

void require(bool isDone, const std::string& what) {
  if (!isDone) throw std::runtime_error("the store refuses to " + what + ", see the owner's log");
}

void bind(SqlStatement& statement, int index, int value) { statement.bind(index, value); }
void bind(SqlStatement& statement, int index, long long value) { statement.bind(index, value); }
/** The text is not copied: it outlives the statement's step. */
void bind(SqlStatement& statement, int index, const std::string& text) {
  statement.bind(index, text.c_str());
}

template <typename... Values>
std::unique_ptr<SqlStatement> compile(const std::string& sql, const Values&... values) {
  auto statement = DBMgr::getInstance()->compileStatement(sql);
  require(statement != nullptr, "prepare a statement");
  int index = 0;
  (bind(*statement, ++index, values), ...);
  return statement;
}

/** Runs a statement that returns no rows. */
template <typename... Values>
void run(const std::string& sql, const Values&... values) {
  require(compile(sql, values...)->step() == db::DB_SUCCESS, "be changed");
}

/** The number in the first row that a statement returns; 0 without one. */
template <typename... Values>
int number(const std::string& sql, const Values&... values) {
  const auto statement = compile(sql, values...);
  const int ret = statement->step();
  require(ret == db::DB_ROW || ret == db::DB_SUCCESS, "be read");
  return ret == db::DB_ROW ? statement->getInt(0) : 0;
}

int last_id() { return number("SELECT last_insert_rowid();"); }

/** The journal's file belongs to the store: without this, every commit would delete it. */
bool keep_journal() {
  return DBMgr::getInstance()->execStatement("PRAGMA journal_mode = PERSIST;") == db::DB_SUCCESS;
}

/** What is not committed is undone. */
class Transaction {
 public:
  Transaction() {
    require(DBMgr::getInstance()->beginTransaction() == db::DB_SUCCESS, "be locked");
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction() {
    if (_isCommitted || DBMgr::getInstance()->endTransaction(false) == db::DB_SUCCESS) return;
    // After some errors SQLite has undone everything itself, and the manager still counts a
    // transaction: only a new connection gets out of that.
    db::deinit_db();
    db::init_db();
    keep_journal();
  }

  void commit() {
    require(DBMgr::getInstance()->endTransaction(true) == db::DB_SUCCESS, "commit");
    _isCommitted = true;
  }

 private:
  bool _isCommitted = false;
};

void require_message(int msgId, int convId) {
  if (number("SELECT count(*) FROM msg_message_table WHERE msgId = ? AND convId = ?;", msgId,
             convId) == 0) {
    throw std::invalid_argument("there is no message " + std::to_string(msgId) +
                                " in conversation " + std::to_string(convId));
  }
}

void require_conversation(int convId) {
  if (number("SELECT count(*) FROM msg_conversation_table WHERE convId = ?;", convId) == 0) {
    throw std::invalid_argument("there is no conversation " + std::to_string(convId));
  }
}

/** Brings counters and last message in line with the messages. */
void update_conversation(int convId) { run(UPDATE_CONVERSATION, convId); }

/** Deletes the messages with the given value in a column of msg_message_table. */
void delete_messages(const std::string& column, int value) {
  const std::string chosen = column + " = ?";
  run(RECORD_DELETION + chosen, value);
  for (const char* const table : TABLES_OF_A_MESSAGE) {
    run(std::string("DELETE FROM ") + table +
            " WHERE msgId IN (SELECT msgId FROM msg_message_table WHERE " + chosen + ");",
        value);
  }
}

std::string with_doubled_quotes(const std::string& text) {
  std::string doubled;
  for (const char character : text) doubled.append(character == '\'' ? 2 : 1, character);
  return doubled;
}

/**
 * Whether db_check_thread_address_exist finds these addresses and no others: it writes them into a
 * pattern, where some characters stand for any, and its text has an end. Without the number of
 * digits to compare, it takes all numbers for the same.
 */
bool is_searchable(const std::vector<Address>& addresses) {
  constexpr std::size_t ROOM = 4800;
  constexpr std::size_t ROOM_PER_ADDRESS = 24;
  std::size_t needed = 0;
  for (const Address& address : addresses) {
    if (address.address.find_first_of("%_") != std::string::npos) return false;
    needed += with_doubled_quotes(address.address).size() + ROOM_PER_ADDRESS;
  }
  return needed <= ROOM && common_util::get_min_match_digit() > 0;
}

int search_in_library(std::vector<Address> addresses) {
  // Addresses go into the library's statement between single quotes as they are.
  for (Address& address : addresses) address.address = with_doubled_quotes(address.address);
  int convId = 0;
  const int ret = db::db_check_thread_address_exist(addresses, &convId);
  require(ret == db::DB_SUCCESS || ret == db::DB_NO_DATA, "be searched");
  return convId;
}

std::vector<std::string> sorted_texts(const std::vector<Address>& addresses) {
  std::vector<std::string> texts;
  texts.reserve(addresses.size());
  for (const Address& address : addresses) texts.push_back(address.address);
  std::sort(texts.begin(), texts.end());
  return texts;
}

/** The conversation with exactly these texts, letter by letter. */
int search_exactly(const std::vector<Address>& addresses) {
  const auto candidates = compile(
      "SELECT convId FROM msg_address_table GROUP BY convId HAVING count(*) = ? ORDER BY convId;",
      static_cast<int>(addresses.size()));
  const std::vector<std::string> wanted = sorted_texts(addresses);
  int ret = candidates->step();
  for (; ret == db::DB_ROW; ret = candidates->step()) {
    std::vector<Address> stored;
    db::db_get_addresses(candidates->getInt(0), stored);
    if (sorted_texts(stored) == wanted) return candidates->getInt(0);
  }
  require(ret == db::DB_SUCCESS, "be searched");
  return 0;
}

int find_conversation(const std::vector<Address>& addresses) {
  return is_searchable(addresses) ? search_in_library(addresses) : search_exactly(addresses);
}

int make_conversation(const Message& message) {
  run(INSERT_CONVERSATION, message.peerConvId, int{message.peerChatType},
      message.peerChatSessionId);
  const int convId = last_id();
  for (const Address& address : message.addresses) {
    run(INSERT_ADDRESS, convId, address.addressType, address.recipientType, address.address);
  }
  return convId;
}

int conversation_for(const Message& message) {
  if (message.addresses.empty()) {
    throw std::invalid_argument("a message without addresses needs a conversation");
  }
  const int convId = find_conversation(message.addresses);
  return convId != 0 ? convId : make_conversation(message);
}

int insert_message(const Message& message, int convId) {
  run(INSERT_MESSAGE, convId, message.msgType, message.itemId, message.storageFolder,
      message.storageId, message.networkStatus, message.mainText, message.textMessage,
      static_cast<long long>(message.displayTime), message.attachedNum, int{message.read},
      message.simIndex, message.peerConvId, int{message.peerChatType}, message.peerChatSessionId,
      message.peerGroupChatSender, message.stickerId, int{message.isShareDialMessage},
      int{message.isSafeMessage});
  return last_id();
}

void insert_content(const Content& content, int msgId) {
  run(INSERT_CONTENT, msgId, content.slideIdx, content.textData, content.mediaType,
      content.contentType, int{content.attachType}, int{content.hasFile}, content.status,
      content.filepath, content.filename, content.thumbpath, content.peer_filepath,
      content.peer_copied_filepath);
}

void insert_metadata(const NmsMsgMeta& meta, int msgId) {
  run(INSERT_METADATA, msgId, meta.objectId, meta.primaryId, meta.secondaryId, meta.resourceURL,
      meta.BTCorrelated, meta.MSSICorrelated, static_cast<long long>(meta.lastModSeq),
      int{meta.MSSISync}, int{meta.deleted}, static_cast<long long>(meta.msgTime),
      int{meta.downloadRequired});
}

void require_folder(int folder) {
  const bool isMain = folder >= MAIN_FOLDER_1 && folder <= MAIN_FOLDER_5;
  const bool isStandalone = folder >= STANDALONE_FOLDER_1 && folder <= STANDALONE_FOLDER_5;
  if (!isMain && !isStandalone) {
    throw std::invalid_argument("there is no folder " + std::to_string(folder));
  }
}

}  // namespace

void create_store() {
  require(DBMgr::getInstance()->createDb() == db::DB_SUCCESS, "be created");
  require(keep_journal(), "keep its journal");
}

void mark_message_read(int msgId, int convId) {
  Transaction transaction;
  require_message(msgId, convId);
  run(std::string(MARK_READ) + "msgId = ?;", msgId);
  update_conversation(convId);
  transaction.commit();
}

void mark_thread_read(int convId) {
  Transaction transaction;
  require_conversation(convId);
  run(std::string(MARK_READ) + "convId = ?;", convId);
  update_conversation(convId);
  transaction.commit();
}

void delete_message(int msgId, int convId) {
  Transaction transaction;
  require_message(msgId, convId);
  delete_messages("msgId", msgId);
  update_conversation(convId);
  transaction.commit();
}

void delete_thread(int convId) {
  Transaction transaction;
  require_conversation(convId);
  delete_messages("convId", convId);
  update_conversation(convId);
  transaction.commit();
}

int add_message(const Message& message, int convId) {
  require_folder(message.storageFolder);
  Transaction transaction;
  if (convId == 0) {
    convId = conversation_for(message);
  } else {
    require_conversation(convId);
  }
  const int msgId = insert_message(message, convId);
  for (const Content& content : message.contents) insert_content(content, msgId);
  if (message.hasNmsMsgMeta()) insert_metadata(message.nmsMsgMeta, msgId);
  update_conversation(convId);
  transaction.commit();
  return msgId;
}

void update_subscription(unsigned long long notiIdx, const std::string& restartToken) {
  Transaction transaction;
  run(UPDATE_SUBSCRIPTION, static_cast<long long>(notiIdx), restartToken);
  transaction.commit();
}

}  // namespace msg_tarvel::handover
