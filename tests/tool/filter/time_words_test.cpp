#include "filter/time_words.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "exit_status.h"

namespace msg_tarvel::tool {
namespace {

constexpr long long MINUTE = 60;
constexpr long long HOUR = 60 * MINUTE;
constexpr long long DAY = 24 * HOUR;

/** Noon of 2026-03-29, the day on which clocks in Berlin go from 2 to 3. */
constexpr long long NOON = 1774785600;

class TimeWords : public ::testing::Test {
 protected:
  static void use(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  TimeWords() { use("UTC0"); }

  static void expectSpan(const std::string& words, long long begin, long long end) {
    const TimeSpan span = time_span_of(words, NOON);
    EXPECT_EQ(span.begin, begin * 1000) << words;
    EXPECT_EQ(span.end, end * 1000) << words;
  }
};

TEST_F(TimeWords, NameDays) {
  constexpr long long MIDNIGHT = NOON - 12 * HOUR;
  expectSpan("2026-03-29", MIDNIGHT, MIDNIGHT + DAY);
  expectSpan("today", MIDNIGHT, MIDNIGHT + DAY);
  expectSpan("yesterday", MIDNIGHT - DAY, MIDNIGHT);
  expectSpan("2038-02-01", 2148595200, 2148595200 + DAY);
  expectSpan("1970-01-01", 0, DAY);
}

TEST_F(TimeWords, NameMinutesAndSeconds) {
  expectSpan("2026-03-29T12:00", NOON, NOON + MINUTE);
  expectSpan("2026-03-29 12:00", NOON, NOON + MINUTE);
  expectSpan("2026-03-29T12:00:30", NOON + 30, NOON + 31);
  expectSpan("2026-03-29 12:00:30", NOON + 30, NOON + 31);
}

TEST_F(TimeWords, NameMomentsAgo) {
  expectSpan("30m", NOON - 30 * MINUTE, NOON - 30 * MINUTE);
  expectSpan("12h", NOON - 12 * HOUR, NOON - 12 * HOUR);
  expectSpan("7d", NOON - 7 * DAY, NOON - 7 * DAY);
  expectSpan("2w", NOON - 14 * DAY, NOON - 14 * DAY);
}

TEST_F(TimeWords, TakeTimesAsTheyAreStored) {
  const TimeSpan span = time_span_of("1774785600123", NOON);
  EXPECT_EQ(span.begin, 1774785600123);
  EXPECT_EQ(span.end, 1774785600124);
}

TEST_F(TimeWords, AreLocal) {
  use("CET-1CEST,M3.5.0,M10.5.0/3");
  constexpr long long MIDNIGHT = NOON - 13 * HOUR;
  expectSpan("2026-03-29", MIDNIGHT, MIDNIGHT + 23 * HOUR);
  expectSpan("today", MIDNIGHT, MIDNIGHT + 23 * HOUR);
  expectSpan("yesterday", MIDNIGHT - DAY, MIDNIGHT);
  expectSpan("2026-03-29T14:00", NOON, NOON + MINUTE);
}

TEST_F(TimeWords, AreRefusedWhereTheyNameNone) {
  for (const char* words : {"",
                            "soon",
                            "Today",
                            "2026-02-29",
                            "2026-13-01",
                            "2026-04-31",
                            "2026-3",
                            "03/01/2026",
                            "2026-03-01T",
                            "2026-03-01T25:00",
                            "2026-03-01x",
                            "d",
                            "7",
                            "7y",
                            "-7d",
                            "7 d",
                            "1000000d",
                            "123456789",
                            "99999999999999999999",
                            "7d "}) {
    EXPECT_THROW(time_span_of(words, NOON), UsageError) << words;
  }
}

}  // namespace
}  // namespace msg_tarvel::tool
