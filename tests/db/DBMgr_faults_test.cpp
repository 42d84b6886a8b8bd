// What the connection manager does, runs and logs when SQLite fails or a lock stays taken.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "db/DBMgr_internal.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "support/as_root.h"
#include "support/db_log.h"
#include "support/expected_schema.h"
#include "support/held_file.h"
#include "support/processes.h"
#include "support/sqlite_faults.h"
#include "support/store.h"

namespace msg_tarvel::db {

namespace {

using Calls = std::vector<std::string>;

constexpr const char* BEGIN = "BEGIN IMMEDIATE TRANSACTION";
constexpr const char* COMMIT = "COMMIT TRANSACTION";
constexpr const char* PERSIST = "PRAGMA journal_mode = PERSIST;";
constexpr const char* STAMP = "PRAGMA user_version = 4;";
constexpr const char* INSERT_SUBSCRIPTION =
    "INSERT INTO mssi_info_table (notiIdx, restartToken) VALUES (?, ?);";

const std::vector<unsigned int> SIX_WAITS = {100000, 200000, 300000, 400000, 500000, 600000};

DBMgr* manager() { return DBMgr::getInstance(); }

std::string existence_query(const std::string& table) {
  return "SELECT count(name) FROM sqlite_master WHERE name='" + table + "';";
}

/** The statement texts that the library had SQLite run. */
Calls executed() {
  Calls texts;
  for (const std::string& call : SqliteFaults::calls()) {
    if (call.compare(0, 5, "exec ") == 0) texts.push_back(call.substr(5));
  }
  return texts;
}

class NewStoreFaultTest : public DataDirTest {
 protected:
  void SetUp() override { SqliteFaults::clearCalls(); }
};

class StoreFaultTest : public StoreTest {
 protected:
  void SetUp() override {
    dropTable("msg_sim_table");
    dropTable("mssi_info_table");
    SqliteFaults::clearCalls();
  }
  std::string tableCount(const std::string& name) {
    return *raw().value("SELECT count(*) FROM sqlite_master WHERE name = " + quoted(name) + ";");
  }
};

TEST_F(NewStoreFaultTest, CreateDbRunsItsStatementsInOrder) {
  ASSERT_EQ(manager()->createDb(), 0);
  Calls expected = {"exec " + std::string(BEGIN), "exec " + std::string(PERSIST),
                    "exec " + std::string(STAMP), "exec " + std::string(COMMIT),
                    "exec " + std::string(BEGIN)};
  for (const ExpectedTable& table : EXPECTED_TABLES) {
    expected.push_back("step " + existence_query(table.name));
    expected.push_back("exec " + std::string(table.creationText));
    if (std::string(table.name) == "mssi_info_table") {
      expected.push_back("step " + std::string(INSERT_SUBSCRIPTION));
    }
  }
  expected.push_back("exec " + std::string(COMMIT));

  Calls actual;
  for (const std::string& call : SqliteFaults::calls()) {
    const bool runs = call.compare(0, 5, "exec ") == 0 || call.compare(0, 5, "step ") == 0;
    // The journal mode is also set on the side, before the transaction that stamps the file.
    if (runs && call != "step " + std::string(PERSIST)) actual.push_back(call);
  }
  EXPECT_EQ(actual, expected);
}

TEST_F(StoreFaultTest, CreateDbOnAnExistingStoreOnlyAsksForItsTables) {
  ASSERT_EQ(manager()->createDb(), 0);
  SqliteFaults::clearCalls();
  ASSERT_EQ(manager()->createDb(), 0);
  Calls expected = {"exec " + std::string(BEGIN)};
  for (const ExpectedTable& table : EXPECTED_TABLES) {
    expected.push_back("prepare " + existence_query(table.name));
    expected.push_back("step " + existence_query(table.name));
  }
  expected.push_back("exec " + std::string(COMMIT));
  EXPECT_EQ(SqliteFaults::calls(), expected);
}

struct PragmaCase {
  const char* name;
  const char* pragma;
  ExpectedLine line;
  Calls executed;
};

void PrintTo(const PragmaCase& pragma, std::ostream* out) { *out << pragma.name; }

class PragmaFaultTest : public NewStoreFaultTest,
                        public ::testing::WithParamInterface<PragmaCase> {};

TEST_P(PragmaFaultTest, IsRolledBackAndReturned) {
  SqliteFaults::fail("exec", GetParam().pragma, SQLITE_IOERR);
  EXPECT_EQ(manager()->createDb(), -1006);
  EXPECT_TRUE(logged({creating_directories(), creating_files(), opening(),
                      exec_failed("(10) - (disk I/O error)"), GetParam().line,
                      manager_error("createDb", "_createDbFile() failed: (-1006)")}));
  EXPECT_EQ(executed(), GetParam().executed);
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);

