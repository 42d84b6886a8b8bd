// Every allocation fails once, and from some moment on for good, under what the library does with a
// store: SQLite's allocations, and those of the library itself. It answers as its interface allows,
// keeps nothing, and once there is memory again all is as before.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <new>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/db/db_indexes.h"
#include "reliability/every_query.h"
#include "reliability/extent.h"
#include "reliability/failing_memory.h"
#include "reliability/made_store.h"

namespace msg_tarvel {

namespace {

using db::DB_ERR_PREPARE;
using db::DB_SUCCESS;
using db::DBMgr;
using Failure = FailingMemory::Failure;
using Of = FailingMemory::Of;

/** What stands for the result of a call that threw std::bad_alloc; no result is positive. */
constexpr int THROWN = 1;

/** The result of a call of the library's. */
template <typename Call>
int result_of(Call call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return THROWN;
  }
}

/** Where the library has no memory for itself, SQLite does not fail. */
Numbers numbers_of(Of whom) { return whom == Of::SQLITE ? Numbers{SQLITE_NOMEM} : Numbers{}; }

enum class Encoding { UTF_8, UTF_16 };

std::string word_for(Of whom) { return whom == Of::SQLITE ? "OfSqlite" : "OfTheLibrary"; }
std::string word_for(Encoding encoding) { return encoding == Encoding::UTF_8 ? "" : "Utf16"; }

/** Installed before the store is made, which the base class does. */
struct WithFailingMemory {
  WithFailingMemory() { FailingMemory::install(); }
};

class AllocationFaults : private WithFailingMemory, public EveryQueryTest {
 protected:
  ~AllocationFaults() override {
    makeCall = [](const auto& call) { return call(); };
  }

  /**
   * Calls `run` with each allocation of `whom` failing until it needs no more of them, or with each
   * `wholeStep`th. A run that is not whole tries as many as `points`, spread over all of them.
   * Where some are passed over, others are than yesterday, and not the same for everything.
   */
  template <typename Run>
  void failEvery(Of whom, const std::string& what, int points, Run run, int wholeStep = 1) {
    run(Failure{whom, INT_MAX, false});
    const int step =
        is_whole_run() ? wholeStep : std::max(1, FailingMemory::seen() * SHARE / points);
    for (const bool isForGood : {false, true}) {
      bool hasFailed = true;
      const auto shift = static_cast<unsigned int>(what.size()) + seed_of_today();
      int number = 1 + static_cast<int>(shift % static_cast<unsigned int>(step));
      for (; hasFailed; number += step) {
        const Failure failure = {whom, number, isForGood};
        SCOPED_TRACE(::testing::Message() << what << ": " << failure);
        const std::ptrdiff_t descriptors = open_descriptors();
        hasFailed = run(failure);
        EXPECT_EQ(open_descriptors(), descriptors) << "a descriptor is left";
        ++_tried;
        if (HasFailure()) return;
      }
    }
  }

  void printTried(const std::string& what) const {
    print_figure(what + ": " + std::to_string(_tried) + " runs");
    EXPECT_GT(_tried, 4);
  }

  /** Puts a store in this encoding in the place of the one that is there. */
  void makeAnew(Encoding encoding) {
    close_store();
    unlink(dbFile().c_str());
    unlink(journalFile().c_str());
    if (encoding == Encoding::UTF_16) {
      // The first table settles it.
      RawConnection(dbFile()).exec(
          "PRAGMA encoding = 'UTF-16le'; CREATE TABLE first(id); DROP TABLE first; "
          "PRAGMA user_version = 4;");
    }
    ASSERT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
    ASSERT_EQ(DBMgr::getInstance()->execStatement("PRAGMA journal_mode = PERSIST;"), DB_SUCCESS);
    EXPECT_EQ(raw().value("PRAGMA encoding;"), encoding == Encoding::UTF_8 ? "UTF-8" : "UTF-16le");
  }

  /** Closes the store, of which SQLite then has as much left as before it was opened. */
  static void expectNothingKept(long blocksBefore) {
    close_store();
    EXPECT_EQ(FailingMemory::blocksOfSqlite(), blocksBefore) << "memory of SQLite's is left";
  }

