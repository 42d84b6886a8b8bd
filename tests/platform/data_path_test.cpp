#include <app_common.h>
#include <sys/stat.h>

#include <cstdlib>
#include <memory>

#include "platform/platform_test.h"

namespace msg_tarvel::platform_test {

struct Free {
  void operator()(char* text) const { std::free(text); }
};

std::string data_path() {
  const std::unique_ptr<char, Free> path(app_get_data_path());
  return path ? path.get() : "null";
}

class DataPath : public PlatformTest {};

TEST_F(DataPath, IsTheDirectoryOfTheVariable) {
  for (const std::string directory : {"/data/of/mine/", "/", "relative/"}) {
    setEnvironment("MSG_TARVEL_DATA_DIR", directory);
    EXPECT_EQ(data_path(), directory);
  }
}

TEST_F(DataPath, GetsTheSlashThatTheVariableLacks) {
  for (const std::string directory : {"/data/of/mine", "relative"}) {
    setEnvironment("MSG_TARVEL_DATA_DIR", directory);
    EXPECT_EQ(data_path(), directory + "/");
  }
}

TEST_F(DataPath, IsBelowTheUsersDataDirectoryWithoutTheVariable) {
  EXPECT_EQ(data_path(), folder() + "/msg-tarvel/");
  setEnvironment("MSG_TARVEL_DATA_DIR", "");
  EXPECT_EQ(data_path(), folder() + "/msg-tarvel/");
}

TEST_F(DataPath, IsBelowTheHomeDirectoryWithoutADataDirectory) {
  unsetenv("XDG_DATA_HOME");
  EXPECT_EQ(data_path(), folder() + "/.local/share/msg-tarvel/");
}

TEST_F(DataPath, IsInADirectoryThatANewAccountGets) {
  unsetenv("XDG_DATA_HOME");
  data_path();
  struct stat status = {};
  for (const std::string made : {"/.local", "/.local/share"}) {
    ASSERT_EQ(stat((folder() + made).c_str(), &status), 0) << made;
    EXPECT_EQ(status.st_mode, S_IFDIR | 0700U) << made;
  }
  // What is the library's to make is left to it.
  EXPECT_NE(stat((folder() + "/.local/share/msg-tarvel").c_str(), &status), 0);
}

TEST_F(DataPath, NothingIsMadeForTheVariable) {
  setEnvironment("MSG_TARVEL_DATA_DIR", folder() + "/made/by/nobody");
  data_path();
  struct stat status = {};
  EXPECT_NE(stat((folder() + "/made").c_str(), &status), 0);
}

TEST_F(DataPath, IsToldAlsoWhereNothingCanBeMade) {
  setEnvironment("XDG_DATA_HOME", "/proc/nothing/here");
  EXPECT_EQ(data_path(), "/proc/nothing/here/msg-tarvel/");
}

TEST_F(DataPath, IsFoundWithoutHome) {
  const auto result = run_platform({"data-path"}, {"HOME", "XDG_DATA_HOME"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, home_of_user() + "/.local/share/msg-tarvel/\n");
  EXPECT_EQ(result.err, "");
}

}  // namespace msg_tarvel::platform_test
