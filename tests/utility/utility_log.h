#pragma once

#include <string>

#include "support/expected_log.h"

namespace msg_tarvel {

/** A line of the utilities' source file. */
inline ExpectedLine utility_error(const std::string& function, const std::string& message) {
  return error_line("common_util_funcs.cpp", function, "[ERROR] " + message);
}

}  // namespace msg_tarvel
