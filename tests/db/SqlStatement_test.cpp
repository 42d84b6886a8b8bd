#include "msg-tarvel-common/db/SqlStatement.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <memory>
#include <new>
#include <string>
#include <type_traits>

#include "db/DBMgr_internal.h"
#include "db/SqlStatement_internal.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "support/db_log.h"
#include "support/scarce_memory.h"
#include "support/store.h"

namespace msg_tarvel::db {

namespace {

using Statement = std::unique_ptr<SqlStatement>;

ExpectedLine statement_error(const std::string& function, const std::string& message) {
  return error_line("SqlStatement.cpp", function, "[ERROR] " + message);
}

ExpectedLine statement_warning(const std::string& function, const std::string& message) {
  return warn_line("SqlStatement.cpp", function, message);
}

class SqlStatementTest : public DataDirTest {
 protected:
  SqlStatementTest() {
    create(dbDir());
    exec("CREATE TABLE note(id INTEGER PRIMARY KEY, text TEXT);");
    FakePlatform::get().clearLines();
  }

  static Statement compile(const std::string& sql) {
    Statement statement = DBMgr::getInstance()->compileStatement(sql);
    EXPECT_TRUE(statement) << sql;
    return statement;
  }
  static void exec(const std::string& sql) {
    ASSERT_EQ(DBMgr::getInstance()->execStatement(sql), DB_SUCCESS) << sql;
  }
  /** Steps to the only row of `statement`. */
  static void stepToRow(const Statement& statement) { ASSERT_EQ(statement->step(), DB_ROW); }

