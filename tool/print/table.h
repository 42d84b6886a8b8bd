#pragma once

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace msg_tarvel::tool {

/** Of what is no terminal: lines are as long as they are. */
constexpr int UNLIMITED = 0;

/** The columns of the terminal behind the descriptor; UNLIMITED where there is none. */
int output_width(int descriptor);

/** The columns of the terminal behind the descriptor, else $COLUMNS, else 80. */
int terminal_width(int descriptor);

/**
 * A table. Where its lines may not be as wide as they are, columns without a text go first, then
 * others get narrower or go, in the order that the table's maker gives.
 */
class Table {
 public:
  struct Column {
    std::string title;
    bool isNumber = false;
  };
  /**
   * That a column gives way, down to a width, as far as it must or, where a part of the way makes
   * no sense, at once; to 0: it goes.
   */
  struct Step {
    std::size_t column = 0;
    int width = 0;
    bool isAtOnce = false;
  };

  explicit Table(std::vector<Column> columns, std::vector<Step> steps = {})
      : _columns(std::move(columns)), _steps(std::move(steps)) {}

  /** One text per column; anything may be in it. */
  void add(const std::vector<std::string>& cells);
  bool empty() const { return _rows.empty(); }
  void print(std::ostream& out, int width) const;

 private:
  std::vector<int> _wantedWidths() const;
  std::vector<int> _widths(int width) const;
  bool _isEmpty(std::size_t column) const;
  std::string _line(const std::vector<std::string>& cells, const std::vector<int>& widths) const;

  std::vector<Column> _columns;
  std::vector<Step> _steps;
  std::vector<std::vector<std::string>> _rows;
};

}  // namespace msg_tarvel::tool
