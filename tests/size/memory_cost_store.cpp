// What memory_cost.cpp loads: the library comes along with it.

#include <msg-tarvel-common/msg-tarvel-common.h>

#include <cstdlib>

/** Makes a store in `folder`, or opens the one that is there, and asks it for its conversations. */
extern "C" MSG_TARVEL_EXPORT int open_store(const char* folder) {
  setenv("MSG_TARVEL_DATA_DIR", folder, 1);
  msg_tarvel::db::init_db();
  std::vector<msg_tarvel::Thread> threads;
  const bool done =
      msg_tarvel::db::DBMgr::getInstance()->createDb() == msg_tarvel::db::DB_SUCCESS &&
      msg_tarvel::db::db_get_threads(threads) == msg_tarvel::db::DB_NO_DATA;
  return done ? 0 : 1;
}
