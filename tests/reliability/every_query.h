#pragma once

// Every query of the library, and what its interface allows when something fails below it.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "db/list_queries.h"
#include "reliability/told_failures.h"

namespace msg_tarvel {

constexpr const char* SEARCH = "one conversation of addresses";

/** Those of a list and those of one item; a failed one may leave anything in its item. */
inline std::vector<ListQuery> all_queries() {
  std::vector<ListQuery> queries = list_queries();
  const auto one = [&queries](const char* name, std::function<Outcome()> ask) {
    queries.push_back({name, std::move(ask)});
  };
  one("one message",
      [] { return item_outcome<Message>([](auto& out) { return db::db_get_message(3, out); }); });
  one("one message of an item", [] {
    return item_outcome<Message>(
        [](auto& out) { return db::db_get_message(1, "sms", MAIN_FOLDER_2, out); });
  });
  one("deleted messages", [] {
    return list_outcome<Message>(1,
                                 [](auto& out) { return db::db_get_deleted_messages(true, out); });
  });
  one("one conversation", [] {
    return item_outcome<Conversation>([](auto& out) { return db::db_get_conversation(3, out); });
  });
  one(SEARCH, [] {
    std::vector<Address> people(2);
    people[0].address = "+14155551";
    people[1].address = "+14155552";
    return item_outcome<int>(
        [&people](int& out) { return db::db_check_thread_address_exist(people, &out); });
  });
  one("addresses", [] {
    return list_outcome<Address>(1, [](auto& out) { return db::db_get_addresses(1, out); });
  });
  one("SIM cards",
      [] { return list_outcome<SimInfo>(1, [](auto& out) { return db::db_get_sim_infos(out); }); });
  one("contents", [] {
    return list_outcome<Content>(1, [](auto& out) { return db::db_get_contents(3, out); });
  });
  one("one sending content", [] {
    return item_outcome<Content>(
        [](auto& out) { return db::db_get_sending_msg_content_info(3, out); });
  });
  one("one sending file", [] {
    return item_outcome<Content>(
        [](auto& out) { return db::db_get_sending_file_content_info("/path/3", out); });
  });
  one("one metadata", [] {
    return item_outcome<NmsMsgMeta>([](auto& out) { return db::db_get_nms_msg_meta(3, "", out); });
  });
  one("one metadata of an object", [] {
    return item_outcome<NmsMsgMeta>(
        [](auto& out) { return db::db_get_nms_msg_meta(0, "object 3", out); });
  });
  one("metadata to sync", [] {
    return list_outcome<NmsMsgMeta>(
        1, [](auto& out) { return db::db_get_sync_required_nms_msg_metas(false, out); });
  });
  one("metadata to download", [] {
    return list_outcome<NmsMsgMeta>(
        1, [](auto& out) { return db::db_get_download_required_nms_msg_metas(out); });
  });
  one("one flag of downloads", [] {
    return item_outcome<int>([](int& out) {
      bool hasMessage = false;
      const int ret = db::db_has_download_required_message(&hasMessage);
      if (hasMessage) out = 1;
      return ret;
    });
  });
  one("one subscription", [] {
    return item_outcome<std::string>([](std::string& out) {
      unsigned long long index = 0;
      const int ret = db::db_get_subscription_info(index, out);
      out += " " + std::to_string(index);
      return ret;
    });
  });
  return queries;
}

inline bool is_of_one_item(const ListQuery& query) {
  return begins_with(query.name, "one ") || std::string(query.name) == "thread";
}

/** Of a query that did not succeed: a list keeps what it held, and what was appended by then. */
inline void expect_beginning(const ListQuery& query, const Outcome& outcome, const Outcome& whole) {
  if (is_of_one_item(query)) return;
  EXPECT_TRUE(begins_with(outcome.items, outcome.before)) << outcome;
  EXPECT_TRUE(begins_with(whole.items, items_with_metadata(outcome, whole))) << outcome << whole;
}

/** What the interface allows beside the whole answer, where SQLite fails with these numbers. */
inline void expect_allowed(const ListQuery& query, const Outcome& outcome, const Outcome& whole,
                           const Numbers& numbers) {
  if (outcome.result == whole.result) {
    EXPECT_TRUE(items_with_metadata(outcome, whole) == whole.items) << outcome << whole;
    return;
  }
  switch (outcome.result) {
    case db::DB_ERR_STEP:
      EXPECT_TRUE(is_told(outcome.lines, "sqlite3_step", numbers)) << outcome.lines;
      break;
    case db::DB_ERR_PREPARE:
      EXPECT_TRUE(is_told(outcome.lines, "sqlite3_open", numbers) ||
                  is_told(outcome.lines, "sqlite3_prepare_v2", numbers))
          << outcome.lines;
      EXPECT_PRED2(contains, outcome.lines, "compileStatement() failed!");
      break;
    case db::DB_NO_DATA:
      // The search takes a failed step for the end of the rows.
      EXPECT_STREQ(query.name, SEARCH);
      EXPECT_TRUE(is_told(outcome.lines, "sqlite3_step", numbers)) << outcome.lines;
      break;
    default:
      ADD_FAILURE() << "result " << outcome.result << "\n" << outcome.lines;
  }
  expect_beginning(query, outcome, whole);
}

/** A store in which each query finds something. */
class EveryQueryTest : public ListQueriesTest {
 protected:
  void fillForEveryQuery() {
    const std::vector<ListQuery> queries = all_queries();
    std::vector<std::string> ofNothing;
    ofNothing.reserve(queries.size());
    for (const ListQuery& query : queries) ofNothing.push_back(query.ask().items);
    fill(3, 9);
    insert("msg_sim_table", {{"imsi", "'1'"}, {"address", "'+1'"}});
    insert("deleted_msg_table", {{"msgId", "77"}, {"msgType", "'sms'"}, {"storageFolder", "1"}});
    insert("msg_ft_content_table",
           {{"msgId", "3"}, {"contentType", "'json_msg'"}, {"filepath", "'/path/3'"}});
    raw().exec("UPDATE msg_nms_meta_table SET downloadRequired = 1 WHERE msgId = 2;");
    raw().exec(
        "UPDATE msg_nms_meta_table SET MSSICorrelated = 1, MSSISync = 1, deleted = 0 WHERE msgId = "
        "4;");
    raw().exec("UPDATE mssi_info_table SET notiIdx = 7, restartToken = 'token';");
    for (std::size_t i = 0; i < queries.size(); ++i) {
      const Outcome whole = queries[i].ask();
      EXPECT_EQ(whole.result, db::DB_SUCCESS) << queries[i].name;
      EXPECT_NE(whole.items, ofNothing[i]) << queries[i].name << " finds nothing";
    }
  }
};

}  // namespace msg_tarvel
