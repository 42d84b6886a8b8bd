#include "backup/payload_stage.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "exit_status.h"

namespace msg_tarvel::tool {

namespace {

constexpr mode_t DIRECTORY_MODE = 0755;
// As the store's own files: for the processes of one group.
constexpr mode_t FILE_MODE = 0660;
constexpr gid_t FILE_GROUP = 5000;
constexpr std::size_t WRITE_SIZE = 65536;
/** As much of a payload's text as tells that it is the word "null". */
constexpr std::size_t HEAD_SIZE = 5;

[[noreturn]] void fail_on(const std::string& what, const std::string& path) {
  throw Failure("cannot " + what + " " + path + ": " + std::strerror(errno));
}

void write_all(int file, const std::string& bytes, const std::string& path) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t count = write(file, bytes.data() + written, bytes.size() - written);
    if (count < 0 && errno != EINTR) fail_on("write", path);
    if (count > 0) written += static_cast<std::size_t>(count);
  }
}

}  // namespace

PayloadStage::Checksum::Checksum() : handle(g_checksum_new(G_CHECKSUM_SHA256)) {}

PayloadStage::Checksum::~Checksum() { g_checksum_free(handle); }

PayloadStage::PayloadStage(std::string directory, bool isDryRun)
    : _directory(std::move(directory)), _isDryRun(isDryRun) {}

PayloadStage::~PayloadStage() {
  if (_open && _open->file != -1) close(_open->file);
  for (const std::string& path : _staged) unlink(path.c_str());
  for (const std::string& path : _kept) unlink(path.c_str());
  if (_madeDirectory) rmdir(_directory.c_str());  // fails, as it should, when files stay
}

void PayloadStage::beginPayload(long number) {
  _open = std::make_unique<Open>();
  _open->number = number;
}

void PayloadStage::payloadText(const char* text, std::size_t size) {
  if (_open->head.size() < HEAD_SIZE) {
    _open->head.append(text, std::min(size, HEAD_SIZE - _open->head.size()));
  }
  while (size > 0) {
    const std::size_t piece = std::min(size, WRITE_SIZE);
    _open->decoder.decode(text, piece, _open->bytes);
    if (_open->bytes.size() >= WRITE_SIZE) _write();
    text += piece;
    size -= piece;
  }
}

void PayloadStage::endPayload() {
  const long number = _open->number;
  _finished.push_back({number, _finish()});
}

Payload PayloadStage::_finish() {
  Payload payload;
  if (!_open->head.empty() && _open->head != "null") {
    if (!_open->bytes.empty()) _write();
    payload = _open->payload;
    payload.digest = g_checksum_get_string(_open->checksum.handle);
    const bool isWhole = _open->decoder.isWhole();
    payload.state = !isWhole            ? Payload::State::DAMAGED
                    : payload.size == 0 ? Payload::State::NONE
                                        : Payload::State::WHOLE;
  }
  if (_open->file != -1) close(_open->file);
  if (payload.state == Payload::State::DAMAGED) {
    drop(payload);
    payload.path.clear();
  }
  _open.reset();
  return payload;
}

void PayloadStage::_write() {
  if (_open->file == -1 && !_isDryRun) _createFile();
  const std::string& bytes = _open->bytes;
  g_checksum_update(_open->checksum.handle, reinterpret_cast<const guchar*>(bytes.data()),
                    static_cast<gssize>(bytes.size()));
  if (!_isDryRun) write_all(_open->file, bytes, _open->payload.path);
  _open->payload.size += static_cast<long long>(bytes.size());
  _open->bytes.clear();
}

void PayloadStage::_makeDirectory() {
  if (_isThere) return;
  if (mkdir(_directory.c_str(), DIRECTORY_MODE) == 0) {
    _madeDirectory = true;
  } else if (errno != EEXIST) {
    fail_on("make", _directory);
  }
  _isThere = true;
}

void PayloadStage::_createFile() {
  _makeDirectory();
  const std::string prefix = _directory + "/incoming-" + std::to_string(getpid()) + "-";
  std::string path;
  int file = -1;
  do {
    path = prefix + std::to_string(_nextFile++);
    file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, FILE_MODE);
  } while (file == -1 && errno == EEXIST);
  if (file == -1) fail_on("create", path);
  _open->file = file;
  _open->payload.path = path;
  _staged.insert(path);
  // A user who may not give files away still gets them.
  static_cast<void>(fchmod(file, FILE_MODE) == 0);
  static_cast<void>(fchown(file, getuid(), FILE_GROUP) == 0);
}

Payload PayloadStage::take(long number) {
  while (!_finished.empty()) {
    const Finished finished = _finished.front();
    _finished.pop_front();
    if (finished.number == number) return finished.payload;
    drop(finished.payload);
  }
  return {};
}

void PayloadStage::abandon() {
  if (_open) {
    if (_open->file != -1) close(_open->file);
    drop(_open->payload);
    _open.reset();
  }
  for (const Finished& finished : _finished) drop(finished.payload);
  _finished.clear();
}

Payload PayloadStage::decode(const char* text, std::size_t size) {
  // A payload may be half read by the time the parser hands over one of its own.
  std::unique_ptr<Open> halfRead;
  halfRead.swap(_open);
  beginPayload(0);
  payloadText(text, size);
  Payload payload = _finish();
  _open.swap(halfRead);
  return payload;
}

std::string PayloadStage::keep(const Payload& payload, const std::string& baseName,
                               const std::string& extension) {
  std::string path = _directory + "/" + baseName + "." + extension;
  if (_isDryRun) return path;
  // A name is taken when an import was killed between two steps and left its files.
  for (int attempt = 2;
       renameat2(AT_FDCWD, payload.path.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == -1;
       ++attempt) {
    if (errno != EEXIST) fail_on("create", path);
    path = _directory + "/" + baseName + "-" + std::to_string(attempt) + "." + extension;
  }
  _staged.erase(payload.path);
  _kept.push_back(path);
  return path;
}

void PayloadStage::drop(const Payload& payload) {
  if (_staged.erase(payload.path) > 0) unlink(payload.path.c_str());
}

void PayloadStage::synchronise() {
  if (_kept.empty()) return;
  const int directory = open(_directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory == -1) fail_on("open", _directory);
  const int result = syncfs(directory);
  close(directory);
  if (result == -1) fail_on("write", _directory);
}

}  // namespace msg_tarvel::tool
