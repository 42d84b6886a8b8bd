// Buffers that were made once and stay readable for good.
//
// The sender of the golden buffers was a 32-bit process, whose pointers stand in them. What this
// machine writes is therefore compared with the pointer slots of both sides set to 0; everything
// else must be the same, byte by byte.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "msg-tarvel-serializer/bytes.h"
#include "support/golden_values.h"

namespace msg_tarvel::wire_test {

namespace {

std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string golden(const std::string& name) {
  return content_of(std::string(GOLDEN_DIR) + "/" + name);
}

/** The dump in the page on the format: a line has an offset, bytes, and what they are. */
std::string documented_bytes() {
  std::istringstream page(content_of(WIRE_FORMAT_PAGE));
  std::string line;
  while (std::getline(page, line) && line.rfind("offset  bytes", 0) != 0) continue;
  std::string bytes;
  while (std::getline(page, line) && line != "```") {
    EXPECT_EQ(std::stoul(line.substr(0, 6)), bytes.size()) << line;
    bytes += from_hex(line.substr(8, 35));
  }
  return bytes;
}

}  // namespace

TEST(Golden, MessagesAreAcceptedAndRead) {
  for (const auto& [file, values] : golden_messages()) {
    const std::string bytes = golden(file);
    EXPECT_EQ(msg_check_message(bytes.data(), bytes.size()), bytes.size()) << file;
    EXPECT_EQ(Received(bytes).tree(), normal(values)) << file;
  }
}

TEST(Golden, MessagesAreWrittenTheSameButForPointers) {
  for (const auto& [file, values] : golden_messages()) {
    Arena arena;
    const Buffer buffer(arena.message(values));
    EXPECT_TRUE(same_bytes(without_pointers(buffer.bytes()), without_pointers(golden(file))))
        << file;
  }
}

TEST(Golden, MetadataIsAcceptedReadAndWrittenTheSameButForPointers) {
  const std::string bytes = golden("metadata.bin");
  EXPECT_EQ(msg_check_nms_msg_meta(bytes.data(), bytes.size()), bytes.size());
  EXPECT_EQ(values_of(ReceivedMeta(bytes).item()), normal(golden_metadata()));
  Arena arena;
  const Buffer buffer(arena.record<msg_nms_msg_meta_data_t>(golden_metadata()));
  EXPECT_TRUE(same_bytes(without_pointers(buffer.bytes()), without_pointers(bytes)));
}

TEST(Golden, TheKeptText2IsTheSenders) {
  msg_message_item_t item{};
  const std::string bytes = golden("message-full.bin");
  msg_deserialize_message(bytes.data(), &item);
  auto& meta = *static_cast<msg_content_item_t*>(item.contentList->data)->nmsContentMetaData;
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(meta.text2), 0xb6f05024U);
  meta.text2 = nullptr;
  release(item);
}

TEST(Golden, ThePageOnTheFormatExplainsOneOfThem) {
  EXPECT_TRUE(same_bytes(documented_bytes(), golden("message-address.bin")));
}

}  // namespace msg_tarvel::wire_test
