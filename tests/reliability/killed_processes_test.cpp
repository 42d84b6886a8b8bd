// Owner and tool are killed in the middle of their work, again and again, while others read: nobody
// ever sees half of a transaction, the next start heals, and rows and files agree once more after
// the next import or repair.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "db/fast_queries.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "reliability/extent.h"
#include "support/fake_platform.h"
#include "tool/tool_support.h"

namespace msg_tarvel {

namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

constexpr int KILLED = 128 + SIGKILL;

constexpr std::chrono::milliseconds LONGEST_REST(50);

/** In which a commit is under way. */
constexpr microseconds SHORT_WHILE(500);

/** As many messages of each text as the text says at its end are stored in one transaction. */
constexpr int BATCH = 4;

/** Of each multimedia message. */
constexpr std::size_t PARTS = 2;

std::string text_of_batch(int number) {
  return "batch " + std::to_string(number) + " of " + std::to_string(BATCH);
}

// ---- Readers -----------------------------------------------------------------------------------

/** What a reader saw. */
struct Seen {
  bool isWhole = true;
  /** Whether every query found what it asked for. */
  bool isAnswered = true;
  bool hasBatches = false;

  /** A reader whom writers keep out for 2.1 s sees nothing at all. */
  void take(int ret) {
    if (ret == db::DB_SUCCESS) return;
    isAnswered = false;
    isWhole =
        isWhole && (ret == db::DB_NO_DATA || ret == db::DB_ERR_STEP || ret == db::DB_ERR_PREPARE);
  }
};

void look_at_messages(Seen& seen) {
  std::vector<Message> messages;
  seen.take(db::db_get_message_list(ListCondition(), messages));
  std::map<std::string, int> batches;
  for (const Message& message : messages) {
    if (message.addresses.size() != 1) seen.isWhole = false;
    if (message.contents.size() != (message.msgType == "mms" ? PARTS : 0)) seen.isWhole = false;
    if (message.textMessage.rfind("batch ", 0) == 0) ++batches[message.textMessage];
  }
  for (const auto& [text, count] : batches) {
    seen.hasBatches = true;
    if (count != BATCH) seen.isWhole = false;
  }
}

/** Every conversation has as many messages as it counts, but for those that come meanwhile. */
void look_at_counters(Seen& seen) {
  std::vector<Thread> threads;
  seen.take(db::db_get_threads(threads));
  for (const Thread& before : threads) {
    std::vector<Conversation> messages;
    Thread after;
    const int ret = db::db_get_conversations(before.convId, messages);
    const int again = db::db_get_thread(before.convId, after);
    seen.take(ret);
    seen.take(again);
    if (ret != db::DB_SUCCESS || again != db::DB_SUCCESS) continue;
    const int count = static_cast<int>(messages.size());
    if (count < before.msgCnt || count > after.msgCnt) seen.isWhole = false;
  }
}

Seen look_around() {
  Seen seen;
  look_at_messages(seen);
  look_at_counters(seen);
  return seen;
}

// ---- Whoever is killed -------------------------------------------------------------------------

/**
 * An owner that stores batches as fast as it can, each with its conversation's counters, and many
 * pages, so that a commit is most of its work.
 */
int store_batches(int first, int count) {
  db::DBMgr* const store = db::DBMgr::getInstance();
  if (store->execStatement("PRAGMA journal_mode = PERSIST;") != db::DB_SUCCESS) return 1;
  for (int number = first; number < first + count; ++number) {
    const std::string sql =
        "INSERT OR REPLACE INTO temp_log (id, data1) VALUES (1, hex(randomblob(100000)));"
        "INSERT OR IGNORE INTO msg_conversation_table (convId, peerConvId) VALUES (1000, 0);"
        "INSERT INTO msg_address_table (convId, addressType, recipientType, address) SELECT 1000, "
        "1, 1, '+14155550177' WHERE NOT EXISTS (SELECT 1 FROM msg_address_table WHERE convId = "
        "1000);"
        "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT " +
        std::to_string(BATCH) +
        ") INSERT INTO msg_message_table (convId, msgType, storageId, storageFolder, mainText, "
        "textMessage, displayTime, attachedNum, read, stickerId) SELECT 1000, 'sms', 1, 1, '" +
        text_of_batch(number) + "', '" + text_of_batch(number) +
        "', 1000, 0, 0, 0 FROM n;"
        "UPDATE msg_conversation_table SET (msgType, storageFolder, displayTime, expiryTime, "
        "mainText, msgText, stickerId, lastMsgId) = (SELECT msgType, storageFolder, displayTime, "
        "expiryTime, mainText, textMessage, stickerId, msgId FROM msg_message_table WHERE convId = "
        "1000 ORDER BY msgId DESC LIMIT 1), msgCnt = msgCnt + " +
        std::to_string(BATCH) + ", unreadCnt = unreadCnt + " + std::to_string(BATCH) +
        " WHERE convId = 1000;";
    if (store->beginTransaction() != db::DB_SUCCESS) return 2;
    if (store->execStatement(sql) != db::DB_SUCCESS) return 3;
    if (store->endTransaction(true) != db::DB_SUCCESS) return 4;
  }
  return 0;
}

class KilledProcesses : public ToolTest {
 protected:
  KilledProcesses() : _draw(seed_of_today()) {}

