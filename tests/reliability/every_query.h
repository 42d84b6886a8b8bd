#pragma once

// Every query of the library, and what its interface allows when something fails below it.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "db/list_queries.h"

namespace msg_tarvel {

inline bool contains(const std::string& text, const std::string& piece) {
  return text.find(piece) != std::string::npos;
}

inline bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

/** So that the next use opens the store, and reads all that it needs. */
inline void close_store() {
  db::init_db();
  db::deinit_db();
}

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
      return db::db_get_subscription_info(index, out);
    });
  });
  return queries;
}

inline bool is_of_one_item(const ListQuery& query) {
  return begins_with(query.name, "one ") || std::string(query.name) == "thread";
}

/** What the interface allows beside the whole answer. */
inline void expect_allowed(const ListQuery& query, const Outcome& outcome, const Outcome& whole) {
  const std::string items = items_with_metadata(outcome, whole);
  if (outcome.result == whole.result) {
    EXPECT_TRUE(items == whole.items) << outcome << whole;
    return;
  }
  switch (outcome.result) {
    case db::DB_ERR_STEP:
      EXPECT_PRED2(contains, outcome.lines, "sqlite3_step() failed: (");
      break;
    case db::DB_ERR_PREPARE:
      EXPECT_PRED2(contains, outcome.lines, "compileStatement() failed!");
      break;
    case db::DB_NO_DATA:
      // The search takes a failed step for the end of the rows.
      EXPECT_STREQ(query.name, SEARCH);
      EXPECT_PRED2(contains, outcome.lines, "sqlite3_step() failed: (");
      break;
    default:
      ADD_FAILURE() << "result " << outcome.result << "\n" << outcome.lines;
  }
  EXPECT_TRUE(is_of_one_item(query) || begins_with(whole.items, items)) << outcome << whole;
}

}  // namespace msg_tarvel
