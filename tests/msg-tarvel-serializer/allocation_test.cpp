// Memory: how much is asked for, and what becomes of everything when there is none. A leak shows
// under LeakSanitizer.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

#include "msg-tarvel-serializer/arbitrary_records.h"
#include "msg-tarvel-serializer/bytes.h"
#include "msg-tarvel-serializer/guarded_memory.h"
#include "msg-tarvel-serializer/internal_functions.h"
#include "msg-tarvel-serializer/serializer_log.h"
#include "msg-tarvel-serializer/watched_calls.h"
#include "support/samples.h"

namespace msg_tarvel::wire_test {

namespace {

const char* const NO_MEMORY = "Cannot allocate memory";

/** The pointer that the sender left in text2. */
constexpr std::uint32_t SENDERS_TEXT2 = 0x12345678;

/** No record in it has a null text. */
MessageValues message_of_texts() {
  MessageValues values = full_message();
  values.addresses.erase(values.addresses.begin() + 1);
  values.contents.pop_back();
  return values;
}
constexpr int TEXTS_OF_MESSAGE = 3 + 2 * 1 + 6 + 3 + 4;

int texts_in(const Values& values) {
  return static_cast<int>(std::count_if(values.texts.begin(), values.texts.end(),
                                        [](const Text& text) { return text.has_value(); }));
}

int texts_in(const MessageValues& values) {
  int count = texts_in(values.own) + (values.meta ? texts_in(*values.meta) : 0);
  for (const Values& address : values.addresses) count += texts_in(address);
  for (const ContentValues& content : values.contents) {
    count += texts_in(content.own) + (content.meta ? texts_in(*content.meta) : 0);
  }
  return count;
}

/** A message up to its first count, with no texts. */
std::string message_start() {
  std::string bytes = block_of(msg_message_item_t{}).str();
  return bytes.substr(0, bytes.size() - 3);
}

int serialize(const msg_message_item_t& item, char** out) {
  return msg_serialize_message(&item, out);
}
int serialize(const msg_nms_msg_meta_data_t& item, char** out) {
  return msg_serialize_nms_msg_meta(&item, out);
}

/** What is written into memory of this size that is full of `byte`, with a guard behind it. */
template <typename Record>
std::string written_to_used_memory(const Record& item, std::size_t size, int byte) {
  GuardedMemory memory(size);
  std::memset(memory.last(size), byte, size);
  char* out = nullptr;
  WatchedCalls calls;
  calls.handOut(memory.last(size));
  EXPECT_EQ(serialize(item, &out), static_cast<int>(size));
  EXPECT_EQ(calls.sizes(), std::vector<std::size_t>{size});
  return {memory.last(size), size};
}

/** The bytes of a record in memory, with null for all that it leads to. */
template <typename Record>
std::string image_of(const Record& item) {
  Record copy{};
  std::memcpy(&copy, &item, sizeof copy);
  for (char** const text : fields(copy).texts) *text = nullptr;
  if constexpr (std::is_same_v<Record, msg_content_item_t>) copy.nmsContentMetaData = nullptr;
  std::string bytes(sizeof copy, '\0');
  std::memcpy(bytes.data(), &copy, sizeof copy);
  return bytes;
}

/** The same for a record in memory of zeros, with these opaque numbers. */
template <typename Record>
std::string clean_image(const Values& values) {
  Record item{};
  std::memset(&item, 0, sizeof item);
  const Fields found = fields(item);
  for (std::size_t i = 0; i < values.opaque.size(); ++i) *found.opaque[i] = values.opaque[i];
  return image_of(item);
}

/** The images of all records that the reader makes for a message. */
std::vector<std::string> images_of(const msg_message_item_t& item) {
  std::vector<std::string> images;
  for (GSList* node = item.addressList; node; node = node->next) {
    images.push_back(image_of(*static_cast<msg_address_item_t*>(node->data)));
  }
  for (GSList* node = item.contentList; node; node = node->next) {
    const auto& content = *static_cast<msg_content_item_t*>(node->data);
    images.push_back(image_of(content));
    if (content.nmsContentMetaData) images.push_back(image_of(*content.nmsContentMetaData));
  }
  if (item.nmsMsgMetaData) images.push_back(image_of(*item.nmsMsgMetaData));
  return images;
}

std::vector<std::string> clean_images(const MessageValues& values) {
  std::vector<std::string> images;
  for (const Values& address : values.addresses) {
    images.push_back(clean_image<msg_address_item_t>(address));
  }
  for (const ContentValues& content : values.contents) {
    images.push_back(clean_image<msg_content_item_t>(content.own));
    if (content.meta) images.push_back(clean_image<msg_nms_content_meta_data_t>(*content.meta));
  }
  if (values.meta) images.push_back(clean_image<msg_nms_msg_meta_data_t>(*values.meta));
  return images;
}

std::vector<void*> data_of(GSList* list) {
  std::vector<void*> all;
  for (; list; list = list->next) all.push_back(list->data);
  return all;
}

}  // namespace

TEST(SerializerMemory, OneAllocationForEachMessage) {
  Arena arena;
  const auto* const item = arena.message(full_message());
  WatchedCalls calls;
  const Buffer buffer(item);
  EXPECT_EQ(calls.sizes(), std::vector<std::size_t>{block_of(*item).size()});
  EXPECT_EQ(buffer.size(), static_cast<int>(block_of(*item).size()));
}

TEST(SerializerMemory, OneAllocationForMetadataAlone) {
  Arena arena;
  const auto* const item =
      arena.record<msg_nms_msg_meta_data_t>(full_sample(MESSAGE_META_COUNTS, 1, "text "));
  WatchedCalls calls;
  const Buffer buffer(item);
  EXPECT_EQ(calls.allocations(), 1);
  EXPECT_EQ(calls.lengthsTaken(), 4);
}

TEST(SerializerMemory, TheLengthOfEachTextIsTakenOnce) {
  Arena arena;
  const auto* const item = arena.message(message_of_texts());
  WatchedCalls calls;
  const Buffer buffer(item);
  EXPECT_EQ(calls.lengthsTaken(), TEXTS_OF_MESSAGE);
}

TEST(SerializerMemory, TheLengthOfEachTextOf255AddressesIsTakenOnce) {
  MessageValues values = empty_message();
  values.own = full_sample(MESSAGE_COUNTS, 1, "text ");
  values.addresses.resize(255, full_sample(ADDRESS_COUNTS, 1, "address "));
  Arena arena;
  const auto* const item = arena.message(values);
  WatchedCalls calls;
  const Buffer buffer(item);
  EXPECT_EQ(calls.lengthsTaken(), 3 + 255);
}

// More lengths than are kept: the lists are longer than what survives, but they are written whole.
TEST(SerializerMemory, AnyNumberOfTextsIsWritten) {
  for (const std::size_t addresses : {500U, 508U, 509U, 510U, 1000U}) {
    MessageValues values = full_message();
    values.addresses.clear();
    for (std::size_t i = 0; i < addresses; ++i) {
      values.addresses.push_back(
          sample(ADDRESS_COUNTS, static_cast<int>(i), {Text(std::string(i % 7, 'x'))}));
    }
    Arena arena;
    const auto* const item = arena.message(values);
    EXPECT_TRUE(same_bytes(Buffer(item).bytes(), block_of(*item).str())) << addresses;
    EXPECT_TRUE(logged({}));
  }
}

TEST(SerializerMemory, NoTextIsReadBeyondItsEnd) {
  GuardedMemory memory(5000);
  for (const std::size_t length : {0U, 1U, 3U, 4U, 7U, 8U, 15U, 16U, 31U, 33U, 63U, 65U, 4999U}) {
    const std::string text(length, 'x');
    Arena arena;
    auto* const item = arena.message(empty_message());
    item->text3 = memory.last(length + 1);
    memory.hold(text + '\0');
    EXPECT_TRUE(same_bytes(Buffer(item).bytes(), block_of(*item).str()));
  }
}

TEST(SerializerMemory, EveryByteOfAMessageIsWrittenAndNoneBeyond) {
  EXPECT_TRUE(rc::check([] {
    Arena arena;
    const auto& item = *arena.message(arbitrary_message());
    const std::string expected = block_of(item).str();
    RC_ASSERT(written_to_used_memory(item, expected.size(), 0xa5) == expected);
    RC_ASSERT(written_to_used_memory(item, expected.size(), 0x5a) == expected);
  }));
}

TEST(SerializerMemory, EveryByteOfMetadataIsWrittenAndNoneBeyond) {
  EXPECT_TRUE(rc::check([] {
    Arena arena;
    const auto& item =
        *arena.record<msg_nms_msg_meta_data_t>(arbitrary_values(MESSAGE_META_COUNTS));
    const std::string expected = block_of(item).str();
    RC_ASSERT(written_to_used_memory(item, expected.size(), 0xa5) == expected);
    RC_ASSERT(written_to_used_memory(item, expected.size(), 0x5a) == expected);
  }));
}

TEST(SerializerMemory, AnyAllocationMayFail) {
  Arena arena;
  const auto* const item = arena.message(full_message());
  const int size = static_cast<int>(block_of(*item).size());
  for (int failing = 1;; ++failing) {
    char* out = nullptr;
    WatchedCalls calls;
    calls.failAllocation(failing);
    const int result = msg_serialize_message(item, &out);
    if (calls.allocations() < failing) {
      EXPECT_EQ(result, size);
      EXPECT_TRUE(logged({}));
      std::free(out);
      break;
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(logged(
        {no_memory("msg_serialize_message", size, NO_MEMORY), failed("msg_serialize_message")}));
  }
}

TEST(SerializerMemory, AnyAllocationForMetadataMayFail) {
  Arena arena;
  const auto* const item = arena.record<msg_nms_msg_meta_data_t>();
  for (int failing = 1;; ++failing) {
    char* out = nullptr;
    WatchedCalls calls;
    calls.failAllocation(failing);
    const int result = msg_serialize_nms_msg_meta(item, &out);
    if (calls.allocations() < failing) {
      EXPECT_EQ(result, 74);
      EXPECT_TRUE(logged({}));
      std::free(out);
      break;
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out, nullptr);
    EXPECT_TRUE(logged({no_memory("msg_serialize_nms_msg_meta", 74, NO_MEMORY),
                        failed("msg_serialize_nms_msg_meta")}));
  }
}

// Whatever the caller's variable holds is overwritten, never released.
TEST(SerializerMemory, WithoutMemoryTheOldOutIsOverwrittenByNull) {
  Arena arena;
  char byte = 'x';
  WatchedCalls calls;
  calls.failAllocation(1);
  char* out = &byte;
  EXPECT_EQ(msg_serialize_message(arena.message(full_message()), &out), 0);
  EXPECT_EQ(out, nullptr);

  WatchedCalls callsForMeta;
  callsForMeta.failAllocation(1);
  out = &byte;
  EXPECT_EQ(msg_serialize_nms_msg_meta(arena.record<msg_nms_msg_meta_data_t>(), &out), 0);
  EXPECT_EQ(out, nullptr);
}

// Sizes are told as int, and size_t has 32 bits on the watch. One long text in many places makes a
// message that is larger on the wire than either can tell.
class TooLargeMessage : public ::testing::TestWithParam<std::pair<std::size_t, std::size_t>> {};

TEST_P(TooLargeMessage, FailsLikeAnAllocation) {
  const auto [times, length] = GetParam();
  Arena arena;
  char* const text = arena.text(std::string(length, 'x'));
  std::vector<void*> addresses;
  for (std::size_t i = 0; i < times; ++i) {
    auto* const address = arena.record<msg_address_item_t>();
    address->text1 = text;
    addresses.push_back(address);
  }
  auto* const item = arena.message(empty_message());
  item->addressList = arena.list(addresses);
  const std::uint64_t size = 101 + std::uint64_t{times} * (26 + length);
  ASSERT_GT(size, 0x7fffffffU);

  char* out = nullptr;
  WatchedCalls calls;
  EXPECT_EQ(msg_serialize_message(item, &out), 0);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(calls.allocations(), 0);
  EXPECT_TRUE(logged({no_memory("msg_serialize_message", static_cast<int>(size), NO_MEMORY),
                      failed("msg_serialize_message")}));
}

INSTANTIATE_TEST_SUITE_P(SerializerMemory, TooLargeMessage,
                         ::testing::Values(std::pair(128, 1 << 24), std::pair(255, 17'000'000)));

// Nobody may change records while they are written. These do it all the same, right between the
// measuring and the writing, to reach what the serializer does when the two disagree.

TEST(SerializerMemory, ATextThatIsGoneIsReportedAndTheSizeStays) {
  Arena arena;
  auto* const item = arena.message(full_message());
  const std::size_t size = block_of(*item).size();
  const std::size_t length = std::strlen(item->text3);
  std::string room(size, '\xa5');
  char* out = nullptr;
  WatchedCalls calls;
  calls.handOut(room.data());
  calls.onAllocation([item] { item->text3 = nullptr; });
  EXPECT_EQ(msg_serialize_message(item, &out), static_cast<int>(size));
  EXPECT_TRUE(logged({different_size("msg_serialize_message", static_cast<int>(size),
                                     static_cast<int>(size - length))}));
  // What was not needed is zero.
  EXPECT_TRUE(same_bytes(room, block_of(*item).str() + std::string(length, '\0')));
}

TEST(SerializerMemory, AMetadataTextThatIsGoneIsReportedAndTheSizeStays) {
  Arena arena;
  auto* const item = arena.record<msg_nms_msg_meta_data_t>(
      sample(MESSAGE_META_COUNTS, 1, {Text("a"), Text("bc")}));
  std::string room(77, '\xa5');
  char* out = nullptr;
  WatchedCalls calls;
  calls.handOut(room.data());
  calls.onAllocation([item] { item->text2 = nullptr; });
  EXPECT_EQ(msg_serialize_nms_msg_meta(item, &out), 77);
  EXPECT_TRUE(logged({different_size("msg_serialize_nms_msg_meta", 77, 75)}));
  EXPECT_TRUE(same_bytes(room, block_of(*item).str() + std::string(2, '\0')));
}

TEST(SerializerMemory, AnElementThatBecameNullFailsAndReleasesTheBuffer) {
  using List = GSList* msg_message_item_t::*;
  for (const List list : {&msg_message_item_t::addressList, &msg_message_item_t::contentList}) {
    Arena arena;
    auto* const item = arena.message(full_message());
    char* out = nullptr;
    WatchedCalls calls;
    calls.onAllocation([item, list] { (item->*list)->next->data = nullptr; });
    EXPECT_EQ(msg_serialize_message(item, &out), 0);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(calls.allocations(), 1);
    EXPECT_TRUE(logged({null_element(), failed("msg_serialize_message")}));
  }
}

TEST(ReaderMemory, OneAllocationForEachTextAndRecord) {
  Arena arena;
  const Buffer buffer(arena.message(message_of_texts()));
  msg_message_item_t item{};
  WatchedCalls calls;
  msg_deserialize_message(buffer.data(), &item);
  EXPECT_EQ(calls.allocations(), TEXTS_OF_MESSAGE + 2 + 1 + 1 + 1);
  release(item);
}

// Nor does any of it show between the slots, where a 64-bit build has gaps.
TEST(ReaderMemory, NothingOfMemoryThatWasInUseIsLeft) {
  EXPECT_TRUE(rc::check([] {
    const MessageValues values = arbitrary_message();
    Arena arena;
    const Buffer buffer(arena.message(values));
    for (const int byte : {0xa5, 0x5a}) {
      WatchedCalls calls;
      calls.fillWith(byte);
      const Received received(buffer.bytes());
      RC_ASSERT(received.tree() == normal(values));
      RC_ASSERT(images_of(received.item()) == clean_images(values));
    }
  }));
}

TEST(ReaderMemory, EachTextTakesItsLengthAndAnEndEachRecordItself) {
  MessageValues values = empty_message();
  values.own.texts = {Text("1"), Text("22"), Text("333")};
  values.addresses = {sample(ADDRESS_COUNTS, 1, {Text("4444")})};
  values.contents = {{sample(CONTENT_COUNTS, 1, {Text("55555")}),
                      sample(CONTENT_META_COUNTS, 1, {Text("666666")})}};
  values.meta = sample(MESSAGE_META_COUNTS, 1, {Text("7777777")});
  Arena arena;
  const Buffer buffer(arena.message(values));
  msg_message_item_t item{};
  WatchedCalls calls;
  msg_deserialize_message(buffer.data(), &item);
  EXPECT_EQ(calls.sizes(),
            (std::vector<std::size_t>{
                2, 3, 4, sizeof(msg_address_item_t), 5, sizeof(msg_content_item_t), 6,
                sizeof(msg_nms_content_meta_data_t), 7, sizeof(msg_nms_msg_meta_data_t), 8}));
  release(item);
}

// A length is compared as a signed number, so one with the highest bit is too big for nobody. There
// is no such buffer: without memory its text is not looked at.
TEST(ReaderMemory, ALengthThatIsNegativeAsANumberIsNotReported) {
  char* text = nullptr;
  WatchedCalls calls;
  calls.failAllocation(1);
  EXPECT_EQ(__deserialize_string(number_bytes(0x80000000U).data(), &text), INT_MIN + 4);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(calls.sizes(), std::vector<std::size_t>{0x80000001U});
  EXPECT_TRUE(logged({}));
}

// Without a target nothing is asked for or reported, and the length counts as it stands.
TEST(ReaderMemory, ANegativeLengthIsPassedOverAsANumber) {
  WatchedCalls calls;
  EXPECT_EQ(__deserialize_string(number_bytes(0xfffffffbU).data(), nullptr), -1);
  EXPECT_EQ(__deserialize_string(number_bytes(0x80000000U).data(), nullptr), INT_MIN + 4);
  EXPECT_EQ(calls.allocations(), 0);
  EXPECT_TRUE(logged({}));
}

TEST(ReaderMemory, ALongTextIsReportedBeforeThereIsNoMemoryForIt) {
  char* text = nullptr;
  WatchedCalls calls;
  calls.failAllocation(1);
  EXPECT_EQ(__deserialize_string(number_bytes(5U << 20).data(), &text), (5 << 20) + 4);
  EXPECT_EQ(text, nullptr);
  EXPECT_TRUE(logged({too_big(5)}));
}

// Without the sender's pointers, so that text2 of a content's metadata is null without its text.
TEST(ReaderMemory, AnyTextOfAWholeMessageMayBeWithoutMemory) {
  const MessageValues values = message_of_texts();
  Arena arena;
  const std::string bytes = without_pointers(Buffer(arena.message(values)).bytes());
  // Texts and records in the order in which the reader makes them.
  const std::string order = "tttrtrtrttttttrtttrtttt";
  int missing = 0;
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (order[i] == 'r') continue;
    msg_message_item_t item{};
    WatchedCalls calls;
    calls.failAllocation(static_cast<int>(i) + 1);
    msg_deserialize_message(bytes.data(), &item);
    EXPECT_EQ(calls.sizes().size(), order.size());
    const MessageValues read = tree_of(item);
    EXPECT_EQ(texts_in(read), TEXTS_OF_MESSAGE - 1);
    EXPECT_EQ(read.addresses.size(), values.addresses.size());
    EXPECT_EQ(read.contents.size(), values.contents.size());
    ++missing;
    release(item);
  }
  EXPECT_EQ(missing, TEXTS_OF_MESSAGE);
  EXPECT_TRUE(logged({}));
}

TEST(ReaderMemory, ListsAreBuiltWithoutWalkingThemAgain) {
  MessageValues values = empty_message();
  values.addresses.resize(255, sample(ADDRESS_COUNTS, 1));
  values.contents.resize(255, {sample(CONTENT_COUNTS, 1), std::nullopt});
  Arena arena;
  const Buffer buffer(arena.message(values));
  msg_message_item_t item{};
  WatchedCalls calls;
  msg_deserialize_message(buffer.data(), &item);
  ASSERT_EQ(calls.appends().size(), 2U * 255);
  for (const unsigned int passed : calls.appends()) EXPECT_LE(passed, 1U);
  EXPECT_EQ(tree_of(item), values);
  release(item);
}

TEST(ReleaseMemory, EveryNodeOfTheListsIsReleased) {
  Arena arena;
  const Buffer buffer(arena.message(full_message()));
  msg_message_item_t item{};
  msg_deserialize_message(buffer.data(), &item);
  WatchedCalls calls;
  msg_release_message(&item);
  EXPECT_EQ(calls.nodesReleased(), 3U + 2U);
}

template <typename Record>
class ReaderMemoryOf : public ::testing::Test {};
TYPED_TEST_SUITE(ReaderMemoryOf, InnerRecords, );

TYPED_TEST(ReaderMemoryOf, ATextWithoutMemoryIsNotStoredAndTheRestIsRead) {
  Arena arena;
  auto& sent = *arena.record<TypeParam>(full_sample(Inner<TypeParam>::COUNTS, 7, "text "));
  const Values values = values_of(sent);
  std::string block = written(sent);
  constexpr bool IS_CONTENT_META = std::is_same_v<TypeParam, msg_nms_content_meta_data_t>;
  if (IS_CONTENT_META) block.replace(13, 4, number_bytes(SENDERS_TEXT2));
  for (std::size_t failing = 1; failing <= values.texts.size(); ++failing) {
    TypeParam item{};
    {
      WatchedCalls calls;
      calls.failAllocation(static_cast<int>(failing));
      EXPECT_EQ(Inner<TypeParam>::deserialize(block.data(), &item), static_cast<int>(block.size()));
      EXPECT_EQ(calls.allocations(), static_cast<int>(values.texts.size()));
    }
    // What the slot holds without its text: null, or the sender's pointer.
    char*& slot = *fields(item).texts[failing - 1];
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(slot),
              IS_CONTENT_META && failing == 2 ? SENDERS_TEXT2 : 0);
    slot = nullptr;
    Values expected = values;
    expected.texts[failing - 1].reset();
    EXPECT_EQ(values_of(item), expected) << failing;
    EXPECT_TRUE(logged({}));
    for (char** const text : fields(item).texts) std::free(*text);
  }
}

