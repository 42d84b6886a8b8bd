#include "store/media.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "exit_status.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

constexpr mode_t MEDIA_MODE = 0770;
constexpr mode_t GROUP_MAY_ADD_FILES = 0070;

constexpr int OPEN_DIRECTORY = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/** Removes the digits at the beginning of a text; false for none. */
bool skip_digits(std::string_view& text) {
  const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
  text.remove_prefix(count);
  return count > 0;
}

bool skip(std::string_view& text, char character) {
  if (text.empty() || text.front() != character) return false;
  text.remove_prefix(1);
  return true;
}

/** <message>-<part>.<extension>, or with another "-<number>" before the point. */
bool is_kept_file(std::string_view name) {
  if (!skip_digits(name) || !skip(name, '-') || !skip_digits(name)) return false;
  if (skip(name, '-') && !skip_digits(name)) return false;
  return skip(name, '.') && !name.empty();
}

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};

}  // namespace

std::string media_directory() { return data_directory() + "media"; }

OpenDirectory::OpenDirectory(const std::string& path)
    : _descriptor(open(path.c_str(), OPEN_DIRECTORY)) {
  if (_descriptor == -1) throw Failure("cannot open " + path + ": " + std::strerror(errno));
}

OpenDirectory::~OpenDirectory() { close(_descriptor); }

bool make_media_directory(const std::string& path) {
  const bool isMade = mkdir(path.c_str(), MEDIA_MODE) == 0;
  if (!isMade && errno != EEXIST) {
    throw Failure("cannot make " + path + ": " + std::strerror(errno));
  }
  const OpenDirectory directory(path);
  struct stat status = {};
  if (fstat(directory.descriptor(), &status) != 0 || status.st_uid != geteuid()) return isMade;
  // A user who may not give it to the group still gets it.
  if (status.st_gid != STORE_GROUP) {
    static_cast<void>(fchown(directory.descriptor(), status.st_uid, STORE_GROUP) == 0);
  }
  const mode_t mode = isMade ? MEDIA_MODE : status.st_mode | GROUP_MAY_ADD_FILES;
  static_cast<void>(fchmod(directory.descriptor(), mode) == 0);
  return isMade;
}

NamedFiles read_named_files() {
  NamedFiles named;
  const auto paths = helpers::compile(SELECT_NAMED_FILES, helpers::CANNOT_READ);
  while (helpers::next_row(*paths, helpers::CANNOT_READ)) named.add(paths->getText(0));
  return named;
}

bool is_staged_file(const std::string& name) { return name.rfind(STAGED_PREFIX, 0) == 0; }

bool is_import_file(const std::string& name) { return is_staged_file(name) || is_kept_file(name); }

std::vector<std::string> files_of_imports(const std::string& directory) {
  std::vector<std::string> names;
  const int descriptor = open(directory.c_str(), OPEN_DIRECTORY);
  if (descriptor == -1) return names;
  const std::unique_ptr<DIR, DirectoryCloser> stream(fdopendir(descriptor));
  while (const dirent* const entry = readdir(stream.get())) {
    std::string name = entry->d_name;
    if (is_import_file(name)) names.push_back(std::move(name));
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> remove_left_files(const std::string& directory) {
  std::vector<std::string> names = files_of_imports(directory);
  if (names.empty()) return names;
  const NamedFiles named = read_named_files();
  const OpenDirectory opened(directory);
  const auto stays = [&](const std::string& name) {
    return named.contains(name) || unlinkat(opened.descriptor(), name.c_str(), 0) != 0;
  };
  names.erase(std::remove_if(names.begin(), names.end(), stays), names.end());
  return names;
}

}  // namespace msg_tarvel::tool
