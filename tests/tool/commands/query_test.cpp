// The library's queries, raw: every one that is exported, with its arguments and its quirks.

#include <set>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class Query : public ToolTest {
 protected:
  void SetUp() override {
    create();
    RawConnection(dbFile()).exec(
        "INSERT INTO msg_conversation_table (convId, msgCnt, displayTime, mainText, lastMsgId) "
        "VALUES (3, 2, 2000, 'b', 2);"
        "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES "
        "(3, 1, 1, '+14155550111');"
        "INSERT INTO msg_message_table (msgId, convId, msgType, storageFolder, read, sync, itemId, "
        "displayTime, mainText, stickerId, isSafeMessage, peerGroupChatSender) VALUES "
        "(1, 3, 'mms', 1, 0, 0, 8, 1000, 'a', 11, 1, '+14155550111'), "
        "(2, 3, 'sms', 103, 1, 0, 9, 2000, 'b', 12, 0, '');"
        "INSERT INTO msg_mms_content_table (msgId, contentType) VALUES (1, 'image/png');"
        "INSERT INTO deleted_msg_table (msgId, storageFolder) VALUES (7, 1), (8, 102);"
        "INSERT INTO msg_ft_content_table (msgId, filepath, contentType) VALUES (1, '/x', "
        "'json_msg');"
        "INSERT INTO msg_nms_meta_table (msgId, objectId, BTCorrelated, MSSICorrelated, MSSISync, "
        "deleted, downloadRequired, primaryId, msgTime) VALUES (1, 'o', 0, 1, 1, 0, 1, 'p', 5);"
        "INSERT INTO msg_sim_table (simIndex, Imsi) VALUES (0, '001');");
  }

  nlohmann::json items(const std::vector<std::string>& words) const {
    std::vector<std::string> command = {"query"};
    command.insert(command.end(), words.begin(), words.end());
    command.insert(command.begin() + 1, "--json");
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 0) << words.front() << ": " << result.err;
    const auto answer = nlohmann::json::parse(result.out, nullptr, false);
    EXPECT_EQ(answer["query"], words.front());
    EXPECT_EQ(answer["result"], 0);
    EXPECT_EQ(answer["text"], "success");
    return answer["items"];
  }
};

TEST_F(Query, IsEveryOneThatIsExported) {
  std::set<std::string> exported;
  const std::string symbols = content_of(SYMBOLS_FILE);
  for (const std::string beginning : {"db_get_", "db_has_", "db_check_"}) {
    const std::string wanted = "\nmsg_tarvel::db::" + beginning;
    for (std::size_t at = 0; (at = symbols.find(wanted, at)) != std::string::npos; ++at) {
      const std::size_t name = at + wanted.size() - beginning.size();
      exported.insert(symbols.substr(name, symbols.find('(', name) - name));
    }
  }
  EXPECT_EQ(exported.size(), 22U);
  std::set<std::string> offered;
  for (const auto& query : json({"query"})) offered.insert(query["name"].get<std::string>());
  EXPECT_EQ(offered, exported);
}

TEST_F(Query, GivesWhatTheLibraryGives) {
  EXPECT_EQ(items({"db_get_message", "1"})[0]["isSafeMessage"], true);
  EXPECT_EQ(items({"db_get_message", "9", "sms", "103"})[0]["msgId"], 2);
  EXPECT_EQ(items({"db_get_standalone_messages", "8", "9"})[0]["msgId"], 2);
  EXPECT_EQ(items({"db_get_messages_by_time", "1500", "0"})[0]["msgId"], 1);
  EXPECT_EQ(items({"db_get_unsynced_messages"})[0]["msgId"], 2);
  EXPECT_EQ(items({"db_get_deleted_messages", "1"})[0]["msgId"], 7);
  EXPECT_EQ(items({"db_get_deleted_messages", "false"})[0]["msgId"], 8);
  EXPECT_EQ(items({"db_check_thread_address_exist", "4155550111"}),
            nlohmann::json::parse(R"([{"threadId": 3}])"));
  EXPECT_EQ(items({"db_get_thread", "3"})[0]["lastMsgId"], 2);
  EXPECT_EQ(items({"db_get_threads"})[0].count("lastMsgId"), 0U);
  EXPECT_EQ(items({"db_get_conversation", "2"})[0]["mainText"], "b");
  EXPECT_EQ(items({"db_get_conversations", "3"}).size(), 2U);
  EXPECT_EQ(items({"db_get_addresses", "3"})[0]["address"], "+14155550111");
  EXPECT_EQ(items({"db_get_sim_infos"}),
            nlohmann::json::parse(R"([{"id": 1, "simIndex": 0, "storageId": 0, "imsi": "001",
                                       "address": ""}])"));
  EXPECT_EQ(items({"db_get_contents", "1"})[0]["contentType"], "image/png");
  EXPECT_EQ(items({"db_get_sending_msg_content_info", "1"})[0]["filepath"], "/x");
  EXPECT_EQ(items({"db_get_sending_file_content_info", "/x"})[0]["msgId"], 1);
  EXPECT_EQ(items({"db_get_nms_msg_meta", "1"})[0]["objectId"], "o");
  EXPECT_EQ(items({"db_get_nms_msg_meta", "0", "o"})[0]["msgId"], 1);
  EXPECT_EQ(items({"db_has_download_required_message"}),
            nlohmann::json::parse(R"([{"hasMessage": true}])"));
  EXPECT_EQ(items({"db_get_uncorrelated_nms_msg_metas", "0", "0", "1", "p"})[0]["msgId"], 1);
  EXPECT_EQ(items({"db_get_sync_required_nms_msg_metas", "0"})[0]["msgId"], 1);
  EXPECT_EQ(items({"db_get_download_required_nms_msg_metas"})[0]["msgId"], 1);
  EXPECT_EQ(items({"db_get_subscription_info"}),
            nlohmann::json::parse(R"([{"notiIdx": 0, "restartToken": ""}])"));
}

