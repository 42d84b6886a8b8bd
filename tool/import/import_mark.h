#pragma once

#include <string>

#include "backup/backup_reader.h"
#include "import/participants.h"

namespace msg_tarvel::tool {

/**
 * Says whether two messages are the same one, however often and in which file they come, and
 * whether or not their numbers are written with the country's code. `text` is the message's.
 */
std::string import_mark_of(const BackupMessage& message, const NamedPeople& people,
                           const std::string& text);

/** The mark that the first release gave the same message. */
std::string former_import_mark_of(const BackupMessage& message, const NamedPeople& people,
                                  const std::string& text);

}  // namespace msg_tarvel::tool
