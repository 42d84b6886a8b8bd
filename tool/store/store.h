#pragma once

#include <string>

namespace msg_tarvel::tool {

/**
 * The path of the store's database, be it there or not. Throws a Failure when something else stands
 * in the place of a directory or a file of the store, or a stranger's: a link or a pipe would lead
 * what is written elsewhere, and he would read it. From now on the store is guarded.
 */
std::string require_place();

/** The same; throws a Failure that says what to do when there is no store: opening makes one. */
std::string require_store();

/** `what` with the store's path, where it ends in "the message store". */
std::string naming_store(const std::string& what);

/**
 * The result of a read query: true for found, false for nothing found. Anything else throws a
 * Failure with the reason from the log, which begins with `what`.
 */
bool is_found(int result, const std::string& what);

}  // namespace msg_tarvel::tool
