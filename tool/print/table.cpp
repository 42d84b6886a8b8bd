#include "print/table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <ostream>

#include "print/printable.h"

namespace msg_tarvel::tool {

namespace {

constexpr int DEFAULT_WIDTH = 80;
constexpr int GAP = 2;

std::string blanks(int count) {
  std::string text;
  text.resize(static_cast<std::size_t>(std::max(count, 0)), ' ');
  return text;
}

}  // namespace

int output_width(int descriptor) {
  return isatty(descriptor) != 0 ? terminal_width(descriptor) : UNLIMITED;
}

int terminal_width(int descriptor) {
  winsize size = {};
  if (isatty(descriptor) != 0 && ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  const char* const columns = std::getenv("COLUMNS");
  const int width = columns ? std::atoi(columns) : 0;
  return width > 0 ? width : DEFAULT_WIDTH;
}

void Table::add(const std::vector<std::string>& cells) {
  std::vector<std::string> row;
  row.reserve(cells.size());
  for (const std::string& cell : cells) row.push_back(printable(cell));
  _rows.push_back(std::move(row));
}

std::vector<int> Table::_wantedWidths() const {
  std::vector<int> widths;
  for (std::size_t i = 0; i < _columns.size(); ++i) {
    int wanted = display_width(_columns[i].title);
    for (const auto& row : _rows) wanted = std::max(wanted, display_width(row[i]));
    widths.push_back(wanted);
  }
  return widths;
}

bool Table::_isEmpty(std::size_t column) const {
  return std::all_of(_rows.begin(), _rows.end(),
                     [column](const auto& row) { return row[column].empty(); });
}

/** What the columns get of `width`; one that gets nothing is left out with the gap before it. */
std::vector<int> Table::_widths(int width) const {
  const std::vector<int> wanted = _wantedWidths();
  std::vector<int> widths = wanted;
  if (width == UNLIMITED) return widths;
  int excess = std::accumulate(widths.begin(), widths.end(), 0) +
               GAP * static_cast<int>(widths.size() - 1) - width;
  const auto drop = [&](std::size_t column) {
    excess -= widths[column] + GAP;
    widths[column] = 0;
  };
  for (std::size_t i = 0; i < widths.size() && excess > 0; ++i) {
    if (_isEmpty(i)) drop(i);
  }
  for (const Step& step : _steps) {
    if (excess <= 0) break;
    int& given = widths[step.column];
    if (given <= step.width) continue;
    if (step.width == 0) {
      drop(step.column);
    } else {
      const int taken = std::min(excess, given - step.width);
      given -= taken;
      excess -= taken;
    }
  }
  // What a column that went leaves over goes back to those that gave first.
  for (const Step& step : _steps) {
    int& given = widths[step.column];
    if (given == 0 || excess >= 0) continue;
    const int back = std::min(-excess, wanted[step.column] - given);
    given += back;
    excess += back;
  }
  return widths;
}

std::string Table::_line(const std::vector<std::string>& cells,
                         const std::vector<int>& widths) const {
  std::string line;
  bool isFirst = true;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (widths[i] == 0) continue;
    const std::string cell = cut_to_width(cells[i], widths[i]);
    const std::string padding = blanks(widths[i] - display_width(cell));
    if (!isFirst) line += blanks(GAP);
    line += _columns[i].isNumber ? padding + cell : cell + padding;
    isFirst = false;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

void Table::print(std::ostream& out, int width) const {
  const std::vector<int> widths = _widths(width);
  const auto printLine = [&](const std::vector<std::string>& cells) {
    const std::string line = _line(cells, widths);
    out << (width == UNLIMITED ? line : cut_to_width(line, width)) << "\n";
  };
  std::vector<std::string> titles;
  for (const Column& column : _columns) titles.push_back(column.title);
  printLine(titles);
  for (const auto& row : _rows) printLine(row);
}

}  // namespace msg_tarvel::tool