  // The files stay, so that the next call does not stamp them either.
  EXPECT_EQ(manager()->createDb(), 0);
  EXPECT_TRUE(logged({created()}));
  RawConnection raw(dbFile());
  EXPECT_EQ(raw.value("PRAGMA user_version;"), "0");
  EXPECT_EQ(raw.value("SELECT count(*) FROM mssi_info_table;"), "1");
}

INSTANTIATE_TEST_SUITE_P(
    Pragmas, PragmaFaultTest,
    ::testing::Values(PragmaCase{"JournalMode",
                                 PERSIST,
                                 manager_error("_createDbFiles",
                                               "Failed to set journal_mode! ret:(-1006)"),
                                 {BEGIN, PERSIST, "ROLLBACK TRANSACTION"}},
                      PragmaCase{"UserVersion",
                                 STAMP,
                                 // the one error line without "[ERROR] "
                                 error_line("DBMgr.cpp", "_createDbFiles",
                                            "Failed to set user_version! ret:(-1006)"),
                                 {BEGIN, PERSIST, STAMP, "ROLLBACK TRANSACTION"}}),
    [](const auto& test) { return test.param.name; });

TEST_F(NewStoreFaultTest, TheResultOfStampingsCommitIsIgnored) {
  SqliteFaults::fail("exec", COMMIT, SQLITE_FULL);
  EXPECT_EQ(DBMgrInternal().createDbFiles(), 0);
  EXPECT_TRUE(logged({creating_directories(), creating_files(), opening(),
                      exec_failed("(13) - (database or disk is full)")}));
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 1);
  EXPECT_EQ(manager()->endTransaction(true), 0);
  EXPECT_EQ(RawConnection(dbFile()).value("PRAGMA user_version;"), "4");
}

TEST_F(StoreFaultTest, TheResultOfTheTablesCommitIsIgnored) {
  SqliteFaults::fail("exec", COMMIT, SQLITE_FULL);
  EXPECT_EQ(manager()->createDb(), 0);
  EXPECT_TRUE(logged({created(), exec_failed("(13) - (database or disk is full)")}));
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 1);
  EXPECT_EQ(tableCount("msg_sim_table"), "0");
  EXPECT_EQ(manager()->endTransaction(true), 0);
  EXPECT_EQ(tableCount("msg_sim_table"), "1");
}

TEST_F(StoreFaultTest, ATableThatCannotBeMadeIsNamed) {
  SqliteFaults::fail("exec", EXPECTED_TABLES[12].creationText, SQLITE_NOMEM);
  EXPECT_EQ(manager()->createDb(), -1006);
  EXPECT_TRUE(
      logged(Lines{exec_failed("(7) - (out of memory)"),
                   manager_error("_createDbTables",
                                 "Creating table (mssi_info_table) table failed! ret:(-1006)")} +
             creation_failed(-1006)));
  EXPECT_EQ(executed().back(), "ROLLBACK TRANSACTION");
  EXPECT_EQ(tableCount("msg_sim_table"), "0");
}

