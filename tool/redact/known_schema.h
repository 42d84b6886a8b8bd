#pragma once

#include <string>
#include <vector>

#include "store/database.h"

namespace msg_tarvel::tool {

/**
 * Takes out of the schema whatever is not the library's own words: names, defaults, conditions and
 * comments are texts of somebody's too. Tables, views, triggers, indexes and columns that a store
 * does not have are dropped with what they hold. A table whose definition says more than the
 * library's is made anew; its rows, which columns it has, and their order, types and defaults as
 * far as a store has them stay.
 *
 * To be called before the first change within a transaction. Returns what was dropped, in words.
 * Throws DatabaseFailure.
 */
std::vector<std::string> keep_known_schema(const Database& database);

}  // namespace msg_tarvel::tool
