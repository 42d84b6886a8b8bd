#pragma once

// The memory of a record that the reader makes.

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "msg-tarvel-serializer/record_shape.h"

namespace msg_tarvel::wire {

/**
 * A record whose slots are still to be filled; what lies between them, where nothing is read to, is
 * zero. Null without memory. It is released with free().
 */
template <typename Record>
Record* new_record() {
  void* const place = std::malloc(sizeof(Record));
  if (!place) return nullptr;
  auto* const record = new (place) Record;
  for (const std::size_t gap : Shape<Record>::GAPS) {
    std::memset(static_cast<char*>(place) + gap, 0, GAP_SIZE);
  }
  return record;
}

}  // namespace msg_tarvel::wire
