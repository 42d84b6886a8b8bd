#include "helpers/store_maker.h"

#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_error.h>
#include <sys/stat.h>

#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/transaction.h"

namespace msg_tarvel::helpers {

namespace {

constexpr mode_t DIRECTORY_MODE = 0755;
constexpr mode_t FILE_MODE = 0660;
constexpr mode_t PERMISSIONS = 07777;
constexpr mode_t OWNER_ONLY = 0077;

constexpr int TABLES = 14;
constexpr const char* COUNT_TABLES =
    "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN ('temp_log', "
    "'msg_address_table', 'msg_message_table', 'msg_conversation_table', 'ft_queue_table', "
    "'deleted_msg_table', 'respond_msg_table', 'msg_mms_content_table', "
    "'message_transaction_table', 'msg_sim_table', 'msg_ft_content_table', 'msg_nms_meta_table', "
    "'mssi_info_table', 'msg_sharedial_meta_table');";

std::string cannot_make() { return "cannot create the message store " + db::get_db_filepath(); }

class Umask {
 public:
  explicit Umask(mode_t mask) : _before(umask(mask)) {}
  Umask(const Umask&) = delete;
  Umask& operator=(const Umask&) = delete;
  ~Umask() { umask(_before); }

 private:
  mode_t _before;
};

/** Their mode is as the caller's umask has it. What cannot be made is createDb's to report. */
void make_directories() {
  for (const std::string& path : {db::get_data_dir_path(), db::get_db_dir_path()}) {
    if (!path.empty()) static_cast<void>(mkdir(path.c_str(), DIRECTORY_MODE) == 0);
  }
}

void make_files_and_tables() {
  const Umask mask(OWNER_ONLY);
  db::DBMgr* const store = db::DBMgr::getInstance();
  int ret = store->createDb();
  // createDb does not look at the result of its commit. What that left open is committed here; with
  // nothing open this does nothing.
  if (ret == db::DB_SUCCESS) ret = store->endTransaction(true);
  if (ret == db::DB_SUCCESS) return;
  abandon_transaction();
  throw StoreError(cannot_make(), ret);
}

/** By path: closing a descriptor of the database would drop this process's locks on it. */
std::vector<MadeStore::MendedMode> mend_modes() {
  std::vector<MadeStore::MendedMode> mended;
  for (const std::string& path : {db::get_db_filepath(), db::get_db_journal_filepath()}) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
    const mode_t mode = status.st_mode & PERMISSIONS;
    if (mode != FILE_MODE && chmod(path.c_str(), FILE_MODE) == 0) mended.push_back({path, mode});
  }
  return mended;
}

bool is_there(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0;
}

int count_tables() { return number(COUNT_TABLES, cannot_make()); }

}  // namespace

MadeStore make_store() {
  MadeStore made;
  make_directories();
  if (is_there(db::get_db_filepath())) {
    made.mended = mend_modes();
    // createDb does this for a store that it makes; adding tables to another would end its journal.
    execute("PRAGMA journal_mode = PERSIST;", cannot_make());
    made.state = count_tables() == TABLES ? MadeStore::State::WHOLE : MadeStore::State::COMPLETED;
  }
  make_files_and_tables();
  if (count_tables() != TABLES) {
    throw StoreError(cannot_make() + ": tables are missing", db::DB_NO_DATA);
  }
  return made;
}

}  // namespace msg_tarvel::helpers
