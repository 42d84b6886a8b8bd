// The queries over the network message store's metadata and the subscription state.

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

using Metas = std::vector<NmsMsgMeta>;
using Texts = std::vector<std::string>;
using Ids = std::vector<int>;

const std::string SELECT_ONE_META =
    "SELECT msgId, objectId, primaryId, secondaryId, resourceURL, BTCorrelated, MSSICorrelated, "
    "lastModSeq, MSSISync, deleted, msgTime, downloadRequired FROM msg_nms_meta_table ";
const std::string SELECT_METAS =
    "SELECT msgId, objectId, primaryId, secondaryId, resourceURL, BTCorrelated, MSSICorrelated, "
    "lastModSeq, MSSISync, deleted, msgTime, downloadRequired from msg_nms_meta_table ";
constexpr const char* LIST_WORKER = "_db_query_get_nms_meta_list";

constexpr auto BT = NmsMsgMeta::BT_CORRELATION;
constexpr auto MSSI = NmsMsgMeta::MSSI_CORRELATION;
constexpr auto PRIMARY = NmsMsgMeta::PRIMARY_ID;
constexpr auto SECONDARY = NmsMsgMeta::SECONDARY_ID;
constexpr auto EITHER = NmsMsgMeta::PRIMARY_OR_SECONDARY_ID;

/** The value of an enumeration with this number, whether it has a name or not. */
template <typename Enumeration>
Enumeration numbered(int number) {
  return static_cast<Enumeration>(number);
}

/** Metadata with another value in every column; the list queries select it as they are changed. */
const Row META = {{"id", "51"},
                  {"msgId", "52"},
                  {"objectId", "'object'"},
                  {"primaryId", "'primary'"},
                  {"secondaryId", "'secondary'"},
                  {"resourceURL", "'url'"},
                  {"BTCorrelated", "0"},
                  {"MSSICorrelated", "1"},
                  {"lastModSeq", "5000000053"},
                  {"MSSISync", "1"},
                  {"deleted", "1"},
                  {"msgTime", "5000000054"},
                  {"downloadRequired", "1"},
                  {"customFieldInt1", "55"},
                  {"customFieldStr1", "'custom'"}};

NmsMsgMeta expected_meta() {
  NmsMsgMeta meta;
  meta.msgId = 52;
  meta.objectId = "object";
  meta.primaryId = "primary";
  meta.secondaryId = "secondary";
  meta.resourceURL = "url";
  meta.BTCorrelated = 0;
  meta.MSSICorrelated = 1;
  meta.lastModSeq = 5000000053;
  meta.MSSISync = true;
  meta.deleted = true;
  meta.msgTime = 5000000054;
  meta.downloadRequired = true;
  return meta;
}

using MetaListQuery = std::function<int(Metas&)>;

/** Every list query, as it selects META. */
const std::vector<std::pair<std::string, MetaListQuery>> META_LISTS = {
    {"uncorrelated",
     [](Metas& out) { return db_get_uncorrelated_nms_msg_metas("", BT, PRIMARY, true, out); }},
    {"sync", [](Metas& out) { return db_get_sync_required_nms_msg_metas(true, out); }},
    {"download", [](Metas& out) { return db_get_download_required_nms_msg_metas(out); }}};

class NmsQueries : public QueryTest {
 protected:
  /** Metadata of message `msgId` with just these columns. */
  void insertMeta(int msgId, const Row& row) {
    insert("msg_nms_meta_table", with({{"msgId", std::to_string(msgId)}}, row));
  }
};

/** Expects a search for uncorrelated rows to have this condition. */
void expect_uncorrelated_sql(const std::string& where, const std::string& id,
                             NmsMsgMeta::CorrelationType type,
                             NmsMsgMeta::CorrelationIdSearchType search, bool ascending) {
  Metas out;
  EXPECT_EQ(compiled_by([&] {
              EXPECT_EQ(db_get_uncorrelated_nms_msg_metas(id, type, search, ascending, out),
                        DB_NO_DATA);
            }),
            Texts{SELECT_METAS + where});
}

// ---- Statements --------------------------------------------------------------------------------

