#include "helpers/address_memory.h"

#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include "helpers/same_address.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"

namespace msg_tarvel::helpers {

namespace {

// Rows of this type take no part in any search.
constexpr int ADDRESS_TYPE_UNSEARCHED = 3;

/** So many of a conversation's addresses are looked at for one that few others have. */
constexpr std::size_t MOST_CHOICES = 8;

// The last column: whether the row is of the kind that a store's owner writes.
constexpr const char* READ_ADDRESSES =
    "SELECT convId, addressType, address, address IS NULL, addressType <> 3, "
    "typeof(convId) = 'integer' AND convId BETWEEN 1 AND 2147483647 AND "
    "typeof(addressType) IN ('integer', 'null') AND typeof(address) IN ('text', 'null') "
    "FROM msg_address_table;";

// With one of these the library's search finds the last conversation where it else finds the first.
constexpr const char* COUNT_DESCENDING_INDEXES =
    "SELECT count(*) FROM sqlite_master WHERE tbl_name = 'msg_address_table' AND type = 'index' "
    "AND sql LIKE '%desc%';";

/** What a byte that begins a character, of as many bytes as follow, has of its number. */
std::uint32_t bits_of_first(std::uint32_t byte) {
  if (byte < 0xE0) return byte & 0x1F;
  if (byte < 0xF0) return byte & 0x0F;
  if (byte < 0xF8) return byte & 0x07;
  return byte < 0xFE ? byte & 0x03 : 0;
}

/** The next character of a text, as SQLite's LIKE reads it; the text is at `at` and not at its end.
 */
std::uint32_t next_character(const std::string& text, std::size_t& at) {
  const auto byte = [&text, &at] { return static_cast<unsigned char>(text[at]); };
  std::uint32_t character = byte();
  ++at;
  if (character < 0xC0) return character;
  character = bits_of_first(character);
  for (; at < text.size() && (byte() & 0xC0) == 0x80; ++at) {
    character = (character << 6) + (byte() & 0x3F);
  }
  const bool isNone =
      character < 0x80 || (character & 0xFFFFF800) == 0xD800 || (character & 0xFFFFFFFE) == 0xFFFE;
  return isNone ? 0xFFFD : character;
}

/**
 * The characters of a text, last one first: the same for texts that LIKE takes for the same. What
 * is not ASCII, of which LIKE knows no case, becomes six bytes that are not ASCII either.
 */
std::string letters_of(const std::string& text) {
  std::string letters;
  for (std::size_t at = 0; at < text.size();) {
    std::uint32_t character = next_character(text, at);
    if (character < 0x80) {
      const bool isUpper = character >= 'A' && character <= 'Z';
      letters += static_cast<char>(isUpper ? character - 'A' + 'a' : character);
      continue;
    }
    for (int i = 0; i < 6; ++i, character >>= 6) {
      letters += static_cast<char>(0x80 | (character & 0x3F));
    }
  }
  std::reverse(letters.begin(), letters.end());
  return letters;
}

bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

/** Whether the library compares only the ending of a number, which is longer than that. */
bool is_matched_by_ending(const std::string& number, Country country) {
  if (number[0] != '+') return true;
  if (country == Country::US) return number.compare(1, 1, "1") == 0;
  if (country == Country::KR) return number.compare(1, 2, "82") == 0;
  return true;
}

}  // namespace

AddressMemory::AddressMemory() {
  _isAsSearched = number(COUNT_DESCENDING_INDEXES, CANNOT_SEARCH) == 0;
  const auto rows = compile(READ_ADDRESSES, CANNOT_SEARCH);
  while (next_row(*rows, CANNOT_SEARCH)) {
    Row row;
    row.address = rows->getText(2);
    row.isNull = rows->getInt(3) != 0;
    row.isSearched = rows->getInt(4) != 0;
    row.isUnsearched = rows->getInt(1) == ADDRESS_TYPE_UNSEARCHED;
    if (rows->getInt(5) == 0) _isAsSearched = false;
    _add(rows->getInt(0), std::move(row));
  }
}

void AddressMemory::add(int convId, int addressType, const std::string& address) {
  Row row;
  row.isUnsearched = addressType == ADDRESS_TYPE_UNSEARCHED;
  row.isSearched = !row.isUnsearched;
  row.isNull = address.empty();
  row.address = address;
  _add(convId, std::move(row));
}

void AddressMemory::_add(int convId, Row row) {
  _latest.isKnown = false;
  const auto [conversation, isNew] =
      _byId.try_emplace(convId, static_cast<std::uint32_t>(_conversations.size()));
  if (isNew) {
    _conversations.emplace_back();
    _conversations.back().id = convId;
  }
  const auto index = static_cast<std::uint32_t>(_rows.size());
  row.conversation = conversation->second;
  _conversations[row.conversation].rows.push_back(index);
  (row.isNull ? _withoutAddress : _byLetters[letters_of(row.address)]).push_back(index);
  _rows.push_back(std::move(row));
}

int AddressMemory::findAlike(const std::vector<std::string>& addresses, Country country) {
  std::vector<const Rows*> found;
  try {
    for (const std::string& address : addresses) _appendRowsLike(address, country, found);
  } catch (const std::out_of_range&) {
    // A number that ends within its calling code, which the library's search does not take.
    return findSame(addresses);
  }
  // As a rule a number's country makes no difference.
  if (_latest.isKnown && _latest.found == found && _latest.people == addresses.size()) {
    return _latest.convId;
  }
  _latest = {true, found, addresses.size(), _firstOf(found, addresses.size())};
  return _latest.convId;
}

/** The first conversation of as many people, all of whose rows are among these. */
int AddressMemory::_firstOf(const std::vector<const Rows*>& found, std::size_t people) {
  ++_search;
  int first = 0;
  for (const Rows* const rows : found) {
    for (const std::uint32_t index : *rows) {
      Row& row = _rows[index];
      if (!row.isSearched || row.search == _search) continue;
      row.search = _search;
      Conversation& conversation = _conversations[row.conversation];
      if (conversation.search != _search) conversation.matched = 0;
      conversation.search = _search;
      ++conversation.matched;
      const bool isWhole = conversation.matched == conversation.rows.size();
      if (!isWhole || conversation.matched != people) continue;
      if (first == 0 || conversation.id < first) first = conversation.id;
    }
  }
  return first;
}

/** The rows that the library's condition for one address matches. */
void AddressMemory::_appendRowsLike(const std::string& address, Country country,
                                    std::vector<const Rows*>& found) const {
  const auto digits = static_cast<std::size_t>(common_util::get_min_match_digit());
  if (address.empty()) {
    found.push_back(&_withoutAddress);
  } else if (address.size() > digits && is_phone_number(address) &&
             is_matched_by_ending(address, country)) {
    _appendRowsEndingIn(common_util::convert_number(address), found);
  } else {
    _appendRowsOf(address, found);
  }
}

void AddressMemory::_appendRowsOf(const std::string& text, std::vector<const Rows*>& found) const {
  const auto rows = _byLetters.find(letters_of(text));
  if (rows != _byLetters.end()) found.push_back(&rows->second);
}

void AddressMemory::_appendRowsEndingIn(const std::string& digits,
                                        std::vector<const Rows*>& found) const {
  const std::string letters = letters_of(digits);
  for (auto rows = _byLetters.lower_bound(letters);
       rows != _byLetters.end() && begins_with(rows->first, letters); ++rows) {
    found.push_back(&rows->second);
  }
}

int AddressMemory::findSame(const std::vector<std::string>& addresses) const {
  AddressSet wanted;
  for (const std::string& address : addresses) wanted.keep(address);
  int first = 0;
  for (const Rows* const rows : _rarestRows(addresses)) {
    for (const std::uint32_t index : *rows) {
      const Conversation& conversation = _conversations[_rows[index].conversation];
      if ((first == 0 || conversation.id < first) && _hasExactly(conversation, addresses, wanted)) {
        first = conversation.id;
      }
    }
  }
  return first;
}

/**
 * The rows that may be the same as one of the addresses: that with the fewest of them, for every
 * address is among a conversation's. A few are enough to choose from.
 */
std::vector<const AddressMemory::Rows*> AddressMemory::_rarestRows(
    const std::vector<std::string>& addresses) const {
  std::vector<const Rows*> rarest;
  std::size_t fewest = 0;
  for (std::size_t i = 0; i < addresses.size() && i < MOST_CHOICES; ++i) {
    std::vector<const Rows*> found;
    if (is_phone_number(addresses[i])) {
      _appendRowsEndingIn(ending_of(addresses[i]), found);
    } else {
      if (addresses[i].empty()) found.push_back(&_withoutAddress);
      _appendRowsOf(addresses[i], found);
    }
    std::size_t count = 0;
    for (const Rows* const rows : found) count += rows->size();
    if (i == 0 || count < fewest) {
      rarest = found;
      fewest = count;
    }
  }
  return rarest;
}

bool AddressMemory::_hasExactly(const Conversation& conversation,
                                const std::vector<std::string>& addresses,
                                const AddressSet& wanted) const {
  if (conversation.rows.size() != addresses.size()) return false;
  AddressSet stored;
  for (const std::uint32_t index : conversation.rows) {
    const Row& row = _rows[index];
    if (row.isUnsearched || !wanted.contains(row.address)) return false;
    stored.keep(row.address);
  }
  return std::all_of(addresses.begin(), addresses.end(),
                     [&stored](const std::string& address) { return stored.contains(address); });
}

}  // namespace msg_tarvel::helpers
