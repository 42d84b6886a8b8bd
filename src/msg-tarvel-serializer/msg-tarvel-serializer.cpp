// The wire format of messages:
//
//   message           = head(84, 3) list(address) list(content) optional(metadata)
//   address           = head(20, 1)
//   content           = head(56, 6) optional(content-metadata)
//   metadata          = head(56, 4)
//   content-metadata  = head(24, 3)
//
//   head(I, N)        = byte I, image of I bytes, byte N, N strings
//   list(element)     = byte: number of elements modulo 256, every element
//   optional(element) = byte 0 | byte 1, element
//   string            = length L in 4 bytes, L bytes of text
//
// Integers are little-endian and stand at any byte. record_shape.h has the slots of each image.

#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "log.h"
#include "msg-tarvel-serializer/msg-tarvel-serializer_internal.h"
#include "msg-tarvel-serializer/new_record.h"
#include "msg-tarvel-serializer/record_shape.h"
#include "msg-tarvel-serializer/senders_text.h"

namespace {

using msg_tarvel::log::CallSite;
using msg_tarvel::wire::FIXED_SIZE;
using msg_tarvel::wire::LENGTH_SIZE;
using msg_tarvel::wire::moved_to_senders_text_place;
using msg_tarvel::wire::new_content_metadata;
using msg_tarvel::wire::new_record;
using msg_tarvel::wire::Shape;
using msg_tarvel::wire::SLOT_SIZE;
using msg_tarvel::wire::STRING_COUNT;

constexpr int STRING_SIZE_WITHOUT_REPORT = 1048574;

/** A message's two counts and presence byte. */
constexpr std::size_t MESSAGE_EXTRA_SIZE = 3;

/** Texts may be shared, so a message can be larger than memory: the sum has room for that. */
using Size = std::uint64_t;

/**
 * The lengths of the texts in the order of the format: taken when a message is measured, used when
 * it is written. Of a message with very many texts the last ones are taken again; so are all of a
 * block that was not measured.
 */
// Only lengths that were taken are looked at, so the room for them starts as it is.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
class Lengths {
 public:
  std::size_t take(const char* text) {
    const std::size_t length = length_of(text);
    // One that does not fit makes the message too large to be written.
    if (_taken < ROOM) _kept[_taken++] = static_cast<std::uint32_t>(length);
    return length;
  }

  std::size_t next(const char* text) {
    if (_used >= _taken) return length_of(text);
    const std::size_t length = _kept[_used++];
    return text ? length : 0;
  }

 private:
  /** Two KiB of stack: the texts of 255 addresses, or of 56 contents with metadata. */
  static constexpr std::size_t ROOM = 512;

  static std::size_t length_of(const char* text) { return text ? std::strlen(text) : 0; }

  std::size_t _taken = 0;
  std::size_t _used = 0;
  std::uint32_t _kept[ROOM];
};

template <typename Record>
Size size_with_strings(const Record& item, Lengths& lengths) {
  Size size = FIXED_SIZE<Record>;
  for (const auto string : Shape<Record>::STRINGS) size += lengths.take(item.*string);
  return size;
}

Size size_of(const msg_address_item_t& item, Lengths& lengths) {
  return size_with_strings(item, lengths);
}
Size size_of(const msg_nms_msg_meta_data_t& item, Lengths& lengths) {
  return size_with_strings(item, lengths);
}
Size size_of(const msg_nms_content_meta_data_t& item, Lengths& lengths) {
  return size_with_strings(item, lengths);
}
Size size_of(const msg_content_item_t& item, Lengths& lengths) {
  const Size size = size_with_strings(item, lengths) + 1;
  return item.nmsContentMetaData ? size + size_of(*item.nmsContentMetaData, lengths) : size;
}

/** Writes blocks one behind the other, whose texts have these lengths. */
class Writer {
 public:
  Writer(char* begin, Lengths& lengths) : _begin(begin), _at(begin), _lengths(lengths) {}

  std::size_t written() const { return static_cast<std::size_t>(_at - _begin); }

  char& byte(std::size_t value) {
    *_at = static_cast<char>(value);
    return *_at++;
  }

  void string(const char* text) {
    const auto length = static_cast<std::uint32_t>(_lengths.next(text));
    std::memcpy(_at, &length, LENGTH_SIZE);
    _at += LENGTH_SIZE;
    if (length == 0) return;
    std::memcpy(_at, text, length);
    _at += length;
  }

  /** Marker, image and strings of any record. */
  template <typename Record>
  void head(const Record& item) {
    byte(Shape<Record>::IMAGE_SIZE);
    Shape<Record>::slots(item, [this](const auto& slot) { this->slot(slot); });
    byte(STRING_COUNT<Record>);
    for (const auto member : Shape<Record>::STRINGS) string(item.*member);
  }

