#include "store/store_copy.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "exit_status.h"
#include "store/reader_lock.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/** Between two looks for a writer: some tens of microseconds. */
constexpr off_t SLICE = 262144;
/** What is in memory at a time. */
constexpr off_t WINDOW = 32 * SLICE;

/** Behind the end of every file. */
constexpr off_t NOWHERE = std::numeric_limits<off_t>::max();

constexpr milliseconds LOOK_AGAIN(1);
/** A writer that has not committed by then may take its time; the copy goes on beside it. */
constexpr milliseconds SHORT_TRANSACTION(50);
/** As long as the library waits for a lock. */
constexpr milliseconds PATIENCE(2100);
/** What a commit may be kept waiting when it cannot be avoided; below a tenth of a second. */
constexpr milliseconds TOLERABLE(60);

constexpr int ATTEMPTS_GIVING_WAY = 10;
constexpr int ATTEMPTS = ATTEMPTS_GIVING_WAY + 5;

/** Where a database file says which way it is written and read. */
constexpr off_t VERSIONS = 18;
constexpr ssize_t VERSIONS_SIZE = 2;
constexpr char WRITE_AHEAD = 2;

class File {
 public:
  File() = default;
  File(const std::string& path, int flags, mode_t mode = 0)
      : _descriptor(open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, mode)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (isOpen()) close(_descriptor);
  }

  bool isOpen() const { return _descriptor >= 0; }
  int descriptor() const { return _descriptor; }

  bool isRegular() const {
    struct stat status = {};
    return fstat(_descriptor, &status) == 0 && S_ISREG(status.st_mode);
  }
  off_t size() const {
    struct stat status = {};
    return fstat(_descriptor, &status) == 0 ? status.st_size : 0;
  }

  /** The first byte from `at` on that is in no hole; NOWHERE when there is none. */
  off_t dataFrom(off_t at) const {
    const off_t data = lseek(_descriptor, at, SEEK_DATA);
    if (data >= 0) return data;
    return errno == ENXIO ? NOWHERE : at;
  }
  /** Where the next hole is behind `at`. */
  off_t holeFrom(off_t at) const {
    const off_t hole = lseek(_descriptor, at, SEEK_HOLE);
    return hole > at ? hole : NOWHERE;
  }

 private:
  int _descriptor = -1;
};

/** A window of a file's bytes in memory; an empty one where that fails. */
class Mapping {
 public:
  Mapping(const File& file, off_t at, std::size_t size)
      : _size(size),
        _bytes(mmap(nullptr, size, PROT_READ, MAP_SHARED | MAP_POPULATE, file.descriptor(), at)) {
    if (_bytes == MAP_FAILED) _size = 0;
  }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;
  ~Mapping() {
    if (_size > 0) munmap(_bytes, _size);
  }

  bool isSame(const Mapping& other, std::size_t at, std::size_t count) const {
    return at + count <= std::min(_size, other._size) &&
           std::memcmp(static_cast<const char*>(_bytes) + at,
                       static_cast<const char*>(other._bytes) + at, count) == 0;
  }

 private:
  std::size_t _size;
  void* _bytes;
};

class Connection {
 public:
  Connection(const std::string& path, int flags) {
    const int ret = sqlite3_open_v2(path.c_str(), &_handle, flags, nullptr);
    if (ret == SQLITE_OK) return;
    sqlite3_close(_handle);
    throw Failure("cannot open " + path + ": " + sqlite3_errstr(ret));
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { sqlite3_close(_handle); }

  sqlite3* get() const { return _handle; }

 private:
  sqlite3* _handle = nullptr;
};

std::string reason_of(int error) {
  return error == EACCES ? "permission denied" : std::strerror(error);
}

[[noreturn]] void fail_reading(const std::string& path, const std::string& why) {
  throw Failure("cannot read the message store " + path + ": " + why);
}

/** Copies one store. The lock is held, where it is, for one call of copyUnderLock. */
class Copying {
 public:
  Copying(const std::string& original, const PrivateDirectory& target)
      : _original(original),
        _target(target),
        _database(original, O_RDONLY),
        _copy(target.database(), O_RDWR | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR),
        _lock(_database.descriptor()) {
    if (!_database.isOpen()) fail_reading(original, reason_of(errno));
    if (!_database.isRegular()) fail_reading(original, "it is not a file");
    if (!_copy.isOpen()) _failWriting();
  }

