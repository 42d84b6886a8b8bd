// The release of what the reader made. A leak or a wrong free shows under AddressSanitizer; without
// it, as memory in use.

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"
#include "msg-tarvel-serializer/senders_text.h"
#include "support/records.h"
#include "support/samples.h"

namespace msg_tarvel::wire_test {

namespace {

constexpr std::size_t ROUNDS = 100;
/** A block that is lost in each round takes more; what the allocator keeps for itself, less. */
constexpr std::size_t ALLOWANCE = ROUNDS * 16;

/** Bytes of malloc's that are in use; 0 for a sanitizer's malloc. */
std::size_t bytes_in_use() { return mallinfo2().uordblks; }

msg_content_item_t& first_content(msg_message_item_t& item) {
  return *static_cast<msg_content_item_t*>(item.contentList->data);
}

/** `item` as a reader has it. */
msg_message_item_t received(const msg_message_item_t& item) {
  const Buffer buffer(&item);
  msg_message_item_t read{};
  msg_deserialize_message(buffer.data(), &read);
  return read;
}

TEST(ReleaseMessage, ReleasesAllThatTheReaderMadeAndNothingElse) {
  Arena arena;
  const Buffer buffer(arena.message(full_message()));
  msg_message_item_t item{};
  msg_deserialize_message(buffer.data(), &item);
  msg_release_message(&item);
  const std::size_t before = bytes_in_use();
  for (std::size_t round = 0; round < ROUNDS; ++round) {
    msg_deserialize_message(buffer.data(), &item);
    msg_release_message(&item);
  }
  EXPECT_LT(bytes_in_use(), before + ALLOWANCE);
}

TEST(ReleaseMessage, LeavesNullsAndTheOpaqueSlots) {
  Arena arena;
  msg_message_item_t item = received(*arena.message(full_message()));
  const std::vector<std::int32_t> opaque = values_of(item).opaque;
  for (int times = 0; times < 2; ++times) {
    msg_release_message(&item);
    EXPECT_EQ(values_of(item).opaque, opaque);
    EXPECT_EQ(values_of(item).texts, std::vector<Text>(3));
    EXPECT_EQ(item.addressList, nullptr);
    EXPECT_EQ(item.contentList, nullptr);
    EXPECT_EQ(item.nmsMsgMetaData, nullptr);
  }
}

TEST(ReleaseMessage, TakesNullsOfEveryKind) {
  msg_release_message(nullptr);
  Arena arena;
  msg_message_item_t item = received(*arena.message(empty_message()));
  // As the reader leaves entries for which it has no memory.
  item.addressList = g_slist_append(nullptr, nullptr);
  item.contentList = g_slist_append(nullptr, nullptr);
  msg_release_message(&item);
  EXPECT_EQ(item.addressList, nullptr);
  EXPECT_EQ(item.contentList, nullptr);
}

TEST(ReleaseMessage, FollowsNoPointerOfTheSenders) {
  Arena arena;
  auto& sent = *arena.message(full_message());
  first_content(sent).nmsContentMetaData->text2 = arena.text("");
  msg_message_item_t item = received(sent);
  const auto* const meta = first_content(item).nmsContentMetaData;
  ASSERT_NE(meta->text2, nullptr);
  const auto* const original = first_content(sent).nmsContentMetaData;
  EXPECT_EQ(meta->opaque0[0], original->opaque0[0]);
  EXPECT_EQ(meta->opaque0[1], original->opaque0[1]);
  EXPECT_EQ(meta->opaque5, original->opaque5);
  EXPECT_STREQ(meta->text1, original->text1);
  EXPECT_STREQ(meta->text3, original->text3);
  EXPECT_TRUE(wire::has_senders_text(meta));
  msg_release_message(&item);
  EXPECT_EQ(item.contentList, nullptr);
}

TEST(ReleaseMessage, ATextOfTheReadersIsNotTakenForTheSenders) {
  Arena arena;
  msg_message_item_t item = received(*arena.message(full_message()));
  EXPECT_FALSE(wire::has_senders_text(first_content(item).nmsContentMetaData));
  msg_release_message(&item);
}

// A thousand records side by side: malloc puts some of them where a sender's pointer is expected.
TEST(ReleaseMessage, NewMetadataNeverStandsWhereASendersPointerIsExpected) {
  std::vector<msg_nms_content_meta_data_t*> records;
  for (int i = 0; i < 1000; ++i) {
    records.push_back(wire::new_content_metadata());
    ASSERT_NE(records.back(), nullptr);
    EXPECT_FALSE(wire::has_senders_text(records.back()));
  }
  for (auto* const record : records) std::free(record);
}

TEST(ReleaseMeta, ReleasesTheTextsAndLeavesNulls) {
  Arena arena;
  const Buffer buffer(
      arena.record<msg_nms_msg_meta_data_t>(full_sample(MESSAGE_META_COUNTS, 7, "metadata ")));
  msg_nms_msg_meta_data_t meta{};
  msg_deserialize_nms_msg_meta(buffer.data(), &meta);
  const std::vector<std::int32_t> opaque = values_of(meta).opaque;
  for (int times = 0; times < 2; ++times) {
    msg_release_nms_msg_meta(&meta);
    EXPECT_EQ(values_of(meta).opaque, opaque);
    EXPECT_EQ(values_of(meta).texts, std::vector<Text>(4));
  }
  const std::size_t before = bytes_in_use();
  for (std::size_t round = 0; round < ROUNDS; ++round) {
    msg_deserialize_nms_msg_meta(buffer.data(), &meta);
    msg_release_nms_msg_meta(&meta);
  }
  EXPECT_LT(bytes_in_use(), before + ALLOWANCE);
  msg_release_nms_msg_meta(nullptr);
}

}  // namespace

}  // namespace msg_tarvel::wire_test
