// The private copy of a store: whole, of one moment, closed to others, gone afterwards, and never
// in a writer's way.

#include "store/store_copy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "exit_status.h"
#include "store/reader_lock.h"
#include "support/processes.h"

namespace msg_tarvel::tool {
namespace {

namespace fs = std::filesystem;

/** A connection with SQLite's own words for what goes wrong. */
class Connection {
 public:
  explicit Connection(const std::string& path) { sqlite3_open(path.c_str(), &_db); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { sqlite3_close(_db); }

  /** The first column of the last row, or the error. */
  std::string ask(const std::string& sql) {
    std::string answer;
    const auto keep = [](void* kept, int /*count*/, char** values, char** /*names*/) {
      *static_cast<std::string*>(kept) = values[0] ? values[0] : "";
      return 0;
    };
    const int ret = sqlite3_exec(_db, sql.c_str(), keep, &answer, nullptr);
    return ret == SQLITE_OK ? answer : sqlite3_errmsg(_db);
  }

 private:
  sqlite3* _db = nullptr;
};

std::string bytes_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

class StoreCopies : public ::testing::Test {
 protected:
  StoreCopies() {
    char name[] = "/tmp/msg-tarvel-test-XXXXXX";
    _folder = mkdtemp(name);
    fs::create_directory(_folder + "/temporary");
    setenv("TMPDIR", (_folder + "/temporary").c_str(), 1);
    Connection store(original());
    EXPECT_EQ(store.ask("PRAGMA journal_mode = PERSIST; CREATE TABLE t (x); WITH RECURSIVE n(i) AS "
                        "(SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) INSERT INTO t "
                        "SELECT hex(zeroblob(500)) FROM n; SELECT count(*) FROM t;"),
              "1000");
  }
  ~StoreCopies() override { fs::remove_all(_folder); }

  std::string original() const { return _folder + "/store.db"; }
  bool isTemporaryEmpty() const { return fs::is_empty(_folder + "/temporary"); }

  void expectFailure(const std::string& text) const {
    try {
      const StoreCopy copy(original());
      ADD_FAILURE() << copy.database();
    } catch (const Failure& failure) {
      EXPECT_NE(std::string(failure.what()).find(text), std::string::npos) << failure.what();
    }
    EXPECT_TRUE(isTemporaryEmpty());
  }

  /** Leaves the store in the middle of a commit that changes every page. */
  void dieInACommit() const {
    Child child([this] {
      Connection writer(original());
      writer.ask(
          "PRAGMA synchronous = OFF; PRAGMA cache_size = 2; BEGIN; UPDATE t SET x = 'half';");
      _exit(0);
      return 0;
    });
    EXPECT_EQ(child.wait(), 0);
  }

