#pragma once

#include <cstdint>
#include <string>

#include "../export.h"

namespace msg_tarvel {

/**
 * One participant of a conversation: a row of msg_address_table, or an element of the key that
 * db_check_thread_address_exist searches by. The owner of the store writes the rows.
 *
 * A plain value; one object belongs to one thread at a time.
 */
class MSG_TARVEL_EXPORT Address {
 public:
  Address();
  /** Throws std::bad_alloc. */
  Address(const Address& other);
  /** Leaves `other` equal to a default Address. */
  Address(Address&& other) noexcept;
  ~Address();
  /** Copies or moves, as the argument was given. */
  Address& operator=(Address other);

  MSG_TARVEL_EXPORT friend void swap(Address& a, Address& b) noexcept;

  /** The conversation that the address belongs to; not looked at in a search key. */
  int32_t convId = 0;
  /**
   * In a search key, 2 matches only as it is written; rows of type 3 take no part in the search.
   * Every other value is carried as stored.
   */
  int32_t addressType = 0;
  /**
   * In a search key, 3 on any element but the first ends the conditions before it. In rows it is
   * carried as stored; the tool writes 1 from or to, 2 cc, 3 bcc.
   */
  int32_t recipientType = 0;
  /** A phone number or another address text; may be empty. */
  std::string address;
  /** Marks the sender of a group chat among the addresses of a Message; no column has it. */
  bool userFlag = false;
};

/** Exchanges all that the two hold. */
MSG_TARVEL_EXPORT void swap(Address& a, Address& b) noexcept;

}  // namespace msg_tarvel
