#pragma once

// The comparison of whole logs.

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/fake_platform.h"

namespace msg_tarvel {

using Lines = std::vector<ExpectedLine>;

inline Lines operator+(Lines lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

/** Whether the log since the last call holds exactly `expected`, in this order. */
inline ::testing::AssertionResult logged(const Lines& expected) {
  const std::vector<LogLine> actual = FakePlatform::get().lines();
  FakePlatform::get().clearLines();
  if (std::equal(actual.begin(), actual.end(), expected.begin(), expected.end())) {
    return ::testing::AssertionSuccess();
  }
  ::testing::AssertionResult result = ::testing::AssertionFailure();
  result << "logged:\n";
  for (const LogLine& line : actual) result << "  " << line;
  result << "expected:\n";
  for (const ExpectedLine& line : expected) result << "  " << line << "\n";
  return result;
}

}  // namespace msg_tarvel
