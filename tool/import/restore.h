#pragma once

#include <string>

namespace msg_tarvel::tool {

/** Whether `path` begins as the lines of an export do; other files are backups of phones. */
bool is_export(const std::string& path);

struct RestoreOptions {
  /** Where files lie that the lines name but do not hold. */
  std::string media;
  /** Otherwise a store that lacks indexes of the library gets them. */
  bool withoutIndexes = false;
};

struct RestoredStore {
  long messages = 0;
  long conversations = 0;
  long files = 0;
};

/**
 * Reads an export back into a store without messages, which then is the one that was exported: the
 * same rows with the same ids, and its files. All of it or, when anything throws (Failure,
 * Interrupted), nothing. Memory does not grow beyond the longest line and the names of files.
 */
RestoredStore restore_export(const std::string& path, const RestoreOptions& options);

}  // namespace msg_tarvel::tool
