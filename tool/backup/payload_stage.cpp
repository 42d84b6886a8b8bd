#include "backup/payload_stage.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "exit_status.h"
#include "helpers/store_error.h"
#include "interrupt.h"
#include "store/media.h"

namespace msg_tarvel::tool {

namespace {

// As the store's own files: for the processes of one group.
constexpr mode_t FILE_MODE = 0660;
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

/** At most `size` bytes of a name, without a part of a character at the end. */
std::string beginning_of(const std::string& name, std::size_t size) {
  if (name.size() <= size) return name;
  while (size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0) == 0x80) --size;
  return name.substr(0, size);
}

}  // namespace

PayloadStage::Checksum::Checksum() : handle(g_checksum_new(G_CHECKSUM_SHA256)) {}

PayloadStage::Checksum::~Checksum() { g_checksum_free(handle); }

PayloadStage::PayloadStage(std::string directory, bool isDryRun)
    : _directory(std::move(directory)), _isDryRun(isDryRun) {}

PayloadStage::~PayloadStage() {
  if (_open && _open->file != -1) close(_open->file);
  for (const std::string& name : _staged) _remove(name);
  for (const std::string& name : _kept) _remove(name);
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
  if (_open->isFile || (!_open->head.empty() && _open->head != "null")) {
    if (_open->isFile || !_open->bytes.empty()) _write();
    payload = _open->payload;
    payload.digest = g_checksum_get_string(_open->checksum.handle);
    const bool isWhole = _open->decoder.isWhole();
    const bool isNone = payload.size == 0 && !_open->isFile;
    payload.state = !isWhole ? Payload::State::DAMAGED
                    : isNone ? Payload::State::NONE
                             : Payload::State::WHOLE;
  }
  if (_open->file != -1) {
    // On its way to the disk, so that the end of the import has little to wait for.
    sync_file_range(_open->file, 0, 0, SYNC_FILE_RANGE_WRITE);
    close(_open->file);
  }
  if (payload.state == Payload::State::DAMAGED) {
    drop(payload);
    payload.name.clear();
  }
  _open.reset();
  return payload;
}

void PayloadStage::_write() {
  if (_open->file == -1 && !_isDryRun) _createFile();
  const std::string& bytes = _open->bytes;
  g_checksum_update(_open->checksum.handle, reinterpret_cast<const guchar*>(bytes.data()),
                    static_cast<gssize>(bytes.size()));
  if (!_isDryRun) write_all(_open->file, bytes, _path(_open->payload.name));
  _open->payload.size += static_cast<long long>(bytes.size());
  _open->bytes.clear();
}

void PayloadStage::_createFile() {
  if (!_opened) {
    _madeDirectory = make_media_directory(_directory);
    _opened = std::make_unique<OpenDirectory>(_directory);
  }
  const std::string prefix = STAGED_PREFIX + std::to_string(getpid()) + "-";
  std::string& name = _open->payload.name;
  int file = -1;
  do {
    name = prefix + std::to_string(_nextFile++);
    // Before it is there, or without memory nobody would know of it.
    const auto staged = _staged.insert(name).first;
    file = openat(_opened->descriptor(), name.c_str(),
                  O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, FILE_MODE);
    if (file == -1) _staged.erase(staged);
  } while (file == -1 && errno == EEXIST);
  if (file == -1) fail_on("create", _path(name));
  _open->file = file;
  // A user who may not give files away still gets them.
  static_cast<void>(fchmod(file, FILE_MODE) == 0);
  static_cast<void>(fchown(file, getuid(), STORE_GROUP) == 0);
}

void PayloadStage::_remove(const std::string& name) {
  unlinkat(_opened->descriptor(), name.c_str(), 0);
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
  return _decode(text, size, false);
}

Payload PayloadStage::decodeFile(const std::string& base64) {
  return _decode(base64.data(), base64.size(), true);
}

Payload PayloadStage::_decode(const char* text, std::size_t size, bool isFile) {
  // A payload may be half read by the time the parser hands over one of its own.
  std::unique_ptr<Open> halfRead;
  halfRead.swap(_open);
  beginPayload(0);
  _open->isFile = isFile;
  payloadText(text, size);
  Payload payload = _finish();
  _open.swap(halfRead);
  return payload;
}

std::string PayloadStage::keep(const Payload& payload, const std::string& baseName,
                               const std::string& extension) {
  std::string number;
  std::string name;
  int attempt = 1;
  do {
    const std::size_t others = std::strlen(STAGED_PREFIX) + number.size() + extension.size();
    name = lasting_name(beginning_of(baseName, NAME_MAX - others) + number + extension);
    number = "-" + std::to_string(++attempt);
  } while (!_isDryRun && !_reserve(payload.name, name));
  return _path(name);
}

/** Renames a staged file to what it is called until it gets `name`; false when that is taken. */
bool PayloadStage::_reserve(const std::string& stagedName, const std::string& name) {
  const int directory = _opened->descriptor();
  if (faccessat(directory, name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0) return false;
  const std::string& reserved = _kept.emplace_back(STAGED_PREFIX + name);
  if (renameat2(directory, stagedName.c_str(), directory, reserved.c_str(), RENAME_NOREPLACE) ==
      -1) {
    const int error = errno;
    _kept.pop_back();
    if (error == EEXIST) return false;
    errno = error;
    fail_on("create", _path(name));
  }
  _staged.erase(stagedName);
  return true;
}

void PayloadStage::drop(const Payload& payload) {
  if (_staged.erase(payload.name) > 0) _remove(payload.name);
}

void PayloadStage::synchronise() {
  if (_kept.empty()) return;
  // One by one, not the whole file system: nobody could interrupt that, nor say what it waits for.
  for (const std::string& name : _kept) {
    throw_if_interrupted();
    const int file = openat(_opened->descriptor(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (file == -1) fail_on("open", _path(name));
    const int result = fsync(file);
    close(file);
    if (result == -1) fail_on("write", _path(name));
  }
  if (fsync(_opened->descriptor()) == -1) fail_on("write", _directory);
}

void PayloadStage::confirm() {
  std::vector<std::string> settling;
  settling.swap(_kept);
  try {
    for (const std::string& name : settling) settle_file(_opened->descriptor(), name);
  } catch (const std::bad_alloc&) {
    // The next import gives them their names.
  }
}

void PayloadStage::keepNamedFiles() {
  std::vector<std::string> settling;
  settling.swap(_kept);
  try {
    const NamedFiles named = read_named_files();
    for (const std::string& name : settling) {
      if (named.contains(settled_name(name))) {
        settle_file(_opened->descriptor(), name);
      } else {
        _remove(name);
      }
    }
  } catch (const helpers::StoreError&) {
    // Nor does anybody know without memory: the next import looks.
  } catch (const std::bad_alloc&) {
  }
}

void commit_with_files(std::optional<helpers::Transaction>& transaction, PayloadStage& stage) {
  stage.synchronise();
  try {
    transaction->commit();
  } catch (const helpers::UnknownOutcome&) {
    // What is not committed is no longer seen behind its end.
    transaction.reset();
    stage.keepNamedFiles();
    throw;
  }
  stage.confirm();
}

}  // namespace msg_tarvel::tool
