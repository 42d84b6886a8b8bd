// The queries that give messages: their statements, what they read of each row, what they log.

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "query_support.h"

namespace msg_tarvel::db {

namespace {

using Messages = std::vector<Message>;
using Texts = std::vector<std::string>;

const std::string SELECT_MESSAGE =
    "SELECT msgId, convId, msgType, itemId, storageFolder, storageId, networkStatus, mainText, "
    "textMessage, displayTime, attachedNum, read, simIndex, peerConvId, peerChatType, "
    "peerChatSessionId, peerGroupChatSender, stickerId, isShareDialMessage, isSafeMessage FROM "
    "msg_message_table ";
const std::string SELECT_MESSAGES =
    "SELECT msgId, convId, msgType, itemId, storageFolder, storageId, networkStatus, mainText, "
    "textMessage, displayTime, attachedNum, read, simIndex, peerConvId, peerChatType, "
    "peerChatSessionId, stickerId, isShareDialMessage, isSafeMessage FROM msg_message_table ";
const std::string ALL =
    "(storageFolder > 0 AND storageFolder <> 5 AND storageFolder <> 105 AND storageFolder < 9999)";
const std::string NEWEST_FIRST = " ORDER BY displayTime DESC;";
const std::string SELECT_ADDRESSES =
    "SELECT convId, addressType, recipientType, address FROM msg_address_table WHERE convId = ";
const std::string SELECT_CONTENTS =
    "SELECT msgId, slideIdx, textData, mediaType, contentType, attachType, hasFile, status, "
    "filepath, filename, thumbpath, peer_filepath, peer_copied_filepath FROM msg_mms_content_table "
    "WHERE msgId = ";
const std::string SELECT_META =
    "SELECT msgId, objectId, primaryId, secondaryId, resourceURL, BTCorrelated, MSSICorrelated, "
    "lastModSeq, MSSISync, deleted, msgTime, downloadRequired FROM msg_nms_meta_table "
    "WHERE msgId = ";

/** A message that every query selects, with another value in every column. */
const Row MESSAGE = {{"msgId", "11"},
                     {"msgType", "'a type'"},
                     {"subType", "12"},
                     {"itemId", "13"},
                     {"convId", "14"},
                     {"storageId", "15"},
                     {"storageFolder", "101"},
                     {"networkStatus", "17"},
                     {"mainText", "'main text'"},
                     {"textMessage", "'text message'"},
                     {"displayTime", "5000000018"},
                     {"expiryTime", "19"},
                     {"attachedNum", "20"},
                     {"sync", "0"},
                     {"read", "1"},
                     {"simIndex", "21"},
                     {"simAddress", "'sim address'"},
                     {"peerConvId", "22"},
                     {"peerChatType", "23"},
                     {"peerChatSessionId", "'peer session'"},
                     {"peerGroupChatSender", "'group sender'"},
                     {"groupId", "24"},
                     {"stickerId", "25"},
                     {"isShareDialMessage", "26"},
                     {"isSafeMessage", "27"},
                     {"customFieldInt1", "28"},
                     {"customFieldStr1", "'custom'"}};

Message single_message() {
  Message message;
  message.msgId = 11;
  message.msgType = "a type";
  message.itemId = 13;
  message.convId = 14;
  message.storageId = 15;
  message.storageFolder = 101;
  message.networkStatus = 17;
  message.mainText = "main text";
  message.textMessage = "text message";
  message.displayTime = 5000000018;
  message.attachedNum = 20;
  message.read = true;
  message.simIndex = 21;
  message.peerConvId = 22;
  message.peerChatType = true;
  message.peerChatSessionId = "peer session";
  message.peerGroupChatSender = "group sender";
  message.stickerId = 25;
  message.isShareDialMessage = true;
  message.isSafeMessage = true;
  return message;
}

/** The same as the list queries give it: from stickerId on, each column lands one field early. */
Message listed_message() {
  Message message = single_message();
  message.peerGroupChatSender = "25";
  message.stickerId = 26;
  message.isShareDialMessage = true;
  message.isSafeMessage = false;
  return message;
}

ListCondition condition(const std::function<void(ListCondition&)>& fill) {
  ListCondition cond;
  fill(cond);
  return cond;
}

int list(const std::function<void(ListCondition&)>& fill, Messages& out) {
  return db_get_message_list(condition(fill), out);
}

/** Expects a list condition to give this statement. */
void expect_list_sql(const std::string& where, const std::function<void(ListCondition&)>& fill) {
  Messages out;
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(list(fill, out), DB_NO_DATA); }),
            Texts{SELECT_MESSAGES + where});
}

using MessageListQuery = std::function<int(Messages&)>;

/** Every list query that goes through the full reader, as it selects MESSAGE. */
const std::vector<std::pair<std::string, MessageListQuery>> MESSAGE_LISTS = {
    {"list", [](Messages& out) { return db_get_message_list(ListCondition(), out); }},
    {"standalone", [](Messages& out) { return db_get_standalone_messages({13}, out); }},
    {"by time", [](Messages& out) { return db_get_messages_by_time(6000000000, NO_FOLDER, out); }},
    {"unsynced", [](Messages& out) { return db_get_unsynced_messages(out); }},
};

/** Both queries of a single message, as they select MESSAGE. */
const std::vector<std::function<int(Message&)>> SINGLE_QUERIES = {
    [](Message& out) { return db_get_message(11, out); },
    [](Message& out) { return db_get_message(13, "a type", STANDALONE_FOLDER_1, out); },
};

class MessageQueries : public QueryTest {
 protected:
  using QueryTest::QueryTest;

  long long insertMessage(const Row& changes = {}) {
    return insert("msg_message_table", with(MESSAGE, changes));
  }

  /** A message with just these columns, in a conversation of its own. */
  void insertBrief(const Row& row) {
    insert("msg_message_table", with({{"convId", "1"}, {"storageFolder", "1"}}, row));
  }

  Message message(int msgId) {
    Message out;
    EXPECT_EQ(db_get_message(msgId, out), DB_SUCCESS);
    return out;
  }
};

// ---- Statements --------------------------------------------------------------------------------

