// What files of an export become: whatever a file is and however it is called, it comes back.

#include <filesystem>

#include "support/text_file.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

namespace fs = std::filesystem;

class RestoredFiles : public ToolTest {
 protected:
  /** A store whose only file has that name and those bytes. */
  void SetUp() override {
    create();
    const std::string path = file(
        "b.xml", backup(mms({}, data_part("image/png", "QUJD"), addrs({{137, "+14155550122"}}))));
    ASSERT_EQ(run({"import", path}).status, 0);
    ASSERT_EQ(mediaFiles(), Names({"1-1.png"}));
  }

  using Names = std::vector<std::string>;

  void giveFile(const std::string& name, const std::string& bytes) const {
    fs::rename(mediaDir() + "/1-1.png", mediaDir() + "/" + name);
    write_file(mediaDir() + "/" + name, bytes);
    RawConnection(dbFile()).exec(
        "UPDATE msg_mms_content_table SET filepath = " + quoted(mediaDir() + "/" + name) + ";");
  }

  /** What is exported comes back with its only file so called, and its row names it. */
  void expectBack(const std::vector<std::string>& options, const std::string& name,
                  const std::string& bytes) const {
    std::vector<std::string> command = {"export"};
    command.insert(command.end(), options.begin(), options.end());
    const ProcessResult exported = run(command);
    ASSERT_EQ(exported.status, 0) << exported.err;
    fs::remove_all(dataDir());
    create();
    command = {"import", file("e.jsonl", exported.out)};
    command.insert(command.end(), options.begin(), options.end());
    const ProcessResult restored = run(command);
    ASSERT_EQ(restored.status, 0) << restored.err;
    EXPECT_EQ(mediaFiles(), Names({name}));
    EXPECT_EQ(content_of(mediaDir() + "/" + name), bytes);
    EXPECT_EQ(rows("SELECT filepath FROM msg_mms_content_table;"), mediaDir() + "/" + name + "\n");
    EXPECT_EQ(run({"check"}).status, 0);
  }
};

TEST_F(RestoredFiles, AreOfAnyBytes) {
  // The base64 of the last is a word that phones write for nothing.
  const std::string elsewhere = dataDir() + "-media";
  for (const std::string bytes : {"", "\x9E\xE9\x65"}) {
    giveFile("1-1.png", bytes);
    expectBack({}, "1-1.png", bytes);
    expectBack({"--media", elsewhere}, "1-1.png", bytes);
    fs::remove_all(elsewhere);
  }
}

TEST_F(RestoredFiles, HaveAnyName) {
  for (const std::string name : {"photo", "photo.", "a.b.c"}) {
    giveFile(name, "bytes");
    expectBack({}, name, "bytes");
    fs::rename(mediaDir() + "/" + name, mediaDir() + "/1-1.png");
  }
}

TEST_F(RestoredFiles, HaveNamesAsLongAsTheyMayBe) {
  const std::string longest = std::string(251, 'x') + ".png";
  giveFile(longest, "bytes");
  expectBack({}, std::string(242, 'x') + ".png", "bytes");
  // No half character is left, and what is as long is no extension.
  fs::rename(mediaDir() + "/" + std::string(242, 'x') + ".png", mediaDir() + "/1-1.png");
  std::string wide = "x.";
  while (wide.size() < 254) wide += "é";
  giveFile(wide, "bytes");
  expectBack({}, wide.substr(0, 246), "bytes");
}

TEST_F(RestoredFiles, WhoseNameIsTakenGetANumber) {
  giveFile("photo", "bytes");
  const std::string path = file("e.jsonl", run({"export"}).out);
  fs::remove_all(dataDir());
  create();
  fs::create_directory(mediaDir());
  write_file(mediaDir() + "/photo", "other bytes");
  EXPECT_EQ(run({"import", path}).status, 0);
  EXPECT_EQ(mediaFiles(), Names({"photo", "photo-2"}));
  EXPECT_EQ(content_of(mediaDir() + "/photo-2"), "bytes");
}

}  // namespace
}  // namespace msg_tarvel
