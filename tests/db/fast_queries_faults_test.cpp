// The fast ways where SQLite, the disk or the memory fails, or a lock is in the way: the answer,
// the items and the log are those of the defined way, and nothing is left behind.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "db/DBMgr_internal.h"
#include "list_queries.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "msg-tarvel-common/db/db_indexes.h"
#include "support/db_log.h"
#include "support/scarce_memory.h"
#include "support/sqlite_faults.h"

namespace msg_tarvel::db {

namespace {

const std::vector<unsigned int> SIX_WAITS = {100000, 200000, 300000, 400000, 500000, 600000};

bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

void create_indexes() { ASSERT_EQ(db_create_indexes(), DB_SUCCESS); }

/** What is the same before and after every query. */
class FastQueryTest : public ListQueriesTest {
 protected:
  using ListQueriesTest::ListQueriesTest;

  static sqlite3* connection() { return DBMgrInternal().handle(); }

  static void expectNothingLeftBehind(bool isInTransaction = false) {
    EXPECT_EQ(sqlite3_next_stmt(connection(), nullptr), nullptr) << "a statement is left";
    EXPECT_EQ(sqlite3_get_autocommit(connection()) == 0, isInTransaction);
  }

  /** The calls of SQLite that `query` makes on its fast way. */
  static std::vector<std::string> callsOf(const ListQuery& query) {
    SqliteFaults::clearCalls();
    query.ask();
    return SqliteFaults::calls();
  }

  /** The number of the call that steps for the first time, and so takes the lock. */
  static std::size_t firstStep(const std::vector<std::string>& calls) {
    const auto found = std::find_if(calls.begin(), calls.end(), [](const std::string& call) {
      return begins_with(call, "step ");
    });
    return static_cast<std::size_t>(found - calls.begin()) + 1;
  }
};

// ---- Calls that fail ---------------------------------------------------------------------------

struct Circumstances {
  std::string salesCode;
  bool hasIndexes;
  /** So many rows that dependents are read by a scan. */
  bool isBig;
  /** Of the caller's. */
  bool isInTransaction;
};

std::vector<Circumstances> all_circumstances() {
  std::vector<Circumstances> all;
  for (const char* salesCode : {"ATT", "NONE"}) {
    for (const bool hasIndexes : {false, true}) {
      for (const bool isBig : {false, true}) {
        for (const bool isInTransaction : {false, true}) {
          all.push_back({salesCode, hasIndexes, isBig, isInTransaction});
        }
      }
    }
  }
  return all;
}

std::string name_of(const ::testing::TestParamInfo<Circumstances>& info) {
  return info.param.salesCode + (info.param.hasIndexes ? "Indexed" : "Plain") +
         (info.param.isBig ? "Big" : "Small") + (info.param.isInTransaction ? "InTransaction" : "");
}

class FailingCalls : public FastQueryTest, public ::testing::WithParamInterface<Circumstances> {
 protected:
  FailingCalls()
      : FastQueryTest(GetParam().salesCode),
        _isBig(GetParam().isBig),
        _isInTransaction(GetParam().isInTransaction) {
    fill(_isBig ? 40 : 3, _isBig ? 80 : 9);
    if (GetParam().hasIndexes) create_indexes();
    if (!_isInTransaction) return;
    DBMgr& store = *DBMgr::getInstance();
    EXPECT_EQ(store.beginTransaction(), DB_SUCCESS);
    EXPECT_EQ(store.execStatement("UPDATE msg_message_table SET mainText = 'uncommitted';"
                                  "INSERT INTO msg_address_table (convId) VALUES (1);"),
              DB_SUCCESS);
  }

  ~FailingCalls() override {
    if (_isInTransaction) DBMgr::getInstance()->endTransaction(false);
  }

  /** The numbers of the calls that are worth failing: of many steps in a row the first and last. */
  std::vector<std::size_t> numbersOf(const std::vector<std::string>& calls) const {
    std::vector<std::size_t> numbers;
    for (std::size_t i = 0; i < calls.size(); ++i) {
      const bool isWithin = _isBig && i > 1 && i + 1 < calls.size() && calls[i] == calls[i - 1] &&
                            calls[i] == calls[i - 2] && calls[i] == calls[i + 1];
      if (!isWithin) numbers.push_back(i + 1);
    }
    return numbers;
  }

  /** What the defined way gives when the store stays locked at the same call. */
  static Outcome lockedAt(const ListQuery& query, bool isCompiling) {
    const DefinedWay way;
    SqliteFaults::failCall(isCompiling ? 1 : firstStep(callsOf(query)), SQLITE_BUSY);
    Outcome outcome = query.ask();
    EXPECT_TRUE(SqliteFaults::hasCallCome());
    EXPECT_LT(outcome.result, DB_ERR_OPEN);
    return outcome;
  }

  void expectTakenBack(const ListQuery& query) const {
    const Outcome defined = ask(query.ask, false);
    EXPECT_EQ(defined.result, DB_SUCCESS);
    const std::vector<std::string> calls = callsOf(query);
    const std::size_t step = firstStep(calls);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "exec BEGIN"), _isInTransaction ? 0 : 1);

