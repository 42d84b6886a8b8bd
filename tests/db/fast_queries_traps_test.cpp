// Stores on which a fast way that is a little too clever goes wrong. Each test says what the query
// gives, and that both ways give it.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "list_queries.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/SqlStatement.h"
#include "support/statement_trace.h"

namespace msg_tarvel::db {

namespace {

constexpr const char* WIDE_FIVE = "4294967301";           // 2^32 + 5
constexpr const char* NEGATIVE_WIDE_ONE = "-4294967295";  // 1 - 2^32

class FastQueryTraps : public ListQueriesTest {
 protected:
  ~FastQueryTraps() override { expectNothingLeftBehind(sqlite3_get_autocommit(connection()) == 0); }

  /** What `query` gives, on both ways with the same lines. */
  template <typename Item>
  static std::vector<Item> given(int result, const std::function<int(std::vector<Item>&)>& query) {
    std::vector<Item> items;
    const auto run = [&] {
      return list_outcome<Item>(0, [&](std::vector<Item>& out) {
        const int ret = query(out);
        items = out;
        return ret;
      });
    };
    const Outcome defined = ask(run, false);
    const Outcome fast = run();
    EXPECT_EQ(fast, defined);
    EXPECT_EQ(fast.result, result);
    return items;
  }

  static std::vector<Message> messages(int result = DB_SUCCESS, int limit = 0) {
    ListCondition cond;
    cond.ascending = true;
    cond.limit = limit;
    return given<Message>(
        result, [&](std::vector<Message>& out) { return db_get_message_list(cond, out); });
  }
  static std::vector<Conversation> conversation(int result = DB_SUCCESS) {
    return given<Conversation>(
        result, [](std::vector<Conversation>& out) { return db_get_conversations(1, out); });
  }
  static std::vector<Thread> threads() {
    return given<Thread>(DB_SUCCESS, [](std::vector<Thread>& out) { return db_get_threads(out); });
  }
  static std::vector<Thread> thread(int convId, int result = DB_SUCCESS) {
    return given<Thread>(result, [convId](std::vector<Thread>& out) {
      return db_get_thread(convId, out.emplace_back());
    });
  }

  /** In a folder whose messages have metadata. */
  void insertMessage(const std::string& msgId, const std::string& convId,
                     const std::string& msgType = "'mms'") {
    insert("msg_message_table", {{"msgId", msgId},
                                 {"convId", convId},
                                 {"msgType", msgType},
                                 {"storageFolder", "1"},
                                 {"read", "1"},
                                 {"sync", "0"},
                                 {"displayTime", "10"}});
  }
  void insertAddress(const std::string& convId, const std::string& address) {
    insert("msg_address_table", {{"convId", convId}, {"address", quoted(address)}});
  }
  void insertContent(const std::string& msgId, const std::string& text) {
    insert("msg_mms_content_table", {{"msgId", msgId}, {"textData", quoted(text)}});
  }
  void insertMeta(const std::string& msgId, const std::string& objectId) {
    insert("msg_nms_meta_table", {{"msgId", msgId}, {"objectId", quoted(objectId)}});
  }
  void insertThread(const std::string& convId) {
    insert("msg_conversation_table",
           {{"convId", convId}, {"msgCnt", "1"}, {"displayTime", "10"}, {"lastMsgId", "77"}});
  }

  static void onOwnConnection(const std::string& sql) {
    ASSERT_EQ(DBMgr::getInstance()->execStatement(sql), DB_SUCCESS);
  }

  /** Replaces a table by one of the same rows that is declared with `from` replaced by `to`. */
  void redeclare(const std::string& table, const std::string& from, const std::string& to) {
    std::string sql = *raw().value("SELECT sql FROM sqlite_master WHERE name = " + quoted(table));
    const std::size_t place = sql.find(from);
    ASSERT_NE(place, std::string::npos) << sql;
    sql.replace(place, from.size(), to);
    raw().exec("ALTER TABLE " + table + " RENAME TO old; " + sql + "; INSERT INTO " + table +
               " SELECT * FROM old; DROP TABLE old;");
  }

  /** Gives a row another row's number, as only damage does; of a table that fits on one page. */
  void renumberRow(const std::string& table, int from, int to) {
    const long page = std::stol(*raw().value("PRAGMA page_size;"));
    const long root =
        std::stol(*raw().value("SELECT rootpage FROM sqlite_master WHERE name = " + quoted(table)));
    const long begin = (root - 1) * page;
    ASSERT_EQ(DBMgrInternal().closeDb(), DB_SUCCESS);
    std::fstream file(dbFile(), std::ios::in | std::ios::out | std::ios::binary);
    const auto byteAt = [&](long place) {
      file.seekg(begin + place);
      return file.get();
    };
    // The page tells how many rows it has, and behind its head of eight bytes where each begins;
    // a row, with the number behind its size, which takes one byte.
    ASSERT_EQ(byteAt(0), 0x0D);
    const long rows = byteAt(3) * 256 + byteAt(4);
    for (long row = 0; row < rows; ++row) {
      const long number = byteAt(8 + 2 * row) * 256 + byteAt(9 + 2 * row) + 1;
      ASSERT_LT(byteAt(number - 1), 128);
      if (byteAt(number) != from) continue;
      file.seekp(begin + number);
      file.put(static_cast<char>(to));
    }
    file.close();
    ASSERT_EQ(DBMgrInternal().openDb(), DB_SUCCESS);
  }

