#include "print/json.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <sstream>
#include <vector>

namespace msg_tarvel::tool {
namespace {

std::string printed(const std::vector<Json>& items, int depth = 0) {
  std::ostringstream out;
  JsonList list(out, depth);
  for (const Json& item : items) list.add(item);
  list.end();
  return out.str();
}

TEST(JsonText, EscapesWhatATerminalObeys) {
  const std::string turning =
      "\xD8\x9C\xE2\x80\x8E\xE2\x80\x8F\xE2\x80\xAE\xE2\x81\xA6\xE2\x81\xA9";
  EXPECT_EQ(json_text(turning), "\"\\u061c\\u200e\\u200f\\u202e\\u2066\\u2069\"");
  EXPECT_EQ(json_text("a\x1B[m\x7F\xC2\x85\xC2\x9F"), "\"a\\u001b[m\\u007f\\u0085\\u009f\"");
  const std::string harmless =
      "\u00A0 ü 지금 👨‍👩‍👧 \u200B \u200D \u202F \u2065 \u206A";
  EXPECT_EQ(json_text(harmless), "\"" + harmless + "\"");
  EXPECT_EQ(json_text("\xFF<"), "\"\uFFFD<\"");
  EXPECT_EQ(Json::parse(json_text("\xE2\x80\xAE\x7F")), Json("\xE2\x80\xAE\x7F"));
}

TEST(JsonList, IsWhatTheWholeWouldBe) {
  const Json first = {{"a", 1}, {"b", Json::array({1, "x\ny"})}, {"c", Json::array()}};
  for (const std::vector<Json>& items : {std::vector<Json>{}, {first}, {first, 7, first}}) {
    Json whole = Json::array();
    for (const Json& item : items) whole.push_back(item);
    EXPECT_EQ(printed(items), whole.dump(2) + "\n");
    Json within;
    within["items"] = whole;
    EXPECT_EQ("{\n  \"items\": " + printed(items, 1) + "}", within.dump(2));
  }
}

// A message can have very many addresses.
TEST(JsonList, TakesTimeInStepWithTheLinesOfAnItem) {
  constexpr std::size_t LINES = 150'000;
  const Json item = std::vector<int>(LINES, 1234567);
  const std::clock_t begin = std::clock();
  const std::string alone = json_text(item);
  const std::clock_t end = std::clock();
  const std::string text = printed({item});
  EXPECT_LT(std::clock() - end, 15 * (end - begin));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'),
            std::count(alone.begin(), alone.end(), '\n') + 3);
}

TEST(JsonList, GivesTheFirstItemAtOnce) {
  class Buffer : public std::stringbuf {
   public:
    int flushes = 0;

   protected:
    int sync() override {
      ++flushes;
      return 0;
    }
  } buffer;
  std::ostream out(&buffer);
  JsonList list(out);
  list.add(1);
  EXPECT_EQ(buffer.flushes, 1);
  list.add(2);
  EXPECT_EQ(buffer.flushes, 1) << "not for each of many";
}

}  // namespace
}  // namespace msg_tarvel::tool
