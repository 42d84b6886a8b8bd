#pragma once

#include <string>

namespace msg_tarvel::tool {

/**
 * A new directory below $TMPDIR or /tmp that only this user may enter, laid out like a data
 * directory: what lies in `dbspace` under the names of a store's database, its journal and its
 * write-ahead log is removed with it, also when a signal ends the program. One at a time.
 */
class PrivateDirectory {
 public:
  /** Throws Failure. */
  PrivateDirectory();
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;
  ~PrivateDirectory() { remove(); }

  /** Ends in "/". */
  const std::string& path() const { return _path; }
  std::string database() const;
  std::string journal() const;
  std::string log() const;

  /** Takes the names away now; whoever has a file open keeps it. */
  void remove();

 private:
  std::string _path;
};

/** Removes the one that is there, if any; for the handlers of signals. */
void remove_private_directory();

}  // namespace msg_tarvel::tool
