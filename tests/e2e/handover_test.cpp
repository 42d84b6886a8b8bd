// The owner of a store, clients with a store of their own and a bus, all real: what is handed over
// is what the library then finds, and what is refused changes nothing.

#include "e2e/handover.h"

#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>

#include "helpers/record_mapping.h"
#include "support/message_text.h"

namespace msg_tarvel {

namespace {

constexpr const char* INVALID_ARGS = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr const char* NOT_SUPPORTED = "org.freedesktop.DBus.Error.NotSupported";
constexpr const char* UNKNOWN_METHOD = "org.freedesktop.DBus.Error.UnknownMethod";

// Handing over

TEST_F(Handover, BringsTheWholeMessage) {
  const int sentId = addToPhone("Subject");
  const ProcessResult result = client({"hand-over", std::to_string(sentId)});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "(1,)\n");

  Message arrived;
  ASSERT_EQ(db::db_get_message(1, arrived), db::DB_SUCCESS);
  EXPECT_EQ(text_of(arrived), text_of(full_message()));
  EXPECT_EQ(arrived.convId, 1);

  std::vector<Content> contents;
  ASSERT_EQ(db::db_get_contents(1, contents), db::DB_SUCCESS);
  ASSERT_EQ(contents.size(), 2U);
  EXPECT_EQ(contents[0].msgId, 1);
  EXPECT_EQ(contents[1].textData, "Look at this");

  NmsMsgMeta meta;
  ASSERT_EQ(db::db_get_nms_msg_meta(0, "object", meta), db::DB_SUCCESS);
  EXPECT_EQ(meta.msgId, 1);
  EXPECT_EQ(meta.lastModSeq, -81985529216486895);

  std::vector<Address> addresses;
  ASSERT_EQ(db::db_get_addresses(1, addresses), db::DB_SUCCESS);
  ASSERT_EQ(addresses.size(), 2U);
  EXPECT_EQ(addresses[1].address, "o'brien@example.org");

  const Thread shown = thread(1);
  EXPECT_EQ(shown.msgCnt, 1);
  EXPECT_EQ(shown.unreadCnt, 1);
  EXPECT_EQ(shown.mainText, "Subject");
  EXPECT_EQ(shown.msgText, "It's a \u00fcmlaut");
  EXPECT_EQ(shown.displayTime, 81985529216486895);
  EXPECT_EQ(shown.lastMsgId, 1);
  EXPECT_EQ(shown.storageFolder, 1);
  EXPECT_EQ(shown.peerConvId, 18);
}

TEST_F(Handover, TakesEightClientsAtOnce) {
  constexpr int CLIENTS = 8;
  std::vector<std::unique_ptr<BackgroundProgram>> clients;
  clients.reserve(CLIENTS);
  for (int i = 0; i < CLIENTS; ++i) addToPhone("message " + std::to_string(i));
  for (int i = 0; i < CLIENTS; ++i) {
    clients.push_back(std::make_unique<BackgroundProgram>(
        clientCommand({"hand-over", std::to_string(i + 1)}), phoneEnvironment()));
  }
  std::set<int> msgIds;
  for (int i = 0; i < CLIENTS; ++i) {
    const ProcessResult result = clients[static_cast<std::size_t>(i)]->finish();
    ASSERT_EQ(result.status, 0);
    const int msgId = std::stoi(result.out.substr(1));
    EXPECT_EQ(result.out, "(" + std::to_string(msgId) + ",)\n");
    msgIds.insert(msgId);

    Message arrived;
    ASSERT_EQ(db::db_get_message(msgId, arrived), db::DB_SUCCESS);
    Message sent = full_message();
    sent.mainText = "message " + std::to_string(i);
    EXPECT_EQ(text_of(arrived), text_of(sent));
  }
  EXPECT_EQ(msgIds.size(), static_cast<std::size_t>(CLIENTS));

  std::vector<Thread> threads;
  ASSERT_EQ(db::db_get_threads(threads), db::DB_SUCCESS);
  ASSERT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads[0].msgCnt, CLIENTS);
  EXPECT_EQ(threads[0].unreadCnt, CLIENTS);
  EXPECT_EQ(store().value("SELECT count(*) FROM msg_mms_content_table;"), "16");
  EXPECT_EQ(store().value("SELECT count(*) FROM msg_nms_meta_table;"), "8");
}

