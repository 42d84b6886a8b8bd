#include "export/media_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "backup/base64.h"
#include "exit_status.h"
#include "interrupt.h"

namespace msg_tarvel::tool {

namespace {

constexpr mode_t FILE_MODE_OF_EXPORTS = 0600;
constexpr mode_t ONLY_THIS_USER = 0700;
/** Whole groups of base64. */
constexpr std::size_t PIECE_OF_A_PICTURE = 49152;

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

MediaFile::MediaFile(const std::string& media, const std::string& name)
    : _path(media + "/" + name),
      _file(open(_path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)),
      _piece(PIECE_OF_A_PICTURE) {}

bool MediaFile::isPlain() const {
  struct stat status = {};
  return _file.isOpen() && fstat(_file.number(), &status) == 0 && S_ISREG(status.st_mode);
}

bool MediaFile::isTooLarge() const {
  struct stat status = {};
  return fstat(_file.number(), &status) == 0 && status.st_size > LARGEST_MEDIA;
}

std::string_view MediaFile::next() {
  // Never part of a group of base64, unless it is the last one.
  std::size_t size = 0;
  while (size < _piece.size()) {
    const ssize_t count = read(_file.number(), _piece.data() + size, _piece.size() - size);
    if (count == 0) break;
    if (count == -1) fail_with("read", _path);
    size += static_cast<std::size_t>(count);
  }
  // It may have grown meanwhile.
  _left -= static_cast<long long>(size);
  if (_left < 0) throw Failure("cannot read " + _path + ": it is too large");
  return {_piece.data(), size};
}

const char* why_left_out(const std::string& path, const std::string& media) {
  const auto name = name_in_media(path, media);
  if (!name) return FILES_ELSEWHERE;
  const MediaFile file(media, *name);
  if (!file.isPlain()) return FILES_ELSEWHERE;
  return file.isTooLarge() ? FILES_TOO_LARGE : nullptr;
}

void encode_media(MediaFile& file, const std::function<void(std::string_view)>& take) {
  for (std::string_view piece = file.next(); !piece.empty(); piece = file.next()) {
    throw_if_interrupted();
    take(base64_of(std::string(piece)));
  }
}

MediaTarget::MediaTarget(std::string path)
    : _path(std::move(path)), _isNew(make_directory(_path)), _directory(_path) {}

MediaTarget::~MediaTarget() {
  if (_isKept) return;
  for (const std::string& name : _written) unlinkat(_directory.descriptor(), name.c_str(), 0);
  if (_isNew) rmdir(_path.c_str());
}

void MediaTarget::write(const std::string& name, MediaFile& from) {
  if (_written.count(name) > 0) return;
  const std::string path = _path + "/" + name;
  const Descriptor file(openat(_directory.descriptor(), name.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                               FILE_MODE_OF_EXPORTS));
  if (!file.isOpen()) fail_with("create", path);
  // From here on the file is this export's own.
  _written.insert(name);
  for (std::string_view piece = from.next(); !piece.empty();) {
    throw_if_interrupted();
    const ssize_t size = ::write(file.number(), piece.data(), piece.size());
    if (size == -1 && errno != EINTR) fail_with("write", path);
    if (size > 0) piece.remove_prefix(static_cast<std::size_t>(size));
    if (piece.empty()) piece = from.next();
  }
}

}  // namespace msg_tarvel::tool
