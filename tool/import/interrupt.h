#pragma once

#include <csignal>

namespace msg_tarvel::tool {

/**
 * While one lives, SIGINT and SIGTERM no longer end the process at once: the next call of
 * throw_if_interrupted does, by an exception that lets everything be undone.
 */
class InterruptGuard {
 public:
  InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  ~InterruptGuard();

 private:
  struct sigaction _previousInt = {};
  struct sigaction _previousTerm = {};
};

void throw_if_interrupted();

}  // namespace msg_tarvel::tool