  /** Enough conversations for their addresses to be read in one pass. */
  static constexpr int MANY = 40;
};

std::vector<std::string> addresses_of(const Message& message) {
  std::vector<std::string> texts;
  for (const Address& address : message.addresses) texts.push_back(address.address);
  return texts;
}
template <typename Item>
std::vector<std::string> texts_of(const Item& item) {
  std::vector<std::string> texts;
  for (const Content& content : item.contents) texts.push_back(content.textData);
  return texts;
}
using Texts = std::vector<std::string>;

// ---- Ids ---------------------------------------------------------------------------------------

TEST_F(FastQueryTraps, AConversationIdOfMoreThan32BitsIsReadAndLookedUpByItsLowOnes) {
  insertMessage("1", WIDE_FIVE);
  insertMessage("2", "5");
  insertAddress(WIDE_FIVE, "of the wide one");
  insertAddress("5", "of five");
  for (const Message& message : messages()) {
    EXPECT_EQ(message.convId, 5);
    EXPECT_EQ(addresses_of(message), Texts{"of five"});
  }
}

TEST_F(FastQueryTraps, AMessageIdOfMoreThan32BitsIsReadAndLookedUpByItsLowOnes) {
  insertMessage(WIDE_FIVE, "1");
  insertContent(WIDE_FIVE, "of the wide one");
  insertContent("5", "of five");
  insertMeta(WIDE_FIVE, "of the wide one");
  insertMeta("5", "of five");
  const auto list = messages();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].msgId, 5);
  EXPECT_EQ(texts_of(list[0]), Texts{"of five"});
  EXPECT_EQ(list[0].nmsMsgMeta.objectId, "of five");
  const auto view = conversation();
  ASSERT_EQ(view.size(), 1u);
  EXPECT_EQ(view[0].msgId, 5);
  EXPECT_EQ(texts_of(view[0]), Texts{"of five"});
}

TEST_F(FastQueryTraps, AMessageIdThatADamagedFileHasTwiceIsLookedUpForBoth) {
  for (const char* id : {"1", "2", "3"}) insertMessage(id, "1");
  insertContent("2", "of two");
  insertContent("3", "of three");
  insertMeta("2", "of two");
  insertMeta("3", "of three");
  renumberRow("msg_message_table", 3, 2);
  const auto list = messages();
  ASSERT_EQ(list.size(), 3u);
  for (std::size_t i = 1; i < 3; ++i) {
    EXPECT_EQ(list[i].msgId, 2);
    EXPECT_EQ(texts_of(list[i]), Texts{"of two"});
    EXPECT_EQ(list[i].nmsMsgMeta.objectId, "of two");
  }
}

TEST_F(FastQueryTraps, AMessageIdBelowOneLooksItsMetadataUpByAnEmptyObjectId) {
  for (const char* id : {"0", "-3"}) {
    raw().exec("DELETE FROM msg_message_table;");
    insertMessage(id, "1");
    insertMeta(id, "of its id");
    insertMeta("9", "");
    const auto list = messages();
    ASSERT_EQ(list.size(), 1u) << id;
    EXPECT_EQ(list[0].nmsMsgMeta.msgId, 9) << id;
  }
}

TEST_F(FastQueryTraps, AMessageIdBelowOneLooksItsContentsUpByItself) {
  const std::vector<const char*> ids = {"-3", "0", "1"};
  for (const char* id : ids) {
    insertMessage(id, "1");
    insertContent(id, std::string("of ") + id);
  }
  const auto view = conversation();
  ASSERT_EQ(view.size(), ids.size());
  for (std::size_t i = 0; i < ids.size(); ++i) {
    EXPECT_EQ(texts_of(view[i]), Texts{std::string("of ") + ids[i]});
  }
}

TEST_F(FastQueryTraps, TheSmallestAndTheLargestIdHaveContentsInALongListToo) {
  for (int i = 1; i <= MANY; ++i) insertMessage(std::to_string(i), "1");
  for (const char* id : {"-2147483648", "2147483647"}) {
    insertMessage(id, "1");
    insertContent(id, "of its own");
  }
  const auto view = conversation();
  ASSERT_EQ(view.size(), static_cast<std::size_t>(MANY) + 2);
  EXPECT_EQ(view.front().msgId, INT32_MIN);
  EXPECT_EQ(texts_of(view.front()), Texts{"of its own"});
  EXPECT_EQ(view.back().msgId, INT32_MAX);
  EXPECT_EQ(texts_of(view.back()), Texts{"of its own"});
}

