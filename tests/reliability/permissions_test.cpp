// Who gets at a store and at what is made of it, and what becomes of what others have put in its
// places: an error, never a write elsewhere.

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "reliability/extent.h"
#include "support/as_root.h"
#include "support/fake_platform.h"
#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

namespace fs = std::filesystem;

using Command = std::vector<std::string>;

constexpr uid_t OWNER = 65533;
constexpr uid_t MEMBER = 65532;
constexpr gid_t STORE_GROUP = 5000;

/** Instrumented, a program takes a quarter of a second: of what every run tries, one in so many. */
#ifdef TEST_OF_INSTRUMENTED
constexpr int FEWER = 4;
#else
constexpr int FEWER = 1;
#endif

std::string picture(int date) {
  return mms({{"date", std::to_string(date)}}, data_part("image/png", "QUJD"), "");
}

/** Everything below the folders, those of one type. */
std::vector<fs::path> entries_below(const std::vector<std::string>& folders, fs::file_type type) {
  std::vector<fs::path> entries;
  for (const std::string& folder : folders) {
    std::error_code gone;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied,
                                           gone);
    for (; !gone && entry != fs::recursive_directory_iterator(); entry.increment(gone)) {
      if (entry->symlink_status(gone).type() == type) entries.push_back(*entry);
    }
  }
  return entries;
}

std::vector<fs::path> files_below(const std::vector<std::string>& folders) {
  return entries_below(folders, fs::file_type::regular);
}

bool opens(const std::string& path, int flags, mode_t mode = 0) {
  const int file = open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC, mode);
  if (file != -1) close(file);
  return file != -1;
}

bool takes_away(const std::string& path) {
  return rename(path.c_str(), (path + ".taken").c_str()) == 0 || unlink(path.c_str()) == 0;
}

/** Whether this process can read, change, take away or add anything; it says what. */
bool gets_in(const std::vector<std::string>& folders) {
  const auto tell = [](const fs::path& path) {
    std::cerr << "a stranger got into " << path << "\n";
    return true;
  };
  for (const fs::path& file : files_below(folders)) {
    if (opens(file, O_RDONLY) || opens(file, O_WRONLY) || takes_away(file)) return tell(file);
  }
  for (const fs::path& directory : entries_below(folders, fs::file_type::directory)) {
    if (opens(directory / "added", O_WRONLY | O_CREAT | O_EXCL, 0600) || takes_away(directory)) {
      return tell(directory);
    }
  }
  return false;
}

/** Another user who walks through the folders over and over and tries every door. */
class Stranger {
 public:
  explicit Stranger(const std::vector<std::string>& folders)
      : _child([this, folders] { return walk(folders); }) {
    _isThere.wait();
  }

  /** Waits until he gets in. */
  bool getsIn() { return _child.wait() == 0; }

  /** Whether he got in anywhere, up to now. */
  bool gotIn() {
    kill(_child.pid(), SIGTERM);
    const int status = _child.wait();
    EXPECT_TRUE(status == 0 || status == 128 + SIGTERM) << status;
    return status == 0;
  }

 private:
  int walk(const std::vector<std::string>& folders) {
    if (!become_nobody()) return 99;
    _isThere.send();
    while (!gets_in(folders)) {
    }
    return 0;
  }

  Signal _isThere;
  Child _child;
};

class Permissions : public ToolTest {
 protected:
  void SetUp() override {
    umask(022);
    for (const std::string& shared : {out(), temporary()}) {
      fs::create_directory(shared);
      ASSERT_EQ(chmod(shared.c_str(), 01777), 0);
    }
    ASSERT_EQ(chmod(folder().c_str(), 0755), 0);
    if (geteuid() != 0) return;  // the test is repeated as root
    ASSERT_EQ(chown(folder().c_str(), OWNER, OWNER), 0);
    useProgramForEveryone();
  }

  std::string out() const { return folder() + "/out"; }
  std::string temporary() const { return folder() + "/temporary"; }

  std::string backupFile() const { return file("b.xml", backup(picture(1) + picture(2))); }

