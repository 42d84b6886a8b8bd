// msg-tarvel generate: the same options give the same store everywhere, with something of
// everything in it.

#include <cstdint>
#include <filesystem>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class Generate : public ToolTest {
 protected:
  void SetUp() override { create(); }

  nlohmann::json generate(const std::vector<std::string>& options) const {
    std::vector<std::string> arguments = {"generate"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return json(arguments);
  }

  int number(const std::string& sql) const { return std::stoi(rows(sql)); }

  std::vector<std::string> tables() const {
    return RawConnection(dbFile()).column(
        "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name;");
  }

  /** Every row of every table and every file, with the directory's name taken out. */
  std::string wholeStore() const {
    RawConnection connection(dbFile());
    std::string text;
    for (const std::string& table : tables()) {
      std::string columns;
      for (const std::string& column :
           connection.column("SELECT name FROM pragma_table_info('" + table + "');")) {
        columns += (columns.empty() ? "quote(" : " || ',' || quote(") + column + ")";
      }
      text += table + "\n" + rows("SELECT " + columns + " FROM " + table + ";");
    }
    for (std::size_t at = 0; (at = text.find(dataDir(), at)) != std::string::npos;) {
      text.erase(at, dataDir().size());
    }
    for (const std::string& name : mediaFiles()) {
      text += name + "\n" + content_of(mediaDir() + "/" + name);
    }
    return text;
  }
};

/** 64 bits of FNV-1a. */
std::uint64_t digest_of(const std::string& text) {
  std::uint64_t digest = 0xcbf29ce484222325U;
  for (const char character : text) {
    digest = (digest ^ static_cast<unsigned char>(character)) * 0x100000001b3U;
  }
  return digest;
}

TEST_F(Generate, TheSameSeedGivesTheSameRowsAndFilesOnEveryMachine) {
  EXPECT_EQ(
      generate({"--seed", "42", "--messages", "500"}),
      (nlohmann::json{{"seed", 42}, {"messages", 500}, {"conversations", 42}, {"files", 87}}));
  EXPECT_EQ(digest_of(wholeStore()), 5201259044018269248U);
}

TEST_F(Generate, AnotherSeedGivesAnotherStore) {
  generate({"--seed", "1", "--messages", "20"});
  const std::string one = wholeStore();
  std::filesystem::remove_all(dataDir());
  create();
  generate({"--messages", "20"});
  EXPECT_EQ(wholeStore(), one) << "the seed is 1 unless another is given";
  std::filesystem::remove_all(dataDir());
  create();
  generate({"--seed", "18446744073709551615", "--messages", "20"});
  EXPECT_NE(wholeStore(), one);
}

TEST_F(Generate, HasSomethingOfEverything) {
  generate({"--messages", "3000", "--conversations", "150"});
  EXPECT_EQ(number("SELECT count(*) FROM msg_message_table;"), 3000);
  EXPECT_EQ(number("SELECT count(DISTINCT convId) FROM msg_message_table;"), 150);
  EXPECT_EQ(rows("SELECT DISTINCT storageFolder || ' ' || networkStatus FROM msg_message_table "
                 "ORDER BY storageFolder, networkStatus;"),
            "1 16\n2 1\n2 3\n3 2\n4 16\n5 16\n101 16\n102 1\n102 3\n103 2\n104 16\n105 16\n");
  EXPECT_EQ(rows("SELECT DISTINCT simIndex FROM msg_message_table ORDER BY simIndex;"), "1\n2\n");
  EXPECT_EQ(rows("SELECT DISTINCT contentType FROM msg_mms_content_table ORDER BY contentType;"),
            "audio/amr\naudio/x-wav\nimage/gif\nimage/jpeg\nimage/png\ntext/plain\ntext/x-vcard\n");
  for (const std::string& table : tables()) {
    EXPECT_GT(number("SELECT count(*) FROM " + table + ";"), 0) << table;
  }
  for (const std::string condition :
       {"read = 0", "sync = 0", "displayTime > 2147483648000", "peerGroupChatSender <> ''",
        "mainText <> textMessage", "stickerId <> 0", "isSafeMessage = 1", "isShareDialMessage = 1",
        "textMessage LIKE '%' || char(10) || '%'", "length(textMessage) > 1000"}) {
    EXPECT_GT(number("SELECT count(*) FROM msg_message_table WHERE " + condition + ";"), 0)
        << condition;
  }
  for (const std::string condition : {"BTCorrelated = 0", "MSSICorrelated = 0", "MSSISync = 1",
                                      "deleted = 1", "downloadRequired = 1", "msgTime > 0"}) {
    EXPECT_GT(number("SELECT count(*) FROM msg_nms_meta_table WHERE " + condition + ";"), 0)
        << condition;
  }
}

