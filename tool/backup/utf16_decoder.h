#pragma once

#include <cstddef>
#include <string>

namespace msg_tarvel::tool {

/**
 * Makes UTF-8 of the UTF-16 of a byte stream, which may be cut anywhere. Half of a surrogate pair
 * becomes the three bytes that it would be if it were a character, for the parser to complain of
 * where it stands.
 */
class Utf16Decoder {
 public:
  enum class Order { LOW_BYTE_FIRST, HIGH_BYTE_FIRST };

  explicit Utf16Decoder(Order order) : _isLittle(order == Order::LOW_BYTE_FIRST) {}

  /** Appends what the next piece of the stream says to `out`. */
  void decode(const char* data, std::size_t size, std::string& out);
  /** Appends what was held back at the end of the stream. */
  void finish(std::string& out);

 private:
  void _take(unsigned int unit, std::string& out);

  const bool _isLittle;
  /** The first byte of a unit whose second one may follow. */
  bool _hasByte = false;
  unsigned char _byte = 0;
  /** A high surrogate whose partner may follow; 0 for none. */
  unsigned int _highSurrogate = 0;
};

}  // namespace msg_tarvel::tool
