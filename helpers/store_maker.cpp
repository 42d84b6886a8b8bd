#include "helpers/store_maker.h"

#include <fcntl.h>
#include <msg-tarvel-common/db/DBMgr.h>
#include <msg-tarvel-common/db/db_error.h>
#include <sys/stat.h>
#include <unistd.h>

#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/store_schema.h"
#include "helpers/transaction.h"

namespace msg_tarvel::helpers {

namespace {

constexpr mode_t DIRECTORY_MODE = 0755;
constexpr mode_t FILE_MODE = 0660;
constexpr mode_t PERMISSIONS = 07777;
constexpr mode_t OWNER_ONLY = 0077;

constexpr gid_t FILE_GROUP = 5000;

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

/** Of what a process may not do to every file, and then does without. */
void ignore(int /*result*/) {}

/** Their mode is as the caller's umask has it. What cannot be made is createDb's to report. */
void make_directories() {
  for (const std::string& path : {db::get_data_dir_path(), db::get_db_dir_path()}) {
    if (!path.empty()) ignore(mkdir(path.c_str(), DIRECTORY_MODE));
  }
}

void require_nothing_but(mode_t type, const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0 || (status.st_mode & S_IFMT) == type) return;
  throw StoreError(cannot_make() + ": " + path + " is there, and not a " +
                       (type == S_IFDIR ? "directory" : "file"),
                   db::DB_NO_DATA);
}

/** createDb and SQLite follow a link, and wait at a pipe. */
void require_room() {
  require_nothing_but(S_IFDIR, db::get_db_dir_path());
  require_nothing_but(S_IFREG, db::get_db_filepath());
  require_nothing_but(S_IFREG, db::get_db_journal_filepath());
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

/** The database and the journal, made or found, have to be the store's own. */
void require_no_strangers() {
  for (const std::string& path :
       {db::get_db_dir_path(), db::get_db_filepath(), db::get_db_journal_filepath()}) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) continue;
    if (!is_a_strangers(status, db::get_data_dir_path())) continue;
    throw StoreError(cannot_make() + ": " + path + IS_A_STRANGERS, db::DB_NO_DATA);
  }
}

/**
 * Holds what has a name now, whatever gets that name afterwards. It can be looked at and get
 * another mode and group, but not be read, so that its end drops no lock of this process on a
 * database.
 */
class InPlace {
 public:
  /** What `directory`, which is open, has under that name; a link is none. */
  InPlace(int directory, const std::string& name)
      : _descriptor(openat(directory, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC)) {}
  InPlace(const InPlace&) = delete;
  InPlace& operator=(const InPlace&) = delete;
  ~InPlace() {
    if (_descriptor != -1) close(_descriptor);
  }

  int descriptor() const { return _descriptor; }

