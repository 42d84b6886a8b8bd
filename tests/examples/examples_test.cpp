// The examples do what they say, one after the other on one store, and the README shows the first
// of them as it stands.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "support/as_root.h"
#include "support/processes.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

class Examples : public ::testing::Test {
 protected:
  Examples() { umask(022); }

  ProcessResult run(const std::string& example, const std::vector<std::string>& arguments = {}) {
    std::vector<std::string> command = {std::string(EXAMPLES_DIR) + "/example-" + example};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run_program(command, {"MSG_TARVEL_DATA_DIR=" + dataDir()});
  }

  const std::string& folder() const { return _folder.path(); }
  std::string dataDir() const { return folder() + "/data"; }
  std::string dbDir() const { return dataDir() + "/dbspace"; }
  std::string dbFile() const { return dbDir() + "/.msg-tarvel-server.db"; }

 private:
  TemporaryFolder _folder;
};

std::string text_of(const std::string& path) {
  std::ifstream file(std::string(SOURCE_DIR) + "/" + path);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST_F(Examples, StoreMessagesAndFindThemAgain) {
  const ProcessResult stored = run("own_store");
  EXPECT_EQ(stored.status, 0) << stored.err;
  // Two threads store at once, in whatever order.
  const std::string inOrder =
      "received: message 1 in conversation 1\nsent: message 2 in conversation 1\n";
  const std::string inReverse =
      "received: message 2 in conversation 1\nsent: message 1 in conversation 1\n";
  const std::string end = "stored in " + dbFile() + "\n";
  EXPECT_TRUE(stored.out == inOrder + end || stored.out == inReverse + end) << stored.out;

  const ProcessResult listed = run("list_threads");
  EXPECT_EQ(listed.status, 0) << listed.err;
  EXPECT_EQ(listed.out, "1: 1 unread, On my way\n");

  const ProcessResult unread = run("newest_unread", {"1", "2"});
  EXPECT_EQ(unread.status, 0) << unread.err;
  EXPECT_EQ(unread.out, "+14155550100: Are you coming?\n");

  const ProcessResult none = run("newest_unread", {"2"});
  EXPECT_EQ(none.status, 0) << none.err;
  EXPECT_EQ(none.out, "nothing unread\n");
}

std::string last_line(const std::string& text) {
  const std::string lines = text.substr(0, text.size() - 1);
  return lines.substr(lines.rfind('\n') + 1);
}

mode_t mode_of(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST_F(Examples, MakeAStoreThatNobodyElseGetsInto) {
  AS_ROOT();
  EXPECT_FALSE(stranger_gets_in(dbFile(), [this] {
    for (int store = 0; store < 40; ++store) {
      std::filesystem::remove_all(dataDir());
      EXPECT_EQ(run("own_store").status, 0);
    }
  }));
  EXPECT_EQ(mode_of(dataDir()), 0755U);
  EXPECT_EQ(mode_of(dbDir()), 0755U);
  EXPECT_EQ(mode_of(dbFile()), 0660U);
}

// A reader's lock is in the way of the commit of the missing table.
TEST_F(Examples, SayWhenTheStoreIsNotWhole) {
  ASSERT_EQ(run("own_store").status, 0);
  RawConnection reader(dbFile());
  reader.exec("DROP TABLE msg_sharedial_meta_table; BEGIN;");
  EXPECT_EQ(reader.value("SELECT count(*) FROM msg_message_table;"), "2");
  const ProcessResult failed = run("own_store");
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.out, "");
  EXPECT_EQ(last_line(failed.err),
            "cannot create the message store " + dbFile() + ": a statement cannot be carried out");
  reader.exec("COMMIT;");
  EXPECT_EQ(reader.value("SELECT count(*) FROM msg_message_table;"), "2");
}

/** What the owner's example leaves behind: one conversation, whatever the number of its runs. */
class OwnerExample : public Examples {
 protected:
  void expectMessagesOf(int runs) {
    RawConnection store(dbFile());
    const std::string count = std::to_string(runs);
    EXPECT_EQ(store.column("SELECT convId || ' ' || addressType || ' ' || recipientType || ' ' || "
                           "address FROM msg_address_table;"),
              std::vector<std::string>{"1 1 1 +14155550100"});
    EXPECT_EQ(store.column(MESSAGES),
              (std::vector<std::string>{"1 sms 1 1 16 0 Are you coming? Are you coming? " + count,
                                        "1 sms 1 2 1 1 On my way On my way " + count}));
    EXPECT_EQ(store.value("SELECT count(DISTINCT displayTime) FROM msg_message_table WHERE "
                          "abs(displayTime - strftime('%s', 'now') * 1000) < 3600000;"),
              store.value("SELECT count(DISTINCT displayTime) FROM msg_message_table;"));
    EXPECT_EQ(store.column("SELECT convId || ' ' || msgCnt || ' ' || unreadCnt FROM "
                           "msg_conversation_table;"),
              std::vector<std::string>{"1 " + std::to_string(2 * runs) + " " + count});
    EXPECT_EQ(store.column("SELECT C.convId FROM msg_conversation_table C, msg_message_table M ON "
                           "M.msgId = C.lastMsgId WHERE C.msgType = M.msgType AND C.storageFolder "
                           "= M.storageFolder AND C.displayTime = M.displayTime AND C.mainText = "
                           "M.mainText AND C.msgText = M.textMessage AND M.msgId = (SELECT msgId "
                           "FROM msg_message_table ORDER BY displayTime DESC, msgId DESC);"),
              std::vector<std::string>{"1"});
    EXPECT_EQ(store.value("PRAGMA integrity_check;"), "ok");
  }

  std::string journalFile() const { return dbFile() + "-journal"; }

 private:
  static constexpr const char* MESSAGES =
      "SELECT convId || ' ' || msgType || ' ' || simIndex || ' ' || storageFolder || ' ' || "
      "networkStatus || ' ' || read || ' ' || mainText || ' ' || textMessage || ' ' || count(*) "
      "FROM msg_message_table GROUP BY storageFolder ORDER BY storageFolder;";
};

TEST_F(OwnerExample, AddsToTheConversationThatIsThere) {
  ASSERT_EQ(run("own_store").status, 0);
  expectMessagesOf(1);
  struct stat first = {};
  ASSERT_EQ(stat(journalFile().c_str(), &first), 0);

  ASSERT_EQ(run("own_store").status, 0);
  expectMessagesOf(2);
  struct stat second = {};
  ASSERT_EQ(stat(journalFile().c_str(), &second), 0);
  EXPECT_EQ(second.st_ino, first.st_ino);
  EXPECT_EQ(second.st_mode & 07777, 0660U);
  EXPECT_EQ(run("list_threads").out, "1: 2 unread, On my way\n");
}

constexpr uid_t OWNER = 1;
constexpr uid_t OTHER = 2;
constexpr gid_t STORE_GROUP = 5000;

/** The example run by ordinary users, from where they may go: the build may be in a closed folder.
 */
class OwnerExampleOfTwoUsers : public OwnerExample {
 protected:
  OwnerExampleOfTwoUsers() {
    if (getuid() != 0) return;  // the test is repeated as root
    EXPECT_EQ(chown(folder().c_str(), OWNER, OWNER), 0);
    namespace fs = std::filesystem;
    const fs::path programs = _programs.path();
    for (const char* name : {"bin", "lib"}) fs::create_directory(programs / name);
    fs::copy(EXAMPLES_DIR "/example-own_store", programs / "bin");
    for (const auto& file : fs::directory_iterator(LIBRARIES_DIR)) {
      if (file.path().filename().string().find(".so") == std::string::npos) continue;
      fs::copy(file, programs / "lib" / file.path().filename(), fs::copy_options::copy_symlinks);
    }
  }

  /** Runs the example `times` times as the user. */
  int runAs(uid_t user, const std::vector<gid_t>& groups, int times = 1) {
    if (!become_user(user, groups)) return 99;
    for (int i = 0; i < times; ++i) {
      const ProcessResult result = run_program({_programs.path() + "/bin/example-own_store"},
                                               {"MSG_TARVEL_DATA_DIR=" + dataDir()});
      if (result.status == 0) continue;
      std::cerr << "user " << user << ": " << result.err;
      return result.status;
    }
    return 0;
  }

  int runOnceAs(uid_t user, const std::vector<gid_t>& groups) {
    return Child([&] { return runAs(user, groups); }).wait();
  }

  void expectJournalOf(ino_t inode) {
    struct stat journal = {};
    ASSERT_EQ(stat(journalFile().c_str(), &journal), 0);
    EXPECT_EQ(journal.st_ino, inode);
    EXPECT_EQ(journal.st_uid, OWNER);
    EXPECT_EQ(journal.st_gid, STORE_GROUP);
    EXPECT_EQ(journal.st_mode & 07777, 0660U);
  }

 private:
  TemporaryFolder _programs;
};

TEST_F(OwnerExampleOfTwoUsers, WritesToOneStore) {
  AS_ROOT();
  ASSERT_EQ(runOnceAs(OWNER, {STORE_GROUP}), 0);
  struct stat journal = {};
  ASSERT_EQ(stat(journalFile().c_str(), &journal), 0);
  EXPECT_EQ(runOnceAs(OTHER, {STORE_GROUP}), 0);
  EXPECT_EQ(runOnceAs(OWNER, {STORE_GROUP}), 0);
  EXPECT_EQ(runOnceAs(OTHER, {STORE_GROUP}), 0);
  expectMessagesOf(4);
  expectJournalOf(journal.st_ino);

  Child owner([this] { return runAs(OWNER, {STORE_GROUP}, 3); });
  Child other([this] { return runAs(OTHER, {STORE_GROUP}, 3); });
  EXPECT_EQ(owner.wait(), 0);
  EXPECT_EQ(other.wait(), 0);
  expectMessagesOf(10);
  expectJournalOf(journal.st_ino);
}

TEST_F(OwnerExampleOfTwoUsers, LetsNobodyInWhoIsNotOfTheGroup) {
  AS_ROOT();
  ASSERT_EQ(runOnceAs(OWNER, {STORE_GROUP}), 0);
  EXPECT_EQ(runOnceAs(OTHER, {}), 1);
  expectMessagesOf(1);
}

TEST(Readme, ShowsTheFirstExample) {
  const std::string program = text_of("examples/list_threads.cpp");
  ASSERT_FALSE(program.empty());
  EXPECT_NE(text_of("README.md").find("```cpp\n" + program + "```\n"), std::string::npos);
}

}  // namespace

}  // namespace msg_tarvel
