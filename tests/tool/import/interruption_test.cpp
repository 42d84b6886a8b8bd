// An import that is ended from outside: at once, and with nothing left of it, then or the next
// time.

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <random>
#include <thread>

#include "support/as_root.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class Interruption : public ToolTest {
 protected:
  void SetUp() override { create(); }

  /** Messages with a picture each. */
  std::string pictures(int count = 200) const {
    std::string elements;
    for (int i = 1; i <= count; ++i) {
      elements +=
          mms({{"date", std::to_string(i)}}, data_part("image/png", std::string(2000, 'Q')), "");
    }
    return file("pictures.xml", backup(elements));
  }

  std::string errors() const { return content_of(folder() + "/errors"); }

  /** Starts the tool, whose output nobody reads. */
  std::unique_ptr<Child> start(const std::vector<std::string>& arguments,
                               const std::string& input = "/dev/null") const {
    const std::string errorFile = file("errors", "");
    return std::make_unique<Child>([command = command(arguments), input, errorFile] {
      dup2(open(input.c_str(), O_RDWR), STDIN_FILENO);
      dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
      dup2(open(errorFile.c_str(), O_WRONLY), STDERR_FILENO);
      execute(command);
      return 127;
    });
  }

  /** As many files as rows name, and no other. */
  void expectFilesToBeThoseOfRows() const {
    const std::string named =
        rows("SELECT filepath FROM msg_mms_content_table WHERE hasFile = 1 ORDER BY 1;");
    std::vector<std::string> paths;
    for (const std::string& name : mediaFiles()) paths.push_back(mediaDir() + "/" + name);
    std::string found;
    for (const std::string& path : paths) found += path + "\n";
    EXPECT_EQ(found, named);
  }
};

// The library waits 2.1 seconds for a lock.
TEST_F(Interruption, EndsAWaitForALock) {
  RawConnection writer(dbFile());
  const std::string path = pictures();
  for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
    writer.exec("BEGIN IMMEDIATE;");
    const auto import = start({"import", path});
    std::this_thread::sleep_for(milliseconds(700));
    const auto before = steady_clock::now();
    kill(import->pid(), signal);
    EXPECT_EQ(import->wait(), 128 + signal);
    EXPECT_LT(steady_clock::now() - before, milliseconds(1000));
    writer.exec("ROLLBACK;");
  }
}

TEST_F(Interruption, SaysWhichFilesAreImported) {
  // Standard input that does not end.
  const std::string path = folder() + "/endless";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int endless = open(path.c_str(), O_RDWR | O_CLOEXEC);
  std::vector<std::string> files;
  for (const std::string outcome :
       {"nothing was imported", "the first file is imported, and nothing of the next",
        "the first 2 files are imported, and nothing of the next"}) {
    std::vector<std::string> arguments = {"import"};
    arguments.insert(arguments.end(), files.begin(), files.end());
    arguments.emplace_back("-");
    ASSERT_EQ(write(endless, "<", 1), 1);
    const auto import = start(arguments, path);
    for (int waiting = 1; waiting > 0; usleep(1000)) ioctl(endless, FIONREAD, &waiting);
    kill(import->pid(), SIGTERM);
    EXPECT_EQ(import->wait(), 128 + SIGTERM);
    EXPECT_EQ(errors(), "msg-tarvel: interrupted; " + outcome + "\n");
    const std::string number = std::to_string(files.size() + 1);
    EXPECT_EQ(rows("SELECT count(*) + 1 FROM msg_message_table;"), number + "\n");
    files.push_back(file(number, backup(sms({{"date", number}}))));
  }
  close(endless);
}

