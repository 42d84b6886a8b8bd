// Each kind of finding planted, found, and mended or left; and stores that are damaged anywhere.

#include "check/check.h"

#include <gtest/gtest.h>
#include <msg-tarvel-common/db/db_indexes.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>

#include "check/check_copy.h"
#include "check/mend.h"
#include "helpers/store_maker.h"
#include "helpers/transaction.h"
#include "interrupt.h"
#include "store/connections.h"
#include "store/media.h"
#include "store/store.h"
#include "store/store_paths.h"
#include "support/as_root.h"
#include "support/processes.h"
#include "support/text_file.h"

namespace msg_tarvel::tool {
namespace {

namespace fs = std::filesystem;

using Names = std::set<std::string>;

constexpr const char* ROWS =
    "INSERT INTO msg_conversation_table (convId) VALUES (1), (2);"
    "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES "
    "(1, 1, 1, '+14155550111'), (2, 1, 1, '+14155550122'), (2, 1, 1, '+14155550133');"
    "INSERT INTO msg_message_table (msgId, convId, msgType, storageFolder, mainText, textMessage, "
    "displayTime, read) VALUES (1, 1, 'sms', 1, 'a', 'a', 10, 1), (2, 1, 'sms', 1, 'b', 'b', 20, "
    "0), (3, 1, 'sms', 3, 'c', 'c', 20, 0), (4, 1, 'sms', 5, 'hidden', 'hidden', 30, 0), "
    "(5, 2, 'mms', 1, 'd', 'd', 40, 1);"
    "INSERT INTO msg_nms_meta_table (msgId, objectId, primaryId) VALUES (1, 'o1', 'p1'), "
    "(2, 'o2', 'p2');"
    "UPDATE msg_conversation_table SET msgCnt = 3, unreadCnt = 1, lastMsgId = 3, msgType = 'sms', "
    "storageFolder = 3, displayTime = 20, mainText = 'c', msgText = 'c' WHERE convId = 1;"
    "UPDATE msg_conversation_table SET msgCnt = 1, unreadCnt = 0, lastMsgId = 5, msgType = 'mms', "
    "storageFolder = 1, displayTime = 40, mainText = 'd', msgText = 'd' WHERE convId = 2;";

class CheckTest : public ::testing::Test {
 protected:
  CheckTest() {
    limit_connections();
    char name[] = "/tmp/msg-tarvel-test-XXXXXX";
    _folder = mkdtemp(name);
    setenv("MSG_TARVEL_DATA_DIR", (_folder + "/data/").c_str(), 1);
    setenv("MSG_TARVEL_SETTINGS", (_folder + "/settings.ini").c_str(), 1);
    build();
  }
  ~CheckTest() override { fs::remove_all(_folder); }

  static std::string file() { return database_path(); }
  static std::string journal() { return file() + JOURNAL_ENDING; }
  static std::string picture() { return media_directory() + "/5-1.png"; }

  /** A new store in which nothing is wrong. */
  static void build() {
    fs::remove_all(data_directory());
    {
      const helpers::StoreSession session;
      helpers::make_store();
      ASSERT_EQ(db::db_create_indexes(), 0);
    }
    make_media_directory(media_directory());
    write_file(picture(), "PNG");
    ASSERT_EQ(chmod(picture().c_str(), 0660), 0);
    static_cast<void>(chown(picture().c_str(), getuid(), STORE_GROUP) == 0);
    plant(ROWS);
    plant("INSERT INTO msg_mms_content_table (msgId, hasFile, filepath) VALUES (5, 1, '" +
          picture() + "');");
  }

  static void plant(const std::string& sql) {
    Database(file()).execute("PRAGMA journal_mode = PERSIST;" + sql);
  }

  static Findings check(const std::vector<std::string>& names = {}) {
    Findings findings(kinds_of(names));
    check_copy(file(), findings);
    return findings;
  }

  static Names kindsIn(const Findings& findings) {
    Names names;
    for (const Finding& finding : findings.all()) {
      names.insert(description_of(finding.kind).name);
    }
    return names;
  }

