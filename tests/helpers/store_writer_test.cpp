// Rows as the owner writes them, and the conversations' rows that follow from them.

#include "helpers/store_writer.h"

#include <gtest/gtest.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>

#include <functional>
#include <iterator>
#include <stdexcept>

#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "support/fake_platform.h"
#include "support/message_text.h"
#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

/** A device as from the factory: US, eight digits decide. */
class StoreWriterTest : public StoreTest {
 protected:
  StoreWriterTest() {
    FakePlatform::get().set("db/csc/country_iso", "US");
    FakePlatform::get().set("db/contacts-svc/phonenumber_min_match_digit", 8);
  }

  static void write(const std::function<void(StoreWriter&)>& work) {
    Transaction transaction;
    StoreWriter writer;
    work(writer);
    writer.updateConversations();
    transaction.commit();
  }

  /** Every row that a query gives, its columns as SQL literals. */
  std::vector<std::string> rows(const std::string& columns, const std::string& rest) {
    std::string all = "quote(" + columns + ")";
    for (std::size_t at = 0; (at = all.find(", ", at)) != std::string::npos;) {
      all.replace(at, 2, ")||','||quote(");
      at += 14;
    }
    return raw().column("SELECT " + all + " FROM " + rest + ";");
  }
  std::string row(const std::string& columns, const std::string& rest) {
    const std::vector<std::string> all = rows(columns, rest);
    EXPECT_EQ(all.size(), 1U) << rest;
    return all.empty() ? "" : all.front();
  }

  static Message message(int folder, long long time, const std::string& text = "text") {
    Message made;
    made.msgType = "sms";
    made.storageFolder = folder;
    made.displayTime = time;
    made.mainText = text;
    return made;
  }

  /** A message for a conversation with these addresses. */
  static Message messageTo(const std::vector<std::string>& addresses) {
    Message made = message(MAIN_FOLDER_1, 100);
    for (const std::string& address : addresses) {
      Address& added = made.addresses.emplace_back();
      added.address = address;
      added.addressType = address_type_of(address);
      added.recipientType = 1;
    }
    return made;
  }

  static int add(StoreWriter& writer, const std::vector<std::string>& addresses) {
    const Message made = messageTo(addresses);
    return writer.addMessage(writer.conversationOf(made), made);
  }

  void expectWrong(const std::string& text, const std::function<void(StoreWriter&)>& work) {
    try {
      write(work);
      ADD_FAILURE() << "not refused";
    } catch (const std::invalid_argument& error) {
      EXPECT_EQ(error.what(), text);
    }
  }
};

TEST_F(StoreWriterTest, FindsOrMakesTheConversation) {
  write([](StoreWriter& writer) {
    EXPECT_EQ(writer.conversationOf(messageTo({"+14155550100", "ann_lee@example.org"})), 1);
    EXPECT_EQ(writer.conversationOf(messageTo({"ann_lee@example.org", "4155550100"})), 1);
    EXPECT_EQ(writer.conversationOf(messageTo({"4155550100"})), 2);
    EXPECT_EQ(writer.conversationOf(messageTo({})), 3);
    EXPECT_EQ(writer.conversationsMade(), 3);
  });
  write([](StoreWriter& writer) {
    EXPECT_EQ(writer.conversationOf(messageTo({})), 3);
    EXPECT_EQ(writer.conversationOf(messageTo({"+14155550100"})), 2);
    EXPECT_EQ(writer.conversationsMade(), 0);
  });
  const std::vector<std::string> addresses = {"1,1,1,'+14155550100'", "1,2,1,'ann_lee@example.org'",
                                              "2,1,1,'4155550100'", "3,2,1,NULL"};
  EXPECT_EQ(rows("convId, addressType, recipientType, address", "msg_address_table"), addresses);
}

