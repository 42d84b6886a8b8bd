#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace msg_tarvel::tool {

std::string base64_of(const std::string& bytes);

/** Throws Failure for what is no base64. */
std::string bytes_of_base64(const std::string& base64);

/** Decodes base64 piece by piece and, unlike most decoders, notices what is wrong with it. */
class Base64Decoder {
 public:
  /** Appends what the next characters decode to; blanks and line ends are passed over. */
  void decode(const char* text, std::size_t size, std::string& bytes);

  /** At the end: whether everything was base64, in whole groups of four. */
  bool isWhole() const { return !_damaged && _digits == 0; }

 private:
  void _takeOne(unsigned char character, std::string& bytes);

  std::uint32_t _group = 0;
  /** Digits and padding of the group so far. */
  int _digits = 0;
  int _padding = 0;
  bool _ended = false;
  bool _damaged = false;
};

}  // namespace msg_tarvel::tool
