// The internal functions one by one: what they return, what they take and what they refuse.

#include "msg-tarvel-serializer/internal_functions.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "msg-tarvel-serializer/bytes.h"
#include "msg-tarvel-serializer/serializer_log.h"
#include "support/samples.h"

namespace msg_tarvel::wire_test {

namespace {

/** A block whose slots hold 0x40000000 + their number, and these strings, however many. */
std::string block_with_strings(std::size_t marker, std::size_t image,
                               const std::vector<std::string>& strings) {
  Bytes block;
  block.byte(static_cast<unsigned int>(marker));
  for (std::size_t i = 0; i < image / 4; ++i) block.number(0x40000000 + static_cast<unsigned>(i));
  block.byte(static_cast<unsigned int>(strings.size()));
  for (const std::string& text : strings) block.string(text.c_str());
  return block.str();
}

std::size_t image_size(const msg_address_item_t& /*item*/) { return 20; }
std::size_t image_size(const msg_nms_content_meta_data_t& /*item*/) { return 24; }
std::size_t image_size(const msg_nms_msg_meta_data_t& /*item*/) { return 56; }
std::size_t image_size(const msg_content_item_t& /*item*/) { return 56; }

/** The numbers of the opaque slots. */
using SlotNumbers = std::vector<std::int32_t>;
SlotNumbers opaque_slots(const msg_address_item_t& /*item*/) { return {0, 1, 2, 3}; }
SlotNumbers opaque_slots(const msg_nms_content_meta_data_t& /*item*/) { return {0, 1, 5}; }
SlotNumbers opaque_slots(const msg_nms_msg_meta_data_t& /*item*/) {
  return {0, 5, 6, 7, 8, 9, 10, 11, 12, 13};
}
SlotNumbers opaque_slots(const msg_content_item_t& /*item*/) { return {0, 1, 2, 3, 4, 5, 12}; }

bool ends_with_presence(const msg_content_item_t& /*item*/) { return true; }
template <typename Record>
bool ends_with_presence(const Record& /*item*/) {
  return false;
}

/** Whether a text is what slot 3 of block_with_strings held: text2 of content metadata, kept. */
bool is_kept(const char* text) { return reinterpret_cast<std::uintptr_t>(text) == 0x40000003; }

/** Reads a block that a record of its own kind may not have; texts are released at the end. */
template <typename Record>
class ReadBlock {
 public:
  ReadBlock(std::size_t marker, const std::vector<std::string>& strings) {
    std::memset(&_item, 0x5a, sizeof _item);
    std::string block = block_with_strings(marker, image_size(_item), strings);
    if (ends_with_presence(_item)) block += '\0';
    _size = static_cast<int>(block.size());
    _consumed = Inner<Record>::deserialize(block.data(), &_item);
  }
  ReadBlock(const ReadBlock&) = delete;
  ReadBlock& operator=(const ReadBlock&) = delete;
  ~ReadBlock() {
    for (char** const text : fields(_item).texts) {
      if (!is_kept(*text)) std::free(*text);
    }
  }

  bool readWhole() const { return _consumed == _size; }
  Record& item() { return _item; }
  std::vector<char*> texts() {
    std::vector<char*> all;
    for (char** const text : fields(_item).texts) all.push_back(*text);
    return all;
  }
  /** The texts as values; none for null, and for what the sender left in text2. */
  std::vector<Text> textValues() {
    std::vector<Text> all;
    for (char* const text : texts()) {
      all.push_back(text && !is_kept(text) ? Text(text) : std::nullopt);
    }
    return all;
  }

