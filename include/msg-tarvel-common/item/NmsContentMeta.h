#pragma once

#include <cstdint>
#include <string>

#include "../export.h"

namespace msg_tarvel {

/**
 * The network message store's metadata of one content part. The library carries it with its
 * Content and never fills or reads it: what the fields mean is between those who do.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT NmsContentMeta {
 public:
  NmsContentMeta();
  /** Throws std::bad_alloc. */
  NmsContentMeta(const NmsContentMeta& other);
  /** Leaves `other` equal to a default NmsContentMeta. */
  NmsContentMeta(NmsContentMeta&& other);
  ~NmsContentMeta();
  /** Copies or moves, as the argument was given. */
  NmsContentMeta& operator=(NmsContentMeta other);

  MSG_TARVEL_EXPORT friend void swap(NmsContentMeta& a, NmsContentMeta& b) noexcept;

  /** A number; carried. */
  int64_t metaValue = 0;
  /** The first of three texts; carried. */
  std::string metaText1;
  /** Carried. A record of the serializer keeps an empty one badly: see msg_deserialize_message. */
  std::string metaText2;
  /** Carried. */
  std::string metaText3;
};

/** Exchanges all that the two hold. */
MSG_TARVEL_EXPORT void swap(NmsContentMeta& a, NmsContentMeta& b) noexcept;

}  // namespace msg_tarvel
