#include "redact/known_schema.h"

#include <strings.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "helpers/store_schema.h"

namespace msg_tarvel::tool {

namespace {

using helpers::STORE_INDEXES;
using helpers::STORE_TABLES;

struct ForeignKey {
  const char* column;
  const char* definition;
};

constexpr ForeignKey FOREIGN_KEYS[] = {
    {"convId", "FOREIGN KEY (convId) REFERENCES msg_conversation_table (convId)"},
    {"msgId", "FOREIGN KEY (msgId) REFERENCES msg_message_table (msgId)"},
};

constexpr const char* TYPES[] = {"INT", "INTEGER", "TEXT", "REAL", "BLOB", "NUMERIC"};

constexpr const char* SEPARATOR = ", ";

struct SchemaObject {
  std::string type;
  std::string name;
  std::string table;
  std::string definition;
};

const helpers::TableSchema* table_named(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(STORE_TABLES), std::end(STORE_TABLES),
                   [&](const helpers::TableSchema& table) { return name == table.name; });
  return found == std::end(STORE_TABLES) ? nullptr : found;
}

bool is_known(const SchemaObject& object) {
  if (object.type == "table") {
    return table_named(object.name) != nullptr || object.name == "sqlite_sequence";
  }
  // SQLite's own have no definition; they go with their table.
  return object.type == "index" &&
         (object.definition.empty() ||
          std::any_of(std::begin(STORE_INDEXES), std::end(STORE_INDEXES),
                      [&](const helpers::IndexSchema& index) {
                        return object.definition == std::string("CREATE INDEX ") + index.name +
                                                        " ON " + index.definition;
                      }));
}

std::vector<SchemaObject> schema_of(const Database& database) {
  std::vector<SchemaObject> objects;
  // Triggers first: they would work on what is dropped after them.
  Rows rows = database.query(
      "SELECT type, name, tbl_name, coalesce(sql, '') FROM sqlite_master "
      "ORDER BY type <> 'trigger', type <> 'view', type <> 'index', name;");
  while (rows.next()) {
    objects.push_back({rows.text(0), rows.text(1), rows.text(2), rows.text(3)});
  }
  return objects;
}

std::string removed(const SchemaObject& object, const Database& database) {
  database.execute("DROP " + object.type + " IF EXISTS " + quoted_name(object.name) + ";");
  return object.type + " " + object.name;
}

/** Whether it has only parts of the library's definition, in whatever order. */
bool has_known_words(const std::string& definition, const helpers::TableSchema& table) {
  std::vector<std::string> words;
  for (const helpers::ColumnSchema& column : columns_of(table)) {
    words.push_back(column.name + " " + column.definition);
  }
  for (const ForeignKey& key : FOREIGN_KEYS) words.emplace_back(key.definition);

  const std::string beginning = std::string("CREATE TABLE ") + table.name + "(";
  const std::size_t end = definition.find_last_not_of(' ', definition.size() - 2);
  if (definition.rfind(beginning, 0) != 0 || definition.back() != ')') return false;
  std::string rest = definition.substr(beginning.size(), end + 1 - beginning.size()) + SEPARATOR;
  while (!rest.empty()) {
    const std::size_t length = rest.find(SEPARATOR);
    if (std::find(words.begin(), words.end(), rest.substr(0, length)) == words.end()) return false;
    rest.erase(0, length + 2);
  }
  return true;
}

/** How a table that may say more is made anew. */
class KnownTable {
 public:
  KnownTable(const Database& database, const helpers::TableSchema& table,
             const std::string& definition)
      : _name(table.name) {
    const std::vector<helpers::ColumnSchema> known = columns_of(table);
    Rows columns =
        database.query("SELECT name, type, \"notnull\", dflt_value, pk FROM pragma_table_info(" +
                       quoted_name(_name) + ");");
    while (columns.next()) {
      const std::string name = columns.text(0);
      const auto column =
          std::find_if(known.begin(), known.end(), [&](const helpers::ColumnSchema& one) {
            return strcasecmp(one.name.c_str(), name.c_str()) == 0;
          });
      if (column == known.end()) {
        _dropped.push_back("column " + _name + "." + name);
      } else {
        _add(column->name, columns);
      }
    }
    for (const ForeignKey& key : FOREIGN_KEYS) {
      const bool hasColumn =
          (SEPARATOR + _columns + SEPARATOR)
              .find(SEPARATOR + quoted_name(key.column) + SEPARATOR) != std::string::npos;
      if (hasColumn && definition.find(key.definition) != std::string::npos) {
        _definitions += std::string(SEPARATOR) + key.definition;
      }
    }
  }

