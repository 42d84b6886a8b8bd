#include "store/reader_lock.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace msg_tarvel::tool {

namespace {

// The bytes of a database file that SQLite locks. A reader has a lock on the shared ones and, for a
// moment before, on the pending one; who writes has the reserved one from its first change and the
// pending one from the moment it waits for the readers to leave.
constexpr long PENDING = 0x40000000;
constexpr long RESERVED = PENDING + 1;
constexpr long SHARED = RESERVED + 1;
constexpr long SHARED_SIZE = 510;

// Of a write-ahead log's index: who moves the log into the database locks the one, who begins it
// anew the other, which is one of the marks that its readers set.
constexpr long CHECKPOINT = 121;
constexpr long FIRST_MARK = 124;

struct flock lock_on(short type, long start, long length) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = start;
  lock.l_len = length;
  return lock;
}

bool set_lock(int file, short type, long start, long length) {
  struct flock lock = lock_on(type, start, length);
  if (fcntl(file, F_OFD_SETLK, &lock) == 0) return true;
  if (errno == EAGAIN || errno == EACCES) return false;
  throw std::system_error(errno, std::generic_category());
}

}  // namespace

bool ReaderLock::_lock(short type, long start, long length) const {
  return set_lock(_database, type, start, length);
}

/** Locks of readers, who pass the pending byte too, do not count. */
bool ReaderLock::_isWriteLocked(long start, long length) const {
  struct flock lock = lock_on(F_RDLCK, start, length);
  return fcntl(_database, F_OFD_GETLK, &lock) == 0 && lock.l_type == F_WRLCK;
}

bool ReaderLock::take() {
  if (!_lock(F_RDLCK, PENDING, 1)) return false;
  _isTaken = _lock(F_RDLCK, SHARED, SHARED_SIZE);
  _lock(F_UNLCK, PENDING, 1);
  return _isTaken;
}

void ReaderLock::release() {
  if (!_isTaken) return;
  _isTaken = false;
  struct flock all = lock_on(F_UNLCK, PENDING, SHARED + SHARED_SIZE - PENDING);
  fcntl(_database, F_OFD_SETLK, &all);
}

bool ReaderLock::isWriterThere() const { return _isWriteLocked(PENDING, 2); }

bool ReaderLock::isWriterWaiting() const { return _isWriteLocked(PENDING, 1); }

bool keep_log(int index) {
  return set_lock(index, F_RDLCK, CHECKPOINT, 1) && set_lock(index, F_RDLCK, FIRST_MARK, 1);
}

}  // namespace msg_tarvel::tool
