// A store that somebody else has made: nothing of it leads a write elsewhere, keeps a command from
// ending or speaks to the terminal.

#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

namespace fs = std::filesystem;

class HostileStore : public ToolTest {
 protected:
  std::vector<std::vector<std::string>> commands() const {
    return {{"create"}, {"threads"}, {"messages"}, {"import", backupFile()}};
  }
  std::string backupFile() const {
    return file("b.xml", backup(mms({}, data_part("image/png", "QUJD"), "")));
  }

  void expectEveryCommandToRefuse(const std::string& path, const std::string& why) const {
    for (const auto& command : commands()) {
      expectFailure(run(command), "cannot use the message store: " + path + " is ", why);
    }
  }
};

TEST_F(HostileStore, LinksLeadNoWriteElsewhere) {
  create();
  const std::string elsewhere = folder() + "/elsewhere";
  for (const auto& [path, kind] :
       std::vector<std::pair<std::string, std::string>>{{dataDir() + "/dbspace", "a directory"},
                                                        {dbFile(), "a file"},
                                                        {dbFile() + "-journal", "a file"},
                                                        {mediaDir(), "a directory"}}) {
    fs::rename(path, elsewhere);
    const auto written = fs::last_write_time(elsewhere);
    fs::create_symlink(elsewhere, path);
    expectEveryCommandToRefuse(path, "a symbolic link, not " + kind);
    EXPECT_EQ(fs::last_write_time(elsewhere), written);
    fs::remove(path);
    fs::rename(elsewhere, path);
  }
}

TEST_F(HostileStore, PipesAndDirectoriesAreNoFiles) {
  create();
  for (const std::string& path : {dbFile(), dbFile() + "-journal", mediaDir()}) {
    fs::rename(path, folder() + "/aside");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expectEveryCommandToRefuse(
        path, path == mediaDir() ? "a pipe, not a directory" : "a pipe, not a file");
    fs::remove(path);
    fs::rename(folder() + "/aside", path);
  }
  fs::remove(dbFile());
  fs::create_directory(dbFile());
  expectEveryCommandToRefuse(dbFile(), "a directory, not a file");
}

TEST_F(HostileStore, AFileWithAnotherNameIsNotWritten) {
  create();
  fs::create_hard_link(dbFile(), folder() + "/elsewhere");
  expectEveryCommandToRefuse(dbFile(), "a file elsewhere too (hard link)");
}

TEST_F(HostileStore, NothingBesideItIsAFileOfAnothersToo) {
  create();
  const std::string elsewhere = file("elsewhere", "");
  for (const char* ending : {"-journal", "-wal", "-shm"}) {
    fs::remove(dbFile() + ending);
    fs::create_hard_link(elsewhere, dbFile() + ending);
    expectEveryCommandToRefuse(dbFile() + ending, "a file elsewhere too (hard link)");
    fs::remove(dbFile() + ending);
  }
}

TEST_F(HostileStore, AJournalDeletesNoOtherFile) {
  create();
  const std::string elsewhere = file("elsewhere", "mine");
  const std::string ending = "\xD9\xD5\x05\xF9\x20\xA1\x63\xD7";
  // The page number of the lock, the name, its length and checksum, all before the ending.
  const std::string other = std::string("\0\0\0\0", 4) + elsewhere + std::string(8, '\0') + ending;
  file("data/dbspace/.msg-tarvel-server.db-journal", ending + std::string(504, '\0') + other);
  expectEveryCommandToRefuse(dbFile() + "-journal", "a journal that names other files");
  EXPECT_EQ(content_of(elsewhere), "mine");
  file("data/dbspace/.msg-tarvel-server.db-journal", std::string(512, '\0') + other);
  EXPECT_EQ(run({"create"}).status, 0);
}

constexpr const char* TOO_MUCH_WORK =
    ": a query takes more work than a store of this size can need";

TEST_F(HostileStore, AViewWithoutEndEndsACommand) {
  create();
  RawConnection(dbFile()).exec(
      "DROP TABLE msg_message_table; CREATE VIEW msg_message_table AS WITH RECURSIVE endless (n) "
      "AS (SELECT 1 UNION ALL SELECT n + 1 FROM endless) SELECT n AS msgId, 'sms' AS msgType, 1 AS "
      "convId, 0 AS storageId, 1 AS storageFolder, 0 AS networkStatus, 'a' AS mainText, 'a' AS "
      "textMessage, 0 AS displayTime, 0 AS attachedNum, 0 AS read, 0 AS simIndex, 0 AS peerConvId, "
      "0 AS peerChatType, 0 AS stickerId, 0 AS isShareDialMessage, 0 AS isSafeMessage, 0 AS "
      "itemId, "
      "0 AS sync, '' AS peerChatSessionId, '' AS peerGroupChatSender, '' AS customFieldStr1 "
      "FROM endless;");
  expectFailure(run({"messages"}), "cannot ", TOO_MUCH_WORK);
}