TEST_F(StoreFaultTest, AnInitialRowThatCannotBeCompiledTakesEveryTableOfTheCallWithIt) {
  SqliteFaults::fail("prepare", INSERT_SUBSCRIPTION, SQLITE_NOMEM);
  EXPECT_EQ(manager()->createDb(), -1004);
  EXPECT_TRUE(logged(
      Lines{manager_error("compileStatement", "sqlite3_prepare_v2() failed: (7) (not an error)"),
            manager_error("_createDbTables", "compileStatement() failed!")} +
      creation_failed(-1004)));
  EXPECT_EQ(executed().back(), "ROLLBACK TRANSACTION");
  EXPECT_EQ(tableCount("msg_sim_table"), "0");
  EXPECT_EQ(tableCount("mssi_info_table"), "0");
}

TEST_F(StoreFaultTest, AnInitialRowThatCannotBeInsertedIsRolledBack) {
  SqliteFaults::fail("step", INSERT_SUBSCRIPTION, SQLITE_IOERR);
  EXPECT_EQ(manager()->createDb(), -1005);
  EXPECT_TRUE(
      logged(Lines{error_line("SqlStatement.cpp", "step", "[ERROR] sqlite3_step() failed: (10)"),
                   manager_error("_createDbTables", "step() failed: (-1005)")} +
             creation_failed(-1005)));
  EXPECT_EQ(executed().back(), "ROLLBACK TRANSACTION");
  EXPECT_EQ(tableCount("mssi_info_table"), "0");
}

struct ExistenceCase {
  const char* name;
  const char* call;
  Lines lines;
};

void PrintTo(const ExistenceCase& existence, std::ostream* out) { *out << existence.name; }

class ExistenceFaultTest : public StoreFaultTest,
                           public ::testing::WithParamInterface<ExistenceCase> {};

TEST_P(ExistenceFaultTest, TheTableCountsAsMissingAndIsMade) {
  SqliteFaults::fail(GetParam().call, existence_query("msg_sim_table"), SQLITE_IOERR);
  EXPECT_EQ(manager()->createDb(), 0);
  EXPECT_TRUE(logged(GetParam().lines + Lines{created()}));
  EXPECT_EQ(tableCount("msg_sim_table"), "1");
}

TEST_P(ExistenceFaultTest, TheTableCountsAsMissingAndCannotBeMadeTwice) {
  SqliteFaults::fail(GetParam().call, existence_query("ft_queue_table"), SQLITE_IOERR);
  EXPECT_EQ(manager()->createDb(), -1006);
  EXPECT_TRUE(
      logged(GetParam().lines +
             Lines{exec_failed("(1) - (table ft_queue_table already exists)"),
                   manager_error("_createDbTables",
                                 "Creating table (ft_queue_table) table failed! ret:(-1006)")} +
             creation_failed(-1006)));
}

INSTANTIATE_TEST_SUITE_P(
    Queries, ExistenceFaultTest,
    ::testing::Values(
        ExistenceCase{
            "NotCompiled",
            "prepare",
            {manager_error("compileStatement", "sqlite3_prepare_v2() failed: (10) (not an error)"),
             manager_error("_doesTableExist", "compileStatement() failed!")}},
        ExistenceCase{
            "NotStepped",
            "step",
            {error_line("SqlStatement.cpp", "step", "[ERROR] sqlite3_step() failed: (10)"),
             manager_error("_doesTableExist", "step() failed: (-1005)")}}),
    [](const auto& test) { return test.param.name; });

TEST_F(StoreFaultTest, AnExistenceQueryWithoutARowMeansMissing) {
  SqliteFaults::fail("step", existence_query("temp_log"), SQLITE_DONE);
  EXPECT_FALSE(DBMgrInternal().doesTableExist("temp_log"));
  EXPECT_TRUE(DBMgrInternal().doesTableExist("temp_log"));
  EXPECT_TRUE(logged({}));
}

