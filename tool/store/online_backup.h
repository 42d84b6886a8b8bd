#pragma once

#include <string>

#include "store/new_file.h"

namespace msg_tarvel::tool {

/**
 * A new file for a backup, which only this user may read. It gets its name when it is whole, and is
 * gone otherwise.
 */
class NewBackup {
 public:
  /** Throws Failure when there cannot be such a file. */
  explicit NewBackup(const std::string& target);

  /**
   * Writes what the database `source` holds, in short steps, between which others write. Throws
   * Failure or Interrupted.
   */
  void write(const std::string& source);

 private:
  NewFile _file;
};

inline void back_up(const std::string& source, const std::string& target) {
  NewBackup(target).write(source);
}

}  // namespace msg_tarvel::tool
