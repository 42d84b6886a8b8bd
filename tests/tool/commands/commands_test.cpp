// Every command but create and import: what it prints, and its exit status.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support/as_root.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class Commands : public ToolTest {};

const std::vector<std::vector<std::string>> STORE_COMMANDS = {
    {"threads"},
    {"conversation", "1"},
    {"messages"},
    {"find-thread", "4155550111"},
    {"import", std::string(SAMPLES_DIR) + "/backup.xml"}};

TEST_F(Commands, SayHowToMakeAStoreThatIsMissing) {
  for (const auto& command : STORE_COMMANDS) {
    expectFailure(run(command), "no message store at " + dbFile(),
                  "make one with 'msg-tarvel create'");
  }
  EXPECT_FALSE(std::filesystem::exists(dataDir()));
}

TEST_F(Commands, FailOnAStoreThatIsNoDatabase) {
  create();
  const std::string nonsense(10000, 'x');
  std::filesystem::resize_file(dbFile(), 0);
  file("data/dbspace/.msg-tarvel-server.db", nonsense);
  for (const auto& command : STORE_COMMANDS) {
    expectFailure(run(command), "cannot ", "it is not a database");
  }
  expectFailure(run({"create"}), "cannot create the message store ", "it is not a database");
  EXPECT_EQ(content_of(dbFile()), nonsense);
}

TEST_F(Commands, FailOnADatabaseWithoutTables) {
  create();
  std::filesystem::resize_file(dbFile(), 0);
  for (const auto& command : STORE_COMMANDS) {
    const ProcessResult result = run(command);
    expectFailure(result, "cannot ");
    EXPECT_NE(result.err.find(": no such table: "), std::string::npos) << result.err;
  }
}

TEST_F(Commands, FailOnAStoreThatIsLocked) {
  create();
  RawConnection other(dbFile());
  other.exec("BEGIN EXCLUSIVE;");
  for (const auto& command : STORE_COMMANDS) {
    expectFailure(run(command), "cannot ", "it is locked by another process");
  }
}

