#pragma once

#include <string>

namespace msg_tarvel::tool {

/**
 * Throws a Failure when there is no place for a store, or when something else stands in the place
 * of a directory or a file of it: a link or a pipe would lead what is written elsewhere.
 */
void require_place();

/** The same, and throws a Failure that says what to do when there is no store: opening it would
 * make one. */
void require_store();

/**
 * The result of a read query: true for found, false for nothing found. Anything else throws a
 * Failure with the reason from the log, which begins with `what`.
 */
bool is_found(int result, const std::string& what);

}  // namespace msg_tarvel::tool