TEST_F(FastQueryTraps, AConversationIdThatIsATextIsLookedUpAsZero) {
  insertMessage("1", "'abc'");
  insertAddress("0", "of zero");
  insertAddress("'abc'", "of abc");
  EXPECT_EQ(addresses_of(messages()[0]), Texts{"of zero"});
}

TEST_F(FastQueryTraps, AConversationIdThatIsNullIsLookedUpAsZero) {
  redeclare("msg_message_table", "convId INT NOT NULL", "convId INT");
  redeclare("msg_address_table", "convId INT NOT NULL", "convId INT");
  insertMessage("1", "NULL");
  insertAddress("0", "of zero");
  insertAddress("NULL", "of none");
  EXPECT_EQ(addresses_of(messages()[0]), Texts{"of zero"});
}

TEST_F(FastQueryTraps, ANegativeConversationIdFailsAndKeepsTheRowsBefore) {
  insertMessage("1", "1");
  insertMessage("2", "-2");
  insertMessage("3", "1");
  EXPECT_EQ(messages(DB_ERR_INVALID_ARGUMENT).size(), 1u);
}

TEST_F(FastQueryTraps, ADependentWhoseIdIsNoNumberBelongsToNobody) {
  for (const char* msgId : {"1", "2"}) insertMessage(msgId, "1");
  // 1.5 and '1x' read as 1, a blob as its digits.
  for (const char* msgId : {"1.5", "'1x'", "x'31'", "NULL", WIDE_FIVE, NEGATIVE_WIDE_ONE}) {
    insertContent(msgId, "of nobody");
    insertMeta(msgId, "of nobody");
  }
  // The column's affinity makes a number of this one.
  insertContent("'1'", "of one");
  insertMeta("'1'", "of one");
  const auto list = messages();
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(texts_of(list[0]), Texts{"of one"});
  EXPECT_EQ(texts_of(list[1]), Texts{});
  EXPECT_EQ(list[0].nmsMsgMeta.objectId, "of one");
  EXPECT_EQ(list[1].nmsMsgMeta.objectId, "");
}

// ---- What has dependents -----------------------------------------------------------------------

TEST_F(FastQueryTraps, OnlyMmsInSmallLettersHasContents) {
  const char* const types[] = {"'mms'", "'MMS'",    "'mms '", "'mms' || char(0) || 'x'",
                               "NULL",  "x'6d6d73'"};
  for (const char* type : types) {
    insertMessage("NULL", "1", type);
    insertContent("last_insert_rowid()", type == types[0] ? "first" : "other");
  }
  raw().exec("UPDATE msg_mms_content_table SET msgId = contentId;");
  // What is behind a NUL is not read; bytes are read as the text that they are.
  const std::vector<std::size_t> counts = {1, 0, 0, 1, 0, 1};
  const auto list = messages();
  const auto view = conversation();
  ASSERT_EQ(list.size(), counts.size());
  ASSERT_EQ(view.size(), counts.size());
  for (std::size_t i = 0; i < counts.size(); ++i) {
    EXPECT_EQ(list[i].contents.size(), counts[i]) << i;
    EXPECT_EQ(view[i].contents.size(), counts[i]) << i;
  }
}

TEST_F(FastQueryTraps, OnlyTheFoldersThatAreShownHaveContentsInAConversation) {
  for (const char* folder : {"1", "3", "4", "101", "103", "104"}) {
    insertMessage("NULL", "1");
    raw().exec(std::string("UPDATE msg_message_table SET storageFolder = ") + folder +
               " WHERE msgId = last_insert_rowid();");
  }
  raw().exec("INSERT INTO msg_mms_content_table (msgId) SELECT msgId FROM msg_message_table;");
  std::vector<std::size_t> counts;
  for (const Conversation& each : conversation()) counts.push_back(each.contents.size());
  EXPECT_EQ(counts, (std::vector<std::size_t>{1, 1, 0, 1, 1, 0}));
}

TEST_F(FastQueryTraps, TheFirstOfSeveralMetadataCounts) {
  for (int i = 1; i <= MANY; ++i) {
    insertMessage(std::to_string(i), "1");
    insertMeta(std::to_string(i), "first");
    insertMeta(std::to_string(i), "second");
  }
  const auto list = messages();
  ASSERT_EQ(list.size(), static_cast<std::size_t>(MANY));
  for (const Message& message : list) EXPECT_EQ(message.nmsMsgMeta.objectId, "first");
  EXPECT_EQ(messages(DB_SUCCESS, 1)[0].nmsMsgMeta.objectId, "first");
}

