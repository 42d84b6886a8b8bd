#include "helpers/transaction.h"

#include <gtest/gtest.h>
#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_error.h>

#include <filesystem>
#include <functional>

#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

enum class Result { DONE, REFUSED, UNKNOWN };

class TransactionTest : public StoreTest {
 protected:
  static void add(const std::string& text) {
    execute("INSERT INTO temp_log (data1) VALUES (" + quoted(text) + ");", CANNOT_WRITE);
  }

  static Result resultOf(const std::function<void()>& action) {
    try {
      action();
      return Result::DONE;
    } catch (const UnknownOutcome& error) {
      EXPECT_STREQ(error.what(), "cannot write the message store");
      EXPECT_EQ(error.code(), db::DB_ERR_EXEC);
      return Result::UNKNOWN;
    } catch (const StoreError& error) {
      EXPECT_STREQ(error.what(), "cannot write the message store");
      EXPECT_EQ(error.code(), db::DB_ERR_EXEC);
      return Result::REFUSED;
    }
  }

  /** What another connection finds. */
  std::vector<std::string> stored() { return raw().column("SELECT data1 FROM temp_log;"); }

  /** From now on, the text "end" makes SQLite end the transaction itself, as a full disk does. */
  void endOnDemand() {
    raw().exec(
        "CREATE TRIGGER on_demand BEFORE INSERT ON temp_log WHEN new.data1 = 'end' "
        "BEGIN SELECT RAISE(ROLLBACK, 'ended'); END;");
  }

  void expectTheNextIsATransaction() {
    const std::vector<std::string> before = stored();
    {
      const Transaction transaction;
      add("undone");
      EXPECT_EQ(stored(), before);
    }
    EXPECT_EQ(stored(), before);
    Transaction transaction;
    add("next");
    transaction.commit();
    EXPECT_EQ(stored().size(), before.size() + 1);
  }
};

TEST_F(TransactionTest, IsThereOnceItIsCommitted) {
  Transaction transaction;
  add("a");
  transaction.requireStanding();
  add("b");
  EXPECT_TRUE(stored().empty());
  transaction.commit();
  EXPECT_EQ(stored(), (std::vector<std::string>{"a", "b"}));
}

TEST_F(TransactionTest, IsUndoneWithoutACommit) {
  {
    const Transaction transaction;
    add("a");
  }
  EXPECT_TRUE(stored().empty());
  expectTheNextIsATransaction();
}

TEST_F(TransactionTest, KeepsTheJournalOnEveryConnection) {
  for (int connection = 0; connection < 2; ++connection) {
    const StoreSession session;
    Transaction transaction;
    add("a");
    transaction.commit();
    EXPECT_TRUE(std::filesystem::exists(journalFile()));
  }
}

TEST_F(TransactionTest, IsRefusedWhileAnotherWrites) {
  raw().exec("BEGIN IMMEDIATE;");
  EXPECT_EQ(resultOf([] { const Transaction transaction; }), Result::REFUSED);
  raw().exec("ROLLBACK;");
  expectTheNextIsATransaction();
}

TEST_F(TransactionTest, HasAnUnknownOutcomeWhenItsCommitFails) {
  EXPECT_EQ(resultOf([this] {
              Transaction transaction;
              add("a");
              raw().exec("BEGIN;");
              EXPECT_TRUE(stored().empty());  // holds the lock that a commit needs
              transaction.commit();
            }),
            Result::UNKNOWN);
  raw().exec("COMMIT;");
  EXPECT_TRUE(stored().empty());
  expectTheNextIsATransaction();
}

TEST_F(TransactionTest, TellsWhenSqliteHasEndedIt) {
  endOnDemand();
  {
    Transaction transaction;
    add("a");
    EXPECT_EQ(resultOf([] { add("end"); }), Result::REFUSED);
    EXPECT_EQ(resultOf([&] { transaction.requireStanding(); }), Result::REFUSED);
    EXPECT_EQ(resultOf([&] { transaction.commit(); }), Result::REFUSED) << "undone, and known so";
  }
  EXPECT_TRUE(stored().empty());
  expectTheNextIsATransaction();
}

// However many users of the connection there are, and with a statement of theirs.
TEST_F(TransactionTest, LeavesTheConnectionToItsOtherUsers) {
  endOnDemand();
  const StoreSession outer;
  const StoreSession inner;
  const auto count = compile("SELECT count(*) FROM temp_log;", CANNOT_READ);
  {
    const Transaction transaction;
    EXPECT_EQ(resultOf([] { add("end"); }), Result::REFUSED);
  }
  expectTheNextIsATransaction();
  EXPECT_TRUE(next_row(*count, CANNOT_READ));
  EXPECT_EQ(count->getInt(0), 1);
}

TEST_F(TransactionTest, OutlivesAFullStore) {
  {
    const Transaction transaction;
    add("a");
    const int pages = number("PRAGMA page_count;", CANNOT_READ);
    execute("PRAGMA max_page_count = " + std::to_string(pages) + ";", CANNOT_WRITE);
    EXPECT_EQ(resultOf([] { add(std::string(1 << 20, 'x')); }), Result::REFUSED);
  }
  EXPECT_TRUE(stored().empty());
  execute("PRAGMA max_page_count = 1000000;", CANNOT_WRITE);
  expectTheNextIsATransaction();
}

TEST_F(TransactionTest, IsAbandonedAsOftenAsOneLikes) {
  abandon_transaction();
  abandon_transaction();
  expectTheNextIsATransaction();
}

}  // namespace

}  // namespace msg_tarvel::helpers
