#include "helpers/same_address.h"

#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace msg_tarvel::helpers {

namespace {

/** The digits that decide whether a number is the same; all of a short one, or of another text. */
std::string ending_of(const std::string& address) {
  const int wanted = common_util::get_min_match_digit();
  const auto digits = static_cast<std::size_t>(wanted);
  if (wanted <= 0 || !is_phone_number(address) || address.size() <= digits) return address;
  try {
    const std::string matched = common_util::convert_number(address);
    return matched.size() > digits ? matched.substr(matched.size() - digits) : matched;
  } catch (const std::out_of_range&) {
    return address;
  }
}

bool is_international(const std::string& number) { return number[0] == '+'; }

/** Written alike, two numbers are the same only when every digit is. */
bool is_same_number_written_differently(const std::string& a, const std::string& b) {
  return is_phone_number(a) && is_phone_number(b) &&
         (is_international(a) != is_international(b) || a.size() != b.size());
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

bool is_same_address(const std::string& a, const std::string& b) {
  return a == b || (is_same_number_written_differently(a, b) && ending_of(a) == ending_of(b));
}

std::vector<std::string> people_among(const std::vector<std::string>& addresses) {
  AddressSet known;
  std::vector<std::string> people;
  for (const std::string& written : addresses) {
    std::string address = normalised_address(written);
    if (!address.empty() && known.add(address)) people.push_back(std::move(address));
  }
  return people;
}

bool AddressSet::add(const std::string& address) {
  std::vector<std::string>& bucket = _byEnding[ending_of(address)];
  const auto isSame = [&address](const std::string& one) { return is_same_address(one, address); };
  if (std::any_of(bucket.begin(), bucket.end(), isSame)) return false;
  bucket.push_back(address);
  return true;
}

const std::string* AddressSet::find(const std::string& address) const {
  const auto bucket = _byEnding.find(ending_of(address));
  if (bucket == _byEnding.end()) return nullptr;
  for (const std::string& member : bucket->second) {
    if (is_same_address(member, address)) return &member;
  }
  return nullptr;
}

}  // namespace msg_tarvel::helpers
