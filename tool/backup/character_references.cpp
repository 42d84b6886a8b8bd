#include "backup/character_references.h"

#include <cstring>

#include "backup/surrogates.h"

namespace msg_tarvel::tool {

namespace {

constexpr std::uint32_t LAST_CODE_POINT = 0x10FFFF;
constexpr const char* REPLACEMENT = "&#65533;";

bool is_allowed(std::uint32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= LAST_CODE_POINT);
}

/** The value of a digit; 16 for anything else. */
std::uint32_t digit_value(char c) {
  if (c >= '0' && c <= '9') return static_cast<std::uint32_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<std::uint32_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<std::uint32_t>(c - 'A' + 10);
  return 16;
}

}  // namespace

void CharacterReferences::rewrite(const char* data, std::size_t size, std::string& out) {
  const char* const end = data + size;
  while (data != end) {
    if (_state == State::TEXT && _highSurrogate == 0) {
      const void* found = std::memchr(data, '&', static_cast<std::size_t>(end - data));
      const char* const ampersand = found ? static_cast<const char*>(found) : end;
      out.append(data, ampersand);
      data = ampersand;
      if (data == end) break;
    }
    _take(*data++, out);
  }
}

void CharacterReferences::finish(std::string& out) { _giveUpReference(out); }

void CharacterReferences::_take(char character, std::string& out) {
  if (_state != State::TEXT) {
    if (character == ';' && (_state == State::DECIMAL || _state == State::HEXADECIMAL)) {
      _raw += character;
      _endReference(out);
      return;
    }
    if (_raw.size() < LONGEST_REFERENCE && _continuesReference(character)) {
      _raw += character;
      return;
    }
    _giveUpReference(out);
  }
  if (character == '&') {
    _state = State::AMPERSAND;
    _codePoint = 0;
    _raw = character;
  } else {
    _giveUpHighSurrogate(out);
    out += character;
  }
}

/** Whether `character` is a part of a numeric reference in this state, which it moves on. */
bool CharacterReferences::_continuesReference(char character) {
  if (_state == State::AMPERSAND) {
    _state = State::HASH;
    return character == '#';
  }
  if (_state == State::HASH && character == 'x') {
    _state = State::HEX_MARK;
    return true;
  }
  const bool isHexadecimal = _state == State::HEX_MARK || _state == State::HEXADECIMAL;
  const std::uint32_t base = isHexadecimal ? 16 : 10;
  const std::uint32_t digit = digit_value(character);
  if (digit >= base) return false;
  _state = isHexadecimal ? State::HEXADECIMAL : State::DECIMAL;
  // Stays above the last code point once it is there, whatever follows.
  if (_codePoint <= LAST_CODE_POINT) _codePoint = _codePoint * base + digit;
  return true;
}

void CharacterReferences::_endReference(std::string& out) {
  _state = State::TEXT;
  if (is_low_surrogate(_codePoint) && _highSurrogate != 0) {
    out += "&#" + std::to_string(surrogates_to_character(_highSurrogate, _codePoint)) + ";";
    _highSurrogate = 0;
    return;
  }
  _giveUpHighSurrogate(out);
  if (is_high_surrogate(_codePoint)) {
    _highSurrogate = _codePoint;
  } else {
    out += is_allowed(_codePoint) ? _raw : REPLACEMENT;
  }
}

void CharacterReferences::_giveUpReference(std::string& out) {
  _giveUpHighSurrogate(out);
  if (_state != State::TEXT) out += _raw;
  _state = State::TEXT;
}

void CharacterReferences::_giveUpHighSurrogate(std::string& out) {
  if (_highSurrogate != 0) out += REPLACEMENT;
  _highSurrogate = 0;
}

}  // namespace msg_tarvel::tool
