#pragma once

// From the columns of a row to the fields of an item, for every way that reads rows. A row is
// anything with number(column), longNumber(column) and text(column, string).

#include <msg-tarvel-common/item/Conversation.h>
#include <msg-tarvel-common/item/Message.h>
#include <msg-tarvel-common/item/Thread.h>

#include <cstdint>

namespace msg_tarvel::bench {

constexpr const char* MESSAGE_COLUMNS =
    "SELECT msgId, convId, msgType, itemId, storageFolder, storageId, networkStatus, mainText, "
    "textMessage, displayTime, attachedNum, read, simIndex, peerConvId, peerChatType, "
    "peerChatSessionId, peerGroupChatSender, stickerId, isShareDialMessage, isSafeMessage "
    "FROM msg_message_table ";

/** The library's lists leave peerGroupChatSender out and read on as if it were there. */
constexpr const char* MESSAGE_LIST_COLUMNS =
    "SELECT msgId, convId, msgType, itemId, storageFolder, storageId, networkStatus, mainText, "
    "textMessage, displayTime, attachedNum, read, simIndex, peerConvId, peerChatType, "
    "peerChatSessionId, stickerId, isShareDialMessage, isSafeMessage FROM msg_message_table ";

constexpr const char* ADDRESS_COLUMNS =
    "SELECT convId, addressType, recipientType, address FROM msg_address_table ";

constexpr const char* CONTENT_COLUMNS =
    "SELECT msgId, slideIdx, textData, mediaType, contentType, attachType, hasFile, status, "
    "filepath, filename, thumbpath, peer_filepath, peer_copied_filepath "
    "FROM msg_mms_content_table ";

constexpr const char* META_COLUMNS =
    "SELECT msgId, objectId, primaryId, secondaryId, resourceURL, BTCorrelated, MSSICorrelated, "
    "lastModSeq, MSSISync, deleted, msgTime, downloadRequired FROM msg_nms_meta_table ";

constexpr const char* THREAD_COLUMNS =
    "SELECT convId, unreadCnt, msgCnt, storageFolder, msgType, displayTime, mainText, msgText, "
    "peerConvId, peerChatType, peerChatState, stickerId, lastMsgId FROM msg_conversation_table ";

constexpr const char* OF_CONVERSATION = "WHERE convId = ?";
constexpr const char* OF_MESSAGE = "WHERE msgId = ?";
constexpr const char* SHOWN_IN_CONVERSATION =
    "WHERE convId = ? AND storageFolder > 0 AND storageFolder <> 5 AND storageFolder <> 105 AND "
    "storageFolder < 9999 ORDER BY displayTime, msgId";
constexpr const char* FIRST_OF_MESSAGE = "WHERE msgId = ? LIMIT 1";
constexpr const char* COUNT_DOWNLOADS =
    "SELECT count(msgId) FROM msg_nms_meta_table WHERE downloadRequired = 1";

constexpr int STATUS_SENDING = 1;
constexpr int STATUS_FAILED = 3;

inline bool is_multimedia(const Message& message) { return message.msgType == "mms"; }
inline bool shows_contents(const Conversation& message) {
  const int folder = message.storageFolder;
  return message.msgType == "mms" &&
         ((folder >= 1 && folder <= 3) || (folder >= 101 && folder <= 103));
}
inline bool has_metadata(const Message& message) {
  const int folder = message.storageFolder;
  return (folder >= 1 && folder <= 3) || folder == 5;
}

/** The sender of a group's message is the one of its addresses that says so. */
inline void mark_sender(Message& message) {
  for (Address& address : message.addresses) {
    if (address.address != message.peerGroupChatSender) continue;
    address.userFlag = true;
    return;
  }
}

/** A Message or a Conversation, whose fields have the same names; a list's row has no last one. */
template <typename Row, typename AnyMessage>
void read_message(const Row& row, AnyMessage& message) {
  message.msgId = row.number(0);
  message.convId = row.number(1);
  row.text(2, message.msgType);
  message.itemId = row.number(3);
  message.storageFolder = row.number(4);
  message.storageId = row.number(5);
  message.networkStatus = row.number(6);
  row.text(7, message.mainText);
  row.text(8, message.textMessage);
  message.displayTime = row.longNumber(9);
  message.attachedNum = row.number(10);
  message.read = row.number(11) != 0;
  message.simIndex = row.number(12);
  message.peerConvId = row.number(13);
  message.peerChatType = row.number(14) != 0;
  row.text(15, message.peerChatSessionId);
  row.text(16, message.peerGroupChatSender);
  message.stickerId = row.number(17);
  message.isShareDialMessage = row.number(18) != 0;
}

template <typename Row, typename AnyMessage>
void read_whole_message(const Row& row, AnyMessage& message) {
  read_message(row, message);
  message.isSafeMessage = row.number(19) != 0;
}

template <typename Row>
void read(const Row& row, Address& address) {
  address.convId = row.number(0);
  address.addressType = row.number(1);
  address.recipientType = row.number(2);
  row.text(3, address.address);
}

template <typename Row>
void read(const Row& row, Content& content) {
  content.msgId = row.number(0);
  content.slideIdx = row.number(1);
  row.text(2, content.textData);
  content.mediaType = row.number(3);
  row.text(4, content.contentType);
  content.attachType = row.number(5) != 0;
  content.hasFile = row.number(6) != 0;
  content.status = row.number(7);
  row.text(8, content.filepath);
  row.text(9, content.filename);
  row.text(10, content.thumbpath);
  row.text(11, content.peer_filepath);
  row.text(12, content.peer_copied_filepath);
}

template <typename Row>
void read(const Row& row, NmsMsgMeta& meta) {
  meta.msgId = row.number(0);
  row.text(1, meta.objectId);
  row.text(2, meta.primaryId);
  row.text(3, meta.secondaryId);
  row.text(4, meta.resourceURL);
  meta.BTCorrelated = row.number(5);
  meta.MSSICorrelated = row.number(6);
  meta.lastModSeq = row.longNumber(7);
  meta.MSSISync = row.number(8) != 0;
  meta.deleted = row.number(9) != 0;
  meta.msgTime = row.longNumber(10);
  meta.downloadRequired = row.number(11) != 0;
}

template <typename Row>
void read(const Row& row, Thread& thread) {
  thread.convId = row.number(0);
  thread.unreadCnt = row.number(1);
  thread.msgCnt = row.number(2);
  thread.storageFolder = row.number(3);
  row.text(4, thread.msgType);
  thread.displayTime = row.longNumber(5);
  row.text(6, thread.mainText);
  row.text(7, thread.msgText);
  thread.peerConvId = row.number(8);
  thread.peerChatType = row.number(9) != 0;
  thread.peerChatState = row.number(10) != 0;
  thread.stickerId = row.number(11);
  thread.lastMsgId = row.number(12);
}

}  // namespace msg_tarvel::bench
