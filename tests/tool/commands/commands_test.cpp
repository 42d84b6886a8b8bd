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
    {"info"},
    {"threads"},
    {"messages"},
    {"conversation", "1"},
    {"message", "1"},
    {"find", "4155550111"},
    {"query", "db_get_threads"},
    {"buffer", "encode", "1"},
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
    if (command.front() == "query") {
      EXPECT_EQ(run(command).status, 3) << "it prints the result too";
    } else {
      expectFailure(run(command), "cannot ", "it is not a database");
    }
  }
  expectFailure(run({"create"}), "cannot create the message store ", "it is not a database");
  EXPECT_EQ(content_of(dbFile()), nonsense);
}

TEST_F(Commands, FailOnADatabaseWithoutTables) {
  create();
  std::filesystem::resize_file(dbFile(), 0);
  for (const auto& command : STORE_COMMANDS) {
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 3) << command.front();
    EXPECT_NE(result.err.find("no such table"), std::string::npos) << result.err;
  }
}

TEST_F(Commands, FailOnAStoreThatIsLocked) {
  create();
  RawConnection other(dbFile());
  other.exec("BEGIN EXCLUSIVE;");
  // All that look do it in the same way, and each waits for two seconds.
  for (const std::vector<std::string>& command : {STORE_COMMANDS.front(), STORE_COMMANDS.back()}) {
    expectFailure(run(command), "cannot ", dbFile() + ": it is locked by another process");
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

TEST_F(Commands, SayThatThereIsNothing) {
  create();
  const std::vector<std::pair<std::vector<std::string>, std::string>> misses = {
      {{"threads"}, "the store has no conversations with messages"},
      {{"messages"}, "the store has no such message"},
      {{"conversation", "1"}, "the store has no such message"},
      {{"message", "7", "9"}, "the store has no message 7, 9"},
      {{"find", "4155550111"}, "there is no conversation with exactly these people"}};
  for (const auto& [command, words] : misses) {
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 1) << command.front();
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "msg-tarvel: " + words + "\n");
    auto asJson = command;
    asJson.emplace_back("--json");
    const ProcessResult json = run(asJson);
    EXPECT_EQ(json.status, 1) << command.front();
    EXPECT_EQ(json.out, "[]\n");
    EXPECT_EQ(json.err, result.err);
  }
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
                                                  {"message"},
                                                  {"message", "x"},
                                                  {"find"},
                                                  {"import"},
                                                  {"messages", "--limit", "x"},
                                                  {"messages", "--limit"},
                                                  {"messages", "--limit", "-1"},
                                                  {"messages", "--folder", "5x"},
                                                  {"messages", "--folder", "-1"},
                                                  {"messages", "--folder", "INBOX"},
                                                  {"messages", "--since", "2026-02-29"},
                                                  {"messages", "--until", "soon"},
                                                  {"messages", "--with", " "},
                                                  {"messages", "--conv", "-1"},
                                                  {"messages", "--conv", "1,x"},
                                                  {"query", "db_create_indexes"},
                                                  {"query", "db_get_threads", "1"},
                                                  {"query", "db_get_thread"},
                                                  {"query", "db_get_thread", "x"},
                                                  {"query", "db_get_message", "1", "2"},
                                                  {"ipc", "--introspection", "--json"},
                                                  {"ipc", "--introspection", "0"}}) {
    const ProcessResult result = run(command);
    EXPECT_EQ(result.status, 2) << ::testing::PrintToString(command);
    EXPECT_EQ(result.out, "") << ::testing::PrintToString(command);
    EXPECT_NE(result.err, "") << ::testing::PrintToString(command);
  }
}

