#include "reliability/failing_memory.h"

#include <dlog.h>
#include <sqlite3.h>
#include <unistd.h>
#include <vconf.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ostream>

#include "reliability/left_handles.h"

namespace {

using Failure = msg_tarvel::FailingMemory::Failure;
using Of = msg_tarvel::FailingMemory::Of;

Failure failing = {Of::SQLITE, 0, false};
/** Until the one that fails; 0 when none does. */
std::atomic<int> left{0};
std::atomic<bool> hasFailed{false};
int seenAllocations = 0;

/** Whether an allocation that comes now has to fail. */
bool has_to_fail(Of whom) {
  if (left == 0 || failing.whom != whom) return false;
  if (left > 1) {
    --left;
    return false;
  }
  hasFailed = true;
  if (!failing.isForGood) left = 0;
  return true;
}

/** While it lives nothing fails: the platform is not what is tried. */
class Paused {
 public:
  Paused() : _left(left.exchange(0)) {}
  Paused(const Paused&) = delete;
  Paused& operator=(const Paused&) = delete;
  ~Paused() { left = _left; }

 private:
  int _left;
};

sqlite3_mem_methods real;
std::atomic<long> blocks{0};

void* allocate(int size) {
  if (has_to_fail(Of::SQLITE)) return nullptr;
  void* const block = real.xMalloc(size);
  if (block) ++blocks;
  return block;
}

void* reallocate(void* block, int size) {
  return has_to_fail(Of::SQLITE) ? nullptr : real.xRealloc(block, size);
}

void release(void* block) {
  if (block) --blocks;
  real.xFree(block);
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
int __real_posix_memalign(void** block, std::size_t alignment, std::size_t size);
char* __real_strdup(const char* text);
int __real___dlog_print(log_id_t log, int priority, const char* tag, const char* format, ...);
char* __real_vconf_get_str(const char* key);
int __real_vconf_get_int(const char* key, int* value);
char* __real_app_get_data_path();

void* __wrap_malloc(std::size_t size) {
  if (!has_to_fail(Of::PROGRAM)) return __real_malloc(size);
  errno = ENOMEM;
  return nullptr;
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (!has_to_fail(Of::PROGRAM)) return __real_calloc(count, size);
  errno = ENOMEM;
  return nullptr;
}

void* __wrap_realloc(void* block, std::size_t size) {
  if (!has_to_fail(Of::PROGRAM)) return __real_realloc(block, size);
  errno = ENOMEM;
  return nullptr;
}

int __wrap_posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  return has_to_fail(Of::PROGRAM) ? ENOMEM : __real_posix_memalign(block, alignment, size);
}

char* __wrap_strdup(const char* text) {
  if (!has_to_fail(Of::PROGRAM)) return __real_strdup(text);
  errno = ENOMEM;
  return nullptr;
}

int __wrap___dlog_print(log_id_t log, int priority, const char* tag, const char* format, ...) {
  const Paused paused;
  char line[4096];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  return __real___dlog_print(log, priority, tag, "%s", line);
}

char* __wrap_vconf_get_str(const char* key) {
  const Paused paused;
  return __real_vconf_get_str(key);
}

int __wrap_vconf_get_int(const char* key, int* value) {
  const Paused paused;
  return __real_vconf_get_int(key, value);
}

char* __wrap_app_get_data_path() {
  const Paused paused;
  return __real_app_get_data_path();
}

// What is written need not outlive the power: waiting for the disk is most of what a commit takes.
// The C library gives the parameters reserved names.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int fdatasync(int /*file*/) { return 0; }
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
int fsync(int /*file*/) { return 0; }

}  // extern "C"

namespace msg_tarvel {

void FailingMemory::install() {
  if (real.xMalloc) return;
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real);
  sqlite3_mem_methods methods = real;
  methods.xMalloc = &allocate;
  methods.xRealloc = &reallocate;
  methods.xFree = &release;
  // Without room of a connection's own, from which small blocks would come.
  const bool isInstalled = sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) == SQLITE_OK &&
                           sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) == SQLITE_OK;
  if (!isInstalled) std::abort();
}

void FailingMemory::fail(Failure failure) {
  failing = failure;
  hasFailed = false;
  left = failure.number;
}

bool FailingMemory::mend() {
  seenAllocations = failing.number - left;
  left = 0;
  close_left_handles();
  return hasFailed;
}

int FailingMemory::seen() { return seenAllocations; }

long FailingMemory::blocksOfSqlite() { return blocks; }

std::ostream& operator<<(std::ostream& out, FailingMemory::Failure failure) {
  return out << (failure.whom == Of::SQLITE ? "SQLite's allocation " : "the program's allocation ")
             << failure.number << (failure.isForGood ? " and all behind it fail" : " fails");
}

}  // namespace msg_tarvel
