// The fast ways where SQLite, the disk or the memory fails, or a lock is in the way: the answer,
// the items and the log are those of the defined way, and nothing is left behind.

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "list_queries.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/SqlStatement.h"
#include "msg-tarvel-common/db/db_error.h"
#include "reliability/extent.h"
#include "support/db_log.h"
#include "support/sqlite_faults.h"

namespace msg_tarvel::db {

namespace {

const std::vector<unsigned int> SIX_WAITS = {100000, 200000, 300000, 400000, 500000, 600000};

bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

/** Tells what calls of SQLite a query makes. */
class FastQueryTest : public ListQueriesTest {
 protected:
  using ListQueriesTest::ListQueriesTest;

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
    begin();
    _defined = defined_outcomes();
    if (!GetParam().hasIndexes) return;
    end();
    createIndexes();
    begin();
  }

  ~FailingCalls() override { end(); }

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

  /** `defined`: what the query gives without indexes. */
  void expectTakenBack(const ListQuery& query, const Outcome& defined) const {
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

  const std::vector<Outcome>& defined() const { return _defined; }

 private:
  void begin() const {
    if (!_isInTransaction) return;
    DBMgr& store = *DBMgr::getInstance();
    EXPECT_EQ(store.beginTransaction(), DB_SUCCESS);
    EXPECT_EQ(store.execStatement("UPDATE msg_message_table SET mainText = 'uncommitted';"
                                  "INSERT INTO msg_address_table (convId) VALUES (1);"),
              DB_SUCCESS);
  }
  void end() const {
    if (!_isInTransaction) return;
    EXPECT_EQ(DBMgr::getInstance()->endTransaction(false), DB_SUCCESS);
  }

  std::vector<Outcome> _defined;
  bool _isBig;
  bool _isInTransaction;
};

TEST_P(FailingCalls, AreTakenBack) {
  for (std::size_t i = 0; i < defined().size(); ++i) {
    const ListQuery query = list_queries()[i];
    SCOPED_TRACE(query.name);
    expectTakenBack(query, defined()[i]);
  }
}

INSTANTIATE_TEST_SUITE_P(With, FailingCalls, ::testing::ValuesIn(all_circumstances()), &name_of);

/** A pass through the table may be in another order than a look-up by the stranger's index. */
TEST_F(FastQueryTest, IndexesThatCannotBeListedMayBeAStrangers) {
  fill(40, 80);
  raw().exec(
      "UPDATE msg_address_table SET address = -addressId;"
      "CREATE INDEX stranger ON msg_address_table(convId, address);");
  const ListQuery query = list_queries().front();
  const Outcome defined = ask(query.ask, false);
  const std::string listing = "PRAGMA index_list(msg_address_table);";
  for (const char* call : {"prepare", "step"}) {
    SqliteFaults::clearCalls();
    SqliteFaults::fail(call, listing, SQLITE_NOMEM);
    EXPECT_EQ(query.ask(), defined);
    const std::vector<std::string> calls = SqliteFaults::calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), call + (" " + listing)), 1);
  }
}

// ---- When the fast way is taken ----------------------------------------------------------------

/** Whether the query is answered by the fast way, which is the one that begins a transaction. */
class FastQueryChoice : public FastQueryTest {
 protected:
  static bool isFast(const ListQuery& query, const std::string& sign = "exec BEGIN") {
    const std::vector<std::string> calls = callsOf(query);
    return std::count(calls.begin(), calls.end(), sign) == 1;
  }
};

TEST_F(FastQueryChoice, CompilesNoMoreStatementsForMoreRows) {
  const auto compilations = [](const ListQuery& query) {
    const std::vector<std::string> calls = callsOf(query);
    return std::count_if(calls.begin(), calls.end(),
                         [](const std::string& call) { return begins_with(call, "prepare "); });
  };
  fill(40, 80);
  std::vector<std::ptrdiff_t> few;
  for (const ListQuery& query : list_queries()) few.push_back(compilations(query));
  raw().exec(
      "DELETE FROM msg_conversation_table; DELETE FROM msg_message_table; "
      "DELETE FROM msg_address_table; DELETE FROM msg_mms_content_table; "
      "DELETE FROM msg_nms_meta_table; DELETE FROM sqlite_sequence;");
  fill(400, 800);
  for (std::size_t i = 0; i < few.size(); ++i) {
    EXPECT_LE(compilations(list_queries()[i]), few[i]) << list_queries()[i].name;
    EXPECT_LE(few[i], 12);
  }
}

