// The store between processes: locks, users, and reading while others write.

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "db/DBMgr_internal.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "support/as_root.h"
#include "support/db_log.h"
#include "support/processes.h"
#include "support/store.h"

namespace msg_tarvel::db {

namespace {

using namespace std::chrono_literals;

using Clock = std::chrono::steady_clock;

/** A store in which this process has no connection open, so that children may open theirs. */
class ProcessesTest : public StoreTest {
 protected:
  ProcessesTest() {
    init_db();
    deinit_db();
    FakePlatform::get().clearLines();
  }

  static DBMgr* manager() { return DBMgr::getInstance(); }
};

/** Runs `body`, which may use expectations, as a child's; 1 when one of them failed. */
int expecting(const std::function<void()>& body) {
  body();
  return ::testing::Test::HasFailure() ? 1 : 0;
}

TEST_F(ProcessesTest, ALockThatIsGivenUpInTimeIsWaitedFor) {
  Signal locked;
  Child other([&] {
    RawConnection raw(dbFile());
    raw.exec("BEGIN IMMEDIATE;");
    locked.send();
    std::this_thread::sleep_for(700ms);
    raw.exec("COMMIT;");
    return 0;
  });
  locked.wait();
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(manager()->beginTransaction(), 0);
  const Clock::duration waited = Clock::now() - start;
  // The fourth try comes after 0.1 + 0.2 + 0.3 seconds, the fifth 0.4 seconds later.
  EXPECT_GE(waited, 700ms);
  EXPECT_LT(waited, 2100ms);
  EXPECT_EQ(manager()->execStatement("INSERT INTO temp_log(data1) VALUES ('a');"), 0);
  EXPECT_EQ(manager()->endTransaction(true), 0);
  EXPECT_EQ(other.wait(), 0);
  EXPECT_TRUE(logged({opening()}));
}

TEST_F(ProcessesTest, ALockThatIsHeldForGoodIsGivenUpOn) {
  Signal locked;
  Signal tried;
  Child other([&] {
    RawConnection raw(dbFile());
    raw.exec("BEGIN IMMEDIATE;");
    locked.send();
    tried.wait();
    raw.exec("COMMIT;");
    return 0;
  });
  locked.wait();
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(manager()->beginTransaction(), -1006);
  const Clock::duration waited = Clock::now() - start;
  EXPECT_GE(waited, 2100ms);
  EXPECT_LT(waited, 4s);
  EXPECT_TRUE(logged({opening(), gave_up_waiting(), exec_failed("(5) - (database is locked)")}));
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);

  tried.send();
  EXPECT_EQ(other.wait(), 0);
  EXPECT_EQ(manager()->beginTransaction(), 0);
}

TEST_F(ProcessesTest, AForkedChildsExitLeavesTheParentsTransactionAlone) {
  ASSERT_EQ(manager()->beginTransaction(), 0);
  // More than SQLite keeps in memory: a part of it is in the file already when the child exits.
  ASSERT_EQ(
      manager()->execStatement(
          "WITH RECURSIVE number(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number LIMIT 80) "
          "INSERT INTO temp_log(data1) SELECT hex(zeroblob(50000)) FROM number;"),
      0);
  Child child([]() -> int { std::exit(0); });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(manager()->endTransaction(true), 0);

  RawConnection raw(dbFile());
  EXPECT_EQ(raw.value("PRAGMA integrity_check;"), "ok");
  EXPECT_EQ(raw.value("SELECT count(*) FROM temp_log WHERE length(data1) = 100000;"), "80");
}

TEST_F(ProcessesTest, AnotherUserWithoutReadPermissionGetsNothing) {
  AS_ROOT();
  const ExpectedLine refused = manager_error("_openDb", "file access permission error");
  Child other([&] {
    return expecting([&] {
      ASSERT_TRUE(become_nobody());
      EXPECT_EQ(manager()->execStatement("SELECT 1;"), -1001);
      EXPECT_TRUE(logged({opening(), refused}));
      EXPECT_EQ(manager()->beginTransaction(), -1001);
      EXPECT_TRUE(logged({opening(), refused}));
      EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
      EXPECT_EQ(manager()->compileStatement("SELECT 1;"), nullptr);
      EXPECT_TRUE(logged({opening(), refused}));
      std::vector<Thread> threads;
      EXPECT_EQ(db_get_threads(threads), -1004);
      EXPECT_EQ(manager()->createDb(), -1001);
      EXPECT_EQ(DBMgrInternal().handle(), nullptr);
    });
  });
  EXPECT_EQ(other.wait(), 0);
}

constexpr uid_t OWNER = 1;

/** A store that one user alone may read, opened by processes that are half that user. */
class TwoUsersTest : public ProcessesTest {
 protected:
  TwoUsersTest() {
    if (getuid() != 0) return;  // the test is repeated as root
    EXPECT_EQ(chown(dbFile().c_str(), OWNER, OWNER), 0);
    EXPECT_EQ(chmod(dbFile().c_str(), 0600), 0);
  }