TEST(ReaderMemory, AMessageTextWithoutMemoryIsNotStoredAndTheRestIsRead) {
  MessageValues values = empty_message();
  values.own = full_sample(MESSAGE_COUNTS, 7, "text ");
  Arena arena;
  const Buffer buffer(arena.message(values));
  for (std::size_t failing = 1; failing <= 3; ++failing) {
    msg_message_item_t item{};
    WatchedCalls calls;
    calls.failAllocation(static_cast<int>(failing));
    msg_deserialize_message(buffer.data(), &item);
    Values expected = values.own;
    expected.texts[failing - 1].reset();
    EXPECT_EQ(values_of(item), expected);
    EXPECT_TRUE(logged({}));
    release(item);
  }
}

// An element that could not be made is a null entry, and its block is not passed over. The buffers
// here have no block in that place, so that what follows is what is read next.

TEST(ReaderMemory, AnAddressWithoutMemoryIsANullEntry) {
  const std::string address = block_of(msg_address_item_t{{1, 2, 3, 4}, nullptr}).str();
  for (unsigned int before = 0; before < 3; ++before) {
    std::string bytes = message_start() + static_cast<char>(before + 1);
    for (unsigned int i = 0; i < before; ++i) bytes += address;
    bytes += std::string(2, '\0');  // no contents, no metadata
    msg_message_item_t item{};
    WatchedCalls calls;
    calls.failAllocation(static_cast<int>(before) + 1);
    msg_deserialize_message(bytes.data(), &item);
    const std::vector<void*> addresses = data_of(item.addressList);
    ASSERT_EQ(addresses.size(), before + 1);
    for (unsigned int i = 0; i < before; ++i) EXPECT_NE(addresses[i], nullptr);
    EXPECT_EQ(addresses.back(), nullptr);
    EXPECT_EQ(item.contentList, nullptr);
    EXPECT_EQ(item.nmsMsgMetaData, nullptr);
    EXPECT_TRUE(logged({}));
    release(item);
  }
}

