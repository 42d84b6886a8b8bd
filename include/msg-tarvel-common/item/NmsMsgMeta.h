#pragma once

#include <cstdint>
#include <string>

#include "../export.h"

namespace msg_tarvel {

/**
 * What is known of a message on the network message store: a row of msg_nms_meta_table.
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
  NmsMsgMeta(const NmsMsgMeta& other);
  /** Leaves `other` equal to a default NmsMsgMeta. */
  NmsMsgMeta(NmsMsgMeta&& other);
  ~NmsMsgMeta();
  NmsMsgMeta& operator=(NmsMsgMeta other);

  MSG_TARVEL_EXPORT friend void swap(NmsMsgMeta& a, NmsMsgMeta& b) noexcept;

  /** The local message, a row of msg_message_table. */
  int32_t msgId = 0;
  /** The store's id of the message object. */
  std::string objectId;
  /** Where the object lives on the store. */
  std::string resourceURL;
  /** First and second correlation id. */
  std::string primaryId;
  std::string secondaryId;
  /** The store's modification sequence number. */
  int64_t lastModSeq = 0;
  /** Message time as stored; the sort key of the list queries. */
  int64_t msgTime = 0;
  /** 0 until the message is correlated by BT, then 1. */
  int32_t BTCorrelated = 0;
  /** 0 until the message is correlated by MSSI, then 1. */
  int32_t MSSICorrelated = 0;
  /** A sync with the store is pending. */
  bool MSSISync = false;
  bool deleted = false;
  /** The body still has to be fetched. */
  bool downloadRequired = false;
};

MSG_TARVEL_EXPORT void swap(NmsMsgMeta& a, NmsMsgMeta& b) noexcept;

}  // namespace msg_tarvel
