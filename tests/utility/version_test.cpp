#include "msg-tarvel-common/version.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Version, OfHeadersAndLibraryIsThatOfTheBuild) {
  EXPECT_STREQ(msg_tarvel_version(), BUILD_VERSION);
  EXPECT_EQ(std::to_string(MSG_TARVEL_VERSION_MAJOR) + "." +
                std::to_string(MSG_TARVEL_VERSION_MINOR) + "." +
                std::to_string(MSG_TARVEL_VERSION_PATCH),
            BUILD_VERSION);
}

TEST(Version, IsAtLeastItselfAndWhatIsOlder) {
  constexpr int MAJOR = MSG_TARVEL_VERSION_MAJOR;
  constexpr int MINOR = MSG_TARVEL_VERSION_MINOR;
  constexpr int PATCH = MSG_TARVEL_VERSION_PATCH;
  EXPECT_TRUE(MSG_TARVEL_CHECK_VERSION(MAJOR, MINOR, PATCH));
  EXPECT_TRUE(MSG_TARVEL_CHECK_VERSION(MAJOR, MINOR - 1, PATCH + 1));
  EXPECT_TRUE(MSG_TARVEL_CHECK_VERSION(MAJOR - 1, MINOR + 1, PATCH + 1));
  EXPECT_FALSE(MSG_TARVEL_CHECK_VERSION(MAJOR, MINOR, PATCH + 1));
  EXPECT_FALSE(MSG_TARVEL_CHECK_VERSION(MAJOR, MINOR + 1, 0));
  EXPECT_FALSE(MSG_TARVEL_CHECK_VERSION(MAJOR + 1, 0, 0));
}

}  // namespace
