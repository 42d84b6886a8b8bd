#pragma once

#include <cstddef>
#include <string>

#include "generate/chance.h"

namespace msg_tarvel::tool {

// Nobody's numbers: those that regulators keep for films and plays, in the United States, the
// United Kingdom and France. No two end in the same six digits, so that devices which compare as
// few or more all see the same people.

constexpr std::size_t PEOPLE = 60000;

/** `person` below PEOPLE. Most are written internationally, some as at home. */
std::string number_of_person(std::size_t person);

/** Owners of the first and the second SIM card; no person has their numbers. */
constexpr const char* OWN_NUMBERS[] = {"+14155550100", "+447700900000"};

/** Of five or six digits, as no person's number ends; 10,000 of them are different. */
std::string short_code(std::size_t service);
/** A name in a number's place. */
std::string service_name(std::size_t service);
std::string mail_address(std::size_t person);

std::string person_name(Chance& chance);

}  // namespace msg_tarvel::tool
