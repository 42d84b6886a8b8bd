// A search that runs out of memory throws, and gives up the view of the store that it has begun.

#include <gtest/gtest.h>

#include <new>

#include "helpers/conversation_search.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "support/fake_platform.h"
#include "support/scarce_memory.h"
#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

class ConversationSearchMemory : public StoreTest {
 protected:
  ConversationSearchMemory() {
    FakePlatform::get().set("db/csc/country_iso", "US");
    FakePlatform::get().set("db/contacts-svc/phonenumber_min_match_digit", 8);
    insert("msg_address_table", {{"convId", "3"},
                                 {"addressType", "1"},
                                 {"recipientType", "1"},
                                 {"address", "'+14155550100'"}});
    EXPECT_EQ(search(), 3);
  }

  static int search() { return find_conversation({"4155550100"}); }

  /** How many searches throw, with allocation 1, 2, ... refused; `look` is called after each. */
  template <typename Refused, typename Look>
  static int failEach(Look look) {
    for (int number = 1; number < 200; ++number) {
      SCOPED_TRACE(number);
      int found = 0;
      try {
        const Refused refused(number);
        found = search();
      } catch (const std::bad_alloc&) {
        found = -1;
      }
      look();
      if (found == 3) return number - 1;
      EXPECT_EQ(found, -1);
    }
    ADD_FAILURE() << "no end of the allocations";
    return 0;
  }

  StoreSession _session;
};

TEST_F(ConversationSearchMemory, LeavesNoLock) {
  const auto lookForALock = [this] { raw().exec("BEGIN EXCLUSIVE; ROLLBACK;"); };
  EXPECT_GT(failEach<OneRefusedAllocation>(lookForALock), 5);
  EXPECT_GT(failEach<MemoryForAllocations>(lookForALock), 5) << "nor where none is left";
}

TEST_F(ConversationSearchMemory, LeavesATransactionAsItIs) {
  Transaction transaction;
  execute("INSERT INTO temp_log (data1) VALUES ('a');", CANNOT_WRITE);
  const auto lookForAView = [] {
    EXPECT_THROW(execute("RELEASE steady_view;", CANNOT_WRITE), StoreError);
  };
  EXPECT_GT(failEach<OneRefusedAllocation>(lookForAView), 5);
  EXPECT_GT(failEach<MemoryForAllocations>(lookForAView), 5);
  transaction.commit();
  EXPECT_EQ(raw().value("SELECT count(*) FROM temp_log;"), "1");
}

}  // namespace

}  // namespace msg_tarvel::helpers