  void block(const msg_address_item_t& item) { head(item); }
  void block(const msg_nms_msg_meta_data_t& item) { head(item); }
  void block(const msg_nms_content_meta_data_t& item) { head(item); }
  void block(const msg_content_item_t& item) {
    head(item);
    optional(item.nmsContentMetaData);
  }

  template <typename Record>
  void optional(const Record* item) {
    byte(item ? 1 : 0);
    if (item) block(*item);
  }

 private:
  void slot(const std::int32_t& value) {
    std::memcpy(_at, &value, SLOT_SIZE);
    _at += SLOT_SIZE;
  }
  template <std::size_t Count>
  void slot(const std::int32_t (&values)[Count]) {
    std::memcpy(_at, values, SLOT_SIZE * Count);
    _at += SLOT_SIZE * Count;
  }
  /** Of a pointer the low 32 bits: the receiver has no use for it but to find the slot filled. */
  template <typename Pointee>
  void slot(Pointee* const& pointer) {
    const auto value = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(pointer));
    std::memcpy(_at, &value, SLOT_SIZE);
    _at += SLOT_SIZE;
  }

  char* _begin;
  char* _at;
  Lengths& _lengths;
};

/** Adds the block sizes of a list to `size`; false when an element is null. */
template <typename Record>
bool add_list_size(const GSList* list, Size& size, Lengths& lengths, CallSite site) {
  for (const GSList* node = list; node; node = node->next) {
    if (!node->data) {
      MSG_TARVEL_ERROR_AT(site, "tmp_item is NULL");
      return false;
    }
    size += size_of(*static_cast<const Record*>(node->data), lengths);
  }
  return true;
}

/** Writes a list: its length modulo 256 and every element. False when an element is null. */
template <typename Record>
bool write_list(Writer& writer, const GSList* list, CallSite site) {
  char& count = writer.byte(0);
  std::size_t elements = 0;
  for (const GSList* node = list; node; node = node->next, ++elements) {
    if (!node->data) {
      MSG_TARVEL_ERROR_AT(site, "tmp_item is NULL");
      return false;
    }
    writer.block(*static_cast<const Record*>(node->data));
  }
  count = static_cast<char>(elements);
  return true;
}

/** A buffer to be written whole; null, and a line in the log, when there is no memory for it. */
char* allocate_buffer(Size size, CallSite site) {
  char* buffer = nullptr;
  // The interface tells sizes as int.
  if (size > INT_MAX) {
    errno = ENOMEM;
  } else {
    buffer = static_cast<char*>(std::malloc(static_cast<std::size_t>(size)));
  }
  if (!buffer) {
    MSG_TARVEL_ERROR_AT(site, "calloc is failed!! buff_size:(%d)(%s)", static_cast<int>(size),
                        std::strerror(errno));
  }
  return buffer;
}

/** Reports when records changed while they were written; what they then leave unwritten is zero. */
void end_buffer(char* buffer, Size size, std::size_t written, CallSite site) {
  if (written == size) return;
  MSG_TARVEL_INFO_AT(site, "size is different. buff_size:%d, offset:%d", static_cast<int>(size),
                     static_cast<int>(written));
  if (written < size) std::memset(buffer + written, 0, static_cast<std::size_t>(size) - written);
}

/** The size of the buffer now in `*out`; 0 on failure, with whatever `*out` then holds. */
int serialize_message(const msg_message_item_t& item, char** out, CallSite site) {
  Lengths lengths;
  Size size = size_with_strings(item, lengths) + MESSAGE_EXTRA_SIZE;
  if (!add_list_size<msg_address_item_t>(item.addressList, size, lengths, site)) return 0;
  if (!add_list_size<msg_content_item_t>(item.contentList, size, lengths, site)) return 0;
  if (item.nmsMsgMetaData) size += size_of(*item.nmsMsgMetaData, lengths);

  *out = allocate_buffer(size, site);
  if (!*out) return 0;

  Writer writer(*out, lengths);
  writer.head(item);
  if (!write_list<msg_address_item_t>(writer, item.addressList, site)) return 0;
  if (!write_list<msg_content_item_t>(writer, item.contentList, site)) return 0;
  writer.optional(item.nmsMsgMetaData);
  end_buffer(*out, size, writer.written(), site);
  return static_cast<int>(size);
}

/** Writes one block at `buf`. */
template <typename Record>
int serialize_block(const Record* item, char* buf) {
  if (!item || !buf) return 0;
  Lengths lengths;
  Writer writer(buf, lengths);
  writer.block(*item);
  return static_cast<int>(writer.written());
}

template <typename Record>
int calculate_block(const Record* item) {
  Lengths lengths;
  return item ? static_cast<int>(size_of(*item, lengths)) : 0;
}

unsigned char byte_at(const char* buf) { return static_cast<unsigned char>(*buf); }

