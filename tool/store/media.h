#pragma once

// The directory in which imports keep the files of contents.

#include <sys/types.h>

#include <string>
#include <unordered_set>
#include <vector>

#include "store/descriptor.h"

namespace msg_tarvel::tool {

/** Whose processes share a store. */
constexpr gid_t STORE_GROUP = 5000;

/** Absolute and without a slash at the end. */
std::string media_directory();

/** A directory that is held open: what is done in it is done there, whatever gets its name. */
class OpenDirectory {
 public:
  /** Throws Failure unless `path` is a directory itself, not a link to one. */
  explicit OpenDirectory(const std::string& path);

  int descriptor() const { return _directory.number(); }

 private:
  Descriptor _directory;
};

/**
 * Makes the media directory `path` for the processes of the store's group, each of which may add
 * files; false when it is there. One of the caller's is opened to them.
 */
bool make_media_directory(const std::string& path);

/** What is in a directory that is open, and is closed here; nothing for none (-1). */
std::vector<std::string> names_of(int directory);

/** Every path that a row of the store names. */
constexpr const char* SELECT_NAMED_FILES =
    "SELECT filepath FROM msg_mms_content_table WHERE filepath <> '' UNION ALL "
    "SELECT thumbpath FROM msg_mms_content_table WHERE thumbpath <> '' UNION ALL "
    "SELECT peer_filepath FROM msg_mms_content_table WHERE peer_filepath <> '' UNION ALL "
    "SELECT peer_copied_filepath FROM msg_mms_content_table WHERE peer_copied_filepath <> '' "
    "UNION ALL SELECT filepath FROM msg_ft_content_table WHERE filepath <> '';";

/**
 * The names in paths, without their directories: rows name files by the path that the store had
 * when they were written.
 */
class NamedFiles {
 public:
  void add(const std::string& path) { _names.insert(path.substr(path.rfind('/') + 1)); }
  bool contains(const std::string& name) const { return _names.count(name) > 0; }

 private:
  std::unordered_set<std::string> _names;
};

/** What the rows of the store name now. Throws StoreError. */
NamedFiles read_named_files();

/**
 * What stands before a file's name until the rows that name it are committed. So a file that an
 * import left when it was killed is known for one, whatever has become of the rows. No import gives
 * a file a lasting name that begins so; others may, and then a row names the file as it is.
 */
constexpr const char* STAGED_PREFIX = "incoming-";

bool is_staged_file(const std::string& name);

/** The name itself, or one that looks like it and not like a staged file's. */
std::string lasting_name(std::string name);

/** The name that a staged file gets. */
std::string settled_name(const std::string& stagedName);

/** Gives the file its name, in the directory of that descriptor; false when that is not possible.
 */
bool settle_file(int directory, const std::string& stagedName);

/**
 * Settles the files that an import left when it was killed: those that a row names get that name,
 * the others are removed. A file that a row names as it is stays. Within a transaction of the
 * caller's, so that no import is under way.
 */
void settle_left_files(const std::string& directory);

}  // namespace msg_tarvel::tool
