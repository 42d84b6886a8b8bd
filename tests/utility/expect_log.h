#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fake_platform.h"

namespace test_support {

/** Expects exactly these lines in the log, in this order, and starts it afresh. */
inline void expect_log(const std::vector<ExpectedLine>& expected) {
  const std::vector<LogLine> lines = FakePlatform::get().lines();
  EXPECT_EQ(lines.size(), expected.size()) << ::testing::PrintToString(lines);
  for (std::size_t i = 0; i < lines.size() && i < expected.size(); ++i) {
    EXPECT_EQ(lines[i], expected[i]);
  }
  FakePlatform::get().clearLines();
}

/** A line of the utilities' source file. */
inline ExpectedLine utility_error(const std::string& function, const std::string& message) {
  return error_line("common_util_funcs.cpp", function, "[ERROR] " + message);
}

}  // namespace test_support