  void SetUp() override {
    for (const std::string& variable : environment()) {
      const std::size_t equals = variable.find('=');
      setenv(variable.substr(0, equals).c_str(), variable.c_str() + equals + 1, 1);
    }
    FakePlatform::get().setDataPath(dataDir() + "/");
    expectSuccess({OWN_STORE});
    create();
    startReaders();
  }

  /**
   * Kills what `start` starts, which ends by itself after about `duration`: at any moment, and
   * every other time in a transaction that writes.
   */
  template <typename Start>
  void killEach(const std::string& what, microseconds duration, Start&& start,
                const std::function<void(int)>& expectHealed) {
    const int kills = is_whole_run() ? 100 : (3 + SHARE) / SHARE;
    int killed = 0;
    int cutShort = 0;
    for (int number = 0; killed < kills && !HasFailure(); ++number) {
      SCOPED_TRACE(what + ", start " + std::to_string(number) +
                   ", MSG_TARVEL_SEED=" + std::to_string(seed_of_today()));
      ASSERT_LT(number, 10 * kills) << "it is never killed in time";
      const std::unique_ptr<Child> process = start(number);
      if (number % 2 == 0) {
        std::this_thread::sleep_for(draw(duration));
      } else {
        // It takes longer when the machine has more to do.
        waitForWriting(5 * duration);
        std::this_thread::sleep_for(draw(SHORT_WHILE));
      }
      kill(process->pid(), SIGKILL);
      const int status = process->wait();
      EXPECT_TRUE(status == KILLED || status == 0) << status;
      killed += status == KILLED ? 1 : 0;
      cutShort += isCutShort() ? 1 : 0;
      expectHealed(number);
    }
    stopReaders();
    // A few may all miss, and a reader undoes at once what was hit.
    EXPECT_TRUE(cutShort > 0 || !is_whole_run());
    print_figure(what + ": " + std::to_string(killed) + " killed, " + std::to_string(cutShort) +
                 " of them in a commit, seed " + std::to_string(seed_of_today()));
  }

  static std::unique_ptr<Child> started(const std::vector<std::string>& command) {
    return std::make_unique<Child>([&command] {
      const int nothing = open("/dev/null", O_WRONLY);
      dup2(nothing, STDOUT_FILENO);
      dup2(nothing, STDERR_FILENO);
      execute(command);
      return 127;
    });
  }

