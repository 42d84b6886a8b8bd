#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace msg_tarvel::db {

/**
 * A text put together piece by piece in a fixed buffer. It holds at most Room - 1 characters; what
 * does not fit is cut off without a report, and later pieces are then lost whole.
 */
template <std::size_t Room>
class BoundedText {
 public:
  /** Appends as snprintf formats. */
  void append(const char* format, ...) __attribute__((format(printf, 2, 3))) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(_text + _length, Room - _length, format, arguments);
    va_end(arguments);
    if (length < 0) return;
    _length += static_cast<std::size_t>(length);
    if (_length > Room - 1) _length = Room - 1;
  }

  const char* c_str() const { return _text; }
  std::size_t length() const { return _length; }
  /** True when nothing more fits, so that something may have been cut off. */
  bool isFull() const { return _length == Room - 1; }

 private:
  char _text[Room] = {};
  std::size_t _length = 0;
};

}  // namespace msg_tarvel::db
