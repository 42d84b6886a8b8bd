#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace msg_tarvel::tool {

/** No reference that means a character is longer, but for one with a tail of leading zeros. */
constexpr std::size_t LONGEST_REFERENCE = 64;

/**
 * Makes the numeric character references of a byte stream ones that XML allows.
 *
 * Phones write a character outside the basic plane, every emoji above all, as the two references of
 * its surrogate pair ("&#55357;&#56834;"), which no XML parser takes. A pair becomes the one
 * reference of the character; a surrogate alone, or a code point that XML forbids, becomes
 * "&#65533;", the replacement character. Everything else passes as it is.
 *
 * The stream may be cut anywhere: a reference that begins in one piece may end in another.
 */
class CharacterReferences {
 public:
  /** Appends the rewritten next piece of the stream to `out`. */
  void rewrite(const char* data, std::size_t size, std::string& out);
  /** Appends what was held back at the end of the stream. */
  void finish(std::string& out);

 private:
  enum class State { TEXT, AMPERSAND, HASH, HEX_MARK, DECIMAL, HEXADECIMAL };

  void _take(char character, std::string& out);
  bool _continuesReference(char character);
  void _endReference(std::string& out);
  void _giveUpReference(std::string& out);
  void _giveUpHighSurrogate(std::string& out);

  State _state = State::TEXT;
  /** The reference that is being read, as written. */
  std::string _raw;
  std::uint32_t _codePoint = 0;
  /** A high surrogate whose partner may follow; 0 for none. */
  std::uint32_t _highSurrogate = 0;
};

}  // namespace msg_tarvel::tool