TEST(ReaderMemory, AContentWithoutMemoryIsANullEntry) {
  const std::string content = block_of(msg_content_item_t{}).str();
  const std::string bytes = message_start() + '\0' + '\2' + content + '\0';
  msg_message_item_t item{};
  WatchedCalls calls;
  calls.failAllocation(2);
  msg_deserialize_message(bytes.data(), &item);
  const std::vector<void*> contents = data_of(item.contentList);
  ASSERT_EQ(contents.size(), 2U);
  EXPECT_NE(contents[0], nullptr);
  EXPECT_EQ(contents[1], nullptr);
  EXPECT_EQ(item.nmsMsgMetaData, nullptr);
  release(item);
}

// As above, but with an element that can be made behind the one that cannot: its block is read from
// where the missing element's would begin.

TEST(ReaderMemory, AnAddressBehindOneWithoutMemoryIsRead) {
  Arena arena;
  MessageValues values = empty_message();
  values.addresses = {sample(ADDRESS_COUNTS, 1), sample(ADDRESS_COUNTS, 5)};
  values.meta = sample(MESSAGE_META_COUNTS, 9);
  std::string bytes = Buffer(arena.message(values)).bytes();
  bytes[message_start().size()] = 3;
  msg_message_item_t item{};
  WatchedCalls calls;
  calls.failAllocation(2);
  msg_deserialize_message(bytes.data(), &item);
  const std::vector<void*> addresses = data_of(item.addressList);
  ASSERT_EQ(addresses.size(), 3U);
  EXPECT_EQ(values_of(*static_cast<msg_address_item_t*>(addresses[0])), values.addresses[0]);
  EXPECT_EQ(addresses[1], nullptr);
  ASSERT_NE(addresses[2], nullptr);
  EXPECT_EQ(values_of(*static_cast<msg_address_item_t*>(addresses[2])), values.addresses[1]);
  ASSERT_NE(item.nmsMsgMetaData, nullptr);
  EXPECT_EQ(values_of(*item.nmsMsgMetaData), *values.meta);
  EXPECT_TRUE(logged({}));
  release(item);
}

