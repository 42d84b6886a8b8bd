#include "store/store.h"

#include <app_common.h>
#include <msg-tarvel-common/db/db_error.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "exit_status.h"
#include "store/log_sink.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

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

std::string require_store() {
  std::string path = database_path();
  if (path.empty()) throw Failure("there is no place for a message store: HOME is not set");
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) {
    if (S_ISREG(status.st_mode)) return path;
    throw Failure("the message store " + path + " is not a file");
  }
  if (errno == ENOENT || errno == ENOTDIR) {
    throw Failure("no message store at " + path + "; make one with 'msg-tarvel create'");
  }
  throw Failure("cannot read the message store " + path + ": " + std::strerror(errno));
}

bool is_found(int result, const std::string& what) {
  if (result == db::DB_SUCCESS) return true;
  // Some queries take a failed step for the end of the rows.
  if (result == db::DB_NO_DATA && !has_database_error()) return false;
  fail_with_log(what);
}

}  // namespace msg_tarvel::tool
