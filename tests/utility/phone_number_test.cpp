#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "support/setting_names.h"
#include "utility/utility_support.h"

namespace msg_tarvel::common_util {

namespace {

// ---- is_number ---------------------------------------------------------------------------------

TEST(IsNumber, TakesDigitsBehindAnOptionalPlus) {
  for (const std::string number : {"+", "+12", "0", "9", "0123456789", "+0", "00441234567890"}) {
    EXPECT_TRUE(is_number(number)) << number;
  }
  EXPECT_TRUE(logged({}));
}

TEST(IsNumber, RefusesEverythingElse) {
  for (const std::string number : {"1+2", "12a", " 12", "12 ", "++1", "+1+", "-1", "a", "1-2", "*1",
                                   "#", "/", ":", "1/", "1:", "\xd9\xa1\xd9\xa2"}) {
    EXPECT_FALSE(is_number(number)) << number;
  }
  EXPECT_FALSE(is_number(std::string("1\0", 2)));
  EXPECT_TRUE(logged({}));
}

TEST(IsNumber, RefusesAnEmptyTextWithALine) {
  EXPECT_FALSE(is_number(""));
  EXPECT_TRUE(logged({utility_error("is_number", "Invalid param: number is empty")}));
}

// ---- convert_number ----------------------------------------------------------------------------

TEST(ConvertNumber, CutsWhatStandsBeforeTheSubscriber) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      // International, with a plus or two zeros, codes of one, two and three digits.
      {"+821012345678", "1012345678"},
      {"+14155550100", "4155550100"},
      {"+8210", "10"},
      {"+79261234567", "9261234567"},
      {"+3531234567", "1234567"},
      {"00441234567890", "1234567890"},
      {"0014155550100", "4155550100"},
      {"003531234567", "1234567"},
      {"+8200", "00"},
      // Nothing behind the code.
      {"+1", ""},
      {"+20", ""},
      {"+353", ""},
      {"0082", ""},
      // National.
      {"01012345678", "1012345678"},
      {"0", ""},
      {"01", "1"},
      {"0+82", "+82"},
      {"0a", "a"},
      // Characters that are no digits stay.
      {"+82 10-1234", " 10-1234"},
      {"+1%s", "%s"},
  };
  for (const auto& [number, converted] : cases) EXPECT_EQ(convert_number(number), converted);
  EXPECT_TRUE(logged({}));
  EXPECT_EQ(platform().reads(MIN_MATCH), 0);
}

TEST(ConvertNumber, CutsOnlyThePrefixWhenNoCodeFollows) {
  const std::pair<std::string, std::string> cases[] = {
      {"+", ""}, {"00", ""}, {"+0123", "0123"}, {"000", "0"}, {"+a1", "a1"}, {"00%s%n", "%s%n"},
  };
  for (const auto& [number, converted] : cases) {
    EXPECT_EQ(convert_number(number), converted);
    EXPECT_TRUE(logged({utility_error(
        "_countryCodeLength", "The parameter(src:" + converted + ") has invalid character set")}));
  }
}

TEST(ConvertNumber, CutsTwoCharactersOfACodeWithoutSecondDigit) {
  EXPECT_EQ(convert_number("+2x345"), "345");
  EXPECT_TRUE(logged(
      {utility_error("_countryCodeLength", "The parameter(src:2x345) has invalid character set")}));
}

TEST(ConvertNumber, ThrowsWhenTheNumberEndsWithinItsCode) {
  for (const std::string number : {"+2", "+21", "+8", "+35", "+99", "002", "0021", "0035"}) {
    EXPECT_THROW(convert_number(number), std::out_of_range) << number;
  }
}

TEST(ConvertNumber, KeepsTheTrailingDigitsOfOtherNumbers) {
  const std::pair<std::string, std::string> cases[] = {
      {"12345", "12345"},         {"12345678", "12345678"},         {"123456789", "23456789"},
      {"1012345678", "12345678"}, {"A-very-long-name", "ong-name"}, {"%s%s%s%s%n", "%s%s%s%n"},
  };
  for (const auto& [number, converted] : cases) EXPECT_EQ(convert_number(number), converted);
  EXPECT_EQ(platform().reads(MIN_MATCH), 1);
}

TEST(ConvertNumber, KeepsAsManyDigitsAsTheSettingSays) {
  platform().set(MIN_MATCH, 4);
  EXPECT_EQ(convert_number("12345"), "2345");
  EXPECT_EQ(convert_number("2345"), "2345");
}

TEST(ConvertNumber, KeepsNineDigitsInKorea) {
  platform().set(COUNTRY, "KR");
  EXPECT_EQ(convert_number("1012345678"), "012345678");
}

// As a number of characters a negative one is larger than any text.
TEST(ConvertNumber, KeepsEveryDigitWhenTheSettingIsNegative) {
  platform().set(MIN_MATCH, -1);
  EXPECT_EQ(convert_number("1012345678"), "1012345678");
}

TEST(ConvertNumber, KeepsNothingWhileTheSettingCannotBeRead) {
  platform().makeUnreadable(MIN_MATCH);
  EXPECT_EQ(convert_number("12345678"), "");
  platform().set(MIN_MATCH, 8);
  EXPECT_EQ(convert_number("12345678"), "12345678");
}

}  // namespace

}  // namespace msg_tarvel::common_util
