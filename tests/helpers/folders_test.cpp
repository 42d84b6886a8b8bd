#include "helpers/folders.h"

#include <gtest/gtest.h>

#include <string>

namespace msg_tarvel::helpers {

namespace {

std::string chosen_by(bool (*isChosen)(int)) {
  std::string folders;
  for (int folder = -10; folder < 10010; ++folder) {
    if (isChosen(folder)) folders += std::to_string(folder) + " ";
  }
  return folders;
}

TEST(Folders, AreTwiceFive) {
  EXPECT_EQ(chosen_by(is_real_folder), "1 2 3 4 5 101 102 103 104 105 ");
}

TEST(Folders, HaveTwoInboxes) { EXPECT_EQ(chosen_by(is_inbox), "1 101 "); }

TEST(Folders, AreShownFromOneToAllButTheFifths) {
  const std::string shown = chosen_by(is_shown_folder);
  EXPECT_EQ(shown.rfind("1 2 3 4 6 7 ", 0), 0U) << shown;
  EXPECT_NE(shown.find(" 104 106 "), std::string::npos);
  EXPECT_EQ(shown.substr(shown.size() - 10), "9997 9998 ");
}

}  // namespace

}  // namespace msg_tarvel::helpers
