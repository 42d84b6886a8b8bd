#include "backup/base64.h"

#include <glib.h>

#include <array>
#include <memory>

#include "backup/passage.h"
#include "exit_status.h"

namespace msg_tarvel::tool {

namespace {

constexpr std::uint8_t NO_DIGIT = 0xFF;

constexpr std::array<std::uint8_t, 256> make_digits() {
  std::array<std::uint8_t, 256> digits{};
  for (auto& digit : digits) digit = NO_DIGIT;
  const char* const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::uint8_t i = 0; i < 64; ++i) digits[static_cast<unsigned char>(alphabet[i])] = i;
  return digits;
}

constexpr std::array<std::uint8_t, 256> DIGITS = make_digits();

void append_group(std::uint32_t group, int byteCount, std::string& bytes) {
  const char three[] = {static_cast<char>(group >> 16), static_cast<char>(group >> 8),
                        static_cast<char>(group)};
  bytes.append(three, static_cast<std::size_t>(byteCount));
}

}  // namespace

void Base64Decoder::decode(const char* text, std::size_t size, std::string& bytes) {
  const auto* at = reinterpret_cast<const unsigned char*>(text);
  const auto* const end = at + size;
  while (at != end && !_damaged) {
    // Whole groups at once: nearly all of a picture.
    while (_digits == 0 && !_ended && end - at >= 4) {
      const std::uint32_t a = DIGITS[at[0]];
      const std::uint32_t b = DIGITS[at[1]];
      const std::uint32_t c = DIGITS[at[2]];
      const std::uint32_t d = DIGITS[at[3]];
      if ((a | b | c | d) == NO_DIGIT) break;
      append_group(a << 18 | b << 12 | c << 6 | d, 3, bytes);
      at += 4;
    }
    if (at != end) _takeOne(*at++, bytes);
  }
}

void Base64Decoder::_takeOne(unsigned char character, std::string& bytes) {
  if (is_blank(static_cast<char>(character))) return;
  const std::uint8_t digit = DIGITS[character];
  const bool isPadding = character == '=' && _digits >= 2;
  if (_ended || (digit == NO_DIGIT && !isPadding) || (_padding > 0 && !isPadding)) {
    _damaged = true;
    return;
  }
  _group = _group << 6 | (isPadding ? 0U : digit);
  if (isPadding) ++_padding;
  if (++_digits < 4) return;
  append_group(_group, 3 - _padding, bytes);
  _ended = _padding > 0;
  _group = 0;
  _digits = 0;
}

std::string base64_of(const std::string& bytes) {
  const std::unique_ptr<char, decltype(&g_free)> base64(
      g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()), &g_free);
  return base64.get();
}

std::string bytes_of_base64(const std::string& base64) {
  Base64Decoder decoder;
  std::string bytes;
  decoder.decode(base64.data(), base64.size(), bytes);
  if (!decoder.isWhole()) throw Failure("damaged base64");
  return bytes;
}

}  // namespace msg_tarvel::tool
