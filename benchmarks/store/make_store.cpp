// bench-make-store FOLDER MESSAGES [indexes]: writes a store like a person's into FOLDER.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

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
    if (isIndexed) msg_tarvel::bench::add_indexes();
  } catch (const std::exception& error) {
    std::cerr << "bench-make-store: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
