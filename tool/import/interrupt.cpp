#include "import/interrupt.h"

#include "exit_status.h"

namespace msg_tarvel::tool {

namespace {

volatile std::sig_atomic_t pendingSignal = 0;

void remember(int signal) { pendingSignal = signal; }

void install(int signal, struct sigaction& previous) {
  sigaction(signal, nullptr, &previous);
  // Started with the signal ignored, as by nohup, the program keeps ignoring it.
  if (previous.sa_handler == SIG_IGN) return;
  struct sigaction action = {};
  action.sa_handler = &remember;
  sigaction(signal, &action, nullptr);
}

}  // namespace

InterruptGuard::InterruptGuard() {
  install(SIGINT, _previousInt);
  install(SIGTERM, _previousTerm);
}

InterruptGuard::~InterruptGuard() {
  sigaction(SIGINT, &_previousInt, nullptr);
  sigaction(SIGTERM, &_previousTerm, nullptr);
}

void throw_if_interrupted() {
  if (pendingSignal != 0) throw Interrupted{pendingSignal};
}

}  // namespace msg_tarvel::tool
