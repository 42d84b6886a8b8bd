// Whom an import takes for the owner, which messages it takes for the same, and whom for two.

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

constexpr const char* FRIEND = "+14155550111";
constexpr const char* THIRD = "+14155550122";
constexpr const char* OWN = "+14155550100";

class ImportPeople : public ToolTest {
 protected:
  void SetUp() override { create(); }

  static std::string from(const std::string& sender, const std::string& recipient, int date) {
    return mms({{"address", sender + "~" + recipient}, {"date", std::to_string(date)}},
               text_part("to all"), addrs({{137, sender}, {151, recipient}}));
  }
  std::string peopleOf(const std::string& type) const {
    return rows(
        "SELECT (SELECT group_concat(address, ' ') FROM msg_address_table a "
        "WHERE a.convId = m.convId) FROM msg_message_table m WHERE msgType = '" +
        type + "' ORDER BY displayTime;");
  }
};

// The phone leaves its own number out: a group of three looks like a message from one to another.
TEST_F(ImportPeople, AGroupDoesNotLandInAPrivateThread) {
  const std::string group = from(FRIEND, THIRD, 1) + from(FRIEND, THIRD, 2);
  const std::string three = std::string(FRIEND) + " " + THIRD + "\n";
  EXPECT_EQ(import(group)["ownNumbers"], nlohmann::json::array());
  EXPECT_EQ(peopleOf("mms"), three + three);
}

TEST_F(ImportPeople, WhoIsWrittenToBesideAnotherIsNotTheOwner) {
  // Silent, and in every group of two senders.
  std::string elements;
  for (int i = 1; i <= 10; ++i) {
    elements += from(FRIEND, THIRD, i) + from(OWN, THIRD, 100 + i);
  }
  const std::string sent =
      mms({{"address", std::string(FRIEND) + "~" + THIRD}, {"msg_box", "2"}, {"date", "900"}},
          text_part("mine"), addrs({{137, "insert-address-token"}, {151, FRIEND}, {151, THIRD}}));
  const nlohmann::json summary = import(elements + sent);
  EXPECT_EQ(summary["ownNumbers"], nlohmann::json::array());
  EXPECT_EQ(summary["conversationsCreated"], 2);
}

TEST_F(ImportPeople, WhoSendsTextsIsNotTheOwner) {
  // Alone, unlisted and in all messages, but a sender of texts.
  const std::string message = mms({{"address", FRIEND}, {"date", "1"}}, text_part("a"),
                                  addrs({{137, FRIEND}, {151, THIRD}}));
  import(message + sms({{"address", "4155550122"}, { "date", "2" }}));
  EXPECT_EQ(peopleOf("mms"), std::string(FRIEND) + " " + THIRD + "\n");
}

TEST_F(ImportPeople, AGuessedNumberIsPrintedWithItsMessages) {
  std::string elements;
  for (int i = 1; i <= 3; ++i) {
    elements += mms({{"address", FRIEND}, {"date", std::to_string(i)}}, text_part("a"),
                    addrs({{137, FRIEND}, {151, OWN}}));
  }
  const std::string path = file("b.xml", backup(elements));
  EXPECT_NE(run({"import", path, "--dry-run"})
                .out.find("own number, by what the file shows: +14155550100, in 3 messages with "
                          "others\n"),
            std::string::npos);
  EXPECT_EQ(
      json({"import", path})["ownNumbers"],
      nlohmann::json::parse(R"([{"number": "+14155550100", "source": "backup", "messages": 3}])"));
  EXPECT_EQ(peopleOf("mms"), "+14155550111\n+14155550111\n+14155550111\n");
}

TEST_F(ImportPeople, AGivenNumberEndsAllGuessing) {
  const std::string elements = mms({{"address", FRIEND}, {"date", "1"}}, text_part("a"),
                                   addrs({{137, FRIEND}, {151, OWN}})) +
                               mms({{"address", FRIEND}, {"date", "2"}}, text_part("a"),
                                   addrs({{137, FRIEND}, {151, THIRD}, {130, "4155550133"}}));
  EXPECT_EQ(
      import(elements, {"--own-number", "+1 415-555-0133"})["ownNumbers"],
      nlohmann::json::parse(R"([{"number": "+14155550133", "source": "option", "messages": 1}])"));
  EXPECT_EQ(peopleOf("mms"),
            std::string(FRIEND) + " " + OWN + "\n" + std::string(FRIEND) + " " + THIRD + "\n");
}

TEST_F(ImportPeople, ASimCardsNumberIsTheOwners) {
  RawConnection(dbFile()).exec(
      "INSERT INTO msg_sim_table (simIndex, Address) VALUES (0, '4155550100');");
  const std::string message =
      mms({{"address", FRIEND}}, text_part("a"), addrs({{137, FRIEND}, {151, THIRD}, {151, OWN}}));
  EXPECT_EQ(import(message)["ownNumbers"],
            nlohmann::json::parse(R"([{"number": "4155550100", "source": "sim", "messages": 1}])"));
}

