#pragma once

// When two addresses are one person's. Every program that asks answers alike.

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace msg_tarvel::helpers {

// Values of msg_address_table.addressType.
constexpr int ADDRESS_TYPE_NUMBER = 1;
/** An e-mail address or a name: matches only as it is. */
constexpr int ADDRESS_TYPE_TEXT = 2;

int address_type_of(const std::string& address);

/** Whether `text` is a phone number as the library sees it; without its log line for nothing. */
bool is_phone_number(const std::string& text);

/**
 * An address as it is stored and searched: a phone number without the blanks, dashes, dots and
 * parentheses that people put into it; any other text as it is, but for blanks around it.
 */
std::string normalised_address(const std::string& text);

/**
 * Whether two normalised addresses are one person's: the same text, or numbers in different forms
 * (national, international) that end in the same digits, as many as the device compares.
 */
bool is_same_address(const std::string& a, const std::string& b);

/** The same text for addresses that are one person's; for most that are not, another one. */
std::string ending_of(const std::string& address);

/** Everyone among addresses in any form: normalised, each person once, and nobody for a blank. */
std::vector<std::string> people_among(const std::vector<std::string>& addresses);

/** Addresses, found again by is_same_address, however many of them end alike. */
class AddressSet {
 public:
  /** False when it, or one that is the same, was there already. */
  bool add(const std::string& address);
  /** Adds it beside others that are the same. */
  void keep(const std::string& address);
  bool contains(const std::string& address) const { return find(address) != nullptr; }
  /** The address that is the same; null for none. */
  const std::string* find(const std::string& address) const;
  bool empty() const { return _byEnding.empty(); }

 private:
  struct Others {
    /** One that is written in another way than the first; empty for none. */
    std::string unlikeFirst;
    std::unordered_set<std::string> all;
  };
  /** Of one ending, where only numbers that are written alike are not the same. */
  struct Bucket {
    std::string first;
    /** Beside the first; as a rule there are none. */
    std::unique_ptr<Others> others;
  };

  std::unordered_map<std::string, Bucket> _byEnding;
};

}  // namespace msg_tarvel::helpers
