// Commits that the disk or the file system fails, some before and some after the store has the
// transaction: the pictures are there exactly where the rows are.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "check/check.h"
#include "check/check_copy.h"
#include "helpers/store_maker.h"
#include "helpers/transaction.h"
#include "import/import.h"
#include "store/connections.h"
#include "store/media.h"
#include "store/store.h"
#include "store/store_paths.h"
#include "support/next_function.h"
#include "support/text_file.h"

namespace {

// Of SQLite's calls, the one that fails, counted down; 0 for none.
int failingSync = 0;
int failingUnlock = 0;

bool is_due(int& countdown) { return countdown > 0 && --countdown == 0; }

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

// In front of the C library's, whose parameter has a reserved name: only SQLite calls it here.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int fdatasync(int file) {
  static const auto real = msg_tarvel::next_function("fdatasync", &fdatasync);
  if (!is_due(failingSync)) return real(file);
  errno = EIO;
  return -1;
}

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
      expectPicturesToBeThoseOfRows(call);
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

  static void expectPicturesToBeThoseOfRows(int call) {
    Findings findings(kinds_of({"missing-files", "unnamed-files"}));
    check_copy(database_path(), findings);
    EXPECT_TRUE(findings.empty()) << call << ": " << findings.all().front().object;
    EXPECT_EQ(static_cast<long long>(names_in(media_directory()).size()), pictures()) << call;
  }

 private:
  std::string _folder;
  bool _isExport = false;
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

}  // namespace
}  // namespace msg_tarvel::tool
