#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace msg_tarvel::tool {

/** The columns of the terminal behind the descriptor, else $COLUMNS, else 80. */
int terminal_width(int descriptor);

/** A table whose lines are never wider than they may be; the widest columns give way. */
class Table {
 public:
  struct Column {
    std::string title;
    /** The width below which the column is cut last; 0: never give way before others have. */
    int least = 0;
    bool isNumber = false;
  };

  explicit Table(std::vector<Column> columns) : _columns(std::move(columns)) {}

  /** One text per column; anything may be in it. */
  void add(const std::vector<std::string>& cells);
  void print(std::ostream& out, int width) const;

 private:
  std::vector<int> _widths(int width) const;
  std::string _line(const std::vector<std::string>& cells, const std::vector<int>& widths) const;

  std::vector<Column> _columns;
  std::vector<std::vector<std::string>> _rows;
};

}  // namespace msg_tarvel::tool
