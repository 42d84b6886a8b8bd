#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <string>

#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "support/store.h"
#include "support/text_file.h"
#include "utility/utility_support.h"

namespace msg_tarvel::common_util {

namespace {

// ---- create_file_by_rawdata --------------------------------------------------------------------

class CreateFile : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return _folder.path() + "/" + name; }

  static bool create(const std::string& path, const std::string& bytes) {
    return create_file_by_rawdata(path.c_str(), bytes.data(),
                                  static_cast<unsigned int>(bytes.size()));
  }

 private:
  TemporaryFolder _folder;
};

TEST_F(CreateFile, WritesEveryByte) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  EXPECT_TRUE(create(path("file"), bytes));
  EXPECT_EQ(read_file(path("file")), bytes);
  EXPECT_TRUE(logged({}));
}

TEST_F(CreateFile, WritesOnlyTheGivenNumberOfBytes) {
  EXPECT_TRUE(create_file_by_rawdata(path("file").c_str(), "12345", 3));
  EXPECT_EQ(read_file(path("file")), "123");
}

TEST_F(CreateFile, TruncatesAFileThatIsThere) {
  write_file(path("file"), "something longer");
  EXPECT_TRUE(create(path("file"), "new"));
  EXPECT_EQ(read_file(path("file")), "new");
}

TEST_F(CreateFile, RefusesNothingToWriteSilently) {
  const std::string file = path("file");
  EXPECT_FALSE(create_file_by_rawdata(nullptr, "1", 1));
  EXPECT_FALSE(create_file_by_rawdata(file.c_str(), nullptr, 1));
  EXPECT_FALSE(create_file_by_rawdata(file.c_str(), "1", 0));
  EXPECT_FALSE(std::filesystem::exists(file));

  write_file(file, "kept");
  EXPECT_FALSE(create_file_by_rawdata(file.c_str(), "1", 0));
  EXPECT_FALSE(create_file_by_rawdata(file.c_str(), nullptr, 1));
  EXPECT_EQ(read_file(file), "kept");
  EXPECT_TRUE(logged({}));
}

TEST_F(CreateFile, LogsWhyAFileCannotBeOpened) {
  EXPECT_FALSE(create(path("missing/file"), "1"));
  EXPECT_TRUE(logged(
      {utility_error("create_file_by_rawdata", "fopen() failed: (No such file or directory)")}));
  EXPECT_FALSE(std::filesystem::exists(path("missing")));

  EXPECT_FALSE(create(path(""), "1"));
  EXPECT_TRUE(
      logged({utility_error("create_file_by_rawdata", "fopen() failed: (Is a directory)")}));
}

TEST_F(CreateFile, DoesNotNoticeThatTheBytesFindNoRoom) {
  EXPECT_TRUE(create("/dev/full", "1"));
  EXPECT_TRUE(logged({}));
}

// ---- to_comma_separated_string -----------------------------------------------------------------

TEST(CommaSeparated, JoinsTheValuesInTheirOrder) {
  using Limits = std::numeric_limits<int>;
  EXPECT_EQ(to_comma_separated_string({}), "");
  EXPECT_EQ(to_comma_separated_string({5}), "5");
  EXPECT_EQ(to_comma_separated_string({3, -1, 20}), "3,-1,20");
  EXPECT_EQ(to_comma_separated_string({0, 0}), "0,0");
  EXPECT_EQ(to_comma_separated_string({Limits::max(), Limits::min()}), "2147483647,-2147483648");
}

}  // namespace

}  // namespace msg_tarvel::common_util
