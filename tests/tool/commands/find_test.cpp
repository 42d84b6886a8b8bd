// `find --explain`: what decides on this device, step by step, and that it says what the search
// does.

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

class Find : public ToolTest {
 protected:
  void SetUp() override {
    create();
    RawConnection(dbFile()).exec(
        "INSERT INTO msg_conversation_table (convId, msgCnt) VALUES (1, 0), (2, 0), (3, 0), (4, 0),"
        "(5, 0), (6, 0);"
        "INSERT INTO msg_address_table (convId, addressType, address) VALUES (1, 1, '4155550111'), "
        "(2, 1, '+14155550111'), (2, 1, '+14155550122'), (3, 1, '0111'), "
        "(4, 2, 'a_b@example.org'), (5, 1, '+4915550111'), (6, 1, '+821055550133');");
  }

  void settings(const std::string& text) const { file("settings.ini", text); }

  /** No conversation of these stores has messages. */
  nlohmann::json explanation(std::vector<std::string> numbers) const {
    numbers.insert(numbers.begin(), {"find", "--explain", "--json"});
    const ProcessResult result = run(numbers);
    auto json = nlohmann::json::parse(result.out, nullptr, false);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, json["found"].is_null()
                              ? "msg-tarvel: there is no conversation with exactly these people\n"
                              : "msg-tarvel: their conversation, " + json["found"].dump() +
                                    ", has no messages\n");
    return json;
  }

  static nlohmann::json candidate(int convId, const std::string& address, bool matches, bool back) {
    return {{"convId", convId}, {"address", address}, {"matches", matches}, {"matchesBack", back}};
  }
};

