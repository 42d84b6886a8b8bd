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
 * The owner of the store writes the rows, and the queries fill the fields from the columns of the
 * same names.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT Conversation {
 public:
  Conversation();
  /** Throws std::bad_alloc. */
  Conversation(const Conversation& other);
  /** Leaves `other` equal to a default Conversation. */
  Conversation(Conversation&& other) noexcept;
  ~Conversation();
  /** Copies or moves, as the argument was given. */
  Conversation& operator=(Conversation other);

  MSG_TARVEL_EXPORT friend void swap(Conversation& a, Conversation& b) noexcept;

  /** Key of the row, given by the store and never given twice. */
  int32_t msgId = 0;
  /** The conversation that it belongs to. */
  int32_t convId = 0;
  /** The id that the message has elsewhere. */
  int32_t itemId = 0;
  /** "sms", "mms" or what else the owner stores; the library itself knows only "mms". */
  std::string msgType;
  /** A FolderType value, as stored. */
  int32_t storageFolder = ALL_FOLDERS;
  /** The storage that holds the message; carried as stored. */
  int32_t storageId = 1;
  /**
   * How far the message is on its way: 1 is being sent, 3 has failed (Thread tells of both). Every
   * other value is the owner's and carried as stored.
   */
  int32_t networkStatus = 16;
  /** The SIM card, as in SimInfo; -1: none. */
  int32_t simIndex = -1;
  /**
   * The time that it is shown with and that lists are ordered by. It is compared and carried as
   * stored; the tool and the examples store milliseconds since 1970.
   */
  int64_t displayTime = 0;
  /** It has been read. */
  bool read = false;
  /** The safe-message flag, carried as stored. */
  bool isSafeMessage = false;
  /** The share-dial flag, carried as stored. */
  bool isShareDialMessage = false;
  /** How many attachments it has, as the owner counted them; `contents` is not looked at. */
  int32_t attachedNum = 0;
  /** The sticker that it shows; carried as stored. */
  int32_t stickerId = 0;
  /** Whether the column is other than 0; what kind of chat, the item does not keep. */
  bool peerChatType = false;
  /** The conversation's id on the peer; carried as stored. */
  int32_t peerConvId = 0;
  /** The chat session on the peer; carried as stored. */
  std::string peerChatSessionId;
  /** Who sent a message of a group chat, as an address text. */
  std::string peerGroupChatSender;
  /**
   * The text that stands for the message in a list. Both texts are carried as stored; the tool
   * writes the subject here, or else the text.
   */
  std::string mainText;
  /** The text itself. */
  std::string textMessage;
  /** The parts of an "mms" message in folders 1 to 3 and 101 to 103; empty elsewhere. */
  std::vector<Content> contents;
};

/** Exchanges all that the two hold. */
MSG_TARVEL_EXPORT void swap(Conversation& a, Conversation& b) noexcept;

}  // namespace msg_tarvel
