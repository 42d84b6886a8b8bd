#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../export.h"
#include "Address.h"
#include "Content.h"
#include "FolderType.h"
#include "NmsMsgMeta.h"

namespace msg_tarvel {

/**
 * A full message: a row of msg_message_table with its addresses, its contents and its metadata on
 * the network message store.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT Message {
 public:
  Message();
  Message(const Message& other);
  /** Leaves `other` equal to a default Message. */
  Message(Message&& other) noexcept;
  ~Message();
  Message& operator=(Message other);

  MSG_TARVEL_EXPORT friend void swap(Message& a, Message& b) noexcept;

  /** True when the metadata has an object id, a primary id or a secondary id. */
  bool hasNmsMsgMeta() const;

  int32_t msgId = 0;
  int32_t convId = 0;
  int32_t itemId = 0;
  /** Such as "mms". */
  std::string msgType;
  int32_t auxInt1 = 0;
  /** A FolderType value. */
  int32_t storageFolder = ALL_FOLDERS;
  int32_t storageId = 1;
  int32_t networkStatus = 16;
  /** -1: no SIM. */
  int32_t simIndex = -1;
  /** Time as stored. */
  int64_t displayTime = 0;
  int64_t auxTime = 0;
  bool read = false;
  bool isSafeMessage = false;
  bool isShareDialMessage = false;
  int32_t attachedNum = 0;
  int32_t auxInt2 = -1;
  int32_t auxInt3 = 0;
  int32_t stickerId = 0;
  int32_t auxInt4 = 0;
  std::string mainText;
  std::string textMessage;
  std::string auxText;
  int32_t peerConvId = 0;
  bool peerChatType = false;
  bool auxFlag = false;
  std::string peerChatSessionId;
  std::string peerGroupChatSender;
  /** The addresses of the message's conversation. */
  std::vector<Address> addresses;
  /** The parts of an "mms" message. */
  std::vector<Content> contents;
  NmsMsgMeta nmsMsgMeta;
};

MSG_TARVEL_EXPORT void swap(Message& a, Message& b) noexcept;

}  // namespace msg_tarvel