  /** Expects what a process with these users gets from its first statement. */
  static void expectResult(uid_t real, uid_t effective, int result, const Lines& lines) {
    Child child([&] {
      return expecting([&] {
        ASSERT_EQ(setgroups(0, nullptr), 0);
        ASSERT_EQ(setresgid(NOBODY, NOBODY, NOBODY), 0);
        ASSERT_EQ(setresuid(real, effective, effective), 0);
        EXPECT_EQ(manager()->execStatement("SELECT 1;"), result);
        EXPECT_TRUE(logged(lines));
      });
    });
    EXPECT_EQ(child.wait(), 0);
  }
};

TEST_F(TwoUsersTest, TheRealUserIsTheOneWhoMustBeAllowedToRead) {
  AS_ROOT();
  expectResult(NOBODY, OWNER, -1001,
               {opening(), manager_error("_openDb", "file access permission error")});
  expectResult(OWNER, NOBODY, -1002,
               {opening(), manager_error("_openDb", "sqlite3_open() failed: (14)")});
}

TEST_F(TwoUsersTest, WhoeverWasRefusedOpensTheStoreOnceItMay) {
  AS_ROOT();
  ASSERT_EQ(setresuid(NOBODY, NOBODY, 0), 0);
  EXPECT_EQ(manager()->execStatement("SELECT 1;"), -1001);
  EXPECT_TRUE(logged({opening(), manager_error("_openDb", "file access permission error")}));
  ASSERT_EQ(setresuid(0, 0, 0), 0);
  ASSERT_EQ(chmod(dbFile().c_str(), 0604), 0);
  ASSERT_EQ(setresuid(NOBODY, NOBODY, 0), 0);
  EXPECT_EQ(manager()->execStatement("SELECT 1;"), 0);
  EXPECT_TRUE(logged({opening()}));
  ASSERT_EQ(setresuid(0, 0, 0), 0);
}

TEST_F(TwoUsersTest, WhoeverIsEffectivelyRootIsNotAsked) {
  AS_ROOT();
  expectResult(NOBODY, 0, 0, {opening()});
}

TEST_F(ProcessesTest, AnotherUserMayOpenWhatItMayReadAlone) {
  AS_ROOT();
  ASSERT_EQ(chmod(dbFile().c_str(), 0664), 0);
  Child other([&] {
    return expecting([&] {
      ASSERT_TRUE(become_nobody());
      EXPECT_EQ(manager()->execStatement("SELECT 1;"), 0);
      EXPECT_TRUE(logged({opening()}));
    });
  });
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(ProcessesTest, AnotherUserOfTheGroupReads) {
  AS_ROOT();
  insert("msg_conversation_table", {{"msgCnt", "1"}});
  insert("msg_message_table", {{"convId", "1"}});
  Child other([&] {
    return expecting([&] {
      ASSERT_TRUE(become_nobody({5000}));
      std::vector<Thread> threads;
      EXPECT_EQ(db_get_threads(threads), 0);
      EXPECT_EQ(threads.size(), 1u);
      EXPECT_EQ(manager()->execStatement("SELECT 1;"), 0);
    });
  });
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(ProcessesTest, AMissingFileIsNoQuestionOfPermission) {
  AS_ROOT();
  std::filesystem::remove_all(dbDir());
  ASSERT_EQ(mkdir(dbDir().c_str(), 0755), 0);
  ASSERT_EQ(chmod(dbDir().c_str(), 0777), 0);
  Child other([&] {
    return expecting([&] {
      ASSERT_TRUE(become_nobody());
      EXPECT_EQ(manager()->execStatement("SELECT 1;"), 0);
      EXPECT_TRUE(logged({opening()}));
    });
  });
  EXPECT_EQ(other.wait(), 0);
}

/**
 * Rests several times as long as the work since `start` took, as users do: on a slow machine too,
 * a lock must be free most of the time, or waiting for it rightly fails now and then.
 */
void rest_after(Clock::time_point start, Clock::duration atLeast) {
  std::this_thread::sleep_for(std::max<Clock::duration>(atLeast, 4 * (Clock::now() - start)));
}

class ReadersAndWritersTest : public ProcessesTest {
 protected:
  ReadersAndWritersTest() { insert("msg_conversation_table", {{"convId", "1"}}); }

  /** Inserts a message and counts it, in one transaction, over and over; what was written. */
  static int writeUntil(Clock::time_point end) {
    int written = 0;
    for (; Clock::now() < end; ++written) {
      const Clock::time_point start = Clock::now();
      EXPECT_EQ(manager()->beginTransaction(), 0);
      EXPECT_EQ(manager()->execStatement(
                    "INSERT INTO msg_message_table(convId, storageFolder, displayTime, mainText)"
                    " SELECT 1, 1, msgCnt + 1, msgCnt + 1 FROM msg_conversation_table;"
                    "UPDATE msg_conversation_table SET msgCnt = msgCnt + 1,"
                    " unreadCnt = msgCnt + 1, mainText = msgCnt + 1, displayTime = msgCnt + 1;"),
                0);
      EXPECT_EQ(manager()->endTransaction(true), 0);
      rest_after(start, 100ms);
    }
    return written;
  }

  /** The conversation's counters, which one statement reads and one transaction changes. */
  static int consistentCount() {
    Thread thread;
    const int ret = db_get_thread(1, thread);
    if (ret == DB_NO_DATA) return 0;  // before the first message
    EXPECT_EQ(ret, 0);
    EXPECT_EQ(thread.unreadCnt, thread.msgCnt);
    EXPECT_EQ(thread.displayTime, thread.msgCnt);
    EXPECT_EQ(thread.mainText, std::to_string(thread.msgCnt));
    return thread.msgCnt;
  }

  static int readUntil(Clock::time_point end) {
    int reads = 0;
    for (; Clock::now() < end; ++reads) {
      const Clock::time_point start = Clock::now();
      const int before = consistentCount();
      std::vector<Conversation> messages;
      const int ret = db_get_conversations(1, messages);
      EXPECT_EQ(ret, before == 0 && messages.empty() ? -1101 : 0);
      const int after = consistentCount();
      const int count = static_cast<int>(messages.size());
      EXPECT_GE(count, before);
      EXPECT_LE(count, after);
      for (int i = 0; i < count; ++i) {
        EXPECT_EQ(messages[static_cast<std::size_t>(i)].displayTime, i + 1);
      }
      rest_after(start, 20ms);
    }
    return reads;
  }

  static int endOf(const std::function<int(Clock::time_point)>& work, Clock::time_point end) {
    return expecting([&] {
      EXPECT_GE(work(end), 2);
      EXPECT_TRUE(logged({opening()}));
    });
  }
};

TEST_F(ReadersAndWritersTest, WorkSideBySideForTenSeconds) {
  const Clock::time_point end = Clock::now() + 10s;
  const auto write = [end] { return endOf(&writeUntil, end); };
  const auto read = [end] { return endOf(&readUntil, end); };
  Child processes[] = {Child(write), Child(write), Child(read), Child(read), Child(read)};
  for (Child& process : processes) EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(raw().value("SELECT msgCnt FROM msg_conversation_table;"),
            raw().value("SELECT count(*) FROM msg_message_table WHERE displayTime = msgId;"));
  EXPECT_EQ(raw().value("PRAGMA integrity_check;"), "ok");
}

}  // namespace

}  // namespace msg_tarvel::db
