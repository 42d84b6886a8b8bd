#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace msg_tarvel::tool {

/** One field of a serialized buffer. */
struct BufferField {
  std::size_t offset = 0;
  std::size_t size = 0;
  /** Where it is, such as "content 2" or "message". */
  std::string block;
  std::string meaning;
  /** In words or figures; empty for what only holds a place. */
  std::string value;
};

/** A buffer as far as it is well-formed. */
struct BufferWalk {
  /** "message" or "metadata", by its first byte; empty for neither. */
  std::string kind;
  std::vector<BufferField> fields;
  /** What is wrong behind the last field; empty when the whole buffer is one well-formed block. */
  std::string damage;
  std::size_t damageOffset = 0;
};

/** Takes a buffer apart; any bytes will do. */
BufferWalk walk_buffer(const std::string& buffer);

}  // namespace msg_tarvel::tool
