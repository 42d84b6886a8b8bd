#include "backup/backup_file.h"

#include <fcntl.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace msg_tarvel::tool {

namespace {

constexpr std::size_t PIECE = 65536;

/** What is wrong with a file of this kind; null for nothing. */
const char* complaint_about(const struct stat& status) {
  if (S_ISDIR(status.st_mode)) return "it is a directory";
  if (!S_ISREG(status.st_mode)) return "it is not a regular file";
  if (status.st_size == 0) return "it is empty";
  return nullptr;
}

[[noreturn]] void fail_on(const std::string& what) {
  throw Failure("cannot " + what + ": " + std::strerror(errno));
}

/** A file that is gone when it is closed, and never had a name that others could open. */
int open_nameless_file() {
  std::string path = std::string(g_get_tmp_dir()) + "/msg-tarvel-XXXXXX";
  const int file = mkostemp(path.data(), O_CLOEXEC);
  if (file == -1) fail_on("create " + path);
  unlink(path.c_str());
  return file;
}

void write_whole(int file, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t count = write(file, data, size);
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) fail_on("keep standard input");
    data += count;
    size -= static_cast<std::size_t>(count);
  }
}

/** How a text in UTF-16 begins: with a byte order mark, or else with "<?". */
struct BeginningInUtf16 {
  std::string_view bytes;
  std::size_t markSize;
  Utf16Decoder::Order order;
};

constexpr BeginningInUtf16 BEGINNINGS_IN_UTF_16[] = {
    {{"\xFF\xFE", 2}, 2, Utf16Decoder::Order::LOW_BYTE_FIRST},
    {{"\xFE\xFF", 2}, 2, Utf16Decoder::Order::HIGH_BYTE_FIRST},
    {{"<\0?\0", 4}, 0, Utf16Decoder::Order::LOW_BYTE_FIRST},
    {{"\0<\0?", 4}, 0, Utf16Decoder::Order::HIGH_BYTE_FIRST},
};
/** That of the longest. */
constexpr std::size_t BEGINNING_SIZE = 4;

bool is_beginning_of_gzip(const char* data, std::size_t size) {
  return size >= 2 && data[0] == '\x1F' && data[1] == '\x8B';
}

}  // namespace

BackupFile::BackupFile(const std::string& path, const std::function<void()>& onWait)
    : _name(path == STANDARD_INPUT ? "standard input" : path) {
  if (path == STANDARD_INPUT) {
    _keepStandardInput(onWait);
  } else {
    // Non-blocking, so that a named pipe is refused rather than waited for.
    _file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  }
  struct stat status = {};
  if (_file == -1 || fstat(_file, &status) == -1) _fail();
  if (const char* complaint = complaint_about(status)) {
    close(_file);
    throw Failure("cannot import " + _name + ": " + complaint);
  }
  _size = status.st_size;
}

BackupFile::~BackupFile() { close(_file); }

void BackupFile::_keepStandardInput(const std::function<void()>& onWait) {
  _file = open_nameless_file();
  try {
    std::array<char, PIECE> piece{};
    for (;;) {
      onWait();
      const ssize_t count = read(STDIN_FILENO, piece.data(), piece.size());
      if (count == 0) return;
      if (count == -1 && errno != EINTR) _fail();
      if (count > 0) write_whole(_file, piece.data(), static_cast<std::size_t>(count));
    }
  } catch (...) {
    close(_file);
    throw;
  }
}

bool BackupFile::isCompressed() const {
  std::array<char, 2> beginning{};
  return is_beginning_of_gzip(beginning.data(), readAt(0, beginning.data(), beginning.size()));
}

std::size_t BackupFile::readAt(long long offset, char* buffer, std::size_t size) const {
  ssize_t count = 0;
  do {
    count = pread(_file, buffer, size, offset);
  } while (count == -1 && errno == EINTR);
  if (count == -1) _fail();
  return static_cast<std::size_t>(count);
}

void BackupFile::_fail() const { fail_on("read " + _name); }

