#pragma once

// Buffers written out by hand.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "msg-tarvel-common/msg-tarvel-serializer/msg_records.h"

namespace msg_tarvel::wire_test {

class Bytes {
 public:
  /** A marker, a string count or a presence byte. */
  Bytes& byte(unsigned int value);
  /** The number of addresses or contents. */
  Bytes& count(unsigned int value);
  Bytes& number(std::uint32_t value);
  Bytes& slots(std::int32_t value) { return number(static_cast<std::uint32_t>(value)); }
  template <std::size_t Count>
  Bytes& slots(const std::int32_t (&values)[Count]) {
    for (const std::int32_t value : values) slots(value);
    return *this;
  }
  /** The low 32 bits of a pointer. */
  Bytes& pointer(const void* value);
  /** Length and text; null is empty. */
  Bytes& string(const char* text);
  Bytes& append(const Bytes& more);

  const std::string& str() const { return _bytes; }
  std::size_t size() const { return _bytes.size(); }
  /** Where the bytes, the counts and the lengths of strings stand. */
  const std::vector<std::size_t>& bytePositions() const { return _bytePositions; }
  const std::vector<std::size_t>& countPositions() const { return _countPositions; }
  const std::vector<std::size_t>& lengthPositions() const { return _lengthPositions; }

 private:
  std::string _bytes;
  std::vector<std::size_t> _bytePositions;
  std::vector<std::size_t> _countPositions;
  std::vector<std::size_t> _lengthPositions;
};

/** Little-endian bytes of `value`. */
std::string number_bytes(std::uint32_t value);

// The block of each record.
Bytes block_of(const msg_address_item_t& item);
Bytes block_of(const msg_nms_content_meta_data_t& item);
Bytes block_of(const msg_nms_msg_meta_data_t& item);
Bytes block_of(const msg_content_item_t& item);
Bytes block_of(const msg_message_item_t& item);

/** Bytes as a hex dump shows them: "54 00 ...", sixteen in a line. */
std::string hex(const std::string& bytes);
/** The bytes that a hex text tells; blanks do not matter. */
std::string from_hex(const std::string& text);

/** Tells the first difference and both dumps. */
::testing::AssertionResult same_bytes(const std::string& actual, const std::string& expected);

}  // namespace msg_tarvel::wire_test
