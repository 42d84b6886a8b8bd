// A backup in UTF-16 is imported as one in UTF-8 is: the same rows, files, lines and limits.

#include <filesystem>
#include <fstream>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

constexpr const char* ENCODINGS[] = {"UTF-16LE", "UTF-16BE"};
const std::string MARK = "\uFEFF";

class ImportUtf16 : public ToolTest {
 protected:
  void SetUp() override { create(); }

  /** A file of the text in another encoding. */
  std::string recoded(const std::string& text, const std::string& encoding) const {
    const ProcessResult result = run_program(
        {"iconv", "-f", "UTF-8", "-t", encoding, file("in UTF-8", text)}, {"LC_ALL=C.UTF-8"});
    EXPECT_EQ(result.status, 0) << result.err;
    return file(encoding, result.out);
  }
  static std::string backupOf(const std::string& elements) {
    return "<?xml version='1.0' encoding='UTF-16'?>\n<smses count=\"1\">\n" + elements +
           "</smses>\n";
  }
  void beginAnew() const {
    std::filesystem::remove_all(dataDir());
    create();
  }
};

TEST_F(ImportUtf16, GivesTheSameStore) {
  const std::string elements =
      sms({{"body", "한국어 😂 &#55357;&#56834;"}}) +
      mms({{"date", "2"}}, text_part("é") + data_part("image/png", "QUJD"), "") +
      sms({{"date", "null"}});
  auto expected = import(elements);
  const std::string before = everything();
  ASSERT_EQ(mediaFiles().size(), 1U);
  for (const std::string encoding : ENCODINGS) {
    for (const std::string& mark : {MARK, std::string()}) {
      beginAnew();
      const std::string path = recoded(mark + backupOf(elements), encoding);
      expected["file"] = path;
      EXPECT_EQ(json({"import", path}), expected);
      EXPECT_EQ(everything(), before);
    }
  }
  beginAnew();
  const std::string path = recoded(MARK + backupOf(elements), "UTF-16LE");
  ASSERT_EQ(run_program({"gzip", path}).status, 0);
  EXPECT_EQ(run({"import", path + ".gz"}).status, 0);
  EXPECT_EQ(everything(), before);
}

TEST_F(ImportUtf16, TakesTheGoodOfADamagedFile) {
  const std::string text = backupOf(sms({{"date", "1"}}) + "<sms date='2' body='a < b'/>\n" +
                                    sms({{"date", "3"}, {"body", "한"}}));
  for (const std::string encoding : ENCODINGS) {
    beginAnew();
    const std::string path = recoded(MARK + text.substr(0, text.rfind("</smses>")), encoding);
    expectFailure(run({"import", path}), path + ":4: ");
    const ProcessResult result = run({"import", path, "--keep-going", "--json"});
    EXPECT_EQ(result.status, 1) << result.err;
    const auto summary = nlohmann::json::parse(result.out);
    EXPECT_EQ(summary["stored"], 2);
    EXPECT_EQ(summary["damages"], 2);
    EXPECT_EQ(summary["damage"][0]["line"], 4);
    EXPECT_EQ(summary["damage"][1]["problem"], "the file ends before its end");
    EXPECT_EQ(summary["damage"][1]["line"], 6);
    EXPECT_EQ(rows("SELECT textMessage FROM msg_message_table;"), "Hello\n한\n");
  }
}

TEST_F(ImportUtf16, HalfACharacterDamagesItsMessageAlone) {
  std::string text = content_of(
      recoded(MARK + backupOf(sms({{"date", "1"}}) + sms({{"date", "2"}, {"body", "X"}}) + sms({})),
              "UTF-16LE"));
  const std::string marked("X\0", 2);
  text.replace(text.find(marked), 2, "\x3D\xD8");
  const std::string path = file("half.xml", text);
  expectFailure(run({"import", path}), path + ":4: ");
  const ProcessResult result = run({"import", path, "--keep-going", "--json"});
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_EQ(nlohmann::json::parse(result.out)["stored"], 2);
}

TEST_F(ImportUtf16, TakesNoMemoryForWhatIsLong) {
  const std::string path = folder() + "/long.xml";
  std::ofstream out(path, std::ios::binary);
  // In pieces: the program begins with as much memory as this one has.
  const auto wide = [](const std::string& ascii) {
    std::string bytes;
    for (const char character : ascii) bytes += {character, '\0'};
    return bytes;
  };
  const std::string piece = wide(std::string(1000, 'Q'));
  const auto writeLong = [&](const std::string& head, const std::string& tail) {
    out << wide(head);
    for (int i = 0; i < 12'000; ++i) out << piece;
    out << wide(tail);
  };
  out << "\xFF\xFE";
  writeLong("<smses><mms date='1' msg_box='1'><parts><part ct='image/png' data='",
            "'/></parts></mms>");
  writeLong("<!-- ", " -->");
  writeLong("<sms date='2' type='1' unknown='", "'/></smses>");
  out.close();
  const ProcessResult result = runWithLittleMemory({"import", path, "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(nlohmann::json::parse(result.out)["stored"], 2);
  ASSERT_EQ(mediaFiles().size(), 1U);
  EXPECT_EQ(std::filesystem::file_size(mediaDir() + "/" + mediaFiles().front()), 9'000'000U);
}

TEST_F(ImportUtf16, NoDataIsNoFileInUtf32Either) {
  const std::string parts =
      data_part("image/png", "null") + data_part("image/png", "") + data_part("image/png", "QUJD");
  const std::string text =
      "<?xml version='1.0' encoding='UTF-32'?><smses>" + mms({}, parts, "") + "</smses>";
  const auto summary = json({"import", recoded(text, "UTF-32")});
  EXPECT_EQ(summary["stored"], 1);
  EXPECT_EQ(summary["partsReported"], 2);
  EXPECT_EQ(mediaFiles().size(), 1U);
}

}  // namespace
}  // namespace msg_tarvel
