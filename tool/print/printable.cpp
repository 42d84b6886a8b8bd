#include "print/printable.h"

#include <glib.h>

namespace msg_tarvel::tool {

namespace {

constexpr const char* REPLACEMENT = "\xEF\xBF\xBD";
constexpr const char* ELLIPSIS = "\xE2\x80\xA6";
constexpr int TAB_OR_LINE_END[] = {'\t', '\n', '\r', 0x0B, 0x0C, 0x85, 0x2028, 0x2029};

bool is_line_end(gunichar c) {
  for (const int end : TAB_OR_LINE_END) {
    if (c == static_cast<gunichar>(end)) return true;
  }
  return false;
}

bool is_control(gunichar c) { return c < 0x20 || (c >= 0x7F && c < 0xA0); }

bool turns_direction(gunichar c) {
  return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069);
}

int width_of(gunichar c) {
  if (g_unichar_iszerowidth(c)) return 0;
  return g_unichar_iswide(c) ? 2 : 1;
}

}  // namespace

std::string printable(const std::string& text) {
  std::string result;
  result.reserve(text.size());
  const char* at = text.data();
  const char* const end = at + text.size();
  while (at != end) {
    const gunichar c = g_utf8_get_char_validated(at, end - at);
    if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) {
      result += REPLACEMENT;
      ++at;
      continue;
    }
    const char* const next = g_utf8_next_char(at);
    if (is_line_end(c)) {
      result += ' ';
    } else if (is_control(c)) {
      result += REPLACEMENT;
    } else if (!turns_direction(c)) {
      result.append(at, next);
    }
    at = next;
  }
  return result;
}

int display_width(const std::string& printableText) {
  int width = 0;
  for (const char* at = printableText.c_str(); *at != '\0'; at = g_utf8_next_char(at)) {
    width += width_of(g_utf8_get_char(at));
  }
  return width;
}

std::string cut_to_width(const std::string& printableText, int width) {
  if (display_width(printableText) <= width) return printableText;
  if (width <= 0) return {};
  int taken = 0;
  const char* at = printableText.c_str();
  for (; *at != '\0'; at = g_utf8_next_char(at)) {
    const int next = width_of(g_utf8_get_char(at));
    if (taken + next > width - 1) break;
    taken += next;
  }
  return std::string(printableText.c_str(), at) + ELLIPSIS;
}

}  // namespace msg_tarvel::tool