TEST_F(Interruption, ComesInTheMomentBeforeTheWaitForInput) {
  const std::string path = folder() + "/endless";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int endless = open(path.c_str(), O_RDWR | O_CLOEXEC);
  // One in five would not end, if it were missed.
  for (int i = 0; i < 30; ++i) {
    ASSERT_EQ(write(endless, "<", 1), 1);
    const auto import = start({"import", "-"}, path);
    for (int waiting = 1; waiting > 0;) ioctl(endless, FIONREAD, &waiting);
    kill(import->pid(), SIGTERM);
    ASSERT_EQ(import->wait(), 128 + SIGTERM) << i;
  }
  close(endless);
}

TEST_F(Interruption, AKilledImportLeavesNothingBehindTheNext) {
  const std::string path = pictures(100);
  const auto begin = steady_clock::now();
  EXPECT_EQ(start({"import", path})->wait(), 0);
  const auto duration = steady_clock::now() - begin;
  const auto empty = [this] {
    std::filesystem::remove_all(dataDir());
    create();
  };
  empty();

  constexpr unsigned int PARTS = 1000;
  std::mt19937 draw(50);  // the same moments at every run, as far as the machine's pace allows
  int killed = 0;
  bool hasLeftFiles = false;
  for (int kills = 0; kills < 50; ++kills) {
    const int signal = kills % 2 == 0 ? SIGHUP : SIGKILL;
    const auto import = start({"import", path});
    std::this_thread::sleep_for(duration * (draw() % PARTS) / PARTS);
    kill(import->pid(), signal);
    const int status = import->wait();
    if (status == 0) {
      expectFilesToBeThoseOfRows();
      empty();
      continue;
    }
    ASSERT_EQ(status, 128 + signal);
    ++killed;
    hasLeftFiles = hasLeftFiles || (signal == SIGKILL && !mediaFiles().empty());
  }
  // On a busy machine many are done before.
  EXPECT_GE(killed, 15);
  EXPECT_TRUE(hasLeftFiles);

  EXPECT_EQ(run({"import", path}).status, 0);
  EXPECT_EQ(run({"check"}).status, 0);
  EXPECT_EQ(rows("SELECT count(*) FROM msg_message_table;"), "100\n");
  EXPECT_EQ(mediaFiles().size(), 100U);
  expectFilesToBeThoseOfRows();
}

// The look at what is left takes a while.
TEST_F(Interruption, BehindTheCommitOfARepairIsTold) {
  import(sms({}));
  RawConnection store(dbFile());
  store.exec(
      "PRAGMA busy_timeout = 5000; PRAGMA journal_mode = PERSIST; UPDATE msg_conversation_table "
      "SET "
      "msgCnt = 5; WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 100000) "
      "INSERT INTO temp_log (data1) SELECT i FROM n;");
  const auto repair = start({"repair"});
  while (store.value("SELECT msgCnt FROM msg_conversation_table;") == "5") usleep(200);
  kill(repair->pid(), SIGTERM);
  const int status = repair->wait();
  // On a busy machine it is done before.
  EXPECT_TRUE(status == 128 + SIGTERM || status == 0) << status;
  const std::string told = errors();
  EXPECT_TRUE(told.empty() || told.find("interrupted; the store is mended") != std::string::npos)
      << told;
}

TEST_F(Interruption, OnlyWhatItsOwnNameTellsIsRemoved) {
  const std::vector<std::string> others = {"12-3.png", "note.txt"};
  for (const std::string& name : others) file("data/media/" + name, "x");
  for (const std::string name :
       {"incoming-77-1", "incoming-7-1.png", "incoming-8-1.png", "incoming-photo.png"}) {
    file("data/media/" + name, "x");
  }
  RawConnection(dbFile()).exec(
      "INSERT INTO msg_mms_content_table (hasFile, filepath) VALUES (1, '/before/8-1.png'), "
      "(1, '/before/incoming-photo.png');");
  import(sms({}));
  EXPECT_EQ(mediaFiles(),
            (std::vector<std::string>{"12-3.png", "8-1.png", "incoming-photo.png", "note.txt"}));
}

