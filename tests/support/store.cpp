#include "support/store.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "msg-tarvel-common/db/DBMgr.h"
#include "support/fake_platform.h"

namespace msg_tarvel {

namespace {

[[noreturn]] void give_up(const std::string& what, const std::string& why) {
  std::fprintf(stderr, "test set-up failed: %s: %s\n", what.c_str(), why.c_str());
  std::abort();
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::string path = (std::filesystem::temp_directory_path() / "msg-tarvel-test-XXXXXX").string();
  if (!mkdtemp(path.data())) give_up(path, "mkdtemp");
  _path = path;
  chmod(_path.c_str(), 0755);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(_path, ignored);
}

RawConnection::RawConnection(const std::string& path) {
  if (sqlite3_open(path.c_str(), &_db) != SQLITE_OK) give_up(path, sqlite3_errmsg(_db));
  sqlite3_busy_timeout(_db, 5000);
}

RawConnection::~RawConnection() { sqlite3_close(_db); }

void RawConnection::exec(const std::string& sql) {
  if (sqlite3_exec(_db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    give_up(sql, sqlite3_errmsg(_db));
  }
}

std::vector<std::string> RawConnection::column(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(_db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    give_up(sql, sqlite3_errmsg(_db));
  }
  std::vector<std::string> values;
  int code = sqlite3_step(statement);
  for (; code == SQLITE_ROW; code = sqlite3_step(statement)) {
    const unsigned char* text = sqlite3_column_text(statement, 0);
    values.emplace_back(text ? reinterpret_cast<const char*>(text) : "NULL");
  }
  if (code != SQLITE_DONE) give_up(sql, sqlite3_errmsg(_db));
  sqlite3_finalize(statement);
  return values;
}

std::optional<std::string> RawConnection::value(const std::string& sql) {
  const std::vector<std::string> values = column(sql);
  if (values.empty()) return std::nullopt;
  return values.front();
}

long long RawConnection::lastInsertId() { return sqlite3_last_insert_rowid(_db); }

std::string quoted(const std::string& text) {
  std::string literal = "'";
  for (const char character : text) {
    literal += character;
    if (character == '\'') literal += character;
  }
  return literal + "'";
}

DataDirTest::DataDirTest() {
  mkdir(dataDir().c_str(), 0755);
  FakePlatform::get().setDataPath(dataDir());
}

DataDirTest::~DataDirTest() = default;

StoreTest::StoreTest() {
  if (msg_tarvel::db::DBMgr::getInstance()->createDb() != 0) give_up(dataDir(), "createDb");
  FakePlatform::get().clearLines();
}

RawConnection& StoreTest::raw() {
  if (!_raw) _raw.emplace(dbFile());
  return *_raw;
}

long long StoreTest::insert(const std::string& table, const Row& row) {
  std::string columns;
  std::string values;
  for (const auto& [column, value] : row) {
    columns += (columns.empty() ? "" : ", ") + column;
    values += (values.empty() ? "" : ", ") + value;
  }
  raw().exec("INSERT INTO " + table + " (" + columns + ") VALUES (" + values + ");");
  return raw().lastInsertId();
}

void StoreTest::failOnRow(const std::string& table, const std::string& key, long long failingKey) {
  std::string columns;
  for (const std::string& column :
       raw().column("SELECT name FROM pragma_table_info(" + quoted(table) + ");")) {
    if (!columns.empty()) columns += ", ";
    // abs() of the smallest integer is an error of SQLite, and only on the row that computes it.
    // The rest of the sum keeps every other row's key as it is.
    columns += column == key
                   ? "CASE WHEN " + key + " = " + std::to_string(failingKey) +
                         " THEN abs(-9223372036854775807 - 1) ELSE " + key + " END AS " + key
                   : column;
  }
  raw().exec("ALTER TABLE " + table + " RENAME TO real_" + table + ";");
  raw().exec("CREATE VIEW " + table + " AS SELECT " + columns + " FROM real_" + table + ";");
}

void StoreTest::dropTable(const std::string& table) { raw().exec("DROP TABLE " + table + ";"); }

}  // namespace msg_tarvel
