// SQLite's file system as this program has it. It would open the database by its name alone:
// whoever may rename files in the data directory could put a link to another database there, in the
// moment after the tool has looked.

#include "store/guarded_store.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>
#include <string>
#include <string_view>

#include "helpers/store_maker.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

constexpr std::string_view DESCRIPTORS = "/proc/self/fd/";

// What a journal that more than one database has to do with names is opened with.
#ifndef SQLITE_OPEN_SUPER_JOURNAL
constexpr int SQLITE_OPEN_SUPER_JOURNAL = SQLITE_OPEN_MASTER_JOURNAL;
#endif

/** Made before SQLite calls back, where nothing may throw. */
struct Guard {
  sqlite3_vfs* real = nullptr;
  sqlite3_vfs files = {};
  std::string directory;
  std::string database;
  /** The directory, once it was opened. */
  int held = -1;
};

Guard& guard() {
  static auto* const theGuard = new Guard;  // outlives every connection
  return *theGuard;
}

bool is_own(int descriptor, bool mayBeDirectory) {
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || helpers::is_a_strangers(status, data_directory())) {
    return false;
  }
  return S_ISDIR(status.st_mode) ? mayBeDirectory : S_ISREG(status.st_mode) && status.st_nlink <= 1;
}

void hold_directory() {
  const int directory =
      open(guard().directory.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (directory == -1) return;
  if (is_own(directory, true)) {
    guard().held = directory;
  } else {
    close(directory);
  }
}

/** The names of all files beside the database are made of this one. */
int find_path(sqlite3_vfs* /*files*/, const char* name, int size, char* path) {
  if (guard().database != name) {
    return guard().real->xFullPathname(guard().real, name, size, path);
  }
  if (guard().held == -1) hold_directory();
  if (guard().held == -1) return SQLITE_CANTOPEN;
  const char* const file = name + guard().directory.size();
  const int length = std::snprintf(path, static_cast<std::size_t>(size), "%s%d%s",
                                   DESCRIPTORS.data(), guard().held, file);
  return length < size ? SQLITE_OK : SQLITE_CANTOPEN;
}

int open_file(sqlite3_vfs* /*files*/, const char* name, sqlite3_file* file, int flags,
              int* outFlags) {
  // Its only use would be that SQLite deletes it.
  if ((flags & SQLITE_OPEN_SUPER_JOURNAL) != 0) {
    file->pMethods = nullptr;
    return SQLITE_CANTOPEN;
  }
  return guard().real->xOpen(guard().real, name, file, flags, outFlags);
}

/** In the place of open() below SQLite's file system. */
int open_own(const char* path, int flags, int mode) {
  if (std::string_view(path).substr(0, DESCRIPTORS.size()) != DESCRIPTORS) {
    return open(path, flags, mode);
  }
  // The directory itself is opened to be synced, by the link that its descriptor is.
  const bool isDirectory =
      std::string_view(path).find('/', DESCRIPTORS.size()) == std::string_view::npos;
  const int file = open(path, flags | O_NONBLOCK | (isDirectory ? 0 : O_NOFOLLOW), mode);
  if (file == -1 || is_own(file, isDirectory)) return file;
  close(file);
  errno = EACCES;
  return -1;
}

}  // namespace

void guard_store() {
  if (guard().real) return;
  guard().directory = data_directory() + DATABASE_DIRECTORY;
  guard().database = database_path();
  sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
  if (!real) throw std::bad_alloc();
  guard().files = *real;
  guard().files.zName = "guarded";
  guard().files.xOpen = &open_file;
  if (access(DESCRIPTORS.data(), X_OK) == 0) {
    guard().files.xFullPathname = &find_path;
    if (real->iVersion >= 3) {
      real->xSetSystemCall(real, "open", reinterpret_cast<sqlite3_syscall_ptr>(&open_own));
    }
  }
  guard().real = real;
  if (sqlite3_vfs_register(&guard().files, 1) != SQLITE_OK) throw std::bad_alloc();
}

}  // namespace msg_tarvel::tool
