// Which files an import takes: several, compressed ones, standard input, damaged ones; and what a
// dry run says of them.

#include <filesystem>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

const std::string PICTURE = mms({{"date", "5"}}, data_part("image/png", "QUJD"), "");

class ImportFiles : public ToolTest {
 protected:
  void SetUp() override { create(); }

  /** A text of its own for each number. */
  static std::string text(int number) {
    return sms({{"date", std::to_string(number)}, {"body", "text " + std::to_string(number)}});
  }
  std::string storedTexts() const { return rows("SELECT textMessage FROM msg_message_table;"); }

  std::string compressed(const std::string& name, const std::string& content) const {
    const ProcessResult result = run_program({"gzip", "-nc", file(name + ".plain", content)});
    EXPECT_EQ(result.status, 0) << result.err;
    return file(name, result.out);
  }
  ProcessResult runWithInput(const std::string& path, const std::vector<std::string>& arguments) {
    std::string command = "exec < '" + path + "' &&";
    for (const std::string& word : runnable({TOOL_PROGRAM})) command += " '" + word + "'";
    for (const std::string& argument : arguments) command += " '" + argument + "'";
    std::vector<std::string> variables = {"env"};
    for (const std::string& variable : environment()) variables.push_back(variable);
    variables.insert(variables.end(), {"sh", "-c", command});
    return run_program(variables);
  }
};

TEST_F(ImportFiles, SeveralAreATransactionEach) {
  const std::string first = file("1.xml", backup(text(1)));
  const std::string bad = file("2.xml", backup("<sms"));
  const std::string last = file("3.xml", backup(text(3)));
  const ProcessResult result = run({"import", first, bad, last, "--json"});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err.rfind("msg-tarvel: " + bad + ":3: ", 0), 0U) << result.err;
  const auto summaries = nlohmann::json::parse(result.out);
  ASSERT_EQ(summaries.size(), 1U);
  EXPECT_EQ(summaries[0]["file"], first);
  EXPECT_EQ(storedTexts(), "text 1\n");

  const ProcessResult both = run({"import", first, last});
  EXPECT_EQ(both.status, 0) << both.err;
  EXPECT_EQ(both.out, first + "\nread:    1\nstored:  0\nskipped: 1\n" +
                          "  1: already in the store (first in line 3)\n" +
                          "conversations created: 0\nparts:   0 stored, 0 of them reported\n" +
                          last + "\nread:    1\nstored:  1\nskipped: 0\n" +
                          "conversations created: 0\nparts:   0 stored, 0 of them reported\n");
}

TEST_F(ImportFiles, AnExportsDirectoryIsNoneOfAPhones) {
  const std::string path = file("1.xml", backup(text(1)));
  const ProcessResult result = run({"import", path, "--media", folder()});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err,
            "msg-tarvel: " + path + " is no export; --media is only for what an export left out\n");
  EXPECT_EQ(storedTexts(), "");
}

TEST_F(ImportFiles, CompressedOnesAreReadLikeOthers) {
  const std::string whole = backup(text(1) + PICTURE + text(2));
  // Members follow one another; zeros that fill up a tape are none.
  const std::string members = content_of(compressed("a.gz", whole.substr(0, 100))) +
                              content_of(compressed("b.gz", whole.substr(100))) +
                              std::string(512, '\0');
  const auto summary = json({"import", file("whole.xml.gz", members)});
  EXPECT_EQ(summary["stored"], 3);
  EXPECT_EQ(mediaFiles().size(), 1U);
}

TEST_F(ImportFiles, CompressedOnesThatAreDamagedAreRefused) {
  std::string elements;
  for (int i = 1; i <= 200; ++i) elements += text(i);
  const std::string whole = content_of(compressed("a.gz", backup(elements)));
  const std::string cut = file("cut.gz", whole.substr(0, whole.size() / 2));
  expectFailure(run({"import", cut}), cut + ": its compressed data end early");
  std::string wrong = whole;
  wrong[wrong.size() - 6] = static_cast<char>(wrong[wrong.size() - 6] ^ 0x55);  // of the checksum
  const std::string damaged = file("damaged.gz", wrong);
  expectFailure(run({"import", damaged}), damaged + ": its compressed data are damaged");
  EXPECT_EQ(storedTexts(), "");

  const ProcessResult result = run({"import", "--keep-going", "--json", cut});
  EXPECT_EQ(result.status, 1);
  const auto summary = nlohmann::json::parse(result.out);
  EXPECT_GT(summary["stored"], 20);
  EXPECT_LT(summary["stored"], 200);
  EXPECT_EQ(summary["damage"][0]["problem"], "its compressed data end early");
}