TEST_F(FastQueryTraps, TheSenderIsMarkedInEachMessageByItself) {
  for (const char* sender : {"'b'", "'a'", "'none'"}) {
    insertMessage("NULL", "1");
    // Lists take the sender from the column of the sticker.
    raw().exec(std::string("UPDATE msg_message_table SET stickerId = ") + sender +
               " WHERE msgId = last_insert_rowid();");
  }
  for (const char* address : {"a", "b", "b"}) insertAddress("1", address);
  std::vector<std::string> marked;
  for (const Message& message : messages()) {
    std::string flags;
    for (const Address& address : message.addresses) flags += address.userFlag ? "X" : "-";
    marked.push_back(flags);
  }
  EXPECT_EQ(marked, (Texts{"-X-", "X--", "---"}));
}

TEST_F(FastQueryTraps, TextsEndAtANulAndKeepWhateverBytesTheyHave) {
  insertMessage("1", "1");
  raw().exec(
      "UPDATE msg_message_table SET mainText = 'x' || char(0) || 'y', "
      "textMessage = CAST(x'ff41c3' AS TEXT);");
  raw().exec(
      "INSERT INTO msg_address_table (convId, address) VALUES "
      "(1, 'a' || char(0) || 'b'), (1, CAST(x'c328' AS TEXT));");
  raw().exec(
      "INSERT INTO msg_mms_content_table (msgId, textData, filepath) VALUES "
      "(1, char(0), x'80');");
  const auto list = messages();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].mainText, "x");
  EXPECT_EQ(list[0].textMessage, "\xFF\x41\xC3");
  EXPECT_EQ(addresses_of(list[0]), (Texts{"a", "\xC3("}));
  ASSERT_EQ(list[0].contents.size(), 1u);
  EXPECT_EQ(list[0].contents[0].textData, "");
  EXPECT_EQ(list[0].contents[0].filepath, "\x80");
}

// ---- Failures ----------------------------------------------------------------------------------

TEST_F(FastQueryTraps, ADependentThatFailsOnOneRowKeepsTheRowsBefore) {
  for (const char* msgId : {"1", "2", "3"}) {
    insertMessage(msgId, "1");
    insertContent(msgId, "text");
  }
  failOnRow("msg_mms_content_table", "msgId", 2);
  // The view computes every row's id for each look-up.
  EXPECT_EQ(messages(DB_ERR_STEP).size(), 0u);
  raw().exec(
      "DROP VIEW msg_mms_content_table; ALTER TABLE real_msg_mms_content_table RENAME TO "
      "msg_mms_content_table;");
  failOnRow("msg_mms_content_table", "slideIdx", 7);
  raw().exec("UPDATE real_msg_mms_content_table SET slideIdx = 7 WHERE msgId = 3;");
  EXPECT_EQ(messages(DB_ERR_STEP).size(), 2u);
  EXPECT_EQ(conversation(DB_ERR_STEP).size(), 2u);
}

TEST_F(FastQueryTraps, MetadataThatFailsOnOneRowIsAWarningForIt) {
  for (const char* msgId : {"1", "2", "3"}) {
    insertMessage(msgId, "1");
    insertMeta(msgId, "object");
  }
  failOnRow("msg_nms_meta_table", "lastModSeq", 7);
  raw().exec("UPDATE real_msg_nms_meta_table SET lastModSeq = 7 WHERE msgId = 2;");
  std::vector<std::string> objects;
  for (const Message& message : messages()) objects.push_back(message.nmsMsgMeta.objectId);
  EXPECT_EQ(objects, (Texts{"object", "", "object"}));
  EXPECT_EQ(FakePlatform::get().problems().back().message, "db_get_nms_msg_meta() failed: (-1005)");
}

TEST_F(FastQueryTraps, ATableThatNoRowNeedsMayBeMissing) {
  insertMessage("1", "1", "'sms'");
  onOwnConnection("DROP TABLE msg_mms_content_table;");
  EXPECT_EQ(messages().size(), 1u);
  EXPECT_EQ(conversation().size(), 1u);
  onOwnConnection("UPDATE msg_message_table SET msgType = 'mms';");
  EXPECT_EQ(messages(DB_ERR_PREPARE).size(), 0u);
  EXPECT_EQ(conversation(DB_ERR_PREPARE).size(), 0u);
}

// ---- The caller's connection -------------------------------------------------------------------

