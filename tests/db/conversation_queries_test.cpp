// The queries that give threads, conversations, addresses and SIM cards.

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "query_support.h"

namespace msg_tarvel::db {

namespace {

using Texts = std::vector<std::string>;
using Ids = std::vector<int>;

const std::string SELECT_CONVERSATION =
    "SELECT msgId, msgType, itemId, convId, storageId, storageFolder, networkStatus, mainText, "
    "textMessage, displayTime, attachedNum, read, simIndex, peerConvId, peerChatType, "
    "peerChatSessionId, peerGroupChatSender, stickerId, isShareDialMessage, isSafeMessage FROM "
    "msg_message_table ";

class ConversationQueries : public QueryTest {
 protected:
  /** A message of conversation 1 in folder 1, with these columns. */
  long long insertMessage(const Row& row) {
    return insert("msg_message_table", with({{"convId", "1"}, {"storageFolder", "1"}}, row));
  }

  /** A conversation with one message; its key is `convId`. */
  void insertThread(int convId, int displayTime) {
    const std::string id = std::to_string(convId);
    insert("msg_conversation_table",
           {{"convId", id}, {"msgCnt", "1"}, {"displayTime", std::to_string(displayTime)}});
    insertMessage({{"convId", id}});
  }

  static Thread thread(int convId) {
    Thread out;
    EXPECT_EQ(db_get_thread(convId, out), DB_SUCCESS);
    return out;
  }

  static Conversation conversation(int msgId) {
    Conversation out;
    EXPECT_EQ(db_get_conversation(msgId, out), DB_SUCCESS);
    return out;
  }
};

// ---- Threads -----------------------------------------------------------------------------------

const Row THREAD = {{"convId", "51"},
                    {"unreadCnt", "52"},
                    {"msgCnt", "53"},
                    {"msgType", "'a type'"},
                    {"storageFolder", "54"},
                    {"displayTime", "5000000055"},
                    {"expiryTime", "56"},
                    {"mainText", "'main text'"},
                    {"msgText", "'message text'"},
                    {"peerConvId", "57"},
                    {"peerChatType", "58"},
                    {"peerChatSessionId", "'peer session'"},
                    {"peerChatState", "59"},
                    {"stickerId", "60"},
                    {"lastMsgId", "61"},
                    {"customFieldInt1", "62"},
                    {"customFieldStr1", "'custom'"}};

/** THREAD with one message, whose network status is 63 and whose SIM is 64. */
Thread expected_thread() {
  Thread thread;
  thread.convId = 51;
  thread.unreadCnt = 52;
  thread.msgCnt = 53;
  thread.storageFolder = 54;
  thread.msgType = "a type";
  thread.displayTime = 5000000055;
  thread.mainText = "main text";
  thread.msgText = "message text";
  thread.peerConvId = 57;
  thread.peerChatType = true;
  thread.peerChatState = true;
  thread.stickerId = 60;
  thread.networkStatus = 63;
  thread.simIndex = 64;
  return thread;
}

TEST_F(ConversationQueries, AThreadIsSelectedById) {
  Thread out;
  for (const int convId : {7, 0, -3}) {
    EXPECT_EQ(
        compiled_by([&] { EXPECT_EQ(db_get_thread(convId, out), DB_NO_DATA); }),
        Texts{"SELECT A.convId, A.unreadCnt, A.msgCnt, A.storageFolder, A.msgType, "
              "A.displayTime, A.mainText, A.msgText, A.peerConvId, A.peerChatType, "
              "A.peerChatState, A.stickerId, A.lastMsgId, (SELECT networkStatus FROM "
              "msg_message_table WHERE convId = A.convId ORDER BY displayTime DESC) AS "
              "NETWORK_STATUS, (SELECT simIndex FROM msg_message_table WHERE convId = A.convId "
              "ORDER BY displayTime DESC) AS SIMINDEX, (COUNT(CASE WHEN B.networkStatus = 3 THEN "
              "1 END)) AS FAILED, (COUNT(CASE WHEN B.networkStatus = 1 THEN 1 END)) AS SENDING "
              "FROM msg_conversation_table A, msg_message_table B ON A.convId = " +
              std::to_string(convId) +
              " AND B.convId = A.convId AND A.msgCnt > 0 GROUP BY A.convId ORDER BY "
              "A.displayTime DESC;"});
  }
  EXPECT_TRUE(logged({}));
  expect_same(out, Thread());
}

TEST_F(ConversationQueries, ThreadsAreSelectedNewestFirst) {
  std::vector<Thread> out;
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_threads(out), DB_NO_DATA); }),
            Texts{"SELECT A.convId, A.unreadCnt, A.msgCnt, A.storageFolder, A.msgType, "
                  "A.displayTime, A.mainText, A.msgText, A.peerConvId, A.peerChatType, "
                  "A.peerChatState, A.stickerId, A.lastMsgId, (SELECT networkStatus FROM "
                  "msg_message_table WHERE convId = A.convId ORDER BY displayTime DESC, convId "
                  "ASC) AS NETWORK_STATUS, (SELECT simIndex FROM msg_message_table WHERE convId = "
                  "A.convId ORDER BY displayTime DESC, convId ASC) AS SIMINDEX, (COUNT(CASE WHEN "
                  "B.networkStatus = 3 THEN 1 END)) AS FAILED, (COUNT(CASE WHEN B.networkStatus = "
                  "1 THEN 1 END)) AS SENDING FROM msg_conversation_table A, msg_message_table B "
                  "WHERE A.msgCnt > 0 AND B.convId = A.convId GROUP BY A.convId ORDER BY "
                  "A.displayTime DESC, A.convId ASC;"});
  EXPECT_TRUE(logged({}));
  EXPECT_TRUE(out.empty());
}

