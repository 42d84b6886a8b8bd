// Each test is a process of its own, so the answers that are kept for its life start out unknown.

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "msg-tarvel-common/utility/common_util_funcs.h"
#include "support/setting_names.h"
#include "utility/utility_support.h"

namespace msg_tarvel::common_util {

namespace {

ExpectedLine utility_warning(const std::string& function, const std::string& message) {
  return warn_line("common_util_funcs.cpp", function, message);
}

// ---- is_linkdial_supported ---------------------------------------------------------------------

struct SalesCode {
  const char* name;
  std::string code;
  bool supported;
};

std::ostream& operator<<(std::ostream& out, const SalesCode& test) { return out << test.name; }

class SalesCodeTest : public ::testing::TestWithParam<SalesCode> {};

TEST_P(SalesCodeTest, IsReadOnceAndItsAnswerKept) {
  const std::string& code = GetParam().code;
  platform().set(SALES_CODE, code);
  EXPECT_EQ(is_linkdial_supported(), GetParam().supported);
  EXPECT_TRUE(logged({utility_warning("is_linkdial_supported", "opCode: [" + code + "]")}));

  platform().set(SALES_CODE, GetParam().supported ? "NONE" : "ATT");
  EXPECT_EQ(is_linkdial_supported(), GetParam().supported);
  EXPECT_TRUE(logged({}));
  EXPECT_EQ(platform().reads(SALES_CODE), 1);
}

INSTANTIATE_TEST_SUITE_P(
    , SalesCodeTest,
    ::testing::Values(SalesCode{"Supported", "ATT", true}, SalesCode{"Longer", "ATT1", false},
                      SalesCode{"Shorter", "AT", false}, SalesCode{"LowerCase", "att", false},
                      SalesCode{"BlankBefore", " ATT", false}, SalesCode{"Another", "NONE", false},
                      SalesCode{"Empty", "", false}, SalesCode{"FormatString", "%s%n", false}),
    [](const auto& test) { return test.param.name; });

TEST(SalesCodeUnreadable, CountsAsNotSupportedForGood) {
  platform().makeUnreadable(SALES_CODE);
  EXPECT_FALSE(is_linkdial_supported());
  platform().set(SALES_CODE, "ATT");
  EXPECT_FALSE(is_linkdial_supported());
  EXPECT_EQ(platform().reads(SALES_CODE), 1);
  EXPECT_TRUE(logged({}));
}

// ---- is_wpc_mode -------------------------------------------------------------------------------

TEST(StandaloneMode, IsReadAnewEachTime) {
  int reads = 0;
  for (const int setting : {0, 1, 2, -1, 0}) {
    platform().set(STANDALONE, setting);
    EXPECT_EQ(is_wpc_mode(), setting != 0) << setting;
    EXPECT_TRUE(logged({info_line("common_util_funcs.cpp", "is_wpc_mode",
                                  "isWPCMode : [" + std::to_string(setting) + "]")}));
    EXPECT_EQ(platform().reads(STANDALONE), ++reads);
  }
}

TEST(StandaloneMode, IsOffWhileItCannotBeRead) {
  platform().makeUnreadable(STANDALONE);
  EXPECT_FALSE(is_wpc_mode());
  EXPECT_TRUE(logged({utility_error("is_wpc_mode", "vconf_get_int is failed[-7]")}));
  platform().set(STANDALONE, 1);
  EXPECT_TRUE(is_wpc_mode());
}

TEST(StandaloneMode, IsReadWithAPositiveResultToo) {
  platform().answer(STANDALONE, 1, 2);
  EXPECT_TRUE(is_wpc_mode());
  EXPECT_TRUE(logged({info_line("common_util_funcs.cpp", "is_wpc_mode", "isWPCMode : [2]")}));
}

TEST(StandaloneMode, IsOffWhenTheReadStoresNothing) {
  for (const int result : {0, 1}) {
    platform().answer(STANDALONE, result, std::nullopt);
    EXPECT_FALSE(is_wpc_mode());
    EXPECT_TRUE(logged({info_line("common_util_funcs.cpp", "is_wpc_mode", "isWPCMode : [0]")}));
  }
}

// ---- get_min_match_digit -----------------------------------------------------------------------

ExpectedLine digits_read(int digits) {
  return utility_warning("get_min_match_digit",
                         "numberMinMatchDigit: [" + std::to_string(digits) + "]");
}

struct MinMatch {
  const char* name;
  int setting;
  std::string country;
  int digits;
};

std::ostream& operator<<(std::ostream& out, const MinMatch& test) { return out << test.name; }

class MinMatchTest : public ::testing::TestWithParam<MinMatch> {};

TEST_P(MinMatchTest, IsReadOnceAndKept) {
  platform().set(MIN_MATCH, GetParam().setting);
  platform().set(COUNTRY, GetParam().country);
  EXPECT_EQ(get_min_match_digit(), GetParam().digits);

  std::vector<ExpectedLine> lines = {digits_read(GetParam().setting)};
  if (GetParam().country == "KR") {
    lines.push_back(
        utility_warning("get_min_match_digit", "Change numberMinMatchDigit for KR as [9]"));
  }
  EXPECT_TRUE(logged(lines));

  platform().set(MIN_MATCH, 5);
  platform().set(COUNTRY, GetParam().country == "KR" ? "US" : "KR");
  EXPECT_EQ(get_min_match_digit(), GetParam().digits);
  EXPECT_TRUE(logged({}));
  EXPECT_EQ(platform().reads(MIN_MATCH), 1);
  EXPECT_EQ(platform().reads(COUNTRY), 1);
}

INSTANTIATE_TEST_SUITE_P(
    , MinMatchTest,
    ::testing::Values(MinMatch{"Factory", 8, "US", 8}, MinMatch{"Setting", 7, "US", 7},
                      MinMatch{"Zero", 0, "US", 0}, MinMatch{"Korea", 7, "KR", 9},
                      MinMatch{"KoreaWithMore", 11, "KR", 9},
                      MinMatch{"KoreaInLowerCase", 7, "kr", 7},
                      MinMatch{"LongerThanKorea", 7, "KRX", 7},
                      MinMatch{"ShorterThanKorea", 7, "K", 7}, MinMatch{"NoCountry", 7, "", 7}),
    [](const auto& test) { return test.param.name; });

TEST(MinMatchUnreadable, CountryLeavesTheSettingAsItIsForGood) {
  platform().set(MIN_MATCH, 7);
  platform().makeUnreadable(COUNTRY);
  EXPECT_EQ(get_min_match_digit(), 7);
  EXPECT_TRUE(
      logged({digits_read(7), utility_error("get_min_match_digit", "Failed to get contry iso")}));

  platform().set(COUNTRY, "KR");
  EXPECT_EQ(get_min_match_digit(), 7);
  EXPECT_EQ(platform().reads(COUNTRY), 1);
}

TEST(MinMatchUnreadable, SettingGivesZeroUntilItCanBeRead) {
  platform().makeUnreadable(MIN_MATCH);
  for (int attempt = 1; attempt <= 2; ++attempt) {
    EXPECT_EQ(get_min_match_digit(), 0);
    EXPECT_TRUE(logged({utility_error("get_min_match_digit", "vconf_get_int failed(-7)")}));
    EXPECT_EQ(platform().reads(MIN_MATCH), attempt);
  }
  EXPECT_EQ(platform().reads(COUNTRY), 0);

  platform().set(MIN_MATCH, 7);
  EXPECT_EQ(get_min_match_digit(), 7);
  platform().makeUnreadable(MIN_MATCH);
  EXPECT_EQ(get_min_match_digit(), 7);
}

TEST(MinMatch, IsReadWithAPositiveResultToo) {
  platform().answer(MIN_MATCH, 1, 7);
  EXPECT_EQ(get_min_match_digit(), 7);
  EXPECT_TRUE(logged({digits_read(7)}));
  EXPECT_EQ(get_min_match_digit(), 7);
  EXPECT_EQ(platform().reads(MIN_MATCH), 1);
}

class MinMatchNotStored : public ::testing::TestWithParam<int> {};

TEST_P(MinMatchNotStored, IsEight) {
  platform().answer(MIN_MATCH, GetParam(), std::nullopt);
  EXPECT_EQ(get_min_match_digit(), 8);
  EXPECT_TRUE(logged({digits_read(8)}));
}

INSTANTIATE_TEST_SUITE_P(Results, MinMatchNotStored, ::testing::Values(0, 1));

TEST(MinMatch, IsLoggedBeforeTheCountryIsRead) {
  std::vector<int> countryReads;
  platform().onLog([&](const LogLine&) { countryReads.push_back(platform().reads(COUNTRY)); });
  platform().set(COUNTRY, "KR");
  EXPECT_EQ(get_min_match_digit(), 9);
  platform().onLog(nullptr);
  EXPECT_EQ(countryReads, (std::vector<int>{0, 1}));
}

TEST(DeviceSettings, ThreadsThatRaceOnTheFirstCallAgree) {
  platform().set(SALES_CODE, "ATT");
  platform().set(COUNTRY, "KR");
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] {
      EXPECT_TRUE(is_linkdial_supported());
      EXPECT_EQ(get_min_match_digit(), 9);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace

}  // namespace msg_tarvel::common_util
