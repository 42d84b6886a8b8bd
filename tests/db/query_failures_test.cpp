// Every query over a store that is damaged: a table is gone, a row cannot be computed, a step
// fails. What it returns, what it keeps, what it logs and in which order.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"
#include "query_support.h"

namespace msg_tarvel::db {

namespace {

constexpr const char* EXCLAIMED = "step() failed!";
constexpr const char* PLAIN = "step() failed";
constexpr const char* WITH_CODE = "step failed: (-1005)";

/** Runs a query and tells its result; `kept` is how many items its list holds afterwards. */
using Run = std::function<int(std::size_t& kept)>;

template <typename Item, typename Query>
Run list_of(Query query) {
  return [query](std::size_t& kept) {
    std::vector<Item> items;
    const int ret = query(items);
    kept = items.size();
    return ret;
  };
}

template <typename Item, typename Query>
Run one(Query query) {
  return [query](std::size_t&) {
    Item item;
    return query(item);
  };
}

/** One query, and how it fails. */
struct Failing {
  const char* name;
  /** The tables that it reads. */
  std::vector<std::string> tables;
  Run run;
  /** Compiles and steps the statement. */
  const char* worker;
  /** Reports that the worker failed; null when the worker is public itself. */
  const char* caller;
  const char* firstStep;
  /** Null for a query of one row. */
  const char* laterStep;
  /** A column of the first table that the query reads and makes no condition of. */
  const char* column;
  /** The values of that column in the rows that come first and second. */
  int first;
  int second;
  /** What an index must order for the rows to be computed one by one; null: they are anyway. */
  const char* order;
};

std::ostream& operator<<(std::ostream& out, const Failing& query) { return out << query.name; }

std::string name_of(const ::testing::TestParamInfo<Failing>& info) { return info.param.name; }

constexpr const char* MESSAGES = "msg_message_table";
constexpr const char* THREADS = "msg_conversation_table";
constexpr const char* CONTENTS = "msg_mms_content_table";
constexpr const char* ADDRESSES = "msg_address_table";
constexpr const char* TRANSFERS = "msg_ft_content_table";
constexpr const char* METAS = "msg_nms_meta_table";
constexpr const char* MESSAGE_WORKER = "_db_query_get_message";
constexpr const char* MESSAGES_WORKER = "_db_query_get_message_list";
constexpr const char* METAS_WORKER = "_db_query_get_nms_meta_list";

int messages_by_time(std::vector<Message>& out) {
  return db_get_messages_by_time(99, NO_FOLDER, out);
}

std::vector<Failing> failing_queries() {
  return {
      {"Message",
       {MESSAGES},
       one<Message>([](Message& out) { return db_get_message(1, out); }),
       MESSAGE_WORKER,
       "db_get_message",
       PLAIN,
       nullptr,
       "attachedNum",
       1,
       0,
       nullptr},
      {"MessageOfItem",
       {MESSAGES},
       one<Message>([](Message& out) { return db_get_message(5, "b", STANDALONE_FOLDER_1, out); }),
       MESSAGE_WORKER,
       "db_get_message",
       PLAIN,
       nullptr,
       "attachedNum",
       2,
       0,
       nullptr},
      {"MessageList",
       {MESSAGES},
       list_of<Message>(
           [](std::vector<Message>& out) { return db_get_message_list(ListCondition(), out); }),
       MESSAGES_WORKER,
       "db_get_message_list",
       PLAIN,
       EXCLAIMED,
       "attachedNum",
       3,
       2,
       "displayTime"},
      {"StandaloneMessages",
       {MESSAGES},
       list_of<Message>(
           [](std::vector<Message>& out) { return db_get_standalone_messages({5}, out); }),
       MESSAGES_WORKER,
       "db_get_standalone_messages",
       PLAIN,
       EXCLAIMED,
       "attachedNum",
       1,
       2,
       nullptr},
      {"MessagesByTime",
       {MESSAGES},
       list_of<Message>(&messages_by_time),
       MESSAGES_WORKER,
       "db_get_messages_by_time",
       PLAIN,
       EXCLAIMED,
       "attachedNum",
       3,
       2,
       "displayTime"},
      {"UnsyncedMessages",
       {MESSAGES},
       list_of<Message>(&db_get_unsynced_messages),
       MESSAGES_WORKER,
       "db_get_unsynced_messages",
       PLAIN,
       EXCLAIMED,
       "attachedNum",
       1,
       2,
       "msgType"},
      {"DeletedMessages",
       {"deleted_msg_table"},
       list_of<Message>(
           [](std::vector<Message>& out) { return db_get_deleted_messages(true, out); }),
       "db_get_deleted_messages",
       nullptr,
       WITH_CODE,
       WITH_CODE,
       "itemId",
       1,
       2,
       nullptr},
      {"DeletedStandaloneMessages",
       {"deleted_msg_table"},
       list_of<Message>(
           [](std::vector<Message>& out) { return db_get_deleted_messages(false, out); }),
       "db_get_deleted_messages",
       nullptr,
       WITH_CODE,
       WITH_CODE,
       "itemId",
       3,
       4,
       nullptr},
      {"Thread",
       {THREADS, MESSAGES},
       one<Thread>([](Thread& out) { return db_get_thread(1, out); }),
       "_db_query_get_thread",
       "db_get_thread",
       PLAIN,
       nullptr,
       "peerConvId",
       1,
       0,
       nullptr},
      // Groups and sorts, so the error of any row comes with the first step.
      {"Threads",
       {THREADS, MESSAGES},
       list_of<Thread>(&db_get_threads),
       "_db_query_get_thread_list",
       "db_get_threads",
       PLAIN,
       nullptr,
       "peerConvId",
       2,
       0,
       nullptr},
      {"Conversation",
       {MESSAGES},
       one<Conversation>([](Conversation& out) { return db_get_conversation(1, out); }),
       "_db_query_get_conversation",
       "db_get_conversation",
       PLAIN,
       nullptr,
       "attachedNum",
       1,
       0,
       nullptr},
      {"Conversations",
       {MESSAGES},
       list_of<Conversation>(
           [](std::vector<Conversation>& out) { return db_get_conversations(1, out); }),
       "_db_query_get_conversation_list",
       "db_get_conversations",
       PLAIN,
       PLAIN,
       "attachedNum",
       1,
       2,
       "displayTime, msgId"},
      {"Addresses",
       {ADDRESSES},
       list_of<Address>([](std::vector<Address>& out) { return db_get_addresses(1, out); }),
       "db_get_addresses",
       nullptr,
       WITH_CODE,
       WITH_CODE,
       "addressType",
       1,
       2,
       nullptr},
      {"SimInfos",
       {"msg_sim_table"},
       list_of<SimInfo>(&db_get_sim_infos),
       "db_get_sim_infos",
       nullptr,
       WITH_CODE,
       WITH_CODE,
       "simIndex",
       1,
       2,
       nullptr},
      {"Contents",
       {CONTENTS},
       list_of<Content>([](std::vector<Content>& out) { return db_get_contents(1, out); }),
       "_db_query_get_content_list",
       "db_get_contents",
       PLAIN,
       EXCLAIMED,
       "status",
       1,
       2,
       nullptr},
      {"SendingMessage",
       {TRANSFERS},
       one<Content>([](Content& out) { return db_get_sending_msg_content_info(1, out); }),
       "db_get_sending_msg_content_info",
       nullptr,
       WITH_CODE,
       nullptr,
       "status",
       1,
       0,
       nullptr},
      {"SendingFile",
       {TRANSFERS},
       one<Content>([](Content& out) { return db_get_sending_file_content_info("path", out); }),
       "db_get_sending_file_content_info",
       nullptr,
       WITH_CODE,
       nullptr,
       "status",
       1,
       0,
       nullptr},
      {"NmsMeta",
       {METAS},
       one<NmsMsgMeta>([](NmsMsgMeta& out) { return db_get_nms_msg_meta(1, "", out); }),
       "_db_query_get_nms_meta",
       "db_get_nms_msg_meta",
       PLAIN,
       nullptr,
       "lastModSeq",
       1,
       0,
       nullptr},
      {"NmsMetaOfObject",
       {METAS},
       one<NmsMsgMeta>([](NmsMsgMeta& out) { return db_get_nms_msg_meta(0, "object", out); }),
       "_db_query_get_nms_meta",
       "db_get_nms_msg_meta",
       PLAIN,
       nullptr,
       "lastModSeq",
       1,
       0,
       nullptr},
      {"DownloadRequiredMessage",
       {METAS},
       one<bool>([](bool& out) {
         out = true;
         const int ret = db_has_download_required_message(&out);
         EXPECT_TRUE(out) << "written without success";
         return ret;
       }),
       "db_has_download_required_message",
       nullptr,
       EXCLAIMED,
       nullptr,
       "msgId",
       1,
       0,
       nullptr},
      {"UncorrelatedNmsMetas",
       {METAS},
       list_of<NmsMsgMeta>([](std::vector<NmsMsgMeta>& out) {
         return db_get_uncorrelated_nms_msg_metas("", NmsMsgMeta::BT_CORRELATION,
                                                  NmsMsgMeta::PRIMARY_ID, true, out);
       }),
       METAS_WORKER,
       "db_get_uncorrelated_nms_msg_metas",
       PLAIN,
       EXCLAIMED,
       "lastModSeq",
       1,
       2,
       "msgTime"},
      {"SyncRequiredNmsMetas",
       {METAS},
       list_of<NmsMsgMeta>([](std::vector<NmsMsgMeta>& out) {
         return db_get_sync_required_nms_msg_metas(false, out);
       }),
       METAS_WORKER,
       "db_get_sync_required_nms_msg_metas",
       PLAIN,
       EXCLAIMED,
       "lastModSeq",
       1,
       2,
       nullptr},
      // One row at most, so no later one is ever computed.
      {"DownloadRequiredNmsMetas",
       {METAS},
       list_of<NmsMsgMeta>(&db_get_download_required_nms_msg_metas),
       METAS_WORKER,
       "db_get_download_required_nms_msg_metas",
       PLAIN,
       nullptr,
       "lastModSeq",
       3,
       0,
       "msgTime"},
      {"Subscription",
       {"mssi_info_table"},
       one<std::string>([](std::string& out) {
         unsigned long long index = 7;
         out = "token";
         const int ret = db_get_subscription_info(index, out);
         EXPECT_EQ(index, 7u);
         EXPECT_EQ(out, "token");
         return ret;
       }),
       "db_get_subscription_info",
       nullptr,
       WITH_CODE,
       nullptr,
       "notiIdx",
       0,
       0,
       nullptr},
  };
}

std::string number(int value) { return std::to_string(value); }

/** A store with three rows for every query; two for that of deleted messages. */
class DamagedStore : public QueryTest {
 protected:
  DamagedStore() {
    const char* const types[] = {"", "'a'", "'b'", "'c'"};
    for (int i = 1; i <= 3; ++i) {
      insert(MESSAGES, {{"convId", "1"},
                        {"storageFolder", "101"},
                        {"msgType", types[i]},
                        {"itemId", "5"},
                        {"read", "1"},
                        {"sync", "0"},
                        {"displayTime", number(10 * i)},
                        {"attachedNum", number(i)}});
      insert(THREADS,
             {{"msgCnt", "1"}, {"displayTime", number(10 * i)}, {"peerConvId", number(i)}});
      insert(ADDRESSES, {{"convId", "1"}, {"addressType", number(i)}});
      insert("msg_sim_table", {{"simIndex", number(i)}});
      insert(CONTENTS, {{"msgId", "1"}, {"status", number(i)}});
      insert(TRANSFERS, {{"msgId", "1"},
                         {"status", number(i)},
                         {"contentType", "'json_msg'"},
                         {"filepath", "'path'"}});
      insert(METAS, {{"msgId", number(i)},
                     {"objectId", "'object'"},
                     {"BTCorrelated", "0"},
                     {"MSSICorrelated", "1"},
                     {"MSSISync", "1"},
                     {"deleted", "0"},
                     {"downloadRequired", "1"},
                     {"msgTime", number(10 * i)},
                     {"lastModSeq", number(i)}});
    }
    for (const int convId : {2, 3}) {
      insert(MESSAGES,
             {{"convId", number(convId)}, {"storageFolder", "5"}, {"displayTime", "1000"}});
    }
    for (int i = 1; i <= 4; ++i) {
      insert("deleted_msg_table", {{"storageFolder", i <= 2 ? "1" : "102"}, {"itemId", number(i)}});
    }
    FakePlatform::get().clearLines();
  }