TEST_F(MessageQueries, SingleMessagesAreSelectedByIdOrByItem) {
  Message out;
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_message(7, out), DB_NO_DATA); }),
            Texts{SELECT_MESSAGE + "WHERE msgId = 7 ORDER BY displayTime DESC;"});
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_message(0, out), DB_NO_DATA); }),
            Texts{SELECT_MESSAGE + "WHERE msgId = 0 ORDER BY displayTime DESC;"});
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_message(8, "mms", ALL_FOLDERS, out), DB_NO_DATA); }),
            Texts{SELECT_MESSAGE + "WHERE itemId = 8 AND msgType = 'mms' AND storageFolder = 9999 "
                                   "ORDER BY displayTime DESC;"});
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_message(0, "x", FOLDER_PAIR_1, out), DB_NO_DATA); }),
            Texts{SELECT_MESSAGE + "WHERE itemId = 0 AND msgType = 'x' AND storageFolder = -2 "
                                   "ORDER BY displayTime DESC;"});
  EXPECT_TRUE(logged({}));
  expect_same(out, Message());
}

TEST_F(MessageQueries, ADefaultConditionSelectsAllFolders) {
  expect_list_sql(
      "WHERE (storageFolder > 0 AND storageFolder <> 5 AND storageFolder <> 105 AND "
      "storageFolder < 9999) ORDER BY displayTime DESC;",
      [](ListCondition&) {});
}

TEST_F(MessageQueries, AFolderIsSelectedByItsNumber) {
  for (const int folder : {0, 1, 2, 3, 4, 5, 101, 102, 103, 104, 105, 9998, 10000}) {
    expect_list_sql("WHERE storageFolder = " + std::to_string(folder) + NEWEST_FIRST,
                    [&](ListCondition& cond) { cond.folderType = folder; });
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueries, FolderOptionsSelectAMainFolderWithItsCounterpart) {
  const std::vector<std::pair<int, std::string>> pairs = {
      {FOLDER_PAIR_1, "(storageFolder = 1 OR storageFolder = 101)"},
      {FOLDER_PAIR_2, "(storageFolder = 2 OR storageFolder = 102)"},
      {FOLDER_PAIR_3, "(storageFolder = 3 OR storageFolder = 103)"},
      {FOLDER_PAIR_4, "(storageFolder = 4 OR storageFolder = 104)"},
      {FOLDER_PAIR_5, "(storageFolder = 5 OR storageFolder = 105)"},
  };
  for (const auto& [option, folders] : pairs) {
    expect_list_sql("WHERE " + folders + NEWEST_FIRST,
                    [option = option](ListCondition& cond) { cond.folderType = option; });
    EXPECT_TRUE(logged({info_line("db_common_funcs.cpp", "db_get_message_list",
                                  "search message list by folder options!")}));
  }
}

TEST_F(MessageQueries, UnknownFolderOptionsAreRefusedBeforeAnythingIsCompiled) {
  for (const int folder : {-1, -7, -8, -9, INT_MIN}) {
    Messages out;
    EXPECT_EQ(compiled_by([&] {
                EXPECT_EQ(list([&](ListCondition& cond) { cond.folderType = folder; }, out),
                          DB_ERR_INVALID_PARAM);
              }),
              Texts{});
    EXPECT_TRUE(logged({info_line("db_common_funcs.cpp", "db_get_message_list",
                                  "search message list by folder options!"),
                        query_error("db_get_message_list", "folder type condition is invalid!!")}));
  }
}

TEST_F(MessageQueries, TheReadFilterAppliesToFolderOneAndItsPair) {
  const std::vector<std::pair<int, std::string>> filters = {{-1, ""},
                                                            {0, " AND read = 0"},
                                                            {1, " AND read = 1"},
                                                            {2, " AND read = 0"},
                                                            {-2, " AND read = 0"}};
  const std::vector<std::pair<int, std::string>> filtered = {
      {MAIN_FOLDER_1, "storageFolder = 1"},
      {FOLDER_PAIR_1, "(storageFolder = 1 OR storageFolder = 101)"}};
  const std::vector<std::pair<int, std::string>> unfiltered = {
      {NO_FOLDER, "storageFolder = 0"},
      {MAIN_FOLDER_2, "storageFolder = 2"},
      {STANDALONE_FOLDER_1, "storageFolder = 101"},
      {FOLDER_PAIR_2, "(storageFolder = 2 OR storageFolder = 102)"},
      {FOLDER_PAIR_5, "(storageFolder = 5 OR storageFolder = 105)"},
      {ALL_FOLDERS, ALL}};

  const auto fill = [](int folder, int filter) {
    return [=](ListCondition& cond) {
      cond.folderType = folder;
      cond.readFilter = filter;
    };
  };
  for (const auto& [filter, text] : filters) {
    for (const auto& [folder, where] : filtered) {
      expect_list_sql("WHERE " + where + text + NEWEST_FIRST, fill(folder, filter));
    }
    for (const auto& [folder, where] : unfiltered) {
      expect_list_sql("WHERE " + where + NEWEST_FIRST, fill(folder, filter));
    }
  }
}

TEST_F(MessageQueries, ACommaFollowsEachIdThatDiffersFromTheLast) {
  const std::vector<std::pair<std::vector<int>, std::string>> lists = {
      {{3}, "3"},         {{3, 7}, "3,7"},           {{3, 7, 3}, "37,3"},     {{3, 3}, "33"},
      {{3, 3, 3}, "333"}, {{7, 7, 3}, "7,7,3"},      {{3, 7, 9}, "3,7,9"},    {{-1, 0}, "-1,0"},
      {{0, -1}, "0,-1"},  {{9, 3, 9, 4}, "9,3,9,4"}, {{4, 9, 3, 9}, "4,93,9"}};
  for (const auto& [ids, text] : lists) {
    expect_list_sql("WHERE " + ALL + " AND convId IN (" + text + ")" + NEWEST_FIRST,
                    [&ids = ids](ListCondition& cond) { cond.convIds = ids; });
  }
}

TEST_F(MessageQueries, StorageTypeOrderAndLimitFollow) {
  const std::vector<std::pair<std::function<void(ListCondition&)>, std::string>> conditions = {
      {[](ListCondition& cond) { cond.storageId = 1; },
       " AND storageId = 1 ORDER BY displayTime DESC;"},
      {[](ListCondition& cond) { cond.storageId = 0; }, " ORDER BY displayTime DESC;"},
      {[](ListCondition& cond) { cond.storageId = -1; }, " ORDER BY displayTime DESC;"},
      {[](ListCondition& cond) { cond.msgType = "mms"; },
       " AND msgType = 'mms' ORDER BY displayTime DESC;"},
      {[](ListCondition& cond) { cond.ascending = true; }, " ORDER BY displayTime ASC;"},
      {[](ListCondition& cond) { cond.limit = 20; }, " ORDER BY displayTime DESC LIMIT 20;"},
      {[](ListCondition& cond) { cond.limit = 1; }, " ORDER BY displayTime DESC LIMIT 1;"},
      {[](ListCondition& cond) { cond.limit = -5; }, " ORDER BY displayTime DESC LIMIT -5;"},
      {[](ListCondition& cond) { cond.limit = 0; }, " ORDER BY displayTime DESC;"},
  };
  for (const auto& [fill, text] : conditions) expect_list_sql("WHERE " + ALL + text, fill);
}

TEST_F(MessageQueries, EveryPieceOfAConditionHasItsPlace) {
  expect_list_sql(
      "WHERE (storageFolder = 1 OR storageFolder = 101) AND read = 0 AND convId IN (3,7) "
      "AND storageId = 2 AND msgType = 'sms' ORDER BY displayTime ASC LIMIT 20;",
      [](ListCondition& cond) {
        cond.readFilter = 0;
        cond.ascending = true;
        cond.limit = 20;
        cond.folderType = FOLDER_PAIR_1;
        cond.storageId = 2;
        cond.msgType = "sms";
        cond.convIds = {3, 7};
      });
}

TEST_F(MessageQueries, StandaloneMessagesAreSelectedByTheirItems) {
  const std::vector<std::pair<std::vector<int>, std::string>> lists = {
      {{}, ""}, {{5}, "5"}, {{3, 7, 3}, "3,7,3"}, {{3, -1, 20}, "3,-1,20"}};
  for (const auto& [ids, text] : lists) {
    Messages out;
    EXPECT_EQ(
        compiled_by(
            [&ids = ids, &out] { EXPECT_EQ(db_get_standalone_messages(ids, out), DB_NO_DATA); }),
        Texts{SELECT_MESSAGES +
              "WHERE (storageFolder = 101 OR storageFolder = 103) AND itemId IN (" + text + ");"});
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueries, MessagesByTimeAreSelectedInOneFolderInGroupsOrInAll) {
  const std::vector<std::pair<int, std::string>> folders = {
      {0, ""},
      {-7, " AND storageFolder >= 1 AND storageFolder <= 5"},
      {-8, " AND storageFolder >= 101 AND storageFolder <= 105"},
      {1, " AND storageFolder = 1"},
      {105, " AND storageFolder = 105"},
      {9999, " AND storageFolder = 9999"},
      {-2, " AND storageFolder = -2"},
      {-9, " AND storageFolder = -9"}};
  for (const auto& [folder, text] : folders) {
    Messages out;
    EXPECT_EQ(compiled_by([folder = folder, &out] {
                EXPECT_EQ(db_get_messages_by_time(5000000000, static_cast<FolderType>(folder), out),
                          DB_NO_DATA);
              }),
              Texts{SELECT_MESSAGES + "WHERE displayTime < 5000000000" + text + NEWEST_FIRST});
  }
  Messages out;
  EXPECT_EQ(compiled_by([&] { db_get_messages_by_time(0, NO_FOLDER, out); }),
            Texts{SELECT_MESSAGES + "WHERE displayTime < 0 ORDER BY displayTime DESC;"});
  EXPECT_EQ(compiled_by([&] { db_get_messages_by_time(LLONG_MAX, NO_FOLDER, out); }),
            Texts{SELECT_MESSAGES +
                  "WHERE displayTime < 9223372036854775807 ORDER BY displayTime DESC;"});
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueries, UnsyncedMessagesAreSelectedByType) {
  Messages out;
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_unsynced_messages(out), DB_NO_DATA); }),
            Texts{SELECT_MESSAGES + "WHERE read = 1 AND sync = 0 ORDER BY msgType;"});
}

