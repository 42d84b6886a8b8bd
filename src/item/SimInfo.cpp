#include "msg-tarvel-common/item/SimInfo.h"

#include <utility>

namespace msg_tarvel {

SimInfo::SimInfo() = default;

SimInfo::SimInfo(const SimInfo& other) = default;

SimInfo::SimInfo(SimInfo&& other) : SimInfo() { swap(*this, other); }

SimInfo::~SimInfo() = default;

SimInfo& SimInfo::operator=(SimInfo other) {
  swap(*this, other);
  return *this;
}

void swap(SimInfo& a, SimInfo& b) noexcept {
  using std::swap;
  swap(a.id, b.id);
  swap(a.simIndex, b.simIndex);
  swap(a.storageId, b.storageId);
  swap(a.imsi, b.imsi);
  swap(a.address, b.address);
}

}  // namespace msg_tarvel