TEST_F(ConversationQueries, AThreadHasEveryColumnInItsField) {
  insert("msg_conversation_table", THREAD);
  insertMessage({{"convId", "51"}, {"networkStatus", "63"}, {"simIndex", "64"}});
  const Thread single = thread(51);
  expect_same(single, expected_thread());
  EXPECT_EQ(single.lastMsgId, 61);

  std::vector<Thread> out;
  EXPECT_EQ(db_get_threads(out), DB_SUCCESS);
  expect_only(out, expected_thread());
  EXPECT_TRUE(logged({}));
}

TEST_F(ConversationQueries, TheFlagsOfAThreadAreReadFromTheirOwnColumns) {
  insert("msg_conversation_table", with(THREAD, {{"convId", "1"}, {"peerChatType", "0"}}));
  insert("msg_conversation_table", with(THREAD, {{"convId", "2"}, {"peerChatState", "0"}}));
  insertMessage({{"convId", "1"}});
  insertMessage({{"convId", "2"}});
  EXPECT_FALSE(thread(1).peerChatType);
  EXPECT_TRUE(thread(1).peerChatState);
  EXPECT_TRUE(thread(2).peerChatType);
  EXPECT_FALSE(thread(2).peerChatState);
}

TEST_F(ConversationQueries, NoElementOfAThreadListReceivesTheLastMessage) {
  insert("msg_conversation_table", THREAD);
  insertMessage({{"convId", "51"}});
  std::vector<Thread> out;
  out.reserve(1);
  std::memset(static_cast<void*>(out.data()), 0x5A, sizeof(Thread));
  EXPECT_EQ(db_get_threads(out), DB_SUCCESS);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0].lastMsgId, 0x5A5A5A5A);
}