TEST_F(Commands, SayInPlainWordsWhatIsNoNumberOfTheirs) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> mistakes = {
      {{"conversation", "x"}, "ID: 'x' is no whole number"},
      {{"message", "1", "2.5"}, "ID: '2.5' is no whole number"},
      {{"buffer", "encode", "-1"}, "MSGID: -1 is too small; the least is 0"},
      {{"messages", "--limit", "abc"}, "--limit: 'abc' is no whole number"},
      {{"messages", "--limit", ""}, "--limit: '' is no whole number"},
      {{"messages", "--limit", "2147483648"},
       "--limit: 2147483648 is too large; the most is 2147483647"},
      {{"export", "--conv", "1,x"}, "--conv: 'x' is no whole number"},
      {{"generate", "--seed", "x"}, "--seed: 'x' is no whole number"},
      {{"generate", "--seed", "-1"}, "--seed: -1 is too small; the least is 0"},
      {{"generate", "--seed", "18446744073709551616"},
       "--seed: 18446744073709551616 is too large; the most is 18446744073709551615"},
      {{"generate", "--messages", "0"}, "--messages: 0 is too small; the least is 1"},
      {{"generate", "--messages", "10000001"},
       "--messages: 10000001 is too large; the most is 10000000"},
      {{"generate", "--conversations", "20001"},
       "--conversations: 20001 is too large; the most is 20000"}};
  for (const auto& [typed, words] : mistakes) {
    const ProcessResult result = run(typed);
    EXPECT_EQ(result.status, 2) << words;
    EXPECT_EQ(result.err, words + "\nRun with --help or --help-all for more information.\n");
  }
  create();
  for (const std::string most : {"0", "2147483647"}) {
    EXPECT_EQ(run({"messages", "--limit", most}).status, 1) << most;
  }
  EXPECT_EQ(run({"generate", "--seed", "18446744073709551615", "--messages", "1"}).status, 0);
}

TEST_F(Commands, SuggestTheCommandThatWasMeant) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> mistakes = {
      {{"thread"}, "there is no command 'thread'; is it 'threads'?"},
      {{"mesages", "--limit", "3"}, "there is no command 'mesages'; is it 'messages'?"},
      {{"--data-dir", "/tmp", "conv", "3"}, "there is no command 'conv'; is it 'conversation'?"},
      {{"buffer", "chek"}, "there is no command 'chek'; is it 'check'?"},
      {{"find-thread", "1"}, "there is no command 'find-thread'; is it 'find'?"},
      {{"commands"}, "there is no command 'commands'; is it 'ipc'?"},
      {{"\033[2Jqwertyuiop"},
       "there is no command '\uFFFD[2Jqwertyuiop'; 'msg-tarvel --help' lists them"}};
  for (const auto& [typed, words] : mistakes) {
    const ProcessResult result = run(typed);
    EXPECT_EQ(result.status, 2) << words;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "msg-tarvel: " + words + "\n");
  }
}

TEST_F(Commands, TakeJsonAndTheDirectoryBeforeAndBehind) {
  create();
  import(sms({}));
  const std::string expected = run({"threads", "--json"}).out;
  EXPECT_EQ(expected.substr(0, 4), "[\n  ");
  EXPECT_EQ(run({"--json", "threads"}).out, expected);
  const std::vector<std::string> nowhere = {"MSG_TARVEL_DATA_DIR=/nowhere"};
  EXPECT_EQ(run({"threads", "--data-dir", dataDir(), "--json"}, nowhere).out, expected);
  EXPECT_EQ(run({"--data-dir", dataDir(), "--json", "threads"}, nowhere).out, expected);
}

TEST_F(Commands, HelpShowsAnExampleOfEach) {
  for (const char* command :
       {"create", "generate", "check", "repair", "backup", "export", "import", "info", "threads",
        "messages", "conversation", "message", "find", "query", "ipc", "buffer"}) {
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
  const ProcessResult result = run({"--verbose", "find", "4155550111"});
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
    std::vector<int> ids;
    for (const auto& message : nlohmann::json::parse(result.out)) ids.push_back(message["msgId"]);
    EXPECT_EQ(result.status, ids.empty() ? 1 : 0);
    return ids;
  }
};

TEST_F(Queries, ThreadsAsStoredAndWithTheLastMessage) {
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
                    {"convId": 1, "addressType": 1, "recipientType": 2, "address": "+14155550122", "userFlag": false}],
                    "lastMsgId": 3})"));
}

TEST_F(Queries, ThreadsAsATable) {
  EXPECT_EQ(run({"threads"}).out,
            "ID  WITH                        MSGS  UNREAD  STATE    LAST              TEXT\n"
            " 2  O'Hara 100%                    1       0  sending  1970-01-01 00:00  \uFFFD<\n"
            " 1  +14155550111, +14155550122     3       1  failed   1970-01-01 00:00  third\n");
  EXPECT_EQ(run({"threads"}, {"TZ=KST-9"}).out.find("00:00"), std::string::npos);
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
            "ID  CONV  TIME              FROM                        BOX    STATE   TEXT\n"
            " 1     1  1970-01-01 00:00  +14155550122                inbox          first\n"
            " 2     1  1970-01-01 00:00  +14155550111, +14155550122  inbox  unread  second\n"
            " 3     1  1970-01-01 00:00  +14155550111, +14155550122  inbox  failed  third\n");
  EXPECT_EQ(run({"conversation", "1", "--json"}).out,
            run({"messages", "--conv", "1", "--ascending", "--json"}).out);
  EXPECT_EQ(run({"conversation", "3"}).status, 1);
}

