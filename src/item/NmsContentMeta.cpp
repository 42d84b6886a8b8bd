#include "msg-tarvel-common/item/NmsContentMeta.h"

#include <utility>

namespace msg_tarvel {

NmsContentMeta::NmsContentMeta() = default;

NmsContentMeta::NmsContentMeta(const NmsContentMeta& other) = default;

NmsContentMeta::NmsContentMeta(NmsContentMeta&& other) : NmsContentMeta() { swap(*this, other); }

NmsContentMeta::~NmsContentMeta() = default;

NmsContentMeta& NmsContentMeta::operator=(NmsContentMeta other) {
  swap(*this, other);
  return *this;
}

void swap(NmsContentMeta& a, NmsContentMeta& b) noexcept {
  using std::swap;
  swap(a.metaValue, b.metaValue);
  swap(a.metaText1, b.metaText1);
  swap(a.metaText2, b.metaText2);
  swap(a.metaText3, b.metaText3);
}

}  // namespace msg_tarvel
