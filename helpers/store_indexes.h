#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::helpers {

// The indexes of a store. Each function throws StoreError; those that write are called within a
// transaction of the caller's.

/** Whether the store has all of the library's indexes, by their names. */
bool has_every_index();

/** Makes the library's indexes; false when all of them were there. */
bool make_indexes();

/**
 * Drops the indexes of the tables that messages are written to, if there is no message yet, and
 * returns the statements that make them again: many rows are sorted once in a third of the time
 * that it takes to keep them sorted. Indexes that keep rows out of a table stay.
 */
std::vector<std::string> set_indexes_aside();

void restore_indexes(const std::vector<std::string>& statements);

}  // namespace msg_tarvel::helpers
