// msg-tarvel backup --redact, end to end.

#include <sys/stat.h>

#include <filesystem>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class BackupRedact : public ToolTest {
 protected:
  void SetUp() override {
    create();
    import(sms({{"body", "Nobody may read this"},
                { "address",
                  "+14155550111" }}) +
           sms({{"body", "Nobody may read this"},
                { "date",
                  "1740000000001" }}));
  }

  std::string target(const std::string& name = "redacted.db") const {
    return folder() + "/" + name;
  }
  static std::optional<std::string> value(const std::string& path, const std::string& sql) {
    return RawConnection(path).value(sql);
  }
};

TEST_F(BackupRedact, WritesAStoreWithoutWhatWasWritten) {
  const std::string before = everything();
  const ProcessResult result = run({"backup", target(), "--redact"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "written: " + target() + "\n");
  EXPECT_EQ(everything(), before);
  struct stat status = {};
  ASSERT_EQ(stat(target().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);

  const std::string bytes = content_of(target());
  EXPECT_EQ(bytes.find("Nobody"), std::string::npos);
  EXPECT_EQ(bytes.find("4155550111"), std::string::npos);
  EXPECT_EQ(value(target(),
                  "SELECT count(*) || ' ' || count(DISTINCT textMessage) || ' ' || "
                  "count(DISTINCT customFieldStr1) FROM msg_message_table;"),
            "2 1 2");
  EXPECT_EQ(value(target(),
                  "SELECT count(*) FROM msg_address_table WHERE address LIKE '+1%' AND "
                  "length(address) = 12;"),
            "1");
}

TEST_F(BackupRedact, NoTwoHaveTheSameKey) {
  ASSERT_EQ(run({"backup", target("a"), "--redact"}).status, 0);
  ASSERT_EQ(run({"backup", target("b"), "--redact"}).status, 0);
  const std::string text = "SELECT textMessage FROM msg_message_table WHERE msgId = 1;";
  EXPECT_NE(value(target("a"), text), value(target("b"), text));
}

TEST_F(BackupRedact, TellsWhatIsLeftOut) {
  EXPECT_EQ(json({"backup", target(), "--redact"}),
            (nlohmann::json{
                {"path", dbFile()}, {"backup", target()}, {"leftOut", nlohmann::json::array()}}));
  RawConnection(dbFile()).exec("CREATE TABLE notes (a); CREATE VIEW \"two\nlines\" AS SELECT 1;");
  EXPECT_EQ(json({"backup", target("a"), "--redact"}),
            (nlohmann::json{{"path", dbFile()},
                            {"backup", target("a")},
                            {"leftOut", {"view two\nlines", "table notes"}}}));
  const std::string out = run({"backup", target("b"), "--redact"}).out;
  EXPECT_EQ(out.rfind("written: " + target("b") + "\nleft out: view two", 0), 0U) << out;
  EXPECT_NE(out.find("\nleft out: table notes\n"), std::string::npos) << out;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 3) << out;
}

TEST_F(BackupRedact, WhatFailsNamesTheNewFile) {
  const std::string cannot = "cannot write the backup " + target() + ": ";
  const std::string nowhere = folder() + "/none";
  expectFailure(run({"backup", target(), "--redact"}, {"TMPDIR=" + nowhere}),
                cannot + "cannot make a directory " + nowhere, ": No such file or directory");
  std::string damaged = content_of(dbFile());
  file("data/dbspace/.msg-tarvel-server.db", damaged.replace(8192, 4096, 4096, 'x'));
  expectFailure(run({"backup", target(), "--redact"}),
                cannot + "cannot redact the message store: ");
  EXPECT_FALSE(std::filesystem::exists(target()));
  expectFailure(run({"backup", nowhere + "/b.db", "--redact"}),
                "cannot write the backup " + nowhere + "/b.db: ");
}

TEST_F(BackupRedact, NeverOverAFile) {
  const std::string there = file("there", "kept");
  // Before the work, which fails here.
  expectFailure(run({"backup", there, "--redact"}, {"TMPDIR=" + folder() + "/none"}),
                "cannot write the backup " + there, "there is a file of that name");
  EXPECT_EQ(content_of(there), "kept");
}

TEST_F(BackupRedact, AStoreInWriteAheadMode) {
  RawConnection(dbFile()).exec("PRAGMA journal_mode = WAL;");
  ASSERT_EQ(run({"backup", target(), "--redact"}).status, 0);
  EXPECT_EQ(value(target(), "PRAGMA journal_mode;"), "delete");
  EXPECT_EQ(value(target(), "SELECT count(*) FROM msg_message_table;"), "2");
}

}  // namespace
}  // namespace msg_tarvel
