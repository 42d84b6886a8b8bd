// A text that is bound and that SQLite has no memory to convert is never stored as other
// characters.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/SqlStatement.h"
#include "msg-tarvel-common/db/db_error.h"
#include "reliability/failing_memory.h"
#include "support/expected_log.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

using db::DBMgr;

constexpr const char* INSERT_NOTE = "INSERT INTO note VALUES (?);";

class BoundTexts : public DataDirTest {
 protected:
  BoundTexts() {
    FailingMemory::install();
    std::filesystem::create_directory(dbDir());
    RawConnection(dbFile()).exec("PRAGMA encoding = 'UTF-16le'; CREATE TABLE note (text TEXT);");
  }

  static std::unique_ptr<db::SqlStatement> compile() {
    return DBMgr::getInstance()->compileStatement(INSERT_NOTE);
  }

  /** Binds a text while there is no memory, which it would need. */
  static void bindWithoutMemory(db::SqlStatement& statement, const char* text) {
    FailingMemory::fail({FailingMemory::Of::SQLITE, 1, true});
    statement.bind(1, text);
    EXPECT_TRUE(FailingMemory::mend());
  }

  static void expectLost(db::SqlStatement& statement, int code) {
    FakePlatform::get().clearLines();
    EXPECT_EQ(statement.step(), db::DB_ERR_STEP);
    const std::string text = "[ERROR] sqlite3_step() failed: (" + std::to_string(code) + ")";
    EXPECT_TRUE(logged({error_line("SqlStatement.cpp", "step", text)}));
  }

  static void expectToWork(db::SqlStatement& statement, const char* text) {
    statement.bind(1, text);
    EXPECT_EQ(statement.step(), db::DB_SUCCESS);
    statement.reset();
  }

  std::vector<std::string> stored() const {
    return RawConnection(dbFile()).column("SELECT text FROM note;");
  }
};

using Texts = std::vector<std::string>;

TEST_F(BoundTexts, ThatAreLostFailEachStepUntilTheStatementIsReset) {
  const auto insertion = compile();
  bindWithoutMemory(*insertion, "a text that is lost");
  expectLost(*insertion, SQLITE_NOMEM);
  expectLost(*insertion, SQLITE_NOMEM);
  EXPECT_EQ(stored(), Texts());
  insertion->reset();
  expectToWork(*insertion, "another one");
  EXPECT_EQ(stored(), Texts({"another one"}));
}

TEST_F(BoundTexts, ThatAreLostAreNoMatterOfOtherStatements) {
  const auto losing = compile();
  const auto other = compile();
  bindWithoutMemory(*losing, "a text that is lost");
  expectToWork(*other, "another one");
  expectLost(*losing, SQLITE_NOMEM);
  EXPECT_EQ(stored(), Texts({"another one"}));
}

TEST_F(BoundTexts, ThatAreLostWithTheirStatementAreForgotten) {
  auto insertion = compile();
  bindWithoutMemory(*insertion, "a text that is lost");
  insertion.reset();
  const auto next = compile();
  bindWithoutMemory(*next, "a text that is lost too");
  next->reset();
  expectToWork(*next, "another one");
  EXPECT_EQ(stored(), Texts({"another one"}));
}

TEST_F(BoundTexts, ThatAreLostByTwoStatementsAreStoredByNeither) {
  const auto first = compile();
  const auto second = compile();
  bindWithoutMemory(*first, "a text that is lost");
  bindWithoutMemory(*first, "and once more");
  bindWithoutMemory(*second, "a text that is lost too");
  expectLost(*first, SQLITE_NOMEM);
  expectLost(*second, SQLITE_MISUSE);
  second->reset();
  expectLost(*second, SQLITE_MISUSE);
  first->reset();
  expectToWork(*first, "another one");
  EXPECT_EQ(stored(), Texts({"another one"}));
}

}  // namespace

}  // namespace msg_tarvel