TEST_F(Generate, ConversationsAreLikeAPersons) {
  generate({"--messages", "3000", "--conversations", "150"});
  const std::string members = "(SELECT count(*) AS n FROM msg_address_table GROUP BY convId)";
  EXPECT_EQ(number("SELECT count(*) FROM " + members + " WHERE n > 1;"), 21);
  EXPECT_GE(number("SELECT max(n) FROM " + members + ";"), 7);
  EXPECT_GT(number("SELECT count(*) FROM msg_address_table WHERE length(address) IN (5, 6) "
                   "AND address NOT GLOB '*[^0-9]*';"),
            5)
      << "short codes";
  EXPECT_GT(number("SELECT count(*) FROM msg_address_table WHERE addressType = 2;"), 5) << "names";
  EXPECT_EQ(number("SELECT count(*) FROM msg_address_table WHERE address IS NULL;"), 1);

  EXPECT_EQ(number("SELECT convId FROM msg_conversation_table ORDER BY msgCnt DESC LIMIT 1;"), 1);
  const int biggest = number("SELECT max(msgCnt) FROM msg_conversation_table;");
  EXPECT_GT(biggest, 250);
  EXPECT_LT(biggest, 500);
  EXPECT_GT(number("SELECT count(*) FROM msg_conversation_table WHERE msgCnt <= 5;"), 8);
  const int ties = number("SELECT count(*) - count(DISTINCT displayTime) FROM msg_message_table;");
  EXPECT_GT(ties, 60);
  EXPECT_LT(ties, 200);
}

TEST_F(Generate, EveryFileIsOneThatARowNames) {
  const nlohmann::json made = generate({"--messages", "600"});
  const std::string named =
      "(SELECT filepath AS path FROM msg_mms_content_table WHERE hasFile = 1 "
      "UNION SELECT thumbpath FROM msg_mms_content_table WHERE thumbpath <> '')";
  std::string files;
  for (const std::string& name : mediaFiles()) files += mediaDir() + "/" + name + "\n";
  EXPECT_EQ(files, rows("SELECT path FROM " + named + " ORDER BY path;"));
  EXPECT_EQ(made["files"], number("SELECT count(*) FROM " + named + ";"));
  for (const std::string& row : RawConnection(dbFile()).column(
           "SELECT size || ' ' || filepath FROM msg_mms_content_table WHERE hasFile = 1;")) {
    const std::size_t blank = row.find(' ');
    EXPECT_EQ(std::to_string(content_of(row.substr(blank + 1)).size()), row.substr(0, blank));
  }
}

TEST_F(Generate, RefusesAStoreThatHasMessages) {
  generate({"--messages", "1"});
  const std::string before = wholeStore();
  expectFailure(run({"generate"}),
                "the store has messages or conversations; generate fills an empty one");
  RawConnection(dbFile()).exec("DELETE FROM msg_message_table;");
  expectFailure(run({"generate"}), "the store has messages");
  EXPECT_EQ(mediaFiles().size(), 0U);

  expectFailure(run({"generate", "--data-dir", folder() + "/nothing"}), "no message store at ");
}

TEST_F(Generate, RefusesWhatCannotBe) {
  for (const std::vector<std::string>& options :
       std::vector<std::vector<std::string>>{{"--messages", "0"},
                                             {"--messages", "10000001"},
                                             {"--conversations", "0"},
                                             {"--conversations", "20001"},
                                             {"--seed", "-1"},
                                             {"--messages", "10", "--conversations", "11"}}) {
    std::vector<std::string> arguments = {"generate"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    EXPECT_EQ(run(arguments).status, 2) << options[0] << options[1];
  }
  EXPECT_EQ(number("SELECT count(*) FROM msg_message_table;"), 0);
}

TEST_F(Generate, MakesIndexesUnlessToldNotTo) {
  const std::string indexes = "SELECT count(*) FROM sqlite_master WHERE name LIKE 'msg%index';";
  const int all = number(indexes);
  ASSERT_GT(all, 0);
  std::filesystem::remove_all(dataDir());
  ASSERT_EQ(run({"create", "--no-indexes"}).status, 0);
  generate({"--messages", "10", "--no-indexes"});
  EXPECT_EQ(number(indexes), 0);
  RawConnection(dbFile()).exec(
      "DELETE FROM msg_message_table; DELETE FROM msg_conversation_table;");
  EXPECT_EQ(run({"generate", "--messages", "10"}).out,
            "generated 10 messages in 6 conversations, with 5 files\n");
  EXPECT_EQ(number(indexes), all);
}

}  // namespace
}  // namespace msg_tarvel