TEST(ReaderMemory, AContentBehindOneWithoutMemoryIsRead) {
  Arena arena;
  MessageValues values = empty_message();
  values.contents = {{sample(CONTENT_COUNTS, 1), std::nullopt},
                     {sample(CONTENT_COUNTS, 5), std::nullopt}};
  values.meta = sample(MESSAGE_META_COUNTS, 9);
  std::string bytes = Buffer(arena.message(values)).bytes();
  bytes[message_start().size() + 1] = 3;
  msg_message_item_t item{};
  WatchedCalls calls;
  calls.failAllocation(2);
  msg_deserialize_message(bytes.data(), &item);
  const std::vector<void*> contents = data_of(item.contentList);
  ASSERT_EQ(contents.size(), 3U);
  EXPECT_EQ(values_of(*static_cast<msg_content_item_t*>(contents[0])), values.contents[0].own);
  EXPECT_EQ(contents[1], nullptr);
  ASSERT_NE(contents[2], nullptr);
  EXPECT_EQ(values_of(*static_cast<msg_content_item_t*>(contents[2])), values.contents[1].own);
  ASSERT_NE(item.nmsMsgMetaData, nullptr);
  EXPECT_EQ(values_of(*item.nmsMsgMetaData), *values.meta);
  EXPECT_TRUE(logged({}));
  release(item);
}

