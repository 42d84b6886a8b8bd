#include "msg-tarvel-common/item/Conversation.h"

#include "item/item_suites.h"

namespace msg_tarvel::item_test {

static_assert(std::is_nothrow_move_constructible_v<Conversation>);

INSTANTIATE_TYPED_TEST_SUITE_P(Conversation, ItemShape, Conversation);
INSTANTIATE_TYPED_TEST_SUITE_P(Conversation, ItemValue, Conversation);

TEST(ConversationTest, CopyHasContentsOfItsOwn) {
  const auto source = sample<Conversation>(SEED);
  const Conversation copy(source);
  ASSERT_EQ(copy.contents.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(differences(copy.contents[i], source.contents[i]), "");
    EXPECT_NE(copy.contents[i].rawData.get(), source.contents[i].rawData.get());
  }
}

TEST(ConversationTest, MoveTakesTheContentsAsTheyStand) {
  auto source = sample<Conversation>(SEED);
  const Content* const contents = source.contents.data();
  const Conversation target(std::move(source));
  EXPECT_EQ(target.contents.data(), contents);
}

}  // namespace msg_tarvel::item_test
