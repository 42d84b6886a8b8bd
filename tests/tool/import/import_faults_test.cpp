// An import that fails changes nothing and says what, where and why; one of a large file stays
// small.

#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "reliability/extent.h"
#include "support/as_root.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class ImportFaults : public ToolTest {
 protected:
  void SetUp() override {
    create();
    import(sms({}) + mms({}, data_part("image/png", "QUJD"), ""));
    _before = everything();
    _bytes = content_of(dbFile());
  }

  /** Exit status 3, one line, and a store of the same rows, bytes and files as before. */
  void expectRefused(const std::string& path, const std::string& reason) {
    const ProcessResult result = run({"import", path});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err.rfind("msg-tarvel: " + reason, 0), 0U) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    EXPECT_EQ(result.out, "");
    expectUnchanged();
  }
  void expectUnchanged() {
    EXPECT_EQ(everything(), _before);
    EXPECT_TRUE(content_of(dbFile()) == _bytes);
  }

 private:
  std::string _before;
  std::string _bytes;
};

const std::string NEW_ELEMENTS =
    sms({{"body", "new"}}) + mms({}, text_part("new") + data_part("image/png", "QUJE"), "");

TEST_F(ImportFaults, FilesThatAreNoFiles) {
  expectRefused(folder() + "/missing.xml",
                "cannot read " + folder() + "/missing.xml: No such file or directory");
  expectRefused(folder(), "cannot import " + folder() + ": it is a directory");
  expectRefused(file("empty.xml", ""), "cannot import " + folder() + "/empty.xml: it is empty");
  ASSERT_EQ(mkfifo((folder() + "/pipe").c_str(), 0600), 0);
  expectRefused(folder() + "/pipe", "cannot import " + folder() + "/pipe: it is not a regular");
}

TEST_F(ImportFaults, AFileBeyond2GiBIsReadLikeAnother) {
  const std::string path = file("large.xml", "<smses>\n<sms </smses>");
  std::filesystem::resize_file(path, 3LL << 30);  // zeros that take no room
  expectRefused(path, path + ":2: ");
}

