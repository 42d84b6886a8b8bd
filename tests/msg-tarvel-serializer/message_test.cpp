// Whole messages and metadata through the public functions: results, ownership, failures.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "msg-tarvel-serializer/bytes.h"
#include "msg-tarvel-serializer/serializer_log.h"
#include "support/samples.h"

namespace msg_tarvel::wire_test {

namespace {

/** A message with lists of this many elements, each different from the others. */
MessageValues long_message(std::size_t addresses, std::size_t contents) {
  MessageValues values = empty_message();
  for (std::size_t i = 0; i < addresses; ++i) {
    values.addresses.push_back(sample(ADDRESS_COUNTS, static_cast<std::int32_t>(i) << 8,
                                      {Text("address " + std::to_string(i))}));
  }
  for (std::size_t i = 0; i < contents; ++i) {
    values.contents.push_back({sample(CONTENT_COUNTS, static_cast<std::int32_t>(i) << 8,
                                      {Text("content " + std::to_string(i))}),
                               std::nullopt});
  }
  return values;
}

/** The bytes of a record, padding included. */
template <typename Record>
std::string memory_of(const Record& item) {
  return {reinterpret_cast<const char*>(&item), sizeof item};
}

char* given_up_buffer() { return static_cast<char*>(std::malloc(16)); }

}  // namespace

TEST(SerializeMessage, NullArgumentsLeaveEverythingAlone) {
  char byte = 'x';
  char* out = &byte;
  EXPECT_EQ(msg_serialize_message(nullptr, &out), 0);
  EXPECT_EQ(out, &byte);
  const msg_message_item_t item{};
  EXPECT_EQ(msg_serialize_message(&item, nullptr), 0);
  EXPECT_EQ(msg_serialize_message(nullptr, nullptr), 0);
  EXPECT_TRUE(logged({}));
}

TEST(SerializeMessage, SuccessIsSilent) {
  Arena arena;
  const Buffer buffer(arena.message(full_message()));
  EXPECT_GT(buffer.size(), 0);
  EXPECT_TRUE(logged({}));
}

TEST(SerializeMessage, TheRecordsAreNotChanged) {
  Arena arena;
  const msg_message_item_t& item = *arena.message(full_message());
  const std::string before = memory_of(item);
  const Buffer buffer(&item);
  EXPECT_EQ(memory_of(item), before);
  EXPECT_EQ(tree_of(item), full_message());
}

TEST(SerializeMessage, ANullElementFailsAndReleasesWhatWasHandedIn) {
  using List = GSList* msg_message_item_t::*;
  for (const List list : {&msg_message_item_t::addressList, &msg_message_item_t::contentList}) {
    for (const std::size_t nullAt : {0U, 1U, 2U}) {
      for (const bool handedIn : {false, true}) {
        Arena arena;
        auto& item = *arena.message(empty_message());
        // An address is the smaller record; what is no null is read as one of either kind.
        std::vector<void*> elements(3, arena.record<msg_content_item_t>());
        elements[nullAt] = nullptr;
        item.*list = arena.list(elements);
        // Released by the serializer: a leak or a second free() shows under the sanitizers.
        char* out = handedIn ? given_up_buffer() : nullptr;
        EXPECT_EQ(msg_serialize_message(&item, &out), 0);
        EXPECT_EQ(out, nullptr);
        EXPECT_TRUE(logged({null_element(), failed("msg_serialize_message")}));
      }
    }
  }
}

TEST(SerializeMessage, CountsAreModulo256AndEveryElementIsWritten) {
  struct {
    std::size_t elements;
    unsigned int count;
  } const cases[] = {{255, 255}, {256, 0}, {257, 1}, {300, 44}};
  for (const auto& [elements, count] : cases) {
    Arena arena;
    const auto& item = *arena.message(long_message(elements, elements));
    const Bytes expected = block_of(item);
    const Buffer buffer(&item);
    EXPECT_TRUE(same_bytes(buffer.bytes(), expected.str()));
    ASSERT_EQ(expected.countPositions().size(), 2U);
    for (const std::size_t position : expected.countPositions()) {
      EXPECT_EQ(static_cast<unsigned char>(buffer.bytes().at(position)), count);
    }
    EXPECT_TRUE(logged({}));
  }
}

TEST(SerializeMeta, NullArgumentsLeaveEverythingAlone) {
  char byte = 'x';
  char* out = &byte;
  EXPECT_EQ(msg_serialize_nms_msg_meta(nullptr, &out), 0);
  EXPECT_EQ(out, &byte);
  const msg_nms_msg_meta_data_t item{};
  EXPECT_EQ(msg_serialize_nms_msg_meta(&item, nullptr), 0);
  EXPECT_EQ(msg_serialize_nms_msg_meta(nullptr, nullptr), 0);
  EXPECT_TRUE(logged({}));
}

TEST(SerializeMeta, ReturnsTheSizeOfTheBlock) {
  Arena arena;
  const Buffer empty(arena.record<msg_nms_msg_meta_data_t>());
  EXPECT_EQ(empty.size(), 74);
  const Buffer filled(arena.record<msg_nms_msg_meta_data_t>(
      sample(MESSAGE_META_COUNTS, 1, {Text("a"), Text("bc"), Text(""), Text("def")})));
  EXPECT_EQ(filled.size(), 80);
  EXPECT_TRUE(logged({}));
}

TEST(DeserializeMessage, NullArgumentsLeaveTheRecordAlone) {
  msg_message_item_t item;
  std::memset(&item, 0x5a, sizeof item);
  const std::string before = memory_of(item);
  msg_deserialize_message(nullptr, &item);
  EXPECT_EQ(memory_of(item), before);
  msg_deserialize_message("", nullptr);
  msg_deserialize_message(nullptr, nullptr);
  EXPECT_TRUE(logged({}));
}

TEST(DeserializeMessage, GivesBackTheWholeTreeInListOrder) {
  Arena arena;
  const Buffer buffer(arena.message(full_message()));
  const Received received(buffer.bytes());
  EXPECT_EQ(received.tree(), full_message());
  EXPECT_TRUE(logged({}));
}

TEST(DeserializeMessage, ListsOf255ElementsSurvive) {
  Arena arena;
  const MessageValues values = long_message(255, 255);
  const Buffer buffer(arena.message(values));
  EXPECT_EQ(Received(buffer.bytes()).tree(), values);
}

TEST(DeserializeMessage, OverwritesEverythingThatTheRecordHeld) {
  Arena arena;
  const Buffer buffer(arena.message(empty_message()));
  msg_message_item_t item;
  std::memset(&item, 0x5a, sizeof item);
  msg_deserialize_message(buffer.data(), &item);
  // Compared member by member: on a 64-bit build the record has padding.
  EXPECT_EQ(values_of(item), empty_message().own);
  EXPECT_EQ(item.addressList, nullptr);
  EXPECT_EQ(item.contentList, nullptr);
  EXPECT_EQ(item.nmsMsgMetaData, nullptr);
}

TEST(DeserializeMessage, EmptyTextsComeBackAsNull) {
  MessageValues values = full_message();
  for (Text& text : values.own.texts) text = "";
  values.addresses[0].texts[0] = "";
  for (Text& text : values.contents[0].own.texts) text = "";
  for (Text& text : values.contents[0].meta->texts) text = "";
  for (Text& text : values.meta->texts) text = "";
  Arena arena;
  const Buffer buffer(arena.message(values));
  const MessageValues received = Received(buffer.bytes()).tree();
  EXPECT_EQ(received, normal(values));
  EXPECT_EQ(received.own.texts, std::vector<Text>(3));
}

TEST(DeserializeMessage, AMarkerOfZeroIsReportedAndTheRestIsRead) {
  Arena arena;
  const auto& item = *arena.message(full_message());
  std::string buffer = Buffer(&item).bytes();
  buffer[0] = 0;
  msg_message_item_t received{};
  msg_deserialize_message(buffer.data(), &received);
  EXPECT_TRUE(logged({check_struct_size("msg_deserialize_message")}));
  EXPECT_EQ(tree_of(received), full_message());
  release(received);
}

TEST(DeserializeMessage, OtherWrongMarkersAreReadInSilence) {
  Arena arena;
  const auto& item = *arena.message(full_message());
  std::string buffer = Buffer(&item).bytes();
  buffer[0] = 83;
  msg_message_item_t received{};
  msg_deserialize_message(buffer.data(), &received);
  EXPECT_TRUE(logged({}));
  EXPECT_EQ(tree_of(received), full_message());
  release(received);
}

TEST(DeserializeMessage, TakesTheStringCountFromTheBlock) {
  const std::string head = Bytes().byte(84).str() + std::string(84, '\x11');
  struct {
    std::vector<std::string> strings;
    std::vector<Text> texts;
  } const cases[] = {
      {{}, {std::nullopt, std::nullopt, std::nullopt}},
      {{"a"}, {Text("a"), std::nullopt, std::nullopt}},
      {{"a", "", "c", "d", "", "f"}, {Text("a"), std::nullopt, Text("c")}},
  };
  for (const auto& [strings, texts] : cases) {
    Bytes tail;
    tail.byte(static_cast<unsigned int>(strings.size()));
    for (const std::string& text : strings) tail.string(text.c_str());
    tail.count(1).append(block_of(msg_address_item_t{{5, 6, 7, 8}, nullptr})).count(0).byte(0);
    msg_message_item_t item{};
    msg_deserialize_message((head + tail.str()).data(), &item);
    EXPECT_EQ(values_of(item).texts, texts);
    EXPECT_EQ(values_of(item).opaque, std::vector<std::int32_t>(15, 0x11111111));
    // What follows is found where the strings end.
    ASSERT_EQ(g_slist_length(item.addressList), 1U);
    EXPECT_EQ(values_of(*static_cast<msg_address_item_t*>(item.addressList->data)).opaque,
              (std::vector<std::int32_t>{5, 6, 7, 8}));
    release(item);
  }
}

TEST(DeserializeMessage, AnyPresenceByteButZeroIsFollowedByMetadata) {
  Arena arena;
  MessageValues values = empty_message();
  values.meta = full_sample(MESSAGE_META_COUNTS, 9, "metadata ");
  std::string buffer = Buffer(arena.message(values)).bytes();
  ASSERT_EQ(buffer[100], 1);
  buffer[100] = '\xff';
  EXPECT_EQ(Received(buffer).tree(), values);
}

TEST(DeserializeMessage, Text2OfContentMetadataKeepsWhatTheSenderHad) {
  Arena arena;
  auto& item = *arena.message(full_message());
  auto& sent = *static_cast<msg_content_item_t*>(item.contentList->data)->nmsContentMetaData;
  sent.text2 = arena.text("");
  const Buffer buffer(&item);
  msg_message_item_t received{};
  msg_deserialize_message(buffer.data(), &received);
  auto& meta = *static_cast<msg_content_item_t*>(received.contentList->data)->nmsContentMetaData;
  const auto low = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(sent.text2));
  EXPECT_NE(low, 0U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(meta.text2), static_cast<std::uintptr_t>(low));
  meta.text2 = nullptr;
  release(received);
}