// Of a well-formed message nothing is read from a wrong place: reading ends with the record.
TEST(ReaderMemory, AWellFormedMessageEndsWithTheRecordThatIsWithoutMemory) {
  MessageValues values = empty_message();
  values.addresses = {sample(ADDRESS_COUNTS, 1), sample(ADDRESS_COUNTS, 5)};
  values.contents = {{sample(CONTENT_COUNTS, 1), sample(CONTENT_META_COUNTS, 3)},
                     {sample(CONTENT_COUNTS, 5), std::nullopt}};
  values.meta = sample(MESSAGE_META_COUNTS, 9);
  Arena arena;
  const std::string bytes = Buffer(arena.message(values)).bytes();
  GuardedMemory memory(bytes.size());
  struct {
    std::size_t addresses;
    std::size_t contents;
    bool isLastNull;
  } const expected[] = {{1, 0, true}, {2, 0, true}, {2, 1, true}, {2, 1, false}, {2, 2, true}};
  for (int failing = 1; failing <= 5; ++failing) {
    const auto& [addresses, contents, isLastNull] = expected[failing - 1];
    msg_message_item_t item{};
    WatchedCalls calls;
    calls.failAllocation(failing);
    msg_deserialize_message(memory.hold(bytes), &item);
    EXPECT_EQ(calls.allocations(), failing);
    const std::vector<void*> inAddresses = data_of(item.addressList);
    const std::vector<void*> inContents = data_of(item.contentList);
    EXPECT_EQ(inAddresses.size(), addresses);
    EXPECT_EQ(inContents.size(), contents);
    EXPECT_EQ((inContents.empty() ? inAddresses : inContents).back() == nullptr, isLastNull);
    EXPECT_EQ(item.nmsMsgMetaData, nullptr);
    EXPECT_TRUE(logged({}));
    release(item);
  }
}