TEST_F(Handover, GoesIntoTheConversationThatIsNamed) {
  ASSERT_EQ(addMessage("+14155550111", "first").id, 1);
  addToPhone("second");
  const ProcessResult result = client({"hand-over", "1", "1"});
  EXPECT_EQ(result.out, "(2,)\n") << result.err;
  EXPECT_EQ(thread(1).msgCnt, 2);
  EXPECT_EQ(store().value("SELECT count(*) FROM msg_conversation_table;"), "1");
  EXPECT_EQ(store().value("SELECT count(*) FROM msg_address_table;"), "1");
}

TEST_F(Handover, CountsWhatAConversationShows) {
  Message message = full_message();
  const auto handOverWith = [&](int folder, long long time, const char* text) {
    message.storageFolder = folder;
    message.displayTime = time;
    message.mainText = text;
    EXPECT_EQ(handOver(helpers::to_buffer(message)).error, "");
  };
  handOverWith(msg_tarvel::MAIN_FOLDER_1, 500, "first of its moment");
  handOverWith(msg_tarvel::STANDALONE_FOLDER_1, 500, "last of its moment");
  handOverWith(msg_tarvel::MAIN_FOLDER_2, 400, "older, and unread counts in an inbox only");
  handOverWith(msg_tarvel::MAIN_FOLDER_5, 600, "newer, but not shown");
  handOverWith(msg_tarvel::STANDALONE_FOLDER_5, 700, "nor is this");
  EXPECT_EQ(thread(1).msgCnt, 3);
  EXPECT_EQ(thread(1).unreadCnt, 2);
  EXPECT_EQ(thread(1).lastMsgId, 2);
  EXPECT_EQ(thread(1).mainText, "last of its moment");
}

TEST_F(Handover, IsNotLedAstrayByAPointerOfTheSenders) {
  Message message = full_message();
  message.contents[0].nmsContentMeta.metaText2 = "two";
  std::string buffer = helpers::to_buffer(message);
  const std::size_t text = buffer.find(std::string("\3\0\0\0two", 7));
  buffer.replace(text, 7, std::string(4, '\0'));
  std::memset(&buffer[text - 4 - 1 - 24 + 12], 0x7F, 4);
  EXPECT_EQ(handOver(buffer).id, 1);
}

// Refusals

class RefusingHandover : public Handover {
 protected:
  RefusingHandover() {
    EXPECT_EQ(addMessage("+14155550100", "hello").id, 1);
    EXPECT_EQ(handOver(helpers::to_buffer(full_message())).id, 2);
    _before = dump(store());
  }
  ~RefusingHandover() override { EXPECT_EQ(dump(store()), _before); }

  void expectRefusal(const Answer& answer, const std::string& error, const std::string& text) {
    EXPECT_EQ(answer.error, error) << answer.text;
    EXPECT_NE(answer.text.find(text), std::string::npos) << answer.text;
  }

 private:
  std::vector<std::string> _before;
};

TEST_F(RefusingHandover, OfMethodsThatDoNotExist) {
  for (const char* const method : {"explode", "read_messag", "Read_message", "add"}) {
    expectRefusal(call(method, g_variant_new("(ii)", 1, 1)), UNKNOWN_METHOD,
                  std::string("No such method \u201c") + method + "\u201d");
  }
}