  void index(const std::string& table, const std::string& columns) {
    raw().exec("CREATE INDEX test_index ON " + table + " (" + columns + ");");
  }
};

class FailingQuery : public DamagedStore, public ::testing::WithParamInterface<Failing> {
 protected:
  /** Expects the query to fail with `code` and these lines of its worker, keeping `kept` items. */
  static void expectFailure(int code, const Lines& lines, std::size_t kept) {
    const Failing& query = GetParam();
    std::size_t found = 0;
    EXPECT_EQ(query.run(found), code);
    EXPECT_EQ(found, kept);
    EXPECT_TRUE(
        logged(query.caller ? lines + Lines{reported(query.caller, query.worker, code)} : lines));
  }

  /** The same when the row whose column has the value `failing` cannot be computed. */
  void expectRowFailure(int failing, const std::string& message, std::size_t kept) {
    const Failing& query = GetParam();
    if (query.order) index(query.tables[0], query.order);
    failOnRow(query.tables[0], query.column, failing);
    expectFailure(DB_ERR_STEP, not_stepped(query.worker, message) + Lines{not_finalized()}, kept);
  }

  /** The same when the given step fails as the storage does. */
  static void expectStepFailure(int step, const std::string& message, std::size_t kept) {
    const Failing& query = GetParam();
    SqlRecorder::failStep(query.tables[0], step, SQLITE_IOERR);
    expectFailure(DB_ERR_STEP, not_stepped(query.worker, message, SQLITE_IOERR), kept);
  }
};

TEST_P(FailingQuery, WithoutATableCannotBeCompiled) {
  std::string dropped;
  for (const std::string& table : GetParam().tables) {
    SCOPED_TRACE(table);
    drop(table);
    // SQLite tells of the first table of the text that is missing.
    if (dropped.empty()) dropped = table;
    expectFailure(DB_ERR_PREPARE, no_such_table(GetParam().worker, dropped), 0);
  }
}

TEST_P(FailingQuery, WithoutItsLastTableCannotBeCompiled) {
  const std::string& table = GetParam().tables.back();
  drop(table);
  expectFailure(DB_ERR_PREPARE, no_such_table(GetParam().worker, table), 0);
}

TEST_P(FailingQuery, FailsOnItsFirstRow) {
  expectRowFailure(GetParam().first, GetParam().firstStep, 0);
}

TEST_P(FailingQuery, FailsInItsFirstStep) { expectStepFailure(1, GetParam().firstStep, 0); }

INSTANTIATE_TEST_SUITE_P(Each, FailingQuery, ::testing::ValuesIn(failing_queries()), &name_of);

std::vector<Failing> queries_of_several_rows() {
  std::vector<Failing> several;
  for (Failing& query : failing_queries()) {
    if (query.laterStep) several.push_back(std::move(query));
  }
  return several;
}

using FailingList = FailingQuery;

TEST_P(FailingList, KeepsTheRowsBeforeTheOneThatFails) {
  expectRowFailure(GetParam().second, GetParam().laterStep, 1);
}

TEST_P(FailingList, KeepsTheRowsBeforeTheStepThatFails) {
  expectStepFailure(2, GetParam().laterStep, 1);
}

INSTANTIATE_TEST_SUITE_P(Each, FailingList, ::testing::ValuesIn(queries_of_several_rows()),
                         &name_of);

// ---- No store ----------------------------------------------------------------------------------

class QueryWithoutStore : public DataDirTest, public ::testing::WithParamInterface<Failing> {};

TEST_P(QueryWithoutStore, CannotBeCompiled) {
  FakePlatform::get().setDataPath(std::nullopt);
  const Failing& query = GetParam();
  std::size_t kept = 0;
  EXPECT_EQ(query.run(kept), DB_ERR_PREPARE);
  EXPECT_EQ(kept, 0u);
  Lines expected = {opening(), manager_error("fill_data_dir_path", "app_get_data_path() failed!"),
                    manager_error("_openDb", "sqlite3_open() failed: (14)"),
                    query_error(query.worker, "compileStatement() failed!")};
  if (query.caller) expected.push_back(reported(query.caller, query.worker, DB_ERR_PREPARE));
  EXPECT_TRUE(logged(expected));
}

INSTANTIATE_TEST_SUITE_P(Each, QueryWithoutStore, ::testing::ValuesIn(failing_queries()), &name_of);

// ---- Lists whose later rows cannot fail by themselves ------------------------------------------

TEST_F(DamagedStore, ThreadsKeepTheRowsBeforeTheStepThatFails) {
  SqlRecorder::failStep(THREADS, 3, SQLITE_CORRUPT);
  std::vector<Thread> out;
  EXPECT_EQ(db_get_threads(out), DB_ERR_STEP);
  EXPECT_EQ(each(out, &Thread::convId), (std::vector<int>{3, 2}));
  EXPECT_TRUE(logged(not_stepped("_db_query_get_thread_list", PLAIN, SQLITE_CORRUPT) +
                     Lines{reported("db_get_threads", "_db_query_get_thread_list", -1005)}));
}

TEST_F(DamagedStore, TheNewestDownloadIsKeptWhenItsSecondStepFails) {
  SqlRecorder::failStep(METAS, 2, SQLITE_CORRUPT);
  std::vector<NmsMsgMeta> out;
  EXPECT_EQ(db_get_download_required_nms_msg_metas(out), DB_ERR_STEP);
  EXPECT_EQ(each(out, &NmsMsgMeta::msgId), std::vector<int>{3});
  EXPECT_TRUE(
      logged(not_stepped(METAS_WORKER, EXCLAIMED, SQLITE_CORRUPT) +
             Lines{reported("db_get_download_required_nms_msg_metas", METAS_WORKER, -1005)}));
}

TEST_F(DamagedStore, AnEarlierItemOfTheCallersDoesNotHideAFailure) {
  drop(CONTENTS);
  std::vector<Content> out(1);
  EXPECT_EQ(db_get_contents(1, out), DB_ERR_PREPARE);
  EXPECT_EQ(out.size(), 1u);
}

// ---- What belongs to a row cannot be read ------------------------------------------------------

/** Messages 1 and 2, read in this order by every query, with an address and a content each. */
class DamagedParts : public QueryTest {
 protected:
  DamagedParts() {
    for (const char* id : {"1", "2"}) {
      insert(MESSAGES, {{"convId", id},
                        {"storageFolder", "101"},
                        {"msgType", "'mms'"},
                        {"itemId", "5"},
                        {"read", "1"},
                        {"sync", "0"},
                        {"displayTime", "10"}});
      insert(ADDRESSES, {{"convId", id}, {"addressType", id}});
      insert(CONTENTS, {{"msgId", id}, {"status", id}});
    }
    FakePlatform::get().clearLines();
  }

