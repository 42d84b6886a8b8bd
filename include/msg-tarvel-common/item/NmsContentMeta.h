#pragma once

#include <cstdint>
#include <string>

#include "../export.h"

namespace msg_tarvel {

/**
 * The network message store's metadata of one content part. The library carries it with its
 * Content; no query fills it.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT NmsContentMeta {
 public:
  NmsContentMeta();
  NmsContentMeta(const NmsContentMeta& other);
  /** Leaves `other` equal to a default NmsContentMeta. */
  NmsContentMeta(NmsContentMeta&& other);
  ~NmsContentMeta();
  NmsContentMeta& operator=(NmsContentMeta other);

  MSG_TARVEL_EXPORT friend void swap(NmsContentMeta& a, NmsContentMeta& b) noexcept;

  int64_t metaValue = 0;
  std::string metaText1;
  std::string metaText2;
  std::string metaText3;
};

MSG_TARVEL_EXPORT void swap(NmsContentMeta& a, NmsContentMeta& b) noexcept;

}  // namespace msg_tarvel