    for (const std::size_t number : numbersOf(calls)) {
      for (const int code :
           {SQLITE_ERROR, SQLITE_IOERR, SQLITE_CORRUPT, SQLITE_NOMEM, SQLITE_FULL, SQLITE_BUSY}) {
        if (_isBig && number % 6 != static_cast<std::size_t>(code) % 6) continue;
        SCOPED_TRACE(calls[number - 1] + " fails with " + sqlite3_errstr(code));
        const bool isLocked = code == SQLITE_BUSY && (number == 1 || number == step);
        const Outcome expected = isLocked ? lockedAt(query, number == 1) : defined;
        SqliteFaults::failCall(number, code);
        ASSERT_EQ(query.ask(), expected);
        ASSERT_TRUE(SqliteFaults::hasCallCome());
        expectNothingLeftBehind(_isInTransaction);
      }
    }
  }

 private:
  bool _isBig;
  bool _isInTransaction;
};

TEST_P(FailingCalls, AreTakenBack) {
  for (const ListQuery& query : list_queries()) {
    SCOPED_TRACE(query.name);
    expectTakenBack(query);
  }
}

INSTANTIATE_TEST_SUITE_P(With, FailingCalls, ::testing::ValuesIn(all_circumstances()), &name_of);

// ---- Failures within SQLite --------------------------------------------------------------------

/** Fails within SQLite at one moment out of many; `left` counts down to it. */
int left = 0;

bool is_time() { return left > 0 && --left == 0; }

int interrupt(void* /*unused*/) { return is_time() ? 1 : 0; }

ssize_t (*real_pread)(int, void*, size_t, off_t) = &pread64;

ssize_t failing_pread(int file, void* buffer, size_t size, off_t offset) {
  if (!is_time()) return real_pread(file, buffer, size, offset);
  errno = EIO;
  return -1;
}

sqlite3_mem_methods real_memory;

void* failing_malloc(int size) { return is_time() ? nullptr : real_memory.xMalloc(size); }
void* failing_realloc(void* block, int size) {
  return is_time() ? nullptr : real_memory.xRealloc(block, size);
}

std::string name_of_store(const ::testing::TestParamInfo<bool>& info) {
  return info.param ? "Indexed" : "Plain";
}

/** The parameter: whether there are indexes. */
class RealFailures : public FastQueryTest, public ::testing::WithParamInterface<bool> {
 protected:
  void fillAndIndex() {
    fill(3, 9);
    if (GetParam()) create_indexes();
  }

  /** Each moment of each query fails in turn, every `stride` of them; `prepare` precedes a run. */
  template <typename Prepare>
  static void expectTakenBack(int stride, Prepare prepare) {
    for (const ListQuery& query : list_queries()) {
      SCOPED_TRACE(query.name);
      const Outcome defined = ask(query.ask, false);
      int moment = 1;
      for (;; moment += stride) {
        prepare();
        left = moment;
        const Outcome outcome = query.ask();
        const bool hasFailed = left == 0;
        left = 0;
        ASSERT_EQ(outcome, defined) << "moment " << moment;
        expectNothingLeftBehind();
        if (!hasFailed) break;
      }
      EXPECT_GT(moment, stride) << "nothing failed";
    }
  }
};

TEST_P(RealFailures, OfAnInterruptedStatementAreTakenBack) {
  fillAndIndex();
  sqlite3_progress_handler(connection(), 1, &interrupt, nullptr);
  expectTakenBack(3, [] {});
}

TEST_P(RealFailures, OfTheDiskAreTakenBack) {
  fillAndIndex();
  sqlite3_vfs* const files = sqlite3_vfs_find(nullptr);
  ASSERT_EQ(files->xSetSystemCall(files, "pread64",
                                  reinterpret_cast<sqlite3_syscall_ptr>(&failing_pread)),
            SQLITE_OK);
  ASSERT_EQ(
      files->xSetSystemCall(files, "pread", reinterpret_cast<sqlite3_syscall_ptr>(&failing_pread)),
      SQLITE_OK);
  // What is in its cache SQLite does not read again.
  expectTakenBack(1, [] { sqlite3_db_release_memory(connection()); });
}

INSTANTIATE_TEST_SUITE_P(With, RealFailures, ::testing::Bool(), &name_of_store);

/** Makes SQLite allocate through the functions above, before it opens the store. */
class SqliteMemory {
 protected:
  SqliteMemory() {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real_memory);
    sqlite3_mem_methods failing = real_memory;
    failing.xMalloc = &failing_malloc;
    failing.xRealloc = &failing_realloc;
    sqlite3_config(SQLITE_CONFIG_MALLOC, &failing);
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
  }
};

class SqliteWithoutMemory : private SqliteMemory, public RealFailures {};

TEST_P(SqliteWithoutMemory, IsTakenBack) {
  fillAndIndex();
  expectTakenBack(1, [] {});
}

INSTANTIATE_TEST_SUITE_P(With, SqliteWithoutMemory, ::testing::Bool(), &name_of_store);

}  // namespace

}  // namespace msg_tarvel::db
