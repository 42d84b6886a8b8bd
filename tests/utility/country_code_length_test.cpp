#include "utility/common_util_funcs_internal.h"

#include <gtest/gtest.h>

#include <string>

#include "utility/utility_support.h"

namespace msg_tarvel::common_util {

namespace {

/** Length of the calling code by its first digit (the row) and its second (the column). */
constexpr const char* LENGTHS[10] = {
    // 0123456789
    "0000000000",  // 0: no code
    "1111111111",  // 1
    "2333333233",  // 2
    "2222232332",  // 3
    "2232222222",  // 4
    "3222222223",  // 5
    "2222222333",  // 6
    "1111111111",  // 7
    "3223232333",  // 8
    "2222223323",  // 9
};

ExpectedLine invalid(const std::string& src) {
  return utility_error("_countryCodeLength",
                       "The parameter(src:" + src + ") has invalid character set");
}

TEST(CallingCode, LengthFollowsFromTheFirstTwoDigits) {
  for (int first = 0; first <= 9; ++first) {
    for (int second = 0; second <= 9; ++second) {
      const std::string prefix = std::to_string(first) + std::to_string(second);
      for (const std::string& number : {prefix, prefix + "0123456789", prefix + "x"}) {
        EXPECT_EQ(_countryCodeLength(number.c_str()), LENGTHS[first][second] - '0') << number;
        EXPECT_TRUE(logged(first == 0 ? Lines{invalid(number)} : Lines{}));
      }
    }
  }
}

TEST(CallingCode, OneDigitCodesNeedNoSecondDigit) {
  for (const std::string number : {"1", "7", "1x", "7+", "1 ", "7\xc3\xa9"}) {
    EXPECT_EQ(_countryCodeLength(number.c_str()), 1) << number;
  }
  EXPECT_TRUE(logged({}));
}

TEST(CallingCode, OtherSecondCharacterCountsAsTwoDigitsAndIsLogged) {
  for (const char first : {'2', '3', '4', '5', '6', '8', '9'}) {
    // "/" and ":" stand next to the digits in the character set.
    for (const std::string rest : {"", "a", "+1", " 1", "/1", ":1", "\xc3\xa9", "%s%n"}) {
      const std::string number = first + rest;
      EXPECT_EQ(_countryCodeLength(number.c_str()), 2) << number;
      EXPECT_TRUE(logged({invalid(number)}));
    }
  }
}

TEST(CallingCode, OtherFirstCharacterBeginsNoCodeAndIsLogged) {
  for (const std::string number : {"", "0", "a1", "+1", " 1", "/1", ":1", "\xc3\xa9", "%s%n"}) {
    EXPECT_EQ(_countryCodeLength(number.c_str()), 0) << number;
    EXPECT_TRUE(logged({invalid(number)}));
  }
}

}  // namespace

}  // namespace msg_tarvel::common_util
