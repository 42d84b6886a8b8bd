// msg-tarvel check, repair and backup, as a user meets them.

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support/as_root.h"
#include "support/text_file.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

namespace fs = std::filesystem;

class Repair : public ToolTest {
 protected:
  void SetUp() override {
    create();
    import(sms({}) + mms({{ "address", "+14155550122" }}, data_part("image/png", "QUJD"), ""));
  }

  void plant(const std::string& sql) const {
    RawConnection(dbFile()).exec("PRAGMA journal_mode = PERSIST;" + sql);
  }
  /** The files in the data directory whose names begin so. */
  std::vector<std::string> backups() const {
    std::vector<std::string> paths;
    for (const auto& entry : fs::directory_iterator(dataDir())) {
      const std::string name = entry.path().filename().string();
      if (name.rfind("before-repair-", 0) == 0) paths.push_back(entry.path().string());
    }
    return paths;
  }
};

constexpr const char* TWO_FAULTS =
    "UPDATE msg_conversation_table SET msgCnt = 5 WHERE convId = 1; INSERT INTO "
    "msg_conversation_table (convId) VALUES (9); INSERT INTO msg_address_table (convId, address) "
    "VALUES (9, 'x');";

TEST_F(Repair, CheckTellsWhatItFinds) {
  const ProcessResult whole = run({"check"});
  EXPECT_EQ(whole.status, 0);
  EXPECT_EQ(whole.out, "nothing found: " + dbFile() + "\n");
  EXPECT_EQ(whole.err, "");
  plant(TWO_FAULTS);
  const ProcessResult found = run({"check"});
  EXPECT_EQ(found.status, 1);
  EXPECT_EQ(found.out,
            "counters: conversation 1: counts 5 messages and has 1\n"
            "no-messages: conversation 9: has no messages\n");
  EXPECT_EQ(run({"check", "unread", "modes"}).status, 0);
  const ProcessResult json = run({"check", "counters", "--json"});
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(nlohmann::json::parse(json.out),
            (nlohmann::json{{"path", dbFile()},
                            {"counts", {{"counters", 1}}},
                            {"findings",
                             {{{"kind", "counters"},
                               {"object", "conversation 1"},
                               {"problem", "counts 5 messages and has 1"}}}}}));
}

