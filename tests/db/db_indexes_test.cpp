// The indexes: what they are, that they are made wholly or not at all, that look-ups use them and
// that no row moves because of them.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "list_queries.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "support/db_log.h"
#include "support/processes.h"
#include "support/sqlite_faults.h"
#include "support/text_file.h"

namespace msg_tarvel::db {

namespace {

using Texts = std::vector<std::string>;

const std::vector<std::pair<std::string, std::string>> ALL_INDEXES = {
    {"msg_address_conversation_index", "msg_address_table(convId)"},
    {"msg_mms_content_message_index", "msg_mms_content_table(msgId)"},
    {"msg_ft_content_message_index", "msg_ft_content_table(msgId)"},
    {"msg_ft_content_path_index", "msg_ft_content_table(filepath)"},
    {"msg_nms_meta_message_index", "msg_nms_meta_table(msgId)"},
    {"msg_nms_meta_object_index", "msg_nms_meta_table(objectId)"},
    {"msg_nms_meta_primary_index", "msg_nms_meta_table(primaryId, BTCorrelated, MSSICorrelated)"},
    {"msg_nms_meta_download_index", "msg_nms_meta_table(downloadRequired)"},
    {"msg_nms_meta_bt_index", "msg_nms_meta_table(BTCorrelated)"},
    {"msg_nms_meta_mssi_index", "msg_nms_meta_table(MSSICorrelated, MSSISync, deleted)"},
    {"msg_message_unsynced_index", "msg_message_table(msgType) WHERE sync = 0"},
    {"msg_message_item_index", "msg_message_table(itemId) WHERE msgType IS NOT NULL"},
    {"msg_message_conversation_index",
     "msg_message_table(convId, displayTime DESC, msgId, networkStatus, simIndex, storageFolder, "
     "read)"},
    {"msg_message_time_index", "msg_message_table(displayTime DESC)"},
};

Texts creations() {
  Texts texts;
  for (const auto& [name, columns] : ALL_INDEXES) {
    texts.push_back("CREATE INDEX IF NOT EXISTS " + name + " ON " + columns + ";");
  }
  return texts;
}

ExpectedLine indexes_error(const std::string& function, const std::string& message) {
  return error_line("db_indexes.cpp", function, "[ERROR] " + message);
}

ExpectedLine not_created(const std::string& name) {
  return indexes_error("db_create_indexes", "Creating index (" + name + ") failed! ret:(-1006)");
}

class Indexes : public ListQueriesTest {
 protected:
  Texts found() {
    return raw().column(
        "SELECT sql FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL ORDER BY rowid;");
  }
  static DBMgr& store() { return *DBMgr::getInstance(); }
};

TEST_F(Indexes, AreTheseInThisOrder) {
  ASSERT_EQ(db_create_indexes(), DB_SUCCESS);
  Texts expected;
  for (const auto& [name, columns] : ALL_INDEXES) {
    expected.push_back("CREATE INDEX " + name + " ON " + columns);
  }
  EXPECT_EQ(found(), expected);
  EXPECT_TRUE(logged({}));
  expectNothingLeftBehind();
}

TEST_F(Indexes, AreMadeInOneTransaction) {
  SqliteFaults::clearCalls();
  ASSERT_EQ(db_create_indexes(), DB_SUCCESS);
  Texts expected = {"exec BEGIN IMMEDIATE TRANSACTION"};
  for (const std::string& text : creations()) expected.push_back("exec " + text);
  expected.emplace_back("exec COMMIT TRANSACTION");
  EXPECT_EQ(SqliteFaults::calls(), expected);
}

TEST_F(Indexes, AreNotMadeByCreateDb) {
  ASSERT_EQ(store().createDb(), DB_SUCCESS);
  EXPECT_EQ(found(), Texts{});
}

TEST_F(Indexes, AreNotMadeAgain) {
  fill(3, 9);
  ASSERT_EQ(db_create_indexes(), DB_SUCCESS);
  const std::string before = read_file(dbFile());
  ASSERT_FALSE(before.empty());
  EXPECT_EQ(db_create_indexes(), DB_SUCCESS);
  EXPECT_EQ(read_file(dbFile()), before);
}

TEST_F(Indexes, OfWhichOneIsMissingAreCompleted) {
  ASSERT_EQ(db_create_indexes(), DB_SUCCESS);
  raw().exec("DROP INDEX msg_nms_meta_bt_index;");
  ASSERT_EQ(db_create_indexes(), DB_SUCCESS);
  EXPECT_EQ(found().size(), ALL_INDEXES.size());
}

TEST_F(Indexes, AreSeenByAnotherConnection) {
  fill(3, 9);
  const std::string plan = "EXPLAIN QUERY PLAN SELECT * FROM msg_address_table WHERE convId = 1;";
  ASSERT_EQ(raw().column("SELECT count(*) FROM msg_address_table;"), Texts{"6"});
  ASSERT_EQ(db_create_indexes(), DB_SUCCESS);
  Child other([this] {
    RawConnection own(dbFile());
    return own.column("SELECT 1 FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL;")
                       .size() == ALL_INDEXES.size()
               ? 0
               : 1;
  });
  EXPECT_EQ(other.wait(), 0);
  EXPECT_EQ(raw().column("SELECT count(*) FROM msg_address_table INDEXED BY "
                         "msg_address_conversation_index WHERE convId = 1;"),
            Texts{"2"});
  EXPECT_EQ(raw().value("PRAGMA integrity_check;"), "ok");
}

// ---- Failures ----------------------------------------------------------------------------------

TEST_F(Indexes, ThatCannotAllBeMadeAreTakenBack) {
  fill(3, 9);
  const Texts texts = creations();
  for (std::size_t i = 0; i < texts.size(); ++i) {
    SCOPED_TRACE(texts[i]);
    SqliteFaults::fail("exec", texts[i], SQLITE_FULL);
    EXPECT_EQ(db_create_indexes(), DB_ERR_EXEC);
    EXPECT_TRUE(logged(
        {exec_failed("(13) - (database or disk is full)"), not_created(ALL_INDEXES[i].first)}));
    EXPECT_EQ(found(), Texts{});
    expectNothingLeftBehind();
    EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
  }
  EXPECT_EQ(db_create_indexes(), DB_SUCCESS);
  EXPECT_EQ(found().size(), ALL_INDEXES.size());
}

TEST_F(Indexes, OfAStoreThatLacksATableAreNotMade) {
  raw().exec("DROP TABLE msg_nms_meta_table;");
  EXPECT_EQ(db_create_indexes(), DB_ERR_EXEC);
  EXPECT_TRUE(logged({exec_failed("(1) - (no such table: main.msg_nms_meta_table)"),
                      not_created("msg_nms_meta_message_index")}));
  EXPECT_EQ(found(), Texts{});
  expectNothingLeftBehind();
}

TEST_F(Indexes, WaitForAWriterAndGiveUp) {
  raw().exec("BEGIN IMMEDIATE;");
  EXPECT_EQ(db_create_indexes(), DB_ERR_EXEC);
  EXPECT_EQ(SqliteFaults::sleeps().size(), 6u);
  EXPECT_TRUE(logged({gave_up_waiting(), exec_failed("(5) - (database is locked)"),
                      indexes_error("db_create_indexes", "beginTransaction() failed!")}));
  expectNothingLeftBehind();
  raw().exec("COMMIT;");
  EXPECT_EQ(db_create_indexes(), DB_SUCCESS);
}

class IndexesWithoutStore : public DataDirTest {};

TEST_F(IndexesWithoutStore, AreNotMade) {
  FakePlatform::get().setDataPath(std::nullopt);
  EXPECT_EQ(db_create_indexes(), DB_ERR_OPEN);
  EXPECT_TRUE(logged({opening(), manager_error("fill_data_dir_path", "app_get_data_path() failed!"),
                      manager_error("_openDb", "sqlite3_open() failed: (14)"),
                      indexes_error("db_create_indexes", "beginTransaction() failed!")}));
}

TEST_F(Indexes, AreTakenBackWhenAReaderStays) {
  fill(3, 9);
  sqlite3_stmt* reader = nullptr;
  ASSERT_EQ(
      sqlite3_prepare_v2(raw().handle(), "SELECT * FROM msg_message_table;", -1, &reader, nullptr),
      SQLITE_OK);
  ASSERT_EQ(sqlite3_step(reader), SQLITE_ROW);
  EXPECT_EQ(db_create_indexes(), DB_ERR_EXEC);
  EXPECT_TRUE(logged({gave_up_waiting(), exec_failed("(5) - (database is locked)"),
                      indexes_error("db_create_indexes", "endTransaction() failed: (-1006)")}));
  sqlite3_finalize(reader);
  EXPECT_EQ(found(), Texts{});
  expectNothingLeftBehind();
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 0);
  EXPECT_EQ(db_create_indexes(), DB_SUCCESS);
}

// ---- Within a transaction of the caller's ------------------------------------------------------

TEST_F(Indexes, WithinATransactionShareItsEnd) {
  for (const bool isCommitted : {false, true}) {
    ASSERT_EQ(store().beginTransaction(), DB_SUCCESS);
    EXPECT_EQ(db_create_indexes(), DB_SUCCESS);
    expectNothingLeftBehind(true);
    EXPECT_EQ(DBMgrInternal().transactionDepth(), 1);
    EXPECT_EQ(found(), Texts{});
    ASSERT_EQ(store().endTransaction(isCommitted), DB_SUCCESS);
    EXPECT_EQ(found().size(), isCommitted ? ALL_INDEXES.size() : 0u);
  }
}

TEST_F(Indexes, WithinATransactionLeaveAFailureToIt) {
  ASSERT_EQ(store().beginTransaction(), DB_SUCCESS);
  SqliteFaults::fail("exec", creations()[2], SQLITE_FULL);
  EXPECT_EQ(db_create_indexes(), DB_ERR_EXEC);
  expectNothingLeftBehind(true);
  EXPECT_EQ(DBMgrInternal().transactionDepth(), 1);
  ASSERT_EQ(store().endTransaction(true), DB_SUCCESS);
  EXPECT_EQ(found().size(), 2u);
}

// ---- Plans -------------------------------------------------------------------------------------

/** How SQLite runs the statements of a query: the steps of their plans. */
class Plans : public Indexes, public ::testing::WithParamInterface<bool> {
 protected:
  Plans() {
    fill(50, 2000);
    // As in the store of a person: what is still to be done is rare.
    raw().exec(
        "INSERT INTO msg_ft_content_table (msgId, filepath, contentType) "
        "SELECT msgId, '/path/' || msgId, 'json_msg' FROM msg_message_table;"
        "UPDATE msg_message_table SET itemId = msgId, sync = msgId > 20;"
        "UPDATE msg_nms_meta_table SET primaryId = 'p' || id, secondaryId = 's' || id, "
        "BTCorrelated = id > 20, MSSICorrelated = id > 20, MSSISync = id BETWEEN 40 AND 50, "
        "deleted = 0, downloadRequired = id > 1990;");
    createIndexes();
    if (GetParam()) raw().exec("ANALYZE;");
    init_db();
    deinit_db();  // the next connection reads what ANALYZE wrote
  }

