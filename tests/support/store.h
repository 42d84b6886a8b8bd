#pragma once

// A message store in a folder of the test's own, and a second, plain SQLite connection to fill it
// and to look at it behind the library's back.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

struct sqlite3;

namespace msg_tarvel {

/** A new folder below the system's temporary one, open to every user, removed with what is in it.
 */
class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  /** Without a slash at the end. */
  const std::string& path() const { return _path; }

 private:
  std::string _path;
};

/** A connection of the test's own. SQL that fails ends the test program with a message. */
class RawConnection {
 public:
  explicit RawConnection(const std::string& path);
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;
  ~RawConnection();

  void exec(const std::string& sql);
  /** The first column of the first row; none when there is no row, "NULL" for NULL. */
  std::optional<std::string> value(const std::string& sql);
  /** The first column of every row. */
  std::vector<std::string> column(const std::string& sql);
  long long lastInsertId();
  sqlite3* handle() { return _db; }

 private:
  sqlite3* _db = nullptr;
};

/** Column names and values of a row, the values as SQL literals: {{"convId", "3"}, {"address",
 * "'a'"}}. */
using Row = std::vector<std::pair<std::string, std::string>>;

/** `text` as an SQL string literal. */
std::string quoted(const std::string& text);

/** Points the fake platform at a fresh data directory, which exists and is empty. */
class DataDirTest : public ::testing::Test {
 protected:
  DataDirTest();
  ~DataDirTest() override;

  /** The data directory, ending in "/"; the paths below are put together here, not by the library.
   */
  std::string dataDir() const { return _folder.path() + "/data/"; }
  std::string dbDir() const { return dataDir() + "dbspace"; }
  std::string dbFile() const { return dbDir() + "/.msg-tarvel-server.db"; }
  std::string journalFile() const { return dbDir() + "/.msg-tarvel-server.db-journal"; }

 private:
  TemporaryFolder _folder;
};

/** The same with a store in it, made by createDb; the log starts empty. */
class StoreTest : public DataDirTest {
 protected:
  StoreTest();

  /** The test's own connection to the store, opened on first use. */
  RawConnection& raw();
  /** Inserts a row and returns its key. */
  long long insert(const std::string& table, const Row& row);
  /** Puts a view in the table's place, whose row with `key` = `failingKey` fails to be computed. */
  void failOnRow(const std::string& table, const std::string& key, long long failingKey);
  void dropTable(const std::string& table);

 private:
  std::optional<RawConnection> _raw;
};

}  // namespace msg_tarvel