 private:
  Record _item;
  int _size;
  int _consumed;
};

std::vector<std::string> numbered_strings(std::size_t count) {
  std::vector<std::string> strings;
  for (std::size_t i = 0; i < count; ++i) strings.push_back("string " + std::to_string(i));
  return strings;
}

}  // namespace

TEST(WritingAString, LengthThenTextWithoutItsEnd) {
  std::vector<char> room(4 + 3, 'z');
  EXPECT_EQ(__serialize_string("abc", room.data()), 7);
  EXPECT_TRUE(same_bytes({room.data(), room.size()}, from_hex("03 00 00 00 61 62 63")));
}

TEST(WritingAString, NullAndEmptyAreALengthOfZero) {
  for (const char* const text : {static_cast<const char*>(nullptr), ""}) {
    std::vector<char> room(4, 'z');
    EXPECT_EQ(__serialize_string(text, room.data()), 4);
    EXPECT_EQ(std::string(room.data(), 4), std::string(4, '\0'));
  }
}

TEST(WritingAString, LengthTakesFourBytes) {
  const std::string text(0x012345, '\xff');
  std::vector<char> room(4 + text.size());
  EXPECT_EQ(__serialize_string(text.c_str(), room.data()), 0x012349);
  EXPECT_EQ(std::string(room.data(), 4), from_hex("45 23 01 00"));
  EXPECT_EQ(std::string(room.data() + 4, text.size()), text);
}

TEST(WritingAString, NullBufferTakesNothing) {
  EXPECT_EQ(__serialize_string("abc", nullptr), 0);
  EXPECT_EQ(__serialize_string(nullptr, nullptr), 0);
}

TEST(ReadingAString, NullBufferGivesNothing) {
  char* text = nullptr;
  EXPECT_EQ(__deserialize_string(nullptr, &text), 0);
  EXPECT_EQ(__deserialize_string(nullptr, nullptr), 0);
  EXPECT_EQ(text, nullptr);
}

TEST(ReadingAString, CopiesAndTerminatesTheText) {
  const std::string block = Bytes().string("abc").str();
  char* text = nullptr;
  EXPECT_EQ(__deserialize_string(block.data(), &text), 7);
  EXPECT_STREQ(text, "abc");
  std::free(text);
}

TEST(ReadingAString, EveryByteOfTheTextIsCopied) {
  const std::string block = number_bytes(5) + std::string("a\0b\0c", 5);
  char* text = nullptr;
  EXPECT_EQ(__deserialize_string(block.data(), &text), 9);
  EXPECT_EQ(std::string(text, 6), std::string("a\0b\0c\0", 6));
  std::free(text);
}

TEST(ReadingAString, EmptyLeavesTheSlotAlone) {
  char before = 'x';
  char* text = &before;
  EXPECT_EQ(__deserialize_string(number_bytes(0).data(), &text), 4);
  EXPECT_EQ(text, &before);
}

TEST(ReadingAString, WithoutASlotTheTextIsSkippedUnreported) {
  EXPECT_EQ(__deserialize_string(Bytes().string("abc").str().data(), nullptr), 7);
  EXPECT_EQ(__deserialize_string(number_bytes(2000000).data(), nullptr), 2000004);
  EXPECT_TRUE(logged({}));
}

// Bytes are counted in int; a damaged length may carry the count past its end, which must be as
// defined as any other count: the sanitizer watches here.
TEST(ReadingAString, ACountThatAnIntCannotHoldWrapsAround) {
  EXPECT_EQ(__deserialize_string(number_bytes(0x7ffffffe).data(), nullptr),
            static_cast<int>(0x80000002));
  const std::string block =
      "\x38" + std::string(56, '\0') + "\x05" + std::string(16, '\0') + number_bytes(0x7ffffff0);
  msg_nms_msg_meta_data_t meta{};
  EXPECT_EQ(__deserialize_nms_msg_meta_data_item(block.data(), &meta),
            static_cast<int>(0x7ffffff0U + 78U));
}

TEST(ReadingAString, LongOnesAreReportedAndReadAllTheSame) {
  struct {
    std::size_t length;
    Lines lines;
  } const cases[] = {
      {1048574, {}},
      {1048575, {too_big(1)}},
      {1048576, {too_big(1)}},
      {2 * 1048576 - 2, {too_big(1)}},
      {2 * 1048576 - 1, {too_big(2)}},
  };
  for (const auto& [length, lines] : cases) {
    const std::string block =
        number_bytes(static_cast<std::uint32_t>(length)) + std::string(length, 'x');
    char* text = nullptr;
    EXPECT_EQ(__deserialize_string(block.data(), &text), static_cast<int>(length) + 4);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(std::strlen(text), length);
    EXPECT_TRUE(logged(lines)) << length;
    std::free(text);
  }
}

template <typename Record>
class InnerFunctions : public ::testing::Test {};
TYPED_TEST_SUITE(InnerFunctions, InnerRecords, );

TYPED_TEST(InnerFunctions, NullArgumentsGiveZeroInSilence) {
  TypeParam item{};
  char byte = 'x';
  EXPECT_EQ(Inner<TypeParam>::calculate(nullptr), 0);
  EXPECT_EQ(Inner<TypeParam>::serialize(nullptr, &byte), 0);
  EXPECT_EQ(Inner<TypeParam>::serialize(&item, nullptr), 0);
  EXPECT_EQ(Inner<TypeParam>::serialize(nullptr, nullptr), 0);
  EXPECT_EQ(Inner<TypeParam>::deserialize(nullptr, &item), 0);
  EXPECT_EQ(Inner<TypeParam>::deserialize(&byte, nullptr), 0);
  EXPECT_EQ(Inner<TypeParam>::deserialize(nullptr, nullptr), 0);
  EXPECT_EQ(byte, 'x');
  EXPECT_TRUE(logged({}));
}

TYPED_TEST(InnerFunctions, ABlockIsReadAsItWasWritten) {
  Arena arena;
  const Values values = full_sample(Inner<TypeParam>::COUNTS, -5, "text ");
  const std::string block = written(*arena.record<TypeParam>(values));
  TypeParam item{};
  EXPECT_EQ(Inner<TypeParam>::deserialize(block.data(), &item), static_cast<int>(block.size()));
  EXPECT_EQ(values_of(item), values);
  EXPECT_TRUE(logged({}));
  for (char** const text : fields(item).texts) std::free(*text);
}

TYPED_TEST(InnerFunctions, AMarkerOfZeroIsReportedAndTheRestIsRead) {
  const auto strings = numbered_strings(Inner<TypeParam>::COUNTS.texts);
  ReadBlock<TypeParam> read(0, strings);
  EXPECT_TRUE(logged({check_struct_size(Inner<TypeParam>::READER)}));
  EXPECT_TRUE(read.readWhole());
  EXPECT_EQ(read.textValues(), std::vector<Text>(strings.begin(), strings.end()));
}

TYPED_TEST(InnerFunctions, AnyOtherWrongMarkerIsReadInSilence) {
  const auto strings = numbered_strings(Inner<TypeParam>::COUNTS.texts);
  for (const std::size_t marker : {1U, 19U, 21U, 84U, 255U}) {
    ReadBlock<TypeParam> read(marker, strings);
    EXPECT_TRUE(logged({}));
    EXPECT_TRUE(read.readWhole());
    EXPECT_EQ(read.textValues(), std::vector<Text>(strings.begin(), strings.end()));
  }
}

TYPED_TEST(InnerFunctions, StringsBeyondTheSlotsAreSkipped) {
  const std::size_t slots = Inner<TypeParam>::COUNTS.texts;
  for (const std::size_t more : {std::size_t{1}, std::size_t{4}, 255 - slots}) {
    auto strings = numbered_strings(slots + more);
    ReadBlock<TypeParam> read(1, strings);
    EXPECT_TRUE(read.readWhole());
    strings.resize(slots);
    EXPECT_EQ(read.textValues(), std::vector<Text>(strings.begin(), strings.end()));
  }
}

TYPED_TEST(InnerFunctions, SlotsWithoutAStringAreNull) {
  const std::size_t slots = Inner<TypeParam>::COUNTS.texts;
  for (std::size_t count = 0; count < slots; ++count) {
    const auto strings = numbered_strings(count);
    ReadBlock<TypeParam> read(1, strings);
    EXPECT_TRUE(read.readWhole());
    std::vector<Text> expected(strings.begin(), strings.end());
    expected.resize(slots);
    EXPECT_EQ(read.textValues(), expected) << count;
  }
}

TYPED_TEST(InnerFunctions, OpaqueNumbersAreTakenFromTheirSlots) {
  ReadBlock<TypeParam> read(1, {});
  std::vector<std::int32_t> numbers;
  for (const std::int32_t* const number : fields(read.item()).opaque) {
    numbers.push_back(*number - 0x40000000);
  }
  EXPECT_EQ(numbers, opaque_slots(read.item()));
}

// The sender's value, widened to a pointer, stays in text2 until a string takes its place.

TEST(ContentMetadata, Text2IsKeptWhereItsStringIsEmptyOrAbsent) {
  const std::vector<std::vector<std::string>> cases = {
      {}, {"first"}, {"first", ""}, {"first", "", "third"}};
  for (const auto& strings : cases) {
    ReadBlock<msg_nms_content_meta_data_t> read(24, strings);
    EXPECT_TRUE(is_kept(read.item().text2)) << strings.size();
    const auto values = read.textValues();
    EXPECT_EQ(values[0], strings.empty() ? Text() : Text("first"));
    EXPECT_EQ(values[2], strings.size() < 3 ? Text() : Text("third"));
    EXPECT_TRUE(read.readWhole());
  }
}

TEST(ContentMetadata, Text2IsReplacedByItsString) {
  ReadBlock<msg_nms_content_meta_data_t> read(24, {"", "second", ""});
  EXPECT_EQ(read.item().text1, nullptr);
  EXPECT_STREQ(read.item().text2, "second");
  EXPECT_EQ(read.item().text3, nullptr);
}

TEST(ContentMetadata, Text2KeepsTheLow32BitsOfTheSendersEmptyText) {
  Arena arena;
  const auto& sender = *arena.record<msg_nms_content_meta_data_t>(
      sample(CONTENT_META_COUNTS, 1, {Text("a"), Text(""), Text("c")}));
  const std::string block = written(sender);
  msg_nms_content_meta_data_t item{};
  EXPECT_EQ(__deserialize_nms_content_meta_data_item(block.data(), &item), 40);
  const auto low = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(sender.text2));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(item.text2), static_cast<std::uintptr_t>(low));
  std::free(item.text1);
  std::free(item.text3);
}

