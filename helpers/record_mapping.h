#pragma once

// Between the items of the library and the plain records of the serializer: which slot of a record
// carries which field of an item. Everything that makes or reads buffers goes through here, so that
// there is one agreement only.

#include <msg-tarvel-common/item/Message.h>
#include <msg-tarvel-common/msg-tarvel-serializer/msg_records.h>

#include <cstddef>
#include <memory>
#include <string>

namespace msg_tarvel::helpers {

/**
 * Releases a message record with its strings, lists and nested records.
 *
 * Only for records that to_record or read_record made: in any other the `text2` of a content's
 * metadata may be a number that another process left there, and nothing that free() can take.
 */
struct RecordDeleter {
  void operator()(msg_message_item_t* record) const;
};

using MessageRecord = std::unique_ptr<msg_message_item_t, RecordDeleter>;

/**
 * Copies a message into new records. What has no slot stays behind: the payloads of contents and
 * the fields that slot_meaning never names. Texts end at their first NUL byte.
 */
MessageRecord to_record(const Message& message);

/** The same backwards; what no slot carries has its default value. */
Message to_message(const msg_message_item_t& record);

/**
 * The message as another process can read it. Throws std::length_error for more than 255 addresses
 * or contents, which would not arrive, and std::bad_alloc.
 */
std::string to_buffer(const Message& message);

/**
 * The records in a buffer from anywhere. Null unless the `size` bytes at `buffer` are exactly one
 * well-formed message. Throws std::bad_alloc, also when there was memory for a part of it only.
 */
MessageRecord read_record(const char* buffer, std::size_t size);

enum class RecordKind { MESSAGE, ADDRESS, CONTENT, MESSAGE_METADATA, CONTENT_METADATA };

/**
 * The fields that a slot carries: "msgId", "displayTime, low half", "read (bit 0), ...". Empty for
 * a slot that carries none; a sender leaves 0 there.
 */
std::string slot_meaning(RecordKind kind, int slot);

}  // namespace msg_tarvel::helpers
