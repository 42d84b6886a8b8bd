// What stands in place of texts and numbers: of the same form, and matching as they did.

#include "redact/disguise.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <string>
#include <vector>

#include "generate/chance.h"
#include "generate/people.h"

namespace msg_tarvel::tool {
namespace {

const std::string KEY = "a key for tests";

std::string text(const std::string& original) { return Disguise(KEY).text(original); }
std::string number(const std::string& original) { return Disguise(KEY).number(original); }

/** How the characters of a text are of a kind: 'a', 'A', '0', or the first of their block. */
std::string form_of(const std::string& text) {
  std::string form;
  for (const char* at = text.c_str(); *at != '\0'; at = g_utf8_next_char(at)) {
    const gunichar character = g_utf8_get_char(at);
    const bool isUpper = g_unichar_isupper(character);
    form += g_unichar_isdigit(character) ? "0"
            : g_unichar_isalpha(character)
                ? (isUpper ? "A" : "a")
                : std::string(at, static_cast<std::size_t>(g_utf8_next_char(at) - at));
    form += std::to_string(g_unichar_get_script(character)) + ' ';
  }
  return form;
}

TEST(Disguise, TextsKeepLengthScriptCaseAndPunctuation) {
  for (const std::string original :
       {"Hello, World! At 7:30?", "Où est l'École déjà ÀÉ", "Привет, Мир ёЁ", "Αθήνα ΣΩ", "שלום",
        "مرحبا ٣٤", "नमस्ते", "สวัสดี", "안녕하세요", "こんにちは カタカナ", "漢字漢字", "ＡＢｃ１",
        "two\nlines\tand more", "https://example.org/a?b=c"}) {
    const std::string disguised = text(original);
    EXPECT_NE(disguised, original);
    EXPECT_EQ(disguised.size(), original.size()) << original << " " << disguised;
    EXPECT_TRUE(g_utf8_validate(disguised.c_str(), -1, nullptr)) << original;
    // Where vowels are marks, a neighbour of one may be a letter.
    const bool hasMarks = original == "नमस्ते" || original == "สวัสดี";
    EXPECT_TRUE(hasMarks || form_of(disguised) == form_of(original)) << disguised;
  }
}

TEST(Disguise, NothingOfATextStaysInItsPlaceForLong) {
  const std::string original(2000, 'e');
  const std::string disguised = text(original);
  std::size_t same = 0;
  for (const char character : disguised) same += character == 'e' ? 1 : 0;
  EXPECT_LT(same, 130U);
  EXPECT_GT(same, 30U);
}

TEST(Disguise, PicturesStayPictures) {
  const std::string original = "😂😂👍🏽❤️🚆";
  const std::string disguised = text(original);
  EXPECT_NE(disguised, original);
  EXPECT_EQ(disguised.size(), original.size());
  EXPECT_NE(disguised.find("🏽"), std::string::npos) << "a skin colour";
}

TEST(Disguise, EqualTextsBecomeEqualOnesAndOthersOnlyForAnotherKey) {
  EXPECT_EQ(text("the same"), text("the same"));
  EXPECT_NE(text("the same"), text("the sane"));
  EXPECT_NE(text("the same"), Disguise("another key").text("the same"));
  EXPECT_EQ(text(""), "");
  EXPECT_EQ(text("    "), "    ");
  const std::string upper = text("BANK");
  gchar* const lower = g_ascii_strdown(upper.c_str(), -1);
  EXPECT_EQ(text("bank"), lower);
  g_free(lower);
}

TEST(Disguise, PunctuationAloneIsReplacedToo) {
  const std::string disguised = text("?! ... --");
  EXPECT_NE(disguised, "?! ... --");
  EXPECT_EQ(disguised.size(), 9U);
  EXPECT_EQ(disguised[2], ' ');
}

TEST(Disguise, BytesThatAreNoTextStayNone) {
  using namespace std::string_literals;
  const std::string disguised = text("ab\0c\x80\xe2\x82"s);
  ASSERT_EQ(disguised.size(), 7U);
  EXPECT_EQ(disguised[2], '\0');
  EXPECT_EQ(disguised.substr(4), "\xff\xff\xff");
}

TEST(Disguise, PathsKeepTheExtensionOfAKnownType) {
  const std::string disguised = Disguise(KEY).path("/home/owner/media/12-1.jpg");
  EXPECT_EQ(form_of(disguised.substr(0, disguised.size() - 4)), form_of("/home/owner/media/12-1"));
  EXPECT_EQ(disguised.substr(disguised.size() - 4), ".jpg");
  EXPECT_EQ(disguised.find("home"), std::string::npos);
  EXPECT_EQ(Disguise(KEY).path("letter.to-anna"), text("letter.to-anna"));
}

TEST(Disguise, NumbersKeepLengthAndPrefix) {
  const struct {
    const char* original;
    std::size_t prefix;
  } numbers[] = {{"+14155550100", 2},  {"+442079460100", 3},  {"+3546111234", 4},
                 {"0639980012", 1},    {"00442079460100", 4}, {"4155550100", 0},
                 {"+390612345678", 4}, {"262966", 0},         {"0123456", 0},
                 {"+12345", 1}};
  for (const auto& [original, prefix] : numbers) {
    const std::string disguised = number(original);
    EXPECT_EQ(disguised.size(), std::string(original).size());
    EXPECT_EQ(disguised.substr(0, prefix), std::string(original).substr(0, prefix));
    EXPECT_NE(disguised, original);
    EXPECT_NE(disguised.back(), original[disguised.size() - 1]);
  }
  EXPECT_EQ(number("+"), "+");
}

TEST(Disguise, NumbersInPunctuationAreTheSameNumbers) {
  const std::string bare = number("4155550100");
  EXPECT_EQ(number("(415) 555-0100"),
            "(" + bare.substr(0, 3) + ") " + bare.substr(3, 3) + "-" + bare.substr(6));
  EXPECT_EQ(number("+1 415.555.0100"),
            "+1 " + bare.substr(0, 3) + "." + bare.substr(3, 3) + "." + bare.substr(6));
  EXPECT_EQ(number("friend@example.org"), text("friend@example.org"));
}

// Its endings would take memory by the square of its digits.
TEST(Disguise, WhatIsTooLongForANumberIsAText) {
  const std::string longest(40, '7');
  EXPECT_NE(number(longest), text(longest));
  EXPECT_EQ(number(longest).substr(20), number(longest.substr(20)));

  for (const std::string& original : {longest + "7", "+" + longest, std::string(2000, '0')}) {
    const std::string disguised = number(original);
    EXPECT_EQ(disguised, text(original));
    EXPECT_NE(disguised, original);
    EXPECT_EQ(disguised.size(), original.size());
    EXPECT_EQ(number("(" + original.substr(0, 9) + ") " + original.substr(9)),
              "(" + disguised.substr(0, 9) + ") " + disguised.substr(9))
        << "in punctuation it is the same number";
    Disguise disguise(KEY);
    disguise.learn(original);
    EXPECT_EQ(disguise.number(original), disguised);
  }
}

/** What the library compares of a number on a device of so many digits. */
std::string compared(const std::string& number, std::size_t digits) {
  if (number.size() <= digits) return number;
  const bool hasPrefix = number[0] == '+' || number[0] == '0';
  return "%" +
         (hasPrefix ? common_util::convert_number(number) : number.substr(number.size() - digits));
}

bool is_found(const std::string& wanted, const std::string& stored, std::size_t digits) {
  const std::string pattern = compared(wanted, digits);
  if (pattern[0] != '%') return stored == pattern;
  const std::size_t size = pattern.size() - 1;
  return stored.size() >= size && stored.compare(stored.size() - size, size, pattern, 1) == 0;
}

/** People's numbers in several forms, and changes of one digit. */
std::vector<std::string> many_numbers() {
  std::vector<std::string> numbers = {"262966",     "+14155262966",   "12345678", "+390612345678",
                                      "0612345678", "00390612345678", "5123456",  "0123456"};
  Chance chance(7);
  for (int i = 0; i < 40; ++i) {
    const std::string rest = std::to_string(chance.between(100000000, 999999999));
    for (const char* const prefix : {"+49", "0049", "0", "", "+33", "1", "+390", "01"}) {
      numbers.push_back(prefix + rest);
    }
    std::string changed = rest;
    changed[chance.below(changed.size())] = '0';
    numbers.push_back("0" + changed);
    numbers.push_back("+49" + changed);
  }
  return numbers;
}

TEST(Disguise, NumbersMatchWhatTheyMatched) {
  const std::vector<std::string> numbers = many_numbers();
  Disguise disguise(KEY);
  for (const std::string& one : numbers) disguise.learn(one);
  std::vector<std::string> disguised;
  disguised.reserve(numbers.size());
  for (const std::string& one : numbers) disguised.push_back(disguise.number(one));
  int matches = 0;
  for (std::size_t a = 0; a < numbers.size(); ++a) {
    for (std::size_t b = 0; b < numbers.size(); ++b) {
      ASSERT_EQ(disguised[a] == disguised[b], numbers[a] == numbers[b])
          << numbers[a] << " " << numbers[b];
      for (std::size_t digits = 7; digits <= 10; ++digits) {
        const bool wasFound = is_found(numbers[a], numbers[b], digits);
        matches += wasFound && a != b ? 1 : 0;
        ASSERT_EQ(is_found(disguised[a], disguised[b], digits), wasFound)
            << numbers[a] << " finds " << numbers[b] << " with " << digits;
      }
    }
  }
  EXPECT_GT(matches, 3000);
}

}  // namespace
}  // namespace msg_tarvel::tool
