#pragma once

#include <msg-tarvel-common/db/SqlStatement.h>

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "store/phone_number.h"

namespace msg_tarvel::tool {

/** Someone a message was exchanged with; the owner of the phone is none. */
struct Participant {
  std::string address;
  /** As msg_address_table has it: 1 from or to, 2 cc, 3 bcc. */
  int recipientType = 1;
};

/** A row of msg_message_table; the columns that are not here are as in a fresh message. */
struct MessageRow {
  int convId = 0;
  std::string msgType;
  int storageFolder = 0;
  int networkStatus = 0;
  std::string mainText;
  std::string textMessage;
  long long displayTime = 0;
  int attachedNum = 0;
  int read = 1;
  std::string peerGroupChatSender;
  /** Tells an imported message from every other one; kept in customFieldStr1. */
  std::string importMark;
};

/** A row of msg_mms_content_table. */
struct ContentRow {
  int msgId = 0;
  int slideIdx = 0;
  std::string textData;
  int mediaType = 0;
  std::string contentType;
  bool hasFile = false;
  int status = 0;
  std::string filepath;
  std::string filename;
  long long size = 0;
};

/**
 * What an import writes to the store, within a transaction of the caller's. Every function throws
 * Failure when the store refuses.
 */
class StoreWriter {
 public:
  StoreWriter();

  /** Whether a message with this mark is in the store, of this import or an earlier one. */
  bool isStored(const std::string& importMark) const { return _importMarks.count(importMark) > 0; }

  /** The conversation with exactly these participants, found or made. */
  int conversationOf(const std::vector<Participant>& participants);
  /** The address of a conversation that is the same as `address`; `address` itself for none. */
  std::string storedAddress(int convId, const std::string& address);

  /** The new row's id. */
  int addMessage(const MessageRow& row);
  void addContent(const ContentRow& row);

  /** Brings the counters and the last message of every conversation that got messages up to date.
   */
  void updateConversations();

  int conversationsMade() const { return _conversationsMade; }

 private:
  /** What a conversation's row says of its messages. */
  struct Summary {
    int messages = 0;
    int unread = 0;
    int newestId = 0;
    long long newestTime = 0;
  };

  std::unique_ptr<db::SqlStatement> _compile(const std::string& sql);
  void _run(db::SqlStatement& statement);
  int _lastId();
  int _makeConversation(const std::vector<Participant>& participants);
  void _readImportMarks();
  void _summarise();
  void _writeSummary(int convId, const Summary& summary);

  std::unique_ptr<db::SqlStatement> _insertConversation;
  std::unique_ptr<db::SqlStatement> _insertAddress;
  std::unique_ptr<db::SqlStatement> _insertMessage;
  std::unique_ptr<db::SqlStatement> _insertContent;
  std::unique_ptr<db::SqlStatement> _selectLastId;

  std::unordered_set<std::string> _importMarks;
  /** Conversations that were looked for, by their participants. */
  std::unordered_map<std::string, int> _found;
  std::unordered_map<int, AddressSet> _addresses;
  std::map<int, Summary> _touched;
  int _conversationsMade = 0;
};

}  // namespace msg_tarvel::tool