  /** What the readers of rows log of a step that failed for a row's addresses or contents. */
  static Lines addressesNotRead(int code) {
    return read(code, ADDRESSES, "db_get_addresses", WITH_CODE) +
           Lines{reported("_db_step_get_message", "db_get_addresses", code)};
  }
  static Lines contentsNotRead(int code, const std::string& reader) {
    return read(code, CONTENTS, "_db_query_get_content_list", PLAIN) +
           Lines{reported("db_get_contents", "_db_query_get_content_list", code),
                 reported(reader, "db_get_contents", code)};
  }

  /** Expects every query of messages to fail with these lines of its reader. */
  static void expectMessageFailures(int code, const Lines& lines, std::size_t kept) {
    for (const Failing& query : failing_queries()) {
      const std::string worker = query.worker;
      if (worker != MESSAGES_WORKER && (worker != MESSAGE_WORKER || kept > 0)) continue;
      if (std::string(query.name) == "MessageOfItem") continue;
      SCOPED_TRACE(query.name);
      std::size_t found = 0;
      EXPECT_EQ(query.run(found), code);
      EXPECT_EQ(found, kept);
      EXPECT_TRUE(logged(lines + Lines{query_error(worker, "_db_step_get_message() failed!"),
                                       reported(query.caller, worker, code)}));
    }
  }

