// The bounded checks: what they accept, what they refuse, and that they stay in bounds.

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>

#include "msg-tarvel-serializer/bytes.h"
#include "msg-tarvel-serializer/guarded_memory.h"
#include "msg-tarvel-serializer/serializer_log.h"
#include "support/samples.h"

namespace msg_tarvel::wire_test {

namespace {

using Check = size_t (*)(const char*, size_t);

/** A well-formed buffer and the check it is for. */
struct Good {
  std::string name;
  Check check;
  Bytes buffer;
};

MessageValues message_with_many_empty_elements() {
  MessageValues values = empty_message();
  values.addresses.resize(255, sample(ADDRESS_COUNTS, 1));
  values.contents.resize(255, {sample(CONTENT_COUNTS, 1), sample(CONTENT_META_COUNTS, 1)});
  return values;
}

std::vector<Good> good_buffers() {
  Arena arena;
  const auto message = [&arena](const MessageValues& values) {
    return block_of(*arena.message(values));
  };
  const auto meta = [&arena](const Values& values) {
    return block_of(*arena.record<msg_nms_msg_meta_data_t>(values));
  };
  MessageValues withoutMeta = full_message();
  withoutMeta.meta.reset();
  return {
      {"empty message", msg_check_message, message(empty_message())},
      {"full message", msg_check_message, message(full_message())},
      {"message without metadata", msg_check_message, message(withoutMeta)},
      {"empty metadata", msg_check_nms_msg_meta, meta(sample(MESSAGE_META_COUNTS, 0))},
      {"full metadata", msg_check_nms_msg_meta, meta(full_sample(MESSAGE_META_COUNTS, 0, "text"))},
  };
}

/** What the check says of `bytes` when the byte behind them cannot be read. */
size_t checked(const Good& good, const std::string& bytes) {
  GuardedMemory memory(bytes.size());
  return good.check(memory.hold(bytes), bytes.size());
}

std::string with_byte(std::string bytes, std::size_t position, unsigned int value) {
  bytes[position] = static_cast<char>(value);
  return bytes;
}

std::string with_number(std::string bytes, std::size_t position, std::uint32_t value) {
  return bytes.replace(position, 4, number_bytes(value));
}

/** Reads a message that the check accepted, from memory with nothing behind it. */
void read_in_bounds(const std::string& bytes) {
  GuardedMemory memory(bytes.size());
  msg_message_item_t item{};
  msg_deserialize_message(memory.hold(bytes), &item);
  // The texts that content metadata may have kept are told apart by a second look.
  const Received received(bytes);
  EXPECT_EQ(g_slist_length(item.addressList), g_slist_length(received.item().addressList));
  const GSList* plain = received.item().contentList;
  for (GSList* node = item.contentList; node; node = node->next, plain = plain->next) {
    auto* const meta = static_cast<msg_content_item_t*>(node->data)->nmsContentMetaData;
    const auto* const known =
        static_cast<const msg_content_item_t*>(plain->data)->nmsContentMetaData;
    if (meta && !known->text2) meta->text2 = nullptr;
  }
  EXPECT_EQ(tree_of(item), received.tree());
  release(item);
}

}  // namespace

TEST(Check, GoodBuffersAreAcceptedWithTheirLength) {
  for (const Good& good : good_buffers()) {
    EXPECT_EQ(checked(good, good.buffer.str()), good.buffer.size()) << good.name;
  }
}

TEST(Check, FullListsAreAcceptedWithTheirLength) {
  Arena arena;
  const Bytes buffer = block_of(*arena.message(message_with_many_empty_elements()));
  GuardedMemory memory(buffer.size());
  EXPECT_EQ(buffer.size(), 101U + 255 * 26 + 255 * (83 + 38));
  EXPECT_EQ(msg_check_message(memory.hold(buffer.str()), buffer.size()), buffer.size());
  EXPECT_EQ(msg_check_message(memory.hold(buffer.str()), buffer.size() - 1), 0U);
}

TEST(Check, EveryPrefixIsRefused) {
  for (const Good& good : good_buffers()) {
    for (std::size_t length = 0; length < good.buffer.size(); ++length) {
      EXPECT_EQ(checked(good, good.buffer.str().substr(0, length)), 0U) << good.name << length;
    }
  }
}

TEST(Check, WhatFollowsTheBlockDoesNotMatter) {
  for (const Good& good : good_buffers()) {
    for (const char follower : {'\0', '\x01', '\x54', '\xff'}) {
      const std::string bytes = good.buffer.str() + std::string(300, follower);
      EXPECT_EQ(checked(good, bytes), good.buffer.size()) << good.name;
    }
  }
}

TEST(Check, NothingBehindAWholeBlockIsReadWhateverTheSizeSays) {
  for (const Good& good : good_buffers()) {
    GuardedMemory memory(good.buffer.size());
    EXPECT_EQ(good.check(memory.hold(good.buffer.str()), SIZE_MAX), good.buffer.size());
  }
}

TEST(Check, NullAndSizeZeroGiveZero) {
  for (const Good& good : good_buffers()) {
    EXPECT_EQ(good.check(nullptr, 0), 0U);
    EXPECT_EQ(good.check(nullptr, 1000), 0U);
    EXPECT_EQ(good.check(good.buffer.str().data(), 0), 0U);
    GuardedMemory memory(0);
    EXPECT_EQ(good.check(memory.last(0), 0), 0U);
  }
}

TEST(Check, EveryOtherMarkerOrStringCountIsRefused) {
  for (const Good& good : good_buffers()) {
    const std::string& bytes = good.buffer.str();
    for (const std::size_t position : good.buffer.bytePositions()) {
      const auto right = static_cast<unsigned char>(bytes[position]);
      const bool presence = right <= 1 && position != good.buffer.lengthPositions()[0] - 1;
      for (unsigned int value = 0; value < 256; ++value) {
        // A presence byte has one other value that may be right; what follows decides.
        if (value == right || (presence && value <= 1)) continue;
        EXPECT_EQ(checked(good, with_byte(bytes, position, value)), 0U)
            << good.name << ": " << value << " at " << position;
      }
    }
  }
}

TEST(Check, APresenceByteDecidesHowFarTheBlockReaches) {
  const Good full = good_buffers()[1];
  const std::size_t presence =
      full.buffer.size() - block_of(msg_nms_msg_meta_data_t{}).size() - (10 + 11 + 12 + 13) - 1;
  ASSERT_EQ(full.buffer.str()[presence], 1);
  EXPECT_EQ(checked(full, with_byte(full.buffer.str(), presence, 0)), presence + 1);

  const Good empty = good_buffers()[0];
  EXPECT_EQ(checked(empty, with_byte(empty.buffer.str(), 100, 1)), 0U);
}

TEST(Check, EveryOtherListLengthIsRefused) {
  for (const Good& good : good_buffers()) {
    const std::string& bytes = good.buffer.str();
    for (const std::size_t position : good.buffer.countPositions()) {
      for (unsigned int value = 0; value < 256; ++value) {
        if (value == static_cast<unsigned char>(bytes[position])) continue;
        EXPECT_EQ(checked(good, with_byte(bytes, position, value)), 0U)
            << good.name << ": " << value << " at " << position;
      }
    }
  }
}

TEST(Check, LengthsThatReachTooFarAreRefused) {
  for (const Good& good : good_buffers()) {
    const std::string& bytes = good.buffer.str();
    for (const std::size_t position : good.buffer.lengthPositions()) {
      const auto left = static_cast<std::uint32_t>(bytes.size() - position - 4);
      // Among them those with which a sum of 32 bits starts again at 0.
      for (const std::uint32_t length :
           {left + 1, left + 1000, 0x7fffffffU, 0x80000000U, 0xffffffffU, 0xfffffffcU,
            static_cast<std::uint32_t>(0) - static_cast<std::uint32_t>(position),
            static_cast<std::uint32_t>(0) - static_cast<std::uint32_t>(position) - 4}) {
        EXPECT_EQ(checked(good, with_number(bytes, position, length)), 0U)
            << good.name << ": " << length << " at " << position;
      }
    }
  }
}

TEST(Check, ListsOfMoreThan255ElementsAreRefused) {
  for (const std::size_t elements : {256U, 257U, 300U}) {
    MessageValues values = empty_message();
    values.addresses.resize(elements, sample(ADDRESS_COUNTS, 1, {Text("+15550100")}));
    Arena arena;
    const Buffer buffer(arena.message(values));
    EXPECT_EQ(msg_check_message(buffer.data(), static_cast<std::size_t>(buffer.size())), 0U);
  }
}

TEST(Check, OpaqueNumbersPointersAndTextsMayBeAnything) {
  for (const Good& good : good_buffers()) {
    std::string bytes = good.buffer.str();
    bytes.replace(1, static_cast<unsigned char>(bytes[0]),
                  std::string(static_cast<unsigned char>(bytes[0]), '\xff'));
    EXPECT_EQ(checked(good, bytes), bytes.size()) << good.name;
  }
  const std::string zeroInText = Good(good_buffers()[4]).buffer.str();
  const std::size_t text = zeroInText.find("text1");
  EXPECT_EQ(checked(good_buffers()[4], with_byte(zeroInText, text + 1, 0)), zeroInText.size());
}

TEST(Check, TheOtherKindOfBufferIsRefused) {
  const auto buffers = good_buffers();
  EXPECT_EQ(msg_check_nms_msg_meta(buffers[1].buffer.str().data(), buffers[1].buffer.size()), 0U);
  EXPECT_EQ(msg_check_message(buffers[4].buffer.str().data(), buffers[4].buffer.size()), 0U);
}

TEST(Check, LogsNothing) {
  for (const Good& good : good_buffers()) {
    for (const unsigned int marker : {0U, 20U}) {
      checked(good, with_byte(good.buffer.str(), 0, marker));
    }
  }
  EXPECT_TRUE(logged({}));
}

// The reader counts in int: a block is at most as large as one can tell. The pages in the middle of
// such a block are never touched.
TEST(Check, ABlockIsNoLargerThanAnIntTells) {
  if constexpr (sizeof(void*) > 4) {
    const std::size_t largest = INT_MAX;
    GuardedMemory memory(largest + 1);
    Bytes empty = block_of(msg_nms_msg_meta_data_t{});
    for (const std::size_t more : {0U, 1U}) {
      char* const block = memory.last(largest + more);
      const auto text1 = static_cast<std::uint32_t>(largest + more - empty.size());
      const std::string head = with_number(empty.str(), 58, text1).substr(0, 62);
      head.copy(block, head.size());
      EXPECT_EQ(msg_check_nms_msg_meta(block, largest + more), more ? 0U : largest);
      std::memset(block, 0, head.size());
    }
  }
}

TEST(Check, AcceptedMessagesAreReadInBounds) {
  for (const Good& good : good_buffers()) {
    if (good.check == msg_check_message) read_in_bounds(good.buffer.str());
  }
}

TEST(Check, AcceptedMetadataIsReadInBounds) {
  const Good good = good_buffers()[4];
  GuardedMemory memory(good.buffer.size());
  msg_nms_msg_meta_data_t item{};
  msg_deserialize_nms_msg_meta(memory.hold(good.buffer.str()), &item);
  EXPECT_EQ(values_of(item), full_sample(MESSAGE_META_COUNTS, 0, "text"));
  for (char** const text : fields(item).texts) std::free(*text);
}

// One byte at a time, every byte and every value: whatever is still accepted is read in bounds.
TEST(Check, WhateverIsAcceptedAfterAChangeIsReadInBounds) {
  const Good good = good_buffers()[2];
  std::size_t accepted = 0;
  for (std::size_t position = 0; position < good.buffer.size(); ++position) {
    for (const unsigned int value : {0U, 1U, 127U, 255U}) {
      const std::string bytes = with_byte(good.buffer.str(), position, value);
      const std::size_t length = checked(good, bytes);
      if (length == 0) continue;
      ++accepted;
      read_in_bounds(bytes.substr(0, length));
    }
  }
  EXPECT_GT(accepted, 500U);
}

}  // namespace msg_tarvel::wire_test
