// The store is whole and committed, or its maker says so; and nobody else gets in while it is made.

#include "helpers/store_maker.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <thread>

#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "support/as_root.h"
#include "support/processes.h"
#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

using State = MadeStore::State;

mode_t mode_of(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

class StoreMaker : public DataDirTest {
 protected:
  RawConnection& raw() {
    if (!_raw) _raw.emplace(dbFile());
    return *_raw;
  }

  int tables() {
    return std::stoi(
        *raw().value("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND "
                     "name NOT LIKE 'sqlite_%';"));
  }

  /** The next store is made on a new connection, in a directory that is not there. */
  void removeStore() {
    { const StoreSession last; }
    std::filesystem::remove_all(dbDir());
  }

  void expectRefused(
      const std::string& reason, void (*make)() = [] { make_store(); }) {
    try {
      make();
      ADD_FAILURE() << "made";
    } catch (const StoreError& error) {
      EXPECT_EQ(error.what(), "cannot create the message store " + dbFile() + reason);
    }
  }

  void expectTransactionsToArrive() {
    Transaction transaction;
    execute("INSERT INTO respond_msg_table (status) VALUES (1);", CANNOT_WRITE);
    transaction.commit();
    EXPECT_EQ(raw().value("SELECT count(*) FROM respond_msg_table;"), "1");
  }

 private:
  std::optional<RawConnection> _raw;
};

TEST_F(StoreMaker, MakesEverything) {
  std::filesystem::remove(dataDir());
  const mode_t before = umask(0027);
  const MadeStore made = make_store();
  EXPECT_EQ(umask(before), 0027U);
  EXPECT_EQ(made.state, State::NEW);
  EXPECT_TRUE(made.mended.empty());
  EXPECT_EQ(tables(), 14);
  EXPECT_EQ(raw().value("PRAGMA user_version;"), "4");
  EXPECT_EQ(mode_of(dataDir()), 0750U);
  EXPECT_EQ(mode_of(dbDir()), 0750U);
  EXPECT_EQ(mode_of(dbFile()), 0660U);
  EXPECT_EQ(mode_of(journalFile()), 0660U);
  expectTransactionsToArrive();
}

TEST_F(StoreMaker, MakesDirectoriesForEveryoneToEnter) {
  std::filesystem::remove(dataDir());
  const mode_t before = umask(0);
  make_store();
  umask(before);
  EXPECT_EQ(mode_of(dataDir()), 0755U);
  EXPECT_EQ(mode_of(dbDir()), 0755U);
}

TEST_F(StoreMaker, LeavesAWholeStoreAlone) {
  make_store();
  expectTransactionsToArrive();
  const MadeStore again = make_store();
  EXPECT_EQ(again.state, State::WHOLE);
  EXPECT_TRUE(again.mended.empty());
  EXPECT_EQ(raw().value("SELECT count(*) FROM respond_msg_table;"), "1");
}

TEST_F(StoreMaker, CompletesAStoreThatLacksAnyTable) {
  make_store();
  const std::vector<std::string> names = raw().column(
      "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite_%';");
  ASSERT_EQ(names.size(), 14U);
  for (const std::string& name : names) {
    raw().exec("DROP TABLE " + name + ";");
    EXPECT_EQ(make_store().state, State::COMPLETED) << name;
    EXPECT_EQ(tables(), 14) << name;
  }
}

TEST_F(StoreMaker, CompletesAStoreThatLacksAColumnOrItsVersion) {
  make_store();
  // Else the journal goes too, which alone is enough.
  raw().exec("PRAGMA journal_mode = PERSIST;");
  for (const char* const lack :
       {"ALTER TABLE temp_log DROP COLUMN data2;", "PRAGMA user_version = 0;"}) {
    raw().exec(lack);
    EXPECT_EQ(make_store().state, State::COMPLETED) << lack;
    EXPECT_EQ(make_store().state, State::WHOLE) << lack;
  }
}

// Who may write to the journal could not make another one in its place.
TEST_F(StoreMaker, KeepsTheJournalWhenItCompletesAStore) {
  make_store();
  raw().exec("PRAGMA journal_mode = PERSIST; DROP TABLE ft_queue_table;");
  { const StoreSession last; }
  struct stat before = {};
  ASSERT_EQ(stat(journalFile().c_str(), &before), 0);
  EXPECT_EQ(make_store().state, State::COMPLETED);
  struct stat after = {};
  ASSERT_EQ(stat(journalFile().c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
}

TEST_F(StoreMaker, CountsTablesOnly) {
  make_store();
  raw().exec("DROP TABLE ft_queue_table; CREATE VIEW ft_queue_table AS SELECT 1;");
  expectRefused(": tables are missing");
  expectRefused(": tables are missing", &complete_schema);
}

TEST_F(StoreMaker, MakesNothingOfAnotherVersion) {
  make_store();
  raw().exec("PRAGMA user_version = 5;");
  expectRefused(": its version is 5, not 4");
}

TEST_F(StoreMaker, SaysSoWhenThereIsNoPlace) {
  std::filesystem::remove(dataDir());
  std::filesystem::create_symlink("/proc/none/below", dataDir().substr(0, dataDir().size() - 1));
  expectRefused("");
}

TEST_F(StoreMaker, MakesNoFileWhereSomethingElseIs) {
  const std::string elsewhere = dataDir() + "elsewhere";
  const auto expectRefusedWith = [&](const std::string& path, const auto& plant) {
    ASSERT_EQ(mkdir(dbDir().c_str(), 0755), 0);
    plant(path);
    expectRefused(": " + path + " is there, and not a file");
    std::filesystem::remove_all(dbDir());
  };
  for (const std::string& path : {dbFile(), journalFile()}) {
    expectRefusedWith(path,
                      [&](const auto& link) { std::filesystem::create_symlink(elsewhere, link); });
    EXPECT_FALSE(std::filesystem::exists(elsewhere));
  }
  expectRefusedWith(journalFile(),
                    [](const auto& pipe) { ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0); });
  ASSERT_EQ(mkdir(elsewhere.c_str(), 0700), 0);
  expectRefusedWith(journalFile(),
                    [&](const auto& link) { std::filesystem::create_symlink(elsewhere, link); });
  EXPECT_EQ(mode_of(elsewhere), 0700U);
}

TEST_F(StoreMaker, MakesNothingInADirectoryElsewhere) {
  const std::string elsewhere = dataDir() + "elsewhere";
  ASSERT_EQ(mkdir(elsewhere.c_str(), 0700), 0);
  std::filesystem::create_directory_symlink(elsewhere, dbDir());
  expectRefused(": " + dbDir() + " is there, and not a directory");
  EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
}

TEST_F(StoreMaker, MendsModes) {
  make_store();
  ASSERT_EQ(chmod(dbFile().c_str(), 0644), 0);
  ASSERT_EQ(chmod(journalFile().c_str(), 0600), 0);
  const MadeStore made = make_store();
  EXPECT_EQ(made.state, State::WHOLE);
  ASSERT_EQ(made.mended.size(), 2U);
  EXPECT_EQ(made.mended[0].path, dbFile());
  EXPECT_EQ(made.mended[0].before, 0644U);
  EXPECT_EQ(made.mended[1].path, journalFile());
  EXPECT_EQ(made.mended[1].before, 0600U);
  EXPECT_EQ(mode_of(dbFile()), 0660U);
  EXPECT_EQ(mode_of(journalFile()), 0660U);
  EXPECT_TRUE(make_store().mended.empty());
}

TEST_F(StoreMaker, MendsGroups) {
  AS_ROOT();
  make_store();
  const std::string files[] = {dbFile(), journalFile()};
  ASSERT_EQ(chown(dataDir().c_str(), NOBODY, NOBODY), 0);
  for (const std::string& path : files) ASSERT_EQ(chown(path.c_str(), NOBODY, NOBODY), 0);
  const MadeStore made = make_store();
  EXPECT_EQ(made.state, State::WHOLE);
  EXPECT_TRUE(made.mended.empty());
  for (const std::string& path : files) {
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, NOBODY) << path;
    EXPECT_EQ(status.st_gid, 5000U) << path;
    EXPECT_EQ(mode_of(path), 0660U) << path;
  }
}

TEST_F(StoreMaker, UsesNothingOfAStrangers) {
  AS_ROOT();
  make_store();
  removeStore();
  const std::string reason =
      " belongs neither to the owner of the data directory nor to group 5000";
  ASSERT_EQ(mkdir(dbDir().c_str(), 0755), 0);
  const auto give = [](const std::string& path, uid_t user, gid_t group) {
    ASSERT_EQ(chown(path.c_str(), user, group), 0);
  };
  give(dbDir(), NOBODY, NOBODY);
  expectRefused(": " + dbDir() + reason);
  EXPECT_FALSE(std::filesystem::exists(dbFile()));
  give(dbDir(), 0, 0);
  for (const std::string& path : {dbFile(), journalFile()}) {
    make_store();
    give(path, NOBODY, NOBODY);
    expectRefused(": " + path + reason);
    give(path, NOBODY, 5000);
    EXPECT_EQ(make_store().state, State::WHOLE) << "a member's";
    give(path, NOBODY, NOBODY);
    give(dataDir(), NOBODY, NOBODY);
    EXPECT_EQ(make_store().state, State::WHOLE) << "the owner's of all";
    give(dataDir(), 0, 0);
    removeStore();
    ASSERT_EQ(mkdir(dbDir().c_str(), 0755), 0);
  }
}

TEST_F(StoreMaker, MendsNoFileElsewhere) {
  make_store();
  const std::string elsewhere = dataDir() + "elsewhere";
  std::filesystem::rename(dbFile(), elsewhere);
  std::filesystem::create_symlink(elsewhere, dbFile());
  ASSERT_EQ(chmod(elsewhere.c_str(), 0644), 0);
  expectRefused(": " + dbFile() + " is there, and not a file");
  EXPECT_EQ(mode_of(elsewhere), 0644U);
  std::filesystem::remove(dbFile());
  std::filesystem::create_hard_link(elsewhere, dbFile());
  EXPECT_TRUE(make_store().mended.empty());
  EXPECT_EQ(mode_of(elsewhere), 0644U);
}

TEST_F(StoreMaker, LeavesModesThatItMayNotMend) {
  AS_ROOT();
  make_store();
  { const StoreSession last; }
  for (const std::string& path : {dbFile(), journalFile()}) {
    ASSERT_EQ(chmod(path.c_str(), 0666), 0);
  }
  Child stranger([] {
    if (!become_nobody()) return 99;
    const MadeStore made = make_store();
    return made.state == State::WHOLE && made.mended.empty() ? 0 : 1;
  });
  EXPECT_EQ(stranger.wait(), 0);
  EXPECT_EQ(mode_of(dbFile()), 0666U);
}

/** A process that reads the store, and so keeps others from committing. */
class StoreMakerWithAReader : public StoreMaker {
 protected:
  StoreMakerWithAReader() {
    make_store();
    raw().exec("DROP TABLE msg_sharedial_meta_table;");
  }

  void readMeanwhile() {
    raw().exec("BEGIN;");
    raw().value("SELECT count(*) FROM temp_log;");
  }
};

TEST_F(StoreMakerWithAReader, CommitsWhenTheReaderHasGone) {
  readMeanwhile();
  std::thread reader([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));  // createDb gives up after 2.1 s
    raw().exec("COMMIT;");
  });
  const MadeStore made = make_store();
  reader.join();
  EXPECT_EQ(made.state, State::COMPLETED);
  EXPECT_EQ(tables(), 14);
  expectTransactionsToArrive();
}

TEST_F(StoreMakerWithAReader, SaysSoWhenTheReaderStays) {
  readMeanwhile();
  expectRefused("");
  raw().exec("COMMIT;");
  EXPECT_EQ(tables(), 13);
  expectTransactionsToArrive();
  EXPECT_EQ(make_store().state, State::COMPLETED);
  EXPECT_EQ(tables(), 14);
}

TEST_F(StoreMaker, NobodyElseGetsInWhileItIsMade) {
  AS_ROOT();
  for (const std::string& path : {dbFile(), journalFile()}) {
    EXPECT_FALSE(stranger_gets_in(path, [this] {
      for (int store = 0; store < 40; ++store) {
        make_store();
        removeStore();
      }
    })) << path;
  }
}

// Who waits there does get in where the mode lets him.
TEST_F(StoreMaker, LeavesTheModeAsTheOnlyDoor) {
  AS_ROOT();
  EXPECT_TRUE(stranger_gets_in(dbFile(), [this] {
    make_store();
    ASSERT_EQ(chmod(dbFile().c_str(), 0664), 0);
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }));
}

}  // namespace

}  // namespace msg_tarvel::helpers