TEST_F(RefusingHandover, OfWrongSignatures) {
  struct Case {
    const char* method;
    const char* expected;
    const char* parameters;
  };
  const Case cases[] = {
      {"read_message", "(ii)", "(1,)"},
      {"read_message", "(ii)", "('1', 1)"},
      {"read_message", "(ii)", "(uint32 1, 1)"},
      {"read_message", "(ii)", "()"},
      {"read_thread", "(i)", "(1, 1)"},
      {"delete_message", "(ii)", "((1, 1),)"},
      {"delete_thread", "(i)", "(int64 1,)"},
      {"add_message", "(sisssi)", "('a', 1, 'sms', 'm', 't')"},
      {"nms_add_message", "(vi)", "(b'bytes', 1)"},
      {"nms_update_subscription_info", "(ts)", "(1, 'token')"},
      {"export_to_phone", "(i)", "('1',)"},
  };
  for (const Case& wrong : cases) {
    GVariant* const parameters = g_variant_new_parsed(wrong.parameters);
    const std::string given = g_variant_get_type_string(parameters);
    const Answer answer = call(wrong.method, parameters);
    expectRefusal(answer, INVALID_ARGS, std::string("\u201c") + wrong.expected + "\u201d");
    EXPECT_NE(answer.text.find("\u201c" + given + "\u201d"), std::string::npos) << answer.text;
  }
}

TEST_F(RefusingHandover, OfCommandsThatNeedMoreThanAStore) {
  const std::pair<const char*, const char*> calls[] = {
      {"delete_threads", "(<[1]>,)"},
      {"set_active_thread_id", "(1,)"},
      {"send_message", "('a', 1, 'sms', 'm', 't', 0)"},
      {"nms_handle_resetbox", "()"},
      {"nms_update_msg_meta", "(1, 'o', <b'x'>, 1)"},
      {"nms_delete_msg_meta", "(1, 'o')"},
      {"send_change_sms_application_request", "(true,)"},
  };
  for (const auto& [method, parameters] : calls) {
    expectRefusal(call(method, g_variant_new_parsed(parameters)), NOT_SUPPORTED,
                  std::string(method) + ": the message store alone cannot answer this command");
  }
}

TEST_F(RefusingHandover, OfTruncatedBuffers) {
  const std::string buffer = helpers::to_buffer(full_message());
  for (std::size_t size = 0; size < buffer.size(); ++size) {
    expectRefusal(
        handOver(buffer.substr(0, size)), INVALID_ARGS,
        "nms_add_message: the " + std::to_string(size) + " bytes are not one well-formed message");
  }
}

TEST_F(RefusingHandover, OfDamagedBuffers) {
  const std::string good = helpers::to_buffer(full_message());
  const std::function<void(std::string&)> damages[] = {
      [](std::string& buffer) { buffer += '\0'; },
      [&good](std::string& buffer) { buffer += good; },
      [](std::string& buffer) { buffer[0] = 0; },
      [](std::string& buffer) { buffer[0] = 85; },
      [](std::string& buffer) { buffer[85] = 4; },
      [](std::string& buffer) { std::memset(&buffer[86], 0xFF, 4); },
      [](std::string& buffer) { buffer[86] = 4; },
      [](std::string& buffer) { buffer.replace(0, buffer.size(), buffer.size(), '\xFF'); },
      [](std::string& buffer) { buffer.replace(0, buffer.size(), buffer.size(), '\0'); },
  };
  for (const auto& damage : damages) {
    std::string buffer = good;
    damage(buffer);
    expectRefusal(handOver(buffer), INVALID_ARGS, "bytes are not one well-formed message");
  }
}

TEST_F(RefusingHandover, OfPresenceBytesThatAreNeither) {
  Message message;
  message.storageFolder = 1;
  message.addresses = full_message().addresses;
  std::string buffer = helpers::to_buffer(message);
  buffer.back() = 2;
  expectRefusal(handOver(buffer), INVALID_ARGS, "bytes are not one well-formed message");
}

TEST_F(RefusingHandover, OfVariantsThatAreNoByteArray) {
  const std::pair<const char*, const char*> variants[] = {
      {"(<'text'>, 0)", "s"},    {"(<[1, 2]>, 0)", "ai"},       {"(<['a']>, 0)", "as"},
      {"(<<b'text'>>, 0)", "v"}, {"(<(b'text',)>, 0)", "(ay)"},
  };
  for (const auto& [parameters, type] : variants) {
    expectRefusal(call("nms_add_message", g_variant_new_parsed(parameters)), INVALID_ARGS,
                  std::string("the message is to be a byte array (ay), not ") + type);
  }
}