TEST_F(HostileStore, ATriggerWithoutEndUndoesAnImport) {
  create();
  import(sms({}));
  const std::string before = everything();
  RawConnection(dbFile()).exec(
      "CREATE TRIGGER endless AFTER INSERT ON msg_message_table BEGIN INSERT INTO temp_log (data1) "
      "WITH RECURSIVE endless (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM endless) SELECT n FROM "
      "endless; END;");
  expectFailure(run({"import", backupFile()}), "cannot write the message store", TOO_MUCH_WORK);
  EXPECT_EQ(everything(), before);
  EXPECT_EQ(rows("SELECT count(*) FROM temp_log;"), "0\n");
}

TEST_F(HostileStore, ATextBeyondTheLimitEndsACommand) {
  create();
  import(sms({}));
  RawConnection(dbFile()).exec("UPDATE msg_message_table SET mainText = zeroblob(17000001);");
  expectFailure(run({"messages"}), "cannot ", ": a text of it is longer than 17 MB");
}

/** What overrides the direction and what isolates; in pieces, for the sake of who reads this. */
const std::string OVERRIDE = std::string("\xE2\x80") + "\xAE";
const std::string ISOLATE = std::string("\xE2\x81") + "\xA7";
const std::string TURNING = OVERRIDE + ISOLATE;

/** Everything that a terminal would obey: C0, DEL, C1 and what turns the direction. */
const std::string CONTROLS = "\033[2J\x7F\xC2\x9B\xD8\x9C" + TURNING;

bool has_controls(const std::string& text) {
  for (const std::string& one : {std::string("\033"), std::string("\x7F"), std::string("\xC2\x9B"),
                                 std::string("\xD8\x9C"), OVERRIDE, ISOLATE, std::string("\r")}) {
    if (text.find(one) != std::string::npos) return true;
  }
  return false;
}

TEST_F(HostileStore, ErrorsStayOneHarmlessLine) {
  create();
  RawConnection store(dbFile());
  store.exec("DROP TABLE msg_message_table; CREATE VIEW msg_message_table AS SELECT * FROM \"" +
             CONTROLS + "\nmsg-tarvel: forged\";");
  for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
           {"messages"},
           {"messages", "--verbose"},
           {"import", folder() + "/" + CONTROLS + "\nmsg-tarvel: forged"},
           {"threads", "--data-dir", folder() + "/" + CONTROLS + "\nmsg-tarvel: forged"},
           {"threads", "--" + CONTROLS + "\r"},
           {"messages", "--folder", CONTROLS + "\nmsg-tarvel: forged"},
           {"messages", "--since", CONTROLS + "\nmsg-tarvel: forged"},
           {"message", CONTROLS + "\nmsg-tarvel: forged"},
           {"info", CONTROLS + "\nmsg-tarvel: forged"},
           {CONTROLS}}) {
    const ProcessResult result = run(command);
    EXPECT_NE(result.status, 0);
    EXPECT_NE(result.err, "");
    EXPECT_FALSE(has_controls(result.err)) << result.err;
    EXPECT_EQ(result.err.find("\nmsg-tarvel: forged"), std::string::npos) << result.err;
  }
}

TEST_F(HostileStore, JsonEscapesControls) {
  create();
  import(sms({{ "body", "\x7F\xC2\x9B\xD8\x9C" + TURNING + " \xC3\xA9" }}));
  const ProcessResult result = run({"messages", "--json"});
  EXPECT_FALSE(has_controls(result.out)) << result.out;
  EXPECT_NE(result.out.find("\\u007f\\u009b\\u061c\\u202e\\u2067 \xC3\xA9"), std::string::npos)
      << result.out;
  EXPECT_EQ(nlohmann::json::parse(result.out)[0]["mainText"],
            "\x7F\xC2\x9B\xD8\x9C" + TURNING + " \xC3\xA9");
}

}  // namespace
}  // namespace msg_tarvel