  /** Runs the tool as another user, whose umask lets everybody in. */
  int runAs(uid_t user, const std::vector<gid_t>& groups, const Command& command) const {
    Child child([&] {
      if (!become_user(user, groups)) return 99;
      umask(0);
      const ProcessResult result = run(command, {"TMPDIR=" + temporary()});
      if (result.status != 0) std::cerr << command.front() << ": " << result.err;
      return result.status;
    });
    return child.wait();
  }

  /** What a store's owner does that makes files. */
  void makeEverything(uid_t user, const std::vector<gid_t>& groups) const {
    const std::string backups = backupFile();
    for (const Command& command :
         {Command{"create"}, Command{"import", backups}, Command{"backup", out() + "/whole.db"},
          Command{"backup", out() + "/redacted.db", "--redact"},
          Command{"export", "--media", out() + "/media"},
          Command{"buffer", "encode", "1", "--output", out() + "/1.bin"}, Command{"threads"}}) {
      EXPECT_EQ(runAs(user, groups, command), 0) << command.front();
    }
    RawConnection(dbFile()).exec(
        "PRAGMA journal_mode = PERSIST; UPDATE msg_conversation_table SET msgCnt = 9;");
    EXPECT_EQ(runAs(user, groups, {"repair"}), 0);
  }

  void removeEverything() const {
    fs::remove_all(dataDir());
    fs::remove_all(out());
    fs::create_directory(out());
    ASSERT_EQ(chmod(out().c_str(), 01777), 0);
  }

  std::vector<std::string> all() const { return {dataDir(), out(), temporary()}; }
};

// ---- Who gets in -------------------------------------------------------------------------------

TEST_F(Permissions, AreForNobodyElse) {
  AS_ROOT();
  const int rounds = is_whole_run() ? 60 : 2;
  std::set<std::string> made;
  for (int round = 0; round < rounds && !HasFailure(); ++round) {
    Stranger stranger(all());
    round % 2 == 0 ? makeEverything(0, {}) : makeEverything(OWNER, {STORE_GROUP});
    EXPECT_FALSE(stranger.gotIn());
    Child lateStranger([this] {
      if (!become_nobody()) return 99;
      return gets_in(all()) ? 1 : 0;
    });
    EXPECT_EQ(lateStranger.wait(), 0);
    for (const fs::path& file : files_below(all())) made.insert(file.filename());
    removeEverything();
  }
  // Database, journal, two pictures twice, two backups and that of the repair, a message.
  EXPECT_GE(made.size(), 8U);
  print_figure("strangers beside " + std::to_string(rounds) + " stores: 0 got in");
}

TEST_F(Permissions, AreWhatKeepsAStrangerOut) {
  AS_ROOT();
  std::ofstream(out() + "/secret") << "x";
  ASSERT_EQ(chmod((out() + "/secret").c_str(), 0660), 0);
  const std::string door = out() + "/door";
  const std::function<void()> openings[] = {
      [&] { std::ofstream(door) << "everybody may read this"; },
      [&] {
        std::ofstream(door) << "he may remove this, and nothing else";
        ASSERT_EQ(chmod(door.c_str(), 0) | chown(door.c_str(), NOBODY, NOBODY), 0);
      },
      [&] {
        fs::create_directory(door);
        ASSERT_EQ(chmod(door.c_str(), 0733), 0);
      },
  };
  for (const auto& open : openings) {
    Stranger stranger(all());
    open();
    EXPECT_TRUE(stranger.getsIn());
    fs::remove_all(door);
    fs::remove_all(door + ".taken");
  }
}

/** What a program of a member of the group does with the library. */
int write_and_read(const std::string& dataDirectory) {
  FakePlatform::get().setDataPath(dataDirectory);
  db::init_db();
  db::DBMgr* const store = db::DBMgr::getInstance();
  std::vector<Message> messages;
  const bool isDone =
      store->execStatement("PRAGMA journal_mode = PERSIST;") == db::DB_SUCCESS &&
      store->beginTransaction() == db::DB_SUCCESS &&
      store->execStatement("UPDATE msg_message_table SET read = 1;") == db::DB_SUCCESS &&
      store->endTransaction(true) == db::DB_SUCCESS &&
      db::db_get_message_list(ListCondition(), messages) == db::DB_SUCCESS && !messages.empty();
  db::deinit_db();
  return isDone ? 0 : 1;
}

