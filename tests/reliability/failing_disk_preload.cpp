// The failing disk in front of a program that knows nothing of it (LD_PRELOAD). What fails is in
// the environment: MSG_TARVEL_FAILING_DISK="FAILURE NUMBER FILE", FAILURE being a place in
// FailingDisk::FAILURES; the file is made when it does. Where nothing does, it has at the end how
// many operations could have failed so, behind a "-".

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "reliability/failing_disk.h"
#include "support/next_function.h"

namespace {

using msg_tarvel::FailingDisk;
using msg_tarvel::next_function;

char report[4096];
/** Whether what fails is a lock that is in the way for good, and it has begun to fail. */
std::atomic<bool> isLockedForGood = false;

void tell() {
  const int file = open(report, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (file == -1) std::abort();
  close(file);
}

void tell_of_lock() {
  isLockedForGood = true;
  tell();
}

[[gnu::destructor]] void tell_count() {
  std::FILE* const file = report[0] == '\0' ? nullptr : std::fopen(report, "wx");
  if (!file) return;
  std::fprintf(file, "-%d", FailingDisk::seen());
  std::fclose(file);
}

/** Not before the program has configured SQLite, which ends with the first use of it. */
void install() {
  FailingDisk::install();
  int failure = 0;
  int number = 0;
  const char* const wanted = std::getenv("MSG_TARVEL_FAILING_DISK");
  if (!wanted || std::sscanf(wanted, "%d %d %4095s", &failure, &number, report) != 3) return;
  const FailingDisk::Failure wantedFailure = FailingDisk::FAILURES[failure];
  const bool isLock = wantedFailure.kind == FailingDisk::Kind::BUSY && wantedFailure.isForGood;
  FailingDisk::onFirstFailure(isLock ? &tell_of_lock : &tell);
  FailingDisk::fail(number, wantedFailure);
}

/** What a failed open leaves the library does not close; a sanitizer must not call it a leak. */
void keep(sqlite3* handle) {
  static std::mutex mutex;
  static auto* const handles = new std::vector<sqlite3*>;
  const std::lock_guard<std::mutex> lock(mutex);
  handles->push_back(handle);
}

}  // namespace

extern "C" {

int sqlite3_open_v2(const char* filename, sqlite3** ppDb, int flags, const char* zVfs) {
  static const auto real = next_function("sqlite3_open_v2", &sqlite3_open_v2);
  static std::once_flag once;
  std::call_once(once, &install);
  const int code = real(filename, ppDb, flags, zVfs);
  if (code != SQLITE_OK) keep(*ppDb);
  return code;
}

// The C library gives the parameters of these reserved names.

// Nobody lets go of a lock that is in the way for good.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int usleep(useconds_t microseconds) {
  static const auto real = next_function("usleep", &usleep);
  return isLockedForGood ? 0 : real(microseconds);
}

// What is written need not outlive the power: waiting for the disk is most of what a commit takes.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int fdatasync(int /*file*/) { return 0; }
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int fsync(int /*file*/) { return 0; }

}  // extern "C"