TEST_F(FastQueryChoice, AnUnfinishedReadOfTheCallersIsNoHindrance) {
  fill(3, 9);
  const auto reading =
      DBMgr::getInstance()->compileStatement("SELECT msgId FROM msg_message_table;");
  ASSERT_EQ(reading->step(), DB_ROW);
  for (const ListQuery& query : list_queries()) EXPECT_TRUE(isFast(query)) << query.name;
}

TEST_F(FastQueryChoice, AnUnfinishedWriteOfTheCallersIs) {
  fill(3, 9);
  const auto writing = DBMgr::getInstance()->compileStatement(
      "INSERT INTO temp_log (data1) VALUES ('a'), ('b') RETURNING id;");
  ASSERT_EQ(writing->step(), DB_ROW);
  for (const ListQuery& query : list_queries()) EXPECT_FALSE(isFast(query)) << query.name;
}

TEST_F(FastQueryChoice, FewRowsAreLookedUpAndManyAreReadInOnePass) {
  createIndexes();
  fill(40, 80);
  const std::string pass =
      "prepare SELECT convId, addressType, recipientType, address FROM msg_address_table ";
  const std::vector<ListQuery> queries = list_queries();
  EXPECT_TRUE(isFast(queries[0], pass + "NOT INDEXED;")) << queries[0].name;
  EXPECT_FALSE(isFast(queries[0], pass + "WHERE convId = ?;"));
  EXPECT_TRUE(isFast(queries[1], pass + "WHERE convId = ?;")) << queries[1].name;
  EXPECT_FALSE(isFast(queries[1], pass + "NOT INDEXED;"));
}

// ---- Failures within SQLite --------------------------------------------------------------------

/** Fails within SQLite at one moment out of many; `left` counts down to it. */
int left = 0;

bool is_time() { return left > 0 && --left == 0; }

int interrupt(void* /*unused*/) { return is_time() ? 1 : 0; }

ssize_t (*real_pread)(int, void*, size_t, off_t) = &pread64;

/** EIO is a damaged file to SQLite, others are failures of the disk. */
int read_error = EIO;

ssize_t failing_pread(int file, void* buffer, size_t size, off_t offset) {
  if (!is_time()) return real_pread(file, buffer, size, offset);
  errno = read_error;
  return -1;
}

sqlite3_mem_methods real_memory;

void* failing_malloc(int size) { return is_time() ? nullptr : real_memory.xMalloc(size); }
void* failing_realloc(void* block, int size) {
  return is_time() ? nullptr : real_memory.xRealloc(block, size);
}

/** The parameter: whether there are indexes. */
class RealFailures : public FastQueryTest, public ::testing::WithParamInterface<bool> {
 protected:
  void fillAndIndex() {
    fill(3, 9);
    _defined = defined_outcomes();
    if (GetParam()) createIndexes();
  }

  static void failReads() {
    sqlite3_vfs* const files = sqlite3_vfs_find(nullptr);
    for (const char* call : {"pread", "pread64"}) {
      ASSERT_EQ(
          files->xSetSystemCall(files, call, reinterpret_cast<sqlite3_syscall_ptr>(&failing_pread)),
          SQLITE_OK);
    }
  }

