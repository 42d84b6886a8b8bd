#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::tool {

/**
 * Writes a store's database anew, in a file of its own, without what people wrote, their numbers,
 * names, files and tokens: for those who are to find what is wrong with a store and have no
 * business with its messages. See Disguise for what becomes of texts and numbers. Ids, times,
 * counters, folders, states and whatever is wrong among them stay.
 *
 * `copy` is a copy of a database that the caller has no other use for: it is changed. `target` must
 * not be there; it is made with mode 0600. `key` holds random bytes that nobody keeps.
 *
 * Returns what is left out, in words: tables, views, triggers and indexes that are not the
 * library's, since nothing is known of what they hold. Throws Failure, and then there is no file.
 */
std::vector<std::string> redact_database(const std::string& copy, const std::string& target,
                                         const std::string& key);

}  // namespace msg_tarvel::tool
