// The connection manager of one thread: its life, its statements and its transactions.

#include "msg-tarvel-common/db/DBMgr.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "db/DBMgr_internal.h"
#include "msg-tarvel-common/db/db_error.h"
#include "support/db_log.h"
#include "support/scarce_memory.h"
#include "support/statement_trace.h"
#include "support/store.h"

#ifdef TEST_LOOKS_FOR_LEAKS
#include <sanitizer/lsan_interface.h>
#endif

namespace msg_tarvel::db {

namespace {

/** Allocations made while one of these lives are not leaks. */
class LeakAllowed {
 public:
#ifdef TEST_LOOKS_FOR_LEAKS
  LeakAllowed() { __lsan_disable(); }
  LeakAllowed(const LeakAllowed&) = delete;
  LeakAllowed& operator=(const LeakAllowed&) = delete;
  ~LeakAllowed() { __lsan_enable(); }
#else
  // NOLINTNEXTLINE(modernize-use-equals-default): if trivial, a use of it would look unused
  LeakAllowed() {}
#endif
};

class ManagerTest : public StoreTest {
 protected:
  static DBMgr* manager() { return DBMgr::getInstance(); }

  /** Ends the life of this thread's manager, whose uses are not counted. */
  static void forgetManager() {
    init_db();
    deinit_db();
    FakePlatform::get().clearLines();
  }
  static int exec(const std::string& sql) { return manager()->execStatement(sql); }
  /** The number of rows that another connection sees. */
  std::string rows() { return *raw().value("SELECT count(*) FROM temp_log;"); }
};

constexpr const char* INSERT = "INSERT INTO temp_log(data1) VALUES ('a');";

TEST_F(ManagerTest, IsAPlainClassThatIsNeverCopied) {
  static_assert(!std::is_polymorphic_v<DBMgr>);
  static_assert(!std::is_copy_constructible_v<DBMgr>);
  static_assert(!std::is_copy_assignable_v<DBMgr>);
  static_assert(!std::is_destructible_v<DBMgr>);
}

TEST_F(ManagerTest, ResultCodesAreWhatCallersCompareWith) {
  static_assert(DB_SUCCESS == 0 && DB_ERR_INVALID_ARGUMENT == -3 && DB_ERR_INVALID_PARAM == -1000);
  static_assert(DB_ERR_ACCESS == -1001 && DB_ERR_OPEN == -1002 && DB_ERR_CLOSE == -1003);
  static_assert(DB_ERR_PREPARE == -1004 && DB_ERR_STEP == -1005 && DB_ERR_EXEC == -1006);
  static_assert(DB_NO_DATA == -1101 && DB_ROW == -1102);
}

TEST_F(ManagerTest, IsTheSameForEveryCallOfAThread) {
  forgetManager();
  EXPECT_EQ(DBMgrInternal::instanceCount(), 0u);
  DBMgr* const first = manager();
  EXPECT_EQ(manager(), first);
  EXPECT_EQ(DBMgrInternal::instanceCount(), 1u);
}

TEST_F(ManagerTest, StartsWithoutConnectionTransactionOrUse) {
  forgetManager();
  const DBMgrInternal internal;
  EXPECT_EQ(internal.handle(), nullptr);
  EXPECT_EQ(internal.transactionDepth(), 0);
  EXPECT_EQ(internal.refCount(), 0);
  EXPECT_TRUE(logged({}));
}

TEST_F(ManagerTest, EveryKindOfStatementOpensTheConnectionOnce) {
  const std::function<void()> uses[] = {
      [] { EXPECT_EQ(exec("SELECT 1;"), 0); },
      [] { EXPECT_EQ(manager()->beginTransaction(), 0); },
      [] { EXPECT_TRUE(manager()->compileStatement("SELECT 1;")); },
  };
  for (const auto& use : uses) {
    forgetManager();
    use();
    EXPECT_TRUE(logged({opening()}));
    sqlite3* const connection = DBMgrInternal().handle();
    EXPECT_NE(connection, nullptr);
    use();
    EXPECT_TRUE(logged({}));
    EXPECT_EQ(DBMgrInternal().handle(), connection);
  }
}

TEST_F(ManagerTest, EndingATransactionDoesNotOpenTheConnection) {
  forgetManager();
  EXPECT_EQ(manager()->endTransaction(true), 0);
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  EXPECT_TRUE(logged({}));
}

TEST_F(ManagerTest, CountingAUseDoesNotOpenTheConnection) {
  forgetManager();
  for (int uses = 1; uses <= 2; ++uses) {
    init_db();
    EXPECT_EQ(DBMgrInternal().refCount(), uses);
    EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  }
  deinit_db();
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  EXPECT_TRUE(logged({}));
}

TEST_F(ManagerTest, IsDestroyedByTheDeinitThatMatchesTheFirstInit) {
  forgetManager();
  init_db();
  DBMgr* const first = manager();
  init_db();
  EXPECT_EQ(DBMgrInternal().refCount(), 2);
  ASSERT_EQ(exec("SELECT 1;"), 0);
  deinit_db();
  EXPECT_EQ(DBMgrInternal::instanceCount(), 1u);
  EXPECT_EQ(manager(), first);
  EXPECT_EQ(DBMgrInternal().refCount(), 1);
  EXPECT_NE(DBMgrInternal().handle(), nullptr);
  deinit_db();
  EXPECT_EQ(DBMgrInternal::instanceCount(), 0u);

  EXPECT_EQ(DBMgrInternal().refCount(), 0);  // a new manager
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
}

TEST_F(ManagerTest, InitializeAndFinalizeCountAsTheFreeFunctionsDo) {
  forgetManager();
  DBMgr::initialize();
  init_db();
  EXPECT_EQ(DBMgrInternal().refCount(), 2);
  DBMgr::finalize();
  deinit_db();
  EXPECT_EQ(DBMgrInternal::instanceCount(), 0u);
}

TEST_F(ManagerTest, DeinitWithoutInitMakesAManagerThatStays) {
  forgetManager();
  for (int call = 0; call < 2; ++call) {
    deinit_db();
    EXPECT_EQ(DBMgrInternal::instanceCount(), 1u);
    EXPECT_EQ(DBMgrInternal().refCount(), 0);
  }
  ASSERT_EQ(exec("SELECT 1;"), 0);
  deinit_db();
  EXPECT_NE(DBMgrInternal().handle(), nullptr);
}

TEST_F(ManagerTest, DestroyingWithoutAConnectionIsLogged) {
  forgetManager();
  init_db();
  deinit_db();
  EXPECT_TRUE(logged({manager_warning("_closeDb", "no db handle found!")}));
}

TEST_F(ManagerTest, ANewOneFollowsTheExitHook) {
  ASSERT_EQ(manager()->beginTransaction(), 0);
  ASSERT_EQ(exec(INSERT), 0);
  DBMgrInternal::onDestroyed();
  EXPECT_EQ(DBMgrInternal::instanceCount(), 0u);
  EXPECT_EQ(rows(), "0");  // the connection is closed and its transaction gone

  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
  EXPECT_EQ(exec(INSERT), 0);
  EXPECT_EQ(rows(), "1");
  EXPECT_EQ(DBMgrInternal::instanceCount(), 1u);
}

TEST_F(ManagerTest, OneThatThereWasNoMemoryForIsMadeWhenThereIs) {
  int failures = 0;
  bool hasCome = true;
  for (int number = 1; hasCome; ++number) {
    // What the last failure left behind goes too.
    DBMgrInternal::onDestroyed();
    bool hasThrown = false;
    {
      const OneRefusedAllocation refused(number);
      try {
        static_cast<void>(DBMgr::getInstance());
      } catch (const std::bad_alloc&) {
        hasThrown = true;
      }
      hasCome = refused.hasCome();
    }
    EXPECT_EQ(hasThrown, hasCome);
    if (hasThrown) ++failures;
  }
  EXPECT_EQ(failures, 2);
  EXPECT_EQ(DBMgrInternal::instanceCount(), 1u);
  EXPECT_EQ(exec("SELECT id FROM temp_log;"), 0);
}

TEST_F(ManagerTest, ClosingWithAStatementLeftFailsAndKeepsTheConnection) {
  auto statement = manager()->compileStatement("SELECT 1;");
  sqlite3* const connection = DBMgrInternal().handle();
  EXPECT_EQ(DBMgrInternal().closeDb(), -1003);
  EXPECT_TRUE(logged({manager_error("_closeDb", "sqlite3_close() failed: (5)")}));
  EXPECT_EQ(DBMgrInternal().handle(), connection);
  EXPECT_EQ(statement->step(), DB_ROW);

  statement.reset();
  EXPECT_EQ(DBMgrInternal().closeDb(), 0);
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  EXPECT_TRUE(logged({}));
  EXPECT_EQ(DBMgrInternal().closeDb(), 0);
  EXPECT_TRUE(logged({manager_warning("_closeDb", "no db handle found!")}));
}

TEST_F(ManagerTest, AFailedOpenIsTriedAgain) {
  forgetManager();
  std::filesystem::rename(dbFile(), dbFile() + ".kept");
  std::filesystem::create_directory(dbFile());
  const ExpectedLine failed = manager_error("_openDb", "sqlite3_open() failed: (14)");
  {
    const LeakAllowed theHandleOfAFailedOpenIsNotClosed;
    EXPECT_EQ(exec("SELECT 1;"), -1002);
    EXPECT_TRUE(logged({opening(), failed}));
    EXPECT_EQ(manager()->beginTransaction(), -1002);
    EXPECT_TRUE(logged({opening(), failed}));
    EXPECT_EQ(manager()->compileStatement("SELECT 1;"), nullptr);
    EXPECT_TRUE(logged({opening(), failed}));
  }
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);

