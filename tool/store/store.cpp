#include "store/store.h"

#include <app_common.h>
#include <msg-tarvel-common/db/db_error.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string_view>

#include "exit_status.h"
#include "helpers/store_maker.h"
#include "store/guarded_store.h"
#include "store/log_sink.h"
#include "store/media.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

const char* name_of(mode_t type) {
  switch (type & S_IFMT) {
    case S_IFDIR:
      return "a directory";
    case S_IFREG:
      return "a file";
    case S_IFLNK:
      return "a symbolic link";
    case S_IFIFO:
      return "a pipe";
    case S_IFSOCK:
      return "a socket";
    default:
      return "a device";
  }
}

/** Throws a Failure when `path` is there and not of this type, or not the store's. */
void require_own(const std::string& path, mode_t type) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) return;
  if ((status.st_mode & S_IFMT) != type) {
    throw Failure("cannot use the message store: " + path + " is " + name_of(status.st_mode) +
                  ", not " + name_of(type));
  }
  if (type == S_IFREG && status.st_nlink > 1) {
    throw Failure("cannot use the message store: " + path + " is a file elsewhere too (hard link)");
  }
  if (helpers::is_a_strangers(status, data_directory())) {
    throw Failure("cannot use the message store: " + path + helpers::IS_A_STRANGERS);
  }
}

/**
 * Throws a Failure when the journal of an unfinished commit names another file: whoever undoes the
 * commit deletes that file. No writer of a single database leaves such a journal.
 */
void require_lone_journal(const std::string& path) {
  constexpr std::string_view ENDING = "\xD9\xD5\x05\xF9\x20\xA1\x63\xD7";
  std::ifstream journal(path, std::ios::binary);
  const int first = journal.get();
  std::string end(ENDING.size(), '\0');
  journal.seekg(-static_cast<std::streamoff>(ENDING.size()), std::ios::end);
  if (first > 0 && journal.read(end.data(), static_cast<std::streamsize>(end.size())) &&
      end == ENDING) {
    throw Failure("cannot use the message store: " + path + " is a journal that names other files");
  }
}

}  // namespace

const std::string& data_directory() {
  static const std::string directory = [] {
    const std::unique_ptr<char, decltype(&std::free)> path(app_get_data_path(), &std::free);
    return std::string(path ? path.get() : "");
  }();
  return directory;
}

std::string database_path() {
  return data_directory().empty() ? "" : data_directory() + DATABASE_FILE;
}

std::string require_place() {
  std::string path = database_path();
  if (path.empty()) throw Failure("there is no place for a message store: HOME is not set");
  require_own(data_directory() + DATABASE_DIRECTORY, S_IFDIR);
  // SQLite, as root, gives what is beside the database, its log of other modes too, to its group.
  for (const char* const ending : {"", JOURNAL_ENDING, LOG_ENDING, LOG_INDEX_ENDING}) {
    require_own(path + ending, S_IFREG);
  }
  require_own(media_directory(), S_IFDIR);
  require_lone_journal(path + JOURNAL_ENDING);
  guard_store();
  return path;
}

std::string require_store() {
  std::string path = require_place();
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0) return path;
  if (errno == ENOENT || errno == ENOTDIR) {
    throw Failure("no message store at " + path + "; make one with 'msg-tarvel create'");
  }
  throw Failure("cannot read the message store " + path + ": " + std::strerror(errno));
}

std::string naming_store(const std::string& what) {
  constexpr std::string_view UNNAMED = "the message store";
  const bool isUnnamed = what.size() >= UNNAMED.size() &&
                         what.compare(what.size() - UNNAMED.size(), UNNAMED.size(), UNNAMED) == 0;
  return isUnnamed ? what + " " + database_path() : what;
}

bool is_found(int result, const std::string& what) {
  if (result == db::DB_SUCCESS) return true;
  // Some queries take a failed step for the end of the rows.
  if (result == db::DB_NO_DATA && !has_database_error()) return false;
  fail_with_log(naming_store(what));
}

}  // namespace msg_tarvel::tool
