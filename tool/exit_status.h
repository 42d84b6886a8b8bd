#pragma once

#include <new>
#include <stdexcept>
#include <string>

namespace msg_tarvel::tool {

// The exit statuses of msg-tarvel, and what a command throws to end with one.

/** Found, or done. */
constexpr int FOUND = 0;
constexpr int NOTHING_FOUND = 1;
/** What was looked at is not as it should be: a damaged buffer. */
constexpr int FOUND_WRONG = 1;
/** The command line makes no sense. */
constexpr int USAGE_ERROR = 2;
/** The store, a file or memory failed. */
constexpr int FAILED = 3;
/** Plus the number of the signal that ended a command. */
constexpr int INTERRUPTED = 128;

/** FAILED; what() is its one line on standard error. */
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** FAILED, for want of memory, but only after the store was changed as it was to be. */
class OutOfMemoryAfterChange : public std::bad_alloc {
 public:
  const char* what() const noexcept override {
    return "out of memory, after the store was changed";
  }
};

/** Runs what follows on a change of the store that stays, whatever comes of this. */
template <typename Action>
void after_change(const Action& action) {
  try {
    action();
  } catch (const std::bad_alloc&) {
    throw OutOfMemoryAfterChange();
  }
}

/** USAGE_ERROR: the arguments make no sense together. */
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** Ends a command because the user or the system asked the program to end with `signal`. */
struct Interrupted {
  int signal = 0;
  /** What came of the command, for its line on standard error. */
  std::string outcome = "nothing was changed";
};

}  // namespace msg_tarvel::tool