  /** Each moment of each query fails in turn, every `stride` of them; `prepare` precedes a run. */
  template <typename Prepare>
  void expectTakenBack(int stride, Prepare prepare) const {
    for (std::size_t i = 0; i < _defined.size(); ++i) {
      const ListQuery query = list_queries()[i];
      SCOPED_TRACE(query.name);
      const Outcome& defined = _defined[i];
      int moment = 1;
      for (;; moment += stride * SHARE) {
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

 private:
  /** Without indexes. */
  std::vector<Outcome> _defined;
};

TEST_P(RealFailures, OfAnInterruptedStatementAreTakenBack) {
  fillAndIndex();
  sqlite3_progress_handler(connection(), 1, &interrupt, nullptr);
  expectTakenBack(3, [] {});
}

TEST_P(RealFailures, OfTheDiskAreTakenBack) {
  fillAndIndex();
  failReads();
  // What is in its cache SQLite does not read again.
  expectTakenBack(1, [] { sqlite3_db_release_memory(connection()); });
}

TEST_P(RealFailures, OfTheDiskFailTheQueryWhoseTransactionTheyEnd) {
  fillAndIndex();
  failReads();
  read_error = EACCES;
  std::vector<ListQuery> queries = list_queries();
  queries.push_back({"look-up of addresses", [] {
                       return list_outcome<Address>(
                           2, [](auto& out) { return db_get_addresses(1, out); });
                     }});
  for (const ListQuery& query : queries) {
    SCOPED_TRACE(query.name);
    int ended = 0;
    bool hasFailed = true;
    for (int moment = 1; hasFailed; ++moment) {
      DBMgr& store = *DBMgr::getInstance();
      // What is in its cache SQLite does not read again.
      ASSERT_EQ(store.execStatement("PRAGMA cache_size = 1;"), DB_SUCCESS);
      ASSERT_EQ(store.beginTransaction(), DB_SUCCESS);
      // Nobody else sees this row; a transaction that was rolled back has lost it.
      ASSERT_EQ(store.execStatement("INSERT INTO temp_log (data1) VALUES ('');"), DB_SUCCESS);
      left = moment;
      const Outcome outcome = query.ask();
      hasFailed = left == 0;
      left = 0;
      if (sqlite3_get_autocommit(connection()) != 0) {
        ++ended;
        EXPECT_EQ(outcome.result, DB_ERR_STEP) << "moment " << moment;
        EXPECT_NE(outcome.lines.find("sqlite3_step() failed: (" + std::to_string(SQLITE_IOERR)),
                  std::string::npos)
            << outcome.lines;
        init_db();
        deinit_db();
        continue;
      }
      ASSERT_EQ(store.endTransaction(false), DB_SUCCESS);
    }
    EXPECT_GT(ended, 0);
  }
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

/** Of a store in UTF-16, each text of which SQLite needs memory to give. */
class LostTextsOfAStore : public SqliteWithoutMemory {
 protected:
  /** A row has many texts, so that none is passed over in every row. */
  static constexpr int STRIDE = 3;

  LostTextsOfAStore() {
    init_db();
    deinit_db();
    std::vector<std::string> tables;
    {
      RawConnection made(dbFile());
      tables = made.column(
          "SELECT sql FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite%';");
    }
    unlink(dbFile().c_str());
    RawConnection store(dbFile());
    store.exec("PRAGMA encoding = 'UTF-16'; PRAGMA journal_mode = PERSIST;");
    for (const std::string& table : tables) store.exec(table);
    store.exec("INSERT INTO mssi_info_table (notiIdx, restartToken) VALUES (7, 'token');");
  }

  static Outcome subscription() {
    unsigned long long notiIdx = 0;
    std::string restartToken;
    FakePlatform::get().clearLines();
    Outcome outcome;
    outcome.result = db_get_subscription_info(notiIdx, restartToken);
    outcome.items = std::to_string(notiIdx) + " " + restartToken + "\n";
    for (const LogLine& line : FakePlatform::get().lines()) outcome.lines += line.raw;
    return outcome;
  }

  static std::vector<ListQuery> queries() {
    std::vector<ListQuery> all = list_queries();
    all.push_back({"message", [] {
                     return item_outcome<Message>(
                         [](Message& message) { return db::db_get_message(1, message); });
                   }});
    all.push_back({"thread", [] {
                     return item_outcome<Thread>(
                         [](Thread& thread) { return db::db_get_thread(1, thread); });
                   }});
    all.push_back({"addresses", [] {
                     return list_outcome<Address>(
                         2, [](auto& out) { return db::db_get_addresses(1, out); });
                   }});
    all.push_back({"subscription", &subscription});
    all.push_back({"contents", [] {
                     return list_outcome<Content>(
                         2, [](auto& out) { return db::db_get_contents(1, out); });
                   }});
    return all;
  }

  /**
   * The allocations of a query fail in turn. It says so or gives what it gives otherwise; lists
   * keep the rows before the failure.
   */
  static void expectNoSuccessWithOtherTexts(bool isFast) {
    for (const ListQuery& query : queries()) {
      SCOPED_TRACE(query.name);
      const std::string name = query.name;
      const bool isSingle = name == "message" || name == "thread" || name == "subscription";
      const Outcome whole = ask(query.ask, isFast);
      bool hasFailed = true;
      int failures = 0;
      for (int moment = 1; hasFailed; moment += SHARE * (isSingle ? 1 : STRIDE)) {
        left = moment;
        const Outcome outcome = ask(query.ask, isFast);
        hasFailed = left == 0;
        left = 0;
        const std::string items = items_with_metadata(outcome, whole);
        if (outcome.result == whole.result) {
          ASSERT_TRUE(items == whole.items) << "moment " << moment << "\n" << outcome << whole;
        } else {
          ASSERT_TRUE(isSingle || begins_with(whole.items, items)) << "moment " << moment;
          ++failures;
          ASSERT_TRUE(outcome.result == DB_ERR_STEP || outcome.result == DB_ERR_PREPARE)
              << outcome.result;
          const bool isStep = outcome.result == DB_ERR_STEP;
          ASSERT_NE(outcome.lines.find(isStep ? "sqlite3_step() failed: (7)"
                                              : "compileStatement() failed"),
                    std::string::npos)
              << outcome.lines;
        }
      }
      EXPECT_TRUE(isFast || failures > 0);
    }
  }
};

TEST_P(LostTextsOfAStore, FailTheirRowInTheDefinedWay) {
  fillAndIndex();
  expectNoSuccessWithOtherTexts(false);
}

TEST_P(LostTextsOfAStore, AreTakenBackByTheFastWay) {
  fillAndIndex();
  expectNoSuccessWithOtherTexts(true);
}

INSTANTIATE_TEST_SUITE_P(With, LostTextsOfAStore, ::testing::Bool(), &name_of_store);

// ---- Locks -------------------------------------------------------------------------------------

class LockedStore : public FastQueryTest {
 protected:
  LockedStore() { fill(3, 9); }

  /** The next query opens its connection anew, and so has to read the schema when it compiles. */
  static void forgetSchema() {
    init_db();
    deinit_db();
  }

  /** A statement that the fast way compiles once for a connection. */
  static ListQuery lookUp() {
    return {
        "look-up by id", [] {
          return item_outcome<Message>([](Message& message) { return db_get_message(1, message); });
        }};
  }

  /** How long the library wanted to wait since the last call. */
  std::vector<unsigned int> waits() {
    const std::vector<unsigned int> all = SqliteFaults::sleeps();
    const auto begin = all.begin() + static_cast<std::ptrdiff_t>(_waitsBefore);
    _waitsBefore = all.size();
    return {begin, all.end()};
  }

  /** Both ways through a lock that stays: one wait, one failure. */
  void expectTheSameFailure(const ListQuery& query, int code, bool isSchemaKnown) {
    SCOPED_TRACE(query.name);
    if (!isSchemaKnown) forgetSchema();
    const Outcome defined = ask(query.ask, false);
    EXPECT_EQ(defined.result, code);
    EXPECT_EQ(waits(), SIX_WAITS);
    if (!isSchemaKnown) forgetSchema();
    const Outcome fast = query.ask();
    EXPECT_EQ(fast, defined);
    EXPECT_EQ(waits(), SIX_WAITS);
    expectNothingLeftBehind();
  }

 private:
  std::size_t _waitsBefore = 0;
};

TEST_F(LockedStore, FailsInTheFirstStep) {
  ASSERT_EQ(list_queries().front().ask().result, DB_SUCCESS);
  raw().exec("BEGIN EXCLUSIVE;");
  for (const ListQuery& query : list_queries()) expectTheSameFailure(query, DB_ERR_STEP, true);
  expectTheSameFailure(lookUp(), DB_ERR_STEP, true);
}

TEST_F(LockedStore, FailsToCompileWithoutTheSchema) {
  raw().exec("BEGIN EXCLUSIVE;");
  for (const ListQuery& query : list_queries()) expectTheSameFailure(query, DB_ERR_PREPARE, false);
  expectTheSameFailure(lookUp(), DB_ERR_PREPARE, false);
}

/** As after a transaction that could not begin. */
TEST_F(LockedStore, FailsALookUpOnAConnectionThatHasNotReadTheSchema) {
  raw().exec("BEGIN EXCLUSIVE;");
  const auto failed = [&](bool isFast) {
    forgetSchema();
    EXPECT_EQ(DBMgrInternal().openDb(), DB_SUCCESS);
    Outcome outcome = ask(lookUp().ask, isFast);
    EXPECT_EQ(waits(), SIX_WAITS);
    return outcome;
  };
  const Outcome defined = failed(false);
  EXPECT_EQ(defined.result, DB_ERR_PREPARE);
  EXPECT_EQ(failed(true), defined);
  expectNothingLeftBehind();
}

TEST_F(LockedStore, IsReportedLineByLine) {
  std::vector<Message> messages;
  ASSERT_EQ(db_get_message_list(ListCondition(), messages), DB_SUCCESS);
  const std::size_t before = messages.size();
  raw().exec("BEGIN EXCLUSIVE;");
  FakePlatform::get().clearLines();
  EXPECT_EQ(db_get_message_list(ListCondition(), messages), DB_ERR_STEP);
  EXPECT_TRUE(logged(
      {gave_up_waiting(),
       error_line("SqlStatement.cpp", "step", "[ERROR] sqlite3_step() failed: (5)"),
       error_line("db_common_funcs.cpp", "_db_query_get_message_list", "[ERROR] step() failed"),
       warn_line("SqlStatement.cpp", "_finalize", "sqlite3_finalize() failed: (5)"),
       error_line("db_common_funcs.cpp", "db_get_message_list",
                  "[ERROR] _db_query_get_message_list() failed: (-1005)")}));
  forgetSchema();
  EXPECT_EQ(db_get_message_list(ListCondition(), messages), DB_ERR_PREPARE);
  EXPECT_TRUE(logged(
      {opening(), gave_up_waiting(),
       manager_error("compileStatement", "sqlite3_prepare_v2() failed: (5) (database is locked)"),
       error_line("db_common_funcs.cpp", "_db_query_get_message_list",
                  "[ERROR] compileStatement() failed!"),
       error_line("db_common_funcs.cpp", "db_get_message_list",
                  "[ERROR] _db_query_get_message_list() failed: (-1004)")}));
  EXPECT_EQ(messages.size(), before);
}

TEST_F(LockedStore, ThatIsGivenFreeInTimeAnswers) {
  for (const ListQuery& query : list_queries()) {
    SCOPED_TRACE(query.name);
    const Outcome free = ask(query.ask, false);
    for (const bool isSchemaKnown : {true, false}) {
      if (!isSchemaKnown) forgetSchema();
      raw().exec("BEGIN EXCLUSIVE;");
      SqliteFaults::onSleep([this, count = 0]() mutable {
        // After 0.1 and 0.2 seconds.
        if (++count == 2) raw().exec("COMMIT;");
      });
      Outcome outcome = query.ask();
      if (!isSchemaKnown) outcome.lines.clear();
      EXPECT_EQ(outcome, free);
      EXPECT_EQ(waits(), (std::vector<unsigned int>{100000, 200000}));
      expectNothingLeftBehind();
    }
  }
}

TEST_F(LockedStore, IsNotWaitedForTwiceBetweenCompilingAndTheFirstStep) {
  for (const ListQuery& query : list_queries()) {
    SCOPED_TRACE(query.name);
    const std::size_t step = firstStep(callsOf(query));
    SqliteFaults::onCall(step, [this] { raw().exec("BEGIN EXCLUSIVE;"); });
    EXPECT_EQ(query.ask().result, DB_ERR_STEP);
    EXPECT_EQ(waits(), SIX_WAITS);
    expectNothingLeftBehind();
    raw().exec("COMMIT;");
  }
}

// ---- A writer in the middle --------------------------------------------------------------------

/** Gives every message and every part another look, and moves messages; all or nothing. */
constexpr const char* CHANGE_EVERYTHING =
    "UPDATE msg_message_table SET convId = convId % 3 + 1, mainText = 'changed', "
    "  networkStatus = 3 - networkStatus % 2, simIndex = 9, displayTime = displayTime - 1;"
    "UPDATE msg_address_table SET convId = convId % 3 + 1, address = 'changed' || address;"
    "UPDATE msg_mms_content_table SET textData = 'changed';"
    "INSERT INTO msg_mms_content_table (msgId) VALUES (3);"
    "UPDATE msg_nms_meta_table SET objectId = 'changed', msgTime = msgTime - 1;"
    "UPDATE msg_conversation_table SET unreadCnt = 7, mainText = 'changed';";

class WriterInTheMiddle : public LockedStore, public ::testing::WithParamInterface<bool> {
 protected:
  WriterInTheMiddle() {
    if (GetParam()) createIndexes();
    raw().exec("PRAGMA busy_timeout = 0;");
  }

  bool run(const char* sql) {
    return sqlite3_exec(raw().handle(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
  }

  /** A transaction that cannot be committed keeps new readers out. */
  void change() {
    _hasChanged = run("BEGIN IMMEDIATE;") && run(CHANGE_EVERYTHING) && run("COMMIT;");
  }

  void changeBack(const std::string& copy) {
    if (!_hasChanged) run("ROLLBACK;");
    raw().exec("PRAGMA busy_timeout = 5000;");
    if (_hasChanged) restore(copy);
    raw().exec("PRAGMA busy_timeout = 0;");
  }

  /** The library's connection takes the whole file from a copy. */
  void restore(const std::string& copy) {
    RawConnection source(copy);
    sqlite3_backup* const backup =
        sqlite3_backup_init(raw().handle(), "main", source.handle(), "main");
    ASSERT_EQ(sqlite3_backup_step(backup, -1), SQLITE_DONE);
    sqlite3_backup_finish(backup);
  }

  bool hasChanged() const { return _hasChanged; }

 private:
  bool _hasChanged = false;
};

TEST_P(WriterInTheMiddle, IsSeenWhollyOrNotAtAllWithoutATransaction) {
  const std::string copy = dataDir() + "copy.db";
  raw().exec("VACUUM INTO " + quoted(copy) + ";");
  const ListQuery query = list_queries().front();
  const Outcome before = query.ask();
  const std::size_t calls = callsOf(query).size();
  for (std::size_t number = 1; number <= calls; ++number) {
    SqliteFaults::fail("exec", "BEGIN", SQLITE_NOMEM);
    SqliteFaults::onCall(number, [this] { change(); });
    const Outcome outcome = query.ask();
    const Outcome after = query.ask();
    EXPECT_TRUE(outcome == before || outcome == after) << number << "\n" << outcome;
    changeBack(copy);
  }
}

TEST_P(WriterInTheMiddle, IsSeenWhollyOrNotAtAll) {
  const std::string copy = dataDir() + "copy.db";
  raw().exec("VACUUM INTO " + quoted(copy) + ";");
  for (const ListQuery& query : list_queries()) {
    SCOPED_TRACE(query.name);
    const Outcome before = query.ask();
    const std::vector<std::string> calls = callsOf(query);
    bool hasSeen[2] = {false, false};
    for (std::size_t number = 1; number <= calls.size(); ++number) {
      SCOPED_TRACE(calls[number - 1]);
      SqliteFaults::onCall(number, [this] { change(); });
      const Outcome outcome = query.ask();
      ASSERT_TRUE(SqliteFaults::hasCallCome());
      hasSeen[hasChanged()] = true;
      if (hasChanged()) {
        const Outcome after = query.ask();
        EXPECT_NE(after.items, before.items);
        // One that comes when the query is as good as done comes after it.
        const bool isOver = begins_with(calls[number - 1], "exec COMMIT");
        EXPECT_EQ(outcome, isOver ? before : after);
      } else {
        EXPECT_EQ(outcome, before);
        // The reader waited for nobody, not even for one who waits for it.
        EXPECT_TRUE(waits().empty());
      }
      expectNothingLeftBehind();
      changeBack(copy);
    }
    EXPECT_TRUE(hasSeen[false]);
    EXPECT_TRUE(hasSeen[true]);
  }
}

INSTANTIATE_TEST_SUITE_P(With, WriterInTheMiddle, ::testing::Bool(), &name_of_store);

}  // namespace

}  // namespace msg_tarvel::db