TEST_F(RefusingHandover, OfWhatIsNotInTheStore) {
  const std::string good = helpers::to_buffer(full_message());
  expectRefusal(handOver(good, 99), INVALID_ARGS, "there is no conversation 99");
  expectRefusal(handOver(good, -1), INVALID_ARGS, "there is no conversation -1");
  expectRefusal(call("read_thread", g_variant_new("(i)", 99)), INVALID_ARGS,
                "read_thread: there is no conversation 99");
  expectRefusal(call("delete_thread", g_variant_new("(i)", 0)), INVALID_ARGS,
                "there is no conversation 0");
  expectRefusal(call("read_message", g_variant_new("(ii)", 1, 2)), INVALID_ARGS,
                "there is no message 1 in conversation 2");
  expectRefusal(call("delete_message", g_variant_new("(ii)", 7, 1)), INVALID_ARGS,
                "there is no message 7 in conversation 1");
}

TEST_F(RefusingHandover, OfMessagesThatCannotBeStored) {
  Message message = full_message();
  for (const int folder : {0, 6, 100, 106, 9999, -2}) {
    message.storageFolder = folder;
    expectRefusal(handOver(helpers::to_buffer(message)), INVALID_ARGS,
                  "there is no folder " + std::to_string(folder));
    expectRefusal(addMessage("+14155550100", "text", folder), INVALID_ARGS, "there is no folder");
  }
  message.storageFolder = 1;
  message.addresses.clear();
  expectRefusal(handOver(helpers::to_buffer(message)), INVALID_ARGS,
                "a message without addresses needs a conversation");
  expectRefusal(addMessage("", "text"), INVALID_ARGS, "add_message: a message needs an address");
  expectRefusal(addMessage(" ", "text"), INVALID_ARGS, "add_message: a message needs an address");
}

