// Transactions that SQLite fails to begin or to undo.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>

#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "support/sqlite_faults.h"
#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

constexpr const char* INSERT = "INSERT INTO temp_log (data1) VALUES ('a');";

class TransactionFaults : public StoreTest {
 protected:
  TransactionFaults() { SqliteFaults::clearCalls(); }

  static long calls(const std::string& call) {
    const std::vector<std::string> all = SqliteFaults::calls();
    return std::count(all.begin(), all.end(), call);
  }

  std::string stored() { return raw().value("SELECT count(*) FROM temp_log;").value_or(""); }

  StoreSession _session;
};

TEST_F(TransactionFaults, NotStandingFromTheBeginIsUndone) {
  SqliteFaults::fail("exec", "SAVEPOINT standing;", SQLITE_IOERR);
  EXPECT_THROW(Transaction(), StoreError);
  EXPECT_EQ(calls("exec ROLLBACK TRANSACTION"), 1);
  execute(INSERT, CANNOT_WRITE);
  EXPECT_EQ(stored(), "1");
}

TEST_F(TransactionFaults, NoJournalNoTransaction) {
  SqliteFaults::fail("exec", "PRAGMA journal_mode = PERSIST;", SQLITE_IOERR);
  EXPECT_THROW(Transaction(), StoreError);
  EXPECT_EQ(calls("exec BEGIN IMMEDIATE TRANSACTION"), 0);
}

TEST_F(TransactionFaults, ThatCannotBeUndoneEndsWithItsConnection) {
  {
    const Transaction transaction;
    execute(INSERT, CANNOT_WRITE);
    SqliteFaults::fail("exec", "ROLLBACK TRANSACTION", SQLITE_IOERR);
  }
  EXPECT_EQ(calls("close"), 1);
  EXPECT_EQ(stored(), "0");
  Transaction transaction;
  execute(INSERT, CANNOT_WRITE);
  EXPECT_EQ(stored(), "0");
  transaction.commit();
  EXPECT_EQ(stored(), "1");
}

}  // namespace

}  // namespace msg_tarvel::helpers
