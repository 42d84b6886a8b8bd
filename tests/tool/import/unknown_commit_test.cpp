// Commits that the disk, the file system or memory fails, some before and some after the store has
// the transaction, and pictures that cannot be written: they are there exactly where the rows are.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>

#include "backup/payload_stage.h"
#include "check/check.h"
#include "check/check_copy.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/store_maker.h"
#include "helpers/transaction.h"
#include "import/import.h"
#include "store/connections.h"
#include "store/media.h"
#include "store/store.h"
#include "store/store_paths.h"
#include "support/next_function.h"
#include "support/scarce_memory.h"
#include "support/text_file.h"

namespace {

// Of SQLite's calls, the one that fails, counted down; 0 for none.
int failingSync = 0;
int failingUnlock = 0;
// Of the calls for pictures and their directory.
int failingWrite = 0;
int failingPictureSync = 0;
int failingRename = 0;

bool is_due(int& countdown) { return countdown > 0 && --countdown == 0; }

/** Whether a file is a picture, or the directory of pictures. */
bool is_of_pictures(int file) {
  char path[PATH_MAX] = {};
  const std::string link = "/proc/self/fd/" + std::to_string(file);
  return readlink(link.c_str(), path, sizeof path - 1) > 0 && std::strstr(path, "/data/media");
}

/** Stands in the place of fcntl for SQLite, which gives it one argument or none. */
int fcntl_that_fails(int file, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (command == F_SETLK && static_cast<flock*>(argument)->l_type == F_UNLCK &&
      is_due(failingUnlock)) {
    errno = EIO;
    return -1;
  }
  return fcntl(file, command, argument);
}

}  // namespace

// In front of the C library's, whose parameters have reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

// What is written need not outlive the power: those that do not fail do nothing.

/** Only SQLite calls it here. */
int fdatasync(int /*file*/) {
  if (!is_due(failingSync)) return 0;
  errno = EIO;
  return -1;
}

ssize_t write(int file, const void* bytes, std::size_t size) {
  static const auto real = msg_tarvel::next_function("write", &write);
  if (failingWrite == 0 || !is_of_pictures(file) || !is_due(failingWrite)) {
    return real(file, bytes, size);
  }
  errno = ENOSPC;
  return -1;
}

int fsync(int file) {
  if (failingPictureSync == 0 || !is_of_pictures(file) || !is_due(failingPictureSync)) return 0;
  errno = EIO;
  return -1;
}

