#include "backup/payload_lifter.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string_view>

#include "backup/character_references.h"

namespace msg_tarvel::tool {

namespace {

/** Names longer than this are none that matter here; only their beginning is kept. */
constexpr std::size_t LONGEST_NAME = 16;

constexpr std::string_view PART = "part";
constexpr std::string_view DATA = "data";

bool ends_element_name(char c) { return c == '>' || is_blank(c); }

constexpr std::array<bool, 256> make_attribute_name_ends() {
  std::array<bool, 256> ends{};
  for (const char c : {'>', '=', '"', '\'', ' ', '\n', '\r', '\t'}) {
    ends[static_cast<unsigned char>(c)] = true;
  }
  return ends;
}

// A table, for half of a backup of texts are names of attributes.
constexpr std::array<bool, 256> ATTRIBUTE_NAME_ENDS = make_attribute_name_ends();

bool ends_attribute_name(char c) { return ATTRIBUTE_NAME_ENDS[static_cast<unsigned char>(c)]; }

void append_name(std::string& name, const char* begin, const char* end) {
  name.append(begin, std::min(static_cast<std::size_t>(end - begin), LONGEST_NAME - name.size()));
}

/** Whether an attribute of this name is a text that somebody wrote, or many people's addresses. */
bool is_stored(const std::string& attribute) {
  for (const char* name : {"body", "text", "subject", "sub", "address"}) {
    if (attribute == name) return true;
  }
  return false;
}

const char* find_or_end(const char* at, const char* end, char wanted) {
  const void* const found = std::memchr(at, wanted, static_cast<std::size_t>(end - at));
  return found ? static_cast<const char*>(found) : end;
}

/** Characters that the parser must judge: not allowed in a value, or line ends, or not ASCII. */
bool is_for_parser(char c) { return c == '<' || static_cast<unsigned char>(c) - 0x20U > 0x5FU; }

/** Passes over characters of a payload of which none is `quote`, a reference or the parser's. */
const char* skip_base64(const char* at, const char* end, char quote) {
  // A count without a way out is one that compilers turn into vector instructions.
  constexpr std::ptrdiff_t BLOCK = 256;
  const auto isSpecial = [quote](char c) { return c == quote || c == '&' || is_for_parser(c); };
  while (end - at >= BLOCK && std::count_if(at, at + BLOCK, isSpecial) == 0) at += BLOCK;
  return at;
}

bool is_blank_reference(const std::string& reference) {
  for (const char* blank :
       {"&#10;", "&#13;", "&#9;", "&#32;", "&#xA;", "&#xD;", "&#x9;", "&#x20;", "&#xa;", "&#xd;"}) {
    if (reference == blank) return true;
  }
  return false;
}

}  // namespace

void PayloadLifter::lift(const char* data, std::size_t size, std::string& out) {
  const char* const end = data + size;
  const char* at = data;
  // All but payloads passes as it is, in pieces as long as can be; the next one begins here.
  const char* passing = data;
  while (at != end) {
    if (_attributeCount > MOST_ATTRIBUTES) {
      throw TooManyAttributes(_line + std::count(data, at, '\n'));
    }
    const State state = _state;
    if (state == State::PAYLOAD) {
      at = _payload(at, end, out);
      passing = at;
    } else {
      const char* const begin = at;
      at = _pass(at, end);
      const bool isLimited = state == State::VALUE || state == State::SKIPPED;
      if (isLimited && !_passage.passes(static_cast<std::size_t>(at - begin))) {
        out.append(passing, begin);
        _cut(state, begin, at, out);
        passing = at;
      }
      if (_state == State::PAYLOAD) {
        out.append(passing, at);
        passing = at;
        _beginPayload(out);
      }
    }
    if (const long lines = _passage.takeDroppedLines(); lines > 0) {
      _linesCut += lines;
      _linesCutBefore[_line + std::count(data, at, '\n') - _linesCut] = _linesCut;
    }
  }
  out.append(passing, end);
  _line += std::count(data, end, '\n');
}

/** Takes what is outside of payloads, as much of it as belongs together. */
const char* PayloadLifter::_pass(const char* at, const char* end) {
  switch (_state) {
    case State::TEXT:
      return _passUntil('<', State::MARKUP, at, end);
    case State::VALUE:
      return _passUntil(_quote, State::TAG, at, end);
    case State::ELEMENT_NAME:
      return _takeElementName(at, end);
    case State::TAG:
    case State::ATTRIBUTE_NAME:
      return _takeTag(at, end);
    case State::SKIPPED:
      return _passSkipped(at, end);
    case State::MARKUP:
    case State::EXCLAMATION:
    case State::PAYLOAD:
      break;
  }
  _takeMarkup(*at);
  return at + 1;
}

const char* PayloadLifter::_passUntil(char last, State next, const char* at, const char* end) {
  const char* const found = find_or_end(at, end, last);
  if (found == end) return end;
  _state = next;
  return found + 1;
}

/** What is skipped ends with a terminator, the terminator with ">". */
const char* PayloadLifter::_passSkipped(const char* at, const char* end) {
  const char* const found = find_or_end(at, end, '>');
  const char* const next = found == end ? end : found + 1;
  const auto size = static_cast<std::ptrdiff_t>(_terminator.size());
  _latest.append(next - at > size ? next - size : at, next);
  if (_latest.size() > _terminator.size()) _latest.erase(0, _latest.size() - _terminator.size());
  if (_latest == _terminator) _state = State::TEXT;
  return next;
}

/** The text between `begin` and `end`, which may be its end, is too long to pass as it is. */
void PayloadLifter::_cut(State state, const char* begin, const char* end, std::string& out) {
  const bool isEnd = _state != state;
  const bool isValue = state == State::VALUE;
  if (isValue && _mayBeLonger && is_stored(_attribute)) {
    _passage.extend(MOST_TEXT - MOST_OF_THE_REST);
  }
  _mayBeLonger = false;
  _passage.pass(begin, isEnd && isValue ? end - 1 : end, out);
  if (!isEnd) return;
  if (isValue) {
    out += _quote;
    if (_passage.isCut() && !_isMarked && is_stored(_attribute)) {
      _isMarked = true;
      out += std::string(" ") + CUT_MARK + "=''";
    }
  } else if (_passage.isCut()) {
    out += " " + _terminator;
  }
}

long PayloadLifter::lineInFile(long line) const {
  const auto next = _linesCutBefore.upper_bound(line);
  return next == _linesCutBefore.begin() ? line : line + std::prev(next)->second;
}

void PayloadLifter::_takeMarkup(char character) {
  if (_state == State::MARKUP) {
    if (character == '!') {
      _state = State::EXCLAMATION;
      _latest.clear();
    } else if (character == '?') {
      _skipUntil("?>");
    } else {
      _state = State::ELEMENT_NAME;
      _element = character;
    }
    return;
  }
  _latest += character;
  const std::string comment = "--";
  const std::string characterData = "[CDATA[";
  if (_latest == comment) {
    _skipUntil("-->");
  } else if (_latest == characterData) {
    _skipUntil("]]>");
  } else if (comment.rfind(_latest, 0) != 0 && characterData.rfind(_latest, 0) != 0) {
    _state = State::TEXT;  // a document type, which the parser refuses
  }
}

void PayloadLifter::_skipUntil(const char* terminator) {
  _state = State::SKIPPED;
  _passage.begin(MOST_OF_THE_REST);
  _terminator = terminator;
  _latest.clear();
}

const char* PayloadLifter::_takeElementName(const char* at, const char* end) {
  const char* const nameEnd = std::find_if(at, end, ends_element_name);
  append_name(_element, at, nameEnd);
  if (nameEnd == end) return end;
  if (*nameEnd == '>') {
    _endTag();
  } else {
    _state = State::TAG;
    _attribute.clear();
  }
  return nameEnd + 1;
}

const char* PayloadLifter::_takeTag(const char* at, const char* end) {
  do {
    if (!ends_attribute_name(*at)) {
      at = _takeAttributeName(at, end);
      continue;
    }
    if (*at == '>') {
      _endTag();
    } else if (*at == '"' || *at == '\'') {
      _beginValue(*at);
    } else {
      _state = State::TAG;  // the name is kept: a value follows, or another name
    }
    ++at;
  } while (at != end && (_state == State::TAG || _state == State::ATTRIBUTE_NAME));
  return at;
}

const char* PayloadLifter::_takeAttributeName(const char* at, const char* end) {
  const char* const nameEnd = std::find_if(at, end, ends_attribute_name);
  if (_state == State::TAG) _attribute.clear();
  _state = State::ATTRIBUTE_NAME;
  append_name(_attribute, at, nameEnd);
  return nameEnd;
}

void PayloadLifter::_endTag() {
  _state = State::TEXT;
  _attributeCount = 0;
  _isMarked = false;
}

void PayloadLifter::_beginValue(char quote) {
  ++_attributeCount;
  _quote = quote;
  const bool isPayload = _element == PART && _attribute == DATA;
  _state = isPayload ? State::PAYLOAD : State::VALUE;
  _passage.begin(MOST_OF_THE_REST);
  _mayBeLonger = !isPayload;
}

void PayloadLifter::_beginPayload(std::string& out) {
  _reference.clear();
  out += std::to_string(++_payloads) + PAYLOAD_NUMBER_END;
  _sink.beginPayload(_payloads);
}

const char* PayloadLifter::_payload(const char* at, const char* end, std::string& out) {
  if (!_reference.empty()) {
    _payloadReference(*at, out);
    return at + 1;
  }
  const char* const begin = at;
  at = skip_base64(at, end, _quote);
  while (at != end && *at != _quote && *at != '&') {
    if (is_for_parser(*at)) _passage.pass(at, at + 1, out);
    ++at;
  }
  _sink.payloadText(begin, static_cast<std::size_t>(at - begin));
  if (at == end) return at;
  if (*at == '&') {
    _reference = "&";
  } else {
    out += *at;
    _sink.endPayload();
    _state = State::TAG;
  }
  return at + 1;
}

/** Wrapped payloads hold references of line ends, which are dropped; any other is the parser's. */
void PayloadLifter::_payloadReference(char character, std::string& out) {
  const bool isEnd = character == ';';
  if (character != _quote) _reference += character;
  if (!isEnd && character != _quote && _reference.size() < LONGEST_REFERENCE) return;

  if (!is_blank_reference(_reference)) {
    if (_passage.passes(_reference.size())) out += _reference;
    _sink.payloadText(_reference.data(), _reference.size());
  }
  _reference.clear();
  if (character == _quote) {
    out += character;
    _sink.endPayload();
    _state = State::TAG;
  }
}

}  // namespace msg_tarvel::tool