  /** False unless it is a file that has no other name. */
  bool look(struct stat& status) const {
    return _descriptor != -1 && fstat(_descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_nlink == 1;
  }

  void setGroup(gid_t group) const {
    constexpr auto SAME_OWNER = static_cast<uid_t>(-1);
    ignore(fchownat(_descriptor, "", SAME_OWNER, group, AT_EMPTY_PATH));
  }

  bool setMode(mode_t mode) const {
    return chmod(("/proc/self/fd/" + std::to_string(_descriptor)).c_str(), mode) == 0;
  }

 private:
  int _descriptor;
};

std::string name_of(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::vector<MadeStore::MendedMode> mend_files() {
  const InPlace directory(AT_FDCWD, db::get_db_dir_path());
  std::vector<MadeStore::MendedMode> mended;
  for (const std::string& path : {db::get_db_filepath(), db::get_db_journal_filepath()}) {
    const InPlace file(directory.descriptor(), name_of(path));
    struct stat status = {};
    if (!file.look(status)) continue;
    // A creator that was killed may have left them to its own group.
    if (status.st_gid != FILE_GROUP) file.setGroup(FILE_GROUP);
    const mode_t mode = status.st_mode & PERMISSIONS;
    if (mode != FILE_MODE && file.setMode(FILE_MODE)) mended.push_back({path, mode});
  }
  return mended;
}

bool is_there(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0;
}

bool has_every_table() {
  for (const TableSchema& table : STORE_TABLES) {
    if (number("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = ?;",
               cannot_make(), std::string(table.name)) == 0) {
      return false;
    }
  }
  return true;
}

int version() { return number("PRAGMA user_version;", cannot_make()); }

/** Another version would be another program's store. */
void require_version() {
  const int found = version();
  if (found == 0 || found == STORE_VERSION) return;
  throw StoreError(cannot_make() + ": its version is " + std::to_string(found) + ", not " +
                       std::to_string(STORE_VERSION),
                   db::DB_NO_DATA);
}

/** The statements that add what a table lacks. */
std::vector<std::string> missing_columns(const TableSchema& table) {
  std::vector<std::string> additions;
  for (const ColumnSchema& column : columns_of(table)) {
    if (number("SELECT count(*) FROM pragma_table_info(?) WHERE name = ? COLLATE NOCASE;",
               cannot_make(), std::string(table.name), column.name) != 0) {
      continue;
    }
    if (!column.canBeAdded()) {
      throw StoreError(cannot_make() + ": " + table.name + " lacks the column " + column.name +
                           ", which cannot be added",
                       db::DB_NO_DATA);
    }
    additions.push_back(std::string("ALTER TABLE ") + table.name + " ADD COLUMN " + column.name +
                        " " + column.definition + ";");
  }
  return additions;
}

std::vector<std::string> missing_columns() {
  std::vector<std::string> additions;
  for (const TableSchema& table : STORE_TABLES) {
    const std::vector<std::string> more = missing_columns(table);
    additions.insert(additions.end(), more.begin(), more.end());
  }
  return additions;
}

void add_columns_and_version() {
  for (const std::string& addition : missing_columns()) execute(addition, cannot_make());
  if (version() == STORE_VERSION) return;
  execute("PRAGMA user_version = " + std::to_string(STORE_VERSION) + ";", cannot_make());
}

bool is_complete() {
  return has_every_table() && missing_columns().empty() && version() == STORE_VERSION;
}

}  // namespace

bool is_a_strangers(const struct stat& status, const std::string& dataDirectory) {
  if (status.st_uid == 0 || status.st_uid == geteuid() || status.st_gid == FILE_GROUP) return false;
  struct stat place = {};
  return stat(dataDirectory.c_str(), &place) != 0 || status.st_uid != place.st_uid;
}

// A journal that SQLite made would have the mode and group that it thinks of.
bool make_missing_journal() {
  const InPlace directory(AT_FDCWD, db::get_db_dir_path());
  const int journal = openat(directory.descriptor(), name_of(db::get_db_journal_filepath()).c_str(),
                             O_RDONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, FILE_MODE);
  if (journal == -1) return false;
  struct stat status = {};
  const InPlace database(directory.descriptor(), name_of(db::get_db_filepath()));
  const uid_t owner = database.look(status) ? status.st_uid : getuid();
  // A process that may not give the file away still gets it.
  ignore(fchmod(journal, FILE_MODE));
  ignore(fchown(journal, owner, FILE_GROUP));
  close(journal);
  return true;
}

void complete_schema() {
  require_version();
  const int ret = db::DBMgr::getInstance()->createDb();
  if (ret != db::DB_SUCCESS) throw StoreError(cannot_make(), ret);
  if (!has_every_table()) {
    throw StoreError(cannot_make() + ": tables are missing", db::DB_NO_DATA);
  }
  add_columns_and_version();
}

MadeStore make_store() {
  MadeStore made;
  make_directories();
  require_room();
  require_no_strangers();
  if (is_there(db::get_db_filepath())) {
    const bool lacksJournal = make_missing_journal();
    made.mended = mend_files();
    // createDb does this for a store that it makes; adding tables to another would end its journal.
    execute("PRAGMA journal_mode = PERSIST;", cannot_make());
    require_version();
    made.state =
        has_every_table() && !lacksJournal ? MadeStore::State::WHOLE : MadeStore::State::COMPLETED;
    // The end of a transaction waits for readers, also where nothing was written.
    if (is_complete()) return made;
  }
  make_files_and_tables();
  if (!has_every_table()) {
    throw StoreError(cannot_make() + ": tables are missing", db::DB_NO_DATA);
  }
  if (!is_complete()) {
    Transaction transaction;
    complete_schema();
    transaction.commit();
    if (made.state == MadeStore::State::WHOLE) made.state = MadeStore::State::COMPLETED;
  }
  return made;
}

}  // namespace msg_tarvel::helpers
