// The queries that give contents: the parts of a message, and the files that are being sent.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "query_support.h"

namespace msg_tarvel::db {

namespace {

using Contents = std::vector<Content>;
using Texts = std::vector<std::string>;

class ContentQueries : public QueryTest {
 protected:
  void insertContent(const Row& row) {
    insert("msg_mms_content_table", with({{"msgId", "7"}}, row));
  }

  static Contents contents(int msgId) {
    Contents out;
    EXPECT_EQ(db_get_contents(msgId, out), DB_SUCCESS);
    return out;
  }
};

// ---- Parts of a message ------------------------------------------------------------------------

TEST_F(ContentQueries, PartsAreSelectedByMessage) {
  for (const int msgId : {7, 0, -3}) {
    Contents out;
    EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_contents(msgId, out), DB_NO_DATA); }),
              Texts{"SELECT msgId, slideIdx, textData, mediaType, contentType, attachType, "
                    "hasFile, status, filepath, filename, thumbpath, peer_filepath, "
                    "peer_copied_filepath FROM msg_mms_content_table WHERE msgId = " +
                    std::to_string(msgId) + ";"});
    EXPECT_TRUE(out.empty());
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(ContentQueries, APartHasEveryColumnInItsField) {
  insertContent({{"contentId", "31"},
                 {"slideIdx", "32"},
                 {"textData", "'text data'"},
                 {"mediaType", "33"},
                 {"contentType", "'image/png'"},
                 {"attachType", "2"},
                 {"hasFile", "3"},
                 {"status", "34"},
                 {"filepath", "'file path'"},
                 {"filename", "'file name'"},
                 {"thumbpath", "'thumb path'"},
                 {"peer_filepath", "'peer path'"},
                 {"peer_copied_filepath", "'peer copy'"},
                 {"resourceURL", "'url'"},
                 {"size", "35"},
                 {"customFieldInt1", "36"},
                 {"customFieldStr1", "'custom'"}});
  Content expected;
  expected.msgId = 7;
  expected.slideIdx = 32;
  expected.textData = "text data";
  expected.mediaType = 33;
  expected.contentType = "image/png";
  expected.attachType = true;
  expected.hasFile = true;
  expected.status = 34;
  expected.filepath = "file path";
  expected.filename = "file name";
  expected.thumbpath = "thumb path";
  expected.peer_filepath = "peer path";
  expected.peer_copied_filepath = "peer copy";
  expect_only(contents(7), expected);
  EXPECT_TRUE(logged({}));
}

TEST_F(ContentQueries, TheFlagsOfAPartAreReadFromTheirOwnColumns) {
  insertContent({{"attachType", "2"}, {"hasFile", "0"}});
  insertContent({{"attachType", "0"}, {"hasFile", "-1"}});
  insertContent({});
  const Contents out = contents(7);
  EXPECT_EQ(each(out, &Content::attachType), (std::vector<bool>{true, false, false}));
  EXPECT_EQ(each(out, &Content::hasFile), (std::vector<bool>{false, true, false}));
}

TEST_F(ContentQueries, NullColumnsReadAsADefaultPart) {
  insertContent({});
  Content expected;
  expected.msgId = 7;
  expect_only(contents(7), expected);
}

TEST_F(ContentQueries, ThePartsOfAllSlidesAreGivenAsTheyAreStored) {
  for (const char* slide : {"2", "1", "3", "1"}) insertContent({{"slideIdx", slide}});
  insertContent({{"msgId", "8"}});
  EXPECT_EQ(each(contents(7), &Content::slideIdx), (std::vector<int>{2, 1, 3, 1}));
}

TEST_F(ContentQueries, PartsAreAppendedAndEarlierOnesCountAsFound) {
  Contents out(1);
  out[0].msgId = 99;
  EXPECT_EQ(db_get_contents(7, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Content::msgId), (std::vector<int>{99}));
  insertContent({});
  EXPECT_EQ(db_get_contents(7, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &Content::msgId), (std::vector<int>{99, 7}));
  EXPECT_TRUE(logged({}));
}

