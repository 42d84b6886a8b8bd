#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::tool {

// Values of msg_address_table.addressType.
constexpr int ADDRESS_TYPE_NUMBER = 1;
/** An e-mail address or a name: matches only as it is. */
constexpr int ADDRESS_TYPE_TEXT = 2;

int address_type_of(const std::string& address);

/**
 * The conversation whose participants are exactly these normalised addresses, or the one without
 * an address for none; 0 when there is none. Throws Failure when the store cannot be read.
 */
int find_conversation(const std::vector<std::string>& addresses);

}  // namespace msg_tarvel::tool