  bool isEmpty() const { return _columns.empty(); }
  /** In words. */
  std::vector<std::string> dropped() const {
    return _dropped.empty() ? std::vector<std::string>{"definition " + _name} : _dropped;
  }

  /** Without its indexes. */
  void make(const Database& database) const {
    const bool hasSequences =
        database.number("SELECT count(*) FROM sqlite_master WHERE name = 'sqlite_sequence';") > 0;
    database.execute("ALTER TABLE " + _name + " RENAME TO replaced_table;");
    database.execute("CREATE TABLE " + _name + "(" + _definitions + ");");
    database.execute("INSERT INTO " + _name + " (" + _columns + ") SELECT " + _columns +
                     " FROM replaced_table;");
    if (hasSequences) {
      // The greatest id ever given may be above those that are left.
      database.execute("DELETE FROM sqlite_sequence WHERE name = '" + _name +
                       "' AND EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = "
                       "'replaced_table');"
                       "UPDATE sqlite_sequence SET name = '" +
                       _name + "' WHERE name = 'replaced_table';");
    }
    database.execute("DROP TABLE replaced_table;");
  }

 private:
  void _add(const std::string& name, const Rows& column) {
    const std::string separator = isEmpty() ? "" : SEPARATOR;
    _columns += separator + quoted_name(name);
    const std::string type = column.text(1);
    const bool isNumbered = column.number(4) != 0 && strcasecmp(type.c_str(), "INTEGER") == 0;
    _definitions += separator + name;
    if (std::find(std::begin(TYPES), std::end(TYPES), type) != std::end(TYPES)) {
      _definitions += " " + type;
    }
    if (isNumbered) _definitions += " PRIMARY KEY AUTOINCREMENT";
    if (column.number(2) != 0) _definitions += " NOT NULL";
    if (column.text(3) == "0") _definitions += " DEFAULT 0";
  }

  std::string _name;
  std::string _columns;
  std::string _definitions;
  std::vector<std::string> _dropped;
};

/** Returns what was dropped. */
std::vector<std::string> keep_known_words(const SchemaObject& object, const Database& database) {
  const helpers::TableSchema& table = *table_named(object.name);
  if (has_known_words(object.definition, table)) return {};
  const KnownTable known(database, table, object.definition);
  if (known.isEmpty()) return {removed(object, database)};
  std::string indexes;
  for (const SchemaObject& index : schema_of(database)) {
    const bool isLost = index.type == "index" && index.table == object.name;
    if (isLost && !index.definition.empty()) indexes += index.definition + ";";
  }
  known.make(database);
  database.execute(indexes);
  return known.dropped();
}

}  // namespace

std::vector<std::string> keep_known_schema(const Database& database) {
  std::vector<std::string> dropped;
  for (const SchemaObject& object : schema_of(database)) {
    if (!is_known(object)) dropped.push_back(removed(object, database));
  }
  // Other tables' references to one that gets another name for a while stay as they are.
  database.execute("PRAGMA legacy_alter_table = ON;");
  for (const SchemaObject& object : schema_of(database)) {
    if (object.type != "table" || object.name == "sqlite_sequence") continue;
    const std::vector<std::string> words = keep_known_words(object, database);
    dropped.insert(dropped.end(), words.begin(), words.end());
  }
  if (database.number("SELECT count(*) FROM sqlite_master WHERE name = 'sqlite_sequence';") > 0) {
    database.execute(
        "DELETE FROM sqlite_sequence WHERE name NOT IN (SELECT name FROM sqlite_master) OR "
        "typeof(seq) <> 'integer';");
  }
  return dropped;
}

}  // namespace msg_tarvel::tool
