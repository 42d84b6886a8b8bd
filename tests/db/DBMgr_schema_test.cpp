// The tables that createDb makes, and what it does when some of them cannot be made.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "db/DBMgr_internal.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "support/db_log.h"
#include "support/expected_schema.h"
#include "support/statement_trace.h"
#include "support/store.h"

namespace msg_tarvel::db {

namespace {

constexpr const char* OWN_TABLES =
    " FROM sqlite_master WHERE type = 'table' AND name <> 'sqlite_sequence' ORDER BY rowid;";

class SchemaTest : public StoreTest {
 protected:
  static int createDb() { return DBMgr::getInstance()->createDb(); }

  /** Has the manager open the database anew at its next use, and clears the log. */
  static void reopen() {
    ASSERT_EQ(DBMgrInternal().closeDb(), 0);
    FakePlatform::get().clearLines();
  }

  std::vector<std::string> tables() {
    return raw().column("SELECT name" + std::string(OWN_TABLES));
  }
  void dropAllTables() {
    for (const ExpectedTable& table : EXPECTED_TABLES) dropTable(table.name);
  }
  std::string subscriptionRows() {
    std::string rows;
    for (const std::string& row : raw().column(
             "SELECT id || '|' || notiIdx || '|' || quote(restartToken) FROM mssi_info_table;")) {
      rows += row + ";";
    }
    return rows;
  }
};

std::vector<std::string> expected_names() {
  std::vector<std::string> names;
  for (const ExpectedTable& table : EXPECTED_TABLES) names.emplace_back(table.name);
  return names;
}

TEST_F(SchemaTest, TablesAreMadeInOrderAndWithTheirTexts) {
  EXPECT_EQ(tables(), expected_names());
  EXPECT_EQ(tables().size(), 14u);
  for (const ExpectedTable& table : EXPECTED_TABLES) {
    EXPECT_EQ(
        *raw().value("SELECT sql FROM sqlite_master WHERE name = " + quoted(table.name)) + ";",
        table.creationText);
  }
  EXPECT_EQ(raw().value("SELECT count(*) FROM sqlite_master WHERE type <> 'table';"), "0");
}

TEST_F(SchemaTest, ColumnsHaveTheirTypesAndDefaults) {
  for (const ExpectedTable& table : EXPECTED_TABLES) {
    std::string columns;
    for (const std::string& column :
         raw().column("SELECT name || ' ' || type || iif(pk, ' KEY', '') ||"
                      " iif(\"notnull\", ' NOT NULL', '') || ifnull(' DEFAULT ' || dflt_value, '')"
                      " FROM pragma_table_info(" +
                      quoted(table.name) + ");")) {
      columns += (columns.empty() ? "" : ", ") + column;
    }
    EXPECT_EQ(columns, table.columns) << table.name;
  }
}

TEST_F(SchemaTest, KeysAreNeverReused) {
  for (const ExpectedTable& table : EXPECTED_TABLES) {
    // A row of sevens fits every table, and the key after a deleted row is a new one.
    const std::string name = table.name;
    const auto commas = std::count(table.columns, table.columns + std::strlen(table.columns), ',');
    std::string sevens = "7";
    for (auto column = commas; column > 0; --column) sevens += ", 7";
    raw().exec("INSERT INTO " + name + " VALUES (" + sevens + "); DELETE FROM " + name + ";");
    sevens.replace(0, 1, "NULL");
    raw().exec("INSERT INTO " + name + " VALUES (" + sevens + ");");
    EXPECT_EQ(raw().lastInsertId(), 8) << name;
  }
}

TEST_F(SchemaTest, ForeignKeysAreNotEnforced) {
  EXPECT_EQ(
      DBMgr::getInstance()->execStatement("INSERT INTO msg_message_table(convId) VALUES (99);"
                                          "INSERT INTO msg_mms_content_table(msgId) VALUES (99);"),
      0);
  const auto pragma = DBMgr::getInstance()->compileStatement("PRAGMA foreign_keys;");
  ASSERT_EQ(pragma->step(), DB_ROW);
  EXPECT_EQ(pragma->getInt(0), 0);
}

TEST_F(SchemaTest, ANewStoreHasItsVersionAndSubscriptionRow) {
  EXPECT_EQ(raw().value("PRAGMA user_version;"), "4");
  EXPECT_EQ(subscriptionRows(), "1|0|'';");
}

class FreshDeviceTest : public DataDirTest {};

TEST_F(FreshDeviceTest, TheFilesAreStampedWithTheManagersOwnConnection) {
  DBMgr* const ofThisThread = DBMgr::getInstance();
  std::thread([ofThisThread] {
    EXPECT_EQ(DBMgrInternal(ofThisThread).createDbFiles(), 0);
    EXPECT_EQ(DBMgrInternal().handle(), nullptr);
    init_db();
    deinit_db();
  }).join();
  EXPECT_NE(DBMgrInternal().handle(), nullptr);
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
  EXPECT_EQ(RawConnection(dbFile()).value("PRAGMA user_version;"), "4");
}

TEST_F(FreshDeviceTest, CreateDbLogsItsSteps) {
  EXPECT_EQ(DBMgr::getInstance()->createDb(), 0);
  EXPECT_TRUE(logged({creating_directories(), creating_files(), opening(), created()}));
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
}

TEST_F(SchemaTest, ASecondCreateDbChangesNothing) {
  const auto schema = raw().column("SELECT sql FROM sqlite_master ORDER BY rowid;");
  const auto version = raw().value("PRAGMA schema_version;");
  EXPECT_EQ(createDb(), 0);
  EXPECT_TRUE(logged({created()}));
  EXPECT_EQ(raw().column("SELECT sql FROM sqlite_master ORDER BY rowid;"), schema);
  EXPECT_EQ(raw().value("PRAGMA schema_version;"), version);
  EXPECT_EQ(subscriptionRows(), "1|0|'';");
}

TEST_F(SchemaTest, OnlyTheMissingTableIsMade) {
  insert("temp_log", {{"data1", "'kept'"}});
  for (const ExpectedTable& table : EXPECTED_TABLES) {
    if (std::string(table.name) == "temp_log") continue;
    dropTable(table.name);
    EXPECT_EQ(createDb(), 0);
    EXPECT_EQ(tables().size(), 14u);
    EXPECT_EQ(
        *raw().value("SELECT sql FROM sqlite_master WHERE name = " + quoted(table.name)) + ";",
        table.creationText);
  }
  EXPECT_EQ(raw().value("SELECT data1 FROM temp_log;"), "kept");
  EXPECT_EQ(subscriptionRows(), "1|0|'';");
}

TEST_F(SchemaTest, TheSubscriptionRowComesOnlyWithItsTable) {
  raw().exec("DELETE FROM mssi_info_table;");
  dropTable("msg_sharedial_meta_table");
  EXPECT_EQ(createDb(), 0);
  EXPECT_EQ(subscriptionRows(), "");
}

TEST_F(SchemaTest, ExistingTablesAreNotTouched) {
  dropTable("msg_sim_table");
  raw().exec("CREATE TABLE msg_sim_table(other TEXT);");
  EXPECT_EQ(createDb(), 0);
  EXPECT_EQ(raw().value("SELECT sql FROM sqlite_master WHERE name = 'msg_sim_table';"),
            "CREATE TABLE msg_sim_table(other TEXT)");
}

TEST_F(SchemaTest, AnythingOfATablesNameCounts) {
  const char* const standIns[] = {
      "CREATE VIEW msg_sim_table AS SELECT 1;", "CREATE INDEX msg_sim_table ON temp_log(data1);",
      "CREATE TRIGGER msg_sim_table DELETE ON temp_log BEGIN SELECT 1; END;"};
  const char* const kinds[] = {"view", "index", "trigger"};
  dropTable("msg_sim_table");
  for (std::size_t i = 0; i < 3; ++i) {
    raw().exec(standIns[i]);
    EXPECT_TRUE(DBMgrInternal().doesTableExist("msg_sim_table")) << standIns[i];
    EXPECT_EQ(createDb(), 0) << standIns[i];
    EXPECT_EQ(tables().size(), 13u);
    raw().exec("DROP " + std::string(kinds[i]) + " msg_sim_table;");
    EXPECT_FALSE(DBMgrInternal().doesTableExist("msg_sim_table")) << standIns[i];
  }
}

TEST_F(SchemaTest, ANullNameDoesNotTouchTheDatabase) {
  reopen();
  EXPECT_FALSE(DBMgrInternal().doesTableExist(nullptr));
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  EXPECT_TRUE(logged({}));
}

TEST_F(SchemaTest, TheExistenceQueryIsCutAt127Characters) {
  // The text around the name has 50 characters before it and "';" behind it.
  const std::string longest(76, 'n');
  raw().exec("CREATE TABLE " + longest + "(a);");
  EXPECT_TRUE(DBMgrInternal().doesTableExist(longest.c_str()));
  EXPECT_TRUE(logged({}));

  EXPECT_FALSE(DBMgrInternal().doesTableExist((longest + "n").c_str()));
  EXPECT_TRUE(logged({manager_error("compileStatement",
                                    "sqlite3_prepare_v2() failed: (1) "
                                    "(unrecognized token: \"'" +
                                        longest + "n\")"),
                      manager_error("_doesTableExist", "compileStatement() failed!")}));
}

TEST_F(SchemaTest, ExistenceIsAskedWithTheCallingThreadsManager) {
  DBMgr* const ofThisThread = DBMgr::getInstance();
  reopen();
  std::thread([ofThisThread] {
    EXPECT_TRUE(DBMgrInternal(ofThisThread).doesTableExist("temp_log"));
    EXPECT_NE(DBMgrInternal().handle(), nullptr);
    init_db();
    deinit_db();
  }).join();
  EXPECT_TRUE(logged({opening()}));
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
}

TEST_F(SchemaTest, TablesAreMadeWithTheManagersOwnConnection) {
  DBMgr* const ofThisThread = DBMgr::getInstance();
  dropTable("msg_sim_table");
  std::thread([&] {
    EXPECT_EQ(DBMgr::getInstance()->execStatement("SELECT 1;"), 0);
    StatementTrace own(DBMgrInternal(ofThisThread).handle());
    StatementTrace others(DBMgrInternal().handle());
    EXPECT_EQ(DBMgrInternal(ofThisThread).createDbTables(), 0);
    EXPECT_EQ(own.texts(),
              (std::vector<std::string>{"BEGIN IMMEDIATE TRANSACTION",
                                        EXPECTED_TABLES[9].creationText, "COMMIT TRANSACTION"}));
    EXPECT_EQ(others.texts().size(), std::size(EXPECTED_TABLES));
    for (const std::string& text : others.texts()) {
      EXPECT_EQ(text.compare(0, 19, "SELECT count(name) "), 0) << text;
    }
    init_db();
    deinit_db();
  }).join();
}

// Whose transaction hides the new table from the one that asks for it.
TEST_F(SchemaTest, TheInitialRowIsCompiledWithTheCallingThreadsManager) {
  DBMgr* const ofThisThread = DBMgr::getInstance();
  dropTable("mssi_info_table");
  std::thread([&] {
    EXPECT_EQ(DBMgr::getInstance()->execStatement("SELECT 1;"), 0);
    FakePlatform::get().clearLines();
    EXPECT_EQ(DBMgrInternal(ofThisThread).createDbTables(), -1004);
    EXPECT_TRUE(
        logged({manager_error("compileStatement",
                              "sqlite3_prepare_v2() failed: (1) (no such table: mssi_info_table)"),
                manager_error("_createDbTables", "compileStatement() failed!"),
                creation_failed(-1004).front()}));
    init_db();
    deinit_db();
  }).join();
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
  EXPECT_EQ(tables().size(), 13u);
}

TEST_F(SchemaTest, WithinATransactionTheCallersEndDecides) {
  for (const bool commit : {false, true}) {
    dropTable("mssi_info_table");
    ASSERT_EQ(DBMgr::getInstance()->beginTransaction(), 0);
    {
      const StatementTrace trace(DBMgrInternal().handle());
      EXPECT_EQ(createDb(), 0);
      const std::vector<std::string>& texts = trace.texts();
      EXPECT_EQ(std::count(texts.begin(), texts.end(), EXPECTED_TABLES[12].creationText), 1);
      for (const std::string& text : texts) {
        EXPECT_TRUE(text.find("TRANSACTION") == std::string::npos) << text;
      }
    }
    EXPECT_EQ(DBMgrInternal().transactionDepth(), 1);
    EXPECT_EQ(tables().size(), 13u);
    EXPECT_EQ(DBMgr::getInstance()->endTransaction(commit), 0);
    EXPECT_EQ(tables().size(), commit ? 14u : 13u);
    if (!commit) raw().exec("CREATE TABLE mssi_info_table(a);");
  }
  EXPECT_EQ(subscriptionRows(), "1|0|'';");
}

TEST_F(SchemaTest, AFailedTableTakesEveryOtherOfTheCallWithIt) {
  dropAllTables();
  // Names differ in case for the question whether a table exists, but not for its creation.
  raw().exec("CREATE VIEW MSG_SHAREDIAL_META_TABLE AS SELECT 1;");
  EXPECT_EQ(createDb(), -1006);
  EXPECT_TRUE(logged(
      Lines{exec_failed("(1) - (view msg_sharedial_meta_table already exists)"),
            manager_error("_createDbTables",
                          "Creating table (msg_sharedial_meta_table) table failed! ret:(-1006)")} +
      creation_failed(-1006)));
  EXPECT_TRUE(tables().empty());
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);

