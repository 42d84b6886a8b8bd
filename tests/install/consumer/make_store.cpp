// A store with one conversation, for list_threads to show.

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_error.h>

int main() {
  using msg_tarvel::db::DB_SUCCESS;
  msg_tarvel::db::DBMgr* const store = msg_tarvel::db::DBMgr::getInstance();
  const bool isMade =
      store->createDb() == DB_SUCCESS && store->endTransaction(true) == DB_SUCCESS &&
      store->execStatement(
          "INSERT INTO msg_conversation_table (convId, msgCnt, unreadCnt, mainText)"
          " VALUES (1, 1, 1, 'Are you coming?');"
          "INSERT INTO msg_message_table (convId, storageFolder) VALUES (1, 1);") == DB_SUCCESS;
  return isMade ? 0 : 1;
}