TEST_F(Handover, RefusesWhileTheStoreIsLockedAndRecovers) {
  const std::vector<std::string> before = dump(store());
  store().exec("BEGIN IMMEDIATE;");
  const Answer locked = addMessage("+14155550100", "text");
  store().exec("ROLLBACK;");
  EXPECT_EQ(locked.error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(locked.text, "add_message: cannot write the message store, see the owner's log");
  EXPECT_EQ(dump(store()), before);
  EXPECT_EQ(addMessage("+14155550100", "text").id, 1);
}

TEST_F(Handover, UndoesWhatFailsHalfway) {
  store().exec("DROP TABLE msg_nms_meta_table;");
  const std::vector<std::string> before = dump(store());
  const Answer answer = handOver(helpers::to_buffer(full_message()));
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(answer.text, "nms_add_message: cannot write the message store, see the owner's log");
  EXPECT_EQ(dump(store()), before);
  EXPECT_EQ(addMessage("+14155550100", "text").id, 1);
}

// A statement that fails this way ends its transaction itself, as a full disk does.
TEST_F(Handover, ServesOnAfterSqliteHasUndoneATransactionItself) {
  store().exec(
      "CREATE TRIGGER full BEFORE INSERT ON msg_mms_content_table "
      "BEGIN SELECT RAISE(ROLLBACK, 'full'); END;");
  const std::vector<std::string> before = dump(store());
  EXPECT_EQ(handOver(helpers::to_buffer(full_message())).error,
            "org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(dump(store()), before);
  store().exec("DROP TRIGGER full;");
  EXPECT_EQ(handOver(helpers::to_buffer(full_message())).id, 1);
  EXPECT_EQ(thread(1).msgCnt, 1);
  EXPECT_TRUE(std::filesystem::exists(dbFile() + "-journal"));

  // And each call is one transaction again.
  store().exec(
      "CREATE TRIGGER bad BEFORE INSERT ON msg_nms_meta_table "
      "BEGIN SELECT RAISE(ABORT, 'bad'); END;");
  const std::vector<std::string> one = dump(store());
  EXPECT_EQ(handOver(helpers::to_buffer(full_message())).error,
            "org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(dump(store()), one);
}

// A reader's lock is in the way of a commit only.
TEST_F(Handover, SaysThatTheOutcomeOfAFailedCommitIsUnknown) {
  const std::vector<std::string> before = dump(store());
  store().exec("BEGIN;");
  store().value("SELECT count(*) FROM msg_message_table;");
  const Answer answer = addMessage("+14155550100", "text");
  store().exec("COMMIT;");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(answer.text, "add_message: the commit failed; it is unknown whether this was done");
  EXPECT_EQ(dump(store()), before);
  EXPECT_EQ(addMessage("+14155550100", "text").id, 1);
}

TEST_F(Handover, InsertsNothingAfterASearchThatFailed) {
  EXPECT_EQ(addMessage("+14155550100", "text").id, 1);
  // Reading fails on its row, inserting does not.
  store().exec(
      "ALTER TABLE msg_address_table RENAME TO real_address_table; "
      "CREATE VIEW msg_address_table AS SELECT addressId, convId, "
      "abs(-9223372036854775807 - 1) AS addressType, recipientType, address "
      "FROM real_address_table; "
      "CREATE TRIGGER inserted INSTEAD OF INSERT ON msg_address_table BEGIN "
      "INSERT INTO real_address_table (convId, addressType, recipientType, address) "
      "VALUES (new.convId, new.addressType, new.recipientType, new.address); END;");
  const std::vector<std::string> before = dump(store());
  const Answer answer = addMessage("4155550100", "text");
  EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.Failed");
  EXPECT_EQ(answer.text, "add_message: cannot search the message store, see the owner's log");
  EXPECT_EQ(dump(store()), before);
}

TEST_F(Handover, KeepsTheJournal) {
  EXPECT_EQ(addMessage("+14155550100", "text").id, 1);
  EXPECT_TRUE(std::filesystem::exists(dbFile() + "-journal"));
}

// The other commands

TEST_F(Handover, FindsTheConversationOfANumberByItsEnd) {
  EXPECT_EQ(addMessage("+14155550100", "first").id, 1);
  EXPECT_EQ(addMessage("4155550100", "second", msg_tarvel::MAIN_FOLDER_2).id, 2);
  EXPECT_EQ(addMessage("+14155550199", "to another one").id, 3);
  EXPECT_EQ(thread(1).msgCnt, 2);
  EXPECT_EQ(thread(1).unreadCnt, 1);
  EXPECT_EQ(thread(1).mainText, "second");
  EXPECT_EQ(thread(1).msgText, "more");
  EXPECT_EQ(thread(2).msgCnt, 1);

  Message message;
  ASSERT_EQ(db::db_get_message(2, message), db::DB_SUCCESS);
  EXPECT_TRUE(message.read);
  EXPECT_EQ(message.msgType, "sms");
  EXPECT_EQ(message.simIndex, 1);
  EXPECT_EQ(message.storageFolder, 2);
}

TEST_F(Handover, FindsTheConversationOfANumberAsPeopleWriteIt) {
  EXPECT_EQ(addMessage("+14155550100", "first").id, 1);
  EXPECT_EQ(addMessage("(415) 555-0100", "second").id, 2);
  Message message = full_message();
  message.addresses.resize(2);
  message.addresses[0].address = "415.555.0100";
  message.addresses[1].address = "4155550100";
  EXPECT_EQ(handOver(helpers::to_buffer(message)).id, 3);
  EXPECT_EQ(thread(1).msgCnt, 3);
  EXPECT_EQ(store().value("SELECT count(*) FROM msg_address_table;"), "1");

  EXPECT_EQ(addMessage("(415) 555-0199", "third").id, 4);
  EXPECT_EQ(store().value("SELECT addressType || address FROM msg_address_table "
                          "WHERE convId = 2;"),
            "14155550199");
}

// The underscore keeps these addresses out of the library's own search.
TEST_F(Handover, FindsAGroupByTheSameAddressesInAnotherForm) {
  Message message = full_message();
  for (const char* const number : {"+14155550100", "4155550100"}) {
    message.addresses[0].address = number;
    message.addresses[1].address = "ann_lee@example.org";
    EXPECT_EQ(handOver(helpers::to_buffer(message)).error, "");
  }
  EXPECT_EQ(thread(1).msgCnt, 2);
  EXPECT_EQ(store().value("SELECT count(*) FROM msg_conversation_table;"), "1");
}

TEST_F(Handover, AddsAMessageOfThisMoment) {
  const gint64 before = g_get_real_time() / 1000;
  EXPECT_EQ(addMessage("+14155550100", "text", msg_tarvel::STANDALONE_FOLDER_1).id, 1);
  EXPECT_EQ(addMessage("somebody@example.org", "text", msg_tarvel::STANDALONE_FOLDER_2).id, 2);
  const gint64 after = g_get_real_time() / 1000;

  Message unread;
  Message read;
  ASSERT_EQ(db::db_get_message(1, unread), db::DB_SUCCESS);
  ASSERT_EQ(db::db_get_message(2, read), db::DB_SUCCESS);
  EXPECT_FALSE(unread.read);
  EXPECT_TRUE(read.read);
  EXPECT_GE(unread.displayTime, before);
  EXPECT_LE(read.displayTime, after);
  ASSERT_EQ(unread.addresses.size(), 1U);
  ASSERT_EQ(read.addresses.size(), 1U);
  EXPECT_EQ(unread.addresses[0].recipientType, 1);
  EXPECT_EQ(unread.addresses[0].addressType, 1);
  EXPECT_EQ(read.addresses[0].addressType, 2);
}

TEST_F(Handover, TakesNoAddressForAPatternOrForSql) {
  const char* const addresses[] = {"aXb@example.org", "a_b@example.org", "it's", "'; DROP--", "%"};
  int convId = 0;
  for (const char* const address : addresses) {
    ++convId;
    for (int time = 0; time < 2; ++time) ASSERT_EQ(addMessage(address, "text").error, "");
    EXPECT_EQ(thread(convId).msgCnt, 2) << address;
  }
  EXPECT_EQ(store().value("SELECT count(*) FROM msg_conversation_table;"), "5");
}

TEST_F(Handover, FindsTheConversationOfMoreAddressesThanASearchHasRoomFor) {
  Message message = full_message();
  message.addresses.resize(255);
  for (std::size_t i = 0; i < message.addresses.size(); ++i) {
    message.addresses[i].address = "participant." + std::to_string(i) + "@example.org";
    message.addresses[i].addressType = 2;
  }
  for (const int id : {1, 2}) EXPECT_EQ(handOver(helpers::to_buffer(message)).id, id);
  message.addresses.back().address = "another@example.org";
  EXPECT_EQ(handOver(helpers::to_buffer(message)).id, 3);
  EXPECT_EQ(thread(1).msgCnt, 2);
  EXPECT_EQ(thread(2).msgCnt, 1);
}

/** A device on which even short numbers are compared by their end. */
class ShortNumberHandover : public Handover {
 protected:
  ShortNumberHandover() : Handover("[db/contacts-svc]\nphonenumber_min_match_digit=2\n") {}
};

TEST_F(ShortNumberHandover, FindsTheConversationOfANumberThatEndsWithinItsCallingCode) {
  for (const int id : {1, 2}) EXPECT_EQ(addMessage("002", "text").id, id);
  EXPECT_EQ(thread(1).msgCnt, 2);
}

/** A device that says no number of digits to compare. */
class NoDigitsHandover : public Handover {
 protected:
  NoDigitsHandover() : Handover("[db/contacts-svc]\nphonenumber_min_match_digit=0\n") {}
};

TEST_F(NoDigitsHandover, TakesNoNumberForAnother) {
  for (const int id : {1, 2}) EXPECT_EQ(addMessage("4155550100", "text").id, id);
  EXPECT_EQ(addMessage("4155550199", "text").id, 3);
  EXPECT_EQ(thread(1).msgCnt, 2);
  EXPECT_EQ(thread(2).msgCnt, 1);
}

TEST_F(Handover, FindsTheConversationOfAnEmptyAddressToo) {
  Message message = full_message();
  message.addresses.resize(1);
  message.addresses[0].address.clear();
  for (const int id : {1, 2}) EXPECT_EQ(handOver(helpers::to_buffer(message)).id, id);
  EXPECT_EQ(thread(1).msgCnt, 2);
}

TEST_F(Handover, LeavesTheSyncOfAMessageAloneThatIsReadAlready) {
  addMessage("+14155550100", "text");
  call("read_message", g_variant_new("(ii)", 1, 1));
  EXPECT_EQ(store().value("SELECT sync FROM msg_message_table;"), "0");
  store().exec("UPDATE msg_message_table SET sync = 1;");
  EXPECT_EQ(call("read_message", g_variant_new("(ii)", 1, 1)).error, "");
  EXPECT_EQ(call("read_thread", g_variant_new("(i)", 1)).error, "");
  EXPECT_EQ(store().value("SELECT sync FROM msg_message_table;"), "1");
}

TEST_F(Handover, MarksAMessageAsRead) {
  addMessage("+14155550100", "first");
  addMessage("+14155550100", "second");
  EXPECT_EQ(client({"read_message", "1", "1"}).out, "()\n");
  EXPECT_EQ(thread(1).unreadCnt, 1);
  EXPECT_EQ(call("read_message", g_variant_new("(ii)", 1, 1)).error, "");
  EXPECT_EQ(thread(1).unreadCnt, 1);
  std::vector<Message> unsynced;
  ASSERT_EQ(db::db_get_unsynced_messages(unsynced), db::DB_SUCCESS);
  ASSERT_EQ(unsynced.size(), 1U);
  EXPECT_EQ(unsynced[0].mainText, "first");
}

TEST_F(Handover, MarksAConversationAsRead) {
  addMessage("+14155550100", "first");
  addMessage("+14155550100", "second");
  addMessage("+14155550199", "of another conversation");
  EXPECT_EQ(client({"read_thread", "1"}).out, "()\n");
  EXPECT_EQ(thread(1).unreadCnt, 0);
  EXPECT_EQ(thread(1).msgCnt, 2);
  EXPECT_EQ(thread(2).unreadCnt, 1);
}

TEST_F(Handover, DeletesAMessageWithAllThatBelongsToIt) {
  const std::string buffer = helpers::to_buffer(full_message());
  ASSERT_EQ(handOver(buffer).id, 1);
  const std::vector<std::string> one = dump(store());
  Message newer = full_message();
  newer.displayTime += 1;
  newer.mainText = "newer";
  ASSERT_EQ(handOver(helpers::to_buffer(newer)).id, 2);
  EXPECT_EQ(thread(1).mainText, "newer");

  EXPECT_EQ(client({"delete_message", "2", "1"}).out, "()\n");
  std::vector<Message> deleted;
  ASSERT_EQ(db::db_get_deleted_messages(true, deleted), db::DB_SUCCESS);
  ASSERT_EQ(deleted.size(), 1U);
  EXPECT_EQ(deleted[0].msgId, 2);
  EXPECT_EQ(deleted[0].msgType, "mms");
  EXPECT_EQ(deleted[0].itemId, -13);
  EXPECT_EQ(deleted[0].displayTime, newer.displayTime);

  // But for that record and the counters behind the ids, the store is as it was before.
  store().exec(
      "DELETE FROM deleted_msg_table; DELETE FROM sqlite_sequence WHERE name = "
      "'deleted_msg_table'; UPDATE sqlite_sequence SET seq = 1 WHERE name IN "
      "('msg_message_table', 'msg_nms_meta_table'); UPDATE sqlite_sequence SET seq = 2 "
      "WHERE name = 'msg_mms_content_table';");
  EXPECT_EQ(dump(store()), one);
}

TEST_F(Handover, DeletesAConversationsMessagesAndKeepsTheConversation) {
  handOver(helpers::to_buffer(full_message()));
  handOver(helpers::to_buffer(full_message()));
  addMessage("+14155550199", "of another conversation");
  store().exec("INSERT INTO msg_ft_content_table (msgId) VALUES (1), (2);");
  EXPECT_EQ(client({"delete_thread", "1"}).out, "()\n");

  std::vector<Thread> threads;
  ASSERT_EQ(db::db_get_threads(threads), db::DB_SUCCESS);
  ASSERT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads[0].convId, 2);
  std::vector<Message> deleted;
  ASSERT_EQ(db::db_get_deleted_messages(true, deleted), db::DB_SUCCESS);
  EXPECT_EQ(deleted.size(), 2U);
  for (const char* const table :
       {"msg_mms_content_table", "msg_ft_content_table", "msg_nms_meta_table"}) {
    EXPECT_EQ(store().value(std::string("SELECT count(*) FROM ") + table + ";"), "0") << table;
  }
  EXPECT_EQ(store().value("SELECT msgCnt || ' ' || unreadCnt FROM msg_conversation_table;"), "0 0");

  EXPECT_EQ(handOver(helpers::to_buffer(full_message())).id, 4);
  EXPECT_EQ(thread(1).msgCnt, 1);
}

TEST_F(Handover, KeepsTheStateOfTheSubscription) {
  EXPECT_EQ(client({"nms_update_subscription_info", "18446744073709551615", "it's 5"}).out, "()\n");
  unsigned long long notiIdx = 0;
  std::string restartToken;
  ASSERT_EQ(db::db_get_subscription_info(notiIdx, restartToken), db::DB_SUCCESS);
  EXPECT_EQ(notiIdx, 18446744073709551615ULL);
  EXPECT_EQ(restartToken, "it's 5");
  EXPECT_EQ(store().value("SELECT count(*) FROM mssi_info_table;"), "1");
}

// The processes

TEST_F(Handover, ClientShowsTheError) {
  const ProcessResult refused = client({"read_thread", "7"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.out, "");
  EXPECT_NE(refused.err.find("GDBus.Error:org.freedesktop.DBus.Error.InvalidArgs: read_thread: "
                             "there is no conversation 7\n"),
            std::string::npos)
      << refused.err;
  const ProcessResult missing = client({"hand-over", "7"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("there is no message 7\n"), std::string::npos) << missing.err;
}

TEST_F(Handover, ClientKnowsHowItIsCalled) {
  const std::vector<std::string> calls[] = {{},
                                            {"explode"},
                                            {"read_thread"},
                                            {"read_thread", "1", "2"},
                                            {"read_thread", "one"},
                                            {"hand-over"},
                                            {"hand-over", "1", "x"},
                                            {"add_message", "a", "1", "sms", "\xFF", "t", "1"},
                                            {"nms_add_message", "no variant", "1"}};
  for (const std::vector<std::string>& arguments : calls) {
    const ProcessResult result = client(arguments);
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_NE(result.err.find("usage: "), std::string::npos);
  }
}

TEST_F(Handover, OwnerEndsOnSigterm) {
  addMessage("+14155550100", "kept");
  EXPECT_EQ(stopOwner(), 0);
  EXPECT_EQ(call("read_thread", g_variant_new("(i)", 1)).error,
            "org.freedesktop.DBus.Error.ServiceUnknown");
  EXPECT_EQ(thread(1).mainText, "kept");
}

TEST_F(Handover, ASecondOwnerGivesUp) {
  const ProcessResult second =
      run_program({program("example-handover-owner")},
                  environment({"MSG_TARVEL_DATA_DIR=" + folder().path() + "/second/"}));
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.out, "");
  EXPECT_NE(second.err.find("org.tarvel.Messages belongs to another process, or the bus is gone\n"),
            std::string::npos);
  EXPECT_EQ(addMessage("+14155550100", "the first one still serves").id, 1);
}

TEST_F(Handover, OwnerWithoutABusOrAStoreSaysSo) {
  const ProcessResult noBus =
      run_program({program("example-handover-owner")},
                  {"MSG_TARVEL_DATA_DIR=" + dataDir(),
                   "DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder().path() + "/none"});
  EXPECT_EQ(noBus.status, 1);
  EXPECT_NE(noBus.err.find("cannot reach the bus: "), std::string::npos) << noBus.err;
  const ProcessResult noStore = run_program({program("example-handover-owner")},
                                            environment({"MSG_TARVEL_DATA_DIR=/proc/none/below/"}));
  EXPECT_EQ(noStore.status, 1);
  EXPECT_NE(noStore.err.find("cannot own the store: cannot create the message store /proc/none"),
            std::string::npos)
      << noStore.err;
}

}  // namespace

}  // namespace msg_tarvel
