#pragma once

#include <cstdlib>
#include <memory>

namespace msg_tarvel::common_util {

struct FreeDeleter {
  void operator()(char* text) const { std::free(text); }
};

/** A text that the platform handed out; released with free(). */
using PlatformString = std::unique_ptr<char, FreeDeleter>;

}  // namespace msg_tarvel::common_util
