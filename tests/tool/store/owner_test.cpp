// Commands that look, beside an owner who commits ten times a second: nobody keeps him waiting, and
// what they show is of one moment.

#include <sqlite3.h>

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <thread>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int MESSAGES = 20000;

/** Instrumented or emulated, a slice takes its time, and so does being heard. */
#if defined(TEST_OF_INSTRUMENTED) || !defined(__x86_64__)
constexpr milliseconds LONGEST_WAIT(1000);
#else
constexpr milliseconds LONGEST_WAIT(100);
#endif

/** Commits every 100 ms, two rows at a time that belong together. */
class Owner {
 public:
  explicit Owner(const std::string& path) : _thread([this, path] { _work(path); }) {}
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;
  ~Owner() { finish(); }

  void finish() {
    _isEnding = true;
    if (_thread.joinable()) _thread.join();
  }

  int commits = 0;
  int failures = 0;
  microseconds longestWait{0};

 private:
  void _work(const std::string& path) {
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    sqlite3_busy_handler(db, &_wait, this);
    sqlite3_exec(db, "PRAGMA journal_mode = PERSIST;", nullptr, nullptr, nullptr);
    while (!_isEnding) {
      _waited = microseconds(0);
      const int ret = sqlite3_exec(
          db,
          "BEGIN IMMEDIATE; UPDATE msg_message_table SET displayTime = displayTime + 1 WHERE msgId "
          "= 1; UPDATE msg_conversation_table SET displayTime = displayTime + 1 WHERE convId = 1;"
          "COMMIT;",
          nullptr, nullptr, nullptr);
      ++(ret == SQLITE_OK ? commits : failures);
      longestWait = std::max(longestWait, _waited);
      std::this_thread::sleep_for(milliseconds(100));
    }
    sqlite3_close(db);
  }

  /** The time from here to the next try counts as waiting. */
  static int _wait(void* owner, int count) {
    const auto before = Clock::now();
    std::this_thread::sleep_for(milliseconds(1));
    static_cast<Owner*>(owner)->_waited +=
        std::chrono::duration_cast<microseconds>(Clock::now() - before);
    return count < 5000 ? 1 : 0;
  }

  std::atomic<bool> _isEnding{false};
  microseconds _waited{0};
  std::thread _thread;
};

class BesideAnOwner : public ToolTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(run({"create", "--no-indexes"}).status, 0);
    RawConnection(dbFile()).exec(
        "PRAGMA synchronous = OFF; BEGIN; WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 "
        "FROM n WHERE i < " +
        std::to_string(MESSAGES) +
        ") INSERT INTO msg_message_table (msgId, convId, msgType, storageFolder, storageId, "
        "networkStatus, mainText, displayTime, read) SELECT i, 1 + i % 200, 'sms', 1, 1, 16, "
        "hex(zeroblob(100)), i, 1 FROM n;"
        "INSERT INTO msg_conversation_table (convId, msgCnt, msgType, storageFolder, displayTime, "
        "mainText) SELECT convId, count(*), 'sms', 1, 1, 'x' FROM msg_message_table GROUP BY "
        "convId; INSERT INTO msg_address_table (convId, addressType, recipientType, address) "
        "SELECT "
        "convId, 1, 1, '+1415' || convId FROM msg_conversation_table; COMMIT;");
  }
};

/** On a machine that has other things to do, an owner may have to wait for it. */
constexpr int ATTEMPTS_ON_A_BUSY_MACHINE = 3;

TEST_F(BesideAnOwner, NobodyWaits) {
  microseconds longestWait = LONGEST_WAIT;
  for (int i = 0; i < ATTEMPTS_ON_A_BUSY_MACHINE && longestWait >= LONGEST_WAIT; ++i) {
    Owner owner(dbFile());
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"threads"}, {"messages", "--limit", "100"}, {"info"}}) {
      const ProcessResult result = run(command);
      EXPECT_EQ(result.status, 0) << result.err;
    }
    owner.finish();
    EXPECT_GT(owner.commits, 0);
    EXPECT_EQ(owner.failures, 0);
    longestWait = owner.longestWait;
    std::cout << owner.commits << " commits, the longest wait " << longestWait.count()
              << " microseconds\n";
  }
  EXPECT_LT(longestWait, LONGEST_WAIT);
}

TEST_F(BesideAnOwner, NoFileIsLeft) {
  const std::string temporary = folder() + "/temporary";
  ASSERT_EQ(mkdir(temporary.c_str(), 0700), 0);
  EXPECT_EQ(run({"threads"}, {"TMPDIR=" + temporary}).status, 0);
  EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

TEST_F(BesideAnOwner, TheStoreStaysAsItIs) {
  const std::string before = content_of(dbFile());
  for (const char* command : {"threads", "messages"}) EXPECT_EQ(run({command}).status, 0);
  EXPECT_EQ(content_of(dbFile()), before) << "without the indexes that the copies got";
}

}  // namespace
}  // namespace msg_tarvel
