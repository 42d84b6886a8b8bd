#include "export/media_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "exit_status.h"

namespace msg_tarvel::tool {

namespace {

constexpr mode_t FILE_MODE_OF_EXPORTS = 0600;
constexpr mode_t ONLY_THIS_USER = 0700;

class OpenFile {
 public:
  OpenFile(int directory, const std::string& name, int flags, mode_t mode = 0)
      : _descriptor(
            openat(directory, name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode)) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() {
    if (_descriptor != -1) close(_descriptor);
  }

  int descriptor() const { return _descriptor; }
  bool isPlain() const {
    struct stat status = {};
    return _descriptor != -1 && fstat(_descriptor, &status) == 0 && S_ISREG(status.st_mode);
  }

 private:
  int _descriptor;
};

[[noreturn]] void fail_with(const char* what, const std::string& path) {
  throw Failure(std::string("cannot ") + what + " " + path + ": " + std::strerror(errno));
}

/** False when it is there. */
bool make_directory(const std::string& path) {
  const bool isMade = mkdir(path.c_str(), ONLY_THIS_USER) == 0;
  if (!isMade && errno != EEXIST) fail_with("make the directory", path);
  return isMade;
}

}  // namespace

std::optional<std::string> name_in_media(const std::string& path, const std::string& media) {
  const std::string beginning = media + "/";
  if (path.rfind(beginning, 0) != 0) return std::nullopt;
  std::string name = path.substr(beginning.size());
  const bool isName = !name.empty() && name[0] != '.' && name.find('/') == std::string::npos &&
                      name.find('\0') == std::string::npos;
  return isName ? std::optional(std::move(name)) : std::nullopt;
}

std::optional<std::string> read_media(const std::string& media, const std::string& name) {
  const std::string path = media + "/" + name;
  const OpenFile file(AT_FDCWD, path, O_RDONLY);
  if (!file.isPlain()) return std::nullopt;
  std::string bytes;
  char piece[65536];
  ssize_t size = 0;
  while ((size = read(file.descriptor(), piece, sizeof piece)) != 0) {
    if (size == -1) fail_with("read", path);
    bytes.append(piece, static_cast<std::size_t>(size));
  }
  return bytes;
}

MediaTarget::MediaTarget(std::string path)
    : _path(std::move(path)), _isNew(make_directory(_path)), _directory(_path) {}

MediaTarget::~MediaTarget() {
  if (_isKept) return;
  for (const std::string& name : _written) unlinkat(_directory.descriptor(), name.c_str(), 0);
  if (_isNew) rmdir(_path.c_str());
}

void MediaTarget::write(const std::string& name, const std::string& bytes) {
  if (_written.count(name) > 0) return;
  const std::string path = _path + "/" + name;
  const OpenFile file(_directory.descriptor(), name, O_WRONLY | O_CREAT | O_EXCL,
                      FILE_MODE_OF_EXPORTS);
  if (file.descriptor() == -1) fail_with("create", path);
  // From here on the file is this export's own.
  _written.insert(name);
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t size = ::write(file.descriptor(), bytes.data() + written, bytes.size() - written);
    if (size == -1 && errno != EINTR) fail_with("write", path);
    if (size > 0) written += static_cast<std::size_t>(size);
  }
}

}  // namespace msg_tarvel::tool
