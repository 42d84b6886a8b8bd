#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::tool {

/**
 * Takes out of a database what people wrote, their numbers, names, files and tokens, for those who
 * are to find what is wrong with a store and have no business with its messages. See Disguise for
 * what stands in place of texts and numbers. Ids, times, counters, folders, states and whatever is
 * wrong among them stay. In the file at `path`, which nobody else uses, nothing is left of the
 * rest.
 *
 * `key` holds random bytes that nobody keeps.
 *
 * Returns what was left out, in words: tables, columns, views, triggers, indexes and definitions
 * that are not a store's, since nothing is known of what they hold. Throws Failure; the file is
 * then of no use.
 */
std::vector<std::string> redact_database(const std::string& path, const std::string& key);

}  // namespace msg_tarvel::tool
