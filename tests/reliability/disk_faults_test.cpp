// Every operation of the disk fails once, and from some moment on for good, under what the library
// does with a store: it answers as its interface allows, tells of it, and once the disk is well
// again so is everything.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/db/db_indexes.h"
#include "reliability/every_query.h"
#include "reliability/extent.h"
#include "reliability/failing_disk.h"
#include "reliability/left_handles.h"
#include "reliability/made_store.h"
#include "reliability/memory_folders.h"
#include "support/processes.h"
#include "support/sqlite_faults.h"

namespace msg_tarvel {

namespace {

using db::DB_ERR_PREPARE;
using db::DB_SUCCESS;
using db::DBMgr;
using Kind = FailingDisk::Kind;

/** What SQLite tells of such a failure. */
Numbers numbers_of(Kind kind) {
  switch (kind) {
    case Kind::IO_ERROR:
      return {SQLITE_IOERR};
    case Kind::FULL:
      return {SQLITE_FULL};
    case Kind::READ_ONLY:
      // A journal that cannot be made, or not be written.
      return {SQLITE_READONLY, SQLITE_CANTOPEN, SQLITE_IOERR};
    case Kind::BUSY:
      return {SQLITE_BUSY};
    case Kind::CANNOT_OPEN:
      return {SQLITE_CANTOPEN};
  }
  return {};
}

/** Whether anything failed. */
bool mend() {
  const bool hasFailed = FailingDisk::mend();
  close_left_handles();
  return hasFailed;
}

/** Installed before the store is made, which the base class does. */
struct WithFailingDisk {
  WithFailingDisk() { FailingDisk::install(); }
};

class DiskFaults : private InMemory, private WithFailingDisk, public EveryQueryTest {
 protected:
  /**
   * Calls `run` with each operation failing, in each way, until it needs no more of them. It has
   * operations that may fail so for every kind of failure but those in `unfailing`.
   */
  template <typename Run>
  void failEverything(const std::string& what, Run run, const std::vector<Kind>& unfailing = {}) {
    int tried = 0;
    for (const FailingDisk::Failure failure : FailingDisk::FAILURES) {
      SCOPED_TRACE(::testing::Message() << what << ", " << failure);
      int failed = -1;
      bool hasFailed = true;
      while (hasFailed) {
        SCOPED_TRACE(::testing::Message() << "at operation " << ++failed + 1);
        close_store();
        const std::ptrdiff_t descriptors = open_descriptors();
        hasFailed = run(failed + 1, failure);
        close_store();
        EXPECT_EQ(open_descriptors(), descriptors) << "a descriptor is left";
        if (HasFailure()) return;
      }
      const bool mayFail =
          std::find(unfailing.begin(), unfailing.end(), failure.kind) == unfailing.end();
      EXPECT_EQ(failed > 0, mayFail) << failed << " failures";
      tried += failed;
    }
    print_figure(what + ": " + std::to_string(tried) + " failures");
  }

  void expectWhole() {
    EXPECT_EQ(raw().value("PRAGMA integrity_check;"), "ok");
    EXPECT_EQ(raw().value("PRAGMA user_version;"), "4");
  }
};

// ---- Queries -----------------------------------------------------------------------------------

/** The parameter: whether there are indexes. */
class DiskFaultsOfQueries : public DiskFaults, public ::testing::WithParamInterface<bool> {
 protected:
  void failQueries(bool isFast) {
    fillForEveryQuery();
    if (GetParam()) createIndexes();
    unsigned int number = seed_of_today();
    for (const ListQuery& query : all_queries()) {
      if (!is_whole_run() && ++number % SHARE != 0) continue;
      failQuery(query, isFast);
      if (HasFailure()) return;
    }
    expectWhole();
  }

