// Reads the input as the lines of an export into a store. What is no export changes nothing, and
// what is one only what a dry run leaves: nothing.

#include <filesystem>

#include "exit_status.h"
#include "fuzz_store.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "import/restore.h"
#include "input_file.h"

namespace {

using namespace msg_tarvel;        // NOLINT(google-build-using-namespace): whose reader it is
using namespace msg_tarvel::tool;  // NOLINT(google-build-using-namespace)

constexpr const char* COUNT_ROWS =
    "SELECT (SELECT count(*) FROM msg_message_table) + (SELECT count(*) FROM "
    "msg_conversation_table) + (SELECT count(*) FROM msg_address_table) + (SELECT count(*) FROM "
    "msg_mms_content_table) + (SELECT count(*) FROM msg_sim_table) + (SELECT count(*) FROM "
    "sqlite_sequence);";

int count_rows() { return helpers::number(COUNT_ROWS, helpers::CANNOT_READ); }

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Nobody looks at the disk.
  static const FuzzStore store("PRAGMA synchronous = OFF;");
  static const helpers::StoreSession session;
  static const int rows = count_rows();
  if (size == 0) return 0;
  store.beginInput();
  const InputFile input(data, size);
  ImportOptions options;
  options.isDryRun = true;
  options.withoutIndexes = true;
  try {
    const BackupFile file(input.path());
    if (is_export(file)) restore_export(file, options);
  } catch (const Failure&) {
    // Most inputs are no export.
  }
  FUZZ_ASSERT(count_rows() == rows && !std::filesystem::exists(store.directory() + "media"));
  return 0;
}