TEST_F(StoreFaultTest, AConnectionWithoutBusyHandlerIsClosedAgain) {
  ASSERT_EQ(DBMgrInternal().closeDb(), 0);
  SqliteFaults::clearCalls();
  FakePlatform::get().clearLines();
  SqliteFaults::fail("busy_handler", "", SQLITE_MISUSE, 3);
  const Lines lines = {opening(), manager_error("_openDb", "sqlite3_busy_handler() failed: (21)")};

  EXPECT_EQ(manager()->execStatement("SELECT 1;"), -1002);
  EXPECT_TRUE(logged(lines));
  EXPECT_EQ(SqliteFaults::calls(), (Calls{"busy_handler", "close"}));
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  EXPECT_EQ(manager()->beginTransaction(), -1002);
  EXPECT_TRUE(logged(lines));
  EXPECT_EQ(manager()->compileStatement("SELECT 1;"), nullptr);
  EXPECT_TRUE(logged(lines));
  EXPECT_EQ(manager()->execStatement("SELECT 1;"), 0);
}

TEST_F(StoreFaultTest, AFailedCloseKeepsTheConnection) {
  SqliteFaults::fail("close", "", SQLITE_IOERR);
  sqlite3* const connection = DBMgrInternal().handle();
  EXPECT_EQ(DBMgrInternal().closeDb(), -1003);
  EXPECT_TRUE(logged({manager_error("_closeDb", "sqlite3_close() failed: (10)")}));
  EXPECT_EQ(DBMgrInternal().handle(), connection);
  EXPECT_EQ(DBMgrInternal().closeDb(), 0);
}

TEST_F(StoreFaultTest, AManagerWhoseConnectionCannotBeClosedIsGoneAllTheSame) {
  init_db();
  sqlite3* const connection = DBMgrInternal().handle();
  SqliteFaults::fail("close", "", SQLITE_IOERR);
  deinit_db();
  EXPECT_TRUE(logged({manager_error("_closeDb", "sqlite3_close() failed: (10)")}));
  EXPECT_EQ(DBMgrInternal::instanceCount(), 0u);
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  EXPECT_EQ(DBMgrInternal().refCount(), 0);
  EXPECT_EQ(manager()->execStatement("SELECT 1;"), 0);
  sqlite3_close_v2(connection);
}

TEST_F(StoreFaultTest, ClearingTheParametersMayFail) {
  const auto statement = manager()->compileStatement("SELECT ?;");
  SqliteFaults::fail("clear_bindings", "", SQLITE_MISUSE);
  statement->reset();
  EXPECT_TRUE(
      logged({warn_line("SqlStatement.cpp", "reset", "sqlite3_clear_bindings() failed: (21)")}));
}

TEST_F(StoreFaultTest, DestroyingTheManagerClosesItsConnection) {
  init_db();
  SqliteFaults::clearCalls();
  deinit_db();
  EXPECT_EQ(SqliteFaults::calls(), Calls{"close"});
  EXPECT_TRUE(logged({}));
}

TEST_F(NewStoreFaultTest, TheExitHookClosesEveryConnection) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  Child child([&ends]() -> int {
    EXPECT_EQ(manager()->createDb(), 0);
    for (int thread = 0; thread < 3; ++thread) {
      std::thread([] { EXPECT_EQ(manager()->execStatement("SELECT 1;"), 0); }).join();
    }
    const std::size_t managers = DBMgrInternal::instanceCount();
    SqliteFaults::onClose([&ends] { EXPECT_EQ(write(ends[1], "c", 1), 1); });
    EXPECT_EQ(write(ends[1], "mmmm", managers), static_cast<ssize_t>(managers));
    std::exit(HasFailure() ? 1 : 0);
  });
  close(ends[1]);
  std::string told;
  char byte = 0;
  while (read(ends[0], &byte, 1) == 1) told += byte;
  close(ends[0]);
  EXPECT_EQ(child.wait(), 0);
  // One "m" for each manager (threads with the same id share one), one "c" for each close.
  const std::size_t managers = told.find('c');
  ASSERT_TRUE(managers == 2 || managers == 3 || managers == 4) << told;
  EXPECT_EQ(told, std::string(managers, 'm') + std::string(managers, 'c'));
}

TEST_F(StoreFaultTest, RootIsNotAskedWhetherItMayRead) {
  AS_ROOT();
  ASSERT_EQ(DBMgrInternal().closeDb(), 0);
  SqliteFaults::refuseReading();
  EXPECT_EQ(manager()->execStatement("SELECT 1;"), 0);
}

