#include "msg-tarvel-serializer/bytes.h"

#include <algorithm>
#include <sstream>

namespace msg_tarvel::wire_test {

namespace {

template <typename Record>
void append_list(Bytes& bytes, GSList* list) {
  bytes.count(g_slist_length(list) % 256);
  for (; list; list = list->next) bytes.append(block_of(*static_cast<const Record*>(list->data)));
}

}  // namespace

Bytes& Bytes::byte(unsigned int value) {
  _bytePositions.push_back(size());
  _bytes += static_cast<char>(value);
  return *this;
}

Bytes& Bytes::count(unsigned int value) {
  _countPositions.push_back(size());
  _bytes += static_cast<char>(value);
  return *this;
}

Bytes& Bytes::number(std::uint32_t value) {
  _bytes += number_bytes(value);
  return *this;
}

Bytes& Bytes::pointer(const void* value) {
  return number(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(value)));
}

Bytes& Bytes::string(const char* text) {
  const std::string value = text ? text : "";
  _lengthPositions.push_back(size());
  number(static_cast<std::uint32_t>(value.size()));
  _bytes += value;
  return *this;
}

Bytes& Bytes::append(const Bytes& more) {
  const auto move = [this](std::vector<std::size_t>& to, const std::vector<std::size_t>& from) {
    for (const std::size_t position : from) to.push_back(size() + position);
  };
  move(_bytePositions, more._bytePositions);
  move(_countPositions, more._countPositions);
  move(_lengthPositions, more._lengthPositions);
  _bytes += more._bytes;
  return *this;
}

std::string number_bytes(std::uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xff);
  return bytes;
}

Bytes block_of(const msg_address_item_t& item) {
  return Bytes().byte(20).slots(item.opaque0).pointer(item.text1).byte(1).string(item.text1);
}

Bytes block_of(const msg_nms_content_meta_data_t& item) {
  return Bytes()
      .byte(24)
      .slots(item.opaque0)
      .pointer(item.text1)
      .pointer(item.text2)
      .pointer(item.text3)
      .slots(item.opaque5)
      .byte(3)
      .string(item.text1)
      .string(item.text2)
      .string(item.text3);
}

Bytes block_of(const msg_nms_msg_meta_data_t& item) {
  return Bytes()
      .byte(56)
      .slots(item.opaque0)
      .pointer(item.text1)
      .pointer(item.text2)
      .pointer(item.text3)
      .pointer(item.text4)
      .slots(item.opaque5)
      .byte(4)
      .string(item.text1)
      .string(item.text2)
      .string(item.text3)
      .string(item.text4);
}

Bytes block_of(const msg_content_item_t& item) {
  Bytes bytes;
  bytes.byte(56)
      .slots(item.opaque0)
      .pointer(item.text1)
      .pointer(item.text2)
      .pointer(item.text3)
      .pointer(item.text4)
      .pointer(item.text5)
      .pointer(item.text6)
      .slots(item.opaque12)
      .pointer(item.nmsContentMetaData)
      .byte(6)
      .string(item.text1)
      .string(item.text2)
      .string(item.text3)
      .string(item.text4)
      .string(item.text5)
      .string(item.text6)
      .byte(item.nmsContentMetaData ? 1 : 0);
  if (item.nmsContentMetaData) bytes.append(block_of(*item.nmsContentMetaData));
  return bytes;
}

Bytes block_of(const msg_message_item_t& item) {
  Bytes bytes;
  bytes.byte(84)
      .slots(item.opaque0)
      .pointer(item.text1)
      .slots(item.opaque3)
      .pointer(item.text2)
      .pointer(item.text3)
      .slots(item.opaque17)
      .pointer(item.addressList)
      .pointer(item.contentList)
      .pointer(item.nmsMsgMetaData)
      .byte(3)
      .string(item.text1)
      .string(item.text2)
      .string(item.text3);
  append_list<msg_address_item_t>(bytes, item.addressList);
  append_list<msg_content_item_t>(bytes, item.contentList);
  bytes.byte(item.nmsMsgMetaData ? 1 : 0);
  if (item.nmsMsgMetaData) bytes.append(block_of(*item.nmsMsgMetaData));
  return bytes;
}

std::string hex(const std::string& bytes) {
  static const char* const digits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto value = static_cast<unsigned char>(bytes[i]);
    text += digits[value >> 4];
    text += digits[value & 0xf];
    text += i % 16 == 15 ? '\n' : ' ';
  }
  return text;
}

std::string from_hex(const std::string& text) {
  std::istringstream words(text);
  std::string bytes;
  for (std::string word; words >> word;) bytes += static_cast<char>(std::stoi(word, nullptr, 16));
  return bytes;
}

::testing::AssertionResult same_bytes(const std::string& actual, const std::string& expected) {
  if (actual == expected) return ::testing::AssertionSuccess();
  const auto length = static_cast<std::ptrdiff_t>(std::min(actual.size(), expected.size()));
  const auto at = std::mismatch(actual.begin(), actual.begin() + length, expected.begin()).first;
  return ::testing::AssertionFailure() << "first difference at offset " << at - actual.begin()
                                       << "; " << actual.size() << " bytes:\n"
                                       << hex(actual) << "\nexpected " << expected.size() << ":\n"
                                       << hex(expected);
}

}  // namespace msg_tarvel::wire_test
