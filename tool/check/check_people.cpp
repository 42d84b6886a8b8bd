// Who is in more than one conversation, and who is somebody else to the library.

#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>

#include "check/check.h"
#include "check/queries.h"
#include "exit_status.h"
#include "helpers/same_address.h"
#include "store/device_settings.h"

namespace msg_tarvel::tool {

namespace {

using Conversations = std::map<long long, std::vector<std::string>>;

Conversations read_people(const Database& database) {
  Conversations people;
  Rows rows = database.query(SELECT_PEOPLE);
  while (rows.next()) people[rows.number(0)].push_back(rows.text(1));
  return people;
}

/** The digits that the library compares; empty for what it compares as a whole. */
std::string compared_digits(const std::string& address) {
  const int wanted = common_util::get_min_match_digit();
  if (wanted <= 0 || !helpers::is_phone_number(address)) return {};
  const auto digits = static_cast<std::size_t>(wanted);
  try {
    const std::string number = common_util::convert_number(address);
    return number.size() >= digits ? number.substr(number.size() - digits) : std::string();
  } catch (const std::out_of_range&) {
    return {};
  }
}

/** What stands for a person: one text for every way in which the number is written. */
std::string person_of(const std::string& address) {
  const std::string normalised = helpers::normalised_address(address);
  const std::string digits = compared_digits(normalised);
  return digits.empty() ? normalised : digits;
}

void check_same_people(const Conversations& people, Findings& findings) {
  std::map<std::set<std::string>, long long> known;
  for (const auto& [convId, addresses] : people) {
    std::set<std::string> persons;
    for (const std::string& address : addresses) persons.insert(person_of(address));
    const auto [first, isNew] = known.emplace(std::move(persons), convId);
    if (isNew) continue;
    findings.add(Kind::SAME_PEOPLE, "conversation " + std::to_string(convId),
                 "has the people of conversation " + std::to_string(first->second));
  }
}

/** Without what a number begins with only when it is dialled. */
std::string significant_digits(const std::string& number) {
  const std::size_t first = number.find_first_not_of("+0");
  return first == std::string::npos ? std::string() : number.substr(first);
}

/** Whether all can be one number, with more or less of what it begins with. */
bool can_be_one(const std::set<std::string>& numbers) {
  std::string longest;
  for (const std::string& number : numbers) {
    std::string digits = significant_digits(number);
    if (digits.size() > longest.size()) longest = std::move(digits);
  }
  return std::all_of(numbers.begin(), numbers.end(), [&longest](const std::string& number) {
    const std::string digits = significant_digits(number);
    return longest.compare(longest.size() - digits.size(), digits.size(), digits) == 0;
  });
}

void check_same_ending(const Conversations& people, Findings& findings) {
  std::map<std::string, std::set<std::string>> byEnding;
  for (const auto& [convId, addresses] : people) {
    for (const std::string& address : addresses) {
      const std::string number = helpers::normalised_address(address);
      const std::string ending = compared_digits(number);
      if (!ending.empty()) byEnding[ending].insert(number);
    }
  }
  for (const auto& [ending, numbers] : byEnding) {
    if (can_be_one(numbers)) continue;
    std::string list;
    for (const std::string& number : numbers) list += (list.empty() ? "" : ", ") + number;
    findings.add(Kind::SAME_ENDING, ending, "ends several numbers: " + list);
  }
}

/** Why the library compares no numbers as this device should; empty where it does. */
std::string problem_of_settings() {
  try {
    require_settings();
    return {};
  } catch (const Failure& failure) {
    return failure.what();
  }
}

}  // namespace

void check_people(const CheckedStore& store, Findings& findings) {
  const std::string problem = problem_of_settings();
  const auto look = [&](Kind kind, void (*check)(const Conversations&, Findings&)) {
    if (problem.empty()) {
      look_for(kind, findings, [&] { check(read_people(store.database), findings); });
    } else {
      findings.add(kind, "settings", problem);
    }
  };
  look(Kind::SAME_PEOPLE, &check_same_people);
  look(Kind::SAME_ENDING, &check_same_ending);
}

}  // namespace msg_tarvel::tool