// ---- Files being sent --------------------------------------------------------------------------

const std::string SELECT_SENDING =
    "SELECT msgId, status, filepath, filename FROM msg_ft_content_table WHERE ";

/** A row that both queries select, with another value in every column. */
const Row TRANSFER = {{"id", "41"},
                      {"msgId", "42"},
                      {"status", "43"},
                      {"transaction_id", "44"},
                      {"filepath", "'/a/path'"},
                      {"filename", "'a name'"},
                      {"contentType", "'json_msg'"},
                      {"customFieldInt1", "45"},
                      {"customFieldStr1", "'custom'"}};

const std::vector<std::function<int(Content&)>> SENDING_QUERIES = {
    [](Content& out) { return db_get_sending_msg_content_info(42, out); },
    [](Content& out) { return db_get_sending_file_content_info("/a/path", out); }};

TEST_F(ContentQueries, AFileBeingSentIsSelectedByBoundValues) {
  Content out;
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_sending_msg_content_info(42, out), DB_SUCCESS); }),
            Texts{SELECT_SENDING + "msgId = ? and contentType = ?;"});
  EXPECT_EQ(SqlRecorder::run(), Texts{SELECT_SENDING + "msgId = 42 and contentType = 'json_msg';"});
  EXPECT_EQ(
      compiled_by([&] { EXPECT_EQ(db_get_sending_file_content_info("/a/path", out), DB_SUCCESS); }),
      Texts{SELECT_SENDING + "filepath = ?;"});
  EXPECT_EQ(SqlRecorder::run(), Texts{SELECT_SENDING + "filepath = '/a/path';"});
  EXPECT_TRUE(logged({}));
}

TEST_F(ContentQueries, AFileBeingSentFillsFourFieldsOnly) {
  insert("msg_ft_content_table", TRANSFER);
  for (const auto& query : SENDING_QUERIES) {
    auto out = item_test::sample<Content>(item_test::SEED);
    Content expected = out;
    expected.msgId = 42;
    expected.status = 43;
    expected.filepath = "/a/path";
    expected.filename = "a name";
    EXPECT_EQ(query(out), DB_SUCCESS);
    expect_same(out, expected);
  }
}

TEST_F(ContentQueries, WithoutAFileBeingSentTheItemStaysAsItIs) {
  insert("msg_ft_content_table",
         with(TRANSFER, {{"contentType", "'image/png'"}, {"filepath", "'/another'"}}));
  insert("msg_ft_content_table",
         with(TRANSFER, {{"id", "1"}, {"msgId", "1"}, {"filepath", "NULL"}}));
  const auto expected = item_test::sample<Content>(item_test::SEED);
  for (const auto& query : SENDING_QUERIES) {
    Content out = expected;
    EXPECT_EQ(query(out), DB_SUCCESS);
    expect_same(out, expected);
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(ContentQueries, OnlyTheFirstFileBeingSentIsRead) {
  insert("msg_ft_content_table", with(TRANSFER, {{"status", "1"}}));
  insert("msg_ft_content_table", with(TRANSFER, {{"id", "42"}, {"status", "2"}}));
  for (const auto& query : SENDING_QUERIES) {
    Content out;
    EXPECT_EQ(query(out), DB_SUCCESS);
    EXPECT_EQ(out.status, 1);
  }
}

TEST_F(ContentQueries, APathMayHoldAnyCharacter) {
  const std::string path = "/it's/a \"100%\" path;--/\xEA\xB0\x80";
  insert("msg_ft_content_table", with(TRANSFER, {{"filepath", quoted(path)}}));
  Content out;
  EXPECT_EQ(db_get_sending_file_content_info(path, out), DB_SUCCESS);
  EXPECT_EQ(out.msgId, 42);
  EXPECT_EQ(out.filepath, path);
  EXPECT_TRUE(logged({}));
}

}  // namespace

}  // namespace msg_tarvel::db