int renameat2(int from, const char* name, int to, const char* newName,
              unsigned int flags) noexcept {
  static const auto real = msg_tarvel::next_function("renameat2", &renameat2);
  if (!is_due(failingRename)) return real(from, name, to, newName, flags);
  errno = EIO;
  return -1;
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace msg_tarvel::tool {
namespace {

namespace fs = std::filesystem;

class UnknownCommit : public ::testing::Test {
 protected:
  UnknownCommit() {
    limit_connections();
    char name[] = "/tmp/msg-tarvel-test-XXXXXX";
    _folder = mkdtemp(name);
    setenv("MSG_TARVEL_DATA_DIR", (_folder + "/data/").c_str(), 1);
    setenv("MSG_TARVEL_SETTINGS", (_folder + "/settings.ini").c_str(), 1);
    sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
    vfs->xSetSystemCall(vfs, "fcntl", reinterpret_cast<sqlite3_syscall_ptr>(&fcntl_that_fails));
    write_file(backup(),
               "<smses><mms date='1' msg_box='1' address='+14155550111'><parts><part seq='0' "
               "ct='image/png' data='QUJD'/></parts></mms></smses>");
  }
  ~UnknownCommit() override { fs::remove_all(_folder); }

  std::string backup() const { return _folder + "/b.xml"; }

  /** The same from another store. */
  void useExport() {
    write_file(backup(),
               "{\"export\":\"msg-tarvel\",\"version\":1}\n"
               "{\"message\":{\"msgId\":1,\"convId\":1},\"contents\":[{\"msgId\":1,\"hasFile\":1,"
               "\"filepath\":\"/other/1-1.png\",\"files\":{\"filepath\":\"QUJD\"}}]}\n"
               "{\"end\":{\"messages\":1,\"conversations\":0}}\n");
    _isExport = true;
  }

  static void build() {
    fs::remove_all(data_directory());
    const helpers::StoreSession session;
    helpers::make_store();
  }

  /** Whether the import says that it is done. */
  bool import() const {
    const helpers::StoreSession session;
    try {
      import_backup(backup(), {});
      return true;
    } catch (const std::runtime_error&) {
      return false;
    }
  }

  static long long pictures() {
    return Database(database_path()).number("SELECT count(*) FROM msg_mms_content_table;");
  }

  /** Lets call number 1, 2, ... of an import fail until none is left; how many failed imports the
   * store had all the same. */
  int failEach(int& countdown) const {
    int hadAllTheSame = 0;
    for (int call = 1; call < 100; ++call) {
      build();
      countdown = call;
      const bool isDone = import();
      const bool hasFailed = countdown == 0;
      countdown = 0;
      if (waiting() > 0) {
        // The rows are there, and the next import gives the pictures their names.
        EXPECT_TRUE(isDone) << call;
        ++_waited;
      } else {
        expectPicturesToBeThoseOfRows(call);
      }
      if (!hasFailed) return hadAllTheSame;
      if (isDone) {
        EXPECT_EQ(pictures(), 1) << call;
      } else if (pictures() == 1) {
        ++hadAllTheSame;
      }
      // An export is read into a store without messages only.
      const bool isRefused = _isExport && pictures() == 1;
      EXPECT_NE(import(), isRefused) << call;
      EXPECT_EQ(pictures(), 1) << call;
      expectPicturesToBeThoseOfRows(call);
    }
    ADD_FAILURE() << "no end of the calls";
    return 0;
  }

  /** How often a picture had to wait for its name. */
  int waited() const { return _waited; }

  /** Pictures that have not got their names. */
  static long waiting() {
    const std::vector<std::string> names = names_in(media_directory());
    return std::count_if(names.begin(), names.end(), &is_staged_file);
  }

  static void expectPicturesToBeThoseOfRows(int call) {
    Findings findings(kinds_of({"missing-files", "unnamed-files"}));
    check_copy(database_path(), findings);
    EXPECT_TRUE(findings.empty()) << call << ": " << findings.all().front().object;
    EXPECT_EQ(static_cast<long long>(names_in(media_directory()).size()), pictures()) << call;
  }

 private:
  std::string _folder;
  bool _isExport = false;
  mutable int _waited = 0;
};

TEST_F(UnknownCommit, AfterASyncThatFails) { EXPECT_GT(failEach(failingSync), 0); }

TEST_F(UnknownCommit, AfterAnUnlockThatFails) { EXPECT_GT(failEach(failingUnlock), 0); }

TEST_F(UnknownCommit, OfAnExportAfterASyncThatFails) {
  useExport();
  EXPECT_GT(failEach(failingSync), 0);
}

TEST_F(UnknownCommit, OfAnExportAfterAnUnlockThatFails) {
  useExport();
  EXPECT_GT(failEach(failingUnlock), 0);
}

// A picture that cannot be written is never in the store.
TEST_F(UnknownCommit, IsNoneAfterAPictureThatCannotBeWritten) {
  EXPECT_EQ(failEach(failingWrite), 0);
  EXPECT_EQ(failEach(failingPictureSync), 0);
  EXPECT_EQ(waited(), 0);
}

TEST_F(UnknownCommit, IsNoneAfterAPictureThatCannotGetItsName) {
  EXPECT_EQ(failEach(failingRename), 0);
  // The first name is what a picture waits under, the second its own.
  EXPECT_EQ(waited(), 1);
}

class CommitWithoutMemory : public UnknownCommit {
 protected:
  enum class End { DONE, UNKNOWN, FAILED };

  /** How the commit of a picture ends while its sync `sync` fails, and its allocation `number`. */
  static End commit(int sync, int number, bool& hasCome) {
    build();
    const helpers::StoreSession session;
    std::optional<helpers::Transaction> transaction(std::in_place);
    PayloadStage stage(media_directory());
    const std::string path =
        stage.keep(stage.decode("QUJD", 4), "picture-of-a-name-that-takes-memory", "png");
    helpers::execute(
        "INSERT INTO msg_mms_content_table (msgId, filepath) VALUES (1, '" + path + "');", "");
    failingSync = sync;
    End end = End::DONE;
    {
      const OneRefusedAllocation refused(number);
      try {
        commit_with_files(transaction, stage);
      } catch (const helpers::UnknownOutcome&) {
        end = End::UNKNOWN;
      } catch (const std::bad_alloc&) {
        end = End::FAILED;
      }
      hasCome = refused.hasCome();
    }
    // What fails for want of memory alone has not come to the commit.
    EXPECT_TRUE(end != End::FAILED || failingSync == sync) << number;
    failingSync = 0;
    return end;
  }

  /** Lets allocation 1, 2, ... fail until none is left; how often each end came. */
  static std::map<End, int> failEach(int sync) {
    std::map<End, int> ends;
    bool hasCome = true;
    for (int number = 1; hasCome && number < 100; ++number) {
      const End end = commit(sync, number, hasCome);
      if (end != End::UNKNOWN) {
        EXPECT_EQ(pictures(), end == End::DONE ? 1 : 0) << number;
      }
      settle();
      expectPicturesToBeThoseOfRows(number);
      ++ends[end];
    }
    EXPECT_FALSE(hasCome) << "no end of the allocations";
    return ends;
  }

 private:
  /** As the next import does. */
  static void settle() {
    const helpers::StoreSession session;
    helpers::Transaction transaction;
    settle_left_files(media_directory());
    transaction.commit();
  }
};

TEST_F(CommitWithoutMemory, KeepsThePicturesOfRowsThatAreCommitted) {
  std::map<End, int> ends = failEach(0);
  EXPECT_GT(ends[End::DONE], 1);
  EXPECT_GT(ends[End::FAILED], 1);
}

TEST_F(CommitWithoutMemory, LeavesThePicturesOfAnUnknownOutcomeToTheNextImport) {
  int unknown = 0;
  for (int sync = 1; sync <= 3; ++sync) unknown += failEach(sync)[End::UNKNOWN];
  EXPECT_GT(unknown, 3);
}

}  // namespace
}  // namespace msg_tarvel::tool
