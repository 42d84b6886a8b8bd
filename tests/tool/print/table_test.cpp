#include "print/table.h"

#include <gtest/gtest.h>

#include <sstream>

#include "print/printable.h"

namespace msg_tarvel::tool {
namespace {

constexpr const char* KOREAN = "지금 어디예요?";      // seven wide characters
constexpr const char* FAMILY = "👨‍👩‍👧";  // three wide ones, joined
constexpr const char* ACCENT = "Cafe\xCC\x81 noir";   // a combining accent

TEST(Printable, MeasuresWideAndZeroWidthCharacters) {
  EXPECT_EQ(display_width(""), 0);
  EXPECT_EQ(display_width("abc"), 3);
  EXPECT_EQ(display_width("지금"), 4);
  EXPECT_EQ(display_width("😂"), 2);
  EXPECT_EQ(display_width(FAMILY), 6);
  EXPECT_EQ(display_width(ACCENT), 9);
}

TEST(Printable, LeavesNothingThatATerminalObeys) {
  EXPECT_EQ(printable("a\nb\tc\r\nd"), "a b c  d");
  EXPECT_EQ(printable("\033[31mred\x7F"), "\uFFFD[31mred\uFFFD");
  EXPECT_EQ(printable("a\xC2\x9B"
                      "b"),
            "a\uFFFDb");
  EXPECT_EQ(printable("x\u202Eevil\u202C\u2066y\u2069\u200F"), "xevily");
  EXPECT_EQ(printable("ok \xFF\xC3(\xED\xA0\x80 \xF0\x9F"),
            "ok \uFFFD\uFFFD(\uFFFD\uFFFD\uFFFD \uFFFD\uFFFD");
  EXPECT_EQ(printable(KOREAN), KOREAN);
}

TEST(Printable, IsCutBetweenCharacters) {
  EXPECT_EQ(cut_to_width("abcdef", 6), "abcdef");
  EXPECT_EQ(cut_to_width("abcdef", 5), "abcd…");
  EXPECT_EQ(cut_to_width("지금", 3), "지…");
  EXPECT_EQ(cut_to_width("지금", 2), "…");
  EXPECT_EQ(cut_to_width("abc", 1), "…");
  EXPECT_EQ(cut_to_width("abc", 0), "");
  // An accent stays with its letter.
  EXPECT_EQ(cut_to_width(ACCENT, 5), "Cafe\xCC\x81…");
}

/** The texts give way first, down to 16 columns, then BOX goes, then the names. */
Table sample() {
  Table table({{"ID", true}, {"STATE"}, {"WITH"}, {"BOX"}, {"TEXT"}},
              {{4, 16}, {3, 0}, {2, 9}, {4, 1}});
  table.add({"1", "", "+14155550111, +14155550122", "inbox",
             std::string(KOREAN) + " " + KOREAN + " " + KOREAN});
  table.add({"12", "", "Parcels", "sent", "😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂"});
  table.add({"7", "", "n", "sent", "a\nb"});
  return table;
}

std::vector<std::string> lines(const Table& table, int width) {
  std::ostringstream out;
  table.print(out, width);
  std::vector<std::string> result;
  std::istringstream in(out.str());
  for (std::string line; std::getline(in, line);) result.push_back(line);
  return result;
}

TEST(Table, IsNeverWiderThanTheTerminal) {
  for (int width = 1; width <= 200; ++width) {
    const auto printed = lines(sample(), width);
    EXPECT_EQ(printed.size(), 4U);
    for (const std::string& line : printed) EXPECT_LE(display_width(line), width) << line;
  }
}

TEST(Table, IsAsWideAsItIsWithoutATerminal) {
  EXPECT_EQ(lines(sample(), UNLIMITED),
            (std::vector<std::string>{
                "ID  STATE  WITH                        BOX    TEXT",
                " 1         +14155550111, +14155550122  inbox  지금 어디예요? 지금 어디예요? 지금 "
                "어디예요?",
                "12         Parcels                     sent   "
                "😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂😂",
                " 7         n                           sent   a b"}));
  EXPECT_EQ(output_width(-1), UNLIMITED);
}

TEST(Table, LeavesOutTheEmptyColumnFirst) {
  EXPECT_EQ(lines(sample(), 101).at(0), "ID  WITH                        BOX    TEXT");
  EXPECT_EQ(lines(sample(), 120).at(0), "ID  STATE  WITH                        BOX    TEXT");
}

TEST(Table, GivesWayStepByStep) {
  EXPECT_EQ(lines(sample(), 60).at(1),
            " 1  +14155550111, +14155550122  inbox  지금 어디예요? 지금 …");
  EXPECT_EQ(lines(sample(), 50).at(1), " 1  +14155550111, +14155550122  지금 어디예요? 지…");
  EXPECT_EQ(lines(sample(), 40).at(1), " 1  +14155550111, +14…  지금 어디예요? …");
  EXPECT_EQ(lines(sample(), 20),
            (std::vector<std::string>{"ID  WITH       TEXT", " 1  +1415555…  지금…",
                                      "12  Parcels    😂😂…", " 7  n          a b"}));
}

TEST(Table, TakesTheWidthFromTheEnvironmentWithoutATerminal) {
  setenv("COLUMNS", "132", 1);
  EXPECT_EQ(terminal_width(-1), 132);
  for (const char* nonsense : {"0", "-3", "wide", ""}) {
    setenv("COLUMNS", nonsense, 1);
    EXPECT_EQ(terminal_width(-1), 80) << nonsense;
  }
}

}  // namespace
}  // namespace msg_tarvel::tool
