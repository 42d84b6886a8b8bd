// The bounded checks of serialized buffers. They are strict: only what the serializer writes
// passes, although the reader takes more.

#include <climits>
#include <cstdint>
#include <cstring>

#include "msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h"
#include "msg-tarvel-serializer/record_shape.h"

namespace {

using msg_tarvel::wire::FIXED_SIZE;
using msg_tarvel::wire::LENGTH_SIZE;
using msg_tarvel::wire::Shape;
using msg_tarvel::wire::STRING_COUNT;

/** Walks over blocks and never beyond the end; each step tells whether all was well. */
class Checker {
 public:
  // The reader counts bytes in int, so no block can be larger.
  Checker(const char* buf, std::size_t size)
      : _begin(buf), _at(buf), _left(buf ? (size < INT_MAX ? size : INT_MAX) : 0) {}

  /** What the blocks so far take. */
  std::size_t length() const { return static_cast<std::size_t>(_at - _begin); }

  template <typename Record>
  bool head() {
    // Room for all that every such record has, so that only texts are looked at one by one.
    if (!reserve(FIXED_SIZE<Record>)) return false;
    if (byte() != Shape<Record>::IMAGE_SIZE) return false;
    _at += Shape<Record>::IMAGE_SIZE;
    if (byte() != STRING_COUNT<Record>) return false;
    for (std::size_t i = 0; i < STRING_COUNT<Record>; ++i) {
      if (!string()) return false;
    }
    return true;
  }

  bool message() {
    return head<msg_message_item_t>() && list<&Checker::head<msg_address_item_t>>() &&
           list<&Checker::content>() && optional<msg_nms_msg_meta_data_t>();
  }

 private:
  bool content() { return head<msg_content_item_t>() && optional<msg_nms_content_meta_data_t>(); }

  template <bool (Checker::*element)()>
  bool list() {
    if (!reserve(1)) return false;
    for (unsigned int left = byte(); left > 0; --left) {
      if (!(this->*element)()) return false;
    }
    return true;
  }

  template <typename Record>
  bool optional() {
    if (!reserve(1)) return false;
    const unsigned int present = byte();
    return present == 0 || (present == 1 && head<Record>());
  }

  /** Sets the next `count` bytes of what is left aside; they are stepped over afterwards. */
  bool reserve(std::size_t count) {
    if (count > _left) return false;
    _left -= count;
    return true;
  }

  unsigned int byte() { return static_cast<unsigned char>(*_at++); }

  bool string() {
    std::uint32_t length = 0;
    std::memcpy(&length, _at, LENGTH_SIZE);
    _at += LENGTH_SIZE;
    if (!reserve(length)) return false;
    _at += length;
    return true;
  }

  const char* _begin;
  const char* _at;
  std::size_t _left;
};

}  // namespace

size_t msg_check_message(const char* buf, size_t size) {
  Checker checker(buf, size);
  return checker.message() ? checker.length() : 0;
}

size_t msg_check_nms_msg_meta(const char* buf, size_t size) {
  Checker checker(buf, size);
  return checker.head<msg_nms_msg_meta_data_t>() ? checker.length() : 0;
}