TEST(ContentMetadata, Text2OfASenderWithoutTextIsNull) {
  Arena arena;
  const std::string block =
      written(*arena.record<msg_nms_content_meta_data_t>(sample(CONTENT_META_COUNTS, 1)));
  msg_nms_content_meta_data_t item{};
  __deserialize_nms_content_meta_data_item(block.data(), &item);
  EXPECT_EQ(item.text2, nullptr);
}

TEST(Content, AnyPresenceByteButZeroIsFollowedByMetadata) {
  for (const unsigned int presence : {1U, 2U, 255U}) {
    Bytes block;
    block.append(block_of(msg_content_item_t{}));
    std::string bytes = block.str();
    bytes.back() = static_cast<char>(presence);
    bytes += block_with_strings(24, 24, {"first", "second", "third"});
    msg_content_item_t item{};
    EXPECT_EQ(__deserialize_msg_content_item(bytes.data(), &item), static_cast<int>(bytes.size()));
    ASSERT_NE(item.nmsContentMetaData, nullptr);
    EXPECT_STREQ(item.nmsContentMetaData->text2, "second");
    EXPECT_EQ(item.nmsContentMetaData->opaque5, 0x40000005);
    for (char** const text : fields(*item.nmsContentMetaData).texts) std::free(*text);
    std::free(item.nmsContentMetaData);
  }
}

TEST(Content, MetadataPointerOfTheSenderIsReplacedByNull) {
  const std::string bytes = block_with_strings(56, 56, numbered_strings(0)) + std::string(1, '\0');
  msg_content_item_t item{};
  EXPECT_EQ(__deserialize_msg_content_item(bytes.data(), &item), 59);
  EXPECT_EQ(item.nmsContentMetaData, nullptr);
  EXPECT_EQ(item.opaque12, 0x4000000c);
}

}  // namespace msg_tarvel::wire_test
