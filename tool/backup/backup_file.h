#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "backup/utf16_decoder.h"
#include "exit_status.h"

typedef struct _GConverter GConverter;

namespace msg_tarvel::tool {

/** A file that can be read but is not what it should be, from some place on. */
class BackupDamage : public Failure {
 public:
  /** `line` is 0 where lines are not known. */
  BackupDamage(const std::string& file, long onLine, const std::string& what)
      : Failure(file + (onLine > 0 ? ":" + std::to_string(onLine) : "") + ": " + what),
        line(onLine),
        problem(what) {}
  const long line;
  const std::string problem;
};

/** The name of the file that stands for standard input. */
constexpr const char* STANDARD_INPUT = "-";

/** A backup file, open for any number of readings. Throws Failure when it cannot be read. */
class BackupFile {
 public:
  /**
   * Standard input is read to its end, into a file that has no name; `onWait`, which may throw, is
   * called before each piece of it.
   */
  explicit BackupFile(
      const std::string& path, const std::function<void()>& onWait = [] {});
  BackupFile(const BackupFile&) = delete;
  BackupFile& operator=(const BackupFile&) = delete;
  ~BackupFile();

  /** For a user. */
  const std::string& name() const { return _name; }
  /** As it lies on the disk. */
  long long size() const { return _size; }
  bool isCompressed() const;

  /** The number of bytes read into `buffer`; 0 at the end. */
  std::size_t readAt(long long offset, char* buffer, std::size_t size) const;

 private:
  void _keepStandardInput(const std::function<void()>& onWait);
  [[noreturn]] void _fail() const;

  const std::string _name;
  int _file = -1;
  long long _size = 0;
};

/** One reading of a backup file from its beginning, decompressed, and in UTF-8 if in UTF-16. */
class BackupStream {
 public:
  explicit BackupStream(const BackupFile& file);

  /**
   * The number of bytes read into `buffer`; 0 at the end. Throws Failure when the file cannot be
   * read, BackupDamage when it cannot be decompressed.
   */
  std::size_t read(char* buffer, std::size_t size);
  /** Whether the text is in UTF-16 in the file; throws as read does. */
  bool isRecoded();
  /** The bytes of the file that are read so far. */
  long long position() const { return _position; }

 private:
  struct ConverterDeleter {
    void operator()(GConverter* converter) const;
  };

  void _begin();
  void _recode();
  std::size_t _readBytes(char* buffer, std::size_t size);
  std::size_t _readCompressed(char* buffer, std::size_t size);
  bool _fill();

  const BackupFile& _file;
  long long _position = 0;
  std::unique_ptr<GConverter, ConverterDeleter> _decompressor;
  /** What is read and not yet decompressed, from `_taken` on. */
  std::string _compressed;
  std::size_t _taken = 0;
  bool _isBetweenMembers = false;
  bool _hasBegun = false;
  std::optional<Utf16Decoder> _decoder;
  /** What is ready to be read, from `_given` on: the first bytes, or what was in UTF-16. */
  std::string _ready;
  std::size_t _given = 0;
};

}  // namespace msg_tarvel::tool