  void expectSuccess(const std::vector<std::string>& command) const {
    const ProcessResult result = run_program(command, environment());
    EXPECT_EQ(result.status, 0) << command.back() << ": " << result.out << result.err;
  }

  /** Whether what is killed stores batches. */
  virtual bool hasBatches() const { return true; }

  /** Nothing is wrong with rows, files, modes, journal, version, tables and indexes. */
  void expectWhole() const {
    const ProcessResult result = run({"check"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "nothing found: " + dbFile() + "\n");
  }

  template <typename Action>
  static microseconds durationOf(Action&& action) {
    const auto begin = steady_clock::now();
    action();
    return std::chrono::duration_cast<microseconds>(steady_clock::now() - begin);
  }

 private:
  /** One asks by the fast ways and one by the defined ones; each writes down what it saw. */
  void startReaders() {
    for (const bool isFast : {true, false}) {
      _readers.push_back(std::make_unique<Child>([this, isFast] {
        db::fastQueriesAreOn = isFast;
        const std::string end = folder() + "/end";
        int answered = 0;
        int withBatches = 0;
        while (access(end.c_str(), F_OK) != 0) {
          const auto begin = steady_clock::now();
          const Seen seen = look_around();
          if (!seen.isWhole) return SAW_HALF;
          answered += seen.isAnswered ? 1 : 0;
          withBatches += seen.isAnswered && seen.hasBatches ? 1 : 0;
          // As users do: a store that somebody reads all the time is never written.
          std::this_thread::sleep_for(
              std::min<steady_clock::duration>(4 * (steady_clock::now() - begin), LONGEST_REST));
        }
        // Nobody is killed any more.
        const Seen last = look_around();
        if (!last.isWhole) return SAW_HALF;
        if (!last.isAnswered || answered == 0) return SAW_NOTHING;
        return hasBatches() && (!last.hasBatches || withBatches == 0) ? SAW_NO_BATCH : SAW_ALL;
      }));
    }
  }

  /** Whether there is something to undo, as far as no reader has done so meanwhile. */
  bool isCutShort() const { return !isJournalEmpty(); }

  bool isJournalEmpty() const {
    std::ifstream journal(dbFile() + "-journal", std::ios::binary);
    return journal.get() <= 0;
  }

  /** For `longest` at most. */
  void waitForWriting(microseconds longest) const {
    const auto begin = steady_clock::now();
    while (isJournalEmpty() && steady_clock::now() - begin < longest) std::this_thread::yield();
  }

  microseconds draw(microseconds longest) {
    return microseconds(_draw() % static_cast<unsigned long>(longest.count()));
  }

  void stopReaders() {
    file("end", "");
    for (const auto& reader : _readers) {
      EXPECT_EQ(reader->wait(), SAW_ALL)
          << SAW_HALF << ": half a transaction, " << SAW_NOTHING
          << ": no round of answers or not the last one, " << SAW_NO_BATCH << ": no batch";
    }
  }

  // How a reader ends.
  static constexpr int SAW_ALL = 0;
  static constexpr int SAW_HALF = 1;
  static constexpr int SAW_NOTHING = 2;
  static constexpr int SAW_NO_BATCH = 3;

  std::mt19937 _draw;
  std::vector<std::unique_ptr<Child>> _readers;
};

class KilledOwner : public KilledProcesses {
 protected:
  bool hasBatches() const override { return false; }
};

TEST_F(KilledOwner, IsHealedByItsNextStart) {
  const std::vector<std::string> owner = {OWN_STORE};
  const microseconds duration = durationOf([&] { expectSuccess(owner); });
  killEach(
      "the example owner", duration, [&](int /*number*/) { return started(owner); },
      [&](int /*number*/) {
        expectSuccess(owner);
        expectWhole();
      });
}

TEST_F(KilledProcesses, ABusyOwnerLeavesWholeTransactions) {
  constexpr const char* COUNT = "SELECT count(*) FROM msg_message_table WHERE convId = 1000;";
  constexpr int BATCHES = 10;
  const auto start = [](int number) {
    return std::make_unique<Child>(
        [number] { return store_batches(BATCHES * (number + 1), BATCHES); });
  };
  const microseconds duration = durationOf([&] { EXPECT_EQ(start(-1)->wait(), 0); });
  int stored = BATCH * BATCHES;
  killEach("a busy owner", duration, start, [&](int /*number*/) {
    expectSuccess({OWN_STORE});
    expectWhole();
    const int now = std::stoi(rows(COUNT));
    EXPECT_EQ(now % BATCH, 0);
    EXPECT_GE(now, stored);
    stored = now;
  });
}

class KilledImports : public KilledProcesses {
 protected:
  /** Four messages of one text with a picture each. */
  std::string messages(int number) const {
    std::string elements;
    for (int i = 1; i <= BATCH; ++i) {
      const std::string date = std::to_string(1000 * number + i);
      elements += mms(
          {{"date", date}, {"sub", text_of_batch(number)}, {"address", "+14155550122"}},
          text_part(text_of_batch(number)) + data_part("image/png", std::string(20000, 'Q')), "");
    }
    return file("messages.xml", backup(elements));
  }

