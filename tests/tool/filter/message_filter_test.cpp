// The words with which messages are asked for, in every combination that matters.

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

using Ids = std::vector<int>;

/** Two people and a group, in every folder; a minute lies between two messages. */
class Filter : public ToolTest {
 protected:
  void SetUp() override {
    create();
    RawConnection(dbFile()).exec(
        "INSERT INTO msg_conversation_table (convId, msgCnt) VALUES (1, 4), (2, 3), (3, 3);"
        "INSERT INTO msg_address_table (convId, addressType, address) VALUES (1, 1, '4155550111'), "
        "(2, 2, 'O''Hara 100%'), (3, 1, '+14155550111'), (3, 2, 'O''Hara 100%');"
        "INSERT INTO msg_message_table (msgId, convId, msgType, storageFolder, networkStatus, "
        "read, "
        "displayTime, mainText, textMessage) VALUES "
        "(1, 1, 'sms', 1, 16, 1, 60000, 'Grüße', 'Grüße'),"
        "(2, 1, 'sms', 2, 1, 1, 120000, '100% sure', '100% sure'),"
        "(3, 1, 'sms', 3, 3, 1, 180000, 'Trip', 'to the lake'),"
        "(4, 1, 'sms', 4, 16, 0, 240000, 'a_b', 'a_b'),"
        "(5, 1, 'sms', 5, 16, 0, 300000, 'hidden', 'hidden'),"
        "(6, 2, 'mms', 101, 16, 0, 360000, '', ''),"
        "(7, 2, 'mms', 103, 16, 1, 420000, 'two\nlines', ''),"
        "(8, 3, 'chat', 1, 16, 0, 480000, 'x', 'x'),"
        "(9, 3, 'chat', 1, 16, 0, 480000, 'y', 'y'),"
        "(10, 3, 'chat', 105, 16, 0, 540000, 'z', 'z');"
        "INSERT INTO msg_mms_content_table (msgId, contentType, textData) VALUES "
        "(6, 'text/plain', 'first'), (6, 'text/plain', 'second PART');");
  }

  Ids ids(std::vector<std::string> options) const {
    options.insert(options.begin(), {"messages", "--ascending", "--json"});
    const ProcessResult result = run(options);
    Ids found;
    for (const auto& message : nlohmann::json::parse(result.out)) found.push_back(message["msgId"]);
    EXPECT_EQ(result.status, found.empty() ? 1 : 0) << result.err;
    return found;
  }
};

TEST_F(Filter, LetsPassWhatListsShow) {
  EXPECT_EQ(ids({}), (Ids{1, 2, 3, 4, 6, 7, 8, 9}));
  const auto newestFirst = json({"messages"});
  EXPECT_EQ(newestFirst[0]["msgId"], 8) << "of the same time the smaller id first";
  EXPECT_EQ(newestFirst[1]["msgId"], 9);
  EXPECT_EQ(newestFirst[2]["msgId"], 7);
}

TEST_F(Filter, KnowsConversations) {
  EXPECT_EQ(ids({"--conv", "2"}), (Ids{6, 7}));
  EXPECT_EQ(ids({"--conv", "3,2,3"}), (Ids{6, 7, 8, 9}));
  EXPECT_EQ(ids({"--conv", "3", "--conv", "2"}), (Ids{6, 7, 8, 9}));
  EXPECT_EQ(ids({"--conv", "9"}), (Ids{}));
}

TEST_F(Filter, ServesWithinAConversation) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{},
        {"--unread", "--limit", "2"},
        {"--limit", "2"},
        {"--with", "+1 415 555 0111"},
        {"--since", "1970-01-01T00:02", "--until", "1970-01-01T00:03"},
        {"--text", "LAKE"},
        {"--folder", "all"},
        {"--failed"},
        {"--type", "sms"}}) {
    std::vector<std::string> inShort = {"conversation", "1", "--json"};
    std::vector<std::string> inFull = {"messages", "--conv", "1", "--ascending", "--json"};
    inShort.insert(inShort.end(), words.begin(), words.end());
    inFull.insert(inFull.end(), words.begin(), words.end());
    const ProcessResult result = run(inShort);
    const ProcessResult expected = run(inFull);
    EXPECT_EQ(result.out, expected.out);
    EXPECT_EQ(result.status, expected.status) << result.err;
  }
  EXPECT_EQ(json({"conversation", "1", "--limit", "1"})[0]["msgId"], 1) << "the oldest";
  EXPECT_EQ(run({"conversation", "1", "--conv", "2"}).status, 2);
  EXPECT_EQ(run({"conversation", "1", "--type", "mms"}).status, 1);
}