/** Copies the image at `at` over the record, slot by slot. */
class ImageReader {
 public:
  explicit ImageReader(const char* at) : _at(at) {}

  void operator()(std::int32_t& value) { read(&value, SLOT_SIZE); }
  template <std::size_t Count>
  void operator()(std::int32_t (&values)[Count]) {
    read(values, SLOT_SIZE * Count);
  }
  /** The sender's pointer, widened; the caller replaces it. */
  template <typename Pointee>
  void operator()(Pointee*& pointer) {
    std::uint32_t value = 0;
    read(&value, SLOT_SIZE);
    // The format has numbers where this record has pointers.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    pointer = reinterpret_cast<Pointee*>(static_cast<std::uintptr_t>(value));
  }

 private:
  void read(void* target, std::size_t size) {
    std::memcpy(target, _at, size);
    _at += size;
  }

  const char* _at;
};

// What follows reads at `at` and returns where it stopped. The lengths in a damaged buffer may lead
// anywhere, back too.

/** Reads marker, image and strings of any record. */
template <typename Record>
const char* read_head(const char* at, Record& item, CallSite site) {
  if (byte_at(at) == 0) MSG_TARVEL_INFO_AT(site, "Check struct size!!!");
  ++at;
  Shape<Record>::slots(item, ImageReader(at));
  at += Shape<Record>::IMAGE_SIZE;
  for (const auto member : Shape<Record>::STRINGS) item.*member = nullptr;

  const std::size_t count = byte_at(at++);
  for (std::size_t i = 0; i < count; ++i) {
    char** const slot = i < STRING_COUNT<Record> ? &(item.*Shape<Record>::STRINGS[i]) : nullptr;
    at += __deserialize_string(at, slot);
  }
  return at;
}

/**
 * The same for content metadata, whose text2 keeps the sender's pointer until a string takes its
 * place. `isSenders` tells that it still does.
 */
const char* read_content_metadata(const char* at, msg_nms_content_meta_data_t& item,
                                  bool& isSenders, CallSite site) {
  msg_nms_content_meta_data_t image;
  Shape<msg_nms_content_meta_data_t>::slots(image, ImageReader(at + 1));
  at = read_head(at, item, site);
  isSenders = !item.text2 && image.text2;
  if (isSenders) item.text2 = image.text2;
  return at;
}

/**
 * Reads a presence byte and, behind it, a record of its own into `*item`, with which a message
 * ends. Without memory for the record, `*item` is null and its block is not read.
 */
template <typename Record>
void read_last_optional(const char* at, Record** item, int (*readBlock)(const char*, Record*)) {
  *item = byte_at(at) == 0 ? nullptr : new_record<Record>();
  readBlock(at + 1, *item);
}

/**
 * The same for the metadata of a content, which is put where its text2 asks for; what follows the
 * presence byte of one that cannot be had is not passed over.
 */
const char* read_optional_metadata(const char* at, msg_nms_content_meta_data_t** item) {
  *item = nullptr;
  if (byte_at(at++) == 0) return at;
  *item = new_content_metadata();
  if (!*item) return at;

  bool isSenders = false;
  const CallSite site =
      CallSite::here(__builtin_FILE(), "__deserialize_nms_content_meta_data_item");
  at = read_content_metadata(at, **item, isSenders, site);
  if (isSenders) *item = moved_to_senders_text_place(*item);
  return at;
}

// Whether there was no memory for a record of a list, or for its metadata. What was read of it ends
// at `end`.

bool is_missing(const msg_address_item_t* item, const char* /*end*/) { return !item; }

bool is_missing(const msg_content_item_t* item, const char* end) {
  const auto isPresent = [end] { return byte_at(end - 1) != 0; };
  return !item || (!item->nmsContentMetaData && isPresent());
}

/**
 * Reads a count and that many records into a new list. Without memory for a record its entry is
 * null and its block is not passed over: what follows would be read from the wrong place. False
 * when `message`, in which the list stands, is well-formed, so that who checked it may rely on
 * nothing beyond its end being read: then the list ends there, and reading has to end too.
 */
template <typename Record>
bool read_list(const char*& at, GSList** list, int (*readBlock)(const char*, Record*),
               const char* message) {
  *list = nullptr;
  GSList* last = nullptr;
  for (std::size_t left = byte_at(at++); left > 0; --left) {
    auto* const item = new_record<Record>();
    at += readBlock(at, item);
    // Appending to the last node finds the end at once.
    GSList* const appended = g_slist_append(last, item);
    last = last ? last->next : (*list = appended);
    if (is_missing(item, at) && msg_check_message(message, INT_MAX) != 0) return false;
  }
  return true;
}

int bytes_between(const char* begin, const char* end) { return static_cast<int>(end - begin); }

}  // namespace

