// What unload_test.cpp loads: the library comes along with it.

#include <msg-tarvel-common/msg-tarvel-common.h>

/** Makes the store, or opens the one that is there, on the calling thread; 0 for success. */
extern "C" MSG_TARVEL_EXPORT int use_store() {
  return msg_tarvel::db::DBMgr::getInstance()->createDb();
}
