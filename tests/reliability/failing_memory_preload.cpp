// Memory that ends, in front of a program that knows nothing of it (LD_PRELOAD). What fails is in
// the environment: MSG_TARVEL_FAILING_MEMORY="FAILURE NUMBER FILE", FAILURE being a place in
// MEMORY_FAILURES; the file is made when it does. Where nothing does, it has at the end how many
// allocations there were that could have failed so, behind a "-".
//
// Of C++ every allocation is tried from the beginning of main on, of C those that the program and
// the library make themselves: GLib ends the process without memory. The platform always has some.

#include <app_common.h>
#include <dirent.h>
#include <dlog.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <sqlite3.h>
#include <unistd.h>
#include <vconf.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "reliability/memory_failures.h"
#include "support/next_function.h"

namespace {

using msg_tarvel::MEMORY_FAILURES;
using msg_tarvel::MemoryFailure;
using msg_tarvel::next_function;
using Of = msg_tarvel::MemoryFailure::Of;

MemoryFailure failing = {Of::NOBODY, false};
int failingNumber = 0;
char report[4096];
std::atomic<bool> hasBegun{false};
std::atomic<int> seen{0};
std::atomic<bool> hasFailed{false};
/** While this thread is in the platform. */
thread_local bool isPaused = false;

void tell(const char* text, std::size_t size) {
  const int file = open(report, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file == -1) return;
  if (write(file, text, size) != static_cast<ssize_t>(size)) std::abort();
  close(file);
}

/** Whether an allocation that comes now has to fail. */
bool has_to_fail(Of whom) {
  if (failing.whom != whom || !hasBegun || isPaused) return false;
  const int number = ++seen;
  if (number < failingNumber || (number > failingNumber && !failing.isForGood)) return false;
  if (!hasFailed.exchange(true)) tell("", 0);
  return true;
}

class Paused {
 public:
  Paused() : _before(isPaused) { isPaused = true; }
  Paused(const Paused&) = delete;
  Paused& operator=(const Paused&) = delete;
  ~Paused() { isPaused = _before; }

 private:
  bool _before;
};

sqlite3_mem_methods real;

void* allocate(int size) { return has_to_fail(Of::SQLITE) ? nullptr : real.xMalloc(size); }

void* reallocate(void* block, int size) {
  return has_to_fail(Of::SQLITE) ? nullptr : real.xRealloc(block, size);
}

/** Where code lies that allocates for itself. */
struct Code {
  std::uintptr_t begin;
  std::uintptr_t end;
};
constexpr int MOST_CODE = 8;
Code codes[MOST_CODE];
int codeCount = 0;

int note_code(dl_phdr_info* info, std::size_t /*size*/, void* /*unused*/) {
  // The program itself has no name.
  const bool isOurs =
      *info->dlpi_name == '\0' || std::strstr(info->dlpi_name, "libmsg-tarvel-common") != nullptr;
  for (int i = 0; isOurs && i < info->dlpi_phnum; ++i) {
    const auto& header = info->dlpi_phdr[i];
    const bool isCode = header.p_type == PT_LOAD && (header.p_flags & PF_X) != 0;
    if (!isCode || codeCount == MOST_CODE) continue;
    const std::uintptr_t begin = info->dlpi_addr + header.p_vaddr;
    codes[codeCount++] = {begin, begin + header.p_memsz};
  }
  return 0;
}

bool has_to_fail_for(const void* caller) {
  const auto address = reinterpret_cast<std::uintptr_t>(caller);
  for (int i = 0; i < codeCount; ++i) {
    if (address >= codes[i].begin && address < codes[i].end) return has_to_fail(Of::PROGRAM);
  }
  return false;
}

[[gnu::constructor]] void install() {
  int failure = 0;
  const char* const wanted = std::getenv("MSG_TARVEL_FAILING_MEMORY");
  if (!wanted || std::sscanf(wanted, "%d %d %4095s", &failure, &failingNumber, report) != 3) return;
  failing = MEMORY_FAILURES[failure];
  dl_iterate_phdr(&note_code, nullptr);
  sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real);
  sqlite3_mem_methods methods = real;
  methods.xMalloc = &allocate;
  methods.xRealloc = &reallocate;
  // Without room of a connection's own, from which small blocks would come.
  if (sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) != SQLITE_OK ||
      sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0) != SQLITE_OK) {
    std::abort();
  }
}

