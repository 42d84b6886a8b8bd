#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace msg_tarvel::tool {

/** A file or directory of a store. */
struct StorePlace {
  std::string path;
  bool isDirectory = false;
  /** Whether it is for the store's group, as all is but the directories that others may enter. */
  bool isOfGroup = true;
  bool isFileInMedia = false;
  mode_t mode = 0;
  uid_t owner = 0;
  gid_t group = 0;
};

/** What there is of a store, links left out; `mediaFiles` are names. */
std::vector<StorePlace> places_of(const std::string& dataDirectory,
                                  const std::vector<std::string>& mediaFiles);

/** The mode that a place should have: its own, if that will do. */
mode_t wanted_mode(const StorePlace& place);

/** As chmod takes it: "0644". */
std::string octal(mode_t mode);

}  // namespace msg_tarvel::tool