  std::filesystem::remove(dbFile());
  std::filesystem::rename(dbFile() + ".kept", dbFile());
  EXPECT_EQ(exec(INSERT), 0);
  EXPECT_TRUE(logged({opening()}));
}

TEST_F(ManagerTest, EachFailedOpenKeepsItsHandle) {
  forgetManager();
  std::filesystem::remove(dbFile());
  std::filesystem::create_directory(dbFile());
  const LeakAllowed theHandleOfAFailedOpenIsNotClosed;
  for (int attempt = 0; attempt < 3; ++attempt) {
    const sqlite3_int64 before = sqlite3_memory_used();
    EXPECT_EQ(exec("SELECT 1;"), -1002);
    EXPECT_GT(sqlite3_memory_used(), before);
  }
}

TEST_F(ManagerTest, CreateDbReportsThatTheNewFileCannotBeOpened) {
  forgetManager();
  std::filesystem::remove(dbFile());
  when_opening([&] {
    std::filesystem::remove(dbFile());
    std::filesystem::create_directory(dbFile());
  });
  const LeakAllowed theHandleOfAFailedOpenIsNotClosed;
  EXPECT_EQ(manager()->createDb(), -1002);
  EXPECT_TRUE(
      logged({creating_files(), opening(), manager_error("_openDb", "sqlite3_open() failed: (14)"),
              manager_error("_createDbFiles", "beginTransaction() failed!"),
              manager_error("createDb", "_createDbFile() failed: (-1002)")}));
  // What stands in the file's place counts as the file: the next call gets as far as the tables.
  EXPECT_EQ(manager()->createDb(), -1002);
  EXPECT_TRUE(logged({opening(), manager_error("_openDb", "sqlite3_open() failed: (14)"),
                      manager_error("_createDbTables", "beginTransaction() failed!"),
                      manager_error("createDb", "_createDbTables() failed: (-1002)")}));
}

TEST_F(ManagerTest, ExecRunsEveryStatementAndDiscardsRows) {
  EXPECT_EQ(exec(std::string(INSERT) + " SELECT * FROM temp_log; " + INSERT), 0);
  EXPECT_EQ(rows(), "2");
  EXPECT_EQ(exec(""), 0);
  EXPECT_TRUE(logged({}));
}

TEST_F(ManagerTest, FailedExecLogsCodeAndMessageAndKeepsWhatRanBefore) {
  EXPECT_EQ(exec(std::string(INSERT) + " SELEKT 1; " + INSERT), -1006);
  EXPECT_TRUE(logged({exec_failed("(1) - (near \"SELEKT\": syntax error)")}));
  EXPECT_EQ(rows(), "1");
  EXPECT_EQ(exec("INSERT INTO msg_message_table(msgId) VALUES (1);"), -1006);
  EXPECT_TRUE(
      logged({exec_failed("(19) - (NOT NULL constraint failed: msg_message_table.convId)")}));
}

TEST_F(ManagerTest, PercentSignsInAMessageAreText) {
  EXPECT_EQ(exec("SELECT %s%n;"), -1006);
  EXPECT_TRUE(logged({exec_failed("(1) - (near \"%\": syntax error)")}));
  EXPECT_EQ(exec("SELECT * FROM \"%s%n\";"), -1006);
  EXPECT_TRUE(logged({exec_failed("(1) - (no such table: %s%n)")}));
}

TEST_F(ManagerTest, FailedCompileLogsCodeAndMessage) {
  EXPECT_EQ(manager()->compileStatement("SELECT * FROM missing;"), nullptr);
  EXPECT_TRUE(logged({manager_error("compileStatement",
                                    "sqlite3_prepare_v2() failed: (1) (no such table: missing)")}));
}

TEST_F(ManagerTest, OnlyTheFirstStatementOfATextIsCompiled) {
  const auto statement = manager()->compileStatement("SELECT 7; SELEKT 8;");
  ASSERT_TRUE(statement);
  EXPECT_EQ(statement->step(), DB_ROW);
  EXPECT_EQ(statement->getInt(0), 7);
  EXPECT_EQ(statement->step(), DB_SUCCESS);
}

TEST_F(ManagerTest, ATextIsCompiledToItsLengthInBytes) {
  const std::string text = "SELECT '\xED\x95\x9C\xEA\xB8\x80';";
  const auto statement = manager()->compileStatement(text);
  ASSERT_TRUE(statement);
  EXPECT_EQ(statement->step(), DB_ROW);
  EXPECT_EQ(statement->getText(0), "\xED\x95\x9C\xEA\xB8\x80");
}

TEST_F(ManagerTest, OnlyTheOutermostPairReachesTheDatabase) {
  for (const bool commit : {true, false}) {
    const StatementTrace trace(DBMgrInternal().handle());
    for (int depth = 1; depth <= 3; ++depth) {
      EXPECT_EQ(manager()->beginTransaction(), 0);
      EXPECT_EQ(DBMgrInternal().transactionDepth(), depth);
    }
    EXPECT_EQ(manager()->endTransaction(!commit), 0);
    EXPECT_EQ(manager()->endTransaction(false), 0);
    EXPECT_EQ(DBMgrInternal().transactionDepth(), 1);
    EXPECT_EQ(trace.texts(), std::vector<std::string>{"BEGIN IMMEDIATE TRANSACTION"});

    EXPECT_EQ(manager()->endTransaction(commit), 0);
    EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
    EXPECT_EQ(trace.texts(),
              (std::vector<std::string>{"BEGIN IMMEDIATE TRANSACTION",
                                        commit ? "COMMIT TRANSACTION" : "ROLLBACK TRANSACTION"}));
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(ManagerTest, TheOutermostEndAloneDecidesWhatIsKept) {
  const struct {
    bool inner;
    bool outer;
    const char* rowsAfterwards;
  } cases[] = {{true, false, "0"}, {false, true, "1"}};
  for (const auto& [inner, outer, rowsAfterwards] : cases) {
    manager()->beginTransaction();
    manager()->beginTransaction();
    EXPECT_EQ(exec(INSERT), 0);
    EXPECT_EQ(manager()->endTransaction(inner), 0);
    EXPECT_EQ(rows(), "0");  // nothing is visible before the outermost end
    EXPECT_EQ(manager()->endTransaction(outer), 0);
    EXPECT_EQ(rows(), rowsAfterwards);
  }
}

TEST_F(ManagerTest, EndWithoutBeginDoesNothing) {
  const StatementTrace trace(DBMgrInternal().handle());
  for (const bool commit : {true, false}) {
    EXPECT_EQ(manager()->endTransaction(commit), 0);
    EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
  }
  EXPECT_TRUE(trace.texts().empty());
  EXPECT_TRUE(logged({}));
}

TEST_F(ManagerTest, AFailedBeginLeavesTheDepthAtZero) {
  ASSERT_EQ(exec("BEGIN;"), 0);
  EXPECT_EQ(manager()->beginTransaction(), -1006);
  EXPECT_TRUE(logged({exec_failed("(1) - (cannot start a transaction within a transaction)")}));
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
  EXPECT_EQ(exec("ROLLBACK;"), 0);
  EXPECT_EQ(manager()->beginTransaction(), 0);
}

TEST_F(ManagerTest, AFailedCommitMayBeEndedAgain) {
  ASSERT_EQ(exec("PRAGMA foreign_keys = ON; CREATE TABLE child(parent INT, FOREIGN KEY (parent)"
                 " REFERENCES temp_log (id) DEFERRABLE INITIALLY DEFERRED);"),
            0);
  for (const bool repaired : {false, true}) {
    ASSERT_EQ(manager()->beginTransaction(), 0);
    ASSERT_EQ(exec("INSERT INTO child VALUES (1);"), 0);
    for (int attempt = 0; attempt < 2; ++attempt) {
      EXPECT_EQ(manager()->endTransaction(true), -1006);
      EXPECT_TRUE(logged({exec_failed("(19) - (FOREIGN KEY constraint failed)")}));
      EXPECT_EQ(DBMgrInternal().transactionDepth(), 1);
    }
    if (repaired) {
      EXPECT_EQ(exec("INSERT INTO temp_log(id) VALUES (1);"), 0);
    }
    EXPECT_EQ(manager()->endTransaction(repaired), 0);
    EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
    EXPECT_EQ(raw().value("SELECT count(*) FROM child;"), repaired ? "1" : "0");
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(ManagerTest, AFailedRollbackLeavesTheDepthAtOne) {
  ASSERT_EQ(manager()->beginTransaction(), 0);
  ASSERT_EQ(exec("ROLLBACK;"), 0);
  EXPECT_EQ(manager()->endTransaction(false), -1006);
  EXPECT_TRUE(logged({exec_failed("(1) - (cannot rollback - no transaction is active)")}));
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 1);
}

TEST_F(ManagerTest, BeginTakesTheWriteLockAtOnce) {
  ASSERT_EQ(manager()->beginTransaction(), 0);
  sqlite3_busy_timeout(raw().handle(), 0);
  EXPECT_EQ(sqlite3_exec(raw().handle(), INSERT, nullptr, nullptr, nullptr), SQLITE_BUSY);
  EXPECT_EQ(rows(), "0");  // readers are not kept out
  ASSERT_EQ(manager()->endTransaction(true), 0);
  EXPECT_EQ(sqlite3_exec(raw().handle(), INSERT, nullptr, nullptr, nullptr), SQLITE_OK);
}

TEST_F(ManagerTest, ACorruptFileFailsTheTransaction) {
  forgetManager();
  std::filesystem::resize_file(dbFile(), 0);
  FILE* const file = std::fopen(dbFile().c_str(), "w");
  ASSERT_NE(file, nullptr);
  for (int i = 0; i < 1024; ++i) std::fputs("not a database! ", file);
  std::fclose(file);

  EXPECT_EQ(manager()->createDb(), -1006);
  EXPECT_TRUE(logged({opening(), exec_failed("(26) - (file is not a database)"),
                      manager_error("_createDbTables", "beginTransaction() failed!"),
                      manager_error("createDb", "_createDbTables() failed: (-1006)")}));
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
}

}  // namespace

}  // namespace msg_tarvel::db