  void run() {
    // Nobody's lock is needed to bring the pages into memory and to make room for them. What is
    // half of one commit and half of the next is found and written over under the lock, which goes
    // fast.
    _copyAll(_database, _copy, [] { return true; });
    for (int attempt = 0; !_attempt(attempt); ++attempt) {
    }
    if (_isWriteAhead) _endWriteAhead();
  }

  bool isRollbackPending() const { return _isRollbackPending; }
  bool isWriteAhead() const { return _isWriteAhead; }

 private:
  /** In SQLite's write-ahead mode, which a store is in only when somebody has chosen it by hand. */
  static bool _hasLog(const File& database) {
    char versions[VERSIONS_SIZE] = {};
    return pread(database.descriptor(), versions, VERSIONS_SIZE, VERSIONS) == VERSIONS_SIZE &&
           versions[1] == WRITE_AHEAD;
  }

  /** Moves the log into the copy, which nobody else uses: so it needs no index that is shared. */
  void _endWriteAhead() const {
    {
      const Connection copy(_target.database(), SQLITE_OPEN_READWRITE);
      const int ret = sqlite3_exec(copy.get(),
                                   "PRAGMA locking_mode = EXCLUSIVE; PRAGMA synchronous = OFF; "
                                   "PRAGMA journal_mode = DELETE;",
                                   nullptr, nullptr, nullptr);
      if (ret != SQLITE_OK) fail_reading(_original, sqlite3_errstr(ret));
    }
    if (_hasLog(_copy)) fail_reading(_original, "its write-ahead log cannot be read");
  }

  /** False when a writer came and went first. */
  bool _attempt(int number) {
    const bool isLong = !_waitFor([this] { return !_lock.isWriterThere(); }, SHORT_TRANSACTION);
    if (!_waitFor([this] { return _lock.take(); }, PATIENCE)) {
      fail_reading(_original, "it is locked by another process");
    }
    Clock::time_point waitingSince = {};
    const bool isDone = _copyUnderLock([&] {
      if (number < ATTEMPTS_GIVING_WAY) {
        return !(isLong ? _lock.isWriterWaiting() : _lock.isWriterThere());
      }
      if (number >= ATTEMPTS || !_lock.isWriterWaiting()) return true;
      if (waitingSince == Clock::time_point()) waitingSince = Clock::now();
      return Clock::now() - waitingSince < TOLERABLE;
    });
    _lock.release();
    return isDone;
  }

