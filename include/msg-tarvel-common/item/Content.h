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
 * The owner of the store writes the rows. db_get_contents fills the fields from the columns of the
 * same names; the look-ups of files being sent fill `msgId`, `status`, `filepath` and `filename`
 * alone. The library never opens the files that the paths name.
 *
 * A plain value; one object belongs to one thread at a time. Moving never copies the payload, and
 * no two objects share one. No operation on the payload throws.
 */
class MSG_TARVEL_EXPORT Content {
 public:
  Content();
  /**
   * Copies the payload too; when there is no memory for it, the copy has none. Throws
   * std::bad_alloc when there is none for a text.
   */
  Content(const Content& other);
  /** Leaves `other` equal to a default Content. */
  Content(Content&& other) noexcept;
  ~Content();
  /** Copies or moves, as the argument was given. */
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

  /** The message that it belongs to. */
  int32_t msgId = 0;
  /** Carried with the content; the library neither fills nor reads it. */
  int32_t reservedInt1 = 0;
  /** Carried with the content; the library neither fills nor reads it. */
  std::string reservedText1;
  /** The slide that shows the part; the queries do not sort by it. */
  int32_t slideIdx = 0;
  /** Whether the column is other than 0; what kind of attachment, the item does not keep. */
  bool attachType = false;
  /** There is a file at `filepath`. */
  bool hasFile = false;
  /** MIME type as stored. */
  std::string contentType;
  /** Kind of media, carried as stored; the tool writes 1 image, 2 audio, 3 video, 4 text, 5 other.
   */
  int32_t mediaType = 0;
  /** Carried as stored; the tool writes 1 where the data was damaged or missing, else 0. */
  int32_t status = 0;
  /** The text of a part that is one. */
  std::string textData;
  /** Where the part's file is. */
  std::string filepath;
  /** The file's name as a user sees it; not a path. */
  std::string filename;
  /** Where the file's thumbnail is. */
  std::string thumbpath;
  /** Carried with the content; the library neither fills nor reads it. */
  std::string reservedText2;
  /** Where the file is on the peer; carried as stored. */
  std::string peer_filepath;
  /** Where the peer has a copy of it; carried as stored. */
  std::string peer_copied_filepath;
  /** Carried with the content; no query fills it. */
  NmsContentMeta nmsContentMeta;
  /** Valid bytes at `rawData`, at most 1,048,576 after setRawData. */
  uint32_t rawDataSize = 0;
  /** The payload, set by setRawData and by no query; null when there is none. */
  std::unique_ptr<unsigned char[]> rawData;
  /** Carried with the content; the library neither fills nor reads it. */
  int32_t reservedInt2 = 0;
};

/** Exchanges all that the two hold. */
MSG_TARVEL_EXPORT void swap(Content& a, Content& b) noexcept;

}  // namespace msg_tarvel
