// Where the store lives, and the creation of its directory and files.

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "db/DBMgr_internal.h"
#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "support/as_root.h"
#include "support/db_log.h"
#include "support/held_file.h"
#include "support/processes.h"
#include "support/store.h"

namespace msg_tarvel::db {

namespace {

constexpr gid_t STORE_GROUP = 5000;

struct stat status_of(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

mode_t mode_of(const std::string& path) { return status_of(path).st_mode & 07777U; }

bool exists(const std::string& path) {
  return std::filesystem::exists(std::filesystem::symlink_status(path));
}

void write_file(const std::string& path, const std::string& text, mode_t mode) {
  std::ofstream(path) << text;
  ASSERT_EQ(chmod(path.c_str(), mode), 0) << path;
}

std::string content_of(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/** How many descriptors of this process are open on files whose names begin with `prefix`. */
int open_descriptors_on(const std::string& prefix) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code vanished;
    const auto target = std::filesystem::read_symlink(entry.path(), vanished);
    if (target.string().compare(0, prefix.size(), prefix) == 0) ++count;
  }
  return count;
}

/** Runs `body`, which may use expectations, in a child process that has given up root. */
int run_as_nobody(const std::vector<gid_t>& groups, const std::function<void()>& body) {
  return Child([&] {
           EXPECT_TRUE(become_nobody(groups));
           body();
           return ::testing::Test::HasFailure() ? 1 : 0;
         })
      .wait();
}

class PathsTest : public DataDirTest {};

TEST_F(PathsTest, AreEmptyUntilAskedFor) {
  EXPECT_EQ(data_dir_path + db_dir_path + db_filepath + db_journal_filepath, "");
}

TEST_F(PathsTest, StandInTheDataDirectory) {
  FakePlatform::get().setDataPath("/apps/example/data/");
  EXPECT_EQ(get_db_journal_filepath(), "/apps/example/data/dbspace/.msg-tarvel-server.db-journal");
  EXPECT_EQ(get_db_filepath(), "/apps/example/data/dbspace/.msg-tarvel-server.db");
  EXPECT_EQ(get_db_dir_path(), "/apps/example/data/dbspace");
  EXPECT_EQ(get_data_dir_path(), "/apps/example/data/");
  EXPECT_EQ(data_dir_path, "/apps/example/data/");
  EXPECT_EQ(db_dir_path, "/apps/example/data/dbspace");
  EXPECT_EQ(db_filepath, "/apps/example/data/dbspace/.msg-tarvel-server.db");
  EXPECT_EQ(db_journal_filepath, "/apps/example/data/dbspace/.msg-tarvel-server.db-journal");
  EXPECT_TRUE(logged({}));
}

TEST_F(PathsTest, GetNoSlashOfTheirOwn) {
  FakePlatform::get().setDataPath("/apps/data");
  EXPECT_EQ(get_db_filepath(), "/apps/datadbspace/.msg-tarvel-server.db");
}

TEST_F(PathsTest, FillOnlyWhatIsNeeded) {
  get_db_dir_path();
  EXPECT_EQ(data_dir_path, dataDir());
  EXPECT_EQ(db_dir_path, dbDir());
  EXPECT_EQ(db_filepath + db_journal_filepath, "");
}

TEST_F(PathsTest, KeepTheirFirstValue) {
  EXPECT_EQ(get_data_dir_path(), dataDir());
  FakePlatform::get().setDataPath("/elsewhere/");
  EXPECT_EQ(get_data_dir_path(), dataDir());
  EXPECT_EQ(get_db_dir_path(), dbDir());
  EXPECT_EQ(get_db_filepath(), dbFile());
  EXPECT_EQ(get_db_journal_filepath(), journalFile());
}

TEST_F(PathsTest, AnEmptyPathIsFilledAgain) {
  FakePlatform::get().setDataPath("");
  EXPECT_EQ(get_data_dir_path(), "");
  FakePlatform::get().setDataPath(dataDir());
  EXPECT_EQ(get_data_dir_path(), dataDir());
}

TEST_F(PathsTest, BuiltOnAnEmptyPathTheyAreKept) {
  FakePlatform::get().setDataPath("");
  EXPECT_EQ(get_db_filepath(), "dbspace/.msg-tarvel-server.db");
  FakePlatform::get().setDataPath(dataDir());
  EXPECT_EQ(get_data_dir_path(), dataDir());
  EXPECT_EQ(get_db_dir_path(), "dbspace");
  EXPECT_EQ(get_db_filepath(), "dbspace/.msg-tarvel-server.db");
  EXPECT_EQ(get_db_journal_filepath(), "dbspace/.msg-tarvel-server.db-journal");
  EXPECT_TRUE(logged({}));
}

TEST_F(PathsTest, AreEmptyWhileThePlatformKnowsNoDataPath) {
  FakePlatform::get().setDataPath(std::nullopt);
  for (const auto path :
       {get_data_dir_path, get_db_dir_path, get_db_filepath, get_db_journal_filepath}) {
    EXPECT_EQ(path(), "");
    EXPECT_TRUE(logged({manager_error("fill_data_dir_path", "app_get_data_path() failed!")}));
  }
  FakePlatform::get().setDataPath(dataDir());
  EXPECT_EQ(get_db_filepath(), dbFile());
}

TEST_F(PathsTest, WithoutADataPathNothingIsMade) {
  FakePlatform::get().setDataPath(std::nullopt);
  ASSERT_EQ(chdir(dataDir().c_str()), 0);
  DBMgr* const manager = DBMgr::getInstance();

  EXPECT_EQ(manager->createDb(), -1);
  const std::vector<LogLine> lines = FakePlatform::get().lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[lines.size() - 2],
            manager_error("_createDbFiles", "mkdir() failed for data directory!"));
  EXPECT_EQ(lines.back(), manager_error("createDb", "_createDbFile() failed: (-1)"));

