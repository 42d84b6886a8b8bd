// What holds for every connection of the tool: a statement ends with the work that it may take and
// with the program, and an error is SQLite's own.

#include "store/connections.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "interrupt.h"
#include "store/database.h"
#include "support/scarce_memory.h"

namespace msg_tarvel::tool {
namespace {

/** A query that makes so many steps; without end for no limit. */
std::string counting(const std::string& limit) {
  return "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n" + limit +
         ") SELECT count(*) FROM n;";
}

class Connections : public ::testing::Test {
 protected:
  Connections() {
    limit_connections();
    char name[] = "/tmp/msg-tarvel-test-XXXXXX";
    const int file = mkstemp(name);
    close(file);
    _path = name;
  }
  ~Connections() override { unlink(_path.c_str()); }

  static int codeOf(const Database& database, const std::string& sql) {
    try {
      database.number(sql);
      return SQLITE_OK;
    } catch (const DatabaseFailure& failure) {
      return failure.code();
    }
  }

  const std::string& path() const { return _path; }

 private:
  std::string _path;
};

TEST_F(Connections, EndAStatementThatTakesTooMuch) {
  const Database database(path());
  EXPECT_EQ(codeOf(database, counting(" LIMIT 400000")), SQLITE_OK);
  EXPECT_EQ(codeOf(database, counting("")), SQLITE_INTERRUPT);
  // Each statement has a share of its own.
  EXPECT_EQ(codeOf(database, counting(" LIMIT 400000")), SQLITE_OK);
}

TEST_F(Connections, LetAStatementTakeMoreForWhatAFileHolds) {
  const std::string much = counting(" LIMIT 1000000");
  Database(path()).execute("CREATE TABLE t (x);");
  std::filesystem::resize_file(path(), 20'000'000);
  EXPECT_EQ(codeOf(Database(path()), much), SQLITE_INTERRUPT) << "a hole holds nothing";
  Database(path()).execute("INSERT INTO t VALUES (zeroblob(10000000)), (zeroblob(10000000));");
  const Database nameless(path());
  std::filesystem::remove(path());
  EXPECT_EQ(codeOf(nameless, much), SQLITE_OK);
}

/** Steps through rows without end, and runs another statement now and then. */
void read_endlessly(const Database& database) {
  Rows endless = database.query(
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n;");
  while (endless.next()) {
    if (endless.number(0) % 100000 == 0) database.number("SELECT 1;");
  }
}

TEST_F(Connections, CountTheWorkOfAStatementWhileOthersRunBesideIt) {
  const Database database(path());
  EXPECT_THROW(read_endlessly(database), DatabaseFailure);
}

TEST_F(Connections, EndAStatementWhenTheProgramIsInterrupted) {
  const Database database(path());
  const InterruptGuard guard;
  EXPECT_EQ(codeOf(database, counting(" LIMIT 100000")), SQLITE_OK);
  raise(SIGHUP);
  EXPECT_EQ(codeOf(database, counting(" LIMIT 100000")), SQLITE_INTERRUPT);
  EXPECT_THROW(throw_if_interrupted(), Interrupted);
}

TEST_F(Connections, RefuseTextsBeyondTheLimit) {
  const Database database(path());
  EXPECT_EQ(codeOf(database, "SELECT length(zeroblob(17000000));"), SQLITE_OK);
  EXPECT_EQ(codeOf(database, "SELECT length(zeroblob(17000001));"), SQLITE_TOOBIG);
}

TEST_F(Connections, HaveMemoryByWhatAStoreHolds) {
  EXPECT_EQ(memory_for(0), 64'000'000);
  EXPECT_EQ(memory_for(16'000'000), 64'000'000);
  EXPECT_EQ(memory_for(16'000'001), 64'000'004);
  EXPECT_EQ(memory_for(268'435'455), 1'073'741'820);
  EXPECT_EQ(memory_for(268'435'457), 1'073'741'824);
  EXPECT_EQ(memory_for(9'000'000'000'000'000'000), 1'073'741'824);
}

TEST_F(Connections, KeepSqliteWithinIt) {
  const Database database(path());
  database.execute("CREATE TABLE t (x);");
  EXPECT_EQ(sqlite3_hard_heap_limit64(-1), memory_for(0));
  database.execute("INSERT INTO t VALUES (zeroblob(10000000)), (zeroblob(10000000));");
  const auto most = memory_for(static_cast<long long>(std::filesystem::file_size(path())));
  EXPECT_GT(most, memory_for(0));
  {
    const Database grown(path());
    EXPECT_EQ(sqlite3_hard_heap_limit64(-1), most);
  }
  std::filesystem::resize_file(path(), 0);
  const Database small(path());
  EXPECT_EQ(sqlite3_hard_heap_limit64(-1), most) << "what others still use";
}

TEST_F(Connections, AreKnownWhileTheyAreOpen) {
  EXPECT_EQ(last_connection(), nullptr);
  {
    const Database first(path());
    {
      const Database second(path());
      EXPECT_EQ(last_connection(), second.handle());
    }
    EXPECT_EQ(last_connection(), first.handle());
    EXPECT_EQ(codeOf(first, "SELECT absent;"), SQLITE_ERROR);
    EXPECT_EQ(current_database_error().code, SQLITE_ERROR);
    EXPECT_EQ(current_database_error().text, "no such column: absent");
  }
  EXPECT_EQ(last_connection(), nullptr);
}

TEST_F(Connections, TellWhyOneCannotBeOpened) {
  forget_database_error();
  EXPECT_EQ(current_database_error().code, SQLITE_OK);
  sqlite3* handle = nullptr;
  EXPECT_NE(sqlite3_open_v2("/nowhere/a.db", &handle, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
  sqlite3_close(handle);
  EXPECT_EQ(current_database_error().code, SQLITE_CANTOPEN);
}

/** SQLite with memory that ends. */
class FailingMemoryOfSqlite {
 public:
  FailingMemoryOfSqlite() {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real);
    sqlite3_mem_methods methods = real;
    methods.xMalloc = [](int size) { return isRefused() ? nullptr : real.xMalloc(size); };
    methods.xRealloc = [](void* block, int size) {
      return isRefused() ? nullptr : real.xRealloc(block, size);
    };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
    // Without room of a connection's own, from which small blocks would come.
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
  }

  /** The allocation of this number, from 1, is refused. */
  static void refuse(int number) { left = number; }
  /** From here on none is; whether one was. */
  static bool mend() { return std::exchange(left, 0) == 0; }

 private:
  static bool isRefused() { return left > 0 && --left == 0; }

  static sqlite3_mem_methods real;
  static int left;
};

sqlite3_mem_methods FailingMemoryOfSqlite::real;
int FailingMemoryOfSqlite::left = 0;

class ConnectionsWithoutMemory : private FailingMemoryOfSqlite, public Connections {
 protected:
  using FailingMemoryOfSqlite::mend;
  using FailingMemoryOfSqlite::refuse;
};

// Of a statement that another one runs SQLite makes the text that it tells of.
TEST_F(ConnectionsWithoutMemory, EndAStatementWithinAnother) {
  const Database database(path());
  database.execute("CREATE TABLE t (x);");
  const std::string sql = "SELECT count(*) FROM pragma_table_info('t');";
  ASSERT_EQ(codeOf(database, sql), SQLITE_OK);
  int refusals = 0;
  for (bool isRefused = true; isRefused && refusals < 1000; refusals += isRefused ? 1 : 0) {
    refuse(refusals + 1);
    const int code = codeOf(database, sql);
    isRefused = mend();
    EXPECT_TRUE(code == SQLITE_NOMEM || code == SQLITE_OK) << refusals << ": " << code;
    EXPECT_TRUE(isRefused || code == SQLITE_OK) << code;
  }
  EXPECT_GT(refusals, 20);
  EXPECT_LT(refusals, 1000);
}

// An exception does not get through SQLite alive.
TEST_F(Connections, AreRefusedWithoutMemory) {
  int refusals = 0;
  for (bool hasCome = true; hasCome && refusals < 10; refusals += hasCome ? 1 : 0) {
    sqlite3* handle = nullptr;
    int code = SQLITE_OK;
    {
      const OneRefusedAllocation refused(refusals + 1);
      code = sqlite3_open_v2(path().c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
      hasCome = refused.hasCome();
    }
    EXPECT_EQ(code, hasCome ? SQLITE_NOMEM : SQLITE_OK) << refusals;
    EXPECT_EQ(last_connection(), hasCome ? nullptr : handle) << refusals;
    sqlite3_close(handle);
    EXPECT_EQ(last_connection(), nullptr) << refusals;
  }
  // What is known of a connection, and its place among the others.
  EXPECT_EQ(refusals, 2);
}

}  // namespace
}  // namespace msg_tarvel::tool