TEST_F(Permissions, AreForTheWholeGroup) {
  AS_ROOT();
  for (const uid_t owner : {uid_t{0}, OWNER}) {
    const std::vector<gid_t> groups = {STORE_GROUP};
    makeEverything(owner, groups);
    int opened = 0;
    int refused = 0;
    Child member([&] {
      if (!become_user(MEMBER, groups)) return 99;
      for (const fs::path& file : files_below({dataDir() + "/dbspace", mediaDir()})) {
        if (opens(file, O_RDWR)) ++opened;
      }
      for (const fs::path& file : files_below(all())) {
        if (!opens(file, O_RDONLY) && !opens(file, O_WRONLY)) ++refused;
      }
      return write_and_read(dataDir() + "/") == 0 ? 10 * opened + refused : 98;
    });
    EXPECT_EQ(member.wait(), 44) << "opened are database, journal and two pictures, refused the "
                                    "backups, that of the repair and a message";
    const std::string more = file("more.xml", backup(picture(3)));
    EXPECT_EQ(runAs(MEMBER, groups, {"import", more}), 0);
    EXPECT_EQ(runAs(owner, groups, {"import", file("most.xml", backup(picture(4)))}), 0);
    EXPECT_EQ(runAs(MEMBER, groups, {"export"}), 0) << "also what the owner added";
    EXPECT_EQ(runAs(owner, groups, {"check", "modes", "owner", "group"}), 0);
    removeEverything();
  }
}

// Nothing that the library makes is; what its owner has opened stays his to close.
TEST_F(Permissions, OfDirectoriesThatEverybodyMayWriteToAreToldAndMended) {
  const std::string directories[] = {dataDir() + "/dbspace", mediaDir()};
  create();
  for (const std::string& path : directories) ASSERT_EQ(chmod(path.c_str(), 0777), 0);
  create();
  EXPECT_EQ(run({"import", backupFile()}).status, 0);
  const ProcessResult check = run({"check", "modes"});
  EXPECT_EQ(check.status, 1);
  EXPECT_EQ(run({"repair", "modes"}).status, 0);
  for (const std::string& path : directories) {
    EXPECT_NE(check.out.find("modes: " + path + ": "), std::string::npos) << check.out;
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0775U) << path;
  }
  EXPECT_EQ(run({"check", "modes"}).status, 0);
}

// ---- What is planted ---------------------------------------------------------------------------

/** Something that stands where a file or directory is to be. */
struct Plant {
  const char* name;
  std::function<void(const std::string& path, const std::string& elsewhere)> put;
};

const std::vector<Plant>& plants() {
  static const std::vector<Plant> all = {
      {"a link to a file",
       [](const std::string& path, const std::string& elsewhere) {
         fs::create_symlink(elsewhere + "/secret", path);
       }},
      {"a link to a directory",
       [](const std::string& path, const std::string& elsewhere) {
         fs::create_directory_symlink(elsewhere + "/inner", path);
       }},
      {"a link to nothing",
       [](const std::string& path, const std::string& elsewhere) {
         fs::create_symlink(elsewhere + "/inner/new", path);
       }},
      {"a hard link",
       [](const std::string& path, const std::string& elsewhere) {
         fs::create_hard_link(elsewhere + "/secret", path);
       }},
      {"a pipe", [](const std::string& path,
                    const std::string&) { ASSERT_EQ(mkfifo(path.c_str(), 0666), 0); }},
      {"a directory",
       [](const std::string& path, const std::string&) { fs::create_directory(path); }},
      {"a file",
       [](const std::string& path, const std::string&) { std::ofstream(path) << "planted"; }},
      {"a file of a stranger's",
       [](const std::string& path, const std::string&) {
         std::ofstream file(path);  // empty, as a database may begin
         ASSERT_EQ(chown(path.c_str(), NOBODY, NOBODY), 0);
         ASSERT_EQ(chmod(path.c_str(), 0666), 0);
       }},
      {"a directory of a stranger's",
       [](const std::string& path, const std::string&) {
         fs::create_directory(path);
         ASSERT_EQ(chown(path.c_str(), NOBODY, NOBODY), 0);
         ASSERT_EQ(chmod(path.c_str(), 0777), 0);
       }},
  };
  return all;
}

