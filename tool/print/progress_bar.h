#pragma once

#include <chrono>
#include <string>

namespace msg_tarvel::tool {

/** A bar on standard error, if that is a terminal; redrawn at most ten times a second. */
class ProgressBar {
 public:
  ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  /** Clears the bar. */
  ~ProgressBar();

  void update(const std::string& label, long long done, long long total);

 private:
  const bool _isShown;
  bool _isDrawn = false;
  std::chrono::steady_clock::time_point _nextDrawing;
};

}  // namespace msg_tarvel::tool
