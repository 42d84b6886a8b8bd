#include "import/media_type.h"

#include <algorithm>
#include <iterator>

namespace msg_tarvel::tool {

namespace {

struct KnownType {
  const char* name;
  const char* extension;
};

constexpr KnownType KNOWN_TYPES[] = {
    {"image/jpeg", "jpg"},       {"image/jpg", "jpg"},
    {"image/png", "png"},        {"image/gif", "gif"},
    {"image/bmp", "bmp"},        {"image/x-ms-bmp", "bmp"},
    {"image/webp", "webp"},      {"image/heic", "heic"},
    {"image/heif", "heif"},      {"image/vnd.wap.wbmp", "wbmp"},
    {"image/svg+xml", "svg"},    {"image/tiff", "tiff"},
    {"audio/amr", "amr"},        {"audio/amr-wb", "awb"},
    {"audio/mpeg", "mp3"},       {"audio/mp3", "mp3"},
    {"audio/mp4", "m4a"},        {"audio/x-m4a", "m4a"},
    {"audio/aac", "aac"},        {"audio/3gpp", "3gp"},
    {"audio/ogg", "ogg"},        {"audio/wav", "wav"},
    {"audio/x-wav", "wav"},      {"audio/midi", "mid"},
    {"audio/imelody", "imy"},    {"audio/flac", "flac"},
    {"video/mp4", "mp4"},        {"video/3gpp", "3gp"},
    {"video/3gpp2", "3g2"},      {"video/mpeg", "mpg"},
    {"video/webm", "webm"},      {"video/quicktime", "mov"},
    {"video/x-matroska", "mkv"}, {"text/plain", "txt"},
    {"text/html", "html"},       {"text/x-vcard", "vcf"},
    {"text/vcard", "vcf"},       {"text/x-vcalendar", "vcs"},
    {"text/calendar", "ics"},    {"text/csv", "csv"},
    {"application/pdf", "pdf"},  {"application/ogg", "ogg"},
    {"application/zip", "zip"},  {"application/smil", "smil"},
};

std::string name_of(const std::string& contentType) {
  std::string name;
  for (const char character : contentType.substr(0, contentType.find(';'))) {
    if (character == ' ' || character == '\t') continue;
    const bool isUpper = character >= 'A' && character <= 'Z';
    name += isUpper ? static_cast<char>(character - 'A' + 'a') : character;
  }
  return name;
}

int media_type_by_family(const std::string& name) {
  const std::string family = name.substr(0, name.find('/'));
  if (family == "image") return MEDIA_IMAGE;
  if (family == "audio" || name == "application/ogg") return MEDIA_AUDIO;
  if (family == "video") return MEDIA_VIDEO;
  return name == "text/plain" || name == "text/html" ? MEDIA_TEXT : MEDIA_OTHER;
}

}  // namespace

bool is_known_extension(const std::string& extension) {
  return std::any_of(std::begin(KNOWN_TYPES), std::end(KNOWN_TYPES),
                     [&extension](const KnownType& known) { return extension == known.extension; });
}

MediaType media_type_of(const std::string& contentType) {
  MediaType type;
  type.name = name_of(contentType);
  type.mediaType = media_type_by_family(type.name);
  type.extension = "bin";
  for (const KnownType& known : KNOWN_TYPES) {
    if (type.name != known.name) continue;
    type.extension = known.extension;
    type.isKnown = true;
  }
  return type;
}

}  // namespace msg_tarvel::tool
