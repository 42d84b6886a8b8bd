// Which conversation has exactly the given participants, and that a search that failed does not say
// that there is none.

#include "helpers/conversation_search.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <thread>

#include "helpers/same_address.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "support/fake_platform.h"
#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

/** A device as from the factory: US, eight digits decide. */
class ConversationSearch : public StoreTest {
 protected:
  ConversationSearch() { setDigits(8); }

  static void setDigits(int digits) {
    FakePlatform::get().set("db/csc/country_iso", "US");
    FakePlatform::get().set("db/contacts-svc/phonenumber_min_match_digit", digits);
  }

  void store(int convId, const std::vector<std::string>& addresses) {
    for (const std::string& address : addresses) {
      insert("msg_address_table", {{"convId", std::to_string(convId)},
                                   {"addressType", std::to_string(address_type_of(address))},
                                   {"recipientType", "1"},
                                   {"address", address.empty() ? "NULL" : quoted(address)}});
    }
  }

  void expectError(const std::vector<std::string>& addresses) {
    try {
      ADD_FAILURE() << find_conversation(addresses);
    } catch (const StoreError& error) {
      EXPECT_STREQ(error.what(), "cannot search the message store");
    }
  }

  /** Nothing is open any more: another connection gets the whole store. */
  void expectNoLock() { raw().exec("BEGIN EXCLUSIVE; ROLLBACK;"); }
};

TEST_F(ConversationSearch, FindsExactlyThese) {
  store(3, {"+14155550100", "ann@example.org"});
  store(4, {"+14155550100"});
  EXPECT_EQ(find_conversation({"+14155550100"}), 4);
  EXPECT_EQ(find_conversation({"ann@example.org", "+14155550100"}), 3);
  EXPECT_EQ(find_conversation({"ann@example.org"}), 0);
  EXPECT_EQ(find_conversation({"+14155550100", "bob@example.org"}), 0);
  EXPECT_EQ(find_conversation({}), 0);
  expectNoLock();
}

TEST_F(ConversationSearch, FindsNumbersInAnotherForm) {
  store(3, {"+14155550100", "ann@example.org"});
  store(4, {"4155550111", "ann_lee@example.org"});
  EXPECT_EQ(find_conversation({"4155550100", "ann@example.org"}), 3);
  EXPECT_EQ(find_conversation({"+14155550111", "ann_lee@example.org"}), 4);
  EXPECT_EQ(find_conversation({"ann_lee@example.org", "+13155550111"}), 4) << "the same ending";
  EXPECT_EQ(find_conversation({"ann_lee@example.org", "3155550111"}), 0) << "in the same form";
}

TEST_F(ConversationSearch, TakesPatternsAndQuotesForThemselves) {
  store(3, {"axb@example.org"});
  store(4, {"a_b@example.org"});
  store(5, {"50 euros off"});
  store(6, {"O'Hara"});
  store(7, {"'; DROP TABLE msg_address_table;--"});
  EXPECT_EQ(find_conversation({"a_b@example.org"}), 4);
  EXPECT_EQ(find_conversation({"50% off"}), 0);
  EXPECT_EQ(find_conversation({"O'Hara"}), 6);
  EXPECT_EQ(find_conversation({"O'Hara", "a_b@example.org"}), 0);
  EXPECT_EQ(find_conversation({"'; DROP TABLE msg_address_table;--"}), 7);
}

TEST_F(ConversationSearch, LooksBothWaysOneByOne) {
  store(3, {"a_a", "a_a"});
  store(4, {"a_a", "b_b"});
  EXPECT_EQ(find_conversation({"a_a", "b_b"}), 4);
  EXPECT_EQ(find_conversation({"a_a", "a_a"}), 3);
  EXPECT_EQ(find_conversation({"b_b", "b_b"}), 0);
}

