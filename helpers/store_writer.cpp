#include "helpers/store_writer.h"

#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "helpers/folders.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"

namespace msg_tarvel::helpers {

namespace {

constexpr const char* LAST_ID = "SELECT last_insert_rowid();";

constexpr const char* READ_IMPORT_MARKS =
    "SELECT customFieldStr1, displayTime FROM msg_message_table "
    "WHERE customFieldStr1 LIKE 'import:%';";

constexpr const char* INSERT_CONVERSATION =
    "INSERT INTO msg_conversation_table (unreadCnt, msgCnt, msgType, storageFolder, displayTime, "
    "mainText, msgText, peerConvId, peerChatType, peerChatSessionId, peerChatState, stickerId) "
    "VALUES (0, 0, '', 0, 0, '', '', ?, ?, ?, 0, 0);";

constexpr const char* INSERT_ADDRESS =
    "INSERT INTO msg_address_table (convId, addressType, recipientType, address) "
    "VALUES (?, ?, ?, nullif(?, ''));";  // the search knows an empty address as NULL

constexpr const char* INSERT_MESSAGE =
    "INSERT INTO msg_message_table (convId, msgType, itemId, storageFolder, storageId, "
    "networkStatus, mainText, textMessage, displayTime, attachedNum, read, simIndex, peerConvId, "
    "peerChatType, peerChatSessionId, peerGroupChatSender, stickerId, isShareDialMessage, "
    "isSafeMessage, sync, customFieldStr1, subType, simAddress, groupId, customFieldInt1) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, nullif(?, ''), 0, '', 0, "
    "0);";

constexpr const char* INSERT_CONTENT =
    "INSERT INTO msg_mms_content_table (msgId, slideIdx, textData, mediaType, contentType, "
    "attachType, hasFile, status, filepath, filename, thumbpath, peer_filepath, "
    "peer_copied_filepath, size, resourceURL, customFieldInt1, customFieldStr1) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, '', 0, '');";

constexpr const char* INSERT_METADATA =
    "INSERT INTO msg_nms_meta_table (msgId, objectId, primaryId, secondaryId, resourceURL, "
    "BTCorrelated, MSSICorrelated, lastModSeq, MSSISync, deleted, msgTime, downloadRequired) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?);";

constexpr const char* MARK_MESSAGE_READ =
    "UPDATE msg_message_table SET read = 1, sync = 0 WHERE coalesce(read, 0) = 0 AND msgId = ?;";
constexpr const char* MARK_THREAD_READ =
    "UPDATE msg_message_table SET read = 1, sync = 0 WHERE coalesce(read, 0) = 0 AND convId = ?;";

constexpr const char* RECORD_DELETION =
    "INSERT INTO deleted_msg_table (msgId, msgType, itemId, storageFolder, displayTime) "
    "SELECT msgId, msgType, itemId, storageFolder, displayTime FROM msg_message_table WHERE ";

constexpr const char* TABLES_OF_A_MESSAGE[] = {"msg_mms_content_table", "msg_ft_content_table",
                                               "msg_nms_meta_table", "msg_message_table"};

constexpr const char* UPDATE_SUBSCRIPTION =
    "INSERT INTO mssi_info_table (id, notiIdx, restartToken) VALUES (1, ?, ?) ON CONFLICT (id) "
    "DO UPDATE SET notiIdx = excluded.notiIdx, restartToken = excluded.restartToken;";

constexpr const char* READ_MESSAGES =
    "SELECT convId, msgId, storageFolder, read, displayTime FROM msg_message_table";

constexpr const char* UPDATE_CONVERSATION =
    "UPDATE msg_conversation_table SET "
    "(msgType, storageFolder, displayTime, expiryTime, mainText, msgText, stickerId, lastMsgId) = "
    "(SELECT msgType, storageFolder, displayTime, expiryTime, mainText, textMessage, stickerId, "
    "msgId FROM msg_message_table WHERE msgId = ?), msgCnt = ?, unreadCnt = ? WHERE convId = ?;";

std::string key_of(std::vector<std::string> addresses) {
  std::sort(addresses.begin(), addresses.end());
  std::string key;
  for (const std::string& address : addresses) key += address + '\n';
  return key;
}

/** The people of a message's conversation. */
std::vector<std::string> people_of(const Message& message) {
  std::vector<std::string> addresses;
  addresses.reserve(message.addresses.size());
  for (const Address& one : message.addresses) addresses.push_back(one.address);
  return people_among(addresses);
}

void require_folder(int folder) {
  if (!is_real_folder(folder)) {
    throw std::invalid_argument("there is no folder " + std::to_string(folder));
  }
}

}  // namespace

StoreWriter::StoreWriter() = default;

StoreWriter::~StoreWriter() = default;

db::SqlStatement& StoreWriter::_statement(const char* sql) {
  auto& statement = _statements[sql];
  if (!statement) statement = compile(sql, CANNOT_WRITE);
  return *statement;
}

template <typename... Values>
void StoreWriter::_run(const char* sql, const Values&... values) {
  db::SqlStatement& statement = _statement(sql);
  bind_all(statement, values...);
  run(statement, CANNOT_WRITE);
}

int StoreWriter::_lastId() {
  db::SqlStatement& statement = _statement(LAST_ID);
  const int id = next_row(statement, CANNOT_WRITE) ? statement.getInt(0) : 0;
  statement.reset();
  return id;
}

void StoreWriter::_readImportMarks() {
  if (_importMarks) return;
  _importMarks.emplace();
  const auto marks = compile(READ_IMPORT_MARKS, CANNOT_WRITE);
  while (next_row(*marks, CANNOT_WRITE)) {
    _importMarks->emplace(marks->getText(0), false);
    _importTimes.insert(marks->getInt64(1));
  }
}

bool StoreWriter::isStored(const std::string& importMark) {
  _readImportMarks();
  return _importMarks->count(importMark) > 0;
}

bool StoreWriter::isStoredHere(const std::string& importMark) const {
  if (!_importMarks) return false;
  const auto known = _importMarks->find(importMark);
  return known != _importMarks->end() && known->second;
}

bool StoreWriter::isImportedOf(long long displayTime) {
  _readImportMarks();
  return _importTimes.count(displayTime) > 0;
}

void StoreWriter::requireConversation(int convId) {
  if (number("SELECT count(*) FROM msg_conversation_table WHERE convId = ?;", CANNOT_READ,
             convId) == 0) {
    throw std::invalid_argument("there is no conversation " + std::to_string(convId));
  }
}

void StoreWriter::_requireMessage(int msgId, int convId) {
  if (number("SELECT count(*) FROM msg_message_table WHERE msgId = ? AND convId = ?;", CANNOT_READ,
             msgId, convId) == 0) {
    throw std::invalid_argument("there is no message " + std::to_string(msgId) +
                                " in conversation " + std::to_string(convId));
  }
}

int StoreWriter::conversationOf(const Message& message) {
  const std::vector<std::string> people = people_of(message);
  _betweenSteps();
  const std::string key = key_of(people);
  _betweenSteps();
  const auto known = _found.find(key);
  if (known != _found.end()) return known->second;

  int convId = _search.find(people);
  _betweenSteps();
  if (convId == 0) {
    const int other = _tellsTwins && !people.empty() ? _search.findSame(people) : 0;
    _betweenSteps();
    convId = _makeConversation(message, people);
    if (other != 0) _twins.push_back({people.front(), convId, other});
  }
  _found.emplace(key, convId);
  return convId;
}

int StoreWriter::_makeConversation(const Message& message, const std::vector<std::string>& people) {
  _run(INSERT_CONVERSATION, message.peerConvId, int{message.peerChatType},
       message.peerChatSessionId);
  const int convId = _lastId();
  ++_conversationsMade;
  // The people are in the message's order; what it says of each first is kept.
  auto person = people.begin();
  for (const Address& one : message.addresses) {
    if (person == people.end()) break;
    if (normalised_address(one.address) != *person) continue;
    _addAddress(convId, one.addressType, one.recipientType, *person++);
  }
  if (people.empty()) _addAddress(convId, ADDRESS_TYPE_TEXT, 1, "");
  return convId;
}

void StoreWriter::_addAddress(int convId, int addressType, int recipientType,
                              const std::string& address) {
  _run(INSERT_ADDRESS, convId, addressType, recipientType, address);
  _search.added(convId, addressType, address);
}

std::string StoreWriter::storedAddress(int convId, const std::string& address) {
  const auto [entry, isNew] = _addresses.try_emplace(convId);
  if (isNew) {
    std::vector<Address> rows;
    const int ret = db::db_get_addresses(convId, rows);
    if (ret != db::DB_SUCCESS && ret != db::DB_NO_DATA) throw StoreError(CANNOT_READ, ret);
    for (const Address& row : rows) entry->second.add(row.address);
  }
  const std::string* const stored = entry->second.find(address);
  return stored ? *stored : address;
}

int StoreWriter::addMessage(int convId, const Message& message, const MessageOrigin& origin) {
  require_folder(message.storageFolder);
  _run(INSERT_MESSAGE, convId, message.msgType, message.itemId, message.storageFolder,
       message.storageId, message.networkStatus, message.mainText, message.textMessage,
       static_cast<long long>(message.displayTime), message.attachedNum, int{message.read},
       message.simIndex, message.peerConvId, int{message.peerChatType}, message.peerChatSessionId,
       message.peerGroupChatSender, message.stickerId, int{message.isShareDialMessage},
       int{message.isSafeMessage}, int{origin.isSynced}, origin.importMark);
  const int msgId = _lastId();
  for (const Content& content : message.contents) addContent(msgId, content);
  if (message.hasNmsMsgMeta()) _addMetadata(msgId, message.nmsMsgMeta);
  if (_importMarks && !origin.importMark.empty()) _importMarks->emplace(origin.importMark, true);
  _changed.try_emplace(convId);
  return msgId;
}

void StoreWriter::addContent(int msgId, const Content& content, std::optional<long long> size) {
  _run(INSERT_CONTENT, msgId, content.slideIdx, content.textData, content.mediaType,
       content.contentType, int{content.attachType}, int{content.hasFile}, content.status,
       content.filepath, content.filename, content.thumbpath, content.peer_filepath,
       content.peer_copied_filepath, size);
}

void StoreWriter::_addMetadata(int msgId, const NmsMsgMeta& meta) {
  _run(INSERT_METADATA, msgId, meta.objectId, meta.primaryId, meta.secondaryId, meta.resourceURL,
       meta.BTCorrelated, meta.MSSICorrelated, static_cast<long long>(meta.lastModSeq),
       int{meta.MSSISync}, int{meta.deleted}, static_cast<long long>(meta.msgTime),
       int{meta.downloadRequired});
}

void StoreWriter::markMessageRead(int msgId, int convId) {
  _requireMessage(msgId, convId);
  _run(MARK_MESSAGE_READ, msgId);
  _changed.try_emplace(convId);
}

void StoreWriter::markThreadRead(int convId) {
  requireConversation(convId);
  _run(MARK_THREAD_READ, convId);
  _changed.try_emplace(convId);
}

void StoreWriter::deleteMessage(int msgId, int convId) {
  _requireMessage(msgId, convId);
  _deleteMessages("msgId = ?", msgId);
  _changed.try_emplace(convId);
}

void StoreWriter::deleteThread(int convId) {
  requireConversation(convId);
  _deleteMessages("convId = ?", convId);
  _changed.try_emplace(convId);
}

void StoreWriter::_deleteMessages(const std::string& chosen, int value) {
  std::vector<std::string> texts = {RECORD_DELETION + chosen};
  for (const char* const table : TABLES_OF_A_MESSAGE) {
    texts.push_back(std::string("DELETE FROM ") + table +
                    " WHERE msgId IN (SELECT msgId FROM msg_message_table WHERE " + chosen + ");");
  }
  for (const std::string& text : texts) {
    const auto statement = compile(text, CANNOT_WRITE);
    bind_all(*statement, value);
    run(*statement, CANNOT_WRITE);
  }
}

void StoreWriter::updateSubscription(unsigned long long notiIdx, const std::string& restartToken) {
  _run(UPDATE_SUBSCRIPTION, static_cast<long long>(notiIdx), restartToken);
}

void StoreWriter::updateConversations() {
  _summarise();
  for (const auto& [convId, summary] : _changed) {
    _run(UPDATE_CONVERSATION, summary.newestId, summary.messages, summary.unread, convId);
  }
  _changed.clear();
}

/** One pass over all messages, for without an index each conversation would need one of its own. */
void StoreWriter::_summarise() {
  if (_changed.empty()) return;
  const bool isOne = _changed.size() == 1;
  const auto messages =
      compile(std::string(READ_MESSAGES) + (isOne ? " WHERE convId = ?;" : ";"), CANNOT_WRITE);
  if (isOne) bind_all(*messages, _changed.begin()->first);
  while (next_row(*messages, CANNOT_WRITE)) {
    const auto found = _changed.find(messages->getInt(0));
    const int folder = messages->getInt(2);
    if (found == _changed.end() || !is_shown_folder(folder)) continue;
    Summary& summary = found->second;
    ++summary.messages;
    if (is_inbox(folder) && messages->getInt(3) == 0) ++summary.unread;
    const std::pair<long long, int> place(messages->getInt64(4), messages->getInt(1));
    if (summary.newestId == 0 || place > std::pair(summary.newestTime, summary.newestId)) {
      summary.newestTime = place.first;
      summary.newestId = place.second;
    }
  }
}

}  // namespace msg_tarvel::helpers
