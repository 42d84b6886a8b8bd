#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "store/descriptor.h"
#include "store/media.h"

namespace msg_tarvel::tool {

/**
 * The name of the file that a row names, when it is one of the directory `media` itself. Neither
 * links nor files elsewhere are: a store may have been made by anybody.
 */
std::optional<std::string> name_in_media(const std::string& path, const std::string& media);

constexpr const char* FILES_ELSEWHERE = "files that are missing or not in the store's media";
constexpr const char* FILES_TOO_LARGE = "files of more than 100 MB";

/** In bytes. Nobody sends a longer one. */
constexpr long long LARGEST_MEDIA = 100'000'000;

/** A file of the store's media, read piece by piece: it may not fit into memory. */
class MediaFile {
 public:
  MediaFile(const std::string& media, const std::string& name);

  /** Whether it is there, and a plain file. */
  bool isPlain() const;
  bool isTooLarge() const;

  /** The next bytes; none at the end. Throws Failure. */
  std::string_view next();

 private:
  std::string _path;
  Descriptor _file;
  long long _left = LARGEST_MEDIA;
  std::vector<char> _piece;
};

/** Why the file that a row names is left out; null for one that is exported. */
const char* why_left_out(const std::string& path, const std::string& media);

/** Hands the file's bytes to `take`, in base64 and piece by piece. Throws Failure. */
void encode_media(MediaFile& file, const std::function<void(std::string_view)>& take);

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
  void write(const std::string& name, MediaFile& from);
  void keep() { _isKept = true; }

 private:
  std::string _path;
  bool _isNew;
  OpenDirectory _directory;
  bool _isKept = false;
  std::set<std::string> _written;
};

}  // namespace msg_tarvel::tool
