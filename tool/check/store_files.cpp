#include "check/store_files.h"

#include <sys/stat.h>

#include "store/store_paths.h"

namespace msg_tarvel::tool {

namespace {

constexpr mode_t PERMISSION_BITS = 07777;
constexpr mode_t STORE_FILE_MODE = 0660;
constexpr mode_t OWNER_MAY_ALL = 0700;
constexpr mode_t GROUP_MAY_ALL = 0070;
constexpr mode_t OTHERS_MAY_WRITE = 0002;

}  // namespace

std::vector<StorePlace> places_of(const std::string& dataDirectory,
                                  const std::vector<std::string>& mediaFiles) {
  const std::string database = dataDirectory + DATABASE_FILE;
  const std::string media = dataDirectory + "media";
  std::vector<StorePlace> wanted = {{dataDirectory, true, false},
                                    {dataDirectory + DATABASE_DIRECTORY, true, false},
                                    {database},
                                    {database + JOURNAL_ENDING},
                                    {media, true}};
  for (const std::string& name : mediaFiles) {
    wanted.push_back({media + "/" + name, false, true, true});
  }

  std::vector<StorePlace> places;
  for (StorePlace& place : wanted) {
    struct stat status = {};
    // With its slash, the data directory may be a link of the user's.
    if (lstat(place.path.c_str(), &status) != 0) continue;
    if (place.isDirectory ? !S_ISDIR(status.st_mode) : !S_ISREG(status.st_mode)) continue;
    place.mode = status.st_mode & PERMISSION_BITS;
    place.owner = status.st_uid;
    place.group = status.st_gid;
    places.push_back(place);
  }
  return places;
}

mode_t wanted_mode(const StorePlace& place) {
  if (!place.isDirectory) return STORE_FILE_MODE;
  const mode_t wanted = (place.mode & ~OTHERS_MAY_WRITE) | OWNER_MAY_ALL;
  return place.isOfGroup ? wanted | GROUP_MAY_ALL : wanted;
}

std::string octal(mode_t mode) {
  std::string digits = "0000";
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, mode >>= 3) {
    *digit = static_cast<char>('0' + (mode & 7));
  }
  return digits;
}

}  // namespace msg_tarvel::tool
