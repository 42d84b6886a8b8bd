// Making the indexes where memory runs out.

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string>

#include "list_queries.h"
#include "support/scarce_memory.h"

namespace msg_tarvel::db {

namespace {

class IndexesMemory : public ListQueriesTest {
 protected:
  /** Makes the indexes with what memory a `Memory` leaves; whether there was enough. */
  template <typename Memory>
  bool isEnough(int allocations) {
    FakePlatform::get().clearLines();
    bool hasThrown = false;
    {
      const Memory memory(allocations);
      try {
        EXPECT_EQ(db_create_indexes(), DB_SUCCESS);
      } catch (const std::bad_alloc&) {
        hasThrown = true;
      }
    }
    EXPECT_EQ(raw().value("SELECT count(*) FROM sqlite_master WHERE type = 'index' AND "
                          "sql IS NOT NULL;"),
              hasThrown ? "0" : "14");
    expectNothingLeftBehind();
    EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
    EXPECT_TRUE(FakePlatform::get().lines().empty());
    return !hasThrown;
  }
};

TEST_F(IndexesMemory, OneAllocationThatFailsTakesAllBack) {
  int number = 1;
  while (!isEnough<OneRefusedAllocation>(number)) ++number;
  EXPECT_GT(number, 14);
}

TEST_F(IndexesMemory, MemoryThatRunsOutForGoodTakesAllBack) {
  int allocations = 0;
  while (!isEnough<MemoryForAllocations>(allocations)) ++allocations;
  EXPECT_GT(allocations, 14);
}

}  // namespace

}  // namespace msg_tarvel::db