TEST(DeserializeMeta, NullArgumentsLeaveTheRecordAlone) {
  msg_nms_msg_meta_data_t item;
  std::memset(&item, 0x5a, sizeof item);
  const std::string before = memory_of(item);
  msg_deserialize_nms_msg_meta(nullptr, &item);
  EXPECT_EQ(memory_of(item), before);
  msg_deserialize_nms_msg_meta("", nullptr);
  msg_deserialize_nms_msg_meta(nullptr, nullptr);
  EXPECT_TRUE(logged({}));
}

TEST(DeserializeMeta, GivesBackTheRecord) {
  Arena arena;
  const Values values =
      sample(MESSAGE_META_COUNTS, -9, {Text("a"), std::nullopt, Text("ccc"), Text("dddd")});
  const Buffer buffer(arena.record<msg_nms_msg_meta_data_t>(values));
  EXPECT_EQ(values_of(ReceivedMeta(buffer.bytes()).item()), values);
  EXPECT_TRUE(logged({}));
}

TEST(DeserializeMeta, AMarkerOfZeroIsReportedByTheBlockReader) {
  Arena arena;
  std::string buffer = Buffer(arena.record<msg_nms_msg_meta_data_t>()).bytes();
  buffer[0] = 0;
  const ReceivedMeta received(buffer);
  EXPECT_TRUE(logged({check_struct_size("__deserialize_nms_msg_meta_data_item")}));
}

}  // namespace msg_tarvel::wire_test