  template <typename MayGoOn>
  bool _copyUnderLock(const MayGoOn& mayGoOn) {
    const File journal(_original + JOURNAL_ENDING, O_RDONLY);
    _isRollbackPending = _isHot(journal);
    _isWriteAhead = _hasLog(_database);
    const File logIndex(_original + LOG_INDEX_ENDING, O_RDONLY);
    if (_isWriteAhead) _keepLog(logIndex);
    if (!_copyWhatDiffers(mayGoOn) || !_copyLog(logIndex, mayGoOn)) return false;
    if (!_isRollbackPending) {
      unlink(_target.journal().c_str());
      return true;
    }
    const File copy(_target.journal(), O_RDWR | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
    if (!copy.isOpen()) _failWriting();
    // A journal that somebody writes is not one that somebody left.
    return _copyAll(journal, copy, mayGoOn) && !_lock.isWriterThere();
  }

  void _keepLog(const File& index) const {
    if (!index.isOpen()) {
      if (errno == ENOENT) return;
      fail_reading(_original + LOG_INDEX_ENDING, reason_of(errno));
    }
    if (!_waitFor([&index] { return keep_log(index.descriptor()); }, PATIENCE)) {
      fail_reading(_original, "it is locked by another process");
    }
  }

  /** False when somebody has opened the store meanwhile, whom no lock kept from moving the log. */
  template <typename MayGoOn>
  bool _copyLog(const File& index, const MayGoOn& mayGoOn) {
    unlink(_target.log().c_str());
    if (!_isWriteAhead) return true;
    const File log(_original + LOG_ENDING, O_RDONLY);
    if (log.isOpen()) {
      const File copy(_target.log(), O_RDWR | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
      if (!copy.isOpen()) _failWriting();
      if (!_copyAll(log, copy, mayGoOn)) return false;
    } else if (errno != ENOENT) {
      fail_reading(_original + LOG_ENDING, reason_of(errno));
    }
    return index.isOpen() || access((_original + LOG_INDEX_ENDING).c_str(), F_OK) != 0;
  }

  /** As SQLite has it: a journal that begins with something, and nobody at work with it. */
  bool _isHot(const File& journal) const {
    if (!journal.isOpen()) {
      if (errno == ENOENT) return false;
      fail_reading(_original + JOURNAL_ENDING, reason_of(errno));
    }
    char first = 0;
    return journal.isRegular() && pread(journal.descriptor(), &first, 1, 0) == 1 && first != 0 &&
           _database.size() > 0 && !_lock.isWriterThere();
  }

  /** Comparing what is in memory takes half of the time of copying it. */
  template <typename MayGoOn>
  bool _copyWhatDiffers(const MayGoOn& mayGoOn) {
    const off_t size = _database.size();
    if (_copy.size() < size && ftruncate(_copy.descriptor(), size) != 0) _failWriting();
    for (off_t at = 0; at < size; at += WINDOW) {
      at = std::min(_database.dataFrom(at), _copy.dataFrom(at)) / WINDOW * WINDOW;
      if (at >= size) break;
      const auto count = static_cast<std::size_t>(std::min(WINDOW, size - at));
      if (!_copyWindow(at, count, mayGoOn)) return false;
    }
    if (ftruncate(_copy.descriptor(), size) != 0) _failWriting();
    return true;
  }

  template <typename MayGoOn>
  bool _copyWindow(off_t start, std::size_t size, const MayGoOn& mayGoOn) {
    const Mapping original(_database, start, size);
    const Mapping copy(_copy, start, size);
    for (std::size_t at = 0; at < size; at += SLICE) {
      if (!mayGoOn()) return false;
      const std::size_t count = std::min(static_cast<std::size_t>(SLICE), size - at);
      if (!original.isSame(copy, at, count)) {
        _copySlice(_database, _copy, start + static_cast<off_t>(at), count);
      }
    }
    return true;
  }

  template <typename MayGoOn>
  bool _copyAll(const File& from, const File& to, const MayGoOn& mayGoOn) {
    const off_t size = from.size();
    for (off_t at = from.dataFrom(0); at < size; at = from.dataFrom(at)) {
      if (!mayGoOn()) return false;
      const off_t end = std::min({at + SLICE, from.holeFrom(at), size});
      _copySlice(from, to, at, static_cast<std::size_t>(end - at));
      at = end;
    }
    if (ftruncate(to.descriptor(), size) != 0) _failWriting();
    return true;
  }

  void _copySlice(const File& from, const File& to, off_t at, std::size_t count) {
    for (std::size_t done = 0; done < count;) {
      const off_t place = at + static_cast<off_t>(done);
      const ssize_t taken = pread(from.descriptor(), _slice.data(), count - done, place);
      if (taken < 0) fail_reading(_original, std::strerror(errno));
      if (taken == 0) return;
      _write(to, static_cast<std::size_t>(taken), place);
      done += static_cast<std::size_t>(taken);
    }
  }

  void _write(const File& to, std::size_t count, off_t at) {
    for (std::size_t done = 0; done < count;) {
      const ssize_t written = pwrite(to.descriptor(), _slice.data() + done, count - done,
                                     at + static_cast<off_t>(done));
      if (written < 0) _failWriting();
      done += static_cast<std::size_t>(written);
    }
  }

  template <typename Condition>
  static bool _waitFor(const Condition& condition, milliseconds limit) {
    const auto end = Clock::now() + limit;
    while (!condition()) {
      if (Clock::now() >= end) return false;
      std::this_thread::sleep_for(LOOK_AGAIN);
    }
    return true;
  }

  [[noreturn]] void _failWriting() const {
    throw Failure("cannot copy the message store to " + _target.path() + ": " +
                  std::strerror(errno));
  }

  const std::string& _original;
  const PrivateDirectory& _target;
  const File _database;
  const File _copy;
  ReaderLock _lock;
  std::vector<char> _slice = std::vector<char>(SLICE);
  bool _isRollbackPending = false;
  bool _isWriteAhead = false;
};

}  // namespace

StoreCopy::StoreCopy(const std::string& original) {
  try {
    Copying copying(original, _directory);
    copying.run();
    _isRollbackPending = copying.isRollbackPending();
    _isWriteAhead = copying.isWriteAhead();
  } catch (const std::system_error& error) {
    fail_reading(original, error.code().message());
  }
}

}  // namespace msg_tarvel::tool
