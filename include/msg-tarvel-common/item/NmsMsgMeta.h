#pragma once

#include <cstdint>
#include <string>

#include "../export.h"

namespace msg_tarvel {

/**
 * What is known of a message on the network message store: a row of msg_nms_meta_table. The owner
 * of the store writes the rows, and the queries fill the fields from the columns of the same names.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT NmsMsgMeta {
 public:
  /** The correlation flag that a search looks at; any value but 0 counts as MSSI_CORRELATION. */
  enum CorrelationType : int { BT_CORRELATION = 0, MSSI_CORRELATION = 1 };
  /** The id that a search compares; any value but 0 and 2 counts as SECONDARY_ID. */
  enum CorrelationIdSearchType : int {
    PRIMARY_ID = 0,
    SECONDARY_ID = 1,
    PRIMARY_OR_SECONDARY_ID = 2
  };

  NmsMsgMeta();
  /** Throws std::bad_alloc. */
  NmsMsgMeta(const NmsMsgMeta& other);
  /** Leaves `other` equal to a default NmsMsgMeta. */
  NmsMsgMeta(NmsMsgMeta&& other);
  ~NmsMsgMeta();
  /** Copies or moves, as the argument was given. */
  NmsMsgMeta& operator=(NmsMsgMeta other);

  MSG_TARVEL_EXPORT friend void swap(NmsMsgMeta& a, NmsMsgMeta& b) noexcept;

  /** The local message, a row of msg_message_table. */
  int32_t msgId = 0;
  /** The network store's id of the message object; db_get_nms_msg_meta finds by it. */
  std::string objectId;
  /** Where the object is on the network store; carried as stored. */
  std::string resourceURL;
  /** The first correlation id, by which the message is matched with its copy. */
  std::string primaryId;
  /** The second correlation id. */
  std::string secondaryId;
  /** The network store's modification sequence number; carried as stored. */
  int64_t lastModSeq = 0;
  /** Time of the message as stored; lists are ordered by it, but for those to be synced. */
  int64_t msgTime = 0;
  /** 0 until the message is correlated by BT, then 1. */
  int32_t BTCorrelated = 0;
  /** 0 until the message is correlated by MSSI, then 1. */
  int32_t MSSICorrelated = 0;
  /** A sync with the network store is pending. */
  bool MSSISync = false;
  /** The message is deleted; db_get_sync_required_nms_msg_metas asks for either kind. */
  bool deleted = false;
  /** The body still has to be fetched. */
  bool downloadRequired = false;
};

/** Exchanges all that the two hold. */
MSG_TARVEL_EXPORT void swap(NmsMsgMeta& a, NmsMsgMeta& b) noexcept;

}  // namespace msg_tarvel