TEST_F(StoreFaultTest, OnlyAMissingPermissionKeepsAUserFromOpening) {
  AS_ROOT();
  ASSERT_EQ(DBMgrInternal().closeDb(), 0);
  FakePlatform::get().clearLines();
  ASSERT_EQ(chmod(dbFile().c_str(), 0666), 0);
  ASSERT_EQ(setresuid(NOBODY, NOBODY, 0), 0);
  for (const int reason : {EPERM, ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, EROFS, EIO, ENOMEM}) {
    SqliteFaults::refuseReading(reason);
    EXPECT_EQ(manager()->execStatement("SELECT 1;"), 0) << reason;
    EXPECT_EQ(DBMgrInternal().closeDb(), 0);
    EXPECT_TRUE(logged({opening()}));
  }
  SqliteFaults::refuseReading(EACCES);
  EXPECT_EQ(manager()->execStatement("SELECT 1;"), -1001);
  ASSERT_EQ(setresuid(0, 0, 0), 0);
}

TEST(BusyHandlerTest, WaitsSixTimesALittleLongerAndThenGivesUp) {
  FakePlatform::get().clearLines();
  for (int count = 0; count <= 5; ++count) EXPECT_EQ(DBMgrInternal::onBusyHandler(count), 1);
  EXPECT_TRUE(logged({}));
  EXPECT_EQ(SqliteFaults::sleeps(), SIX_WAITS);
  for (const int count : {6, 7}) {
    EXPECT_EQ(DBMgrInternal::onBusyHandler(count), 0);
    EXPECT_TRUE(logged({gave_up_waiting()}));
  }
  EXPECT_EQ(SqliteFaults::sleeps(), SIX_WAITS);
}

TEST_F(NewStoreFaultTest, AFreshFileThatStaysLockedFailsAfterSixWaits) {
  std::optional<RawConnection> other;
  when_opening([&] {
    other.emplace(dbFile());
    other->exec("BEGIN EXCLUSIVE;");
  });
  EXPECT_EQ(manager()->createDb(), -1006);
  EXPECT_EQ(SqliteFaults::sleeps(), SIX_WAITS);
  EXPECT_TRUE(logged({creating_directories(), creating_files(), opening(), gave_up_waiting(),
                      exec_failed("(5) - (database is locked)"),
                      manager_error("_createDbFiles", "beginTransaction() failed!"),
                      manager_error("createDb", "_createDbFile() failed: (-1006)")}));
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
}

TEST_F(NewStoreFaultTest, TwoLocksOfAFreshFileAreWaitedForNoLongerThanOne) {
  std::optional<RawConnection> other;
  when_opening([&] {
    other.emplace(dbFile());
    // A lock alone: the other connection leaves the journal file to the creator.
    other->exec("PRAGMA journal_mode = MEMORY; BEGIN EXCLUSIVE;");
  });
  SqliteFaults::onSleep([&] {
    // The first lock is given up in time for the journal mode; the second one stops the
    // transaction.
    if (SqliteFaults::sleeps().size() == 4) other->exec("ROLLBACK; BEGIN IMMEDIATE;");
  });
  EXPECT_EQ(manager()->createDb(), -1006);
  EXPECT_EQ(SqliteFaults::sleeps(), SIX_WAITS);
  EXPECT_TRUE(logged({creating_directories(), creating_files(), opening(), gave_up_waiting(),
                      exec_failed("(5) - (database is locked)"),
                      manager_error("_createDbFiles", "beginTransaction() failed!"),
                      manager_error("createDb", "_createDbFile() failed: (-1006)")}));
}

TEST_F(NewStoreFaultTest, LaterStatementsWaitAsEverAfterAFreshFileThatStayedLocked) {
  std::optional<RawConnection> other;
  when_opening([&] {
    other.emplace(dbFile());
    other->exec("BEGIN EXCLUSIVE;");
  });
  ASSERT_EQ(manager()->createDb(), -1006);
  const std::size_t before = SqliteFaults::sleeps().size();
  EXPECT_EQ(manager()->execStatement("CREATE TABLE a(b);"), -1006);
  const std::vector<unsigned int> sleeps = SqliteFaults::sleeps();
  EXPECT_EQ(
      std::vector<unsigned int>(sleeps.begin() + static_cast<std::ptrdiff_t>(before), sleeps.end()),
      SIX_WAITS);
}

