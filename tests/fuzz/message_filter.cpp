// Takes the lines of the input as the words of a filter. Words that are taken make a query that the
// store answers, whatever stands in them.

#include "filter/message_filter.h"

#include <sstream>
#include <string>
#include <vector>

#include "fuzz_store.h"
#include "helpers/transaction.h"

namespace {

using namespace msg_tarvel;        // NOLINT(google-build-using-namespace): whose filter it is
using namespace msg_tarvel::tool;  // NOLINT(google-build-using-namespace)

constexpr const char* ONE_MESSAGE =
    "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES "
    "(1, 1, 1, '+14155550111');"
    "INSERT INTO msg_message_table (msgId, convId, msgType, storageFolder, displayTime, read, "
    "mainText, textMessage) VALUES (1, 1, 'sms', 1, 1790000000000, 0, 'a', 'a');";

/** Whether the words are a filter's, which `filter` then is. */
bool is_filter(const std::vector<std::string>& words, MessageFilter& filter) {
  CLI::App app;
  declare_filter(app, filter);
  try {
    app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    return true;
  } catch (const CLI::Error&) {
    return false;
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const FuzzStore store(ONE_MESSAGE);
  static const helpers::StoreSession session;
  std::istringstream lines(std::string(data, data + size));
  std::vector<std::string> words;
  for (std::string line; std::getline(lines, line);) {
    // No argument of a program has one.
    words.push_back(line.substr(0, line.find('\0')));
  }
  MessageFilter filter;
  if (!is_filter(words, filter)) return 0;
  store.beginInput();
  int found = 0;
  MatchingMessages messages(filter);
  while (messages.next()) ++found;
  FUZZ_ASSERT(found <= 1);
  FUZZ_ASSERT(!is_unsaid(filter) || found == 1);
  return 0;
}
