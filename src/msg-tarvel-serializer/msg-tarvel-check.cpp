// The bounded checks of serialized buffers. They are strict: only what the serializer writes
// passes, although the reader takes more.

#include <climits>
#include <cstdint>
#include <cstring>

#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"
#include "msg-tarvel-serializer/record_shape.h"

namespace {

using msg_tarvel::wire::Shape;
using msg_tarvel::wire::STRING_COUNT;

/** Walks over blocks and never beyond the end. Once anything is wrong, everything is. */
class Checker {
 public:
  // The reader counts bytes in int, so no block can be larger.
  Checker(const char* buf, std::size_t size)
      : _begin(buf), _at(buf), _left(buf ? (size < INT_MAX ? size : INT_MAX) : 0) {}

  /** What the blocks so far take; 0 when one of them is not well-formed. */
  std::size_t length() const { return _good ? static_cast<std::size_t>(_at - _begin) : 0; }

  template <typename Record>
  void head() {
    expect(Shape<Record>::IMAGE_SIZE);
    skip(Shape<Record>::IMAGE_SIZE);
    expect(STRING_COUNT<Record>);
    for (std::size_t i = 0; _good && i < STRING_COUNT<Record>; ++i) string();
  }

  void content() {
    head<msg_content_item_t>();
    if (present()) head<msg_nms_content_meta_data_t>();
  }

  void message() {
    head<msg_message_item_t>();
    for (unsigned int left = byte(); _good && left > 0; --left) head<msg_address_item_t>();
    for (unsigned int left = byte(); _good && left > 0; --left) content();
    if (present()) head<msg_nms_msg_meta_data_t>();
  }

 private:
  const char* skip(std::size_t count) {
    if (!_good || count > _left) {
      _good = false;
      return nullptr;
    }
    const char* const from = _at;
    _at += count;
    _left -= count;
    return from;
  }

  unsigned int byte() {
    const char* const value = skip(1);
    return value ? static_cast<unsigned char>(*value) : 0;
  }

  void expect(std::size_t value) {
    if (byte() != value) _good = false;
  }

  bool present() {
    const unsigned int value = byte();
    if (value > 1) _good = false;
    return _good && value == 1;
  }

  void string() {
    const char* const bytes = skip(sizeof(std::uint32_t));
    if (!bytes) return;
    std::uint32_t length = 0;
    std::memcpy(&length, bytes, sizeof length);
    skip(length);
  }

  const char* _begin;
  const char* _at;
  std::size_t _left;
  bool _good = true;
};

}  // namespace

size_t msg_check_message(const char* buf, size_t size) {
  Checker checker(buf, size);
  checker.message();
  return checker.length();
}

size_t msg_check_nms_msg_meta(const char* buf, size_t size) {
  Checker checker(buf, size);
  checker.head<msg_nms_msg_meta_data_t>();
  return checker.length();
}
