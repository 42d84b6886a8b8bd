#pragma once

#include <cstddef>
#include <string>

namespace msg_tarvel::tool {

/** A backup file, open for reading and re-reading. Throws Failure when it cannot be read. */
class BackupFile {
 public:
  explicit BackupFile(const std::string& path);
  BackupFile(const BackupFile&) = delete;
  BackupFile& operator=(const BackupFile&) = delete;
  ~BackupFile();

  const std::string& path() const { return _path; }
  long long size() const { return _size; }

  void rewind();
  /** The number of bytes read into `buffer`; 0 at the end. */
  std::size_t read(char* buffer, std::size_t size);

 private:
  [[noreturn]] void _fail() const;

  const std::string _path;
  int _file = -1;
  long long _size = 0;
};

}  // namespace msg_tarvel::tool
