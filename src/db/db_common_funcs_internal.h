#pragma once

// The workers of the queries, with the names that their log lines carry, and what the fast ways
// share with them. The library does not export them; the unit tests reach them here.

#include <string>
#include <vector>

#include "msg-tarvel-common/db/SqlStatement.h"
#include "msg-tarvel-common/db/db_common_funcs.h"

namespace msg_tarvel::db {

/** The networkStatus values that a thread tells of. */
constexpr int NETWORK_STATUS_SENDING = 1;
constexpr int NETWORK_STATUS_FAILED = 3;

// What the readers below take.

constexpr const char* SELECT_MESSAGE =
    "SELECT msgId, convId, msgType, itemId, storageFolder, storageId, networkStatus, mainText, "
    "textMessage, displayTime, attachedNum, read, simIndex, peerConvId, peerChatType, "
    "peerChatSessionId, peerGroupChatSender, stickerId, isShareDialMessage, isSafeMessage "
    "FROM msg_message_table ";
constexpr const char* SELECT_CONVERSATION =
    "SELECT msgId, msgType, itemId, convId, storageId, storageFolder, networkStatus, mainText, "
    "textMessage, displayTime, attachedNum, read, simIndex, peerConvId, peerChatType, "
    "peerChatSessionId, peerGroupChatSender, stickerId, isShareDialMessage, isSafeMessage "
    "FROM msg_message_table ";
/** Of msg_conversation_table, named A. */
constexpr const char* THREAD_COLUMNS =
    "A.convId, A.unreadCnt, A.msgCnt, A.storageFolder, A.msgType, A.displayTime, A.mainText, "
    "A.msgText, A.peerConvId, A.peerChatType, A.peerChatState, A.stickerId, A.lastMsgId";
constexpr const char* SELECT_ADDRESS =
    "SELECT convId, addressType, recipientType, address FROM msg_address_table ";
constexpr const char* SELECT_CONTENT =
    "SELECT msgId, slideIdx, textData, mediaType, contentType, attachType, hasFile, status, "
    "filepath, filename, thumbpath, peer_filepath, peer_copied_filepath "
    "FROM msg_mms_content_table ";
constexpr const char* SELECT_NMS_META =
    "SELECT msgId, objectId, primaryId, secondaryId, resourceURL, BTCorrelated, MSSICorrelated, "
    "lastModSeq, MSSISync, deleted, msgTime, downloadRequired FROM msg_nms_meta_table ";

// read_...: copy the columns of the current row alone, without what the row depends on.
void read_message(const SqlStatement& statement, Message& message);
void read_conversation(const SqlStatement& statement, Conversation& conversation);
/** THREAD_COLUMNS. */
void read_thread(const SqlStatement& statement, Thread& thread);

/** Marks the address of the one who sent a message of a group chat. */
void mark_sender(Message& message);
/** Whether the parts of msg_mms_content_table belong to the item. */
bool has_contents(const Message& message);
bool has_contents(const Conversation& conversation);
/** Whether the message's folder is one of those that the network message store mirrors. */
bool has_nms_meta(const Message& message);

int step_get_address(SqlStatement& statement, Address& address);
int step_get_content(SqlStatement& statement, Content& content);

// _db_step_get_...: copy the current row of a stepped statement into an item; 0 or a result code.
int _db_step_get_message(SqlStatement& statement, Message& message);
int _db_step_get_thread(SqlStatement& statement, Thread& thread);
int _db_step_get_conversation(SqlStatement& statement, Conversation& conversation);
int _db_step_get_nms_meta(SqlStatement& statement, NmsMsgMeta& meta);

// _db_query_get_...: run a SELECT with a ready condition (or id) and read what it gives.
int _db_query_get_message(const std::string& where, Message& message);
int _db_query_get_message(int msgId, Message& message);
/**
 * `settledWhere` is the same condition with an order that leaves nothing open, for the fast way;
 * empty when there is none.
 */
int _db_query_get_message_list(const std::string& where, const std::string& settledWhere,
                               std::vector<Message>& messages);
int _db_query_get_thread(int convId, Thread& thread);
int _db_query_get_thread_list(std::vector<Thread>& threads);
int _db_query_get_conversation(int msgId, Conversation& conversation);
int _db_query_get_conversation_list(int convId, std::vector<Conversation>& conversations);
int _db_query_get_content_list(int msgId, std::vector<Content>& contents);
int _db_query_get_nms_meta(const std::string& where, NmsMsgMeta& meta);
int _db_query_get_nms_meta(int msgId, NmsMsgMeta& meta);
int _db_query_get_nms_meta_list(const std::string& where, const std::string& settledWhere,
                                std::vector<NmsMsgMeta>& metas);

}  // namespace msg_tarvel::db