TEST_F(NmsQueries, MetadataIsSelectedByMessageOrElseByObject) {
  const std::vector<std::pair<int, std::string>> cases = {{3, "WHERE msgId = 3;"},
                                                          {1, "WHERE msgId = 1;"},
                                                          {0, "WHERE objectId = 'X1';"},
                                                          {-5, "WHERE objectId = 'X1';"}};
  NmsMsgMeta out;
  for (const auto& [msgId, where] : cases) {
    EXPECT_EQ(compiled_by([id = msgId, &out] {
                EXPECT_EQ(db_get_nms_msg_meta(id, "X1", out), DB_NO_DATA);
              }),
              Texts{SELECT_ONE_META + where});
  }
  EXPECT_EQ(compiled_by([&] { EXPECT_EQ(db_get_nms_msg_meta(0, "", out), DB_NO_DATA); }),
            Texts{SELECT_ONE_META + "WHERE objectId = '';"});
  expect_same(out, NmsMsgMeta());
  EXPECT_TRUE(logged({}));
}

TEST_F(NmsQueries, UncorrelatedRowsAreSelectedByFlagAndId) {
  expect_uncorrelated_sql("WHERE MSSICorrelated = 0 AND primaryId = 'X1' ORDER BY msgTime DESC;",
                          "X1", MSSI, PRIMARY, false);
  expect_uncorrelated_sql("WHERE BTCorrelated = 0 AND primaryId = 'X1' ORDER BY msgTime ASC;", "X1",
                          BT, PRIMARY, true);
  expect_uncorrelated_sql("WHERE BTCorrelated = 0 AND secondaryId = 'X1' ORDER BY msgTime DESC;",
                          "X1", BT, SECONDARY, false);
  expect_uncorrelated_sql(
      "WHERE BTCorrelated = 0 AND (primaryId = 'X1' OR secondaryId = 'X1') ORDER BY msgTime ASC;",
      "X1", BT, EITHER, true);
  for (const auto search : {PRIMARY, SECONDARY, EITHER}) {
    expect_uncorrelated_sql("WHERE BTCorrelated = 0 ORDER BY msgTime ASC;", "", BT, search, true);
    expect_uncorrelated_sql("WHERE MSSICorrelated = 0 ORDER BY msgTime DESC;", "", MSSI, search,
                            false);
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(NmsQueries, OtherTypesCountAsMssiAndAsTheSecondaryId) {
  expect_uncorrelated_sql("WHERE MSSICorrelated = 0 AND secondaryId = 'X1' ORDER BY msgTime ASC;",
                          "X1", numbered<NmsMsgMeta::CorrelationType>(5),
                          numbered<NmsMsgMeta::CorrelationIdSearchType>(7), true);
}

TEST_F(NmsQueries, TheOtherQueriesHaveFixedConditions) {
  Metas out;
  const std::string sync = " AND MSSICorrelated = 1 AND MSSISync = 1 limit 5;";
  EXPECT_EQ(compiled_by([&] { db_get_sync_required_nms_msg_metas(false, out); }),
            Texts{SELECT_METAS + "WHERE deleted = 0" + sync});
  EXPECT_EQ(compiled_by([&] { db_get_sync_required_nms_msg_metas(true, out); }),
            Texts{SELECT_METAS + "WHERE deleted = 1" + sync});
  EXPECT_EQ(compiled_by([&] { db_get_download_required_nms_msg_metas(out); }),
            Texts{SELECT_METAS + "WHERE downloadRequired = 1 ORDER BY msgTime DESC limit 1;"});

  bool has = true;
  EXPECT_EQ(compiled_by([&] { db_has_download_required_message(&has); }),
            Texts{"SELECT count(msgId) FROM msg_nms_meta_table WHERE downloadRequired = ?;"});
  EXPECT_EQ(SqlRecorder::run(),
            Texts{"SELECT count(msgId) FROM msg_nms_meta_table WHERE downloadRequired = 1;"});

  unsigned long long index = 0;
  std::string token;
  EXPECT_EQ(compiled_by([&] { db_get_subscription_info(index, token); }),
            Texts{"SELECT notiIdx, restartToken FROM mssi_info_table WHERE id = ?;"});
  EXPECT_EQ(SqlRecorder::run(),
            Texts{"SELECT notiIdx, restartToken FROM mssi_info_table WHERE id = 1;"});
}

TEST_F(NmsQueries, TheObjectIdIsCut) {
  expectCutCondition({SELECT_ONE_META, "WHERE objectId = '", "';", "_db_query_get_nms_meta",
                      "db_get_nms_msg_meta"},
                     letters, [](const std::string& id) {
                       NmsMsgMeta out;
                       return db_get_nms_msg_meta(0, id, out);
                     });
}

TEST_F(NmsQueries, TheCorrelationIdIsCut) {
  const auto query = [](bool ascending) {
    return [=](const std::string& id) {
      Metas out;
      return db_get_uncorrelated_nms_msg_metas(id, BT, ascending ? PRIMARY : SECONDARY, ascending,
                                               out);
    };
  };
  expectCutCondition({SELECT_METAS, "WHERE BTCorrelated = 0 AND primaryId = '",
                      "' ORDER BY msgTime ASC;", LIST_WORKER, "db_get_uncorrelated_nms_msg_metas"},
                     letters, query(true));
  expectCutCondition({SELECT_METAS, "WHERE BTCorrelated = 0 AND secondaryId = '",
                      "' ORDER BY msgTime DESC;", LIST_WORKER, "db_get_uncorrelated_nms_msg_metas"},
                     letters, query(false));
}

TEST_F(NmsQueries, TheCorrelationIdIsCutInItsSecondPlaceToo) {
  const std::string id = letters(600);
  const std::string sql = SELECT_METAS + ("WHERE BTCorrelated = 0 AND (primaryId = '" + id +
                                          "' OR secondaryId = '" + id)
                                             .substr(0, 1023);
  Metas out;
  EXPECT_EQ(compiled_by([&] {
              EXPECT_EQ(db_get_uncorrelated_nms_msg_metas(id, BT, EITHER, true, out),
                        DB_ERR_PREPARE);
            }),
            Texts{sql});
}

TEST_F(NmsQueries, IdsAreNotEscaped) {
  insertMeta(1, {{"objectId", "'object'"}, {"BTCorrelated", "0"}});
  NmsMsgMeta meta;
  EXPECT_EQ(db_get_nms_msg_meta(0, "' OR 'x' = 'x", meta), DB_SUCCESS);
  Metas out;
  EXPECT_EQ(db_get_uncorrelated_nms_msg_metas("' OR 'x' = 'x", BT, PRIMARY, true, out), DB_SUCCESS);
  EXPECT_TRUE(logged({}));

  EXPECT_EQ(db_get_nms_msg_meta(0, "o'neil", meta), DB_ERR_PREPARE);
  EXPECT_TRUE(logged(not_compiled("_db_query_get_nms_meta", R"(near "neil": syntax error)") +
                     Lines{reported("db_get_nms_msg_meta", "_db_query_get_nms_meta", -1004)}));
  EXPECT_EQ(db_get_uncorrelated_nms_msg_metas("o'neil", BT, PRIMARY, true, out), DB_ERR_PREPARE);
  EXPECT_TRUE(logged(not_compiled(LIST_WORKER, R"(near "neil": syntax error)") +
                     Lines{reported("db_get_uncorrelated_nms_msg_metas", LIST_WORKER, -1004)}));
}

using NmsArguments = DataDirTest;

TEST_F(NmsArguments, AreCheckedBeforeTheDatabaseIsTouched) {
  EXPECT_EQ(db_has_download_required_message(nullptr), DB_ERR_INVALID_ARGUMENT);
  EXPECT_TRUE(logged({}));
}

// ---- Rows --------------------------------------------------------------------------------------

TEST_F(NmsQueries, MetadataHasEveryColumnInItsField) {
  insert("msg_nms_meta_table", META);
  for (const int msgId : {52, 0}) {
    NmsMsgMeta out;
    EXPECT_EQ(db_get_nms_msg_meta(msgId, "object", out), DB_SUCCESS);
    expect_same(out, expected_meta());
  }
  for (const auto& [name, query] : META_LISTS) {
    SCOPED_TRACE(name);
    Metas out;
    EXPECT_EQ(query(out), DB_SUCCESS);
    expect_only(out, expected_meta());
  }
  EXPECT_TRUE(logged({}));
}

TEST_F(NmsQueries, MetadataThatIsUsedAgainHasNothingOfBeforeLeft) {
  insert("msg_nms_meta_table", META);
  auto out = item_test::sample<NmsMsgMeta>(item_test::SEED);
  EXPECT_EQ(db_get_nms_msg_meta(52, "", out), DB_SUCCESS);
  expect_same(out, expected_meta());
}

TEST_F(NmsQueries, FlagsAndCorrelationsAreReadFromTheirOwnColumns) {
  insertMeta(1, {{"BTCorrelated", "2"}, {"MSSICorrelated", "3"}});
  insertMeta(2, {{"MSSISync", "2"}});
  insertMeta(3, {{"deleted", "-1"}});
  insertMeta(4, {{"downloadRequired", "7"}});
  std::vector<NmsMsgMeta> expected(4);
  expected[0].BTCorrelated = 2;
  expected[0].MSSICorrelated = 3;
  expected[1].MSSISync = true;
  expected[2].deleted = true;
  expected[3].downloadRequired = true;
  for (int msgId = 1; msgId <= 4; ++msgId) {
    NmsMsgMeta& meta = expected[static_cast<std::size_t>(msgId) - 1];
    meta.msgId = msgId;
    NmsMsgMeta out;
    EXPECT_EQ(db_get_nms_msg_meta(msgId, "", out), DB_SUCCESS);
    expect_same(out, meta);
  }
}

TEST_F(NmsQueries, AMessageIdGoesBeforeAnObjectId) {
  insertMeta(3, {{"objectId", "'three'"}, {"msgTime", "1"}});
  insertMeta(3, {{"objectId", "'three'"}, {"msgTime", "2"}});
  insertMeta(4, {{"objectId", "'four'"}});
  NmsMsgMeta out;
  EXPECT_EQ(db_get_nms_msg_meta(3, "four", out), DB_SUCCESS);
  EXPECT_EQ(out.objectId, "three");
  EXPECT_EQ(out.msgTime, 1) << "only the first row is read";
  EXPECT_EQ(db_get_nms_msg_meta(-5, "four", out), DB_SUCCESS);
  EXPECT_EQ(out.msgId, 4);
  EXPECT_EQ(db_get_nms_msg_meta(5, "four", out), DB_NO_DATA);
  EXPECT_EQ(out.msgId, 4);
  EXPECT_TRUE(logged({}));
}

TEST_F(NmsQueries, AnEmptyObjectIdIsOneLikeAnother) {
  insertMeta(3, {{"objectId", "NULL"}});
  insertMeta(4, {{"objectId", "''"}});
  NmsMsgMeta out;
  EXPECT_EQ(db_get_nms_msg_meta(0, "", out), DB_SUCCESS);
  EXPECT_EQ(out.msgId, 4);
  EXPECT_TRUE(logged({}));
}

TEST_F(NmsQueries, UncorrelatedRowsComeByTime) {
  insertMeta(
      1, {{"BTCorrelated", "0"}, {"MSSICorrelated", "1"}, {"msgTime", "20"}, {"primaryId", "'p'"}});
  insertMeta(
      2,
      {{"BTCorrelated", "0"}, {"MSSICorrelated", "0"}, {"msgTime", "30"}, {"secondaryId", "'p'"}});
  insertMeta(
      3, {{"BTCorrelated", "0"}, {"MSSICorrelated", "0"}, {"msgTime", "10"}, {"primaryId", "'q'"}});
  insertMeta(
      4, {{"BTCorrelated", "1"}, {"MSSICorrelated", "0"}, {"msgTime", "40"}, {"primaryId", "'p'"}});
  insertMeta(5, {{"msgTime", "50"}, {"primaryId", "'p'"}});
  const auto ids = [](const std::string& id, NmsMsgMeta::CorrelationType type,
                      NmsMsgMeta::CorrelationIdSearchType search, bool ascending) {
    Metas out;
    EXPECT_EQ(db_get_uncorrelated_nms_msg_metas(id, type, search, ascending, out), DB_SUCCESS);
    return each(out, &NmsMsgMeta::msgId);
  };
  EXPECT_EQ(ids("", BT, PRIMARY, true), (Ids{3, 1, 2}));
  EXPECT_EQ(ids("", BT, PRIMARY, false), (Ids{2, 1, 3}));
  EXPECT_EQ(ids("", MSSI, PRIMARY, false), (Ids{4, 2, 3}));
  EXPECT_EQ(ids("p", BT, PRIMARY, true), (Ids{1}));
  EXPECT_EQ(ids("p", BT, SECONDARY, true), (Ids{2}));
  EXPECT_EQ(ids("p", BT, EITHER, true), (Ids{1, 2}));
  EXPECT_EQ(ids("p", MSSI, EITHER, true), (Ids{2, 4}));
}

TEST_F(NmsQueries, AtMostFiveRowsAreGivenForSynchronisation) {
  const Row pending = {{"MSSICorrelated", "1"}, {"MSSISync", "1"}, {"deleted", "0"}};
  for (int msgId = 1; msgId <= 7; ++msgId) insertMeta(msgId, pending);
  insertMeta(8, with(pending, {{"deleted", "1"}}));
  insertMeta(9, with(pending, {{"deleted", "1"}, {"MSSICorrelated", "0"}}));
  insertMeta(10, with(pending, {{"deleted", "1"}, {"MSSISync", "0"}}));
  Metas out;
  EXPECT_EQ(db_get_sync_required_nms_msg_metas(false, out), DB_SUCCESS);
  EXPECT_EQ(out.size(), 5u);
  for (const NmsMsgMeta& meta : out) {
    EXPECT_FALSE(meta.deleted);
    EXPECT_LE(meta.msgId, 7);
  }
  out.clear();
  EXPECT_EQ(db_get_sync_required_nms_msg_metas(true, out), DB_SUCCESS);
  EXPECT_EQ(each(out, &NmsMsgMeta::msgId), Ids{8});
}

TEST_F(NmsQueries, OnlyTheNewestDownloadIsGiven) {
  insertMeta(1, {{"downloadRequired", "1"}, {"msgTime", "20"}});
  insertMeta(2, {{"downloadRequired", "1"}, {"msgTime", "5000000030"}});
  insertMeta(3, {{"downloadRequired", "1"}, {"msgTime", "10"}});
  insertMeta(4, {{"downloadRequired", "0"}, {"msgTime", "5000000040"}});
  Metas out;
  EXPECT_EQ(db_get_download_required_nms_msg_metas(out), DB_SUCCESS);
  EXPECT_EQ(each(out, &NmsMsgMeta::msgId), Ids{2});
}

TEST_F(NmsQueries, ListsAreAppendedToAndEarlierItemsCountAsFound) {
  for (const auto& [name, query] : META_LISTS) {
    SCOPED_TRACE(name);
    Metas out;
    EXPECT_EQ(query(out), DB_NO_DATA);
    EXPECT_TRUE(out.empty());
    out.resize(1);
    EXPECT_EQ(query(out), DB_SUCCESS);
    EXPECT_EQ(out.size(), 1u);
  }
  insert("msg_nms_meta_table", META);
  for (const auto& [name, query] : META_LISTS) {
    SCOPED_TRACE(name);
    Metas out(1);
    EXPECT_EQ(query(out), DB_SUCCESS);
    EXPECT_EQ(each(out, &NmsMsgMeta::msgId), (Ids{0, 52}));
  }
  EXPECT_TRUE(logged({}));
}

// ---- Counting downloads, subscription ----------------------------------------------------------

TEST_F(NmsQueries, WhetherAnyMessageHasToBeDownloaded) {
  bool has = true;
  insertMeta(1, {{"downloadRequired", "0"}});
  insertMeta(2, {{"downloadRequired", "2"}});
  EXPECT_EQ(db_has_download_required_message(&has), DB_SUCCESS);
  EXPECT_FALSE(has);
  insertMeta(3, {{"downloadRequired", "1"}});
  EXPECT_EQ(db_has_download_required_message(&has), DB_SUCCESS);
  EXPECT_TRUE(has);
  EXPECT_TRUE(logged({}));
}

TEST_F(NmsQueries, TwoMessagesToBeDownloadedAreAnyToo) {
  for (int msgId = 1; msgId <= 2; ++msgId) insertMeta(msgId, {{"downloadRequired", "1"}});
  bool has = false;
  EXPECT_EQ(db_has_download_required_message(&has), DB_SUCCESS);
  EXPECT_TRUE(has);
}

TEST_F(NmsQueries, ARowWithoutAMessageIsNotCounted) {
  insert("msg_nms_meta_table", {{"downloadRequired", "1"}});
  bool has = true;
  EXPECT_EQ(db_has_download_required_message(&has), DB_SUCCESS);
  EXPECT_FALSE(has);
}

TEST_F(NmsQueries, ANewStoreHasASubscriptionThatHasNotBegun) {
  unsigned long long index = 9;
  std::string token = "token";
  EXPECT_EQ(db_get_subscription_info(index, token), DB_SUCCESS);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(token, "");
}

TEST_F(NmsQueries, TheSubscriptionIsThatOfTheFirstRow) {
  raw().exec("UPDATE mssi_info_table SET notiIdx = 4294967296007, restartToken = 'a token';");
  insert("mssi_info_table", {{"id", "2"}, {"notiIdx", "5"}, {"restartToken", "'another'"}});
  unsigned long long index = 0;
  std::string token;
  EXPECT_EQ(db_get_subscription_info(index, token), DB_SUCCESS);
  EXPECT_EQ(index, 4294967296007u);
  EXPECT_EQ(token, "a token");

  raw().exec("DELETE FROM mssi_info_table WHERE id = 1;");
  EXPECT_EQ(db_get_subscription_info(index, token), DB_SUCCESS);
  EXPECT_EQ(index, 4294967296007u);
  EXPECT_EQ(token, "a token");
  EXPECT_TRUE(logged({}));
}

}  // namespace

}  // namespace msg_tarvel::db