TEST_F(FastQueryTraps, UncommittedChangesOfTheCallerAreSeen) {
  insertMessage("1", "1");
  insertThread("1");
  DBMgr& store = *DBMgr::getInstance();
  ASSERT_EQ(store.beginTransaction(), DB_SUCCESS);
  onOwnConnection(
      "UPDATE msg_message_table SET simIndex = 7; "
      "INSERT INTO msg_address_table (convId, address) VALUES (1, 'new'); "
      "INSERT INTO msg_mms_content_table (msgId, textData) VALUES (1, 'new'); "
      "INSERT INTO msg_nms_meta_table (msgId, objectId) VALUES (1, 'new');");
  const auto list = messages();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(addresses_of(list[0]), Texts{"new"});
  EXPECT_EQ(texts_of(list[0]), Texts{"new"});
  EXPECT_EQ(list[0].nmsMsgMeta.objectId, "new");
  EXPECT_EQ(threads()[0].simIndex, 7);
  EXPECT_EQ(thread(1)[0].simIndex, 7);
  expectNothingLeftBehind(true);
  ASSERT_EQ(store.endTransaction(false), DB_SUCCESS);
  EXPECT_TRUE(messages()[0].addresses.empty());
}

TEST_F(FastQueryTraps, AStatementOfTheCallersThatStillWritesGoesOn) {
  insertMessage("1", "1");
  insertThread("1");
  {
    const auto insertion = DBMgr::getInstance()->compileStatement(
        "INSERT INTO msg_address_table (convId, address) VALUES (1, 'a'), (1, 'b') "
        "RETURNING address;");
    ASSERT_EQ(insertion->step(), DB_ROW);
    EXPECT_EQ(addresses_of(messages()[0]), (Texts{"a", "b"}));
    EXPECT_EQ(threads().size(), 1u);
    EXPECT_EQ(thread(1).size(), 1u);
    EXPECT_EQ(conversation().size(), 1u);
    ASSERT_EQ(insertion->step(), DB_ROW);
    EXPECT_EQ(insertion->getText(0), "b");
    ASSERT_EQ(insertion->step(), DB_SUCCESS);
  }
  EXPECT_EQ(raw().value("SELECT count(*) FROM msg_address_table;"), "2");
}

TEST_F(FastQueryTraps, AStatementThatDoesNotWriteLeavesTheListItsFastWay) {
  for (const char* msgId : {"1", "2"}) insertMessage(msgId, "1");
  const auto textsOfTheList = [] {
    DBMgrInternal manager;
    EXPECT_EQ(manager.openDb(), DB_SUCCESS);
    const StatementTrace trace(manager.handle());
    std::vector<Message> list;
    EXPECT_EQ(db_get_message_list(ListCondition(), list), DB_SUCCESS);
    return trace.texts();
  };
  const Texts texts = textsOfTheList();
  const auto idle = DBMgr::getInstance()->compileStatement("DELETE FROM temp_log;");
  EXPECT_EQ(textsOfTheList(), texts);
  const auto reading = DBMgr::getInstance()->compileStatement("SELECT 1 UNION SELECT 2;");
  ASSERT_EQ(reading->step(), DB_ROW);
  EXPECT_EQ(textsOfTheList(), texts);
  const auto writing = DBMgr::getInstance()->compileStatement(
      "INSERT INTO temp_log (data1) VALUES ('a'), ('b') RETURNING id;");
  ASSERT_EQ(writing->step(), DB_ROW);
  EXPECT_NE(textsOfTheList(), texts);
}

TEST_F(FastQueryTraps, AStatementOfTheCallersThatStillReadsGoesOn) {
  for (const char* msgId : {"1", "2"}) insertMessage(msgId, "1");
  const auto reading =
      DBMgr::getInstance()->compileStatement("SELECT msgId FROM msg_message_table;");
  ASSERT_EQ(reading->step(), DB_ROW);
  EXPECT_EQ(messages().size(), 2u);
  EXPECT_NE(sqlite3_get_autocommit(connection()), 0);
  ASSERT_EQ(reading->step(), DB_ROW);
  EXPECT_EQ(reading->getInt(0), 2);
  ASSERT_EQ(reading->step(), DB_SUCCESS);
}

TEST_F(FastQueryTraps, ATemporaryTableHidesTheOneOfTheStore) {
  insertMessage("1", "1");
  insertThread("1");
  insertAddress("1", "of the store");
  onOwnConnection(
      "CREATE TEMP TABLE msg_address_table (convId TEXT, addressType, recipientType, "
      "address); INSERT INTO msg_address_table VALUES ('1', 0, 0, 'temporary'), "
      "('01', 0, 0, 'other');");
  EXPECT_EQ(addresses_of(messages()[0]), Texts{"temporary"});
  onOwnConnection(
      "CREATE TEMP TABLE msg_message_table AS SELECT * FROM main.msg_message_table; "
      "UPDATE msg_message_table SET simIndex = 8;");
  EXPECT_EQ(threads()[0].simIndex, 8);
  EXPECT_EQ(thread(1)[0].simIndex, 8);
  EXPECT_EQ(messages()[0].simIndex, 8);
}

// ---- Tables that are not as createDb makes them ------------------------------------------------

