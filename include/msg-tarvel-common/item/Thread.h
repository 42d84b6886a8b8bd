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
 * A plain value, but for `lastMsgId`; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT Thread {
 public:
  /** Leaves `lastMsgId` uninitialised. */
  Thread();
  /** Copies everything but `lastMsgId`. */
  Thread(const Thread& other);
  /** Leaves `other` equal to a default Thread, but for `lastMsgId`, which stays in both. */
  Thread(Thread&& other);
  ~Thread();
  Thread& operator=(Thread other);

  /** Exchanges everything but `lastMsgId`. */
  MSG_TARVEL_EXPORT friend void swap(Thread& a, Thread& b) noexcept;

  int32_t convId = 0;
  int32_t peerConvId = 0;
  int32_t unreadCnt = 0;
  int32_t msgCnt = 0;
  /** The conversation has a message that is being sent, or one that failed. */
  bool sending = false;
  bool failed = false;
  /** A FolderType value. */
  int32_t storageFolder = ALL_FOLDERS;
  /** Of the conversation's newest message. */
  int32_t networkStatus = 16;
  /** Of the conversation's newest message; -1: no SIM. */
  int32_t simIndex = -1;
  /** Time as stored. */
  int64_t displayTime = 0;
  int32_t stickerId = 0;
  /**
   * Valid only in an object that db_get_thread has filled: it is outside copy, move, assignment and
   * swap, so no element that db_get_threads appends has it.
   */
  int32_t lastMsgId;
  std::string msgType;
  std::string mainText;
  std::string msgText;
  bool peerChatType = false;
  bool peerChatState = false;
};

MSG_TARVEL_EXPORT void swap(Thread& a, Thread& b) noexcept;

}  // namespace msg_tarvel
