// The fast ways against the defined way, on stores of all kinds: with and without indexes, with
// those of a stranger, with views in the place of tables, within a transaction, and with rows that
// only a stranger writes. Items, order, results and log lines must be the same.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/db/db_indexes.h"
#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "query_outcome.h"
#include "support/fake_platform.h"
#include "support/store.h"

namespace msg_tarvel::db {

namespace {

/** An SQL literal out of `usual`, and now and then one out of `odd`. */
std::string literal(const std::vector<std::string>& usual, const std::vector<std::string>& odd,
                    int oddOnes) {
  const bool isOdd = *rc::gen::inRange(0, 100) < oddOnes;
  return *rc::gen::elementOf(isOdd ? odd : usual);
}

const std::vector<std::string> TEXTS = {"'a'",
                                        "''",
                                        "'+14155550111'",
                                        "'7'",
                                        "NULL",
                                        "'x' || char(0) || 'y'",
                                        "CAST(x'ff41c3' AS TEXT)",
                                        "'\xF0\x9F\x98\x80'"};
const std::vector<std::string> ODD_TEXTS = {"5", "2.5", "x'616263'"};

std::string text() { return literal(TEXTS, ODD_TEXTS, 5); }

std::string number(const std::vector<std::string>& usual, int oddOnes) {
  return literal(usual, {"NULL", "'abc'", "'3x'", "2.5", "x'31'", "4294967299", "-1"}, oddOnes);
}

std::string conversation_id(int oddOnes) {
  return literal({"1", "2", "3", "4"},
                 {"5", "0", "4294967301", "'abc'", "'3x'", "x'31'", "2.5", "'1'", "8589934592"},
                 oddOnes);
}

std::string message_id(int oddOnes) {
  return literal({"1", "2", "3", "4", "5", "6", "7", "8", "9"},
                 {"NULL", "4294967301", "'abc'", "-3", "0", "'5'", "2.5"}, oddOnes);
}

std::string insert(const std::string& table, const Row& row) {
  std::string columns;
  std::string values;
  for (const auto& [column, value] : row) {
    columns += (columns.empty() ? "" : ", ") + column;
    values += (values.empty() ? "" : ", ") + value;
  }
  return "INSERT OR IGNORE INTO " + table + " (" + columns + ") VALUES (" + values + ");";
}

/** The key of a message: given by the store, or one that a stranger chose. */
std::string message_key(int oddOnes) {
  return literal({"NULL"}, {"4294967297", "-3", "0", "2147483648", "1000"}, oddOnes / 4);
}

std::string message(int oddOnes) {
  return insert(
      "msg_message_table",
      {{"msgId", message_key(oddOnes)},
       {"convId", literal({conversation_id(oddOnes)}, {"-2"}, oddOnes / 8)},
       {"msgType",
        literal({"'sms'", "'mms'"},
                {"'MMS'", "NULL", "'mms' || char(0)", "x'6d6d73'", "7", "'mms '"}, oddOnes)},
       {"itemId", number({"0", "1", "2"}, oddOnes)},
       {"storageId", number({"1", "2"}, oddOnes)},
       {"storageFolder", number({"1", "2", "3", "5", "101", "103", "105", "0", "9999"}, oddOnes)},
       {"networkStatus", number({"16", "0", "1", "3"}, oddOnes)},
       {"mainText", text()},
       {"textMessage", text()},
       {"displayTime", number({"10", "20", "30", "-5"}, oddOnes)},
       {"read", number({"0", "1"}, oddOnes)},
       {"sync", number({"0", "1"}, oddOnes)},
       {"simIndex", number({"0", "1"}, oddOnes)},
       {"peerGroupChatSender", text()},
       {"stickerId", number({"0", "7"}, oddOnes)}});
}

std::string conversation(int oddOnes) {
  return insert("msg_conversation_table",
                {{"convId", literal({"NULL"}, {"4294967301", "-2", "0"}, oddOnes / 2)},
                 {"unreadCnt", number({"0", "1"}, oddOnes)},
                 {"msgCnt", number({"0", "1", "2"}, oddOnes)},
                 {"displayTime", number({"10", "20", "30"}, oddOnes)},
                 {"mainText", text()},
                 {"lastMsgId", number({"1", "2"}, oddOnes)}});
}

std::string address(int oddOnes) {
  return insert("msg_address_table", {{"convId", conversation_id(oddOnes)},
                                      {"addressType", number({"0", "1"}, oddOnes)},
                                      {"recipientType", number({"1", "2"}, oddOnes)},
                                      {"address", text()}});
}

std::string content(int oddOnes) {
  return insert("msg_mms_content_table", {{"msgId", message_id(oddOnes)},
                                          {"slideIdx", number({"0", "1"}, oddOnes)},
                                          {"textData", text()},
                                          {"contentType", text()},
                                          {"filepath", text()}});
}

std::string nms_meta(int oddOnes) {
  return insert("msg_nms_meta_table",
                {{"msgId", message_id(oddOnes)},
                 {"objectId", literal({"'o1'", "'o2'"}, {"''", "NULL"}, oddOnes)},
                 {"primaryId", literal({"'p1'", "'p2'"}, {"NULL", "7"}, oddOnes)},
                 {"secondaryId", literal({"'p1'", "'s2'"}, {"NULL", "7"}, oddOnes)},
                 {"BTCorrelated", number({"0", "1"}, oddOnes)},
                 {"MSSICorrelated", number({"0", "1"}, oddOnes)},
                 {"MSSISync", number({"0", "1"}, oddOnes)},
                 {"deleted", number({"0", "1"}, oddOnes)},
                 {"msgTime", number({"10", "20", "30"}, oddOnes)},
                 {"downloadRequired", number({"0", "1"}, oddOnes)}});
}

std::string repeated(const std::function<std::string(int)>& statement, int atMost, int oddOnes) {
  std::string sql;
  const int count = *rc::gen::inRange(0, atMost + 1);
  for (int i = 0; i < count; ++i) sql += statement(oddOnes);
  return sql;
}

/** The rows of a store. Every second one is as an owner writes it. */
std::string arbitrary_rows() {
  const int oddOnes = *rc::gen::elementOf(std::vector<int>{0, 20});
  return repeated(&conversation, 6, oddOnes) + repeated(&message, 25, oddOnes) +
         repeated(&address, 12, oddOnes) + repeated(&content, 12, oddOnes) +
         repeated(&nms_meta, 12, oddOnes);
}

/** Of a caller who does not refuse quotes. */
constexpr const char* QUOTED_TYPE = "x' OR msgType = 'sms";

/** The queries that a case asks, with arbitrary arguments. */
std::vector<std::pair<std::string, std::function<Outcome()>>> arbitrary_queries(
    bool withQuotes = true) {
  const auto before = *rc::gen::inRange<std::size_t>(0, 2);
  ListCondition condition;
  condition.folderType = *rc::gen::elementOf(std::vector<int>{9999, 9999, 1, 2, -2, -3, -6, -9});
  condition.readFilter = *rc::gen::elementOf(std::vector<int>{-1, 0, 1});
  condition.convIds = *rc::gen::elementOf(
      std::vector<std::vector<int>>{{}, {}, {1}, {1, 2}, {3, 1, 2, 4}, {1, 2, 1}});
  condition.msgType =
      *rc::gen::elementOf(std::vector<std::string>{"", "", "sms", "mms", QUOTED_TYPE});
  if (!withQuotes && condition.msgType == QUOTED_TYPE) condition.msgType = "";
  condition.ascending = *rc::gen::arbitrary<bool>();
  condition.limit = *rc::gen::elementOf(std::vector<int>{0, 0, 1, 3, -1});
  const int convId = *rc::gen::inRange(-1, 6);
  const int msgId = *rc::gen::inRange(0, 12);
  const auto folder = static_cast<FolderType>(*rc::gen::elementOf(std::vector<int>{0, 1, -7, -8}));
  const bool ascending = *rc::gen::arbitrary<bool>();
  const auto correlation = static_cast<NmsMsgMeta::CorrelationType>(*rc::gen::inRange(0, 2));
  const auto search = static_cast<NmsMsgMeta::CorrelationIdSearchType>(*rc::gen::inRange(0, 3));
  const auto correlationId = *rc::gen::elementOf(std::vector<std::string>{"", "p1", "p2"});

  return {
      {"list",
       [=] {
         return list_outcome<Message>(
             before, [&](auto& out) { return db_get_message_list(condition, out); });
       }},
      {"by time",
       [=] {
         return list_outcome<Message>(
             before, [&](auto& out) { return db_get_messages_by_time(25, folder, out); });
       }},
      {"unsynced",
       [=] {
         return list_outcome<Message>(before,
                                      [](auto& out) { return db_get_unsynced_messages(out); });
       }},
      {"standalone",
       [=] {
         return list_outcome<Message>(before, [](auto& out) {
           return db_get_standalone_messages({1, 2}, out);
         });
       }},
      {"message",
       [=] {
         return item_outcome<Message>([&](auto& out) { return db_get_message(msgId, out); });
       }},
      {"message of an item",
       [=] {
         return item_outcome<Message>(
             [](auto& out) { return db_get_message(1, "sms", MAIN_FOLDER_1, out); });
       }},
      {"threads",
       [=] { return list_outcome<Thread>(before, [](auto& out) { return db_get_threads(out); }); }},
      {"thread",
       [=] {
         int lastMsgId = 0;
         Outcome outcome = item_outcome<Thread>([&](auto& out) {
           const int ret = db_get_thread(convId, out);
           if (ret == DB_SUCCESS) lastMsgId = out.lastMsgId;
           return ret;
         });
         outcome.items += std::to_string(lastMsgId);
         return outcome;
       }},
      {"conversation",
       [=] {
         return list_outcome<Conversation>(
             before, [&](auto& out) { return db_get_conversations(convId, out); });
       }},
      {"uncorrelated",
       [=] {
         return list_outcome<NmsMsgMeta>(before, [&](auto& out) {
           return db_get_uncorrelated_nms_msg_metas(correlationId, correlation, search, ascending,
                                                    out);
         });
       }},
      {"to synchronise",
       [=] {
         return list_outcome<NmsMsgMeta>(
             before, [&](auto& out) { return db_get_sync_required_nms_msg_metas(ascending, out); });
       }},
      {"to download",
       [=] {
         return list_outcome<NmsMsgMeta>(
             before, [](auto& out) { return db_get_download_required_nms_msg_metas(out); });
       }},
      {"metadata of an object",
       [=] {
         return item_outcome<NmsMsgMeta>(
             [](auto& out) { return db_get_nms_msg_meta(0, "o1", out); });
       }},
  };
}

constexpr const char* EMPTY_TABLES =
    "DELETE FROM msg_message_table; DELETE FROM msg_conversation_table; "
    "DELETE FROM msg_address_table; DELETE FROM msg_mms_content_table; "
    "DELETE FROM msg_nms_meta_table; DELETE FROM sqlite_sequence;";

/** Indexes that are not ours, one of which moves the addresses of a conversation. */
constexpr const char* STRANGERS_INDEXES =
    "CREATE INDEX stranger1 ON msg_address_table(convId, address, addressType, recipientType);"
    "CREATE INDEX stranger2 ON msg_mms_content_table(msgId, slideIdx DESC);"
    "CREATE INDEX stranger3 ON msg_message_table(convId, networkStatus);";

/** `table` becomes a view of its rows, and a table again. */
std::string make_view(const std::string& table) {
  return "ALTER TABLE " + table + " RENAME TO rows; CREATE VIEW " + table +
         " AS SELECT * FROM rows;";
}
std::string make_table(const std::string& table) {
  return "DROP VIEW " + table + "; ALTER TABLE rows RENAME TO " + table + ";";
}

/** The parameter: the sales code. Only one of them has metadata in its messages. */
class FastQueries : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  FastQueries() {
    FakePlatform::get().set("db/csc/salescode", GetParam());
    common_util::is_linkdial_supported();
  }

