// Eight processes of four threads each, reading and writing one store: nothing is lost or doubled,
// nobody is refused, and what a process holds stays what it is.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "reliability/extent.h"
#include "support/fake_platform.h"
#include "support/processes.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

using db::DB_SUCCESS;
using db::DBMgr;

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int PROCESSES = 8;
constexpr int WRITERS_EACH = 2;
constexpr int READERS_EACH = 2;
constexpr int THREADS_EACH = WRITERS_EACH + READERS_EACH;
constexpr int LEAST_WORK = 2;

/** The priority of a log line. */
constexpr int ERROR = 6;

/** In which connections share what they have read; the instrumented allocator gives back late. */
#ifdef TEST_OF_INSTRUMENTED
constexpr bool IS_MEMORY_KNOWN = false;
#else
constexpr bool IS_MEMORY_KNOWN = true;
#endif
constexpr long MOST_GROWTH_KB = 4096;

/**
 * Rests so long that all of them together are at work for less than a third of the time. As with
 * users, a lock must be free most of the time, or waiting for it rightly fails now and then.
 */
void rest_after(Clock::time_point start) {
  constexpr int PARTS = 3 * PROCESSES * THREADS_EACH;
  constexpr Clock::duration SHORTEST = milliseconds(300);
  constexpr Clock::duration LONGEST = milliseconds(1500);
  std::this_thread::sleep_for(std::clamp(PARTS * (Clock::now() - start), SHORTEST, LONGEST));
}

/** All at once would be a crowd that no user is. */
void begin_in_turn(int number) { std::this_thread::sleep_for(number * milliseconds(30)); }

/** How many of this process's descriptors lead below `folder`. */
int descriptors_below(const std::string& folder) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    count += std::filesystem::read_symlink(entry, gone).string().rfind(folder, 0) == 0 ? 1 : 0;
  }
  return count;
}

