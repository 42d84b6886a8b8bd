// bench-make-store FOLDER MESSAGES [indexes]: writes a store like a person's into FOLDER.

#include <msg-tarvel-common/db/db_indexes.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "store/person_store.h"
#include "store/store_place.h"

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const bool isIndexed = arguments.size() == 3 && arguments[2] == "indexes";
  if (arguments.size() != 2 && !isIndexed) {
    std::cerr << "usage: bench-make-store FOLDER MESSAGES [indexes]\n";
    return EXIT_FAILURE;
  }
  try {
    msg_tarvel::bench::use_store_in(arguments[0]);
    const msg_tarvel::helpers::StoreSession session;
    msg_tarvel::bench::write_person_store(std::stoi(arguments[1]));
    if (isIndexed) {
      const int ret = msg_tarvel::db::db_create_indexes();
      if (ret != 0) throw msg_tarvel::helpers::StoreError("cannot make the indexes", ret);
    }
  } catch (const std::exception& error) {
    std::cerr << "bench-make-store: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