// On a device of the United States foreign numbers are compared in full.
TEST_F(StoreWriterTest, TellsOfOnePersonInTwoConversationsWhenAsked) {
  FakePlatform::get().set("db/csc/country_iso", "US");
  for (const bool isAsked : {false, true}) {
    const std::string person = isAsked ? "2055550188" : "2055550199";
    write([&](StoreWriter& writer) {
      if (isAsked) writer.tellTwins();
      const int first = writer.conversationOf(messageTo({"0" + person}));
      const int second = writer.conversationOf(messageTo({"+44" + person}));
      EXPECT_NE(first, second);
      ASSERT_EQ(writer.twins().size(), isAsked ? 1U : 0U);
      if (!isAsked) return;
      EXPECT_EQ(writer.twins()[0].address, "+44" + person);
      EXPECT_EQ(writer.twins()[0].convId, second);
      EXPECT_EQ(writer.twins()[0].otherConvId, first);
    });
  }
}

TEST_F(StoreWriterTest, TakesPeopleAsTheyAreWrittenAndEachOnce) {
  write([](StoreWriter& writer) {
    EXPECT_EQ(writer.conversationOf(messageTo({"(415) 555-0100", "", "4155550100"})), 1);
    EXPECT_EQ(writer.conversationOf(messageTo({"+1 415.555.0100", "+14155550100"})), 1);
    EXPECT_EQ(writer.conversationOf(messageTo({"4155550100"})), 1);
    EXPECT_EQ(writer.conversationOf(messageTo({"", " "})), 2);
    EXPECT_EQ(writer.conversationsMade(), 2);
  });
  const std::vector<std::string> addresses = {"1,'4155550100'", "2,NULL"};
  EXPECT_EQ(rows("convId, address", "msg_address_table"), addresses);
}

TEST_F(StoreWriterTest, LooksForAConversationOnce) {
  Transaction transaction;
  StoreWriter writer;
  EXPECT_EQ(writer.conversationOf(messageTo({"a_a", "b"})), 1);
  execute("DROP TABLE msg_address_table;", CANNOT_WRITE);
  EXPECT_EQ(writer.conversationOf(messageTo({"b", "a_a"})), 1);
  EXPECT_THROW(writer.conversationOf(messageTo({"b"})), StoreError);
}

TEST_F(StoreWriterTest, MakesAConversationOfThePeer) {
  write([](StoreWriter& writer) {
    Message first = messageTo({"4155550100"});
    first.peerConvId = 7;
    first.peerChatType = true;
    first.peerChatSessionId = "it's";
    first.addresses[0].recipientType = 2;
    writer.conversationOf(first);
  });
  EXPECT_EQ(row("unreadCnt, msgCnt, msgType, storageFolder, displayTime, expiryTime, mainText, "
                "msgText, peerConvId, peerChatType, peerChatSessionId, peerChatState, stickerId, "
                "lastMsgId",
                "msg_conversation_table"),
            "0,0,'',0,0,0,'','',7,1,'it''s',0,0,0");
  EXPECT_EQ(row("recipientType", "msg_address_table"), "2");
}

TEST_F(StoreWriterTest, KnowsTheStoredFormOfAnAddress) {
  write([](StoreWriter& writer) {
    const int convId = writer.conversationOf(messageTo({"+14155550100", "Parcels"}));
    EXPECT_EQ(writer.storedAddress(convId, "4155550100"), "+14155550100");
    EXPECT_EQ(writer.storedAddress(convId, "Parcels"), "Parcels");
    EXPECT_EQ(writer.storedAddress(convId, "4155550199"), "4155550199");
    EXPECT_EQ(writer.storedAddress(99, "4155550100"), "4155550100");
  });
}

constexpr const char* MESSAGE_COLUMNS =
    "msgId, msgType, subType, itemId, convId, storageId, storageFolder, networkStatus, mainText, "
    "textMessage, displayTime, expiryTime, attachedNum, sync, read, simIndex, simAddress, "
    "peerConvId, peerChatType, peerChatSessionId, peerGroupChatSender, groupId, stickerId, "
    "isShareDialMessage, isSafeMessage, customFieldInt1, customFieldStr1";

