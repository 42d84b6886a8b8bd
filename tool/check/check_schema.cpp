// Whether the database is sound and has the tables, columns and indexes of a store.

#include <strings.h>

#include "check/check.h"
#include "check/queries.h"
#include "helpers/store_schema.h"

namespace msg_tarvel::tool {

namespace {

using helpers::STORE_INDEXES;
using helpers::STORE_TABLES;
using helpers::STORE_VERSION;

void check_integrity(const Database& database, Findings& findings) {
  look_for(Kind::INTEGRITY, findings, [&] {
    Rows rows = database.query(INTEGRITY_CHECK);
    while (rows.next()) {
      if (rows.text(0) != "ok") findings.add(Kind::INTEGRITY, "database", rows.text(0));
    }
  });
  look_for(Kind::FOREIGN_KEYS, findings, [&] {
    Rows rows = database.query(FOREIGN_KEY_CHECK);
    while (rows.next()) {
      findings.add(
          Kind::FOREIGN_KEYS, rows.text(0),
          "rows that name one of " + rows.text(2) + " which is not there: " + rows.text(1));
    }
  });
}

void check_version(const Database& database, Findings& findings) {
  look_for(Kind::VERSION, findings, [&] {
    const long long version = database.number("PRAGMA user_version;");
    if (version != STORE_VERSION) {
      findings.add(
          Kind::VERSION, "database",
          "version is " + std::to_string(version) + ", not " + std::to_string(STORE_VERSION));
    }
  });
}

/** The type of a schema object; empty for none. */
std::string type_of(const Database& database, const std::string& name) {
  Rows rows = database.query(SELECT_TYPE);
  return rows.bind(1, name).next() ? rows.text(0) : "";
}

void check_columns(const Database& database, const helpers::TableSchema& table,
                   Findings& findings) {
  Rows types = database.query(SELECT_COLUMN_TYPE);
  for (const helpers::ColumnSchema& column : columns_of(table)) {
    types.reset();
    if (!types.bind(1, table.name).bind(2, column.name).next()) {
      findings.add(Kind::COLUMNS, table.name, "lacks the column " + column.name);
    } else if (strcasecmp(types.text(0).c_str(), column.type.c_str()) != 0) {
      findings.add(Kind::COLUMNS, table.name,
                   "has " + column.name + " as '" + types.text(0) + "', not as " + column.type);
    }
  }
}

void check_indexes(const Database& database, Findings& findings) {
  for (const helpers::IndexSchema& index : STORE_INDEXES) {
    Rows rows = database.query(SELECT_INDEX);
    if (!rows.bind(1, index.name).next()) {
      findings.add(Kind::INDEXES, index.name, "is missing");
    } else if (rows.text(0) !=
               std::string("CREATE INDEX ") + index.name + " ON " + index.definition) {
      findings.add(Kind::INDEXES, index.name, "has another definition: " + rows.text(0));
    }
  }
}

}  // namespace

void check_schema(const CheckedStore& store, Findings& findings) {
  const Database& database = store.database;
  check_integrity(database, findings);
  check_version(database, findings);
  for (const helpers::TableSchema& table : STORE_TABLES) {
    look_for(Kind::TABLES, findings, [&] {
      const std::string type = type_of(database, table.name);
      if (type == "table") return;
      findings.add(Kind::TABLES, table.name, type.empty() ? "is missing" : "is no table: " + type);
    });
    look_for(Kind::COLUMNS, findings, [&] {
      if (type_of(database, table.name) == "table") check_columns(database, table, findings);
    });
  }
  look_for(Kind::INDEXES, findings, [&] { check_indexes(database, findings); });
}

}  // namespace msg_tarvel::tool
