// Taking buffers apart: every field by its name, and the same judgement as the library's checks.

#include "commands/buffer_walk.h"

#include <gtest/gtest.h>
#include <msg-tarvel-common/msg-tarvel-serializer/msg-tarvel-serializer.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "reliability/extent.h"

namespace msg_tarvel::tool {
namespace {

std::string golden(const std::string& name) {
  std::ifstream file(std::string(GOLDEN_DIR) + "/" + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  std::stringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

/** The fields that are no slots and no lengths: "block: meaning = value". */
std::vector<std::string> outline(const BufferWalk& walk) {
  std::vector<std::string> lines;
  for (const BufferField& field : walk.fields) {
    if (field.meaning.rfind("slot ", 0) == 0 || field.meaning.rfind("length ", 0) == 0) continue;
    lines.push_back(field.block + ": " + field.meaning + " = " + field.value);
  }
  return lines;
}

/** The meanings of the slots of one block, in order. */
std::vector<std::string> slots(const BufferWalk& walk, const std::string& block) {
  std::vector<std::string> meanings;
  for (const BufferField& field : walk.fields) {
    if (field.block == block && field.meaning.rfind("slot ", 0) == 0) {
      meanings.push_back(field.meaning);
    }
  }
  return meanings;
}

std::string value_of(const BufferWalk& walk, std::size_t offset) {
  for (const BufferField& field : walk.fields) {
    if (field.offset == offset) return field.value;
  }
  return "no field";
}

/** Whether the fields stand one behind the other up to where the damage is, or the end. */
void expect_no_gaps(const BufferWalk& walk, const std::string& buffer) {
  std::size_t next = 0;
  for (const BufferField& field : walk.fields) {
    ASSERT_EQ(field.offset, next);
    ASSERT_GT(field.size, 0U);
    next += field.size;
  }
  // A length whose text is cut off is itself still good.
  EXPECT_EQ(next, walk.damage.empty() ? buffer.size() : walk.damageOffset) << walk.damage;
}

/** A walk finds a buffer whole if and only if the library's check does. */
void expect_the_checks_judgement(const std::string& buffer) {
  const BufferWalk walk = walk_buffer(buffer);
  const bool isMessage = msg_check_message(buffer.data(), buffer.size()) == buffer.size();
  const bool isMetadata = msg_check_nms_msg_meta(buffer.data(), buffer.size()) == buffer.size();
  ASSERT_EQ(walk.damage.empty(), !buffer.empty() && (isMessage || isMetadata)) << walk.damage;
  if (walk.damage.empty()) {
    ASSERT_EQ(walk.kind, isMessage ? "message" : "metadata");
  }
  expect_no_gaps(walk, buffer);
}

const std::vector<std::string>& golden_names() {
  static const std::vector<std::string> names = {"message-full.bin", "message-empty.bin",
                                                 "message-address.bin", "message-utf8.bin",
                                                 "metadata.bin"};
  return names;
}

}  // namespace

TEST(BufferWalk, NamesEveryPartOfAMessage) {
  const BufferWalk walk = walk_buffer(golden("message-full.bin"));
  EXPECT_EQ(walk.kind, "message");
  EXPECT_EQ(walk.damage, "");
  EXPECT_EQ(outline(walk), (std::vector<std::string>{
                               "message: record size = 84",
                               "message: number of strings = 3",
                               "message: msgType = mms",
                               "message: mainText = Subject line",
                               "message: textMessage = Body of the message",
                               "message: number of addresses = 2",
                               "address 1: record size = 20",
                               "address 1: number of strings = 1",
                               "address 1: address = +15550100",
                               "address 2: record size = 20",
                               "address 2: number of strings = 1",
                               "message: number of contents = 3",
                               "content 1: record size = 56",
                               "content 1: number of strings = 6",
                               "content 1: contentType = image/jpeg",
                               "content 1: textData = <cid1>",
                               "content 1: filepath = photo.jpg",
                               "content 1: filename = /data/photo.jpg",
                               "content 1: thumbpath = /data/thumb.jpg",
                               "content 1: metadata present = 1",
                               "metadata of content 1: record size = 24",
                               "metadata of content 1: number of strings = 3",
                               "metadata of content 1: metaText1 = object-1",
                               "metadata of content 1: metaText3 = part-1",
                               "content 2: record size = 56",
                               "content 2: number of strings = 6",
                               "content 2: contentType = text/plain",
                               "content 2: metadata present = 1",
                               "metadata of content 2: record size = 24",
                               "metadata of content 2: number of strings = 3",
                               "metadata of content 2: metaText2 = second",
                               "content 3: record size = 56",
                               "content 3: number of strings = 6",
                               "content 3: metadata present = 0",
                               "message: metadata present = 1",
                               "metadata of message: record size = 56",
                               "metadata of message: number of strings = 4",
                               "metadata of message: objectId = correlation",
                               "metadata of message: resourceURL = object",
                               "metadata of message: primaryId = resource",
                               "metadata of message: secondaryId = path",
                           }));
}

TEST(BufferWalk, NamesMetadataAlone) {
  const BufferWalk walk = walk_buffer(golden("metadata.bin"));
  EXPECT_EQ(walk.kind, "metadata");
  EXPECT_EQ(outline(walk),
            (std::vector<std::string>{
                "metadata: record size = 56", "metadata: number of strings = 4",
                "metadata: objectId = correlation", "metadata: secondaryId = größer"}));
}

TEST(BufferWalk, TellsWhatASlotCarriesAndWhichAreTheSendersPointers) {
  const BufferWalk walk = walk_buffer(golden("message-full.bin"));
  EXPECT_EQ(slots(walk, "address 2"),
            (std::vector<std::string>{"slot 0: convId", "slot 1: addressType",
                                      "slot 2: recipientType", "slot 3: userFlag (bit 0)",
                                      "slot 4: address (the sender's pointer)"}));
  EXPECT_EQ(slots(walk, "metadata of content 2"),
            (std::vector<std::string>{"slot 0: metaValue, low half", "slot 1: metaValue, high half",
                                      "slot 2: metaText1 (the sender's pointer)",
                                      "slot 3: metaText2 (the sender's pointer)",
                                      "slot 4: metaText3 (the sender's pointer)", "slot 5"}));
  // A number of the image is signed: 0x0a000000, and the pointer 0xb6f01018 of text3.
  EXPECT_EQ(value_of(walk, 1), "167772160");
  EXPECT_EQ(value_of(walk_buffer(golden("message-address.bin")), 65), "-1225781224");
}

TEST(BufferWalk, StopsAtTheByteThatIsWrong) {
  const std::string empty = golden("message-empty.bin");
  struct {
    std::size_t offset;
    char value;
    const char* damage;
  } const cases[] = {
      {85, 2, "the number of strings of the message is 2, not 3"},
      {85, 4, "the number of strings of the message is 4, not 3"},
      {100, 2, "the presence byte is 2"},
  };
  for (const auto& [offset, value, damage] : cases) {
    std::string buffer = empty;
    buffer[offset] = value;
    const BufferWalk walk = walk_buffer(buffer);
    EXPECT_EQ(walk.damage, damage);
    EXPECT_EQ(walk.damageOffset, offset);
    expect_no_gaps(walk, buffer);
  }
  const BufferWalk more = walk_buffer(empty + "more");
  EXPECT_EQ(more.damage, "4 bytes too many");
  EXPECT_EQ(more.damageOffset, 101U);
  EXPECT_EQ(walk_buffer("").damage, "the file is empty");
  EXPECT_EQ(walk_buffer("").kind, "");
}

TEST(BufferWalk, JudgesEveryPrefixAsTheCheckDoes) {
  for (const std::string& name : golden_names()) {
    const std::string whole = golden(name);
    for (std::size_t size = 0; size <= whole.size(); ++size) {
      expect_the_checks_judgement(whole.substr(0, size));
    }
  }
}

TEST(BufferWalk, JudgesEveryDamagedByteAsTheCheckDoes) {
  for (const std::string& name : golden_names()) {
    const std::string whole = golden(name);
    for (std::size_t at = 0; at < whole.size(); at += SHARE) {
      for (const int value : {0, 1, 2, 3, 20, 24, 56, 84, 127, 255}) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(value);
        expect_the_checks_judgement(damaged);
      }
    }
  }
}

}  // namespace msg_tarvel::tool
