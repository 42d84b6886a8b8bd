#pragma once

#include <string>
#include <vector>

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
 * process writes meanwhile, so that rows which could be read once are not read just to be sure.
 */
class RepeatedSearch {
 public:
  /** As find_conversation. */
  int find(const std::vector<std::string>& addresses);

 private:
  bool _areRowsReadable = false;
};

}  // namespace msg_tarvel::helpers
