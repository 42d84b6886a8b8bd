#include "store/work_time.h"

#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <string_view>

#include "exit_status.h"
#include "store/private_directory.h"

namespace msg_tarvel::tool {

namespace {

// A tick is a tenth of a second of the processor's.
constexpr int TICK_MICROSECONDS = 100'000;
/** Without optimisation, what takes most, to redact such a store, takes less than half of it. */
constexpr int TICKS_FOR_EVERY_STORE = 60;
constexpr long long BYTES_OF_EVERY_STORE = 20'000'000;
/** Two seconds and a half for each MB, of which the same takes a twentieth. */
constexpr long long BYTES_PER_TICK = 40'000;
/** Ten milliseconds each, for what takes some hundredths of one. */
constexpr int STATEMENTS_PER_TICK = 10;
/** Until a statement that looks up has ended by itself. */
constexpr int TICKS_TO_END = 10;

constexpr std::string_view LAST_WORDS =
    "msg-tarvel: cannot use the message store: "
    "a query takes more work than a store of this size can need\n";

std::atomic<int> ticksForBytes = TICKS_FOR_EVERY_STORE;
std::atomic<bool> statementsBringTime = false;
std::atomic<int> statements = 0;
std::atomic<int> ticks = 0;
std::atomic<bool> isAtWork = false;
/** From the first tick on; 0 before. */
std::atomic<int> slowness = 0;

/** Of this processor. */
int measure_slowness() {
  constexpr int ROUNDS = 200'000;
  timespec begin = {};
  timespec end = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &begin);
  volatile unsigned int sum = 0;
  for (int i = 0; i < ROUNDS; ++i) sum = sum * 31 + static_cast<unsigned int>(i);
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
  return slowness_of((end.tv_sec - begin.tv_sec) * 1'000'000'000LL + (end.tv_nsec - begin.tv_nsec));
}

int ticks_allowed() { return (ticksForBytes + statements / STATEMENTS_PER_TICK) * slowness; }

/** Called at each tick, which is in the midst of anything. */
void on_tick(int /*signal*/) {
  if (slowness == 0) slowness = measure_slowness();
  if (!isAtWork || ++ticks <= ticks_allowed() + TICKS_TO_END) return;
  remove_private_directory();
  [[maybe_unused]] const ssize_t written =
      write(STDERR_FILENO, LAST_WORDS.data(), LAST_WORDS.size());
  _exit(FAILED);
}

}  // namespace

int slowness_of(long long nanoseconds) {
  constexpr long long NANOSECONDS_THERE = 250'000;
  constexpr long long SLOWEST = 20;
  return static_cast<int>(std::clamp(nanoseconds / NANOSECONDS_THERE, 1LL, SLOWEST));
}

void limit_work_time() {
  ticks = 0;
  statements = 0;
  struct sigaction action = {};
  action.sa_handler = &on_tick;
  action.sa_flags = SA_RESTART;
  sigaction(SIGPROF, &action, nullptr);
  const itimerval often = {{0, TICK_MICROSECONDS}, {0, TICK_MICROSECONDS}};
  setitimer(ITIMER_PROF, &often, nullptr);
}

void allow_work_time_for(long long bytes) {
  const long long more = std::max(0LL, bytes - BYTES_OF_EVERY_STORE) / BYTES_PER_TICK;
  const int allowed = TICKS_FOR_EVERY_STORE + static_cast<int>(more);
  if (allowed > ticksForBytes) ticksForBytes = allowed;
}

void allow_work_time_for_each_statement() { statementsBringTime = true; }

void begin_work() { isAtWork = true; }

void end_work() { isAtWork = false; }

void note_statement() {
  if (statementsBringTime) ++statements;
}

bool is_work_time_up() { return ticks > ticks_allowed(); }

}  // namespace msg_tarvel::tool
