// The power is cut at every operation of the disk under what the tool writes, and the tool killed
// at every call of the system: the next command finds a store that is as before or as after, and
// mends what is left of it, files included.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_error.h"
#include "reliability/crash_states.h"
#include "reliability/extent.h"
#include "reliability/memory_folders.h"
#include "reliability/recording_disk.h"
#include "support/fake_platform.h"
#include "tool/tool_support.h"

namespace msg_tarvel {

namespace {

namespace fs = std::filesystem;

using Names = std::set<std::string>;

class ToolPowerCut : private InMemory, public ToolTest {
 protected:
  /** What the disk may hold whenever the power is cut in this command, which succeeds. */
  CrashStates statesOf(const std::vector<std::string>& arguments) const {
    return statesOf([&](const std::string& record) {
      const ProcessResult result =
          run(arguments,
              {std::string("LD_PRELOAD=") + RECORDING_DISK, "ASAN_OPTIONS=verify_asan_link_order=0",
               std::string(RecordingDisk::FOLDER_VARIABLE) + "=" + folder(),
               std::string(RecordingDisk::RECORD_VARIABLE) + "=" + record});
      EXPECT_EQ(result.status, 0) << result.err;
      std::ofstream(record, std::ios::app) << "promise 0 0 0 \n";
    });
  }

  CrashStates statesOf(const std::function<void(const std::string& record)>& action) const {
    const TemporaryFolder place;
    DiskTree before = DiskTree::of(folder());
    action(place.path() + "/record");
    CrashStates states(std::move(before), place.path() + "/record");
    EXPECT_TRUE(states.end().text() == DiskTree::of(folder()).text()) << "not all was recorded";
    return states;
  }

  /** Calls `look` with the states, each in the place of the store. */
  void tryEach(const std::string& what, const CrashStates& states, int most,
               const std::function<void(const CrashState&)>& look) const {
    most /= SHARE;
    const int tried = states.forEach(is_whole_run() ? INT_MAX : most, [&](const CrashState& state) {
      if (HasFailure()) return;
      SCOPED_TRACE(what + ", " + state.how);
      state.tree.writeTo(folder());
      look(state);
    });
    print_figure(what + ": " + std::to_string(tried) + " crash states");
    EXPECT_GT(tried, most / 2);
  }

  bool isThere() const { return fs::exists(dbFile()); }

  void expectSuccess(const std::vector<std::string>& arguments) const {
    const ProcessResult result = run(arguments);
    EXPECT_EQ(result.status, 0) << arguments.front() << ": " << result.out << result.err;
  }

  /** Nothing is wrong with rows, files, modes, journal, version, tables and indexes. */
  void expectWhole() const {
    const ProcessResult result = run({"check"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "nothing found: " + dbFile() + "\n");
  }

  /** What `check` finds of files and tables, but for what may come with everything. */
  Names findings(const Names& leftOut) const {
    const ProcessResult result = run({"check", "integrity", "rollback", "modes", "owner", "group",
                                      "journal", "version", "tables", "--json"});
    EXPECT_LE(result.status, 1) << result.err;
    const auto counts = nlohmann::json::parse(result.out)["counts"];
    Names names;
    for (const auto& [name, count] : counts.items()) {
      if (count > 0 && leftOut.count(name) == 0) names.insert(name);
    }
    return names;
  }

  /** One value of the database as its next user finds it, who changes it: in a copy. */
  static std::string valueIn(const CrashState& state, const std::string& sql) {
    const TemporaryFolder copy;
    state.tree.writeTo(copy.path());
    RawConnection connection(copy.path() + "/data/dbspace/.msg-tarvel-server.db");
    EXPECT_EQ(connection.value("PRAGMA integrity_check;"), "ok");
    return *connection.value(sql);
  }
};

// ---- create ------------------------------------------------------------------------------------

TEST_F(ToolPowerCut, TheNextCreateMakesTheStoreWhole) {
  const CrashStates states = statesOf({"create"});
  tryEach("create", states, 12, [&](const CrashState& state) {
    EXPECT_TRUE(isThere() || state.promises == 0);
    expectSuccess({"create"});
    expectWhole();
  });
}

// ---- What createDb leaves ----------------------------------------------------------------------

/** What `check` says of a store in the lines of the page's table, which ends a paragraph. */
std::set<Names> listed_findings() {
  std::ifstream page(DATABASE_PAGE);
  std::set<Names> findings;
  std::string line;
  while (std::getline(page, line) && line.rfind("| Cut short before |", 0) != 0) continue;
  while (std::getline(page, line) && !line.empty()) {
    std::istringstream cells(line);
    std::string cell;
    for (int column = 0; column <= 2; ++column) std::getline(cells, cell, '|');
    Names names;
    for (std::size_t begin = cell.find('`'); begin != std::string::npos;) {
      const std::size_t end = cell.find('`', begin + 1);
      names.insert(cell.substr(begin + 1, end - begin - 1));
      begin = cell.find('`', end + 1);
    }
    if (!names.empty() || cell == " nothing ") findings.insert(names);
  }
  return findings;
}

TEST_F(ToolPowerCut, RepairMakesTheStoreWholeThatCreateDbLeaves) {
  const CrashStates states = statesOf([&](const std::string& record) {
    Child owner([&] {
      umask(0022);
      FakePlatform::get().setDataPath(dataDir() + "/");
      RecordingDisk::start(folder(), record);
      return db::DBMgr::getInstance()->createDb() == db::DB_SUCCESS ? 0 : 1;
    });
    EXPECT_EQ(owner.wait(), 0);
  });
  const std::set<Names> listed = listed_findings();
  EXPECT_EQ(listed.size(), 4U);
  std::set<Names> seen;
  tryEach("createDb, then repair", states, 24, [&](const CrashState&) {
    if (!isThere()) {
      for (const char* command : {"check", "repair"}) {
        expectFailure(run({command}), "no message store at ");
      }
      expectSuccess({"create"});
    } else {
      const Names found = findings({"rollback", "modes", "owner", "group"});
      EXPECT_EQ(listed.count(found), 1U) << ::testing::PrintToString(found);
      seen.insert(found);
      expectSuccess({"repair"});
    }
    expectWhole();
  });
  EXPECT_EQ(seen, listed);
}

TEST_F(ToolPowerCut, WhoUndoesInTheDefaultModeDeletesTheJournal) {
  create();
  const CrashStates states = statesOf([&](const std::string& record) {
    Child owner([&] {
      FakePlatform::get().setDataPath(dataDir() + "/");
      RecordingDisk::start(folder(), record);
      return db::DBMgr::getInstance()->execStatement(
          "PRAGMA journal_mode = PERSIST; INSERT INTO temp_log (data1) VALUES ('new');");
    });
    EXPECT_EQ(owner.wait(), 0);
  });
  int number = 0;
  int halves = 0;
  states.forEach(INT_MAX, [&](const CrashState& state) {
    if (!state.isKill || HasFailure() || (!is_whole_run() && ++number % 3 != 0)) return;
    SCOPED_TRACE(state.how);
    state.tree.writeTo(folder());
    if (findings({}).count("rollback") == 0) return;
    ++halves;
    EXPECT_EQ(rows("SELECT count(*) FROM temp_log;"), "0\n");
    EXPECT_EQ(findings({}), Names{"journal"});
    expectSuccess({"repair"});
    expectWhole();
  });
  EXPECT_GT(halves, 0);
}

// ---- import ------------------------------------------------------------------------------------

class ImportPowerCut : public ToolPowerCut {
 protected:
  /** Two texts, two messages with a picture each, one of several writes. */
  std::string messages(int time) const {
    const auto date = [time](int number) { return std::to_string(1000 * time + number); };
    std::string elements;
    for (int number = 1; number <= 2; ++number) {
      const std::string picture(number == 1 ? 400 : 9000, 'Q');
      elements += sms({{"date", date(number)}});
      elements += mms({{"date", date(10 + number)}, {"address", "+14155550122"}},
                      data_part("image/png", picture), "");
    }
    return file("messages-" + std::to_string(time) + ".xml", backup(elements));
  }

