// Every operation of the disk fails once, and from some moment on for good, under what the library
// does with a store: it answers as its interface allows, tells of it, and once the disk is well
// again so is everything.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <string>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/db/db_indexes.h"
#include "reliability/every_query.h"
#include "reliability/extent.h"
#include "reliability/failing_disk.h"
#include "reliability/left_handles.h"
#include "support/db_log.h"
#include "support/processes.h"
#include "support/sqlite_faults.h"

namespace msg_tarvel {

namespace {

using db::DB_ERR_EXEC;
using db::DB_ERR_OPEN;
using db::DB_SUCCESS;
using db::DBMgr;

/** What SQLite tells of such a failure. */
Numbers numbers_of(FailingDisk::Kind kind) {
  switch (kind) {
    case FailingDisk::Kind::IO_ERROR:
      return {SQLITE_IOERR};
    case FailingDisk::Kind::FULL:
      return {SQLITE_FULL};
    case FailingDisk::Kind::READ_ONLY:
      return {SQLITE_READONLY};
    case FailingDisk::Kind::BUSY:
      return {SQLITE_BUSY};
    case FailingDisk::Kind::CANNOT_OPEN:
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

class DiskFaults : private WithFailingDisk, public EveryQueryTest {
 protected:
  /** Calls `run` with each operation failing, in each way, until it needs no more of them. */
  template <typename Run>
  void failEverything(const std::string& what, Run run) {
    int tried = 0;
    for (const FailingDisk::Failure failure : FailingDisk::FAILURES) {
      bool hasFailed = true;
      for (int number = 1; hasFailed; ++number, ++tried) {
        SCOPED_TRACE(::testing::Message() << what << ", " << failure << " at operation " << number);
        hasFailed = run(number, failure);
        if (HasFailure()) return;
      }
    }
    print_figure(what + ": " + std::to_string(tried) + " runs");
    EXPECT_GT(tried, 10) << "nothing failed";
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
    for (const ListQuery& query : all_queries()) {
      close_store();
      const Outcome whole = ask(query.ask, isFast);
      ASSERT_EQ(whole.result, DB_SUCCESS) << query.name;
      failEverything(query.name, [&](int number, FailingDisk::Failure failure) {
        close_store();
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
      });
      if (HasFailure()) return;
    }
    expectWhole();
  }
};

TEST_P(DiskFaultsOfQueries, InTheDefinedWayAreTold) { failQueries(false); }

TEST_P(DiskFaultsOfQueries, InTheFastWayAreTold) { failQueries(true); }

INSTANTIATE_TEST_SUITE_P(With, DiskFaultsOfQueries, ::testing::Bool(), &name_of_store);

// ---- The owner ---------------------------------------------------------------------------------

constexpr const char* INSERT =
    "INSERT INTO msg_message_table (convId, msgType, textMessage) VALUES (1, 'sms', 'new');";
constexpr const char* COUNT_NEW =
    "SELECT count(*) FROM msg_message_table WHERE textMessage = 'new';";

TEST_F(DiskFaults, OfATransactionAreTold) {
  fill(3, 30);
  DBMgr* store = DBMgr::getInstance();
  int unknown = 0;
  failEverything("transaction", [&](int number, FailingDisk::Failure failure) {
    raw().exec("DELETE FROM msg_message_table WHERE textMessage = 'new';");
    close_store();
    store = DBMgr::getInstance();
    FailingDisk::fail(number, failure);
    int ret = store->beginTransaction();
    const bool hasBegun = ret == DB_SUCCESS;
    if (hasBegun) ret = store->execStatement(INSERT);
    const bool isInserted = ret == DB_SUCCESS;
    int ended = DB_ERR_EXEC;
    if (hasBegun) ended = store->endTransaction(isInserted);
    const bool hasFailed = mend();

    if (isInserted && ended == DB_SUCCESS) {
      EXPECT_EQ(raw().value(COUNT_NEW), "1") << "what was committed is seen by others";
    } else if (!isInserted) {
      EXPECT_TRUE(ret == DB_ERR_EXEC || ret == DB_ERR_OPEN) << ret;
    }
    // Whether a failed commit has come about is not known before it is given up.
    if (hasBegun && ended != DB_SUCCESS) {
      if (isInserted) ++unknown;
      static_cast<void>(store->endTransaction(false));
    }
    // A connection that could be opened for reading alone stays one.
    if (ended != DB_SUCCESS || failure.kind == FailingDisk::Kind::READ_ONLY) {
      close_store();
      store = DBMgr::getInstance();
    }
    EXPECT_TRUE(isInserted || raw().value(COUNT_NEW) == "0");
    EXPECT_EQ(store->beginTransaction(), DB_SUCCESS);
    EXPECT_EQ(store->execStatement(INSERT), DB_SUCCESS);
    EXPECT_EQ(store->endTransaction(true), DB_SUCCESS);
    EXPECT_GT(std::stoi(*raw().value(COUNT_NEW)), 0);
    return hasFailed;
  });
  print_figure("commits of unknown outcome: " + std::to_string(unknown));
  EXPECT_GT(unknown, 0);
  expectWhole();
}

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
    close_store();
    dropIndexes();
    FakePlatform::get().clearLines();
    FailingDisk::fail(number, failure);
    const int ret = db::db_create_indexes();
    const bool hasFailed = mend();
    EXPECT_TRUE(ret == DB_SUCCESS || !FakePlatform::get().lines().empty());
    if (GetParam() || failure.kind == FailingDisk::Kind::READ_ONLY) {
      close_store();
      // After a commit of unknown outcome, all of them.
      const std::string indexes = *raw().value(COUNT_INDEXES);
      EXPECT_TRUE(indexes == "14" || (indexes == "0" && ret != DB_SUCCESS)) << indexes;
    }
    EXPECT_EQ(db::db_create_indexes(), DB_SUCCESS);
    EXPECT_EQ(raw().value(COUNT_INDEXES), "14");
    return hasFailed;
  });
  expectWhole();
}

INSTANTIATE_TEST_SUITE_P(With, DiskFaultsOfIndexes, ::testing::Bool(), &name_of_connection);

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
  int withoutStamp = 0;
  failEverything("createDb", [&](int number, FailingDisk::Failure failure) {
    begin();
    FakePlatform::get().clearLines();
    FailingDisk::fail(number, failure);
    const int ret = DBMgr::getInstance()->createDb();
    const bool hasFailed = mend();
    EXPECT_TRUE(ret == DB_SUCCESS || !FakePlatform::get().lines().empty());
    static_cast<void>(DBMgr::getInstance()->endTransaction(false));

    close_store();
    EXPECT_EQ(DBMgr::getInstance()->createDb(), DB_SUCCESS);
    RawConnection made(dbFile());
    EXPECT_EQ(made.value("PRAGMA integrity_check;"), "ok");
    EXPECT_EQ(made.value("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND "
                         "name NOT LIKE 'sqlite%';"),
              "14");
    // A file that is there already is not stamped again.
    const std::string version = *made.value("PRAGMA user_version;");
    if (version == "0" && GetParam() == Beginning::NOTHING) {
      ++withoutStamp;
    } else {
      EXPECT_EQ(version, "4");
    }
    return hasFailed;
  });
  print_figure("stores without their version: " + std::to_string(withoutStamp));
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
