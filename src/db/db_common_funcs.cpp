// The read queries, in six themes: messages, threads, conversations, addresses, contents, and the
// network message store. In each, the SELECT texts come first, then the readers, which take the
// columns by their place, then the queries: each validates its arguments, builds its condition,
// compiles, steps and copies.

#include "msg-tarvel-common/db/db_common_funcs.h"

#include <vconf.h>

#include <cstdint>
#include <utility>

#include "db/bounded_text.h"
#include "db/db_common_funcs_internal.h"
#include "db/fast_queries.h"
#include "db/kept_statements.h"
#include "db/query.h"
#include "log.h"
#include "msg-tarvel-common/db/SqlStatement.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "utility/platform_string.h"

namespace msg_tarvel::db {

namespace {

/** A condition, or a part of a statement: at most 1,023 characters. */
using ConditionText = BoundedText<1024>;

/**
 * `condition` with `order` put in at `place`, where its own order ends; for the fast ways. Empty
 * when it was cut, or when a quote in `text`, which stands in it, makes that place another one.
 */
std::string with_order(const ConditionText& condition, std::size_t place, const char* order,
                       const std::string& text = {}) {
  if (condition.isFull() || text.find('\'') != std::string::npos) return {};
  return std::string(condition.c_str()).insert(place, order);
}

}  // namespace

// Messages

namespace {

// Without peerGroupChatSender, yet read by the same reader: in list results each later column lands
// one field early. Processes of the watch rely on what they have always been given.
constexpr const char* SELECT_MESSAGE_LIST =
    "SELECT msgId, convId, msgType, itemId, storageFolder, storageId, networkStatus, mainText, "
    "textMessage, displayTime, attachedNum, read, simIndex, peerConvId, peerChatType, "
    "peerChatSessionId, stickerId, isShareDialMessage, isSafeMessage "
    "FROM msg_message_table ";

constexpr ListFailures MESSAGE_LIST_FAILURES = {StepFailure::PLAIN, StepFailure::EXCLAIMED,
                                                "_db_step_get_message"};

}  // namespace

void read_message(const SqlStatement& statement, Message& message) {
  message.msgId = statement.getInt(0);
  message.convId = statement.getInt(1);
  message.msgType = statement.getText(2);
  message.itemId = statement.getInt(3);
  message.storageFolder = statement.getInt(4);
  message.storageId = statement.getInt(5);
  message.networkStatus = statement.getInt(6);
  message.mainText = statement.getText(7);
  message.textMessage = statement.getText(8);
  message.displayTime = statement.getInt64(9);
  message.attachedNum = statement.getInt(10);
  message.read = statement.getInt(11) != 0;
  message.simIndex = statement.getInt(12);
  message.peerConvId = statement.getInt(13);
  message.peerChatType = statement.getInt(14) != 0;
  message.peerChatSessionId = statement.getText(15);
  message.peerGroupChatSender = statement.getText(16);
  message.stickerId = statement.getInt(17);
  message.isShareDialMessage = statement.getInt(18) != 0;
  message.isSafeMessage = statement.getInt(19) != 0;
}

void mark_sender(Message& message) {
  for (Address& address : message.addresses) {
    if (address.address == message.peerGroupChatSender) {
      address.userFlag = true;
      break;
    }
  }
}

bool has_contents(const Message& message) { return message.msgType == "mms"; }

bool has_nms_meta(const Message& message) {
  const int folder = message.storageFolder;
  return (folder >= MAIN_FOLDER_1 && folder <= MAIN_FOLDER_3) || folder == MAIN_FOLDER_5;
}

int _db_step_get_message(SqlStatement& statement, Message& message) {
  read_message(statement, message);

  int ret = db_get_addresses(message.convId, message.addresses);
  if (is_failure(ret)) {
    MSG_TARVEL_ERROR("db_get_addresses() failed: (%d)", ret);
    return ret;
  }
  mark_sender(message);

  if (has_contents(message)) {
    ret = db_get_contents(message.msgId, message.contents);
    if (is_failure(ret)) {
      MSG_TARVEL_ERROR("db_get_contents() failed: (%d)", ret);
      return ret;
    }
  }

  if (common_util::is_linkdial_supported() && has_nms_meta(message)) {
    // A message is given without its metadata rather than not at all, or with a part of it.
    NmsMsgMeta meta;
    ret = db_get_nms_msg_meta(message.msgId, "", meta);
    if (ret == DB_SUCCESS) message.nmsMsgMeta = std::move(meta);
    if (is_failure(ret)) MSG_TARVEL_WARN("db_get_nms_msg_meta() failed: (%d)", ret);
  }
  return DB_SUCCESS;
}

namespace {

constexpr const char* SELECT_DELETED_MESSAGES =
    "SELECT msgId, msgType, itemId, storageFolder, displayTime FROM deleted_msg_table";

int step_get_deleted_message(SqlStatement& statement, Message& message) {
  message.msgId = statement.getInt(0);
  message.msgType = statement.getText(1);
  message.itemId = statement.getInt(2);
  message.storageFolder = statement.getInt(3);
  message.displayTime = statement.getInt64(4);
  return DB_SUCCESS;
}

void append_read_filter(ConditionText& condition, int readFilter) {
  if (readFilter != -1) condition.append(" AND read = %d", readFilter == 1 ? 1 : 0);
}

/** Appends what `cond` says of folders; false for a folder option that does not exist. */
bool append_folder_condition(ConditionText& condition, const ListCondition& cond) {
  const int folder = cond.folderType;
  if (folder == ALL_FOLDERS) {
    condition.append(
        "(storageFolder > %d AND storageFolder <> %d AND storageFolder <> %d AND "
        "storageFolder < %d)",
        NO_FOLDER, MAIN_FOLDER_5, STANDALONE_FOLDER_5, ALL_FOLDERS);
    return true;
  }
  if (folder >= 0) {
    condition.append("storageFolder = %d", folder);
    if (folder == MAIN_FOLDER_1) append_read_filter(condition, cond.readFilter);
    return true;
  }
  if (folder > FOLDER_PAIR_1 || folder < FOLDER_PAIR_5) return false;

  const int pair = FOLDER_PAIR_1 - folder;
  condition.append("(storageFolder = %d OR storageFolder = %d)", MAIN_FOLDER_1 + pair,
                   STANDALONE_FOLDER_1 + pair);
  if (folder == FOLDER_PAIR_1) append_read_filter(condition, cond.readFilter);
  return true;
}

/**
 * A comma follows each id whose value differs from the last one's, so an id that repeats the last
 * one runs into its successor: {3, 7, 3} becomes "37,3". Kept as the watch's processes know it.
 */
void append_conversation_condition(ConditionText& condition, const std::vector<int32_t>& convIds) {
  if (convIds.empty()) return;
  condition.append(" AND convId IN (");
  for (const int32_t convId : convIds) {
    condition.append("%d", convId);
    if (convId != convIds.back()) condition.append(",");
  }
  condition.append(")");
}

}  // namespace

int _db_query_get_message(const std::string& where, Message& message) {
  return query_first(SELECT_MESSAGE + where, &_db_step_get_message, "_db_step_get_message",
                     message);
}

int _db_query_get_message_list(const std::string& where, const std::string& settledWhere,
                               std::vector<Message>& messages) {
  const log::CallSite site = log::CallSite::here();
  FastResult fast;
  if (!settledWhere.empty()) {
    fast = fast_message_list(SELECT_MESSAGE_LIST + settledWhere, MESSAGE_LIST_FAILURES, messages,
                             site);
  }
  if (fast.answer) return *fast.answer;
  return query_list(SELECT_MESSAGE_LIST + (fast.isOrderOpen ? settledWhere : where),
                    &_db_step_get_message, MESSAGE_LIST_FAILURES, messages, site);
}

int _db_query_get_message(int msgId, Message& message) {
  ConditionText where;
  where.append("WHERE msgId = %d ORDER BY displayTime DESC;", msgId);
  return look_first_up(KeptText::MESSAGE, msgId, std::string(SELECT_MESSAGE) + where.c_str(),
                       &_db_step_get_message, "_db_step_get_message", message);
}

int db_get_message(int msgId, Message& out) {
  if (msgId < 0) {
    MSG_TARVEL_ERROR("Invalid param: msgId:(%d)", msgId);
    return DB_ERR_INVALID_ARGUMENT;
  }
  return report_failure("_db_query_get_message", _db_query_get_message(msgId, out));
}

int db_get_message(int itemId, const std::string& msgType, FolderType folder, Message& out) {
  if (itemId < 0 || msgType.empty()) {
    MSG_TARVEL_ERROR("Invalid param: itemId:(%d), msgType:(%s)", itemId, msgType.c_str());
    return DB_ERR_INVALID_ARGUMENT;
  }
  ConditionText where;
  where.append(
      "WHERE itemId = %d AND msgType = '%s' AND storageFolder = %d ORDER BY displayTime DESC;",
      itemId, msgType.c_str(), static_cast<int>(folder));
  return report_failure("_db_query_get_message", _db_query_get_message(where.c_str(), out));
}

int db_get_message_list(const ListCondition& cond, std::vector<Message>& out) {
  if (cond.folderType < 0) MSG_TARVEL_INFO("search message list by folder options!");

  ConditionText where;
  where.append("WHERE ");
  if (!append_folder_condition(where, cond)) {
    MSG_TARVEL_ERROR("folder type condition is invalid!!");
    return DB_ERR_INVALID_PARAM;
  }
  append_conversation_condition(where, cond.convIds);
  if (cond.storageId > 0) where.append(" AND storageId = %d", cond.storageId);
  if (!cond.msgType.empty()) where.append(" AND msgType = '%s'", cond.msgType.c_str());
  where.append(" ORDER BY displayTime %s", cond.ascending ? "ASC" : "DESC");
  const std::size_t orderEnd = where.length();
  if (cond.limit != 0) where.append(" LIMIT %d", cond.limit);
  where.append(";");
  const std::string settled = with_order(where, orderEnd, ", msgId", cond.msgType);
  return report_failure("_db_query_get_message_list",
                        _db_query_get_message_list(where.c_str(), settled, out));
}

int db_get_standalone_messages(const std::vector<int>& itemIds, std::vector<Message>& out) {
  ConditionText where;
  where.append("WHERE (storageFolder = %d OR storageFolder = %d) AND itemId IN (%s)",
               STANDALONE_FOLDER_1, STANDALONE_FOLDER_3,
               common_util::to_comma_separated_string(itemIds).c_str());
  const std::size_t orderEnd = where.length();
  where.append(";");
  const std::string settled = with_order(where, orderEnd, " ORDER BY msgId");
  return report_failure("_db_query_get_message_list",
                        _db_query_get_message_list(where.c_str(), settled, out));
}

int db_get_messages_by_time(long long time, FolderType folder, std::vector<Message>& out) {
  if (time < 0) {
    MSG_TARVEL_ERROR("Invalid param: time:(%lld)", time);
    return DB_ERR_INVALID_ARGUMENT;
  }
  ConditionText where;
  where.append("WHERE displayTime < %lld", time);
  if (folder == ALL_MAIN_FOLDERS) {
    where.append(" AND storageFolder >= %d AND storageFolder <= %d", MAIN_FOLDER_1, MAIN_FOLDER_5);
  } else if (folder == ALL_STANDALONE_FOLDERS) {
    where.append(" AND storageFolder >= %d AND storageFolder <= %d", STANDALONE_FOLDER_1,
                 STANDALONE_FOLDER_5);
  } else if (folder != NO_FOLDER) {
    where.append(" AND storageFolder = %d", static_cast<int>(folder));
  }
  where.append(" ORDER BY displayTime DESC");
  const std::size_t orderEnd = where.length();
  where.append(";");
  const std::string settled = with_order(where, orderEnd, ", msgId");
  return report_failure("_db_query_get_message_list",
                        _db_query_get_message_list(where.c_str(), settled, out));
}

int db_get_unsynced_messages(std::vector<Message>& out) {
  return report_failure(
      "_db_query_get_message_list",
      _db_query_get_message_list("WHERE read = 1 AND sync = 0 ORDER BY msgType;",
                                 "WHERE read = 1 AND sync = 0 ORDER BY msgType, msgId;", out));
}

int db_get_deleted_messages(bool mainFolderOnly, std::vector<Message>& out) {
  const log::CallSite site = log::CallSite::here();
  const auto statement =
      compile(std::string(SELECT_DELETED_MESSAGES) +
                  (mainFolderOnly ? " WHERE storageFolder = ?"
                                  : " WHERE storageFolder >= ? AND storageFolder <= ?") +
                  ";",
              site);
  if (!statement) return DB_ERR_PREPARE;

  if (mainFolderOnly) {
    statement->bind(1, MAIN_FOLDER_1);
  } else {
    statement->bind(1, STANDALONE_FOLDER_1);
    statement->bind(2, STANDALONE_FOLDER_3);
  }
  return append_rows(*statement, statement->step(), &step_get_deleted_message, BOUND_LIST_FAILURES,
                     out, site);
}

// Threads: conversations as the list of conversations shows them

namespace {

#define SELECT_THREAD_COUNTS                                       \
  "(COUNT(CASE WHEN B.networkStatus = %d THEN 1 END)) AS FAILED, " \
  "(COUNT(CASE WHEN B.networkStatus = %d THEN 1 END)) AS SENDING " \
  "FROM msg_conversation_table A, msg_message_table B "

constexpr ListFailures THREAD_LIST_FAILURES = {StepFailure::PLAIN, StepFailure::PLAIN,
                                               "_db_step_get_thread"};

}  // namespace

void read_thread(const SqlStatement& statement, Thread& thread) {
  thread.convId = statement.getInt(0);
  thread.unreadCnt = statement.getInt(1);
  thread.msgCnt = statement.getInt(2);
  thread.storageFolder = statement.getInt(3);
  thread.msgType = statement.getText(4);
  thread.displayTime = statement.getInt64(5);
  thread.mainText = statement.getText(6);
  thread.msgText = statement.getText(7);
  thread.peerConvId = statement.getInt(8);
  thread.peerChatType = statement.getInt(9) != 0;
  thread.peerChatState = statement.getInt(10) != 0;
  thread.stickerId = statement.getInt(11);
  thread.lastMsgId = statement.getInt(12);
}

int _db_step_get_thread(SqlStatement& statement, Thread& thread) {
  read_thread(statement, thread);
  thread.networkStatus = statement.getInt(13);
  thread.simIndex = statement.getInt(14);
  if (statement.getInt(15) > 0) thread.failed = true;
  if (statement.getInt(16) > 0) thread.sending = true;
  return DB_SUCCESS;
}

int _db_query_get_thread(int convId, Thread& thread) {
  const log::CallSite site = log::CallSite::here();
  if (const FastResult fast = fast_thread(convId, thread, site); fast.answer) return *fast.answer;

  ConditionText select;
  select.append(
      "SELECT %s, (SELECT networkStatus FROM msg_message_table WHERE convId = A.convId "
      "ORDER BY displayTime DESC) AS NETWORK_STATUS, "
      "(SELECT simIndex FROM msg_message_table WHERE convId = A.convId "
      "ORDER BY displayTime DESC) AS SIMINDEX, " SELECT_THREAD_COUNTS,
      THREAD_COLUMNS, NETWORK_STATUS_FAILED, NETWORK_STATUS_SENDING);
  ConditionText where;
  where.append(
      "ON A.convId = %d AND B.convId = A.convId AND A.msgCnt > 0 GROUP BY A.convId "
      "ORDER BY A.displayTime DESC;",
      convId);
  return query_first(std::string(select.c_str()) + where.c_str(), &_db_step_get_thread, nullptr,
                     thread, site);
}

int _db_query_get_thread_list(std::vector<Thread>& threads) {
  const log::CallSite site = log::CallSite::here();
  const FastResult fast = fast_thread_list(THREAD_LIST_FAILURES, threads, site);
  if (fast.answer) return *fast.answer;

  ConditionText select;
  select.append(
      "SELECT %s, (SELECT networkStatus FROM msg_message_table WHERE convId = A.convId "
      "ORDER BY displayTime DESC, convId ASC) AS NETWORK_STATUS, "
      "(SELECT simIndex FROM msg_message_table WHERE convId = A.convId "
      "ORDER BY displayTime DESC, convId ASC) AS SIMINDEX, " SELECT_THREAD_COUNTS,
      THREAD_COLUMNS, NETWORK_STATUS_FAILED, NETWORK_STATUS_SENDING);
  return query_list(std::string(select.c_str()) +
                        "WHERE A.msgCnt > 0 AND B.convId = A.convId GROUP BY A.convId "
                        "ORDER BY A.displayTime DESC, A.convId ASC;",
                    &_db_step_get_thread, THREAD_LIST_FAILURES, threads, site);
}

int db_get_thread(int convId, Thread& thread) {
  return report_failure("_db_query_get_thread", _db_query_get_thread(convId, thread));
}

int db_get_threads(std::vector<Thread>& threads) {
  return report_failure("_db_query_get_thread_list", _db_query_get_thread_list(threads));
}

// Conversations: messages as the view of one conversation shows them

namespace {

constexpr ListFailures CONVERSATION_LIST_FAILURES = {StepFailure::PLAIN, StepFailure::PLAIN,
                                                     "_db_step_get_conversation"};

}  // namespace

void read_conversation(const SqlStatement& statement, Conversation& conversation) {
  conversation.msgId = statement.getInt(0);
  conversation.msgType = statement.getText(1);
  conversation.itemId = statement.getInt(2);
  conversation.convId = statement.getInt(3);
  conversation.storageId = statement.getInt(4);
  conversation.storageFolder = statement.getInt(5);
  conversation.networkStatus = statement.getInt(6);
  conversation.mainText = statement.getText(7);
  conversation.textMessage = statement.getText(8);
  conversation.displayTime = statement.getInt64(9);
  conversation.attachedNum = statement.getInt(10);
  conversation.read = statement.getInt(11) != 0;
  conversation.simIndex = statement.getInt(12);
  conversation.peerConvId = statement.getInt(13);
  conversation.peerChatType = statement.getInt(14) != 0;
  conversation.peerChatSessionId = statement.getText(15);
  conversation.peerGroupChatSender = statement.getText(16);
  conversation.stickerId = statement.getInt(17);
  conversation.isShareDialMessage = statement.getInt(18) != 0;
  conversation.isSafeMessage = statement.getInt(19) != 0;
}

bool has_contents(const Conversation& conversation) {
  const int folder = conversation.storageFolder;
  const bool isShown = (folder >= MAIN_FOLDER_1 && folder <= MAIN_FOLDER_3) ||
                       (folder >= STANDALONE_FOLDER_1 && folder <= STANDALONE_FOLDER_3);
  return isShown && conversation.msgType == "mms";
}

int _db_step_get_conversation(SqlStatement& statement, Conversation& conversation) {
  read_conversation(statement, conversation);
  if (has_contents(conversation)) {
    const int ret = db_get_contents(conversation.msgId, conversation.contents);
    if (is_failure(ret)) {
      MSG_TARVEL_ERROR("db_get_contents() failed: (%d)", ret);
      return ret;
    }
  }
  return DB_SUCCESS;
}

int _db_query_get_conversation(int msgId, Conversation& conversation) {
  ConditionText where;
  where.append("WHERE msgId = %d;", msgId);
  return look_first_up(KeptText::CONVERSATION, msgId,
                       std::string(SELECT_CONVERSATION) + where.c_str(), &_db_step_get_conversation,
                       nullptr, conversation);
}

int _db_query_get_conversation_list(int convId, std::vector<Conversation>& conversations) {
  ConditionText where;
  where.append(
      "WHERE convId = %d AND storageFolder > %d AND storageFolder <> %d AND storageFolder <> %d "
      "AND storageFolder < %d ORDER BY displayTime, msgId ASC;",
      convId, NO_FOLDER, MAIN_FOLDER_5, STANDALONE_FOLDER_5, ALL_FOLDERS);
  const std::string sql = std::string(SELECT_CONVERSATION) + where.c_str();
  const log::CallSite site = log::CallSite::here();
  const FastResult fast =
      fast_conversation_list(sql, CONVERSATION_LIST_FAILURES, conversations, site);
  if (fast.answer) return *fast.answer;
  return query_list(sql, &_db_step_get_conversation, CONVERSATION_LIST_FAILURES, conversations,
                    site);
}

int db_get_conversation(int msgId, Conversation& conversation) {
  return report_failure("_db_query_get_conversation",
                        _db_query_get_conversation(msgId, conversation));
}

int db_get_conversations(int convId, std::vector<Conversation>& conversations) {
  return report_failure("_db_query_get_conversation_list",
                        _db_query_get_conversation_list(convId, conversations));
}

// Addresses: those of a conversation, the conversation of addresses, SIM cards

namespace {

constexpr const char* ADDRESS_TABLE = "msg_address_table";

constexpr int ADDRESS_TYPE_EXACT = 2;
constexpr int ADDRESS_TYPE_UNSEARCHED = 3;
constexpr int RECIPIENT_TYPE_ENDS_SEARCH = 3;

/** The statement of the search for a conversation: at most 5,119 characters. */
using SearchText = BoundedText<5120>;

constexpr const char* SELECT_SIM_INFOS =
    "SELECT id, simIndex, storageId, Imsi, Address FROM msg_sim_table;";

int step_get_sim_info(SqlStatement& statement, SimInfo& simInfo) {
  simInfo.id = statement.getInt(0);
  simInfo.simIndex = statement.getInt(1);
  simInfo.storageId = statement.getInt(2);
  simInfo.imsi = statement.getText(3);
  simInfo.address = statement.getText(4);
  return DB_SUCCESS;
}

/**
 * Whether a number that begins with "+" matches by its trailing digits: foreign numbers do not, on
 * a device whose country is known to tell its own calling code.
 */
bool is_matched_by_suffix(const std::string& internationalNumber) {
  const common_util::PlatformString value(vconf_get_str("db/csc/country_iso"));
  const std::string country = value ? value.get() : "";
  if (country.compare(0, 2, "US") == 0) return internationalNumber.compare(1, 1, "1") == 0;
  if (country.compare(0, 2, "KR") == 0) return internationalNumber.compare(1, 2, "82") == 0;
  return true;
}

/** Appends the condition for one participant. Addresses go in unescaped. */
void append_address_condition(SearchText& sql, const Address& address) {
  const std::string& text = address.address;
  const auto minMatchDigit = static_cast<std::size_t>(common_util::get_min_match_digit());
  const bool isLongNumber = text.size() > minMatchDigit &&
                            address.addressType != ADDRESS_TYPE_EXACT &&
                            common_util::is_number(text);

  if (isLongNumber && (text[0] != '+' || is_matched_by_suffix(text))) {
    // Two wildcards stand before the number; the watch's processes know the text so.
    sql.append("address LIKE '%%%%%s'", common_util::convert_number(text).c_str());
  } else if (text.empty()) {
    sql.append("address is NULL");
  } else {
    sql.append("address LIKE '%s'", text.c_str());
  }
}

}  // namespace

int step_get_address(SqlStatement& statement, Address& address) {
  address.convId = statement.getInt(0);
  address.addressType = statement.getInt(1);
  address.recipientType = statement.getInt(2);
  address.address = statement.getText(3);
  return DB_SUCCESS;
}

int db_get_addresses(int convId, std::vector<Address>& addresses) {
  if (convId < 0) {
    MSG_TARVEL_ERROR("Invalid param: threadId:(%d)", convId);
    return DB_ERR_INVALID_ARGUMENT;
  }
  return look_list_up(KeptText::ADDRESSES, convId,
                      std::string(SELECT_ADDRESS) + "WHERE convId = ?;", &step_get_address,
                      BOUND_LIST_FAILURES, addresses);
}

int db_get_sim_infos(std::vector<SimInfo>& simInfos) {
  return query_list(SELECT_SIM_INFOS, &step_get_sim_info, BOUND_LIST_FAILURES, simInfos);
}

int db_check_thread_address_exist(const std::vector<Address>& addresses, int* threadId) {
  if (addresses.empty()) {
    MSG_TARVEL_ERROR("Invalid param: addresses.size is 0");
    return DB_ERR_INVALID_ARGUMENT;
  }
  if (!threadId) {
    MSG_TARVEL_ERROR("Invalid param: threadId is null");
    return DB_ERR_INVALID_ARGUMENT;
  }
  *threadId = 0;

  SearchText sql;
  sql.append("SELECT convId FROM (SELECT convId FROM %s WHERE (", ADDRESS_TABLE);
  append_address_condition(sql, addresses.front());
  for (std::size_t i = 1; i < addresses.size(); ++i) {
    if (addresses[i].recipientType == RECIPIENT_TYPE_ENDS_SEARCH) break;
    sql.append(" OR ");
    append_address_condition(sql, addresses[i]);
  }
  sql.append(
      ") AND addressType <> ? AND convId IN (SELECT convId FROM %s GROUP BY convId "
      "HAVING COUNT(convId) = ?) ",
      ADDRESS_TABLE);
  sql.append(") GROUP BY convId HAVING COUNT(convId) = ?");

  const auto statement = compile(sql.c_str());
  if (!statement) return DB_ERR_PREPARE;
  const int participants = static_cast<int>(addresses.size());
  statement->bind(1, ADDRESS_TYPE_UNSEARCHED);
  statement->bind(2, participants);
  statement->bind(3, participants);
  if (statement->step() != DB_ROW) {
    MSG_TARVEL_INFO("Thread does not exist with given address!");
    return DB_NO_DATA;
  }
  const int convId = statement->getInt(0);
  if (convId > 0) *threadId = convId;
  return DB_SUCCESS;
}

// Contents

namespace {

constexpr ListFailures CONTENT_LIST_FAILURES = {StepFailure::PLAIN, StepFailure::EXCLAIMED,
                                                nullptr};

}  // namespace

int step_get_content(SqlStatement& statement, Content& content) {
  content.msgId = statement.getInt(0);
  content.slideIdx = statement.getInt(1);
  content.textData = statement.getText(2);
  content.mediaType = statement.getInt(3);
  content.contentType = statement.getText(4);
  content.attachType = statement.getInt(5) != 0;
  content.hasFile = statement.getInt(6) != 0;
  content.status = statement.getInt(7);
  content.filepath = statement.getText(8);
  content.filename = statement.getText(9);
  content.thumbpath = statement.getText(10);
  content.peer_filepath = statement.getText(11);
  content.peer_copied_filepath = statement.getText(12);
  return DB_SUCCESS;
}

namespace {

constexpr const char* STRUCTURED_MESSAGE = "json_msg";

constexpr const char* SELECT_SENDING_MSG_CONTENT =
    "SELECT msgId, status, filepath, filename FROM msg_ft_content_table "
    "WHERE msgId = ? and contentType = ?;";

constexpr const char* SELECT_SENDING_FILE_CONTENT =
    "SELECT msgId, status, filepath, filename FROM msg_ft_content_table WHERE filepath = ?;";

/** Runs a look-up of msg_ft_content_table; without a row `content` stays as it is. */
int read_sending_content(SqlStatement& statement, Content& content,
                         log::CallSite site = log::CallSite::here()) {
  int ret = statement.step();
  if (ret == DB_ROW) {
    const LostTexts lost;
    content.msgId = statement.getInt(0);
    content.status = statement.getInt(1);
    content.filepath = statement.getText(2);
    content.filename = statement.getText(3);
    if (lost.any()) ret = step_behind_lost_text(statement);
  }
  if (ret != DB_ERR_STEP) return DB_SUCCESS;
  log_step_failure(StepFailure::WITH_CODE, ret, site);
  return ret;
}

}  // namespace

int _db_query_get_content_list(int msgId, std::vector<Content>& contents) {
  ConditionText where;
  where.append("WHERE msgId = %d;", msgId);
  return look_list_up(KeptText::CONTENTS, msgId, std::string(SELECT_CONTENT) + where.c_str(),
                      &step_get_content, CONTENT_LIST_FAILURES, contents);
}

int db_get_contents(int msgId, std::vector<Content>& contents) {
  return report_failure("_db_query_get_content_list", _db_query_get_content_list(msgId, contents));
}

int db_get_sending_msg_content_info(int msgId, Content& content) {
  const auto statement = compile(SELECT_SENDING_MSG_CONTENT);
  if (!statement) return DB_ERR_PREPARE;
  statement->bind(1, msgId);
  statement->bind(2, STRUCTURED_MESSAGE);
  return read_sending_content(*statement, content);
}

int db_get_sending_file_content_info(const std::string& filepath, Content& content) {
  const auto statement = compile(SELECT_SENDING_FILE_CONTENT);
  if (!statement) return DB_ERR_PREPARE;
  statement->bind(1, filepath.c_str());
  return read_sending_content(*statement, content);
}

// Network message store: metadata and subscription

namespace {

constexpr const char* SELECT_NMS_META_LIST =
    "SELECT msgId, objectId, primaryId, secondaryId, resourceURL, BTCorrelated, MSSICorrelated, "
    "lastModSeq, MSSISync, deleted, msgTime, downloadRequired from msg_nms_meta_table ";

constexpr const char* COUNT_DOWNLOAD_REQUIRED =
    "SELECT count(msgId) FROM msg_nms_meta_table WHERE downloadRequired = ?;";

constexpr const char* SELECT_SUBSCRIPTION =
    "SELECT notiIdx, restartToken FROM mssi_info_table WHERE id = ?;";

constexpr int SUBSCRIPTION_ROW_ID = 1;

constexpr ListFailures NMS_META_LIST_FAILURES = {StepFailure::PLAIN, StepFailure::EXCLAIMED,
                                                 "_db_step_get_nms_meta"};

}  // namespace

int _db_step_get_nms_meta(SqlStatement& statement, NmsMsgMeta& meta) {
  meta.msgId = statement.getInt(0);
  meta.objectId = statement.getText(1);
  meta.primaryId = statement.getText(2);
  meta.secondaryId = statement.getText(3);
  meta.resourceURL = statement.getText(4);
  meta.BTCorrelated = statement.getInt(5);
  meta.MSSICorrelated = statement.getInt(6);
  meta.lastModSeq = statement.getInt64(7);
  meta.MSSISync = statement.getInt(8) != 0;
  meta.deleted = statement.getInt(9) != 0;
  meta.msgTime = statement.getInt64(10);
  meta.downloadRequired = statement.getInt(11) != 0;
  return DB_SUCCESS;
}

int _db_query_get_nms_meta(const std::string& where, NmsMsgMeta& meta) {
  return query_first(SELECT_NMS_META + where, &_db_step_get_nms_meta, "_db_step_get_nms_meta",
                     meta);
}

int _db_query_get_nms_meta_list(const std::string& where, const std::string& settledWhere,
                                std::vector<NmsMsgMeta>& metas) {
  const log::CallSite site = log::CallSite::here();
  FastResult fast;
  if (!settledWhere.empty()) {
    fast = fast_nms_meta_list(SELECT_NMS_META_LIST + settledWhere, NMS_META_LIST_FAILURES, metas,
                              site);
  }
  if (fast.answer) return *fast.answer;
  return query_list(SELECT_NMS_META_LIST + (fast.isOrderOpen ? settledWhere : where),
                    &_db_step_get_nms_meta, NMS_META_LIST_FAILURES, metas, site);
}

int _db_query_get_nms_meta(int msgId, NmsMsgMeta& meta) {
  ConditionText where;
  where.append("WHERE msgId = %d;", msgId);
  return look_first_up(KeptText::NMS_META, msgId, std::string(SELECT_NMS_META) + where.c_str(),
                       &_db_step_get_nms_meta, "_db_step_get_nms_meta", meta);
}

int db_get_nms_msg_meta(int msgId, const std::string& objectId, NmsMsgMeta& meta) {
  if (msgId >= 1) {
    return report_failure("_db_query_get_nms_meta", _db_query_get_nms_meta(msgId, meta));
  }
  ConditionText where;
  where.append("WHERE objectId = '%s';", objectId.c_str());
  return report_failure("_db_query_get_nms_meta", _db_query_get_nms_meta(where.c_str(), meta));
}

int db_has_download_required_message(bool* hasMessage) {
  if (!hasMessage) return DB_ERR_INVALID_ARGUMENT;

  const log::CallSite site = log::CallSite::here();
  const auto statement = compile(COUNT_DOWNLOAD_REQUIRED, site);
  if (!statement) return DB_ERR_PREPARE;
  statement->bind(1, 1);
  const int ret = statement->step();
  if (ret == DB_ERR_STEP) log_step_failure(StepFailure::EXCLAIMED, ret, site);
  if (ret != DB_ROW) return ret;
  *hasMessage = statement->getInt(0) > 0;
  return DB_SUCCESS;
}

int db_get_uncorrelated_nms_msg_metas(const std::string& correlationId,
                                      NmsMsgMeta::CorrelationType correlationType,
                                      NmsMsgMeta::CorrelationIdSearchType searchType,
                                      bool ascending, std::vector<NmsMsgMeta>& metas) {
  ConditionText where;
  where.append("WHERE %s = %d",
               correlationType == NmsMsgMeta::BT_CORRELATION ? "BTCorrelated" : "MSSICorrelated",
               0);
  if (!correlationId.empty()) {
    const char* id = correlationId.c_str();
    if (searchType == NmsMsgMeta::PRIMARY_OR_SECONDARY_ID) {
      where.append(" AND (primaryId = '%s' OR secondaryId = '%s')", id, id);
    } else if (searchType == NmsMsgMeta::PRIMARY_ID) {
      where.append(" AND primaryId = '%s'", id);
    } else {
      where.append(" AND secondaryId = '%s'", id);
    }
  }
  where.append(" ORDER BY msgTime %s", ascending ? "ASC" : "DESC");
  const std::size_t orderEnd = where.length();
  where.append(";");
  const std::string settled = with_order(where, orderEnd, ", id", correlationId);
  return report_failure("_db_query_get_nms_meta_list",
                        _db_query_get_nms_meta_list(where.c_str(), settled, metas));
}

int db_get_sync_required_nms_msg_metas(bool deleted, std::vector<NmsMsgMeta>& metas) {
  ConditionText where;
  where.append("WHERE deleted = %d AND MSSICorrelated = %d AND MSSISync = %d limit 5;", deleted, 1,
               1);
  return report_failure("_db_query_get_nms_meta_list",
                        _db_query_get_nms_meta_list(where.c_str(), {}, metas));
}

int db_get_download_required_nms_msg_metas(std::vector<NmsMsgMeta>& metas) {
  ConditionText where;
  where.append("WHERE downloadRequired = %d ORDER BY msgTime DESC limit 1;", 1);
  return report_failure("_db_query_get_nms_meta_list",
                        _db_query_get_nms_meta_list(where.c_str(), {}, metas));
}

int db_get_subscription_info(unsigned long long& notiIdx, std::string& restartToken) {
  const log::CallSite site = log::CallSite::here();
  const auto statement = compile(SELECT_SUBSCRIPTION, site);
  if (!statement) return DB_ERR_PREPARE;
  statement->bind(1, SUBSCRIPTION_ROW_ID);
  const LostTexts lost;
  int ret = statement->step();
  std::string token = ret == DB_ROW ? statement->getText(1) : std::string();
  if (lost.any()) ret = step_behind_lost_text(*statement);
  if (ret == DB_ERR_STEP) {
    log_step_failure(StepFailure::WITH_CODE, ret, site);
    return ret;
  }
  if (ret == DB_ROW) {
    notiIdx = static_cast<unsigned long long>(statement->getInt64(0));
    restartToken = std::move(token);
  }
  return DB_SUCCESS;
}

}  // namespace msg_tarvel::db
