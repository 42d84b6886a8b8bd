#include "store/online_backup.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <thread>

#include "exit_status.h"
#include "interrupt.h"
#include "store/database.h"

namespace msg_tarvel::tool {

namespace {

/** A fraction of a millisecond's work, for which a commit may have to wait. */
constexpr int PAGES_PER_STEP = 256;
constexpr int ALL_PAGES = -1;
/** A backup that others' commits have made begin again so often goes on in one step. */
constexpr int MOST_RESTARTS = 20;

constexpr std::chrono::milliseconds LOCK_PAUSE(20);
/** As often as the library's patience of 2.1 seconds allows. */
constexpr int MOST_LOCK_PAUSES = 105;

struct BackupFinisher {
  void operator()(sqlite3_backup* backup) const { sqlite3_backup_finish(backup); }
};

void copy_pages(const Database& from, const Database& to) {
  const std::unique_ptr<sqlite3_backup, BackupFinisher> backup(
      sqlite3_backup_init(to.handle(), "main", from.handle(), "main"));
  if (!backup) throw DatabaseFailure(to.handle());
  int restarts = 0;
  int lockPauses = 0;
  int left = 0;
  int code = SQLITE_OK;
  while (code != SQLITE_DONE) {
    throw_if_interrupted();
    code = sqlite3_backup_step(backup.get(), restarts < MOST_RESTARTS ? PAGES_PER_STEP : ALL_PAGES);
    if (code == SQLITE_BUSY || code == SQLITE_LOCKED) {
      if (++lockPauses > MOST_LOCK_PAUSES) throw DatabaseFailure(code);
      std::this_thread::sleep_for(LOCK_PAUSE);
    } else if (code != SQLITE_OK && code != SQLITE_DONE) {
      throw DatabaseFailure(code);
    }
    if (sqlite3_backup_remaining(backup.get()) > left && left > 0) ++restarts;
    left = sqlite3_backup_remaining(backup.get());
  }
}

std::string without_file(const std::string& target) {
  struct stat status = {};
  if (lstat(target.c_str(), &status) != 0) return target;
  throw Failure("cannot write the backup " + target + ": there is a file of that name");
}

}  // namespace

NewBackup::NewBackup(const std::string& target)
    : _file(without_file(target), "the backup " + target) {}

void NewBackup::write(const std::string& source) {
  if (access(source.c_str(), R_OK) != 0) {
    throw Failure("cannot read the message store " + source + ": " +
                  (errno == EACCES ? "permission denied" : std::strerror(errno)));
  }
  try {
    const Database from(source);
    const Database to(_file.path());
    to.execute("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;");
    copy_pages(from, to);
  } catch (const DatabaseFailure& failure) {
    _file.fail(failure.what());
  }
  _file.finish();
}

}  // namespace msg_tarvel::tool
