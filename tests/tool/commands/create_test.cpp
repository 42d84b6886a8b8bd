// msg-tarvel create: the store is whole, and closed to others, or it says so.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "support/as_root.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class Create : public ToolTest {
 protected:
  std::string journalFile() const { return dbFile() + "-journal"; }

  static mode_t modeOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }

  std::string tables() const {
    return rows(
        "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite_%';");
  }
};

TEST_F(Create, MakesTheStoreAndTheDirectoriesAboveIt) {
  const std::string deep = folder() + "/a/b/c";
  const ProcessResult made = run({"create", "--data-dir", deep});
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(made.out, "created " + deep + "/dbspace/.msg-tarvel-server.db\n");
  struct stat status = {};
  ASSERT_EQ(stat((folder() + "/a/b").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);

  const ProcessResult again = run({"--data-dir", deep + "/", "create", "--json"});
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(
      nlohmann::json::parse(again.out),
      (nlohmann::json{{"path", deep + "/dbspace/.msg-tarvel-server.db"}, {"created", false}}));
}

TEST_F(Create, FailsWhereNoDirectoryCanBe) {
  const std::string inTheWay = file("file", "");
  expectFailure(run({"create", "--data-dir", inTheWay + "/x/y"}), "cannot make the directory ",
                "Not a directory");
  expectFailure(run({"create", "--data-dir", inTheWay}), "cannot create the message store ");
}

TEST_F(Create, MakesDirectoriesThatOthersMayEnterAndFilesThatTheyMayNotRead) {
  const mode_t before = umask(0);
  create();
  umask(before);
  EXPECT_EQ(modeOf(dataDir()), 0755U);
  EXPECT_EQ(modeOf(dataDir() + "/dbspace"), 0755U);
  EXPECT_EQ(modeOf(dbFile()), 0660U);
  EXPECT_EQ(modeOf(journalFile()), 0660U);
}

TEST_F(Create, CompletesAStoreThatLacksATable) {
  create();
  for (const std::string table : {"msg_sharedial_meta_table", "temp_log"}) {
    RawConnection(dbFile()).exec("DROP TABLE " + table + ";");
    const ProcessResult result = run({"create"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "completed " + dbFile() + "\n");
    EXPECT_EQ(tables(), "14\n");
  }
  RawConnection(dbFile()).exec("DROP TABLE mssi_info_table;");
  EXPECT_EQ(run({"create", "--json"}).out, "{\n  \"path\": \"" + dbFile() +
                                               "\",\n  \"created\": false,\n"
                                               "  \"completed\": true\n}\n");
  EXPECT_EQ(run({"create"}).out, "complete already: " + dbFile() + "\n");
}

TEST_F(Create, CompletesAFileThatAReaderMade) {
  std::filesystem::create_directories(dataDir() + "/dbspace");
  file("data/dbspace/.msg-tarvel-server.db", "");
  ASSERT_EQ(chmod(dbFile().c_str(), 0644), 0);
  const ProcessResult result = run({"create"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            "completed " + dbFile() + "\nmode was 0644, is now 0660: " + dbFile() + "\n");
  EXPECT_EQ(tables(), "14\n");
  EXPECT_EQ(rows("PRAGMA user_version;"), "4\n");
  EXPECT_EQ(modeOf(journalFile()), 0660U);
  EXPECT_EQ(run({"create"}).out, "complete already: " + dbFile() + "\n");
}

TEST_F(Create, StampsAStoreWithoutAVersionAndLeavesAnotherOne) {
  create();
  RawConnection(dbFile()).exec("PRAGMA user_version = 0;");
  EXPECT_EQ(run({"create"}).out, "completed " + dbFile() + "\n");
  EXPECT_EQ(rows("PRAGMA user_version;"), "4\n");
  RawConnection(dbFile()).exec("PRAGMA user_version = 5; DROP TABLE temp_log;");
  expectFailure(run({"create"}), "cannot create the message store " + dbFile(),
                ": its version is 5, not 4");
  EXPECT_EQ(tables(), "13\n");
}

TEST_F(Create, AddsColumnsThatAreMissing) {
  create();
  RawConnection(dbFile()).exec(
      "ALTER TABLE temp_log DROP COLUMN data2; ALTER TABLE "
      "msg_conversation_table DROP COLUMN lastMsgId;");
  EXPECT_EQ(run({"create"}).out, "completed " + dbFile() + "\n");
  EXPECT_EQ(rows("SELECT type || ' ' || dflt_value FROM "
                 "pragma_table_info('msg_conversation_table') WHERE name = 'lastMsgId';"),
            "INT 0\n");
  EXPECT_EQ(rows("SELECT name FROM pragma_table_info('temp_log');"),
            "id\ntime_stamp\ndata1\ndata3\ndata2\n");
}

TEST_F(Create, FailsWhereAColumnCannotBe) {
  create();
  RawConnection(dbFile()).exec(
      "DROP TABLE msg_sharedial_meta_table; CREATE TABLE "
      "msg_sharedial_meta_table (id INTEGER PRIMARY KEY, type INT);");
  expectFailure(run({"create"}), "cannot create the message store " + dbFile(),
                ": msg_sharedial_meta_table lacks the column startingTime, which cannot be added");
}

TEST_F(Create, MakesTheJournalThatIsMissing) {
  create();
  std::filesystem::remove(journalFile());
  EXPECT_EQ(run({"create"}).out, "completed " + dbFile() + "\n");
  EXPECT_EQ(modeOf(journalFile()), 0660U);
}

TEST_F(Create, MakesTheDirectoryOfPicturesForItsGroup) {
  create();
  EXPECT_EQ(modeOf(mediaDir()), 0770U);
  ASSERT_EQ(chmod(mediaDir().c_str(), 0705), 0);
  create();
  EXPECT_EQ(modeOf(mediaDir()), 0775U);
}

TEST_F(Create, FailsWhereATableCannotBe) {
  create();
  RawConnection(dbFile()).exec("DROP TABLE temp_log; CREATE VIEW temp_log AS SELECT 1;");
  expectFailure(run({"create"}), "cannot create the message store " + dbFile(),
                ": tables are missing");
}

/** A process that reads a store without one of its tables, and so keeps others from committing. */
class CreateBesideAReader : public Create {
 protected:
  CreateBesideAReader() {
    create();
    _reader.emplace(dbFile());
    _reader->exec("DROP TABLE msg_sharedial_meta_table; BEGIN;");
    _reader->value("SELECT count(*) FROM temp_log;");
  }

  void stopReading() { _reader->exec("COMMIT;"); }

 private:
  std::optional<RawConnection> _reader;
};

// The first attempt to commit gives up after 2.1 seconds.
TEST_F(CreateBesideAReader, CommitsWhenItHasGone) {
  std::thread reader([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));
    stopReading();
  });
  const ProcessResult result = run({"create"});
  reader.join();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "completed " + dbFile() + "\n");
  EXPECT_EQ(tables(), "14\n");
}

