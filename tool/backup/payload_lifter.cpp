#include "backup/payload_lifter.h"

#include <algorithm>
#include <cstring>

#include "backup/character_references.h"

namespace msg_tarvel::tool {

namespace {

/** Names longer than this are none that matter here; only their beginning is kept. */
constexpr std::size_t LONGEST_NAME = 16;

bool is_blank(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

void append_name(std::string& name, char character) {
  if (name.size() < LONGEST_NAME) name += character;
}

/** Characters that the parser must judge: not allowed in a value, or line ends, or not ASCII. */
bool is_for_parser(char c) { return c == '<' || static_cast<unsigned char>(c) - 0x20U > 0x5FU; }

bool is_blank_reference(const std::string& reference) {
  for (const char* blank :
       {"&#10;", "&#13;", "&#9;", "&#32;", "&#xA;", "&#xD;", "&#x9;", "&#x20;", "&#xa;", "&#xd;"}) {
    if (reference == blank) return true;
  }
  return false;
}

}  // namespace

void PayloadLifter::lift(const char* data, std::size_t size, std::string& out) {
  const char* const begin = data;
  const char* const end = data + size;
  while (data != end) {
    if (_attributeCount > MOST_ATTRIBUTES) {
      throw TooManyAttributes(_line + std::count(begin, data, '\n'));
    }
    switch (_state) {
      case State::TEXT:
        data = _passThrough(data, end, '<', out);
        if (data != end) {
          out += *data++;
          _state = State::MARKUP;
        }
        break;
      case State::VALUE:
        data = _passThrough(data, end, _quote, out);
        if (data != end) {
          out += *data++;
          _state = State::TAG;
        }
        break;
      case State::PAYLOAD:
        data = _payload(data, end, out);
        break;
      case State::MARKUP:
      case State::EXCLAMATION:
      case State::SKIPPED:
        out += *data;
        _takeMarkup(*data++);
        break;
      case State::ELEMENT_NAME:
      case State::TAG:
      case State::ATTRIBUTE_NAME:
        out += *data;
        _takeTag(*data++, out);
        break;
    }
  }
  _line += std::count(begin, end, '\n');
}

/** Passes everything before the next `until` on; returns its place. */
const char* PayloadLifter::_passThrough(const char* at, const char* end, char until,
                                        std::string& out) {
  const void* found = std::memchr(at, until, static_cast<std::size_t>(end - at));
  const char* const stop = found ? static_cast<const char*>(found) : end;
  out.append(at, stop);
  return stop;
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
  if (_state == State::EXCLAMATION) {
    const std::string comment = "--";
    const std::string characterData = "[CDATA[";
    if (_latest == comment) {
      _skipUntil("-->");
    } else if (_latest == characterData) {
      _skipUntil("]]>");
    } else if (comment.rfind(_latest, 0) != 0 && characterData.rfind(_latest, 0) != 0) {
      _state = State::TEXT;  // a document type, which the parser refuses
    }
    return;
  }
  if (_latest.size() > _terminator.size()) _latest.erase(0, 1);
  if (_latest == _terminator) _state = State::TEXT;
}

void PayloadLifter::_skipUntil(const char* terminator) {
  _state = State::SKIPPED;
  _terminator = terminator;
  _latest.clear();
}

void PayloadLifter::_takeTag(char character, std::string& out) {
  if (character == '>') {
    _state = State::TEXT;
    _attributeCount = 0;
  } else if (_state == State::ELEMENT_NAME) {
    if (is_blank(character)) {
      _state = State::TAG;
      _attribute.clear();
    } else {
      append_name(_element, character);
    }
  } else if (character == '"' || character == '\'') {
    _beginValue(character, out);
  } else if (is_blank(character) || character == '=') {
    _state = State::TAG;  // the name is kept: a value follows, or another name
  } else {
    if (_state == State::TAG) _attribute.clear();
    _state = State::ATTRIBUTE_NAME;
    append_name(_attribute, character);
  }
}

void PayloadLifter::_beginValue(char quote, std::string& out) {
  ++_attributeCount;
  _quote = quote;
  _state = State::VALUE;
  if (_element == "part" && _attribute == "data") {
    _state = State::PAYLOAD;
    _reference.clear();
    out += std::to_string(++_payloads) + PAYLOAD_NUMBER_END;
    _sink.beginPayload(_payloads);
  }
}

const char* PayloadLifter::_payload(const char* at, const char* end, std::string& out) {
  if (!_reference.empty()) {
    _payloadReference(*at, out);
    return at + 1;
  }
  const char* const begin = at;
  while (at != end && *at != _quote && *at != '&') {
    if (is_for_parser(*at)) out += *at;
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
    out += _reference;
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
