#include "helpers/store_indexes.h"

#include <msg-tarvel-common/db/db_error.h>
#include <msg-tarvel-common/db/db_indexes.h>

#include <algorithm>
#include <iterator>
#include <string_view>

#include "helpers/statements.h"
#include "helpers/store_error.h"
#include "helpers/store_schema.h"

namespace msg_tarvel::helpers {

namespace {

constexpr std::string_view CANNOT_INDEX = "cannot index the message store";

constexpr const char* COUNT_INDEX =
    "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND name = ?;";

constexpr const char* IS_A_MESSAGE_STORED = "SELECT EXISTS (SELECT 1 FROM msg_message_table);";

// The text of a unique index has another beginning, that of a key is NULL.
constexpr const char* READ_INDEXES =
    "SELECT 'DROP INDEX \"' || replace(name, '\"', '\"\"') || '\";', sql FROM sqlite_master "
    "WHERE type = 'index' AND sql LIKE 'CREATE INDEX %' AND tbl_name IN "
    "('msg_address_table', 'msg_message_table', 'msg_mms_content_table') ORDER BY rowid;";

}  // namespace

bool has_every_index() {
  return std::all_of(std::begin(STORE_INDEXES), std::end(STORE_INDEXES), [](const auto& index) {
    return number(COUNT_INDEX, CANNOT_INDEX, std::string(index.name)) != 0;
  });
}

bool make_indexes() {
  if (has_every_index()) return false;
  if (const int ret = db::db_create_indexes(); ret != db::DB_SUCCESS) {
    throw StoreError(std::string(CANNOT_INDEX), ret);
  }
  return true;
}

std::vector<std::string> set_indexes_aside() {
  if (number(IS_A_MESSAGE_STORED, CANNOT_WRITE) != 0) return {};
  std::string drops;
  std::vector<std::string> statements;
  const auto indexes = compile(READ_INDEXES, CANNOT_WRITE);
  while (next_row(*indexes, CANNOT_WRITE)) {
    drops += indexes->getText(0);
    statements.push_back(indexes->getText(1));
  }
  execute(drops, CANNOT_WRITE);
  return statements;
}

void restore_indexes(const std::vector<std::string>& statements) {
  for (const std::string& statement : statements) execute(statement, CANNOT_WRITE);
}

}  // namespace msg_tarvel::helpers
