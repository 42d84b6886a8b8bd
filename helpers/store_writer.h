#pragma once

// What the owner of a message store writes to it.

#include <msg-tarvel-common/db/SqlStatement.h>
#include <msg-tarvel-common/item/Message.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "helpers/conversation_search.h"
#include "helpers/same_address.h"

namespace msg_tarvel::helpers {

/** What a stored message has beside the fields of its item. */
struct MessageOrigin {
  /** False for a message whose state is yet to be told to the phone. */
  bool isSynced = true;
  /** Tells an imported message from every other one; kept in customFieldStr1. Empty for none. */
  std::string importMark;
};

/** One person, by the ending of the number, in two conversations. */
struct Twins {
  std::string address;
  int convId = 0;
  /** The one that was there before. */
  int otherConvId = 0;
};

/**
 * Writes messages and their conversations, few or many, within a transaction of the caller's that
 * outlives it. updateConversations() is to be called once before the commit.
 *
 * Every function throws StoreError when the store refuses, and std::invalid_argument, with a text
 * for the one who asked, for something that is not there.
 */
class StoreWriter {
 public:
  StoreWriter();
  StoreWriter(const StoreWriter&) = delete;
  StoreWriter& operator=(const StoreWriter&) = delete;
  ~StoreWriter();

  /** Whether a message with this mark is in the store, of this import or an earlier one. */
  bool isStored(const std::string& importMark);
  /** Whether it was this object that stored it. */
  bool isStoredHere(const std::string& importMark) const;

  /** Whether an earlier import, or another program that marks so, has stored one of that time. */
  bool isImportedOf(long long displayTime);

  /** Throws std::invalid_argument when there is no such conversation. */
  void requireConversation(int convId);
  /**
   * The conversation with exactly the message's addresses, in any form and however often each is
   * named, found or made; without any, the one that has no address.
   */
  int conversationOf(const Message& message);
  /** The address of a conversation that is the same as `address`; `address` itself for none. */
  std::string storedAddress(int convId, const std::string& address);

  /**
   * Stores a message with its contents and metadata. The message's own ids and addresses are the
   * sender's and not used. Returns its new id.
   */
  int addMessage(int convId, const Message& message, const MessageOrigin& origin = {});
  /** `size` is that of the content's file. */
  void addContent(int msgId, const Content& content, std::optional<long long> size = std::nullopt);

  /** Marks a message as read, to be synced with the phone. */
  void markMessageRead(int msgId, int convId);
  /** The same for every message of a conversation. */
  void markThreadRead(int convId);

  /** Deletes a message with its contents and metadata and records that it was there. */
  void deleteMessage(int msgId, int convId);
  /** The same for every message of a conversation, which stays, empty, with its addresses. */
  void deleteThread(int convId);

  /** Replaces the state of the subscription. */
  void updateSubscription(unsigned long long notiIdx, const std::string& restartToken);

  /** Brings counters and last message of every conversation that changed in line with its messages.
   */
  void updateConversations();

  int conversationsMade() const { return _conversationsMade; }

  /**
   * From now on `action`, which may throw, is called between the steps to a conversation: with very
   * many people each of them takes its time.
   */
  void doBetweenSteps(std::function<void()> action) { _betweenSteps = std::move(action); }

  /** From now on conversations are looked for that could be one with a new one. */
  void tellTwins() { _tellsTwins = true; }
  const std::vector<Twins>& twins() const { return _twins; }

 private:
  /** What a conversation's row says of its messages. */
  struct Summary {
    int messages = 0;
    int unread = 0;
    int newestId = 0;
    long long newestTime = 0;
  };

  db::SqlStatement& _statement(const char* sql);
  void _readImportMarks();
  template <typename... Values>
  void _run(const char* sql, const Values&... values);
  int _lastId();
  void _requireMessage(int msgId, int convId);
  int _makeConversation(const Message& message, const std::vector<std::string>& people);
  void _addAddress(int convId, int addressType, int recipientType, const std::string& address);
  void _addMetadata(int msgId, const NmsMsgMeta& meta);
  void _deleteMessages(const std::string& chosen, int value);
  void _summarise();

  /** Compiled once each; the constants of store_writer.cpp are their keys. */
  std::map<const char*, std::unique_ptr<db::SqlStatement>> _statements;
  /** And whether they are this object's own. Not read before somebody asks. */
  std::optional<std::unordered_map<std::string, bool>> _importMarks;
  std::unordered_set<long long> _importTimes;
  RepeatedSearch _search;
  /** Conversations that were looked for, by their participants. */
  std::unordered_map<std::string, int> _found;
  std::unordered_map<int, AddressSet> _addresses;
  std::map<int, Summary> _changed;
  int _conversationsMade = 0;
  std::function<void()> _betweenSteps = [] {};
  bool _tellsTwins = false;
  std::vector<Twins> _twins;
};

}  // namespace msg_tarvel::helpers