TEST_F(ImportFiles, StandardInputIsOne) {
  const std::string path = file("in.xml", backup(text(1) + PICTURE));
  const ProcessResult result = runWithInput(path, {"import", "-", "--json"});
  EXPECT_EQ(result.status, 0) << result.err;
  const auto summary = nlohmann::json::parse(result.out);
  EXPECT_EQ(summary["file"], "standard input");
  EXPECT_EQ(summary["stored"], 2);
  // It is read again where a group's messages need it.
  const std::string group = mms({{"address", "+14155550111~+14155550122"}}, text_part("group"),
                                addrs({{137, "+14155550111"}, {151, "+14155550122"}}));
  EXPECT_EQ(runWithInput(compressed("group.gz", backup(group)), {"import", "-"}).status, 0);
  EXPECT_EQ(rows("SELECT count(*) FROM msg_message_table;"), "3\n");
}

TEST_F(ImportFiles, StandardInputThatIsNothingIsRefused) {
  expectFailure(runWithInput("/dev/null", {"import", "-"}),
                "cannot import standard input: it is empty");
  expectFailure(runWithInput(file("bad.xml", "<smses>\n<sms"), {"import", "-"}),
                "standard input:2: ");
  const ProcessResult twice = run({"import", "-", "-"});
  EXPECT_EQ(twice.status, 2);
  EXPECT_EQ(twice.err, "msg-tarvel: standard input can be imported once only\n");
}

TEST_F(ImportFiles, ADryRunSaysAllAndChangesNothing) {
  import(text(1));
  const std::string path = file("b.xml", backup(text(1) + text(2) + PICTURE));
  const std::string before = everything();
  const std::string bytes = content_of(dbFile());
  auto would = json({"import", path, "--dry-run"});
  EXPECT_EQ(would["dryRun"], true);
  EXPECT_EQ(everything(), before);
  EXPECT_TRUE(content_of(dbFile()) == bytes);
  EXPECT_TRUE(mediaFiles().empty());
  const ProcessResult result = run({"import", path, "--dry-run"});
  EXPECT_EQ(result.out.rfind("nothing is changed; an import would do this\nread:    3\n", 0), 0U);

  const auto does = json({"import", path});
  would["dryRun"] = false;
  EXPECT_EQ(does, would);
  EXPECT_EQ(does["stored"], 2);
}

TEST_F(ImportFiles, OfDamagedOnesTheGoodIsTakenWhenAskedFor) {
  const std::string path =
      file("bad.xml", "<?xml version='1.0' encoding='ISO-8859-1'?>\n<smses count='9'>\n" + text(1) +
                          "<sms date='2' type='1' body='a < b'/>\n" +
                          sms({{"date", "3"}, {"body", "caf\xE9"}}) + " a & b\n" +
                          mms({{"date", "4"}}, data_part("image/png", "QUJE") + "<part", "") +
                          PICTURE + "<mms date='6' msg_box='1'>\n" + text(7) +
                          "<sms date='8' type='1' body='&unknown;'/>\n" + text(9) +
                          "<mms date='10' msg_box='1'><parts><part ct='image/png' data='QUJDQUJD");
  expectFailure(run({"import", path}), path + ":4: ");
  EXPECT_EQ(storedTexts(), "");

  const ProcessResult result = run({"import", path, "--keep-going", "--json"});
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_EQ(storedTexts(), "text 1\ncafé\n\ntext 7\ntext 9\n");
  EXPECT_EQ(mediaFiles(), std::vector<std::string>{"3-1.png"});
  const auto summary = nlohmann::json::parse(result.out);
  EXPECT_EQ(summary["read"], 5);
  EXPECT_EQ(summary["stored"], 5);
  EXPECT_EQ(summary["damages"], 6);
  std::vector<int> lines;
  for (const auto& damage : summary["damage"]) lines.push_back(damage["line"].get<int>());
  EXPECT_EQ(lines, (std::vector<int>{4, 6, 10, 20, 21, 23})) << summary["damage"];
  EXPECT_EQ(summary["damage"][5]["problem"], "the file ends before its end");

  // What is whole needs no going on.
  EXPECT_EQ(json({"import", file("good.xml", backup(text(11))), "--keep-going"})["damages"], 0);
}

TEST_F(ImportFiles, WhatIsNoBackupStaysNone) {
  for (const std::string content : {"no XML at all", "<messages><sms date='1' type='1'/>"}) {
    const std::string path = file("bad.xml", content);
    expectFailure(run({"import", path, "--keep-going"}),
                  path + ":1: not a message backup: it has no <smses>");
  }
}

TEST_F(ImportFiles, ADamagedOneSaysWhereInPlainWords) {
  const std::string path = file("bad.xml", "<smses>\n" + text(1) + "<sms date='2'>\n</smses>\n");
  const ProcessResult result = run({"import", path, "--keep-going"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "read:    1\nstored:  1\nskipped: 0\nconversations created: 1\n"
            "parts:   0 stored, 0 of them reported\ndamaged: 1\n"
            "  line 4: Opening and ending tag mismatch: sms and smses\n");
}

}  // namespace
}  // namespace msg_tarvel
