// Which conversation an imported message goes to, and what the conversation then says of itself.

#include "tool/tool_support.h"

namespace msg_tarvel {
namespace {

constexpr const char* A = "+14155550111";
constexpr const char* B = "+14155550122";
constexpr const char* C = "+14155550133";
constexpr const char* OWNER = "+14155550100";

class ImportConversations : public ToolTest {
 protected:
  void SetUp() override { create(); }

  /** The addresses of each conversation: "a b\nc\n". */
  std::string participants() const {
    return rows(
        "SELECT group_concat(coalesce(address, 'NULL') || ':' || recipientType, ' ') FROM "
        "(SELECT * FROM msg_address_table ORDER BY addressId) GROUP BY convId;");
  }
  std::string conversationOfEachMessage() const {
    return rows(
        "SELECT group_concat(convId, ' ') FROM (SELECT convId FROM msg_message_table "
        "ORDER BY msgId);");
  }
  /** Messages that differ only in the address. */
  static std::string from(const std::vector<std::string>& addresses) {
    std::string elements;
    int date = 1000;
    for (const std::string& address : addresses) {
      elements += sms({{"address", address}, {"date", std::to_string(++date)}});
    }
    return elements;
  }
};

TEST_F(ImportConversations, OnePersonInEveryFormIsOne) {
  import(from({A, "4155550111", "(415) 555-0111", "415.555.0111", "262966", "262966", "Parcels"}));
  EXPECT_EQ(conversationOfEachMessage(), "1 1 1 1 2 2 3\n");
  EXPECT_EQ(participants(), "+14155550111:1\n262966:1\nParcels:1\n");
  EXPECT_EQ(rows("SELECT addressType FROM msg_address_table;"), "1\n1\n2\n");
}

TEST_F(ImportConversations, ThoseOfTheStoreAreUsed) {
  RawConnection store(dbFile());
  store.exec(
      "INSERT INTO msg_conversation_table (convId) VALUES (41);"
      "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES "
      "(41, 1, 1, '4155550111');");
  EXPECT_EQ(import(from({A}))["conversationsCreated"], 0);
  EXPECT_EQ(conversationOfEachMessage(), "41\n");
}

TEST_F(ImportConversations, WildcardsAndQuotesMeanThemselves) {
  const std::vector<std::string> addresses = {"a_b@example.org",
                                              "axb@example.org",
                                              "50% off",
                                              "50 euros off",
                                              "O'Hara",
                                              "O''Hara",
                                              "' OR 1=1; --",
                                              "%",
                                              "_"};
  import(from(addresses));
  import(from(addresses));
  EXPECT_EQ(conversationOfEachMessage(), "1 2 3 4 5 6 7 8 9\n");
  EXPECT_EQ(rows("SELECT address FROM msg_address_table;"),
            "a_b@example.org\naxb@example.org\n50% off\n50 euros off\nO'Hara\nO''Hara\n"
            "' OR 1=1; --\n%\n_\n");
  EXPECT_EQ(import(from({"50% off", A}))["conversationsCreated"], 1);
}

TEST_F(ImportConversations, AGroupIsItsMembersWhateverTheirOrderAndForm) {
  import(from({std::string(A) + "~" + B, "4155550122~(415) 555-0111", A,
               std::string(A) + "~" + B + "~" + C, "Parcels_~" + std::string(A),
               std::string("4155550111~Parcels_")}));
  EXPECT_EQ(conversationOfEachMessage(), "1 1 2 3 4 4\n");
}

TEST_F(ImportConversations, AGroupTooLargeForTheLibrarysSearchIsFoundAgain) {
  std::string members;
  for (int i = 0; i < 150; ++i) {
    members += (i == 0 ? "" : "~") + std::string("a.rather.long.name.") + std::to_string(i) +
               "@mail.example.org";
  }
  import(from({members, members, A}));
  EXPECT_EQ(conversationOfEachMessage(), "1 1 2\n");
  EXPECT_EQ(rows("SELECT count(*) FROM msg_address_table WHERE convId = 1;"), "150\n");
}

TEST_F(ImportConversations, MessagesWithoutAnAddressAreTogether) {
  import(from({"null", "", A}));
  import(sms({{"address", ""}, { "type", "3" }}));
  EXPECT_EQ(conversationOfEachMessage(), "1 1 2 1\n");
  EXPECT_EQ(participants(), "NULL:1\n+14155550111:1\n");
  EXPECT_EQ(json({"threads"}).size(), 2U);
}

TEST_F(ImportConversations, TheOwnerIsFoundInTheFile) {
  import(mms({{"address", std::string(A) + "~" + OWNER + "~" + B},
              { "date",
                "1" }},
             text_part("x"),
             addrs({{137, A},
                    {151, B},
                    { 151,
                      OWNER }})) +
         mms({{"address", std::string(A) + "~" + B},
              {"date", "2"},
              { "msg_box",
                "2" }},
             text_part("y"), addrs({{137, "4155550100"}, {151, A}, {
                                      130,
                                      B
                                    }})));
  EXPECT_EQ(participants(), "+14155550111:1 +14155550122:1\n");
  EXPECT_EQ(conversationOfEachMessage(), "1 1\n");
}

TEST_F(ImportConversations, TheOwnerIsToldByAnOptionOrTheStoresCards) {
  const std::string message =
      mms({{"address", std::string(A) + "~" + OWNER}}, text_part("x"), addrs({{137, A}}));
  import(message, {"--own-number", "+13105550199", "--own-number", "(415) 555-0100"});
  EXPECT_EQ(participants(), "+14155550111:1\n");

  RawConnection(dbFile()).exec(
      "DELETE FROM msg_message_table; DELETE FROM msg_address_table;"
      "INSERT INTO msg_sim_table (simIndex, Address) VALUES (0, '14155550100');");
  import(message);
  EXPECT_EQ(participants(), "+14155550111:1\n");
}

TEST_F(ImportConversations, RolesAndTheSenderOfAGroupsMessageAreKept) {
  import(sms({{"address", "4155550111~" + std::string(B)},
              { "date",
                "1" }}) +
         mms({{"address", std::string(A) + "~" + B},
              { "date",
                "2" }},
             text_part("x"),
             addrs({{137, A},
                    {130, B},
                    { 151,
                      OWNER }})) +
         mms({{"address", std::string(B) + "~" + C},
              { "date",
                "3" }},
             text_part("x"),
             addrs({{137, B},
                    {130, C},
                    { 151,
                      OWNER }})) +
         mms({{"address", A},
              { "date",
                "4" }},
             text_part("x"),
             addrs({{137, A},
                    { 151,
                      OWNER }})));
  // As the conversation has the number, so that the sender is recognised among its addresses.
  EXPECT_EQ(rows("SELECT peerGroupChatSender FROM msg_message_table;"),
            "\n4155550111\n+14155550122\n\n");
  EXPECT_EQ(participants(),
            "4155550111:1 +14155550122:1\n+14155550122:1 +14155550133:2\n+14155550111:1\n");
  EXPECT_EQ(json({"messages", "--ascending"})[1]["addresses"][0]["userFlag"], true);
}

/** A conversation's counters and last message, worked out from its messages in another way. */
constexpr const char* COUNTERS =
    "SELECT convId || '|' || msgCnt || '|' || unreadCnt || '|' || msgType || '|' || storageFolder "
    "|| '|' || displayTime || '|' || mainText || '|' || msgText || '|' || stickerId || '|' || "
    "lastMsgId FROM msg_conversation_table ORDER BY convId;";

TEST_F(ImportConversations, CountersAndLastMessageAreRight) {
  const std::string first =
      sms({{"date", "5000"}, {"read", "0"}, {"body", "unread"}}) +
      sms({{"date", "9000"}, {"type", "2"}, {"read", "0"}, {"body", "last"}}) +
      sms({{"date", "9000"}, {"type", "5"}, {"body", "really last"}}) +
      sms({{"date", "7000"}, {"address", B}});
  import(first);
  const std::string afterFirst =
      "1|3|1|sms|2|9000|really last|really last|0|3\n2|1|0|sms|1|7000|Hello|Hello|0|4\n";
  EXPECT_EQ(rows(COUNTERS), afterFirst);
  import(first);
  EXPECT_EQ(rows(COUNTERS), afterFirst);

  import(mms({{"date", "9500"},
              {"sub", "Sub"},
              { "read",
                "0" }},
             text_part("text"), "") +
         sms({{"date", "10"},
              { "body",
                "old" }}));
  EXPECT_EQ(rows(COUNTERS), "1|5|2|mms|1|9500|Sub|text|0|5\n2|1|0|sms|1|7000|Hello|Hello|0|4\n");
  EXPECT_EQ(json({"find", A})[0]["lastMsgId"], 5);
}

TEST_F(ImportConversations, CountersIncludeWhatTheStoreHadAndLeaveOthersAlone) {
  RawConnection store(dbFile());
  store.exec(
      "INSERT INTO msg_conversation_table (convId, msgCnt, unreadCnt, mainText) VALUES "
      "(1, 99, 99, 'wrong'), (2, 98, 97, 'not touched');"
      "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES "
      "(1, 1, 1, '+14155550111'), (2, 1, 1, '+14155550122');"
      "INSERT INTO msg_message_table (convId, msgType, storageFolder, read, displayTime, mainText, "
      "textMessage, stickerId) VALUES (1, 'im', 101, 0, 99000, 'main', 'text', 77), "
      "(1, 'im', 5, 0, 99999, 'hidden', '', 0), (1, 'im', 105, 0, 99999, 'hidden', '', 0), "
      "(1, 'im', 0, 0, 99999, 'hidden', '', 0), (1, 'im', 9999, 0, 99999, 'hidden', '', 0), "
      "(1, 'im', 3, 0, 500, 'sent', '', 0);");
  import(sms({{"date", "5000"}, { "read", "0" }}));
  EXPECT_EQ(rows("SELECT convId || '|' || msgCnt || '|' || unreadCnt || '|' || msgType || '|' || "
                 "storageFolder || '|' || displayTime || '|' || mainText || '|' || msgText || '|' "
                 "|| stickerId || '|' || lastMsgId FROM msg_conversation_table WHERE convId = 1;"),
            "1|3|2|im|101|99000|main|text|77|1\n");
  EXPECT_EQ(rows("SELECT msgCnt || '|' || unreadCnt || '|' || mainText FROM "
                 "msg_conversation_table WHERE convId = 2;"),
            "98|97|not touched\n");
}

}  // namespace
}  // namespace msg_tarvel
