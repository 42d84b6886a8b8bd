#pragma once

#include <string>
#include <vector>

#include "../export.h"
#include "../item/Address.h"
#include "../item/Content.h"
#include "../item/Conversation.h"
#include "../item/FolderType.h"
#include "../item/ListCondition.h"
#include "../item/Message.h"
#include "../item/NmsMsgMeta.h"
#include "../item/SimInfo.h"
#include "../item/Thread.h"

namespace msg_tarvel::db {

/**
 * \file
 * The read queries.
 *
 * Every function runs on the calling thread's connection (DBMgr), keeps no state and may be called
 * on any thread. Every one returns DB_SUCCESS or a negative code of db_error.h:
 * DB_ERR_INVALID_ARGUMENT and DB_ERR_INVALID_PARAM before the database is touched, DB_ERR_PREPARE,
 * DB_ERR_STEP, DB_NO_DATA. Those of messages also return DB_ERR_INVALID_ARGUMENT where a row names
 * a conversation below 0, which no owner makes.
 *
 * Lists are appended to, never cleared, and rows appended before a failure stay. A list query
 * returns DB_NO_DATA only when the vector is empty at the end: with elements of the caller's in it,
 * finding nothing is DB_SUCCESS. An item passed by reference may be partly filled when a query
 * fails.
 *
 * Every one may throw std::bad_alloc. The statement is released then, and rows appended before
 * stay.
 *
 * Text ids and types (msgType, objectId, correlationId, the addresses of a search) go into the
 * statement between single quotes as they are. A caller that does not make them itself must refuse
 * or double single quotes. Conditions are cut at 1,023 characters, the search for a conversation at
 * 5,119.
 *
 * Times are as stored, in the unit that the store's owner writes.
 */

// Messages

/** The message `msgId` (not negative). */
MSG_TARVEL_EXPORT int db_get_message(int msgId, Message& out);

/** The newest message with this item id (not negative), type (not empty) and folder. */
MSG_TARVEL_EXPORT int db_get_message(int itemId, const std::string& msgType, FolderType folder,
                                     Message& out);

/**
 * The messages that `cond` selects.
 *
 * In the results of this and the other list queries of messages, from stickerId on, each field
 * holds the next column: `peerGroupChatSender` the sticker id as text, `stickerId` the share-dial
 * flag, `isShareDialMessage` the safe-message flag; `isSafeMessage` is always false. In
 * `cond.convIds`, an id equal to the last one but not at the end runs into its successor: {3, 7, 3}
 * asks for 37 and 3.
 */
MSG_TARVEL_EXPORT int db_get_message_list(const ListCondition& cond, std::vector<Message>& out);

/** The messages of folders 101 and 103 with one of these item ids. */
MSG_TARVEL_EXPORT int db_get_standalone_messages(const std::vector<int>& itemIds,
                                                 std::vector<Message>& out);

/**
 * The messages displayed before `time` (not negative), newest first, of one folder, of
 * ALL_MAIN_FOLDERS, of ALL_STANDALONE_FOLDERS, or of every folder for NO_FOLDER.
 */
MSG_TARVEL_EXPORT int db_get_messages_by_time(long long time, FolderType folder,
                                              std::vector<Message>& out);

/** The messages that are read and not yet synced, by type. */
MSG_TARVEL_EXPORT int db_get_unsynced_messages(std::vector<Message>& out);

/**
 * What is recorded of deleted messages, of folder 1 or of folders 101 to 103; only `msgId`,
 * `msgType`, `itemId`, `storageFolder` and `displayTime` are filled.
 */
MSG_TARVEL_EXPORT int db_get_deleted_messages(bool mainFolderOnly, std::vector<Message>& out);

// Conversations, threads, addresses, SIM cards

/**
 * Finds the conversation whose participants are exactly `addresses` (not empty), phone numbers by
 * their trailing digits, and stores its id in `*threadId`; DB_NO_DATA leaves 0 there.
 *
 * Numbers longer than get_min_match_digit() match by their end, unless `addressType` is 2 or they
 * are foreign to a US or KR device; everything else matches as SQL's LIKE does. Conditions end
 * before an element (other than the first) whose `recipientType` is 3, though it still counts as a
 * participant.
 *
 * Throws std::out_of_range for a number that ends within its calling code (convert_number).
 */
MSG_TARVEL_EXPORT int db_check_thread_address_exist(const std::vector<Address>& addresses,
                                                    int* threadId);

/** The conversation `convId`, if it has messages; the only query that fills `lastMsgId`. */
MSG_TARVEL_EXPORT int db_get_thread(int convId, Thread& thread);

/** Every conversation that has messages, newest first. */
MSG_TARVEL_EXPORT int db_get_threads(std::vector<Thread>& threads);

/** The message `msgId` as a conversation shows it. */
MSG_TARVEL_EXPORT int db_get_conversation(int msgId, Conversation& conversation);

/** The messages of a conversation in every folder but 5 and 105, oldest first. */
MSG_TARVEL_EXPORT int db_get_conversations(int convId, std::vector<Conversation>& conversations);

/** The addresses of the conversation `convId` (not negative). */
MSG_TARVEL_EXPORT int db_get_addresses(int convId, std::vector<Address>& addresses);

/** The SIM cards known to the device. */
MSG_TARVEL_EXPORT int db_get_sim_infos(std::vector<SimInfo>& simInfos);

// Contents

/** The parts of a multimedia message. */
MSG_TARVEL_EXPORT int db_get_contents(int msgId, std::vector<Content>& contents);

/**
 * The structured-message file of a message being sent: `msgId`, `status`, `filepath` and
 * `filename`. Finding nothing is DB_SUCCESS and leaves `content` as it was.
 */
MSG_TARVEL_EXPORT int db_get_sending_msg_content_info(int msgId, Content& content);

/** The same for the transfer of the file `filepath`, which may hold any character. */
MSG_TARVEL_EXPORT int db_get_sending_file_content_info(const std::string& filepath,
                                                       Content& content);

// Network message store

/** The metadata of the message `msgId`, or, when that is below 1, of the store's object `objectId`.
 */
MSG_TARVEL_EXPORT int db_get_nms_msg_meta(int msgId, const std::string& objectId, NmsMsgMeta& meta);

/** Whether any message still has to be downloaded; `*hasMessage` is written only on success. */
MSG_TARVEL_EXPORT int db_has_download_required_message(bool* hasMessage);

/**
 * The metadata not yet correlated in the given way, by time; with a `correlationId`, only what has
 * that id where `searchType` says.
 */
MSG_TARVEL_EXPORT int db_get_uncorrelated_nms_msg_metas(
    const std::string& correlationId, NmsMsgMeta::CorrelationType correlationType,
    NmsMsgMeta::CorrelationIdSearchType searchType, bool ascending, std::vector<NmsMsgMeta>& metas);

/** At most five rows that are correlated by MSSI and wait for a sync, deleted or not. */
MSG_TARVEL_EXPORT int db_get_sync_required_nms_msg_metas(bool deleted,
                                                         std::vector<NmsMsgMeta>& metas);

/** The newest row that still has to be downloaded. */
MSG_TARVEL_EXPORT int db_get_download_required_nms_msg_metas(std::vector<NmsMsgMeta>& metas);

/** The subscription state; finding none is DB_SUCCESS and leaves both outputs as they were. */
MSG_TARVEL_EXPORT int db_get_subscription_info(unsigned long long& notiIdx,
                                               std::string& restartToken);

}  // namespace msg_tarvel::db
