#include "helpers/conversation_search.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>
#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <algorithm>
#include <stdexcept>

#include "helpers/same_address.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"

namespace msg_tarvel::helpers {

namespace {

/** The library's search is cut at 5,119 characters; what surrounds the addresses is below 300. */
constexpr std::size_t SEARCH_ROOM = 4800;
constexpr std::size_t ROOM_PER_ADDRESS = 24;

// Reads all that the library's search reads.
constexpr const char* READ_ADDRESSES =
    "SELECT max(length(address)), max(addressType), max(convId) FROM msg_address_table;";

/**
 * One view of the store from begin to end, within a transaction or without one, for functions that
 * do not tell a failed read from an end of the rows: when SQLite has ended the view over an error,
 * end() throws.
 */
class SteadyView {
 public:
  SteadyView() : _release("RELEASE steady_view;") {
    execute("SAVEPOINT steady_view;", CANNOT_SEARCH);
  }
  SteadyView(const SteadyView&) = delete;
  SteadyView& operator=(const SteadyView&) = delete;
  ~SteadyView() {
    if (!_isEnded) release();
  }

  void end() {
    _isEnded = true;
    const int ret = release();
    if (ret != db::DB_SUCCESS) throw StoreError(CANNOT_SEARCH, ret);
  }

 private:
  int release() const { return db::DBMgr::getInstance()->execStatement(_release); }

  // Made before: the destructor may find no memory.
  const std::string _release;
  bool _isEnded = false;
};

std::string with_doubled_quotes(const std::string& text) {
  std::string doubled;
  for (const char character : text) doubled.append(character == '\'' ? 2 : 1, character);
  return doubled;
}

/** Whether the library's search, which writes addresses into a LIKE pattern, finds just these. */
bool is_searchable(const std::vector<std::string>& addresses) {
  // Without the number of digits to compare, every number would match every other.
  if (common_util::get_min_match_digit() <= 0) return false;
  std::size_t room = 0;
  for (const std::string& address : addresses) {
    if (address.find_first_of("%_") != std::string::npos) return false;
    room += with_doubled_quotes(address).size() + ROOM_PER_ADDRESS;
  }
  return room <= SEARCH_ROOM;
}

int search_in_library(const std::vector<std::string>& addresses) {
  std::vector<Address> key;
  for (const std::string& address : addresses) {
    Address element;
    element.address = with_doubled_quotes(address);
    element.addressType = address_type_of(address);
    key.push_back(std::move(element));
  }
  int convId = 0;
  const int ret = db::db_check_thread_address_exist(key, &convId);
  if (ret != db::DB_SUCCESS && ret != db::DB_NO_DATA) throw StoreError(CANNOT_SEARCH, ret);
  return convId;
}

/**
 * The library's search, which gives the same for a failed step and for no row. That the rows can be
 * read is seen before, under the lock that then stays; what ends the view is seen behind.
 */
int search_steadily(const std::vector<std::string>& addresses) {
  SteadyView view;
  number(READ_ADDRESSES, CANNOT_SEARCH);
  int convId = 0;
  try {
    convId = search_in_library(addresses);
  } catch (const std::out_of_range&) {
    // A number that ends within its calling code.
    convId = AddressMemory().findSame(addresses);
  }
  view.end();
  return convId;
}

/** A conversation without an address has one row all the same, an empty one. */
std::vector<std::string> as_stored(const std::vector<std::string>& addresses) {
  return addresses.empty() ? std::vector<std::string>(1) : addresses;
}

}  // namespace

int RepeatedSearch::find(const std::vector<std::string>& addresses) {
  const std::vector<std::string> wanted = as_stored(addresses);
  const bool isSearchable = is_searchable(wanted);
  // For a single search the library is faster.
  if (_isRepeated || !isSearchable) _inMemory();
  _isRepeated = true;
  if (!isSearchable) return _memory->findSame(wanted);
  return _memory && _memory->isAsSearched() ? _findAlike(wanted) : search_steadily(wanted);
}

int RepeatedSearch::findSame(const std::vector<std::string>& addresses) {
  return _inMemory().findSame(as_stored(addresses));
}

AddressMemory& RepeatedSearch::_inMemory() {
  if (!_memory) _memory = std::make_unique<AddressMemory>();
  return *_memory;
}

/** Where the device's country decides, which only the library knows, it is asked, once or twice. */
int RepeatedSearch::_findAlike(const std::vector<std::string>& addresses) {
  std::vector<int> answers;
  for (const Country country : _countries) {
    answers.push_back(_memory->findAlike(addresses, country));
  }
  const auto isFirst = [&answers](int answer) { return answer == answers.front(); };
  if (std::all_of(answers.begin(), answers.end(), isFirst) && !answers.empty()) {
    return answers.front();
  }
  const int answer = search_steadily(addresses);
  std::vector<Country> possible;
  for (std::size_t i = 0; i < answers.size(); ++i) {
    if (answers[i] == answer) possible.push_back(_countries[i]);
  }
  _countries = possible;
  return answer;
}

void RepeatedSearch::added(int convId, int addressType, const std::string& address) {
  if (_memory) _memory->add(convId, addressType, address);
}

int find_conversation(const std::vector<std::string>& addresses) {
  return RepeatedSearch().find(addresses);
}

}  // namespace msg_tarvel::helpers
