// The people of generated stores: however few digits a device compares, nobody is taken for
// another.

#include "generate/people.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace msg_tarvel::tool {
namespace {

std::string ending(const std::string& number, std::size_t digits) {
  return number.substr(number.size() - digits);
}

TEST(People, NoTwoEndInTheSameSixDigits) {
  std::set<std::string> endings;
  std::set<std::string> fives;
  for (std::size_t person = 0; person < PEOPLE; ++person) {
    const std::string number = number_of_person(person);
    ASSERT_GE(number.size(), 10U) << person;
    ASSERT_TRUE(endings.insert(ending(number, 6)).second) << number;
    fives.insert(ending(number, 5));
  }
  for (const std::string number : OWN_NUMBERS) {
    EXPECT_TRUE(endings.insert(ending(number, 6)).second) << number;
  }
  for (std::size_t service = 0; service < 10000; ++service) {
    const std::string code = short_code(service);
    ASSERT_TRUE(code.size() == 5 || code.size() == 6) << code;
    ASSERT_TRUE(endings.insert(code).second) << code;
    ASSERT_TRUE(fives.insert(ending(code, 5)).second) << code;
  }
}

TEST(People, AreOfTheRangesThatAreKeptForFilms) {
  EXPECT_EQ(number_of_person(0), "+14155550110");
  EXPECT_EQ(number_of_person(4), "4155550114");
  EXPECT_EQ(number_of_person(89), "+14155550199");
  EXPECT_EQ(number_of_person(90), "+447700900100");
  EXPECT_EQ(number_of_person(990), "+442079460100");
  EXPECT_EQ(number_of_person(1894), "0639980004");
  EXPECT_EQ(number_of_person(PEOPLE - 1), "+33536498109");
}

TEST(People, SendersThatAreNoneHaveNamesOfTheirOwn) {
  std::set<std::string> names;
  for (std::size_t i = 0; i < 2000; ++i) {
    ASSERT_TRUE(names.insert(service_name(i)).second) << service_name(i);
    ASSERT_TRUE(names.insert(mail_address(i)).second) << mail_address(i);
  }
}

}  // namespace
}  // namespace msg_tarvel::tool