TEST_F(StoreWriterTest, StoresEveryColumnOfAMessage) {
  Message sent = message(STANDALONE_FOLDER_2, 5'000'000'000, "main");
  sent.itemId = 11;
  sent.storageId = 12;
  sent.networkStatus = 13;
  sent.textMessage = "it's";
  sent.attachedNum = 14;
  sent.read = true;
  sent.simIndex = 15;
  sent.peerConvId = 16;
  sent.peerChatType = true;
  sent.peerChatSessionId = "session";
  sent.peerGroupChatSender = "sender";
  sent.stickerId = 17;
  sent.isShareDialMessage = true;
  sent.isSafeMessage = true;
  write([&](StoreWriter& writer) {
    EXPECT_EQ(writer.addMessage(9, sent), 1);
    EXPECT_EQ(writer.addMessage(9, sent, {false, "import:mark"}), 2);
  });
  const std::string columns =
      "'sms',0,11,9,12,102,13,'main','it''s',5000000000,0,14,#,1,15,'',16,1,'session','sender',0,"
      "17,1,1,0,";
  const auto with = [&columns](const std::string& msgId, const std::string& sync,
                               const std::string& mark) {
    std::string expected = msgId + "," + columns + mark;
    return expected.replace(expected.find('#'), 1, sync);
  };
  const std::vector<std::string> expected = {with("1", "1", "NULL"),
                                             with("2", "0", "'import:mark'")};
  EXPECT_EQ(rows(MESSAGE_COLUMNS, "msg_message_table"), expected);
}

TEST_F(StoreWriterTest, StoresContentsAndMetadataOfAMessage) {
  const Message sent = full_message();
  ASSERT_EQ(sent.contents.size(), 2U);
  write([&](StoreWriter& writer) { EXPECT_EQ(writer.addMessage(1, sent), 1); });
  const Message arrived = [&] {
    Message read;
    EXPECT_EQ(db::db_get_message(1, read), db::DB_SUCCESS);
    return read;
  }();
  EXPECT_EQ(arrived.contents.size(), 2U);
  EXPECT_EQ(arrived.contents[0].filepath, sent.contents[0].filepath);
  const std::vector<std::string> sizes = {"NULL", "NULL"};
  EXPECT_EQ(rows("size", "msg_mms_content_table"), sizes);
  EXPECT_EQ(row("msgId, objectId, primaryId, secondaryId, resourceURL, BTCorrelated, "
                "MSSICorrelated, lastModSeq, MSSISync, deleted, msgTime, downloadRequired",
                "msg_nms_meta_table"),
            "1,'object','first','second','https://store.example.org/object',1,2,"
            "-81985529216486895,1,0,1700000000123,1");
}

TEST_F(StoreWriterTest, StoresEveryColumnOfAContent) {
  Content content;
  content.slideIdx = 1;
  content.textData = "it's";
  content.mediaType = 2;
  content.contentType = "image/png";
  content.attachType = true;
  content.hasFile = true;
  content.status = 3;
  content.filepath = "path";
  content.filename = "name";
  content.thumbpath = "thumb";
  content.peer_filepath = "peer";
  content.peer_copied_filepath = "copied";
  write([&](StoreWriter& writer) { writer.addContent(8, content, 5'000'000'000); });
  EXPECT_EQ(row("msgId, slideIdx, textData, mediaType, contentType, attachType, hasFile, status, "
                "filepath, filename, thumbpath, peer_filepath, peer_copied_filepath, resourceURL, "
                "size, customFieldInt1, customFieldStr1",
                "msg_mms_content_table"),
            "8,1,'it''s',2,'image/png',1,1,3,'path','name','thumb','peer','copied','',5000000000,"
            "0,''");
}

TEST_F(StoreWriterTest, StoresNoMetadataWithoutAnId) {
  write([](StoreWriter& writer) { writer.addMessage(1, message(1, 1)); });
  EXPECT_TRUE(rows("msgId", "msg_nms_meta_table").empty());
}

TEST_F(StoreWriterTest, TakesRealFoldersOnly) {
  for (const int folder : {0, 6, 100, 106, 9999, -2}) {
    expectWrong("there is no folder " + std::to_string(folder),
                [&](StoreWriter& writer) { writer.addMessage(1, message(folder, 1)); });
  }
  EXPECT_TRUE(rows("msgId", "msg_message_table").empty());
}

TEST_F(StoreWriterTest, KnowsImportedMessages) {
  write([](StoreWriter& writer) {
    EXPECT_FALSE(writer.isStored("import:a"));
    writer.addMessage(1, message(1, 1), {false, "import:a"});
    EXPECT_TRUE(writer.isStored("import:a"));
    writer.addMessage(1, message(1, 1));
    EXPECT_FALSE(writer.isStored(""));
  });
  write([](StoreWriter& writer) {
    writer.addMessage(1, message(1, 1), {false, "import:b"});
    EXPECT_TRUE(writer.isStored("import:a"));
    EXPECT_TRUE(writer.isStored("import:b"));
    EXPECT_FALSE(writer.isStored("import:c"));
  });
}

constexpr const char* SUMMARY =
    "convId, msgCnt, unreadCnt, lastMsgId, msgType, storageFolder, displayTime, expiryTime, "
    "mainText, msgText, stickerId";

TEST_F(StoreWriterTest, CountsWhatAConversationShows) {
  const auto fill = [](StoreWriter& writer, int convId) {
    writer.addMessage(convId, message(MAIN_FOLDER_1, 500, "first of its moment"));
    Message last = message(STANDALONE_FOLDER_1, 500, "last of its moment");
    last.textMessage = "more";
    last.stickerId = 4;
    writer.addMessage(convId, last);
    writer.addMessage(convId, message(MAIN_FOLDER_2, 400, "unread counts in an inbox only"));
    writer.addMessage(convId, message(MAIN_FOLDER_5, 600, "not shown"));
    writer.addMessage(convId, message(STANDALONE_FOLDER_5, 700, "nor this"));
    Message read = message(MAIN_FOLDER_1, 1, "read");
    read.read = true;
    writer.addMessage(convId, read);
  };
  write([&](StoreWriter& writer) {
    writer.conversationOf(messageTo({"a"}));
    fill(writer, 1);
  });
  EXPECT_EQ(row(SUMMARY, "msg_conversation_table"),
            "1,4,2,2,'sms',101,500,0,'last of its moment','more',4");
  // The same for several at once, and for each of them the messages that it had before.
  write([&](StoreWriter& writer) {
    writer.conversationOf(messageTo({"b"}));
    writer.conversationOf(messageTo({"c"}));
    fill(writer, 2);
    fill(writer, 1);
  });
  const std::vector<std::string> both = {"1,8,4,14,'sms',101,500,0,'last of its moment','more',4",
                                         "2,4,2,8,'sms',101,500,0,'last of its moment','more',4",
                                         "3,0,0,0,'',0,0,0,'','',0"};
  EXPECT_EQ(rows(SUMMARY, "msg_conversation_table"), both);
}

TEST_F(StoreWriterTest, CountsAgainAfterMoreMessages) {
  write([](StoreWriter& writer) {
    for (int i = 0; i < 2; ++i) {
      add(writer, {"4155550100"});
      writer.updateConversations();
    }
  });
  EXPECT_EQ(row("msgCnt, lastMsgId", "msg_conversation_table"), "2,2");
}

TEST_F(StoreWriterTest, TakesTheExpiryOfTheLastMessage) {
  write([](StoreWriter& writer) { add(writer, {"4155550100"}); });
  raw().exec("UPDATE msg_message_table SET expiryTime = 77, read = NULL;");
  write([](StoreWriter& writer) { writer.addMessage(1, message(MAIN_FOLDER_2, 1, "older")); });
  EXPECT_EQ(row("expiryTime, unreadCnt", "msg_conversation_table"), "77,1");
}

TEST_F(StoreWriterTest, MarksAsReadWhatIsUnread) {
  write([](StoreWriter& writer) {
    for (int i = 0; i < 3; ++i) add(writer, {"4155550100"});
    add(writer, {"4155550199"});
  });
  write([](StoreWriter& writer) { writer.markMessageRead(2, 1); });
  EXPECT_EQ(rows("read, sync", "msg_message_table"),
            (std::vector<std::string>{"0,1", "1,0", "0,1", "0,1"}));
  EXPECT_EQ(rows("unreadCnt", "msg_conversation_table"), (std::vector<std::string>{"2", "1"}));

  raw().exec("UPDATE msg_message_table SET sync = 1;");
  write([](StoreWriter& writer) { writer.markMessageRead(2, 1); });
  write([](StoreWriter& writer) { writer.markThreadRead(1); });
  EXPECT_EQ(rows("read, sync", "msg_message_table"),
            (std::vector<std::string>{"1,0", "1,1", "1,0", "0,1"}));
  EXPECT_EQ(rows("unreadCnt", "msg_conversation_table"), (std::vector<std::string>{"0", "1"}));
}

TEST_F(StoreWriterTest, DeletesAMessageWithAllThatBelongsToIt) {
  const Message sent = full_message();
  write([&](StoreWriter& writer) {
    const int convId = writer.conversationOf(sent);
    for (int i = 0; i < 2; ++i) writer.addMessage(convId, sent);
  });
  raw().exec("INSERT INTO msg_ft_content_table (msgId) VALUES (1), (2);");
  write([](StoreWriter& writer) { writer.deleteMessage(2, 1); });
  for (const char* const table :
       {"msg_message_table", "msg_ft_content_table", "msg_nms_meta_table"}) {
    EXPECT_EQ(row("msgId", table), "1") << table;
  }
  EXPECT_EQ(rows("msgId", "msg_mms_content_table"), (std::vector<std::string>{"1", "1"}));
  EXPECT_EQ(row("msgId, msgType, itemId, storageFolder, displayTime, data1", "deleted_msg_table"),
            "2,'mms',-13,1,81985529216486895,NULL");
  EXPECT_EQ(row("msgCnt, lastMsgId", "msg_conversation_table"), "1,1");
}

TEST_F(StoreWriterTest, DeletesTheMessagesOfAConversationAndKeepsIt) {
  write([](StoreWriter& writer) {
    for (int i = 0; i < 2; ++i) add(writer, {"4155550100"});
    add(writer, {"4155550199"});
  });
  write([](StoreWriter& writer) { writer.deleteThread(1); });
  EXPECT_EQ(row("msgId", "msg_message_table"), "3");
  EXPECT_EQ(rows("msgId", "deleted_msg_table"), (std::vector<std::string>{"1", "2"}));
  EXPECT_EQ(rows("convId, msgCnt, unreadCnt", "msg_conversation_table"),
            (std::vector<std::string>{"1,0,0", "2,1,1"}));
  EXPECT_EQ(rows("address", "msg_address_table"),
            (std::vector<std::string>{"'4155550100'", "'4155550199'"}));
}

TEST_F(StoreWriterTest, ReplacesTheSubscription) {
  for (const unsigned long long index : {5ULL, 18446744073709551615ULL}) {
    write([&](StoreWriter& writer) { writer.updateSubscription(index, "it's"); });
  }
  EXPECT_EQ(row("id, notiIdx, restartToken", "mssi_info_table"), "1,-1,'it''s'");
  raw().exec("DELETE FROM mssi_info_table;");
  write([](StoreWriter& writer) { writer.updateSubscription(6, ""); });
  EXPECT_EQ(row("id, notiIdx, restartToken", "mssi_info_table"), "1,6,''");
}

TEST_F(StoreWriterTest, SaysWhatIsNotThere) {
  write([](StoreWriter& writer) { add(writer, {"4155550100"}); });
  expectWrong("there is no conversation 7", [](StoreWriter& w) { w.requireConversation(7); });
  expectWrong("there is no conversation 7", [](StoreWriter& w) { w.markThreadRead(7); });
  expectWrong("there is no conversation 0", [](StoreWriter& w) { w.deleteThread(0); });
  expectWrong("there is no message 1 in conversation 2",
              [](StoreWriter& w) { w.markMessageRead(1, 2); });
  expectWrong("there is no message 2 in conversation 1",
              [](StoreWriter& w) { w.deleteMessage(2, 1); });
  write([](StoreWriter& writer) { writer.requireConversation(1); });
}

TEST_F(StoreWriterTest, MakesNoConversationAfterASearchThatFailed) {
  write([](StoreWriter& writer) { add(writer, {"4155550100"}); });
  raw().exec("UPDATE msg_address_table SET addressType = 9;");
  failOnRow("msg_address_table", "addressType", 9);
  EXPECT_THROW(write([](StoreWriter& writer) { add(writer, {"+14155550100"}); }), StoreError);
  EXPECT_EQ(rows("convId", "msg_conversation_table").size(), 1U);
}

TEST_F(StoreWriterTest, ThrowsForWhateverTheStoreRefuses) {
  write([](StoreWriter& writer) { add(writer, {"4155550100"}); });
  const std::function<void(StoreWriter&)> works[] = {
      [](StoreWriter& writer) { add(writer, {"4155550199"}); },
      [](StoreWriter& writer) { add(writer, {"4155550100"}); },
      [](StoreWriter& writer) { writer.addContent(1, Content()); },
      [](StoreWriter& writer) { writer.addMessage(1, full_message()); },
      [](StoreWriter& writer) { writer.markThreadRead(1); },
      [](StoreWriter& writer) { writer.deleteThread(1); },
      [](StoreWriter& writer) { writer.updateSubscription(1, ""); },
      [](StoreWriter& writer) { writer.addMessage(1, message(1, 1)); },
  };
  const std::string changes[] = {
      "INSERT ON msg_address_table",     "INSERT ON msg_message_table",
      "INSERT ON msg_mms_content_table", "INSERT ON msg_nms_meta_table",
      "UPDATE ON msg_message_table",     "INSERT ON deleted_msg_table",
      "INSERT ON mssi_info_table",       "UPDATE ON msg_conversation_table"};
  for (std::size_t i = 0; i < std::size(works); ++i) {
    raw().exec("CREATE TRIGGER refuse BEFORE " + changes[i] +
               " BEGIN SELECT RAISE(ABORT, 'refused'); END;");
    EXPECT_THROW(write(works[i]), StoreError) << changes[i];
    EXPECT_EQ(rows("msgId", "msg_message_table"), (std::vector<std::string>{"1"})) << changes[i];
    raw().exec("DROP TRIGGER refuse;");
  }
}

TEST_F(StoreWriterTest, TheStepsToAConversationCanBeEndedBetweenThem) {
  write([](StoreWriter& writer) {
    int steps = 0;
    writer.doBetweenSteps([&steps] { ++steps; });
    Message toAda = message(MAIN_FOLDER_3, 1);
    toAda.addresses.resize(1);
    toAda.addresses[0].address = "+14155550111";
    writer.conversationOf(toAda);
    EXPECT_EQ(steps, 4);
    writer.conversationOf(toAda);
    EXPECT_EQ(steps, 6) << "known from before";

    Message toBen = toAda;
    toBen.addresses[0].address = "+14155550122";
    for (int last = 1; last <= 4; ++last) {
      steps = 0;
      writer.doBetweenSteps([&steps, last] {
        if (++steps == last) throw std::runtime_error("enough");
      });
      EXPECT_THROW(writer.conversationOf(toBen), std::runtime_error) << last;
    }
    EXPECT_EQ(writer.conversationsMade(), 1);
  });
}

}  // namespace

}  // namespace msg_tarvel::helpers
