// bench-owner FOLDER SECONDS: an owner commits a message every 100 ms to the store in FOLDER while
// four processes read it without a pause. Prints as JSON how long each waited and how often it
// failed.

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "helpers/transaction.h"
#include "store/store_place.h"

namespace msg_tarvel::bench {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int READERS = 4;
constexpr milliseconds BETWEEN_COMMITS(100);
/** Of every store that msg-tarvel generates. */
constexpr int BIGGEST_CONVERSATION = 1;

/** What happened to one kind of call. It goes through a pipe as it stands. */
struct Tally {
  long calls = 0;
  long failures = 0;
  double longestMilliseconds = 0;
  double longestCpuMilliseconds = 0;

  void add(const Tally& other) {
    calls += other.calls;
    failures += other.failures;
    longestMilliseconds = std::max(longestMilliseconds, other.longestMilliseconds);
    longestCpuMilliseconds = std::max(longestCpuMilliseconds, other.longestCpuMilliseconds);
  }

  /** Runs `call`, which returns whether it succeeded. */
  void measure(const std::function<bool()>& call) {
    const auto begin = steady_clock::now();
    const double cpuBegin = cpuMilliseconds();
    const bool isDone = call();
    const std::chrono::duration<double, std::milli> time = steady_clock::now() - begin;
    add({1, isDone ? 0 : 1, time.count(), cpuMilliseconds() - cpuBegin});
  }

  static double cpuMilliseconds() {
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
  }
};

bool is_done(int ret) { return ret == db::DB_SUCCESS || ret == db::DB_NO_DATA; }

struct Question {
  const char* name;
  bool (*ask)();
};

constexpr std::array<Question, 5> QUESTIONS = {{
    {"list of all",
     [] {
       std::vector<Message> messages;
       return is_done(db::db_get_message_list(ListCondition(), messages));
     }},
    {"newest 20",
     [] {
       ListCondition newest;
       newest.limit = 20;
       std::vector<Message> messages;
       return is_done(db::db_get_message_list(newest, messages));
     }},
    {"unsynced",
     [] {
       std::vector<Message> messages;
       return is_done(db::db_get_unsynced_messages(messages));
     }},
    {"conversation list",
     [] {
       std::vector<Thread> threads;
       return is_done(db::db_get_threads(threads));
     }},
    {"biggest conversation",
     [] {
       std::vector<Conversation> conversation;
       return is_done(db::db_get_conversations(BIGGEST_CONVERSATION, conversation));
     }},
}};

using Tallies = std::array<Tally, QUESTIONS.size()>;

/** The reader's process: one question after the other. */
void read_until(steady_clock::time_point end, std::size_t firstQuestion, int output) {
  Tallies tallies;
  {
    const helpers::StoreSession session;
    for (std::size_t i = firstQuestion; steady_clock::now() < end; ++i) {
      const std::size_t question = i % QUESTIONS.size();
      tallies[question].measure(QUESTIONS[question].ask);
    }
  }
  if (write(output, &tallies, sizeof tallies) != sizeof tallies) std::_Exit(EXIT_FAILURE);
}

bool commit_a_message() {
  db::DBMgr* const store = db::DBMgr::getInstance();
  if (store->beginTransaction() != db::DB_SUCCESS) return false;
  const std::string id = std::to_string(BIGGEST_CONVERSATION);
  const bool isWritten =
      store->execStatement(
          "INSERT INTO msg_message_table (convId, msgType, itemId, storageFolder, storageId, "
          "mainText, textMessage, displayTime, read, sync, simIndex) VALUES (" +
          id +
          ", 'sms', 0, 1, 1, 'One more', 'One more', 1800000000000, 0, 1, 1);"
          "UPDATE msg_conversation_table SET msgCnt = msgCnt + 1, unreadCnt = unreadCnt + 1 "
          "WHERE convId = " +
          id + ";") == db::DB_SUCCESS;
  if (isWritten && store->endTransaction(true) == db::DB_SUCCESS) return true;
  helpers::abandon_transaction();
  return false;
}

Tally commit_until(steady_clock::time_point end) {
  Tally tally;
  const helpers::StoreSession session;
  while (steady_clock::now() < end) {
    const auto next = steady_clock::now() + BETWEEN_COMMITS;
    tally.measure(&commit_a_message);
    std::this_thread::sleep_until(next);
  }
  return tally;
}

void print(const char* name, const Tally& tally) {
  std::cout << "{\"name\": \"" << name << "\", \"calls\": " << tally.calls
            << ", \"failures\": " << tally.failures
            << ", \"longest_ms\": " << tally.longestMilliseconds
            << ", \"longest_cpu_ms\": " << tally.longestCpuMilliseconds << "}";
}

/** The processes are made before anything of the library is used. */
void measure(steady_clock::duration duration) {
  std::array<int, 2> results = {};
  if (pipe(results.data()) != 0) throw std::runtime_error("cannot make a pipe");
  const auto end = steady_clock::now() + duration;
  for (int reader = 0; reader < READERS; ++reader) {
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("cannot make a process");
    if (child == 0) {
      read_until(end, static_cast<std::size_t>(reader), results[1]);
      std::_Exit(EXIT_SUCCESS);
    }
  }
  const Tally owner = commit_until(end);

  Tallies readers;
  for (int reader = 0; reader < READERS; ++reader) {
    int status = 0;
    Tallies tallies;
    if (wait(&status) < 0 || status != 0 ||
        read(results[0], &tallies, sizeof tallies) != sizeof tallies) {
      throw std::runtime_error("a reader failed");
    }
    for (std::size_t i = 0; i < tallies.size(); ++i) readers[i].add(tallies[i]);
  }

  std::cout << "{\"owner\": ";
  print("commit", owner);
  std::cout << ", \"readers\": [";
  for (std::size_t i = 0; i < readers.size(); ++i) {
    if (i > 0) std::cout << ", ";
    print(QUESTIONS[i].name, readers[i]);
  }
  std::cout << "]}\n";
}

}  // namespace

}  // namespace msg_tarvel::bench

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: bench-owner FOLDER SECONDS\n";
    return EXIT_FAILURE;
  }
  try {
    msg_tarvel::bench::use_store_in(argv[1]);
    msg_tarvel::bench::measure(std::chrono::seconds(std::stoi(argv[2])));
  } catch (const std::exception& error) {
    std::cerr << "bench-owner: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
