#include "backup/backup_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "exit_status.h"

namespace msg_tarvel::tool {

namespace {

/** What is wrong with a file of this kind; null for nothing. */
const char* complaint_about(const struct stat& status) {
  if (S_ISDIR(status.st_mode)) return "it is a directory";
  if (!S_ISREG(status.st_mode)) return "it is not a regular file";
  if (status.st_size == 0) return "it is empty";
  return nullptr;
}

}  // namespace

// Non-blocking, so that a named pipe is refused rather than waited for.
BackupFile::BackupFile(const std::string& path)
    : _path(path), _file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  struct stat status = {};
  if (_file == -1 || fstat(_file, &status) == -1) _fail();
  if (const char* complaint = complaint_about(status)) {
    close(_file);
    throw Failure("cannot import " + _path + ": " + complaint);
  }
  _size = status.st_size;
}

BackupFile::~BackupFile() { close(_file); }

void BackupFile::rewind() {
  if (lseek(_file, 0, SEEK_SET) == -1) _fail();
}

std::size_t BackupFile::read(char* buffer, std::size_t size) {
  ssize_t count = 0;
  do {
    count = ::read(_file, buffer, size);
  } while (count == -1 && errno == EINTR);
  if (count == -1) _fail();
  return static_cast<std::size_t>(count);
}

void BackupFile::_fail() const {
  throw Failure("cannot read " + _path + ": " + std::strerror(errno));
}

}  // namespace msg_tarvel::tool