TEST_F(Queries, SayWhomIWroteTo) {
  EXPECT_EQ(run({"conversation", "2"}).out,
            "ID  CONV  TIME              FROM               BOX   STATE    TEXT\n"
            " 4     2  1970-01-01 00:00  me to O'Hara 100%  sent  sending  \uFFFD< [image/png]\n");
}

TEST_F(Queries, ShowSubjectAndText) {
  RawConnection(dbFile()).exec(
      "UPDATE msg_message_table SET mainText = 'Trip', textMessage = 'On the way' WHERE msgId = 1;"
      "UPDATE msg_message_table SET mainText = 'seco', textMessage = 'second' WHERE msgId = 2;"
      "UPDATE msg_message_table SET mainText = '', textMessage = 'alone' WHERE msgId = 3;"
      "UPDATE msg_conversation_table SET msgText = 'and more' WHERE convId = 1;");
  const std::string shown = run({"conversation", "1"}).out;
  EXPECT_NE(shown.find("  Trip: On the way\n"), std::string::npos) << shown;
  EXPECT_NE(shown.find("  second\n"), std::string::npos) << shown;
  EXPECT_NE(shown.find("  alone\n"), std::string::npos) << shown;
  const std::string threads = run({"threads"}).out;
  EXPECT_NE(threads.find("  third: and more\n"), std::string::npos) << threads;
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

TEST_F(Queries, FindByNumbersInAnyForm) {
  for (const std::vector<std::string>& numbers :
       {std::vector<std::string>{"(415) 555-0111", "415.555.0122"},
        {"+14155550122", "+1 415 555 0111"},
        {"4155550122", "4155550111", "+14155550111"}}) {
    std::vector<std::string> command = {"find"};
    command.insert(command.end(), numbers.begin(), numbers.end());
    const nlohmann::json found = json(command).at(0);
    EXPECT_EQ(found["convId"], 1);
    EXPECT_EQ(found["lastMsgId"], 3);
  }
  EXPECT_EQ(json({"find", "O'Hara 100%"})[0]["convId"], 2);
  for (const char* other : {"4155550111", "O'Hara 1000", "%", "' OR 1=1 --", "+", "+2", "0", ""}) {
    EXPECT_EQ(run({"find", other}).status, 1) << other;
  }
}

TEST_F(Queries, FindAConversationThatIsEmpty) {
  RawConnection(dbFile()).exec("UPDATE msg_conversation_table SET msgCnt = 0 WHERE convId = 2;");
  const ProcessResult result = run({"find", "O'Hara 100%"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "msg-tarvel: their conversation, 2, has no messages\n");
  const ProcessResult explained = run({"find", "O'Hara 100%", "--explain", "--json"});
  EXPECT_EQ(explained.status, 1);
  EXPECT_EQ(explained.err, result.err);
  EXPECT_EQ(nlohmann::json::parse(explained.out)["found"], 2);
}

TEST_F(Queries, MessagesInFull) {
  EXPECT_EQ(run({"message", "4", "1"}).out,
            "Message 4 of conversation 2\n"
            "  time     1970-01-01 00:00:09 +0000\n"
            "  from     me\n"
            "  to       O'Hara 100%\n"
            "  type     mms\n"
            "  folder   sent (3)\n"
            "  state    sending\n"
            "  text     \uFFFD<\n"
            "  part     image/png, a.png, /x/4-1.png, words, [image/png]\n"
            "\n"
            "Message 1 of conversation 1\n"
            "  time     1970-01-01 00:00:01 +0000\n"
            "  from     +14155550122\n"
            "  with     +14155550111, +14155550122\n"
            "  type     sms\n"
            "  folder   inbox (1)\n"
            "  text     first\n");
  const ProcessResult one = run({"message", "1", "9", "--json"});
  EXPECT_EQ(one.status, 1);
  EXPECT_EQ(one.err, "msg-tarvel: the store has no message 9\n");
  EXPECT_EQ(nlohmann::json::parse(one.out), json({"messages", "--ascending", "--limit", "1"}));
}

TEST_F(Queries, NumbersThatEndWithinTheirCallingCodeDoNotEscape) {
  file("settings.ini", "[db/contacts-svc]\nphonenumber_min_match_digit=1\n");
  for (const char* number : {"+2", "+21", "002"}) {
    EXPECT_EQ(run({"find", number}).status, 1) << number;
  }
}

}  // namespace
}  // namespace msg_tarvel