TEST_F(ConversationQueries, MessagesThatFailedOrAreBeingSentAreCounted) {
  struct Case {
    std::vector<int> statuses;
    bool failed;
    bool sending;
  };
  const std::vector<Case> cases = {
      {{0, 2, 4, 16}, false, false}, {{3}, true, false},      {{1}, false, true},
      {{0, 3, 0, 3}, true, false},   {{1, 0, 3}, true, true}, {{1, 1, 2}, false, true}};
  int convId = 0;
  for (const Case& each : cases) {
    insert("msg_conversation_table", {{"convId", std::to_string(++convId)}, {"msgCnt", "1"}});
    for (const int status : each.statuses) {
      insertMessage(
          {{"convId", std::to_string(convId)}, {"networkStatus", std::to_string(status)}});
    }
    EXPECT_EQ(thread(convId).failed, each.failed) << convId;
    EXPECT_EQ(thread(convId).sending, each.sending) << convId;
  }
  std::vector<Thread> out;
  EXPECT_EQ(db_get_threads(out), DB_SUCCESS);
  ASSERT_EQ(out.size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(out[i].failed, cases[i].failed) << i;
    EXPECT_EQ(out[i].sending, cases[i].sending) << i;
  }
}

TEST_F(ConversationQueries, FlagsThatWereSetBeforeStay) {
  insertThread(1, 10);
  Thread out;
  out.failed = true;
  out.sending = true;
  EXPECT_EQ(db_get_thread(1, out), DB_SUCCESS);
  EXPECT_TRUE(out.failed);
  EXPECT_TRUE(out.sending);
}

TEST_F(ConversationQueries, AThreadThatIsUsedAgainIsOverwrittenButForItsFlags) {
  insertThread(1, 10);
  auto out = item_test::sample<Thread>(item_test::SEED);
  Thread expected = thread(1);
  expected.failed = true;
  expected.sending = true;
  EXPECT_EQ(db_get_thread(1, out), DB_SUCCESS);
  expect_same(out, expected);
}

TEST_F(ConversationQueries, StatusAndSimAreThoseOfTheNewestMessage) {
  insert("msg_conversation_table", {{"convId", "1"}, {"msgCnt", "3"}});
  insertMessage({{"displayTime", "20"}, {"networkStatus", "5"}, {"simIndex", "0"}});
  insertMessage({{"displayTime", "30"}, {"networkStatus", "6"}, {"simIndex", "1"}});
  insertMessage({{"displayTime", "10"}, {"networkStatus", "7"}, {"simIndex", "2"}});
  insertMessage(
      {{"convId", "2"}, {"displayTime", "40"}, {"networkStatus", "8"}, {"simIndex", "3"}});
  std::vector<Thread> out;
  EXPECT_EQ(db_get_threads(out), DB_SUCCESS);
  ASSERT_EQ(out.size(), 1u);
  for (const Thread& each : {out[0], thread(1)}) {
    EXPECT_EQ(each.networkStatus, 6);
    EXPECT_EQ(each.simIndex, 1);
  }
}

TEST_F(ConversationQueries, ThreadsWithoutMessagesNeverAppear) {
  insert("msg_conversation_table", {{"convId", "1"}, {"msgCnt", "0"}});
  insertMessage({{"convId", "1"}});
  insert("msg_conversation_table", {{"convId", "2"}, {"msgCnt", "1"}});
  std::vector<Thread> out;
  EXPECT_EQ(db_get_threads(out), DB_NO_DATA);
  Thread single;
  EXPECT_EQ(db_get_thread(1, single), DB_NO_DATA);
  EXPECT_EQ(db_get_thread(2, single), DB_NO_DATA);
  expect_same(single, Thread());

  insertThread(3, 10);
  EXPECT_EQ(db_get_threads(out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Thread::convId), Ids{3});
  EXPECT_TRUE(logged({}));
}

TEST_F(ConversationQueries, ThreadsComeNewestFirstAndTiesById) {
  insertThread(4, 20);
  insertThread(2, 20);
  insertThread(3, 30);
  insertThread(1, 10);
  std::vector<Thread> out;
  EXPECT_EQ(db_get_threads(out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Thread::convId), (Ids{3, 2, 4, 1}));
}

// ---- Conversations -----------------------------------------------------------------------------

