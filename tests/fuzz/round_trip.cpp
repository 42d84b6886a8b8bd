// Builds a message from the input, writes it, reads it and writes it again.

#include <optional>
#include <string>
#include <utility>

#include "fuzz_target.h"
#include "support/records.h"

namespace msg_tarvel::wire_test {

namespace {

/** Values from the input, and zeros when it is used up. */
class Source {
 public:
  Source(const std::uint8_t* data, std::size_t size) : _at(data), _left(size) {}

  unsigned int byte() {
    if (_left == 0) return 0;
    --_left;
    return *_at++;
  }

  std::int32_t number() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | byte();
    return static_cast<std::int32_t>(value);
  }

  /** Null for a length byte of 255; a zero byte in the text ends it. */
  Text text() {
    unsigned int length = byte();
    if (length == 255) return std::nullopt;
    if (length == 254) length = byte() << 8 | byte();
    std::string value;
    for (; length > 0 && _left > 0; --length) {
      const auto c = static_cast<char>(byte());
      if (c == '\0') break;
      value += c;
    }
    return value;
  }

  Values values(Counts counts) {
    Values values;
    for (std::size_t i = 0; i < counts.opaque; ++i) values.opaque.push_back(number());
    for (std::size_t i = 0; i < counts.texts; ++i) values.texts.push_back(text());
    return values;
  }

  std::optional<Values> maybe(Counts counts) {
    if (byte() % 2 == 0) return std::nullopt;
    return values(counts);
  }

  /** Mostly small, so that most inputs are quick; at times as long as a list may be. */
  unsigned int listLength() {
    const unsigned int length = byte();
    return length < 250 ? length % 8 : length;
  }

  MessageValues message() {
    MessageValues tree;
    tree.own = values(MESSAGE_COUNTS);
    for (unsigned int left = listLength(); left > 0; --left) {
      tree.addresses.push_back(values(ADDRESS_COUNTS));
    }
    for (unsigned int left = listLength(); left > 0; --left) {
      Values own = values(CONTENT_COUNTS);
      tree.contents.push_back({std::move(own), maybe(CONTENT_META_COUNTS)});
    }
    tree.meta = maybe(MESSAGE_META_COUNTS);
    return tree;
  }

 private:
  const std::uint8_t* _at;
  std::size_t _left;
};

void round_trip(const MessageValues& values) {
  Arena arena;
  const Buffer buffer(arena.message(values));
  FUZZ_ASSERT(buffer.size() > 0);
  const auto size = static_cast<std::size_t>(buffer.size());
  FUZZ_ASSERT(msg_check_message(buffer.data(), size) == size);
  FUZZ_ASSERT(msg_check_message(buffer.data(), size - 1) == 0);
  const Received received(buffer.bytes());
  FUZZ_ASSERT(received.tree() == normal(values));
  const Buffer again(&received.item());
  FUZZ_ASSERT(without_pointers(again.bytes()) == without_pointers(buffer.bytes()));
}

void round_trip(const Values& values) {
  Arena arena;
  const Buffer buffer(arena.record<msg_nms_msg_meta_data_t>(values));
  FUZZ_ASSERT(buffer.size() > 0);
  const auto size = static_cast<std::size_t>(buffer.size());
  FUZZ_ASSERT(msg_check_nms_msg_meta(buffer.data(), size) == size);
  const ReceivedMeta received(buffer.bytes());
  FUZZ_ASSERT(values_of(received.item()) == normal(values));
  const Buffer again(&received.item());
  FUZZ_ASSERT(without_pointers(again.bytes()) == without_pointers(buffer.bytes()));
}

}  // namespace

}  // namespace msg_tarvel::wire_test

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto values = msg_tarvel::wire_test::Source(data, size).message();
  msg_tarvel::wire_test::round_trip(values);
  if (values.meta) msg_tarvel::wire_test::round_trip(*values.meta);
  return 0;
}
