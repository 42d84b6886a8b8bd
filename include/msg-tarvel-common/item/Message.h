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
 * The owner of the store writes the rows, and the queries fill the fields from the columns of the
 * same names. In the results of list queries four fields are not what they say; see
 * db_get_message_list.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT Message {
 public:
  Message();
  /** Throws std::bad_alloc. */
  Message(const Message& other);
  /** Leaves `other` equal to a default Message. */
  Message(Message&& other) noexcept;
  ~Message();
  /** Copies or moves, as the argument was given. */
  Message& operator=(Message other);

  MSG_TARVEL_EXPORT friend void swap(Message& a, Message& b) noexcept;

  /** True when the metadata has an object id, a primary id or a secondary id. */
  bool hasNmsMsgMeta() const;

  /** Key of the row, given by the store and never given twice. */
  int32_t msgId = 0;
  /** The conversation that it belongs to. */
  int32_t convId = 0;
  /** The id that the message has elsewhere; together with type and folder it finds the message. */
  int32_t itemId = 0;
  /** "sms", "mms" or what else the owner stores; the library itself knows only "mms". */
  std::string msgType;
  /** Carried with the message; the library neither fills nor reads it. */
  int32_t auxInt1 = 0;
  /** A FolderType value, as stored. */
  int32_t storageFolder = ALL_FOLDERS;
  /** The storage that holds the message; ListCondition can ask for one. */
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
  /** Carried with the message; the library neither fills nor reads it. */
  int64_t auxTime = 0;
  /** It has been read. */
  bool read = false;
  /** The safe-message flag, carried as stored; always false in list results. */
  bool isSafeMessage = false;
  /** The share-dial flag, carried as stored. */
  bool isShareDialMessage = false;
  /** How many attachments it has, as the owner counted them; `contents` is not looked at. */
  int32_t attachedNum = 0;
  /** Carried with the message; the library neither fills nor reads it. */
  int32_t auxInt2 = -1;
  /** Carried with the message; the library neither fills nor reads it. */
  int32_t auxInt3 = 0;
  /** The sticker that it shows; carried as stored. */
  int32_t stickerId = 0;
  /** Carried with the message; the library neither fills nor reads it. */
  int32_t auxInt4 = 0;
  /**
   * The text that stands for the message in a list. Both texts are carried as stored; the tool
   * writes the subject here, or else the text.
   */
  std::string mainText;
  /** The text itself. */
  std::string textMessage;
  /** Carried with the message; the library neither fills nor reads it. */
  std::string auxText;
  /** The conversation's id on the peer; carried as stored. */
  int32_t peerConvId = 0;
  /** Whether the column is other than 0; what kind of chat, the item does not keep. */
  bool peerChatType = false;
  /** Carried with the message; the library neither fills nor reads it. */
  bool auxFlag = false;
  /** The chat session on the peer; carried as stored. */
  std::string peerChatSessionId;
  /** Who sent a message of a group chat: the text of one of `addresses`, which `userFlag` marks. */
  std::string peerGroupChatSender;
  /** The addresses of the message's conversation. */
  std::vector<Address> addresses;
  /** The parts of an "mms" message, in any folder. */
  std::vector<Content> contents;
  /** Filled in the folders 1, 2, 3 and 5 where is_linkdial_supported(). */
  NmsMsgMeta nmsMsgMeta;
};

/** Exchanges all that the two hold. */
MSG_TARVEL_EXPORT void swap(Message& a, Message& b) noexcept;

}  // namespace msg_tarvel
