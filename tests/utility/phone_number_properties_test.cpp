// Phone numbers with arbitrary digits, against the calling codes as they are assigned.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "msg-tarvel-common/utility/common_util_funcs.h"

namespace msg_tarvel::common_util {

namespace {

/** The country codes that ITU-T E.164 has assigned to countries, areas and global services. */
std::vector<std::string> assigned_codes() {
  std::istringstream codes(
      "1 7 "
      "20 211 212 213 216 218 220 221 222 223 224 225 226 227 228 229 230 231 232 233 234 235 236 "
      "237 238 239 240 241 242 243 244 245 246 247 248 249 250 251 252 253 254 255 256 257 258 260 "
      "261 262 263 264 265 266 267 268 269 27 290 291 297 298 299 "
      "30 31 32 33 34 350 351 352 353 354 355 356 357 358 359 36 370 371 372 373 374 375 376 377 "
      "378 379 380 381 382 383 385 386 387 389 39 "
      "40 41 420 421 423 43 44 45 46 47 48 49 "
      "500 501 502 503 504 505 506 507 508 509 51 52 53 54 55 56 57 58 590 591 592 593 594 595 596 "
      "597 598 599 "
      "60 61 62 63 64 65 66 670 672 673 674 675 676 677 678 679 680 681 682 683 685 686 687 688 "
      "689 690 691 692 "
      "800 808 81 82 84 850 852 853 855 856 86 870 878 880 881 882 883 886 888 "
      "90 91 92 93 94 95 960 961 962 963 964 965 966 967 968 970 971 972 973 974 975 976 977 979 "
      "98 "
      "992 993 994 995 996 998");
  return {std::istream_iterator<std::string>(codes), std::istream_iterator<std::string>()};
}

rc::Gen<std::string> text_of(const std::string& characters) {
  return rc::gen::container<std::string>(rc::gen::elementOf(characters));
}

const std::string DIGITS = "0123456789";

TEST(PhoneNumberProperties, EveryAssignedCallingCodeIsCut) {
  for (const std::string& code : assigned_codes()) {
    EXPECT_EQ(convert_number("+" + code + "5550100"), "5550100") << code;
    EXPECT_EQ(convert_number("00" + code + "5550100"), "5550100") << code;
  }
}

TEST(PhoneNumberProperties, WhatFollowsACallingCodeIsKept) {
  const std::vector<std::string> codes = assigned_codes();
  EXPECT_TRUE(rc::check([&codes] {
    const std::string code = *rc::gen::elementOf(codes);
    const std::string rest = *text_of(DIGITS);
    RC_ASSERT(convert_number("+" + code + rest) == rest);
    RC_ASSERT(convert_number("00" + code + rest) == rest);
  }));
}

TEST(PhoneNumberProperties, WhatFollowsATrunkZeroIsKept) {
  EXPECT_TRUE(rc::check([] {
    const std::string rest = *rc::gen::suchThat(
        text_of(DIGITS), [](const std::string& text) { return text.substr(0, 1) != "0"; });
    RC_ASSERT(convert_number("0" + rest) == rest);
  }));
}

TEST(PhoneNumberProperties, OfOtherNumbersTheLastEightDigitsAreKept) {
  EXPECT_TRUE(rc::check([] {
    const std::string number = *rc::gen::elementOf(std::string("123456789")) + *text_of(DIGITS);
    const std::string expected = number.size() > 8 ? number.substr(number.size() - 8) : number;
    RC_ASSERT(convert_number(number) == expected);
  }));
}

TEST(PhoneNumberProperties, IsNumberAgreesWithARegularExpression) {
  const std::regex number("[+0-9][0-9]*");
  const auto agrees = [&number](const std::string& text) {
    return is_number(text) == std::regex_match(text, number);
  };
  EXPECT_TRUE(rc::check("texts that are nearly numbers",
                        [&agrees] { RC_ASSERT(agrees(*text_of(DIGITS + DIGITS + "+"))); }));
  EXPECT_TRUE(rc::check("any texts", [&agrees](const std::string& text) {
    RC_ASSERT(agrees(text));
    RC_ASSERT(agrees("+1" + text));
  }));
}

}  // namespace

}  // namespace msg_tarvel::common_util