TEST_F(ConversationQueries, ConversationsAreSelectedByMessageOrById) {
  for (const int id : {7, 0, -3}) {
    const std::string number = std::to_string(id);
    Conversation single;
    EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_conversation(id, single), DB_NO_DATA); }),
              Texts{SELECT_CONVERSATION + "WHERE msgId = " + number + ";"});
    expect_same(single, Conversation());
    std::vector<Conversation> out;
    EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_conversations(id, out), DB_NO_DATA); }),
              Texts{SELECT_CONVERSATION + "WHERE convId = " + number +
                    " AND storageFolder > 0 AND storageFolder <> 5 AND storageFolder <> 105 AND "
                    "storageFolder < 9999 ORDER BY displayTime, msgId ASC;"});
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(ConversationQueries, AConversationHasEveryColumnInItsField) {
  insert("msg_message_table", {{"msgId", "11"},
                               {"msgType", "'a type'"},
                               {"subType", "12"},
                               {"itemId", "13"},
                               {"convId", "14"},
                               {"storageId", "15"},
                               {"storageFolder", "16"},
                               {"networkStatus", "17"},
                               {"mainText", "'main text'"},
                               {"textMessage", "'text message'"},
                               {"displayTime", "5000000018"},
                               {"expiryTime", "19"},
                               {"attachedNum", "20"},
                               {"sync", "21"},
                               {"read", "22"},
                               {"simIndex", "23"},
                               {"simAddress", "'sim address'"},
                               {"peerConvId", "24"},
                               {"peerChatType", "25"},
                               {"peerChatSessionId", "'peer session'"},
                               {"peerGroupChatSender", "'group sender'"},
                               {"groupId", "26"},
                               {"stickerId", "27"},
                               {"isShareDialMessage", "28"},
                               {"isSafeMessage", "29"},
                               {"customFieldInt1", "30"},
                               {"customFieldStr1", "'custom'"}});
  Conversation expected;
  expected.msgId = 11;
  expected.msgType = "a type";
  expected.itemId = 13;
  expected.convId = 14;
  expected.storageId = 15;
  expected.storageFolder = 16;
  expected.networkStatus = 17;
  expected.mainText = "main text";
  expected.textMessage = "text message";
  expected.displayTime = 5000000018;
  expected.attachedNum = 20;
  expected.read = true;
  expected.simIndex = 23;
  expected.peerConvId = 24;
  expected.peerChatType = true;
  expected.peerChatSessionId = "peer session";
  expected.peerGroupChatSender = "group sender";
  expected.stickerId = 27;
  expected.isShareDialMessage = true;
  expected.isSafeMessage = true;
  expect_same(conversation(11), expected);
  std::vector<Conversation> out;
  EXPECT_EQ(db_get_conversations(14, out), DB_SUCCESS);
  expect_only(out, expected);
  EXPECT_TRUE(logged({}));
}

TEST_F(ConversationQueries, EachFlagOfAConversationIsReadFromItsOwnColumn) {
  const std::vector<std::pair<const char*, bool Conversation::*>> flags = {
      {"read", &Conversation::read},
      {"peerChatType", &Conversation::peerChatType},
      {"isShareDialMessage", &Conversation::isShareDialMessage},
      {"isSafeMessage", &Conversation::isSafeMessage}};
  for (const auto& [column, field] : flags) {
    const Conversation read = conversation(static_cast<int>(insertMessage({{column, "2"}})));
    for (const auto& [otherColumn, otherField] : flags) {
      EXPECT_EQ(read.*otherField, field == otherField) << column << ", " << otherColumn;
    }
  }
}

TEST_F(ConversationQueries, SomeFoldersAreLeftOutOfAConversation) {
  for (const int folder : {-1, 0, 1, 2, 3, 4, 5, 6, 101, 104, 105, 106, 9998, 9999, 10000}) {
    insertMessage({{"storageFolder", std::to_string(folder)}});
  }
  insertMessage({{"convId", "2"}});
  std::vector<Conversation> out;
  EXPECT_EQ(db_get_conversations(1, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Conversation::storageFolder), (Ids{1, 2, 3, 4, 6, 101, 104, 106, 9998}));
  // A single message is given from whatever folder it is in.
  EXPECT_EQ(conversation(2).storageFolder, 0);
  EXPECT_EQ(conversation(7).storageFolder, 5);
}