TEST_F(Query, KeepsTheQuirks) {
  const auto shifted = items({"db_get_message_list", "limit=1", "ascending=1", "folderType=1"})[0];
  EXPECT_EQ(shifted["peerGroupChatSender"], "11") << "the sticker id";
  EXPECT_EQ(shifted["isShareDialMessage"], true) << "the safe-message flag";
  EXPECT_EQ(run({"query", "db_get_message_list", "convIds=3,3"}).status, 1) << "asks for 33";
  EXPECT_EQ(json({"messages", "--ascending"})[0]["peerGroupChatSender"], "+14155550111");
  EXPECT_EQ(items({"db_get_message_list", "convIds=7,3", "readFilter=0", "folderType=-2",
                   "msgType=mms", "storageId=0"})
                .size(),
            1U);
}

TEST_F(Query, TellsTheResult) {
  const ProcessResult found = run({"query", "db_get_addresses", "3"});
  EXPECT_EQ(found.out.rfind("db_get_addresses: 0 (success), 1 item\n[\n  {\n", 0), 0U) << found.out;
  const ProcessResult nothing = run({"query", "db_get_addresses", "4"});
  EXPECT_EQ(nothing.status, 1);
  EXPECT_EQ(nothing.out.rfind("db_get_addresses: -1101 (", 0), 0U) << nothing.out;
  const ProcessResult negative = run({"query", "db_get_messages_by_time", "-1", "0"});
  EXPECT_EQ(negative.status, 2);
  EXPECT_EQ(negative.out.rfind("db_get_messages_by_time: -3 (", 0), 0U) << negative.out;
  EXPECT_EQ(run({"query", "db_get_message_list", "folderType=-1"}).status, 2);
  const ProcessResult unquoted = run({"query", "--json", "db_get_message_list", "msgType='"});
  EXPECT_EQ(unquoted.status, 3);
  const auto answer = nlohmann::json::parse(unquoted.out);
  EXPECT_EQ(answer["result"], -1004);
  EXPECT_EQ(answer["items"], nlohmann::json::array());
  EXPECT_NE(unquoted.err.find("db_get_message_list: "), std::string::npos);
}

TEST_F(Query, BlamesTheStoreForAnIdThatItHas) {
  RawConnection(dbFile()).exec("UPDATE msg_message_table SET convId = -7;");
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"db_get_message", "1"},
                                             {"db_get_message", "9", "sms", "103"},
                                             {"db_get_message_list"},
                                             {"db_get_standalone_messages", "9"},
                                             {"db_get_messages_by_time", "1500", "0"},
                                             {"db_get_unsynced_messages"}}) {
    std::vector<std::string> command = {"query"};
    command.insert(command.end(), words.begin(), words.end());
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 3) << words.front();
    EXPECT_EQ(result.out.rfind(words.front() + ": -3 (an argument is out of range), 0 items\n", 0),
              0U)
        << result.out;
    EXPECT_EQ(result.err, "msg-tarvel: " + words.front() +
                              ": the store has an id out of range: "
                              "Invalid param: threadId:(-7)\n");
  }
  const ProcessResult asked = run({"query", "db_get_addresses", "-7"});
  EXPECT_EQ(asked.status, 2);
  EXPECT_EQ(asked.err,
            "msg-tarvel: db_get_addresses: an argument is out of range: "
            "Invalid param: threadId:(-7)\n");
}

}  // namespace
}  // namespace msg_tarvel
