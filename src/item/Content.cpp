#include "msg-tarvel-common/item/Content.h"

#include <cstring>
#include <new>
#include <utility>

#include "log.h"
#include "utility/common_util_funcs_internal.h"

namespace msg_tarvel {

namespace {

constexpr unsigned int RAW_DATA_MAX_SIZE = 0x100000;

constexpr int RAW_DATA_ERR_NO_MEMORY_OR_TOO_LARGE = -2;
constexpr int RAW_DATA_ERR_NULL = -3;

}  // namespace

Content::Content() = default;

// A source without a buffer gives a copy without one, whatever its rawDataSize says, and so does a
// buffer of zero length.
Content::Content(const Content& other)
    : msgId(other.msgId),
      reservedInt1(other.reservedInt1),
      reservedText1(other.reservedText1),
      slideIdx(other.slideIdx),
      attachType(other.attachType),
      hasFile(other.hasFile),
      contentType(other.contentType),
      mediaType(other.mediaType),
      status(other.status),
      textData(other.textData),
      filepath(other.filepath),
      filename(other.filename),
      thumbpath(other.thumbpath),
      reservedText2(other.reservedText2),
      peer_filepath(other.peer_filepath),
      peer_copied_filepath(other.peer_copied_filepath),
      nmsContentMeta(other.nmsContentMeta),
      reservedInt2(other.reservedInt2) {
  if (!other.rawData || other.rawDataSize == 0) return;

  rawData.reset(new (std::nothrow) unsigned char[other.rawDataSize]);
  if (!rawData) {
    MSG_TARVEL_ERROR("Failed to allocate memory!");
    return;
  }
  std::memcpy(rawData.get(), other.rawData.get(), other.rawDataSize);
  rawDataSize = other.rawDataSize;
}

Content::Content(Content&& other) noexcept : Content() { swap(*this, other); }

Content::~Content() = default;

Content& Content::operator=(Content other) {
  swap(*this, other);
  return *this;
}

bool Content::hasRawData() const { return rawData != nullptr; }

int Content::setRawData(const unsigned char* newRawData, unsigned int size) {
  if (!newRawData) {
    MSG_TARVEL_ERROR("rawData is NULL");
    return RAW_DATA_ERR_NULL;
  }
  if (size > RAW_DATA_MAX_SIZE) {
    MSG_TARVEL_ERROR("Too large data! size is %d MB", static_cast<int>(size >> 20));
    return RAW_DATA_ERR_NO_MEMORY_OR_TOO_LARGE;
  }

  // The old buffer goes first, so that both are never in memory together.
  if (rawData) {
    rawData.reset();
    rawDataSize = 0;
  }
  rawData.reset(new (std::nothrow) unsigned char[size]());
  if (!rawData) {
    MSG_TARVEL_ERROR("Failed to allocate memory!");
    return RAW_DATA_ERR_NO_MEMORY_OR_TOO_LARGE;
  }
  std::memmove(rawData.get(), newRawData, size);
  rawDataSize = size;
  return 0;
}

int Content::createFile(const std::string& path) {
  if (!rawData) return -1;
  // create_file_by_rawdata refuses a size of 0; a payload of zero length makes an empty file.
  const bool written = common_util::_write_file(
      path.c_str(), reinterpret_cast<const char*>(rawData.get()), rawDataSize);
  return written ? 0 : -1;
}

void swap(Content& a, Content& b) noexcept {
  using std::swap;
  swap(a.msgId, b.msgId);
  swap(a.reservedInt1, b.reservedInt1);
  swap(a.reservedText1, b.reservedText1);
  swap(a.slideIdx, b.slideIdx);
  swap(a.attachType, b.attachType);
  swap(a.hasFile, b.hasFile);
  swap(a.contentType, b.contentType);
  swap(a.mediaType, b.mediaType);
  swap(a.status, b.status);
  swap(a.textData, b.textData);
  swap(a.filepath, b.filepath);
  swap(a.filename, b.filename);
  swap(a.thumbpath, b.thumbpath);
  swap(a.reservedText2, b.reservedText2);
  swap(a.peer_filepath, b.peer_filepath);
  swap(a.peer_copied_filepath, b.peer_copied_filepath);
  swap(a.nmsContentMeta, b.nmsContentMeta);
  swap(a.rawDataSize, b.rawDataSize);
  swap(a.rawData, b.rawData);
  swap(a.reservedInt2, b.reservedInt2);
}

}  // namespace msg_tarvel