  /** On a connection just opened, and on one that has answered already. */
  void failQuery(const ListQuery& query, bool isFast) {
    close_store();
    const Outcome whole = ask(query.ask, isFast);
    ASSERT_EQ(whole.result, DB_SUCCESS) << query.name;
    for (const bool isWarm : {false, true}) {
      const std::vector<Kind> unfailing =
          isWarm ? std::vector<Kind>{Kind::FULL, Kind::READ_ONLY, Kind::CANNOT_OPEN}
                 : std::vector<Kind>{Kind::FULL};
      failEverything(
          query.name + std::string(isWarm ? ", again" : ""),
          [&](int number, FailingDisk::Failure failure) {
            if (isWarm) ask(query.ask, isFast);
            FailingDisk::fail(number, failure);
            const Outcome outcome = ask(query.ask, isFast);
            const bool hasFailed = mend();
            expect_allowed(query, outcome, whole, numbers_of(failure.kind));
            // The connection that saw the failure goes on.
            const Outcome again = ask(query.ask, isFast);
            EXPECT_EQ(again.result, whole.result);
            EXPECT_TRUE(again.items == whole.items);
            EXPECT_FALSE(contains(again.lines, "[ERROR]")) << again.lines;
            expectNothingLeftBehind();
            return hasFailed;
          },
          unfailing);
    }
  }
};

TEST_P(DiskFaultsOfQueries, InTheDefinedWayAreTold) { failQueries(false); }

TEST_P(DiskFaultsOfQueries, InTheFastWayAreTold) { failQueries(true); }

// So many conversations that their addresses are read in one pass through the table.
TEST_P(DiskFaultsOfQueries, OfAListThatIsScannedAreTold) {
  fill(40, 80);
  if (GetParam()) createIndexes();
  failQuery(list_queries().front(), true);
}

INSTANTIATE_TEST_SUITE_P(With, DiskFaultsOfQueries, ::testing::Bool(), &name_of_store);

// ---- The owner ---------------------------------------------------------------------------------

constexpr const char* INSERT =
    "INSERT INTO msg_message_table (convId, msgType, textMessage) VALUES (1, 'sms', 'new');";
constexpr const char* COUNT_NEW =
    "SELECT count(*) FROM msg_message_table WHERE textMessage = 'new';";

/** What the calls of a transaction of one row gave. */
struct Tried {
  std::vector<int> results;
  bool hasBegun = false;
  bool isInserted = false;
  bool isEnded = false;
};

/** The parameters: whether the journal stays, and whether the statement is compiled. */
class DiskFaultsOfTransactions : public DiskFaults,
                                 public ::testing::WithParamInterface<std::tuple<bool, bool>> {
 protected:
  static std::string journalMode() {
    return std::string("PRAGMA journal_mode = ") +
           (std::get<0>(GetParam()) ? "PERSIST;" : "DELETE;");
  }

  static Tried transact() {
    DBMgr* const store = DBMgr::getInstance();
    Tried tried;
    const auto isDone = [&tried](int ret) {
      tried.results.push_back(ret);
      return ret == DB_SUCCESS;
    };
    if (!isDone(store->execStatement(journalMode()))) return tried;
    tried.hasBegun = isDone(store->beginTransaction());
    if (!tried.hasBegun) return tried;
    tried.isInserted = isDone(insert());
    tried.isEnded = isDone(store->endTransaction(tried.isInserted));
    return tried;
  }

  static void expectOnlyToRead() {
    FakePlatform::get().clearLines();
    EXPECT_FALSE(transact().isInserted);
    EXPECT_PRED2(contains, all_of(error_lines()), "() failed: (8)");
    EXPECT_EQ(DBMgr::getInstance()->execStatement(COUNT_NEW), DB_SUCCESS);
  }

  static void expectToBeRolledBack() {
    DBMgr* const store = DBMgr::getInstance();
    EXPECT_EQ(store->beginTransaction(), DB_SUCCESS);
    EXPECT_EQ(store->execStatement(INSERT), DB_SUCCESS);
    EXPECT_EQ(store->endTransaction(false), DB_SUCCESS);
  }

  /** What another process counts. */
  std::string countElsewhere() const {
    return std::to_string(
        Child([this] { return std::stoi(*RawConnection(dbFile()).value(COUNT_NEW)); }).wait());
  }

 private:
  static int insert() {
    DBMgr* const store = DBMgr::getInstance();
    if (!std::get<1>(GetParam())) return store->execStatement(INSERT);
    const auto statement = store->compileStatement(
        "INSERT INTO msg_message_table (convId, msgType, textMessage) VALUES (1, 'sms', ?);");
    if (!statement) return DB_ERR_PREPARE;
    statement->bind(1, "new");
    return statement->step();
  }
};

TEST_P(DiskFaultsOfTransactions, AreTold) {
  fill(3, 30);
  raw().exec(journalMode());
  int unknown = 0;
  int wentOn = 0;
  failEverything("transaction", [&](int number, FailingDisk::Failure failure) {
    raw().exec("DELETE FROM msg_message_table WHERE textMessage = 'new';");
    FakePlatform::get().clearLines();
    FailingDisk::fail(number, failure);
    const Tried tried = transact();
    const bool hasFailed = mend();
    expect_told(tried.results, numbers_of(failure.kind));

    if (tried.isInserted && tried.isEnded) {
      EXPECT_EQ(countElsewhere(), "1") << "what was committed is seen by others";
    }
    // Whether a failed commit has come about is not known before it is given up.
    unknown += tried.isInserted && !tried.isEnded ? 1 : 0;
    const bool isOver = !tried.hasBegun || tried.isEnded ||
                        DBMgr::getInstance()->endTransaction(false) == DB_SUCCESS;
    // The first that is opened is the store.
    if (failure.kind == Kind::READ_ONLY && number == 1) expectOnlyToRead();
    // A connection that could be opened for reading alone stays one.
    if (!isOver || failure.kind == Kind::READ_ONLY) {
      close_store();
    } else {
      wentOn += tried.isEnded && tried.isInserted ? 0 : 1;
    }
    const int before = std::stoi(*raw().value(COUNT_NEW));
    EXPECT_LE(before, tried.isInserted ? 1 : 0);
    const Tried again = transact();
    EXPECT_TRUE(again.isInserted && again.isEnded) << all_of(error_lines());
    expectToBeRolledBack();
    EXPECT_EQ(raw().value(COUNT_NEW), std::to_string(before + 1));
    EXPECT_EQ(raw().value("PRAGMA quick_check;"), "ok");
    return hasFailed;
  });
  print_figure("commits of unknown outcome: " + std::to_string(unknown) +
               ", connections that went on: " + std::to_string(wentOn));
  EXPECT_GT(unknown, 0);
  EXPECT_GT(wentOn, 0);
  expectWhole();
}

std::string name_of_transaction(const ::testing::TestParamInfo<std::tuple<bool, bool>>& info) {
  return std::string(std::get<0>(info.param) ? "Persist" : "Delete") +
         (std::get<1>(info.param) ? "Compiled" : "Executed");
}

INSTANTIATE_TEST_SUITE_P(In, DiskFaultsOfTransactions,
                         ::testing::Combine(::testing::Bool(), ::testing::Bool()),
                         &name_of_transaction);

constexpr const char* COUNT_INDEXES =
    "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL;";

std::string name_of_connection(const ::testing::TestParamInfo<bool>& info) {
  return info.param ? "ANewConnection" : "TheSameConnection";
}

/** The parameter: whether the connection that saw the failure is closed. */
class DiskFaultsOfIndexes : public DiskFaults, public ::testing::WithParamInterface<bool> {
 protected:
  void dropIndexes() {
    for (const std::string& drop :
         raw().column("SELECT 'DROP INDEX ' || name || ';' FROM sqlite_master WHERE type = 'index' "
                      "AND sql IS NOT NULL;")) {
      raw().exec(drop);
    }
  }
};

TEST_P(DiskFaultsOfIndexes, AreTold) {
  fill(3, 30);
  failEverything("db_create_indexes", [&](int number, FailingDisk::Failure failure) {
    dropIndexes();
    FakePlatform::get().clearLines();
    FailingDisk::fail(number, failure);
    const int ret = db::db_create_indexes();
    const bool hasFailed = mend();
    expect_told_by_indexes(ret, numbers_of(failure.kind));
    if (GetParam() || failure.kind == Kind::READ_ONLY) {
      close_store();
      // After a commit of unknown outcome, all of them.
      const std::string indexes = *raw().value(COUNT_INDEXES);
      EXPECT_TRUE(indexes == "14" || (indexes == "0" && ret != DB_SUCCESS)) << indexes;
    }
    EXPECT_EQ(db::db_create_indexes(), DB_SUCCESS);
    EXPECT_EQ(raw().value(COUNT_INDEXES), "14");
    EXPECT_EQ(raw().value("PRAGMA quick_check;"), "ok");
    return hasFailed;
  });
  expectWhole();
}

INSTANTIATE_TEST_SUITE_P(With, DiskFaultsOfIndexes, ::testing::Bool(), &name_of_connection);

constexpr const char* COUNT_TABLES =
    "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite%';";

/** What a store is before createDb. */
enum class Beginning { NOTHING, HALF, WHOLE };

class DiskFaultsOfMaking : public DiskFaults, public ::testing::WithParamInterface<Beginning> {
 protected:
  void begin() {
    close_store();
    unlink(dbFile().c_str());
    unlink(journalFile().c_str());
    if (GetParam() == Beginning::NOTHING) return;
    ASSERT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
    close_store();
    if (GetParam() == Beginning::WHOLE) return;
    RawConnection half(dbFile());
    half.exec(
        "PRAGMA journal_mode = PERSIST; DROP TABLE msg_sim_table; DROP TABLE mssi_info_table;");
  }
};

TEST_P(DiskFaultsOfMaking, AreMendedByTheNext) {
  int withoutVersion = 0;
  int withoutJournal = 0;
  // Of a whole store it writes nothing.
  const std::vector<Kind> unfailing =
      GetParam() == Beginning::WHOLE ? std::vector<Kind>{Kind::FULL} : std::vector<Kind>{};
  const auto run = [&](int number, FailingDisk::Failure failure) {
    begin();
    FakePlatform::get().clearLines();
    FailingDisk::fail(number, failure);
    const int ret = DBMgr::getInstance()->createDb();
    const bool isMade =
        ret == DB_SUCCESS && DBMgr::getInstance()->endTransaction(true) == DB_SUCCESS;
    const bool hasFailed = mend();
    const std::vector<std::string> errors = error_lines();
    if (isMade) {
      expect_made(dbFile());
      const bool isNew = GetParam() == Beginning::NOTHING;
      withoutJournal += isNew && is_without_journal(dbFile(), failure.isForGood) ? 1 : 0;
    }
    expect_told_by_making(ret, numbers_of(failure.kind));
    static_cast<void>(DBMgr::getInstance()->endTransaction(false));

    close_store();
    EXPECT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
    RawConnection made(dbFile());
    EXPECT_EQ(made.value("PRAGMA integrity_check;"), "ok");
    EXPECT_EQ(made.value(COUNT_TABLES), "14");
    // A file that is there already is not stamped again.
    if (is_without_version(dbFile(), ret, errors)) {
      EXPECT_FALSE(isMade);
      EXPECT_EQ(GetParam(), Beginning::NOTHING);
      ++withoutVersion;
    }
    return hasFailed;
  };
  failEverything("createDb", run, unfailing);
  EXPECT_LE(withoutJournal, 8) << "reads of a new file";
  print_figure("stores without their version: " + std::to_string(withoutVersion) +
               ", without their journal: " + std::to_string(withoutJournal));
}

std::string name_of_beginning(const ::testing::TestParamInfo<Beginning>& info) {
  constexpr const char* NAMES[] = {"Nothing", "AHalf", "AWhole"};
  return NAMES[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(From, DiskFaultsOfMaking,
                         ::testing::Values(Beginning::NOTHING, Beginning::HALF, Beginning::WHOLE),
                         &name_of_beginning);

}  // namespace

}  // namespace msg_tarvel
