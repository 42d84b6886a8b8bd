#include "helpers/same_address.h"

#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace msg_tarvel::helpers {

namespace {

bool is_international(const std::string& number) { return number[0] == '+'; }

bool is_written_alike(const std::string& a, const std::string& b) {
  return is_international(a) == is_international(b) && a.size() == b.size();
}

/** Written alike, two numbers are the same only when every digit is. */
bool is_same_number_written_differently(const std::string& a, const std::string& b) {
  return is_phone_number(a) && is_phone_number(b) && !is_written_alike(a, b);
}

}  // namespace

bool is_phone_number(const std::string& text) {
  return !text.empty() && common_util::is_number(text);
}

int address_type_of(const std::string& address) {
  return is_phone_number(address) ? ADDRESS_TYPE_NUMBER : ADDRESS_TYPE_TEXT;
}

std::string normalised_address(const std::string& text) {
  constexpr const char* blanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string::npos) return {};
  const std::string trimmed = text.substr(first, text.find_last_not_of(blanks) - first + 1);

  std::string bare;
  constexpr std::string_view PUNCTUATION = " -.()";
  for (const char character : trimmed) {
    if (PUNCTUATION.find(character) == std::string_view::npos) bare += character;
  }
  return is_phone_number(bare) ? bare : trimmed;
}

// The digits that decide whether a number is the same; all of a short one, or of another text.
std::string ending_of(const std::string& address) {
  const int wanted = common_util::get_min_match_digit();
  const auto digits = static_cast<std::size_t>(wanted);
  if (wanted <= 0 || !is_phone_number(address) || address.size() <= digits) return address;
  try {
    const std::string matched = common_util::convert_number(address);
    if (matched.empty()) return address;
    return matched.size() > digits ? matched.substr(matched.size() - digits) : matched;
  } catch (const std::out_of_range&) {
    return address;
  }
}

bool is_same_address(const std::string& a, const std::string& b) {
  return a == b || (is_same_number_written_differently(a, b) && ending_of(a) == ending_of(b));
}

std::vector<std::string> people_among(const std::vector<std::string>& addresses) {
  AddressSet known;
  const bool isOne = addresses.size() == 1;
  std::vector<std::string> people;
  people.reserve(addresses.size());
  for (const std::string& written : addresses) {
    std::string address = normalised_address(written);
    if (!address.empty() && (isOne || known.add(address))) people.push_back(std::move(address));
  }
  return people;
}

bool AddressSet::add(const std::string& address) {
  if (contains(address)) return false;
  keep(address);
  return true;
}

void AddressSet::keep(const std::string& address) {
  const auto [entry, isNew] = _byEnding.try_emplace(ending_of(address));
  Bucket& bucket = entry->second;
  if (isNew) {
    bucket.first = address;
    return;
  }
  if (!bucket.others) bucket.others = std::make_unique<Others>();
  if (!is_written_alike(bucket.first, address)) bucket.others->unlikeFirst = address;
  bucket.others->all.insert(address);
}

const std::string* AddressSet::find(const std::string& address) const {
  const auto entry = _byEnding.find(ending_of(address));
  if (entry == _byEnding.end()) return nullptr;
  const Bucket& bucket = entry->second;
  if (bucket.first == address || !is_written_alike(bucket.first, address)) return &bucket.first;
  if (!bucket.others) return nullptr;
  const Others& others = *bucket.others;
  if (const auto same = others.all.find(address); same != others.all.end()) return &*same;
  return others.unlikeFirst.empty() ? nullptr : &others.unlikeFirst;
}

}  // namespace msg_tarvel::helpers