  FakePlatform::get().clearLines();
  EXPECT_EQ(DBMgrInternal().openDb(), -1002);
  EXPECT_TRUE(logged({opening(), manager_error("fill_data_dir_path", "app_get_data_path() failed!"),
                      manager_error("_openDb", "sqlite3_open() failed: (14)")}));
  EXPECT_EQ(manager->beginTransaction(), -1002);
  EXPECT_EQ(manager->compileStatement("SELECT 1;"), nullptr);
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
  EXPECT_TRUE(std::filesystem::is_empty("."));
  ASSERT_EQ(chdir("/"), 0);
}

class FilesTest : public DataDirTest {
 protected:
  static int createFiles() { return DBMgrInternal().createDbFiles(); }

  void makeDbDir() const { ASSERT_EQ(mkdir(dbDir().c_str(), 0755), 0); }

  void expectStoreFile(const std::string& path) const {
    const struct stat status = status_of(path);
    EXPECT_EQ(status.st_mode, S_IFREG | 0660U) << path;
    EXPECT_EQ(status.st_uid, getuid()) << path;
    EXPECT_EQ(status.st_gid, STORE_GROUP) << path;
  }
  void expectStoreFiles() const {
    expectStoreFile(dbFile());
    expectStoreFile(journalFile());
  }
};

TEST_F(FilesTest, BothDirectoriesAreMadeAndNothingElse) {
  AS_ROOT();
  ASSERT_EQ(rmdir(dataDir().c_str()), 0);
  umask(022);
  EXPECT_EQ(createFiles(), 0);
  EXPECT_TRUE(logged({creating_directories(), creating_files(), opening()}));
  EXPECT_EQ(mode_of(dataDir()), 0755u);
  EXPECT_EQ(mode_of(dbDir()), 0755u);
  EXPECT_EQ(status_of(dbDir()).st_uid, getuid());
  expectStoreFiles();
}

TEST_F(FilesTest, DirectoriesAreForOthersToReadOnlyWithoutAUmaskToo) {
  ASSERT_EQ(rmdir(dataDir().c_str()), 0);
  umask(0);
  EXPECT_EQ(createFiles(), 0);
  EXPECT_EQ(mode_of(dataDir()), 0755u);
  EXPECT_EQ(mode_of(dbDir()), 0755u);
}

TEST_F(FilesTest, OnlyTheMissingDirectoryIsMade) {
  AS_ROOT();
  ASSERT_EQ(chmod(dataDir().c_str(), 0711), 0);
  EXPECT_EQ(createFiles(), 0);
  EXPECT_TRUE(logged({creating_directories(), creating_files(), opening()}));
  EXPECT_EQ(mode_of(dataDir()), 0711u);
  expectStoreFiles();
}

TEST_F(FilesTest, AnExistingDirectoryIsNotMentioned) {
  AS_ROOT();
  makeDbDir();
  EXPECT_EQ(createFiles(), 0);
  EXPECT_TRUE(logged({creating_files(), opening()}));
  expectStoreFiles();
  EXPECT_EQ(RawConnection(dbFile()).value("PRAGMA user_version;"), "4");
}

TEST_F(FilesTest, NothingAboveTheDataDirectoryIsMade) {
  FakePlatform::get().setDataPath(dataDir() + "missing/data/");
  EXPECT_EQ(createFiles(), -1);
  EXPECT_TRUE(logged({creating_directories(),
                      manager_error("_createDbFiles", "mkdir() failed for data directory!")}));
  EXPECT_TRUE(std::filesystem::is_empty(dataDir()));
}

TEST_F(FilesTest, TheUmaskCutsDirectoriesButNotFiles) {
  AS_ROOT();
  ASSERT_EQ(rmdir(dataDir().c_str()), 0);
  umask(077);
  EXPECT_EQ(DBMgr::getInstance()->createDb(), 0);
  EXPECT_EQ(mode_of(dataDir()), 0700u);
  EXPECT_EQ(mode_of(dbDir()), 0700u);
  expectStoreFiles();
}

TEST_F(FilesTest, FilesHaveGroupAndModeBeforeSqliteSeesThem) {
  AS_ROOT();
  bool looked = false;
  when_opening([&] {
    looked = true;
    expectStoreFiles();
    EXPECT_EQ(status_of(dbFile()).st_size, 0);
    EXPECT_EQ(open_descriptors_on(dbFile()), 0);
  });
  EXPECT_EQ(createFiles(), 0);
  EXPECT_TRUE(looked);
}

TEST_F(FilesTest, TheJournalOfTheCreatorStaysInPlace) {
  AS_ROOT();
  std::optional<HeldFile> journal;
  when_opening([&] { journal.emplace(journalFile()); });
  DBMgr* const manager = DBMgr::getInstance();
  ASSERT_EQ(manager->createDb(), 0);
  EXPECT_TRUE(journal->isAt(journalFile()));
  expectStoreFiles();

  for (const bool commit : {true, false, true}) {
    ASSERT_EQ(manager->beginTransaction(), 0);
    ASSERT_EQ(manager->execStatement("INSERT INTO temp_log(data1) VALUES ('a');"), 0);
    ASSERT_EQ(manager->endTransaction(commit), 0);
    EXPECT_TRUE(journal->isAt(journalFile()));
    expectStoreFiles();
  }
  const auto mode = manager->compileStatement("PRAGMA journal_mode;");
  ASSERT_EQ(mode->step(), DB_ROW);
  EXPECT_EQ(mode->getText(0), "persist");
}

// What is left over is no journal of this database, and SQLite deletes it. The one that it makes
// instead has the database's group only because root makes it.
TEST_F(FilesTest, RootGivesALeftOverJournalAndTheOneThatFollowsItModeAndOwner) {
  AS_ROOT();
  makeDbDir();
  write_file(journalFile(), "left over", 0600);
  ASSERT_EQ(chown(journalFile().c_str(), NOBODY, NOBODY), 0);
  const HeldFile journal(journalFile());
  bool looked = false;
  when_opening([&] {
    looked = true;
    expectStoreFile(journalFile());
    EXPECT_TRUE(journal.isAt(journalFile()));
    EXPECT_EQ(content_of(journalFile()), "left over");
  });
  EXPECT_EQ(createFiles(), 0);
  EXPECT_TRUE(looked);
  expectStoreFiles();
}

TEST_F(FilesTest, AnExistingDatabaseIsLeftAsItIs) {
  AS_ROOT();
  makeDbDir();
  RawConnection(dbFile()).exec("PRAGMA user_version = 9;");
  ASSERT_EQ(chmod(dbFile().c_str(), 0604), 0);
  ASSERT_EQ(chown(dbFile().c_str(), NOBODY, NOBODY), 0);
  const std::string bytes = content_of(dbFile());

  EXPECT_EQ(createFiles(), 0);
  EXPECT_TRUE(logged({}));
  EXPECT_FALSE(exists(journalFile()));
  EXPECT_EQ(mode_of(dbFile()), 0604u);
  EXPECT_EQ(status_of(dbFile()).st_uid, NOBODY);
  EXPECT_EQ(status_of(dbFile()).st_gid, NOBODY);
  EXPECT_EQ(content_of(dbFile()), bytes);
  EXPECT_EQ(DBMgrInternal().handle(), nullptr);
}

TEST_F(FilesTest, ASecondCallDoesNothing) {
  EXPECT_EQ(createFiles(), 0);
  FakePlatform::get().clearLines();
  EXPECT_EQ(createFiles(), 0);
  EXPECT_TRUE(logged({}));
}

struct UnmakableCase {
  const char* name;
  std::function<void(const std::string& data, const std::string& db, const std::string& journal)>
      prepare;
  bool directoriesExist;
  const char* message;
};

void PrintTo(const UnmakableCase& unmakable, std::ostream* out) { *out << unmakable.name; }

class UnmakableTest : public FilesTest, public ::testing::WithParamInterface<UnmakableCase> {};

TEST_P(UnmakableTest, IsReportedByCreateDb) {
  GetParam().prepare(dataDir(), dbFile(), journalFile());
  EXPECT_EQ(DBMgr::getInstance()->createDb(), -1);
  EXPECT_TRUE(logged({GetParam().directoriesExist ? creating_files() : creating_directories(),
                      manager_error("_createDbFiles", GetParam().message),
                      manager_error("createDb", "_createDbFile() failed: (-1)")}));
  EXPECT_EQ(open_descriptors_on(dbFile()), 0);
}

void put_file_for_data_directory(const std::string& data, const std::string&, const std::string&) {
  std::filesystem::remove(std::filesystem::path(data).parent_path());
  write_file(data.substr(0, data.size() - 1), "", 0644);
}

void put_dangling_link_for_db_directory(const std::string& data, const std::string&,
                                        const std::string&) {
  std::filesystem::create_symlink("/nowhere/at/all", data + "dbspace");
}

void put_dangling_link_for_db(const std::string& data, const std::string& db, const std::string&) {
  std::filesystem::create_directory(data + "dbspace");
  std::filesystem::create_symlink("/nowhere/at/all", db);
}

void put_directory_for_journal(const std::string&, const std::string&, const std::string& journal) {
  std::filesystem::create_directories(journal);
}

INSTANTIATE_TEST_SUITE_P(
    Files, UnmakableTest,
    ::testing::Values(UnmakableCase{"DataDirectory", put_file_for_data_directory, false,
                                    "mkdir() failed for data directory!"},
                      UnmakableCase{"DbDirectory", put_dangling_link_for_db_directory, false,
                                    "mkdir() failed for db directory!"},
                      UnmakableCase{"DbFile", put_dangling_link_for_db, true,
                                    "open() failed for db file!"},
                      UnmakableCase{"JournalFile", put_directory_for_journal, true,
                                    "open() failed for journal file!"}),
    [](const auto& test) { return test.param.name; });

TEST_F(FilesTest, TheDatabaseFileStaysWhenTheJournalCannotBeMade) {
  umask(0);
  put_directory_for_journal(dataDir(), dbFile(), journalFile());
  EXPECT_EQ(createFiles(), -1);
  EXPECT_EQ(mode_of(dbFile()), 0644u);
  EXPECT_EQ(status_of(dbFile()).st_size, 0);
}

class NonRootFilesTest : public FilesTest {
 protected:
  NonRootFilesTest() {
    if (getuid() == 0) giveAway();  // only root can; anybody else has the test repeated as root
  }