TEST_F(FastQueryTraps, KeysOfAnotherTypeCompareAsTheyDo) {
  redeclare("msg_address_table", "convId INT", "convId TEXT");
  redeclare("msg_mms_content_table", "msgId INT", "msgId TEXT COLLATE NOCASE");
  redeclare("msg_nms_meta_table", "msgId INT", "msgId REAL");
  for (int i = 1; i <= MANY; ++i) {
    const std::string id = std::to_string(i);
    insertMessage(id, id);
    insertAddress(id, "whole");
    insertAddress(quoted(id + ".0"), "with a point");
    insertContent(id, "whole");
    insertContent(quoted(" " + id), "with a blank");
    insertMeta(id, "real");
  }
  for (const Message& message : messages()) {
    EXPECT_EQ(addresses_of(message), Texts{"whole"});
    EXPECT_EQ(texts_of(message), Texts{"whole"});
    EXPECT_EQ(message.nmsMsgMeta.objectId, "real");
  }
  EXPECT_EQ(addresses_of(messages(DB_SUCCESS, 1)[0]), Texts{"whole"});
}

TEST_F(FastQueryTraps, KeysWithoutATypeAreTheNumbersThatTheyEqual) {
  redeclare("msg_address_table", "convId INT", "convId");
  for (int i = 1; i <= MANY; ++i) {
    const std::string id = std::to_string(i);
    insertMessage(id, id);
    raw().exec("INSERT INTO msg_address_table (convId, address) VALUES (" + id + ".0, 'real'), (" +
               quoted(id) + ", 'text'), (" + id + ", 'whole');");
  }
  for (const Message& message : messages()) {
    EXPECT_EQ(addresses_of(message), (Texts{"real", "whole"}));
  }
}

TEST_F(FastQueryTraps, KeysOfAnotherCollationAreComparedByIt) {
  redeclare("msg_message_table", "networkStatus INT", "networkStatus INT COLLATE NOCASE");
  redeclare("msg_address_table", "convId INT", "convId INT COLLATE RTRIM");
  insertThread("1");
  insertMessage("1", "1");
  insertAddress("1", "of one");
  raw().exec("UPDATE msg_message_table SET networkStatus = 'a text';");
  EXPECT_EQ(addresses_of(messages()[0]), Texts{"of one"});
  const auto list = threads();
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].networkStatus, 0);
  EXPECT_FALSE(list[0].failed);
}

TEST_F(FastQueryTraps, TablesWithoutRowIdsComeInTheOrderOfTheirKeys) {
  raw().exec(
      "DROP TABLE msg_address_table; CREATE TABLE msg_address_table (addressId INT, "
      "convId INT, addressType INT, recipientType INT, address TEXT, "
      "PRIMARY KEY (address, convId)) WITHOUT ROWID;");
  for (int i = 1; i <= MANY; ++i) {
    const std::string id = std::to_string(i);
    insertMessage(id, id);
    for (const char* address : {"c", "a", "b"}) insertAddress(id, address);
  }
  const auto list = messages();
  ASSERT_EQ(list.size(), static_cast<std::size_t>(MANY));
  for (const Message& message : list) EXPECT_EQ(addresses_of(message), (Texts{"a", "b", "c"}));
  EXPECT_EQ(addresses_of(messages(DB_SUCCESS, 1)[0]), (Texts{"a", "b", "c"}));
}

TEST_F(FastQueryTraps, WithoutTheirKeysRowsOfOneTimeComeInTheOrderOfTheTable) {
  redeclare("msg_message_table", "msgId INTEGER PRIMARY KEY AUTOINCREMENT", "msgId INTEGER");
  redeclare("msg_nms_meta_table", "id INTEGER PRIMARY KEY AUTOINCREMENT", "id INTEGER");
  for (const char* id : {"3", "1", "2"}) {
    insertMessage(id, "1");
    insert("msg_nms_meta_table", {{"id", id}, {"msgId", id}, {"BTCorrelated", "0"}});
  }
  std::vector<int> ids;
  for (const Message& message : messages()) ids.push_back(message.msgId);
  EXPECT_EQ(ids, (std::vector<int>{3, 1, 2}));
  ids.clear();
  const auto metas = given<NmsMsgMeta>(DB_SUCCESS, [](std::vector<NmsMsgMeta>& out) {
    return db_get_uncorrelated_nms_msg_metas("", NmsMsgMeta::BT_CORRELATION, NmsMsgMeta::PRIMARY_ID,
                                             true, out);
  });
  for (const NmsMsgMeta& meta : metas) ids.push_back(meta.msgId);
  EXPECT_EQ(ids, (std::vector<int>{3, 1, 2}));
}

