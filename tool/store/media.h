#pragma once

// The directory in which imports keep the files of contents.

#include <sys/types.h>

#include <string>
#include <unordered_set>
#include <vector>

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
  OpenDirectory(const OpenDirectory&) = delete;
  OpenDirectory& operator=(const OpenDirectory&) = delete;
  ~OpenDirectory();

  int descriptor() const { return _descriptor; }

 private:
  int _descriptor;
};

/**
 * Makes the media directory `path` for the processes of the store's group, each of which may add
 * files; false when it is there. One of the caller's is opened to them.
 */
bool make_media_directory(const std::string& path);

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

/** How the names of files begin that an import has not decided on yet. */
constexpr const char* STAGED_PREFIX = "incoming-";

/** Whether the file has a name as imports give them. */
bool is_import_file(const std::string& name);

/** Whether an import has not decided on the file yet. */
bool is_staged_file(const std::string& name);

/** The names of the files in `directory` that have names as imports give them, in order. */
std::vector<std::string> files_of_imports(const std::string& directory);

/**
 * Removes the files that an import left when it was killed: those of imports that no row of the
 * store names; returns their names. Within a transaction of the caller's, so that no other import
 * is under way.
 */
std::vector<std::string> remove_left_files(const std::string& directory);

}  // namespace msg_tarvel::tool
