#pragma once

#include <memory>
#include <string>
#include <vector>

#include "helpers/address_memory.h"

namespace msg_tarvel::helpers {

/**
 * The conversation whose participants are exactly these normalised addresses, or the one without
 * an address for none; 0 when there is none.
 *
 * Throws StoreError when the store cannot be read, so that 0 never stands for a failed search;
 * within a transaction also when SQLite has ended it meanwhile.
 */
int find_conversation(const std::vector<std::string>& addresses);

/**
 * Many such searches within one transaction of the caller's, which outlives this object. No other
 * process writes meanwhile, so that from the second search on the addresses are read from memory.
 */
class RepeatedSearch {
 public:
  /** As find_conversation. */
  int find(const std::vector<std::string>& addresses);
  /** The first conversation with the same people, also where the library's search finds none. */
  int findSame(const std::vector<std::string>& addresses);
  /** To be told of every row that the caller adds to msg_address_table. */
  void added(int convId, int addressType, const std::string& address);

 private:
  AddressMemory& _inMemory();
  int _findAlike(const std::vector<std::string>& addresses);

  bool _isRepeated = false;
  std::unique_ptr<AddressMemory> _memory;
  /** What the device's country may be, as far as the library's answers have shown. */
  std::vector<Country> _countries = {Country::US, Country::KR, Country::OTHER};
};

}  // namespace msg_tarvel::helpers
