// Reads the input as the lines of an export into a store. What is no export changes nothing, and
// what is one only what a dry run leaves: nothing.

#include <msg-tarvel-common/db/DBMgr.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "exit_status.h"
#include "fuzz_target.h"
#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"
#include "import/restore.h"
#include "input_file.h"
#include "store/connections.h"

namespace {

using namespace msg_tarvel;        // NOLINT(google-build-using-namespace): whose reader it is
using namespace msg_tarvel::tool;  // NOLINT(google-build-using-namespace)

constexpr const char* COUNT_ROWS =
    "SELECT (SELECT count(*) FROM msg_message_table) + (SELECT count(*) FROM "
    "msg_conversation_table) + (SELECT count(*) FROM msg_address_table) + (SELECT count(*) FROM "
    "msg_mms_content_table) + (SELECT count(*) FROM msg_sim_table) + (SELECT count(*) FROM "
    "sqlite_sequence);";

/** A store in a directory of this process, which is removed at its end. */
class Store {
 public:
  Store() : _directory("/tmp/fuzz-export-" + std::to_string(getpid()) + "/") {
    limit_connections();
    std::filesystem::create_directory(_directory);
    setenv("MSG_TARVEL_DATA_DIR", _directory.c_str(), 1);
    FUZZ_ASSERT(db::DBMgr::getInstance()->createDb() == 0);
    // Nobody looks at the disk.
    helpers::execute("PRAGMA synchronous = OFF;", helpers::CANNOT_WRITE);
    _rows = helpers::number(COUNT_ROWS, helpers::CANNOT_READ);
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() { std::filesystem::remove_all(_directory); }

  bool isAsItWas() const {
    return helpers::number(COUNT_ROWS, helpers::CANNOT_READ) == _rows &&
           !std::filesystem::exists(_directory + "media");
  }

 private:
  const std::string _directory;
  const helpers::StoreSession _session;
  int _rows = 0;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Store store;
  if (size == 0) return 0;
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
  FUZZ_ASSERT(store.isAsItWas());
  return 0;
}
