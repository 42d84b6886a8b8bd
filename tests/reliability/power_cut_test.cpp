// The power is cut at every operation of the disk under what the library writes, and the process
// killed at every call of the system: the store is then as before or as after, what was promised is
// there, and the next createDb does what its interface says.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/db/db_indexes.h"
#include "reliability/crash_states.h"
#include "reliability/extent.h"
#include "reliability/memory_folders.h"
#include "reliability/recording_disk.h"
#include "support/fake_platform.h"
#include "support/processes.h"
#include "support/store.h"

namespace msg_tarvel {

namespace {

namespace fs = std::filesystem;

using db::DB_SUCCESS;
using db::DBMgr;

constexpr const char* COUNT_TABLES =
    "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite%';";
constexpr const char* COUNT_INDEXES =
    "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL;";
constexpr const char* PERSIST = "PRAGMA journal_mode = PERSIST;";

/** So that the next use opens the store anew. */
void close_store() {
  db::init_db();
  db::deinit_db();
}

mode_t mode_of(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

class PowerCut : private InMemory, public DataDirTest {
 protected:
  /** The folder with the data directory in it. */
  std::string folder() const { return fs::path(dataDir()).parent_path().parent_path().string(); }

  /** What the disk may hold whenever the power is cut in `action`, which makes its promises. */
  CrashStates statesOf(const std::function<void()>& action) const {
    close_store();
    const TemporaryFolder place;
    const std::string record = place.path() + "/record";
    DiskTree before = DiskTree::of(folder());
    Child child([&] {
      RecordingDisk::start(folder(), record);
      action();
      return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(child.wait(), 0);
    CrashStates states(std::move(before), record);
    EXPECT_TRUE(states.end().text() == DiskTree::of(folder()).text()) << "not all was recorded";
    return states;
  }

  /** Calls `look` with the states, each in the place of the store. */
  void tryEach(const std::string& what, const CrashStates& states,
               const std::function<void(const CrashState&)>& look) const {
    const int tried = states.forEach(is_whole_run() ? INT_MAX : 300, [&](const CrashState& state) {
      if (HasFailure()) return;
      SCOPED_TRACE(what + ", " + state.how);
      close_store();
      state.tree.writeTo(folder());
      FakePlatform::get().clearLines();
      look(state);
    });
    close_store();
    print_figure(what + ": " + std::to_string(tried) + " crash states");
    EXPECT_GT(tried, 50);
  }

  /** The database as its next user finds it, who changes it: in a copy. */
  template <typename Look>
  void lookAtCopy(const CrashState& state, Look&& look) const {
    const TemporaryFolder copy;
    state.tree.writeTo(copy.path());
    const std::string file = copy.path() + "/data/dbspace/.msg-tarvel-server.db";
    if (!fs::exists(file)) {
      look(nullptr);
      return;
    }
    RawConnection connection(file);
    EXPECT_EQ(connection.value("PRAGMA integrity_check;"), "ok");
    look(&connection);
  }

  /** What createDb promises of a store that is there. */
  void expectCreateDbToComplete(const std::string& version) const {
    EXPECT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
    EXPECT_EQ(DBMgr::getInstance()->endTransaction(true), DB_SUCCESS);
    close_store();
    RawConnection made(dbFile());
    EXPECT_EQ(made.value("PRAGMA integrity_check;"), "ok");
    EXPECT_EQ(made.value(COUNT_TABLES), "14");
    EXPECT_EQ(made.value("SELECT count(*) FROM mssi_info_table;"), "1");
    EXPECT_EQ(made.value("PRAGMA user_version;"), version);
    made.exec("INSERT INTO temp_log (data1) VALUES ('after');");
  }
};

// ---- createDb ----------------------------------------------------------------------------------

class PowerCutInCreateDb : public PowerCut {
 protected:
  static void createDb() {
    EXPECT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
    RecordingDisk::promise();
  }
};

TEST_F(PowerCutInCreateDb, FromNothingIsHealedByTheNext) {
  fs::remove_all(dataDir());
  int withoutStamp = 0;
  int withoutJournal = 0;
  int withOtherMode = 0;
  tryEach("createDb from nothing", statesOf(&createDb), [&](const CrashState& state) {
    std::string version = "4";
    lookAtCopy(state, [&](RawConnection* store) {
      if (!store) {
        EXPECT_EQ(state.promises, 0);
        return;
      }
      version = *store->value("PRAGMA user_version;");
      const std::string tables = *store->value(COUNT_TABLES);
      EXPECT_TRUE(tables == "0" || tables == "14") << tables;
      EXPECT_TRUE(version == "4" || (version == "0" && tables == "0")) << version;
      EXPECT_TRUE(tables == "14" || state.promises == 0) << "what was promised is gone";
    });
    const bool isThere = fs::exists(dbFile());
    const mode_t mode = mode_of(dbFile());
    const bool hasJournal = fs::exists(journalFile());
    expectCreateDbToComplete(version);
    if (isThere) {
      EXPECT_EQ(mode_of(dbFile()), mode) << "a file that is there is left as it is";
      withoutStamp += version == "0" ? 1 : 0;
      withoutJournal += hasJournal ? 0 : 1;
      withOtherMode += mode == 0660 ? 0 : 1;
    } else {
      EXPECT_EQ(mode_of(dbFile()), 0660U);
    }
  });
  print_figure("of them without the version: " + std::to_string(withoutStamp) +
               ", without the journal: " + std::to_string(withoutJournal) +
               ", of another mode: " + std::to_string(withOtherMode));
  EXPECT_GT(withoutStamp, 0);
  EXPECT_GT(withoutJournal, 0);
  EXPECT_GT(withOtherMode, 0);
}

TEST_F(PowerCutInCreateDb, OfAHalfStoreIsHealedByTheNext) {
  ASSERT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
  RawConnection(dbFile()).exec(std::string(PERSIST) +
                               "DROP TABLE msg_sim_table; DROP TABLE mssi_info_table;");
  tryEach("createDb of a half store", statesOf([] {
            EXPECT_EQ(DBMgr::getInstance()->execStatement(PERSIST), DB_SUCCESS);
            createDb();
          }),
          [&](const CrashState& state) {
            lookAtCopy(state, [&](RawConnection* store) {
              ASSERT_NE(store, nullptr);
              const std::string tables = *store->value(COUNT_TABLES);
              EXPECT_TRUE(tables == "14" || (tables == "12" && state.promises == 0)) << tables;
            });
            expectCreateDbToComplete("4");
          });
}

TEST_F(PowerCutInCreateDb, OfAWholeStoreWritesNothing) {
  ASSERT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
  const std::string before = DiskTree::of(folder()).text();
  const int states = statesOf(&createDb).forEach(INT_MAX, [&](const CrashState& state) {
    EXPECT_TRUE(state.tree.text() == before) << state.how;
  });
  EXPECT_EQ(states, 2);
}

// ---- Transactions ------------------------------------------------------------------------------

/** A store with rows on many pages, of which each round changes some. */
class PowerCutInTransactions : public PowerCut {
 protected:
  PowerCutInTransactions() {
    EXPECT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
    close_store();
    RawConnection(dbFile()).exec(
        std::string(PERSIST) +
        "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 12) INSERT INTO "
        "temp_log (data1, data2) SELECT 0, hex(zeroblob(1500)) FROM n;");
  }

  /** Each writes its number to every row, adds one, and tells when it is committed. */
  static void write(const char* journalMode, int rounds) {
    DBMgr* const store = DBMgr::getInstance();
    EXPECT_EQ(store->execStatement(journalMode), DB_SUCCESS);
    for (int round = 1; round <= rounds; ++round) {
      EXPECT_EQ(store->beginTransaction(), DB_SUCCESS);
      EXPECT_EQ(store->execStatement("UPDATE temp_log SET data1 = data1 + 1; INSERT INTO temp_log "
                                     "(data1, data2) VALUES (" +
                                     std::to_string(round) + ", hex(zeroblob(3000)));"),
                DB_SUCCESS);
      EXPECT_EQ(store->endTransaction(true), DB_SUCCESS);
      RecordingDisk::promise();
    }
  }

  void expectWhatIsCommitted(const CrashState& state) const {
    lookAtCopy(state, [&](RawConnection* store) {
      ASSERT_NE(store, nullptr);
      const int round = roundIn(store);
      EXPECT_GE(round, state.promises);
      EXPECT_LE(round, state.promises + 1);
    });
    expectCreateDbToComplete("4");
  }

  /** The last round that is there, whole. */
  static int roundIn(RawConnection* store) {
    const std::vector<std::string> rounds = store->column("SELECT DISTINCT data1 FROM temp_log;");
    EXPECT_EQ(rounds.size(), 1U) << "half a transaction";
    const int round = std::stoi(rounds.front());
    EXPECT_EQ(store->value("SELECT count(*) FROM temp_log;"), std::to_string(12 + round));
    return round;
  }
};

TEST_F(PowerCutInTransactions, WhatIsCommittedStaysWithThePersistentJournal) {
  ASSERT_TRUE(fs::exists(journalFile()));
  tryEach("three transactions, PERSIST", statesOf([] { write(PERSIST, 3); }),
          [&](const CrashState& state) { expectWhatIsCommitted(state); });
}

// It is made anew, with a name that has to reach the disk.
TEST_F(PowerCutInTransactions, WhatIsCommittedStaysWhereTheJournalHadBeenDeleted) {
  RawConnection(dbFile()).exec("UPDATE temp_log SET data1 = 1; UPDATE temp_log SET data1 = 0;");
  ASSERT_FALSE(fs::exists(journalFile()));
  tryEach("three transactions, PERSIST, the journal deleted before",
          statesOf([] { write(PERSIST, 3); }),
          [&](const CrashState& state) { expectWhatIsCommitted(state); });
}

// SQLite deletes the journal and does not wait until the disk knows of that.
TEST_F(PowerCutInTransactions, ThePowerTakesTheLastCommitBackWithTheJournalThatIsDeleted) {
  int lost = 0;
  int lostByKill = 0;
  tryEach("three transactions, DELETE", statesOf([] { write("PRAGMA journal_mode = DELETE;", 3); }),
          [&](const CrashState& state) {
            lookAtCopy(state, [&](RawConnection* store) {
              ASSERT_NE(store, nullptr);
              const int round = roundIn(store);
              EXPECT_GE(round, state.promises - 1) << "no more than the last";
              EXPECT_LE(round, state.promises + 1);
              if (round >= state.promises) return;
              ++lost;
              lostByKill += state.isKill ? 1 : 0;
            });
          });
  print_figure("of them without a commit that had returned 0: " + std::to_string(lost));
  EXPECT_GT(lost, 0);
  EXPECT_EQ(lostByKill, 0);
}

TEST_F(PowerCutInTransactions, WhatIsCommittedStaysWhereSqliteWaitsForTheDeletion) {
  tryEach("three transactions, DELETE and EXTRA",
          statesOf([] { write("PRAGMA journal_mode = DELETE; PRAGMA synchronous = EXTRA;", 3); }),
          [&](const CrashState& state) {
            lookAtCopy(state, [&](RawConnection* store) {
              ASSERT_NE(store, nullptr);
              EXPECT_GE(roundIn(store), state.promises);
            });
          });
}

// Whoever opens the store after a crash undoes what is half done; that is cut short too.
TEST_F(PowerCutInTransactions, IsUndoneWhereUndoingIsCutShort) {
  std::vector<CrashState> halves;
  statesOf([] { write(PERSIST, 1); }).forEach(INT_MAX, [&](const CrashState& state) {
    if (state.isKill && state.promises == 0) halves.push_back(state);
  });
  int undone = 0;
  const std::size_t step = is_whole_run() ? 1 : 5;
  for (std::size_t half = 0; half < halves.size() && !HasFailure(); half += step) {
    SCOPED_TRACE(halves[half].how);
    halves[half].tree.writeTo(folder());
    int before = 0;
    lookAtCopy(halves[half], [&](RawConnection* store) { before = roundIn(store); });
    const CrashStates states = statesOf([] {
      EXPECT_EQ(DBMgr::getInstance()->execStatement("SELECT count(*) FROM temp_log;"), DB_SUCCESS);
    });
    undone += states.forEach(INT_MAX, [&](const CrashState& state) {
      lookAtCopy(state, [&](RawConnection* store) { EXPECT_EQ(roundIn(store), before); });
    });
  }
  print_figure("undoing a transaction: " + std::to_string(undone) + " crash states");
  EXPECT_GT(undone, 20);
}

TEST_F(PowerCutInTransactions, AllIndexesAreThereOrNone) {
  const CrashStates states = statesOf([] {
    EXPECT_EQ(DBMgr::getInstance()->execStatement(PERSIST), DB_SUCCESS);
    EXPECT_EQ(db::db_create_indexes(), DB_SUCCESS);
    RecordingDisk::promise();
  });
  tryEach("db_create_indexes", states, [&](const CrashState& state) {
    lookAtCopy(state, [&](RawConnection* store) {
      ASSERT_NE(store, nullptr);
      const std::string indexes = *store->value(COUNT_INDEXES);
      EXPECT_TRUE(indexes == "14" || (indexes == "0" && state.promises == 0)) << indexes;
    });
    EXPECT_EQ(db::db_create_indexes(), DB_SUCCESS);
    close_store();
    EXPECT_EQ(RawConnection(dbFile()).value(COUNT_INDEXES), "14");
  });
}

}  // namespace

}  // namespace msg_tarvel
