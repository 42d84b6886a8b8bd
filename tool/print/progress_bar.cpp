#include "print/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>

#include "print/table.h"

namespace msg_tarvel::tool {

namespace {

constexpr std::chrono::milliseconds DRAWING_INTERVAL(100);
constexpr int WIDEST_BAR = 40;

}  // namespace

ProgressBar::ProgressBar() : _isShown(isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
  if (_isDrawn) std::cerr << "\r\033[K" << std::flush;
}

void ProgressBar::update(const std::string& label, long long done, long long total) {
  if (!_isShown) return;
  const auto now = std::chrono::steady_clock::now();
  if (_isDrawn && now < _nextDrawing) return;
  _nextDrawing = now + DRAWING_INTERVAL;
  _isDrawn = true;

  const double share =
      total > 0 ? std::min(1.0, static_cast<double>(done) / static_cast<double>(total)) : 1;
  // Brackets, a blank on either side, "100%", and the column where some terminals wrap.
  const int room = terminal_width(STDERR_FILENO) - static_cast<int>(label.size()) - 9;
  const int width = std::clamp(room, 0, WIDEST_BAR);
  const int filled = static_cast<int>(share * width);
  std::cerr << "\r\033[K" << label << " [" << std::string(static_cast<std::size_t>(filled), '#')
            << std::string(static_cast<std::size_t>(width - filled), ' ') << "] "
            << static_cast<int>(share * 100) << "%" << std::flush;
}

}  // namespace msg_tarvel::tool
