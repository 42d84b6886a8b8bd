// A program that ends while its threads do, or while they work:
// ending-program DATA-DIRECTORY exit|quick_exit|_exit idle|working

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "reliability/ways_to_use.h"
#include "support/fake_platform.h"

namespace {

using namespace msg_tarvel;  // NOLINT(google-build-using-namespace): the program itself

/** Threads are done with the store; some end at this very moment, some have not ended yet. */
void wait_for_idle_threads() {
  constexpr int COUNT = 8;
  static std::atomic<int> done{0};
  for (int i = 0; i < COUNT; ++i) {
    std::thread([i] {
      if (use_store(READING_USES[i % 3])) ++done;
      if (i % 4 == 3) std::this_thread::sleep_for(std::chrono::hours(1));
    }).detach();
  }
  while (done < COUNT) std::this_thread::yield();
}

/** Threads are in the middle of transactions and queries, and stay there. */
void wait_for_working_threads() {
  static std::atomic<int> written{0};
  std::thread([] {
    while (write_once()) ++written;
  }).detach();
  std::thread([] {
    while (read_once()) continue;
  }).detach();
  while (written < 3) std::this_thread::yield();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  FakePlatform::get().setDataPath(argv[1]);
  const std::string way = argv[2];
  const std::string threads = argv[3];
  threads == "idle" ? wait_for_idle_threads() : wait_for_working_threads();
  if (way == "quick_exit") std::quick_exit(0);
  if (way == "_exit") _exit(0);
  return 0;
}
