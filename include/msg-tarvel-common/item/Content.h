#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "../export.h"
#include "NmsContentMeta.h"

namespace msg_tarvel {

/**
 * One part of a multimedia message or one transferred file: a row of msg_mms_content_table or
 * msg_ft_content_table, and, when the caller sets one, a payload in memory.
 *
 * A plain value; one object belongs to one thread at a time. Moving never copies the payload, and
 * no two objects share one. No operation on the payload throws.
 */
class MSG_TARVEL_EXPORT Content {
 public:
  Content();
  /** Copies the payload too; when it cannot be allocated, the copy has none. */
  Content(const Content& other);
  /** Leaves `other` equal to a default Content. */
  Content(Content&& other) noexcept;
  ~Content();
  Content& operator=(Content other);

  MSG_TARVEL_EXPORT friend void swap(Content& a, Content& b) noexcept;

  /** True exactly when there is a payload, which may be of zero length. */
  bool hasRawData() const;

  /**
   * Replaces the payload by a copy of `size` bytes at `newRawData`, which must not be this object's
   * own payload.
   *
   * Returns 0; -3 for a null pointer; -2 for more than 1,048,576 bytes (in both cases nothing
   * changes) or when memory runs out (the old payload is gone then).
   */
  int setRawData(const unsigned char* newRawData, unsigned int size);

  /**
   * Writes the payload to the file `path`, created or truncated. Returns 0, or -1 when there is no
   * payload or the file cannot be opened.
   */
  int createFile(const std::string& path);

  int32_t msgId = 0;
  int32_t reservedInt1 = 0;
  std::string reservedText1;
  int32_t slideIdx = 0;
  bool attachType = false;
  bool hasFile = false;
  /** MIME type as stored. */
  std::string contentType;
  int32_t mediaType = 0;
  int32_t status = 0;
  std::string textData;
  std::string filepath;
  std::string filename;
  std::string thumbpath;
  std::string reservedText2;
  std::string peer_filepath;
  std::string peer_copied_filepath;
  NmsContentMeta nmsContentMeta;
  /** Valid bytes at `rawData`. */
  uint32_t rawDataSize = 0;
  /** The payload; null when there is none. */
  std::unique_ptr<unsigned char[]> rawData;
  int32_t reservedInt2 = 0;
};

MSG_TARVEL_EXPORT void swap(Content& a, Content& b) noexcept;

}  // namespace msg_tarvel