int __serialize_string(const char* text, char* buf) {
  if (!buf) return 0;
  Lengths lengths;
  Writer writer(buf, lengths);
  writer.string(text);
  return static_cast<int>(writer.written());
}

int __calculate_msg_address_item(const msg_address_item_t* item) { return calculate_block(item); }

int __calculate_msg_content_item(const msg_content_item_t* item) { return calculate_block(item); }

int __calculate_nms_msg_meta_data_item(const msg_nms_msg_meta_data_t* item) {
  return calculate_block(item);
}

int __calculate_nms_content_meta_data_item(const msg_nms_content_meta_data_t* item) {
  return calculate_block(item);
}

int __serialize_msg_address_item(const msg_address_item_t* item, char* buf) {
  return serialize_block(item, buf);
}

int __serialize_msg_content_item(const msg_content_item_t* item, char* buf) {
  return serialize_block(item, buf);
}

int __serialize_nms_msg_meta_data_item(const msg_nms_msg_meta_data_t* item, char* buf) {
  return serialize_block(item, buf);
}

int __serialize_nms_content_meta_data_item(const msg_nms_content_meta_data_t* item, char* buf) {
  return serialize_block(item, buf);
}

int __deserialize_string(const char* buf, char** text) {
  if (!buf) return 0;
  std::uint32_t length = 0;
  std::memcpy(&length, buf, LENGTH_SIZE);
  const auto consumed = static_cast<int>(LENGTH_SIZE + length);
  if (length == 0 || !text) return consumed;

  const std::size_t size = length;
  if (static_cast<std::int32_t>(length) > STRING_SIZE_WITHOUT_REPORT) {
    // Only reported: the text is read all the same.
    MSG_TARVEL_ERROR("Too big to alloc memory (%d MB)!!", static_cast<int>((size + 1) >> 20));
  }
  auto* const copy = static_cast<char*>(std::malloc(size + 1));
  if (!copy) return consumed;
  std::memcpy(copy, buf + LENGTH_SIZE, size);
  copy[size] = '\0';
  *text = copy;
  return consumed;
}

int __deserialize_msg_address_item(const char* buf, msg_address_item_t* item) {
  if (!buf || !item) return 0;
  return bytes_between(buf, read_head(buf, *item, CallSite::here()));
}

int __deserialize_nms_msg_meta_data_item(const char* buf, msg_nms_msg_meta_data_t* item) {
  if (!buf || !item) return 0;
  return bytes_between(buf, read_head(buf, *item, CallSite::here()));
}

int __deserialize_nms_content_meta_data_item(const char* buf, msg_nms_content_meta_data_t* item) {
  if (!buf || !item) return 0;
  bool isSenders = false;
  return bytes_between(buf, read_content_metadata(buf, *item, isSenders, CallSite::here()));
}

int __deserialize_msg_content_item(const char* buf, msg_content_item_t* item) {
  if (!buf || !item) return 0;
  const char* const at = read_head(buf, *item, CallSite::here());
  return bytes_between(buf, read_optional_metadata(at, &item->nmsContentMetaData));
}

int msg_serialize_message(const msg_message_item_t* item, char** out) {
  if (!item || !out) return 0;
  const int size = serialize_message(*item, out, CallSite::here());
  if (size == 0) {
    MSG_TARVEL_ERROR("msg_serialize_msg_message_item is failed");
    // Also when nothing was allocated yet: what the caller handed in is given up. Without memory
    // `*out` is null by now, and what it held is the caller's.
    std::free(*out);
    *out = nullptr;
  }
  return size;
}

int msg_serialize_nms_msg_meta(const msg_nms_msg_meta_data_t* meta, char** out) {
  if (!meta || !out) return 0;
  Lengths lengths;
  const Size size = size_of(*meta, lengths);
  *out = allocate_buffer(size, CallSite::here());
  if (!*out) {
    MSG_TARVEL_ERROR("msg_serialize_msg_message_item is failed");
    return 0;
  }
  Writer writer(*out, lengths);
  writer.block(*meta);
  end_buffer(*out, size, writer.written(), CallSite::here());
  return static_cast<int>(size);
}

void msg_deserialize_message(const char* buf, msg_message_item_t* item) {
  if (!buf || !item) return;
  const char* at = read_head(buf, *item, CallSite::here());
  item->contentList = nullptr;
  item->nmsMsgMetaData = nullptr;
  if (!read_list(at, &item->addressList, &__deserialize_msg_address_item, buf)) return;
  if (!read_list(at, &item->contentList, &__deserialize_msg_content_item, buf)) return;
  read_last_optional(at, &item->nmsMsgMetaData, &__deserialize_nms_msg_meta_data_item);
}

void msg_deserialize_nms_msg_meta(const char* buf, msg_nms_msg_meta_data_t* meta) {
  __deserialize_nms_msg_meta_data_item(buf, meta);
}