TEST_F(ImportPeople, WithoutABoxTheTransferOrTheSenderTellsTheDirection) {
  const auto message = [](const std::string& date, const std::string& transfer,
                          const std::vector<std::pair<int, std::string>>& people) {
    return element("mms", {{"address", FRIEND}, {"date", date}, {"m_type", transfer}},
                   element("parts", {}, text_part(date)) + element("addrs", {}, addrs(people)));
  };
  const auto summary = import(
      message("1", "128", {{151, FRIEND}}) + message("2", "132", {{137, FRIEND}}) +
      message("3", "130", {}) + message("4", "null", {{137, "insert-address-token"}}) +
      message("5", "null", {{137, FRIEND}}) + message("6", "null", {{137, OWN}, {151, FRIEND}}) +
      message("7", "null", {{151, FRIEND}}) +
      mms({{"date", "8"}, {"msg_box", "2"}}, text_part("8"), addrs({{137, OWN}, {151, FRIEND}})));
  EXPECT_EQ(rows("SELECT textMessage || ':' || storageFolder FROM msg_message_table;"),
            "1:3\n2:1\n3:1\n4:3\n5:1\n6:3\n8:3\n");
  EXPECT_EQ(summary["skippedBecause"], nlohmann::json::parse(R"({"no message type": 1})"));
  EXPECT_EQ(peopleOf("mms"),
            "+14155550111\n+14155550111\n+14155550111\n+14155550111\n"
            "+14155550111\n+14155550111\n+14155550111\n");
}

TEST_F(ImportPeople, AMessageWithAndWithoutTheCountrysCodeIsOne) {
  const auto summary = import(sms({{"address", FRIEND}}) + sms({{"address", "(415) 555-0111"}}) +
                              sms({{"address", "0015555"}}) + sms({{"address", "015555"}}));
  EXPECT_EQ(summary["stored"], 3);
  EXPECT_EQ(summary["skippedBecause"], nlohmann::json::parse(R"({"repeated in the file": 1})"));
  EXPECT_EQ(import(sms({{"address", "14155550111"}}))["skippedBecause"],
            nlohmann::json::parse(R"({"already in the store": 1})"));
}

// The marks of the first release are of the numbers as they were written.
TEST_F(ImportPeople, WhatTheFirstReleaseImportedIsKnown) {
  import(sms({}) + sms({{"body", "null"}, { "date", "2" }}));
  RawConnection store(dbFile());
  store.exec(
      "UPDATE msg_message_table SET customFieldStr1 = CASE msgId WHEN 1 THEN "
      "'import:f0fb9c4421af6ccb2171e44b4df50dca9e0c04912bed7a566d1b443fbac6d182' "
      "ELSE 'import:39a5cd5686eb07f50aae1fda702fca6240ab61ad4f89a24078b8f2aaf9a8a477' END;");
  EXPECT_EQ(import(sms({}) + sms({{"body", "null"}, {"date", "2"}}))["skippedBecause"],
            nlohmann::json::parse(R"({"already in the store": 2})"));
}

TEST_F(ImportPeople, ARepeatInTheFileIsNotOneOfTheStore) {
  import(sms({{ "body", "before" }}));
  const auto summary =
      import(sms({}) + sms({{"body", "before"}}) + sms({}) + sms({{"body", "before"}}));
  EXPECT_EQ(summary["stored"], 1);
  EXPECT_EQ(summary["skippedBecause"],
            nlohmann::json::parse(R"({"already in the store": 2, "repeated in the file": 1})"));
  EXPECT_EQ(summary["skippedFirst"],
            nlohmann::json::parse(R"({"already in the store": 4, "repeated in the file": 5})"));
}

// On a device of the United States foreign numbers are compared in full.
TEST_F(ImportPeople, APersonInTwoConversationsIsTold) {
  const std::string elements = sms({{"address", "02055550199"}, {"date", "1"}}) +
                               sms({{"address", "+442055550199"}, {"date", "2"}}) +
                               sms({{"address", FRIEND}, {"date", "3"}});
  const std::string path = file("b.xml", backup(elements));
  EXPECT_NE(run({"import", path, "--dry-run"})
                .out.find("one person's numbers, as their ends show, in two conversations: 1\n"
                          "  +442055550199: 2 and 1\n"),
            std::string::npos);
  EXPECT_EQ(
      json({"import", path})["twoConversations"],
      nlohmann::json::parse(R"([{"address": "+442055550199", "conversation": 2, "other": 1}])"));
}

TEST_F(ImportPeople, SettingsThatCannotBeReadAreAnError) {
  const std::string path = file("b.xml", backup(sms({})));
  const std::string settings = file("settings.ini", "no group");
  expectFailure(run({"import", path}),
                "cannot read the device's settings: The settings file " + settings);
  file("settings.ini", "[db/contacts-svc]\nphonenumber_min_match_digit=many\n");
  expectFailure(run({"import", path}),
                "cannot read the device's settings: The setting "
                "db/contacts-svc/phonenumber_min_match_digit");
  EXPECT_EQ(rows("SELECT count(*) FROM msg_message_table;"), "0\n");
  expectFailure(run({"find", FRIEND}), "cannot read the device's settings: ");
  expectFailure(run({"messages", "--with", FRIEND}), "cannot read the device's settings: ");
}

}  // namespace
}  // namespace msg_tarvel
