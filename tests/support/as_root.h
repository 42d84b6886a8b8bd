#pragma once

// Tests that need root, another user or a group: AS_ROOT() is the first line of such a test.

#include <gtest/gtest.h>

#include <string>

namespace msg_tarvel {

/** What came of repeating the running test as root. */
enum class AsRoot { ALREADY, PASSED, FAILED, IMPOSSIBLE };

/**
 * ALREADY for root. Anybody else has the running test repeated by a process of root's: in a user
 * namespace whose other users and groups are the caller's subordinate ones, with mounts of its own,
 * else through sudo if that asks for no password.
 */
AsRoot as_root();

/** Why AsRoot::IMPOSSIBLE, for a reader of the tests' output. */
extern const char* const WHY_NOT_ROOT;

}  // namespace msg_tarvel

/** Goes on as root: here, in a copy of this process that has the test to itself, or not at all. */
#define AS_ROOT()                                               \
  switch (::msg_tarvel::as_root()) {                            \
    case ::msg_tarvel::AsRoot::ALREADY:                         \
      break;                                                    \
    case ::msg_tarvel::AsRoot::PASSED:                          \
      return;                                                   \
    case ::msg_tarvel::AsRoot::FAILED:                          \
      FAIL() << "the test failed as root; its output is above"; \
    case ::msg_tarvel::AsRoot::IMPOSSIBLE:                      \
      GTEST_SKIP() << ::msg_tarvel::WHY_NOT_ROOT;               \
  }
