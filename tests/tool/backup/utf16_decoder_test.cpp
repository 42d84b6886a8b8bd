#include "backup/utf16_decoder.h"

#include <gtest/gtest.h>

namespace msg_tarvel::tool {
namespace {

std::string bytes_of(const std::u16string& text, Utf16Decoder::Order order) {
  std::string bytes;
  for (const char16_t unit : text) {
    const auto high = static_cast<char>(unit >> 8);
    const auto low = static_cast<char>(unit & 0xFF);
    bytes += order == Utf16Decoder::Order::LOW_BYTE_FIRST ? std::string{low, high}
                                                          : std::string{high, low};
  }
  return bytes;
}

/** What becomes of the bytes when they come in pieces of this size. */
std::string decoded(const std::string& bytes, Utf16Decoder::Order order, std::size_t piece) {
  Utf16Decoder decoder(order);
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    decoder.decode(bytes.data() + at, std::min(piece, bytes.size() - at), text);
  }
  decoder.finish(text);
  return text;
}

/** In both byte orders, however the bytes are cut. */
void expect_decoded(const std::u16string& text, const std::string& expected) {
  for (const auto order :
       {Utf16Decoder::Order::LOW_BYTE_FIRST, Utf16Decoder::Order::HIGH_BYTE_FIRST}) {
    for (const std::size_t piece : {1U, 2U, 3U, 100U}) {
      EXPECT_EQ(decoded(bytes_of(text, order), order, piece), expected) << piece;
    }
  }
}

TEST(Utf16, BecomesTheSameText) {
  expect_decoded(u"<a b=\"c\"/>\n", "<a b=\"c\"/>\n");
  expect_decoded(u"é한\uFFFD", "é한\uFFFD");
  expect_decoded(u"\U00010000\U0001F602!\U0010FFFF", "\U00010000\U0001F602!\U0010FFFF");
  expect_decoded(u"", "");
  expect_decoded(std::u16string(1, u'\0'), std::string(1, '\0'));
}

TEST(Utf16, HalfAPairIsLeftToTheParser) {
  expect_decoded({u'a', 0xD83D, u'b'},
                 "a\xED\xA0\xBD"
                 "b");
  expect_decoded({0xDE02, u'a'},
                 "\xED\xB8\x82"
                 "a");
  expect_decoded({0xD83D}, "\xED\xA0\xBD");
  expect_decoded({0xD83D, 0xD83D, 0xDE02}, "\xED\xA0\xBD\U0001F602");
}

TEST(Utf16, HalfAUnitAtTheEndIsNotLost) {
  EXPECT_EQ(decoded({'a', '\0', 'b'}, Utf16Decoder::Order::LOW_BYTE_FIRST, 2), "ab");
}

}  // namespace
}  // namespace msg_tarvel::tool
