// What the slots of the records carry, and that nothing a sender writes makes a receiver follow a
// pointer of the sender's.

#include "helpers/record_mapping.h"

#include <gtest/gtest.h>
#include <msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/message_text.h"

namespace msg_tarvel::helpers {

namespace {

Message there_and_back(const Message& message) {
  const std::string buffer = to_buffer(message);
  const MessageRecord record = read_record(buffer.data(), buffer.size());
  return record ? to_message(*record) : Message();
}

/** Where a slot stands in a buffer in which its record's marker is at `marker`. */
std::size_t slot_at(std::size_t marker, std::size_t slot) {
  return marker + 1 + slot * sizeof(std::int32_t);
}

Message message_with_content_metadata() {
  Message message;
  Content& content = message.contents.emplace_back();
  content.nmsContentMeta.metaValue = -5'000'000'000;
  content.nmsContentMeta.metaText1 = "one";
  content.nmsContentMeta.metaText2 = "two";
  content.nmsContentMeta.metaText3 = "three";
  return message;
}

TEST(RecordMapping, CarriesEveryField) {
  const Message sent = full_message();
  const Message arrived = there_and_back(sent);
  EXPECT_EQ(text_of(arrived), text_of(sent));
  EXPECT_EQ(arrived.msgId, 11);
  EXPECT_EQ(arrived.convId, 12);
  EXPECT_EQ(arrived.addresses[1].convId, 12);
  EXPECT_EQ(arrived.contents[0].msgId, 11);
  EXPECT_EQ(arrived.nmsMsgMeta.msgId, 11);
}

TEST(RecordMapping, CarriesEachFlagByItself) {
  for (bool Message::*const flag : {&Message::read, &Message::isSafeMessage,
                                    &Message::isShareDialMessage, &Message::peerChatType}) {
    Message sent;
    sent.*flag = true;
    EXPECT_EQ(text_of(there_and_back(sent)), text_of(sent));
  }
}

TEST(RecordMapping, CarriesTheMetadataOfContents) {
  const Message sent = message_with_content_metadata();
  EXPECT_EQ(text_of(there_and_back(sent)), text_of(sent));
}

TEST(RecordMapping, LeavesOutMetadataThatIsNotThere) {
  const MessageRecord record = to_record(Message());
  EXPECT_EQ(record->nmsMsgMetaData, nullptr);
  EXPECT_EQ(record->addressList, nullptr);
  EXPECT_EQ(record->contentList, nullptr);
  EXPECT_EQ(text_of(there_and_back(Message())), text_of(Message()));

  Message withContent;
  withContent.contents.emplace_back();
  const MessageRecord withPart = to_record(withContent);
  EXPECT_EQ(static_cast<msg_content_item_t*>(withPart->contentList->data)->nmsContentMetaData,
            nullptr);
}

TEST(RecordMapping, AnEmptyTextIsANullOne) {
  Message message;
  message.mainText = "text";
  message.addresses.emplace_back();
  message.contents.emplace_back();
  const MessageRecord record = to_record(message);
  EXPECT_EQ(record->text1, nullptr);
  EXPECT_STREQ(record->text2, "text");
  EXPECT_EQ(record->text3, nullptr);
  EXPECT_EQ(static_cast<msg_address_item_t*>(record->addressList->data)->text1, nullptr);
  const auto* const content = static_cast<msg_content_item_t*>(record->contentList->data);
  EXPECT_EQ(content->text1, nullptr);
  EXPECT_EQ(content->text6, nullptr);
}

TEST(RecordMapping, OneFieldIsEnoughForTheMetadataOfAContent) {
  const NmsContentMeta all = message_with_content_metadata().contents[0].nmsContentMeta;
  NmsContentMeta each[4];
  each[0].metaValue = all.metaValue;
  each[1].metaText1 = all.metaText1;
  each[2].metaText2 = all.metaText2;
  each[3].metaText3 = all.metaText3;
  for (const NmsContentMeta& meta : each) {
    Message sent;
    sent.contents.emplace_back().nmsContentMeta = meta;
    EXPECT_EQ(text_of(there_and_back(sent)), text_of(sent));
  }
}

TEST(RecordMapping, TheFirstAddressWithTheFlagIsTheSender) {
  Message sent;
  for (const char* const address : {"nobody", "first", "second"}) {
    sent.addresses.emplace_back().address = address;
  }
  EXPECT_EQ(there_and_back(sent).peerGroupChatSender, "");
  sent.addresses[1].userFlag = true;
  sent.addresses[2].userFlag = true;
  EXPECT_EQ(there_and_back(sent).peerGroupChatSender, "first");
}

// Where the reader had no memory for an element there is a null one.
TEST(RecordMapping, AListWithANullElementIsNoMessage) {
  for (GSList* msg_message_item_t::*const list :
       {&msg_message_item_t::addressList, &msg_message_item_t::contentList}) {
    const MessageRecord record = to_record(Message());
    (*record).*list = g_slist_append(nullptr, nullptr);
    EXPECT_THROW(to_message(*record), std::bad_alloc);
  }
}

TEST(RecordMapping, PutsEachNumberIntoItsSlot) {
  const std::string buffer = to_buffer(full_message());
  const std::pair<std::size_t, std::int32_t> slots[] = {
      {0, 11},         {1, 12},  {3, -13}, {4, 1},   {5, 14},  {6, 15}, {7, 1},  {8, -0x76543211},
      {9, 0x01234567}, {10, 10}, {11, 16}, {12, 17}, {13, 18}, {14, 0}, {17, 0},
  };
  for (const auto& [slot, expected] : slots) {
    std::int32_t value = 0;
    std::memcpy(&value, &buffer[slot_at(0, slot)], sizeof value);
    EXPECT_EQ(value, expected) << "slot " << slot;
  }
}

TEST(RecordMapping, RefusesMoreElementsThanArrive) {
  Message most;
  most.addresses.resize(255);
  most.contents.resize(255);
  EXPECT_EQ(there_and_back(most).contents.size(), 255U);
  Message contents = most;
  contents.contents.emplace_back();
  EXPECT_THROW(to_buffer(contents), std::length_error);
  most.addresses.emplace_back();
  EXPECT_THROW(to_buffer(most), std::length_error);
}

TEST(RecordMapping, ReadsOnlyExactlyOneMessage) {
  const std::string buffer = to_buffer(full_message());
  EXPECT_NE(read_record(buffer.data(), buffer.size()), nullptr);
  for (std::size_t size = 0; size < buffer.size(); ++size) {
    // A copy of its own, so that reading behind it is noticed.
    const std::vector<char> prefix(buffer.begin(),
                                   buffer.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(read_record(prefix.data(), size), nullptr) << size;
  }
  const std::string longer = buffer + '\0';
  EXPECT_EQ(read_record(longer.data(), longer.size()), nullptr);
  EXPECT_EQ(read_record(nullptr, 0), nullptr);
}

/** The records as a sender makes them that leaves a pointer where there is no text. */
std::string buffer_with_a_stray_pointer() {
  const MessageRecord record = to_record(message_with_content_metadata());
  auto* const content = static_cast<msg_content_item_t*>(record->contentList->data);
  char* const two = std::exchange(content->nmsContentMetaData->text2, const_cast<char*>(""));
  char* buffer = nullptr;
  const int size = msg_serialize_message(record.get(), &buffer);
  content->nmsContentMetaData->text2 = two;
  std::string bytes(buffer, static_cast<std::size_t>(size));
  std::free(buffer);
  return bytes;
}

TEST(RecordMapping, NeverFollowsAPointerOfTheSenders) {
  const std::string buffer = buffer_with_a_stray_pointer();
  // The reader alone leaves what the sender had there: this is what has to be taken care of.
  msg_message_item_t raw = {};
  msg_deserialize_message(buffer.data(), &raw);
  auto* const rawContent = static_cast<msg_content_item_t*>(raw.contentList->data);
  EXPECT_NE(rawContent->nmsContentMetaData->text2, nullptr);
  rawContent->nmsContentMetaData->text2 = nullptr;
  MessageRecord(new (std::malloc(sizeof raw)) msg_message_item_t(raw)).reset();

  const MessageRecord record = read_record(buffer.data(), buffer.size());
  ASSERT_NE(record, nullptr);
  const Message message = to_message(*record);
  EXPECT_EQ(message.contents[0].nmsContentMeta.metaText1, "one");
  EXPECT_EQ(message.contents[0].nmsContentMeta.metaText2, "");
  EXPECT_EQ(message.contents[0].nmsContentMeta.metaText3, "three");
}

TEST(RecordMapping, FindsTheStrayPointerAmongOtherRecords) {
  Message message = full_message();
  const Content content = message_with_content_metadata().contents[0];
  message.contents.insert(message.contents.end(), 3, content);
  message.contents.emplace_back();
  std::string buffer = to_buffer(message);
  // What metaText2 says gives way to nothing but a number in its slot.
  const std::string two("\3\0\0\0two", 7);
  const std::string meta("\x18", 1);
  std::size_t found = 0;
  for (std::size_t at = buffer.find(two); at != std::string::npos; at = buffer.find(two, at)) {
    buffer.replace(at, two.size(), std::string(4, '\0'));
    const std::size_t marker = at - 4 - 3 - 1 - 24 - 1;  // text1, count, image, marker
    ASSERT_EQ(buffer.substr(marker, 1), meta);
    buffer.replace(slot_at(marker, 3), 4, 4, '\x7F');
    ++found;
  }
  ASSERT_EQ(found, 3U);
  for (Content& part : message.contents) part.nmsContentMeta.metaText2.clear();
  const MessageRecord record = read_record(buffer.data(), buffer.size());
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(text_of(to_message(*record)), text_of(message));
}

TEST(SlotMeaning, NamesWhatASlotCarries) {
  const std::vector<std::string> message = {
      "msgId",
      "convId",
      "msgType",
      "itemId",
      "storageFolder",
      "storageId",
      "networkStatus",
      "simIndex",
      "displayTime, low half",
      "displayTime, high half",
      "read (bit 0), isSafeMessage (bit 1), isShareDialMessage (bit 2), peerChatType (bit 3)",
      "attachedNum",
      "stickerId",
      "peerConvId",
      "",
      "mainText",
      "textMessage",
      "",
      "addresses",
      "contents",
      "nmsMsgMeta"};
  const std::vector<std::string> address = {"convId", "addressType", "recipientType",
                                            "userFlag (bit 0)", "address"};
  const std::vector<std::string> content = {"msgId",
                                            "slideIdx",
                                            "mediaType",
                                            "status",
                                            "attachType (bit 0), hasFile (bit 1)",
                                            "",
                                            "contentType",
                                            "textData",
                                            "filepath",
                                            "filename",
                                            "thumbpath",
                                            "peer_filepath",
                                            "",
                                            "nmsContentMeta"};
  const std::vector<std::string> messageMetadata = {"msgId",
                                                    "objectId",
                                                    "resourceURL",
                                                    "primaryId",
                                                    "secondaryId",
                                                    "lastModSeq, low half",
                                                    "lastModSeq, high half",
                                                    "msgTime, low half",
                                                    "msgTime, high half",
                                                    "BTCorrelated",
                                                    "MSSICorrelated",
                                                    "MSSISync (bit 0)",
                                                    "deleted (bit 0)",
                                                    "downloadRequired (bit 0)"};
  const std::vector<std::string> contentMetadata = {"metaValue, low half", "metaValue, high half",
                                                    "metaText1", "metaText2", "metaText3"};

  const std::pair<RecordKind, std::vector<std::string>> kinds[] = {
      {RecordKind::MESSAGE, message},
      {RecordKind::ADDRESS, address},
      {RecordKind::CONTENT, content},
      {RecordKind::MESSAGE_METADATA, messageMetadata},
      {RecordKind::CONTENT_METADATA, contentMetadata}};
  for (const auto& [kind, meanings] : kinds) {
    const int slots = static_cast<int>(meanings.size());
    EXPECT_EQ(slot_meaning(kind, -1), "");
    for (int slot = 0; slot < slots; ++slot) {
      EXPECT_EQ(slot_meaning(kind, slot), meanings[static_cast<std::size_t>(slot)]) << slot;
    }
    EXPECT_EQ(slot_meaning(kind, slots), "");
  }
}

}  // namespace

}  // namespace msg_tarvel::helpers
