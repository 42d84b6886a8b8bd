#include "store/media.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
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

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};

std::vector<std::string> staged_files(const std::string& directory) {
  std::vector<std::string> names = names_of(open(directory.c_str(), OPEN_DIRECTORY));
  const auto isOther = [](const std::string& name) { return !is_staged_file(name); };
  names.erase(std::remove_if(names.begin(), names.end(), isOther), names.end());
  return names;
}

}  // namespace

std::string media_directory() { return data_directory() + "media"; }

OpenDirectory::OpenDirectory(const std::string& path)
    : _directory(open(path.c_str(), OPEN_DIRECTORY)) {
  if (!_directory.isOpen()) throw Failure("cannot open " + path + ": " + std::strerror(errno));
}

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

std::vector<std::string> names_of(int directory) {
  std::vector<std::string> names;
  if (directory == -1) return names;
  const std::unique_ptr<DIR, DirectoryCloser> stream(fdopendir(directory));
  if (!stream) {
    close(directory);
    throw std::bad_alloc();
  }
  while (const dirent* const entry = readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  return names;
}

NamedFiles read_named_files() {
  NamedFiles named;
  const auto paths = helpers::compile(SELECT_NAMED_FILES, helpers::CANNOT_READ);
  while (helpers::next_row(*paths, helpers::CANNOT_READ)) named.add(paths->getText(0));
  return named;
}

bool is_staged_file(const std::string& name) { return name.rfind(STAGED_PREFIX, 0) == 0; }

std::string lasting_name(std::string name) {
  if (is_staged_file(name)) name[std::strlen(STAGED_PREFIX) - 1] = '_';
  return name;
}

std::string settled_name(const std::string& stagedName) {
  return stagedName.substr(std::strlen(STAGED_PREFIX));
}

bool settle_file(int directory, const std::string& stagedName) {
  return renameat2(directory, stagedName.c_str(), directory, settled_name(stagedName).c_str(),
                   RENAME_NOREPLACE) == 0;
}

void settle_left_files(const std::string& directory) {
  const std::vector<std::string> names = staged_files(directory);
  if (names.empty()) return;
  const NamedFiles named = read_named_files();
  const OpenDirectory opened(directory);
  for (const std::string& name : names) {
    if (named.contains(name)) continue;
    if (named.contains(settled_name(name))) {
      settle_file(opened.descriptor(), name);
    } else {
      unlinkat(opened.descriptor(), name.c_str(), 0);
    }
  }
}

}  // namespace msg_tarvel::tool
