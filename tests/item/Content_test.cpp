#include "msg-tarvel-common/item/Content.h"

#include <filesystem>

#include "item/item_suites.h"
#include "support/expected_log.h"
#include "support/scarce_memory.h"
#include "support/store.h"
#include "support/text_file.h"

namespace msg_tarvel::item_test {

static_assert(std::is_nothrow_move_constructible_v<Content>);

INSTANTIATE_TYPED_TEST_SUITE_P(Content, ItemShape, Content);
INSTANTIATE_TYPED_TEST_SUITE_P(Content, ItemValue, Content);

const unsigned char* bytes_of(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

std::string payload_of(const Content& content) {
  return {reinterpret_cast<const char*>(content.rawData.get()), content.rawDataSize};
}

int set(Content& content, const std::string& payload) {
  return content.setRawData(bytes_of(payload), static_cast<unsigned int>(payload.size()));
}

Content content_with(const std::string& payload) {
  Content content;
  EXPECT_EQ(set(content, payload), 0);
  return content;
}

const ExpectedLine NO_MEMORY_TO_SET =
    error_line("Content.cpp", "setRawData", "[ERROR] Failed to allocate memory!");

// ---- setRawData --------------------------------------------------------------------------------

TEST(ContentSetRawData, KeepsACopyOfItsOwn) {
  std::string bytes("raw\0data", 8);
  const Content content = content_with(bytes);
  bytes.assign(8, '?');
  EXPECT_TRUE(content.hasRawData());
  EXPECT_EQ(payload_of(content), std::string("raw\0data", 8));
  EXPECT_TRUE(logged({}));
}

TEST(ContentSetRawData, ReplacesAnEarlierPayload) {
  Content content = content_with("a longer first payload");
  EXPECT_EQ(set(content, "second"), 0);
  EXPECT_EQ(payload_of(content), "second");
  EXPECT_TRUE(logged({}));
}

TEST(ContentSetRawData, ReleasesTheOldPayloadBeforeItAllocates) {
  Content content = content_with("a longer first payload");
  int allocations = 0;
  long blocks = 0;
  long change = 0;
  {
    const OnPayloadAllocation watch([&] {
      ++allocations;
      change = live_blocks() - blocks;
      EXPECT_FALSE(content.hasRawData());
      EXPECT_EQ(content.rawDataSize, 0U);
    });
    blocks = live_blocks();
    EXPECT_EQ(set(content, "second"), 0);
  }
  EXPECT_EQ(allocations, 1);
  EXPECT_EQ(change, ARRAYS_ARE_COUNTED ? -1 : 0);
}

TEST(ContentSetRawData, TakesUpToOneMebibyte) {
  std::string bytes(1048576, 'x');
  bytes.back() = 'y';
  EXPECT_EQ(payload_of(content_with(bytes)), bytes);
  EXPECT_TRUE(logged({}));
}

TEST(ContentSetRawData, OfNoBytesIsAPayload) {
  Content content = content_with("earlier");
  EXPECT_EQ(set(content, ""), 0);
  EXPECT_TRUE(content.hasRawData());
  EXPECT_EQ(content.rawDataSize, 0U);
  EXPECT_TRUE(logged({}));
}

struct Refusal {
  const char* name;
  bool null;
  unsigned int size;
  int result;
  const char* message;
};

std::ostream& operator<<(std::ostream& out, const Refusal& test) { return out << test.name; }

class ContentSetRawDataRefusal : public ::testing::TestWithParam<Refusal> {
 protected:
  /** The refused bytes are never looked at: there is only one of them. */
  int refusedCall(Content& content) const {
    const unsigned char byte = 'x';
    return content.setRawData(GetParam().null ? nullptr : &byte, GetParam().size);
  }
};

TEST_P(ContentSetRawDataRefusal, ChangesNothing) {
  const ExpectedLine line = error_line("Content.cpp", "setRawData", GetParam().message);

  Content empty;
  EXPECT_EQ(refusedCall(empty), GetParam().result);
  EXPECT_EQ(differences(empty, Content()), "");
  EXPECT_TRUE(logged({line}));

  auto filled = sample<Content>(SEED);
  const unsigned char* const payload = filled.rawData.get();
  EXPECT_EQ(refusedCall(filled), GetParam().result);
  EXPECT_EQ(filled.rawData.get(), payload);
  EXPECT_EQ(differences(filled, sample<Content>(SEED)), "");
  EXPECT_TRUE(logged({line}));
}

INSTANTIATE_TEST_SUITE_P(
    , ContentSetRawDataRefusal,
    ::testing::Values(
        Refusal{"Null", true, 10, -3, "[ERROR] rawData is NULL"},
        Refusal{"NullAndNoBytes", true, 0, -3, "[ERROR] rawData is NULL"},
        Refusal{"NullBeforeTooLarge", true, 2000000, -3, "[ERROR] rawData is NULL"},
        Refusal{"OneByteTooMany", false, 1048577, -2, "[ERROR] Too large data! size is 1 MB"},
        Refusal{"UnderTwoMebibytes", false, 2097151, -2, "[ERROR] Too large data! size is 1 MB"},
        Refusal{"TwoMebibytes", false, 2097152, -2, "[ERROR] Too large data! size is 2 MB"},
        Refusal{"AboveFiveMebibytes", false, 5242881, -2, "[ERROR] Too large data! size is 5 MB"},
        Refusal{"LargestSize", false, 4294967295U, -2, "[ERROR] Too large data! size is 4095 MB"}),
    [](const auto& test) { return test.param.name; });

TEST(ContentSetRawData, WithoutMemoryDropsTheOldPayload) {
  auto content = sample<Content>(SEED);
  {
    const NoMemoryForPayloads noMemory;
    EXPECT_EQ(set(content, "new"), -2);
    EXPECT_EQ(noMemory.refusals(), 1);
  }
  EXPECT_FALSE(content.hasRawData());
  EXPECT_EQ(content.rawDataSize, 0U);
  EXPECT_EQ(differences(content, sample<Content>(SEED)), "payload ");
  EXPECT_TRUE(logged({NO_MEMORY_TO_SET}));

  EXPECT_EQ(set(content, "once there is memory"), 0);
  EXPECT_EQ(payload_of(content), "once there is memory");
}

TEST(ContentSetRawData, WithoutMemoryAndOldPayloadLeavesTheSizeAsItWas) {
  Content content;
  content.rawDataSize = 77;
  {
    const NoMemoryForPayloads noMemory;
    EXPECT_EQ(set(content, "new"), -2);
  }
  EXPECT_FALSE(content.hasRawData());
  EXPECT_EQ(content.rawDataSize, 77U);
  EXPECT_TRUE(logged({NO_MEMORY_TO_SET}));
}

// ---- Copies of the payload ---------------------------------------------------------------------

TEST(ContentPayload, IsCopiedIntoABufferOfItsOwn) {
  Content a = content_with("bytes");
  Content b;
  a.filename = "f";
  b = a;
  EXPECT_EQ(differences(a, b), "");
  EXPECT_NE(a.rawData.get(), b.rawData.get());
  a.rawData[0] = 'B';
  EXPECT_EQ(payload_of(b), "bytes");
}

TEST(ContentPayload, IsMovedAndSwappedWithoutCopyingItsBytes) {
  Content source = content_with("bytes");
  const unsigned char* const bytes = source.rawData.get();
  Content target(std::move(source));
  EXPECT_EQ(target.rawData.get(), bytes);
  // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): looks at what is left
  EXPECT_FALSE(source.hasRawData());

  Content other = content_with("other bytes");
  swap(target, other);
  EXPECT_EQ(other.rawData.get(), bytes);
  EXPECT_EQ(payload_of(target), "other bytes");

  std::vector<Content> grown;
  grown.push_back(std::move(other));
  grown.resize(grown.capacity() + 1);
  EXPECT_EQ(grown[0].rawData.get(), bytes);
}

TEST(ContentPayload, AboveTheLimitOfSetRawDataIsCopied) {
  const std::string bytes(1048577, 'x');
  Content source;
  set_payload(source, bytes);
  const Content copy(source);
  EXPECT_EQ(payload_of(copy), bytes);
  EXPECT_TRUE(logged({}));
}

TEST(ContentPayload, OfNoBytesIsNotCopied) {
  const Content source = content_with("");
  const Content copy(source);
  EXPECT_TRUE(source.hasRawData());
  EXPECT_FALSE(copy.hasRawData());
  EXPECT_EQ(copy.rawDataSize, 0U);
}

TEST(ContentPayload, SizeWithoutABufferIsNotCopied) {
  Content source;
  source.rawDataSize = 77;
  const Content copy(source);
  EXPECT_FALSE(copy.hasRawData());
  EXPECT_EQ(copy.rawDataSize, 0U);
  EXPECT_EQ(source.rawDataSize, 77U);
  EXPECT_TRUE(logged({}));
}

TEST(ContentPayload, IsMissingFromACopyMadeWithoutMemory) {
  const auto source = sample<Content>(SEED);
  const auto copyWithoutMemory = [&source] {
    const NoMemoryForPayloads noMemory;
    return Content(source);
  };
  const Content copy = copyWithoutMemory();
  EXPECT_FALSE(copy.hasRawData());
  EXPECT_EQ(copy.rawDataSize, 0U);
  EXPECT_EQ(differences(copy, source), "payload ");
  EXPECT_EQ(differences(source, sample<Content>(SEED)), "");
  EXPECT_TRUE(logged({error_line("Content.cpp", "Content", "[ERROR] Failed to allocate memory!")}));
}

// ---- createFile --------------------------------------------------------------------------------

class ContentCreateFile : public ::testing::Test {
 protected:
  std::string path(const std::string& name) const { return _folder.path() + "/" + name; }

 private:
  TemporaryFolder _folder;
};

TEST_F(ContentCreateFile, WritesThePayload) {
  const std::string bytes("\0raw\n\xff%s", 8);
  EXPECT_EQ(content_with(bytes).createFile(path("part")), 0);
  EXPECT_EQ(read_file(path("part")), bytes);
  EXPECT_TRUE(logged({}));
}

TEST_F(ContentCreateFile, TruncatesAFileThatIsThere) {
  for (const std::string payload : {"new", ""}) {
    write_file(path("part"), "something longer");
    EXPECT_EQ(content_with(payload).createFile(path("part")), 0);
    EXPECT_EQ(read_file(path("part")), payload);
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(ContentCreateFile, OfNoBytesMakesAnEmptyFile) {
  EXPECT_EQ(content_with("").createFile(path("part")), 0);
  EXPECT_TRUE(std::filesystem::is_empty(path("part")));
  EXPECT_TRUE(logged({}));
}

TEST_F(ContentCreateFile, WithoutPayloadIsRefusedSilently) {
  Content content;
  content.rawDataSize = 5;
  EXPECT_EQ(content.createFile(path("part")), -1);
  EXPECT_FALSE(std::filesystem::exists(path("part")));
  EXPECT_TRUE(logged({}));
}

TEST_F(ContentCreateFile, ThatCannotBeOpenedIsLogged) {
  const auto line = [](const std::string& reason) {
    return error_line("common_util_funcs.cpp", "create_file_by_rawdata",
                      "[ERROR] fopen() failed: (" + reason + ")");
  };
  EXPECT_EQ(content_with("bytes").createFile(path("missing/part")), -1);
  EXPECT_EQ(content_with("").createFile(path("missing/part")), -1);
  EXPECT_EQ(content_with("").createFile(path("")), -1);
  EXPECT_TRUE(logged({line("No such file or directory"), line("No such file or directory"),
                      line("Is a directory")}));
}

}  // namespace msg_tarvel::item_test