TEST_F(NewStoreFaultTest, LaterStatementsWaitAsEverAfterAFreshFileThatWasLocked) {
  std::optional<RawConnection> other;
  when_opening([&] {
    other.emplace(dbFile());
    other->exec("BEGIN EXCLUSIVE;");
  });
  SqliteFaults::onSleep([&] {
    if (SqliteFaults::sleeps().size() == 2) other->exec("COMMIT;");
  });
  ASSERT_EQ(manager()->createDb(), 0);
  const std::size_t before = SqliteFaults::sleeps().size();
  other->exec("BEGIN EXCLUSIVE;");
  EXPECT_EQ(manager()->beginTransaction(), -1006);
  EXPECT_EQ(SqliteFaults::sleeps().size(), before + SIX_WAITS.size());
}

TEST_F(StoreFaultTest, AStoreThatStaysLockedFailsAfterSixWaits) {
  raw().exec("BEGIN IMMEDIATE;");
  EXPECT_EQ(manager()->createDb(), -1006);
  EXPECT_EQ(SqliteFaults::sleeps(), SIX_WAITS);
  EXPECT_TRUE(logged({gave_up_waiting(), exec_failed("(5) - (database is locked)"),
                      manager_error("_createDbTables", "beginTransaction() failed!"),
                      manager_error("createDb", "_createDbTables() failed: (-1006)")}));
}

TEST_F(NewStoreFaultTest, TheJournalStaysInPlaceAfterWaitingForTheFirstTransaction) {
  std::optional<RawConnection> other;
  std::optional<HeldFile> journal;
  when_opening([&] {
    journal.emplace(journalFile());
    other.emplace(dbFile());
    // A lock alone: the other connection leaves the journal file to the creator.
    other->exec("PRAGMA journal_mode = MEMORY; BEGIN EXCLUSIVE;");
  });
  SqliteFaults::onSleep([&] { other.reset(); });
  EXPECT_EQ(manager()->createDb(), 0);
  EXPECT_EQ(SqliteFaults::sleeps().size(), 1u);
  EXPECT_TRUE(journal->isAt(journalFile()));
}

TEST_F(StoreFaultTest, AReaderHoldsUpACommitWhichMayBeRepeated) {
  insert("temp_log", {{"data1", "'a'"}});
  sqlite3_stmt* reader = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(raw().handle(), "SELECT * FROM temp_log;", -1, &reader, nullptr), 0);
  ASSERT_EQ(sqlite3_step(reader), SQLITE_ROW);

  ASSERT_EQ(manager()->beginTransaction(), 0);
  ASSERT_EQ(manager()->execStatement("INSERT INTO temp_log(data1) VALUES ('b');"), 0);
  EXPECT_EQ(manager()->endTransaction(true), -1006);
  EXPECT_TRUE(logged({gave_up_waiting(), exec_failed("(5) - (database is locked)")}));
  EXPECT_EQ(SqliteFaults::sleeps(), SIX_WAITS);
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 1);

  sqlite3_finalize(reader);
  EXPECT_EQ(manager()->endTransaction(true), 0);
  EXPECT_EQ(raw().value("SELECT count(*) FROM temp_log;"), "2");
}

TEST_F(StoreFaultTest, AStepThatStaysLockedFails) {
  const auto statement = manager()->compileStatement("SELECT * FROM temp_log;");
  raw().exec("BEGIN EXCLUSIVE;");
  EXPECT_EQ(statement->step(), -1005);
  EXPECT_TRUE(logged({gave_up_waiting(), error_line("SqlStatement.cpp", "step",
                                                    "[ERROR] sqlite3_step() failed: (5)")}));
  EXPECT_EQ(SqliteFaults::sleeps(), SIX_WAITS);
}

}  // namespace

}  // namespace msg_tarvel::db