TEST_F(ConversationQueries, AConversationComesOldestFirstAndTiesById) {
  const std::vector<std::pair<int, int>> idsAndTimes = {
      {4, 20}, {3, 30}, {2, 20}, {6, 10}, {1, 20}};
  for (const auto& [msgId, time] : idsAndTimes) {
    insertMessage({{"msgId", std::to_string(msgId)}, {"displayTime", std::to_string(time)}});
  }
  std::vector<Conversation> out;
  EXPECT_EQ(db_get_conversations(1, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Conversation::msgId), (Ids{6, 1, 2, 4, 3}));
}

TEST_F(ConversationQueries, ContentsAreReadOfAnMmsInSomeFolders) {
  const std::vector<std::pair<int, bool>> folders = {
      {0, false},   {1, true},   {2, true},   {3, true},   {4, false},   {5, false},
      {100, false}, {101, true}, {102, true}, {103, true}, {104, false}, {105, false}};
  for (const auto& [folder, isShown] : folders) {
    SCOPED_TRACE(folder);
    const std::string storageFolder = std::to_string(folder);
    for (const char* type : {"mms", "MMS", "sms", ""}) {
      const long long id =
          insertMessage({{"storageFolder", storageFolder}, {"msgType", quoted(type)}});
      insert("msg_mms_content_table", {{"msgId", std::to_string(id)}, {"filename", quoted(type)}});
      const Conversation read = conversation(static_cast<int>(id));
      const bool hasContents = isShown && std::string(type) == "mms";
      EXPECT_EQ(each(read.contents, &Content::filename), hasContents ? Texts{"mms"} : Texts{})
          << type;
    }
  }
  std::vector<Conversation> out;
  EXPECT_EQ(db_get_conversations(1, out), DB_SUCCESS);
  int withContents = 0;
  for (const Conversation& each : out) {
    withContents += each.contents.empty() ? 0 : 1;
    EXPECT_EQ(each.contents.empty(), each.msgType != "mms" || each.storageFolder == 4 ||
                                         each.storageFolder == 100 || each.storageFolder == 104);
  }
  EXPECT_EQ(withContents, 6);
  EXPECT_TRUE(logged({}));
}

TEST_F(ConversationQueries, AConversationThatIsUsedAgainIsOverwrittenAndItsContentsGrow) {
  insertMessage({{"msgId", "7"}, {"msgType", "'mms'"}});
  insert("msg_mms_content_table", {{"msgId", "7"}, {"filename", "'picture'"}});
  auto out = item_test::sample<Conversation>(item_test::SEED);
  Conversation expected = conversation(7);
  ASSERT_EQ(expected.contents.size(), 1u);
  expected.contents.insert(expected.contents.begin(), out.contents.begin(), out.contents.end());
  EXPECT_EQ(db_get_conversation(7, out), DB_SUCCESS);
  expect_same(out, expected);
}

TEST_F(ConversationQueries, AnMmsWithoutContentsIsFound) {
  insertMessage({{"msgType", "'mms'"}});
  EXPECT_TRUE(conversation(1).contents.empty());
  EXPECT_TRUE(logged({}));
}

// ---- Addresses and SIM cards -------------------------------------------------------------------

TEST_F(ConversationQueries, AddressesAreSelectedByABoundConversation) {
  for (const int convId : {7, 0}) {
    std::vector<Address> out;
    EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_addresses(convId, out), DB_NO_DATA); }),
              Texts{"SELECT convId, addressType, recipientType, address FROM msg_address_table "
                    "WHERE convId = ?;"});
    EXPECT_EQ(SqlRecorder::run(),
              Texts{"SELECT convId, addressType, recipientType, address FROM msg_address_table "
                    "WHERE convId = " +
                    std::to_string(convId) + ";"});
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(ConversationQueries, AnAddressHasEveryColumnInItsField) {
  insert("msg_address_table", {{"addressId", "71"},
                               {"convId", "72"},
                               {"addressType", "73"},
                               {"recipientType", "74"},
                               {"address", "'+1 555'"}});
  insert("msg_address_table", {{"convId", "72"}, {"address", "NULL"}});
  insert("msg_address_table", {{"convId", "71"}});
  std::vector<Address> expected(2);
  expected[0].convId = 72;
  expected[0].addressType = 73;
  expected[0].recipientType = 74;
  expected[0].address = "+1 555";
  expected[1].convId = 72;
  std::vector<Address> out;
  EXPECT_EQ(db_get_addresses(72, out), DB_SUCCESS);
  EXPECT_TRUE(item_test::same(out, expected));
}

