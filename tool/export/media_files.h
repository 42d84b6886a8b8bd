#pragma once

#include <optional>
#include <set>
#include <string>

#include "store/media.h"

namespace msg_tarvel::tool {

/**
 * The name of the file that a row names, when it is one of the directory `media` itself. Neither
 * links nor files elsewhere are: a store may have been made by anybody.
 */
std::optional<std::string> name_in_media(const std::string& path, const std::string& media);

/** The bytes of such a file; none when it is missing or no plain file. Throws Failure. */
std::optional<std::string> read_media(const std::string& media, const std::string& name);

/** The bytes of the file that a row names; none for those that are not exported. */
inline std::optional<std::string> read_named_media(const std::string& path,
                                                   const std::string& media) {
  const auto name = name_in_media(path, media);
  return name ? read_media(media, *name) : std::nullopt;
}

/**
 * The directory into which an export writes files, be it renamed meanwhile. Unless they are kept,
 * those that it wrote go again with it, and the directory if it was not there before.
 */
class MediaTarget {
 public:
  /** Throws Failure, also for a link. */
  explicit MediaTarget(std::string path);
  MediaTarget(const MediaTarget&) = delete;
  MediaTarget& operator=(const MediaTarget&) = delete;
  ~MediaTarget();

  /** Writes a new file, once, that only this user may read. Throws Failure. */
  void write(const std::string& name, const std::string& bytes);
  void keep() { _isKept = true; }

 private:
  std::string _path;
  bool _isNew;
  OpenDirectory _directory;
  bool _isKept = false;
  std::set<std::string> _written;
};

}  // namespace msg_tarvel::tool