TEST_F(MessageQueries, DeletedMessagesAreSelectedByBoundFolders) {
  Messages out;
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_deleted_messages(true, out), DB_NO_DATA); }),
            Texts{"SELECT msgId, msgType, itemId, storageFolder, displayTime FROM "
                  "deleted_msg_table WHERE storageFolder = ?;"});
  EXPECT_EQ(SqlRecorder::run(),
            Texts{"SELECT msgId, msgType, itemId, storageFolder, displayTime FROM "
                  "deleted_msg_table WHERE storageFolder = 1;"});
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_deleted_messages(false, out), DB_NO_DATA); }),
            Texts{"SELECT msgId, msgType, itemId, storageFolder, displayTime FROM "
                  "deleted_msg_table WHERE storageFolder >= ? AND storageFolder <= ?;"});
  EXPECT_EQ(SqlRecorder::run(),
            Texts{"SELECT msgId, msgType, itemId, storageFolder, displayTime FROM "
                  "deleted_msg_table WHERE storageFolder >= 101 AND storageFolder <= 103;"});
  EXPECT_TRUE(logged({}));
}

// ---- Conditions that are too long, or that end early -------------------------------------------

TEST_F(MessageQueries, AListConditionIsCutWithinItsMessageType) {
  expectCutCondition({SELECT_MESSAGES, "WHERE " + ALL + " AND msgType = '", "'" + NEWEST_FIRST,
                      "_db_query_get_message_list", "db_get_message_list"},
                     letters, [](const std::string& type) {
                       Messages out;
                       return list([&](ListCondition& cond) { cond.msgType = type; }, out);
                     });
}

TEST_F(MessageQueries, AListConditionIsCutWithinItsConversations) {
  expectCutCondition(
      {SELECT_MESSAGES, "WHERE " + ALL + " AND convId IN (", ")" + NEWEST_FIRST,
       "_db_query_get_message_list", "db_get_message_list"},
      id_list_of_length, [](const std::string& ids) {
        Messages out;
        return list([&](ListCondition& cond) { cond.convIds = ids_of_length(ids.size()); }, out);
      });
}