TEST_F(CreateBesideAReader, FailsWhenItStays) {
  expectFailure(run({"create"}), "cannot create the message store " + dbFile(),
                ": it is locked by another process");
  stopReading();
  EXPECT_EQ(tables(), "13\n");
  EXPECT_EQ(run({"create"}).out, "completed " + dbFile() + "\n");
  EXPECT_EQ(tables(), "14\n");
}

// Who waited would wait for 2.1 seconds, and then fail.
TEST_F(Create, NobodyHoldsUpAWholeStore) {
  create();
  RawConnection reader(dbFile());
  reader.exec("BEGIN;");
  reader.value("SELECT count(*) FROM temp_log;");
  RawConnection writer(dbFile());
  writer.exec("BEGIN IMMEDIATE;");
  const auto begin = std::chrono::steady_clock::now();
  const ProcessResult result = run({"create"});
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "complete already: " + dbFile() + "\n");
}

TEST_F(Create, WaitsForAReaderOfAnEmptyFile) {
  std::filesystem::create_directories(dataDir() + "/dbspace");
  RawConnection reader(dbFile());
  reader.exec("BEGIN;");
  reader.value("SELECT count(*) FROM sqlite_master;");
  expectFailure(run({"create"}), "cannot create the message store " + dbFile(),
                ": it is locked by another process");
  reader.exec("COMMIT;");
  EXPECT_EQ(run({"create"}).status, 0);
  EXPECT_EQ(tables(), "14\n");
  EXPECT_EQ(rows("PRAGMA user_version;"), "4\n");
}

TEST_F(Create, MendsModesAndSaysSo) {
  create();
  ASSERT_EQ(chmod(dbFile().c_str(), 0644), 0);
  ASSERT_EQ(chmod(journalFile().c_str(), 0600), 0);
  EXPECT_EQ(run({"create"}).out, "complete already: " + dbFile() +
                                     "\nmode was 0644, is now 0660: " + dbFile() +
                                     "\nmode was 0600, is now 0660: " + journalFile() + "\n");
  EXPECT_EQ(modeOf(dbFile()), 0660U);
  EXPECT_EQ(modeOf(journalFile()), 0660U);

  ASSERT_EQ(chmod(journalFile().c_str(), 0664), 0);
  EXPECT_EQ(json({"create"}),
            (nlohmann::json{{"path", dbFile()},
                            {"created", false},
                            {"modesMended", nlohmann::json::array({nlohmann::json{
                                                {"path", journalFile()}, {"before", "0664"}}})}}));
  EXPECT_EQ(modeOf(journalFile()), 0660U);
}

/** Another user, who opens a file of the store as soon as that can be done. */
class CreateAndAStranger : public Create {
 protected:
  static constexpr int OPENED = 1;
  static constexpr int NEVER = 128 + SIGTERM;

  /** What becomes of a stranger who waits for `path` while `action` runs. */
  static int strangerAt(const std::string& path, const std::function<void()>& action) {
    Signal isWaiting;
    Child stranger([&] {
      if (!become_nobody()) return 99;
      isWaiting.send();
      while (open(path.c_str(), O_RDONLY | O_CLOEXEC) == -1) continue;
      return OPENED;
    });
    isWaiting.wait();
    action();
    kill(stranger.pid(), SIGTERM);
    return stranger.wait();
  }
};

TEST_F(CreateAndAStranger, NobodyElseGetsInWhileTheStoreIsMade) {
  AS_ROOT();
  for (const std::string& path : {dbFile(), journalFile()}) {
    const auto makeOften = [this] {
      for (int store = 0; store < 20; ++store) {
        create();
        std::filesystem::remove_all(dataDir());
      }
    };
    EXPECT_EQ(strangerAt(path, makeOften), NEVER) << path;
  }
}

TEST_F(CreateAndAStranger, WhoMayGetInDoes) {
  AS_ROOT();
  const auto makeAndOpen = [this] {
    create();
    ASSERT_EQ(chmod(dbFile().c_str(), 0664), 0);
    std::this_thread::sleep_for(std::chrono::seconds(1));
  };
  EXPECT_EQ(strangerAt(dbFile(), makeAndOpen), OPENED);
}

}  // namespace
}  // namespace msg_tarvel