  /** Expects both queries of conversations to fail, the list on row `kept` + 1. */
  static void expectConversationFailures(int code, std::size_t kept) {
    const Lines reader = contentsNotRead(code, "_db_step_get_conversation");
    Conversation single;
    EXPECT_EQ(db_get_conversation(static_cast<int>(kept) + 1, single), code);
    EXPECT_TRUE(logged(reader +
                       Lines{reported("db_get_conversation", "_db_query_get_conversation", code)}));
    EXPECT_TRUE(single.contents.empty());

    std::vector<Conversation> out;
    EXPECT_EQ(db_get_conversations(1, out), code);
    EXPECT_EQ(out.size(), kept);
    EXPECT_TRUE(logged(
        reader +
        Lines{query_error("_db_query_get_conversation_list", "_db_step_get_conversation() failed!"),
              reported("db_get_conversations", "_db_query_get_conversation_list", code)}));
  }

 private:
  static Lines read(int code, const std::string& table, const std::string& function,
                    const std::string& message) {
    return code == DB_ERR_PREPARE ? no_such_table(function, table)
                                  : not_stepped(function, message) + Lines{not_finalized()};
  }
};

TEST_F(DamagedParts, WithoutAddressesNoMessageIsRead) {
  drop(ADDRESSES);
  expectMessageFailures(DB_ERR_PREPARE, addressesNotRead(DB_ERR_PREPARE), 0);
}

TEST_F(DamagedParts, WithoutContentsNoMmsIsRead) {
  drop(CONTENTS);
  expectMessageFailures(DB_ERR_PREPARE, contentsNotRead(DB_ERR_PREPARE, "_db_step_get_message"), 0);
  expectConversationFailures(DB_ERR_PREPARE, 0);
}

TEST_F(DamagedParts, AnAddressThatFailsOnTheFirstRowLeavesNothing) {
  failOnRow(ADDRESSES, "addressType", 1);
  expectMessageFailures(DB_ERR_STEP, addressesNotRead(DB_ERR_STEP), 0);
}

TEST_F(DamagedParts, AnAddressThatFailsOnALaterRowKeepsTheRowsBefore) {
  failOnRow(ADDRESSES, "addressType", 2);
  expectMessageFailures(DB_ERR_STEP, addressesNotRead(DB_ERR_STEP), 1);
}

TEST_F(DamagedParts, AContentThatFailsOnTheFirstRowLeavesNothing) {
  failOnRow(CONTENTS, "status", 1);
  expectMessageFailures(DB_ERR_STEP, contentsNotRead(DB_ERR_STEP, "_db_step_get_message"), 0);
  expectConversationFailures(DB_ERR_STEP, 0);
}

TEST_F(DamagedParts, AContentThatFailsOnALaterRowKeepsTheRowsBefore) {
  raw().exec("UPDATE msg_message_table SET convId = 1;");
  failOnRow(CONTENTS, "status", 2);
  expectMessageFailures(DB_ERR_STEP, contentsNotRead(DB_ERR_STEP, "_db_step_get_message"), 1);
  expectConversationFailures(DB_ERR_STEP, 1);
}

TEST_F(DamagedParts, WithoutContentsTheRowsBeforeAnMmsAreKept) {
  raw().exec("UPDATE msg_message_table SET convId = 1;");
  raw().exec("UPDATE msg_message_table SET msgType = 'abc' WHERE msgId = 1;");
  drop(CONTENTS);
  expectMessageFailures(DB_ERR_PREPARE, contentsNotRead(DB_ERR_PREPARE, "_db_step_get_message"), 1);
  expectConversationFailures(DB_ERR_PREPARE, 1);
}

TEST_F(DamagedParts, AMessageOfAnItemFailsWithItsAddresses) {
  drop(ADDRESSES);
  Message out;
  EXPECT_EQ(db_get_message(5, "mms", STANDALONE_FOLDER_1, out), DB_ERR_PREPARE);
  EXPECT_TRUE(logged(addressesNotRead(DB_ERR_PREPARE) +
                     Lines{query_error(MESSAGE_WORKER, "_db_step_get_message() failed!"),
                           reported("db_get_message", MESSAGE_WORKER, DB_ERR_PREPARE)}));
  // What was read before the failure stays in the item.
  EXPECT_EQ(out.msgId, 1);
}

}  // namespace

}  // namespace msg_tarvel::db
