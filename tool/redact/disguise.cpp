#include "redact/disguise.h"

#include <glib.h>
#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "generate/chance.h"
#include "helpers/same_address.h"
#include "import/media_type.h"
#include "redact/scripts.h"

namespace msg_tarvel::tool {

namespace {

/** How many more draws a text gets that came out as it was. */
constexpr int MOST_DRAWS = 20;

/** Numbers of fewer digits have no prefix: they are short codes and local ones. */
constexpr std::size_t LEAST_WITH_PREFIX = 8;

constexpr const char* DIGITS = "0123456789";

/** So far from the end a 0 may be a country's trunk prefix: it stays one. */
constexpr std::size_t FIRST_TRUNK_PLACE = 7;

std::string draw(const std::string& original, Chance& chance, bool withPunctuation) {
  std::string drawn;
  const char* at = original.data();
  const char* const end = at + original.size();
  while (at < end) {
    const gunichar character = g_utf8_get_char_validated(at, end - at);
    if (character == 0 || character >= 0x110000) {
      // A NUL, or a byte that is no character.
      drawn += *at == '\0' ? '\0' : '\xff';
      ++at;
      continue;
    }
    gchar bytes[6];
    const gint size = g_unichar_to_utf8(other_character(character, chance, withPunctuation), bytes);
    drawn.append(bytes, static_cast<std::size_t>(size));
    at = g_utf8_next_char(at);
  }
  return drawn;
}

std::string in_lower_case(std::string text) {
  for (char& character : text) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
  }
  return text;
}

/** What each digit becomes that has so many others behind it. */
std::string permutation_before(std::size_t others, Chance& chance) {
  const std::string digits = DIGITS;
  const std::size_t kept = others >= FIRST_TRUNK_PLACE ? 1 : 0;
  std::vector<char> shuffled(digits.begin() + static_cast<std::ptrdiff_t>(kept), digits.end());
  chance.shuffle(shuffled);
  std::string permutation = digits;
  if (others > 0) {
    std::copy(shuffled.begin(), shuffled.end(),
              permutation.begin() + static_cast<std::ptrdiff_t>(kept));
    return permutation;
  }
  // The last digit always changes, and with it the number.
  for (std::size_t i = 0; i < shuffled.size(); ++i) {
    permutation[static_cast<std::size_t>(shuffled[i] - '0')] = shuffled[(i + 1) % shuffled.size()];
  }
  return permutation;
}

/** What is longer is a text: each ending of a number is kept, which takes memory by its square. */
bool is_too_long(const std::string& number) {
  constexpr std::size_t LONGEST_NUMBER = 40;
  return number.size() > LONGEST_NUMBER;
}

/** How many characters of a number, in digits and perhaps "+", stay. */
std::size_t prefix_of(const std::string& number) {
  const bool isInternational = number[0] == '+';
  if (number.size() < LEAST_WITH_PREFIX || (!isInternational && number[0] != '0')) {
    return isInternational ? 1 : 0;
  }
  return number.size() - common_util::convert_number(number).size();
}

}  // namespace

std::string Disguise::digest(const std::string& purpose, const std::string& original) const {
  GHmac* const hmac =
      g_hmac_new(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(_key.data()), _key.size());
  const std::string message = purpose + ":" + original;
  g_hmac_update(hmac, reinterpret_cast<const guchar*>(message.data()),
                static_cast<gssize>(message.size()));
  std::string text = g_hmac_get_string(hmac);
  g_hmac_unref(hmac);
  return text;
}

std::uint64_t Disguise::_seed(const char* purpose, const std::string& original) const {
  return std::stoull(digest(purpose, original).substr(0, 16), nullptr, 16);
}

std::string Disguise::text(const std::string& original) const {
  Chance chance(_seed("text", in_lower_case(original)));
  std::string drawn = draw(original, chance, false);
  const bool withPunctuation = drawn == original;
  for (int left = MOST_DRAWS; drawn == original && left > 0; --left) {
    drawn = draw(original, chance, withPunctuation);
  }
  return drawn;
}

std::string Disguise::path(const std::string& original) const {
  const std::size_t dot = original.rfind('.');
  if (dot == std::string::npos || !is_known_extension(original.substr(dot + 1))) {
    return text(original);
  }
  return text(original.substr(0, dot)) + original.substr(dot);
}

void Disguise::learn(const std::string& original) {
  const std::string bare = helpers::normalised_address(original);
  if (!helpers::is_phone_number(bare) || is_too_long(bare)) return;
  for (std::size_t i = 0; i < prefix_of(bare); ++i) {
    if (bare[i] != '+') _permutations[bare.substr(i + 1)] = DIGITS;
  }
}

std::string Disguise::number(const std::string& original) {
  const std::string bare = helpers::normalised_address(original);
  if (!helpers::is_phone_number(bare)) return text(original);
  const std::string disguised = is_too_long(bare) ? text(bare) : _bareNumber(bare);

  // The digits go where the number's digits were.
  std::string written = original;
  std::size_t next = bare[0] == '+' ? 1 : 0;
  for (char& character : written) {
    if (character >= '0' && character <= '9') character = disguised[next++];
  }
  return written;
}

std::string Disguise::_bareNumber(const std::string& number) {
  const std::size_t prefix = prefix_of(number);
  return number.substr(0, prefix) + _digits(number.substr(prefix));
}

std::string Disguise::_digits(const std::string& digits) {
  std::string disguised = digits;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    disguised[i] = _digit(digits[i], digits.substr(i + 1));
  }
  return disguised;
}

/** A permutation of the digits for each ending: it keeps apart what was apart. */
char Disguise::_digit(char digit, const std::string& behind) {
  const auto [entry, isNew] = _permutations.try_emplace(behind);
  if (isNew) {
    Chance chance(_seed("digits", behind));
    entry->second = permutation_before(behind.size(), chance);
  }
  return entry->second[static_cast<std::size_t>(digit - '0')];
}

}  // namespace msg_tarvel::tool
