// What an import writes, row by row.

#include <sys/stat.h>

#include <filesystem>

#include "support/as_root.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

constexpr const char* PNG = "iVBORw0KGgo=";
const std::string PNG_BYTES = "\x89PNG\r\n\x1a\n";

class ImportTest : public ToolTest {
 protected:
  void SetUp() override { create(); }

  std::string messageColumn(const std::string& column) const {
    return rows("SELECT " + column + " FROM msg_message_table ORDER BY msgId;");
  }
};

TEST_F(ImportTest, FillsEveryColumnOfAText) {
  auto summary = import(sms({{"read", "0"}, {"body", "Hi"}}));
  EXPECT_EQ(summary["file"], folder() + "/backup.xml");
  summary.erase("file");
  EXPECT_EQ(summary, nlohmann::json::parse(R"({"dryRun": false, "count": 1, "read": 1, "stored": 1,
      "skipped": 0, "skippedBecause": {}, "skippedFirst": {}, "partsStored": 0,
      "partsReported": 0, "reports": [], "conversationsCreated": 1, "ownNumbers": [],
      "damages": 0, "damage": [], "twoConversations": []})"));
  EXPECT_EQ(messageColumn("msgType || '|' || subType || '|' || itemId || '|' || convId || '|' || "
                          "storageId || '|' || storageFolder || '|' || networkStatus || '|' || "
                          "mainText || '|' || textMessage || '|' || displayTime || '|' || "
                          "expiryTime || '|' || attachedNum || '|' || sync || '|' || read || '|' "
                          "|| simIndex || '|' || simAddress || '|' || peerConvId || '|' || "
                          "peerChatType || '|' || peerChatSessionId || '|' || "
                          "peerGroupChatSender || '|' || groupId || '|' || stickerId || '|' || "
                          "isShareDialMessage || '|' || isSafeMessage || '|' || customFieldInt1"),
            "sms|0|0|1|1|1|16|Hi|Hi|1740000000000|0|0|0|0|-1||0|0|||0|0|0|0|0\n");
  EXPECT_EQ(rows("SELECT length(customFieldStr1) FROM msg_message_table WHERE customFieldStr1 LIKE "
                 "'import:%';"),
            "71\n");
  EXPECT_EQ(rows("SELECT addressType || recipientType || address FROM msg_address_table;"),
            "11+14155550111\n");
}

TEST_F(ImportTest, KnowsEveryBox) {
  std::string elements;
  for (const char* type : {"1", "2", "3", "4", "5", "6"}) {
    elements += sms({{"type", type}, {"read", "0"}, {"body", type}});
    elements += mms({{"msg_box", type}, {"read", "0"}}, text_part(type), "");
  }
  import(elements);
  EXPECT_EQ(messageColumn("textMessage || ':' || storageFolder || ':' || networkStatus || ':' || "
                          "read || msgType"),
            "1:1:16:0sms\n1:1:16:0mms\n2:3:2:1sms\n2:3:2:1mms\n3:4:16:1sms\n3:4:16:1mms\n"
            "4:2:1:1sms\n4:2:1:1mms\n5:2:3:1sms\n5:2:3:1mms\n6:2:1:1sms\n6:2:1:1mms\n");
}

TEST_F(ImportTest, TextsArriveAsTheyWereMeant) {
  const std::pair<const char*, const char*> cases[] = {
      {"&#55357;&#56834; ok &#xD83C;&#xDF89;", "😂 ok 🎉"},
      {"lone &#55357; &#56834; and &#0;", "lone \uFFFD \uFFFD and \uFFFD"},
      {"지금 어디예요? 😊 شكرا", "지금 어디예요? 😊 شكرا"},
      {"one&#10;two&#13;&#10;three", "one\ntwo\r\nthree"},
      {"&lt;a&gt; &amp;amp; &quot;b&quot; &apos;c&apos;", "<a> &amp; \"b\" 'c'"},
      {"it's 'null' null", "it's 'null' null"},
      {"null", "null"},
      {"%s%n ' OR 1=1; --", "%s%n ' OR 1=1; --"},
  };
  std::string elements;
  nlohmann::json expected;
  int date = 1000;
  for (const auto& [body, text] : cases) {
    elements += sms({{"body", body}, {"date", std::to_string(++date)}});
    expected.push_back(text);
  }
  import(elements);
  nlohmann::json texts;
  for (const auto& message : json({"conversation", "1"})) texts.push_back(message["textMessage"]);
  EXPECT_EQ(texts, expected);
}