TEST_F(ImportFaults, AFileThatMayNotBeRead) {
  AS_ROOT();
  const std::string path = file("secret.xml", backup(NEW_ELEMENTS));
  ASSERT_EQ(chmod(path.c_str(), 0600), 0);
  ASSERT_EQ(chmod(dbFile().c_str(), 0666), 0);
  useProgramForEveryone();
  Child child([&] {
    if (!become_nobody()) return 99;
    const ProcessResult result = run({"import", path});
    return result.status == 3 &&
                   result.err == "msg-tarvel: cannot read " + path + ": Permission denied\n"
               ? 0
               : 1;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(ImportFaults, AFileThatIsNotWellFormedNamesItsLine) {
  const std::string path = folder() + "/bad.xml";
  const std::string head = "<?xml version='1.0' encoding='UTF-8'?>\n<smses>\n" + NEW_ELEMENTS;
  const std::pair<std::string, std::string> cases[] = {
      {"not XML at all", "1: Start tag expected, '<' not found"},
      {std::string("\0\0\0\0", 4), "1: "},
      {head + "<sms date='1' type='1'>\n</smses>", "12: Opening and ending tag mismatch: sms"},
      {head + "<sms date='1' date='2'/>\n</smses>", "11: Attribute date redefined"},
      {head + "<sms\ndate='1' body='a < b'/>\n</smses>", "12: Unescaped '<' not allowed"},
      {head + "<sms body='&unknown;'/>\n</smses>", "11: Entity 'unknown' not defined"},
      {head + "<sms body='\x01'/>\n</smses>", "11: invalid character in attribute value"},
      {head + "<sms body='\xFF'/>\n</smses>", "11: Input is not proper UTF-8"},
      {head + "<part data='QUJD\n&unknown;'/>\n</smses>", "12: Entity 'unknown' not defined"},
      {head + "<part data='QUJD\nQU<JD'/>\n</smses>", "12: Unescaped '<' not allowed"},
      {head + "</smses>\n<smses/>", "12: Extra content at the end of the document"},
      {"<messages>\n</messages>", "1: not a message backup: its root is <messages>, not <smses>"},
      {"<?xml version='1.0'?>\n<!DOCTYPE smses [<!ENTITY a 'b'>]>\n<smses>&a;</smses>",
       "2: a document type declaration is not allowed"},
      {"<!DOCTYPE smses SYSTEM 'file:///etc/passwd'><smses/>",
       "1: a document type declaration is not allowed"},
  };
  for (const auto& [content, complaint] : cases) {
    expectRefused(file("bad.xml", content), path + ":" + complaint);
  }
}

TEST_F(ImportFaults, AFileThatIsCutShortAnywhere) {
  const std::string whole = backup(NEW_ELEMENTS);
  const std::string end = "</smses>";
  const std::size_t last = whole.rfind(end) + end.size();
  constexpr int STEP = 7 * SHARE;
  for (std::size_t size = 1; size < last; size += STEP) {
    expectRefused(file("cut.xml", whole.substr(0, size)), folder() + "/cut.xml:");
  }
}

TEST_F(ImportFaults, ABillionLaughsAreRefusedAtOnce) {
  std::string laughs = "<!DOCTYPE smses [<!ENTITY a0 'ha'>";
  for (int i = 1; i < 30; ++i) {
    const std::string inner = "&a" + std::to_string(i - 1) + ";";
    laughs += "<!ENTITY a" + std::to_string(i) + " '" + inner + inner + "'>";
  }
  expectRefused(file("laughs.xml", laughs + "]>\n<smses><sms body='&a29;'/></smses>"),
                folder() + "/laughs.xml:1: a document type declaration is not allowed");
}

TEST_F(ImportFaults, AnElementWithEndlessAttributesIsRefusedAtOnce) {
  std::string attributes;
  for (int i = 0; i < 300000; ++i) attributes += " a" + std::to_string(i) + "=''";
  expectRefused(file("many.xml", "<smses>\n<sms" + attributes + "/></smses>"),
                folder() + "/many.xml:2: an element has more than 1000 attributes");
}

TEST_F(ImportFaults, AStoreThatRefusesAWriteIsAsBefore) {
  for (const char* table : {"msg_message_table", "msg_mms_content_table", "msg_address_table",
                            "msg_conversation_table"}) {
    RawConnection store(dbFile());
    store.exec(std::string("CREATE TRIGGER refuse BEFORE INSERT ON ") + table +
               " BEGIN SELECT RAISE(ABORT, 'refused'); END;");
    const std::string before = everything();
    const std::string elements =
        mms({{"address", "+14155550199"}}, data_part("image/png", "QUJE"), "");
    const ProcessResult result = run({"import", file("b.xml", backup(elements))});
    EXPECT_EQ(result.status, 3) << table;
    EXPECT_EQ(result.err.rfind("msg-tarvel: cannot write the message store", 0), 0U) << result.err;
    EXPECT_EQ(everything(), before) << table;
    store.exec("DROP TRIGGER refuse;");
  }
}

TEST_F(ImportFaults, ACommitThatFailsLeavesNothing) {
  RawConnection reader(dbFile());
  reader.exec("BEGIN;");
  reader.column("SELECT count(*) FROM msg_message_table;");  // holds the lock that a commit needs
  const std::string before = everything();
  const ProcessResult result = run({"import", file("b.xml", backup(NEW_ELEMENTS))});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "msg-tarvel: cannot write the message store " + dbFile() +
                            ": it is locked by another process\n");
  EXPECT_EQ(everything(), before);
}

TEST_F(ImportFaults, AMediaDirectoryThatCannotBeMade) {
  std::filesystem::remove_all(mediaDir());
  file("data/media", "in the way");
  const ProcessResult result = run({"import", file("b.xml", backup(NEW_ELEMENTS))});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err.rfind("msg-tarvel: cannot use the message store: " + mediaDir(), 0), 0U)
      << result.err;
  EXPECT_EQ(rows("SELECT count(*) FROM msg_message_table;"), "2\n");
}

TEST_F(ImportFaults, AMediaDirectoryIsRemovedAgainIfItWasMadeForNothing) {
  std::filesystem::remove_all(mediaDir());
  RawConnection(dbFile()).exec(
      "CREATE TRIGGER refuse BEFORE INSERT ON msg_mms_content_table WHEN new.slideIdx = 9 BEGIN "
      "SELECT RAISE(ABORT, 'refused'); END;");
  const std::string refused =
      element("part", {{"seq", "9"}, {"ct", "image/png"}, {"data", "QUJD"}});
  const std::string elements = mms({{"date", "7"}}, data_part("image/png", "QUJE") + refused, "");
  EXPECT_EQ(run({"import", file("b.xml", backup(elements))}).status, 3);
  EXPECT_FALSE(std::filesystem::exists(mediaDir()));
}

TEST_F(ImportFaults, AnEmptyBackupIsFine) {
  const auto summary = import("");
  EXPECT_EQ(summary["read"], 0);
  expectUnchanged();
}

/** Writes a backup of about 300 MB: pictures of up to 4 MB, and one of 100 MB. */
long long write_huge_backup(const std::string& path) {
  constexpr std::size_t LARGEST = 100'000'000;
  std::ofstream out(path, std::ios::binary);
  out << "<smses>\n";
  const std::string base64(1 << 20, 'Q');
  const auto message = [&](int date, std::size_t size, const std::string& piece) {
    out << "<mms date=\"" << date << "\" msg_box=\"1\" address=\"+14155550111\"><parts><part "
        << "ct=\"image/jpeg\" data=\"";
    for (std::size_t written = 0; written < size; written += piece.size()) out << piece;
    out << "\"/></parts></mms>\n";
  };
  const std::string wrapped = base64.substr(0, 76) + "&#10;";
  for (int i = 1; i <= 70; ++i) {
    message(i, 1'000'000 * (1 + static_cast<std::size_t>(i) % 4), i % 10 == 0 ? wrapped : base64);
  }
  message(100, LARGEST, base64);
  out << "</smses>\n";
  return static_cast<long long>(out.tellp());
}

TEST_F(ImportFaults, AHugeFileTakesLittleMemory) {
  const std::string path = folder() + "/huge.xml";
  ASSERT_GT(write_huge_backup(path), 250'000'000);
  // Well below the largest element and 64 MB: no attachment is ever in memory.
  const ProcessResult result = runWithLittleMemory({"import", path, "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(nlohmann::json::parse(result.out)["partsStored"], 71);
}

}  // namespace
}  // namespace msg_tarvel