TEST_F(Filter, KnowsPeople) {
  EXPECT_EQ(ids({"--with", "(415) 555-0111"}), (Ids{1, 2, 3, 4, 8, 9}));
  EXPECT_EQ(ids({"--with", "O'Hara 100%"}), (Ids{6, 7, 8, 9}));
  EXPECT_EQ(ids({"--with", "O'Hara 100%", "--with", "+14155550111"}), (Ids{8, 9}));
  EXPECT_EQ(ids({"--with", "4155550199"}), (Ids{}));
  EXPECT_EQ(ids({"--with", "%"}), (Ids{}));
}

TEST_F(Filter, KnowsTimes) {
  EXPECT_EQ(ids({"--since", "1970-01-01T00:07"}), (Ids{7, 8, 9}));
  EXPECT_EQ(ids({"--until", "1970-01-01T00:02"}), (Ids{1, 2}));
  EXPECT_EQ(ids({"--since", "1970-01-01T00:02", "--until", "1970-01-01T00:02"}), (Ids{2}));
  EXPECT_EQ(ids({"--since", "1970-01-01", "--until", "1970-01-01", "--limit", "1"}), (Ids{1}));
  EXPECT_EQ(ids({"--since", "1970-01-02"}), (Ids{}));
  EXPECT_EQ(ids({"--since", "yesterday"}), (Ids{}));
  EXPECT_EQ(ids({"--until", "7d"}).size(), 8U);
}

TEST_F(Filter, KnowsTexts) {
  EXPECT_EQ(ids({"--text", "gRÜSSE"}), (Ids{1}));
  EXPECT_EQ(ids({"--text", "100%"}), (Ids{2}));
  EXPECT_EQ(ids({"--text", "trip"}), (Ids{3}));
  EXPECT_EQ(ids({"--text", "LAKE"}), (Ids{3}));
  EXPECT_EQ(ids({"--text", "a_b"}), (Ids{4}));
  EXPECT_EQ(ids({"--text", "d part"}), (Ids{6}));
  EXPECT_EQ(ids({"--text", "firstsecond"}), (Ids{}));
  EXPECT_EQ(ids({"--text", "two lines"}), (Ids{7}));
  EXPECT_EQ(ids({"--text", "' OR '1'='1"}), (Ids{}));
  EXPECT_EQ(ids({"--text", ""}).size(), 8U);
}

TEST_F(Filter, KnowsFolders) {
  EXPECT_EQ(ids({"--folder", "inbox"}), (Ids{1, 6, 8, 9}));
  EXPECT_EQ(ids({"--folder", "outbox"}), (Ids{2}));
  EXPECT_EQ(ids({"--folder", "sent"}), (Ids{3, 7}));
  EXPECT_EQ(ids({"--folder", "draft"}), (Ids{4}));
  EXPECT_EQ(ids({"--folder", "101"}), (Ids{6}));
  EXPECT_EQ(ids({"--folder", "105"}), (Ids{10}));
  EXPECT_EQ(ids({"--folder", "all"}).size(), 10U);
}

TEST_F(Filter, KnowsStatesAndTypes) {
  EXPECT_EQ(ids({"--unread"}), (Ids{6, 8, 9})) << "a draft was never unread";
  EXPECT_EQ(ids({"--failed"}), (Ids{3}));
  EXPECT_EQ(ids({"--type", "mms"}), (Ids{6, 7}));
  EXPECT_EQ(ids({"--type", "sms' OR '1'='1"}), (Ids{}));
}

TEST_F(Filter, CountsWhatPasses) {
  EXPECT_EQ(ids({"--limit", "3"}), (Ids{1, 2, 3}));
  EXPECT_EQ(ids({"--limit", "0"}).size(), 8U);
  EXPECT_EQ(ids({"--limit", "2", "--text", "a"}), (Ids{3, 4}));
  EXPECT_EQ(ids({"--unread", "--conv", "3", "--with", "4155550111", "--since", "1970-01-01",
                 "--text", "Y", "--folder", "inbox", "--type", "chat", "--limit", "5"}),
            (Ids{9}));
}

}  // namespace
}  // namespace msg_tarvel