/** The defined way gives whichever the index has first. */
TEST_F(FastQueryTraps, OfMessagesOfOneTimeTheFirstTellsTheThreadInAStrangersIndexToo) {
  insertThread("1");
  insertMessage("1", "1");
  insertMessage("2", "1");
  raw().exec(
      "UPDATE msg_message_table SET networkStatus = 10 - msgId;"
      "CREATE INDEX stranger ON msg_message_table(networkStatus, simIndex, convId, displayTime);");
  std::vector<Thread> list;
  ASSERT_EQ(db_get_threads(list), DB_SUCCESS);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].networkStatus, 9);
}

TEST_F(FastQueryTraps, AStrangersIndexMovesTheAddressesOfAConversation) {
  for (int i = 1; i <= MANY; ++i) {
    const std::string id = std::to_string(i);
    insertMessage(id, id);
    for (const char* address : {"c", "a", "b"}) insertAddress(id, address);
  }
  for (const Message& message : messages()) {
    EXPECT_EQ(addresses_of(message), (Texts{"c", "a", "b"}));
  }
  raw().exec("CREATE INDEX stranger ON msg_address_table(convId, address);");
  for (const int limit : {0, 1}) {
    for (const Message& message : messages(DB_SUCCESS, limit)) {
      EXPECT_EQ(addresses_of(message), (Texts{"a", "b", "c"}));
    }
  }
}

// ---- Threads -----------------------------------------------------------------------------------

TEST_F(FastQueryTraps, OnlyASingleThreadTellsItsLastMessage) {
  insertThread("1");
  insertMessage("1", "1");
  Thread single;
  ASSERT_EQ(db_get_thread(1, single), DB_SUCCESS);
  EXPECT_EQ(single.lastMsgId, 77);

  // An element of the list is made where this one was, and leaves its place as it is.
  std::vector<Thread> list(1);
  list[0].lastMsgId = 1234;
  list.clear();
  ASSERT_EQ(db_get_threads(list), DB_SUCCESS);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].lastMsgId, 1234);
}

/** The state of the newest message of conversation 1, as its thread tells it. */
struct State {
  int networkStatus;
  int simIndex;
  bool failed;
  bool sending;
};

bool operator==(const State& a, const State& b) {
  return a.networkStatus == b.networkStatus && a.simIndex == b.simIndex && a.failed == b.failed &&
         a.sending == b.sending;
}
std::ostream& operator<<(std::ostream& out, const State& state) {
  return out << state.networkStatus << " " << state.simIndex << " " << state.failed << " "
             << state.sending;
}

/** The parameter: whether there are indexes. */
class FastThreadTraps : public FastQueryTraps, public ::testing::WithParamInterface<bool> {
 protected:
  FastThreadTraps() {
    insertThread("1");
    if (GetParam()) createIndexes();
  }

  void insertState(const std::string& displayTime, const std::string& networkStatus,
                   const std::string& simIndex, const std::string& msgId = "NULL") {
    insert("msg_message_table", {{"msgId", msgId},
                                 {"convId", "1"},
                                 {"displayTime", displayTime},
                                 {"networkStatus", networkStatus},
                                 {"simIndex", simIndex}});
  }

  static void expectState(const State& expected) {
    const auto list = threads();
    const auto single = thread(1);
    ASSERT_EQ(list.size(), 1u);
    ASSERT_EQ(single.size(), 1u);
    for (const Thread& each : {list[0], single[0]}) {
      const State state = {each.networkStatus, each.simIndex, each.failed, each.sending};
      EXPECT_EQ(state, expected);
    }
  }
};

TEST_P(FastThreadTraps, OfMessagesOfOneTimeTheOneWithTheSmallestIdIsTheNewest) {
  insertState("20", "16", "3", "9");
  insertState("20", "1", "2", "4");
  insertState("10", "16", "1", "2");
  expectState({1, 2, false, true});
}

TEST_P(FastThreadTraps, ATimeBeforeTheEpochIsNewerThanNone) {
  insertState("NULL", "16", "3", "1");
  insertState("-5", "2", "2", "2");
  expectState({2, 2, false, false});
}

TEST_P(FastThreadTraps, WithoutAnyTimeTheSmallestIdIsTheNewest) {
  insertState("NULL", "2", "7", "6");
  insertState("NULL", "16", "3", "2");
  expectState({16, 3, false, false});
}

TEST_P(FastThreadTraps, ATimeThatIsATextIsNewerThanAnyNumber) {
  insertState("99", "16", "3");
  insertState("'soon'", "2", "4");
  insertState("99.5", "16", "5");
  expectState({2, 4, false, false});
}

TEST_P(FastThreadTraps, AStateOfAnyMessageCountsOnlyWhenItIsTheNumber) {
  insertState("20", "16", "1");
  insertState("10", "'3x'", "1");
  insertState("10", "x'33'", "1");
  insertState("10", "NULL", "1");
  insertState("10", "1.5", "1");
  insertState("10", "4294967299", "1");  // 2^32 + 3
  expectState({16, 1, false, false});
  insertState("5", "'3'", "1");
  expectState({16, 1, true, false});
  insertState("4", "1.0", "1");
  expectState({16, 1, true, true});
}

