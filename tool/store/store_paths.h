#pragma once

// Where a store's files lie below its data directory. The library tells too, but once for the life
// of the process, and some commands have to do with two stores.

#include <string>

namespace msg_tarvel::tool {

/** The environment's word for the data directory. */
constexpr const char* DATA_DIR_VARIABLE = "MSG_TARVEL_DATA_DIR";

constexpr const char* DATABASE_DIRECTORY = "dbspace";
constexpr const char* DATABASE_FILE = "dbspace/.msg-tarvel-server.db";
constexpr const char* JOURNAL_ENDING = "-journal";
/** In SQLite's write-ahead mode: what was committed last, and an index of it that its users share.
 */
constexpr const char* LOG_ENDING = "-wal";
constexpr const char* LOG_INDEX_ENDING = "-shm";

/** The data directory that was chosen, ending in "/"; the same for the life of the process. */
const std::string& data_directory();

/** The database file in it: the one that messages name, also where a copy is read. */
std::string database_path();

}  // namespace msg_tarvel::tool