 private:
  void giveAway() const { ASSERT_EQ(chown(dataDir().c_str(), NOBODY, NOBODY), 0); }
};

TEST_F(NonRootFilesTest, AMemberOfTheGroupGivesItBothFiles) {
  AS_ROOT();
  EXPECT_EQ(run_as_nobody({STORE_GROUP},
                          [&] {
                            EXPECT_EQ(DBMgr::getInstance()->createDb(), 0);
                            EXPECT_EQ(getuid(), NOBODY);
                            expectStoreFiles();
                          }),
            0);
}

TEST_F(NonRootFilesTest, FilesThatCannotBeGivenAwayDoNotMatter) {
  AS_ROOT();
  const auto create = [&] {
    EXPECT_EQ(DBMgr::getInstance()->createDb(), 0);
    EXPECT_TRUE(logged({creating_directories(), creating_files(), opening(), created()}));
    for (const std::string& path : {dbFile(), journalFile()}) {
      EXPECT_EQ(mode_of(path), 0660u) << path;
      EXPECT_EQ(status_of(path).st_gid, NOBODY) << path;
    }
  };
  EXPECT_EQ(run_as_nobody({}, create), 0);
}

TEST_F(NonRootFilesTest, AModeThatCannotBeSetDoesNotMatter) {
  AS_ROOT();
  makeDbDir();
  ASSERT_EQ(chown(dbDir().c_str(), NOBODY, NOBODY), 0);
  write_file(journalFile(), "", 0666);
  const auto create = [&] {
    EXPECT_EQ(DBMgr::getInstance()->createDb(), 0);
    EXPECT_TRUE(logged({creating_files(), opening(), created()}));
    EXPECT_EQ(mode_of(journalFile()), 0666u);
    EXPECT_EQ(status_of(journalFile()).st_uid, 0u);
  };
  EXPECT_EQ(run_as_nobody({STORE_GROUP}, create), 0);
}

TEST_F(NonRootFilesTest, BothFilesAreGivenToTheRealUser) {
  AS_ROOT();
  Child child([&] {
    EXPECT_EQ(setresuid(NOBODY, 0, 0), 0);
    EXPECT_EQ(DBMgr::getInstance()->createDb(), 0);
    for (const std::string& path : {dbFile(), journalFile()}) {
      EXPECT_EQ(status_of(path).st_uid, NOBODY) << path;
    }
    return ::testing::Test::HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

}  // namespace

}  // namespace msg_tarvel::db