TEST_F(ImportTest, ASubjectIsWhatAListShows) {
  import(sms({{"subject", "Sub"},
              { "body",
                "Body" }}) +
         mms({{ "sub",
                "Garden" }},
             text_part("one") + text_part("two"), ""));
  EXPECT_EQ(messageColumn("mainText || '/' || textMessage"), "Sub/Body\nGarden/one\ntwo\n");
}

TEST_F(ImportTest, PartsBecomeRowsAndFiles) {
  import(mms({},
             element("part", {{"seq", "-1"},
                              {"ct", "application/smil"},
                              { "text",
                                "&lt;smil/&gt;" }}) +
                 element("part", {{"seq", "2"},
                                  {"ct", "image/png"},
                                  {"name", "n.png"},
                                  {"cl", "null"},
                                  {"text", "null"},
                                  { "data",
                                    PNG }}) +
                 text_part("words") + data_part("audio/amr", "QU1S") +
                 data_part("video/3gpp; codecs=x", "QU1S") + data_part("text/x-vCard", "QU1S"),
             ""));
  EXPECT_EQ(messageColumn("attachedNum"), "4\n");
  EXPECT_EQ(rows("SELECT msgId || '|' || slideIdx || '|' || textData || '|' || mediaType || '|' || "
                 "contentType || '|' || attachType || hasFile || status || '|' || filename || '|' "
                 "|| size FROM msg_mms_content_table ORDER BY contentId;"),
            "1|2||1|image/png|110|n.png|8\n1|0|words|4|text/plain|000|text.txt|0\n"
            "1|0||2|audio/amr|110|name|3\n1|0||3|video/3gpp; codecs=x|110|name|3\n"
            "1|0||5|text/x-vCard|110|name|3\n");
  EXPECT_EQ(mediaFiles(), (std::vector<std::string>{"1-2.png", "1-4.amr", "1-5.3gp", "1-6.vcf"}));
  EXPECT_EQ(rows("SELECT filepath FROM msg_mms_content_table WHERE contentId = 1;"),
            mediaDir() + "/1-2.png\n");
  EXPECT_EQ(content_of(mediaDir() + "/1-2.png"), PNG_BYTES);
  struct stat status = {};
  ASSERT_EQ(stat((mediaDir() + "/1-2.png").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0660U);
}

TEST_F(ImportTest, ARelativeDataDirectoryStillGivesAbsolutePaths) {
  file("backup.xml", backup(mms({}, data_part("image/png", PNG), "")));
  std::vector<std::string> command = {"env", "-C", folder()};
  for (const std::string& word :
       runnable({TOOL_PROGRAM, "--data-dir", "data", "import", "backup.xml"})) {
    command.push_back(word);
  }
  EXPECT_EQ(run_program(command, environment()).status, 0);
  EXPECT_EQ(rows("SELECT filepath FROM msg_mms_content_table;"), mediaDir() + "/1-1.png\n");
}

TEST_F(ImportTest, WrappedDataIsWhole) {
  import(mms({}, data_part("image/png", "iVBO&#10;Rw0K\n Ggo=&#13;&#10;"), ""));
  EXPECT_EQ(content_of(mediaDir() + "/1-1.png"), PNG_BYTES);
}

TEST_F(ImportTest, DamagedAndStrangePartsAreReportedAndTheMessageKept) {
  const auto summary = import(mms(
      {},
      text_part("kept") + data_part("image/png", "iVBO*w0K") + data_part("image/png", "iVBORw0") +
          data_part("image/png", "null") + data_part("image/png", "") +
          data_part("application/x-odd", "QUJD") + data_part("../../x", "QUJD"),
      ""));
  EXPECT_EQ(summary["stored"], 1);
  EXPECT_EQ(summary["partsStored"], 7);
  EXPECT_EQ(summary["partsReported"], 6);
  const auto report = [&](int part, const std::string& type, const std::string& problem) {
    return nlohmann::json{{"line", 3}, {"part", part}, {"contentType", type}, {"problem", problem}};
  };
  EXPECT_EQ(
      summary["reports"],
      (nlohmann::json{report(2, "image/png", "damaged base64, stored without its data"),
                      report(3, "image/png", "damaged base64, stored without its data"),
                      report(4, "image/png", "no data"), report(5, "image/png", "no data"),
                      report(6, "application/x-odd", "unknown content type, stored as a file"),
                      report(7, "../../x", "unknown content type, stored as a file")}));
  EXPECT_EQ(rows("SELECT hasFile || attachType || status || size || filepath FROM "
                 "msg_mms_content_table WHERE contentType = 'image/png';"),
            "0010\n0010\n0010\n0010\n");
  EXPECT_EQ(messageColumn("textMessage || attachedNum"), "kept2\n");
  EXPECT_EQ(mediaFiles(), (std::vector<std::string>{"1-6.bin", "1-7.bin"}));
}

TEST_F(ImportTest, TheSummaryReadsWellForAPerson) {
  const ProcessResult result =
      run({"import", file("b.xml", backup(sms({{"type", "9"}}) + sms({{"date", "null"}}) +
                                          mms({}, data_part("a&#8238;/b", "Q"), "")))});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            "read:    3\nstored:  1\nskipped: 2\n  1: no date (first in line 4)\n"
            "  1: unknown message type 9 (first in line 3)\n"
            "conversations created: 1\nparts:   1 stored, 1 of them reported\n"
            "  line 5, part 1 (a/b): damaged base64, stored without its data\n");
}

