// bench-ask FOLDER QUERY TIMES: asks the store in FOLDER the same so many times, and prints how
// many items it gave. For an emulator that counts instructions: two counts with different TIMES
// tell what one call takes.

#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "helpers/transaction.h"
#include "store/store_place.h"

namespace msg_tarvel::bench {

namespace {

/** The number of items; throws for a query that is not known or fails. */
std::size_t ask(const std::string& query) {
  int ret = db::DB_ERR_INVALID_ARGUMENT;
  std::vector<Message> messages;
  std::vector<Thread> threads;
  if (query == "list of all") {
    ret = db::db_get_message_list(ListCondition(), messages);
  } else if (query == "newest 20") {
    ListCondition newest;
    newest.limit = 20;
    ret = db::db_get_message_list(newest, messages);
  } else if (query == "conversation list") {
    ret = db::db_get_threads(threads);
  }
  if (ret != db::DB_SUCCESS) throw std::runtime_error(db::db_error_text(ret));
  return messages.size() + threads.size();
}

}  // namespace

}  // namespace msg_tarvel::bench

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: bench-ask FOLDER QUERY TIMES\n";
    return EXIT_FAILURE;
  }
  try {
    msg_tarvel::bench::use_store_in(argv[1]);
    const msg_tarvel::helpers::StoreSession session;
    std::size_t items = 0;
    for (int left = std::stoi(argv[3]); left > 0; --left) items = msg_tarvel::bench::ask(argv[2]);
    std::cout << items << "\n";
  } catch (const std::exception& error) {
    std::cerr << "bench-ask: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