TEST_F(MessageQueries, StandaloneItemsAreCut) {
  expectCutCondition(
      {SELECT_MESSAGES, "WHERE (storageFolder = 101 OR storageFolder = 103) AND itemId IN (", ");",
       "_db_query_get_message_list", "db_get_standalone_messages"},
      id_list_of_length, [](const std::string& ids) {
        Messages out;
        return db_get_standalone_messages(ids_of_length(ids.size()), out);
      });
}

TEST_F(MessageQueries, TheMessageTypeOfAnItemIsCut) {
  expectCutCondition({SELECT_MESSAGE, "WHERE itemId = 5 AND msgType = '",
                      "' AND storageFolder = 1 ORDER BY displayTime DESC;", "_db_query_get_message",
                      "db_get_message"},
                     letters, [](const std::string& type) {
                       Message out;
                       return db_get_message(5, type, MAIN_FOLDER_1, out);
                     });
}

TEST_F(MessageQueries, MessageTypesAreNotEscaped) {
  insertMessage();
  const std::string always = "x' OR '1' = '1";
  Messages listed;
  EXPECT_EQ(list([&](ListCondition& cond) { cond.msgType = always; }, listed), DB_SUCCESS);
  EXPECT_EQ(listed.size(), 1u);
  Message out;
  EXPECT_EQ(db_get_message(1, always, MAIN_FOLDER_2, out), DB_NO_DATA);
  EXPECT_EQ(db_get_message(1, always + "' --", MAIN_FOLDER_2, out), DB_SUCCESS);
  EXPECT_TRUE(logged({}));

  EXPECT_EQ(list([](ListCondition& cond) { cond.msgType = "o'neil"; }, listed), DB_ERR_PREPARE);
  EXPECT_EQ(listed.size(), 1u);
  EXPECT_TRUE(logged(not_compiled("_db_query_get_message_list", R"(near "neil": syntax error)") +
                     Lines{reported("db_get_message_list", "_db_query_get_message_list", -1004)}));
  EXPECT_EQ(db_get_message(1, "o'neil", MAIN_FOLDER_2, out), DB_ERR_PREPARE);
  EXPECT_TRUE(logged(not_compiled("_db_query_get_message", R"(near "neil": syntax error)") +
                     Lines{reported("db_get_message", "_db_query_get_message", -1004)}));
}

// ---- Arguments ---------------------------------------------------------------------------------

using MessageArguments = DataDirTest;

