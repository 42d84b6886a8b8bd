#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../export.h"
#include "Content.h"
#include "FolderType.h"

namespace msg_tarvel {

/**
 * One message as the view of a single conversation shows it: a row of msg_message_table with its
 * contents, without addresses and metadata.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT Conversation {
 public:
  Conversation();
  Conversation(const Conversation& other);
  /** Leaves `other` equal to a default Conversation. */
  Conversation(Conversation&& other) noexcept;
  ~Conversation();
  Conversation& operator=(Conversation other);

  MSG_TARVEL_EXPORT friend void swap(Conversation& a, Conversation& b) noexcept;

  int32_t msgId = 0;
  int32_t convId = 0;
  int32_t itemId = 0;
  /** Such as "mms". */
  std::string msgType;
  /** A FolderType value. */
  int32_t storageFolder = ALL_FOLDERS;
  int32_t storageId = 1;
  int32_t networkStatus = 16;
  /** -1: no SIM. */
  int32_t simIndex = -1;
  /** Time as stored. */
  int64_t displayTime = 0;
  bool read = false;
  bool isSafeMessage = false;
  bool isShareDialMessage = false;
  int32_t attachedNum = 0;
  int32_t stickerId = 0;
  bool peerChatType = false;
  int32_t peerConvId = 0;
  std::string peerChatSessionId;
  std::string peerGroupChatSender;
  std::string mainText;
  std::string textMessage;
  /** The parts of an "mms" message in folders 1 to 3 and 101 to 103. */
  std::vector<Content> contents;
};

MSG_TARVEL_EXPORT void swap(Conversation& a, Conversation& b) noexcept;

}  // namespace msg_tarvel