TEST_F(Commands, FailForAUserWhoMayNotReadTheStore) {
  AS_ROOT();
  create();
  ASSERT_EQ(chmod(dbFile().c_str(), 0600), 0);
  useProgramForEveryone();
  auto commands = STORE_COMMANDS;
  commands.back() = {"import",
                     file("backup.xml", backup(sms({})))};  // the sample may be out of reach
  Child child([this, &commands] {
    if (!become_nobody()) return 99;
    for (const auto& command : commands) {
      const ProcessResult result = run(command);
      if (result.status != 3 || result.err.find("permission denied\n") == std::string::npos) {
        return 1;
      }
    }
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(Commands, FindNothingInAnEmptyStore) {
  create();
  for (const std::vector<std::string>& command : {std::vector<std::string>{"conversation", "1"},
                                                  {"messages"},
                                                  {"find-thread", "4155550111"}}) {
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 1) << command.front();
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
  }
}

TEST_F(Commands, ThreadsSayWhenTheStoreIsEmpty) {
  create();
  const ProcessResult result = run({"threads"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "The store has no conversations.\n");
  EXPECT_EQ(result.err, "");
  const ProcessResult asJson = run({"threads", "--json"});
  EXPECT_EQ(asJson.status, 1);
  EXPECT_EQ(asJson.out, "[]\n");
  EXPECT_EQ(asJson.err, "");
}

TEST_F(Commands, RefuseWhatMakesNoSense) {
  create();
  for (const std::vector<std::string>& command : {std::vector<std::string>{},
                                                  {"unknown"},
                                                  {"threads", "--unknown"},
                                                  {"threads", "x"},
                                                  {"conversation"},
                                                  {"conversation", "x"},
                                                  {"conversation", "-1"},
                                                  {"conversation", "99999999999"},
                                                  {"find-thread"},
                                                  {"import"},
                                                  {"messages", "--limit", "x"},
                                                  {"messages", "--limit"},
                                                  {"messages", "--folder-type", "5x"},
                                                  {"messages", "--folder-type", "-1"},
                                                  {"messages", "--folder-type", "-7"},
                                                  {"messages", "--folder-type", "ALL_MAIN_FOLDERS"},
                                                  {"messages", "--folder-type", "99999999999"},
                                                  {"messages", "--msg-type", "sms' OR '1'='1"},
                                                  {"messages", "--conv-ids", "1,x"}}) {
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 2) << ::testing::PrintToString(command);
    EXPECT_EQ(result.out, "") << ::testing::PrintToString(command);
    EXPECT_NE(result.err, "") << ::testing::PrintToString(command);
  }
  EXPECT_EQ(run({"conversation", "x"}).err,
            "ID: Value x not in range 0 to 2147483647\n"
            "Run with --help or --help-all for more information.\n");
  std::string many = "1000000";
  for (int i = 1; i < 120; ++i) many += "," + std::to_string(1000000 + i);
  EXPECT_EQ(run({"messages", "--conv-ids", many}).status, 2);
}

TEST_F(Commands, HelpShowsAnExampleOfEach) {
  for (const char* command :
       {"create", "import", "threads", "conversation", "messages", "find-thread"}) {
    const ProcessResult result = run({command, "--help"});
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.out.find(std::string("Example: msg-tarvel ") + command), std::string::npos);
    EXPECT_EQ(result.err, "");
  }
  EXPECT_NE(run({"--help"}).out.find("Exit status: 0 found"), std::string::npos);
  EXPECT_EQ(run({"--version"}).out, "1.0.0\n");
  EXPECT_EQ(run({"--version"}).status, 0);
}

TEST_F(Commands, VerbosePrintsTheLogWithoutEscapes) {
  create();
  const ProcessResult result = run({"--verbose", "find-thread", "4155550111"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("> Thread does not exist with given address!\n"), std::string::npos);
  EXPECT_EQ(result.err.find('\033'), std::string::npos);
}

TEST_F(Commands, FailWhenTheOutputCannotBeWritten) {
  create();
  import(sms({}));
  std::vector<std::string> command = {"sh", "-c", "exec \"$@\" > /dev/full", "sh"};
  for (const std::string& word : runnable({TOOL_PROGRAM, "threads"})) command.push_back(word);
  const ProcessResult result = run_program(command, environment());
  expectFailure(result, "cannot write the output");
}

/** A store with messages in several folders, written behind the tool's back. */
class Queries : public Commands {
 protected:
  void SetUp() override {
    create();
    RawConnection store(dbFile());
    store.exec(
        "INSERT INTO msg_conversation_table (convId, unreadCnt, msgCnt, msgType, storageFolder, "
        "displayTime, mainText, msgText, lastMsgId, peerConvId, peerChatType, peerChatState, "
        "stickerId) VALUES (1, 1, 3, 'sms', 1, 3000, 'third', 'third', 3, 7, 1, 1, 5), "
        "(2, 0, 1, 'mms', 3, 9000, '\xff<', '', 4, 0, 0, 0, 0);"
        "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES "
        "(1, 1, 1, '+14155550111'), (1, 1, 2, '+14155550122'), (2, 2, 1, 'O''Hara 100%');"
        "INSERT INTO msg_message_table (msgId, convId, msgType, storageFolder, storageId, read, "
        "displayTime, mainText, textMessage, networkStatus, simIndex, attachedNum, stickerId, "
        "isShareDialMessage, isSafeMessage, peerGroupChatSender, itemId) VALUES "
        "(1, 1, 'sms', 1, 1, 1, 1000, 'first', 'first', 16, -1, 0, 11, 0, 1, '+14155550122', 8), "
        "(2, 1, 'sms', 101, 2, 0, 2000, 'second', 'second', 16, 0, 0, 0, 0, 0, '', 0), "
        "(3, 1, 'sms', 1, 1, 0, 3000, 'third', 'third', 3, 0, 0, 0, 1, 0, '', 0), "
        "(4, 2, 'mms', 3, 1, 1, 9000, '\xff<', '', 1, -1, 1, 0, 0, 0, '', 0);"
        "INSERT INTO msg_mms_content_table (msgId, slideIdx, textData, mediaType, contentType, "
        "attachType, hasFile, status, filepath, filename) VALUES "
        "(4, 2, 'words', 1, 'image/png', 1, 1, 0, '/x/4-1.png', 'a.png');");
  }

  std::vector<int> messageIds(std::vector<std::string> options) {
    options.insert(options.begin(), {"messages", "--json"});
    const ProcessResult result = run(options);
    EXPECT_EQ(result.err, "");
    std::vector<int> ids;
    for (const auto& message : nlohmann::json::parse(result.out)) ids.push_back(message["msgId"]);
    EXPECT_EQ(result.status, ids.empty() ? 1 : 0);
    return ids;
  }
};

TEST_F(Queries, ThreadsAsStored) {
  const nlohmann::json threads = json({"threads"});
  ASSERT_EQ(threads.size(), 2U);
  EXPECT_EQ(threads[0]["convId"], 2);
  EXPECT_EQ(threads[0]["mainText"], "\uFFFD<");
  EXPECT_EQ(threads[0]["sending"], true);
  EXPECT_EQ(threads[1],
            nlohmann::json::parse(
                R"({"convId": 1, "peerConvId": 7, "unreadCnt": 1, "msgCnt": 3, "sending": false,
                    "failed": true, "storageFolder": 1, "networkStatus": 3, "simIndex": 0,
                    "displayTime": 3000, "stickerId": 5, "msgType": "sms", "mainText": "third",
                    "msgText": "third", "peerChatType": true, "peerChatState": true, "addresses": [
                    {"convId": 1, "addressType": 1, "recipientType": 1, "address": "+14155550111", "userFlag": false},
                    {"convId": 1, "addressType": 1, "recipientType": 2, "address": "+14155550122", "userFlag": false}]})"));
}

TEST_F(Queries, ThreadsAsATable) {
  EXPECT_EQ(run({"threads"}, {"COLUMNS=120"}).out,
            "ID  WITH                        MSGS  UNREAD  STATE    LAST              TEXT\n"
            " 2  O'Hara 100%                    1       0  sending  1970-01-01 00:00  \uFFFD<\n"
            " 1  +14155550111, +14155550122     3       1  failed   1970-01-01 00:00  third\n");
  EXPECT_EQ(run({"threads"}, {"COLUMNS=120", "TZ=KST-9"}).out.find("00:00"), std::string::npos);
}

TEST_F(Queries, TimesBeyond2038) {
  RawConnection(dbFile()).exec("UPDATE msg_conversation_table SET displayTime = 4102444800000;");
  const std::string shown = run({"threads"}).out;
  EXPECT_NE(shown.find("  2100-01-01 00:00  "), std::string::npos) << shown;
}

TEST_F(Queries, ConversationAsStoredAndAsATable) {
  const nlohmann::json conversation = json({"conversation", "1"});
  ASSERT_EQ(conversation.size(), 3U);
  EXPECT_EQ(conversation[0]["peerGroupChatSender"], "+14155550122");
  EXPECT_EQ(conversation[0]["isSafeMessage"], true);
  EXPECT_EQ(conversation[0]["stickerId"], 11);
  EXPECT_EQ(json({"conversation", "2"})[0]["contents"][0],
            nlohmann::json::parse(
                R"({"msgId": 4, "slideIdx": 2, "attachType": true, "hasFile": true,
                    "contentType": "image/png", "mediaType": 1, "status": 0, "textData": "words",
                    "filepath": "/x/4-1.png", "filename": "a.png", "thumbpath": "",
                    "peer_filepath": "", "peer_copied_filepath": ""})"));
  EXPECT_EQ(run({"conversation", "1"}).out,
            "ID  TIME              FROM                        BOX    STATE   TEXT\n"
            " 1  1970-01-01 00:00  +14155550122                inbox          first\n"
            " 2  1970-01-01 00:00  +14155550111, +14155550122  inbox  unread  second\n"
            " 3  1970-01-01 00:00  +14155550111, +14155550122  inbox  failed  third\n");
  EXPECT_EQ(run({"conversation", "3"}).status, 1);
}

TEST_F(Queries, MessagesByEveryFieldOfTheCondition) {
  using Ids = std::vector<int>;
  EXPECT_EQ(messageIds({}), (Ids{4, 3, 2, 1}));
  EXPECT_EQ(messageIds({"--ascending"}), (Ids{1, 2, 3, 4}));
  EXPECT_EQ(messageIds({"--limit", "2"}), (Ids{4, 3}));
  EXPECT_EQ(messageIds({"--limit", "-1"}), (Ids{4, 3, 2, 1}));
  EXPECT_EQ(messageIds({"--folder-type", "3"}), (Ids{4}));
  EXPECT_EQ(messageIds({"--folder-type", "MAIN_FOLDER_1"}), (Ids{3, 1}));
  EXPECT_EQ(messageIds({"--folder-type", "FOLDER_PAIR_1"}), (Ids{3, 2, 1}));
  EXPECT_EQ(messageIds({"--folder-type", "-2", "--read-filter", "0"}), (Ids{3, 2}));
  EXPECT_EQ(messageIds({"--folder-type", "1", "--read-filter", "1"}), (Ids{1}));
  EXPECT_EQ(messageIds({"--storage-id", "2"}), (Ids{2}));
  EXPECT_EQ(messageIds({"--msg-type", "mms"}), (Ids{4}));
  EXPECT_EQ(messageIds({"--conv-ids", "2"}), (Ids{4}));
  EXPECT_EQ(messageIds({"--conv-ids", "2,1,2"}), (Ids{4, 3, 2, 1}));
  EXPECT_EQ(messageIds({"--conv-ids", "9"}), (Ids{}));
}

TEST_F(Queries, MessagesCarryEveryFieldAsStored) {
  const nlohmann::json first = json({"messages", "--ascending", "--limit", "1"})[0];
  EXPECT_EQ(first["stickerId"], 11);
  EXPECT_EQ(first["isSafeMessage"], true);
  EXPECT_EQ(first["isShareDialMessage"], false);
  EXPECT_EQ(first["peerGroupChatSender"], "+14155550122");
  EXPECT_EQ(first["itemId"], 8);
  EXPECT_EQ(first["displayTime"], 1000);
  EXPECT_EQ(first["addresses"][1]["userFlag"], true);
  EXPECT_TRUE(first["nmsMsgMeta"].is_null());
}

TEST_F(Queries, FindThreadByNumbersInAnyForm) {
  for (const std::vector<std::string>& numbers :
       {std::vector<std::string>{"(415) 555-0111", "415.555.0122"},
        {"+14155550122", "+1 415 555 0111"},
        {"4155550122", "4155550111", "+14155550111"}}) {
    std::vector<std::string> command = {"find-thread"};
    command.insert(command.end(), numbers.begin(), numbers.end());
    const nlohmann::json found = json(command);
    EXPECT_EQ(found["convId"], 1);
    EXPECT_EQ(found["lastMsgId"], 3);
  }
  EXPECT_EQ(json({"find-thread", "O'Hara 100%"})["convId"], 2);
  for (const char* other : {"4155550111", "O'Hara 1000", "%", "' OR 1=1 --", "+", "+2", "0", ""}) {
    EXPECT_EQ(run({"find-thread", other}).status, 1) << other;
  }
}

TEST_F(Queries, NumbersThatEndWithinTheirCallingCodeDoNotEscape) {
  file("settings.ini", "[db/contacts-svc]\nphonenumber_min_match_digit=1\n");
  for (const char* number : {"+2", "+21", "002"}) {
    EXPECT_EQ(run({"find-thread", number}).status, 1) << number;
  }
}

}  // namespace
}  // namespace msg_tarvel
