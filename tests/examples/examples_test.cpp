// The examples do what they say, one after the other on one store, and the README shows the first
// of them as it stands.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "support/processes.h"

namespace {

using test_support::ProcessResult;

class Examples : public ::testing::Test {
 protected:
  Examples() {
    std::string path = (std::filesystem::temp_directory_path() / "msg-tarvel-test-XXXXXX").string();
    _folder = mkdtemp(path.data());
  }
  ~Examples() override { std::filesystem::remove_all(_folder); }

  ProcessResult run(const std::string& example, const std::vector<std::string>& arguments = {}) {
    std::vector<std::string> command = {std::string(EXAMPLES_DIR) + "/example-" + example};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return test_support::run_program(command, {"MSG_TARVEL_DATA_DIR=" + _folder});
  }

  std::string _folder;
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
  EXPECT_EQ(stored.out, "stored in " + _folder + "/dbspace/.msg-tarvel-server.db\n");

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

TEST(Readme, ShowsTheFirstExample) {
  const std::string program = text_of("examples/list_threads.cpp");
  ASSERT_FALSE(program.empty());
  EXPECT_NE(text_of("README.md").find("```cpp\n" + program + "```\n"), std::string::npos);
}

}  // namespace
