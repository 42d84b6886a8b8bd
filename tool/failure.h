#pragma once

#include <stdexcept>

namespace msg_tarvel::tool {

/** Ends a command with exit status 3; what() is its one line on standard error. */
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** Ends a command with exit status 2: the arguments make no sense together. */
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace msg_tarvel::tool
