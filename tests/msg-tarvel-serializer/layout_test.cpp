// The bytes of every block, against buffers written out by hand.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "msg-tarvel-serializer/bytes.h"
#include "msg-tarvel-serializer/internal_functions.h"
#include "support/samples.h"

namespace msg_tarvel::wire_test {

namespace {

/** The first block with 0 for the pointers in these slots, none of which may be null before. */
std::string without_pointers_at(std::string bytes, const std::vector<std::size_t>& slots) {
  for (const std::size_t slot : slots) {
    const std::size_t at = 1 + 4 * slot;
    EXPECT_NE(bytes.substr(at, 4), std::string(4, '\0')) << slot;
    bytes.replace(at, 4, 4, '\0');
  }
  return bytes;
}

}  // namespace

template <typename Record>
class BlockLayout : public ::testing::Test {};
TYPED_TEST_SUITE(BlockLayout, InnerRecords, );

TYPED_TEST(BlockLayout, AllTextsNull) {
  Arena arena;
  const auto counts = Inner<TypeParam>::COUNTS;
  const auto& item = *arena.record<TypeParam>(sample(counts, 0x11223344));
  EXPECT_TRUE(same_bytes(written(item), block_of(item).str()));
  EXPECT_EQ(Inner<TypeParam>::calculate(&item), Inner<TypeParam>::EMPTY_SIZE);
}

TYPED_TEST(BlockLayout, EveryTextOfADifferentLength) {
  Arena arena;
  const auto counts = Inner<TypeParam>::COUNTS;
  const auto& item = *arena.record<TypeParam>(full_sample(counts, -2000000000, "some text "));
  EXPECT_TRUE(same_bytes(written(item), block_of(item).str()));
}

TYPED_TEST(BlockLayout, EmptyTextsAreWrittenLikeNullBesideTheirPointer) {
  Arena arena;
  const auto counts = Inner<TypeParam>::COUNTS;
  const auto& item = *arena.record<TypeParam>(
      sample(counts, 0x55667788, std::vector<Text>(counts.texts, Text(""))));
  const auto& null = *arena.record<TypeParam>(sample(counts, 0x55667788));
  EXPECT_TRUE(same_bytes(written(item), block_of(item).str()));
  EXPECT_NE(written(item), written(null));
  EXPECT_EQ(written(item).size(), written(null).size());
}

TEST(Layout, ARecordOfA32BitBuildIsItsImage) {
  const std::vector<std::size_t> sizes = {
      sizeof(msg_message_item_t), sizeof(msg_address_item_t), sizeof(msg_content_item_t),
      sizeof(msg_nms_msg_meta_data_t), sizeof(msg_nms_content_meta_data_t)};
  EXPECT_EQ(sizes, sizeof(void*) == 4 ? std::vector<std::size_t>({84, 20, 56, 56, 24})
                                      : std::vector<std::size_t>({112, 24, 88, 80, 40}));
}

TEST(Layout, ContentWithMetadata) {
  Arena arena;
  auto& content = *arena.record<msg_content_item_t>(full_sample(CONTENT_COUNTS, 0x0c112200, "c"));
  content.nmsContentMetaData =
      arena.record<msg_nms_content_meta_data_t>(full_sample(CONTENT_META_COUNTS, 0x0d112200, "m"));
  const std::string bytes = written(content);
  EXPECT_TRUE(same_bytes(bytes, block_of(content).str()));
  // 83 and the texts c1 to c6xxxxx, then 38 and the texts m1 to m3xx.
  EXPECT_EQ(bytes.size(), 83U + (2 + 3 + 4 + 5 + 6 + 7) + 38U + (2 + 3 + 4));
}

TEST(Layout, AddressByItsBytes) {
  Arena arena;
  const auto& item =
      *arena.record<msg_address_item_t>(sample(ADDRESS_COUNTS, 0x01020304, {Text("abc")}));
  std::string bytes = written(item);
  EXPECT_EQ(bytes.size(), 29U);
  EXPECT_TRUE(same_bytes(bytes.substr(17, 4), Bytes().pointer(item.text1).str()));
  bytes.replace(17, 4, 4, '\0');
  EXPECT_TRUE(same_bytes(bytes, from_hex("14 04 03 02 01 05 03 02 01 06 03 02 01 07 03 02 01 "
                                         "00 00 00 00 01 03 00 00 00 61 62 63")));
}

TEST(Layout, ContentMetadataByItsBytes) {
  Arena arena;
  const std::string bytes = without_pointers_at(
      written(*arena.record<msg_nms_content_meta_data_t>(
          sample(CONTENT_META_COUNTS, 0x01020304, {Text("a"), std::nullopt, Text("bc")}))),
      {2, 4});
  EXPECT_TRUE(same_bytes(bytes, from_hex("18 04 03 02 01 05 03 02 01 "
                                         "00 00 00 00 00 00 00 00 00 00 00 00 06 03 02 01 "
                                         "03 01 00 00 00 61 00 00 00 00 02 00 00 00 62 63")));
}

TEST(Layout, MessageMetadataByItsBytes) {
  Arena arena;
  const auto& item = *arena.record<msg_nms_msg_meta_data_t>(
      sample(MESSAGE_META_COUNTS, -2, {Text("a"), Text("bc"), Text(""), Text("def")}));
  const std::string bytes = without_pointers_at(Buffer(&item).bytes(), {1, 2, 3, 4});
  EXPECT_TRUE(same_bytes(
      bytes, from_hex("38 fe ff ff ff "
                      "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
                      "ff ff ff ff 00 00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 "
                      "04 00 00 00 05 00 00 00 06 00 00 00 07 00 00 00 "
                      "04 01 00 00 00 61 02 00 00 00 62 63 00 00 00 00 03 00 00 00 64 65 66")));
}

TEST(Layout, ContentByItsBytes) {
  Arena arena;
  auto& item = *arena.record<msg_content_item_t>(
      sample(CONTENT_COUNTS, 0x20, {Text("a"), Text("b"), Text("c"), Text("d"), Text("e")}));
  const std::string head =
      "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 26 00 00 00 "
      "00 00 00 00 06 01 00 00 00 61 01 00 00 00 62 01 00 00 00 63 01 00 00 00 64 "
      "01 00 00 00 65 00 00 00 00 ";
  const std::string start =
      "38 20 00 00 00 21 00 00 00 22 00 00 00 23 00 00 00 24 00 00 00 25 00 00 00 ";
  EXPECT_TRUE(same_bytes(without_pointers_at(written(item), {6, 7, 8, 9, 10}),
                         from_hex(start + head + "00")));
  item.nmsContentMetaData =
      arena.record<msg_nms_content_meta_data_t>(sample(CONTENT_META_COUNTS, 0x30));
  EXPECT_TRUE(same_bytes(
      without_pointers_at(written(item), {6, 7, 8, 9, 10, 13}),
      from_hex(start + head +
               "01 18 30 00 00 00 31 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 32 00 00 00 "
               "03 00 00 00 00 00 00 00 00 00 00 00 00")));
}

TEST(Layout, MessageByItsBytes) {
  MessageValues values;
  values.own = sample(MESSAGE_COUNTS, 1, {Text("a"), Text("b"), Text("c")});
  values.addresses = {sample(ADDRESS_COUNTS, 0x41), sample(ADDRESS_COUNTS, 0x51)};
  values.contents = {{sample(CONTENT_COUNTS, 0x61), std::nullopt}};
  values.meta = sample(MESSAGE_META_COUNTS, 0x71);
  Arena arena;
  const Buffer buffer(arena.message(values));
  const std::string zeros(
      " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00");
  EXPECT_TRUE(same_bytes(
      without_pointers_at(buffer.bytes(), {2, 15, 16, 18, 19, 20}),
      from_hex("54 01 00 00 00 02 00 00 00 00 00 00 00 "
               "03 00 00 00 04 00 00 00 05 00 00 00 06 00 00 00 07 00 00 00 08 00 00 00 "
               "09 00 00 00 0a 00 00 00 0b 00 00 00 0c 00 00 00 0d 00 00 00 0e 00 00 00 "
               "00 00 00 00 00 00 00 00 0f 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
               "03 01 00 00 00 61 01 00 00 00 62 01 00 00 00 63 "
               "02 14 41 00 00 00 42 00 00 00 43 00 00 00 44 00 00 00 00 00 00 00 01 00 00 00 00 "
               "14 51 00 00 00 52 00 00 00 53 00 00 00 54 00 00 00 00 00 00 00 01 00 00 00 00 "
               "01 38 61 00 00 00 62 00 00 00 63 00 00 00 64 00 00 00 65 00 00 00 66 00 00 00" +
               zeros + " 67 00 00 00 00 00 00 00 06" + zeros +
               " 00 01 38 71 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
               "72 00 00 00 73 00 00 00 74 00 00 00 75 00 00 00 76 00 00 00 77 00 00 00 "
               "78 00 00 00 79 00 00 00 7a 00 00 00 "
               "04 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00")));
}

TEST(Layout, MessageWithNothingInIt) {
  Arena arena;
  const Buffer buffer(arena.message(empty_message()));
  EXPECT_EQ(buffer.size(), 101);
  std::string expected(101, '\0');
  expected[0] = 84;
  expected[85] = 3;
  EXPECT_TRUE(same_bytes(buffer.bytes(), expected));
}

TEST(Layout, MessageWithEverything) {
  Arena arena;
  const auto& item = *arena.message(full_message());
  const Buffer buffer(&item);
  EXPECT_TRUE(same_bytes(buffer.bytes(), block_of(item).str()));
}

TEST(Layout, MetadataAloneHasNoPresenceByte) {
  Arena arena;
  const auto& item =
      *arena.record<msg_nms_msg_meta_data_t>(full_sample(MESSAGE_META_COUNTS, 77, "metadata "));
  const Buffer buffer(&item);
  EXPECT_TRUE(same_bytes(buffer.bytes(), block_of(item).str()));
  EXPECT_TRUE(same_bytes(buffer.bytes(), written(item)));
}

}  // namespace msg_tarvel::wire_test
