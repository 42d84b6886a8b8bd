#include "msg-tarvel-common/item/Message.h"

#include <new>

#include "item/item_suites.h"
#include "support/scarce_memory.h"

namespace msg_tarvel::item_test {

static_assert(std::is_nothrow_move_constructible_v<Message>);

INSTANTIATE_TYPED_TEST_SUITE_P(Message, ItemShape, Message);
INSTANTIATE_TYPED_TEST_SUITE_P(Message, ItemValue, Message);

TEST(MessageTest, ItsThreeFlagsStandTogether) {
  const Message message;
  EXPECT_EQ(&message.isSafeMessage, &message.read + 1);
  EXPECT_EQ(&message.isShareDialMessage, &message.read + 2);
}

TEST(MessageTest, HasMetadataWhenOneOfThreeIdsIsThere) {
  EXPECT_FALSE(Message().hasNmsMsgMeta());
  for_each_value<NmsMsgMeta>([](const auto& field) {
    Message message;
    message.nmsMsgMeta.*field.member = sample<decltype(field.initial)>(SEED);
    const std::string name = field.name;
    const bool isId = name == "objectId" || name == "primaryId" || name == "secondaryId";
    EXPECT_EQ(message.hasNmsMsgMeta(), isId) << name;
  });
  EXPECT_TRUE(sample<Message>(SEED).hasNmsMsgMeta());
}

/** Three addresses and two contents, each with a number of its own; no payloads. */
Message message_with_parts() {
  Message message;
  for (const int seed : {1000, 2000, 3000}) message.addresses.push_back(sample<Address>(seed));
  for (const int seed : {4000, 5000}) {
    message.contents.push_back(sample<Content>(seed));
    message.contents.back().rawData.reset();
    message.contents.back().rawDataSize = 0;
  }
  return message;
}

TEST(MessageTest, CopiedPartsKeepTheirOrderAndAreIndependent) {
  Message source = message_with_parts();
  const Message copy(source);
  source.addresses.pop_back();
  source.addresses.front().address = "changed";
  source.contents.front().textData = "changed";
  source.contents.pop_back();

  ASSERT_EQ(copy.addresses.size(), 3U);
  ASSERT_EQ(copy.contents.size(), 2U);
  EXPECT_EQ(differences(copy, message_with_parts()), "");
}

TEST(MessageTest, GrowingVectorMovesItsMessages) {
  std::vector<Message> messages;
  messages.push_back(sample<Message>(SEED));
  const unsigned char* const payload = messages[0].contents[0].rawData.get();
  messages.resize(messages.capacity() + 1);
  EXPECT_EQ(messages[0].contents[0].rawData.get(), payload);
}

/** Wherever memory runs out in the middle of a copy, what was built is released again. */
TEST(MessageTest, CopyThatRunsOutOfMemoryThrowsAndLeavesNothingBehind) {
  const Message source = message_with_parts();
  const long blocks = live_blocks();
  int allocations = 0;
  for (bool copied = false; !copied; ++allocations) {
    try {
      const MemoryForAllocations memory(allocations);
      // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it allocates what may fail
      const Message copy(source);
      copied = true;
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(live_blocks(), blocks) << "after " << allocations << " allocations";
    }
  }
  // The two vectors, three address texts, and nine texts and three of metadata in each content.
  EXPECT_EQ(allocations - 1, 2 + 3 + 2 * (9 + 3));
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(differences(source, message_with_parts()), "");
}

}  // namespace msg_tarvel::item_test
