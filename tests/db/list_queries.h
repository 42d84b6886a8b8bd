#pragma once

// Every query that has a fast way, and a store in which each finds rows of every kind.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

#include "db/DBMgr_internal.h"
#include "db/kept_statements.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/db/db_indexes.h"
#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "query_outcome.h"
#include "support/store.h"

namespace msg_tarvel {

struct ListQuery {
  const char* name;
  /** Asks with a vector that holds two elements already; a query of one item with a fresh one. */
  std::function<Outcome()> ask;
};

inline std::vector<ListQuery> list_queries();

/** What each query gives on the defined way. */
inline std::vector<Outcome> defined_outcomes() {
  std::vector<Outcome> outcomes;
  for (const ListQuery& query : list_queries()) outcomes.push_back(ask(query.ask, false));
  return outcomes;
}

inline std::vector<ListQuery> list_queries() {
  using db::db_get_message_list;
  constexpr std::size_t BEFORE = 2;
  ListCondition newest;
  newest.limit = 3;
  newest.convIds = {1, 2};
  ListCondition oldest;
  oldest.ascending = true;
  oldest.limit = 6;
  return {
      {"all",
       [] {
         return list_outcome<Message>(
             BEFORE, [](auto& out) { return db_get_message_list(ListCondition(), out); });
       }},
      {"newest",
       [newest] {
         return list_outcome<Message>(BEFORE,
                                      [&](auto& out) { return db_get_message_list(newest, out); });
       }},
      {"oldest",
       [oldest] {
         return list_outcome<Message>(BEFORE,
                                      [&](auto& out) { return db_get_message_list(oldest, out); });
       }},
      {"by time",
       [] {
         return list_outcome<Message>(
             BEFORE, [](auto& out) { return db::db_get_messages_by_time(1003, NO_FOLDER, out); });
       }},
      {"unsynced",
       [] {
         return list_outcome<Message>(BEFORE,
                                      [](auto& out) { return db::db_get_unsynced_messages(out); });
       }},
      {"standalone",
       [] {
         return list_outcome<Message>(BEFORE, [](auto& out) {
           return db::db_get_standalone_messages({0, 1, 2, 3}, out);
         });
       }},
      {"threads",
       [] {
         return list_outcome<Thread>(BEFORE, [](auto& out) { return db::db_get_threads(out); });
       }},
      {"thread",
       [] { return item_outcome<Thread>([](auto& out) { return db::db_get_thread(2, out); }); }},
      {"conversation",
       [] {
         return list_outcome<Conversation>(
             BEFORE, [](auto& out) { return db::db_get_conversations(1, out); });
       }},
      {"uncorrelated",
       [] {
         return list_outcome<NmsMsgMeta>(BEFORE, [](auto& out) {
           return db::db_get_uncorrelated_nms_msg_metas(
               "p1", NmsMsgMeta::BT_CORRELATION, NmsMsgMeta::PRIMARY_OR_SECONDARY_ID, true, out);
         });
       }},
  };
}

/** A store with messages of every kind, many of them of equal times. */
class ListQueriesTest : public StoreTest {
 protected:
  /** With `salesCode` "ATT" messages have metadata. */
  explicit ListQueriesTest(const std::string& salesCode = "ATT") {
    FakePlatform::get().set("db/csc/salescode", salesCode);
    common_util::is_linkdial_supported();
    FakePlatform::get().clearLines();
  }

  void TearDown() override {
    if (!connection()) return;
    db::forget_kept_statements(connection());
    EXPECT_EQ(sqlite3_next_stmt(connection(), nullptr), nullptr) << "a statement was left behind";
  }

  /** Message i belongs to conversation i % `conversations` + 1. */
  void fill(int conversations, int messages) {
    raw().exec("BEGIN;" +
               perNumber(conversations,
                         "INSERT INTO msg_conversation_table (unreadCnt, msgCnt, "
                         "displayTime, mainText, lastMsgId) SELECT i % 3, 1 + i % 2, "
                         "2000 + i / 2, 'conversation ' || i, i") +
               perNumber(2 * conversations,
                         "INSERT INTO msg_address_table (convId, addressType, address) "
                         "SELECT (i + 1) / 2, i % 2, '+1415555' || i") +
               perNumber(messages,
                         "INSERT INTO msg_message_table (convId, msgType, itemId, storageId, "
                         "storageFolder, networkStatus, mainText, textMessage, displayTime, "
                         "attachedNum, sync, read, simIndex, stickerId) "
                         "SELECT i % " +
                             std::to_string(conversations) +
                             " + 1, CASE i % 3 WHEN 0 THEN 'mms' ELSE 'sms' END, i % 4, 1, "
                             "CASE i % 5 WHEN 0 THEN 1 WHEN 1 THEN 2 WHEN 2 THEN 101 WHEN 3 THEN 3 "
                             "ELSE 103 END, CASE i % 7 WHEN 0 THEN 1 WHEN 1 THEN 3 ELSE 16 END, "
                             "'main ' || i, 'text ' || i, 1000 + i / 2, i % 2, i % 4 > 1, "
                             "i % 3 > 0, i % 2, '+1415555' || i") +
               perNumber(messages,
                         "INSERT INTO msg_mms_content_table (msgId, slideIdx, textData, filepath) "
                         "SELECT i - i % 3, i % 2, 'part ' || i, '/path/' || i") +
               perNumber(messages,
                         "INSERT INTO msg_nms_meta_table (msgId, objectId, primaryId, "
                         "secondaryId, BTCorrelated, MSSICorrelated, msgTime) SELECT i, "
                         "'object ' || i, 'p' || (i % 2), 'p' || (i % 3), i % 3 = 2, 0, i / 3") +
               "COMMIT;");
  }

  static void createIndexes() { ASSERT_EQ(db::db_create_indexes(), db::DB_SUCCESS); }

  static sqlite3* connection() { return db::DBMgrInternal().handle(); }

  static void expectNothingLeftBehind(bool isInTransaction = false) {
    for (sqlite3_stmt* each = sqlite3_next_stmt(connection(), nullptr); each;
         each = sqlite3_next_stmt(connection(), each)) {
      EXPECT_EQ(sqlite3_stmt_busy(each), 0) << sqlite3_sql(each);
    }
    EXPECT_EQ(sqlite3_get_autocommit(connection()) == 0, isInTransaction);
  }

 private:
  /** Runs `insertSelect` for each i from 1 to `count`. */
  static std::string perNumber(int count, const std::string& insertSelect) {
    return "WITH RECURSIVE number(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM number WHERE i < " +
           std::to_string(count) + ") " + insertSelect + " FROM number;";
  }
};

/** Of a parameter that says whether there are indexes. */
inline std::string name_of_store(const ::testing::TestParamInfo<bool>& info) {
  return info.param ? "Indexed" : "Plain";
}

}  // namespace msg_tarvel