TEST_P(FastThreadTraps, AMessageWhoseConversationIsNoNumberBelongsToNone) {
  insertState("20", "16", "1");
  for (const char* convId : {"'1x'", "1.5", "x'31'"}) {
    insert("msg_message_table",
           {{"convId", convId}, {"displayTime", "30"}, {"networkStatus", "3"}, {"simIndex", "9"}});
  }
  expectState({16, 1, false, false});
}

TEST_P(FastThreadTraps, AStateThatAnItemTellsAlreadyIsNotTakenBack) {
  insertState("20", "16", "1");
  const auto used = given<Thread>(DB_SUCCESS, [](std::vector<Thread>& out) {
    Thread& item = out.emplace_back();
    item.failed = true;
    item.sending = true;
    return db_get_thread(1, item);
  });
  EXPECT_TRUE(used[0].failed);
  EXPECT_TRUE(used[0].sending);
}

TEST_P(FastThreadTraps, AConversationWithoutMessagesIsNoThread) {
  insertThread("2");
  insertThread("3");
  insertState("20", "16", "1");
  insertMessage("NULL", "3");
  std::vector<int> ids;
  for (const Thread& each : threads()) ids.push_back(each.convId);
  EXPECT_EQ(ids, (std::vector<int>{1, 3}));
  const auto none = thread(2, DB_NO_DATA);
  EXPECT_EQ(none[0].convId, 0);
  EXPECT_EQ(thread(9, DB_NO_DATA)[0].networkStatus, 16);
}

TEST_P(FastThreadTraps, AThreadWithoutACountIsNone) {
  insertState("20", "16", "1");
  raw().exec("UPDATE msg_conversation_table SET msgCnt = 'many';");
  EXPECT_EQ(threads().size(), 1u);
  raw().exec("UPDATE msg_conversation_table SET msgCnt = 0;");
  insertThread("2");
  insertMessage("NULL", "2");
  EXPECT_EQ(threads().size(), 1u);
  thread(1, DB_NO_DATA);
}

TEST_P(FastThreadTraps, AConversationIdOfMoreThan32BitsHasItsOwnMessages) {
  insertState("20", "16", "1");
  insertThread(WIDE_FIVE);
  insertMessage("NULL", WIDE_FIVE);
  raw().exec("UPDATE msg_message_table SET simIndex = 6 WHERE convId > 1;");
  const auto list = threads();
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(list[1].convId, 5);
  EXPECT_EQ(list[1].simIndex, 6);
  thread(5, DB_NO_DATA);
}

TEST_P(FastThreadTraps, ColumnsOfAnotherTypeCompareAsTheyDo) {
  raw().exec(
      "DROP INDEX IF EXISTS msg_message_conversation_index;"
      "DROP INDEX IF EXISTS msg_message_time_index;");
  redeclare("msg_message_table", "networkStatus INT", "networkStatus TEXT");
  insertState("20", "'03'", "1");
  expectState({3, 1, false, false});
  insertState("10", "'3'", "1");
  expectState({3, 1, true, false});
  redeclare("msg_message_table", "displayTime INT", "displayTime TEXT");
  insertState("100", "16", "2");
  expectState({3, 1, true, false});
  redeclare("msg_message_table", "convId INT", "convId TEXT");
  insertState("3", "16", "5");
  raw().exec("UPDATE msg_message_table SET convId = '01' WHERE simIndex = 5;");
  expectState({16, 5, true, false});
}

TEST_P(FastThreadTraps, ConversationsOfOneIdAreOneThread) {
  redeclare("msg_conversation_table", "convId INTEGER PRIMARY KEY AUTOINCREMENT", "convId INTEGER");
  insertThread("1");
  insertThread("'2x'");
  insertState("20", "3", "1");
  EXPECT_EQ(threads().size(), 1u);
  EXPECT_EQ(thread(1).size(), 1u);
}

TEST_P(FastThreadTraps, ConversationIdsOfAnotherTypeCompareAsTheyDo) {
  raw().exec("DROP INDEX IF EXISTS msg_message_conversation_index;");
  redeclare("msg_message_table", "convId INT", "convId TEXT");
  insertState("20", "16", "1");
  raw().exec("UPDATE msg_message_table SET convId = '01';");
  expectState({16, 1, false, false});
}

TEST_P(FastThreadTraps, AViewOfTheConversationsTellsTheSame) {
  insertState("20", "3", "1");
  raw().exec(
      "ALTER TABLE msg_conversation_table RENAME TO rows; "
      "CREATE VIEW msg_conversation_table AS SELECT * FROM rows;");
  expectState({3, 1, true, false});
}

INSTANTIATE_TEST_SUITE_P(With, FastThreadTraps, ::testing::Bool(), &name_of_store);

}  // namespace

}  // namespace msg_tarvel::db
