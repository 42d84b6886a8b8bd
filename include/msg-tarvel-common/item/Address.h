#pragma once

#include <cstdint>
#include <string>

#include "../export.h"

namespace msg_tarvel {

/**
 * One participant of a conversation: a row of msg_address_table.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT Address {
 public:
  Address();
  Address(const Address& other);
  /** Leaves `other` equal to a default Address. */
  Address(Address&& other) noexcept;
  ~Address();
  Address& operator=(Address other);

  MSG_TARVEL_EXPORT friend void swap(Address& a, Address& b) noexcept;

  /** The conversation that the address belongs to. */
  int32_t convId = 0;
  /** 2 matches only exactly; rows of type 3 take no part in the search for a conversation. */
  int32_t addressType = 0;
  /** 3 on an element of a search key ends the list of conditions before that element. */
  int32_t recipientType = 0;
  /** A phone number or another address text; may be empty. */
  std::string address;
  /** True on the sender of a group-chat message, among the addresses of a Message. */
  bool userFlag = false;
};

MSG_TARVEL_EXPORT void swap(Address& a, Address& b) noexcept;

}  // namespace msg_tarvel
