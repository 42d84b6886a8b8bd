#pragma once

#include <string>

namespace msg_tarvel::tool {

// Values of msg_mms_content_table.mediaType.
constexpr int MEDIA_IMAGE = 1;
constexpr int MEDIA_AUDIO = 2;
constexpr int MEDIA_VIDEO = 3;
constexpr int MEDIA_TEXT = 4;
constexpr int MEDIA_OTHER = 5;

/** What a part's content type says. */
struct MediaType {
  /** In lower case and without parameters. */
  std::string name;
  int mediaType = MEDIA_OTHER;
  /** Of its files; "bin" for a type that is not known. */
  std::string extension;
  bool isKnown = false;

  bool isLayout() const { return name == "application/smil"; }
  bool isPlainText() const { return name == "text/plain"; }
};

MediaType media_type_of(const std::string& contentType);

/** Whether files of a known type have this one. */
bool is_known_extension(const std::string& extension);

}  // namespace msg_tarvel::tool