TEST_F(ConversationSearch, LeavesOutRowsThatTakeNoPart) {
  store(3, {"a_a"});
  raw().exec("UPDATE msg_address_table SET addressType = 3;");
  EXPECT_EQ(find_conversation({"a_a"}), 0);
}

TEST_F(ConversationSearch, KnowsTheConversationWithoutAnAddress) {
  store(3, {"ann@example.org"});
  store(4, {""});
  EXPECT_EQ(find_conversation({}), 4);
  EXPECT_EQ(find_conversation({""}), 4);
}

TEST_F(ConversationSearch, HasNoEndOfRoom) {
  std::vector<std::string> many;
  many.reserve(255);
  for (int i = 0; i < 255; ++i) many.push_back("participant." + std::to_string(i) + "@example.org");
  store(3, many);
  EXPECT_EQ(find_conversation(many), 3);
  many.back() = "another@example.org";
  EXPECT_EQ(find_conversation(many), 0);
}

class ConversationSearchShort : public ConversationSearch {
 protected:
  ConversationSearchShort() { setDigits(2); }
};

TEST_F(ConversationSearchShort, TakesANumberThatEndsWithinItsCallingCode) {
  store(3, {"002"});
  EXPECT_EQ(find_conversation({"002"}), 3);
}

class ConversationSearchNoDigits : public ConversationSearch {
 protected:
  ConversationSearchNoDigits() { setDigits(0); }
};

TEST_F(ConversationSearchNoDigits, TakesNoNumberForAnother) {
  store(3, {"4155550199"});
  store(4, {""});
  EXPECT_EQ(find_conversation({"4155550100"}), 0);
  EXPECT_EQ(find_conversation({"4155550199"}), 3);
  EXPECT_EQ(find_conversation({}), 4);
}

// The library's search says the same for a row that cannot be read and for none.
TEST_F(ConversationSearch, IsNoAnswerWhenARowCannotBeRead) {
  store(3, {"+14155550100"});
  raw().exec("UPDATE msg_address_table SET addressType = 9;");
  failOnRow("msg_address_table", "addressType", 9);
  expectError({"4155550100"});
  expectNoLock();
}

TEST_F(ConversationSearch, IsNoAnswerWhenAnAddressCannotBeRead) {
  store(3, {"a_a"});
  raw().exec("UPDATE msg_address_table SET addressType = 9;");
  failOnRow("msg_address_table", "addressType", 9);
  expectError({"a_a"});
  expectNoLock();
}

TEST_F(ConversationSearch, IsNoAnswerWithoutTheTable) {
  dropTable("msg_address_table");
  expectError({"4155550100"});
  expectError({"a_a"});
}

TEST_F(ConversationSearch, IsNoAnswerWhileTheStoreIsLocked) {
  store(3, {"+14155550100"});
  raw().exec("BEGIN EXCLUSIVE;");
  expectError({"4155550100"});
  raw().exec("ROLLBACK;");
  EXPECT_EQ(find_conversation({"4155550100"}), 3);
}

// The lock goes while the search is given up, so that a second look would find the store readable.
TEST_F(ConversationSearch, IsNoAnswerWhenALockOutlastsItsWait) {
  store(3, {"+14155550100"});
  raw().exec("BEGIN EXCLUSIVE;");
  std::thread other([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(2400));
    raw().exec("ROLLBACK;");
  });
  expectError({"4155550100"});
  other.join();
}

/** SQLite with a LIKE that can run out of memory, after which SQLite ends the transaction. */
class ConversationSearchOutOfMemory : public ConversationSearch {
 protected:
  ConversationSearchOutOfMemory() {
    isShort = false;
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(replace_like));
    { const StoreSession last; }  // the next connection is a new one
  }
  ~ConversationSearchOutOfMemory() override { sqlite3_reset_auto_extension(); }

  static bool isShort;

 private:
  static void like(sqlite3_context* context, int /*count*/, sqlite3_value** /*values*/) {
    if (isShort) {
      isShort = false;  // the very next reading succeeds
      sqlite3_result_error_nomem(context);
    } else {
      sqlite3_result_int(context, 0);
    }
  }
  static int replace_like(sqlite3* connection, char** /*error*/, const void* /*functions*/) {
    return sqlite3_create_function(connection, "like", 2, SQLITE_UTF8, nullptr, like, nullptr,
                                   nullptr);
  }
};