[[gnu::destructor]] void tell_count() {
  if (report[0] == '\0' || hasFailed) return;
  char text[16];
  const int size = std::snprintf(text, sizeof text, "-%d", seen.load());
  tell(text, static_cast<std::size_t>(size));
}

/** What a failed open leaves the library does not close; a sanitizer must not call it a leak. */
void keep(sqlite3* handle) {
  static std::mutex mutex;
  static auto* const handles = new std::vector<sqlite3*>;
  const Paused paused;
  const std::lock_guard<std::mutex> lock(mutex);
  handles->push_back(handle);
}

using Main = int (*)(int, char**, char**);
Main programsMain = nullptr;

int main_that_begins(int argc, char** argv, char** environment) {
  hasBegun = true;
  return programsMain(argc, argv, environment);
}

void* no_memory() {
  errno = ENOMEM;
  return nullptr;
}

}  // namespace

// As in scarce_memory.cpp, the throwing array forms stay the implementation's own.
void* operator new(std::size_t size) {
  void* const block = has_to_fail(Of::PROGRAM) ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (!block) throw std::bad_alloc();
  return block;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return has_to_fail(Of::PROGRAM) ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { std::free(block); }

extern "C" {

// The C library and the linker give what stands here reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier)

int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*rtld_fini)(), void* stack_end) {
  const auto start =
      reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
  programsMain = main;
  return start(&main_that_begins, argc, argv, init, fini, rtld_fini, stack_end);
}

DIR* fdopendir(int file) {
  static const auto next = next_function("fdopendir", &fdopendir);
  if (!has_to_fail_for(__builtin_return_address(0))) return next(file);
  no_memory();
  return nullptr;
}

char* strdup(const char* text) noexcept {
  static const auto next = next_function("strdup", &strdup);
  return has_to_fail_for(__builtin_return_address(0)) ? static_cast<char*>(no_memory())
                                                      : next(text);
}

int vasprintf(char** text, const char* format, va_list arguments) noexcept {
  static const auto next = next_function("vasprintf", &vasprintf);
  if (!has_to_fail_for(__builtin_return_address(0))) return next(text, format, arguments);
  no_memory();
  return -1;
}

/** A thread takes memory for its stack. */
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                   void* argument) noexcept {
  static const auto next = next_function("pthread_create", &pthread_create);
  return has_to_fail(Of::PROGRAM) ? EAGAIN : next(thread, attributes, run, argument);
}

int __dlog_print(log_id_t log_id, int prio, const char* tag, const char* fmt, ...) {
  static const auto next = next_function("__dlog_print", &__dlog_print);
  const Paused paused;
  char line[4096];
  va_list arguments;
  va_start(arguments, fmt);
  std::vsnprintf(line, sizeof line, fmt, arguments);
  va_end(arguments);
  return next(log_id, prio, tag, "%s", line);
}

char* vconf_get_str(const char* in_key) {
  static const auto next = next_function("vconf_get_str", &vconf_get_str);
  const Paused paused;
  return next(in_key);
}

int vconf_get_int(const char* in_key, int* intval) {
  static const auto next = next_function("vconf_get_int", &vconf_get_int);
  const Paused paused;
  return next(in_key, intval);
}

char* app_get_data_path() {
  static const auto next = next_function("app_get_data_path", &app_get_data_path);
  const Paused paused;
  return next();
}

int sqlite3_open_v2(const char* filename, sqlite3** ppDb, int flags, const char* zVfs) {
  static const auto next = next_function("sqlite3_open_v2", &sqlite3_open_v2);
  const int code = next(filename, ppDb, flags, zVfs);
  if (code != SQLITE_OK && *ppDb) keep(*ppDb);
  return code;
}

// What is written need not outlive the power: waiting for the disk is most of what a commit takes.
int fdatasync(int /*file*/) { return 0; }
int fsync(int /*file*/) { return 0; }

// NOLINTEND(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier)

}  // extern "C"
