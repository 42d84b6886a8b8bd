#pragma once

#include <string>
#include <vector>

namespace msg_tarvel::tool {

// Folders as people name them. A word stands for the folder of the phone's messages and for that of
// the standalone mode.

/** "inbox" for 1 and 101, and so on; the number of a folder that has no name. */
std::string folder_word(int folder);

/** The words that folder_condition takes beside numbers. */
std::vector<std::string> folder_words();

/**
 * A condition on the column storageFolder: of the folders with this name, of the one with this
 * number, "1" for "all", and for "" those that lists of messages show. Throws UsageError.
 */
std::string folder_condition(const std::string& word);

}  // namespace msg_tarvel::tool