  /** Each file has the bytes that its row counted, all of one letter of base64. */
  void expectWholePictures() const {
    for (const std::string& name : mediaFiles()) {
      const std::string size =
          rows("SELECT size FROM msg_mms_content_table WHERE filepath LIKE '%/" + name + "';");
      const std::string bytes = content_of(mediaDir() + "/" + name);
      EXPECT_EQ(std::to_string(bytes.size()) + "\n", size) << name;
      EXPECT_EQ(bytes.find_first_not_of("A\x04\x10"), std::string::npos) << name;
    }
  }

  void tryImport(const std::string& what, const std::string& path, int before) const {
    constexpr const char* COUNT = "SELECT count(*) FROM msg_message_table;";
    constexpr int IMPORTED = 4;
    int number = 0;
    tryEach(what, statesOf({"import", path}), 8, [&](const CrashState& state) {
      const int found = std::stoi(valueIn(state, COUNT));
      EXPECT_TRUE(found == before + IMPORTED || (found == before && state.promises == 0)) << found;
      EXPECT_LE(run({"check"}).status, 1);
      const bool isImportedAgain = number++ % 2 == 0;
      expectSuccess(isImportedAgain ? std::vector<std::string>{"import", path}
                                    : std::vector<std::string>{"repair"});
      expectWhole();
      const int messages = isImportedAgain ? before + IMPORTED : found;
      EXPECT_EQ(rows(COUNT), std::to_string(messages) + "\n");
      EXPECT_EQ(mediaFiles().size(), static_cast<std::size_t>(messages / 2));
      expectWholePictures();
    });
  }
};

TEST_F(ImportPowerCut, OfTheFirstBackupLeavesRowsAndFilesThatAgree) {
  create();
  tryImport("first import", messages(1), 0);
}

TEST_F(ImportPowerCut, OfAnotherBackupLeavesRowsAndFilesThatAgree) {
  create();
  expectSuccess({"import", messages(1)});
  tryImport("second import", messages(2), 4);
}

// ---- repair ------------------------------------------------------------------------------------

TEST_F(ImportPowerCut, OfARepairIsMendedByTheNext) {
  create();
  expectSuccess({"import", messages(1)});
  const std::string picture = mediaDir() + "/" + mediaFiles().front();
  fs::rename(picture, mediaDir() + "/incoming-" + mediaFiles().front());
  file("data/media/incoming-9-1.png", "left");
  RawConnection(dbFile()).exec(
      "PRAGMA user_version = 0; DROP TABLE msg_sim_table; DROP INDEX msg_message_time_index; "
      "UPDATE "
      "msg_conversation_table SET msgCnt = 9, lastMsgId = 1;");
  ASSERT_FALSE(fs::exists(dbFile() + "-journal")) << "the default mode deletes it";
  ASSERT_EQ(chmod(dbFile().c_str(), 0644), 0);
  tryEach("repair", statesOf({"repair"}), 8, [&](const CrashState& state) {
    EXPECT_EQ(valueIn(state, "SELECT count(*) FROM msg_message_table;"), "4");
    expectSuccess({"repair"});
    expectWhole();
    EXPECT_EQ(mediaFiles().size(), 2U);
    expectWholePictures();
  });
}

}  // namespace

}  // namespace msg_tarvel
