// `info`: what the store is and holds.

#include <unistd.h>

#include <filesystem>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class Info : public ToolTest {};

TEST_F(Info, DescribesTheStore) {
  create();
  RawConnection(dbFile()).exec(
      "PRAGMA journal_mode = PERSIST;"
      "INSERT INTO msg_conversation_table (convId) VALUES (1), (2);"
      "INSERT INTO msg_address_table (convId, address) VALUES (1, 'a'), (1, 'b'), (2, 'c');"
      "INSERT INTO msg_message_table (convId, storageFolder, networkStatus, read, displayTime) "
      "VALUES (1, 1, 16, 0, 5000), (1, 101, 16, 0, 9000), (1, 3, 3, 0, 7000), (2, 5, 16, 1, 8000);"
      "INSERT INTO msg_mms_content_table (msgId, hasFile) VALUES (1, 1), (1, 0);"
      "INSERT INTO deleted_msg_table (msgId) VALUES (9);");
  file("settings.ini",
       "[db/csc]\ncountry_iso=KR\n[db/contacts-svc]\nphonenumber_min_match_digit=x\n");
  const auto info = json({"info"});
  EXPECT_EQ(info["dataDirectory"]["path"], dataDir() + "/");
  EXPECT_EQ(info["database"]["path"], dbFile());
  EXPECT_EQ(info["database"]["mode"], "0660");
  EXPECT_EQ(info["database"]["size"], std::filesystem::file_size(dbFile()));
  EXPECT_EQ(info["journal"]["path"], dbFile() + "-journal");
  EXPECT_EQ(info["rollbackPending"], false);
  EXPECT_EQ(info["schemaVersion"], 4);
  EXPECT_EQ(info["tables"].size(), 14U);
  EXPECT_EQ(info["indexes"].size(), 14U);
  EXPECT_EQ(info["counts"], nlohmann::json::parse(
                                R"({"conversations": 2, "addresses": 3, "messages": 4, "unread": 2,
                                    "failed": 1, "parts": 2, "files": 1, "deleted": 1})"));
  EXPECT_EQ(info["folders"][3],
            nlohmann::json::parse(R"({"folder": 101, "name": "inbox", "messages": 1})"));
  EXPECT_EQ(info["oldest"], 5000);
  EXPECT_EQ(info["newest"], 9000);
  const auto& settings = info["settings"];
  ASSERT_EQ(settings.size(), 4U);
  EXPECT_EQ(settings[0]["value"], "x");
  EXPECT_EQ(settings[0]["source"], folder() + "/settings.ini");
  EXPECT_EQ(settings[1]["value"], "KR");
  EXPECT_EQ(settings[2]["value"], "NONE");
  EXPECT_EQ(settings[2]["source"], "factory");

  const std::string text = run({"info"}).out;
  for (const std::string& line :
       {"database        " + dbFile() + "\n",
        std::string("schema          version 4, 14 tables, 14 indexes\n"),
        std::string("unread          2\n"), std::string("folder 101      1 (inbox)\n"),
        std::string("oldest message  1970-01-01 00:00\n"),
        "setting         db/csc/country_iso = KR (" + folder() + "/settings.ini)\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << text;
  }
}

TEST_F(Info, DescribesAnEmptyStoreAsItIs) {
  ASSERT_EQ(run({"create", "--no-indexes"}).status, 0);
  std::filesystem::remove(dbFile() + "-journal");
  const auto info = json({"info"});
  EXPECT_TRUE(info["journal"].is_null());
  EXPECT_EQ(info["indexes"].size(), 0U);
  EXPECT_TRUE(info["oldest"].is_null());
  EXPECT_TRUE(info["newest"].is_null());
  const std::string text = run({"info"}).out;
  EXPECT_NE(text.find("journal         none\n"), std::string::npos) << text;
  EXPECT_NE(text.find("newest message  none\n"), std::string::npos) << text;
}

TEST_F(Info, MessagesWithoutATimeAreOfTheFirstMoment) {
  create();
  RawConnection(dbFile()).exec("INSERT INTO msg_message_table (convId) VALUES (1);");
  const auto info = json({"info"});
  EXPECT_EQ(info["oldest"], 0);
  EXPECT_EQ(info["newest"], 0);
}

TEST_F(Info, TellsOfASettingsFileThatIsBroken) {
  create();
  file("settings.ini", "nonsense\n");
  const nlohmann::json info = json({"info"});
  for (const auto& setting : info["settings"]) {
    EXPECT_TRUE(setting["value"].is_null()) << setting;
    EXPECT_EQ(setting["source"], folder() + "/settings.ini");
  }
}

TEST_F(Info, TellsOfHalfACommit) {
  create();
  import(sms({}));
  Child child([this] {
    RawConnection writer(dbFile());
    writer.exec(
        "PRAGMA synchronous = OFF; PRAGMA cache_size = 1; BEGIN; WITH RECURSIVE n(i) AS "
        "(SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500) INSERT INTO temp_log "
        "(data1) SELECT hex(zeroblob(500)) FROM n;");
    _exit(0);
    return 0;
  });
  ASSERT_EQ(child.wait(), 0);
  const std::string before = content_of(dbFile());
  EXPECT_EQ(json({"info"})["rollbackPending"], true);
  EXPECT_NE(run({"info"}).out.find("holds half a commit"), std::string::npos);
  EXPECT_EQ(json({"threads"}).size(), 1U);
  EXPECT_EQ(content_of(dbFile()), before) << "looking changes nothing";
}

}  // namespace
}  // namespace msg_tarvel
