#pragma once

#include <cstdint>
#include <string>

#include "../export.h"
#include "FolderType.h"

namespace msg_tarvel {

/**
 * One entry of the conversation list: a row of msg_conversation_table with figures from the
 * conversation's messages.
 *
 * The owner of the store keeps the row: its counters and what it says of the last message change
 * only when the owner writes them. `sending`, `failed`, `networkStatus` and `simIndex` are read
 * from the messages themselves.
 *
 * A plain value, but for `lastMsgId`; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT Thread {
 public:
  /** Leaves `lastMsgId` uninitialised. */
  Thread();
  /** Copies everything but `lastMsgId`. Throws std::bad_alloc. */
  Thread(const Thread& other);
  /** Leaves `other` equal to a default Thread, but for `lastMsgId`, which stays in both. */
  Thread(Thread&& other);
  ~Thread();
  /** Copies or moves everything but `lastMsgId`, as the argument was given. */
  Thread& operator=(Thread other);

  MSG_TARVEL_EXPORT friend void swap(Thread& a, Thread& b) noexcept;

  /** Key of the row, given by the store and never given twice. */
  int32_t convId = 0;
  /** The conversation's id on the peer; carried as stored. */
  int32_t peerConvId = 0;
  /** Unread messages, as the owner counted them. */
  int32_t unreadCnt = 0;
  /** Messages, as the owner counted them; with 0 the queries do not find the conversation. */
  int32_t msgCnt = 0;
  /** A message of the conversation is being sent (networkStatus 1); a query never clears it. */
  bool sending = false;
  /** A message of the conversation has failed (networkStatus 3); a query never clears it. */
  bool failed = false;
  /** A FolderType value; that of the last message, where the owner keeps it so. */
  int32_t storageFolder = ALL_FOLDERS;
  /** Of the conversation's newest message in whatever folder; values as in Message. */
  int32_t networkStatus = 16;
  /** Of the conversation's newest message in whatever folder; -1: no SIM. */
  int32_t simIndex = -1;
  /** Time of the last message, as Message::displayTime; the list is ordered by it. */
  int64_t displayTime = 0;
  /** Sticker of the last message. */
  int32_t stickerId = 0;
  /**
   * Valid only in an object that db_get_thread has filled: it is outside copy, move, assignment and
   * swap, so no element that db_get_threads appends has it.
   */
  int32_t lastMsgId;
  /** Type of the last message, as Message::msgType. */
  std::string msgType;
  /** Message::mainText of the last message. */
  std::string mainText;
  /** Message::textMessage of the last message. */
  std::string msgText;
  /** Whether the column is other than 0; what kind of chat, the item does not keep. */
  bool peerChatType = false;
  /** Whether the column is other than 0; which state, the item does not keep. */
  bool peerChatState = false;
};

/** Exchanges all that the two hold, but for `lastMsgId`. */
MSG_TARVEL_EXPORT void swap(Thread& a, Thread& b) noexcept;

}  // namespace msg_tarvel