// Some programs write the word where there is nothing.
TEST_F(ImportTest, AWordForNothingIsATextWhereItCanBeOne) {
  const auto part = [](const std::string& type, const std::string& text, const std::string& data) {
    return element("part", {{"ct", type}, {"text", text}, {"data", data}});
  };
  import(mms({},
             text_part("null") + part("text/plain", "null", "null") +
                 part("text/plain", "null", "QUJD") + part("image/png", "null", "null"),
             ""));
  EXPECT_EQ(rows("SELECT textData || '|' || hasFile FROM msg_mms_content_table;"),
            "null|0\nnull|0\n|1\n|0\n");
  EXPECT_EQ(messageColumn("textMessage"), "null\nnull\n");
  import(sms({{"subject", "null"}, { "body", "no" }}));
  EXPECT_EQ(messageColumn("mainText"), "null\nnull\nno\n");
}

TEST_F(ImportTest, ACountThatIsFarOffIsRemarkedOn) {
  const auto output = [this](int count, int messages) {
    std::string elements;
    for (int i = 1; i <= messages; ++i) elements += sms({{"date", std::to_string(i)}});
    const std::string path =
        file("b.xml", "<smses count='" + std::to_string(count) + "'>\n" + elements + "</smses>\n");
    return run({"import", path, "--dry-run"}).out;
  };
  const std::string remark = "the file says that it has ";
  EXPECT_NE(output(15, 10).find(remark + "15 messages\n"), std::string::npos);
  EXPECT_NE(output(0, 5).find(remark + "0 messages\n"), std::string::npos);
  EXPECT_EQ(output(14, 10).find(remark), std::string::npos) << "few";
  EXPECT_EQ(output(206, 200).find(remark), std::string::npos) << "a small share";
  EXPECT_NE(output(211, 200).find(remark), std::string::npos);
}

TEST_F(ImportTest, TheFirstOfEachKindOfReportIsNamed) {
  std::string parts;
  for (int i = 0; i < 120; ++i) parts += data_part("image/png", "Q");
  const std::string path =
      file("b.xml", backup(mms({},
                               parts + data_part("image/png", "") + data_part("image/png", "") +
                                   data_part("a/b", "QUJD"),
                               "")));
  const std::string out = run({"import", path, "--dry-run"}).out;
  EXPECT_NE(out.find("  line 3, part 20 (image/png): damaged base64, stored without its data\n"
                     "  line 3, part 121 (image/png): no data\n"
                     "  line 3, part 123 (a/b): unknown content type, stored as a file\n"
                     "  and 101 more\n"),
            std::string::npos)
      << out;
  EXPECT_EQ(json({"import", path})["reports"].size(), 102U);
}

TEST_F(ImportTest, NamesInTheFileAreOnlyData) {
  for (const std::string name : {"../../escape.png", "/etc/escape.png", "..", "a/b"}) {
    import(mms({{ "date",
                  std::to_string(std::hash<std::string>()(name) % 1000000) }},
               data_part("image/png", PNG, name), ""));
  }
  EXPECT_EQ(mediaFiles(), (std::vector<std::string>{"1-1.png", "2-1.png", "3-1.png", "4-1.png"}));
  EXPECT_EQ(rows("SELECT filename FROM msg_mms_content_table WHERE msgId = 1;"),
            "../../escape.png\n");
}

