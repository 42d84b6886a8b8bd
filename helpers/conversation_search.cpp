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

// Rows of this type take no part in the library's search either.
constexpr int ADDRESS_TYPE_UNSEARCHED = 3;

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
  SteadyView() { execute("SAVEPOINT steady_view;", CANNOT_SEARCH); }
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
  static int release() { return db::DBMgr::getInstance()->execStatement("RELEASE steady_view;"); }

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

bool has_same(const std::vector<std::string>& addresses, const std::string& wanted) {
  return std::any_of(addresses.begin(), addresses.end(), [&wanted](const std::string& address) {
    return is_same_address(address, wanted);
  });
}

bool has_exactly(int convId, const std::vector<std::string>& addresses) {
  std::vector<Address> rows;
  const int ret = db::db_get_addresses(convId, rows);
  if (ret != db::DB_SUCCESS && ret != db::DB_NO_DATA) throw StoreError(CANNOT_SEARCH, ret);
  std::vector<std::string> stored;
  for (const Address& row : rows) {
    if (row.addressType == ADDRESS_TYPE_UNSEARCHED || !has_same(addresses, row.address)) {
      return false;
    }
    stored.push_back(row.address);
  }
  return stored.size() == addresses.size() &&
         std::all_of(addresses.begin(), addresses.end(),
                     [&stored](const std::string& address) { return has_same(stored, address); });
}

/** For addresses that the library's search cannot take: looks at each conversation of the size. */
int search_one_by_one(const std::vector<std::string>& addresses) {
  const auto candidates = compile(
      "SELECT convId FROM msg_address_table GROUP BY convId HAVING count(*) = ? ORDER BY convId;",
      CANNOT_SEARCH);
  bind_all(*candidates, static_cast<int>(addresses.size()));
  while (next_row(*candidates, CANNOT_SEARCH)) {
    const int convId = candidates->getInt(0);
    if (has_exactly(convId, addresses)) return convId;
  }
  return 0;
}

int search(const std::vector<std::string>& addresses) {
  if (is_searchable(addresses)) {
    try {
      return search_in_library(addresses);
    } catch (const std::out_of_range&) {
      // A number that ends within its calling code.
    }
  }
  return search_one_by_one(addresses);
}

}  // namespace

int RepeatedSearch::find(const std::vector<std::string>& addresses) {
  SteadyView view;
  // The library's search gives the same for a failed step and for no row. That the rows can be read
  // is seen before, under the lock that then stays; what ends the view is seen behind.
  if (!_areRowsReadable) number(READ_ADDRESSES, CANNOT_SEARCH);
  // A conversation without an address has one row all the same, an empty one.
  const int convId = search(addresses.empty() ? std::vector<std::string>(1) : addresses);
  view.end();
  _areRowsReadable = true;
  return convId;
}

int find_conversation(const std::vector<std::string>& addresses) {
  return RepeatedSearch().find(addresses);
}

}  // namespace msg_tarvel::helpers
