#include "redact/scripts.h"

#include <algorithm>
#include <iterator>

namespace msg_tarvel::tool {

namespace {

/** Characters for each other, all as long in UTF-8; of a stride of 2 every other one has its case.
 */
struct Alphabet {
  char32_t first = 0;
  char32_t last = 0;
  char32_t stride = 1;
};

// In their order.
constexpr Alphabet ALPHABETS[] = {
    {U'0', U'9'},       {U'A', U'Z'},       {U'a', U'z'},       {0xC0, 0xD6},
    {0xDF, 0xF6},       {0xF8, 0xFF},       {0x100, 0x137, 2},  {0x14A, 0x177, 2},
    {0x391, 0x3A1},     {0x3A3, 0x3AB},     {0x3AC, 0x3AF},     {0x3B1, 0x3CE},
    {0x410, 0x42F},     {0x430, 0x44F},     {0x450, 0x45F},     {0x531, 0x556},
    {0x561, 0x586},     {0x5D0, 0x5EA},     {0x621, 0x63A},     {0x641, 0x64A},
    {0x660, 0x669},     {0x6F0, 0x6F9},     {0x905, 0x939},     {0x966, 0x96F},
    {0xE01, 0xE2E},     {0x10D0, 0x10F0},   {0x3041, 0x3096},   {0x30A1, 0x30FA},
    {0x4E00, 0x9FBF},   {0xAC00, 0xD7A3},   {0xFF10, 0xFF19},   {0xFF21, 0xFF3A},
    {0xFF41, 0xFF5A},   {0x1F1E6, 0x1F1FF}, {0x1F300, 0x1F3FA}, {0x1F400, 0x1F5FF},
    {0x1F600, 0x1F64F}, {0x1F680, 0x1F6C5}, {0x1F900, 0x1F9FF},
};

constexpr char32_t PUNCTUATION[] = U"!#$%&*+,-./:;<=>?@^_~";

/** What joins others: zero-width joiners, direction marks, variation selectors, skin colours. */
bool shapes_others(char32_t character) {
  return (character >= 0x300 && character <= 0x36F) ||
         (character >= 0x2000 && character <= 0x206F) ||
         (character >= 0xFE00 && character <= 0xFE0F) ||
         (character >= 0x1F3FB && character <= 0x1F3FF);
}

char32_t drawn_from(const Alphabet& alphabet, char32_t character, Chance& chance) {
  const char32_t offset = (character - alphabet.first) % alphabet.stride;
  const std::size_t count = (alphabet.last - alphabet.first - offset) / alphabet.stride + 1;
  return alphabet.first + offset + static_cast<char32_t>(chance.below(count)) * alphabet.stride;
}

}  // namespace

char32_t other_character(char32_t character, Chance& chance, bool withPunctuation) {
  const auto* const alphabet =
      std::find_if(std::begin(ALPHABETS), std::end(ALPHABETS),
                   [character](const Alphabet& one) { return character <= one.last; });
  if (alphabet != std::end(ALPHABETS) && character >= alphabet->first) {
    return drawn_from(*alphabet, character, chance);
  }
  if (character < 0x80) {
    const bool isPunctuation = character > 0x20 && character < 0x7F;
    constexpr std::size_t COUNT = std::size(PUNCTUATION) - 1;
    return isPunctuation && withPunctuation ? PUNCTUATION[chance.below(COUNT)] : character;
  }
  if (character < 0xA0 || shapes_others(character)) return character;
  // Of a script without a line above: one of its neighbours, which are as long.
  constexpr char32_t NEIGHBOURHOOD = 32;
  const char32_t first = character / NEIGHBOURHOOD * NEIGHBOURHOOD;
  return first + static_cast<char32_t>(chance.below(NEIGHBOURHOOD));
}

}  // namespace msg_tarvel::tool