 private:
  static void create(const std::string& directory) {
    ASSERT_EQ(mkdir(directory.c_str(), 0755), 0) << directory;
  }
};

TEST_F(SqlStatementTest, IsNeverCopied) {
  static_assert(!std::is_copy_constructible_v<SqlStatement>);
  static_assert(!std::is_copy_assignable_v<SqlStatement>);
  static_assert(!std::is_polymorphic_v<SqlStatement>);
  static_assert(std::is_same_v<decltype(DBMgr::getInstance()->compileStatement("")), Statement>);
}

TEST_F(SqlStatementTest, StepGivesEveryRowAndThenTheEnd) {
  const Statement select = compile("SELECT 7 UNION ALL SELECT 8;");
  EXPECT_EQ(select->step(), -1102);
  EXPECT_EQ(select->getInt(0), 7);
  EXPECT_EQ(select->step(), -1102);
  EXPECT_EQ(select->getInt(0), 8);
  EXPECT_EQ(select->step(), 0);
  EXPECT_TRUE(logged({}));
}

TEST_F(SqlStatementTest, StepOfAnInsertGivesTheEnd) {
  EXPECT_EQ(compile("INSERT INTO note(text) VALUES ('a');")->step(), 0);
  const Statement count = compile("SELECT count(*) FROM note;");
  stepToRow(count);
  EXPECT_EQ(count->getInt(0), 1);
}

TEST_F(SqlStatementTest, ResetAllowsASecondPassOverTheSameRows) {
  const Statement select = compile("SELECT 7 UNION ALL SELECT 8;");
  for (int pass = 0; pass < 2; ++pass) {
    EXPECT_EQ(select->step(), DB_ROW);
    EXPECT_EQ(select->getInt(0), 7);
    EXPECT_EQ(select->step(), DB_ROW);
    EXPECT_EQ(select->getInt(0), 8);
    EXPECT_EQ(select->step(), DB_SUCCESS);
    select->reset();
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(SqlStatementTest, ResetMakesEveryParameterNull) {
  const Statement select = compile("SELECT ?1 IS NULL, ?2 IS NULL;");
  select->bind(1, 5);
  select->bind(2, "text");
  stepToRow(select);
  EXPECT_EQ(select->getInt(0), 0);
  EXPECT_EQ(select->getInt(1), 0);
  select->reset();
  stepToRow(select);
  EXPECT_EQ(select->getInt(0), 1);
  EXPECT_EQ(select->getInt(1), 1);
}

TEST_F(SqlStatementTest, ParametersCountFromOneAndColumnsFromZero) {
  const Statement select = compile("SELECT ?1, ?2, ?3, ?4, typeof(?1), typeof(?3), typeof(?4);");
  select->bind(1, -7);
  select->bind(2, 9223372036854775807LL);
  select->bind(3, "text");
  select->bind(4, 1);
  select->bindNull(4);
  stepToRow(select);
  EXPECT_EQ(select->getInt(0), -7);
  EXPECT_EQ(select->getInt64(0), -7);
  EXPECT_EQ(select->getInt64(1), 9223372036854775807LL);
  EXPECT_EQ(select->getText(2), "text");
  EXPECT_EQ(select->getText(4), "integer");
  EXPECT_EQ(select->getText(5), "text");
  EXPECT_EQ(select->getText(6), "null");
}

TEST_F(SqlStatementTest, GetIntKeepsTheLowHalfOfAWiderNumber) {
  const Statement select = compile("SELECT ?;");
  select->bind(1, (5LL << 32) + 7);
  stepToRow(select);
  EXPECT_EQ(select->getInt64(0), 21474836487LL);
  EXPECT_EQ(select->getInt(0), 7);
}

TEST_F(SqlStatementTest, ColumnsAreConvertedAsSqliteDoes) {
  const Statement select = compile("SELECT NULL, '', '12 apples', 34;");
  stepToRow(select);
  EXPECT_EQ(select->getInt(0), 0);
  EXPECT_EQ(select->getInt64(0), 0);
  EXPECT_EQ(select->getText(0), "");
  EXPECT_EQ(select->getText(1), "");
  EXPECT_EQ(select->getInt(2), 12);
  EXPECT_EQ(select->getText(3), "34");
}

TEST_F(SqlStatementTest, TextEndsAtItsFirstNul) {
  const Statement select = compile("SELECT CAST(x'610062' AS TEXT), ?;");
  select->bind(2, "beyond the last parameter");
  select->bind(1, "bound\0hidden");
  stepToRow(select);
  EXPECT_EQ(select->getText(0), "a");
  EXPECT_EQ(select->getText(1), "bound");
}

TEST_F(SqlStatementTest, NullStringBindsNothing) {
  const char* const nothing = nullptr;
  const Statement select = compile("SELECT typeof(?1), ?1;");
  select->bind(1, nothing);
  stepToRow(select);
  EXPECT_EQ(select->getText(0), "null");
  select->reset();

  select->bind(1, "earlier");
  select->bind(1, nothing);
  stepToRow(select);
  EXPECT_EQ(select->getText(1), "earlier");
}

TEST_F(SqlStatementTest, EmptyStringIsNotNull) {
  const Statement select = compile("SELECT typeof(?1), length(?1);");
  select->bind(1, "");
  stepToRow(select);
  EXPECT_EQ(select->getText(0), "text");
  EXPECT_EQ(select->getInt(1), 0);
}

TEST_F(SqlStatementTest, TextIsBoundWithoutACopy) {
  std::string text = "before";
  const Statement select = compile("SELECT ?;");
  select->bind(1, text.c_str());
  text.replace(0, 6, "later!");
  stepToRow(select);
  EXPECT_EQ(select->getText(0), "later!");
}

TEST_F(SqlStatementTest, FailedBindsAreNotReported) {
  const Statement select = compile("SELECT ?;");
  select->bind(0, 1);
  select->bind(2, 1LL);
  select->bind(-1, "text");
  select->bindNull(99);
  stepToRow(select);
  select->bind(1, 5);  // a statement in the middle of its rows takes no new values
  EXPECT_EQ(select->getText(0), "");
  EXPECT_TRUE(logged({}));
}

TEST_F(SqlStatementTest, EmptyTextHasNoHandle) {
  for (const char* text : {"", "  \n\t ", "-- a comment", ";"}) {
    Statement statement = compile(text);
    EXPECT_EQ(SqlStatementInternal::handle(*statement), nullptr) << text;
    EXPECT_EQ(statement->step(), -1005);
    EXPECT_TRUE(logged({statement_error("step", "sqlite3_step() failed: (21)")}));
    EXPECT_EQ(statement->getText(0), "");
    statement->reset();
    statement.reset();
    EXPECT_TRUE(logged({})) << text;
  }
}

TEST_F(SqlStatementTest, FinalizingTwiceIsAnError) {
  Statement statement = compile("SELECT 1;");
  SqlStatementInternal::finalize(*statement);
  EXPECT_EQ(SqlStatementInternal::handle(*statement), nullptr);
  EXPECT_TRUE(logged({}));
  SqlStatementInternal::finalize(*statement);
  EXPECT_TRUE(logged({statement_error("_finalize", "no statement!")}));
  statement.reset();
  EXPECT_TRUE(logged({}));
}

TEST_F(SqlStatementTest, DestroyingFinalizesTheHandle) {
  Statement statement = compile("SELECT 1;");
  sqlite3* const connection = DBMgrInternal().handle();
  EXPECT_NE(sqlite3_next_stmt(connection, nullptr), nullptr);
  statement.reset();
  EXPECT_EQ(sqlite3_next_stmt(connection, nullptr), nullptr);
  EXPECT_TRUE(logged({}));
}

TEST_F(SqlStatementTest, WithoutMemoryForItTheHandleIsFinalized) {
  ASSERT_EQ(DBMgr::getInstance()->execStatement("SELECT 1;"), 0);
  const std::string text = "SELECT 1;";
  bool isThrown = false;
  {
    const MemoryForAllocations none(0);
    try {
      DBMgr::getInstance()->compileStatement(text);
    } catch (const std::bad_alloc&) {
      isThrown = true;
    }
  }
  EXPECT_TRUE(isThrown);
  EXPECT_EQ(sqlite3_next_stmt(DBMgrInternal().handle(), nullptr), nullptr);
}

TEST_F(SqlStatementTest, FailedStepIsRepeatedByResetWhichStillClearsTheParameters) {
  exec("INSERT INTO note(id) VALUES (1);");
  const Statement insert = compile("INSERT INTO note(id, text) VALUES (?, ?);");
  insert->bind(1, 1);
  insert->bind(2, "text");
  EXPECT_EQ(insert->step(), -1005);
  EXPECT_TRUE(logged({statement_error("step", "sqlite3_step() failed: (19)")}));
  insert->reset();
  EXPECT_TRUE(logged({statement_warning("reset", "sqlite3_reset() failed: (19)")}));

  EXPECT_EQ(insert->step(), DB_SUCCESS);  // with a NULL key SQLite chooses the next one
  const Statement row = compile("SELECT id, text IS NULL FROM note WHERE id > 1;");
  stepToRow(row);
  EXPECT_EQ(row->getInt(0), 2);
  EXPECT_EQ(row->getInt(1), 1);
  EXPECT_TRUE(logged({}));
}

TEST_F(SqlStatementTest, FailedStepIsRepeatedByFinalizeWhichForgetsTheHandle) {
  exec("INSERT INTO note(id) VALUES (1);");
  const Statement insert = compile("INSERT INTO note(id) VALUES (1);");
  EXPECT_EQ(insert->step(), -1005);
  FakePlatform::get().clearLines();
  SqlStatementInternal::finalize(*insert);
  EXPECT_TRUE(logged({statement_warning("_finalize", "sqlite3_finalize() failed: (19)")}));
  EXPECT_EQ(SqlStatementInternal::handle(*insert), nullptr);
  EXPECT_EQ(sqlite3_next_stmt(DBMgrInternal().handle(), nullptr), nullptr);
}

}  // namespace

}  // namespace msg_tarvel::db
