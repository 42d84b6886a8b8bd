// Arbitrary trees of records: what is written is accepted and read back.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "msg-tarvel-serializer/arbitrary_records.h"
#include "msg-tarvel-serializer/bytes.h"
#include "msg-tarvel-serializer/guarded_memory.h"
#include "support/records.h"

namespace msg_tarvel::wire_test {

namespace {

/** `bytes` with some of them changed and perhaps cut off. */
std::string damaged(std::string bytes) {
  for (int changes = *rc::gen::inRange(1, 5); changes > 0; --changes) {
    const auto at = *rc::gen::inRange<std::size_t>(0, bytes.size());
    bytes[at] = *rc::gen::oneOf(rc::gen::arbitrary<char>(),
                                rc::gen::element<char>(0, 1, 2, 20, 24, 56, 84, 127, -1));
  }
  return bytes.substr(0, *rc::gen::weightedOneOf<std::size_t>(
                             {{3, rc::gen::just(bytes.size())},
                              {1, rc::gen::inRange<std::size_t>(0, bytes.size())}}));
}

}  // namespace

TEST(RoundTrip, AMessageComesBackWithNullForEmptyTexts) {
  EXPECT_TRUE(rc::check([] {
    const MessageValues values = arbitrary_message();
    Arena arena;
    const Buffer buffer(arena.message(values));
    RC_ASSERT(Received(buffer.bytes()).tree() == normal(values));
  }));
}

TEST(RoundTrip, AMessageIsWrittenAsTheFormatSays) {
  EXPECT_TRUE(rc::check([] {
    Arena arena;
    const auto& item = *arena.message(arbitrary_message());
    RC_ASSERT(Buffer(&item).bytes() == block_of(item).str());
  }));
}

TEST(RoundTrip, AMessageIsAcceptedWithItsExactLength) {
  EXPECT_TRUE(rc::check([] {
    Arena arena;
    const Buffer buffer(arena.message(arbitrary_message()));
    const auto size = static_cast<std::size_t>(buffer.size());
    RC_ASSERT(msg_check_message(buffer.data(), size) == size);
    const auto less = *rc::gen::inRange<std::size_t>(0, size);
    RC_ASSERT(msg_check_message(buffer.data(), less) == 0U);
    RC_ASSERT(msg_check_message((buffer.bytes() + "more").data(), size + 4) == size);
  }));
}

TEST(RoundTrip, WritingWhatWasReadGivesTheSameBytesButForPointers) {
  EXPECT_TRUE(rc::check([] {
    Arena arena;
    const Buffer buffer(arena.message(arbitrary_message()));
    const Received received(buffer.bytes());
    const Buffer again(&received.item());
    RC_ASSERT(without_pointers(again.bytes()) == without_pointers(buffer.bytes()));
  }));
}

TEST(RoundTrip, MetadataAloneComesBackAndIsAccepted) {
  EXPECT_TRUE(rc::check([] {
    const Values values = arbitrary_values(MESSAGE_META_COUNTS);
    Arena arena;
    const auto& item = *arena.record<msg_nms_msg_meta_data_t>(values);
    const Buffer buffer(&item);
    const auto size = static_cast<std::size_t>(buffer.size());
    RC_ASSERT(buffer.bytes() == block_of(item).str());
    RC_ASSERT(msg_check_nms_msg_meta(buffer.data(), size) == size);
    RC_ASSERT(values_of(ReceivedMeta(buffer.bytes()).item()) == normal(values));
  }));
}

TEST(RoundTrip, DamagedMessagesAreCheckedAndReadInBounds) {
  EXPECT_TRUE(rc::check([] {
    Arena arena;
    const std::string bytes = damaged(Buffer(arena.message(arbitrary_message())).bytes());
    GuardedMemory memory(bytes.size());
    const std::size_t length = msg_check_message(memory.hold(bytes), bytes.size());
    RC_ASSERT(length <= bytes.size());
    RC_CLASSIFY(length > 0, "accepted");
    if (length == 0) return;
    const std::string accepted = bytes.substr(0, length);
    RC_ASSERT(msg_check_message(memory.hold(accepted), length) == length);
    const Received received(accepted);
    const MessageValues values = received.tree();
    RC_ASSERT(values.addresses.size() <= 255U);
    RC_ASSERT(values.contents.size() <= 255U);
  }));
}

}  // namespace msg_tarvel::wire_test
