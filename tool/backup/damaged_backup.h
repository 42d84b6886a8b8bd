#pragma once

#include "backup/backup_file.h"
#include "backup/backup_reader.h"
#include "backup/payload_stage.h"

namespace msg_tarvel::tool {

/**
 * Reads a backup that read_backup refuses: each message by itself, from where it begins to where
 * the next one does. What is wrong goes to onDamage, and the rest to the other events. Throws
 * BackupDamage for a file that is no backup at all.
 */
void read_damaged_backup(const BackupFile& file, PayloadStage* stage, const BackupEvents& events);

}  // namespace msg_tarvel::tool
