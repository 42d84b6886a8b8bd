#pragma once

// What the tests of the utilities share.

#include <string>

#include "support/expected_log.h"
#include "support/fake_platform.h"

namespace msg_tarvel {

inline FakePlatform& platform() { return FakePlatform::get(); }

/** A line of the utilities' source file. */
inline ExpectedLine utility_error(const std::string& function, const std::string& message) {
  return error_line("common_util_funcs.cpp", function, "[ERROR] " + message);
}

}  // namespace msg_tarvel
