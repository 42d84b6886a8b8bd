#include "store/store_writer.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>
#include <msg-tarvel-common/item/FolderType.h>

#include <algorithm>
#include <utility>

#include "store/conversation_search.h"
#include "store/log_sink.h"
#include "store/session.h"

namespace msg_tarvel::tool {

namespace {

constexpr const char* CANNOT_WRITE = "cannot write the message store";

constexpr const char* INSERT_CONVERSATION =
    "INSERT INTO msg_conversation_table (unreadCnt, msgCnt, msgType, storageFolder, displayTime, "
    "mainText, msgText, peerConvId, peerChatType, peerChatSessionId, peerChatState, stickerId) "
    "VALUES (0, 0, '', 0, 0, '', '', 0, 0, '', 0, 0);";

constexpr const char* INSERT_ADDRESS =
    "INSERT INTO msg_address_table (convId, addressType, recipientType, address) "
    "VALUES (?, ?, ?, ?);";

constexpr const char* INSERT_MESSAGE =
    "INSERT INTO msg_message_table (convId, msgType, storageFolder, networkStatus, mainText, "
    "textMessage, displayTime, attachedNum, read, peerGroupChatSender, customFieldStr1, storageId, "
    "simIndex, subType, itemId, sync, simAddress, peerConvId, peerChatType, peerChatSessionId, "
    "groupId, stickerId, isShareDialMessage, isSafeMessage, customFieldInt1) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, 1, -1, 0, 0, 0, '', 0, 0, '', 0, 0, 0, 0, 0);";

constexpr const char* INSERT_CONTENT =
    "INSERT INTO msg_mms_content_table (msgId, slideIdx, textData, mediaType, contentType, "
    "attachType, hasFile, status, filepath, filename, size, thumbpath, peer_filepath, "
    "peer_copied_filepath, resourceURL, customFieldInt1, customFieldStr1) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, '', '', '', '', 0, '');";

constexpr const char* UPDATE_CONVERSATION =
    "UPDATE msg_conversation_table SET "
    "(msgType, storageFolder, displayTime, mainText, msgText, stickerId, lastMsgId) = "
    "(SELECT msgType, storageFolder, displayTime, mainText, textMessage, stickerId, msgId "
    "FROM msg_message_table WHERE msgId = ?), msgCnt = ?, unreadCnt = ? WHERE convId = ?;";

/** The folders that the view of a conversation shows. */
bool is_shown(int folder) {
  return folder > NO_FOLDER && folder < ALL_FOLDERS && folder != MAIN_FOLDER_5 &&
         folder != STANDALONE_FOLDER_5;
}

bool is_inbox(int folder) { return folder == MAIN_FOLDER_1 || folder == STANDALONE_FOLDER_1; }

std::string key_of(const std::vector<std::string>& addresses) {
  std::vector<std::string> sorted = addresses;
  std::sort(sorted.begin(), sorted.end());
  std::string key;
  for (const std::string& address : sorted) key += address + '\n';
  return key;
}

}  // namespace

StoreWriter::StoreWriter()
    : _insertConversation(_compile(INSERT_CONVERSATION)),
      _insertAddress(_compile(INSERT_ADDRESS)),
      _insertMessage(_compile(INSERT_MESSAGE)),
      _insertContent(_compile(INSERT_CONTENT)),
      _selectLastId(_compile("SELECT last_insert_rowid();")) {
  _readImportMarks();
}

std::unique_ptr<db::SqlStatement> StoreWriter::_compile(const std::string& sql) {
  forget_log_errors();
  auto statement = db::DBMgr::getInstance()->compileStatement(sql);
  if (!statement) fail_with_log(CANNOT_WRITE);
  return statement;
}

/** Runs a statement that returns no rows, and makes it ready for the next time. */
void StoreWriter::_run(db::SqlStatement& statement) {
  forget_log_errors();
  if (statement.step() != db::DB_SUCCESS) fail_with_log(CANNOT_WRITE);
  statement.reset();
}

int StoreWriter::_lastId() {
  forget_log_errors();
  if (_selectLastId->step() != db::DB_ROW) fail_with_log(CANNOT_WRITE);
  const int id = _selectLastId->getInt(0);
  _selectLastId->reset();
  return id;
}

void StoreWriter::_readImportMarks() {
  const auto marks = _compile(
      "SELECT customFieldStr1 FROM msg_message_table WHERE customFieldStr1 LIKE 'import:%';");
  int result = marks->step();
  for (; result == db::DB_ROW; result = marks->step()) _importMarks.insert(marks->getText(0));
  if (result != db::DB_SUCCESS) fail_with_log(CANNOT_WRITE);
}

int StoreWriter::conversationOf(const std::vector<Participant>& participants) {
  std::vector<std::string> addresses;
  addresses.reserve(participants.size());
  for (const Participant& participant : participants) addresses.push_back(participant.address);
  const auto [entry, isNew] = _found.try_emplace(key_of(addresses), 0);
  if (isNew) {
    const int convId = find_conversation(addresses);
    entry->second = convId != 0 ? convId : _makeConversation(participants);
  }
  return entry->second;
}

int StoreWriter::_makeConversation(const std::vector<Participant>& participants) {
  _run(*_insertConversation);
  const int convId = _lastId();
  ++_conversationsMade;
  const auto add = [&](const Participant& participant) {
    _insertAddress->bind(1, convId);
    _insertAddress->bind(2, address_type_of(participant.address));
    _insertAddress->bind(3, participant.recipientType);
    if (participant.address.empty()) {
      _insertAddress->bindNull(4);  // how the search knows a conversation without an address
    } else {
      _insertAddress->bind(4, participant.address.c_str());
    }
    _run(*_insertAddress);
  };
  for (const Participant& participant : participants) add(participant);
  if (participants.empty()) add({});
  return convId;
}

std::string StoreWriter::storedAddress(int convId, const std::string& address) {
  const auto [entry, isNew] = _addresses.try_emplace(convId);
  if (isNew) {
    forget_log_errors();
    std::vector<Address> rows;
    is_found(db::db_get_addresses(convId, rows), CANNOT_WRITE);
    for (const Address& row : rows) entry->second.add(row.address);
  }
  const std::string* const stored = entry->second.find(address);
  return stored ? *stored : address;
}

int StoreWriter::addMessage(const MessageRow& row) {
  _insertMessage->bind(1, row.convId);
  _insertMessage->bind(2, row.msgType.c_str());
  _insertMessage->bind(3, row.storageFolder);
  _insertMessage->bind(4, row.networkStatus);
  _insertMessage->bind(5, row.mainText.c_str());
  _insertMessage->bind(6, row.textMessage.c_str());
  _insertMessage->bind(7, row.displayTime);
  _insertMessage->bind(8, row.attachedNum);
  _insertMessage->bind(9, row.read);
  _insertMessage->bind(10, row.peerGroupChatSender.c_str());
  _insertMessage->bind(11, row.importMark.c_str());
  _run(*_insertMessage);
  _importMarks.insert(row.importMark);
  _touched.try_emplace(row.convId);
  return _lastId();
}

void StoreWriter::addContent(const ContentRow& row) {
  _insertContent->bind(1, row.msgId);
  _insertContent->bind(2, row.slideIdx);
  _insertContent->bind(3, row.textData.c_str());
  _insertContent->bind(4, row.mediaType);
  _insertContent->bind(5, row.contentType.c_str());
  _insertContent->bind(6, row.hasFile ? 1 : 0);
  _insertContent->bind(7, row.hasFile ? 1 : 0);
  _insertContent->bind(8, row.status);
  _insertContent->bind(9, row.filepath.c_str());
  _insertContent->bind(10, row.filename.c_str());
  _insertContent->bind(11, row.size);
  _run(*_insertContent);
}

void StoreWriter::updateConversations() {
  _summarise();
  for (const auto& [convId, summary] : _touched) _writeSummary(convId, summary);
}

/** One pass over all messages, since they cannot be looked up by conversation without one each. */
void StoreWriter::_summarise() {
  if (_touched.empty()) return;
  for (auto& touched : _touched) touched.second = {};
  const auto messages =
      _compile("SELECT convId, msgId, storageFolder, read, displayTime FROM msg_message_table;");
  int result = messages->step();
  for (; result == db::DB_ROW; result = messages->step()) {
    const auto found = _touched.find(messages->getInt(0));
    const int folder = messages->getInt(2);
    if (found == _touched.end() || !is_shown(folder)) continue;
    Summary& summary = found->second;
    ++summary.messages;
    if (is_inbox(folder) && messages->getInt(3) == 0) ++summary.unread;
    const std::pair<long long, int> place(messages->getInt64(4), messages->getInt(1));
    if (summary.newestId == 0 || place > std::pair(summary.newestTime, summary.newestId)) {
      summary.newestTime = place.first;
      summary.newestId = place.second;
    }
  }
  if (result != db::DB_SUCCESS) fail_with_log(CANNOT_WRITE);
}

void StoreWriter::_writeSummary(int convId, const Summary& summary) {
  const auto update = _compile(UPDATE_CONVERSATION);
  update->bind(1, summary.newestId);
  update->bind(2, summary.messages);
  update->bind(3, summary.unread);
  update->bind(4, convId);
  _run(*update);
}

}  // namespace msg_tarvel::tool
