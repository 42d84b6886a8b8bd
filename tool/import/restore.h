#pragma once

#include "backup/backup_file.h"
#include "import/import.h"

namespace msg_tarvel::tool {

/** Whether `file` begins as the lines of an export do; other files are backups of phones. */
bool is_export(const BackupFile& file);

/**
 * Reads an export back into a store without messages, which then is the one that was exported: the
 * same rows with the same ids, and its files. Conversations of chosen messages get the counters and
 * the last message that these amount to. All of it or, when anything throws (Failure,
 * Interrupted), nothing. Memory does not grow beyond the longest line and the names of files.
 * Throws UsageError for options that are about phones.
 */
ImportSummary restore_export(const BackupFile& file, const ImportOptions& options);

}  // namespace msg_tarvel::tool