TEST_F(Find, ExplainsInText) {
  settings("[db/csc]\ncountry_iso=US\n");
  const ProcessResult result = run({"find", "(415) 555-0111", "--explain"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "Settings\n"
            "  db/contacts-svc/phonenumber_min_match_digit = 8 (factory)\n"
            "  db/csc/country_iso = US (" +
                folder() +
                "/settings.ini)\n"
                "  numbers are compared by their last 8 digits\n"
                "Looking for 4155550111\n"
                "  it is longer than 8: the ending decides\n"
                "  condition: address LIKE '%%55550111'\n"
                "  4155550111 in conversation 1: matches, both ways\n"
                "  +14155550111 in conversation 2: matches, both ways\n"
                "  0111 in conversation 3: does not match either way\n"
                "  +4915550111 in conversation 5: does not match either way\n"
                "Conversations of exactly 1\n"
                "  1: 1 of 1 addresses match: found\n"
                "  2: 1 of 2 addresses match: has others too\n"
                "  3: 0 of 1 addresses match: does not have everyone\n"
                "  5: 0 of 1 addresses match: does not have everyone\n");
  EXPECT_EQ(result.err, "msg-tarvel: their conversation, 1, has no messages\n");
}

TEST_F(Find, ExplainsInJson) {
  const auto found = explanation({"4155550122", "+1 415 555 0111"});
  EXPECT_EQ(found["digits"], 8);
  EXPECT_EQ(found["settings"][1],
            nlohmann::json::parse(
                R"({"key": "db/csc/country_iso", "value": "US", "source": "factory"})"));
  EXPECT_EQ(found["people"][0]["address"], "4155550122");
  EXPECT_EQ(found["people"][1]["condition"], "address LIKE '%%4155550111'");
  EXPECT_EQ(found["found"], 2);
  EXPECT_EQ(found["conversations"][1]["convId"], 2);
  EXPECT_EQ(found["conversations"][1]["matching"], 2);
  EXPECT_EQ(found["conversations"][1]["verdict"], "found");
  EXPECT_EQ(found["conversations"][0]["verdict"], "has fewer");
}

TEST_F(Find, ExplainsThatAnEndingWorksOneWayOnly) {
  // Ten digits of the long one are asked of the short one, eight of the short one of the long one.
  RawConnection(dbFile()).exec(
      "INSERT INTO msg_address_table (convId, addressType, address) "
      "VALUES (9, 1, '3155550111');");
  const auto person = explanation({"+14155550111"})["people"][0];
  EXPECT_EQ(person["candidates"][0], candidate(1, "4155550111", true, true));
  const auto& last = person["candidates"].back();
  EXPECT_EQ(last, candidate(9, "3155550111", false, true));
}

TEST_F(Find, ExplainsWhatTheCountryDecides) {
  settings("[db/csc]\ncountry_iso=KR\n");
  auto person = explanation({"+14155550111"})["people"][0];
  EXPECT_EQ(person["reason"], "is foreign to a device of KR: the whole number must be equal");
  EXPECT_EQ(person["condition"], "address LIKE '+14155550111'");
  person = explanation({"01055550133"})["people"][0];
  EXPECT_EQ(person["condition"], "address LIKE '%%1055550133'");
  EXPECT_EQ(person["candidates"][0], candidate(6, "+821055550133", true, true));
  settings("[db/csc]\ncountry_iso=US\n");
  person = explanation({"+821055550133"})["people"][0];
  EXPECT_EQ(person["condition"], "address LIKE '+821055550133'");
  settings("[db/csc]\ncountry_iso=DE\n");
  person = explanation({"+821055550133"})["people"][0];
  EXPECT_EQ(person["condition"], "address LIKE '%%1055550133'");
}

TEST_F(Find, ExplainsWhatIsNoNumberOrAShortOne) {
  auto person = explanation({"0111"})["people"][0];
  EXPECT_EQ(person["reason"], "is no longer than 8: the whole number must be equal");
  EXPECT_EQ(person["candidates"][1], candidate(2, "+14155550111", false, false));
  person = explanation({"A_B@example.org"})["people"][0];
  EXPECT_EQ(person["condition"], "the same address");
  EXPECT_EQ(person["candidates"][0], candidate(4, "a_b@example.org", false, false));
  person = explanation({"ann@example.org"})["people"][0];
  EXPECT_EQ(person["reason"], "is no phone number: the whole text must be equal");
  settings("[db/csc]\ncountry_iso=DE\n[db/contacts-svc]\nphonenumber_min_match_digit=2\n");
  EXPECT_EQ(explanation({"+21"})["people"][0]["reason"],
            "ends within its calling code: the whole text must be equal");
  settings("[db/contacts-svc]\nphonenumber_min_match_digit=x\n");
  const auto unreadable = explanation({"4155550111"});
  EXPECT_EQ(unreadable["settings"][0]["value"], "x");
  EXPECT_EQ(unreadable["settings"][0]["source"], folder() + "/settings.ini");
  EXPECT_EQ(unreadable["digits"], 0);
}

TEST_F(Find, ExplainsThatNobodyIsAlike) {
  const ProcessResult result = run({"find", "999", "--explain"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(
      result.out.find("  no address is like it\nConversations of exactly 1\n  none is like it\n"),
      std::string::npos)
      << result.out;
}

/** What the explanation says of a pair is what the library's search does with it. */
TEST_F(Find, SaysWhatTheSearchDoes) {
  const std::vector<std::string> numbers = {
      "4155550111",    "+14155550111", "0014155550111", "04155550111", "55550111", "5550111",
      "+821055550133", "01055550133",  "+4915550111",   "015550111",   "O'Hara",   "o'hara"};
  for (const char* country : {"US", "KR", "DE"}) {
    settings(std::string("[db/csc]\ncountry_iso=") + country + "\n");
    RawConnection store(dbFile());
    store.exec("DELETE FROM msg_address_table;");
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      store.exec("INSERT INTO msg_address_table (convId, addressType, address) VALUES (" +
                 std::to_string(i + 1) + ", 1, " + quoted(numbers[i]) + ");");
    }
    for (const std::string& number : numbers) {
      const auto json = explanation({number});
      int first = 0;
      for (const auto& one : json["people"][0]["candidates"]) {
        if (one["matches"] == true && first == 0) first = one["convId"];
      }
      EXPECT_EQ(json["found"].is_null() ? 0 : json["found"].get<int>(), first)
          << country << " " << number;
    }
  }
}

}  // namespace
}  // namespace msg_tarvel
