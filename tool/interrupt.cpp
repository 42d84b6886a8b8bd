#include "interrupt.h"

#include <poll.h>

#include <cerrno>
#include <iterator>

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
  for (std::size_t i = 0; i < std::size(SIGNALS); ++i) install(SIGNALS[i], _previous[i]);
}

InterruptGuard::~InterruptGuard() {
  for (std::size_t i = 0; i < std::size(SIGNALS); ++i) {
    sigaction(SIGNALS[i], &_previous[i], nullptr);
  }
}

int interrupting_signal() { return pendingSignal; }

void throw_if_interrupted() {
  if (is_interrupted()) throw Interrupted{pendingSignal};
}

void wait_for_input(int descriptor) {
  sigset_t all = {};
  sigset_t before = {};
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, &before);
  pollfd input = {descriptor, POLLIN, 0};
  // Signals come in the waiting alone, so none is missed behind the look.
  while (!is_interrupted() && ppoll(&input, 1, nullptr, &before) == -1 && errno == EINTR) continue;
  sigprocmask(SIG_SETMASK, &before, nullptr);
  throw_if_interrupted();
}

}  // namespace msg_tarvel::tool
