#pragma once

// Records of the serializer, for tests that build, compare and release whole trees of them. Also
// used by the fuzz targets, and therefore without GoogleTest.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"

namespace msg_tarvel::wire_test {

/** What a text slot holds; none is a null pointer. */
using Text = std::optional<std::string>;

/** The opaque numbers and the texts of one record, both in the order of their slots. */
struct Values {
  std::vector<std::int32_t> opaque;
  std::vector<Text> texts;
};

struct ContentValues {
  Values own;
  std::optional<Values> meta;
};

struct MessageValues {
  Values own;
  std::vector<Values> addresses;
  std::vector<ContentValues> contents;
  std::optional<Values> meta;
};

bool operator==(const Values& a, const Values& b);
bool operator==(const ContentValues& a, const ContentValues& b);
bool operator==(const MessageValues& a, const MessageValues& b);
std::ostream& operator<<(std::ostream& out, const Values& values);
std::ostream& operator<<(std::ostream& out, const ContentValues& values);
std::ostream& operator<<(std::ostream& out, const MessageValues& values);

/** The same with null for every empty text, as it is after being written and read. */
Values normal(Values values);
MessageValues normal(MessageValues values);

/** How many opaque slots and texts the records have. */
struct Counts {
  std::size_t opaque;
  std::size_t texts;
};
constexpr Counts ADDRESS_COUNTS = {4, 1};
constexpr Counts CONTENT_META_COUNTS = {3, 3};
constexpr Counts MESSAGE_META_COUNTS = {10, 4};
constexpr Counts CONTENT_COUNTS = {7, 6};
constexpr Counts MESSAGE_COUNTS = {15, 3};

/** Where the values of a record are. */
struct Fields {
  std::vector<std::int32_t*> opaque;
  std::vector<char**> texts;
};
Fields fields(msg_address_item_t& item);
Fields fields(msg_nms_content_meta_data_t& item);
Fields fields(msg_nms_msg_meta_data_t& item);
Fields fields(msg_content_item_t& item);
Fields fields(msg_message_item_t& item);

/** The values of a record; its texts must be null or real. */
template <typename Record>
Values values_of(Record item) {
  Values values;
  const Fields found = fields(item);
  for (const std::int32_t* const number : found.opaque) values.opaque.push_back(*number);
  for (char* const* const text : found.texts) {
    values.texts.push_back(*text ? Text(*text) : std::nullopt);
  }
  return values;
}
/** The values of a message with all that it leads to. */
MessageValues tree_of(const msg_message_item_t& item);

/** Owns the records, lists and texts that a test hands to the serializer. */
class Arena {
 public:
  /** A copy in a block of exactly its size; null for none. */
  char* text(const Text& value);

  /** A record of zeros. */
  template <typename Record>
  Record* record() {
    auto item = std::make_shared<Record>();
    _kept.push_back(item);
    return item.get();
  }
  template <typename Record>
  Record* record(const Values& values) {
    auto* const item = record<Record>();
    const Fields found = fields(*item);
    for (std::size_t i = 0; i < values.opaque.size(); ++i) *found.opaque[i] = values.opaque[i];
    for (std::size_t i = 0; i < values.texts.size(); ++i) *found.texts[i] = text(values.texts[i]);
    return item;
  }
  msg_message_item_t* message(const MessageValues& values);

  /** A list of these; null for none. */
  GSList* list(const std::vector<void*>& elements);

 private:
  std::vector<std::shared_ptr<void>> _kept;
};

/** What the serializer made, released at the end. */
class Buffer {
 public:
  explicit Buffer(const msg_message_item_t* item) : _size(msg_serialize_message(item, &_data)) {}
  explicit Buffer(const msg_nms_msg_meta_data_t* item)
      : _size(msg_serialize_nms_msg_meta(item, &_data)) {}
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer();

  const char* data() const { return _data; }
  int size() const { return _size; }
  std::string bytes() const {
    return _data ? std::string(_data, static_cast<std::size_t>(_size)) : "";
  }

 private:
  char* _data = nullptr;
  int _size;
};

/** Releases all that the reader made; a text2 of content metadata must be null or real. */
void release(msg_message_item_t& item);

/**
 * A message as the reader made it, released at the end.
 *
 * The reader leaves the sender's pointer in text2 of content metadata when its text is empty; here
 * it is replaced by null, as a receiver has to that wants to look at it.
 */
class Received {
 public:
  explicit Received(const std::string& buffer);
  Received(const Received&) = delete;
  Received& operator=(const Received&) = delete;
  ~Received() { release(_item); }

  const msg_message_item_t& item() const { return _item; }
  MessageValues tree() const { return tree_of(_item); }

 private:
  msg_message_item_t _item{};
};

/** The same for metadata alone. */
class ReceivedMeta {
 public:
  explicit ReceivedMeta(const std::string& buffer);
  ReceivedMeta(const ReceivedMeta&) = delete;
  ReceivedMeta& operator=(const ReceivedMeta&) = delete;
  ~ReceivedMeta();

  const msg_nms_msg_meta_data_t& item() const { return _item; }

 private:
  msg_nms_msg_meta_data_t _item{};
};

/**
 * A well-formed buffer with 0 in every slot that holds a pointer: what is left does not depend on
 * where the sender's records were.
 */
std::string without_pointers(std::string buffer);

}  // namespace msg_tarvel::wire_test
