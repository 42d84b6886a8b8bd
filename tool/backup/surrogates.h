#pragma once

namespace msg_tarvel::tool {

// UTF-16 writes a character beyond 0xFFFF as two units, a high surrogate and a low one.

constexpr bool is_high_surrogate(unsigned int unit) { return unit >= 0xD800 && unit <= 0xDBFF; }

constexpr bool is_low_surrogate(unsigned int unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/** The character that a high and a low surrogate stand for. */
constexpr unsigned int surrogates_to_character(unsigned int high, unsigned int low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

}  // namespace msg_tarvel::tool
