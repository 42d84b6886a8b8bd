#pragma once

#include <string>

namespace msg_tarvel::tool {

/**
 * The path of the store's database. Throws a Failure that says what to do when there is no store:
 * opening it would make one.
 */
std::string require_store();

/**
 * The result of a read query: true for found, false for nothing found. Anything else throws a
 * Failure with the reason from the log, which begins with `what`.
 */
bool is_found(int result, const std::string& what);

}  // namespace msg_tarvel::tool
