#include "backup/passage.h"

#include "backup/character_references.h"

namespace msg_tarvel::tool {

namespace {

bool is_within_character(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/** Not allowed in a value; "<" is elsewhere, where it does no harm. */
bool is_error(char c) { return c == '<' || (static_cast<unsigned char>(c) < 0x20 && !is_blank(c)); }

}  // namespace

void Passage::begin(std::size_t most) {
  _left = most;
  _isCut = false;
  _overrun = 0;
  _sinceAmpersand = LONGEST_REFERENCE;
  _isErrorPassed = false;
}

bool Passage::passes(std::size_t size) {
  if (_isCut || size > _left) return false;
  _left -= size;
  return true;
}

void Passage::pass(const char* begin, const char* end, std::string& out) {
  if (passes(static_cast<std::size_t>(end - begin))) {
    out.append(begin, end);
    return;
  }
  if (!_isCut) {
    out.append(begin, _left);
    begin += _left;
    _left = 0;
    while (begin != end && !_mayCutBefore(*begin)) out += *begin++;
    _isCut = begin != end;
  }
  for (; begin != end; ++begin) _drop(*begin, out);
}

/** A reference that began before the limit has ended, or is none, after as many characters. */
bool Passage::_mayCutBefore(char character) {
  if (is_blank(character)) return true;
  const bool isReference = _sinceAmpersand < LONGEST_REFERENCE && character != '&';
  if (_overrun >= LONGEST_REFERENCE && !isReference && !is_within_character(character) &&
      character != ';' && character != '>') {
    return true;
  }
  ++_overrun;
  ++_sinceAmpersand;
  if (character == '&') _sinceAmpersand = 0;
  if (character == ';') _sinceAmpersand = LONGEST_REFERENCE;
  return false;
}

void Passage::_drop(char character, std::string& out) {
  if (character == '\n') {
    ++_droppedLines;
  } else if (is_error(character) && !_isErrorPassed) {
    out += character;
    _isErrorPassed = true;
  }
}

long Passage::takeDroppedLines() {
  const long lines = _droppedLines;
  _droppedLines = 0;
  return lines;
}

}  // namespace msg_tarvel::tool
