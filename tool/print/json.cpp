#include "print/json.h"

#include <algorithm>
#include <ostream>
#include <string_view>
#include <utility>

namespace msg_tarvel::tool {

namespace {

constexpr int INDENT = 2;

/** What a terminal would obey: first and last character of each range, in UTF-8 of one length. */
struct Range {
  std::string_view first;
  std::string_view last;
  unsigned int code;
};
constexpr Range ESCAPED[] = {
    {"\x7F", "\x7F", 0x7F},
    {"\xC2\x80", "\xC2\x9F", 0x80},
    {"\xD8\x9C", "\xD8\x9C", 0x61C},
    {"\xE2\x80\x8E", "\xE2\x80\x8F", 0x200E},
    {"\xE2\x80\xA8", "\xE2\x80\xAE", 0x2028},
    {"\xE2\x81\xA6", "\xE2\x81\xA9", 0x2066},
};

/** There may be millions in a text, so no format is read for each. */
std::string escape(unsigned int code) {
  constexpr char DIGITS[] = "0123456789abcdef";
  std::string text = "\\u";
  for (int shift = 12; shift >= 0; shift -= 4) text += DIGITS[code >> shift & 0xF];
  return text;
}

/** With which bytes the ranges begin. */
constexpr const char* FIRST_BYTES = "\x7F\xC2\xD8\xE2";

/** Such characters are within a text only, where an escape may stand for any of them. */
std::string without_controls(std::string&& json) {
  std::string result;
  std::size_t copied = 0;
  for (std::size_t at = 0; (at = json.find_first_of(FIRST_BYTES, at)) != std::string::npos; ++at) {
    for (const Range& range : ESCAPED) {
      const std::string_view character = std::string_view(json).substr(at, range.first.size());
      if (character < range.first || character > range.last) continue;
      result.append(json, copied, at - copied);
      result += escape(range.code + static_cast<unsigned char>(character.back()) -
                       static_cast<unsigned char>(range.first.back()));
      copied = at + character.size();
      break;
    }
  }
  if (copied == 0) return std::move(json);
  result.append(json, copied);
  return result;
}

}  // namespace

std::string json_text(const Json& json) {
  return without_controls(json.dump(INDENT, ' ', false, Json::error_handler_t::replace));
}

std::string json_line(const Json& json) {
  return without_controls(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void print_json(const Output& output, const Json& json) { output.out << json_text(json) << "\n"; }

JsonList::JsonList(std::ostream& out, int depth)
    : _out(out), _indent(static_cast<std::size_t>(depth * INDENT), ' ') {}

void JsonList::add(const Json& item) {
  const std::string text = json_text(item);
  const std::string lineStart = "\n" + _indent + std::string(INDENT, ' ');
  _out << (_isEmpty ? "[" : ",");
  // Line by line: an item may have as many as a message has addresses.
  for (std::size_t begin = 0, end = 0; end < text.size(); begin = end + 1) {
    end = std::min(text.find('\n', begin), text.size());
    _out << lineStart << std::string_view(text).substr(begin, end - begin);
  }
  // Whoever waits for the first item of many gets it at once.
  if (_isEmpty) _out.flush();
  _isEmpty = false;
}

void JsonList::end() { _out << (_isEmpty ? "[" : "\n" + _indent) << "]\n"; }

}  // namespace msg_tarvel::tool
