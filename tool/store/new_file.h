#pragma once

#include <string>
#include <string_view>

namespace msg_tarvel::tool {

/**
 * A file that gets its name when it is whole and on the disk, and is gone otherwise. Until then it
 * lies beside that under a name of its own, and only this user may read it.
 */
class NewFile {
 public:
  /** `called` is what errors call it. Throws Failure when there cannot be such a file. */
  NewFile(std::string target, std::string called);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();

  /** Where it lies until it is finished. */
  const std::string& path() const { return _path; }
  int descriptor() const { return _descriptor; }

  /** Throws Failure with the file, and `why` it cannot be written. */
  [[noreturn]] void fail(const std::string& why) const;

  /** Throws Failure, also when another file has got the name. */
  void finish();
  /**
   * Takes the place of the file of that name. Behind a power cut it is one of the two, whole.
   * Throws Failure.
   */
  void replace();

 private:
  bool _create();
  void _rename(unsigned int flags);
  void _synchroniseFolder() const;

  const std::string _target;
  const std::string _called;
  std::string _path;
  int _descriptor = -1;
  bool _hasName = false;
};

}  // namespace msg_tarvel::tool
