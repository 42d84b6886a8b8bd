#include "backup/utf16_decoder.h"

#include <glib.h>

#include "backup/surrogates.h"

namespace msg_tarvel::tool {

namespace {

void append(unsigned int character, std::string& out) {
  if (character < 0x80) {
    out += static_cast<char>(character);
    return;
  }
  char bytes[6];
  out.append(bytes, static_cast<std::size_t>(g_unichar_to_utf8(character, bytes)));
}

}  // namespace

void Utf16Decoder::decode(const char* data, std::size_t size, std::string& out) {
  for (const char* at = data; at != data + size; ++at) {
    const auto byte = static_cast<unsigned char>(*at);
    if (_hasByte) {
      const unsigned int first = _isLittle ? byte : _byte;
      const unsigned int second = _isLittle ? _byte : byte;
      _take(first << 8 | second, out);
    }
    _byte = byte;
    _hasByte = !_hasByte;
  }
}

void Utf16Decoder::_take(unsigned int unit, std::string& out) {
  const unsigned int high = _highSurrogate;
  _highSurrogate = is_high_surrogate(unit) ? unit : 0;
  if (high != 0 && is_low_surrogate(unit)) {
    append(surrogates_to_character(high, unit), out);
    return;
  }
  if (high != 0) append(high, out);
  if (_highSurrogate == 0) append(unit, out);
}

void Utf16Decoder::finish(std::string& out) {
  if (_highSurrogate != 0) append(_highSurrogate, out);
  _highSurrogate = 0;
  if (_hasByte) out += static_cast<char>(_byte);
  _hasByte = false;
}

}  // namespace msg_tarvel::tool