bool ConversationSearchOutOfMemory::isShort;

TEST_F(ConversationSearchOutOfMemory, IsNoAnswerAfterTheTransactionHasEnded) {
  store(3, {"+14155550100"});
  {
    Transaction transaction;
    execute("INSERT INTO temp_log (data1) VALUES ('a');", CANNOT_WRITE);
    EXPECT_EQ(find_conversation({"4155550199"}), 0);
    isShort = true;
    expectError({"4155550199"});
    EXPECT_FALSE(isShort);
    EXPECT_THROW(transaction.requireStanding(), StoreError);
  }
  EXPECT_EQ(raw().value("SELECT count(*) FROM temp_log;"), "0");
  expectNoLock();
}

TEST_F(ConversationSearchOutOfMemory, IsNoAnswerOutsideOfATransactionEither) {
  store(3, {"+14155550100"});
  EXPECT_EQ(find_conversation({"4155550199"}), 0);
  isShort = true;
  expectError({"4155550199"});
  EXPECT_EQ(find_conversation({"4155550199"}), 0);
}

/** SQLite with a length() that counts: the library's search has none. */
class RepeatedSearchTest : public ConversationSearch {
 protected:
  RepeatedSearchTest() {
    rowsRead = 0;
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(replace_length));
    { const StoreSession last; }  // the next connection is a new one
  }
  ~RepeatedSearchTest() override { sqlite3_reset_auto_extension(); }

  static int rowsRead;

 private:
  static void length(sqlite3_context* context, int /*count*/, sqlite3_value** /*values*/) {
    ++rowsRead;
    sqlite3_result_int(context, 1);
  }
  static int replace_length(sqlite3* connection, char** /*error*/, const void* /*functions*/) {
    return sqlite3_create_function(connection, "length", 1, SQLITE_UTF8, nullptr, length, nullptr,
                                   nullptr);
  }
};

int RepeatedSearchTest::rowsRead;

TEST_F(RepeatedSearchTest, ReadsTheRowsOnceAndKnowsThoseThatAreAdded) {
  store(3, {"+14155550100"});
  const Transaction transaction;
  RepeatedSearch search;
  EXPECT_EQ(search.find({"4155550199"}), 0);
  EXPECT_EQ(rowsRead, 1);
  EXPECT_EQ(search.find({"4155550198"}), 0);
  EXPECT_EQ(rowsRead, 1);
  EXPECT_EQ(search.find({"4155550100"}), 3);
  execute(
      "INSERT INTO msg_address_table (convId, addressType, recipientType, address) "
      "VALUES (4, 1, 1, '4155550199');",
      CANNOT_WRITE);
  search.added(4, 1, "4155550199");
  EXPECT_EQ(search.find({"4155550199"}), 4);
  EXPECT_EQ(search.find({"+14155550199"}), 4);
  EXPECT_EQ(search.find({"a_b"}), 0);
}

// The memory asks LIKE of an index whether it is a descending one.
TEST_F(ConversationSearchOutOfMemory, IsNoAnswerWhenItIsRepeatedEither) {
  store(3, {"+14155550100"});
  raw().exec("CREATE INDEX by_conversation ON msg_address_table (convId);");
  const Transaction transaction;
  RepeatedSearch search;
  EXPECT_EQ(search.find({"4155550199"}), 0);
  isShort = true;
  EXPECT_THROW(search.find({"4155550199"}), StoreError);
  EXPECT_FALSE(isShort);
}

}  // namespace

}  // namespace msg_tarvel::helpers
