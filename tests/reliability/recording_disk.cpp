#include "reliability/recording_disk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "support/next_function.h"

namespace msg_tarvel {

namespace {

struct Record {
  std::mutex mutex;
  /** Without links and without a slash at the end; empty while nothing is recorded. */
  std::string folder;
  int file = -1;
};

Record& record() {
  static auto* const theRecord = new Record;  // outlives every exit hook
  return *theRecord;
}

bool is_recording() { return record().file != -1; }

using Numbers = std::array<long long, 3>;

/** One line of the record and, behind it, the bytes that it tells of. */
void note(const std::string& kind, Numbers numbers, const std::string& path,
          const void* bytes = nullptr, std::size_t size = 0) {
  static const auto write_to = next_function("write", &write);
  std::string line = kind;
  for (const long long number : numbers) line += " " + std::to_string(number);
  line += " " + path + "\n";
  if (bytes) line.append(static_cast<const char*>(bytes), size) += "\n";
  const std::lock_guard<std::mutex> lock(record().mutex);
  if (write_to(record().file, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    std::perror("record");
    std::abort();
  }
}

bool is_recorded(const std::string& path) {
  const std::string& folder = record().folder;
  return path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
}

/** Below the folder; empty for the folder itself. */
std::string name_below(const std::string& path) {
  return path == record().folder ? "" : path.substr(record().folder.size() + 1);
}

/** The name that a descriptor's file has now. */
std::string path_of(int descriptor) {
  char path[PATH_MAX];
  const ssize_t size =
      readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path, sizeof path);
  return size < 0 ? "" : std::string(path, static_cast<std::size_t>(size));
}

/** `path`, which need not be there, as path_of would tell it. */
std::string whole_path(int directory, std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  const std::size_t slash = path.rfind('/');
  const std::string name = path.substr(slash == std::string::npos ? 0 : slash + 1);
  std::string parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  if (parent.front() != '/' && directory != AT_FDCWD) parent = path_of(directory) + "/" + parent;
  char resolved[PATH_MAX];
  return realpath(parent.c_str(), resolved) ? std::string(resolved) + "/" + name : "";
}

void note_new(const char* kind, const std::string& path) {
  struct stat status = {};
  if (!is_recorded(path) || lstat(path.c_str(), &status) != 0) return;
  note(kind, {status.st_mode & 07777, status.st_uid, status.st_gid}, name_below(path));
}

void note_if_recorded(const char* kind, Numbers numbers, const std::string& path) {
  if (is_recorded(path)) note(kind, numbers, name_below(path));
}

void note_write(int descriptor, off_t offset, const void* bytes, ssize_t size) {
  if (size <= 0) return;
  const std::string path = path_of(descriptor);
  if (!is_recorded(path)) return;
  note("write", {offset, size}, name_below(path), bytes, static_cast<std::size_t>(size));
}

/** The argument that only some flags come with. */
mode_t mode_of(int flags, std::va_list arguments) {
  const bool mayCreate = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return mayCreate ? va_arg(arguments, mode_t) : 0;
}

/** Opens with `open_it`, and tells whether that made or emptied a file. */
template <typename Open>
int recorded_open(int directory, const char* path, int flags, Open open_it) {
  if (!is_recording() || (flags & (O_CREAT | O_TRUNC)) == 0) return open_it();
  const bool isNew = faccessat(directory, path, F_OK, AT_SYMLINK_NOFOLLOW) != 0;
  const int descriptor = open_it();
  if (descriptor == -1) return -1;
  if (isNew) {
    note_new("file", path_of(descriptor));
  } else if ((flags & O_TRUNC) != 0) {
    note_if_recorded("truncate", {}, path_of(descriptor));
  }
  return descriptor;
}

template <typename Rename>
int recorded_rename(int from, const char* oldPath, int to, const char* newPath, Rename rename_it) {
  if (!is_recording()) return rename_it();
  const std::string before = whole_path(from, oldPath);
  const int result = rename_it();
  if (result == 0 && is_recorded(before)) {
    note("rename", {}, name_below(before) + "\t" + name_below(whole_path(to, newPath)));
  }
  return result;
}

/** What a preloaded object is told. */
struct StartedByEnvironment {
  StartedByEnvironment() {
    const char* const folder = std::getenv(RecordingDisk::FOLDER_VARIABLE);
    const char* const file = std::getenv(RecordingDisk::RECORD_VARIABLE);
    if (folder && file) RecordingDisk::start(folder, file);
  }
};

const StartedByEnvironment startedByEnvironment;

}  // namespace

void RecordingDisk::start(const std::string& folder, const std::string& recordFile) {
  char resolved[PATH_MAX];
  if (realpath(folder.c_str(), resolved)) record().folder = resolved;
  record().file = open(recordFile.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
}

void RecordingDisk::promise() { note("promise", {}, ""); }

extern "C" {

// The C library names the parameters of most of these with reserved identifiers.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

int mkdir(const char* path, mode_t mode) noexcept {
  static const auto real = next_function("mkdir", &mkdir);
  const int result = real(path, mode);
  if (result == 0 && is_recording()) note_new("directory", whole_path(AT_FDCWD, path));
  return result;
}

int open(const char* path, int flags, ...) {
  static const auto real = next_function("open", &open);
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return recorded_open(AT_FDCWD, path, flags, [&] { return real(path, flags, mode); });
}

// The same under the name that it has for files of any size.
int open64(const char* path, int flags, ...) {
  static const auto real = next_function("open64", &open64);
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return recorded_open(AT_FDCWD, path, flags, [&] { return real(path, flags, mode); });
}

int openat(int directory, const char* path, int flags, ...) {
  static const auto real = next_function("openat", &openat);
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return recorded_open(directory, path, flags, [&] { return real(directory, path, flags, mode); });
}

int openat64(int directory, const char* path, int flags, ...) {
  static const auto real = next_function("openat64", &openat64);
  std::va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_of(flags, arguments);
  va_end(arguments);
  return recorded_open(directory, path, flags, [&] { return real(directory, path, flags, mode); });
}

ssize_t write(int descriptor, const void* bytes, std::size_t size) {
  static const auto real = next_function("write", &write);
  if (!is_recording()) return real(descriptor, bytes, size);
  const off_t offset = lseek(descriptor, 0, SEEK_CUR);
  const ssize_t written = real(descriptor, bytes, size);
  note_write(descriptor, offset, bytes, written);
  return written;
}

ssize_t pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset) {
  static const auto real = next_function("pwrite", &pwrite);
  const ssize_t written = real(descriptor, bytes, size, offset);
  if (is_recording()) note_write(descriptor, offset, bytes, written);
  return written;
}

ssize_t pwrite64(int descriptor, const void* bytes, std::size_t size, off64_t offset) {
  static const auto real = next_function("pwrite64", &pwrite64);
  const ssize_t written = real(descriptor, bytes, size, offset);
  if (is_recording()) note_write(descriptor, offset, bytes, written);
  return written;
}

int ftruncate(int descriptor, off_t size) noexcept {
  static const auto real = next_function("ftruncate", &ftruncate);
  const int result = real(descriptor, size);
  if (result == 0 && is_recording()) note_if_recorded("truncate", {size}, path_of(descriptor));
  return result;
}

int ftruncate64(int descriptor, off64_t size) noexcept {
  static const auto real = next_function("ftruncate64", &ftruncate64);
  const int result = real(descriptor, size);
  if (result == 0 && is_recording()) note_if_recorded("truncate", {size}, path_of(descriptor));
  return result;
}

int fsync(int descriptor) {
  if (is_recording()) note_if_recorded("sync", {}, path_of(descriptor));
  return 0;
}

int fdatasync(int descriptor) {
  if (is_recording()) note_if_recorded("datasync", {}, path_of(descriptor));
  return 0;
}

int unlink(const char* path) noexcept {
  static const auto real = next_function("unlink", &unlink);
  const int result = real(path);
  if (result == 0 && is_recording()) note_if_recorded("remove", {}, whole_path(AT_FDCWD, path));
  return result;
}

int unlinkat(int directory, const char* path, int flags) noexcept {
  static const auto real = next_function("unlinkat", &unlinkat);
  const int result = real(directory, path, flags);
  if (result == 0 && is_recording()) note_if_recorded("remove", {}, whole_path(directory, path));
  return result;
}

int rmdir(const char* path) noexcept {
  static const auto real = next_function("rmdir", &rmdir);
  const int result = real(path);
  if (result == 0 && is_recording()) note_if_recorded("remove", {}, whole_path(AT_FDCWD, path));
  return result;
}

int rename(const char* from, const char* to) noexcept {
  static const auto real = next_function("rename", &rename);
  return recorded_rename(AT_FDCWD, from, AT_FDCWD, to, [&] { return real(from, to); });
}

int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to,
              unsigned int flags) noexcept {
  static const auto real = next_function("renameat2", &renameat2);
  return recorded_rename(fromDirectory, from, toDirectory, to,
                         [&] { return real(fromDirectory, from, toDirectory, to, flags); });
}

int chmod(const char* path, mode_t mode) noexcept {
  static const auto real = next_function("chmod", &chmod);
  const int result = real(path, mode);
  if (result == 0 && is_recording()) {
    // A descriptor that can do nothing else has its mode set by the name it has here.
    const std::string descriptors = "/proc/self/fd/";
    const std::string text = path;
    note_if_recorded("mode", {mode & 07777},
                     text.compare(0, descriptors.size(), descriptors) == 0
                         ? path_of(std::stoi(text.substr(descriptors.size())))
                         : whole_path(AT_FDCWD, path));
  }
  return result;
}

int fchmod(int descriptor, mode_t mode) noexcept {
  static const auto real = next_function("fchmod", &fchmod);
  const int result = real(descriptor, mode);
  if (result == 0 && is_recording()) note_if_recorded("mode", {mode & 07777}, path_of(descriptor));
  return result;
}

int fchown(int descriptor, uid_t owner, gid_t group) noexcept {
  static const auto real = next_function("fchown", &fchown);
  const int result = real(descriptor, owner, group);
  if (result == 0 && is_recording()) note_if_recorded("owner", {owner, group}, path_of(descriptor));
  return result;
}

int fchownat(int directory, const char* path, uid_t owner, gid_t group, int flags) noexcept {
  static const auto real = next_function("fchownat", &fchownat);
  const int result = real(directory, path, owner, group, flags);
  if (result == 0 && is_recording()) {
    note_if_recorded("owner", {owner, group},
                     *path == '\0' ? path_of(directory) : whole_path(directory, path));
  }
  return result;
}

int lchown(const char* path, uid_t owner, gid_t group) noexcept {
  static const auto real = next_function("lchown", &lchown);
  const int result = real(path, owner, group);
  if (result == 0 && is_recording()) {
    note_if_recorded("owner", {owner, group}, whole_path(AT_FDCWD, path));
  }
  return result;
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"

}  // namespace msg_tarvel
