#pragma once

namespace msg_tarvel::tool {

/**
 * SQLite's lock of a reader on a database file, taken without SQLite: so it can be given back in
 * the middle of a read, as soon as a writer comes. Belongs to the descriptor, which needs to be
 * open for reading only and outlives the lock.
 */
class ReaderLock {
 public:
  explicit ReaderLock(int database) : _database(database) {}
  ReaderLock(const ReaderLock&) = delete;
  ReaderLock& operator=(const ReaderLock&) = delete;
  ~ReaderLock() { release(); }

  /**
   * False while a writer commits or waits to; never waits itself. Throws std::system_error where
   * files cannot be locked.
   */
  bool take();
  void release();

  /** Whether another process has begun to write: its commit will wait for every reader. */
  bool isWriterThere() const;
  /** Whether a commit waits for the readers that are left. */
  bool isWriterWaiting() const;

 private:
  bool _lock(short type, long start, long length) const;
  bool _isWriteLocked(long start, long length) const;

  const int _database;
  bool _isTaken = false;
};

/**
 * Keeps a write-ahead log as it is, but for what writers add to its end: nobody moves it into the
 * database or begins it anew. Nobody waits for it either. Goes with the descriptor, that of the
 * log's index, which needs to be open for reading only. False while somebody does one of the two.
 */
bool keep_log(int index);

}  // namespace msg_tarvel::tool