  /** Plants something, and expects these kinds to be found and those to be left by mending. */
  static void expectFound(const std::function<void()>& planted, const Names& found,
                          const Names& left) {
    build();
    planted();
    const Findings before = check();
    EXPECT_EQ(kindsIn(before), found);
    for (const std::string& name : found) EXPECT_EQ(kindsIn(check({name})), Names{name});
    mend_database(before);
    mend_files(before);
    EXPECT_EQ(kindsIn(check()), left);
  }
  static void expectFound(const std::string& sql, const Names& found, const Names& left) {
    SCOPED_TRACE(sql);
    expectFound([&sql] { plant(sql); }, found, left);
  }
  static void expectMended(const std::string& sql, const Names& found) {
    expectFound(sql, found, {});
  }
  static void expectLeft(const std::string& sql, const Names& found) {
    expectFound(sql, found, found);
  }

  /** What `sql` gives, as text. */
  static std::string ask(const std::string& sql) {
    const Database database(file());
    Rows rows = database.query(sql);
    return rows.next() ? rows.text(0) : "no row";
  }

 private:
  std::string _folder;
};

TEST_F(CheckTest, FindsNothingInAWholeStore) {
  EXPECT_EQ(kindsIn(check()), Names{});
  EXPECT_EQ(check().wanted().size(), std::size(KINDS));
}

TEST(Kinds, AreExplainedInTheDocuments) {
  const std::string page = read_file(DATABASE_PAGE);
  for (const KindDescription& kind : KINDS) {
    const std::string row = std::string("| `") + kind.name + "` | " + kind.description + " | " +
                            (kind.repair ? kind.repair : "left") + " |\n";
    EXPECT_NE(page.find(row), std::string::npos) << row;
  }
}

TEST_F(CheckTest, Conversations) {
  expectMended("UPDATE msg_conversation_table SET msgCnt = 4 WHERE convId = 1;", {"counters"});
  EXPECT_EQ(ask("SELECT msgCnt FROM msg_conversation_table WHERE convId = 1;"), "3");
  expectMended("UPDATE msg_conversation_table SET unreadCnt = 0 WHERE convId = 1;", {"unread"});
  EXPECT_EQ(ask("SELECT unreadCnt FROM msg_conversation_table WHERE convId = 1;"), "1");
  for (const std::string column :
       {"lastMsgId = 2", "msgType = 'x'", "storageFolder = 1", "displayTime = 21", "expiryTime = 1",
        "mainText = 'x'", "msgText = 'x'", "stickerId = 7", "lastMsgId = NULL"}) {
    expectMended("UPDATE msg_conversation_table SET " + column + " WHERE convId = 1;",
                 {"last-message"});
  }
  expectLeft(
      "INSERT INTO msg_conversation_table (convId) VALUES (7); INSERT INTO "
      "msg_address_table (convId, address) VALUES (7, 'x');",
      {"no-messages"});
  expectFound(
      "INSERT INTO msg_conversation_table (convId, lastMsgId) VALUES (7, 3); INSERT INTO "
      "msg_address_table (convId, address) VALUES (7, 'x');",
      {"no-messages", "last-message"}, {"no-messages"});
  expectLeft("DELETE FROM msg_address_table WHERE convId = 1;", {"no-addresses"});
}

TEST_F(CheckTest, Orphans) {
  expectMended("DELETE FROM msg_conversation_table WHERE convId = 1;",
               {"foreign-keys", "orphan-messages", "orphan-addresses"});
  EXPECT_EQ(ask("SELECT msgCnt || ' ' || unreadCnt || ' ' || lastMsgId || mainText FROM "
                "msg_conversation_table WHERE convId = 1;"),
            "3 1 3c");
  expectLeft(
      "DELETE FROM msg_conversation_table WHERE convId = 1; DELETE FROM msg_address_table "
      "WHERE convId = 1;",
      {"foreign-keys", "orphan-messages"});
  expectMended("INSERT INTO msg_address_table (convId, address) VALUES (77, 'x');",
               {"foreign-keys", "orphan-addresses"});
  expectMended("INSERT INTO msg_mms_content_table (msgId) VALUES (99);",
               {"foreign-keys", "orphan-contents"});
  expectMended("INSERT INTO msg_ft_content_table (msgId) VALUES (99);",
               {"foreign-keys", "orphan-transfers"});
  expectLeft("INSERT INTO msg_mms_content_table (msgId, filepath) VALUES (99, '" + picture() +
                 "'); INSERT INTO msg_ft_content_table (msgId, filepath) VALUES (99, '" +
                 picture() + "');",
             {"foreign-keys", "orphan-contents", "orphan-transfers"});
  expectMended("INSERT INTO msg_nms_meta_table (msgId) VALUES (99);",
               {"foreign-keys", "orphan-metadata"});
  expectMended("INSERT INTO ft_queue_table (msgId) VALUES (99);", {"orphan-queue"});
  expectMended("INSERT INTO message_transaction_table (msgId) VALUES (99);",
               {"orphan-transactions"});
}

TEST_F(CheckTest, Schema) {
  expectMended("PRAGMA user_version = 0;", {"version"});
  expectLeft("PRAGMA user_version = 3;", {"version"});
  expectMended("DROP TABLE temp_log;", {"tables"});
  expectLeft("DROP TABLE temp_log; CREATE VIEW temp_log AS SELECT 1;", {"tables"});
  expectMended("ALTER TABLE temp_log DROP COLUMN data2;", {"columns"});
  expectLeft(
      "DROP TABLE temp_log; CREATE TABLE temp_log (id INTEGER PRIMARY KEY, time_stamp INT, "
      "data1 TEXT, data2 TEXT, data3 TEXT);",
      {"columns"});
  expectMended("DROP INDEX msg_message_time_index;", {"indexes"});
  expectMended(
      "DROP INDEX msg_message_time_index; CREATE INDEX msg_message_time_index ON "
      "msg_message_table(displayTime);",
      {"indexes"});
  EXPECT_EQ(ask("SELECT sql FROM sqlite_master WHERE name = 'msg_message_time_index';"),
            "CREATE INDEX msg_message_time_index ON msg_message_table(displayTime DESC)");
  expectMended(
      "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = 'CREATE INDEX "
      "msg_nms_meta_object_index ON msg_nms_meta_table(primaryId)' WHERE name = "
      "'msg_nms_meta_object_index';",
      {"integrity", "indexes"});
}

TEST_F(CheckTest, People) {
  const std::string more =
      "INSERT INTO msg_message_table (convId, msgType, storageFolder, read) "
      "VALUES (7, '', 0, 1);"
      "INSERT INTO msg_conversation_table (convId) VALUES (7);"
      "INSERT INTO msg_address_table (convId, address) VALUES ";
  expectLeft(more + "(7, '(415) 555-0111');", {"same-people"});
  expectLeft(more + "(7, '04155550133'), (7, '4155550122');", {"same-people"});
  expectLeft(more + "(7, '+442055550111');", {"same-people", "same-ending"});
  expectLeft(more + "(7, '+442055550111'), (7, 'a');", {"same-ending"});
  expectLeft(more + "(7, 'someone@example.org');", {});
}

TEST_F(CheckTest, PeopleAreNotComparedWithoutTheSettings) {
  write_file(std::getenv("MSG_TARVEL_SETTINGS"), "no settings\n");
  const Findings findings = check();
  EXPECT_EQ(kindsIn(findings), (Names{"same-people", "same-ending"}));
  for (const Finding& finding : findings.all()) {
    EXPECT_EQ(finding.object, "settings");
    EXPECT_EQ(finding.problem.rfind("cannot read the device's settings: ", 0), 0U)
        << finding.problem;
  }
}

TEST_F(CheckTest, Files) {
  expectFound([] { fs::remove(picture()); }, {"missing-files"}, {"missing-files"});
  const auto leave = [](const std::string& name) {
    const std::string path = media_directory() + "/" + name;
    write_file(path, "x");
    ASSERT_EQ(chmod(path.c_str(), 0660), 0);
    static_cast<void>(chown(path.c_str(), getuid(), STORE_GROUP) == 0);
  };
  expectFound([&] { leave("incoming-1-2"); }, {"unnamed-files"}, {});
  expectFound([&] { leave("9-1.png"); }, {"unnamed-files"}, {"unnamed-files"});
  const auto hide = [] {
    fs::rename(picture(), media_directory() + "/incoming-5-1.png");
    EXPECT_EQ(check().all().front().problem, picture() + " is there as incoming-5-1.png");
  };
  expectFound(hide, {"missing-files"}, {});
  expectFound([&] { leave("note.txt"); }, {"unnamed-files"}, {"unnamed-files"});
  expectFound([] { fs::remove(journal()); }, {"journal"}, {});
  for (const auto& [path, mode] :
       std::vector<std::pair<std::string, mode_t>>{{file(), 0664},
                                                   {journal(), 0600},
                                                   {picture(), 0644},
                                                   {data_directory(), 0777},
                                                   {data_directory() + DATABASE_DIRECTORY, 0757},
                                                   {media_directory(), 0755},
                                                   {media_directory(), 0570}}) {
    expectFound([&, path = path, mode = mode] { ASSERT_EQ(chmod(path.c_str(), mode), 0); },
                {"modes"}, {});
  }
}

// Members of the group may give a file any name.
TEST_F(CheckTest, AFileThatARowNamesIsNoneThatAnImportLeft) {
  const std::string named = media_directory() + "/incoming-5-1.png";
  const auto nameIt = [&named] {
    fs::rename(picture(), named);
    plant("UPDATE msg_mms_content_table SET filepath = '" + named + "';");
  };
  expectFound(nameIt, {}, {});
  mend_database(Findings(kinds_of({})));
  EXPECT_TRUE(fs::exists(named));
  const auto nameBoth = [&] {
    nameIt();
    plant("INSERT INTO msg_ft_content_table (msgId, filepath) VALUES (5, '" + picture() + "');");
    EXPECT_EQ(check().all().front().problem, picture() + " is not there");
  };
  expectFound(nameBoth, {"missing-files"}, {"missing-files"});
  EXPECT_TRUE(fs::exists(named));
}

// While somebody undoes what a killed import has begun, its files could be those of a writer.
TEST_F(CheckTest, FilesThatAWriterHidAreMendedWithTheRest) {
  const std::string left = media_directory() + "/incoming-1-2";
  write_file(left, "x");
  mend_database(Findings(kinds_of({"counters"})));
  EXPECT_TRUE(fs::exists(left));
  mend_database(Findings(kinds_of({})));
  EXPECT_FALSE(fs::exists(left));
}

TEST_F(CheckTest, AStoreInWriteAheadModeIsToldAndLeftAsItIs) {
  const auto chooseWriteAhead = [] {
    Database(file()).execute("PRAGMA journal_mode = WAL;");
    write_file(journal(), "");
    ASSERT_EQ(chmod(journal().c_str(), 0660), 0);
    static_cast<void>(chown(journal().c_str(), getuid(), STORE_GROUP) == 0);
  };
  chooseWriteAhead();
  const std::string directory = data_directory() + DATABASE_DIRECTORY;
  const std::vector<std::string> names = names_in(directory);
  const std::string bytes = read_file(file());
  const Findings findings = check();
  ASSERT_EQ(findings.all().size(), 1U);
  EXPECT_EQ(findings.all().front().kind, Kind::JOURNAL);
  EXPECT_EQ(findings.all().front().object, file());
  EXPECT_EQ(findings.all().front().problem, "is in write-ahead mode");
  EXPECT_EQ(names_in(directory), names);
  EXPECT_EQ(read_file(file()), bytes);
  expectFound(chooseWriteAhead, {"journal"}, {});
}

TEST_F(CheckTest, OwnersAndGroups) {
  AS_ROOT();
  expectFound([] { ASSERT_EQ(chown(file().c_str(), 0, 0), 0); }, {"group"}, {});
  expectFound([] { ASSERT_EQ(chown(file().c_str(), NOBODY, STORE_GROUP), 0); }, {"owner"},
              {"owner"});
  // Who is in no group 5000 can give nothing to it.
  build();
  for (const std::string& path : {data_directory(), data_directory() + DATABASE_DIRECTORY, file(),
                                  journal(), media_directory(), picture()}) {
    ASSERT_EQ(chown(path.c_str(), NOBODY, NOBODY), 0);
  }
  EXPECT_EQ(kindsIn(check()), Names{});
}

/** A process that dies in the middle of a commit. */
void leave_half_a_commit(const std::string& path) {
  Child writer([&path] {
    const Database database(path);
    database.execute(
        "PRAGMA journal_mode = PERSIST; PRAGMA cache_size = 1; BEGIN; UPDATE msg_message_table "
        "SET mainText = 'half'; WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
        "LIMIT 200) INSERT INTO temp_log (data1) SELECT hex(zeroblob(2000)) FROM n;");
    _exit(0);
    return 0;
  });
  ASSERT_EQ(writer.wait(), 0);
}

TEST_F(CheckTest, AHalfCommitIsTold) {
  expectFound([] { leave_half_a_commit(file()); }, {"rollback"}, {});
  EXPECT_EQ(ask("SELECT mainText FROM msg_message_table WHERE msgId = 1;"), "a");
}

TEST_F(CheckTest, ChangesNothing) {
  leave_half_a_commit(file());
  plant("");
  leave_half_a_commit(file());
  const std::string before = read_file(file());
  const std::string journalBefore = read_file(journal());
  const auto time = fs::last_write_time(file());
  EXPECT_EQ(kindsIn(check()), Names{"rollback"});
  EXPECT_TRUE(read_file(file()) == before);
  EXPECT_TRUE(read_file(journal()) == journalBefore);
  EXPECT_EQ(fs::last_write_time(file()), time);
}

TEST_F(CheckTest, SaysOnceThatThereIsNoDatabase) {
  write_file(file(), std::string(5000, 'x'));
  const Findings findings = check();
  ASSERT_EQ(findings.all().size(), 1U);
  EXPECT_EQ(findings.all()[0].kind, Kind::INTEGRITY);
  EXPECT_EQ(findings.all()[0].problem, "cannot be read: it is not a database");
  EXPECT_TRUE(is_damaged(findings));
  EXPECT_EQ(kindsIn(check({"unread"})), Names{"unread"});
}

TEST_F(CheckTest, KeepsAHundredOfAKindAndCountsAll) {
  plant(
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 130) INSERT INTO "
      "ft_queue_table (msgId) SELECT 1000 + i FROM n;");
  const Findings findings = check();
  EXPECT_EQ(findings.count(Kind::ORPHAN_QUEUE), 130);
  EXPECT_EQ(findings.all().size(), 100U);
}

TEST_F(CheckTest, EndsWhenTheProgramIsInterrupted) {
  plant(
      "WITH RECURSIVE n (i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 20000) INSERT INTO "
      "temp_log (data1) SELECT i FROM n;");
  const InterruptGuard guard;
  raise(SIGTERM);
  EXPECT_THROW(check(), Interrupted);
}

TEST_F(CheckTest, SurvivesDamageAnywhere) {
  const std::string whole = read_file(file());
  unsigned int state = 1;
  const auto next = [&state](std::size_t below) {
    state = state * 1103515245 + 12345;
    return (state >> 8) % below;
  };
  int found = 0;
  for (int place = 0; place < 200; ++place) {
    std::string damaged = whole;
    std::size_t at = next(100);  // the header
    while (place % 8 != 0 && (at < 100 || damaged[at] == '\0')) at = next(damaged.size() - 16);
    for (std::size_t i = 0; i < 1 + next(16); ++i) damaged[at + i] = static_cast<char>(next(256));
    if (place % 25 == 24) damaged.resize(next(damaged.size()));
    write_file(file(), damaged);
    found += check().empty() ? 0 : 1;
    ASSERT_TRUE(read_file(file()) == damaged) << place;
  }
  EXPECT_GT(found, 60);
}

}  // namespace
}  // namespace msg_tarvel::tool
