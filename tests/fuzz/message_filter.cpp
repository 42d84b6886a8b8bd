// Takes the lines of the input as the words of a filter. Words that are taken make a query that the
// store answers, whatever stands in them.

#include "filter/message_filter.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz_target.h"
#include "helpers/transaction.h"
#include "store/connections.h"

namespace {

using namespace msg_tarvel;        // NOLINT(google-build-using-namespace): whose filter it is
using namespace msg_tarvel::tool;  // NOLINT(google-build-using-namespace)

constexpr const char* ROWS =
    "INSERT INTO msg_address_table (convId, addressType, recipientType, address) VALUES "
    "(1, 1, 1, '+14155550111');"
    "INSERT INTO msg_message_table (msgId, convId, msgType, storageFolder, displayTime, read, "
    "mainText, textMessage) VALUES (1, 1, 'sms', 1, 1790000000000, 0, 'a', 'a');";

/** A store with one message, in a directory of this process, which is removed at its end. */
class Store {
 public:
  Store() : _directory("/tmp/fuzz-filter-" + std::to_string(getpid()) + "/") {
    limit_connections();
    std::filesystem::create_directory(_directory);
    setenv("MSG_TARVEL_DATA_DIR", _directory.c_str(), 1);
    setenv("MSG_TARVEL_SETTINGS", (_directory + "none").c_str(), 1);
    db::DBMgr* const owner = db::DBMgr::getInstance();
    FUZZ_ASSERT(owner->createDb() == 0 && owner->execStatement(ROWS) == 0);
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() { std::filesystem::remove_all(_directory); }

 private:
  const std::string _directory;
  const helpers::StoreSession _session;
};

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
  static const Store store;
  std::istringstream lines(std::string(data, data + size));
  std::vector<std::string> words;
  for (std::string line; std::getline(lines, line);) {
    // No argument of a program has one.
    words.push_back(line.substr(0, line.find('\0')));
  }
  MessageFilter filter;
  if (!is_filter(words, filter)) return 0;
  int found = 0;
  MatchingMessages messages(filter);
  while (messages.next()) ++found;
  FUZZ_ASSERT(found <= 1);
  FUZZ_ASSERT(!is_unsaid(filter) || found == 1);
  return 0;
}
