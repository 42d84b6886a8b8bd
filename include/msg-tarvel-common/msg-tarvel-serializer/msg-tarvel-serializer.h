#pragma once

/**
 * \file
 * Flattens a message, or the metadata of one, into a buffer that another process can read. For C
 * and C++.
 *
 * \code
 * char* buffer = NULL;
 * const int size = msg_serialize_message(&message, &buffer);
 * if (size > 0) send_bytes(buffer, size);
 * free(buffer);
 * \endcode
 *
 * And where the bytes arrive, which nobody has looked at yet:
 *
 * \code
 * msg_message_item_t received;
 * if (size > 0 && msg_check_message(bytes, size) == size) {
 *   msg_deserialize_message(bytes, &received);
 * }
 * \endcode
 *
 * The functions keep no state and may be called on any thread, as long as no other thread changes
 * the records or lists in use. The format is the same on 32-bit and 64-bit builds. No function
 * throws.
 */

#include <stddef.h>

#include "../export.h"
#include "msg_records.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Flattens `item` with its lists and metadata into a new buffer, which the caller releases with
 * free(). Returns its size in bytes.
 *
 * Returns 0
 * - when an argument is null; `*out` is then left alone;
 * - when a list holds a null element; what `*out` held is then released with free(), and `*out` is
 *   null;
 * - when memory runs out, or the message needs more than INT_MAX bytes; `*out` is then overwritten
 *   with null, and what it held is not released.
 *
 * So hand `*out` in as null.
 */
MSG_TARVEL_EXPORT int msg_serialize_message(const msg_message_item_t* item, char** out);

/**
 * The same for metadata alone. When memory runs out, or it needs more than INT_MAX bytes, `*out` is
 * overwritten with null, and what it held is not released.
 */
MSG_TARVEL_EXPORT int msg_serialize_nms_msg_meta(const msg_nms_msg_meta_data_t* meta, char** out);

/**
 * Rebuilds the message that stands in `buf`. Nothing is done when an argument is null.
 *
 * Every string, record and list node is new and belongs to the caller: strings and records are
 * released with free(), lists with GLib's functions. Empty strings come back as null. What `item`
 * held is overwritten, not released. The pointer `text2` of a content's metadata is not to be
 * followed when its string was empty: it then holds what the sender's pointer was.
 *
 * The reader trusts the buffer and has no bound: check one that you did not make with
 * msg_check_message first. It reports nothing. A string that there is no memory for is not stored.
 * A record that there is none for is null, also in its list. Of a message that msg_check_message
 * accepts nothing is read then but the rest of that record: its list ends there, the contents
 * behind it are an empty list, and the metadata is null. Of any other buffer what follows is read
 * from the wrong place, perhaps beyond its end. GLib ends the process when it has no memory for a
 * list node.
 */
MSG_TARVEL_EXPORT void msg_deserialize_message(const char* buf, msg_message_item_t* item);

/** The same for metadata alone; check with msg_check_nms_msg_meta. */
MSG_TARVEL_EXPORT void msg_deserialize_nms_msg_meta(const char* buf, msg_nms_msg_meta_data_t* meta);

/**
 * The length of the well-formed message at the start of the `size` bytes at `buf`, or 0 when any
 * marker, count, length or presence byte is not as the serializer writes it or would reach past
 * `size`. Never reads past `size`. A null `buf` gives 0.
 *
 * What is accepted, msg_deserialize_message reads in bounds. What msg_serialize_message makes is
 * accepted with its exact length, unless a list had more than 255 elements: such a list is written
 * whole behind a count modulo 256, and the buffer is no well-formed message any more.
 */
MSG_TARVEL_EXPORT size_t msg_check_message(const char* buf, size_t size);

/** The same for metadata alone. */
MSG_TARVEL_EXPORT size_t msg_check_nms_msg_meta(const char* buf, size_t size);

/**
 * Releases every string, record and list node that msg_deserialize_message made in `item`, which
 * itself stays the caller's; its texts, lists and metadata are null afterwards. Null does nothing.
 *
 * A `text2` of a content's metadata that is only the sender's pointer is not followed. Only for
 * messages that msg_deserialize_message filled, with the records where it put them: one that a
 * program put together itself it also releases itself.
 */
MSG_TARVEL_EXPORT void msg_release_message(msg_message_item_t* item);

/** The same for metadata alone, as msg_deserialize_nms_msg_meta filled it. */
MSG_TARVEL_EXPORT void msg_release_nms_msg_meta(msg_nms_msg_meta_data_t* meta);

#ifdef __cplusplus
}
#endif