 private:
  std::string _folder;
};

TEST_F(StoreCopies, AreTheSameBytesBelowADataDirectoryOfTheirOwn) {
  const StoreCopy copy(original());
  EXPECT_EQ(copy.database(), copy.dataDirectory() + "dbspace/.msg-tarvel-server.db");
  EXPECT_EQ(bytes_of(copy.database()), bytes_of(original()));
  EXPECT_FALSE(copy.isRollbackPending());
  EXPECT_FALSE(fs::exists(copy.database() + "-journal"));
}

TEST_F(StoreCopies, HaveTheHolesOfALongFile) {
  constexpr off_t LENGTH = off_t{1} << 30;
  fs::resize_file(original(), LENGTH);
  const int file = open(original().c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(pwrite(file, "end", 3, LENGTH - 3), 3);
  close(file);
  struct stat before = {};
  ASSERT_EQ(stat(original().c_str(), &before), 0);
  const StoreCopy copy(original());
  struct stat status = {};
  ASSERT_EQ(stat(copy.database().c_str(), &status), 0);
  EXPECT_EQ(status.st_size, LENGTH);
  EXPECT_EQ(status.st_blocks, before.st_blocks);
  const int copied = open(copy.database().c_str(), O_RDONLY | O_CLOEXEC);
  char end[3] = {};
  EXPECT_EQ(pread(copied, end, 3, LENGTH - 3), 3);
  close(copied);
  EXPECT_EQ(std::string(end, 3), "end");
  EXPECT_EQ(Connection(copy.database()).ask("SELECT count(*) FROM t;"), "1000");
}

TEST_F(StoreCopies, AreClosedToOthersAndGoneAfterwards) {
  const mode_t before = umask(0);
  {
    StoreCopy copy(original());
    struct stat status = {};
    ASSERT_EQ(stat(copy.dataDirectory().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
    ASSERT_EQ(stat(copy.database().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_FALSE(isTemporaryEmpty());
    copy.remove();
    EXPECT_TRUE(isTemporaryEmpty());
  }
  { const StoreCopy copy(original()); }
  EXPECT_TRUE(isTemporaryEmpty());
  umask(before);
}

TEST_F(StoreCopies, AreGoneWhenASignalEndsTheProgram) {
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    Child child([this, signal] {
      const StoreCopy copy(original());
      if (isTemporaryEmpty()) return 1;
      raise(signal);
      return 2;
    });
    EXPECT_EQ(child.wait(), 128 + signal);
    EXPECT_TRUE(isTemporaryEmpty());
  }
}

TEST_F(StoreCopies, LeaveSignalsAsTheyWere) {
  std::signal(SIGHUP, SIG_IGN);
  {
    const StoreCopy copy(original());
    struct sigaction ignored = {};
    sigaction(SIGHUP, nullptr, &ignored);
    EXPECT_EQ(ignored.sa_handler, SIG_IGN);
  }
  for (const int signal : {SIGINT, SIGTERM}) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
  }
}

TEST_F(StoreCopies, NeedNoRightToWrite) {
  ASSERT_EQ(chmod(original().c_str(), 0444), 0);
  fs::permissions(fs::path(original()).parent_path(), fs::perms(0755));
  Child child([this] {
    setenv("TMPDIR", "/tmp", 1);
    become_nobody();
    const StoreCopy copy(original());
    return bytes_of(copy.database()) == bytes_of(original()) ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(StoreCopies, RollBackWhatAWriterLeft) {
  const std::string before = bytes_of(original());
  dieInACommit();
  const std::string half = bytes_of(original());
  ASSERT_NE(half, before);

  const StoreCopy copy(original());
  EXPECT_TRUE(copy.isRollbackPending());
  EXPECT_EQ(Connection(copy.database()).ask("SELECT count(*) FROM t WHERE x = 'half';"), "0");
  EXPECT_EQ(Connection(copy.database()).ask("PRAGMA integrity_check;"), "ok");
  EXPECT_EQ(bytes_of(original()), half) << "the store is not touched";
}

TEST_F(StoreCopies, TakeNothingOfATransactionThatRuns) {
  Connection writer(original());
  writer.ask("BEGIN IMMEDIATE; UPDATE t SET x = 'new' WHERE rowid = 7;");
  const StoreCopy copy(original());
  EXPECT_FALSE(copy.isRollbackPending());
  EXPECT_EQ(Connection(copy.database()).ask("SELECT count(*) FROM t WHERE x = 'new';"), "0");
  EXPECT_EQ(writer.ask("COMMIT; SELECT count(*) FROM t WHERE x = 'new';"), "1");
}

TEST_F(StoreCopies, HaveWhatIsInAWriteAheadLog) {
  Connection writer(original());
  ASSERT_EQ(writer.ask("PRAGMA journal_mode = WAL;"), "wal");
  writer.ask("UPDATE t SET x = 'new' WHERE rowid = 7; BEGIN; UPDATE t SET x = 'newer';");
  const StoreCopy copy(original());
  EXPECT_FALSE(copy.isRollbackPending());
  EXPECT_TRUE(copy.isWriteAhead());
  EXPECT_EQ(Connection(copy.database()).ask("SELECT count(*) FROM t WHERE x = 'new';"), "1");
  EXPECT_EQ(Connection(copy.database()).ask("SELECT count(*) FROM t WHERE x = 'newer';"), "0");
  EXPECT_EQ(Connection(copy.database()).ask("PRAGMA journal_mode;"), "delete");
  EXPECT_EQ(writer.ask("COMMIT;"), "");
}

TEST_F(StoreCopies, LeaveAWriteAheadStoreAsItIs) {
  ASSERT_EQ(Connection(original()).ask("PRAGMA journal_mode = WAL;"), "wal");
  const auto names = [this] {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(fs::path(original()).parent_path())) {
      found.insert(entry.path().filename());
    }
    return found;
  };
  const std::set<std::string> alone = {"store.db", "temporary"};
  ASSERT_EQ(names(), alone);
  EXPECT_TRUE(StoreCopy(original()).isWriteAhead());
  EXPECT_EQ(names(), alone);

  Child writer([this] {
    Connection killed(original());
    killed.ask("UPDATE t SET x = 'new' WHERE rowid = 7;");
    _exit(0);  // without closing it, which would do away with the log
    return 0;
  });
  EXPECT_EQ(writer.wait(), 0);
  const std::set<std::string> withLog = {"store.db", "store.db-shm", "store.db-wal", "temporary"};
  ASSERT_EQ(names(), withLog);
  const std::string log = bytes_of(original() + "-wal");
  {
    const StoreCopy copy(original());
    EXPECT_EQ(Connection(copy.database()).ask("SELECT count(*) FROM t WHERE x = 'new';"), "1");
    EXPECT_FALSE(fs::exists(copy.database() + "-wal"));
    EXPECT_FALSE(fs::exists(copy.database() + "-shm"));
  }
  EXPECT_EQ(names(), withLog);
  EXPECT_EQ(bytes_of(original() + "-wal"), log);
  EXPECT_TRUE(isTemporaryEmpty());
}

TEST_F(StoreCopies, KeepNobodyFromWritingALog) {
  Connection writer(original());
  ASSERT_EQ(writer.ask("PRAGMA journal_mode = WAL;"), "wal");
  const std::string log = original() + "-wal";
  const std::string change = "UPDATE t SET x = x || 'new' WHERE rowid = 7;";
  ASSERT_EQ(writer.ask(change + "PRAGMA wal_checkpoint;"), "0");
  const std::string before = bytes_of(log);
  const int index = open((original() + "-shm").c_str(), O_RDONLY);
  ASSERT_TRUE(keep_log(index));
  EXPECT_EQ(writer.ask(change + "SELECT count(*) FROM t WHERE x LIKE '%newnew';"), "1");
  EXPECT_GT(bytes_of(log).size(), before.size());
  EXPECT_EQ(bytes_of(log).substr(0, before.size()), before) << "begun anew";
  EXPECT_EQ(writer.ask("PRAGMA wal_checkpoint;"), "1") << "moved into the database";
  close(index);
}

TEST_F(StoreCopies, FailWhileTheStoreIsLocked) {
  Connection writer(original());
  writer.ask("BEGIN EXCLUSIVE;");
  expectFailure("cannot read the message store " + original() +
                ": it is locked by another process");
}

TEST_F(StoreCopies, FailWhereTheyCannotBeRead) {
  fs::remove(original());
  expectFailure("cannot read the message store " + original() + ": No such file");
  ASSERT_EQ(mkfifo(original().c_str(), 0600), 0);
  expectFailure("cannot read the message store " + original() + ": it is not a file");
}

TEST_F(StoreCopies, FailWhereThereIsNoRoom) {
  Child child([this] {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {65536, 65536};
    setrlimit(RLIMIT_FSIZE, &limit);
    expectFailure("cannot copy the message store to ");
    return ::testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(child.wait(), 0);
  setenv("TMPDIR", "/nowhere", 1);
  expectFailure("cannot make a directory /nowhere/msg-tarvel-");
}

TEST_F(StoreCopies, KeepAWriterWaitingForMomentsOnly) {
  const int file = open(original().c_str(), O_RDONLY);
  ReaderLock lock(file);
  ASSERT_TRUE(lock.take());
  EXPECT_FALSE(lock.isWriterThere());
  Connection writer(original());
  EXPECT_EQ(writer.ask("BEGIN IMMEDIATE; DELETE FROM t WHERE rowid = 7;"), "");
  EXPECT_TRUE(lock.isWriterThere());
  EXPECT_FALSE(lock.isWriterWaiting());
  EXPECT_EQ(writer.ask("COMMIT;"), "database is locked");
  EXPECT_TRUE(lock.isWriterWaiting());
  EXPECT_EQ(Connection(original()).ask("SELECT 1 FROM t;"), "database is locked")
      << "readers that come later let the writer go first";
  lock.release();
  EXPECT_EQ(writer.ask("COMMIT;"), "");
  EXPECT_FALSE(lock.isWriterThere());
  close(file);
}

}  // namespace
}  // namespace msg_tarvel::tool
