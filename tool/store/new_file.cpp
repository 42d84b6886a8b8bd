#include "store/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "exit_status.h"

namespace msg_tarvel::tool {

NewFile::NewFile(std::string target, std::string called)
    : _target(std::move(target)), _called(std::move(called)) {
  // One that was killed leaves its file, and in a container the next has the same number soon.
  const std::string first = _target + ".incomplete-" + std::to_string(getpid());
  _path = first;
  for (int attempt = 2; !_create(); ++attempt) _path = first + "-" + std::to_string(attempt);
}

/** False when there is a file of that name. */
bool NewFile::_create() {
  _descriptor =
      open(_path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (_descriptor == -1 && errno != EEXIST) fail(std::strerror(errno));
  return _descriptor != -1;
}

NewFile::~NewFile() {
  if (!_hasName) unlink(_path.c_str());
  close(_descriptor);
}

void NewFile::fail(const std::string& why) const {
  throw Failure("cannot write " + _called + ": " + why);
}

void NewFile::finish() {
  _rename(RENAME_NOREPLACE);
  try {
    _synchroniseFolder();
  } catch (...) {
    unlink(_target.c_str());
    throw;
  }
}

void NewFile::replace() { _rename(0); }

void NewFile::_rename(unsigned int flags) {
  if (fsync(_descriptor) != 0 ||
      renameat2(AT_FDCWD, _path.c_str(), AT_FDCWD, _target.c_str(), flags) != 0) {
    fail(std::strerror(errno));
  }
  _hasName = true;
}

void NewFile::_synchroniseFolder() const {
  const std::size_t slash = _target.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : _target.substr(0, slash + 1);
  const int directory = open(folder.c_str(), O_RDONLY | O_CLOEXEC);
  const bool isDone = directory != -1 && fsync(directory) == 0;
  const int error = errno;
  if (directory != -1) close(directory);
  if (!isDone) fail(std::strerror(error));
}

}  // namespace msg_tarvel::tool
