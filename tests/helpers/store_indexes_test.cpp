// Indexes are made once, stand aside only while there is no message, and come back as they were.

#include "helpers/store_indexes.h"

#include <gtest/gtest.h>

#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

class StoreIndexes : public StoreTest {
 protected:
  static int indexes() {
    return number("SELECT count(*) FROM sqlite_master WHERE type = 'index' AND sql <> '';",
                  CANNOT_READ);
  }
};

TEST_F(StoreIndexes, AreMadeOnce) {
  Transaction transaction;
  EXPECT_FALSE(has_every_index());
  EXPECT_TRUE(make_indexes());
  EXPECT_EQ(indexes(), 14);
  EXPECT_TRUE(has_every_index());
  EXPECT_FALSE(make_indexes());
  execute("DROP INDEX msg_message_time_index; CREATE INDEX other ON temp_log (id);", CANNOT_WRITE);
  EXPECT_FALSE(has_every_index());
  EXPECT_TRUE(make_indexes());
  EXPECT_EQ(indexes(), 15);
  execute("DROP INDEX other; DROP INDEX msg_message_time_index;", CANNOT_WRITE);
  EXPECT_TRUE(make_indexes());
  EXPECT_EQ(indexes(), 14);
}

TEST_F(StoreIndexes, ThatCannotBeMadeAreAnError) {
  execute("CREATE TABLE msg_message_time_index (x);", CANNOT_WRITE);
  {
    Transaction transaction;
    try {
      make_indexes();
      ADD_FAILURE() << "made";
    } catch (const StoreError& error) {
      EXPECT_STREQ(error.what(), "cannot index the message store");
    }
  }
  EXPECT_EQ(indexes(), 0);
}

TEST_F(StoreIndexes, StandAsideWhereMessagesAreWritten) {
  make_indexes();
  execute(
      "CREATE UNIQUE INDEX alone ON msg_message_table (customFieldStr1);"
      "CREATE INDEX \"a \"\" b\" ON msg_address_table (address);",
      CANNOT_WRITE);
  Transaction transaction;
  const std::vector<std::string> statements = set_indexes_aside();
  // Of addresses 2, of messages 4, of contents 1.
  EXPECT_EQ(statements.size(), 7U);
  EXPECT_EQ(statements.back(), "CREATE INDEX \"a \"\" b\" ON msg_address_table (address)");
  EXPECT_EQ(indexes(), 16 - 7);
  EXPECT_EQ(number("SELECT count(*) FROM sqlite_master WHERE name = 'alone';", CANNOT_READ), 1);
  restore_indexes(statements);
  EXPECT_EQ(indexes(), 16);
  EXPECT_TRUE(set_indexes_aside() == statements);
}

TEST_F(StoreIndexes, StayWhereAMessageIs) {
  make_indexes();
  Transaction transaction;
  execute("INSERT INTO msg_message_table (convId) VALUES (1);", CANNOT_WRITE);
  EXPECT_TRUE(set_indexes_aside().empty());
  EXPECT_EQ(indexes(), 14);
}

}  // namespace

}  // namespace msg_tarvel::helpers
