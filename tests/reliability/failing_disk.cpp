#include "reliability/failing_disk.h"

#include <sqlite3.h>

#include <mutex>
#include <ostream>

namespace msg_tarvel {

namespace {

using Kind = FailingDisk::Kind;

sqlite3_vfs* real = nullptr;
sqlite3_vfs disk;

// Connections of several threads come here.
std::mutex mutex;
int number = 0;
int left = 0;
FailingDisk::Failure failing = {Kind::IO_ERROR, false};
bool hasFailed = false;
void (*tellFirst)() = nullptr;

/** A file of the real file system, which follows in memory. */
struct File {
  sqlite3_file base;

  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* real_of(sqlite3_file* file) { return reinterpret_cast<File*>(file)->real(); }

/** Whether the operation, which can fail in this way, has to. */
bool has_to_fail(Kind kind) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (left == 0 || failing.kind != kind) return false;
  if (left > 1) {
    --left;
    return false;
  }
  if (!hasFailed && tellFirst) tellFirst();
  hasFailed = true;
  if (!failing.isForGood) left = 0;
  return true;
}

int close_file(sqlite3_file* file) { return real_of(file)->pMethods->xClose(real_of(file)); }

int read_file(sqlite3_file* file, void* buffer, int size, sqlite3_int64 offset) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_READ;
  return real_of(file)->pMethods->xRead(real_of(file), buffer, size, offset);
}

int write_file(sqlite3_file* file, const void* buffer, int size, sqlite3_int64 offset) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_WRITE;
  if (has_to_fail(Kind::FULL)) return SQLITE_FULL;
  return real_of(file)->pMethods->xWrite(real_of(file), buffer, size, offset);
}

int truncate_file(sqlite3_file* file, sqlite3_int64 size) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_TRUNCATE;
  return real_of(file)->pMethods->xTruncate(real_of(file), size);
}

int sync_file(sqlite3_file* file, int flags) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_FSYNC;
  return real_of(file)->pMethods->xSync(real_of(file), flags);
}

int size_of_file(sqlite3_file* file, sqlite3_int64* size) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_FSTAT;
  return real_of(file)->pMethods->xFileSize(real_of(file), size);
}

int lock_file(sqlite3_file* file, int level) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_LOCK;
  if (has_to_fail(Kind::BUSY)) return SQLITE_BUSY;
  return real_of(file)->pMethods->xLock(real_of(file), level);
}

int unlock_file(sqlite3_file* file, int level) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_UNLOCK;
  return real_of(file)->pMethods->xUnlock(real_of(file), level);
}

int look_for_writer(sqlite3_file* file, int* isThere) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_CHECKRESERVEDLOCK;
  return real_of(file)->pMethods->xCheckReservedLock(real_of(file), isThere);
}

int control_file(sqlite3_file* file, int operation, void* argument) {
  return real_of(file)->pMethods->xFileControl(real_of(file), operation, argument);
}

int sector_size(sqlite3_file* file) { return real_of(file)->pMethods->xSectorSize(real_of(file)); }

int characteristics(sqlite3_file* file) {
  return real_of(file)->pMethods->xDeviceCharacteristics(real_of(file));
}

const sqlite3_io_methods FILE_METHODS = {1,
                                         &close_file,
                                         &read_file,
                                         &write_file,
                                         &truncate_file,
                                         &sync_file,
                                         &size_of_file,
                                         &lock_file,
                                         &unlock_file,
                                         &look_for_writer,
                                         &control_file,
                                         &sector_size,
                                         &characteristics,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr};

int open_file(sqlite3_vfs* /*vfs*/, sqlite3_filename name, sqlite3_file* file, int flags,
              int* outFlags) {
  file->pMethods = nullptr;
  if (has_to_fail(Kind::CANNOT_OPEN)) return SQLITE_CANTOPEN;
  if ((flags & SQLITE_OPEN_READWRITE) != 0 && has_to_fail(Kind::READ_ONLY)) {
    flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
  }
  const int code = real->xOpen(real, name, real_of(file), flags, outFlags);
  if (code == SQLITE_OK) file->pMethods = &FILE_METHODS;
  return code;
}

int delete_file(sqlite3_vfs* /*vfs*/, const char* name, int isSynced) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_DELETE;
  return real->xDelete(real, name, isSynced);
}

int access_file(sqlite3_vfs* /*vfs*/, const char* name, int flags, int* result) {
  if (has_to_fail(Kind::IO_ERROR)) return SQLITE_IOERR_ACCESS;
  return real->xAccess(real, name, flags, result);
}

}  // namespace

void FailingDisk::install() {
  if (real) return;
  real = sqlite3_vfs_find(nullptr);
  disk = *real;
  disk.iVersion = 1;
  disk.zName = "failing";
  disk.szOsFile = static_cast<int>(sizeof(File)) + real->szOsFile;
  disk.xOpen = &open_file;
  disk.xDelete = &delete_file;
  disk.xAccess = &access_file;
  sqlite3_vfs_register(&disk, 1);
}

void FailingDisk::onFirstFailure(void (*action)()) { tellFirst = action; }

void FailingDisk::fail(int theNumber, Failure failure) {
  const std::lock_guard<std::mutex> lock(mutex);
  number = theNumber;
  left = number;
  failing = failure;
  hasFailed = false;
}

bool FailingDisk::mend() {
  const std::lock_guard<std::mutex> lock(mutex);
  left = 0;
  return hasFailed;
}

int FailingDisk::seen() { return number - left; }

std::ostream& operator<<(std::ostream& out, FailingDisk::Failure failure) {
  constexpr const char* NAMES[] = {"I/O error", "full", "read-only", "busy", "cannot open"};
  return out << NAMES[static_cast<int>(failure.kind)] << (failure.isForGood ? " for good" : "");
}

}  // namespace msg_tarvel
