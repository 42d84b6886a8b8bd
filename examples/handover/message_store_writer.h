#pragma once

// What the owner of the message store does with it. Every function is one transaction: it happens
// as a whole or, when the function throws, not at all.
//
// Each throws std::invalid_argument for something that the caller asked wrongly, std::out_of_range
// for an address that cannot be looked for because it ends within its calling code, and
// std::runtime_error when the store refuses. All run on one thread, between init_db and deinit_db.

#include <msg-tarvel-common/item/Message.h>

#include <string>

namespace msg_tarvel::handover {

/** Makes what is missing of the store and opens it for writing. */
void create_store();

/** Marks a message as read, to be synced with the phone. */
void mark_message_read(int msgId, int convId);
/** The same for every message of a conversation. */
void mark_thread_read(int convId);

/** Deletes a message with its contents and metadata and records that it was there. */
void delete_message(int msgId, int convId);
/** The same for every message of a conversation, which stays, empty, with its addresses. */
void delete_thread(int convId);

/**
 * Stores a message with its contents and metadata in the conversation `convId`; for 0, in the one
 * with exactly the message's addresses, which is made if there is none. The message's own ids are
 * the sender's and not used. Returns its new id.
 */
int add_message(const Message& message, int convId);

/** Replaces the state of the subscription. */
void update_subscription(unsigned long long notiIdx, const std::string& restartToken);

}  // namespace msg_tarvel::handover