TEST(ReaderMemory, MetadataWithoutMemoryIsNull) {
  MessageValues values = empty_message();
  values.meta = full_sample(MESSAGE_META_COUNTS, 1, "text ");
  Arena arena;
  const Buffer buffer(arena.message(values));
  msg_message_item_t item{};
  WatchedCalls calls;
  calls.failAllocation(1);
  msg_deserialize_message(buffer.data(), &item);
  EXPECT_EQ(calls.allocations(), 1);
  EXPECT_EQ(item.nmsMsgMetaData, nullptr);
  EXPECT_EQ(values_of(item), values.own);
}

TEST(ReaderMemory, ContentMetadataWithoutMemoryIsNullAndItsBlockIsNotPassedOver) {
  Arena arena;
  auto& content = *arena.record<msg_content_item_t>(sample(CONTENT_COUNTS, 5));
  content.nmsContentMetaData = arena.record<msg_nms_content_meta_data_t>();
  const std::string block = written(content);
  msg_content_item_t item{};
  WatchedCalls calls;
  calls.failAllocation(1);
  EXPECT_EQ(__deserialize_msg_content_item(block.data(), &item), 83);
  EXPECT_EQ(item.nmsContentMetaData, nullptr);
  EXPECT_EQ(values_of(item).opaque, values_of(content).opaque);
}

}  // namespace msg_tarvel::wire_test
