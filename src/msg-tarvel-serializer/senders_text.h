#pragma once

// Whose the text2 of a content's metadata is. The reader leaves the sender's pointer there when no
// string takes its place, and nothing in the record tells it from a text of the reader's own; but
// who releases the record has to know. The place of the record tells: one that holds the sender's
// pointer stands at a multiple of SENDERS_TEXT_PLACE, every other one does not.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "msg-tarvel-common/msg-tarvel-serializer/msg_records.h"
#include "msg-tarvel-serializer/new_record.h"

namespace msg_tarvel::wire {

constexpr std::size_t SENDERS_TEXT_PLACE = 4096;

inline bool has_senders_text(const msg_nms_content_meta_data_t* meta) {
  return reinterpret_cast<std::uintptr_t>(meta) % SENDERS_TEXT_PLACE == 0;
}

/**
 * A record to be filled, in a place that does not speak of a sender's pointer; null without memory.
 * Kept out of line, or a compiler writes out several rounds of what hardly ever takes a second one.
 */
[[gnu::noinline]] inline msg_nms_content_meta_data_t* new_content_metadata() {
  auto* const meta = new_record<msg_nms_content_meta_data_t>();
  if (!meta || !has_senders_text(meta)) return meta;
  auto* const elsewhere = new_content_metadata();
  std::free(meta);
  return elsewhere;
}

/**
 * Moves `meta`, whose text2 is the sender's pointer, to a place that says so. Without memory for
 * that the pointer goes, rather than pass for a text.
 */
inline msg_nms_content_meta_data_t* moved_to_senders_text_place(msg_nms_content_meta_data_t* meta) {
  void* place = nullptr;
  if (posix_memalign(&place, SENDERS_TEXT_PLACE, sizeof *meta) != 0) {
    meta->text2 = nullptr;
    return meta;
  }
  std::memcpy(place, meta, sizeof *meta);
  std::free(meta);
  return static_cast<msg_nms_content_meta_data_t*>(place);
}

}  // namespace msg_tarvel::wire
