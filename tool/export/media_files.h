#pragma once

#include <optional>
#include <string>

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

/** Writes a new file that only this user may read. Throws Failure. */
void write_new_file(const std::string& path, const std::string& bytes);

}  // namespace msg_tarvel::tool