  raw().exec("DROP VIEW MSG_SHAREDIAL_META_TABLE;");
  EXPECT_EQ(createDb(), 0);
  EXPECT_EQ(tables(), expected_names());
  EXPECT_EQ(subscriptionRows(), "1|0|'';");
}

TEST_F(SchemaTest, NothingIsTriedAfterAFailedTable) {
  dropAllTables();
  raw().exec("CREATE VIEW TEMP_LOG AS SELECT 1; CREATE VIEW MSG_SIM_TABLE AS SELECT 1;");
  EXPECT_EQ(createDb(), -1006);
  EXPECT_TRUE(logged(Lines{exec_failed("(1) - (view temp_log already exists)"),
                           manager_error("_createDbTables",
                                         "Creating table (temp_log) table failed! ret:(-1006)")} +
                     creation_failed(-1006)));
}

TEST_F(SchemaTest, AnInitialRowThatCannotBeInsertedTakesEveryTableOfTheCallWithIt) {
  dropTable("temp_log");
  dropTable("mssi_info_table");
  // No key is left for an automatic one.
  raw().exec("INSERT INTO sqlite_sequence VALUES ('mssi_info_table', 9223372036854775807);");
  EXPECT_EQ(createDb(), -1005);
  const Lines closing = creation_failed(-1005);
  EXPECT_TRUE(
      logged({error_line("SqlStatement.cpp", "step", "[ERROR] sqlite3_step() failed: (13)"),
              warn_line("SqlStatement.cpp", "_finalize", "sqlite3_finalize() failed: (13)"),
              manager_error("_createDbTables", "step() failed: (-1005)"), closing[0],
              // SQLite has rolled back of itself.
              exec_failed("(1) - (cannot rollback - no transaction is active)"), closing[1]}));
  EXPECT_EQ(tables().size(), 12u);
  EXPECT_FALSE(DBMgrInternal().doesTableExist("temp_log"));
  EXPECT_FALSE(DBMgrInternal().doesTableExist("mssi_info_table"));
}

TEST_F(SchemaTest, ATableWhoseExistenceCannotBeAskedCountsAsMissing) {
  raw().exec(
      "PRAGMA writable_schema = ON;"
      "UPDATE sqlite_master SET sql = 'CREATE TABLE temp_log(' WHERE name = 'temp_log';");
  reopen();
  const std::string malformed = "(malformed database schema (temp_log) - incomplete input)";
  EXPECT_EQ(createDb(), -1006);
  EXPECT_TRUE(logged(
      Lines{
          opening(),
          manager_error("compileStatement", "sqlite3_prepare_v2() failed: (11) " + malformed),
          manager_error("_doesTableExist", "compileStatement() failed!"),
          exec_failed("(11) - " + malformed),
          manager_error("_createDbTables", "Creating table (temp_log) table failed! ret:(-1006)")} +
      creation_failed(-1006)));
}

}  // namespace

}  // namespace msg_tarvel::db