TEST_F(ImportTest, AFileThatIsThereIsNeverReplaced) {
  std::filesystem::create_directory(mediaDir());
  file("data/media/1-1.png", "left over");
  import(mms({}, data_part("image/png", PNG), ""));
  EXPECT_EQ(content_of(mediaDir() + "/1-1.png"), "left over");
  EXPECT_EQ(content_of(mediaDir() + "/1-1-2.png"), PNG_BYTES);
  EXPECT_EQ(rows("SELECT filepath FROM msg_mms_content_table;"), mediaDir() + "/1-1-2.png\n");
}

TEST_F(ImportTest, UnusableMessagesAreSkippedAndCounted) {
  const auto summary = import(
      sms({{"date", "null"}}) + sms({{"date", ""}}) + sms({{"date", "soon"}}) +
      sms({{"date", "-5"}}) + sms({{"date", "99999999999999999999"}}) + sms({{"type", "7"}}) +
      sms({{"type", "null"}}) + mms({{"msg_box", "0"}}, data_part("image/png", PNG), "") + sms({}));
  EXPECT_EQ(summary["read"], 9);
  EXPECT_EQ(summary["stored"], 1);
  EXPECT_EQ(summary["skipped"], 8);
  EXPECT_EQ(summary["skippedBecause"],
            nlohmann::json::parse(R"({"no date": 2, "unusable date": 3, "no message type": 1,
                                      "unknown message type 7": 1, "unknown message type 0": 1})"));
  EXPECT_EQ(mediaFiles(), std::vector<std::string>{});
}

TEST_F(ImportTest, ASecondImportDoublesNothing) {
  const std::string elements = sms({}) + sms({{"body", "other"}}) +
                               mms({}, text_part("a") + data_part("image/png", PNG), "");
  import(elements);
  const std::string before = everything();
  const auto summary = import(elements);
  EXPECT_EQ(summary["stored"], 0);
  EXPECT_EQ(summary["skippedBecause"], nlohmann::json::parse(R"({"already in the store": 3})"));
  EXPECT_EQ(everything(), before);
}

TEST_F(ImportTest, TheJournalKeepsItsFile) {
  AS_ROOT();
  import(sms({}));
  struct stat journal = {};
  ASSERT_EQ(stat((dbFile() + "-journal").c_str(), &journal), 0);
  EXPECT_EQ(journal.st_mode & 07777, 0660U);
  EXPECT_EQ(journal.st_gid, 5000U);
}

TEST_F(ImportTest, MessagesThatDifferInAnythingAreDifferent) {
  const std::string first = mms({}, text_part("a") + data_part("image/png", PNG), "");
  const std::string others =
      mms({{"date", "1740000000001"}}, text_part("a") + data_part("image/png", PNG), "") +
      mms({{"msg_box", "2"}}, text_part("a") + data_part("image/png", PNG), "") +
      mms({{"sub", "s"}}, text_part("a") + data_part("image/png", PNG), "") +
      mms({{"address", "+14155550112"}}, text_part("a") + data_part("image/png", PNG), "") +
      mms({}, text_part("b") + data_part("image/png", PNG), "") +
      mms({}, text_part("a") + data_part("image/gif", PNG), "") +
      mms({}, text_part("a") + data_part("image/png", "iVBORw0KGgs="), "") +
      mms({}, text_part("a"), "") + sms({{"body", "a"}});
  EXPECT_EQ(import(first + others)["stored"], 10);
  // Only the way a number is written does not count.
  EXPECT_EQ(import(mms({{"address", "+1 (415) 555-0111"}},
                       text_part("a") + data_part("image/png", PNG), ""))["stored"],
            0);
}

TEST_F(ImportTest, OnlyWhatIsAMessageIsRead) {
  const auto summary = import("<call number='1'/><!-- <sms/> --><x><sms date='1' type='1'/></x>" +
                              sms({}) + "text<![CDATA[<sms date='1' type='1'/>]]>");
  EXPECT_EQ(summary["read"], 1);
}

}  // namespace
}  // namespace msg_tarvel