  void expectFilesToBeThoseOfRows() const {
    std::string found;
    for (const std::string& name : mediaFiles()) found += mediaDir() + "/" + name + "\n";
    EXPECT_EQ(found, rows("SELECT filepath FROM msg_mms_content_table WHERE hasFile = 1 ORDER BY "
                          "filepath;"));
  }
};

TEST_F(KilledImports, LeaveNothingBehindTheNextOrARepair) {
  std::vector<std::string> import = {TOOL_PROGRAM, "import", messages(0)};
  const microseconds duration = durationOf([&] { expectSuccess(import); });
  int leftFiles = 0;
  killEach(
      "import", duration,
      [&](int number) {
        messages(number + 1);
        return started(import);
      },
      [&](int number) {
        for (const std::string& name : mediaFiles()) {
          if (name.rfind("incoming-", 0) != 0) continue;
          ++leftFiles;
          break;
        }
        expectSuccess(number % 2 == 0 ? import : std::vector<std::string>{TOOL_PROGRAM, "repair"});
        expectWhole();
        expectFilesToBeThoseOfRows();
      });
  print_figure("imports that left files: " + std::to_string(leftFiles));
  EXPECT_TRUE(leftFiles > 0 || !is_whole_run());
}

/** Commands that mend what no reader sees, in a transaction of many pages. */
class KilledMending : public KilledProcesses {
 protected:
  bool hasBatches() const override { return false; }

  void killMending(const std::string& command, const std::string& damage) {
    const std::vector<std::string> mend = {TOOL_PROGRAM, command};
    // As the owner does: else the next to write would have to make the journal.
    const std::string all = "PRAGMA journal_mode = PERSIST; BEGIN; " + damage + " COMMIT;";
    RawConnection(dbFile()).exec(all);
    const microseconds duration = durationOf([&] { expectSuccess(mend); });
    killEach(
        command, duration,
        [&](int /*number*/) {
          RawConnection(dbFile()).exec(all);
          return started(mend);
        },
        [&](int /*number*/) {
          expectSuccess(mend);
          expectWhole();
        });
  }
};

TEST_F(KilledMending, OfARepairIsDoneByTheNext) {
  killMending("repair",
              "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 2000) INSERT "
              "INTO msg_nms_meta_table (msgId, objectId) SELECT 100000 + i, hex(randomblob(100)) "
              "FROM n; DROP INDEX msg_message_time_index;");
}

TEST_F(KilledMending, OfACreateIsDoneByTheNext) {
  killMending("create",
              "DROP TABLE ft_queue_table; DROP INDEX msg_message_time_index; PRAGMA user_version = "
              "0;");
}

}  // namespace

}  // namespace msg_tarvel
