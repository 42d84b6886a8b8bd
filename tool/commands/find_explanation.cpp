// The library compares the addresses of a conversation with those that are looked for by LIKE: a
// number by its ending, whatever stands before. So A may find B where B does not find A.

#include "commands/find_explanation.h"

#include <msg-tarvel-common/utility/common_util_funcs.h>

#include <algorithm>
#include <map>
#include <ostream>
#include <stdexcept>

#include "helpers/same_address.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "print/json.h"
#include "print/printable.h"
#include "store/settings.h"

namespace msg_tarvel::tool {

namespace {

using helpers::CANNOT_SEARCH;

/** Addresses with as many last characters in common are worth a line, also when they differ. */
constexpr std::size_t ALIKE = 4;
constexpr int NOT_SEARCHED = 3;

/** How one address is looked for. */
struct Search {
  std::string address;
  /** The pattern that LIKE takes; where the address itself has wildcards, none is used. */
  std::string pattern;
  bool isPattern = true;
  std::string reason;
};

struct Candidate {
  int convId;
  std::string address;
  bool isFound;
  bool findsBack;
};

struct Group {
  std::vector<std::string> addresses;
  std::size_t matching = 0;
};

bool starts_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

/** Where the device's country decides: numbers of others are taken as they are. */
bool is_foreign(const std::string& number, const std::string& country) {
  if (number.front() != '+') return false;
  if (starts_with(country, "US")) return !starts_with(number, "+1");
  return starts_with(country, "KR") && !starts_with(number, "+82");
}

Search search_for(const std::string& address, int digits, const std::string& country) {
  Search search{address, address, true, ""};
  const std::string count = std::to_string(digits);
  if (address.find_first_of("%_") != std::string::npos || digits <= 0) {
    search.isPattern = false;
    search.reason = digits <= 0 ? "the number of digits to compare cannot be read: every "
                                  "conversation is looked at, and texts must be equal"
                                : "has % or _, which LIKE takes for a pattern: every conversation "
                                  "of as many people is looked at";
  } else if (!helpers::is_phone_number(address)) {
    search.reason = "is no phone number: the whole text must be equal";
  } else if (address.size() <= static_cast<std::size_t>(digits)) {
    search.reason = "is no longer than " + count + ": the whole number must be equal";
  } else if (is_foreign(address, country)) {
    search.reason = "is foreign to a device of " + country + ": the whole number must be equal";
  } else {
    try {
      search.pattern = "%%" + common_util::convert_number(address);
      search.reason = "is longer than " + count + ": the ending decides";
    } catch (const std::out_of_range&) {
      search.isPattern = false;
      search.reason = "ends within its calling code: the whole text must be equal";
    }
  }
  return search;
}

bool finds(const Search& search, const std::string& stored) {
  if (!search.isPattern) return helpers::is_same_address(search.address, stored);
  return helpers::number("SELECT ? LIKE ?;", CANNOT_SEARCH, stored, search.pattern) != 0;
}

bool is_alike(const std::string& a, const std::string& b) {
  const std::size_t length = std::min({a.size(), b.size(), ALIKE});
  return length > 0 && a.compare(a.size() - length, length, b, b.size() - length, length) == 0;
}

class Explanation {
 public:
  Explanation(const std::vector<std::string>& people, int found)
      : _country(read_setting(COUNTRY_SETTING)),
        _digitsSetting(read_setting(DIGITS_SETTING)),
        _digits(common_util::get_min_match_digit()),
        _found(found) {
    for (const std::string& person : people) {
      _searches.push_back(search_for(person, _digits, _country.value));
    }
    _candidates.resize(people.size());
    _readAddresses();
  }

  void print(std::ostream& out) const;
  Json json() const;

 private:
  void _readAddresses() {
    const auto rows = helpers::compile(
        "SELECT convId, address, addressType FROM msg_address_table ORDER BY convId, addressId;",
        CANNOT_SEARCH);
    std::map<int, bool> isAlike;
    while (helpers::next_row(*rows, CANNOT_SEARCH)) {
      const int convId = rows->getInt(0);
      const std::string address = rows->getText(1);
      Group& group = _groups[convId];
      group.addresses.push_back(address);
      if (rows->getInt(2) == NOT_SEARCHED) continue;
      bool isFound = false;
      for (std::size_t i = 0; i < _searches.size(); ++i) {
        const bool isFoundByThis = finds(_searches[i], address);
        isFound = isFound || isFoundByThis;
        const bool findsBack =
            finds(search_for(address, _digits, _country.value), _searches[i].address);
        if (!isFoundByThis && !findsBack && !is_alike(address, _searches[i].address)) continue;
        _candidates[i].push_back({convId, address, isFoundByThis, findsBack});
        isAlike[convId] = true;
      }
      if (isFound) ++group.matching;
    }
    for (auto group = _groups.begin(); group != _groups.end();) {
      group = isAlike.count(group->first) != 0 ? std::next(group) : _groups.erase(group);
    }
  }