TEST_F(MessageArguments, AreCheckedBeforeTheDatabaseIsTouched) {
  // SQLite would make a file here if it were asked to open one.
  std::filesystem::create_directory(dbDir());
  Message out;
  EXPECT_EQ(db_get_message(-1, out), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged({query_error("db_get_message", "Invalid param: msgId:(-1)")}));
  EXPECT_EQ(db_get_message(-2, "sms", MAIN_FOLDER_1, out), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged({query_error("db_get_message", "Invalid param: itemId:(-2), msgType:(sms)")}));
  EXPECT_EQ(db_get_message(3, "", MAIN_FOLDER_1, out), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged({query_error("db_get_message", "Invalid param: itemId:(3), msgType:()")}));
  Messages messages;
  EXPECT_EQ(db_get_messages_by_time(-5000000000, NO_FOLDER, messages), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(
      logged({query_error("db_get_messages_by_time", "Invalid param: time:(-5000000000)")}));
  EXPECT_EQ(list([](ListCondition& cond) { cond.folderType = -1; }, messages),
            DB_ERR_INVALID_PARAM);
  FakePlatform::get().clearLines();
  EXPECT_TRUE(messages.empty());
  expect_same(out, Message());
  EXPECT_FALSE(std::filesystem::exists(dbFile()));

  // Arguments in range lead there.
  EXPECT_EQ(db_get_message(0, out), DB_ERR_PREPARE);
  EXPECT_TRUE(logged(Lines{opening()} +
                     no_such_table("_db_query_get_message", "msg_message_table") +
                     Lines{reported("db_get_message", "_db_query_get_message", -1004)}));
  EXPECT_TRUE(std::filesystem::exists(dbFile()));
}

// ---- Reading a row -----------------------------------------------------------------------------

TEST_F(MessageQueries, SingleMessagesHaveEveryColumnInItsField) {
  insertMessage();
  for (const auto& query : SINGLE_QUERIES) {
    Message out;
    EXPECT_EQ(query(out), DB_SUCCESS);
    expect_same(out, single_message());
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueries, ListedMessagesAreShiftedFromTheStickerOn) {
  insertMessage();
  for (const auto& [name, query] : MESSAGE_LISTS) {
    SCOPED_TRACE(name);
    Messages out;
    EXPECT_EQ(query(out), DB_SUCCESS);
    expect_only(out, listed_message());
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueries, EachFlagIsReadFromItsOwnColumn) {
  struct Flag {
    const char* column;
    bool Message::*field;
    /** The field in list results; null when the column is shifted into a number, or out. */
    bool Message::*listedField;
  };
  const std::vector<Flag> flags = {
      {"read", &Message::read, &Message::read},
      {"peerChatType", &Message::peerChatType, &Message::peerChatType},
      {"isShareDialMessage", &Message::isShareDialMessage, nullptr},
      {"isSafeMessage", &Message::isSafeMessage, &Message::isShareDialMessage}};
  for (std::size_t row = 0; row < flags.size(); ++row) {
    SCOPED_TRACE(flags[row].column);
    const int id = static_cast<int>(row) + 1;
    insertBrief({{"msgId", std::to_string(id)}, {flags[row].column, "2"}});
    const Message single = message(id);
    Messages listed;
    list([](ListCondition& cond) { cond.ascending = true; }, listed);
    ASSERT_EQ(listed.size(), 1u);
    for (const Flag& flag : flags) {
      EXPECT_EQ(single.*flag.field, flag.column == flags[row].column) << flag.column;
      EXPECT_EQ(listed[0].*flag.field, flag.field == flags[row].listedField) << flag.column;
    }
    EXPECT_EQ(listed[0].stickerId, flags[row].listedField ? 0 : 2);
    raw().exec("DELETE FROM msg_message_table;");
  }
}

TEST_F(MessageQueries, NullColumnsReadAsZeroAndEmpty) {
  insert("msg_message_table", {{"convId", "3"}});
  Message expected;
  expected.msgId = 1;
  expected.convId = 3;
  expected.storageFolder = 0;
  expected.storageId = 0;
  expected.networkStatus = 0;
  expected.simIndex = 0;
  expect_same(message(1), expected);
}

TEST_F(MessageQueries, OnlyTheFirstRowOfAnItemIsReadTheNewest) {
  insertBrief({{"itemId", "5"}, {"msgType", "'sms'"}, {"displayTime", "10"}});
  insertBrief({{"itemId", "5"}, {"msgType", "'sms'"}, {"displayTime", "30"}});
  insertBrief({{"itemId", "5"}, {"msgType", "'sms'"}, {"displayTime", "20"}});
  insertBrief({{"itemId", "5"}, {"msgType", "'mms'"}, {"displayTime", "40"}});
  insertBrief({{"itemId", "6"}, {"msgType", "'sms'"}, {"displayTime", "40"}});
  insertBrief(
      {{"itemId", "5"}, {"msgType", "'sms'"}, {"displayTime", "40"}, {"storageFolder", "2"}});
  Message out;
  EXPECT_EQ(db_get_message(5, "sms", MAIN_FOLDER_1, out), DB_SUCCESS);
  EXPECT_EQ(out.msgId, 2);
  EXPECT_EQ(out.displayTime, 30);
}

TEST_F(MessageQueries, TheRowsThatAConditionSelectsComeInItsOrder) {
  int id = 0;
  for (const int folder : {0, 1, 2, 5, 101, 105, 9998, 9999}) {
    for (const int read : {0, 1}) {
      ++id;
      insertBrief({{"msgId", std::to_string(id)},
                   {"storageFolder", std::to_string(folder)},
                   {"read", std::to_string(read)},
                   {"storageId", std::to_string(folder)},
                   {"convId", std::to_string(read + 3)},
                   {"msgType", read ? "'mms'" : "'sms'"},
                   {"displayTime", std::to_string(100 - id)}});
    }
  }
  const auto ids = [](const std::function<void(ListCondition&)>& fill) {
    Messages out;
    list(fill, out);
    return each(out, &Message::msgId);
  };
  using Ids = std::vector<int>;
  EXPECT_EQ(ids([](ListCondition&) {}), (Ids{3, 4, 5, 6, 9, 10, 13, 14}));
  EXPECT_EQ(ids([](ListCondition& cond) { cond.ascending = true; }),
            (Ids{14, 13, 10, 9, 6, 5, 4, 3}));
  EXPECT_EQ(ids([](ListCondition& cond) { cond.limit = 3; }), (Ids{3, 4, 5}));
  EXPECT_EQ(ids([](ListCondition& cond) { cond.limit = -1; }).size(), 8u);
  EXPECT_EQ(ids([](ListCondition& cond) { cond.folderType = NO_FOLDER; }), (Ids{1, 2}));
  EXPECT_EQ(ids([](ListCondition& cond) { cond.folderType = FOLDER_PAIR_1; }), (Ids{3, 4, 9, 10}));
  EXPECT_EQ(ids([](ListCondition& cond) { cond.folderType = FOLDER_PAIR_5; }), (Ids{7, 8, 11, 12}));
  EXPECT_EQ(ids([](ListCondition& cond) {
              cond.folderType = FOLDER_PAIR_1;
              cond.readFilter = 0;
            }),
            (Ids{3, 9}));
  EXPECT_EQ(ids([](ListCondition& cond) {
              cond.folderType = MAIN_FOLDER_1;
              cond.readFilter = 1;
            }),
            (Ids{4}));
  EXPECT_EQ(ids([](ListCondition& cond) { cond.convIds = {4, 99}; }), (Ids{4, 6, 10, 14}));
  EXPECT_EQ(ids([](ListCondition& cond) { cond.storageId = 101; }), (Ids{9, 10}));
  EXPECT_EQ(ids([](ListCondition& cond) { cond.msgType = "sms"; }), (Ids{3, 5, 9, 13}));

  Messages out;
  EXPECT_EQ(db_get_messages_by_time(98, NO_FOLDER, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Message::msgId), (Ids{3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
  out.clear();
  EXPECT_EQ(db_get_messages_by_time(97, ALL_MAIN_FOLDERS, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Message::msgId), (Ids{4, 5, 6, 7, 8}));
  out.clear();
  EXPECT_EQ(db_get_messages_by_time(100, ALL_STANDALONE_FOLDERS, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Message::msgId), (Ids{9, 10, 11, 12}));
}

TEST_F(MessageQueries, StandaloneMessagesAreThoseOfTwoFolders) {
  for (const int folder : {1, 3, 101, 102, 103, 104}) {
    insertBrief({{"storageFolder", std::to_string(folder)}, {"itemId", "5"}});
    insertBrief({{"storageFolder", std::to_string(folder)}, {"itemId", "7"}});
  }
  Messages out;
  EXPECT_EQ(db_get_standalone_messages({5, 6}, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Message::storageFolder), (std::vector<int>{101, 103}));
  EXPECT_EQ(each(out, &Message::itemId), (std::vector<int>{5, 5}));
}

TEST_F(MessageQueries, UnsyncedMessagesAreReadOnesByType) {
  insertBrief({{"read", "1"}, {"sync", "0"}, {"msgType", "'sms'"}});
  insertBrief({{"read", "1"}, {"sync", "0"}, {"msgType", "'chat'"}});
  insertBrief({{"read", "0"}, {"sync", "0"}});
  insertBrief({{"read", "1"}, {"sync", "1"}});
  insertBrief({{"read", "1"}});
  Messages out;
  EXPECT_EQ(db_get_unsynced_messages(out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Message::msgId), (std::vector<int>{2, 1}));
}

TEST_F(MessageQueries, DeletedMessagesFillFiveFieldsOnly) {
  insert("deleted_msg_table", {{"id", "1"},
                               {"msgId", "31"},
                               {"msgType", "'mms'"},
                               {"itemId", "32"},
                               {"storageFolder", "1"},
                               {"displayTime", "5000000033"},
                               {"data1", "'data'"}});
  for (const int folder : {0, 2, 100, 101, 102, 103, 104}) {
    insert("deleted_msg_table", {{"storageFolder", std::to_string(folder)}});
  }
  // What the full reader would have added.
  insert("msg_address_table", {{"convId", "0"}, {"address", "''"}});
  insert("msg_mms_content_table", {{"msgId", "31"}});

  Message expected;
  expected.msgId = 31;
  expected.msgType = "mms";
  expected.itemId = 32;
  expected.storageFolder = 1;
  expected.displayTime = 5000000033;
  Messages out;
  EXPECT_EQ(db_get_deleted_messages(true, out), DB_SUCCESS);
  expect_only(out, expected);

  out.clear();
  EXPECT_EQ(db_get_deleted_messages(false, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Message::storageFolder), (std::vector<int>{101, 102, 103}));
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueries, AListIsAppendedToAndCountsAsFoundWhenItIsNotEmpty) {
  std::vector<std::pair<std::string, MessageListQuery>> queries = MESSAGE_LISTS;
  queries.emplace_back("deleted", [](Messages& out) { return db_get_deleted_messages(true, out); });
  queries.emplace_back("deleted standalone",
                       [](Messages& out) { return db_get_deleted_messages(false, out); });
  Message earlier;
  earlier.msgId = 99;
  for (const auto& [name, query] : queries) {
    SCOPED_TRACE(name);
    Messages empty;
    EXPECT_EQ(query(empty), DB_NO_DATA);
    EXPECT_TRUE(empty.empty());
    Messages out = {earlier};
    EXPECT_EQ(query(out), DB_SUCCESS);
    expect_only(out, earlier);
  }

  insertMessage();
  insert("deleted_msg_table", {{"msgId", "11"}, {"storageFolder", "1"}});
  insert("deleted_msg_table", {{"msgId", "11"}, {"storageFolder", "101"}});
  for (const auto& [name, query] : queries) {
    SCOPED_TRACE(name);
    Messages out = {earlier};
    EXPECT_EQ(query(out), DB_SUCCESS);
    EXPECT_EQ(each(out, &Message::msgId), (std::vector<int>{99, 11}));
  }
  EXPECT_TRUE(logged({}));
}

// ---- What belongs to a message -----------------------------------------------------------------

TEST_F(MessageQueries, AddressesAreThoseOfTheConversation) {
  insertMessage();
  insert("msg_address_table", {{"convId", "11"}, {"address", "'of the message id'"}});
  insert(
      "msg_address_table",
      {{"convId", "14"}, {"addressType", "41"}, {"recipientType", "42"}, {"address", "'first'"}});
  insert("msg_address_table", {{"convId", "14"}, {"address", "'second'"}});
  Message expected = single_message();
  expected.addresses.resize(2);
  expected.addresses[0].convId = 14;
  expected.addresses[0].addressType = 41;
  expected.addresses[0].recipientType = 42;
  expected.addresses[0].address = "first";
  expected.addresses[1].convId = 14;
  expected.addresses[1].address = "second";
  expect_same(message(11), expected);
}

TEST_F(MessageQueries, TheFirstAddressEqualToTheGroupSenderIsMarked) {
  insertMessage({{"peerGroupChatSender", "'+1 555'"}});
  for (const char* address :
       {"'+1 5550'", "'+1 55'", "'+1 555 '", "NULL", "'+1 555'", "'+1 555'"}) {
    insert("msg_address_table", {{"convId", "14"}, {"address", address}});
  }
  const auto marks = [](const Message& message) {
    return each(message.addresses, &Address::userFlag);
  };
  EXPECT_EQ(marks(message(11)), (std::vector<bool>{false, false, false, false, true, false}));
}

TEST_F(MessageQueries, TheSenderIsComparedInFullWithItsCase) {
  insertMessage({{"peerGroupChatSender", "'Ann'"}});
  insert("msg_address_table", {{"convId", "14"}, {"address", "'ann'"}});
  EXPECT_FALSE(message(11).addresses.at(0).userFlag);
}

TEST_F(MessageQueries, AnEmptySenderMarksAnEmptyAddress) {
  insertMessage({{"peerGroupChatSender", "NULL"}});
  insert("msg_address_table", {{"convId", "14"}, {"address", "'+1 555'"}});
  insert("msg_address_table", {{"convId", "14"}, {"address", "NULL"}});
  insert("msg_address_table", {{"convId", "14"}, {"address", "''"}});
  EXPECT_EQ(each(message(11).addresses, &Address::userFlag),
            (std::vector<bool>{false, true, false}));
}

TEST_F(MessageQueries, InListsTheSenderIsComparedWithTheStickerText) {
  insertMessage({{"peerGroupChatSender", "'+1 555'"}});
  insert("msg_address_table", {{"convId", "14"}, {"address", "'+1 555'"}});
  insert("msg_address_table", {{"convId", "14"}, {"address", "'25'"}});
  Messages out;
  EXPECT_EQ(db_get_message_list(ListCondition(), out), DB_SUCCESS);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(each(out[0].addresses, &Address::userFlag), (std::vector<bool>{false, true}));
}

TEST_F(MessageQueries, AConversationWithANegativeIdHasNoAddressesToRead) {
  insertBrief({{"convId", "-3"}, {"displayTime", "1"}});
  const auto lines = [](const char* worker, const char* caller) {
    return Lines{query_error("db_get_addresses", "Invalid param: threadId:(-3)"),
                 query_error("_db_step_get_message", "db_get_addresses() failed: (-3)"),
                 query_error(worker, "_db_step_get_message() failed!"),
                 reported(caller, worker, -3)};
  };
  Message single;
  EXPECT_EQ(db_get_message(1, single), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged(lines("_db_query_get_message", "db_get_message")));
  EXPECT_EQ(single.convId, -3);

  insertBrief({{"displayTime", "2"}});
  Messages listed;
  EXPECT_EQ(db_get_message_list(ListCondition(), listed), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged(lines("_db_query_get_message_list", "db_get_message_list")));
  EXPECT_EQ(each(listed, &Message::msgId), std::vector<int>{2});
}

TEST_F(MessageQueries, AnItemThatIsUsedAgainKeepsWhatNoColumnHasAndItsPartsGrow) {
  insertMessage({{"msgType", "'mms'"}});
  insert("msg_address_table", {{"convId", "14"}, {"address", "'group sender'"}});
  insert("msg_mms_content_table", {{"msgId", "11"}, {"filename", "'picture'"}});
  auto out = item_test::sample<Message>(item_test::SEED);
  out.addresses[1].address = "group sender";
  Message expected = single_message();
  expected.msgType = "mms";
  expected.auxInt1 = out.auxInt1;
  expected.auxInt2 = out.auxInt2;
  expected.auxInt3 = out.auxInt3;
  expected.auxInt4 = out.auxInt4;
  expected.auxTime = out.auxTime;
  expected.auxText = out.auxText;
  expected.auxFlag = out.auxFlag;
  expected.nmsMsgMeta = out.nmsMsgMeta;
  expected.addresses = out.addresses;
  expected.addresses[0].userFlag = false;
  expected.addresses[1].userFlag = true;  // the first that equals the sender, and no other
  Address& address = expected.addresses.emplace_back();
  address.convId = 14;
  address.address = "group sender";
  expected.contents = out.contents;
  Content& content = expected.contents.emplace_back();
  content.msgId = 11;
  content.filename = "picture";

  out.addresses[0].userFlag = false;
  out.addresses[1].userFlag = false;
  EXPECT_EQ(db_get_message(11, out), DB_SUCCESS);
  expect_same(out, expected);
}

TEST_F(MessageQueries, ContentsAreReadOnlyOfTheTypeMms) {
  const std::vector<std::pair<std::string, std::size_t>> types = {
      {"mms", 1}, {"MMS", 0}, {"sms", 0}, {"", 0}, {"mms ", 0}, {"mm", 0}};
  for (std::size_t row = 0; row < types.size(); ++row) {
    SCOPED_TRACE(types[row].first);
    const int id = static_cast<int>(row) + 1;
    insertBrief({{"msgType", quoted(types[row].first)}});
    insert("msg_mms_content_table", {{"msgId", std::to_string(id)}});
    EXPECT_EQ(message(id).contents.size(), types[row].second);
  }
  Messages out;
  EXPECT_EQ(db_get_message_list(ListCondition(), out), DB_SUCCESS);
  ASSERT_EQ(out.size(), types.size());
  for (const Message& each : out) EXPECT_EQ(each.contents.size(), each.msgType == "mms" ? 1u : 0u);
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueries, AnMmsWithoutContentsAndAddressesIsFound) {
  insertMessage({{"msgType", "'mms'"}});
  Message expected = single_message();
  expected.msgType = "mms";
  expect_same(message(11), expected);
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueries, WithoutTheSharingServiceNoMetadataIsAskedFor) {
  insertMessage({{"msgType", "'mms'"}, {"storageFolder", "1"}});
  insert("msg_nms_meta_table", {{"msgId", "11"}, {"objectId", "'object'"}});
  Message out;
  EXPECT_EQ(run_by([&] { EXPECT_EQ(db_get_message(11, out), DB_SUCCESS); }),
            (Texts{SELECT_MESSAGE + "WHERE msgId = 11 ORDER BY displayTime DESC;",
                   SELECT_ADDRESSES + "14;", SELECT_CONTENTS + "11;"}));
  EXPECT_FALSE(out.hasNmsMsgMeta());
}

TEST_F(MessageQueries, TheSalesCodeIsReadOnce) {
  // The one that is asked first answers for the whole process, so this is all that can be seen
  // here.
  FakePlatform::get().set("db/csc/salescode", "ATT");
  insertMessage({{"storageFolder", "1"}});
  insert("msg_nms_meta_table", {{"msgId", "11"}, {"objectId", "'object'"}});
  EXPECT_FALSE(message(11).hasNmsMsgMeta());
}

/** The first message that the process reads: nobody has asked for the sales code yet. */
class FirstMessage : public StoreTest {
 protected:
  FirstMessage() {
    insert("msg_message_table", with(MESSAGE, {{"msgType", "'mms'"}}));
    FakePlatform::get().onLog([this](const LogLine& line) {
      if (line.function == "is_linkdial_supported") _runBefore = SqlRecorder::run();
    });
  }
  ~FirstMessage() override { FakePlatform::get().onLog(nullptr); }

  static int questions() { return FakePlatform::get().reads("db/csc/salescode"); }
  /** The statements that ran before the sales code was asked for. */
  const Texts& runBefore() const { return _runBefore; }

 private:
  Texts _runBefore;
};

TEST_F(FirstMessage, AsksForTheSalesCodeAfterItsPartsAndWhateverItsFolder) {
  SqlRecorder::clear();
  Message out;
  EXPECT_EQ(db_get_message(11, out), DB_SUCCESS);
  EXPECT_EQ(out.storageFolder, STANDALONE_FOLDER_1);  // which has no metadata
  EXPECT_EQ(questions(), 1);
  EXPECT_EQ(runBefore(), (Texts{SELECT_MESSAGE + "WHERE msgId = 11 ORDER BY displayTime DESC;",
                                SELECT_ADDRESSES + "14;", SELECT_CONTENTS + "11;"}));
}

TEST_F(FirstMessage, DoesNotAskWhenItsAddressesCannotBeRead) {
  dropTable("msg_address_table");
  Message out;
  EXPECT_NE(db_get_message(11, out), DB_SUCCESS);
  EXPECT_EQ(questions(), 0);
}

TEST_F(FirstMessage, DoesNotAskWhenItsContentsCannotBeRead) {
  dropTable("msg_mms_content_table");
  Message out;
  EXPECT_NE(db_get_message(11, out), DB_SUCCESS);
  EXPECT_EQ(questions(), 0);
}

class MessageQueriesOfASharingDevice : public MessageQueries {
 protected:
  MessageQueriesOfASharingDevice() : MessageQueries("ATT") {}
};

TEST_F(MessageQueriesOfASharingDevice, AMessageIsReadWithAllThatBelongsToIt) {
  insertMessage({{"msgType", "'mms'"}, {"storageFolder", "1"}});
  insert("msg_address_table", {{"convId", "14"}, {"address", "'group sender'"}});
  insert("msg_mms_content_table", {{"msgId", "11"}, {"filename", "'picture'"}});
  insert("msg_nms_meta_table", {{"msgId", "11"}, {"objectId", "'object'"}});
  insert("msg_nms_meta_table", {{"msgId", "14"}, {"objectId", "'of another'"}});

  Message expected = single_message();
  expected.msgType = "mms";
  expected.storageFolder = 1;
  expected.addresses.resize(1);
  expected.addresses[0].convId = 14;
  expected.addresses[0].address = "group sender";
  expected.addresses[0].userFlag = true;
  expected.contents.resize(1);
  expected.contents[0].msgId = 11;
  expected.contents[0].filename = "picture";
  expected.nmsMsgMeta.msgId = 11;
  expected.nmsMsgMeta.objectId = "object";

  Message out;
  EXPECT_EQ(run_by([&] { EXPECT_EQ(db_get_message(11, out), DB_SUCCESS); }),
            (Texts{SELECT_MESSAGE + "WHERE msgId = 11 ORDER BY displayTime DESC;",
                   SELECT_ADDRESSES + "14;", SELECT_CONTENTS + "11;", SELECT_META + "11;"}));
  expect_same(out, expected);

  Messages listed;
  EXPECT_EQ(run_by([&] { EXPECT_EQ(db_get_message_list(ListCondition(), listed), DB_SUCCESS); }),
            (Texts{SELECT_MESSAGES + "WHERE " + ALL + NEWEST_FIRST, SELECT_ADDRESSES + "14;",
                   SELECT_CONTENTS + "11;", SELECT_META + "11;"}));
  expected.peerGroupChatSender = "25";
  expected.stickerId = 26;
  expected.isSafeMessage = false;
  expected.addresses[0].userFlag = false;
  expect_only(listed, expected);
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueriesOfASharingDevice, MetadataIsReadInFoldersOneTwoThreeAndFive) {
  const std::vector<std::pair<int, bool>> folders = {
      {0, false}, {1, true},    {2, true},    {3, true},    {4, false},   {5, true},
      {6, false}, {101, false}, {102, false}, {103, false}, {105, false}, {9999, false}};
  for (std::size_t row = 0; row < folders.size(); ++row) {
    SCOPED_TRACE(folders[row].first);
    const int id = static_cast<int>(row) + 1;
    insertBrief({{"storageFolder", std::to_string(folders[row].first)}});
    insert("msg_nms_meta_table", {{"msgId", std::to_string(id)}, {"primaryId", "'primary'"}});
    EXPECT_EQ(message(id).hasNmsMsgMeta(), folders[row].second);
  }
}

TEST_F(MessageQueriesOfASharingDevice, MissingMetadataIsNoFailure) {
  insertBrief({});
  EXPECT_FALSE(message(1).hasNmsMsgMeta());
  EXPECT_TRUE(logged({}));
}

TEST_F(MessageQueriesOfASharingDevice, MetadataThatCannotBeReadIsOnlyWarnedOf) {
  insertMessage({{"storageFolder", "1"}});
  drop("msg_nms_meta_table");
  const Lines expected = no_such_table("_db_query_get_nms_meta", "msg_nms_meta_table") +
                         Lines{reported("db_get_nms_msg_meta", "_db_query_get_nms_meta", -1004),
                               warn_line("db_common_funcs.cpp", "_db_step_get_message",
                                         "db_get_nms_msg_meta() failed: (-1004)")};
  Message single = single_message();
  single.storageFolder = 1;
  expect_same(message(11), single);
  EXPECT_TRUE(logged(expected));

  Messages out;
  EXPECT_EQ(db_get_message_list(ListCondition(), out), DB_SUCCESS);
  Message listed = listed_message();
  listed.storageFolder = 1;
  expect_only(out, listed);
  EXPECT_TRUE(logged(expected));
}

TEST_F(MessageQueriesOfASharingDevice, MetadataWhoseStepFailsIsOnlyWarnedOf) {
  insertMessage({{"storageFolder", "1"}});
  insert("msg_nms_meta_table", {{"msgId", "11"}, {"lastModSeq", "3"}});
  failOnRow("msg_nms_meta_table", "lastModSeq", 3);
  Message single = single_message();
  single.storageFolder = 1;
  expect_same(message(11), single);
  EXPECT_TRUE(logged(not_stepped("_db_query_get_nms_meta", "step() failed") +
                     Lines{not_finalized(),
                           reported("db_get_nms_msg_meta", "_db_query_get_nms_meta", -1005),
                           warn_line("db_common_funcs.cpp", "_db_step_get_message",
                                     "db_get_nms_msg_meta() failed: (-1005)")}));
}

TEST_F(MessageQueries, TheNewestUnreadOfTwoConversations) {
  for (int id = 1; id <= 90; ++id) {
    insertBrief({{"convId", std::to_string(id % 3 + 1)},
                 {"read", std::to_string(id % 2)},
                 {"displayTime", std::to_string(1000 + id)}});
  }
  for (const int convId : {1, 2, 3}) {
    insert("msg_address_table",
           {{"convId", std::to_string(convId)}, {"address", quoted(std::to_string(convId))}});
  }
  Messages out;
  EXPECT_EQ(list(
                [](ListCondition& cond) {
                  cond.folderType = MAIN_FOLDER_1;
                  cond.readFilter = 0;
                  cond.limit = 20;
                  cond.convIds = {1, 3};
                },
                out),
            DB_SUCCESS);
  ASSERT_EQ(out.size(), 20u);
  int id = 90;
  for (const Message& each : out) {
    while (id % 2 == 1 || id % 3 == 1) --id;
    EXPECT_EQ(each.msgId, id--);
    ASSERT_EQ(each.addresses.size(), 1u);
    EXPECT_EQ(each.addresses[0].address, std::to_string(each.convId));
  }
}

}  // namespace

}  // namespace msg_tarvel::db
