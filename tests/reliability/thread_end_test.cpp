// Threads that begin, use the store and end at any moment, also that of the process's end.
// ThreadSanitizer runs these too, which is why no test here forks without a program to become.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "reliability/extent.h"
#include "reliability/ways_to_use.h"
#include "support/fake_platform.h"
#include "support/processes.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

class ThreadEnds : public StoreTest {
 protected:
  ThreadEnds() {
    insert("msg_conversation_table", {{"convId", "1"}, {"msgCnt", "1"}});
    insert("msg_message_table", {{"convId", "1"}, {"storageFolder", "1"}});
  }

  void endWith(const std::string& way, const std::string& threads) {
    const ProcessResult result =
        run_program({ENDING_PROGRAM, dataDir(), way, threads}, {"TSAN_OPTIONS=atexit_sleep_ms=50"});
    ASSERT_EQ(result.status, 0) << way << "\n" << result.err;
    ASSERT_EQ(raw().value("PRAGMA integrity_check;"), "ok");
  }
};

TEST_F(ThreadEnds, RaceWithBeginningsAndUses) {
  const int rounds = is_whole_run() ? 400 : 12;
  std::atomic<int> failures{0};
  for (int round = 0; round < rounds; ++round) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
      // One writer at a time: none has to wait for a lock.
      const Use use = i == 0 ? Use::WRITING : READING_USES[(round + i) % 3];
      threads.emplace_back([use, &failures] { failures += use_store(use) ? 0 : 1; });
      // Half of them end while others begin.
      if (i % 2 == 1) {
        threads.front().join();
        threads.erase(threads.begin());
      }
    }
    failures += read_once() ? 0 : 1;
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_EQ(failures, 0);
  EXPECT_TRUE(FakePlatform::get().problems().empty());
  EXPECT_EQ(raw().value("SELECT count(*) FROM temp_log;"), std::to_string(rounds));
  print_figure("threads that begin, use and end at once: " + std::to_string(8 * rounds));
}

TEST_F(ThreadEnds, RaceWithTheEndOfTheProcess) {
  const int rounds = is_whole_run() ? 100 : 2;
  for (int round = 0; round < rounds; ++round) {
    for (const char* way : {"exit", "quick_exit", "_exit"}) endWith(way, "idle");
  }
  print_figure("ends of a process beside ends of threads: " + std::to_string(3 * rounds));
}

// Only `exit` asks for threads that have come to an end.
TEST_F(ThreadEnds, AreNotNeededByWhoLeavesAtOnce) {
  const int rounds = is_whole_run() ? 100 : 2;
  for (int round = 0; round < rounds; ++round) {
    for (const char* way : {"quick_exit", "_exit"}) endWith(way, "working");
  }
  EXPECT_TRUE(write_once());
  print_figure("processes that leave with threads at work: " + std::to_string(2 * rounds));
}

TEST_F(ThreadEnds, AreNotSeenByAProgramThatIsStarted) {
  std::atomic<bool> isEnding{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (const Use use : {Use::WRITING, Use::COUNTED, Use::UNCOUNTED}) {
    threads.emplace_back([&, use] {
      while (!isEnding) failures += use_store(use) ? 0 : 1;
    });
  }
  const int programs = is_whole_run() ? 200 : 10;
  std::string leaked;
  for (int program = 0; program < programs; ++program) {
    const ProcessResult result = run_program({"ls", "-l", "/proc/self/fd"});
    EXPECT_EQ(result.status, 0);
    if (result.out.find(".db") != std::string::npos) leaked += result.out;
  }
  isEnding = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(leaked, "") << "descriptors of the store";
  EXPECT_EQ(failures, 0);
  EXPECT_EQ(raw().value("PRAGMA integrity_check;"), "ok");
  print_figure("programs started beside threads at work: " + std::to_string(programs) +
               ", 0 descriptors of the store");
}

}  // namespace

}  // namespace msg_tarvel