  void fill() { raw().exec(std::string("BEGIN;") + EMPTY_TABLES + arbitrary_rows() + "COMMIT;"); }

  /** Both ways on one store. */
  static void compareWays() {
    for (const auto& [name, query] : arbitrary_queries()) {
      RC_TAG(name);
      const Outcome defined = ask(query, false);
      RC_ASSERT(ask(query, true) == defined);
    }
  }

  static bool holds(const std::string& what, const std::function<void()>& property) {
    return rc::check(what, property);
  }
};

TEST_P(FastQueries, GiveWhatTheDefinedWayGives) {
  EXPECT_TRUE(holds("the same", [this] {
    fill();
    compareWays();
  }));
}

TEST_P(FastQueries, GiveTheSameWithIndexes) {
  EXPECT_TRUE(holds("nothing moves", [this] {
    raw().exec("BEGIN;");
    for (const std::string& index :
         raw().column("SELECT name FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL;")) {
      raw().exec("DROP INDEX " + index + ";");
    }
    raw().exec(EMPTY_TABLES + arbitrary_rows() + "COMMIT;");

    // A condition with quotes of its own says for itself how it orders.
    const auto queries = arbitrary_queries(false);
    std::vector<Outcome> plain;
    plain.reserve(queries.size());
    for (const auto& query : queries) plain.push_back(ask(query.second, false));
    RC_ASSERT(db_create_indexes() == DB_SUCCESS);
    if (*rc::gen::arbitrary<bool>()) raw().exec("ANALYZE;");
    for (std::size_t i = 0; i < queries.size(); ++i) {
      RC_TAG(queries[i].first);
      RC_ASSERT(ask(queries[i].second, true) == plain[i]);
    }
  }));
}

TEST_P(FastQueries, GiveTheSameWithTheIndexesOfAStranger) {
  raw().exec(STRANGERS_INDEXES);
  EXPECT_TRUE(holds("the same", [this] {
    fill();
    // The order among equals is SQLite's own choice here; messages of one time are not compared.
    raw().exec("UPDATE msg_message_table SET displayTime = msgId, msgType = 'mms' || msgId;");
    compareWays();
  }));
}

TEST_P(FastQueries, GiveTheSameWithinATransactionOfTheCaller) {
  EXPECT_TRUE(holds("the same", [this] {
    fill();
    DBMgr& store = *DBMgr::getInstance();
    RC_ASSERT(store.beginTransaction() == DB_SUCCESS);
    RC_ASSERT(store.execStatement(arbitrary_rows()) == DB_SUCCESS);
    compareWays();
    RC_ASSERT(store.endTransaction(false) == DB_SUCCESS);
  }));
}

TEST_P(FastQueries, GiveTheSameWithAViewInATablesPlace) {
  EXPECT_TRUE(holds("the same", [this] {
    const auto table = *rc::gen::elementOf(
        std::vector<std::string>{"msg_mms_content_table", "msg_address_table", "msg_nms_meta_table",
                                 "msg_conversation_table", "msg_message_table"});
    fill();
    raw().exec(make_view(table));
    compareWays();
    raw().exec(make_table(table));
  }));
}

INSTANTIATE_TEST_SUITE_P(Of, FastQueries, ::testing::Values("ATT", "NONE"),
                         [](const auto& instance) { return std::string(instance.param); });

}  // namespace

}  // namespace msg_tarvel::db
