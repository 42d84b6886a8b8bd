// The examples do what they say, one after the other on one store, and the README shows the first
// of them as it stands.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

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

  std::string dataDir() const { return _folder.path() + "/data"; }
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

TEST_F(Examples, StoreAMessageAndFindItAgain) {
  const ProcessResult stored = run("own_store");
  EXPECT_EQ(stored.status, 0) << stored.err;
  EXPECT_EQ(stored.out, "stored in " + dbFile() + "\n");

  const ProcessResult listed = run("list_threads");
  EXPECT_EQ(listed.status, 0) << listed.err;
  EXPECT_EQ(listed.out, "1: 1 unread, Are you coming?\n");

  const ProcessResult unread = run("newest_unread", {"1", "2"});
  EXPECT_EQ(unread.status, 0) << unread.err;
  EXPECT_EQ(unread.out, "+14155550100: Are you coming?\n");

  const ProcessResult none = run("newest_unread", {"2"});
  EXPECT_EQ(none.status, 0) << none.err;
  EXPECT_EQ(none.out, "nothing unread\n");
}

mode_t mode_of(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST_F(Examples, MakeAStoreThatNobodyElseGetsInto) {
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
  EXPECT_EQ(reader.value("SELECT count(*) FROM msg_message_table;"), "1");
  const ProcessResult failed = run("own_store");
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.out, "failed in " + dbFile() + "\n");
  reader.exec("COMMIT;");
  EXPECT_EQ(reader.value("SELECT count(*) FROM msg_message_table;"), "1");
}

TEST(Readme, ShowsTheFirstExample) {
  const std::string program = text_of("examples/list_threads.cpp");
  ASSERT_FALSE(program.empty());
  EXPECT_NE(text_of("README.md").find("```cpp\n" + program + "```\n"), std::string::npos);
}

}  // namespace

}  // namespace msg_tarvel