class Planted : public Permissions {
 protected:
  void SetUp() override {
    Permissions::SetUp();
    fs::create_directories(elsewhere() + "/inner");
    file("elsewhere/secret", "secret");
    ASSERT_EQ(chmod((elsewhere() + "/secret").c_str(), 0600), 0);
    ASSERT_EQ(chmod(elsewhere().c_str(), 0700), 0);
  }

  std::string elsewhere() const { return folder() + "/elsewhere"; }

  /** All that can be said of what lies elsewhere. */
  std::map<std::string, std::string> stateElsewhere() const {
    std::map<std::string, std::string> state;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(elsewhere())) {
      struct stat status = {};
      EXPECT_EQ(lstat(entry.path().c_str(), &status), 0);
      const std::string content = entry.is_regular_file() ? content_of(entry.path()) : "";
      // Databases are too long to be shown.
      std::string text =
          content.size() < 100 ? content : std::to_string(std::hash<std::string>()(content));
      for (const long long number :
           {static_cast<long long>(status.st_mode), static_cast<long long>(status.st_uid),
            static_cast<long long>(status.st_gid), static_cast<long long>(status.st_mtim.tv_sec),
            static_cast<long long>(status.st_mtim.tv_nsec)}) {
        text += " " + std::to_string(number);
      }
      state[entry.path()] = text;
    }
    return state;
  }

  /** Runs a command, which ends in time and by itself. */
  ProcessResult runInTime(const Command& arguments) const {
    Command command = {"timeout", "60", TOOL_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    Command variables = environment();
    variables.push_back("TMPDIR=" + temporary());
    ProcessResult result = run_program(command, variables);
    EXPECT_GE(result.status, 0);
    // Instrumented, it ends so too where an open failed, whose handle the library keeps.
    if (result.err.find("ERROR: LeakSanitizer") == std::string::npos) {
      EXPECT_LE(result.status, 3) << arguments.front() << ": " << result.err;
      EXPECT_EQ(result.err.find("Sanitizer"), std::string::npos) << result.err;
    }
    EXPECT_EQ(result.err.find("runtime error"), std::string::npos) << result.err;
    return result;
  }

  /** What a stranger has put there is his and empty. */
  static void expectUntouched(const std::string& path, const Plant& plant) {
    if (std::string(plant.name).find("stranger") == std::string::npos) return;
    struct stat status = {};
    ASSERT_EQ(lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, NOBODY);
    EXPECT_EQ(status.st_gid, NOBODY);
    EXPECT_TRUE(fs::is_empty(path));
  }

  /** A whole store, or nothing but its two directories. */
  void begin(bool hasStore) const {
    removeEverything();
    if (hasStore) {
      fs::copy(folder() + "/whole", dataDir(), fs::copy_options::recursive);
    } else {
      fs::create_directories(dataDir() + "/dbspace");
    }
  }

  void keepAWholeStore() const {
    create();
    ASSERT_EQ(run({"import", backupFile()}).status, 0);
    // So that there is something to mend, in rows and in modes.
    RawConnection(dbFile()).exec(
        "PRAGMA journal_mode = PERSIST; UPDATE msg_conversation_table SET msgCnt = 9;");
    for (const std::string& name : mediaFiles()) {
      ASSERT_EQ(chmod((mediaDir() + "/" + name).c_str(), 0600), 0);
    }
    fs::rename(dataDir(), folder() + "/whole");
  }
};

using Names = std::set<std::string>;

/** What `Place::right` says of a place that the commands only look at, or pass over. */
const Names ANYTHING;

/** A place, and the commands that make or open something there. */
struct Place {
  std::string path;
  bool hasStore;
  /** The plants that may stand there; each other one is an error. */
  Names right;
  std::vector<Command> commands;
};

