#include "print/local_time.h"

#include <ctime>

namespace msg_tarvel::tool {

std::string local_time(long long milliseconds, const char* format) {
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  std::tm parts = {};
  char text[32];
  if (seconds != milliseconds / 1000 || !localtime_r(&seconds, &parts) ||
      std::strftime(text, sizeof text, format, &parts) == 0) {
    return std::to_string(milliseconds);
  }
  return text;
}

}  // namespace msg_tarvel::tool