void BackupStream::ConverterDeleter::operator()(GConverter* converter) const {
  g_object_unref(converter);
}

BackupStream::BackupStream(const BackupFile& file) : _file(file) {
  if (!file.isCompressed()) return;
  _decompressor.reset(G_CONVERTER(g_zlib_decompressor_new(G_ZLIB_COMPRESSOR_FORMAT_GZIP)));
}

std::size_t BackupStream::read(char* buffer, std::size_t size) {
  _begin();
  if (_given == _ready.size()) {
    if (!_decoder) return _readBytes(buffer, size);
    _recode();
  }
  const std::size_t count = _ready.copy(buffer, size, _given);
  _given += count;
  return count;
}

bool BackupStream::isRecoded() {
  _begin();
  return _decoder.has_value();
}

/** Looks at the first bytes, which tell the encoding. */
void BackupStream::_begin() {
  if (std::exchange(_hasBegun, true)) return;
  std::array<char, BEGINNING_SIZE> bytes{};
  std::size_t size = 0;
  while (const std::size_t count = _readBytes(&bytes[size], bytes.size() - size)) {
    size += count;
    if (size == bytes.size()) break;
  }
  for (const BeginningInUtf16& beginning : BEGINNINGS_IN_UTF_16) {
    if (std::string_view(bytes.data(), size).substr(0, beginning.bytes.size()) != beginning.bytes) {
      continue;
    }
    _decoder.emplace(beginning.order);
    _decoder->decode(bytes.data() + beginning.markSize, size - beginning.markSize, _ready);
    return;
  }
  _ready.assign(bytes.data(), size);
}

/** Makes more ready, unless it is at the end. */
void BackupStream::_recode() {
  std::array<char, PIECE> piece{};
  _ready.clear();
  _given = 0;
  while (_ready.empty()) {
    const std::size_t count = _readBytes(piece.data(), piece.size());
    _decoder->decode(piece.data(), count, _ready);
    if (count > 0) continue;
    _decoder->finish(_ready);
    return;
  }
}

std::size_t BackupStream::_readBytes(char* buffer, std::size_t size) {
  if (_decompressor) return _readCompressed(buffer, size);
  const std::size_t count = _file.readAt(_position, buffer, size);
  _position += static_cast<long long>(count);
  return count;
}

/** Reads on when less is left than a member begins with; false when nothing is left. */
bool BackupStream::_fill() {
  if (_compressed.size() - _taken < 2) {
    _compressed.erase(0, _taken);
    _taken = 0;
    const std::size_t left = _compressed.size();
    _compressed.resize(left + PIECE);
    const std::size_t count = _file.readAt(_position, &_compressed[left], PIECE);
    _compressed.resize(left + count);
    _position += static_cast<long long>(count);
  }
  return !_compressed.empty();
}

std::size_t BackupStream::_readCompressed(char* buffer, std::size_t size) {
  for (;;) {
    const bool isMore = _fill();
    if (_isBetweenMembers) {
      // As gzip does: members follow one another, and what is no member does not count.
      if (!is_beginning_of_gzip(_compressed.data() + _taken, _compressed.size() - _taken)) return 0;
      g_converter_reset(_decompressor.get());
      _isBetweenMembers = false;
    }
    gsize taken = 0;
    gsize written = 0;
    GError* error = nullptr;
    const GConverterResult result = g_converter_convert(
        _decompressor.get(), _compressed.data() + _taken, _compressed.size() - _taken, buffer, size,
        isMore ? G_CONVERTER_NO_FLAGS : G_CONVERTER_INPUT_AT_END, &taken, &written, &error);
    if (result == G_CONVERTER_ERROR) {
      const bool isCut = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_PARTIAL_INPUT);
      g_error_free(error);
      throw BackupDamage(
          _file.name(), 0,
          isCut ? "its compressed data end early" : "its compressed data are damaged");
    }
    _taken += taken;
    _isBetweenMembers = result == G_CONVERTER_FINISHED;
    if (written > 0) return written;
  }
}

}  // namespace msg_tarvel::tool