TEST_F(Interruption, NoImportGivesANameThatTellsOfOne) {
  const auto row = [](const std::string& path, const std::string& bytes) {
    return R"({"msgId":1,"hasFile":1,"filepath":")" + path + R"(","files":{"filepath":")" + bytes +
           "\"}}";
  };
  const std::string lines = R"({"export":"msg-tarvel","version":1})"
                            "\n"
                            R"({"conversation":{"convId":1,"msgCnt":1,"lastMsgId":1},)"
                            R"("addresses":[{"convId":1,"address":"1"}]})"
                            "\n"
                            R"({"message":{"msgId":1,"convId":1},"contents":[)" +
                            row("/a/incoming-photo.png", "QUJD") + "," +
                            row("/a/photo.png", "QUJE") + "," + row("/a/incoming.png", "QUJF") +
                            "," + row("/b/incoming.png", "QUJG") +
                            "]}\n"
                            R"({"end":{"messages":1,"conversations":1}})"
                            "\n";
  ASSERT_EQ(json({"import", file("lines.jsonl", lines)})["stored"], 1);
  const std::vector<std::string> names = {"incoming.png", "incoming_2.png", "incoming_photo.png",
                                          "photo.png"};
  EXPECT_EQ(mediaFiles(), names);
  EXPECT_EQ(content_of(mediaDir() + "/incoming_photo.png"), "ABC");
  EXPECT_EQ(content_of(mediaDir() + "/incoming_2.png"), "ABF");
  EXPECT_EQ(run({"check", "missing-files", "unnamed-files"}).status, 0);
  import(sms({}));
  EXPECT_EQ(mediaFiles(), names);
}

TEST_F(Interruption, AFullDiskUndoesAnImport) {
  AS_ROOT();
  std::filesystem::remove_all(dataDir());
  std::filesystem::create_directory(dataDir());
  if (mount("none", dataDir().c_str(), "tmpfs", 0, "size=600k,mode=755") != 0) {
    GTEST_SKIP() << "nothing can be mounted here";
  }
  create();
  import(sms({}) + mms({}, data_part("image/png", "QUJD"), ""));
  const std::string before = everything();
  std::string elements;
  for (int i = 1; i <= 4000; ++i) elements += sms({{"date", std::to_string(i)}});
  const std::string texts = file("texts.xml", backup(elements));
  const std::string picture = std::string(1 << 20, 'Q');
  const std::string large =
      file("large.xml", backup(mms({{"date", "5"}}, data_part("image/png", picture), "")));
  for (const std::string& path : {texts, large}) {
    const ProcessResult result = run({"import", path});
    EXPECT_EQ(result.status, 3) << path;
    EXPECT_EQ(everything(), before) << path;
  }
  EXPECT_EQ(run({"check"}).status, 0);
  umount(dataDir().c_str());
}

TEST_F(Interruption, MembersOfTheStoresGroupImportPictures) {
  AS_ROOT();
  constexpr uid_t MEMBER = 65533;
  ASSERT_EQ(chmod(folder().c_str(), 0755), 0);
  useProgramForEveryone();
  const std::string path = file("b.xml", backup(mms({}, data_part("image/png", "QUJD"), "")));
  Child member([&] {
    if (!become_user(MEMBER, {5000})) return 99;
    return run({"import", path}).status;
  });
  EXPECT_EQ(member.wait(), 0);
  ASSERT_EQ(mediaFiles(), std::vector<std::string>{"1-1.png"});
  struct stat status = {};
  ASSERT_EQ(stat((mediaDir() + "/1-1.png").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, MEMBER);
  EXPECT_EQ(status.st_gid, 5000U);
  EXPECT_EQ(status.st_mode & 07777, 0660U);
  ASSERT_EQ(stat(mediaDir().c_str(), &status), 0);
  EXPECT_EQ(status.st_gid, 5000U);
  EXPECT_EQ(status.st_mode & 07777, 0770U);
  EXPECT_EQ(run({"check", "owner", "group", "modes"}).out, "nothing found: " + dbFile() + "\n");
}

}  // namespace
}  // namespace msg_tarvel