TEST_F(Planted, LeadsNoWriteElsewhere) {
  AS_ROOT();
  keepAWholeStore();
  const Command import = {"import", file("b.xml", backup(picture(3)))};
  const Command backUp = {"backup", out() + "/b.db"};
  const Command redact = {"backup", out() + "/b.db", "--redact"};
  const Command exportMedia = {"export", "--media", out() + "/media"};
  const std::vector<Command> everything = {{"create"},  import,      backUp,
                                           exportMedia, {"threads"}, {"repair"}};
  const Command encode = {"buffer", "encode", "1", "--output", out() + "/1.bin"};
  const Names directory = {"a directory"};
  const Names file = {"a file"};
  const Names nothing = {""};
  const Place places[] = {
      {dataDir() + "/dbspace", false, directory, {{"create"}}},
      {dbFile(), false, file, {{"create"}}},
      {dbFile() + "-journal", false, file, {{"create"}}},
      {mediaDir(), false, directory, {{"create"}}},
      {dataDir() + "/dbspace", true, directory, everything},
      {dbFile(), true, file, everything},
      {dbFile() + "-journal", true, file, everything},
      {dbFile() + "-wal", true, file, everything},
      {dbFile() + "-shm", true, file, everything},
      {mediaDir(), true, directory, everything},
      {mediaDir() + "/1-1.png", true, ANYTHING, {{"repair"}, exportMedia, import}},
      {mediaDir() + "/3-1.png", true, ANYTHING, {import, {"repair"}}},
      {mediaDir() + "/incoming-3-1.png", true, ANYTHING, {import, {"repair"}}},
      {out() + "/b.db", true, nothing, {backUp, redact}},
      {out() + "/b.db-journal", true, ANYTHING, {backUp}},
      {out() + "/media", true, {"a directory", "a directory of a stranger's"}, {exportMedia}},
      {out() + "/media/1-1.png", true, nothing, {exportMedia}},
      {out() + "/1.bin", true, file, {encode}},
  };
  const auto before = stateElsewhere();
  int runs = 0;
  int number = 0;
  for (const Place& place : places) {
    for (const Plant& plant : plants()) {
      if (!is_whole_run() && ++number % (4 * FEWER) != 0) continue;
      for (const Command& command : place.commands) {
        SCOPED_TRACE(::testing::Message() << plant.name << " at " << place.path);
        begin(place.hasStore);
        fs::create_directories(fs::path(place.path).parent_path());
        fs::remove_all(place.path);
        plant.put(place.path, elsewhere());
        const ProcessResult result = runInTime(command);
        if (!place.right.empty() && place.right.count(plant.name) == 0) {
          EXPECT_EQ(result.status, 3) << result.out;
          expectUntouched(place.path, plant);
        }
        // A hard link is a file of the store's too, and is as it was all the same.
        EXPECT_EQ(stateElsewhere(), before) << command.front();
        ++runs;
        if (HasFailure()) return;
      }
    }
  }
  print_figure("planted links, pipes, directories and files: " + std::to_string(runs) +
               " runs, 0 writes elsewhere");
}

