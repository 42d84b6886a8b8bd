#include "msg-tarvel-common/db/db_error.h"

#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <string>

namespace msg_tarvel::db {

namespace {

TEST(ErrorText, IsPlainWordsForEveryCode) {
  const struct {
    int code;
    const char* text;
  } codes[] = {
      {0, "success"},
      {-1, "a directory or file of the message store cannot be made"},
      {-3, "an argument is out of range"},
      {-1000, "there is no such folder to list messages of"},
      {-1001, "this user may not read the message store"},
      {-1002, "the message store cannot be opened"},
      {-1003, "the message store cannot be closed, a statement may still be in use"},
      {-1004, "a statement cannot be compiled, or the message store cannot be opened for it"},
      {-1005, "a statement failed while it ran"},
      {-1006, "a statement cannot be carried out"},
      {-1101, "nothing was found"},
      {-1102, "a row is there to be read"},
  };
  std::set<std::string> texts;
  for (const auto& [code, text] : codes) {
    EXPECT_STREQ(db_error_text(code), text) << code;
    texts.insert(db_error_text(code));
  }
  EXPECT_EQ(texts.size(), std::size(codes));
}

TEST(ErrorText, SaysWhatIsNoCode) {
  for (const int number : {1, -2, -4, -999, -1007, -1100, -1103, INT_MAX, INT_MIN}) {
    EXPECT_STREQ(db_error_text(number), "this is no result code") << number;
  }
}

}  // namespace

}  // namespace msg_tarvel::db
