// What the helpers take for a whole store is what the library makes.

#include "helpers/store_schema.h"

#include <gtest/gtest.h>
#include <msg-tarvel-common/db/db_indexes.h>

#include "support/store.h"

namespace msg_tarvel::helpers {

namespace {

class StoreSchema : public StoreTest {};

TEST_F(StoreSchema, HasTheLibrarysTablesAndColumns) {
  std::vector<std::string> names;
  for (const TableSchema& table : STORE_TABLES) {
    names.emplace_back(table.name);
    std::vector<std::string> columns;
    for (const ColumnSchema& column : columns_of(table)) {
      columns.push_back(column.name + " " + column.type);
    }
    EXPECT_EQ(columns, raw().column("SELECT name || ' ' || type FROM pragma_table_info('" +
                                    std::string(table.name) + "');"));
    const std::string text =
        *raw().value("SELECT sql FROM sqlite_master WHERE name = '" + names.back() + "';");
    EXPECT_EQ(text.rfind("CREATE TABLE " + names.back() + "(" + table.columns, 0), 0U) << text;
  }
  EXPECT_EQ(names, raw().column("SELECT name FROM sqlite_master WHERE type = 'table' AND "
                                "name NOT LIKE 'sqlite_%' ORDER BY rowid;"));
  EXPECT_EQ(raw().value("PRAGMA user_version;"), std::to_string(STORE_VERSION));
}

TEST_F(StoreSchema, HasTheLibrarysIndexes) {
  ASSERT_EQ(db::db_create_indexes(), 0);
  std::vector<std::string> texts;
  for (const IndexSchema& index : STORE_INDEXES) {
    texts.push_back(std::string("CREATE INDEX ") + index.name + " ON " + index.definition);
  }
  EXPECT_EQ(texts,
            raw().column("SELECT sql FROM sqlite_master WHERE type = 'index' ORDER BY rowid;"));
}

TEST_F(StoreSchema, KnowsWhichColumnsCanBeAdded) {
  EXPECT_FALSE((ColumnSchema{"a", "INTEGER", "INTEGER PRIMARY KEY AUTOINCREMENT"}.canBeAdded()));
  EXPECT_FALSE((ColumnSchema{"a", "INT", "INT NOT NULL"}.canBeAdded()));
  EXPECT_TRUE((ColumnSchema{"a", "INT", "INT DEFAULT 0"}.canBeAdded()));
}

}  // namespace

}  // namespace msg_tarvel::helpers
