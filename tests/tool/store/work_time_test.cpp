// How long the statements of a command may work, by the size of the store and by their number.

#include "store/work_time.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>

#include "exit_status.h"

namespace msg_tarvel::tool {
namespace {

/** Ticks come when the test says so, each of a tenth of a second. */
class WorkTime : public ::testing::Test {
 protected:
  WorkTime() { begin(); }

  static void begin() {
    limit_work_time();
    constexpr itimerval NEVER = {};
    itimerval often = {};
    setitimer(ITIMER_PROF, &NEVER, &often);
    EXPECT_EQ(often.it_interval.tv_sec, 0);
    EXPECT_EQ(often.it_interval.tv_usec, 100'000);
    begin_work();
  }

  /** Works until the time is up; how many ticks of work that took from the beginning. */
  int allTicks() {
    while (!is_work_time_up()) {
      raise(SIGPROF);
      ++_ticks;
    }
    return _ticks - 1;  // the last was one too many
  }

 private:
  int _ticks = 0;
};

TEST_F(WorkTime, GrowsWithTheStoreAndWithStatementsThatBringTheirOwn) {
  const int slowness = allTicks() / 60;
  EXPECT_EQ(allTicks(), 60 * slowness) << "six seconds";
  EXPECT_GE(slowness, 1);
  EXPECT_LE(slowness, 20);

  allow_work_time_for(20'039'999);
  EXPECT_EQ(allTicks(), 60 * slowness);
  allow_work_time_for(20'040'000);
  EXPECT_EQ(allTicks(), 61 * slowness);
  allow_work_time_for(21'000'000);
  EXPECT_EQ(allTicks(), 85 * slowness) << "two and a half more for a MB";
  allow_work_time_for(0);
  EXPECT_EQ(allTicks(), 85 * slowness) << "nothing is taken back";

  for (int i = 0; i < 1000; ++i) note_statement();
  EXPECT_EQ(allTicks(), 85 * slowness) << "of who looks";
  allow_work_time_for_each_statement();
  for (int i = 0; i < 9; ++i) note_statement();
  EXPECT_EQ(allTicks(), 85 * slowness);
  note_statement();
  EXPECT_EQ(allTicks(), 86 * slowness) << "ten milliseconds each";
}

TEST_F(WorkTime, BeginsAnewForAnotherCommand) {
  const int all = allTicks();
  EXPECT_TRUE(is_work_time_up());
  allow_work_time_for_each_statement();
  for (int i = 0; i < 10; ++i) note_statement();
  begin();
  EXPECT_FALSE(is_work_time_up());
  EXPECT_EQ(allTicks(), all + 1 + all) << "without what the statements before brought";
}

TEST_F(WorkTime, CountsFromTheBeginningOfAStatementToItsEnd) {
  end_work();
  for (int i = 0; i < 10'000; ++i) raise(SIGPROF);
  EXPECT_FALSE(is_work_time_up());
  {
    const Step step;
    EXPECT_GE(allTicks(), 60);
  }
  raise(SIGPROF);
  EXPECT_TRUE(is_work_time_up());
}

TEST_F(WorkTime, EndsTheProgramASecondAfterItIsUp) {
  EXPECT_EXIT(
      {
        allTicks();
        for (int i = 0; i < 9; ++i) raise(SIGPROF);
        end_work();
        for (int i = 0; i < 100; ++i) raise(SIGPROF);  // when no statement is at work
        begin_work();
        raise(SIGPROF);
      },
      ::testing::ExitedWithCode(FAILED),
      "^msg-tarvel: cannot use the message store: "
      "a query takes more work than a store of this size can need\n$");
  EXPECT_EXIT(
      {
        allTicks();
        for (int i = 0; i < 9; ++i) raise(SIGPROF);
        _exit(0);
      },
      ::testing::ExitedWithCode(0), "^$");
}

TEST(Slowness, IsOfTheTimeThatTheSameTakes) {
  EXPECT_EQ(slowness_of(0), 1);
  EXPECT_EQ(slowness_of(499'999), 1);
  EXPECT_EQ(slowness_of(500'000), 2);
  EXPECT_EQ(slowness_of(4'999'999), 19);
  EXPECT_EQ(slowness_of(5'000'000), 20);
  EXPECT_EQ(slowness_of(1'000'000'000), 20);
}

}  // namespace
}  // namespace msg_tarvel::tool