long resident_kilobytes() {
  std::ifstream file("/proc/self/statm");
  long all = 0;
  long resident = 0;
  file >> all >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/** The connection of a thread that writes, from its begin to its end. */
class Writer {
 public:
  explicit Writer(std::string name) : _name(std::move(name)) {
    db::init_db();
    EXPECT_EQ(store().execStatement("PRAGMA journal_mode = PERSIST;"), DB_SUCCESS);
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() { db::deinit_db(); }

  /** One transaction: stores a pair of messages, every third time in place of the one before. */
  void work() {
    ++_number;
    const std::string mark = _name + std::to_string(_number);
    EXPECT_EQ(store().beginTransaction(), DB_SUCCESS);
    insert(mark, "one");
    if (_number % 4 == 2) {
      EXPECT_EQ(store().endTransaction(false), DB_SUCCESS);
      return;
    }
    EXPECT_EQ(store().beginTransaction(), DB_SUCCESS);
    insert(mark, "other");
    EXPECT_EQ(store().endTransaction(true), DB_SUCCESS);
    if (_number % 3 == 0 && !_stored.empty()) {
      run("DELETE FROM msg_message_table WHERE mainText = ?;", _stored.back());
      run("UPDATE msg_conversation_table SET msgCnt = msgCnt - 2 WHERE mainText IS NOT ?;", "");
      _stored.pop_back();
    }
    EXPECT_EQ(store().endTransaction(true), DB_SUCCESS);
    _stored.push_back(mark);
  }

  const std::vector<std::string>& stored() const { return _stored; }

 private:
  static DBMgr& store() { return *DBMgr::getInstance(); }

  void insert(const std::string& mark, const char* half) {
    const std::unique_ptr<db::SqlStatement> statement = store().compileStatement(
        "INSERT INTO msg_message_table (convId, msgType, storageFolder, displayTime, mainText, "
        "textMessage) VALUES (1, 'sms', 1, 1, ?, ?);");
    ASSERT_NE(statement, nullptr);
    statement->bind(1, mark.c_str());
    statement->bind(2, half);
    EXPECT_EQ(statement->step(), DB_SUCCESS);
    run("UPDATE msg_conversation_table SET msgCnt = msgCnt + 1 WHERE mainText IS NOT ?;", "");
  }

  static void run(const char* sql, const std::string& text) {
    const std::unique_ptr<db::SqlStatement> statement = store().compileStatement(sql);
    ASSERT_NE(statement, nullptr);
    statement->bind(1, text.c_str());
    EXPECT_EQ(statement->step(), DB_SUCCESS);
  }

  std::string _name;
  int _number = 0;
  std::vector<std::string> _stored;
};

/** A pair is there as a whole, once, or not at all. */
template <typename Items>
void expect_pairs(const Items& items) {
  std::map<std::string, std::multiset<std::string>> halves;
  for (const auto& item : items) halves[item.mainText].insert(item.textMessage);
  for (const auto& [mark, texts] : halves) {
    EXPECT_EQ(texts, (std::multiset<std::string>{"one", "other"})) << mark;
  }
}

void read_something(int number) {
  switch (number % 4) {
    case 0: {
      std::vector<Message> everything;
      EXPECT_EQ(db::db_get_message_list(ListCondition(), everything), DB_SUCCESS);
      expect_pairs(everything);
      return;
    }
    case 1: {
      std::vector<Conversation> conversation;
      EXPECT_EQ(db::db_get_conversations(1, conversation), DB_SUCCESS);
      expect_pairs(conversation);
      return;
    }
    case 2: {
      std::vector<Thread> threads;
      EXPECT_EQ(db::db_get_threads(threads), DB_SUCCESS);
      ASSERT_EQ(threads.size(), 1U);
      EXPECT_EQ(threads[0].msgCnt % 2, 0) << "half a transaction";
      return;
    }
    default: {
      Message message;
      EXPECT_EQ(db::db_get_message(1, message), DB_SUCCESS);
      EXPECT_EQ(message.mainText, "first");
    }
  }
}

class Load : public StoreTest {
 protected:
  Load() {
    insert("msg_conversation_table",
           {{"convId", "1"}, {"msgCnt", "2"}, {"mainText", "'conversation'"}});
    for (const char* half : {"'one'", "'other'"}) {
      insert("msg_message_table", {{"convId", "1"},
                                   {"msgType", "'sms'"},
                                   {"storageFolder", "1"},
                                   {"mainText", "'first'"},
                                   {"textMessage", half}});
    }
    // The children open connections of their own.
    db::init_db();
    db::deinit_db();
  }

  std::string reportOf(int process) const { return dataDir() + "report" + std::to_string(process); }

  /** A process of the load; it reports what it has left in the store, and what it did. */
  int work(int process, Clock::time_point end) const {
    const int openBefore = descriptors_below(dbDir());
    const sqlite3_int64 usedBefore = sqlite3_memory_used();
    std::atomic<int> reads{0};
    std::atomic<int> writes{0};
    std::atomic<int> started{0};
    std::vector<std::string> stored[WRITERS_EACH];
    std::vector<std::thread> threads;
    threads.reserve(THREADS_EACH);
    const auto repeat = [&](const std::function<void(int)>& action) {
      begin_in_turn(process * THREADS_EACH + started++);
      for (int number = 0; number < LEAST_WORK || Clock::now() < end; ++number) {
        const Clock::time_point start = Clock::now();
        action(number);
        rest_after(start);
      }
    };
    for (int i = 0; i < WRITERS_EACH; ++i) {
      threads.emplace_back([&, i] {
        Writer writer(std::to_string(process) + "-" + std::to_string(i) + "-");
        repeat([&](int /*number*/) {
          writer.work();
          ++writes;
        });
        stored[i] = writer.stored();
      });
    }
    for (int i = 0; i < READERS_EACH; ++i) {
      threads.emplace_back([&, i] {
        db::init_db();
        repeat([&](int number) {
          read_something(number + i);
          ++reads;
        });
        db::deinit_db();
      });
    }
    expectFlat(end);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(descriptors_below(dbDir()), openBefore);
    EXPECT_EQ(sqlite3_memory_used(), usedBefore);
    for (const LogLine& line : FakePlatform::get().lines()) EXPECT_NE(line.priority, ERROR) << line;

    std::ofstream report(reportOf(process));
    report << reads << " " << writes << "\n";
    for (const auto& marks : stored) {
      for (const std::string& mark : marks) report << mark << "\n";
    }
    return ::testing::Test::HasFailure() ? 1 : 0;
  }

  /** Looks at the process until its end: a database and a journal for each connection. */
  void expectFlat(Clock::time_point end) const {
    const Clock::time_point warm = Clock::now() + (end - Clock::now()) / 3;
    std::this_thread::sleep_until(warm);
    const long before = resident_kilobytes();
    while (Clock::now() < end) {
      EXPECT_LE(descriptors_below(dbDir()), 2 * THREADS_EACH);
      std::this_thread::sleep_for(milliseconds(200));
    }
    if (IS_MEMORY_KNOWN) {
      EXPECT_LT(resident_kilobytes() - before, MOST_GROWTH_KB);
    }
  }
};

TEST_F(Load, OfManyProcessesLosesAndDoublesNothing) {
  const Clock::time_point end =
      Clock::now() + (is_whole_run() ? milliseconds(30000) : milliseconds(1500));
  std::vector<std::unique_ptr<Child>> processes;
  processes.reserve(PROCESSES);
  for (int process = 0; process < PROCESSES; ++process) {
    processes.push_back(std::make_unique<Child>([&, process] { return work(process, end); }));
  }
  for (const auto& process : processes) EXPECT_EQ(process->wait(), 0);

  std::multiset<std::string> expected = {"first", "first"};
  int reads = 0;
  int writes = 0;
  for (int process = 0; process < PROCESSES; ++process) {
    std::ifstream report(reportOf(process));
    int itsReads = 0;
    int itsWrites = 0;
    report >> itsReads >> itsWrites;
    reads += itsReads;
    writes += itsWrites;
    for (std::string mark; report >> mark;) {
      expected.insert(mark);
      expected.insert(mark);
    }
  }
  EXPECT_GE(reads, PROCESSES * READERS_EACH * LEAST_WORK);
  EXPECT_GE(writes, PROCESSES * WRITERS_EACH * LEAST_WORK);
  const std::vector<std::string> marks = raw().column("SELECT mainText FROM msg_message_table;");
  EXPECT_EQ(std::multiset<std::string>(marks.begin(), marks.end()), expected);
  EXPECT_EQ(raw().value("SELECT msgCnt FROM msg_conversation_table;"),
            std::to_string(expected.size()));
  EXPECT_EQ(raw().value("PRAGMA integrity_check;"), "ok");
  print_figure("load of 8 processes of 4 threads: " + std::to_string(writes) + " transactions, " +
               std::to_string(reads) + " reads, 0 refused, 0 lost, 0 doubled");
}

}  // namespace

}  // namespace msg_tarvel