  void expectWhole() {
    EXPECT_EQ(raw().value("PRAGMA integrity_check;"), "ok");
    EXPECT_EQ(raw().value("PRAGMA user_version;"), "4");
  }

 private:
  int _tried = 0;
};

// ---- Queries -----------------------------------------------------------------------------------

struct Circumstances {
  Of whom;
  Encoding encoding;
  bool hasIndexes;
};

std::string name_of(const ::testing::TestParamInfo<Circumstances>& info) {
  return word_for(info.param.whom) + word_for(info.param.encoding) +
         (info.param.hasIndexes ? "Indexed" : "Plain");
}

class AllocationFaultsOfQueries : public AllocationFaults,
                                  public ::testing::WithParamInterface<Circumstances> {
 protected:
  AllocationFaultsOfQueries() {
    makeAnew(GetParam().encoding);
    fillForEveryQuery();
    if (GetParam().hasIndexes) createIndexes();
  }

  void failQueries(bool isFast) {
    for (const ListQuery& query : all_queries()) {
      close_store();
      const Outcome whole = ask(query.ask, isFast);
      ASSERT_EQ(whole.result, DB_SUCCESS) << query.name;
      // The store is opened and read anew each time, which is the same for all queries, and then it
      // is not.
      failEvery(
          GetParam().whom, query.name, COLD_POINTS,
          [&](Failure failure) { return tryQuery(query, whole, isFast, failure, true); },
          std::string(query.name) == "all" ? 1 : 7);
      ask(query.ask, isFast);
      failEvery(GetParam().whom, query.name, WARM_POINTS,
                [&](Failure failure) { return tryQuery(query, whole, isFast, failure, false); });
      if (HasFailure()) return;
    }
    printTried("queries, " + name_of({GetParam(), 0}) + (isFast ? ", fast" : ", defined"));
    expectWhole();
  }

 private:
  // Of each query.
  static constexpr int COLD_POINTS = 3;
  static constexpr int WARM_POINTS = 11;

  /** Whether anything failed. */
  static bool tryQuery(const ListQuery& query, const Outcome& whole, bool isFast, Failure failure,
                       bool isOpenedAnew) {
    if (isOpenedAnew) close_store();
    const long blocks = FailingMemory::blocksOfSqlite();
    bool hasFailed = false;
    makeCall = [&](const auto& call) {
      FailingMemory::fail(failure);
      const int result = result_of(call);
      hasFailed = FailingMemory::mend();
      return result;
    };
    const Outcome outcome = ask(query.ask, isFast);
    makeCall = [](const auto& call) { return call(); };
    expectAllowed(query, outcome, whole);

    // The connection that saw the failure goes on.
    if (connection()) expectNothingLeftBehind();
    const Outcome again = ask(query.ask, isFast);
    EXPECT_EQ(again.result, whole.result);
    EXPECT_TRUE(again.items == whole.items) << again << whole;
    EXPECT_FALSE(contains(again.lines, "[ERROR]")) << again.lines;
    if (isOpenedAnew) expectNothingKept(blocks);
    return hasFailed;
  }

  static void expectAllowed(const ListQuery& query, const Outcome& outcome, const Outcome& whole) {
    if (outcome.result != THROWN) {
      expect_allowed(query, outcome, whole, numbers_of(GetParam().whom));
    } else {
      EXPECT_EQ(GetParam().whom, Of::PROGRAM);
      expect_beginning(query, outcome, whole);
    }
  }
};

TEST_P(AllocationFaultsOfQueries, InTheDefinedWayAreTold) { failQueries(false); }

TEST_P(AllocationFaultsOfQueries, InTheFastWayAreTold) { failQueries(true); }

INSTANTIATE_TEST_SUITE_P(In, AllocationFaultsOfQueries,
                         ::testing::Values(Circumstances{Of::SQLITE, Encoding::UTF_8, false},
                                           Circumstances{Of::SQLITE, Encoding::UTF_8, true},
                                           Circumstances{Of::SQLITE, Encoding::UTF_16, false},
                                           Circumstances{Of::SQLITE, Encoding::UTF_16, true},
                                           Circumstances{Of::PROGRAM, Encoding::UTF_8, false},
                                           Circumstances{Of::PROGRAM, Encoding::UTF_8, true}),
                         &name_of);

// ---- The owner ---------------------------------------------------------------------------------

// In a string that is there already.
const std::string INSERT_BOUND =
    "INSERT INTO msg_message_table (convId, msgType, textMessage) VALUES (?, 'sms', 'new');";
const std::string INSERT =
    "INSERT INTO msg_message_table (convId, msgType, textMessage) VALUES (1, 'sms', 'new');";

struct OwnersCircumstances {
  Of whom;
  Encoding encoding;
};

std::string name_of_owner(const ::testing::TestParamInfo<OwnersCircumstances>& info) {
  return word_for(info.param.whom) + word_for(info.param.encoding);
}

class AllocationFaultsOfTheOwner : public AllocationFaults,
                                   public ::testing::WithParamInterface<OwnersCircumstances> {
 protected:
  AllocationFaultsOfTheOwner() { makeAnew(GetParam().encoding); }

  static Of whom() { return GetParam().whom; }

  /** The one value of `sql`, as another process has it: with a connection for this alone. */
  std::string value(const std::string& sql) const { return *RawConnection(dbFile()).value(sql); }
  std::string newRows() const {
    return value("SELECT count(*) FROM msg_message_table WHERE textMessage = 'new';");
  }

  /** Ends a transaction that may have been ended by SQLite, as the interface says. */
  static void giveUp() {
    if (DBMgr::getInstance()->endTransaction(false) != DB_SUCCESS) close_store();
  }

  static int insertCompiled() {
    const auto statement = DBMgr::getInstance()->compileStatement(INSERT_BOUND);
    if (!statement) return DB_ERR_PREPARE;
    statement->bind(1, 1);
    return statement->step();
  }

  /** One that is rolled back leaves nothing, one that is committed all. */
  static void expectTransactionsAreWhole() {
    for (const bool isCommitted : {false, true}) {
      DBMgr* const store = DBMgr::getInstance();
      EXPECT_EQ(store->beginTransaction(), DB_SUCCESS);
      EXPECT_EQ(store->execStatement(INSERT), DB_SUCCESS);
      EXPECT_EQ(store->endTransaction(isCommitted), DB_SUCCESS);
    }
  }

  /** Whether anything failed. */
  bool tryTransaction(Failure failure, bool isCompiled) {
    close_store();
    RawConnection(dbFile()).exec("DELETE FROM msg_message_table WHERE textMessage = 'new';");
    const long blocks = FailingMemory::blocksOfSqlite();
    DBMgr* const store = DBMgr::getInstance();
    FakePlatform::get().clearLines();
    FailingMemory::fail(failure);
    const int begun = result_of([&] { return store->beginTransaction(); });
    int inserted = DB_SUCCESS;
    if (begun == DB_SUCCESS) {
      inserted =
          result_of([&] { return isCompiled ? insertCompiled() : store->execStatement(INSERT); });
    }
    const bool isRight = begun == DB_SUCCESS && inserted == DB_SUCCESS;
    const int ended = result_of([&] { return store->endTransaction(isRight); });
    const bool hasFailed = FailingMemory::mend();
    expect_told({begun, inserted, ended}, numbers_of(whom()));

    // What could not be ended is still running and may be ended again.
    const bool isCommitted =
        isRight && (ended == DB_SUCCESS || store->endTransaction(true) == DB_SUCCESS);
    if (!isCommitted && ended != DB_SUCCESS) giveUp();
    EXPECT_EQ(newRows(), isCommitted ? "1" : "0");
    expectTransactionsAreWhole();
    EXPECT_EQ(newRows(), isCommitted ? "2" : "1");
    EXPECT_EQ(value("PRAGMA quick_check;"), "ok");
    expectNothingKept(blocks);
    return hasFailed;
  }

  static std::string whose() {
    return std::string(whom() == Of::SQLITE ? "SQLite's" : "the library's") +
           (GetParam().encoding == Encoding::UTF_8 ? "" : " (UTF-16)");
  }
};

TEST_P(AllocationFaultsOfTheOwner, InATransactionAreTold) {
  fill(3, 9);
  for (const bool isCompiled : {false, true}) {
    failEvery(whom(), isCompiled ? "compiled" : "executed", 25,
              [&](Failure failure) { return tryTransaction(failure, isCompiled); });
  }
  printTried("transactions, " + whose() + " allocations");
  expectWhole();
}

constexpr const char* COUNT_INDEXES =
    "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL;";

class AllocationFaultsOfIndexes : public AllocationFaultsOfTheOwner {
 protected:
  void dropIndexes() const {
    RawConnection other(dbFile());
    for (const std::string& drop :
         other.column("SELECT 'DROP INDEX ' || name || ';' FROM sqlite_master WHERE type = 'index' "
                      "AND sql IS NOT NULL;")) {
      other.exec(drop);
    }
  }
};

TEST_P(AllocationFaultsOfIndexes, LeaveAllOrNone) {
  fill(3, 9);
  failEvery(whom(), "db_create_indexes", 12, [&](Failure failure) {
    close_store();
    dropIndexes();
    const long blocks = FailingMemory::blocksOfSqlite();
    static_cast<void>(DBMgr::getInstance());
    FakePlatform::get().clearLines();
    FailingMemory::fail(failure);
    const int ret = result_of(&db::db_create_indexes);
    const bool hasFailed = FailingMemory::mend();
    EXPECT_TRUE(ret != THROWN || whom() == Of::PROGRAM);
    expect_told_by_indexes(ret, numbers_of(whom()));
    // Without memory for good there was none to roll back with.
    if (failure.isForGood && whom() == Of::SQLITE) giveUp();
    EXPECT_EQ(db::DBMgrInternal().transactionDepth(), 0);
    EXPECT_EQ(value(COUNT_INDEXES), ret == DB_SUCCESS ? "14" : "0");
    EXPECT_EQ(db::db_create_indexes(), DB_SUCCESS);
    EXPECT_EQ(value(COUNT_INDEXES), "14");
    const std::string rows = newRows();
    expectTransactionsAreWhole();
    EXPECT_EQ(newRows(), std::to_string(std::stoi(rows) + 1));
    EXPECT_EQ(value("PRAGMA quick_check;"), "ok");
    expectNothingKept(blocks);
    return hasFailed;
  });
  printTried("db_create_indexes, " + whose() + " allocations");
  expectWhole();
}

TEST_P(AllocationFaultsOfTheOwner, LeaveNoConnectionOfAThreadThatEnded) {
  fill(3, 9);
  close_store();
  failEvery(whom(), "thread", 20, [&](Failure failure) {
    const long blocks = FailingMemory::blocksOfSqlite();
    const std::size_t managers = db::DBMgrInternal::instanceCount();
    bool hasFailed = false;
    std::thread([&] {
      FailingMemory::fail(failure);
      const bool isBegun = result_of([] {
                             db::init_db();
                             return DB_SUCCESS;
                           }) == DB_SUCCESS;
      if (isBegun) {
        std::vector<Message> messages;
        result_of([&] { return db::db_get_message_list(ListCondition(), messages); });
        messages.clear();
        result_of([&] { return db::db_get_message(3, messages.emplace_back()); });
        db::deinit_db();
      }
      hasFailed = FailingMemory::mend();
    }).join();
    EXPECT_EQ(FailingMemory::blocksOfSqlite(), blocks) << "a connection is kept";
    // The place of a manager that could not be made is kept for the thread's id.
    EXPECT_LE(db::DBMgrInternal::instanceCount(), managers + 1);
    return hasFailed;
  });
  printTried("threads, " + whose() + " allocations");
}

/** What a store is before createDb. */
enum class Beginning { NOTHING, HALF, WHOLE };

class AllocationFaultsOfMaking
    : public AllocationFaults,
      public ::testing::WithParamInterface<std::tuple<Of, Beginning, Encoding>> {
 protected:
  static Of whom() { return std::get<Of>(GetParam()); }
  static Beginning beginning() { return std::get<Beginning>(GetParam()); }
  static Encoding encoding() { return std::get<Encoding>(GetParam()); }

  void begin() {
    makeAnew(encoding());
    close_store();
    if (beginning() == Beginning::WHOLE) return;
    if (beginning() == Beginning::NOTHING) {
      unlink(dbFile().c_str());
      unlink(journalFile().c_str());
      return;
    }
    RawConnection half(dbFile());
    half.exec(
        "PRAGMA journal_mode = PERSIST; DROP TABLE msg_sim_table; DROP TABLE mssi_info_table;");
  }

  /** The tables, as another connection sees them. */
  std::string tables() {
    RawConnection other(dbFile());
    return *other.value(
        "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite%';");
  }
};

TEST_P(AllocationFaultsOfMaking, AreMendedByTheNext) {
  failEvery(whom(), "createDb", 12, [&](Failure failure) {
    begin();
    FakePlatform::get().clearLines();
    const long blocks = FailingMemory::blocksOfSqlite();
    DBMgr* const store = DBMgr::getInstance();
    FailingMemory::fail(failure);
    const int ret = result_of([&] { return store->createDb(); });
    const bool isEnded =
        ret != DB_SUCCESS || result_of([&] { return store->endTransaction(true); }) == DB_SUCCESS;
    const bool hasFailed = FailingMemory::mend();

    EXPECT_TRUE(ret != THROWN || whom() == Of::PROGRAM);
    expect_told_by_making(ret, numbers_of(whom()));
    const bool isMade = ret == DB_SUCCESS && isEnded;
    const std::vector<std::string> errors = error_lines();
    if (isMade) {
      expect_made(dbFile());
      if (beginning() == Beginning::NOTHING) is_without_journal(dbFile(), failure.isForGood);
    }
    if (whom() == Of::PROGRAM) {
      EXPECT_EQ(db::DBMgrInternal(store).transactionDepth(), 0);
    }
    // The owner ends what is left running, and where SQLite has ended it, the connection.
    static_cast<void>(store->endTransaction(false));
    expectNothingKept(blocks);

    EXPECT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
    EXPECT_EQ(tables(), "14");
    RawConnection made(dbFile());
    EXPECT_EQ(made.value("PRAGMA integrity_check;"), "ok");
    EXPECT_EQ(made.value("SELECT quote(restartToken) FROM mssi_info_table;"), "''");
    // A file that is there already is not stamped again.
    if (is_without_version(dbFile(), ret, errors)) {
      EXPECT_FALSE(isMade);
      EXPECT_EQ(beginning(), Beginning::NOTHING);
    }
    return hasFailed;
  });
  printTried("createDb, " + std::string(whom() == Of::SQLITE ? "SQLite's" : "the library's") +
             " allocations");
}

std::string name_of_making(
    const ::testing::TestParamInfo<std::tuple<Of, Beginning, Encoding>>& info) {
  constexpr const char* NAMES[] = {"Nothing", "AHalf", "AWhole"};
  return word_for(std::get<Of>(info.param)) + word_for(std::get<Encoding>(info.param)) + "From" +
         NAMES[static_cast<int>(std::get<Beginning>(info.param))];
}

const auto OWNERS = ::testing::Values(OwnersCircumstances{Of::SQLITE, Encoding::UTF_8},
                                      OwnersCircumstances{Of::SQLITE, Encoding::UTF_16},
                                      OwnersCircumstances{Of::PROGRAM, Encoding::UTF_8});

INSTANTIATE_TEST_SUITE_P(In, AllocationFaultsOfTheOwner, OWNERS, &name_of_owner);
INSTANTIATE_TEST_SUITE_P(In, AllocationFaultsOfIndexes, OWNERS, &name_of_owner);

INSTANTIATE_TEST_SUITE_P(In, AllocationFaultsOfMaking,
                         ::testing::Combine(::testing::Values(Of::SQLITE, Of::PROGRAM),
                                            ::testing::Values(Beginning::NOTHING, Beginning::HALF,
                                                              Beginning::WHOLE),
                                            ::testing::Values(Encoding::UTF_8)),
                         &name_of_making);
// In a store of this encoding the text of the new row is made into another.
INSTANTIATE_TEST_SUITE_P(InUtf16, AllocationFaultsOfMaking,
                         ::testing::Values(std::tuple(Of::SQLITE, Beginning::HALF,
                                                      Encoding::UTF_16)),
                         &name_of_making);

}  // namespace

}  // namespace msg_tarvel