TEST_F(Planted, AtTheNameOfARepairsBackupIsPassedOver) {
  AS_ROOT();
  keepAWholeStore();
  begin(true);
  for (int second = 0; second < 5; ++second) {
    const std::time_t time = std::time(nullptr) + second;
    char name[64];
    std::strftime(name, sizeof name, "/before-repair-%Y%m%d-%H%M%S.db", std::gmtime(&time));
    fs::create_symlink(elsewhere() + "/inner/new", dataDir() + name);
  }
  const auto before = stateElsewhere();
  const ProcessResult result = runInTime({"repair"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.rfind("backup: ", 0), 0U) << result.out;
  EXPECT_NE(result.out.find("-2.db\n"), std::string::npos) << result.out;
  EXPECT_EQ(stateElsewhere(), before);
}

// ---- What is planted in the moment between looking and using -----------------------------------

bool swap_names(const std::string& one, const std::string& other) {
  return renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0;
}

/** Somebody who lets names change places as fast as he can. */
class Swapper {
 public:
  /** `swap` tells whether it did. */
  explicit Swapper(const std::function<bool()>& swap)
      : _swaps(static_cast<std::atomic<long>*>(mmap(nullptr, sizeof *_swaps, PROT_READ | PROT_WRITE,
                                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0))),
        _child([&]() -> int {
          for (;;) {
            if (swap()) ++*_swaps;
          }
        }) {}
  Swapper(const Swapper&) = delete;
  Swapper& operator=(const Swapper&) = delete;
  ~Swapper() { munmap(_swaps, sizeof *_swaps); }

  /** So that a program is not there and gone before he begins. */
  void waitForFirst() const {
    for (int tries = 0; tries < 10'000 && swaps() == 0; ++tries) usleep(1000);
  }

  long swaps() const { return *_swaps; }

 private:
  std::atomic<long>* _swaps;  // before the child, who counts
  Child _child;
};

class Swapped : public Planted {
 protected:
  void SetUp() override {
    Planted::SetUp();
    if (geteuid() != 0) return;
    keepAWholeStore();
  }

  /** Whether some tries have to be refused, as others have to succeed. */
  enum class Refusals { WANTED, SELDOM };

  using Put = std::function<void(const std::string& path)>;

  static Put linkTo(const std::string& target) {
    return [target](const std::string& path) { fs::create_symlink(target, path); };
  }

  /** What changes places with a place of the store. */
  std::string planted() const { return folder() + "/planted"; }

  /**
   * Runs `command` often while `path` and what `put` makes change places; `prepare` and `look` come
   * before and after each time.
   */
  void race(const std::string& what, const std::string& path, const Put& put,
            const Command& command, const std::function<void()>& prepare,
            const std::function<void(const ProcessResult&)>& look,
            Refusals refusals = Refusals::WANTED) {
    const int least = is_whole_run() ? 300 : 8 / FEWER;
    constexpr int MOST = 300;
    const auto before = stateElsewhere();
    std::map<int, int> statuses;
    // What is left when a repair was done may be what it could not look at.
    const auto succeeded = [&] { return statuses[0] + statuses[1]; };
    const auto isOver = [&](int tries) {
      const bool isEachSeen = succeeded() > 0 && (refusals == Refusals::SELDOM || statuses[3] > 0);
      return HasFailure() || tries == MOST || (tries >= least && isEachSeen);
    };
    long swaps = 0;
    int tries = 0;
    for (; !isOver(tries); ++tries) {
      begin(true);
      prepare();
      fs::remove_all(planted());
      put(planted());
      ProcessResult result;
      {
        const Swapper swapper([&] { return swap_names(path, planted()); });
        swapper.waitForFirst();
        result = runInTime(command);
        EXPECT_GT(swapper.swaps(), 0);
        swaps += swapper.swaps();
      }
      // Instrumented, a refusal ends so too where an open failed, whose handle the library keeps.
      ++statuses[result.status == SANITIZER_REPORT ? 3 : result.status];
      EXPECT_EQ(stateElsewhere(), before);
      look(result);
    }
    if (tries == 0) return;
    EXPECT_GT(succeeded(), 0) << what;
    if (refusals == Refusals::WANTED) {
      EXPECT_GT(statuses[3], 0) << what;
    }
    EXPECT_EQ(succeeded() + statuses[3], tries) << what;
    std::string text = what + ": " + std::to_string(tries) + " tries, " +
                       std::to_string(swaps / tries) + " swaps each, status";
    for (const auto& [status, count] : statuses) {
      if (count > 0) text += " " + std::to_string(status) + " " + std::to_string(count) + " times";
    }
    print_figure(text);
  }

  static void lookAtNothing(const ProcessResult& /*result*/) {}
};

TEST_F(Swapped, MediaGetNoImportedFileElsewhere) {
  AS_ROOT();
  std::string elements;
  for (int date = 3; date < 40; ++date) elements += picture(date);
  const std::string path = file("many.xml", backup(elements));
  race(
      "media swapped for a link, import", mediaDir(), linkTo(elsewhere() + "/inner"),
      {"import", path}, [] {}, lookAtNothing);
}

TEST_F(Swapped, MediaAreMadeNowhereElse) {
  AS_ROOT();
  race(
      "media swapped for a link, create", mediaDir(), linkTo(elsewhere() + "/inner"), {"create"},
      [] {}, lookAtNothing);
}

TEST_F(Swapped, ExportsLeaveAndRemoveNothingElsewhere) {
  AS_ROOT();
  const std::string target = out() + "/media";
  race(
      "the directory of an export swapped for a link", target, linkTo(elsewhere() + "/inner"),
      {"export", "--media", target}, [&] { fs::create_directory(target); }, lookAtNothing);
}

TEST_F(Swapped, DatabasesAreMendedNowhereElse) {
  AS_ROOT();
  for (const char* const command : {"create", "repair"}) {
    race(
        std::string("the database swapped for a link, ") + command, dbFile(),
        linkTo(elsewhere() + "/secret"), {command},
        [&] { ASSERT_EQ(chmod(dbFile().c_str(), 0600), 0); }, lookAtNothing);
  }
}

/** What the owner of a data directory would have another user write to. */
class SwappedForAStore : public Swapped {
 protected:
  void SetUp() override {
    Swapped::SetUp();
    if (geteuid() != 0) return;
    // A whole one, where every command finds something to do.
    fs::copy(folder() + "/whole/dbspace/.msg-tarvel-server.db", otherDirectory());
    fs::rename(otherDirectory() + "/.msg-tarvel-server.db", otherDatabase());
    RawConnection(otherDatabase())
        .exec("DROP TABLE ft_queue_table; DROP INDEX msg_message_time_index;");
    file("elsewhere/empty", "");
    fs::copy(folder() + "/whole/media/1-1.png", otherDirectory());
    for (const fs::path& path : files_below({elsewhere()})) {
      ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    }
  }

  std::string otherDirectory() const { return elsewhere() + "/inner"; }
  std::string otherDatabase() const { return otherDirectory() + "/.msg-tarvel-server.db"; }

  /** With each command that writes; instrumented, with one each day. */
  void raceAll(const std::string& what, const std::string& path, const std::string& target) {
    const Command commands[] = {
        {"import", file("b.xml", backup(picture(3)))}, {"create"}, {"repair"}};
    unsigned int day = seed_of_today();
    for (const Command& command : commands) {
      if (!is_whole_run() && FEWER > 1 && day++ % std::size(commands) != 0) continue;
      race(
          what + ", " + command.front(), path, linkTo(target), command, [] {}, lookAtNothing);
    }
  }
};

TEST_F(SwappedForAStore, DatabasesAreWrittenNowhereElse) {
  AS_ROOT();
  raceAll("the database swapped for a link to another", dbFile(), otherDatabase());
}

TEST_F(SwappedForAStore, EmptyFilesElsewhereStayEmpty) {
  AS_ROOT();
  raceAll("the database swapped for a link to an empty file", dbFile(), elsewhere() + "/empty");
}

TEST_F(SwappedForAStore, DirectoriesElsewhereGetNoStore) {
  AS_ROOT();
  raceAll("dbspace swapped for a link", dataDir() + "/dbspace", otherDirectory());
}

/** Lets a backup that is written in `folder` and that link change places; whether there was one. */
bool swap_backup(const std::string& folder, const std::string& link) {
  std::error_code gone;
  for (fs::directory_iterator entry(folder, gone); !gone && entry != fs::directory_iterator();
       entry.increment(gone)) {
    if (entry->path().string().find(".incomplete-") != std::string::npos) {
      return swap_names(entry->path(), link);
    }
  }
  return false;
}

TEST_F(SwappedForAStore, BackupsAreWrittenNowhereElse) {
  AS_ROOT();
  const auto before = stateElsewhere();
  const std::pair<Command, std::string> backups[] = {{{"backup", out() + "/b.db"}, out()},
                                                     {{"repair"}, dataDir()}};
  for (const auto& [command, directory] : backups) {
    const int least = is_whole_run() ? 300 : 4 / FEWER;
    constexpr int MOST = 300;
    int tries = 0;
    int swapped = 0;
    int refused = 0;
    for (; (tries < least || (swapped == 0 && tries < MOST)) && !HasFailure(); ++tries) {
      begin(true);
      fs::remove_all(planted());
      fs::create_symlink(otherDatabase(), planted());
      const Swapper swapper([&folder = directory, this] { return swap_backup(folder, planted()); });
      refused += runInTime(command).status == 3 ? 1 : 0;
      swapped += swapper.swaps() > 0 ? 1 : 0;
      EXPECT_EQ(stateElsewhere(), before);
    }
    EXPECT_GT(swapped, 0);
    print_figure("backups swapped for a link, " + command.front() + ": " + std::to_string(tries) +
                 " tries, " + std::to_string(swapped) + " swapped, " + std::to_string(refused) +
                 " refused");
  }
}

TEST_F(SwappedForAStore, FilesThatHaveAnotherNameAreNotWritten) {
  AS_ROOT();
  race(
      "the database swapped for a hard link, import", dbFile(),
      [this](const std::string& path) { fs::create_hard_link(otherDatabase(), path); },
      {"import", backupFile()}, [] {}, lookAtNothing);
}

TEST_F(SwappedForAStore, AStrangersFileGetsNothing) {
  AS_ROOT();
  const auto expectUnchanged = [this](const ProcessResult& /*result*/) {
    struct stat status = {};
    for (const std::string& path : {dbFile(), planted()}) {
      if (stat(path.c_str(), &status) != 0 || status.st_uid != NOBODY) continue;
      EXPECT_TRUE(content_of(path) == content_of(otherDatabase()));
      return;
    }
    ADD_FAILURE() << "it is gone, or somebody else's";
  };
  race(
      "the database swapped for a stranger's file, import", dbFile(),
      [this](const std::string& path) {
        fs::copy_file(otherDatabase(), path);
        ASSERT_EQ(chown(path.c_str(), NOBODY, NOBODY), 0);
        ASSERT_EQ(chmod(path.c_str(), 0666), 0);
      },
      {"import", backupFile()}, [] {}, expectUnchanged);
}

std::string big_endian(std::size_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}

/** The journal of an unfinished commit of this and other databases, which names a file for all. */
std::string journal_naming(const std::string& name, std::size_t databaseSize) {
  constexpr std::size_t SECTOR = 512;
  constexpr std::size_t PAGE = 4096;
  constexpr std::size_t PAGE_OF_LOCKS = 0x4000'0000 / PAGE + 1;
  const std::string magic = "\xD9\xD5\x05\xF9\x20\xA1\x63\xD7";
  std::string header = magic + big_endian(0) + big_endian(1) + big_endian(databaseSize / PAGE) +
                       big_endian(SECTOR) + big_endian(PAGE);
  header.resize(SECTOR);
  std::size_t sum = 0;
  for (const char character : name) sum += static_cast<std::size_t>(character);
  return header + big_endian(PAGE_OF_LOCKS) + name + big_endian(name.size()) + big_endian(sum) +
         magic;
}

TEST_F(SwappedForAStore, JournalsDeleteNothing) {
  AS_ROOT();
  const std::size_t size = fs::file_size(folder() + "/whole/dbspace/.msg-tarvel-server.db");
  for (const Command& command : {Command{"import", backupFile()}, Command{"check"}}) {
    race(
        "the journal swapped for one that names a file, " + command.front(), dbFile() + "-journal",
        [&](const std::string& path) {
          std::ofstream(path) << journal_naming(elsewhere() + "/secret", size);
        },
        command, [] {}, lookAtNothing);
  }
}

TEST_F(SwappedForAStore, PicturesInADirectoryElsewhereKeepTheirModes) {
  AS_ROOT();
  race(
      "media swapped for a link, repair modes", mediaDir(), linkTo(otherDirectory()),
      {"repair", "modes", "group"}, [] {}, lookAtNothing);
}

TEST_F(Swapped, RepairsMendNoModeElsewhere) {
  AS_ROOT();
  race(
      "a picture swapped for a link, repair", mediaDir() + "/1-1.png",
      linkTo(elsewhere() + "/secret"), {"repair", "modes", "group"}, [] {}, lookAtNothing,
      Refusals::SELDOM);
}

TEST_F(Swapped, ExportsTellNoSecret) {
  AS_ROOT();
  race(
      "a picture swapped for a link, export", mediaDir() + "/1-1.png",
      linkTo(elsewhere() + "/secret"), {"export"}, [] {},
      [](const ProcessResult& result) {
        EXPECT_EQ(result.out.find("c2VjcmV0"), std::string::npos) << "the secret in base64";
      },
      Refusals::SELDOM);
}

}  // namespace
}  // namespace msg_tarvel
