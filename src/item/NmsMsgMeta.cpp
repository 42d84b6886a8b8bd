#include "msg-tarvel-common/item/NmsMsgMeta.h"

#include <utility>

namespace msg_tarvel {

NmsMsgMeta::NmsMsgMeta() = default;

NmsMsgMeta::NmsMsgMeta(const NmsMsgMeta& other) = default;

NmsMsgMeta::NmsMsgMeta(NmsMsgMeta&& other) : NmsMsgMeta() { swap(*this, other); }

NmsMsgMeta::~NmsMsgMeta() = default;

NmsMsgMeta& NmsMsgMeta::operator=(NmsMsgMeta other) {
  swap(*this, other);
  return *this;
}

void swap(NmsMsgMeta& a, NmsMsgMeta& b) noexcept {
  using std::swap;
  swap(a.msgId, b.msgId);
  swap(a.objectId, b.objectId);
  swap(a.resourceURL, b.resourceURL);
  swap(a.primaryId, b.primaryId);
  swap(a.secondaryId, b.secondaryId);
  swap(a.lastModSeq, b.lastModSeq);
  swap(a.msgTime, b.msgTime);
  swap(a.BTCorrelated, b.BTCorrelated);
  swap(a.MSSICorrelated, b.MSSICorrelated);
  swap(a.MSSISync, b.MSSISync);
  swap(a.deleted, b.deleted);
  swap(a.downloadRequired, b.downloadRequired);
}

}  // namespace msg_tarvel
