#include "msg-tarvel-common/item/Address.h"

#include <utility>

namespace msg_tarvel {

Address::Address() = default;

Address::Address(const Address& other) = default;

Address::Address(Address&& other) noexcept : Address() { swap(*this, other); }

Address::~Address() = default;

Address& Address::operator=(Address other) {
  swap(*this, other);
  return *this;
}

void swap(Address& a, Address& b) noexcept {
  using std::swap;
  swap(a.convId, b.convId);
  swap(a.addressType, b.addressType);
  swap(a.recipientType, b.recipientType);
  swap(a.address, b.address);
  swap(a.userFlag, b.userFlag);
}

}  // namespace msg_tarvel