  std::string _condition(const Search& search) const {
    return search.isPattern ? "address LIKE '" + search.pattern + "'" : "the same address";
  }

  std::string _verdict(int convId, const Group& group) const {
    if (convId == _found) return "found";
    if (group.addresses.size() > _searches.size()) return "has others too";
    if (group.addresses.size() < _searches.size()) return "has fewer";
    return group.matching == _searches.size() ? "fits too, but another came first"
                                              : "does not have everyone";
  }

  const Setting _country;
  const Setting _digitsSetting;
  const int _digits;
  const int _found;
  std::vector<Search> _searches;
  std::vector<std::vector<Candidate>> _candidates;
  std::map<int, Group> _groups;
};

void print_setting(std::ostream& out, const Setting& setting) {
  out << "  " << setting.key << " = "
      << (setting.isReadable ? printable(setting.value) : "unreadable") << " ("
      << printable(setting.source) << ")\n";
}

/** Both ways: the one may find the other, and not be found by it. */
const char* words_for(const Candidate& candidate) {
  if (candidate.isFound) {
    return candidate.findsBack ? ": matches, both ways" : ": matches, but would not find this one";
  }
  return candidate.findsBack ? ": does not match, but would find this one"
                             : ": does not match either way";
}

void Explanation::print(std::ostream& out) const {
  out << "Settings\n";
  print_setting(out, _digitsSetting);
  print_setting(out, _country);
  out << "  numbers are compared by their last " << _digits << " digits\n";
  for (std::size_t i = 0; i < _searches.size(); ++i) {
    const Search& search = _searches[i];
    out << "Looking for " << printable(search.address) << "\n  it " << search.reason
        << "\n  condition: " << printable(_condition(search)) << "\n";
    for (const Candidate& candidate : _candidates[i]) {
      out << "  " << printable(candidate.address) << " in conversation " << candidate.convId
          << words_for(candidate) << "\n";
    }
    if (_candidates[i].empty()) out << "  no address is like it\n";
  }
  out << "Conversations of exactly " << _searches.size() << "\n";
  for (const auto& [convId, group] : _groups) {
    out << "  " << convId << ": " << group.matching << " of " << group.addresses.size()
        << " addresses match: " << _verdict(convId, group) << "\n";
  }
  if (_groups.empty()) out << "  none is like it\n";
}

Json json_of(const Setting& setting) {
  Json value = setting.isReadable ? Json(setting.value) : Json(nullptr);
  return {{"key", setting.key}, {"value", std::move(value)}, {"source", setting.source}};
}

Json Explanation::json() const {
  Json people = Json::array();
  for (std::size_t i = 0; i < _searches.size(); ++i) {
    Json candidates = Json::array();
    for (const Candidate& candidate : _candidates[i]) {
      candidates.push_back({{"convId", candidate.convId},
                            {"address", candidate.address},
                            {"matches", candidate.isFound},
                            {"matchesBack", candidate.findsBack}});
    }
    people.push_back({{"address", _searches[i].address},
                      {"reason", _searches[i].reason},
                      {"condition", _condition(_searches[i])},
                      {"candidates", std::move(candidates)}});
  }
  Json conversations = Json::array();
  for (const auto& [convId, group] : _groups) {
    conversations.push_back({{"convId", convId},
                             {"addresses", group.addresses},
                             {"matching", group.matching},
                             {"verdict", _verdict(convId, group)}});
  }
  return {{"settings", {json_of(_digitsSetting), json_of(_country)}},
          {"digits", _digits},
          {"people", std::move(people)},
          {"conversations", std::move(conversations)},
          {"found", _found == 0 ? Json(nullptr) : Json(_found)}};
}

}  // namespace

void print_explanation(const Output& output, const std::vector<std::string>& people, int found) {
  const Explanation explanation(people, found);
  if (output.json) {
    print_json(output, explanation.json());
  } else {
    explanation.print(output.out);
  }
}

}  // namespace msg_tarvel::tool
