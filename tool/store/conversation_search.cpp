#include "store/conversation_search.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_common_funcs.h>
#include <msg-tarvel-common/db/db_error.h>
#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <algorithm>
#include <stdexcept>

#include "store/log_sink.h"
#include "store/phone_number.h"
#include "store/session.h"

namespace msg_tarvel::tool {

namespace {

constexpr const char* CANNOT_SEARCH = "cannot search the message store";

/** The library's search is cut at 5,119 characters; what surrounds the addresses is below 300. */
constexpr std::size_t SEARCH_ROOM = 4800;
constexpr std::size_t ROOM_PER_ADDRESS = 24;

// Rows of this type take no part in the library's search either.
constexpr int ADDRESS_TYPE_UNSEARCHED = 3;

std::string with_doubled_quotes(const std::string& text) {
  std::string doubled;
  for (const char character : text) {
    doubled += character;
    if (character == '\'') doubled += character;
  }
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
  if (key.empty()) key.emplace_back();
  int convId = 0;
  forget_log_errors();
  is_found(db::db_check_thread_address_exist(key, &convId), CANNOT_SEARCH);
  return convId;
}

bool has_exactly(int convId, const std::vector<std::string>& addresses) {
  std::vector<Address> rows;
  if (!is_found(db::db_get_addresses(convId, rows), CANNOT_SEARCH)) return false;
  return rows.size() == addresses.size() &&
         std::all_of(rows.begin(), rows.end(), [&addresses](const Address& row) {
           return row.addressType != ADDRESS_TYPE_UNSEARCHED &&
                  std::any_of(addresses.begin(), addresses.end(),
                              [&row](const std::string& address) {
                                return is_same_address(row.address, address);
                              });
         });
}

/** For the addresses that the library's search cannot take: looks at each conversation of a size.
 */
int search_one_by_one(const std::vector<std::string>& addresses) {
  forget_log_errors();
  const auto candidates = db::DBMgr::getInstance()->compileStatement(
      "SELECT convId FROM msg_address_table GROUP BY convId HAVING COUNT(*) = ? ORDER BY convId;");
  if (!candidates) fail_with_log(CANNOT_SEARCH);
  candidates->bind(1, static_cast<int>(addresses.size()));
  int result = candidates->step();
  for (; result == db::DB_ROW; result = candidates->step()) {
    const int convId = candidates->getInt(0);
    if (has_exactly(convId, addresses)) return convId;
  }
  if (result != db::DB_SUCCESS) fail_with_log(CANNOT_SEARCH);
  return 0;
}

}  // namespace

int address_type_of(const std::string& address) {
  return is_phone_number(address) ? ADDRESS_TYPE_NUMBER : ADDRESS_TYPE_TEXT;
}

int find_conversation(const std::vector<std::string>& addresses) {
  if (is_searchable(addresses)) {
    try {
      return search_in_library(addresses);
    } catch (const std::out_of_range&) {
      // A number that ends within its calling code.
    }
  }
  return search_one_by_one(addresses);
}

}  // namespace msg_tarvel::tool
