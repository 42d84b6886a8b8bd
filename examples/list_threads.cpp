#include <msg-tarvel-common/msg-tarvel-common.h>
#include <iostream>

int main() {
  std::vector<msg_tarvel::Thread> threads;
  const int ret = msg_tarvel::db::db_get_threads(threads);
  for (const msg_tarvel::Thread& thread : threads) {
    std::cout << thread.convId << ": " << thread.unreadCnt << " unread, " << thread.mainText
              << "\n";
  }
  return ret == msg_tarvel::db::DB_SUCCESS ? 0 : 1;
}
