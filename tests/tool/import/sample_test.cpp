// The sample backup is what its README says, and imports whole.

#include <set>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

const std::string SAMPLE = std::string(SAMPLES_DIR) + "/backup.xml";

class Sample : public ToolTest {
 protected:
  void SetUp() override { create(); }
  nlohmann::json importSample() const { return json({"import", SAMPLE}); }
};

TEST_F(Sample, IsWhatItsGeneratorWrites) {
  const ProcessResult generated =
      run_program({"python3", std::string(SAMPLES_DIR) + "/make_backup.py"});
  ASSERT_EQ(generated.status, 0) << generated.err;
  EXPECT_TRUE(generated.out == content_of(SAMPLE));
}

TEST_F(Sample, ArrivesWhole) {
  auto summary = importSample();
  summary.erase("file");
  EXPECT_EQ(summary, nlohmann::json::parse(
                         R"({"dryRun": false, "count": 312, "read": 306, "stored": 306,
      "skipped": 0, "skippedBecause": {}, "skippedFirst": {}, "partsStored": 39,
      "partsReported": 0, "reports": [], "conversationsCreated": 12, "damages": 0, "damage": [],
      "ownNumbers": [{"number": "+14155550100", "source": "backup", "messages": 28}],
      "twoConversations": []})"));
  EXPECT_EQ(mediaFiles().size(), 10U);
  EXPECT_EQ(rows("SELECT msgCnt || '/' || unreadCnt FROM msg_conversation_table;"),
            "86/14\n53/9\n48/0\n35/2\n22/0\n11/0\n12/0\n6/0\n15/0\n9/0\n7/0\n2/0\n");
  EXPECT_EQ(rows("SELECT count(*) FROM msg_address_table WHERE address LIKE '%4155550100';"),
            "0\n");
  EXPECT_EQ(rows("SELECT DISTINCT networkStatus FROM msg_message_table ORDER BY 1;"),
            "1\n2\n3\n16\n");
  EXPECT_GT(std::stoi(rows("SELECT (max(displayTime) - min(displayTime)) / 86400000 FROM "
                           "msg_message_table;")),
            355);
  for (const char* text :
       {"지금 어디예요?", "أين أنت الآن؟", "😂😂", "👨‍👩‍👧 home", "¿A qué hora?",
        "See you <there>.", "First line\nsecond line\nthird line"}) {
    EXPECT_NE(rows("SELECT count(*) FROM msg_message_table WHERE textMessage = " + quoted(text)),
              "0\n")
        << text;
  }
}

TEST_F(Sample, IsNotDoubledByASecondImport) {
  importSample();
  const std::string before = everything();
  const auto summary = importSample();
  EXPECT_EQ(summary["skippedBecause"], nlohmann::json::parse(R"({"already in the store": 306})"));
  EXPECT_EQ(everything(), before);
}

TEST_F(Sample, AnswersTheQuestionsOfTheDemo) {
  importSample();
  EXPECT_EQ(json({"threads"}).size(), 12U);
  EXPECT_EQ(json({"conversation", "10"}).size(), 9U);
  const auto unread = json({"messages", "--read-filter", "0", "--limit", "20", "--folder-type",
                            "MAIN_FOLDER_1", "--conv-ids", "1,2"});
  ASSERT_EQ(unread.size(), 20U);
  std::set<int> conversations;
  for (const auto& message : unread) {
    EXPECT_EQ(message["read"], false);
    conversations.insert(message["convId"].get<int>());
  }
  EXPECT_EQ(conversations, (std::set<int>{1, 2}));
  for (const char* number : {"+14155550111", "4155550111", "(415) 555-0111"}) {
    EXPECT_EQ(json({"find-thread", number})["convId"], 1);
  }
}

}  // namespace
}  // namespace msg_tarvel
