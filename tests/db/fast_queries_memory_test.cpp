// The fast ways where the program has no memory left: the defined way answers, or the caller gets
// the exception, and nothing is left half done.

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string>
#include <vector>

#include "list_queries.h"
#include "support/scarce_memory.h"

namespace msg_tarvel::db {

namespace {

/** A query of a list, with what is in it when memory runs out. */
template <typename Item>
struct MemoryCase {
  std::vector<Item> items = std::vector<Item>(1, item_test::sample<Item>(item_test::SEED));
  int result = 0;
  bool hasThrown = false;

  template <typename Query>
  void run(Query query) {
    try {
      result = query(items);
    } catch (const std::bad_alloc&) {
      hasThrown = true;
    }
  }
};

class FastQueryMemory : public ListQueriesTest, public ::testing::WithParamInterface<bool> {
 protected:
  FastQueryMemory() {
    fill(40, 45);
    if (GetParam()) createIndexes();
  }

  /** Each allocation of `query` fails by itself, and then all that follow fail with it. */
  template <typename Item, typename Query>
  static void expectNothingHalf(Query query) {
    MemoryCase<Item> whole;
    whole.run(query);
    ASSERT_EQ(whole.result, DB_SUCCESS);
    ASSERT_GT(whole.items.size(), 2u);
    FakePlatform::get().clearLines();
    int answers = 0;
    int number = 1;
    for (bool hasCome = true; hasCome; ++number) {
      MemoryCase<Item> one;
      {
        const OneRefusedAllocation refused(number);
        one.run(query);
        hasCome = refused.hasCome();
      }
      if (one.hasThrown) {
        EXPECT_EQ(one.items.size(), 1u) << number;
      } else {
        ASSERT_EQ(written(one.items), written(whole.items)) << number;
        EXPECT_EQ(one.result, DB_SUCCESS);
        ++answers;
      }
      expectNothingLeftBehind();
      expectPrefixWithout<Item>(number, whole.items, query);
    }
    // What is outside of the fast way allocates the text of the query and little else.
    EXPECT_GT(answers, number / 2);
    EXPECT_TRUE(FakePlatform::get().problems().empty());
  }

 private:
  template <typename Item, typename Query>
  static void expectPrefixWithout(int allocations, const std::vector<Item>& whole, Query query) {
    MemoryCase<Item> scarce;
    {
      const MemoryForAllocations few(allocations);
      scarce.run(query);
    }
    ASSERT_GE(scarce.items.size(), 1u);
    ASSERT_LE(scarce.items.size(), whole.size());
    for (std::size_t i = 0; i < scarce.items.size(); ++i) {
      ASSERT_EQ(written(scarce.items[i]), written(whole[i]));
    }
    expectNothingLeftBehind();
  }
};

TEST_P(FastQueryMemory, OfAListInOrderOfTimeIsHandedOver) {
  ListCondition oldest;
  oldest.ascending = true;
  expectNothingHalf<Message>(
      [&](std::vector<Message>& out) { return db_get_message_list(oldest, out); });
}

TEST_P(FastQueryMemory, OfAListOfMessagesIsHandedOver) {
  expectNothingHalf<Message>(
      [](std::vector<Message>& out) { return db_get_unsynced_messages(out); });
}

TEST_P(FastQueryMemory, OfAConversationIsHandedOver) {
  raw().exec("UPDATE msg_message_table SET convId = 1;");
  expectNothingHalf<Conversation>(
      [](std::vector<Conversation>& out) { return db_get_conversations(1, out); });
}

TEST_P(FastQueryMemory, OfTheListOfThreadsIsHandedOver) {
  expectNothingHalf<Thread>([](std::vector<Thread>& out) { return db_get_threads(out); });
}

TEST_P(FastQueryMemory, OfAListOfMetadataIsHandedOver) {
  expectNothingHalf<NmsMsgMeta>([](std::vector<NmsMsgMeta>& out) {
    return db_get_uncorrelated_nms_msg_metas("", NmsMsgMeta::BT_CORRELATION, NmsMsgMeta::PRIMARY_ID,
                                             true, out);
  });
}

using FastQueryWithoutStore = ListQueriesTest;

TEST_F(FastQueryWithoutStore, AndWithoutMemoryFailsAsWithoutStore) {
  init_db();
  deinit_db();
  FakePlatform::get().setDataPath(std::nullopt);
  for (std::string* const path : {&data_dir_path, &db_dir_path, &db_filepath}) path->clear();
  MemoryCase<Thread> one;
  {
    const OneRefusedAllocation refused(1);
    one.run([](std::vector<Thread>& out) { return db_get_threads(out); });
    EXPECT_TRUE(refused.hasCome());
  }
  EXPECT_FALSE(one.hasThrown);
  EXPECT_EQ(one.result, DB_ERR_PREPARE);
  EXPECT_EQ(one.items.size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(With, FastQueryMemory, ::testing::Bool(), &name_of_store);

}  // namespace

}  // namespace msg_tarvel::db