TEST_F(ConversationQueries, SimCardsHaveEveryColumnInItsField) {
  std::vector<SimInfo> out;
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_sim_infos(out), DB_NO_DATA); }),
            Texts{"SELECT id, simIndex, storageId, Imsi, Address FROM msg_sim_table;"});
  insert("msg_sim_table", {{"id", "81"},
                           {"simIndex", "82"},
                           {"storageId", "83"},
                           {"Imsi", "'imsi'"},
                           {"Address", "'+1 555'"},
                           {"customInt", "84"}});
  insert("msg_sim_table", {{"id", "85"}});
  std::vector<SimInfo> expected(2);
  expected[0].id = 81;
  expected[0].simIndex = 82;
  expected[0].storageId = 83;
  expected[0].imsi = "imsi";
  expected[0].address = "+1 555";
  expected[1].id = 85;
  expected[1].simIndex = 0;
  EXPECT_EQ(db_get_sim_infos(out), DB_SUCCESS);
  EXPECT_TRUE(item_test::same(out, expected));
  EXPECT_TRUE(logged({}));
}

using ConversationArguments = DataDirTest;

TEST_F(ConversationArguments, AreCheckedBeforeTheDatabaseIsTouched) {
  // SQLite would make a file here if it were asked to open one.
  std::filesystem::create_directory(dbDir());
  std::vector<Address> out;
  EXPECT_EQ(db_get_addresses(-1, out), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged({query_error("db_get_addresses", "Invalid param: threadId:(-1)")}));
  EXPECT_FALSE(std::filesystem::exists(dbFile()));
  EXPECT_TRUE(out.empty());
}

// ---- Lists -------------------------------------------------------------------------------------

/** Expects `query` to append to what the caller has, and to take that for found. */
template <typename Item, typename Value, typename Query>
void expect_appending(Value Item::*field, Value found, Query query) {
  std::vector<Item> out(1);
  out[0].*field = 99;
  EXPECT_EQ(query(out), DB_SUCCESS);
  EXPECT_EQ(each(out, field), (std::vector<Value>{99, found}));
  std::vector<Item> none;
  DBMgr::getInstance()->execStatement(
      "DELETE FROM msg_message_table; DELETE FROM msg_address_table; DELETE FROM msg_sim_table;");
  EXPECT_EQ(query(none), DB_NO_DATA);
  EXPECT_EQ(query(out), DB_SUCCESS);
  EXPECT_EQ(out.size(), 2u);
  EXPECT_TRUE(logged({}));
}

TEST_F(ConversationQueries, ThreadsAreAppended) {
  insertThread(5, 10);
  expect_appending(&Thread::convId, 5, &db_get_threads);
}

TEST_F(ConversationQueries, ConversationsAreAppended) {
  insertMessage({{"msgId", "6"}});
  expect_appending(&Conversation::msgId, 6,
                   [](std::vector<Conversation>& out) { return db_get_conversations(1, out); });
}

TEST_F(ConversationQueries, AddressesAreAppended) {
  insert("msg_address_table", {{"convId", "1"}, {"addressType", "7"}});
  expect_appending(&Address::addressType, 7,
                   [](std::vector<Address>& out) { return db_get_addresses(1, out); });
}

TEST_F(ConversationQueries, SimCardsAreAppended) {
  insert("msg_sim_table", {{"id", "8"}});
  expect_appending(&SimInfo::id, 8, &db_get_sim_infos);
}

}  // namespace

}  // namespace msg_tarvel::db
