// A process that forks while its threads are at work in the store.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "reliability/extent.h"
#include "support/processes.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

using ForkedThreads = StoreTest;

constexpr const char* INSERT_TEN =
    "WITH RECURSIVE number (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number LIMIT 10) "
    "INSERT INTO temp_log (data1) SELECT hex(zeroblob(4000)) FROM number;";

TEST_F(ForkedThreads, LeaveTheirParentsTransactionsAlone) {
  std::atomic<bool> isEnding{false};
  std::atomic<int> committed{0};
  std::atomic<int> failures{0};
  std::thread writer([&] {
    db::init_db();
    db::DBMgr* const store = db::DBMgr::getInstance();
    // With so small a cache a part of each transaction is in the file before it is committed.
    store->execStatement("PRAGMA journal_mode = PERSIST; PRAGMA cache_size = 1;");
    while (!isEnding) {
      bool isDone = store->beginTransaction() == db::DB_SUCCESS &&
                    store->execStatement(INSERT_TEN) == db::DB_SUCCESS;
      // Between two statements nothing but the library keeps a child from ending it.
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      isDone = isDone && store->endTransaction(true) == db::DB_SUCCESS;
      ++(isDone ? committed : failures);
    }
    db::deinit_db();
  });
  // Takes and gives back the lock that guards all managers.
  std::thread beginner([&] {
    while (!isEnding) {
      db::init_db();
      db::deinit_db();
    }
  });
  const int forks = is_whole_run() ? 500 : 20;
  for (int fork = 0; fork < forks; ++fork) {
    Child child([]() -> int { std::exit(0); });
    EXPECT_EQ(child.wait(), 0);
  }
  while (committed < 3) std::this_thread::yield();
  isEnding = true;
  writer.join();
  beginner.join();
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(raw().value("SELECT count(*) FROM temp_log;"), std::to_string(10 * committed));
  EXPECT_EQ(raw().value("PRAGMA integrity_check;"), "ok");
  print_figure("children that exit beside threads at work: " + std::to_string(forks) + ", " +
               std::to_string(committed) + " commits of the parent's, 0 lost");
}

}  // namespace

}  // namespace msg_tarvel
