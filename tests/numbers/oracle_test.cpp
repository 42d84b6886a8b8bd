// What the page about numbers says to be right is what libphonenumber says.

#include <gtest/gtest.h>
#include <phonenumbers/phonenumber.pb.h>
#include <phonenumbers/phonenumberutil.h>

#include <string>

#include "numbers/pairs.h"

namespace msg_tarvel::numbers {
namespace {

using i18n::phonenumbers::PhoneNumber;
using i18n::phonenumbers::PhoneNumberUtil;

/** What is no number is one person's only when it is the same text. */
bool is_same_subscriber(const Pair& pair) {
  PhoneNumberUtil* const util = PhoneNumberUtil::GetInstance();
  PhoneNumber one;
  PhoneNumber other;
  if (util->Parse(pair.one, pair.country, &one) != PhoneNumberUtil::NO_PARSING_ERROR ||
      util->Parse(pair.other, pair.country, &other) != PhoneNumberUtil::NO_PARSING_ERROR) {
    return std::string(pair.one) == pair.other;
  }
  return util->IsNumberMatch(one, other) == PhoneNumberUtil::EXACT_MATCH;
}

TEST(NumberOracle, AgreesWithWhatThePageSaysToBeRight) {
  for (const Pair& pair : PAIRS) {
    EXPECT_EQ(is_same_subscriber(pair), pair.isSame)
        << pair.country << ": " << pair.one << ", " << pair.other;
  }
}

}  // namespace
}  // namespace msg_tarvel::numbers