TEST_F(Repair, UnknownKindsAreRefused) {
  for (const std::string command : {"check", "repair"}) {
    const ProcessResult result = run({command, "nothing"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "msg-tarvel: there is no kind of finding 'nothing'; --help lists them\n");
  }
}

TEST_F(Repair, MendsWhatItCanAndTellsTheRest) {
  EXPECT_EQ(run({"repair"}).out, "nothing to mend: " + dbFile() + "\n");
  plant(TWO_FAULTS);
  const std::string before = read_file(dbFile());
  const ProcessResult dry = run({"repair", "--dry-run"});
  EXPECT_EQ(dry.status, 1);
  EXPECT_EQ(dry.out,
            "would try: counters, 1\nwould leave: no-messages, 1\n"
            "no-messages: conversation 9: has no messages\n");
  EXPECT_TRUE(read_file(dbFile()) == before);
  EXPECT_EQ(backups().size(), 0U);

  const ProcessResult mended = run({"repair"});
  EXPECT_EQ(mended.status, 1);
  ASSERT_EQ(backups().size(), 1U);
  EXPECT_EQ(mended.out, "backup: " + backups()[0] +
                            "\nmended: counters, 1\nleft: no-messages, 1\n"
                            "no-messages: conversation 9: has no messages\n");
  EXPECT_EQ(rows("SELECT msgCnt FROM msg_conversation_table WHERE convId = 1;"), "1\n");
  EXPECT_EQ(RawConnection(backups()[0])
                .value("SELECT msgCnt FROM msg_conversation_table WHERE convId = 1;"),
            "5");
  struct stat status = {};
  ASSERT_EQ(stat(backups()[0].c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  // What is left needs no second backup.
  EXPECT_EQ(run({"repair"}).status, 1);
  EXPECT_EQ(backups().size(), 1U);
}

TEST_F(Repair, MendsOnlyWhatItIsAskedFor) {
  plant("UPDATE msg_conversation_table SET msgCnt = 5, unreadCnt = 5 WHERE convId = 1;");
  const ProcessResult result = run({"repair", "unread", "--json"});
  EXPECT_EQ(result.status, 0) << result.err;
  nlohmann::json json = nlohmann::json::parse(result.out);
  EXPECT_EQ(json["backup"], backups().at(0));
  json.erase("backup");
  EXPECT_EQ(json, (nlohmann::json{{"path", dbFile()},
                                  {"mended", {{"unread", 1}}},
                                  {"leftCounts", nlohmann::json::object()},
                                  {"left", nlohmann::json::array()}}));
  EXPECT_EQ(rows("SELECT msgCnt || unreadCnt FROM msg_conversation_table WHERE convId = 1;"),
            "50\n");
}

TEST_F(Repair, AFileThatHasAnotherNameIsLeftAlone) {
  const std::string secret = file("secret", "somebody's secret");
  ASSERT_EQ(chmod(secret.c_str(), 0600), 0);
  fs::create_hard_link(secret, mediaDir() + "/1-9.png");
  const ProcessResult result = run({"repair", "modes", "group"});
  EXPECT_EQ(result.status, 1) << result.err;
  EXPECT_NE(result.out.find("/1-9.png: mode is 0600, not 0660\n"), std::string::npos) << result.out;
  struct stat status = {};
  ASSERT_EQ(stat(secret.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  EXPECT_EQ(status.st_gid, getgid());
  // Once it is the store's alone it is mended.
  fs::remove(secret);
  EXPECT_EQ(run({"repair", "modes", "group"}).status, 0);
}

TEST_F(Repair, ADamagedDatabaseIsLeftAlone) {
  plant(TWO_FAULTS);
  std::string bytes = read_file(dbFile());
  bytes.resize(bytes.size() - 8192);
  write_file(dbFile(), bytes);
  expectFailure(run({"repair"}), "cannot mend " + dbFile() + ": ", "; nothing was changed");
  EXPECT_TRUE(read_file(dbFile()) == bytes);
  EXPECT_EQ(backups().size(), 0U);
}

TEST_F(Repair, ALockedStoreIsNotMended) {
  plant(TWO_FAULTS);
  RawConnection writer(dbFile());
  writer.exec("BEGIN IMMEDIATE;");
  EXPECT_EQ(run({"check"}).status, 1);
  expectFailure(run({"repair"}), "cannot write the message store",
                ": it is locked by another process");
  writer.exec("ROLLBACK;");
  EXPECT_EQ(rows("SELECT msgCnt FROM msg_conversation_table WHERE convId = 1;"), "5\n");
  EXPECT_EQ(backups().size(), 0U);
}

TEST_F(Repair, WhatTheStoreRefusesChangesNothing) {
  plant(std::string(TWO_FAULTS) +
        "UPDATE msg_conversation_table SET unreadCnt = 7; CREATE TRIGGER refusal BEFORE UPDATE OF "
        "unreadCnt ON msg_conversation_table BEGIN SELECT RAISE(ABORT, 'not today'); END;");
  expectFailure(run({"repair"}), "cannot mend " + dbFile() + ": not today");
  EXPECT_EQ(rows("SELECT msgCnt FROM msg_conversation_table WHERE convId = 1;"), "5\n");
  EXPECT_EQ(backups().size(), 0U);
}

TEST_F(Repair, AnotherUserChecksNothing) {
  AS_ROOT();
  useProgramForEveryone();
  ASSERT_EQ(chmod(folder().c_str(), 0755), 0);
  Child stranger([this] {
    if (!become_nobody()) return 99;
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"check"}, {"repair"}, {"backup", "/tmp/never"}}) {
      const ProcessResult result = run(command);
      if (result.status != 3 || result.err.find("permission denied\n") == std::string::npos) {
        return 1;
      }
    }
    return 0;
  });
  EXPECT_EQ(stranger.wait(), 0);
}

TEST_F(Repair, AClosedOutputIsAFailure) {
  const ProcessResult result = run_program(
      {"sh", "-c", "\"$0\" check >/dev/full", runnable({TOOL_PROGRAM}).back()}, environment());
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "msg-tarvel: cannot write the output\n");
}

TEST_F(Repair, BackupWritesAWholeNewFile) {
  const std::string path = folder() + "/backup.db";
  const ProcessResult result = run({"backup", path});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "written: " + path + "\n");
  struct stat status = {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  RawConnection backup(path);
  EXPECT_EQ(backup.value("PRAGMA integrity_check;"), "ok");
  EXPECT_EQ(backup.value("PRAGMA user_version;"), "4");
  EXPECT_EQ(backup.value("SELECT count(*) FROM msg_message_table;"), "2");
  const std::string second = folder() + "/second.db";
  EXPECT_EQ(json({"backup", second}), (nlohmann::json{{"path", dbFile()}, {"backup", second}}));
}

TEST_F(Repair, BackupReplacesNothing) {
  const std::string path = file("there", "mine");
  const std::string link = folder() + "/link";
  fs::create_symlink(folder() + "/nowhere", link);
  for (const std::string& target : {path, link, dbFile(), folder()}) {
    expectFailure(run({"backup", target}), "cannot write the backup " + target,
                  ": there is a file of that name");
  }
  EXPECT_EQ(read_file(path), "mine");
  EXPECT_FALSE(fs::exists(folder() + "/nowhere"));
  expectFailure(run({"backup", folder() + "/none/b.db"}),
                "cannot write the backup " + folder() + "/none/b.db", "No such file or directory");
}

TEST_F(Repair, BackupIsNotKeptFromItsFileByOneThatWasKilled) {
  const std::string target = folder() + "/b.db";
  // In a container the next process may have the same number.
  std::vector<std::string> command = {
      "sh", "-c", "touch \"$0.incomplete-$$\" \"$0.incomplete-$$-2\" && exec \"$@\"", target};
  for (const std::string& word : runnable({TOOL_PROGRAM, "backup", target})) {
    command.push_back(word);
  }
  const ProcessResult result = run_program(command, environment());
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(fs::exists(target));
  const auto files = std::distance(fs::directory_iterator(folder()), fs::directory_iterator());
  fs::remove(target);
  // A backup that fails leaves no file.
  fs::create_directory(target);
  expectFailure(run({"backup", target}), "cannot write the backup " + target,
                ": there is a file of that name");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder()), fs::directory_iterator()), files);
}

