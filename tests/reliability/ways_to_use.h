#pragma once

// What a thread does with a store, for those who look at how threads and processes end.

#include <vector>

#include "msg-tarvel-common/db/DBMgr.h"
#include "msg-tarvel-common/db/db_common_funcs.h"
#include "msg-tarvel-common/db/db_error.h"

namespace msg_tarvel {

/** The ways in which a thread may use the store, and leave it. */
enum class Use { COUNTED, NESTED, UNCOUNTED, WRITING };
constexpr Use READING_USES[] = {Use::COUNTED, Use::NESTED, Use::UNCOUNTED};

/** Whether the one conversation is there. */
inline bool read_once() {
  std::vector<Thread> threads;
  return db::db_get_threads(threads) == db::DB_SUCCESS && threads.size() == 1;
}

inline bool write_once() {
  db::DBMgr* const store = db::DBMgr::getInstance();
  return store->execStatement("PRAGMA journal_mode = PERSIST;") == db::DB_SUCCESS &&
         store->beginTransaction() == db::DB_SUCCESS &&
         store->execStatement("INSERT INTO temp_log (data1) VALUES ('a');") == db::DB_SUCCESS &&
         store->endTransaction(true) == db::DB_SUCCESS;
}

/** From a thread's first use to its last; whether all of it went well. */
inline bool use_store(Use use) {
  if (use != Use::UNCOUNTED) db::init_db();
  if (use == Use::NESTED) db::init_db();
  const bool isDone = use == Use::WRITING ? write_once() : read_once();
  if (use == Use::NESTED) db::deinit_db();
  if (use != Use::UNCOUNTED) db::deinit_db();
  return isDone;
}

}  // namespace msg_tarvel
