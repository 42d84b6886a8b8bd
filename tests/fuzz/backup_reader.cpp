// Reads the input as a backup from a phone: as it should be, and, when it is not, what is good of
// it.

#include "backup/backup_reader.h"

#include <string>

#include "backup/damaged_backup.h"
#include "exit_status.h"
#include "fuzz_target.h"
#include "input_file.h"

namespace {

using namespace msg_tarvel::tool;  // NOLINT(google-build-using-namespace): whose reader it is

/** The messages in a file, or -1 for one that is no whole backup. */
template <typename Reading>
long count_messages(const std::string& path, Reading reading) {
  long messages = 0;
  bool isDamaged = false;
  BackupEvents events;
  events.onCount = [](const std::string&) {};
  events.onMessage = [&messages](BackupMessage& message) {
    ++messages;
    FUZZ_ASSERT(message.line > 0);
  };
  events.onProgress = [](long long) {};
  events.onDamage = [&isDamaged](const BackupDamage&) { isDamaged = true; };
  PayloadStage stage("/nowhere", true);
  try {
    reading(BackupFile(path), &stage, events);
  } catch (const Failure&) {
    return -1;
  }
  return isDamaged ? -1 : messages;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const InputFile input(data, size);
  count_messages(input.path(), &read_backup);
  count_messages(input.path(), &read_damaged_backup);
  return 0;
}
