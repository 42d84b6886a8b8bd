#include "support/library_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <utility>

#include "support/next_function.h"

namespace msg_tarvel {

namespace {

std::atomic<int> exitHookCount{0};
thread_local int lockCount = 0;
thread_local std::function<void()> lockAction;

std::vector<std::string>& file_calls() {
  static auto* const calls = new std::vector<std::string>;  // outlives every exit hook
  return *calls;
}

std::map<int, std::string>& open_paths() {
  static auto* const paths = new std::map<int, std::string>;
  return *paths;
}

bool is_in_library(const void* address) {
  Dl_info place = {};
  return dladdr(address, &place) != 0 && place.dli_fname &&
         std::strstr(place.dli_fname, "libmsg-tarvel-common.so");
}

/** A number as the C language writes it in base eight. */
std::string octal(unsigned int number) {
  char text[16];
  std::snprintf(text, sizeof text, "%#o", number);
  return text;
}

void record(const std::string& call, const std::string& path, const std::string& arguments = "") {
  file_calls().push_back(call + " " + path + (arguments.empty() ? "" : " " + arguments));
}

/** The argument that only some flags come with. */
mode_t mode_of(int flags, std::va_list arguments) {
  const bool mayCreate = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return mayCreate ? va_arg(arguments, mode_t) : 0;
}

void record_open(const char* path, int flags, mode_t mode, int descriptor) {
  record("open", path, octal(static_cast<unsigned int>(flags)) + " " + octal(mode));
  open_paths()[descriptor] = path;
}

}  // namespace

std::vector<std::string> LibraryCalls::onFiles() { return file_calls(); }

int LibraryCalls::exitHooks() { return exitHookCount; }

int LibraryCalls::locks() { return lockCount; }

void LibraryCalls::onNextLock(std::function<void()> action) { lockAction = std::move(action); }

extern "C" {

// The C library names the parameters of most of these with reserved identifiers.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

int mkdir(const char* path, mode_t mode) noexcept {
  static const auto real = next_function("mkdir", &mkdir);
  if (is_in_library(__builtin_return_address(0))) record("mkdir", path, octal(mode));
  return real(path, mode);
}

int access(const char* path, int mode) noexcept {
  static const auto real = next_function("access", &access);
  if (is_in_library(__builtin_return_address(0))) {
    record("access", path, octal(static_cast<unsigned int>(mode)));
  }
  return real(path, mode);
}

int open(const char* path, int flags, ...) {
  static const auto real = next_function("open", &open);
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  const int descriptor = real(path, flags, mode);
  if (is_in_library(__builtin_return_address(0))) record_open(path, flags, mode, descriptor);
  return descriptor;
}

// The same under the name that it has for files of any size.
int open64(const char* path, int flags, ...) {
  static const auto real = next_function("open64", &open64);
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  const int descriptor = real(path, flags, mode);
  if (is_in_library(__builtin_return_address(0))) record_open(path, flags, mode, descriptor);
  return descriptor;
}

int fchmod(int descriptor, mode_t mode) noexcept {
  static const auto real = next_function("fchmod", &fchmod);
  if (is_in_library(__builtin_return_address(0))) {
    record("fchmod", open_paths()[descriptor], octal(mode));
  }
  return real(descriptor, mode);
}

int fchown(int descriptor, uid_t owner, gid_t group) noexcept {
  static const auto real = next_function("fchown", &fchown);
  if (is_in_library(__builtin_return_address(0))) {
    record("fchown", open_paths()[descriptor], std::to_string(owner) + " " + std::to_string(group));
  }
  return real(descriptor, owner, group);
}

int close(int descriptor) {
  static const auto real = next_function("close", &close);
  if (is_in_library(__builtin_return_address(0))) record("close", open_paths()[descriptor]);
  return real(descriptor);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const auto real = next_function("pthread_mutex_lock", &pthread_mutex_lock);
  if (is_in_library(__builtin_return_address(0))) {
    ++lockCount;
    // It may ask for the next one.
    if (const auto action = std::exchange(lockAction, nullptr)) action();
  }
  return real(mutex);
}

// What atexit becomes in a shared library, whose handle it hands over. Destructors of objects are
// registered here too; only they have an argument.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the system's name
int __cxa_atexit(void (*function)(void*), void* argument, void* library) noexcept {
  static const auto real = next_function("__cxa_atexit", &__cxa_atexit);
  if (!argument && is_in_library(library)) ++exitHookCount;
  return real(function, argument, library);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"

}  // namespace msg_tarvel
