#include "commands/buffer_walk.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "helpers/record_mapping.h"

namespace msg_tarvel::tool {

namespace {

using helpers::RecordKind;
using helpers::slot_meaning;

constexpr std::size_t SLOT_SIZE = 4;

/** How a record lies in a buffer. */
struct Layout {
  RecordKind kind;
  int slots;
  int firstString;
  /** Further string slots; 0 for none. */
  int otherStrings[5];
  int strings;
};

constexpr Layout MESSAGE = {RecordKind::MESSAGE, 21, 2, {15, 16}, 3};
constexpr Layout ADDRESS = {RecordKind::ADDRESS, 5, 4, {}, 1};
constexpr Layout CONTENT = {RecordKind::CONTENT, 14, 6, {7, 8, 9, 10, 11}, 6};
constexpr Layout MESSAGE_METADATA = {RecordKind::MESSAGE_METADATA, 14, 1, {2, 3, 4}, 4};
constexpr Layout CONTENT_METADATA = {RecordKind::CONTENT_METADATA, 6, 2, {3, 4}, 3};

constexpr int size_of_image(const Layout& layout) {
  return layout.slots * static_cast<int>(SLOT_SIZE);
}

int string_slot(const Layout& layout, int string) {
  return string == 0 ? layout.firstString : layout.otherStrings[string - 1];
}

bool is_string(const Layout& layout, int slot) {
  for (int string = 0; string < layout.strings; ++string) {
    if (string_slot(layout, string) == slot) return true;
  }
  return false;
}

/** Ends a walk where the buffer is no longer well-formed. */
class Damage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Walker {
 public:
  Walker(const std::string& buffer, BufferWalk& walk) : _buffer(buffer), _walk(walk) {}

  std::size_t offset() const { return _at; }

  void message() {
    record(MESSAGE, "message");
    const int addresses = byte("message", "number of addresses");
    for (int i = 1; i <= addresses; ++i) record(ADDRESS, "address " + std::to_string(i));
    const int contents = byte("message", "number of contents");
    for (int i = 1; i <= contents; ++i) {
      const std::string block = "content " + std::to_string(i);
      record(CONTENT, block);
      optional(CONTENT_METADATA, block);
    }
    optional(MESSAGE_METADATA, "message");
  }

  void metadata() { record(MESSAGE_METADATA, "metadata"); }

 private:
  void record(const Layout& layout, const std::string& block) {
    exactly(block, "record size", size_of_image(layout));
    for (int slot = 0; slot < layout.slots; ++slot) {
      const std::size_t at = take(SLOT_SIZE, "slot " + std::to_string(slot));
      std::string meaning = "slot " + std::to_string(slot);
      const std::string fields = slot_meaning(layout.kind, slot);
      if (!fields.empty()) meaning += ": " + fields;
      if (is_string(layout, slot)) meaning += " (the sender's pointer)";
      add(at, SLOT_SIZE, block, meaning, std::to_string(static_cast<std::int32_t>(number(at))));
    }
    exactly(block, "number of strings", layout.strings);
    for (int i = 0; i < layout.strings; ++i) {
      string(block, slot_meaning(layout.kind, string_slot(layout, i)));
    }
  }

  void optional(const Layout& layout, const std::string& block) {
    const int present = byte(block, "metadata present");
    if (present > 1) damaged(_at - 1, "the presence byte is " + std::to_string(present));
    if (present == 1) record(layout, "metadata of " + block);
  }

  void string(const std::string& block, const std::string& meaning) {
    const std::size_t lengthAt = take(SLOT_SIZE, "the length of " + meaning);
    const std::size_t length = number(lengthAt);
    add(lengthAt, SLOT_SIZE, block, "length of " + meaning, std::to_string(length));
    if (length == 0) return;
    const std::size_t at = take(length, meaning);
    add(at, length, block, meaning, _buffer.substr(at, length));
  }

  int byte(const std::string& block, const std::string& meaning) {
    const std::size_t at = take(1, "the " + meaning);
    const int value = static_cast<unsigned char>(_buffer[at]);
    add(at, 1, block, meaning, std::to_string(value));
    return value;
  }

  void exactly(const std::string& block, const std::string& meaning, int expected) {
    const int value = byte(block, meaning);
    if (value == expected) return;
    damaged(_at - 1, "the " + meaning + " of the " + block + " is " + std::to_string(value) +
                         ", not " + std::to_string(expected));
  }

  /** The bytes from `at` are wrong: the field that holds them is none. */
  [[noreturn]] void damaged(std::size_t at, const std::string& what) {
    _walk.fields.pop_back();
    _at = at;
    throw Damage(what);
  }

  /** Where the next `size` bytes are. */
  std::size_t take(std::size_t size, const std::string& what) {
    const std::size_t left = _buffer.size() - _at;
    if (size > left) {
      throw Damage(what + " takes " + std::to_string(size) + " bytes, " + std::to_string(left) +
                   " are left");
    }
    _at += size;
    return _at - size;
  }

  std::uint32_t number(std::size_t at) const {
    std::uint32_t value = 0;
    std::memcpy(&value, _buffer.data() + at, sizeof value);
    return value;
  }

  void add(std::size_t at, std::size_t size, const std::string& block, const std::string& meaning,
           const std::string& value) {
    _walk.fields.push_back({at, size, block, meaning, value});
  }

  const std::string& _buffer;
  BufferWalk& _walk;
  std::size_t _at = 0;
};

}  // namespace

BufferWalk walk_buffer(const std::string& buffer) {
  BufferWalk walk;
  Walker walker(buffer, walk);
  const int marker = buffer.empty() ? -1 : static_cast<unsigned char>(buffer[0]);
  try {
    if (marker == size_of_image(MESSAGE)) {
      walk.kind = "message";
      walker.message();
    } else if (marker == size_of_image(MESSAGE_METADATA)) {
      walk.kind = "metadata";
      walker.metadata();
    } else {
      throw Damage(buffer.empty() ? "the file is empty"
                                  : "the first byte is " + std::to_string(marker) +
                                        ", neither that of a message (84) nor of metadata (56)");
    }
    if (walker.offset() < buffer.size()) {
      throw Damage(std::to_string(buffer.size() - walker.offset()) + " bytes too many");
    }
  } catch (const Damage& damage) {
    walk.damage = damage.what();
    walk.damageOffset = walker.offset();
  }
  return walk;
}

}  // namespace msg_tarvel::tool