TEST_F(Repair, BackupGoesOnWhileOthersWrite) {
  plant(
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 2000) INSERT INTO "
      "temp_log (data1) SELECT hex(randomblob(1000)) FROM n;");
  Signal isWriting;
  Child writer([&] {
    RawConnection store(dbFile());
    store.exec("PRAGMA journal_mode = PERSIST; PRAGMA busy_timeout = 5000;");
    for (int i = 0;; ++i) {
      store.exec(
          "BEGIN IMMEDIATE; INSERT INTO respond_msg_table (status) VALUES (1); UPDATE "
          "mssi_info_table SET notiIdx = notiIdx + 1; COMMIT;");
      if (i == 0) isWriting.send();
      usleep(5000);
    }
    return 0;
  });
  isWriting.wait();
  const std::string path = folder() + "/backup.db";
  const ProcessResult result = run({"backup", path});
  EXPECT_EQ(result.status, 0) << result.err;
  RawConnection backup(path);
  EXPECT_EQ(backup.value("PRAGMA integrity_check;"), "ok");
  EXPECT_EQ(backup.value("SELECT (SELECT count(*) FROM respond_msg_table) = "
                         "(SELECT notiIdx FROM mssi_info_table);"),
            "1");
}

TEST_F(Repair, AFullDiskLeavesNoBackup) {
  AS_ROOT();
  const std::string small = folder() + "/small";
  fs::create_directory(small);
  if (mount("none", small.c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "nothing can be mounted here";
  }
  expectFailure(run({"backup", small + "/b.db"}), "cannot write the backup " + small + "/b.db",
                ": the disk is full");
  EXPECT_TRUE(fs::is_empty(small));
  umount(small.c_str());
}

}  // namespace
}  // namespace msg_tarvel
