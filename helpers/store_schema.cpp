#include "helpers/store_schema.h"

namespace msg_tarvel::helpers {

bool ColumnSchema::canBeAdded() const {
  return definition.find("PRIMARY KEY") == std::string::npos &&
         definition.find("NOT NULL") == std::string::npos;
}

std::vector<ColumnSchema> columns_of(const TableSchema& table) {
  constexpr const char* SEPARATOR = ", ";
  std::vector<ColumnSchema> columns;
  const std::string text = std::string(table.columns) + SEPARATOR;
  for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 2) {
    end = text.find(SEPARATOR, begin);
    const std::string column = text.substr(begin, end - begin);
    const std::size_t type = column.find(' ') + 1;
    columns.push_back({column.substr(0, type - 1),
                       column.substr(type, column.find(' ', type) - type), column.substr(type)});
  }
  return columns;
}

}  // namespace msg_tarvel::helpers
