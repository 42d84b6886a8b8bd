#pragma once

#include <stdexcept>

namespace msg_tarvel::tool {

// What ends a command; exit_status.h has the statuses.

/** FAILED; what() is its one line on standard error. */
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** USAGE_ERROR: the arguments make no sense together. */
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** Ends an import because the user or the system asked the program to end with `signal`. */
struct Interrupted {
  int signal;
};

}  // namespace msg_tarvel::tool
