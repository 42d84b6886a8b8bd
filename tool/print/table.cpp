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

/** The widths that the texts want, taken back column by column until they fit. */
std::vector<int> Table::_widths(int width) const {
  std::vector<int> widths;
  for (std::size_t i = 0; i < _columns.size(); ++i) {
    int wanted = display_width(_columns[i].title);
    for (const auto& row : _rows) wanted = std::max(wanted, display_width(row[i]));
    widths.push_back(wanted);
  }
  const int room = width - GAP * static_cast<int>(_columns.size() - 1);
  int excess = std::accumulate(widths.begin(), widths.end(), 0) - room;
  // First those that may give way, down to their least width; then, on a narrow terminal, all.
  for (const bool isLastResort : {false, true}) {
    const auto spare = [&](std::size_t i) {
      const int least = isLastResort ? 1 : (_columns[i].least > 0 ? _columns[i].least : widths[i]);
      return widths[i] - std::min(least, widths[i]);
    };
    while (excess > 0) {
      std::size_t widest = 0;
      for (std::size_t i = 1; i < widths.size(); ++i) {
        if (spare(i) > spare(widest)) widest = i;
      }
      if (spare(widest) == 0) break;
      --widths[widest];
      --excess;
    }
  }
  return widths;
}

std::string Table::_line(const std::vector<std::string>& cells,
                         const std::vector<int>& widths) const {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string cell = cut_to_width(cells[i], widths[i]);
    const std::string padding = blanks(widths[i] - display_width(cell));
    if (i > 0) line += blanks(GAP);
    line += _columns[i].isNumber ? padding + cell : cell + padding;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

void Table::print(std::ostream& out, int width) const {
  const std::vector<int> widths = _widths(width);
  std::vector<std::string> titles;
  for (const Column& column : _columns) titles.push_back(column.title);
  out << cut_to_width(_line(titles, widths), width) << "\n";
  for (const auto& row : _rows) out << cut_to_width(_line(row, widths), width) << "\n";
}

}  // namespace msg_tarvel::tool
