#include "generate/people.h"

#include <iterator>

namespace msg_tarvel::tool {

namespace {

/** `size` numbers from `first` on, the last digits of which follow the prefix. */
struct FilmRange {
  const char* international;
  const char* national;
  std::size_t digits;
  std::size_t first;
  std::size_t size;
};

constexpr FilmRange FILM_RANGES[] = {
    {"+14155550", "4155550", 3, 110, 90},    {"+447700900", "07700900", 3, 100, 900},
    {"+442079460", "02079460", 3, 100, 900}, {"+3363998", "063998", 4, 0, 10000},
    {"+3319900", "019900", 4, 0, 10000},     {"+3326191", "026191", 4, 0, 10000},
    {"+3335301", "035301", 4, 0, 10000},     {"+3346571", "046571", 4, 0, 10000},
    {"+3353649", "053649", 4, 0, 10000},
};

std::string with_digits(std::size_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  return std::string(digits - text.size(), '0') + text;
}

constexpr const char* SERVICES[] = {"BANK",   "PARCEL", "TAXI",   "CLINIC", "LIBRARY", "POWER",
                                    "SCHOOL", "TICKET", "Аптека", "은행",   "CAFÉ",    "GYM"};

constexpr const char* NAMES[] = {"Alex", "Mina",  "Jonas", "Léa",  "Yuna",  "Omar",
                                 "Ines", "Tomás", "Noor",  "Ravi", "Ольга", "민준"};

}  // namespace

std::string number_of_person(std::size_t person) {
  const bool isNational = person % 9 == 4;
  for (const FilmRange& range : FILM_RANGES) {
    if (person < range.size) {
      return (isNational ? range.national : range.international) +
             with_digits(range.first + person, range.digits);
    }
    person -= range.size;
  }
  return {};
}

std::string short_code(std::size_t service) {
  // Fifth from the end is a digit that no person's number has there.
  const std::size_t scattered = service * 7919;
  return std::to_string(service % 2 == 0 ? 20000 + scattered % 20000 : 770000 + scattered % 10000);
}

std::string service_name(std::size_t service) {
  const std::size_t round = service / std::size(SERVICES);
  const std::string name = SERVICES[service % std::size(SERVICES)];
  return round == 0 ? name : name + "-" + std::to_string(round + 1);
}

std::string mail_address(std::size_t person) {
  return "friend." + std::to_string(person + 1) + "@example.org";
}

std::string person_name(Chance& chance) { return chance.oneOf(NAMES); }

}  // namespace msg_tarvel::tool