  /** The steps of what `action` compiles, on its fast or on its defined way. */
  std::set<std::string> stepsOf(const std::function<void()>& action, bool isFast) {
    if (connection()) forget_kept_statements(connection());
    SqliteFaults::clearCalls();
    if (isFast) {
      action();
    } else {
      const DefinedWay way;
      action();
    }
    const std::string compiling = "prepare ";
    std::set<std::string> steps;
    for (const std::string& call : SqliteFaults::calls()) {
      if (call.compare(0, compiling.size(), compiling) != 0) continue;
      for (const std::string& step : planOf(call.substr(compiling.size()))) steps.insert(step);
    }
    EXPECT_FALSE(steps.empty());
    return steps;
  }

  void expectNoScan(const char* name, const std::function<void()>& action) {
    for (const bool isFast : {false, true}) {
      for (const std::string& step : stepsOf(action, isFast)) {
        EXPECT_NE(step.compare(0, 4, "SCAN"), 0) << name << (isFast ? ", fast: " : ": ") << step;
      }
    }
  }

 private:
  /** On the library's connection. */
  static Texts planOf(const std::string& sql) {
    if (sql.compare(0, 6, "SELECT") != 0 || sql.find("sqlite_master") != std::string::npos) {
      return {};
    }
    Texts steps;
    const auto append = [](void* to, int /*columns*/, char** values, char** /*names*/) {
      static_cast<Texts*>(to)->emplace_back(values[3]);
      return 0;
    };
    EXPECT_EQ(
        sqlite3_exec(connection(), ("EXPLAIN QUERY PLAN " + sql).c_str(), append, &steps, nullptr),
        SQLITE_OK)
        << sql;
    return steps;
  }
};

ListCondition conversations(const std::vector<int32_t>& convIds) {
  ListCondition cond;
  cond.convIds = convIds;
  return cond;
}

TEST_P(Plans, LookUpsScanNoTable) {
  Message message;
  std::vector<Message> messages;
  expectNoScan("message", [&] { db_get_message(7, message); });
  expectNoScan("item", [&] { db_get_message(11, "sms", MAIN_FOLDER_2, message); });
  expectNoScan("conversations", [&] { db_get_message_list(conversations({3, 4}), messages); });
  expectNoScan("time", [&] { db_get_messages_by_time(1010, NO_FOLDER, messages); });
  expectNoScan("thread", [] {
    Thread thread;
    db_get_thread(5, thread);
  });
  expectNoScan("conversation", [] {
    std::vector<Conversation> out;
    db_get_conversations(5, out);
  });
  expectNoScan("addresses", [] {
    std::vector<Address> out;
    db_get_addresses(5, out);
  });
  expectNoScan("contents", [] {
    std::vector<Content> out;
    db_get_contents(6, out);
  });
  expectNoScan("sending", [] {
    Content content;
    db_get_sending_msg_content_info(6, content);
    db_get_sending_file_content_info("/path/6", content);
  });
  expectNoScan("metadata", [] {
    NmsMsgMeta meta;
    db_get_nms_msg_meta(6, "", meta);
    db_get_nms_msg_meta(0, "object 6", meta);
  });
  expectNoScan("metadata to be fetched", [] {
    bool hasAny = false;
    db_has_download_required_message(&hasAny);
    std::vector<NmsMsgMeta> out;
    db_get_download_required_nms_msg_metas(out);
    db_get_sync_required_nms_msg_metas(false, out);
  });
  expectNoScan("uncorrelated", [] {
    std::vector<NmsMsgMeta> out;
    for (const auto type : {NmsMsgMeta::BT_CORRELATION, NmsMsgMeta::MSSI_CORRELATION}) {
      for (const auto search : {NmsMsgMeta::PRIMARY_ID, NmsMsgMeta::SECONDARY_ID,
                                NmsMsgMeta::PRIMARY_OR_SECONDARY_ID}) {
        db_get_uncorrelated_nms_msg_metas("p11", type, search, true, out);
      }
    }
  });
}

TEST_P(Plans, UnsyncedMessagesComeFromAnIndexThatHasNoOthers) {
  const auto query = [] {
    std::vector<Message> out;
    db_get_unsynced_messages(out);
  };
  for (const bool isFast : {false, true}) {
    for (const std::string& step : stepsOf(query, isFast)) {
      if (step.compare(0, 4, "SCAN") != 0) continue;
      EXPECT_EQ(step, "SCAN msg_message_table USING INDEX msg_message_unsynced_index");
    }
  }
}

// An index would give the messages in the order of the items: they come in that of the store.
TEST_P(Plans, StandaloneMessagesAreFoundInOnePass) {
  const auto query = [] {
    std::vector<Message> out;
    db_get_standalone_messages({7, 3}, out);
  };
  for (const bool isFast : {false, true}) {
    EXPECT_EQ(stepsOf(query, isFast).count("SCAN msg_message_table"), 1u);
  }
}

TEST_P(Plans, TheNewestMessagesComeFromTheIndexOfTimes) {
  ListCondition newest;
  newest.limit = 20;
  const auto steps = stepsOf(
      [&] {
        std::vector<Message> out;
        db_get_message_list(newest, out);
      },
      true);
  EXPECT_EQ(steps.count("SCAN msg_message_table USING INDEX msg_message_time_index"), 1u);
  for (const std::string& step : steps) EXPECT_EQ(step.find("TEMP B-TREE"), std::string::npos);
}

TEST_P(Plans, TheEntryOfAConversationComesFromItsIndexAlone) {
  const auto steps = stepsOf(
      [] {
        Thread thread;
        db_get_thread(5, thread);
      },
      true);
  const std::set<std::string> expected = {
      "SEARCH A USING INTEGER PRIMARY KEY (rowid=?)",
      "SEARCH msg_message_table USING COVERING INDEX msg_message_conversation_index (convId=?)"};
  for (const std::string& step : expected) EXPECT_EQ(steps.count(step), 1u) << step;
  for (const std::string& step : steps) EXPECT_EQ(step.find("TEMP B-TREE"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(With, Plans, ::testing::Bool(), [](const auto& instance) {
  return std::string(instance.param ? "Statistics" : "NoStatistics");
});

// ---- Nothing moves -----------------------------------------------------------------------------

/** Messages 1 to 12 of one time, in conversations 3, 2, 1, 3, ... */
class Ties : public Indexes {
 protected:
  Ties() {
    for (int i = 1; i <= 12; ++i) {
      insert("msg_message_table", {{"convId", std::to_string(3 - (i - 1) % 3)},
                                   {"msgType", i % 2 == 0 ? "'a'" : "'b'"},
                                   {"itemId", std::to_string(2 - i % 2)},
                                   {"storageFolder", i % 2 == 0 ? "101" : "1"},
                                   {"read", "1"},
                                   {"sync", "0"},
                                   {"displayTime", "10"}});
      insert("msg_nms_meta_table", {{"msgId", std::to_string(i)},
                                    {"primaryId", i % 2 == 0 ? "'x'" : "'y'"},
                                    {"secondaryId", i % 3 == 0 ? "'x'" : "'z'"},
                                    {"BTCorrelated", "0"},
                                    {"MSSICorrelated", "0"},
                                    {"msgTime", "10"}});
    }
  }

  /** Expects `query` to give these ids whatever the way, and whether there are indexes or not. */
  template <typename Item>
  void expectOrder(const std::vector<int>& ids,
                   const std::function<int(std::vector<Item>&)>& query) {
    const auto given = [&](bool isFast) {
      std::vector<int> got;
      ask(
          [&] {
            return list_outcome<Item>(0, [&](std::vector<Item>& out) {
              const int ret = query(out);
              for (const Item& item : out) got.push_back(item.msgId);
              return ret;
            });
          },
          isFast);
      return got;
    };
    EXPECT_EQ(given(false), ids);
    EXPECT_EQ(given(true), ids);
    createIndexes();
    EXPECT_EQ(given(true), ids);
    raw().exec("ANALYZE;");
    init_db();
    deinit_db();
    EXPECT_EQ(given(true), ids);
    for (const auto& index : ALL_INDEXES) raw().exec("DROP INDEX " + index.first + ";");
    raw().exec("DROP TABLE IF EXISTS sqlite_stat4; DROP TABLE IF EXISTS sqlite_stat1;");
  }

  void expectList(const std::vector<int>& ids, const ListCondition& cond) {
    expectOrder<Message>(ids,
                         [&](std::vector<Message>& out) { return db_get_message_list(cond, out); });
  }
};

TEST_F(Ties, OfMessagesComeByTheirIdsInEitherDirection) {
  for (const bool ascending : {false, true}) {
    SCOPED_TRACE(ascending);
    ListCondition cond;
    cond.ascending = ascending;
    expectList({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, cond);
    cond.limit = 4;
    expectList({1, 2, 3, 4}, cond);
    cond.convIds = {1, 3};
    expectList({1, 3, 4, 6}, cond);
    cond.convIds = {2};
    cond.limit = 0;
    expectList({2, 5, 8, 11}, cond);
    cond.convIds = {};
    cond.folderType = FOLDER_PAIR_1;
    expectList({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, cond);
    cond.msgType = "a";
    expectList({2, 4, 6, 8, 10, 12}, cond);
  }
}

TEST_F(Ties, StayWhereTheyAreWhileAStatementOfTheCallersWrites) {
  createIndexes();
  const auto insertion =
      store().compileStatement("INSERT INTO temp_log (data1) VALUES ('a'), ('b') RETURNING id;");
  ASSERT_EQ(insertion->step(), DB_ROW);
  ListCondition oldest;
  oldest.ascending = true;
  oldest.limit = 3;
  std::vector<Message> messages;
  ASSERT_EQ(db_get_message_list(oldest, messages), DB_SUCCESS);
  ASSERT_EQ(messages.size(), 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(messages[static_cast<std::size_t>(i)].msgId, i + 1);
}

// What such a text orders by is the caller's to say, so nothing is put behind it.
TEST_F(Ties, OfAConditionWithAQuoteStayAsItsOwnTextGivesThem) {
  createIndexes();
  ListCondition cond;
  cond.ascending = true;
  cond.folderType = FOLDER_PAIR_1;
  cond.msgType = "a' OR msgType = 'b";
  std::vector<Message> messages;
  ASSERT_EQ(db_get_message_list(cond, messages), DB_SUCCESS);
  std::vector<std::string> ids;
  ids.reserve(messages.size());
  for (const Message& message : messages) ids.push_back(std::to_string(message.msgId));
  EXPECT_EQ(ids, raw().column("SELECT msgId, * FROM msg_message_table WHERE (storageFolder = 1 OR "
                              "storageFolder = 101) AND msgType = 'a' OR msgType = 'b' ORDER BY "
                              "displayTime ASC;"));
  EXPECT_FALSE(
      std::is_sorted(messages.begin(), messages.end(),
                     [](const Message& a, const Message& b) { return a.msgId < b.msgId; }));
}

TEST_F(Ties, OfOtherListsOfMessagesComeByTheirIds) {
  expectOrder<Message>({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, [](std::vector<Message>& out) {
    return db_get_messages_by_time(11, NO_FOLDER, out);
  });
  expectOrder<Message>({2, 4, 6, 8, 10, 12, 1, 3, 5, 7, 9, 11},
                       [](std::vector<Message>& out) { return db_get_unsynced_messages(out); });
  expectOrder<Message>({2, 4, 6, 8, 10, 12}, [](std::vector<Message>& out) {
    return db_get_standalone_messages({2, 1}, out);
  });
  raw().exec("UPDATE msg_message_table SET storageFolder = 101;");
  expectOrder<Message>({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, [](std::vector<Message>& out) {
    return db_get_standalone_messages({2, 1}, out);
  });
  expectOrder<Conversation>(
      {3, 6, 9, 12}, [](std::vector<Conversation>& out) { return db_get_conversations(1, out); });
}

TEST_F(Ties, OfMetadataComeByTheirKeys) {
  struct Search {
    NmsMsgMeta::CorrelationIdSearchType type;
    std::vector<int> ids;
  };
  const std::vector<Search> searches = {
      {NmsMsgMeta::PRIMARY_ID, {2, 4, 6, 8, 10, 12}},
      {NmsMsgMeta::SECONDARY_ID, {3, 6, 9, 12}},
      {NmsMsgMeta::PRIMARY_OR_SECONDARY_ID, {2, 3, 4, 6, 8, 9, 10, 12}},
  };
  for (const auto& [type, ids] : searches) {
    for (const bool ascending : {false, true}) {
      for (const auto flag : {NmsMsgMeta::BT_CORRELATION, NmsMsgMeta::MSSI_CORRELATION}) {
        expectOrder<NmsMsgMeta>(ids, [&, searchType = type](std::vector<NmsMsgMeta>& out) {
          return db_get_uncorrelated_nms_msg_metas("x", flag, searchType, ascending, out);
        });
      }
    }
  }
}

TEST_F(Ties, OfMetadataWithoutAnOrderComeByTheirKeys) {
  raw().exec(
      "UPDATE msg_nms_meta_table SET MSSICorrelated = 1, MSSISync = 1, deleted = 0, "
      "downloadRequired = 1;");
  expectOrder<NmsMsgMeta>({1, 2, 3, 4, 5}, [](std::vector<NmsMsgMeta>& out) {
    return db_get_sync_required_nms_msg_metas(false, out);
  });
  expectOrder<NmsMsgMeta>({1}, [](std::vector<NmsMsgMeta>& out) {
    return db_get_download_required_nms_msg_metas(out);
  });
}

TEST_F(Ties, OfLookUpsGiveTheFirst) {
  expectOrder<Message>({1}, [](std::vector<Message>& out) {
    return db_get_message(1, "b", MAIN_FOLDER_1, out.emplace_back());
  });
  raw().exec("UPDATE msg_nms_meta_table SET objectId = 'same';");
  expectOrder<NmsMsgMeta>({1}, [](std::vector<NmsMsgMeta>& out) {
    return db_get_nms_msg_meta(0, "same", out.emplace_back());
  });
}

}  // namespace

}  // namespace msg_tarvel::db
