#pragma once

#include <csignal>

#include "exit_status.h"
#include "helpers/store_error.h"

namespace msg_tarvel::tool {

/**
 * While one lives, SIGHUP, SIGINT and SIGTERM no longer end the process at once: the next call of
 * throw_if_interrupted does, by an exception that lets everything be undone. The database's
 * statements and waits look for the signal too, and fail.
 */
class InterruptGuard {
 public:
  InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;
  ~InterruptGuard();

 private:
  static constexpr int SIGNALS[] = {SIGHUP, SIGINT, SIGTERM};

  struct sigaction _previous[sizeof SIGNALS / sizeof *SIGNALS] = {};
};

/** What the user or the system has asked the program to end with; 0 for nothing. */
int interrupting_signal();
inline bool is_interrupted() { return interrupting_signal() != 0; }

void throw_if_interrupted();

/**
 * Waits until a descriptor has something to read, or its end. Throws as throw_if_interrupted does,
 * also where the signal comes in the moment before the waiting.
 */
void wait_for_input(int descriptor);

/**
 * Runs `action` under an InterruptGuard. What fails after a signal ends as Interrupted with this
 * outcome; but a commit of which nobody knows whether it succeeded stays that, and one that did.
 */
template <typename Action>
auto interruptible(const char* outcome, Action&& action) {
  const InterruptGuard guard;
  try {
    return action();
  } catch (const helpers::UnknownOutcome&) {
    throw;
  } catch (const OutOfMemoryAfterChange&) {
    throw;
  } catch (...) {
    if (!is_interrupted()) throw;
    throw Interrupted{interrupting_signal(), outcome};
  }
}

}  // namespace msg_tarvel::tool
